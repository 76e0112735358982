#include "fileInfoJsonUtil.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QtDebug>

namespace {
const int kMaxEntries = 10;
} // namespace

QJsonObject fileInfoJsonUtil::toJson(const FileInfo& info)
{
    QJsonObject o;
    o.insert(QStringLiteral("name"), info.name);
    o.insert(QStringLiteral("size"), info.size);
    o.insert(QStringLiteral("type"), info.type);
    o.insert(QStringLiteral("datetime"), info.datetime);
    o.insert(QStringLiteral("path"), info.path);
    o.insert(QStringLiteral("symLinkTarget"), info.symLinkTarget);
    return o;
}

FileInfo fileInfoJsonUtil::fromJson(const QJsonObject& o)
{
    // A member that is missing or not a string reads as empty; a record is
    // never rejected for it.
    FileInfo info;
    info.name = o.value(QStringLiteral("name")).toString();
    info.size = o.value(QStringLiteral("size")).toString();
    info.type = o.value(QStringLiteral("type")).toString();
    info.datetime = o.value(QStringLiteral("datetime")).toString();
    info.path = o.value(QStringLiteral("path")).toString();
    info.symLinkTarget = o.value(QStringLiteral("symLinkTarget")).toString();
    return info;
}

QJsonObject fileInfoJsonUtil::load(const QString& file)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly | QIODevice::Text))
        return QJsonObject();
    QJsonParseError err;
    const QJsonDocument doc = QJsonDocument::fromJson(f.readAll(), &err);
    if (err.error != QJsonParseError::NoError || !doc.isObject())
        return QJsonObject();
    return doc.object();
}

bool fileInfoJsonUtil::save(const QString& file, const QJsonObject& object)
{
    // Written aside and renamed over the old file, so a crash or a full disk
    // mid-write leaves the previous store whole.
    QSaveFile f(file);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Text))
        return false;
    f.write(QJsonDocument(object).toJson(QJsonDocument::Indented));
    return f.commit();
}

void fileInfoJsonUtil::WriteJsonFromFileInfo(const QString& file, const QString& key, const FileInfo& info)
{
    QJsonObject root = load(file);
    QJsonArray array = root.value(key).toArray();
    array.append(toJson(info));
    if (array.size() > kMaxEntries)
        array.removeAt(0);
    root.insert(key, array);
    if (!save(file, root))
        qWarning().noquote() << QStringLiteral("无法写入文件：") + file;
}

void fileInfoJsonUtil::UpdateJsonFromLastPath(const QString& file, const QString& path)
{
    QJsonObject root = load(file);
    root.insert(QStringLiteral("LastPath"), path);
    if (!save(file, root))
        qWarning().noquote() << QStringLiteral("无法写入文件：") + file;
}

QString fileInfoJsonUtil::GetLastPathFromJson(const QString& file)
{
    return load(file).value(QStringLiteral("LastPath")).toString();
}

int fileInfoJsonUtil::GetArraySizeFromJson(const QString& file, const QString& key)
{
    return load(file).value(key).toArray().size();
}

void fileInfoJsonUtil::ReadFileInfoListFromJson(const QString& file, const QString& key, QList<FileInfo>& out)
{
    const QJsonArray array = load(file).value(key).toArray();
    for (const QJsonValue& v : array) {
        if (v.isObject())
            out.append(fromJson(v.toObject()));
    }
}

void fileInfoJsonUtil::RemoveFileInfoFromJson(const QString& file, const QString& key, const QString& path)
{
    QJsonObject root = load(file);
    const QJsonValue value = root.value(key);
    if (!value.isArray())
        return;
    QJsonArray array = value.toArray();
    for (int i = 0; i < array.size(); ++i) {
        if (!array.at(i).isObject())
            continue;
        if (array.at(i).toObject().value(QStringLiteral("path")) == QJsonValue(path)) {
            array.removeAt(i);
            root.insert(key, array);
            save(file, root);
            return;
        }
    }
}

void fileInfoJsonUtil::RenameFileInfoInJson(const QString& file, const QString& key, const QString& oldPath,
                                            const QString& newName, const QString& newPath)
{
    QJsonObject root = load(file);
    const QJsonValue value = root.value(key);
    if (!value.isArray())
        return;
    QJsonArray array = value.toArray();
    for (int i = 0; i < array.size(); ++i) {
        if (!array.at(i).isObject())
            continue;
        QJsonObject entry = array.at(i).toObject();
        if (entry.value(QStringLiteral("path")) == QJsonValue(oldPath)) {
            entry.insert(QStringLiteral("name"), newName);
            entry.insert(QStringLiteral("path"), newPath);
            array.replace(i, entry);
            root.insert(key, array);
            save(file, root);
            return;
        }
    }
}
