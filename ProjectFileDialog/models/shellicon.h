#pragma once
// The system's own icon of one path (drives and shortcuts in the table,
// folders in the address bar's lists).
#include "pfd_global.h"

#include <QIcon>
#include <QString>

class QFileIconProvider;

namespace pfd {

// The system's icon provider, one for the application. A provider keeps the
// style's folder, file and drive icons once it has made them, so sharing it
// spares reading those images again for every list and every row; a new one
// is made when the application's style changes. Lives until the application
// object goes.
PFD_EXPORT QFileIconProvider& systemIconProvider();

// Asks the system every time; a null icon when it has none.
PFD_EXPORT QIcon shellIcon(const QString& path);

// The icon for a kind word, "diskDriver", "netDriver" or a file suffix: the
// application's own "data/<SUFFIX>.ico" first, then the system's icon for
// files of that suffix. The dialog's fileIcon serves the table with it.
PFD_EXPORT QIcon fileIconForKey(const QString& key);

} // namespace pfd
