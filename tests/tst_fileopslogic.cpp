// The file operations without the dialog: copy names, the subfolder test,
// the collectors of files to be replaced, copying, replacing and removing
// trees, new-folder names.
#include "fileops.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

void writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    QCOMPARE(f.write(bytes), qint64(bytes.size()));
}

QByteArray readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

QString native(const QString& path)
{
    return QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath());
}

} // namespace

class TestFileOpsLogic : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void copyNamesFollowTheTable_data();
    void copyNamesFollowTheTable();
    void copyNameOfFreePathIsThePath();
    void copyNameCountsFoldersToo();
    void subdirectory_data();
    void subdirectory();
    void duplicateFileBesideItselfIsNoConflict();
    void duplicateFileElsewhereIsCollectedNative();
    void duplicatesOfTreeFilesFirstThenFolders();
    void duplicatesOfTreeCountHiddenEntries();
    void duplicatesOfMissingTreeAreNone();
    void planRefusesPasteIntoOwnSubfolderOnlyWhenAsked();
    void planCollectsInSourceOrder();
    void copyFileToFreeNameSetsLastName();
    void copyFileBesideItselfMakesCopy();
    void copyFileKeepNameLeavesLastName();
    void copyFileReplacesExistingAndKeepsLastName();
    void copyFileOntoFolderFailsAndKeepsFolder();
    void replaceFromVanishedSourceKeepsOldFile();
    void replaceLeavesNoTemporaryFile();
    void copyContentsKeepsPermissions();
    void copyTreeIntoEmptyFolder();
    void copyTreeBesideItselfGetsCopyName();
    void copyTreeMergesAndReplaces();
    void copyTreeTakesHiddenEntries();
    void copyTreeIntoItsOwnSubfolderEnds();
    void copyTreeOfMissingSourceFails();
    void copyTreeOntoFileFails();
    void deleteDirRemovesTree();
    void deleteDirMissingIsDoneEmptyFails();
    void deleteDirRemovesLinksNotTheirTargets();
    void newFolderNames();
    void newFolderIgnoresPlainFileOfSameName();

private:
    QTemporaryDir m_tmp;
    QString m_root;
};

void TestFileOpsLogic::init()
{
    static int n = 0;
    m_root = m_tmp.path() + QStringLiteral("/case%1").arg(++n);
    QVERIFY(QDir().mkpath(m_root));
}

void TestFileOpsLogic::copyNamesFollowTheTable_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("existing");
    QTest::addColumn<QString>("expected");
    QTest::newRow("suffix, first") << "a.txt" << 1 << "a - 副本.txt";
    QTest::newRow("suffix, second") << "a.txt" << 2 << "a - 副本 (2).txt";
    QTest::newRow("suffix, third") << "a.txt" << 3 << "a - 副本 (3).txt";
    QTest::newRow("no suffix, first") << "notes" << 1 << "notes - 副本";
    QTest::newRow("no suffix, second") << "notes" << 2 << "notes - 副本 (2)";
    QTest::newRow("two dots") << "a.tar.gz" << 1 << "a.tar - 副本.gz";
    // Percent signs of the name stay as they are.
    QTest::newRow("%1, first") << "a%1.txt" << 1 << "a%1 - 副本.txt";
    QTest::newRow("%1, second") << "a%1.txt" << 2 << "a%1 - 副本 (2).txt";
    QTest::newRow("%2, second") << "a%2.txt" << 2 << "a%2 - 副本 (2).txt";
    QTest::newRow("%3, second") << "b%3.txt" << 2 << "b%3 - 副本 (2).txt";
    QTest::newRow("%, second") << "100%.txt" << 2 << "100% - 副本 (2).txt";
    QTest::newRow("%1 alone, second") << "%1" << 2 << "%1 - 副本 (2)";
    QTest::newRow("%2 alone, third") << "%2" << 3 << "%2 - 副本 (3)";
    QTest::newRow("%1 in the suffix, second") << "a.%1" << 2 << "a - 副本 (2).%1";
}

void TestFileOpsLogic::copyNamesFollowTheTable()
{
    QFETCH(QString, name);
    QFETCH(int, existing);
    QFETCH(QString, expected);
    const QString path = m_root + QLatin1Char('/') + name;
    writeFile(path, "x");
    // Each answer, once taken, makes the next one necessary.
    QString answer;
    for (int i = 0; i < existing; ++i) {
        answer = fileops::generateUniqueFileName(path);
        if (i + 1 < existing)
            writeFile(answer, "x");
    }
    QCOMPARE(QFileInfo(answer).fileName(), expected);
    QCOMPARE(QFileInfo(answer).absolutePath(), m_root);
}

void TestFileOpsLogic::copyNameOfFreePathIsThePath()
{
    const QString path = m_root + QStringLiteral("/free.txt");
    QCOMPARE(fileops::generateUniqueFileName(path), path);
}

void TestFileOpsLogic::copyNameCountsFoldersToo()
{
    writeFile(m_root + QStringLiteral("/a.txt"), "x");
    QVERIFY(QDir().mkpath(m_root + QStringLiteral("/a - 副本.txt")));
    QCOMPARE(QFileInfo(fileops::generateUniqueFileName(m_root + QStringLiteral("/a.txt"))).fileName(),
             QStringLiteral("a - 副本 (2).txt"));
}

void TestFileOpsLogic::subdirectory_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("target");
    QTest::addColumn<bool>("expected");
    QTest::newRow("inside") << "/data/a" << "/data/a/b/c" << true;
    QTest::newRow("itself") << "/data/a" << "/data/a" << true;
    QTest::newRow("beside") << "/data/a" << "/data/ab" << false;
    QTest::newRow("above") << "/data/a/b" << "/data/a" << false;
    QTest::newRow("other drive") << "C:/x" << "D:/x/y" << false;
    QTest::newRow("empty source") << "" << "/data" << false;
    QTest::newRow("empty target") << "/data" << "" << false;
}

void TestFileOpsLogic::subdirectory()
{
    QFETCH(QString, source);
    QFETCH(QString, target);
    QFETCH(bool, expected);
    QCOMPARE(fileops::isSubdirectory(source, target), expected);
}

void TestFileOpsLogic::duplicateFileBesideItselfIsNoConflict()
{
    const QString a = m_root + QStringLiteral("/a.txt");
    writeFile(a, "x");
    QStringList dups;
    fileops::getDuplicatedFile(dups, a, a);
    QVERIFY(dups.isEmpty());
}

void TestFileOpsLogic::duplicateFileElsewhereIsCollectedNative()
{
    writeFile(m_root + QStringLiteral("/src/a.txt"), "x");
    writeFile(m_root + QStringLiteral("/dst/a.txt"), "y");
    QStringList dups;
    fileops::getDuplicatedFile(dups, m_root + QStringLiteral("/src/a.txt"), m_root + QStringLiteral("/dst/a.txt"));
    fileops::getDuplicatedFile(dups, m_root + QStringLiteral("/src/a.txt"), m_root + QStringLiteral("/dst/b.txt"));
    QCOMPARE(dups, QStringList{native(m_root + QStringLiteral("/dst/a.txt"))});
}

void TestFileOpsLogic::duplicatesOfTreeFilesFirstThenFolders()
{
    for (const char* f : {"s/z.txt", "s/a.txt", "s/sub/b.txt", "s/.hidden", "d/z.txt", "d/a.txt", "d/sub/b.txt", "d/.hidden"})
        writeFile(m_root + QLatin1Char('/') + QLatin1String(f), "x");
    QStringList dups;
    fileops::getDuplicatedFilesRecursively(dups, m_root + QStringLiteral("/s"), m_root + QStringLiteral("/d"));
    QCOMPARE(dups, (QStringList{native(m_root + QStringLiteral("/d/.hidden")),
                                native(m_root + QStringLiteral("/d/a.txt")), native(m_root + QStringLiteral("/d/z.txt")),
                                native(m_root + QStringLiteral("/d/sub/b.txt"))}));
}

void TestFileOpsLogic::duplicatesOfTreeCountHiddenEntries()
{
    // A folder copy takes hidden entries, so one it would replace is asked
    // about like any other.
    for (const char* f : {"s/.dot", "s/.hid/x.txt", "s/v.txt", "d/.dot", "d/.hid/x.txt"})
        writeFile(m_root + QLatin1Char('/') + QLatin1String(f), "x");
    QStringList dups;
    fileops::getDuplicatedFilesRecursively(dups, m_root + QStringLiteral("/s"), m_root + QStringLiteral("/d"));
    QCOMPARE(dups, (QStringList{native(m_root + QStringLiteral("/d/.dot")),
                                native(m_root + QStringLiteral("/d/.hid/x.txt"))}));
}

void TestFileOpsLogic::duplicatesOfMissingTreeAreNone()
{
    QStringList dups;
    fileops::getDuplicatedFilesRecursively(dups, m_root + QStringLiteral("/nothing"), m_root);
    QVERIFY(dups.isEmpty());
}

void TestFileOpsLogic::planRefusesPasteIntoOwnSubfolderOnlyWhenAsked()
{
    QVERIFY(QDir().mkpath(m_root + QStringLiteral("/a/b")));
    const QStringList sources{m_root + QStringLiteral("/a")};
    const fileops::PastePlan refused = fileops::planPaste(sources, m_root + QStringLiteral("/a/b"), true);
    QCOMPARE(refused.refusedSource, sources.first());
    QVERIFY(refused.targetDir.isEmpty());
    const fileops::PastePlan allowed = fileops::planPaste(sources, m_root + QStringLiteral("/a/b"), false);
    QVERIFY(allowed.refusedSource.isEmpty());
    QCOMPARE(allowed.targetDir, m_root + QStringLiteral("/a/b"));
}

void TestFileOpsLogic::planCollectsInSourceOrder()
{
    for (const char* f : {"s/y.txt", "s/x.txt", "s/t/q.txt", "d/y.txt", "d/x.txt", "d/t/q.txt"})
        writeFile(m_root + QLatin1Char('/') + QLatin1String(f), "x");
    const fileops::PastePlan plan = fileops::planPaste(
        {m_root + QStringLiteral("/s/y.txt"), m_root + QStringLiteral("/s/t"), m_root + QStringLiteral("/s/x.txt")},
        m_root + QStringLiteral("/d"), true);
    QCOMPARE(plan.duplicates, (QStringList{native(m_root + QStringLiteral("/d/y.txt")),
                                           native(m_root + QStringLiteral("/d/t/q.txt")),
                                           native(m_root + QStringLiteral("/d/x.txt"))}));
}

void TestFileOpsLogic::copyFileToFreeNameSetsLastName()
{
    writeFile(m_root + QStringLiteral("/s/a.txt"), "abc");
    QString last = QStringLiteral("old");
    QVERIFY(fileops::copyFile(m_root + QStringLiteral("/s/a.txt"), m_root + QStringLiteral("/a.txt"), last, false));
    QCOMPARE(last, QStringLiteral("a.txt"));
    QCOMPARE(readFile(m_root + QStringLiteral("/a.txt")), QByteArray("abc"));
}

void TestFileOpsLogic::copyFileBesideItselfMakesCopy()
{
    const QString a = m_root + QStringLiteral("/a.txt");
    writeFile(a, "abc");
    QString last;
    QVERIFY(fileops::copyFile(a, a, last, false));
    QCOMPARE(last, QStringLiteral("a - 副本.txt"));
    QCOMPARE(readFile(m_root + QStringLiteral("/a - 副本.txt")), QByteArray("abc"));
    QCOMPARE(readFile(a), QByteArray("abc"));
}

void TestFileOpsLogic::copyFileKeepNameLeavesLastName()
{
    writeFile(m_root + QStringLiteral("/s/a.txt"), "abc");
    QString last = QStringLiteral("kept");
    QVERIFY(fileops::copyFile(m_root + QStringLiteral("/s/a.txt"), m_root + QStringLiteral("/a.txt"), last, true));
    QCOMPARE(last, QStringLiteral("kept"));
}

void TestFileOpsLogic::copyFileReplacesExistingAndKeepsLastName()
{
    writeFile(m_root + QStringLiteral("/s/a.txt"), "new content");
    writeFile(m_root + QStringLiteral("/a.txt"), "old");
    QString last = QStringLiteral("before");
    QVERIFY(fileops::copyFile(m_root + QStringLiteral("/s/a.txt"), m_root + QStringLiteral("/a.txt"), last, false));
    QCOMPARE(last, QStringLiteral("before"));
    QCOMPARE(readFile(m_root + QStringLiteral("/a.txt")), QByteArray("new content"));
}

void TestFileOpsLogic::copyFileOntoFolderFailsAndKeepsFolder()
{
    writeFile(m_root + QStringLiteral("/s/a"), "file");
    writeFile(m_root + QStringLiteral("/a/inside.txt"), "kept");
    QString last;
    QVERIFY(!fileops::copyFile(m_root + QStringLiteral("/s/a"), m_root + QStringLiteral("/a"), last, false));
    QCOMPARE(readFile(m_root + QStringLiteral("/a/inside.txt")), QByteArray("kept"));
    QCOMPARE(QDir(m_root).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
             (QStringList{"a", "s"}));
}

void TestFileOpsLogic::replaceFromVanishedSourceKeepsOldFile()
{
    writeFile(m_root + QStringLiteral("/a.txt"), "old");
    QString last;
    QVERIFY(!fileops::copyFile(m_root + QStringLiteral("/gone/a.txt"), m_root + QStringLiteral("/a.txt"), last, false));
    QCOMPARE(readFile(m_root + QStringLiteral("/a.txt")), QByteArray("old"));
}

void TestFileOpsLogic::replaceLeavesNoTemporaryFile()
{
    writeFile(m_root + QStringLiteral("/s/a.txt"), "new");
    writeFile(m_root + QStringLiteral("/d/a.txt"), "old");
    QVERIFY(fileops::copyContents(m_root + QStringLiteral("/s/a.txt"), m_root + QStringLiteral("/d/a.txt"), true));
    QCOMPARE(QDir(m_root + QStringLiteral("/d")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
             QStringList{"a.txt"});
    QVERIFY(!fileops::copyContents(m_root + QStringLiteral("/s/a.txt"), m_root + QStringLiteral("/d/a.txt"), false));
    QCOMPARE(readFile(m_root + QStringLiteral("/d/a.txt")), QByteArray("new"));
}

void TestFileOpsLogic::copyContentsKeepsPermissions()
{
    const QString s = m_root + QStringLiteral("/run.sh");
    writeFile(s, "#!/bin/sh\n");
    const QFile::Permissions perms = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadUser
                                     | QFile::WriteUser | QFile::ExeUser;
    QVERIFY(QFile::setPermissions(s, perms));
    QVERIFY(fileops::copyContents(s, m_root + QStringLiteral("/copy.sh"), false));
    QCOMPARE(QFile::permissions(m_root + QStringLiteral("/copy.sh")), QFile::permissions(s));
}

void TestFileOpsLogic::copyTreeIntoEmptyFolder()
{
    for (const char* f : {"s/a.txt", "s/sub/b.txt", "s/sub/deeper/c.txt"})
        writeFile(m_root + QLatin1Char('/') + QLatin1String(f), f);
    QString last;
    QVERIFY(fileops::copyDirectoryRecursively(m_root + QStringLiteral("/s"), m_root + QStringLiteral("/d/s"), last));
    QCOMPARE(last, QStringLiteral("s"));
    QCOMPARE(readFile(m_root + QStringLiteral("/d/s/sub/deeper/c.txt")), QByteArray("s/sub/deeper/c.txt"));
    QCOMPARE(readFile(m_root + QStringLiteral("/d/s/a.txt")), QByteArray("s/a.txt"));
}

void TestFileOpsLogic::copyTreeBesideItselfGetsCopyName()
{
    writeFile(m_root + QStringLiteral("/s/a.txt"), "a");
    QString last;
    QVERIFY(fileops::copyDirectoryRecursively(m_root + QStringLiteral("/s"), m_root + QStringLiteral("/s"), last));
    QCOMPARE(last, QStringLiteral("s - 副本"));
    QCOMPARE(readFile(m_root + QStringLiteral("/s - 副本/a.txt")), QByteArray("a"));
    QCOMPARE(QDir(m_root + QStringLiteral("/s")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{"a.txt"});
}

void TestFileOpsLogic::copyTreeMergesAndReplaces()
{
    writeFile(m_root + QStringLiteral("/s/a.txt"), "new a");
    writeFile(m_root + QStringLiteral("/s/sub/b.txt"), "new b");
    writeFile(m_root + QStringLiteral("/d/s/a.txt"), "old a");
    writeFile(m_root + QStringLiteral("/d/s/own.txt"), "own");
    QString last = QStringLiteral("x");
    QVERIFY(fileops::copyDirectoryRecursively(m_root + QStringLiteral("/s"), m_root + QStringLiteral("/d/s"), last));
    QCOMPARE(last, QStringLiteral("x"));
    QCOMPARE(readFile(m_root + QStringLiteral("/d/s/a.txt")), QByteArray("new a"));
    QCOMPARE(readFile(m_root + QStringLiteral("/d/s/own.txt")), QByteArray("own"));
    QCOMPARE(readFile(m_root + QStringLiteral("/d/s/sub/b.txt")), QByteArray("new b"));
}

void TestFileOpsLogic::copyTreeTakesHiddenEntries()
{
    writeFile(m_root + QStringLiteral("/s/.dot"), "dot");
    writeFile(m_root + QStringLiteral("/s/.hid/inner.txt"), "inner");
    writeFile(m_root + QStringLiteral("/s/.hid/.deep"), "deep");
    writeFile(m_root + QStringLiteral("/s/v.txt"), "v");
    writeFile(m_root + QStringLiteral("/d/s/.dot"), "old dot");
    QString last;
    QVERIFY(fileops::copyDirectoryRecursively(m_root + QStringLiteral("/s"), m_root + QStringLiteral("/d/s"), last));
    QCOMPARE(readFile(m_root + QStringLiteral("/d/s/.dot")), QByteArray("dot"));
    QCOMPARE(readFile(m_root + QStringLiteral("/d/s/.hid/inner.txt")), QByteArray("inner"));
    QCOMPARE(readFile(m_root + QStringLiteral("/d/s/.hid/.deep")), QByteArray("deep"));
    QCOMPARE(readFile(m_root + QStringLiteral("/d/s/v.txt")), QByteArray("v"));
    // Beside itself too: the copy is the whole folder.
    last.clear();
    QVERIFY(fileops::copyDirectoryRecursively(m_root + QStringLiteral("/s"), m_root + QStringLiteral("/s"), last));
    QCOMPARE(QDir(m_root + QStringLiteral("/s - 副本")).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             (QStringList{".dot", ".hid", "v.txt"}));
    QCOMPARE(readFile(m_root + QStringLiteral("/s - 副本/.hid/.deep")), QByteArray("deep"));
}

void TestFileOpsLogic::copyTreeIntoItsOwnSubfolderEnds()
{
    writeFile(m_root + QStringLiteral("/a/f.txt"), "f");
    writeFile(m_root + QStringLiteral("/a/b/g.txt"), "g");
    QString last;
    QVERIFY(fileops::copyDirectoryRecursively(m_root + QStringLiteral("/a"), m_root + QStringLiteral("/a/b/a"), last));
    QCOMPARE(readFile(m_root + QStringLiteral("/a/b/a/f.txt")), QByteArray("f"));
    QCOMPARE(readFile(m_root + QStringLiteral("/a/b/a/b/g.txt")), QByteArray("g"));
    QVERIFY(!QFileInfo::exists(m_root + QStringLiteral("/a/b/a/b/a")));
}

void TestFileOpsLogic::copyTreeOfMissingSourceFails()
{
    QString last;
    QVERIFY(!fileops::copyDirectoryRecursively(m_root + QStringLiteral("/none"), m_root + QStringLiteral("/d"), last));
    QVERIFY(!QFileInfo::exists(m_root + QStringLiteral("/d")));
}

void TestFileOpsLogic::copyTreeOntoFileFails()
{
    writeFile(m_root + QStringLiteral("/s/a.txt"), "a");
    writeFile(m_root + QStringLiteral("/d/s"), "a file named like the folder");
    QString last;
    QVERIFY(!fileops::copyDirectoryRecursively(m_root + QStringLiteral("/s"), m_root + QStringLiteral("/d/s"), last));
    QCOMPARE(readFile(m_root + QStringLiteral("/d/s")), QByteArray("a file named like the folder"));
}

void TestFileOpsLogic::deleteDirRemovesTree()
{
    for (const char* f : {"t/a.txt", "t/sub/b.txt", "t/sub/deeper/c.txt"})
        writeFile(m_root + QLatin1Char('/') + QLatin1String(f), "x");
    QStringList failed;
    QVERIFY(fileops::deleteDir(m_root + QStringLiteral("/t"), [&](const QString& f) { failed << f; }));
    QVERIFY(!QFileInfo::exists(m_root + QStringLiteral("/t")));
    QVERIFY(failed.isEmpty());
}

void TestFileOpsLogic::deleteDirMissingIsDoneEmptyFails()
{
    QVERIFY(fileops::deleteDir(m_root + QStringLiteral("/missing")));
    QVERIFY(!fileops::deleteDir(QString()));
}

void TestFileOpsLogic::deleteDirRemovesLinksNotTheirTargets()
{
    writeFile(m_root + QStringLiteral("/outside/keep.txt"), "keep");
    writeFile(m_root + QStringLiteral("/t/a.txt"), "x");
    QVERIFY(QFile::link(m_root + QStringLiteral("/outside"), m_root + QStringLiteral("/t/link")));
    QVERIFY(fileops::deleteDir(m_root + QStringLiteral("/t")));
    QVERIFY(!QFileInfo::exists(m_root + QStringLiteral("/t")));
    QCOMPARE(readFile(m_root + QStringLiteral("/outside/keep.txt")), QByteArray("keep"));
}

void TestFileOpsLogic::newFolderNames()
{
    const QString base = m_root + QLatin1Char('/');
    QCOMPARE(fileops::createNewFloder(base, 0), base + QStringLiteral("新建文件夹"));
    QVERIFY(QDir().mkpath(base + QStringLiteral("新建文件夹")));
    QCOMPARE(fileops::createNewFloder(base, 0), base + QStringLiteral("新建文件夹1"));
    QVERIFY(QDir().mkpath(base + QStringLiteral("新建文件夹1")));
    QCOMPARE(fileops::createNewFloder(base, 0), base + QStringLiteral("新建文件夹2"));
    QCOMPARE(fileops::createNewFloder(base, 5), base + QStringLiteral("新建文件夹5"));
}

void TestFileOpsLogic::newFolderIgnoresPlainFileOfSameName()
{
    const QString base = m_root + QLatin1Char('/');
    writeFile(base + QStringLiteral("新建文件夹"), "a plain file");
    QCOMPARE(fileops::createNewFloder(base, 0), base + QStringLiteral("新建文件夹"));
}

QTEST_GUILESS_MAIN(TestFileOpsLogic)
#include "tst_fileopslogic.moc"
