// The dialog once over HTTP: clouddiskd on 127.0.0.1 with a port of the
// system's choosing, started and stopped here, named to the host through
// its value "云盘服务地址". Opening an enterprise project and saving a new
// personal one go the whole way.
#include "clouddisksupport.h"
#include "cloudscript.h"
#include "cloudserversupport.h"
#include "testsupport.h"

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

private:
    QTemporaryDir m_home;
};

void TestCloudDiskDialogHttp::openAndSaveOverHttp()
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
    cloudtest::Server server(data);
    QVERIFY(server.start());
    SharedInterfaceTesting::setHostValue(QStringLiteral("云盘服务地址"), server.url());

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
