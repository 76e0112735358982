// The dialog against the real cloud-disk service, embedded in this process
// with its data under the application directory: login, browsing both
// clouds, opening and saving projects, the service's refusals, and cloud
// names that are no file names.
#include "cloudfixture.h"
#include "clouddisksupport.h"
#include "cloudscript.h"
#include "dialogsupport.h"
#include "testsupport.h"

#include "FirstPageService.h"
#include "cloud/cloudnames.h"
#include "HostServices.h"
#include "Users.h"
#include "dialogs/OpenProject.h"
#include "dialogs/SaveProject.h"
#include "zBaseButton.h"
#include "zBaseLineEdit.h"
#include "zFileDialogUi.h"

#include <QDirIterator>
#include <QTableView>
#include <QtTest>

using namespace dialogsupport;
using namespace testsupport;
using cloudscript::choose;
using cloudscript::contentOf;
using cloudscript::lastBox;
using cloudscript::names;
using cloudscript::rowOf;
using cloudscript::selectRow;

namespace {

template <typename Base>
class Probe : public Base
{
public:
    using zFileDialog::m_currentDir;
    using zFileDialog::ui;
};

// Every file under root outside the service's own data and the host log.
QMap<QString, QByteArray> localFiles(const QString& root)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString rel = QDir(root).relativeFilePath(it.next());
        if (!rel.startsWith(QLatin1String("clouddisk/")) && !rel.startsWith(QLatin1String("log/")))
            files.insert(rel, contentOf(root + QLatin1Char('/') + rel));
    }
    return files;
}

} // namespace

class TestCloudDiskDialog : public QObject, cloudfixture::CloudDialogFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void loginRefusedThenAccepted();
    void browseBothCloudsRefreshAndBack();
    void openPersonalProject();
    void openEnterpriseProject();
    void enterpriseFolderRefused();
    void downloadRefused();
    void saveNewProjectAndUpload();
    void overwriteAnsweredBothWays();
    void uploadRefusedByTheServiceRecoversTheProject();
    void uploadNameThatTurnsTheTextAroundIsRefusedWithTheReason();
    void hostileNamesStayInsideTheStagingTree();

private:
    void signIn(const QString& name, const QString& password);
    QString stagingRoot() const;

    cloudsupport::Cloud* m_cloud = nullptr;
};

void TestCloudDiskDialog::initTestCase()
{
    useHome();
}

void TestCloudDiskDialog::init()
{
    startHost(true);
    mqcoreTesting::reset(); // signed out: the tests sign in against the service
    // The embedded service of the host channel keeps its data here.
    m_cloud = new cloudsupport::Cloud(m_app->path() + QStringLiteral("/clouddisk"));
}

void TestCloudDiskDialog::cleanup()
{
    ServicesUtil::CloudLogout();
    delete m_cloud;
    m_cloud = nullptr;
    stopHost();
}

void TestCloudDiskDialog::signIn(const QString& name, const QString& password)
{
    QString why;
    QVERIFY2(osgi::SignIn(name, password, &why), qPrintable(why));
}

QString TestCloudDiskDialog::stagingRoot() const
{
    return pfd::cloud::stagingUserFolder(m_app->path(), Users::Instance()->Mqy()->UserID);
}

void TestCloudDiskDialog::loginRefusedThenAccepted()
{
    osgiTesting::setLoginCredentials(QStringLiteral("bob"), QStringLiteral("wrong"));
    Probe<OpenProject> d;
    d.onDocumentButton();
    d.ui->personYunButton->click();
    QVERIFY(d.ui->documentButton->isChecked());
    QVERIFY(!zFileDialog::IsGrYunPanFile(d.m_currentDir));
    osgiTesting::setLoginCredentials(QStringLiteral("bob"), QStringLiteral("bob-pw"));
    d.ui->personYunButton->click();
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘"));
    QCOMPARE(names(d.ui->tableView), QStringList{"b.GCFG"});
    QCOMPARE(Users::Instance()->Mqy()->UserID, QString::number(m_cloud->bob));
}

void TestCloudDiskDialog::browseBothCloudsRefreshAndBack()
{
    signIn("bob", "bob-pw");
    Probe<OpenProject> d;
    d.onPersonYunButton();
    QCOMPARE(names(d.ui->tableView), QStringList{"b.GCFG"});
    QCOMPARE(zFileDialog::GetFilePid(), QString::number(m_cloud->bobRoot));
    d.onCompanyYunButton();
    QCOMPARE(names(d.ui->tableView), (QStringList{"乙公司", "甲公司"}));
    choose(d, {"甲公司"});
    QCOMPARE(d.m_currentDir, QStringLiteral("企业云盘\\甲公司"));
    QCOMPARE(names(d.ui->tableView), (QStringList{"保密", "工程"}));
    QCOMPARE(zFileDialog::GetQyid(), QString::number(m_cloud->jia));
    choose(d, {"工程"});
    QCOMPARE(names(d.ui->tableView), (QStringList{"g.GCFG", "only-view.GCFG"}));
    m_cloud->put(m_cloud->project, "new.GCFG", "fresh");
    d.slotRefresh();
    QCOMPARE(d.m_currentDir, QStringLiteral("企业云盘\\甲公司\\工程"));
    QCOMPARE(names(d.ui->tableView), (QStringList{"g.GCFG", "new.GCFG", "only-view.GCFG"}));
    d.onBackwardsButton();
    QCOMPARE(d.m_currentDir, QStringLiteral("企业云盘\\甲公司"));
    d.onBackwardsButton();
    QCOMPARE(d.m_currentDir, QStringLiteral("企业云盘"));
    d.onBackwardsButton();
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘"));
    QVERIFY(d.ui->personYunButton->isChecked());
    QCOMPARE(names(d.ui->tableView), QStringList{"b.GCFG"});
}

void TestCloudDiskDialog::openPersonalProject()
{
    osgiTesting::setLoginCredentials(QStringLiteral("alice"), QStringLiteral("alice-pw"));
    whenDialogShows([](zFileDialog* d) {
        child<zBaseButton>(d, "personYun_button")->click();
        auto* table = child<QTableView>(d, "FileDialog");
        selectRow(table, "设计");
        d->onOkButton();
        selectRow(table, "a.GCFG");
        QTest::keyClick(table, Qt::Key_Return);
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups{"概算", "GCFG"};
    const QString result =
        zFileDialog::getOpenFileName(nullptr, m_home.path(), &groups, 1, QString(), false, QString(), true);
    QCOMPARE(result, stagingRoot() + QStringLiteral("/个人云盘/设计/a.GCFG"));
    QCOMPARE(contentOf(result), QByteArray("alice's a"));
    QCOMPARE(zFileDialog::GetFilePath(), QStringLiteral("个人云盘\\设计\\a.GCFG"));
}

void TestCloudDiskDialog::openEnterpriseProject()
{
    signIn("bob", "bob-pw");
    Probe<OpenProject> d;
    d.onCompanyYunButton();
    choose(d, {"甲公司", "工程", "g.GCFG"});
    QCOMPARE(d.resultPath(), stagingRoot() + QStringLiteral("/企业云盘/甲公司/工程/g.GCFG"));
    QCOMPARE(contentOf(d.resultPath()), QByteArray("jia g"));
    QCOMPARE(zFileDialog::iClickedBtn, 3);
}

void TestCloudDiskDialog::enterpriseFolderRefused()
{
    signIn("bob", "bob-pw");
    Probe<OpenProject> d;
    d.onCompanyYunButton();
    choose(d, {"甲公司", "保密"});
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QVERIFY(!lastBox().text.isEmpty());
    QCOMPARE(d.m_currentDir, QStringLiteral("企业云盘\\甲公司"));
}

void TestCloudDiskDialog::downloadRefused()
{
    signIn("bob", "bob-pw");
    Probe<OpenProject> d;
    d.onCompanyYunButton();
    choose(d, {"甲公司", "工程", "only-view.GCFG"});
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QVERIFY2(lastBox().text.contains(QStringLiteral("无法下载")), qPrintable(lastBox().text));
    QCOMPARE(d.resultPath(), QString());
    QVERIFY(!QFile::exists(stagingRoot() + QStringLiteral("/企业云盘/甲公司/工程/only-view.GCFG")));
}

void TestCloudDiskDialog::saveNewProjectAndUpload()
{
    signIn("alice", "alice-pw");
    zFileDialog::isIopen = false;
    Probe<SaveProject> d;
    d.onPersonYunButton();
    choose(d, {"设计"});
    d.ui->tableView->clearSelection();
    d.ui->fileNameEdit->setText(QStringLiteral("新.GCFG"));
    d.onOkButton();
    const QString staged = d.resultPath();
    QCOMPARE(staged, stagingRoot() + QStringLiteral("/个人云盘/设计/新.GCFG"));
    {
        QFile f(staged);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("the new project");
    }
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(lastBox().text, QStringLiteral("保存云文件成功！"));
    QVERIFY(!QFile::exists(staged));
    QCOMPARE(zFileDialog::GetFilePath(), QString());
    const qint64 node = m_cloud->service->childId(m_cloud->design, QStringLiteral("新.GCFG"));
    QVERIFY(node > 0);
    // Opened again, it has the bytes saved.
    zFileDialog::isIopen = true;
    Probe<OpenProject> o;
    o.onPersonYunButton();
    choose(o, {"设计", "新.GCFG"});
    QCOMPARE(contentOf(o.resultPath()), QByteArray("the new project"));
}

void TestCloudDiskDialog::overwriteAnsweredBothWays()
{
    signIn("alice", "alice-pw");
    zFileDialog::isIopen = false;
    zControlTesting::setMessageBoxAnswers({1, 0});
    Probe<SaveProject> d;
    d.onPersonYunButton();
    choose(d, {"设计"});
    d.ui->fileNameEdit->setText(QStringLiteral("a.GCFG"));
    d.onOkButton(); // declined
    QCOMPARE(lastBox().text, QStringLiteral("同名工程文件已经存在，是否覆盖？"));
    QCOMPARE(d.resultPath(), QString());
    d.onOkButton(); // accepted
    const QString staged = d.resultPath();
    QVERIFY(!staged.isEmpty());
    {
        QFile f(staged);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("alice's a, second edition");
    }
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    const QJsonArray children = m_cloud->service->subtree(m_cloud->design).value("xjdata").toArray();
    QCOMPARE(children.size(), 1);
    zFileDialog::isIopen = true;
    Probe<OpenProject> o;
    o.onPersonYunButton();
    choose(o, {"设计", "a.GCFG"});
    QCOMPARE(contentOf(o.resultPath()), QByteArray("alice's a, second edition"));
}

void TestCloudDiskDialog::uploadNameThatTurnsTheTextAroundIsRefusedWithTheReason()
{
    signIn("alice", "alice-pw");
    // Shown as "报价exe.GCFG"-like text in a shared folder, it would not be what it is.
    const QString name = QString::fromUtf8("报价\u202EGFCG.exe");
    zFileDialog::SetFilePid(QString::number(m_cloud->aliceRoot));
    zFileDialog::SetFilePath(QStringLiteral("个人云盘\\") + name);
    const QString staged = stagingRoot() + QStringLiteral("/个人云盘/") + pfd::cloud::localNameForCloudName(name);
    QDir().mkpath(QFileInfo(staged).absolutePath());
    {
        QFile f(staged);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("keep me");
    }
    QVERIFY(!zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(lastBox().text, QStringLiteral("文件名不能含有控制字符或改变文字方向的字符"));
    QCOMPARE(m_cloud->service->childId(m_cloud->aliceRoot, name), qint64(-1));
}

void TestCloudDiskDialog::uploadRefusedByTheServiceRecoversTheProject()
{
    signIn("alice", "alice-pw");
    // A folder of someone else: the service refuses the ticket.
    zFileDialog::SetFilePid(QString::number(m_cloud->bobRoot));
    zFileDialog::SetFilePath(QStringLiteral("个人云盘\\x.GCFG"));
    const QString staged = stagingRoot() + QStringLiteral("/个人云盘/x.GCFG");
    QDir().mkpath(QFileInfo(staged).absolutePath());
    {
        QFile f(staged);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("keep me");
    }
    QVERIFY(!zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(lastBox().kind, QStringLiteral("inforByOneBtn"));
    QVERIFY(lastBox().text != QStringLiteral("保存云文件成功！"));
    QVERIFY(!QFile::exists(staged));
    QCOMPARE(zFileDialog::GetFilePath(), QString());
    QDirIterator it(pfd::cloud::recoveryFolder(m_app->path(), Users::Instance()->Mqy()->UserID), QDir::Files);
    QVERIFY(it.hasNext());
    QCOMPARE(contentOf(it.next()), QByteArray("keep me"));
    QCOMPARE(m_cloud->service->childId(m_cloud->bobRoot, QStringLiteral("x.GCFG")), qint64(-1));
}

void TestCloudDiskDialog::hostileNamesStayInsideTheStagingTree()
{
    const QString longName = QString(200, QChar(0x697c));
    const qint64 dots = m_cloud->service->makeFolder(m_cloud->aliceRoot, QStringLiteral("..."));
    const qint64 odd = m_cloud->service->makeFolder(dots, QStringLiteral("a:b|c<d>"));
    const qint64 tall = m_cloud->service->makeFolder(odd, longName);
    QVERIFY(dots > 0 && odd > 0 && tall > 0);
    m_cloud->put(tall, QStringLiteral("x*?\"y. "), "odd bytes");
    signIn("alice", "alice-pw");
    const QMap<QString, QByteArray> before = localFiles(m_app->path());

    Probe<OpenProject> d;
    d.onPersonYunButton();
    choose(d, {"...", "a:b|c<d>", longName, "x*?\"y. "});
    const QString result = d.resultPath();
    QVERIFY2(!result.isEmpty(), qPrintable(lastBox().text));
    QCOMPARE(contentOf(result), QByteArray("odd bytes"));
    QVERIFY(pfd::cloud::isInsideFolder(result, stagingRoot()));

    // Only the one new file, inside the staging tree.
    QMap<QString, QByteArray> after = localFiles(m_app->path());
    const QString added = QDir(m_app->path()).relativeFilePath(result);
    QCOMPARE(after.take(added), QByteArray("odd bytes"));
    QCOMPARE(after, before);

    // Saving back next to it stays inside as well, and the upload keeps the
    // real name.
    zFileDialog::isIopen = false;
    Probe<SaveProject> s;
    s.onPersonYunButton();
    choose(s, {"...", "a:b|c<d>", longName});
    s.ui->tableView->clearSelection();
    s.ui->fileNameEdit->setText(QStringLiteral("新:工程?.GCFG"));
    s.onOkButton();
    const QString staged = s.resultPath();
    QVERIFY(pfd::cloud::isInsideFolder(staged, stagingRoot()));
    {
        QFile f(staged);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("saved back");
    }
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    QVERIFY(m_cloud->service->childId(tall, QStringLiteral("新:工程?.GCFG")) > 0);
    QVERIFY(!QFile::exists(staged));
}

QTEST_MAIN(TestCloudDiskDialog)
#include "tst_clouddisk_dialog.moc"
