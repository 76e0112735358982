// The store: reading and rewriting filecy.json, its limits, and what bad
// files and unwritable folders do.
#include "fileInfoJsonUtil.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

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
    void initTestCase();
    void init();
    void cleanup();

    void recordRoundTripsSixMembers();
    void eleventhEntryDropsTheOldest();
    void handEditedLongArrayShrinksByNothing();
    void otherKeysSurviveEveryWrite();
    void lastPathReadAndWritten();
    void sameLastPathLeavesTheStoreAsItIs();
    void sameLastPathOnAStoreThatCannotChangeStillWarns();
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
    void storeInFixedFolderIsWrittenInPlace();
    void inPlaceWriteNeverShortensTheFile();
    void removalAndRenameFailSilentlyWhenUnwritable();
    void twoProcessesNeverLeaveBrokenStore();
    void fullDiskLeavesStoreWhole_data();
    void fullDiskLeavesStoreWhole();
    void killedWritesNeverBreakStore();
    void leftoversGoWithTheNextWrite();
    void cleanupTestCase();

private:
    QTemporaryDir* m_dir = nullptr;
    QString m_store;
    QStringList m_tempBefore;
    int m_intact = 0;
    int m_changed = 0;
};

namespace {

// Temporary folders of this run only: other runs of the suite may share the
// machine's temporary folder.
QString ownTempPrefix()
{
    return QStringLiteral("%1-%2-").arg(QCoreApplication::applicationName()).arg(QCoreApplication::applicationPid());
}

QStringList ownTempFolders()
{
    return QDir(QDir::tempPath()).entryList({ownTempPrefix() + QLatin1Char('*')}, QDir::Dirs | QDir::NoDotAndDotDot);
}

bool setImmutable(const QString& path, bool on)
{
    return QProcess::execute(QStringLiteral("chattr"), {on ? QStringLiteral("+i") : QStringLiteral("-i"), path}) == 0;
}

// Temporary files a write left beside the store.
QStringList leftovers(const QString& folder)
{
    return QDir(folder).entryList({QStringLiteral("filecy.json.*")}, QDir::Files | QDir::Hidden, QDir::Name);
}

// A store as a user has it after a while: ten pins, ten recent projects, the
// last folder and a key of some other version.
void fillStore(const QString& store)
{
    for (int i = 0; i < 10; ++i) {
        fileInfoJsonUtil::WriteJsonFromFileInfo(store, QStringLiteral("OftenUse"),
                                                folder(QStringLiteral("pin%1").arg(i), QStringLiteral("/pins/%1").arg(i)));
        FileInfo p = folder(QStringLiteral("预算%1.GCFX").arg(i), QStringLiteral("/projects/预算%1.GCFX").arg(i));
        p.type = QStringLiteral("GCFX 文件");
        p.size = QStringLiteral("12.5KB");
        fileInfoJsonUtil::WriteJsonFromFileInfo(store, QStringLiteral("RecentFile"), p);
    }
    fileInfoJsonUtil::UpdateJsonFromLastPath(store, QStringLiteral("/projects"));
    QJsonObject o = readObject(store);
    o.insert(QStringLiteral("Theme"), QJsonObject{{"dark", true}});
    writeRaw(store, QJsonDocument(o).toJson());
}

} // namespace

void TestStore::initTestCase()
{
    m_tempBefore = ownTempFolders();
}

void TestStore::cleanupTestCase()
{
    qInfo("full-disk cases: %d left the store byte for byte as it was, %d wrote the change whole",
          m_intact, m_changed);
    QStringList left = ownTempFolders();
    for (const QString& name : qAsConst(m_tempBefore))
        left.removeAll(name);
    QCOMPARE(left, QStringList());
}

void TestStore::init()
{
    m_dir = new QTemporaryDir(QDir::tempPath() + QLatin1Char('/') + ownTempPrefix() + QStringLiteral("XXXXXX"));
    m_store = m_dir->path() + QStringLiteral("/filecy.json");
}

void TestStore::cleanup()
{
    // Nothing of a test outlives it, immutable flags included.
    QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("-R"), QStringLiteral("-i"), m_dir->path()});
    delete m_dir;
    m_dir = nullptr;
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

void TestStore::sameLastPathLeavesTheStoreAsItIs()
{
    fillStore(m_store);
    const auto inode = [this] {
        struct stat st;
        return ::stat(QFile::encodeName(m_store).constData(), &st) == 0 ? st.st_ino : ino_t(0);
    };
    const QByteArray before = readRaw(m_store);
    const ino_t first = inode();
    QVERIFY(first != 0);
    // The same document is written again over itself: the file is
    // rewritten (its time moves on) where it stands, with the same bytes.
    const QDateTime old = QDateTime::currentDateTime().addDays(-2);
    {
        QFile f(m_store);
        QVERIFY(f.open(QIODevice::ReadWrite));
        QVERIFY(f.setFileTime(old, QFileDevice::FileModificationTime));
    }
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/projects"));
    QCOMPARE(inode(), first);
    QCOMPARE(readRaw(m_store), before);
    QVERIFY(QFileInfo(m_store).lastModified() > old.addDays(1));
    // Another folder goes through a new file renamed over the store.
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/projects/2024"));
    QVERIFY(inode() != first);
    QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(m_store), QStringLiteral("/projects/2024"));
    // A store in another layout holding the same folder is written out in
    // the usual layout.
    writeRaw(m_store, R"({"LastPath":"/same"})");
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/same"));
    QCOMPARE(readRaw(m_store), QByteArray("{\n    \"LastPath\": \"/same\"\n}\n"));
}

void TestStore::sameLastPathOnAStoreThatCannotChangeStillWarns()
{
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/keep"));
    if (!setImmutable(m_store, true))
        QSKIP("files cannot be made immutable here");
    QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral("无法写入文件：") + m_store));
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/keep"));
    setImmutable(m_store, false);
    QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(m_store), QStringLiteral("/keep"));
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

    // A store that may not change keeps its content, whatever its folder.
    writeRaw(m_store, R"({"LastPath": "/keep"})");
    if (setImmutable(m_store, true)) {
        QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral("无法写入文件：") + m_store));
        fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/changed"));
        setImmutable(m_store, false);
        QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(m_store), QStringLiteral("/keep"));
    }
}

void TestStore::storeInFixedFolderIsWrittenInPlace()
{
    // No file can be made beside the store, but the store itself is
    // writable: every kind of write still lands in it.
    fillStore(m_store);
    if (!setImmutable(m_dir->path(), true))
        QSKIP("folders cannot be made immutable here");
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/a/much/longer/last/folder/than/before"));
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_store, QStringLiteral("OftenUse"), folder("新", "/新"));
    fileInfoJsonUtil::RemoveFileInfoFromJson(m_store, QStringLiteral("OftenUse"), QStringLiteral("/pins/5"));
    fileInfoJsonUtil::RenameFileInfoInJson(m_store, QStringLiteral("OftenUse"), "/pins/6", "六", "/pins/六");
    setImmutable(m_dir->path(), false);
    const QJsonObject o = readObject(m_store);
    QCOMPARE(o.value("LastPath").toString(), QStringLiteral("/a/much/longer/last/folder/than/before"));
    QCOMPARE(paths(m_store, QStringLiteral("OftenUse")),
             (QStringList{"/pins/1", "/pins/2", "/pins/3", "/pins/4", "/pins/六", "/pins/7", "/pins/8", "/pins/9", "/新"}));
    QCOMPARE(paths(m_store, QStringLiteral("RecentFile")).size(), 10);
    QVERIFY(o.value("Theme").isObject());
    QCOMPARE(leftovers(m_dir->path()), QStringList());
}

void TestStore::inPlaceWriteNeverShortensTheFile()
{
    // Written in place, a shorter document is followed by blanks rather than
    // the file being cut: a cut could not be undone on a full disk.
    fillStore(m_store);
    const qint64 size = QFileInfo(m_store).size();
    if (!setImmutable(m_dir->path(), true))
        QSKIP("folders cannot be made immutable here");
    for (int i = 0; i < 10; ++i)
        fileInfoJsonUtil::RemoveFileInfoFromJson(m_store, QStringLiteral("RecentFile"),
                                                 QStringLiteral("/projects/预算%1.GCFX").arg(i));
    setImmutable(m_dir->path(), false);
    QCOMPARE(QFileInfo(m_store).size(), size);
    QCOMPARE(fileInfoJsonUtil::GetArraySizeFromJson(m_store, QStringLiteral("RecentFile")), 0);
    QCOMPARE(paths(m_store, QStringLiteral("OftenUse")).size(), 10);
    QVERIFY(readRaw(m_store).trimmed().endsWith('}'));
    // Once the folder may change again, the next write is compact again.
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/x"));
    QVERIFY(QFileInfo(m_store).size() < size);
}

void TestStore::removalAndRenameFailSilentlyWhenUnwritable()
{
    writeRaw(m_store, R"({"OftenUse": [{"path": "/a"}]})");
    if (!setImmutable(m_store, true))
        QSKIP("files cannot be made immutable here");
    static int warnings = 0;
    warnings = 0;
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString&) {
        if (type == QtWarningMsg)
            ++warnings;
    });
    fileInfoJsonUtil::RemoveFileInfoFromJson(m_store, QStringLiteral("OftenUse"), QStringLiteral("/a"));
    fileInfoJsonUtil::RenameFileInfoInJson(m_store, QStringLiteral("OftenUse"), "/a", "b", "/b");
    qInstallMessageHandler(previous);
    setImmutable(m_store, false);
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

void TestStore::fullDiskLeavesStoreWhole_data()
{
    QTest::addColumn<QString>("way");
    QTest::addColumn<QString>("op");
    QTest::addColumn<bool>("inPlace");
    for (const char* way : {"tmpfs", "file-size limit"}) {
        for (const char* op : {"pin", "recent", "lastpath", "remove", "rename"}) {
            for (bool inPlace : {false, true})
                QTest::addRow("%s, %s, %s", way, op, inPlace ? "written in place" : "written aside")
                    << QString::fromLatin1(way) << QString::fromLatin1(op) << inPlace;
        }
    }
}

void TestStore::fullDiskLeavesStoreWhole()
{
    QFETCH(QString, way);
    QFETCH(QString, op);
    QFETCH(bool, inPlace);
    const QString disk = m_dir->path() + QStringLiteral("/disk");
    QVERIFY(QDir().mkpath(disk));
    const QString store = disk + QStringLiteral("/filecy.json");
    bool mounted = false;
    bool fixed = false;
    auto undo = qScopeGuard([&] {
        if (fixed)
            setImmutable(disk, false);
        if (mounted)
            QProcess::execute(QStringLiteral("umount"), {QStringLiteral("-l"), disk});
    });

    QStringList limit;
    if (way == QLatin1String("tmpfs")) {
        // A small file system of its own, where the test may mount one.
        QProcess mount;
        mount.start(QStringLiteral("mount"), {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                                              QStringLiteral("size=64k,nr_inodes=64"), QStringLiteral("pfd-full"), disk});
        mounted = mount.waitForFinished() && mount.exitStatus() == QProcess::NormalExit && mount.exitCode() == 0;
        if (!mounted)
            QSKIP("no file system can be mounted here; the file-size limit rows stand in");
        fillStore(store);
        // The store ends a few bytes short of a page boundary, so that any
        // longer store needs a page more.
        QJsonObject o = readObject(store);
        for (int round = 0; round < 3; ++round) {
            const qint64 size = QFileInfo(store).size();
            const qint64 want = (size / 4096 + 1) * 4096 - 8;
            o.insert(QStringLiteral("Padding"), QString(int(o.value("Padding").toString().size() + want - size), QLatin1Char('p')));
            writeRaw(store, QJsonDocument(o).toJson());
        }
        QCOMPARE(QFileInfo(store).size() % 4096, qint64(4096 - 8));
        // Every free page taken; written in place, every free inode too, so
        // that no temporary file can be made.
        QFile filler(disk + QStringLiteral("/filler"));
        QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        const QByteArray page(4096, 'f');
        while (filler.write(page) == page.size()) {
        }
        while (filler.write("f", 1) == 1) {
        }
        filler.close();
        for (int i = 0; inPlace; ++i) {
            QFile empty(disk + QStringLiteral("/inode%1").arg(i));
            if (!empty.open(QIODevice::WriteOnly))
                break;
        }
    } else {
        // Writes past the store's present size fail as on a full disk.
        fillStore(store);
        limit << QStringLiteral("--fsize-limit") << QString::number(QFileInfo(store).size());
        if (inPlace) {
            fixed = setImmutable(disk, true);
            if (!fixed)
                QSKIP("folders cannot be made immutable here");
        }
    }
    const QByteArray before = readRaw(store);
    QVERIFY(!before.isEmpty());

    QProcess writer;
    writer.start(QStringLiteral(PFD_STOREWRITER), QStringList{store, QStringLiteral("--op"), op} + limit);
    QVERIFY(writer.waitForFinished(60000));
    QCOMPARE(writer.exitStatus(), QProcess::NormalExit);
    QCOMPARE(writer.exitCode(), 0);
    const QString messages = QString::fromUtf8(writer.readAllStandardError());
    if (fixed)
        fixed = !setImmutable(disk, false);

    const QByteArray after = readRaw(store);
    QCOMPARE(leftovers(disk), QStringList());
    const bool warned = messages.contains(QStringLiteral("无法写入文件：") + store);
    if (after == before) {
        // Only writes of pins, recent projects and the last folder say so.
        QCOMPARE(warned, op == QLatin1String("pin") || op == QLatin1String("recent") || op == QLatin1String("lastpath"));
        qInfo("%s: the store kept byte for byte", QTest::currentDataTag());
        ++m_intact;
        return;
    }
    // A change that found room is there whole, the rest kept.
    QVERIFY(!warned);
    qInfo("%s: the change written whole", QTest::currentDataTag());
    ++m_changed;
    QJsonParseError err;
    const QJsonObject o = QJsonDocument::fromJson(after, &err).object();
    QCOMPARE(err.error, QJsonParseError::NoError);
    QVERIFY(o.value("Theme").isObject());
    QCOMPARE(o.value("RecentFile").toArray().size(), 10);
    const QStringList pins = paths(store, QStringLiteral("OftenUse"));
    if (op == QLatin1String("remove"))
        QVERIFY(pins.size() == 9 && !pins.contains(QStringLiteral("/pins/3")));
    else
        QCOMPARE(pins.size(), 10);
    if (op == QLatin1String("lastpath"))
        QVERIFY(o.value("LastPath").toString().startsWith(QLatin1String("/new/")));
    else
        QCOMPARE(o.value("LastPath").toString(), QStringLiteral("/projects"));
}

void TestStore::killedWritesNeverBreakStore()
{
    // A large store makes each write long enough for kills to land inside.
    QJsonObject o;
    o.insert(QStringLiteral("Padding"), QString(2 * 1024 * 1024, QLatin1Char('p')));
    writeRaw(m_store, QJsonDocument(o).toJson());
    QRandomGenerator random(20240305);
    for (int round = 0; round < 12; ++round) {
        QProcess writer;
        writer.start(QStringLiteral(PFD_STOREWRITER), {m_store, QStringLiteral("K"), QStringLiteral("100000")});
        QVERIFY(writer.waitForStarted());
        // Waiting for the process to end with a timeout is no sleep to
        // synchronise on: the writer never ends by itself this soon.
        writer.waitForFinished(int(random.bounded(20, 120)));
        writer.kill();
        QVERIFY(writer.waitForFinished());
        QJsonParseError err;
        const QJsonObject stored = QJsonDocument::fromJson(readRaw(m_store), &err).object();
        QCOMPARE(err.error, QJsonParseError::NoError);
        QCOMPARE(stored.value("Padding").toString().size(), 2 * 1024 * 1024);
    }
    // Whatever the kills left beside the store is complete or not, but never
    // the store; the next write takes it away once it is old enough.
    for (const QString& name : leftovers(m_dir->path())) {
        QFile f(m_dir->path() + QLatin1Char('/') + name);
        QVERIFY(f.open(QIODevice::ReadWrite));
        QVERIFY(f.setFileTime(QDateTime::currentDateTime().addSecs(-3600), QFileDevice::FileModificationTime));
    }
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/after"));
    QCOMPARE(leftovers(m_dir->path()), QStringList());
    QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(m_store), QStringLiteral("/after"));
}

void TestStore::leftoversGoWithTheNextWrite()
{
    fillStore(m_store);
    const QByteArray complete = readRaw(m_store);
    const QString dir = m_dir->path();
    const QDateTime old = QDateTime::currentDateTime().addSecs(-3600);
    auto make = [&](const QString& name, const QDateTime& when) {
        writeRaw(dir + QLatin1Char('/') + name, complete);
        QFile f(dir + QLatin1Char('/') + name);
        QVERIFY(f.open(QIODevice::ReadWrite));
        if (when.isValid())
            QVERIFY(f.setFileTime(when, QFileDevice::FileModificationTime));
    };
    make(QStringLiteral("filecy.json.aB3xYz"), old);       // a killed write's file
    make(QStringLiteral("filecy.json.Q9w8E7"), QDateTime()); // a write in progress
    make(QStringLiteral("filecy.json.bak"), old);          // the user's own
    make(QStringLiteral("filecy.json.aB3xYz1"), old);      // not of our making
    QVERIFY(QDir().mkdir(dir + QStringLiteral("/filecy.json.dir123")));
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_store, QStringLiteral("/next"));
    QCOMPARE(leftovers(dir),
             (QStringList{"filecy.json.Q9w8E7", "filecy.json.aB3xYz1", "filecy.json.bak"}));
    QVERIFY(QFileInfo(dir + QStringLiteral("/filecy.json.dir123")).isDir());
}

QTEST_MAIN(TestStore)
#include "tst_store.moc"
