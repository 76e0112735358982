// Cloud browsing and opening a cloud project, through a scripted cloud:
// the login gate, both clouds, rows, refresh, history, the accept handler's
// open branch, the download under its progress window and its re-entry
// guard.
#include "cloudfixture.h"
#include "cloudscript.h"
#include "dialogsupport.h"
#include "testsupport.h"

#include "AddressBar.h"
#include "FirstPageService.h"
#include "YunPanModel.h"
#include "dialogs/OpenProject.h"
#include "dialogs/SaveProject.h"
#include "fileModelLocal.h"
#include "mqcoreTesting.h"
#include "nameFilterProxyModel.h"
#include "osgiTesting.h"
#include "zBaseButton.h"
#include "zBaseCombox.h"
#include "zBaseControlTesting.h"
#include "zBaseLineEdit.h"
#include "zControlTesting.h"
#include "zFileDialogUi.h"

#include <QAction>
#include <QDir>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QMenu>
#include <QStackedWidget>
#include <QTableView>
#include <QtTest>

using namespace dialogsupport;
using namespace testsupport;
using namespace cloudscript;

namespace {

template <typename Base>
class Probe : public Base
{
public:
    using zFileDialog::initFilterSuffix;
    using zFileDialog::loadCurrentPath;
    using zFileDialog::m_backStack;
    using zFileDialog::m_currentDir;
    using zFileDialog::m_currentProjectDir;
    using zFileDialog::m_yunpanLevel;
    using zFileDialog::ui;
    using zFileDialog::updateYunpanData;
};

QString cell(QTableView* table, const QString& name, int column)
{
    return table->model()->index(rowOf(table, name), column).data().toString();
}

// A login entry that signs the user in, or not, and counts its calls.
class ScriptedLogin : public osgi::FirstPageService
{
public:
    bool succeed = true;
    int calls = 0;
    void Login(const QJsonObject&) override
    {
        ++calls;
        if (succeed) {
            mqcoreTesting::setUser(QStringLiteral("1024"), QStringLiteral("wang"), QStringLiteral("王工"));
            mqcoreTesting::setLoggedIn(true);
        }
    }
};

} // namespace

class TestCloudBrowse : public QObject, cloudfixture::ScriptedCloudFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    // login gate
    void loginRefusedReturnsToDocuments();
    void loginRefusedFromDesktopRechecksDesktop();
    void loginAcceptedEntersTheCloud();
    void noLoginServiceStaysOut();

    // entering and showing
    void personalRootLevelIsShown();
    void personalTreeWithoutRootIsShownAsItComes();
    void folderSizeIsNeverShownAndSizesUseTheirUnits();
    void idColumnsStayHiddenAfterListAndDetail();
    void listRefusalShowsTheServiceMessage();
    void enterpriseListsTheEnterprises();
    void saveDialogReadsSaveInTheCloud();

    // moving
    void okOnFolderDescendsAndSetsIds();
    void enterpriseFolderRefusedShowsMessage();
    void enterpriseFolderEnteredSetsEnterpriseId();
    void chooseEnterpriseWhenTheListIsEmpty();
    void backReturnsThroughCloudHistory();
    void addressBarPathResolvesAgainstTheTree();
    void refreshReloadsAndKeepsThePath();
    void refreshAfterFolderVanishedKeepsThePath();
    void typeComboReappliesTheCloudListing();
    void typeComboInALocalFolderRefillsOnlyTheCloudModel();
    void renameHookWritesTheNameIntoTheLevel();
    void currentProjectPlaceShowsTheCloudFolder();
    void lastCloudPlaceIsRestoredWhenTheDialogOpens();
    void openModesThreeAndFourRestoreTheLastPlace_data();
    void openModesThreeAndFourRestoreTheLastPlace();

    // accepting
    void localPathOkDoesNothing();
    void otherOkTextDoesNothing();
    void singleSegmentDoesNotExist();
    void typedNameWithoutSelectionOpensTheFile();
    void typedUnknownNameShowsNotExist();
    void fileGoneFromFreshTreeShowsNotExist();
    void enterpriseFileRefusedWithNoDownloadIsAWarning();
    void enterpriseFileRefusedOtherwiseIsInformation();
    void listRequestsAreSentTwiceBeforeDownloading();
    void emptyDownloadPathIsRefused();
    void downloadOutsideTheStagingTreeIsRefused();
    void downloadFailureShowsDownloadFailed();
    void progressRisesThenHundredThenHundredAndOne();

    // end to end
    void openPersonalProjectEndToEnd();
    void openEnterpriseProjectEndToEnd();
    void closingDuringSlowDownloadStillReturnsTheProject_data();
    void closingDuringSlowDownloadStillReturnsTheProject();
    void dialogDeletedDuringDownloadLeavesQuietly();
};

void TestCloudBrowse::initTestCase()
{
    useHome();
}

void TestCloudBrowse::init()
{
    startCloud(true);
}

void TestCloudBrowse::cleanup()
{
    stopCloud();
}

// ---- login gate --------------------------------------------------------------------------

void TestCloudBrowse::loginRefusedReturnsToDocuments()
{
    mqcoreTesting::setLoggedIn(false);
    mqcoreTesting::setLoginOutcome(false);
    zFileDialog::iClickedBtn = 4;
    Probe<OpenProject> d;
    d.ui->personYunButton->click();
    QCOMPARE(osgiTesting::loginCalls(), 1);
    QVERIFY(d.ui->documentButton->isChecked());
    QCOMPARE(zFileDialog::iClickedBtn, 2);
    QVERIFY(m_cloud->methods().isEmpty());
    QVERIFY(!zFileDialog::IsGrYunPanFile(d.m_currentDir));
}

void TestCloudBrowse::loginRefusedFromDesktopRechecksDesktop()
{
    mqcoreTesting::setLoggedIn(false);
    mqcoreTesting::setLoginOutcome(false);
    Probe<OpenProject> d;
    d.onDesktopButton();
    const QString desktop = d.m_currentDir;
    d.ui->companyYunButton->click();
    QVERIFY(d.ui->desktopButton->isChecked());
    QCOMPARE(d.m_currentDir, desktop);
    QVERIFY(m_cloud->methods().isEmpty());
}

void TestCloudBrowse::loginAcceptedEntersTheCloud()
{
    mqcoreTesting::setLoggedIn(false);
    ScriptedLogin login;
    osgiTesting::setService(&login);
    Probe<OpenProject> d;
    d.onPersonYunButton();
    QCOMPARE(login.calls, 1);
    QCOMPARE(m_cloud->methods(), QStringList{"personcloudgetfiledirforclouddisk"});
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘"));
    QCOMPARE(zFileDialog::iClickedBtn, 4);
}

void TestCloudBrowse::noLoginServiceStaysOut()
{
    mqcoreTesting::setLoggedIn(false);
    osgiTesting::setServiceAvailable(false);
    Probe<OpenProject> d;
    d.onPersonYunButton();
    QVERIFY(m_cloud->methods().isEmpty());
    QVERIFY(!zFileDialog::IsGrYunPanFile(d.m_currentDir));
}

// ---- entering and showing ------------------------------------------------------------------

void TestCloudBrowse::personalRootLevelIsShown()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    QCOMPARE(names(d.ui->tableView), (QStringList{"工程", "根.GCFX"}));
    QCOMPARE(d.ui->tableView->model(), static_cast<QAbstractItemModel*>(d.ui->yunPanProxy));
    QCOMPARE(zFileDialog::GetFilePid(), QStringLiteral("r0"));
    QCOMPARE(zFileDialog::GetQyid(), QString());
    QCOMPARE(d.ui->tableView->editTriggers(), QAbstractItemView::NoEditTriggers);
    QVERIFY(!d.ui->createFileButton->isEnabled());
    QVERIFY(d.ui->personYunButton->isChecked());
    QCOMPARE(cell(d.ui->tableView, "工程", 2), QStringLiteral("文件夹"));
    QCOMPARE(cell(d.ui->tableView, "根.GCFX", 2), QStringLiteral("GCFX 文件"));
    QVERIFY(!d.ui->tableView->model()->index(rowOf(d.ui->tableView, "工程"), 0).data(Qt::DecorationRole).isNull());
}

void TestCloudBrowse::personalTreeWithoutRootIsShownAsItComes()
{
    m_cloud->state().replies.insert(
        "personcloudgetfiledirforclouddisk",
        QJsonObject{{"code", 0},
                    {"data", QJsonObject{{"data", QJsonArray{cloudscript::folder("顶层", "t0", QJsonArray{cloudscript::file("a.GCFX", "x", 1)})}}}}});
    Probe<OpenProject> d;
    d.onPersonYunButton();
    QCOMPARE(names(d.ui->tableView), QStringList{"顶层"});
    QCOMPARE(zFileDialog::GetFilePid(), QString());
}

void TestCloudBrowse::folderSizeIsNeverShownAndSizesUseTheirUnits()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    QCOMPARE(cell(d.ui->tableView, "工程", 1), QString());
    d.ui->okButton->SetText("打开");
    choose(d, {"工程"});
    QCOMPARE(cell(d.ui->tableView, "楼.GCFX", 1), QStringLiteral("1.00 KB"));
    QCOMPARE(cell(d.ui->tableView, "小.GCFX", 1), QStringLiteral("1023.00 B"));
}

void TestCloudBrowse::idColumnsStayHiddenAfterListAndDetail()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    for (int c = 4; c < 8; ++c)
        QVERIFY(d.ui->tableView->isColumnHidden(c));
    QVERIFY(!d.ui->tableView->isColumnHidden(1));
    d.onFigureTriggered(d.ui->listAction);
    d.onFigureTriggered(d.ui->detailAction);
    for (int c = 4; c < 8; ++c)
        QVERIFY(d.ui->tableView->isColumnHidden(c));
    for (int c = 0; c < 4; ++c)
        QVERIFY(!d.ui->tableView->isColumnHidden(c));
}

void TestCloudBrowse::listRefusalShowsTheServiceMessage()
{
    m_cloud->state().replies.insert("personcloudgetfiledirforclouddisk", QJsonObject{{"code", 3}, {"msg", "服务暂停"}});
    Probe<OpenProject> d;
    d.onDocumentButton();
    const QString before = d.m_currentDir;
    d.onPersonYunButton();
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, QStringLiteral("服务暂停"));
    QCOMPARE(d.m_currentDir, before);
    QCOMPARE(zFileDialog::iClickedBtn, 2);
}

void TestCloudBrowse::enterpriseListsTheEnterprises()
{
    Probe<OpenProject> d;
    d.onCompanyYunButton();
    QCOMPARE(m_cloud->methods(), QStringList{"getenterpriselistforclouddisk"});
    QCOMPARE(names(d.ui->tableView), QStringList{"甲公司"});
    QCOMPARE(d.m_currentDir, QStringLiteral("企业云盘"));
    QCOMPARE(zFileDialog::iClickedBtn, 3);
    QCOMPARE(zFileDialog::GetFilePid(), QString());
    QCOMPARE(zFileDialog::GetQyid(), QString());
}

void TestCloudBrowse::saveDialogReadsSaveInTheCloud()
{
    zFileDialog::isIopen = false;
    Probe<SaveProject> d;
    d.ui->okButton->SetText("打开");
    d.onPersonYunButton();
    QCOMPARE(d.ui->okButton->text(), QStringLiteral("保存"));
    zFileDialog::isIopen = true;
}

// ---- moving ---------------------------------------------------------------------------------

void TestCloudBrowse::okOnFolderDescendsAndSetsIds()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    selectRow(d.ui->tableView, "工程");
    QCOMPARE(d.ui->okButton->text(), QStringLiteral("打开"));
    d.onOkButton();
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘\\工程"));
    QCOMPARE(names(d.ui->tableView), (QStringList{"小.GCFX", "楼.GCFX"}));
    QCOMPARE(zFileDialog::GetFilePid(), QStringLiteral("f1"));
    QCOMPARE(zFileDialog::GetQyid(), QString());
    QCOMPARE(d.ui->okButton->text(), QStringLiteral("确定"));
    QVERIFY(d.ui->backButton->isEnabled());
}

void TestCloudBrowse::enterpriseFolderRefusedShowsMessage()
{
    Probe<OpenProject> d;
    d.onCompanyYunButton();
    choose(d, {"甲公司", "机密"});
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, QStringLiteral("您没有进入该文件夹的权限"));
    QCOMPARE(d.m_currentDir, QStringLiteral("企业云盘\\甲公司"));
    QCOMPARE(m_cloud->methods().last(), QStringLiteral("getfiledirinenterpriseforclouddisk"));
}

void TestCloudBrowse::enterpriseFolderEnteredSetsEnterpriseId()
{
    Probe<OpenProject> d;
    d.onCompanyYunButton();
    choose(d, {"甲公司", "设计部"});
    QCOMPARE(d.m_currentDir, QStringLiteral("企业云盘\\甲公司\\设计部"));
    QCOMPARE(zFileDialog::GetFilePid(), QStringLiteral("e2"));
    QCOMPARE(zFileDialog::GetQyid(), QStringLiteral("q1"));
    const QByteArray last = SharedInterfaceTesting::cloudRequests().last();
    QVERIFY(last.contains("\"wjjid\":\"e2\",\"qyid\":\"q1\""));
}

void TestCloudBrowse::chooseEnterpriseWhenTheListIsEmpty()
{
    m_cloud->state().enterprise = QJsonArray();
    Probe<OpenProject> d;
    d.onCompanyYunButton();
    d.ui->fileNameEdit->setText("x.GCFX");
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("information"));
    QCOMPARE(lastBox().text, QStringLiteral("请选择企业"));
}

void TestCloudBrowse::backReturnsThroughCloudHistory()
{
    Probe<OpenProject> d;
    d.onDocumentButton();
    const QString documents = d.m_currentDir;
    d.onPersonYunButton();
    choose(d, {"工程"});
    d.onCompanyYunButton();
    m_cloud->clearMethods();
    d.onBackwardsButton();
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘\\工程"));
    QVERIFY(d.ui->personYunButton->isChecked());
    QCOMPARE(names(d.ui->tableView), (QStringList{"小.GCFX", "楼.GCFX"}));
    QCOMPARE(zFileDialog::GetFilePid(), QStringLiteral("f1"));
    QCOMPARE(zFileDialog::iClickedBtn, 4);
    QVERIFY(m_cloud->methods().isEmpty()); // the loaded tree answers
    d.onBackwardsButton();
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘"));
    QCOMPARE(zFileDialog::GetFilePid(), QStringLiteral("r0"));
    d.onBackwardsButton();
    QCOMPARE(d.m_currentDir, documents);
    QCOMPARE(d.ui->tableView->model(), static_cast<QAbstractItemModel*>(d.ui->localModel));
}

void TestCloudBrowse::addressBarPathResolvesAgainstTheTree()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    d.onCompanyYunButton();
    d.onDocumentButton();
    m_cloud->clearMethods();
    d.slotCurrentPathChanged(QStringLiteral("个人云盘\\工程"));
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘\\工程"));
    QCOMPARE(names(d.ui->tableView), (QStringList{"小.GCFX", "楼.GCFX"}));
    QVERIFY(d.ui->personYunButton->isChecked());
    // An enterprise folder is shown from the tree as it stands (a folder the
    // user may not enter comes without its contents); nothing is asked.
    d.slotCurrentPathChanged(QStringLiteral("企业云盘\\甲公司\\机密"));
    QCOMPARE(d.m_currentDir, QStringLiteral("企业云盘\\甲公司\\机密"));
    QCOMPARE(d.ui->tableView->model()->rowCount(), 0);
    QVERIFY(m_cloud->methods().isEmpty());
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
}

void TestCloudBrowse::refreshReloadsAndKeepsThePath()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    choose(d, {"工程"});
    QJsonArray personal = m_cloud->state().personal;
    QJsonObject project = personal.at(0).toObject();
    QJsonArray children = project.value("xjdata").toArray();
    children.append(cloudscript::file("新.GCFX", "a9", 5));
    project.insert("xjdata", children);
    personal.replace(0, project);
    m_cloud->state().personal = personal;
    m_cloud->clearMethods();
    const auto stackBefore = d.m_backStack;
    d.slotRefresh();
    QCOMPARE(m_cloud->methods(), QStringList{"personcloudgetfiledirforclouddisk"});
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘\\工程"));
    QCOMPARE(d.m_backStack, stackBefore);
    QCOMPARE(names(d.ui->tableView), (QStringList{"小.GCFX", "新.GCFX", "楼.GCFX"}));
    QCOMPARE(zFileDialog::GetFilePid(), QStringLiteral("f1"));
    // Enterprise refresh asks the enterprise list.
    d.onCompanyYunButton();
    m_cloud->clearMethods();
    d.slotRefresh();
    QCOMPARE(m_cloud->methods(), QStringList{"getenterpriselistforclouddisk"});
}

void TestCloudBrowse::refreshAfterFolderVanishedKeepsThePath()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    choose(d, {"工程"});
    const auto stackBefore = d.m_backStack;
    m_cloud->state().personal = QJsonArray{cloudscript::file("根.GCFX", "a3", 2048)};
    d.slotRefresh();
    // The level reached is shown under the path as it was; the path did not
    // change, so history is as it was.
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘\\工程"));
    QCOMPARE(d.ui->addressBar->currentPath(), QStringLiteral("个人云盘/工程"));
    QCOMPARE(names(d.ui->tableView), QStringList{"根.GCFX"});
    QCOMPARE(d.m_backStack, stackBefore);
}

void TestCloudBrowse::typeComboReappliesTheCloudListing()
{
    Probe<OpenProject> d;
    QStringList groups{"预算文件", "GCFX", "SGCFX"};
    d.onPersonYunButton();
    d.ui->yunPanModel->removeRows(0, d.ui->yunPanModel->rowCount());
    d.currentFilterIndexChanged(0);
    QCOMPARE(names(d.ui->tableView), (QStringList{"工程", "根.GCFX"}));
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘"));
}

void TestCloudBrowse::typeComboInALocalFolderRefillsOnlyTheCloudModel()
{
    QVERIFY(QDir(m_home.path()).mkpath(QStringLiteral("Documents")));
    QFile project(m_home.path() + QStringLiteral("/Documents/本地.GCFX"));
    QVERIFY(project.open(QIODevice::WriteOnly));
    project.close();
    Probe<OpenProject> d;
    QStringList groups{"预算文件", "GCFX"};
    d.initFilterSuffix(&groups, 1);
    d.onPersonYunButton();
    choose(d, {"工程"});
    d.onDocumentButton();
    const QString documents = d.m_currentDir;
    QCOMPARE(d.ui->tableView->model(), static_cast<QAbstractItemModel*>(d.ui->localModel));
    const QStringList localRows = names(d.ui->tableView);
    QVERIFY(localRows.contains(QStringLiteral("本地.GCFX")));
    const auto stackBefore = d.m_backStack;
    d.ui->yunPanModel->removeRows(0, d.ui->yunPanModel->rowCount());
    m_cloud->clearMethods();

    d.currentFilterIndexChanged(0);
    // The last cloud listing is applied again to the cloud model, which is
    // not on screen; nothing is asked of the cloud.
    QCOMPARE(d.ui->yunPanModel->rowCount(), 2);
    QVERIFY(m_cloud->methods().isEmpty());
    // The local view is as it was.
    QCOMPARE(d.ui->tableView->model(), static_cast<QAbstractItemModel*>(d.ui->localModel));
    QCOMPARE(names(d.ui->tableView), localRows);
    QCOMPARE(d.ui->stackedWidget->currentIndex(), 0);
    QVERIFY(d.ui->tableView->editTriggers() != QAbstractItemView::NoEditTriggers);
    QCOMPARE(d.m_currentDir, documents);
    QCOMPARE(d.m_backStack, stackBefore);
    // The address bar is set again, to the folder shown.
    QCOMPARE(d.ui->addressBar->currentPath(), documents);
}

void TestCloudBrowse::renameHookWritesTheNameIntoTheLevel()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    const int row = rowOf(d.ui->tableView, "根.GCFX");
    const QModelIndex source = d.ui->yunPanProxy->mapToSource(d.ui->tableView->model()->index(row, 0));
    QVERIFY(d.ui->yunPanModel->setData(source, QStringLiteral("改名.GCFX"), Qt::EditRole));
    bool found = false;
    for (const QJsonValue& v : d.m_yunpanLevel)
        found = found || v.toObject().value("wjjmc").toString() == QStringLiteral("改名.GCFX");
    QVERIFY(found);
}

void TestCloudBrowse::currentProjectPlaceShowsTheCloudFolder()
{
    Probe<OpenProject> d;
    d.onDocumentButton();
    // The host's open project lives in the personal cloud.
    d.m_currentProjectDir = QStringLiteral("个人云盘\\工程\\楼.GCFX");
    d.ui->currentProjectButton->setEnabled(true);
    d.ui->currentProjectButton->click();
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘\\工程"));
    QCOMPARE(d.ui->tableView->model(), static_cast<QAbstractItemModel*>(d.ui->yunPanProxy));
    QCOMPARE(names(d.ui->tableView), (QStringList{"小.GCFX", "楼.GCFX"}));
    QCOMPARE(zFileDialog::iClickedBtn, 6);
}

void TestCloudBrowse::lastCloudPlaceIsRestoredWhenTheDialogOpens()
{
    zFileDialog::iClickedBtn = 4;
    whenDialogShows([](zFileDialog* d) {
        QCOMPARE(d->currentDirectory(), QStringLiteral("个人云盘"));
        QCOMPARE(child<QTableView>(d, "FileDialog")->model()->rowCount(), 2);
        d->onCancelButton();
    });
    QStringList groups{"预算文件", "GCFX"};
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_home.path(), &groups, 1, QString(), false, QString(), true),
             QString());
    zFileDialog::iClickedBtn = 3;
    whenDialogShows([](zFileDialog* d) {
        QCOMPARE(d->currentDirectory(), QStringLiteral("企业云盘"));
        d->onCancelButton();
    });
    zFileDialog::getOpenFileName(nullptr, m_home.path(), &groups, 1, QString(), false, QString(), true);
}

void TestCloudBrowse::openModesThreeAndFourRestoreTheLastPlace_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("place");
    QTest::addColumn<QString>("shown");
    QTest::newRow("mode 3, personal cloud") << 3 << 4 << QStringLiteral("个人云盘");
    QTest::newRow("mode 4, personal cloud") << 4 << 4 << QStringLiteral("个人云盘");
    QTest::newRow("mode 3, enterprise cloud") << 3 << 3 << QStringLiteral("企业云盘");
    QTest::newRow("mode 4, enterprise cloud") << 4 << 3 << QStringLiteral("企业云盘");
}

void TestCloudBrowse::openModesThreeAndFourRestoreTheLastPlace()
{
    QFETCH(int, mode);
    QFETCH(int, place);
    QFETCH(QString, shown);
    // These modes start in the last folder, then come back to the cloud
    // used last, as every open dialog does.
    zFileDialog::SetCurrentPath(m_home.path());
    zFileDialog::iClickedBtn = place;
    QString seen;
    whenDialogShows([&seen](zFileDialog* d) {
        seen = d->currentDirectory();
        d->onCancelButton();
    });
    QStringList groups{"预算文件", "GCFX"};
    zFileDialog::getOpenFileName(nullptr, m_home.path(), &groups, 1, QString(), false, QString(), true,
                                 OpenFileType(mode));
    QCOMPARE(seen, shown);
}

// ---- accepting -----------------------------------------------------------------------------------

void TestCloudBrowse::localPathOkDoesNothing()
{
    Probe<OpenProject> d;
    d.onDocumentButton();
    d.ui->fileNameEdit->setText("x.GCFX");
    d.zFileDialog::onOkButton();
    QVERIFY(m_cloud->methods().isEmpty());
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
    QCOMPARE(d.resultPath(), QString());
}

void TestCloudBrowse::otherOkTextDoesNothing()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    m_cloud->clearMethods();
    d.ui->fileNameEdit->setText("根.GCFX");
    d.ui->okButton->SetText("选择");
    d.onOkButton();
    QVERIFY(m_cloud->methods().isEmpty());
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
}

void TestCloudBrowse::singleSegmentDoesNotExist()
{
    QVERIFY(!zFileDialog::getYunPanFileIsExit({"根.GCFX"}, QJsonArray{cloudscript::file("根.GCFX", "a3", 1)}));
    QVERIFY(zFileDialog::getYunPanFileIsExit({"个人云盘", "根.GCFX"}, QJsonArray{cloudscript::file("根.GCFX", "a3", 1)}));
    QVERIFY(zFileDialog::IsGrYunPanFile("个人云盘\\a"));
    QVERIFY(zFileDialog::IsGrYunPanFile("\\个人云盘"));
    QVERIFY(!zFileDialog::IsGrYunPanFile("企业云盘\\a"));
    QVERIFY(zFileDialog::IsQyYunPanFile("企业云盘"));
    QVERIFY(!zFileDialog::IsQyYunPanFile("/home/企业云盘"));
}

void TestCloudBrowse::typedNameWithoutSelectionOpensTheFile()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    d.ui->fileNameEdit->setText("根.GCFX");
    m_cloud->state().contents.insert("dl/a3", "root bytes");
    d.onOkButton();
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/根.GCFX");
    QCOMPARE(d.resultPath(), staged);
    QCOMPARE(contentOf(staged), QByteArray("root bytes"));
    QCOMPARE(zFileDialog::GetFilePath(), QStringLiteral("个人云盘\\根.GCFX"));
}

void TestCloudBrowse::typedUnknownNameShowsNotExist()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    d.ui->fileNameEdit->setText("无.GCFX");
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, QStringLiteral("工程文件不存在"));
    QCOMPARE(d.resultPath(), QString());
}

void TestCloudBrowse::fileGoneFromFreshTreeShowsNotExist()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    selectRow(d.ui->tableView, "根.GCFX");
    m_cloud->state().personal = QJsonArray();
    d.onOkButton();
    QCOMPARE(lastBox().text, QStringLiteral("工程文件不存在"));
    QVERIFY(!m_cloud->methods().contains("isexistlocalsamenamefile"));
}

void TestCloudBrowse::enterpriseFileRefusedWithNoDownloadIsAWarning()
{
    Probe<OpenProject> d;
    d.onCompanyYunButton();
    choose(d, {"甲公司", "只读.GCFZ"});
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, QStringLiteral("该文件只能查看，无法下载"));
    QVERIFY(SharedInterfaceTesting::cloudRequests().last().contains("\"qyid\":\"q1\",\"wjjid\":\"b2\""));
    QCOMPARE(d.resultPath(), QString());
}

void TestCloudBrowse::enterpriseFileRefusedOtherwiseIsInformation()
{
    Probe<OpenProject> d;
    d.onCompanyYunButton();
    choose(d, {"甲公司", "禁看.GCFZ"});
    QCOMPARE(lastBox().kind, QStringLiteral("information"));
    QCOMPARE(lastBox().text, QStringLiteral("您没有查看该文件的权限"));
}

void TestCloudBrowse::listRequestsAreSentTwiceBeforeDownloading()
{
    Probe<OpenProject> d;
    d.onCompanyYunButton();
    choose(d, {"甲公司", "设计部"});
    selectRow(d.ui->tableView, "图.GCFZ");
    m_cloud->clearMethods();
    d.onOkButton();
    QCOMPARE(m_cloud->methods(),
             (QStringList{"getenterpriselistforclouddisk", "getenterpriselistforclouddisk",
                          "enterprisejudgmentauthopenfileforclouddisk", "isexistlocalsamenamefile",
                          "personclouddownloadfileforclouddisk"}));
    // A refusal of the status request stops before the second one.
    Probe<OpenProject> p;
    p.onPersonYunButton();
    selectRow(p.ui->tableView, "根.GCFX");
    m_cloud->state().replies.insert("personcloudgetfiledirforclouddisk", QJsonObject{{"code", 9}, {"msg", "忙"}});
    m_cloud->clearMethods();
    p.onOkButton();
    QCOMPARE(m_cloud->methods(), QStringList{"personcloudgetfiledirforclouddisk"});
    QCOMPARE(lastBox().text, QStringLiteral("忙"));
}

void TestCloudBrowse::emptyDownloadPathIsRefused()
{
    m_cloud->state().filPathOverride = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/ .GCFX");
    Probe<OpenProject> d;
    d.onPersonYunButton();
    choose(d, {"根.GCFX"});
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, QStringLiteral("文件名不能为空"));
    QVERIFY(!m_cloud->methods().contains("personclouddownloadfileforclouddisk"));
}

void TestCloudBrowse::downloadOutsideTheStagingTreeIsRefused()
{
    const QString outside = m_app->path() + QStringLiteral("/victim.GCFX");
    m_cloud->state().filPathOverride = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/../../../../victim.GCFX");
    m_cloud->state().contents.insert("dl/a3", "evil");
    Probe<OpenProject> d;
    d.onPersonYunButton();
    choose(d, {"根.GCFX"});
    QCOMPARE(lastBox().text, QStringLiteral("下载失败"));
    QVERIFY(!m_cloud->methods().contains("personclouddownloadfileforclouddisk"));
    QVERIFY(!QFile::exists(outside));
    QCOMPARE(d.resultPath(), QString());
}

void TestCloudBrowse::downloadFailureShowsDownloadFailed()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    selectRow(d.ui->tableView, "根.GCFX"); // no contents: the service refuses
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("information"));
    QCOMPARE(lastBox().text, QStringLiteral("下载失败"));
    QCOMPARE(d.resultPath(), QString());
    QCOMPARE(zFileDialog::GetFilePath(), QString());
}

void TestCloudBrowse::progressRisesThenHundredThenHundredAndOne()
{
    Probe<OpenProject> d;
    d.onPersonYunButton();
    choose(d, {"工程", "楼.GCFX"});
    QCOMPARE(zControlTesting::progressTitles(), QStringList{"提示"});
    const QList<int> values = zControlTesting::progressValues();
    QVERIFY2(values.size() >= 5, qPrintable(QString::number(values.size())));
    QCOMPARE(values.at(values.size() - 2), 100);
    QCOMPARE(values.last(), 101);
    for (int i = 1; i < values.size() - 2; ++i) {
        QVERIFY(values.at(i) > values.at(i - 1));
        QVERIFY(values.at(i) <= 99);
    }
}

// ---- end to end ------------------------------------------------------------------------------------

void TestCloudBrowse::openPersonalProjectEndToEnd()
{
    whenDialogShows([](zFileDialog* d) {
        child<zBaseButton>(d, "personYun_button")->click();
        auto* table = child<QTableView>(d, "FileDialog");
        const QRect folder = table->visualRect(table->model()->index(rowOf(table, "工程"), 0));
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, folder.center());
        QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, folder.center());
        const QRect file = table->visualRect(table->model()->index(rowOf(table, "楼.GCFX"), 0));
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, file.center());
        QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, file.center());
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups{"预算文件", "GCFX"};
    const QString result =
        zFileDialog::getOpenFileName(nullptr, m_home.path(), &groups, 1, QString(), false, QString(), true);
    QCOMPARE(result, m_cloud->stagingRoot() + QStringLiteral("/个人云盘/工程/楼.GCFX"));
    QCOMPARE(contentOf(result), QByteArray("personal project bytes"));
    QCOMPARE(zFileDialog::GetFilePath(), QStringLiteral("个人云盘\\工程\\楼.GCFX"));
    QCOMPARE(zFileDialog::iClickedBtn, 4);
    QCOMPARE(SharedInterfaceTesting::usageCalls(), (QStringList{"UseFunc 11001 ", "EndUseFun 11001 "}));
}

void TestCloudBrowse::openEnterpriseProjectEndToEnd()
{
    whenDialogShows([](zFileDialog* d) {
        child<zBaseButton>(d, "companyYun_button")->click();
        auto* table = child<QTableView>(d, "FileDialog");
        for (const char* step : {"甲公司", "设计部"}) {
            const QRect r = table->visualRect(table->model()->index(rowOf(table, QString::fromUtf8(step)), 0));
            QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, r.center());
            QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, r.center());
        }
        selectRow(table, "图.GCFZ");
        QTest::keyClick(table, Qt::Key_Return);
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups{"总包", "GCFZ"};
    const QString result =
        zFileDialog::getOpenFileName(nullptr, m_home.path(), &groups, 1, QString(), false, QString(), true);
    QCOMPARE(contentOf(result), QByteArray("enterprise project bytes"));
    QCOMPARE(zFileDialog::GetFilePath(), QStringLiteral("企业云盘\\甲公司\\设计部\\图.GCFZ"));
    QCOMPARE(zFileDialog::iClickedBtn, 3);
}

void TestCloudBrowse::closingDuringSlowDownloadStillReturnsTheProject_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("escape") << QStringLiteral("escape");
    QTest::newRow("cancel button") << QStringLiteral("cancel");
    QTest::newRow("close button") << QStringLiteral("close");
}

void TestCloudBrowse::closingDuringSlowDownloadStillReturnsTheProject()
{
    QFETCH(QString, how);
    m_cloud->state().downloadDelayMs = 2000;
    zControlTesting::setProgressScripted(false);
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/工程/楼.GCFX");
    // A timer on the user-interface thread: its largest gap during the
    // download tells whether the window kept painting.
    QElapsedTimer clock;
    qint64 last = -1;
    qint64 widest = 0;
    QTimer beat;
    QObject::connect(&beat, &QTimer::timeout, [&] {
        // Measured from the first beat: before it the handler is still
        // asking the cloud on this thread, as designed.
        const qint64 now = clock.elapsed();
        if (last >= 0)
            widest = qMax(widest, now - last);
        last = now;
    });
    bool hiddenWhileBusy = false;
    whenDialogShows([&](zFileDialog* d) {
        child<zBaseButton>(d, "personYun_button")->click();
        auto* table = child<QTableView>(d, "FileDialog");
        selectRow(table, "工程");
        d->onOkButton();
        selectRow(table, "楼.GCFX");
        QTimer::singleShot(300, d, [&, d, table] {
            QTest::keyClick(table, Qt::Key_Return); // a second accept
            if (how == QLatin1String("escape"))
                QTest::keyClick(d, Qt::Key_Escape);
            else if (how == QLatin1String("cancel"))
                child<QAbstractButton>(d, "cancel_button")->click();
            else
                child<QAbstractButton>(d, "close_button")->click();
            hiddenWhileBusy = !d->isVisible();
            QTest::keyClick(table, Qt::Key_Return); // and one after the close
        });
        clock.start();
        beat.start(20);
        QTest::keyClick(table, Qt::Key_Return);
        beat.stop();
    });
    QStringList groups{"预算文件", "GCFX"};
    const QString result =
        zFileDialog::getOpenFileName(nullptr, m_home.path(), &groups, 1, QString(), false, QString(), true);
    // The download cannot be cancelled: the window closed at once, and the
    // copy that arrived is the answer.
    QVERIFY(hiddenWhileBusy);
    QCOMPARE(result, staged);
    QCOMPARE(contentOf(result), QByteArray("personal project bytes"));
    QCOMPARE(m_cloud->methods().count("personclouddownloadfileforclouddisk"), 1);
    // The download takes two seconds: a loop that stopped painting would
    // leave a gap of about that; a busy machine stretches a live one a little.
    QVERIFY2(widest > 0 && widest < 1000, qPrintable(QString::number(widest)));
    QCOMPARE(zFileDialog::GetFilePath(), QStringLiteral("个人云盘\\工程\\楼.GCFX"));
    QCOMPARE(zFileDialog::iClickedBtn, 4);
}

void TestCloudBrowse::dialogDeletedDuringDownloadLeavesQuietly()
{
    m_cloud->state().downloadDelayMs = 1000;
    zControlTesting::setProgressScripted(false);
    auto* d = new Probe<OpenProject>;
    QPointer<QWidget> alive(d);
    d->onPersonYunButton();
    choose(*d, {"工程"});
    selectRow(d->ui->tableView, "楼.GCFX");
    // The dialog's owner goes while the progress loop runs.
    QTimer::singleShot(300, [d] { delete d; });
    d->onOkButton();
    QVERIFY(!alive);
    QCOMPARE(m_cloud->methods().count("personclouddownloadfileforclouddisk"), 1);
    QCOMPARE(zFileDialog::GetFilePath(), QString());
}

QTEST_MAIN(TestCloudBrowse)
#include "tst_cloudbrowse.moc"
