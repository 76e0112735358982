#pragma once
// Replacing a project on save: the old file is set aside, never deleted, so
// a host whose save then fails has not lost the user's project.
#include "pfd_global.h"

#include <QDateTime>
#include <QString>

namespace pfd {

enum class SetAside {
    Trash,  // in the system's trash (the Recycle Bin on Windows)
    Backup, // in the backup folder of the application directory
    Failed  // where it was, untouched
};

// appPath + "/cfg/OverwrittenProjects": where a replaced project goes when
// its volume has no trash.
PFD_EXPORT QString overwrittenProjectsFolder(const QString& appPath);

// Frees path for a new file of the same name: the file there goes to the
// trash, else into the backup folder under a name dated with when. *where:
// the trash's or the backup's copy, when known.
PFD_EXPORT SetAside setAsideReplacedFile(const QString& path, const QString& appPath, const QDateTime& when,
                                         QString* where = nullptr);

} // namespace pfd
