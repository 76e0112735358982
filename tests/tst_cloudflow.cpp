// The order of things in the cloud places, through a scripted cloud: the
// table turns read-only before a list is asked for, the recent flag is left
// to the places that own it, cloud paths are resolved without asking the
// cloud, an open follows one file name from the existence test to the
// cloud path it remembers, and the folder id after opening a project.
#include "cloudscript.h"
#include "dialogsupport.h"
#include "testsupport.h"

#include "dialogs/OpenProject.h"
#include "fileModelLocal.h"
#include "zBaseButton.h"
#include "zBaseLineEdit.h"
#include "zControlTesting.h"
#include "zFileDialogUi.h"

#include <QTableView>
#include <QtTest>

using namespace dialogsupport;
using namespace testsupport;
using namespace cloudscript;

namespace {

class Probe : public OpenProject
{
public:
    using zFileDialog::m_currentDir;
    using zFileDialog::m_isRecent;
    using zFileDialog::ui;
};

// The requests of one method, as sent.
QList<QByteArray> requestsOf(const char* method)
{
    QList<QByteArray> out;
    for (const QByteArray& r : SharedInterfaceTesting::cloudRequests()) {
        if (r.contains(QByteArray("\"method\":\"") + method + '"'))
            out << r;
    }
    return out;
}

} // namespace

class TestCloudFlow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void tableIsReadOnlyBeforeTheListIsAskedFor_data();
    void tableIsReadOnlyBeforeTheListIsAskedFor();
    void recentFlagLivesThroughTheCloud();
    void cloudPathsResolveAgainstTheLoadedTreeWithoutRequests();
    void cloudNeverEnteredResolvesAgainstAnEmptyTree();
    void openFollowsTheSelectedRowsName();
    void openTestsTheSelectedRowNotTheTypedName();
    void openingFromASubFolderKeepsThatFoldersId();

private:
    QTemporaryDir m_home;
    AppDir* m_app = nullptr;
    cloudscript::Cloud* m_cloud = nullptr;
};

void TestCloudFlow::initTestCase()
{
    cloudscript::useHome(m_home);
}

void TestCloudFlow::init()
{
    m_app = new AppDir;
    cloudscript::resetHost(true);
    m_cloud = new cloudscript::Cloud(m_app->path(), QStringLiteral("1024"));
}

void TestCloudFlow::cleanup()
{
    delete m_cloud;
    m_cloud = nullptr;
    delete m_app;
    m_app = nullptr;
    cloudscript::releaseHost();
}

void TestCloudFlow::tableIsReadOnlyBeforeTheListIsAskedFor_data()
{
    QTest::addColumn<bool>("personal");
    QTest::newRow("personal") << true;
    QTest::newRow("enterprise") << false;
}

void TestCloudFlow::tableIsReadOnlyBeforeTheListIsAskedFor()
{
    QFETCH(bool, personal);
    const char* method = personal ? "personcloudgetfiledirforclouddisk" : "getenterpriselistforclouddisk";
    m_cloud->state().replies.insert(method, QJsonObject{{"code", 3}, {"msg", "服务暂停"}});
    Probe d;
    d.onDocumentButton();
    const QString documents = d.m_currentDir;
    QCOMPARE(d.ui->tableView->editTriggers(),
             QAbstractItemView::EditTriggers(QAbstractItemView::SelectedClicked | QAbstractItemView::EditKeyPressed));
    personal ? d.onPersonYunButton() : d.onCompanyYunButton();
    QCOMPARE(lastBox().text, QStringLiteral("服务暂停"));
    // Read-only since before the request; the rows are the ones there were.
    QCOMPARE(d.ui->tableView->editTriggers(), QAbstractItemView::EditTriggers(QAbstractItemView::NoEditTriggers));
    QVERIFY(d.ui->tableView->isVisibleTo(&d));
    QCOMPARE(d.ui->tableView->model(), static_cast<QAbstractItemModel*>(d.ui->localModel));
    QCOMPARE(d.m_currentDir, documents);
    QCOMPARE(zFileDialog::GetFilePid(), QString());
    QCOMPARE(zFileDialog::GetQyid(), QString());
}

void TestCloudFlow::recentFlagLivesThroughTheCloud()
{
    Probe d;
    d.onDocumentButton();
    d.slotBtnRecentClicked();
    QVERIFY(d.m_isRecent);
    QVERIFY(d.ui->localModel->showPathColumn());
    // Entering a cloud, moving in it and refreshing leave the flag and the
    // path column as the recent place set them.
    d.onPersonYunButton();
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘"));
    QVERIFY(d.m_isRecent);
    QVERIFY(d.ui->localModel->showPathColumn());
    choose(d, {"工程"});
    d.slotRefresh();
    d.onCompanyYunButton();
    d.slotCurrentPathChanged(QStringLiteral("个人云盘\\工程"));
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘\\工程"));
    QVERIFY(d.m_isRecent);
    QVERIFY(d.ui->localModel->showPathColumn());
    // The cloud table itself has no path column to make room for.
    QCOMPARE(d.ui->tableView->columnWidth(1), 96);
    // A local place clears both.
    d.onDocumentButton();
    QVERIFY(!d.m_isRecent);
    QVERIFY(!d.ui->localModel->showPathColumn());
}

void TestCloudFlow::cloudPathsResolveAgainstTheLoadedTreeWithoutRequests()
{
    Probe d;
    d.onPersonYunButton();
    d.onCompanyYunButton();
    d.onDocumentButton();
    m_cloud->clearMethods();
    d.slotCurrentPathChanged(QStringLiteral("个人云盘\\工程"));
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘\\工程"));
    QCOMPARE(names(d.ui->tableView), (QStringList{"小.GCFX", "楼.GCFX"}));
    QCOMPARE(zFileDialog::GetFilePid(), QStringLiteral("f1"));
    // An enterprise folder is reached in the tree as it stands; no access
    // request is made on the way.
    d.slotCurrentPathChanged(QStringLiteral("企业云盘\\甲公司\\设计部"));
    QCOMPARE(d.m_currentDir, QStringLiteral("企业云盘\\甲公司\\设计部"));
    QCOMPARE(names(d.ui->tableView), QStringList{"图.GCFZ"});
    QCOMPARE(zFileDialog::GetQyid(), QStringLiteral("q1"));
    d.onBackwardsButton();
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘\\工程"));
    QVERIFY(m_cloud->methods().isEmpty());
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
}

void TestCloudFlow::cloudNeverEnteredResolvesAgainstAnEmptyTree()
{
    Probe d;
    d.onDocumentButton();
    m_cloud->clearMethods();
    d.slotCurrentPathChanged(QStringLiteral("个人云盘\\工程"));
    QVERIFY(m_cloud->methods().isEmpty());
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘"));
    QCOMPARE(d.ui->tableView->model()->rowCount(), 0);
    QVERIFY(d.ui->personYunButton->isChecked());
    QCOMPARE(zFileDialog::iClickedBtn, 4);
}

void TestCloudFlow::openFollowsTheSelectedRowsName()
{
    Probe d;
    d.onPersonYunButton();
    choose(d, {"工程"});
    selectRow(d.ui->tableView, "楼.GCFX");
    // The field edited to another file that exists after the row was chosen.
    d.ui->fileNameEdit->setText(QStringLiteral("小.GCFX"));
    d.onOkButton();
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/工程/楼.GCFX");
    QCOMPARE(d.resultPath(), staged);
    QCOMPARE(contentOf(staged), QByteArray("personal project bytes"));
    QCOMPARE(zFileDialog::GetFilePath(), QStringLiteral("个人云盘\\工程\\楼.GCFX"));
    const QList<QByteArray> asked = requestsOf("isexistlocalsamenamefile");
    QCOMPARE(asked.size(), 1);
    QVERIFY2(asked.first().contains(QStringLiteral("\"fileName\":\"楼.GCFX\"").toUtf8()), asked.first().constData());
    QVERIFY(!QFile::exists(m_cloud->stagingRoot() + QStringLiteral("/个人云盘/工程/小.GCFX")));
}

void TestCloudFlow::openTestsTheSelectedRowNotTheTypedName()
{
    Probe d;
    d.onPersonYunButton();
    choose(d, {"工程"});
    selectRow(d.ui->tableView, "楼.GCFX");
    d.ui->fileNameEdit->setText(QStringLiteral("小.GCFX"));
    // The chosen row's file goes from the cloud; the typed one is still there.
    QJsonArray personal = m_cloud->state().personal;
    QJsonObject project = personal.at(0).toObject();
    project.insert("xjdata", QJsonArray{cloudscript::file("小.GCFX", "a2", 1023)});
    personal.replace(0, project);
    m_cloud->state().personal = personal;
    m_cloud->clearMethods();
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, QStringLiteral("工程文件不存在"));
    QVERIFY(!m_cloud->methods().contains("isexistlocalsamenamefile"));
    QVERIFY(!m_cloud->methods().contains("personclouddownloadfileforclouddisk"));
    QCOMPARE(d.resultPath(), QString());
    QCOMPARE(zFileDialog::GetFilePath(), QString());
}

void TestCloudFlow::openingFromASubFolderKeepsThatFoldersId()
{
    // The accept handler unwraps the personal root of its fresh tree but
    // leaves the folder id alone: a later save goes back to this folder.
    Probe d;
    d.onPersonYunButton();
    QCOMPARE(zFileDialog::GetFilePid(), QStringLiteral("r0"));
    choose(d, {"工程", "楼.GCFX"});
    QCOMPARE(d.resultPath(), m_cloud->stagingRoot() + QStringLiteral("/个人云盘/工程/楼.GCFX"));
    QCOMPARE(zFileDialog::GetFilePid(), QStringLiteral("f1"));
    QCOMPARE(zFileDialog::GetQyid(), QString());
}

QTEST_MAIN(TestCloudFlow)
#include "tst_cloudflow.moc"
