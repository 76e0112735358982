#pragma once
// The rows of a segment's drop-down, as plain values: taken when the
// segment is made (from a listing the dialog already holds, or by reading
// the folder), kept while the segment lives and turned into list items only
// when its drop-down first opens.
#include "pfd_global.h"

#include "FileInfo.h"

#include <QString>
#include <QVector>

namespace pfd {

struct FolderRow
{
    enum Icon { FolderIcon, NetworkIcon, ShellIcon };
    QString text;   // shown
    QString target; // the folder a click opens
    Icon icon = ShellIcon;
    QString iconPath; // whose icon the row shows
};

// The rows of a folder's listing: its folders, shortcuts to folders or to
// network paths, and drives, in listing order. driveList: the listing is
// the drive list ":", whose rows show the drives' display names.
PFD_EXPORT QVector<FolderRow> folderRows(const QList<FileInfo>& files, bool driveList);

// Reads folder through the directory service; no rows (and no read) unless
// folder is a directory (":" counts: the drive list is read from it).
PFD_EXPORT QVector<FolderRow> readFolderRows(const QString& folder);

// The rows folder would get from readFolderRows, taken from files, the
// listing of listedPath that the dialog has just read: the same folder,
// possibly written another way (C:/a and C:\a), so record paths are put in
// folder's own form. No rows unless folder is a directory.
PFD_EXPORT QVector<FolderRow> folderRowsFromListing(const QString& folder, const QString& listedPath,
                                                     const QList<FileInfo>& files);

} // namespace pfd
