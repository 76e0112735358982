#pragma once
// The user's known folders: Desktop, Documents, Pictures.
#include "pfd_global.h"

#include <QString>

namespace pfd {

enum class KnownFolder { Desktop, Documents, Pictures };

// The folder's path, or an empty string when the system cannot tell.
PFD_EXPORT QString knownFolder(KnownFolder which);

} // namespace pfd
