#include "overwrite.h"

#include "cloud/cloudnames.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace pfd {

namespace {

// Qt's trash for freedesktop systems, finding no trash folder it can use,
// moves the file into "files" under the current folder instead. The home
// trash is the last one it tries, so it is made sure of first.
bool homeTrashReady()
{
#if defined(Q_OS_UNIX) && !defined(Q_OS_DARWIN)
    const QString trash = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Trash");
    return QDir().mkpath(trash + QStringLiteral("/files")) && QDir().mkpath(trash + QStringLiteral("/info"));
#else
    return true;
#endif
}

// A trashed file's new name is absolute; anything else went astray and is
// put back where it was.
bool trashedWhereExpected(const QFile& trashed, const QString& original)
{
    if (QFileInfo(trashed.fileName()).isAbsolute())
        return true;
    QFile::rename(trashed.fileName(), original);
    return false;
}

} // namespace

QString overwrittenProjectsFolder(const QString& appPath)
{
    return appPath + QStringLiteral("/cfg/OverwrittenProjects");
}

SetAside setAsideReplacedFile(const QString& path, const QString& appPath, const QDateTime& when, QString* where)
{
    // A folder under a project's name is no project to replace.
    const QFileInfo info(path);
    if (info.isDir() && !info.isSymLink())
        return SetAside::Failed;
    QFile file(path);
    if (homeTrashReady() && file.moveToTrash() && trashedWhereExpected(file, path)) {
        if (where)
            *where = file.fileName();
        return SetAside::Trash;
    }
    const QString folder = overwrittenProjectsFolder(appPath);
    if (QDir().mkpath(folder)) {
        // Dated and never over an earlier backup of the same name.
        const QString target = cloud::recoveryTarget(folder, QFileInfo(path).fileName(), when);
        // Across volumes rename copies, and keeps the original whenever the
        // copy or the removal fails.
        if (QFile::rename(path, target)) {
            if (where)
                *where = target;
            return SetAside::Backup;
        }
    }
    return SetAside::Failed;
}

} // namespace pfd
