// The dialog's ten cloud requests, as its builders write them, answered by
// the real service in the host's process after a login through the start
// page: browse, permission, two-step upload and download, end to end.
#include "ObjectHelper.h"
#include "FirstPageService.h"
#include "SharedInterfaceTesting.h"
#include "Users.h"
#include "clouddisksupport.h"
#include "mqcoreTesting.h"
#include "osgiTesting.h"
#include "testsupport.h"
#include "zFileDialog.h"

#include <QtConcurrent>
#include <QtTest>

using namespace cloudsupport;

class tst_clouddisk_builders : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<testsupport::AppDir> m_app;
    std::unique_ptr<Cloud> m_cloud;

    void signIn(const QString& name, const QString& password)
    {
        osgiTesting::setLoginCredentials(name, password);
        osgi::ObjectHelper::GetService("firstPagePlugin")->Login(QJsonObject());
        QVERIFY(Users::Instance()->Mqy()->IsLogin());
    }
    QString me() const { return Users::Instance()->Mqy()->UserID; }

private slots:
    void init()
    {
        mqcoreTesting::reset();
        osgiTesting::reset();
        m_app = std::make_unique<testsupport::AppDir>();
        m_cloud = std::make_unique<Cloud>(m_app->path() + "/clouddisk");
    }
    void cleanup()
    {
        m_cloud.reset();
        m_app.reset();
        mqcoreTesting::reset();
        osgiTesting::reset();
    }

    void browseThePersonalCloud()
    {
        signIn("alice", "alice-pw");
        const QJsonObject r = zFileDialog::LoadGrypData();
        QCOMPARE(r.value("code").toInt(-1), 0);
        const QJsonObject root = r.value("data").toObject().value("data").toArray().first().toObject();
        QCOMPARE(root.value("wjjmc").toString(), QStringLiteral("根目录"));
        QVERIFY(!find(root.value("xjdata").toArray(), "a.GCFG").isEmpty());
    }

    void browseTheEnterpriseCloud()
    {
        signIn("bob", "bob-pw");
        const QJsonArray list = zFileDialog::LoadQyypData().value("data").toArray();
        QCOMPARE(list.size(), 2);
        const QJsonObject project = find(list, "工程");
        const QJsonObject secret = find(list, "保密");
        // Argument orders: folder then enterprise; enterprise then file.
        QCOMPARE(zFileDialog::LoadQyypMlData(idOf(project), project.value("wjjgsqyid").toString()).value("code").toInt(-1), 0);
        const QJsonObject refused = zFileDialog::LoadQyypMlData(idOf(secret), secret.value("wjjgsqyid").toString());
        QCOMPARE(refused.value("code").toInt(), 1);
        const QJsonObject g = find(list, "g.GCFG");
        QCOMPARE(zFileDialog::LoadQyypFileQx(g.value("wjjgsqyid").toString(), idOf(g)).value("code").toInt(-1), 0);
        const QJsonObject view = find(list, "only-view.GCFG");
        const QJsonObject viewOnly = zFileDialog::LoadQyypFileQx(view.value("wjjgsqyid").toString(), idOf(view));
        QCOMPARE(viewOnly.value("code").toInt(), 1);
        QVERIFY(viewOnly.value("msg").toString().contains(QStringLiteral("无法下载")));
    }

    void nonNumericUserIdIsRefused()
    {
        signIn("alice", "alice-pw");
        mqcoreTesting::setUser("abc", "alice", "alice"); // sent as 0
        QCOMPARE(zFileDialog::LoadGrypData().value("code").toInt(), 1);
    }

    void uploadAndDownloadInTheDialogsWorkers()
    {
        signIn("alice", "alice-pw");
        const QString pid = QString::number(m_cloud->design);
        // Two-step upload from a pool thread, as the save worker sends it.
        const QString staged = m_app->path() + "/cfg/DownloadCloudDiskFile/" + me() + "/个人云盘/设计/新.GCFG";
        QDir().mkpath(QFileInfo(staged).absolutePath());
        QFile f(staged);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("saved by the suite");
        f.close();
        const QString mqid = me();
        QJsonObject done = QtConcurrent::run([=] {
                               const QJsonObject info = zFileDialog::UploadGryData("新.GCFG", pid, 18, ".GCFG", mqid);
                               if (info.value("code").toInt(-1) != 0)
                                   return info;
                               const QJsonObject t = info.value("data").toObject();
                               return zFileDialog::UploadGryFile(t.value("sclj").toString(), t.value("wjjwybs").toString(),
                                                                 t.value("pid").toString(), t.value("wjdx").toInt(),
                                                                 t.value("ext").toString(), t.value("wjm").toString(),
                                                                 staged, mqid);
                           }).result();
        QCOMPARE(done.value("code").toInt(-1), 0);
        QVERIFY(!done.value("msg").toString().isEmpty());

        // Where it would be staged, then the download from a pool thread.
        const QJsonObject where = zFileDialog::IsExistDownLoadfile("新.GCFG", "个人云盘\\设计");
        const QString filPath = where.value("data").toObject().value("filPath").toString();
        QCOMPARE(QDir::fromNativeSeparators(filPath), staged);
        QCOMPARE(where.value("data").toObject().value("isExist").toBool(), true);
        QVERIFY(QFile::remove(staged));
        const QJsonObject node = find(zFileDialog::LoadGrypData().value("data").toObject().value("data").toArray(), "新.GCFG");
        const QJsonObject down = QtConcurrent::run([=] {
                                     return zFileDialog::downLoadYunpanFile("新.GCFG", filPath, "0",
                                                                           node.value("xzlj").toString());
                                 }).result();
        QCOMPARE(down.value("code").toInt(-1), 0);
        QCOMPARE(down.value("data").toString(), filPath);
        QFile back(staged);
        QVERIFY(back.open(QIODevice::ReadOnly));
        QCOMPARE(back.readAll(), QByteArray("saved by the suite"));
    }

    void enterpriseUploadNeedsMembership()
    {
        signIn("alice", "alice-pw");
        const QString local = m_app->path() + "/n.GCFG";
        QFile f(local);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("x");
        f.close();
        // Into 甲公司 (a member): accepted.
        QJsonObject info = zFileDialog::UploadQyyData("n.GCFG", QString::number(m_cloud->project), 1, ".GCFG", me(),
                                                      QString::number(m_cloud->jia));
        QCOMPARE(info.value("code").toInt(-1), 0);
        QJsonObject t = info.value("data").toObject();
        QCOMPARE(zFileDialog::UploadQyyFile(t.value("sclj").toString(), t.value("wjjwybs").toString(), t.value("pid").toString(),
                                            t.value("wjdx").toInt(), t.value("ext").toString(), t.value("wjm").toString(),
                                            local, me(), QString::number(m_cloud->jia))
                     .value("code")
                     .toInt(-1),
                 0);
        QVERIFY(m_cloud->service->nodeAt(m_cloud->jiaRoot, "工程/n.GCFG") > 0);
        // Into 乙公司 (not a member): refused at the first step.
        info = zFileDialog::UploadQyyData("n.GCFG", QString::number(m_cloud->inner), 1, ".GCFG", me(),
                                          QString::number(m_cloud->yi));
        QCOMPARE(info.value("code").toInt(), 1);
        QCOMPARE(m_cloud->service->nodeAt(m_cloud->yiRoot, "内部/n.GCFG"), qint64(-1));
    }
};

QTEST_MAIN(tst_clouddisk_builders)
#include "tst_clouddisk_builders.moc"
