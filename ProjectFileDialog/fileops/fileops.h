#pragma once
// What the file menu does to the file system, without any widget: copy
// names, the paste plan (target, subfolder refusal, files to be replaced),
// copying files and folder trees, folder removal and new-folder names.
// Replacing a file never removes it before its new content is complete
// beside it: a failed copy leaves the old file as it was.
#include "pfd_global.h"

#include <QString>
#include <QStringList>

#include <functional>

namespace fileops {

// A free name for a copy of path: "a - 副本.txt", "a - 副本 (2).txt", ...;
// path itself when nothing of that name exists.
PFD_EXPORT QString generateUniqueFileName(const QString& path);

// Whether target is source itself or lies inside it.
PFD_EXPORT bool isSubdirectory(const QString& source, const QString& target);

// Appends dest (absolute, native separators) when pasting source there
// would replace it; a file pasted into its own folder gets a copy name
// instead and is no conflict.
PFD_EXPORT void getDuplicatedFile(QStringList& dups, const QString& source, const QString& dest);
// The same for every plain file of a folder tree, hidden ones included:
// files first, then sub-folders, each in listing order.
PFD_EXPORT void getDuplicatedFilesRecursively(QStringList& dups, const QString& sourceDir, const QString& destDir);

// What a paste of sources into target would do, before anything is asked.
struct PastePlan
{
    QString targetDir;
    QString refusedSource; // a source that holds the target: the paste is refused
    QStringList duplicates; // files that would be replaced, in source order
};
// checkSubfolders: the target came from a folder row or no row is current.
PFD_EXPORT PastePlan planPaste(const QStringList& sources, const QString& target, bool checkSubfolders);

// Copies source to dest. A free dest is written directly; a dest beside its
// own source gets a copy name; any other existing dest is replaced. lastName
// takes the name written unless keepName (a replaced file leaves it as is).
PFD_EXPORT bool copyFile(const QString& source, const QString& dest, QString& lastName, bool keepName);
// Copies a folder tree, hidden entries included, into destDir, merging
// into an existing folder; a folder pasted beside itself gets a copy name. lastName takes the folder's
// name when it is still empty.
PFD_EXPORT bool copyDirectoryRecursively(const QString& sourceDir, const QString& destDir, QString& lastName);

// Writes source's content to dest through a temporary file beside dest,
// moved into place only once complete. replace: an existing dest is
// replaced (a folder never is); otherwise an existing dest fails.
PFD_EXPORT bool copyContents(const QString& source, const QString& dest, bool replace);

// Removes a folder tree. fileFailed is told the first file that could not
// be removed (then the removal stops with false). A missing folder counts
// as removed; an empty path fails.
PFD_EXPORT bool deleteDir(const QString& path, const std::function<void(const QString& filePath)>& fileFailed = {});

// base + "新建文件夹", then base + "新建文件夹1", "新建文件夹2", ...: the
// first that is not an existing folder, starting at n.
PFD_EXPORT QString createNewFloder(const QString& base, int n);

} // namespace fileops
