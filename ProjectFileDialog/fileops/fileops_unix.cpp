#include "fileops_p.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <unistd.h>

bool fileops::detail::copyData(QFile& in, QFile& out)
{
#ifdef Q_OS_LINUX
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
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}
