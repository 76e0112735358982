// The dialog over HTTP and over HTTPS: clouddiskd on 127.0.0.1 with a port
// of the system's choosing, started and stopped here, named to the host
// through its value "云盘服务地址" (and its certificate authority through
// "云盘服务证书"). Opening an enterprise project and saving a new personal one
// go the whole way; a save to a cloud whose disk is full shows why it failed.
#include "clouddisksupport.h"
#include "cloudscript.h"
#include "cloudserversupport.h"
#include "testsupport.h"
#include "tlssupport.h"

#include "FirstPageService.h"
#include "HostServices.h"
#include "Users.h"
#include "dialogs/OpenProject.h"
#include "dialogs/SaveProject.h"
#include "zBaseLineEdit.h"
#include "zFileDialogUi.h"

#include <QtTest>

using namespace testsupport;
using cloudscript::choose;
using cloudscript::contentOf;
using cloudscript::lastBox;

namespace {

template <typename Base>
class Probe : public Base
{
public:
    using zFileDialog::ui;
};

} // namespace

class TestCloudDiskDialogHttp : public QObject
{
    Q_OBJECT

private slots:
    void openAndSaveOverHttp();
    void openAndSaveOverHttps();
    void saveToACloudWhoseDiskIsFullShowsWhy();

private:
    void openAndSave(const QStringList& serverArgs, const QString& authority);

    QTemporaryDir m_home;
};

void TestCloudDiskDialogHttp::openAndSaveOverHttp()
{
    openAndSave({}, QString());
}

void TestCloudDiskDialogHttp::openAndSaveOverHttps()
{
    tlstest::Pki pki;
    if (!pki.usable())
        QSKIP("no openssl command");
    QVERIFY2(pki.makeAuthority(QStringLiteral("team-ca")), qPrintable(pki.lastError()));
    QVERIFY(pki.makeServer(QStringLiteral("cloud"), QStringLiteral("team-ca"), QStringLiteral("IP:127.0.0.1")));
    openAndSave(pki.serverArgs(QStringLiteral("cloud")), pki.pem(QStringLiteral("team-ca")));
}

void TestCloudDiskDialogHttp::saveToACloudWhoseDiskIsFullShowsWhy()
{
    cloudscript::useHome(m_home);
    AppDir app;
    cloudscript::resetHost(true);
    mqcoreTesting::reset();
    const QString data = app.path() + QStringLiteral("/server-data");
    {
        cloudsupport::Cloud cloud(data);
    }
    cloudtest::Server server(data);
    QString why;
    if (!server.startOnSmallDisk(48, &why))
        QSKIP(qPrintable(why));
    {
        // About 14 MB left for a 30 MB project.
        QFile filler(server.dataPath() + QStringLiteral("/filler"));
        QVERIFY(filler.open(QIODevice::WriteOnly));
        const QByteArray block(1 << 20, 'f');
        while (server.freeBytes() > 15LL * 1024 * 1024)
            QVERIFY(filler.write(block) == block.size() && filler.flush());
    }
    SharedInterfaceTesting::setHostValue(QStringLiteral("云盘服务地址"), server.url());
    QVERIFY2(osgi::SignIn(QStringLiteral("alice"), QStringLiteral("alice-pw"), &why), qPrintable(why));
    zFileDialog::isIopen = false;
    Probe<SaveProject> s;
    s.onPersonYunButton();
    choose(s, {"设计"});
    s.ui->tableView->clearSelection();
    s.ui->fileNameEdit->setText(QStringLiteral("大工程.GCFG"));
    s.onOkButton();
    const QString staged = s.resultPath();
    QVERIFY(!staged.isEmpty());
    {
        QFile f(staged);
        QVERIFY(f.open(QIODevice::WriteOnly));
        QVERIFY(f.write(QByteArray(30 * 1024 * 1024, 'p')) == 30 * 1024 * 1024);
    }
    QVERIFY(!zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(lastBox().text, QStringLiteral("云盘服务器磁盘已满，无法保存文件"));
    zFileDialog::isIopen = true;
    ServicesUtil::CloudLogout();
    SharedInterfaceTesting::reset();
    QVERIFY(server.stop());
    cloudscript::releaseHost();
}

void TestCloudDiskDialogHttp::openAndSave(const QStringList& serverArgs, const QString& authority)
{
    cloudscript::useHome(m_home);
    AppDir app;
    cloudscript::resetHost(true);
    mqcoreTesting::reset();
    const QString data = app.path() + QStringLiteral("/server-data");
    {
        // Filled before the server opens the store.
        cloudsupport::Cloud cloud(data);
    }
    cloudtest::Server server(data, serverArgs);
    QVERIFY(server.start());
    SharedInterfaceTesting::setHostValue(QStringLiteral("云盘服务地址"), server.url());
    if (!authority.isEmpty()) {
        QVERIFY(server.url().startsWith(QLatin1String("https://")));
        SharedInterfaceTesting::setHostValue(QStringLiteral("云盘服务证书"), authority);
    }

    QString why;
    QVERIFY2(osgi::SignIn(QStringLiteral("bob"), QStringLiteral("bob-pw"), &why), qPrintable(why));
    const QString staging = pfd::cloud::stagingUserFolder(app.path(), Users::Instance()->Mqy()->UserID);
    {
        Probe<OpenProject> d;
        d.onCompanyYunButton();
        choose(d, {"甲公司", "工程", "g.GCFG"});
        QCOMPARE(d.resultPath(), staging + QStringLiteral("/企业云盘/甲公司/工程/g.GCFG"));
        QCOMPARE(contentOf(d.resultPath()), QByteArray("jia g"));
        Probe<OpenProject> refused;
        refused.onCompanyYunButton();
        choose(refused, {"甲公司", "工程", "only-view.GCFG"});
        QVERIFY(lastBox().text.contains(QStringLiteral("无法下载")));
    }
    ServicesUtil::CloudLogout();
    QVERIFY2(osgi::SignIn(QStringLiteral("alice"), QStringLiteral("alice-pw"), &why), qPrintable(why));
    zFileDialog::isIopen = false;
    Probe<SaveProject> s;
    s.onPersonYunButton();
    choose(s, {"设计"});
    s.ui->tableView->clearSelection();
    s.ui->fileNameEdit->setText(QStringLiteral("经网络.GCFG"));
    s.onOkButton();
    const QString staged = s.resultPath();
    QVERIFY(!staged.isEmpty());
    {
        QFile f(staged);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("over the wire");
    }
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(lastBox().text, QStringLiteral("保存云文件成功！"));
    QVERIFY(!QFile::exists(staged));
    zFileDialog::isIopen = true;
    Probe<OpenProject> o;
    o.onPersonYunButton();
    choose(o, {"设计", "经网络.GCFG"});
    QCOMPARE(contentOf(o.resultPath()), QByteArray("over the wire"));

    ServicesUtil::CloudLogout();
    SharedInterfaceTesting::reset();
    QVERIFY(server.stop());
    cloudscript::releaseHost();
}

QTEST_MAIN(TestCloudDiskDialogHttp)
#include "tst_clouddisk_dialoghttp.moc"
