// The table's file menu: its entries, the rules that show, hide, enable and
// relabel them, and the clipboard and file-manager entries, driven through
// right clicks on the real table.
#include "casefixture.h"
#include "filemenusupport.h"
#include "testsupport.h"

#include "fileInfoJsonUtil.h"
#include "revealfile.h"
#include "zBaseControlTesting.h"
#include "zBaseMenu.h"
#include "zControlTesting.h"

#include <QClipboard>
#include <QLineEdit>
#include <QMimeData>
#include <QUrl>

using namespace filemenusupport;
using namespace testsupport;

namespace {

const QString kShowInFolder = QStringLiteral("打开文件所在位置");
const QString kCopyName = QStringLiteral("复制文件名称");
const QString kCopyPath = QStringLiteral("复制完整路径");
const QString kCopy = QStringLiteral("复制");
const QString kPaste = QStringLiteral("粘贴");
const QString kRefresh = QStringLiteral("刷新");
const QString kPin = QStringLiteral("固定到“常用”");
const QString kUnpin = QStringLiteral("从“常用”移除");


} // namespace

class TestFileMenu : public QObject, filemenusupport::CaseFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void menuIsBuiltOnceWithItsEntriesInOrder();
    void cloudViewHasNoMenu();
    void emptySpaceInFolder();
    void emptySpaceOnComputer();
    void emptySpaceOnRecentList();
    void folderRow();
    void plainFileRow();
    void driveRow();
    void recentListFileAndFolderRows();
    void rowUnderMouseIsNotTheCurrentRow();
    void pinnedFolderReadsRemoveOtherSpellingReadsPin();
    void copyNamePathAndUrlList();
    void copyOfVanishedFileLeavesClipboard();
    void clipboardLocalFilesInOrder();
    void openLocationOfRow();
    void openLocationWithNoRowOpensCurrentFolder();
    void renameEditsNameInPlace();
    void refreshListsAgain();

private:
    QStringList m_revealed;
};

void TestFileMenu::initTestCase()
{
    useHome();
}

void TestFileMenu::init()
{
    startCase();
    writeFile(m_case.root + QStringLiteral("/a.txt"), "a");
    writeFile(m_case.root + QStringLiteral("/b.GCFX"), "b");
    QVERIFY(QDir().mkpath(m_case.root + QStringLiteral("/folder")));
    QVERIFY(QFile::link(m_case.root + QStringLiteral("/folder"), m_case.root + QStringLiteral("/link")));
    m_revealed.clear();
    pfd::setShowInFileManagerHandler([this](const QString& path) { m_revealed << path; });
    QApplication::clipboard()->clear();
}

void TestFileMenu::cleanup()
{
    pfd::setShowInFileManagerHandler({});
    stopCase();
}

void TestFileMenu::menuIsBuiltOnceWithItsEntriesInOrder()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    QVERIFY(!d.ui->fileMenu);
    const MenuSeen first = rightClick(d, rowPoint(d, QString()));
    QVERIFY(first.shown);
    QCOMPARE(first.texts, (QStringList{"打开", kShowInFolder, "-", "删除", "重命名", "新建文件夹", kCopyName, kCopyPath,
                                       "-", kCopy, kPaste, "-", kRefresh, "-", kPin}));
    QCOMPARE(first.objectNames.value("打开"), QStringLiteral("ac_open"));
    QCOMPARE(first.objectNames.value("删除"), QStringLiteral("ac_del"));
    QCOMPARE(first.objectNames.value("重命名"), QStringLiteral("ac_rename"));
    QCOMPARE(first.objectNames.value("新建文件夹"), QStringLiteral("ac_newWjj"));
    QVERIFY(!first.menuParent);
    QVERIFY(qobject_cast<zBaseMenu*>(first.menu));
    QVERIFY(d.ui->acRefresh->shortcut().isEmpty());
    zBaseMenu* menu = d.ui->fileMenu;
    const MenuSeen second = rightClick(d, rowPoint(d, QString()));
    QCOMPARE(second.menu, static_cast<QMenu*>(menu));
    // The menu goes with the dialog.
    QPointer<zBaseMenu> guard(menu);
    {
        Probe* other = new Probe;
        other->show();
        showFolder(*other, m_case.root);
        rightClick(*other, rowPoint(*other, QString()));
        QPointer<zBaseMenu> otherMenu(other->ui->fileMenu);
        QVERIFY(otherMenu);
        delete other;
        QTRY_VERIFY(!otherMenu);
    }
    QVERIFY(guard);
}

void TestFileMenu::cloudViewHasNoMenu()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    d.m_currentDir = QStringLiteral("个人云盘\\项目");
    const MenuSeen seen = rightClick(d, rowPoint(d, QString()));
    QVERIFY(!seen.shown);
    QCOMPARE(d.forMenuCalls, 0);
}

void TestFileMenu::emptySpaceInFolder()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    QVERIFY(!d.ui->tableView->currentIndex().isValid());
    const MenuSeen seen = rightClick(d, rowPoint(d, QString()));
    QVERIFY(seen.shown);
    QCOMPARE(d.forMenuCalls, 0);
    QVERIFY(!seen.enabled.value("打开"));
    QVERIFY(!seen.enabled.value("删除"));
    QVERIFY(!seen.enabled.value("重命名"));
    QVERIFY(seen.enabled.value("新建文件夹"));
    for (const QString& t : {kShowInFolder, kPaste, kRefresh})
        QVERIFY2(seen.visible.value(t), qPrintable(t));
    for (const QString& t : {kCopyName, kCopyPath, kCopy, kPin})
        QVERIFY2(!seen.visible.value(t), qPrintable(t));
    for (const QString& t : {QStringLiteral("打开"), QStringLiteral("删除"), QStringLiteral("重命名"), QStringLiteral("新建文件夹")})
        QVERIFY2(seen.visible.value(t), qPrintable(t));
}

void TestFileMenu::emptySpaceOnComputer()
{
    Probe d;
    d.show();
    showFolder(d, QStringLiteral(":"));
    d.ui->tableView->setCurrentIndex(QModelIndex());
    const MenuSeen seen = rightClick(d, QPoint(5, d.ui->tableView->viewport()->height() - 3));
    QVERIFY(seen.shown);
    QVERIFY(!seen.visible.value(kShowInFolder));
    QVERIFY(!seen.visible.value(kPaste));
    QVERIFY(seen.visible.value(kRefresh));
    QVERIFY(!seen.enabled.value("新建文件夹"));
    QVERIFY(!seen.enabled.value("删除"));
}

void TestFileMenu::emptySpaceOnRecentList()
{
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_case.app->store(), QStringLiteral("RecentFile"),
                                            record(m_case.root + QStringLiteral("/b.GCFX"), QStringLiteral("GCFX 文件")));
    Probe d;
    d.show();
    d.slotBtnRecentClicked();
    QVERIFY(d.m_isRecent);
    d.ui->tableView->setCurrentIndex(QModelIndex());
    const MenuSeen seen = rightClick(d, QPoint(5, d.ui->tableView->viewport()->height() - 3));
    QVERIFY(seen.shown);
    QVERIFY(seen.texts.contains(QStringLiteral("删除记录")));
    for (const QString& t : {kShowInFolder, kCopyName, kCopyPath, kCopy, kPaste, kPin, kRefresh})
        QVERIFY2(!seen.visible.value(t), qPrintable(t));
    QVERIFY(!seen.enabled.value("新建文件夹"));
    QVERIFY(!seen.enabled.value("重命名"));
}

void TestFileMenu::folderRow()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("folder"));
    const MenuSeen seen = rightClick(d, rowPoint(d, QStringLiteral("folder")));
    QCOMPARE(d.forMenuCalls, 1);
    for (const QString& t : {kShowInFolder, kCopyName, kCopyPath, kCopy, kPaste, kPin})
        QVERIFY2(seen.visible.value(t), qPrintable(t));
    QVERIFY(!seen.visible.value(kRefresh));
    for (const QString& t : {QStringLiteral("打开"), QStringLiteral("删除"), QStringLiteral("重命名"), QStringLiteral("新建文件夹")})
        QVERIFY2(seen.enabled.value(t), qPrintable(t));
    QVERIFY(seen.texts.contains(QStringLiteral("删除")));
}

void TestFileMenu::plainFileRow()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("a.txt"));
    const MenuSeen seen = rightClick(d, rowPoint(d, QStringLiteral("a.txt")));
    for (const QString& t : {kShowInFolder, kCopyName, kCopyPath, kCopy, kPaste})
        QVERIFY2(seen.visible.value(t), qPrintable(t));
    QVERIFY(!seen.visible.value(kPin));
    QVERIFY(!seen.visible.value(kRefresh));
}

void TestFileMenu::driveRow()
{
    Probe d;
    d.show();
    showFolder(d, QStringLiteral(":"));
    QVERIFY(d.ui->tableView->model()->rowCount() > 0);
    d.ui->tableView->setCurrentIndex(d.ui->tableView->model()->index(0, 0));
    const MenuSeen seen = rightClick(d, d.ui->tableView->visualRect(d.ui->tableView->currentIndex()).center());
    for (const QString& t : {kShowInFolder, kCopyName, kCopyPath, kCopy, kPaste, kPin, kRefresh})
        QVERIFY2(!seen.visible.value(t), qPrintable(t));
    // On the drive list nothing is deleted, renamed or created.
    QVERIFY(!seen.enabled.value("删除"));
    QVERIFY(!seen.enabled.value("重命名"));
    QVERIFY(!seen.enabled.value("新建文件夹"));
    QVERIFY(seen.enabled.value("打开"));
}

void TestFileMenu::recentListFileAndFolderRows()
{
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_case.app->store(), QStringLiteral("RecentFile"),
                                            record(m_case.root + QStringLiteral("/b.GCFX"), QStringLiteral("GCFX 文件")));
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_case.app->store(), QStringLiteral("RecentFile"),
                                            record(m_case.root + QStringLiteral("/folder"), QStringLiteral("文件夹")));
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    d.slotBtnRecentClicked();
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.ui->localModel->applyNameFilters();
    makeCurrent(d, QStringLiteral("b.GCFX"));
    MenuSeen seen = rightClick(d, rowPoint(d, QStringLiteral("b.GCFX")));
    for (const QString& t : {kShowInFolder, kCopyName, kCopyPath})
        QVERIFY2(seen.visible.value(t), qPrintable(t));
    for (const QString& t : {kCopy, kPaste, kPin, kRefresh})
        QVERIFY2(!seen.visible.value(t), qPrintable(t));
    QVERIFY(!seen.enabled.value("重命名"));
    QVERIFY(seen.enabled.value("删除记录"));

    makeCurrent(d, QStringLiteral("folder"));
    seen = rightClick(d, rowPoint(d, QStringLiteral("folder")));
    for (const QString& t : {kShowInFolder, kCopyName, kCopyPath, kCopy, kPaste, kPin, kRefresh})
        QVERIFY2(!seen.visible.value(t), qPrintable(t));
}

void TestFileMenu::rowUnderMouseIsNotTheCurrentRow()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("a.txt"));
    // The click lands on the folder; the rules and the slots follow a.txt.
    const MenuSeen seen = rightClick(d, rowPoint(d, QStringLiteral("folder")), kCopyName);
    QCOMPARE(d.forMenuCalls, 1);
    QVERIFY(!seen.visible.value(kPin));
    QCOMPARE(currentName(d), QStringLiteral("a.txt"));
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("a.txt"));
}

void TestFileMenu::pinnedFolderReadsRemoveOtherSpellingReadsPin()
{
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_case.app->store(), QStringLiteral("OftenUse"),
                                            record(m_case.root + QStringLiteral("/folder"), QStringLiteral("文件夹")));
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("folder"));
    MenuSeen seen = rightClick(d, rowPoint(d, QStringLiteral("folder")), kUnpin);
    QVERIFY(seen.texts.contains(kUnpin));
    QVERIFY(seen.visible.value(kUnpin));
    QCOMPARE(fileInfoJsonUtil::GetArraySizeFromJson(m_case.app->store(), QStringLiteral("OftenUse")), 0);
    seen = rightClick(d, rowPoint(d, QStringLiteral("folder")));
    QVERIFY(seen.texts.contains(kPin));
    // Pinned again under another spelling of the same folder: the row's
    // own path is not pinned, so the entry offers to pin it.
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_case.app->store(), QStringLiteral("OftenUse"),
                                            record(m_case.root + QStringLiteral("/./folder"), QStringLiteral("文件夹")));
    Probe other;
    other.show();
    showFolder(other, m_case.root);
    makeCurrent(other, QStringLiteral("folder"));
    seen = rightClick(other, rowPoint(other, QStringLiteral("folder")));
    QVERIFY(seen.texts.contains(kPin));
    QVERIFY(!seen.texts.contains(kUnpin));
}

void TestFileMenu::copyNamePathAndUrlList()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("a.txt"));
    rightClick(d, rowPoint(d, QStringLiteral("a.txt")), kCopyName);
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("a.txt"));
    rightClick(d, rowPoint(d, QStringLiteral("a.txt")), kCopyPath);
    QCOMPARE(QApplication::clipboard()->text(), QDir::toNativeSeparators(m_case.root + QStringLiteral("/a.txt")));
    rightClick(d, rowPoint(d, QStringLiteral("a.txt")), kCopy);
    const QMimeData* data = QApplication::clipboard()->mimeData();
    QVERIFY(data);
    QCOMPARE(data->urls(), QList<QUrl>{QUrl::fromLocalFile(m_case.root + QStringLiteral("/a.txt"))});
    QCOMPARE(data->formats(), QStringList{QStringLiteral("text/uri-list")});
}

void TestFileMenu::copyOfVanishedFileLeavesClipboard()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("a.txt"));
    QApplication::clipboard()->setText(QStringLiteral("before"));
    QVERIFY(QFile::remove(m_case.root + QStringLiteral("/a.txt")));
    rightClick(d, rowPoint(d, QStringLiteral("a.txt")), kCopy);
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("before"));
    QVERIFY(!QApplication::clipboard()->mimeData()->hasUrls());
}

void TestFileMenu::clipboardLocalFilesInOrder()
{
    const QString other = m_home.path() + QStringLiteral("/other") + QFileInfo(m_case.root).fileName();
    writeFile(other + QStringLiteral("/z.txt"), "z");
    writeFile(other + QStringLiteral("/y.txt"), "y");
    auto* data = new QMimeData;
    data->setUrls({QUrl::fromLocalFile(other + QStringLiteral("/z.txt")), QUrl(QStringLiteral("https://example.com/x.txt")),
                   QUrl::fromLocalFile(other + QStringLiteral("/y.txt"))});
    QApplication::clipboard()->setMimeData(data);
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    rightClick(d, rowPoint(d, QString()), kPaste);
    QCOMPARE(readFile(m_case.root + QStringLiteral("/z.txt")), QByteArray("z"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/y.txt")), QByteArray("y"));
    QVERIFY(!QFileInfo::exists(m_case.root + QStringLiteral("/x.txt")));
    // The last item is the one selected.
    QCOMPARE(currentName(d), QStringLiteral("y.txt"));
}

void TestFileMenu::openLocationOfRow()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("b.GCFX"));
    rightClick(d, rowPoint(d, QStringLiteral("b.GCFX")), kShowInFolder);
    QCOMPARE(m_revealed, QStringList{QDir::toNativeSeparators(m_case.root + QStringLiteral("/b.GCFX"))});
}

void TestFileMenu::openLocationWithNoRowOpensCurrentFolder()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    rightClick(d, rowPoint(d, QString()), kShowInFolder);
    QCOMPARE(m_revealed, QStringList{QDir::toNativeSeparators(m_case.root)});
}

void TestFileMenu::renameEditsNameInPlace()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("a.txt"));
    d.ui->tableView->setCurrentIndex(rowIndex(d, QStringLiteral("a.txt")).sibling(rowIndex(d, QStringLiteral("a.txt")).row(), 2));
    rightClick(d, rowPoint(d, QStringLiteral("a.txt")), QStringLiteral("重命名"));
    auto* editor = d.ui->tableView->viewport()->findChild<QLineEdit*>();
    QVERIFY(editor);
    QCOMPARE(editor->text(), QStringLiteral("a.txt"));
    editor->setText(QStringLiteral("renamed.txt"));
    QTest::keyClick(editor, Qt::Key_Return);
    QTRY_VERIFY(QFileInfo::exists(m_case.root + QStringLiteral("/renamed.txt")));
    QVERIFY(!QFileInfo::exists(m_case.root + QStringLiteral("/a.txt")));
}

void TestFileMenu::refreshListsAgain()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    writeFile(m_case.root + QStringLiteral("/late.txt"), "late");
    QVERIFY(!rowIndex(d, QStringLiteral("late.txt")).isValid());
    rightClick(d, rowPoint(d, QString()), kRefresh);
    QVERIFY(rowIndex(d, QStringLiteral("late.txt")).isValid());
}

QTEST_MAIN(TestFileMenu)
#include "tst_filemenu.moc"
