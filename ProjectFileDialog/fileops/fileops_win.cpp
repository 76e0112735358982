#include "fileops_p.h"

#include <QDir>
#include <QFile>

#include <windows.h>

bool fileops::detail::copyData(QFile& in, QFile& out)
{
    return copyDataByBlocks(in, out);
}

bool fileops::detail::copyPermissions(QFile& in, QFile& out)
{
    return out.setPermissions(in.permissions());
}

fileops::detail::UnnamedCopy fileops::detail::writeUnnamed(QFile&, const QString&)
{
    return UnnamedCopy::Unsupported;
}

bool fileops::detail::renameOver(const QString& from, const QString& to)
{
    const QString a = QDir::toNativeSeparators(from);
    const QString b = QDir::toNativeSeparators(to);
    return MoveFileExW(reinterpret_cast<const wchar_t*>(a.utf16()), reinterpret_cast<const wchar_t*>(b.utf16()),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)
           != 0;
}

bool fileops::detail::swapNames(const QString&, const QString&)
{
    return false;
}

int fileops::detail::takeEmptied(const QString&, const QString&)
{
    return -1;
}

void fileops::detail::closeHandle(int)
{
}
