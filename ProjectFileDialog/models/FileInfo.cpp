#include "FileInfo.h"

#include <QFileInfo>

namespace kindword {
const QString& folder() { static const QString s = QStringLiteral("文件夹"); return s; }
const QString& shortcut() { static const QString s = QStringLiteral("快捷方式"); return s; }
const QString& localDisk() { static const QString s = QStringLiteral("本地磁盘"); return s; }
const QString& netDrive() { static const QString s = QStringLiteral("网络驱动"); return s; }
const QString& removableDisk() { static const QString s = QStringLiteral("移动硬盘"); return s; }
const QString& ramDisk() { static const QString s = QStringLiteral("RAM磁盘"); return s; }
const QString& cdRom() { static const QString s = QStringLiteral("CD-ROM"); return s; }
} // namespace kindword

bool FileInfo::isDrive() const
{
    return isLocalDisk() || isNetDrive() || isRemovableDisk() || isRamDisk() || isCdRom();
}

bool FileInfo::isShortcutToFolder() const
{
    return isShortcut() && QFileInfo(symLinkTarget).isDir();
}

bool FileInfo::isShortcutToNetworkPath() const
{
    return isShortcut() && symLinkTarget.startsWith(QLatin1String("\\\\"));
}
