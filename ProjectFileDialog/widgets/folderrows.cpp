#include "folderrows.h"

#include "listing.h"

#include <QFileInfo>

namespace pfd {

namespace {

// from, to: a record path made of from and the record's name is given as
// to and the name (the listing's folder written as the segment writes it).
QVector<FolderRow> rowsOf(const QList<FileInfo>& files, bool driveList, const QString& from,
                          const QString& to)
{
    const bool reword = from != to;
    const auto own = [&](const FileInfo& f) {
        if (reword && f.path.size() == from.size() + f.name.size() && f.path.startsWith(from)
            && f.path.endsWith(f.name))
            return to + f.name;
        return f.path;
    };
    QVector<FolderRow> rows;
    for (const FileInfo& f : files) {
        if (!(f.isFolder() || f.isShortcutToNetworkPath() || f.isShortcutToFolder() || f.isDrive()))
            continue;
        FolderRow row;
        row.text = driveList ? f.displayName : f.name;
        // Local, removable, RAM and optical drives open at their root; a
        // network drive and a shortcut open where they point.
        const bool opensItself = f.isFolder() || (f.isDrive() && !f.isNetDrive());
        row.iconPath = own(f);
        row.target = opensItself ? row.iconPath : f.symLinkTarget;
        row.icon = f.isFolder() ? FolderRow::FolderIcon
                   : f.isNetDrive() ? FolderRow::NetworkIcon
                                    : FolderRow::ShellIcon;
        rows.append(row);
    }
    return rows;
}

} // namespace

QVector<FolderRow> folderRows(const QList<FileInfo>& files, bool driveList)
{
    return rowsOf(files, driveList, QString(), QString());
}

QVector<FolderRow> readFolderRows(const QString& folder)
{
    if (!QFileInfo(folder).isDir())
        return {};
    return folderRows(getFilesByPath(folder), folder == QLatin1String(":"));
}

QVector<FolderRow> folderRowsFromListing(const QString& folder, const QString& listedPath,
                                         const QList<FileInfo>& files)
{
    if (!QFileInfo(folder).isDir())
        return {};
    const QString own = listedFolder(folder);
    return rowsOf(files, folder == QLatin1String(":"), listingPrefix(listedFolder(listedPath)) + QLatin1Char('/'),
                  listingPrefix(own) + QLatin1Char('/'));
}

} // namespace pfd
