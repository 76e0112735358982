#pragma once
// Reading one folder, or the drive list ":", through the host's directory
// service.
#include "FileInfo.h"

// The records of one folder in the order the directory service gives them.
// Never fails loudly: an unreadable folder or a malformed answer gives an
// empty list.
PFD_EXPORT QList<FileInfo> getFilesByPath(QString path);

namespace pfd {

// Turns the directory service's answer into records. parentPrefix is put
// before "/" + name to make each path; driveList fills displayName and the
// drive roots. Exposed for tests and benchmarks.
PFD_EXPORT QList<FileInfo> parseDirRows(const QByteArray& json, const QString& parentPrefix,
                                        bool driveList);

// parseDirRows for an answer its caller holds alone and drops afterwards:
// the text of rows already read is given back to the system on the way, so
// a large folder's text and its records are not all in memory at once. The
// records are parseDirRows's; json is left partly zeroed or empty.
PFD_EXPORT QList<FileInfo> parseDirRowsReleasing(QByteArray& json, const QString& parentPrefix,
                                                 bool driveList);

// The fast scanner alone: true with the records when the answer has the one
// shape it reads, false (out empty) when only the general reader can tell.
// Whenever it answers, the answer equals the general reader's.
PFD_EXPORT bool scanDirRows(const QByteArray& json, const QString& parentPrefix, bool driveList,
                            QList<FileInfo>& out);

// The folder as getFilesByPath asks for it: one trailing separator dropped
// from an existing folder.
PFD_EXPORT QString listedFolder(QString path);
// What the records of such a folder put before "/" + name in their paths.
PFD_EXPORT QString listingPrefix(const QString& listedFolder);

} // namespace pfd
