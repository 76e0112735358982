#pragma once
// How local paths are told apart and joined. Paths of the Windows host
// ("C:\x", "\\server\share") follow their own rules on every platform, so
// the same string rules hold wherever the dialog runs; POSIX paths start
// with "/".
#include "pfd_global.h"

#include <QString>

namespace pfd {

// "C:", "C:\x", "C:/x", "\\server\x", "//server/x".
PFD_EXPORT bool isWindowsStylePath(const QString& path);
PFD_EXPORT bool isPosixStylePath(const QString& path);

// Whether path names an existing folder. Off Windows, a Windows drive root
// ("D:\", "D:/") counts as existing, since only a scripted directory service
// can answer for it there; other Windows-style paths do not exist there, but
// a bare "D:" is an ordinary relative name.
PFD_EXPORT bool isExistingDir(const QString& path);

// The absolute form of a folder typed by the user: a Windows-style path is
// absolute already; anything else is taken from the working folder.
PFD_EXPORT QString absoluteDirPath(const QString& path);

// Where a drive of the drive list is opened: "C:" -> "C:\", a POSIX mount
// point stays itself.
PFD_EXPORT QString driveRootPath(const QString& driveName);

// The separator a local path joins its parts with: "\" for Windows-style
// paths, "/" otherwise.
PFD_EXPORT QChar localSeparator(const QString& path);

// The text after the last dot of the last path element, as QFileInfo's
// suffix() gives it, without building a QFileInfo (the type filter asks
// this for every row of a folder).
PFD_EXPORT QStringRef suffixRef(const QString& path);

// The last element of a path: "a.GCFX" of "C:\p\a.GCFX" or of "/p/a.GCFX";
// empty for a path ending in a separator. A backslash separates only in
// Windows-style paths (or on Windows); elsewhere it is a name character.
PFD_EXPORT QString fileNamePart(const QString& path);

// The text of the last element before its first dot, as QFileInfo's
// baseName() gives it: ".x.GCFX" and ".config" have an empty base name.
PFD_EXPORT QString baseName(const QString& path);

// The folder holding a local path. A Windows-style path keeps its own form
// on every platform ("C:\proj\a.GCFX" -> "C:\proj", "C:\a.GCFX" -> "C:\",
// "\\srv\share\a" -> "\\srv\share"); any other path is made absolute
// against the working folder first.
PFD_EXPORT QString parentDirPath(const QString& path);

// The folder one level up from a folder shown, for Alt+Up; empty at a
// drive root ("C:\", "\\srv\share", "/"), in the computer view ":" and
// for an empty path.
PFD_EXPORT QString upFolder(const QString& folder);

} // namespace pfd
