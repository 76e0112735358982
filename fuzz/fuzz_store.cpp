// The store as any bytes: every reader answers as Qt's JSON reader reads the
// file, and a write leaves a store that parses, holds the change and keeps
// every other key as it was.
#include "fuzzsupport.h"

#include "fileInfoJsonUtil.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

namespace {

const QString kOftenUse = QStringLiteral("OftenUse");
const QString kRecent = QStringLiteral("RecentFile");
const QString kLastPath = QStringLiteral("LastPath");

QString scratchFolder()
{
    // Memory-backed when there is one: the store is synced on every write.
    static QTemporaryDir dir(QDir(QStringLiteral("/dev/shm")).exists()
                                 ? QStringLiteral("/dev/shm/pfd-fuzz-store-XXXXXX")
                                 : QDir::tempPath() + QStringLiteral("/pfd-fuzz-store-XXXXXX"));
    FUZZ_CHECK(dir.isValid());
    return dir.path();
}

// The object as the store's readers see the file: read in text mode, parsed,
// and anything but an object is no store.
QJsonObject readAsStore(const QString& file, bool* isObject = nullptr)
{
    QFile f(file);
    QJsonObject o;
    bool ok = false;
    if (f.open(QIODevice::ReadOnly | QIODevice::Text)) {
        QJsonParseError err;
        const QJsonDocument doc = QJsonDocument::fromJson(f.readAll(), &err);
        ok = err.error == QJsonParseError::NoError && doc.isObject();
        if (ok)
            o = doc.object();
    }
    if (isObject)
        *isObject = ok;
    return o;
}

bool sameRecord(const FileInfo& a, const FileInfo& b)
{
    return a.name == b.name && a.size == b.size && a.type == b.type && a.datetime == b.datetime
           && a.path == b.path && a.symLinkTarget == b.symLinkTarget && a.displayName.isEmpty();
}

void checkReaders(const QString& store, const QJsonObject& want)
{
    FUZZ_CHECK(fileInfoJsonUtil::GetLastPathFromJson(store) == want.value(kLastPath).toString());
    for (const QString& key : {kOftenUse, kRecent}) {
        const QJsonArray array = want.value(key).toArray();
        FUZZ_CHECK(fileInfoJsonUtil::GetArraySizeFromJson(store, key) == array.size());
        QList<FileInfo> got;
        fileInfoJsonUtil::ReadFileInfoListFromJson(store, key, got);
        int i = 0;
        for (const QJsonValue& v : array) {
            if (!v.isObject())
                continue;
            FUZZ_CHECK(i < got.size());
            FUZZ_CHECK(sameRecord(got.at(i), fileInfoJsonUtil::fromJson(v.toObject())));
            ++i;
        }
        FUZZ_CHECK(i == got.size());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const int op = data[0] % 5;
    const QString store = scratchFolder() + QStringLiteral("/filecy.json");
    {
        QFile f(store);
        FUZZ_CHECK(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        FUZZ_CHECK(f.write(reinterpret_cast<const char*>(data) + 1, qint64(size - 1)) == qint64(size - 1));
    }
    const QJsonObject before = readAsStore(store);
    checkReaders(store, before);

    // The path of the first pinned record, when there is one, so that
    // removal and renaming find something to change.
    QString existing = QStringLiteral("/a");
    for (const QJsonValue& v : before.value(kOftenUse).toArray()) {
        if (v.isObject()) {
            existing = v.toObject().value(QStringLiteral("path")).toString();
            break;
        }
    }
    FileInfo record;
    record.name = QStringLiteral("新 \"x\"\\\t");
    record.type = QStringLiteral("文件夹");
    record.path = QStringLiteral("/工程/新");
    record.size = QStringLiteral("1KB");

    QString changed;
    QJsonObject expected = before;
    switch (op) {
    case 0:
    case 1: {
        changed = op == 0 ? kOftenUse : kRecent;
        fileInfoJsonUtil::WriteJsonFromFileInfo(store, changed, record);
        QJsonArray array = before.value(changed).toArray();
        array.append(fileInfoJsonUtil::toJson(record));
        if (array.size() > 10)
            array.removeAt(0);
        expected.insert(changed, array);
        break;
    }
    case 2:
        changed = kLastPath;
        fileInfoJsonUtil::UpdateJsonFromLastPath(store, record.path);
        expected.insert(changed, record.path);
        break;
    case 3:
    case 4: {
        changed = kOftenUse;
        if (op == 3)
            fileInfoJsonUtil::RemoveFileInfoFromJson(store, kOftenUse, existing);
        else
            fileInfoJsonUtil::RenameFileInfoInJson(store, kOftenUse, existing, record.name, record.path);
        QJsonArray array = before.value(kOftenUse).toArray();
        for (int i = 0; i < array.size() && before.value(kOftenUse).isArray(); ++i) {
            QJsonObject entry = array.at(i).toObject();
            if (!array.at(i).isObject() || entry.value(QStringLiteral("path")) != QJsonValue(existing))
                continue;
            if (op == 3) {
                array.removeAt(i);
            } else {
                entry.insert(QStringLiteral("name"), record.name);
                entry.insert(QStringLiteral("path"), record.path);
                array.replace(i, entry);
            }
            expected.insert(kOftenUse, array);
            break;
        }
        break;
    }
    }

    bool isObject = false;
    const QJsonObject after = readAsStore(store, &isObject);
    // Removal and renaming without a match leave a bad file as it was.
    FUZZ_CHECK(isObject || expected == before);
    // Compared as it stands, or as the JSON writer spells the expected
    // object: texts the writer cannot spell exactly (lone surrogates) count
    // as kept, and Qt orders keys holding U+0000 differently once they have
    // been written and read again, so a store left untouched only matches
    // the first form.
    if (isObject)
        FUZZ_CHECK(after == expected
                   || after == QJsonDocument::fromJson(QJsonDocument(expected).toJson()).object());
    checkReaders(store, after);
    return 0;
}
