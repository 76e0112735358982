#pragma once
// One file, folder, shortcut or drive as the directory service describes it.
#include "pfd_global.h"

#include <QList>
#include <QString>

// The kind words the dialog tests for; any other kind text is an ordinary
// file whose kind is its suffix.
namespace kindword {
PFD_EXPORT const QString& folder();        // "文件夹"
PFD_EXPORT const QString& shortcut();      // "快捷方式"
PFD_EXPORT const QString& localDisk();     // "本地磁盘"
PFD_EXPORT const QString& netDrive();      // "网络驱动"
PFD_EXPORT const QString& removableDisk(); // "移动硬盘"
PFD_EXPORT const QString& ramDisk();       // "RAM磁盘"
PFD_EXPORT const QString& cdRom();         // "CD-ROM"
} // namespace kindword

struct PFD_EXPORT FileInfo
{
    QString name;          // with extension; "C:" for a drive
    QString size;          // "<kilobytes>KB", empty for folders and drives
    QString type;          // kind word or kind text
    QString datetime;      // "yyyy-MM-dd hh:mm:ss"
    QString path;          // full path
    QString symLinkTarget; // shortcut target, else empty
    QString displayName;   // drive list only: "label (C:)"

    bool isFolder() const { return type == kindword::folder(); }
    bool isShortcut() const { return type == kindword::shortcut(); }
    bool isLocalDisk() const { return type == kindword::localDisk(); }
    bool isNetDrive() const { return type == kindword::netDrive(); }
    bool isRemovableDisk() const { return type == kindword::removableDisk(); }
    bool isRamDisk() const { return type == kindword::ramDisk(); }
    bool isCdRom() const { return type == kindword::cdRom(); }
    bool isDrive() const;
    // Asks the file system whether the target is a folder, at every call.
    bool isShortcutToFolder() const;
    bool isShortcutToNetworkPath() const;
};

using FileInfoList = QList<FileInfo>;
