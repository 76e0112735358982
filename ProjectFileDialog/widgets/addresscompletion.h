#pragma once
// What the address bar offers while a path is typed: the sub-folders of the
// folder typed so far whose names start with what follows the last
// separator. The folders come from the host's directory service, as the
// table's do; nothing watches them.
#include "pfd_global.h"

#include <QString>
#include <QStringList>

namespace pfd {

// A typed path cut after its last separator: "C:\pro\ab" gives "C:\pro\"
// and "ab". A backslash separates only in Windows-style paths; a text
// without a separator gives an empty folder (nothing to complete).
struct TypedPathSplit
{
    QString folder; // up to and with the last separator, as typed
    QString prefix; // the part being typed
};
PFD_EXPORT TypedPathSplit splitTypedPath(const QString& text);

// The names of the folder's sub-folders (and links to folders), in the
// table's name order. An unreadable or missing folder gives none.
PFD_EXPORT QStringList completionFolderNames(const QString& folder);

} // namespace pfd
