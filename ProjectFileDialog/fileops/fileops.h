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

class ReplaceSpare;

// Copies source to dest. A free dest is written directly; a dest beside its
// own source gets a copy name; any other existing dest is replaced. lastName
// takes the name written unless keepName (a replaced file leaves it as is).
PFD_EXPORT bool copyFile(const QString& source, const QString& dest, QString& lastName, bool keepName);
// The same within a paste that keeps one spare file for all its replacements.
PFD_EXPORT bool copyFile(const QString& source, const QString& dest, QString& lastName, bool keepName,
                         ReplaceSpare& spare);
// Copies a folder tree, hidden entries included, into destDir, merging
// into an existing folder; a folder pasted beside itself gets a copy name. lastName takes the folder's
// name when it is still empty.
PFD_EXPORT bool copyDirectoryRecursively(const QString& sourceDir, const QString& destDir, QString& lastName);
PFD_EXPORT bool copyDirectoryRecursively(const QString& sourceDir, const QString& destDir, QString& lastName,
                                         ReplaceSpare& spare);

// Writes source's content to dest through a temporary file beside dest,
// moved into place only once complete. replace: an existing dest is
// replaced (a folder never is); otherwise an existing dest fails. With a
// spare, a replacement swaps the two names, so the old content is left
// under the temporary name, and that file, emptied, takes the next
// replacement's content (see ReplaceSpare).
PFD_EXPORT bool copyContents(const QString& source, const QString& dest, bool replace, ReplaceSpare* spare = nullptr);

// The hidden file that one paste writes its replacements into, one after
// the other. Replacing a tree of files over an older copy would otherwise
// make a new file for each and remove each old one, which on some file
// systems costs several times the copy itself. The old content of a file
// just replaced is emptied only when that file has no other name, is ours
// like the file that took its place, carries no extended attributes and is
// open in no program (a reader keeps the old content it has open);
// otherwise it is removed as before and the next replacement starts a new
// file. A spare lives in one folder; whatever is left of it goes with it.
class PFD_EXPORT ReplaceSpare
{
public:
    ReplaceSpare() = default;
    ~ReplaceSpare();
    ReplaceSpare(const ReplaceSpare&) = delete;
    ReplaceSpare& operator=(const ReplaceSpare&) = delete;

private:
    friend bool copyContents(const QString&, const QString&, bool, ReplaceSpare*);
    void drop();
    // The folder of the spare; empty when there is none.
    QString folder() const { return m_path.left(qMax(0, m_path.lastIndexOf(QLatin1Char('/')))); }

    QString m_path; // absolute path of the emptied file under its hidden name

    int m_handle = -1; // open for writing, or -1 when there is no spare
};

// Removes a folder tree. fileFailed is told the first file that could not
// be removed (then the removal stops with false). A missing folder counts
// as removed; an empty path fails.
PFD_EXPORT bool deleteDir(const QString& path, const std::function<void(const QString& filePath)>& fileFailed = {});

// base + "新建文件夹", then base + "新建文件夹1", "新建文件夹2", ...: the
// first that is not an existing folder, starting at n.
PFD_EXPORT QString createNewFloder(const QString& base, int n);

} // namespace fileops
