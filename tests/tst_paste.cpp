// Paste, delete and new folder through the table's file menu: the paste
// questions in their order, copy names, the refused subfolder paste, what
// delete removes, and the numbered new folders.
#include "casefixture.h"
#include "filemenusupport.h"
#include "testsupport.h"

#include "fileInfoJsonUtil.h"
#include "osgiTesting.h"
#include "zBaseButton.h"
#include "zBaseControlTesting.h"
#include "zControlTesting.h"

#include <QClipboard>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QUrl>

using namespace filemenusupport;
using namespace testsupport;

namespace {

const QString kPaste = QStringLiteral("粘贴");


// Pastes the clipboard over empty space in folder; the boxes take answers
// in turn.
void pasteOverEmptySpace(const QString& folder, const QList<int>& answers)
{
    Probe d;
    d.show();
    showFolder(d, folder);
    zControlTesting::setMessageBoxAnswers(answers);
    rightClick(d, rowPoint(d, QString()), kPaste);
}

QList<zControlTesting::MessageBoxCall> boxes()
{
    return zControlTesting::messageBoxCalls();
}


} // namespace

class TestPaste : public QObject, filemenusupport::CaseFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void pasteIntoOwnSubfolderRefusedFromFolderRow();
    void pasteIntoOwnSubfolderRefusedWithNoRow();
    void pasteIntoOwnSubfolderNotCheckedWithFileRow();
    void pasteFileIntoItsFolderMakesCopyAndAsksNothing();
    void pasteTwoExistingAsksManyAndDeclineLeavesAll();
    void pasteOneExistingAsksAndReplaces();
    void pasteFolderCopiesHiddenEntries();
    void pasteFolderAsksAboutHiddenFilesItReplaces();
    void openProjectIsAskedAboutFirst();
    void openProjectDeclinedStopsBeforeReplaceQuestion();
    void withoutServiceLogsAndStillAsks();
    void pasteIntoFolderRowSelectsThatFolder();
    void emptyClipboardPastesNothing();
    void deleteFromRecentListRemovesOnlyTheRecord();
    void deletePinnedFolderRemovesButtonAndRecord();
    void deleteShortcutRemovesLinkAndPinKeepsTarget();
    void deleteDeclinedKeepsFile();
    void deleteOfVanishedFileSaysFailed();
    void newFolderAfterTwoIsNumberTwo();
    void newFolderFromMenu();
};

void TestPaste::initTestCase()
{
    useHome();
}

void TestPaste::init()
{
    startCase();
    osgiTesting::reset();
    QApplication::clipboard()->clear();
}

void TestPaste::cleanup()
{
    stopCase();
    osgiTesting::reset();
}

void TestPaste::pasteIntoOwnSubfolderRefusedFromFolderRow()
{
    writeFile(m_case.root + QStringLiteral("/a/b/keep.txt"), "k");
    putOnClipboard({m_case.root + QStringLiteral("/a")});
    Probe d;
    d.show();
    showFolder(d, m_case.root + QStringLiteral("/a"));
    makeCurrent(d, QStringLiteral("b"));
    rightClick(d, rowPoint(d, QStringLiteral("b")), kPaste);
    QCOMPARE(boxes().size(), 1);
    QCOMPARE(boxes().at(0).kind, QStringLiteral("inforByOneBtn"));
    QCOMPARE(boxes().at(0).text, QStringLiteral("目标文件夹是源文件夹的子文件夹。"));
    QCOMPARE(boxes().at(0).type, 1);
    QCOMPARE(entries(m_case.root + QStringLiteral("/a/b")), QStringList{"keep.txt"});
}

void TestPaste::pasteIntoOwnSubfolderRefusedWithNoRow()
{
    writeFile(m_case.root + QStringLiteral("/a/b/keep.txt"), "k");
    putOnClipboard({m_case.root + QStringLiteral("/a")});
    Probe d;
    d.show();
    showFolder(d, m_case.root + QStringLiteral("/a/b"));
    rightClick(d, rowPoint(d, QString()), kPaste);
    QCOMPARE(boxes().size(), 1);
    QCOMPARE(boxes().at(0).text, QStringLiteral("目标文件夹是源文件夹的子文件夹。"));
    QCOMPARE(entries(m_case.root + QStringLiteral("/a/b")), QStringList{"keep.txt"});
}

void TestPaste::pasteIntoOwnSubfolderNotCheckedWithFileRow()
{
    writeFile(m_case.root + QStringLiteral("/a/top.txt"), "t");
    writeFile(m_case.root + QStringLiteral("/a/b/keep.txt"), "k");
    putOnClipboard({m_case.root + QStringLiteral("/a")});
    Probe d;
    d.show();
    showFolder(d, m_case.root + QStringLiteral("/a/b"));
    makeCurrent(d, QStringLiteral("keep.txt"));
    rightClick(d, rowPoint(d, QStringLiteral("keep.txt")), kPaste);
    QVERIFY(boxes().isEmpty());
    // The tree is copied once; the copy being made is not copied again.
    QCOMPARE(readFile(m_case.root + QStringLiteral("/a/b/a/top.txt")), QByteArray("t"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/a/b/a/b/keep.txt")), QByteArray("k"));
    QVERIFY(!QFileInfo::exists(m_case.root + QStringLiteral("/a/b/a/b/a")));
    QCOMPARE(currentName(d), QStringLiteral("a"));
}

void TestPaste::pasteFileIntoItsFolderMakesCopyAndAsksNothing()
{
    writeFile(m_case.root + QStringLiteral("/a.txt"), "a");
    putOnClipboard({m_case.root + QStringLiteral("/a.txt")});
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    rightClick(d, rowPoint(d, QString()), kPaste);
    QVERIFY(boxes().isEmpty());
    QCOMPARE(readFile(m_case.root + QStringLiteral("/a - 副本.txt")), QByteArray("a"));
    QCOMPARE(currentName(d), QStringLiteral("a - 副本.txt"));
    rightClick(d, rowPoint(d, QString()), kPaste);
    QCOMPARE(readFile(m_case.root + QStringLiteral("/a - 副本 (2).txt")), QByteArray("a"));
    QVERIFY(boxes().isEmpty());
}

void TestPaste::pasteTwoExistingAsksManyAndDeclineLeavesAll()
{
    writeFile(m_case.root + QStringLiteral("/src/x.txt"), "new x");
    writeFile(m_case.root + QStringLiteral("/src/y.txt"), "new y");
    writeFile(m_case.root + QStringLiteral("/dst/x.txt"), "old x");
    writeFile(m_case.root + QStringLiteral("/dst/y.txt"), "old y");
    putOnClipboard({m_case.root + QStringLiteral("/src/x.txt"), m_case.root + QStringLiteral("/src/y.txt")});
    pasteOverEmptySpace(m_case.root + QStringLiteral("/dst"), {1});
    QCOMPARE(boxes().size(), 1);
    QCOMPARE(boxes().at(0).kind, QStringLiteral("question"));
    QCOMPARE(boxes().at(0).text, QStringLiteral("目标包含2个同名文件，是否替换这些文件？"));
    QCOMPARE(boxes().at(0).title, QStringLiteral("替换文件"));
    QCOMPARE(boxes().at(0).buttons, (QStringList{"是", "否"}));
    QCOMPARE(boxes().at(0).buttonSet, 3);
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/x.txt")), QByteArray("old x"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/y.txt")), QByteArray("old y"));
    QCOMPARE(entries(m_case.root + QStringLiteral("/dst")), (QStringList{"x.txt", "y.txt"}));
}

void TestPaste::pasteOneExistingAsksAndReplaces()
{
    writeFile(m_case.root + QStringLiteral("/src/工程.GCFX"), "new");
    writeFile(m_case.root + QStringLiteral("/dst/工程.GCFX"), "old");
    putOnClipboard({m_case.root + QStringLiteral("/src/工程.GCFX")});
    pasteOverEmptySpace(m_case.root + QStringLiteral("/dst"), {0});
    QCOMPARE(boxes().size(), 1);
    QCOMPARE(boxes().at(0).text, QStringLiteral("目标已包含一个名为“工程.GCFX”的文件，是否替换该文件？"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/工程.GCFX")), QByteArray("new"));
    QCOMPARE(entries(m_case.root + QStringLiteral("/dst")), QStringList{"工程.GCFX"});
}

void TestPaste::pasteFolderCopiesHiddenEntries()
{
    writeFile(m_case.root + QStringLiteral("/src/proj/.settings"), "dot-file");
    writeFile(m_case.root + QStringLiteral("/src/proj/.cache/index"), "in a hidden folder");
    writeFile(m_case.root + QStringLiteral("/src/proj/a.GCFX"), "a");
    QVERIFY(QDir().mkpath(m_case.root + QStringLiteral("/dst")));
    putOnClipboard({m_case.root + QStringLiteral("/src/proj")});
    pasteOverEmptySpace(m_case.root + QStringLiteral("/dst"), {});
    QVERIFY(boxes().isEmpty());
    // The copy is the whole folder: deleting the original loses nothing.
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/proj/.settings")), QByteArray("dot-file"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/proj/.cache/index")), QByteArray("in a hidden folder"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/proj/a.GCFX")), QByteArray("a"));
}

void TestPaste::pasteFolderAsksAboutHiddenFilesItReplaces()
{
    writeFile(m_case.root + QStringLiteral("/src/proj/.settings"), "new");
    writeFile(m_case.root + QStringLiteral("/dst/proj/.settings"), "old");
    putOnClipboard({m_case.root + QStringLiteral("/src/proj")});
    pasteOverEmptySpace(m_case.root + QStringLiteral("/dst"), {1});
    QCOMPARE(boxes().size(), 1);
    QCOMPARE(boxes().at(0).text, QStringLiteral("目标已包含一个名为“.settings”的文件，是否替换该文件？"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/proj/.settings")), QByteArray("old"));
    pasteOverEmptySpace(m_case.root + QStringLiteral("/dst"), {0});
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/proj/.settings")), QByteArray("new"));
}

void TestPaste::openProjectIsAskedAboutFirst()
{
    for (const char* n : {"a.GCFX", "b.GCFX", "c.GCFX"}) {
        writeFile(m_case.root + QStringLiteral("/src/") + QLatin1String(n), "new");
        writeFile(m_case.root + QStringLiteral("/dst/") + QLatin1String(n), "old");
    }
    const QString b = QDir::toNativeSeparators(m_case.root + QStringLiteral("/dst/b.GCFX"));
    const QString c = QDir::toNativeSeparators(m_case.root + QStringLiteral("/dst/c.GCFX"));
    osgiTesting::setOpenProjects({b, c});
    putOnClipboard({m_case.root + QStringLiteral("/src/a.GCFX"), m_case.root + QStringLiteral("/src/b.GCFX"),
                    m_case.root + QStringLiteral("/src/c.GCFX")});
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("dst"));
    zControlTesting::setMessageBoxAnswers({0, 0});
    rightClick(d, rowPoint(d, QStringLiteral("dst")), kPaste);
    QCOMPARE(boxes().size(), 2);
    QCOMPARE(boxes().at(0).kind, QStringLiteral("warning"));
    QCOMPARE(boxes().at(0).text, QStringLiteral("该工程文件: {b.GCFX}已打开，是否要替换？"));
    QCOMPARE(boxes().at(0).title, QStringLiteral("替换文件"));
    QCOMPARE(boxes().at(0).buttons, (QStringList{"确定", "取消"}));
    QCOMPARE(boxes().at(0).buttonSet, 3);
    QCOMPARE(boxes().at(1).text, QStringLiteral("目标包含3个同名文件，是否替换这些文件？"));
    // One question per paste: c.GCFX, open too, was not asked about.
    QCOMPARE(osgiTesting::openQuestions(),
             (QStringList{QDir::toNativeSeparators(m_case.root + QStringLiteral("/dst/a.GCFX")), b}));
    for (const char* n : {"a.GCFX", "b.GCFX", "c.GCFX"})
        QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/") + QLatin1String(n)), QByteArray("new"));
    QCOMPARE(currentName(d), QStringLiteral("dst"));
}

void TestPaste::openProjectDeclinedStopsBeforeReplaceQuestion()
{
    writeFile(m_case.root + QStringLiteral("/src/a.GCFX"), "new");
    writeFile(m_case.root + QStringLiteral("/dst/a.GCFX"), "old");
    osgiTesting::setOpenProjects({QDir::toNativeSeparators(m_case.root + QStringLiteral("/dst/a.GCFX"))});
    putOnClipboard({m_case.root + QStringLiteral("/src/a.GCFX")});
    pasteOverEmptySpace(m_case.root + QStringLiteral("/dst"), {1});
    QCOMPARE(boxes().size(), 1);
    QCOMPARE(boxes().at(0).kind, QStringLiteral("warning"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/a.GCFX")), QByteArray("old"));
}

void TestPaste::withoutServiceLogsAndStillAsks()
{
    writeFile(m_case.root + QStringLiteral("/src/a.GCFX"), "new");
    writeFile(m_case.root + QStringLiteral("/dst/a.GCFX"), "old");
    osgiTesting::setServiceAvailable(false);
    SharedInterfaceTesting::clearLog();
    putOnClipboard({m_case.root + QStringLiteral("/src/a.GCFX")});
    pasteOverEmptySpace(m_case.root + QStringLiteral("/dst"), {1});
    bool logged = false;
    for (const QString& line : SharedInterfaceTesting::logLines())
        logged = logged || line.endsWith(QStringLiteral("] -----无法判断要被替换的文件是否已打开！-----"));
    QVERIFY(logged);
    QCOMPARE(boxes().size(), 1);
    QCOMPARE(boxes().at(0).kind, QStringLiteral("question"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/a.GCFX")), QByteArray("old"));
}

void TestPaste::pasteIntoFolderRowSelectsThatFolder()
{
    writeFile(m_case.root + QStringLiteral("/src/n.txt"), "n");
    QVERIFY(QDir().mkpath(m_case.root + QStringLiteral("/view/inner")));
    writeFile(m_case.root + QStringLiteral("/view/z.txt"), "z");
    putOnClipboard({m_case.root + QStringLiteral("/src/n.txt")});
    Probe d;
    d.show();
    showFolder(d, m_case.root + QStringLiteral("/view"));
    makeCurrent(d, QStringLiteral("inner"));
    rightClick(d, rowPoint(d, QStringLiteral("inner")), kPaste);
    QCOMPARE(readFile(m_case.root + QStringLiteral("/view/inner/n.txt")), QByteArray("n"));
    QVERIFY(!QFileInfo::exists(m_case.root + QStringLiteral("/view/n.txt")));
    QCOMPARE(currentName(d), QStringLiteral("inner"));
}

void TestPaste::emptyClipboardPastesNothing()
{
    QApplication::clipboard()->setText(QStringLiteral("/etc/hostname"));
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    rightClick(d, rowPoint(d, QString()), kPaste);
    QVERIFY(entries(m_case.root).isEmpty());
    QVERIFY(boxes().isEmpty());
}

void TestPaste::deleteFromRecentListRemovesOnlyTheRecord()
{
    writeFile(m_case.root + QStringLiteral("/p/甲.GCFX"), "a");
    writeFile(m_case.root + QStringLiteral("/p/乙.GCFX"), "b");
    for (const char* n : {"甲.GCFX", "乙.GCFX"})
        fileInfoJsonUtil::WriteJsonFromFileInfo(m_case.app->store(), QStringLiteral("RecentFile"),
                                                record(m_case.root + QStringLiteral("/p/") + QString::fromUtf8(n),
                                                       QStringLiteral("GCFX 文件")));
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    d.slotBtnRecentClicked();
    makeCurrent(d, QStringLiteral("甲.GCFX"));
    rightClick(d, rowPoint(d, QStringLiteral("甲.GCFX")), QStringLiteral("删除记录"));
    QVERIFY(boxes().isEmpty());
    QList<FileInfo> left;
    fileInfoJsonUtil::ReadFileInfoListFromJson(m_case.app->store(), QStringLiteral("RecentFile"), left);
    QCOMPARE(left.size(), 1);
    QCOMPARE(left.at(0).name, QStringLiteral("乙.GCFX"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/p/甲.GCFX")), QByteArray("a"));
    QVERIFY(!rowIndex(d, QStringLiteral("甲.GCFX")).isValid());
    QVERIFY(rowIndex(d, QStringLiteral("乙.GCFX")).isValid());
}

void TestPaste::deletePinnedFolderRemovesButtonAndRecord()
{
    writeFile(m_case.root + QStringLiteral("/pinned/sub/f.txt"), "f");
    writeFile(m_case.root + QStringLiteral("/other/g.txt"), "g");
    for (const char* n : {"other", "pinned"})
        fileInfoJsonUtil::WriteJsonFromFileInfo(m_case.app->store(), QStringLiteral("OftenUse"),
                                                record(m_case.root + QLatin1Char('/') + QLatin1String(n), QStringLiteral("文件夹")));
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    QCOMPARE(d.m_oftenUse.size(), 2);
    makeCurrent(d, QStringLiteral("pinned"));
    zControlTesting::setMessageBoxAnswers({0});
    rightClick(d, rowPoint(d, QStringLiteral("pinned")), QStringLiteral("删除"));
    QCOMPARE(boxes().size(), 1);
    QCOMPARE(boxes().at(0).kind, QStringLiteral("critical"));
    QCOMPARE(boxes().at(0).text, QStringLiteral("当前操作将彻底删除无法找回，确定删除文件/文件夹吗？"));
    QCOMPARE(boxes().at(0).title, QStringLiteral("删除"));
    // Asked exactly as (text, dialog, "删除"); the critical box has both buttons.
    QCOMPARE(boxes().at(0).parent, static_cast<QWidget*>(&d));
    QCOMPARE(boxes().at(0).buttonSet, 0);
    QCOMPARE(boxes().at(0).buttons, (QStringList{"确定", "取消"}));
    QVERIFY(!QFileInfo::exists(m_case.root + QStringLiteral("/pinned")));
    QCOMPARE(d.m_oftenUse.size(), 1);
    QCOMPARE(d.m_oftenUse.begin().value().name, QStringLiteral("other"));
    QCOMPARE(d.ui->oftenUseList->count(), 1);
    QList<FileInfo> pins;
    fileInfoJsonUtil::ReadFileInfoListFromJson(m_case.app->store(), QStringLiteral("OftenUse"), pins);
    QCOMPARE(pins.size(), 1);
    QCOMPARE(pins.at(0).name, QStringLiteral("other"));
    QVERIFY(!rowIndex(d, QStringLiteral("pinned")).isValid());
}

void TestPaste::deleteShortcutRemovesLinkAndPinKeepsTarget()
{
    writeFile(m_case.root + QStringLiteral("/target/t.txt"), "t");
    QVERIFY(QFile::link(m_case.root + QStringLiteral("/target"), m_case.root + QStringLiteral("/link")));
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_case.app->store(), QStringLiteral("OftenUse"),
                                            record(m_case.root + QStringLiteral("/link"), QStringLiteral("快捷方式")));
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("link"));
    zControlTesting::setMessageBoxAnswers({0});
    rightClick(d, rowPoint(d, QStringLiteral("link")), QStringLiteral("删除"));
    QVERIFY(!QFileInfo(m_case.root + QStringLiteral("/link")).isSymLink());
    QCOMPARE(readFile(m_case.root + QStringLiteral("/target/t.txt")), QByteArray("t"));
    QVERIFY(d.m_oftenUse.isEmpty());
    QCOMPARE(fileInfoJsonUtil::GetArraySizeFromJson(m_case.app->store(), QStringLiteral("OftenUse")), 0);
}

void TestPaste::deleteDeclinedKeepsFile()
{
    writeFile(m_case.root + QStringLiteral("/a.txt"), "a");
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("a.txt"));
    zControlTesting::setMessageBoxAnswers({1});
    rightClick(d, rowPoint(d, QStringLiteral("a.txt")), QStringLiteral("删除"));
    QCOMPARE(boxes().size(), 1);
    QCOMPARE(readFile(m_case.root + QStringLiteral("/a.txt")), QByteArray("a"));
    zControlTesting::setMessageBoxAnswers({0});
    rightClick(d, rowPoint(d, QStringLiteral("a.txt")), QStringLiteral("删除"));
    QVERIFY(!QFileInfo::exists(m_case.root + QStringLiteral("/a.txt")));
    QVERIFY(!rowIndex(d, QStringLiteral("a.txt")).isValid());
}

void TestPaste::deleteOfVanishedFileSaysFailed()
{
    writeFile(m_case.root + QStringLiteral("/a.txt"), "a");
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("a.txt"));
    QVERIFY(QFile::remove(m_case.root + QStringLiteral("/a.txt")));
    zControlTesting::setMessageBoxAnswers({0});
    rightClick(d, rowPoint(d, QStringLiteral("a.txt")), QStringLiteral("删除"));
    QCOMPARE(boxes().size(), 2);
    QCOMPARE(boxes().at(1).kind, QStringLiteral("information"));
    QCOMPARE(boxes().at(1).text, QStringLiteral("删除失败"));
}

void TestPaste::newFolderAfterTwoIsNumberTwo()
{
    QVERIFY(QDir().mkpath(m_case.root + QStringLiteral("/新建文件夹")));
    QVERIFY(QDir().mkpath(m_case.root + QStringLiteral("/新建文件夹1")));
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    d.ui->createFileButton->click();
    QVERIFY(QFileInfo(m_case.root + QStringLiteral("/新建文件夹2")).isDir());
    QCOMPARE(currentName(d), QStringLiteral("新建文件夹2"));
    QCOMPARE(d.ui->okButton->text(), QStringLiteral("打开"));
    auto* editor = d.ui->tableView->viewport()->findChild<QLineEdit*>();
    QVERIFY(editor);
    QVERIFY(editor->isVisible());
    QCOMPARE(editor->text(), QStringLiteral("新建文件夹2"));
    // The user names it at once.
    editor->setText(QStringLiteral("概算"));
    QTest::keyClick(editor, Qt::Key_Return);
    QTRY_VERIFY(QFileInfo(m_case.root + QStringLiteral("/概算")).isDir());
}

void TestPaste::newFolderFromMenu()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    rightClick(d, rowPoint(d, QString()), QStringLiteral("新建文件夹"));
    QVERIFY(QFileInfo(m_case.root + QStringLiteral("/新建文件夹")).isDir());
    QCOMPARE(currentName(d), QStringLiteral("新建文件夹"));
}

QTEST_MAIN(TestPaste)
#include "tst_paste.moc"
