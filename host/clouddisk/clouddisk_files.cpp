// The store's files on disk: owner-only folders and files whatever the
// umask, the check of a data folder that others can reach, and flushing
// contents and folders to the disk.
#include "clouddisk_store_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif
#ifdef Q_OS_WIN
#include <io.h>
#endif

#include <atomic>

namespace clouddisk {
namespace store {

namespace {
std::atomic<SyncObserver> g_syncObserver{nullptr};

void observed(const QString& path)
{
    if (SyncObserver o = g_syncObserver.load())
        o(path);
}
} // namespace

bool makePrivateFolder(const QString& path)
{
    // One that was there is checked (and refused or tightened) when the
    // store opens.
    if (QFileInfo(path).isDir())
        return true;
    if (!QDir().mkpath(path))
        return false;
#ifdef Q_OS_UNIX
    return ::chmod(QFile::encodeName(path).constData(), 0700) == 0;
#else
    return true;
#endif
}

bool createPrivateFile(const QString& path)
{
#ifdef Q_OS_UNIX
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd >= 0) {
        const bool ok = ::fchmod(fd, 0600) == 0;
        ::close(fd);
        return ok;
    }
    return errno == EEXIST;
#else
    Q_UNUSED(path)
    return true;
#endif
}

bool restrictToOwner(QFile& file)
{
    return file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

QString openToOthers(const QStringList& paths, bool withdraw)
{
#ifdef Q_OS_UNIX
    QStringList open;
    for (const QString& path : paths) {
        struct stat st{};
        const QByteArray native = QFile::encodeName(path);
        if (::lstat(native.constData(), &st) != 0 || (st.st_mode & 077) == 0)
            continue;
        if (withdraw && ::chmod(native.constData(), st.st_mode & 07700) == 0)
            continue;
        open << QStringLiteral("%1 (mode %2)").arg(path).arg(st.st_mode & 0777, 4, 8, QLatin1Char('0'));
    }
    return open.join(QStringLiteral(", "));
#else
    Q_UNUSED(paths)
    Q_UNUSED(withdraw)
    return QString();
#endif
}

bool syncHandle(int fd, const QString& path)
{
    observed(path);
#ifdef Q_OS_UNIX
    int rc;
    do
        rc = ::fsync(fd);
    while (rc != 0 && errno == EINTR);
    return rc == 0;
#elif defined(Q_OS_WIN)
    return ::_commit(fd) == 0;
#else
    Q_UNUSED(fd)
    return true;
#endif
}

bool syncFolder(const QString& path)
{
#ifdef Q_OS_UNIX
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool ok = syncHandle(fd, path);
    ::close(fd);
    return ok;
#else
    // A folder's entries are written out with the file system's own
    // journal where folders cannot be opened.
    observed(path);
    return true;
#endif
}

void setSyncObserver(SyncObserver observer)
{
    g_syncObserver.store(observer);
}

} // namespace store
} // namespace clouddisk
