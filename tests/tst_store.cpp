// The store: reading and rewriting filecy.json, its limits, and what bad
// files and unwritable folders do.
#include "fileInfoJsonUtil.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

FileInfo folder(const QString& name, const QString& path)
{
    FileInfo f;
    f.name = name;
    f.type = QStringLiteral("文件夹");
    f.path = path;
    f.datetime = QStringLiteral("2024-02-03 04:05:06");
    f.displayName = QStringLiteral("never stored");
    return f;
}

void writeRaw(const QString& file, const QByteArray& bytes)
{
    QFile f(file);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(bytes);
}

QByteArray readRaw(const QString& file)
{
    QFile f(file);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QJsonObject readObject(const QString& file)
{
    return QJsonDocument::fromJson(readRaw(file)).object();
}

QStringList paths(const QString& file, const QString& key)
{
    QList<FileInfo> list;
    fileInfoJsonUtil::ReadFileInfoListFromJson(file, key, list);
    QStringList out;
    for (const FileInfo& f : list)
        out << f.path;
    return out;
}

} // namespace

class TestStore : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void recordRoundTripsSixMembers();
    void eleventhEntryDropsTheOldest();
    void handEditedLongArrayShrinksByNothing();
    void otherKeysSurviveEveryWrite();
    void lastPathReadAndWritten();
    void nonArrayMemberBecomesOneElementArray();
    void nonObjectEntriesAreSkipped();
    void removeTakesFirstMatchOnly();
    void removeWithoutMatchLeavesFileUntouched();
    void renameKeepsOtherMembers();
    void writtenIndentedAsUtf8();

    void badStoreReadsAsEmpty_data();
    void badStoreReadsAsEmpty();
    void badStoreIsReplacedByNextWrite_data();
    void badStoreIsReplacedByNextWrite();
    void membersThatAreNotStringsReadEmpty();
    void largeStoreStillWorks();
    void unwritableFolderWarnsAndLeavesFile();
    void removalAndRenameFailSilentlyWhenUnwritable();
    void twoProcessesNeverLeaveBrokenStore();

private:
    QTemporaryDir* m_dir = nullptr;
    QString m_store;
};

void TestStore::init()
{
    delete m_dir;
    m_dir = new QTemporaryDir;
    m_store = m_dir->path() + QStringLiteral("/filecy.json");
}

void TestStore::recordRoundTripsSixMembers()
{
    FileInfo f = folder(QStringLiteral("工程 & #1"), QStringLiteral("/a/工程 & #1"));
    f.size = QStringLiteral("12KB");
    f.symLinkTarget = QStringLiteral("/b");
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_store, QStringLiteral("OftenUse"), f);
    const QJsonObject stored = readObject(m_store).value(QStringLiteral("OftenUse")).toArray().at(0).toObject();
    QCOMPARE(stored.keys(), (QStringList{"datetime", "name", "path", "size", "symLinkTarget", "type"}));
    QList<FileInfo> back;
    fileInfoJsonUtil::ReadFileInfoListFromJson(m_store, QStringLiteral("OftenUse"), back);
    QCOMPARE(back.size(), 1);
    QCOMPARE(back.at(0).name, f.name);
    QCOMPARE(back.at(0).size, f.size);
    QCOMPARE(back.at(0).type, f.type);
    QCOMPARE(back.at(0).datetime, f.datetime);
    QCOMPARE(back.at(0).path, f.path);
    QCOMPARE(back.at(0).symLinkTarget, f.symLinkTarget);
    QVERIFY(back.at(0).displayName.isEmpty());
}

void TestStore::eleventhEntryDropsTheOldest()
{
    for (int i = 0; i < 11; ++i)
        fileInfoJsonUtil::WriteJsonFromFileInfo(m_store, QStringLiteral("OftenUse"),
                                                folder(QString::number(i), QStringLiteral("/p/%1").arg(i)));
    const QStringList stored = paths(m_store, QStringLiteral("OftenUse"));
    QCOMPARE(stored.size(), 10);
    QCOMPARE(stored.first(), QStringLiteral("/p/1"));
    QCOMPARE(stored.last(), QStringLiteral("/p/10"));
    QCOMPARE(fileInfoJsonUtil::GetArraySizeFromJson(m_store, QStringLiteral("OftenUse")), 10);
}

void TestStore::handEditedLongArrayShrinksByNothing()
{
    QJsonArray twelve;
    for (int i = 0; i < 12; ++i)
        twelve.append(fileInfoJsonUtil::toJson(folder(QString::number(i), QStringLiteral("/h/%1").arg(i))));
    writeRaw(m_store, QJsonDocument(QJsonObject{{"RecentFile", twelve}}).toJson());
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_store, QStringLiteral("RecentFile"), folder("new", "/h/new"));
    const QStringList stored = paths(m_store, QStringLiteral("RecentFile"));
    QCOMPARE(stored.size(), 12);
    QCOMPARE(stored.first(), QStringLiteral("/h/1"));
    QCOMPARE(stored.last(), QStringLiteral("/h/new"));
}

void TestStore::otherKeysSurviveEveryWrite()
{
    writeRaw(m_store, R"({"Theme": {"dark": true}, "LastPath": "/x", "Version": 3})");
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_store, QStringLiteral("OftenUse"), folder("a", "/a"));
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/y"));
    fileInfoJsonUtil::RenameFileInfoInJson(m_store, QStringLiteral("OftenUse"), "/a", "b", "/b");
    fileInfoJsonUtil::RemoveFileInfoFromJson(m_store, QStringLiteral("OftenUse"), "/b");
    const QJsonObject o = readObject(m_store);
    QCOMPARE(o.value("Theme").toObject().value("dark").toBool(), true);
    QCOMPARE(o.value("Version").toInt(), 3);
    QCOMPARE(o.value("LastPath").toString(), QStringLiteral("/y"));
    QCOMPARE(o.value("OftenUse").toArray().size(), 0);
}

void TestStore::lastPathReadAndWritten()
{
    QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(m_store), QString());
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("D:\\工程\\预算"));
    QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(m_store), QStringLiteral("D:\\工程\\预算"));
    writeRaw(m_store, R"({"LastPath": 12})");
    QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(m_store), QString());
}

void TestStore::nonArrayMemberBecomesOneElementArray()
{
    writeRaw(m_store, R"({"OftenUse": "C:\\x", "RecentFile": {"a": 1}})");
    QCOMPARE(fileInfoJsonUtil::GetArraySizeFromJson(m_store, QStringLiteral("OftenUse")), 0);
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_store, QStringLiteral("OftenUse"), folder("a", "/a"));
    QCOMPARE(paths(m_store, QStringLiteral("OftenUse")), QStringList{"/a"});
    QVERIFY(readObject(m_store).value("RecentFile").isObject());
}

void TestStore::nonObjectEntriesAreSkipped()
{
    const QByteArray raw = R"({"OftenUse": [1, "x", null, [], {"path": "/a", "name": "a"}, true, {"path": "/b"}]})";
    writeRaw(m_store, raw);
    QCOMPARE(paths(m_store, QStringLiteral("OftenUse")), (QStringList{"/a", "/b"}));
    QCOMPARE(fileInfoJsonUtil::GetArraySizeFromJson(m_store, QStringLiteral("OftenUse")), 7);
    fileInfoJsonUtil::RenameFileInfoInJson(m_store, QStringLiteral("OftenUse"), "/b", "bb", "/bb");
    QCOMPARE(paths(m_store, QStringLiteral("OftenUse")), (QStringList{"/a", "/bb"}));
    fileInfoJsonUtil::RemoveFileInfoFromJson(m_store, QStringLiteral("OftenUse"), "/a");
    QCOMPARE(paths(m_store, QStringLiteral("OftenUse")), QStringList{"/bb"});
    QCOMPARE(fileInfoJsonUtil::GetArraySizeFromJson(m_store, QStringLiteral("OftenUse")), 6);
}

void TestStore::removeTakesFirstMatchOnly()
{
    for (const char* p : {"/a", "/b", "/a"})
        fileInfoJsonUtil::WriteJsonFromFileInfo(m_store, QStringLiteral("OftenUse"), folder("n", QLatin1String(p)));
    fileInfoJsonUtil::RemoveFileInfoFromJson(m_store, QStringLiteral("OftenUse"), QStringLiteral("/a"));
    QCOMPARE(paths(m_store, QStringLiteral("OftenUse")), (QStringList{"/b", "/a"}));
    // Paths compare exactly: other case or separators are other paths.
    fileInfoJsonUtil::RemoveFileInfoFromJson(m_store, QStringLiteral("OftenUse"), QStringLiteral("/B"));
    QCOMPARE(paths(m_store, QStringLiteral("OftenUse")).size(), 2);
}

void TestStore::removeWithoutMatchLeavesFileUntouched()
{
    writeRaw(m_store, R"({"OftenUse":[{"path":"/a"}],   "x":1})");
    const QByteArray before = readRaw(m_store);
    fileInfoJsonUtil::RemoveFileInfoFromJson(m_store, QStringLiteral("OftenUse"), QStringLiteral("/zz"));
    fileInfoJsonUtil::RenameFileInfoInJson(m_store, QStringLiteral("OftenUse"), "/zz", "n", "/n");
    fileInfoJsonUtil::RemoveFileInfoFromJson(m_store, QStringLiteral("Missing"), QStringLiteral("/a"));
    QCOMPARE(readRaw(m_store), before);
}

void TestStore::renameKeepsOtherMembers()
{
    FileInfo f = folder("old", "/old");
    f.symLinkTarget = QStringLiteral("/target");
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_store, QStringLiteral("OftenUse"), f);
    fileInfoJsonUtil::RenameFileInfoInJson(m_store, QStringLiteral("OftenUse"), "/old", "新", "/新");
    QList<FileInfo> back;
    fileInfoJsonUtil::ReadFileInfoListFromJson(m_store, QStringLiteral("OftenUse"), back);
    QCOMPARE(back.at(0).name, QStringLiteral("新"));
    QCOMPARE(back.at(0).path, QStringLiteral("/新"));
    QCOMPARE(back.at(0).symLinkTarget, QStringLiteral("/target"));
    QCOMPARE(back.at(0).type, QStringLiteral("文件夹"));
}

void TestStore::writtenIndentedAsUtf8()
{
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/工程"));
    const QByteArray raw = readRaw(m_store);
    QVERIFY(raw.contains("\n    \"LastPath\": \"/工程\""));
}

void TestStore::badStoreReadsAsEmpty_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("exists");
    QTest::newRow("missing") << QByteArray() << false;
    QTest::newRow("empty") << QByteArray() << true;
    QTest::newRow("invalid JSON") << QByteArray("{\"LastPath\": \"/x\",") << true;
    QTest::newRow("top-level array") << QByteArray("[{\"LastPath\": \"/x\"}]") << true;
    QTest::newRow("binary") << QByteArray("\x00\xff\xfe{", 4) << true;
}

void TestStore::badStoreReadsAsEmpty()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, exists);
    if (exists)
        writeRaw(m_store, content);
    QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(m_store), QString());
    QCOMPARE(fileInfoJsonUtil::GetArraySizeFromJson(m_store, QStringLiteral("OftenUse")), 0);
    QList<FileInfo> list;
    fileInfoJsonUtil::ReadFileInfoListFromJson(m_store, QStringLiteral("OftenUse"), list);
    QVERIFY(list.isEmpty());
    fileInfoJsonUtil::RemoveFileInfoFromJson(m_store, QStringLiteral("OftenUse"), QStringLiteral("/x"));
    QCOMPARE(QFile::exists(m_store), exists);
}

void TestStore::badStoreIsReplacedByNextWrite_data()
{
    badStoreReadsAsEmpty_data();
}

void TestStore::badStoreIsReplacedByNextWrite()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, exists);
    if (exists)
        writeRaw(m_store, content);
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_store, QStringLiteral("OftenUse"), folder("a", "/a"));
    const QJsonObject o = readObject(m_store);
    QCOMPARE(o.keys(), QStringList{"OftenUse"});
    QCOMPARE(paths(m_store, QStringLiteral("OftenUse")), QStringList{"/a"});
}

void TestStore::membersThatAreNotStringsReadEmpty()
{
    writeRaw(m_store, R"({"RecentFile": [{"name": 1, "size": 2048, "type": null, "path": ["/x"], "datetime": {}}]})");
    QList<FileInfo> list;
    fileInfoJsonUtil::ReadFileInfoListFromJson(m_store, QStringLiteral("RecentFile"), list);
    QCOMPARE(list.size(), 1);
    QVERIFY(list.at(0).name.isEmpty() && list.at(0).size.isEmpty() && list.at(0).type.isEmpty()
            && list.at(0).path.isEmpty() && list.at(0).datetime.isEmpty() && list.at(0).symLinkTarget.isEmpty());
}

void TestStore::largeStoreStillWorks()
{
    QJsonObject o;
    o.insert(QStringLiteral("Padding"), QString(5 * 1024 * 1024, QLatin1Char('x')));
    o.insert(QStringLiteral("LastPath"), QStringLiteral("/big"));
    writeRaw(m_store, QJsonDocument(o).toJson());
    QVERIFY(QFileInfo(m_store).size() > 5 * 1024 * 1024);
    QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(m_store), QStringLiteral("/big"));
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_store, QStringLiteral("OftenUse"), folder("a", "/a"));
    QCOMPARE(readObject(m_store).value("Padding").toString().size(), 5 * 1024 * 1024);
    QCOMPARE(paths(m_store, QStringLiteral("OftenUse")), QStringList{"/a"});
}

void TestStore::unwritableFolderWarnsAndLeavesFile()
{
    // A store whose folder is in fact a file cannot be written by anyone,
    // the super-user included.
    const QString blocker = m_dir->path() + QStringLiteral("/not-a-folder");
    writeRaw(blocker, "file");
    const QString store = blocker + QStringLiteral("/filecy.json");
    QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral("无法写入文件：") + store));
    fileInfoJsonUtil::WriteJsonFromFileInfo(store, QStringLiteral("OftenUse"), folder("a", "/a"));
    QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral("无法写入文件：") + store));
    fileInfoJsonUtil::UpdateJsonFromLastPath(store, QStringLiteral("/a"));
    QCOMPARE(readRaw(blocker), QByteArray("file"));

    // An existing store in a folder that may not change keeps its content.
    writeRaw(m_store, R"({"LastPath": "/keep"})");
    if (QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("+i"), m_dir->path()}) == 0) {
        QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral("无法写入文件：") + m_store));
        fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/changed"));
        QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("-i"), m_dir->path()});
        QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(m_store), QStringLiteral("/keep"));
    }
}

void TestStore::removalAndRenameFailSilentlyWhenUnwritable()
{
    writeRaw(m_store, R"({"OftenUse": [{"path": "/a"}]})");
    if (QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("+i"), m_dir->path()}) != 0)
        QSKIP("folders cannot be made immutable here");
    static int warnings = 0;
    warnings = 0;
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString&) {
        if (type == QtWarningMsg)
            ++warnings;
    });
    fileInfoJsonUtil::RemoveFileInfoFromJson(m_store, QStringLiteral("OftenUse"), QStringLiteral("/a"));
    fileInfoJsonUtil::RenameFileInfoInJson(m_store, QStringLiteral("OftenUse"), "/a", "b", "/b");
    qInstallMessageHandler(previous);
    QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("-i"), m_dir->path()});
    QCOMPARE(warnings, 0);
    QCOMPARE(paths(m_store, QStringLiteral("OftenUse")), QStringList{"/a"});
}

void TestStore::twoProcessesNeverLeaveBrokenStore()
{
    QProcess a, b;
    a.start(QStringLiteral(PFD_STOREWRITER), {m_store, QStringLiteral("A"), QStringLiteral("300")});
    b.start(QStringLiteral(PFD_STOREWRITER), {m_store, QStringLiteral("B"), QStringLiteral("300")});
    QVERIFY(a.waitForStarted() && b.waitForStarted());
    int reads = 0;
    while (a.state() != QProcess::NotRunning || b.state() != QProcess::NotRunning) {
        const QByteArray raw = readRaw(m_store);
        if (!raw.isEmpty()) {
            QJsonParseError err;
            const QJsonDocument doc = QJsonDocument::fromJson(raw, &err);
            QVERIFY2(err.error == QJsonParseError::NoError && doc.isObject(), raw.left(200).constData());
            ++reads;
        }
        a.waitForFinished(1);
        b.waitForFinished(1);
    }
    QCOMPARE(a.exitCode(), 0);
    QCOMPARE(b.exitCode(), 0);
    QVERIFY(reads > 0);
    const QJsonObject o = readObject(m_store);
    QVERIFY(o.value("OftenUse").toArray().size() <= 10);
    QVERIFY(o.value("RecentFile").toArray().size() <= 10);
    QVERIFY(o.value("LastPath").toString().startsWith(QLatin1String("/projects/")));
}

QTEST_MAIN(TestStore)
#include "tst_store.moc"
