// Moving between folders: the path update and its log, the back-stack and
// its cap, the places, the address bar's and completer's reactions, refresh
// and the list/detail switch.
#include "dialogsupport.h"
#include "dialogfixture.h"
#include "testsupport.h"

#include "AddressBar.h"
#include "AddressItem.h"
#include "dialogs/OpenProject.h"
#include "SharedInterface.h"
#include "fileInfoJsonUtil.h"
#include "knownfolderpaths.h"
#include "zBaseButton.h"
#include "zBaseControlTesting.h"
#include "zControlTesting.h"

#include <QAction>
#include <QDir>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QMenu>
#include <QStackedWidget>
#include <QTableView>
#include <QtTest>

using dialogsupport::child;
using dialogsupport::whenDialogShows;
using namespace testsupport;

namespace {

// Opens the dialog's private state to the test.
class Probe : public OpenProject
{
public:
    using zFileDialog::m_backStack;
    using zFileDialog::m_currentDir;
};

QList<AddressItem*> segmentsOf(QWidget* dialog)
{
    QList<AddressItem*> items;
    auto* bar = child<AddressBar>(dialog, "address_bar");
    for (int i = 0; i < bar->itemLayout()->count(); ++i) {
        if (auto* item = qobject_cast<AddressItem*>(bar->itemLayout()->itemAt(i)->widget())) {
            if (!item->isRootItem())
                items << item;
        }
    }
    return items;
}

} // namespace

class TestNavigation : public QObject, dialogfixture::DialogFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void elevenPushesKeepFirstTenAndBackReturnsToTenth();
    void backChecksThePlaceOfItsEntry_data();
    void backChecksThePlaceOfItsEntry();
    void backOnEmptyStackDisablesButton();
    void firstFolderPushesTheEmptyFolder();
    void backToTheEmptyFolderInARunningDialog();
    void refreshOnComputerRelistsDrivesAndKeepsStack();
    void typedELetterGoesToDriveRoot();
    void typedDLetterIsRelativePath();
    void typedComputerFormsShowDrives_data();
    void typedComputerFormsShowDrives();
    void typedMissingFolderIsIgnored();
    void sameFolderWithTracingPushesNothing();
    void pathUpdateLogsInOrder();
    void lastPathWrittenOnEveryLocalNavigation();
    void posixPathShowsSlashAsFirstSegment();
    void computerShownAsThisPc();
    void newFolderGreyOnComputer();
    void placeButtonsSetTheirCodes();
    void segmentChoiceWhileCloudCheckedChecksComputer();
    void completerChoiceNavigates();
    void listAndDetailSwitch();
    void otherPagesHideNameAndTypeRows();
    void currentPathFallsBackToLastPathThenDocuments();

private:
    QStringList m_folders;
};

void TestNavigation::initTestCase()
{
    useHome({QStringLiteral("Documents"), QStringLiteral("Desktop")});
    qunsetenv("XDG_CONFIG_HOME");
    for (int i = 0; i < 13; ++i) {
        const QString f = m_home.path() + QStringLiteral("/层 %1 & #").arg(i);
        QVERIFY(QDir().mkpath(f));
        m_folders << f;
    }
}

void TestNavigation::init()
{
    startHost();
    zFileDialog::i_Column = 0;
    zFileDialog::i_sort = 0;
    zFileDialog::SetCurrentPath(QString());
}

void TestNavigation::cleanup()
{
    stopHost();
}

void TestNavigation::elevenPushesKeepFirstTenAndBackReturnsToTenth()
{
    Probe d;
    // The first folder pushes the empty folder the dialog started with.
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    QCOMPARE(d.m_backStack.size(), 1);
    QCOMPARE(d.m_backStack.first().second, QString());
    for (int i = 1; i <= 10; ++i)
        d.updateCurrentPath(m_folders.at(i), zFileDialog::tracing);
    // Eleven pushes: "" and folders 0 to 9; the ten oldest stay.
    QCOMPARE(d.m_backStack.size(), 10);
    QCOMPARE(d.m_backStack.first().second, QString());
    QCOMPARE(d.m_backStack.at(1).second, m_folders.at(0));
    QCOMPARE(d.m_backStack.last().second, m_folders.at(8));
    auto* back = child<QAbstractButton>(&d, "backwards_button");
    QVERIFY(back->isEnabled());
    QTest::mouseClick(back, Qt::LeftButton);
    QCOMPARE(d.currentDirectory(), m_folders.at(8));
    QCOMPARE(d.m_backStack.size(), 9);
}

void TestNavigation::backChecksThePlaceOfItsEntry_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("checked");
    QTest::newRow("other path") << 5 << QString();
    QTest::newRow("pinned folder") << 7 << QString();
    QTest::newRow("recent") << 8 << QString();
    QTest::newRow("desktop") << 0 << "desktop_button";
    QTest::newRow("computer") << 1 << "computer_button";
    QTest::newRow("documents") << 2 << "my_document_button";
    QTest::newRow("current project") << 6 << "currentProjectPath_button";
}

void TestNavigation::backChecksThePlaceOfItsEntry()
{
    QFETCH(int, code);
    QFETCH(QString, checked);
    Probe d;
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    zFileDialog::iClickedBtn = code;
    d.updateCurrentPath(m_folders.at(1), zFileDialog::tracing);
    child<QAbstractButton>(&d, "other_path_button")->setChecked(true);
    QTest::mouseClick(child<QAbstractButton>(&d, "backwards_button"), Qt::LeftButton);
    QCOMPARE(d.currentDirectory(), m_folders.at(0));
    QCOMPARE(zFileDialog::iClickedBtn, code);
    QStringList nowChecked;
    for (const char* name : {"recent_button", "currentProjectPath_button", "companyYun_button", "personYun_button",
                             "desktop_button", "computer_button", "my_document_button", "other_path_button"}) {
        if (child<QAbstractButton>(&d, name)->isChecked())
            nowChecked << QLatin1String(name);
    }
    QCOMPARE(nowChecked, checked.isEmpty() ? QStringList() : QStringList{checked});
    // The empty folder the dialog started with is still below it.
    QCOMPARE(d.m_backStack.size(), 1);
    QVERIFY(child<QAbstractButton>(&d, "backwards_button")->isEnabled());
}

void TestNavigation::backOnEmptyStackDisablesButton()
{
    Probe d;
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    d.onBackwardsButton(); // to the empty folder the dialog started with
    QCOMPARE(d.currentDirectory(), QString());
    QVERIFY(!child<QAbstractButton>(&d, "backwards_button")->isEnabled());
    d.onBackwardsButton();
    QCOMPARE(d.currentDirectory(), QString());
    QVERIFY(d.m_backStack.isEmpty());
    QVERIFY(!child<QAbstractButton>(&d, "backwards_button")->isEnabled());
}

void TestNavigation::firstFolderPushesTheEmptyFolder()
{
    Probe d;
    auto* back = child<QAbstractButton>(&d, "backwards_button");
    QVERIFY(!back->isEnabled());
    QCOMPARE(d.currentDirectory(), QString());
    zFileDialog::iClickedBtn = 0;
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    QVERIFY(back->isEnabled());
    QCOMPARE(d.m_backStack, (QList<QPair<int, QString>>{qMakePair(0, QString())}));
}

void TestNavigation::backToTheEmptyFolderInARunningDialog()
{
    // Back from the first folder lists the empty path: an empty table, the
    // bare root in the address bar, and the dialog goes on working.
    whenDialogShows([this](zFileDialog* d) {
        auto* back = child<QAbstractButton>(d, "backwards_button");
        auto* table = child<QTableView>(d, "FileDialog");
        QCOMPARE(d->currentDirectory(), m_folders.at(0));
        QVERIFY(back->isEnabled());
        QTest::mouseClick(back, Qt::LeftButton);
        QCOMPARE(d->currentDirectory(), QString());
        QCOMPARE(table->model()->rowCount(), 0);
        QVERIFY(!back->isEnabled());
        auto* bar = child<AddressBar>(d, "address_bar");
        QCOMPARE(bar->currentPath(), QString());
        QCOMPARE(segmentsOf(d).size(), 0);
        QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(SharedInterface::GetAppPath() + "/filecy.json"), QString());
        // Refresh, Return and a click on a place work from there.
        QTest::mouseClick(child<QAbstractButton>(d, "btnRefresh"), Qt::LeftButton);
        QCOMPARE(d->currentDirectory(), QString());
        QTest::keyClick(table, Qt::Key_Return);
        QVERIFY(d->isVisible());
        QTest::mouseClick(child<QAbstractButton>(d, "my_document_button"), Qt::LeftButton);
        QCOMPARE(d->currentDirectory(), pfd::knownFolder(pfd::KnownFolder::Documents));
        QVERIFY(back->isEnabled());
        QTest::keyClick(d, Qt::Key_Escape);
    });
    QStringList groups{"预算文件", "GCFX"};
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_folders.at(0), &groups, 1, QString(), false, QString(), false),
             QString());
}

void TestNavigation::refreshOnComputerRelistsDrivesAndKeepsStack()
{
    answerDirRequests(rows({row("C:", "本地磁盘", "", "", "系统"), row("D:", "本地磁盘", "", "", "数据")}));
    Probe d;
    d.updateCurrentPath(QStringLiteral("D:\\工程"), zFileDialog::tracing);
    QTest::mouseClick(child<QAbstractButton>(&d, "computer_button"), Qt::LeftButton);
    QCOMPARE(d.currentDirectory(), QStringLiteral(":"));
    const auto stackBefore = d.m_backStack;
    const int requestsBefore = SharedInterfaceTesting::dirRequests().size();
    QTest::mouseClick(child<QAbstractButton>(&d, "btnRefresh"), Qt::LeftButton);
    // Read once: the "此电脑" segment's list takes its rows from the table's.
    QCOMPARE(SharedInterfaceTesting::dirRequests().mid(requestsBefore), (QStringList{":"}));
    QCOMPARE(d.m_backStack, stackBefore);
    QCOMPARE(child<QTableView>(&d, "FileDialog")->model()->rowCount(), 2);
}

void TestNavigation::typedELetterGoesToDriveRoot()
{
    answerDirRequests(rows({row("工程", "文件夹")}));
    Probe d;
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    emit child<AddressBar>(&d, "address_bar")->returnKeyPressed(QStringLiteral("E:"));
    QCOMPARE(d.currentDirectory(), QStringLiteral("E:\\"));
    QCOMPARE(SharedInterfaceTesting::dirRequests().last(), QStringLiteral("E:\\"));
}

void TestNavigation::typedDLetterIsRelativePath()
{
    QTemporaryDir work;
    QVERIFY(QDir(work.path()).mkdir(QStringLiteral("D:")));
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(work.path()));
    Probe d;
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    d.onReturnPressed(QStringLiteral("D:"));
    QCOMPARE(d.currentDirectory(), QDir(work.path()).absoluteFilePath(QStringLiteral("D:")));
    // Another bare letter is no folder here: nothing happens.
    d.onReturnPressed(QStringLiteral("F:"));
    QCOMPARE(d.currentDirectory(), QDir(work.path()).absoluteFilePath(QStringLiteral("D:")));
    QDir::setCurrent(before);
}

void TestNavigation::typedComputerFormsShowDrives_data()
{
    QTest::addColumn<QString>("typed");
    QTest::newRow(":") << ":";
    QTest::newRow(":/") << ":/";
    QTest::newRow(":\\") << ":\\";
}

void TestNavigation::typedComputerFormsShowDrives()
{
    QFETCH(QString, typed);
    answerDirRequests(rows({row("C:", "本地磁盘")}));
    Probe d;
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    d.onReturnPressed(typed);
    QCOMPARE(d.currentDirectory(), QStringLiteral(":"));
}

void TestNavigation::typedMissingFolderIsIgnored()
{
    Probe d;
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    zControlTesting::clearMessageBoxCalls();
    d.onReturnPressed(m_home.path() + QStringLiteral("/没有这个目录"));
    QCOMPARE(d.currentDirectory(), m_folders.at(0));
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
}

void TestNavigation::sameFolderWithTracingPushesNothing()
{
    Probe d;
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    d.updateCurrentPath(m_folders.at(1), zFileDialog::tracing);
    QCOMPARE(d.m_backStack.size(), 2); // "" and folder 0
    d.updateCurrentPath(m_folders.at(1), zFileDialog::tracing);
    QCOMPARE(d.m_backStack.size(), 2);
    d.updateCurrentPath(m_folders.at(2), zFileDialog::no_tracing);
    QCOMPARE(d.m_backStack.size(), 2);
}

void TestNavigation::pathUpdateLogsInOrder()
{
    Probe d;
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    SharedInterfaceTesting::clearLog();
    d.updateCurrentPath(m_folders.at(1), zFileDialog::tracing);
    QStringList messages;
    for (const QString& line : SharedInterfaceTesting::logLines()) {
        QVERIFY(QRegularExpression(QStringLiteral("^\\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\] "))
                    .match(line)
                    .hasMatch());
        messages << line.mid(line.indexOf(QLatin1String("] ")) + 2);
    }
    QStringList expected{
        "文件对话框---------------开始刷新路径",
        "文件对话框------刷新路径：" + m_folders.at(1),
        "文件对话框------开始记录上一次路径",
        "文件对话框------结束记录上一次路径",
    };
    // Showing the path in the address bar lists each segment's folder for
    // its drop-down: "/" and one segment per folder of the path, but the
    // deepest, whose rows come from the table's listing below.
    const int segments = 1 + m_folders.at(1).split(QLatin1Char('/'), Qt::SkipEmptyParts).size();
    for (int i = 0; i < segments - 1; ++i)
        expected << "文件对话框------调用Go接口获取数据开始" << "文件对话框------调用Go接口获取数据结束";
    expected += QStringList{
                           "文件对话框------开始调用RootPath接口获取数据",
                           "文件对话框------调用Go接口获取数据开始",
                           "文件对话框------调用Go接口获取数据结束",
                           "文件对话框------结束调用RootPath接口获取数据",
                           "文件对话框------获取当前数据Index",
                           "文件对话框---------------结束刷新路径",
                       };
    QCOMPARE(messages, expected);
}

void TestNavigation::lastPathWrittenOnEveryLocalNavigation()
{
    Probe d;
    for (int i = 0; i < 3; ++i) {
        d.updateCurrentPath(m_folders.at(i), zFileDialog::tracing);
        QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(m_app->store()), m_folders.at(i));
        QCOMPARE(zFileDialog::getCurrentPath(), m_folders.at(i));
    }
    d.onBackwardsButton();
    QCOMPARE(fileInfoJsonUtil::GetLastPathFromJson(m_app->store()), m_folders.at(1));
}

void TestNavigation::posixPathShowsSlashAsFirstSegment()
{
    Probe d;
    d.resize(1400, 600);
    d.show();
    d.updateCurrentPath(m_folders.at(3), zFileDialog::tracing);
    const QList<AddressItem*> items = segmentsOf(&d);
    const QStringList parts = m_folders.at(3).split(QLatin1Char('/'), Qt::SkipEmptyParts);
    QCOMPARE(items.size(), parts.size() + 1);
    QCOMPARE(items.first()->segmentText(), QStringLiteral("/"));
    QCOMPARE(items.first()->segmentPath(), QStringLiteral("/"));
    QCOMPARE(items.at(1)->segmentText(), parts.first());
    QCOMPARE(items.at(1)->segmentPath(), QLatin1Char('/') + parts.first());
    QCOMPARE(items.last()->segmentPath(), m_folders.at(3));
}

void TestNavigation::computerShownAsThisPc()
{
    answerDirRequests(rows({row("C:", "本地磁盘", "", "", "系统")}));
    Probe d;
    d.show();
    d.onMyComputerButton();
    const QList<AddressItem*> items = segmentsOf(&d);
    QCOMPARE(items.size(), 1);
    QCOMPARE(items.first()->segmentText(), QStringLiteral("此电脑"));
    QCOMPARE(child<QTableView>(&d, "FileDialog")->model()->index(0, 0).data().toString(), QStringLiteral("系统 (C:)"));
}

void TestNavigation::newFolderGreyOnComputer()
{
    answerDirRequests("[]");
    Probe d;
    auto* create = child<zBaseButton>(&d, "createFile_button");
    d.updateCurrentPath(QStringLiteral(":"), zFileDialog::tracing);
    QVERIFY(!create->isEnabled());
    QCOMPARE(create->normalIcon(), QStringLiteral(":/Image/filedlg/icon-newfileNo.svg"));
    d.updateCurrentPath(QStringLiteral(":/"), zFileDialog::tracing);
    QVERIFY(!create->isEnabled());
    SharedInterfaceTesting::setDirService(nullptr);
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    QVERIFY(create->isEnabled());
    QCOMPARE(create->normalIcon(), QStringLiteral(":/Image/filedlg/icon-newfile0.svg"));
}

void TestNavigation::placeButtonsSetTheirCodes()
{
    Probe d;
    QTest::mouseClick(child<QAbstractButton>(&d, "desktop_button"), Qt::LeftButton);
    QCOMPARE(zFileDialog::iClickedBtn, 0);
    QCOMPARE(d.currentDirectory(), pfd::knownFolder(pfd::KnownFolder::Desktop));
    QTest::mouseClick(child<QAbstractButton>(&d, "my_document_button"), Qt::LeftButton);
    QCOMPARE(zFileDialog::iClickedBtn, 2);
    QCOMPARE(d.currentDirectory(), pfd::knownFolder(pfd::KnownFolder::Documents));
    answerDirRequests("[]");
    QTest::mouseClick(child<QAbstractButton>(&d, "computer_button"), Qt::LeftButton);
    QCOMPARE(zFileDialog::iClickedBtn, 1);
    QCOMPARE(d.currentDirectory(), QStringLiteral(":"));
    // The empty first folder, then desktop and documents.
    QCOMPARE(d.m_backStack.size(), 3);
    QCOMPARE(d.m_backStack.at(0), qMakePair(2, QString()));
    QCOMPARE(d.m_backStack.at(1).first, 0);
    QCOMPARE(d.m_backStack.at(2).first, 2);
}

void TestNavigation::segmentChoiceWhileCloudCheckedChecksComputer()
{
    Probe d;
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    child<QAbstractButton>(&d, "personYun_button")->setChecked(true);
    emit child<AddressBar>(&d, "address_bar")->SCurrentPathChanged(m_folders.at(1));
    QVERIFY(child<QAbstractButton>(&d, "computer_button")->isChecked());
    QCOMPARE(d.currentDirectory(), m_folders.at(1));
}

void TestNavigation::completerChoiceNavigates()
{
    answerDirRequests("[]");
    Probe d;
    d.onCompleterChoosed(QStringLiteral("C:/工程/预算"));
    QCOMPARE(d.currentDirectory(), QStringLiteral("C:\\工程\\预算"));
    SharedInterfaceTesting::setDirService(nullptr);
    d.onCompleterChoosed(m_folders.at(2));
    QCOMPARE(d.currentDirectory(), m_folders.at(2));
}

void TestNavigation::listAndDetailSwitch()
{
    Probe d;
    d.updateCurrentPath(m_folders.at(0), zFileDialog::tracing);
    auto* table = child<QTableView>(&d, "FileDialog");
    QMenu* menu = child<QAbstractButton>(&d, "figure_button")->findChild<QMenu*>();
    QVERIFY(menu);
    QAction* list = menu->actions().at(0);
    QAction* detail = menu->actions().at(1);
    list->trigger();
    QVERIFY(table->horizontalHeader()->isHidden());
    QVERIFY(table->isColumnHidden(1) && table->isColumnHidden(3) && !table->isColumnHidden(0));
    QVERIFY(list->isChecked() && !detail->isChecked());
    detail->trigger();
    QVERIFY(!table->horizontalHeader()->isHidden());
    QVERIFY(!table->isColumnHidden(1) && !table->isColumnHidden(3));
    QVERIFY(!list->isChecked() && detail->isChecked());
}

void TestNavigation::otherPagesHideNameAndTypeRows()
{
    Probe d;
    auto* stack = child<QStackedWidget>(&d, "stackedWidget");
    stack->setCurrentIndex(1);
    for (const char* name : {"fileName_label", "fileName_lineEdit", "fileType_label", "fileType_comboBox",
                             "ok_button", "cancel_button"})
        QVERIFY2(child<QWidget>(&d, name)->isHidden(), name);
    stack->setCurrentIndex(0);
    for (const char* name : {"fileName_label", "fileName_lineEdit", "ok_button", "cancel_button"})
        QVERIFY2(!child<QWidget>(&d, name)->isHidden(), name);
}

void TestNavigation::currentPathFallsBackToLastPathThenDocuments()
{
    zFileDialog::SetCurrentPath(QString());
    QCOMPARE(zFileDialog::getCurrentPath(), pfd::knownFolder(pfd::KnownFolder::Documents));
    zFileDialog::SetCurrentPath(QString());
    fileInfoJsonUtil::UpdateJsonFromLastPath(m_app->store(), m_folders.at(4));
    QCOMPARE(zFileDialog::getCurrentPath(), m_folders.at(4));
    zFileDialog::SetCurrentPath(QString());
    SharedInterfaceTesting::setProjectDir(m_folders.at(5));
    QCOMPARE(zFileDialog::getCurrentPath(), m_folders.at(5));
}

QTEST_MAIN(TestNavigation)
#include "tst_navigation.moc"
