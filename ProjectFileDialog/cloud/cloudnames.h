#pragma once
// Cloud names on the local disk. A cloud name (a file or folder name, a
// cloud path segment) is display text, never a path: wherever one becomes a
// component of a local path it goes through localNameForCloudName, and
// whatever is written into or removed from the staging tree is checked to
// lie inside the user's staging folder first.
#include "pfd_global.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

namespace pfd {
namespace cloud {

// The local name for a cloud name:
// 1. "/", "\", ":", "*", "?", """, "<", ">", "|" and control characters
//    (U+0000..U+001F, U+007F) become "_";
// 2. each character of a trailing run of "." or " " becomes "_";
// 3. an empty name becomes "_";
// 4. a result longer than 255 bytes in UTF-8 keeps its suffix (from the last
//    ".", when that is at most 16 bytes), cuts the rest at a character
//    boundary and joins cut + "~" + the first 8 lower-case hex digits of the
//    SHA-1 of the original name (UTF-8) + suffix, within 255 bytes.
// Names that need none of this come back unchanged.
PFD_EXPORT QString localNameForCloudName(const QString& name);

// Whether path, made absolute and cleaned, lies strictly inside folder; for
// the parts that exist, symbolic links are followed as well.
PFD_EXPORT bool isInsideFolder(const QString& path, const QString& folder);

// The user's staging folder: appPath + "/cfg/DownloadCloudDiskFile/" + the
// user id's local name.
PFD_EXPORT QString stagingUserFolder(const QString& appPath, const QString& userId);
// The staging folder of a cloud path: the user's folder, then one folder per
// segment (the cloud label first), each through localNameForCloudName.
PFD_EXPORT QString stagingFolder(const QString& appPath, const QString& userId, const QStringList& cloudSegments);

// Where projects whose upload failed are kept, beside the staging tree:
// appPath + "/cfg/CloudUploadRecovery/" + the user id's local name.
PFD_EXPORT QString recoveryFolder(const QString& appPath, const QString& userId);
// A free name there for fileName: "yyyyMMdd-HHmmss-" + its local name, with
// " (2)", " (3)" ... before the suffix when that is taken.
PFD_EXPORT QString recoveryTarget(const QString& folder, const QString& fileName, const QDateTime& when);
// Moves file (which must lie inside stagingRoot) into the recovery folder.
// The new path, or empty when it could not be moved (the file then stays).
PFD_EXPORT QString moveToRecovery(const QString& file, const QString& stagingRoot, const QString& recovery,
                                  const QDateTime& when);

} // namespace cloud
} // namespace pfd
