#pragma once
// The dialog's store: one small JSON object in the application directory
// that remembers the last folder ("LastPath"), the pinned folders
// ("OftenUse") and the recently opened projects ("RecentFile").
#include "models/FileInfo.h"

#include <QJsonObject>

class PFD_EXPORT fileInfoJsonUtil
{
public:
    // Appends info to the array at key (at most 10 entries: the oldest goes).
    static void WriteJsonFromFileInfo(const QString& file, const QString& key, const FileInfo& info);
    static void UpdateJsonFromLastPath(const QString& file, const QString& path);
    static QString GetLastPathFromJson(const QString& file);
    static int GetArraySizeFromJson(const QString& file, const QString& key);
    static void ReadFileInfoListFromJson(const QString& file, const QString& key, QList<FileInfo>& out);
    static void RemoveFileInfoFromJson(const QString& file, const QString& key, const QString& path);
    static void RenameFileInfoInJson(const QString& file, const QString& key, const QString& oldPath,
                                     const QString& newName, const QString& newPath);

    static QJsonObject toJson(const FileInfo& info);
    static FileInfo fromJson(const QJsonObject& object);

private:
    static QJsonObject load(const QString& file);
    static bool save(const QString& file, const QJsonObject& object);
};
