// The dialog's shortcuts, each sent to whatever has the keyboard, under the
// show and enable rules of its button or file-menu entry; the frame of the
// row with the keyboard and the selection's contrast; what the widgets tell
// a screen reader.
#include "filemenusupport.h"
#include "keyboardsupport.h"

#include "AddressBar.h"
#include "fileInfoJsonUtil.h"
#include "filetableview.h"
#include "knownfolderpaths.h"
#include "pathstyle.h"
#include "zBaseButton.h"
#include "zBaseLabel.h"
#include "zBaseLineEdit.h"

#include <QAccessible>
#include <QAccessibleInterface>
#include <QLabel>
#include <QButtonGroup>
#include <QHBoxLayout>
#include <QListWidget>
#include <QStackedWidget>

using namespace filemenusupport;
using namespace keyboardsupport;

namespace {

QString accessibleName(QObject* object)
{
    QAccessibleInterface* iface = QAccessible::queryAccessibleInterface(object);
    return iface ? iface->text(QAccessible::Name) : QStringLiteral("<no interface>");
}

} // namespace

class TestShortcuts : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void upFolderRules_data();
    void upFolderRules();

    void altLeftAndBackspaceGoBack();
    void altUpGoesToTheParentFolder();
    void altUpDoesNothingAtARootOrInTheComputer();
    void f5Refreshes();
    void deleteAsksThenDeletes();
    void deleteDeclinedKeepsTheFile();
    void deleteWithoutACurrentRowDoesNothing();
    void f2RenamesTheCurrentRow();
    void ctrlCCopiesAndCtrlVPastes();
    void ctrlShiftNMakesANewFolder();
    void noShortcutActsInACloudView();
    void noShortcutActsInTheEmptyStartingFolder();
    void fieldKeepsItsOwnDeleteAndCopy();

    void currentRowShowsAFocusFrame();
    void selectionStandsOutThreeToOne();

    void controlsHaveAccessibleNames();
    void placesAreFocusableButtons();

private:
    void showInWindow(Probe& d, const QString& folder);
    QTemporaryDir m_home;
    Case m_case;
};

void TestShortcuts::initTestCase()
{
    qputenv("HOME", QFile::encodeName(m_home.path()));
    QDir(m_home.path()).mkpath(QStringLiteral("Documents"));
}

void TestShortcuts::init()
{
    m_case.start(m_home.path());
    zFileDialog::SetCurrentPath(QString());
}

void TestShortcuts::cleanup()
{
    m_case.stop();
}

void TestShortcuts::showInWindow(Probe& d, const QString& folder)
{
    d.show();
    d.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&d));
    if (!folder.isNull())
        showFolder(d, folder);
}

void TestShortcuts::upFolderRules_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("up");
    QTest::newRow("posix") << "/a/b" << "/a";
    QTest::newRow("posix trailing") << "/a/b/" << "/a";
    QTest::newRow("posix top") << "/a" << "/";
    QTest::newRow("posix root") << "/" << "";
    QTest::newRow("drive folder") << "C:\\a\\b" << "C:\\a";
    QTest::newRow("drive top") << "C:\\a" << "C:\\";
    QTest::newRow("drive root") << "C:\\" << "";
    QTest::newRow("bare drive") << "C:" << "";
    QTest::newRow("share") << "\\\\srv\\share\\x" << "\\\\srv\\share";
    QTest::newRow("share root") << "\\\\srv\\share" << "";
    QTest::newRow("computer") << ":" << "";
    QTest::newRow("empty") << "" << "";
}

void TestShortcuts::upFolderRules()
{
    QFETCH(QString, folder);
    QFETCH(QString, up);
    QCOMPARE(pfd::upFolder(folder), up);
}

void TestShortcuts::altLeftAndBackspaceGoBack()
{
    QDir().mkpath(m_case.root + QStringLiteral("/一/二"));
    Probe d;
    showInWindow(d, m_case.root);
    showFolder(d, m_case.root + QStringLiteral("/一"));
    showFolder(d, m_case.root + QStringLiteral("/一/二"));
    // In the table Alt+Left would move the cell; the shortcut comes first.
    d.ui->tableView->setFocus(Qt::TabFocusReason);
    key(Qt::Key_Left, Qt::AltModifier);
    QCOMPARE(d.currentDirectory(), m_case.root + QStringLiteral("/一"));
    key(Qt::Key_Backspace);
    QCOMPARE(d.currentDirectory(), m_case.root);
    // From a button as well.
    showFolder(d, m_case.root + QStringLiteral("/一"));
    d.ui->refreshButton->setFocus(Qt::TabFocusReason);
    key(Qt::Key_Left, Qt::AltModifier);
    QCOMPARE(d.currentDirectory(), m_case.root);
}

void TestShortcuts::altUpGoesToTheParentFolder()
{
    QDir().mkpath(m_case.root + QStringLiteral("/一/二"));
    Probe d;
    showInWindow(d, m_case.root + QStringLiteral("/一/二"));
    d.ui->fileNameEdit->setFocus(Qt::TabFocusReason);
    key(Qt::Key_Up, Qt::AltModifier);
    QCOMPARE(d.currentDirectory(), m_case.root + QStringLiteral("/一"));
    d.ui->tableView->setFocus(Qt::TabFocusReason);
    key(Qt::Key_Up, Qt::AltModifier);
    QCOMPARE(d.currentDirectory(), m_case.root);
    // Through the navigation with history: Back returns.
    key(Qt::Key_Left, Qt::AltModifier);
    QCOMPARE(d.currentDirectory(), m_case.root + QStringLiteral("/一"));
}

void TestShortcuts::altUpDoesNothingAtARootOrInTheComputer()
{
    Probe d;
    showInWindow(d, QStringLiteral("/"));
    d.ui->fileNameEdit->setFocus(Qt::TabFocusReason);
    key(Qt::Key_Up, Qt::AltModifier);
    QCOMPARE(d.currentDirectory(), QStringLiteral("/"));
    showFolder(d, QStringLiteral(":"));
    key(Qt::Key_Up, Qt::AltModifier);
    QCOMPARE(d.currentDirectory(), QStringLiteral(":"));
}

void TestShortcuts::f5Refreshes()
{
    Probe d;
    showInWindow(d, m_case.root);
    QVERIFY(!rowIndex(d, QStringLiteral("新.GCFX")).isValid());
    writeFile(m_case.root + QStringLiteral("/新.GCFX"), "x");
    d.ui->fileNameEdit->setFocus(Qt::TabFocusReason);
    key(Qt::Key_F5);
    QVERIFY(rowIndex(d, QStringLiteral("新.GCFX")).isValid());
}

void TestShortcuts::deleteAsksThenDeletes()
{
    writeFile(m_case.root + QStringLiteral("/旧.GCFX"), "x");
    Probe d;
    showInWindow(d, m_case.root);
    d.ui->tableView->setFocus(Qt::TabFocusReason);
    makeCurrent(d, QStringLiteral("旧.GCFX"));
    zControlTesting::setMessageBoxAnswers({0});
    key(Qt::Key_Delete);
    const auto calls = zControlTesting::messageBoxCalls();
    QCOMPARE(calls.size(), 1);
    QCOMPARE(calls.at(0).kind, QStringLiteral("critical"));
    QCOMPARE(calls.at(0).text, QStringLiteral("当前操作将彻底删除无法找回，确定删除文件/文件夹吗？"));
    QVERIFY(!QFile::exists(m_case.root + QStringLiteral("/旧.GCFX")));
}

void TestShortcuts::deleteDeclinedKeepsTheFile()
{
    writeFile(m_case.root + QStringLiteral("/旧.GCFX"), "x");
    Probe d;
    showInWindow(d, m_case.root);
    d.ui->tableView->setFocus(Qt::TabFocusReason);
    makeCurrent(d, QStringLiteral("旧.GCFX"));
    zControlTesting::setMessageBoxAnswers({1});
    key(Qt::Key_Delete);
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QVERIFY(QFile::exists(m_case.root + QStringLiteral("/旧.GCFX")));
}

void TestShortcuts::deleteWithoutACurrentRowDoesNothing()
{
    writeFile(m_case.root + QStringLiteral("/旧.GCFX"), "x");
    Probe d;
    showInWindow(d, m_case.root);
    d.ui->tableView->setFocus(Qt::MouseFocusReason); // no row made current
    QVERIFY(!d.ui->tableView->currentIndex().isValid());
    key(Qt::Key_Delete);
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
    QVERIFY(QFile::exists(m_case.root + QStringLiteral("/旧.GCFX")));
}

void TestShortcuts::f2RenamesTheCurrentRow()
{
    writeFile(m_case.root + QStringLiteral("/旧.GCFX"), "x");
    Probe d;
    showInWindow(d, m_case.root);
    d.ui->tableView->setFocus(Qt::TabFocusReason);
    makeCurrent(d, QStringLiteral("旧.GCFX"));
    key(Qt::Key_F2);
    auto* editor = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    QVERIFY(editor);
    QVERIFY(d.ui->tableView->isAncestorOf(editor));
    editor->selectAll();
    typeText(QStringLiteral("新.GCFX"));
    key(Qt::Key_Return);
    QTRY_VERIFY(QFile::exists(m_case.root + QStringLiteral("/新.GCFX")));
    QVERIFY(!QFile::exists(m_case.root + QStringLiteral("/旧.GCFX")));
}

void TestShortcuts::ctrlCCopiesAndCtrlVPastes()
{
    writeFile(m_case.root + QStringLiteral("/源/甲.GCFX"), "one");
    QDir().mkpath(m_case.root + QStringLiteral("/目标"));
    Probe d;
    showInWindow(d, m_case.root + QStringLiteral("/源"));
    d.ui->tableView->setFocus(Qt::TabFocusReason);
    makeCurrent(d, QStringLiteral("甲.GCFX"));
    QApplication::clipboard()->clear();
    key(Qt::Key_C, Qt::ControlModifier);
    const QMimeData* data = QApplication::clipboard()->mimeData();
    QVERIFY(data && data->hasUrls());
    QCOMPARE(data->urls().value(0).toLocalFile(), m_case.root + QStringLiteral("/源/甲.GCFX"));

    showFolder(d, m_case.root + QStringLiteral("/目标"));
    d.ui->tableView->setFocus(Qt::TabFocusReason);
    key(Qt::Key_V, Qt::ControlModifier);
    QCOMPARE(readFile(m_case.root + QStringLiteral("/目标/甲.GCFX")), QByteArray("one"));
}

void TestShortcuts::ctrlShiftNMakesANewFolder()
{
    Probe d;
    showInWindow(d, m_case.root);
    d.ui->fileNameEdit->setFocus(Qt::TabFocusReason);
    key(Qt::Key_N, Qt::ControlModifier | Qt::ShiftModifier);
    QVERIFY(QFileInfo(m_case.root + QStringLiteral("/新建文件夹")).isDir());
    // In the computer view, where the button is greyed, nothing.
    showFolder(d, QStringLiteral(":"));
    d.ui->fileNameEdit->setFocus(Qt::TabFocusReason);
    key(Qt::Key_N, Qt::ControlModifier | Qt::ShiftModifier);
    QVERIFY(!QFileInfo(m_case.root + QStringLiteral("/新建文件夹1")).exists());
}

void TestShortcuts::noShortcutActsInACloudView()
{
    writeFile(m_case.root + QStringLiteral("/旧.GCFX"), "x");
    Probe d;
    showInWindow(d, m_case.root);
    makeCurrent(d, QStringLiteral("旧.GCFX"));
    putOnClipboard({m_case.root + QStringLiteral("/旧.GCFX")});
    // The table still lists local rows; the folder shown is a cloud one.
    d.m_currentDir = QStringLiteral("个人云盘\\资料");
    d.ui->tableView->setFocus(Qt::OtherFocusReason);
    for (const auto& k : QList<QPair<int, Qt::KeyboardModifiers>>{{Qt::Key_Delete, Qt::NoModifier},
                                                                  {Qt::Key_F2, Qt::NoModifier},
                                                                  {Qt::Key_V, Qt::ControlModifier},
                                                                  {Qt::Key_N, Qt::ControlModifier | Qt::ShiftModifier},
                                                                  {Qt::Key_Up, Qt::AltModifier}})
        key(k.first, k.second);
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
    // No rename editor opened.
    QVERIFY(!qobject_cast<QLineEdit*>(QApplication::focusWidget()) || !d.ui->tableView->isAncestorOf(QApplication::focusWidget()));
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘\\资料"));
    QCOMPARE(entries(m_case.root), QStringList{QStringLiteral("旧.GCFX")});
}

void TestShortcuts::noShortcutActsInTheEmptyStartingFolder()
{
    writeFile(m_case.root + QStringLiteral("/旧.GCFX"), "x");
    putOnClipboard({m_case.root + QStringLiteral("/旧.GCFX")});
    const QString cwd = QDir::currentPath();
    QDir::setCurrent(m_case.root);
    Probe d;
    showInWindow(d, QString());
    QVERIFY(d.m_currentDir.isEmpty());
    d.ui->tableView->setFocus(Qt::OtherFocusReason);
    key(Qt::Key_V, Qt::ControlModifier);
    key(Qt::Key_N, Qt::ControlModifier | Qt::ShiftModifier);
    key(Qt::Key_Up, Qt::AltModifier);
    QDir::setCurrent(cwd);
    QVERIFY(d.m_currentDir.isEmpty());
    QCOMPARE(entries(m_case.root), QStringList{QStringLiteral("旧.GCFX")});
}

void TestShortcuts::fieldKeepsItsOwnDeleteAndCopy()
{
    writeFile(m_case.root + QStringLiteral("/旧.GCFX"), "x");
    Probe d;
    showInWindow(d, m_case.root);
    makeCurrent(d, QStringLiteral("旧.GCFX"));
    d.ui->fileNameEdit->setFocus(Qt::TabFocusReason);
    d.ui->fileNameEdit->setText(QStringLiteral("ab"));
    d.ui->fileNameEdit->setCursorPosition(0);
    key(Qt::Key_Delete);
    QCOMPARE(d.ui->fileNameEdit->text(), QStringLiteral("b"));
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
    QVERIFY(QFile::exists(m_case.root + QStringLiteral("/旧.GCFX")));
}

void TestShortcuts::currentRowShowsAFocusFrame()
{
    writeFile(m_case.root + QStringLiteral("/a.GCFX"), "x");
    writeFile(m_case.root + QStringLiteral("/b.GCFX"), "x");
    Probe d;
    showInWindow(d, m_case.root);
    d.ui->tableView->setFocus(Qt::TabFocusReason);
    key(Qt::Key_Down);
    QTest::qWait(20);
    const QRect row = d.ui->tableView->visualRect(rowIndex(d, QStringLiteral("b.GCFX")));
    QImage shot = d.ui->tableView->viewport()->grab().toImage();
    const qreal ratio = shot.devicePixelRatio();
    auto at = [&](int x, int y) { return QColor(shot.pixel(int(x * ratio), int(y * ratio))); };
    const int x = d.ui->tableView->viewport()->width() / 2;
    QCOMPARE(at(x, row.top()), pfd::tableFocusFrameColour());
    QCOMPARE(at(x, row.bottom()), pfd::tableFocusFrameColour());
    QCOMPARE(at(0, row.center().y()), pfd::tableFocusFrameColour());
    // Without the keyboard, no frame.
    d.ui->fileNameEdit->setFocus(Qt::TabFocusReason);
    QTest::qWait(20);
    shot = d.ui->tableView->viewport()->grab().toImage();
    QVERIFY(at(x, row.top()) != pfd::tableFocusFrameColour());
}

void TestShortcuts::selectionStandsOutThreeToOne()
{
    QCOMPARE(qRound(pfd::contrastRatio(Qt::black, Qt::white)), 21);
    QCOMPARE(pfd::contrastRatio(QColor("#E8F0FE"), Qt::white) < 3, true);
    writeFile(m_case.root + QStringLiteral("/a.GCFX"), "x");
    writeFile(m_case.root + QStringLiteral("/b.GCFX"), "x");
    Probe d;
    showInWindow(d, m_case.root);
    d.ui->fileNameEdit->setFocus(Qt::TabFocusReason); // no frame in the way
    d.ui->tableView->selectRow(rowIndex(d, QStringLiteral("a.GCFX")).row());
    QTest::qWait(20);
    const QImage shot = d.ui->tableView->viewport()->grab().toImage();
    const qreal ratio = shot.devicePixelRatio();
    const QRect selected = d.ui->tableView->visualRect(rowIndex(d, QStringLiteral("a.GCFX")));
    const QRect plain = d.ui->tableView->visualRect(rowIndex(d, QStringLiteral("b.GCFX")));
    // Sampled right of the texts, where only the row's fill shows.
    const int x = d.ui->tableView->viewport()->width() - 12;
    const QColor fill(shot.pixel(int(x * ratio), int(selected.center().y() * ratio)));
    const QColor background(shot.pixel(int(x * ratio), int(plain.center().y() * ratio)));
    QVERIFY2(pfd::contrastRatio(fill, background) >= 3.0,
             qPrintable(fill.name() + QStringLiteral(" on ") + background.name()));
}

void TestShortcuts::controlsHaveAccessibleNames()
{
    const QString pinned = m_case.root + QStringLiteral("/常用甲");
    QDir().mkpath(pinned);
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_case.app->store(), QStringLiteral("OftenUse"),
                                            record(pinned, QStringLiteral("文件夹")));
    QDir().mkpath(m_case.root + QStringLiteral("/子目录"));
    Probe d;
    showInWindow(d, m_case.root + QStringLiteral("/子目录"));
    const QList<QPair<const char*, QString>> named{
        {"backwards_button", "返回"},  {"btnRefresh", "刷新"},     {"createFile_button", "新建文件夹"},
        {"figure_button", "视图"},     {"maximize_button", "最大化"}, {"close_button", "关闭"},
        {"FileDialog", "文件列表"},    {"address_bar", "位置"},     {"fileType_comboBox", "文件类型"},
        {"desktop_button", "桌面"},    {"ok_button", "确定"},       {"cancel_button", "取消"}};
    for (const auto& n : named) {
        QWidget* w = d.findChild<QWidget*>(QLatin1String(n.first));
        QVERIFY2(w, n.first);
        QCOMPARE(accessibleName(w), n.second);
    }
    // The field is named after its label.
    QCOMPARE(d.ui->fileNameLabel->buddy(), static_cast<QWidget*>(d.ui->fileNameEdit));
    QCOMPARE(accessibleName(d.ui->fileNameEdit).trimmed(), QStringLiteral("文件名"));
    // Each segment after its folder, the pinned folder after its name.
    QStringList segments;
    for (int i = 2; i < d.ui->addressBar->itemLayout()->count() - 1; ++i)
        segments << accessibleName(d.ui->addressBar->itemLayout()->itemAt(i)->widget());
    QCOMPARE(segments.last(), QStringLiteral("子目录"));
    QVERIFY(!accessibleName(d.ui->addressBar->itemLayout()->itemAt(1)->widget()).isEmpty());
    QWidget* pin = d.ui->oftenUseList->itemWidget(d.ui->oftenUseList->item(0));
    QCOMPARE(accessibleName(pin), QStringLiteral("常用甲"));
    // Reachable from the list, as a screen reader walks the window.
    QAccessibleInterface* list = QAccessible::queryAccessibleInterface(d.ui->oftenUseList);
    QCOMPARE(list->childCount(), 1);
    QCOMPARE(list->child(0)->object(), static_cast<QObject*>(pin));
    QCOMPARE(list->child(0)->parent()->object(), static_cast<QObject*>(d.ui->oftenUseList));
}

void TestShortcuts::placesAreFocusableButtons()
{
    Probe d;
    showInWindow(d, m_case.root);
    d.onDocumentButton();
    for (QAbstractButton* place : {static_cast<QAbstractButton*>(d.ui->desktopButton),
                                   static_cast<QAbstractButton*>(d.ui->documentButton)}) {
        QAccessibleInterface* iface = QAccessible::queryAccessibleInterface(place);
        QCOMPARE(iface->role(), QAccessible::Button);
        QVERIFY(iface->state().focusable);
        QCOMPARE(iface->state().checked, place->isChecked());
        QVERIFY(iface->actionInterface()->actionNames().contains(QAccessibleActionInterface::pressAction()));
    }
    QAccessibleInterface* desktop = QAccessible::queryAccessibleInterface(d.ui->desktopButton);
    desktop->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QCOMPARE(d.currentDirectory(), pfd::knownFolder(pfd::KnownFolder::Desktop));
}

QTEST_MAIN(TestShortcuts)
#include "tst_shortcuts.moc"
