#include "fileInfoJsonUtil.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSaveFile>
#include <QtDebug>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

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

namespace {

// The store's object, and its text as read when it parsed as one.
QJsonObject readStore(const QString& file, QByteArray* text)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly | QIODevice::Text))
        return QJsonObject();
    const QByteArray bytes = f.readAll();
    QJsonParseError err;
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &err);
    if (err.error != QJsonParseError::NoError || !doc.isObject())
        return QJsonObject();
    if (text)
        *text = bytes;
    return doc.object();
}

} // namespace

QJsonObject fileInfoJsonUtil::load(const QString& file)
{
    return readStore(file, nullptr);
}

namespace {

enum class Aside { Written, Failed, CannotPlace };

// The usual write: the whole document into a temporary file beside the store,
// renamed over it only when every byte is on disk, so a kill or a full disk
// mid-write leaves the old store as it was.
Aside writeAside(const QString& file, const QByteArray& bytes)
{
    QSaveFile f(file);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Text | QIODevice::Unbuffered))
        return Aside::CannotPlace;
    // A write can report success for bytes still on their way; flush shows a
    // full disk before commit could rename a cut-off file over the store.
    if (f.write(bytes) != bytes.size() || !f.flush()) {
        f.cancelWriting();
        f.commit(); // removes the temporary file
        return Aside::Failed;
    }
    if (f.commit())
        return Aside::Written;
    // A store held open elsewhere may refuse being replaced; the temporary
    // file is gone again and the store untouched.
    return f.error() == QFileDevice::RenameError ? Aside::CannotPlace : Aside::Failed;
}

bool syncToDisk(QFile& f)
{
#ifdef Q_OS_UNIX
    return ::fsync(f.handle()) == 0;
#else
    return f.flush();
#endif
}

// Where no temporary file can be placed (the store is writable, its folder
// is not) the store is rewritten where it stands, so that it never loses a
// byte on a full disk: the file never becomes shorter (blanks after the
// document are still JSON, and a truncation could not be undone), and the
// part past the old end is written first, so that running out of space
// fails before any old byte was changed. The old bytes are overwritten only
// then, which needs no new space.
bool writeInPlace(const QString& file, const QByteArray& bytes)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadWrite | QIODevice::ExistingOnly | QIODevice::Unbuffered))
        return false;
    const QByteArray old = f.readAll();
    if (f.error() != QFileDevice::NoError || old.size() != f.size())
        return false;
    QByteArray data = bytes;
    if (data.size() < old.size())
        data.append(QByteArray(old.size() - data.size(), ' '));
    const qint64 tail = data.size() - old.size();
    if (tail > 0
        && (!f.seek(old.size()) || f.write(data.constData() + old.size(), tail) != tail || !syncToDisk(f))) {
        f.resize(old.size());
        return false;
    }
    if (!f.seek(0) || f.write(data.constData(), old.size()) != old.size() || !syncToDisk(f)) {
        // Not expected where the old bytes already had their place; put
        // them back as far as the device lets us.
        f.seek(0);
        f.write(old);
        f.resize(old.size());
        return false;
    }
    return true;
}

// A write killed between making its temporary file and renaming it leaves
// "filecy.json.XXXXXX" behind. A young one may be another dialog's write in
// progress, so only those untouched for a minute are removed.
void removeLeftovers(const QString& file)
{
    const QFileInfo store(file);
    const QString prefix = store.fileName() + QLatin1Char('.');
    static const QRegularExpression tail(QStringLiteral("^[A-Za-z0-9]{6}$"));
    const QDateTime old = QDateTime::currentDateTimeUtc().addSecs(-60);
    const QFileInfoList entries = store.absoluteDir().entryInfoList(
        {prefix + QStringLiteral("??????")}, QDir::Files | QDir::Hidden | QDir::System | QDir::NoSymLinks);
    for (const QFileInfo& entry : entries) {
        if (tail.match(entry.fileName().mid(prefix.size())).hasMatch() && entry.lastModified().toUTC() < old)
            QFile::remove(entry.absoluteFilePath());
    }
}

} // namespace

bool fileInfoJsonUtil::save(const QString& file, const QJsonObject& object)
{
    const QByteArray bytes = QJsonDocument(object).toJson(QJsonDocument::Indented);
    switch (writeAside(file, bytes)) {
    case Aside::Written:
        break;
    case Aside::Failed:
        return false;
    case Aside::CannotPlace:
        if (!writeInPlace(file, bytes))
            return false;
        break;
    }
    removeLeftovers(file);
    return true;
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

namespace {

// Writes bytes over a file that already holds exactly these bytes, where it
// stands: whenever the write stops, every byte is still what it was, so it
// needs no file beside it and no rename. False when the file's bytes differ
// or it cannot be written.
bool rewriteSameBytes(const QString& file, const QByteArray& text)
{
    // A text-mode write ends lines as the system does.
    QByteArray bytes = text;
#ifdef Q_OS_WIN
    bytes.replace("\n", "\r\n");
#endif
    QFile f(file);
    if (!f.open(QIODevice::ReadWrite | QIODevice::ExistingOnly | QIODevice::Unbuffered))
        return false;
    if (f.size() != bytes.size() || f.readAll() != bytes || !f.seek(0))
        return false;
    return f.write(bytes) == bytes.size() && f.flush();
}

} // namespace

void fileInfoJsonUtil::UpdateJsonFromLastPath(const QString& file, const QString& path)
{
    QByteArray before;
    QJsonObject root = readStore(file, &before);
    root.insert(QStringLiteral("LastPath"), path);
    // Every dialog that opens in the folder the last one showed writes the
    // very same document again: that one is written over itself in place,
    // where the usual write would make a new file and rename it.
    const QByteArray text = QJsonDocument(root).toJson(QJsonDocument::Indented);
    if (!before.isEmpty() && text == before && rewriteSameBytes(file, text))
        return;
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
