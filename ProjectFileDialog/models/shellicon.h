#pragma once
// The system's own icon of one path (drives and shortcuts in the table,
// folders in the address bar's lists).
#include "pfd_global.h"

#include <QIcon>
#include <QString>

namespace pfd {

// Asks the system every time; a null icon when it has none.
PFD_EXPORT QIcon shellIcon(const QString& path);

// The icon for a kind word, "diskDriver", "netDriver" or a file suffix: the
// application's own "data/<SUFFIX>.ico" first, then the system's icon for
// files of that suffix. The dialog's fileIcon serves the table with it.
PFD_EXPORT QIcon fileIconForKey(const QString& key);

} // namespace pfd
