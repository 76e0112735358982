#include "fileops_p.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef Q_OS_LINUX
#include <linux/fs.h>
#include <sys/ioctl.h>
#endif

bool fileops::detail::copyData(QFile& in, QFile& out)
{
#ifdef Q_OS_LINUX
    // Where the file system shares blocks between files, the copy shares
    // the source's blocks and costs no data at all; a later write to either
    // file gets blocks of its own.
    if (::ioctl(out.handle(), FICLONE, in.handle()) == 0)
        return true;
    // The kernel copies without bringing the data up to the program; where
    // it cannot (another file system, an old kernel) nothing has been
    // written yet and the blocks are copied by hand.
    bool copiedAny = false;
    for (;;) {
        const ssize_t n = ::copy_file_range(in.handle(), nullptr, out.handle(), nullptr, size_t(1) << 30, 0);
        if (n > 0) {
            copiedAny = true;
            continue;
        }
        if (n == 0)
            return true;
        if (errno == EINTR)
            continue;
        if (!copiedAny && (errno == ENOSYS || errno == EXDEV || errno == EINVAL || errno == EOPNOTSUPP))
            break;
        return false;
    }
#endif
    return copyDataByBlocks(in, out);
}

fileops::detail::UnnamedCopy fileops::detail::writeUnnamed(QFile& in, const QString& to)
{
#if defined(Q_OS_LINUX) && defined(O_TMPFILE)
    // The content goes into a file of the folder that has no name until it
    // is complete; then it is linked under its name in one step, which fails
    // if the name was taken meanwhile. Nothing half-written ever has a name,
    // and a failure leaves nothing to clean up. One link instead of a
    // temporary name and a rename is what `cp` pays for a new file.
    const QString folder = QFileInfo(to).absolutePath();
    const int fd = ::open(QFile::encodeName(folder).constData(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (fd < 0)
        return UnnamedCopy::Unsupported; // no such files on this file system
    QFile out;
    bool ok = out.open(fd, QIODevice::WriteOnly | QIODevice::Unbuffered, QFileDevice::DontCloseHandle)
              && copyData(in, out) && out.flush();
    out.close();
    struct stat source;
    ok = ok && ::fstat(in.handle(), &source) == 0 && ::fchmod(fd, source.st_mode & 0777) == 0;
    bool unsupported = false;
    if (ok) {
        const QByteArray self = "/proc/self/fd/" + QByteArray::number(fd);
        ok = ::linkat(AT_FDCWD, self.constData(), AT_FDCWD, QFile::encodeName(to).constData(), AT_SYMLINK_FOLLOW) == 0;
        // Without /proc the file cannot be named: copy the portable way.
        unsupported = !ok && errno == ENOENT && ::access("/proc/self/fd", F_OK) != 0;
    }
    ::close(fd);
    if (unsupported)
        return UnnamedCopy::Unsupported;
    return ok ? UnnamedCopy::Written : UnnamedCopy::Failed;
#else
    Q_UNUSED(in)
    Q_UNUSED(to)
    return UnnamedCopy::Unsupported;
#endif
}

bool fileops::detail::renameOver(const QString& from, const QString& to)
{
    // A plain rename. Swapping the names instead (renameat2 with
    // RENAME_EXCHANGE) and then removing the old file was tried: on ext4 the
    // removal of each old file took several times what the rename over it
    // costs, and replacing a tree became three times slower.
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}
