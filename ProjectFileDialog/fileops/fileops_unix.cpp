#include "fileops_p.h"

#include <QFile>

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

bool fileops::detail::renameOver(const QString& from, const QString& to)
{
    const QByteArray a = QFile::encodeName(from);
    const QByteArray b = QFile::encodeName(to);
#ifdef Q_OS_LINUX
    // Swapping the two names replaces the old file in one step as a rename
    // does, but some file systems (ext4) write a file renamed over another
    // straight to disk, which makes replacing a tree of files several times
    // slower than writing them anew. After the swap the old content is under
    // the temporary name and goes with it.
    if (::renameat2(AT_FDCWD, a.constData(), AT_FDCWD, b.constData(), RENAME_EXCHANGE) == 0) {
        struct stat old;
        if (::lstat(a.constData(), &old) == 0 && S_ISDIR(old.st_mode)) {
            // A folder had taken the name: it is never replaced.
            ::renameat2(AT_FDCWD, a.constData(), AT_FDCWD, b.constData(), RENAME_EXCHANGE);
            return false;
        }
        ::unlink(a.constData());
        return true;
    }
    // Nothing to swap with (a new name), or a file system without the swap:
    // a plain rename.
#endif
    return ::rename(a.constData(), b.constData()) == 0;
}
