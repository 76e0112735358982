#pragma once
// The user's known folders: Desktop, Documents, Pictures.
// Not named knownfolders.h: this folder is on the include path, and that
// name would hide the Windows header that declares the FOLDERID_ values
// (the file systems of Windows ignore case).
#include "pfd_global.h"

#include <QString>

namespace pfd {

enum class KnownFolder { Desktop, Documents, Pictures };

// The folder's path, or an empty string when the system cannot tell.
PFD_EXPORT QString knownFolder(KnownFolder which);

} // namespace pfd
