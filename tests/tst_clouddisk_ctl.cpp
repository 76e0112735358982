// The admin tool clouddiskctl, run as operators and scripts run it.
#include "CloudDiskService.h"
#include "clouddisksupport.h"

#include <QProcess>
#include <QtTest>

using namespace cloudsupport;
using clouddisk::Service;

namespace {

struct Run
{
    int code = -1;
    QString out;
    QString err;
};

Run ctl(const QString& data, const QStringList& args, const QByteArray& input = QByteArray())
{
    QProcess p;
    p.start(CLOUDDISKCTL, clustersupport::databaseOptions(data) + QStringList{"--data", data} + args);
    p.write(input);
    p.closeWriteChannel();
    Run r;
    if (!p.waitForFinished(60000))
        return r;
    r.code = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

} // namespace

class tst_clouddisk_ctl : public QObject
{
    Q_OBJECT

private slots:
    void userAddPrintsTheIdAlone()
    {
        QTemporaryDir dir;
        Run r = ctl(dir.path(), {"user", "add", "zhangsan", "secret"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QStringLiteral("1\n"));
        r = ctl(dir.path(), {"user", "add", "李四", "pw"});
        QCOMPARE(r.out, QStringLiteral("2\n"));
        // A taken name: non-zero, nothing on stdout.
        r = ctl(dir.path(), {"user", "add", "zhangsan", "other"});
        QVERIFY(r.code != 0);
        QCOMPARE(r.out, QString());
        QVERIFY(!r.err.isEmpty());
        auto s = clustersupport::openStore(dir.path());
        QCOMPARE(s->checkPassword("zhangsan", "secret"), qint64(1));
        QCOMPARE(s->checkPassword("李四", "pw"), qint64(2));
    }

    void enterprisesMembersRightsAndImport()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        QTemporaryDir src;
        QDir().mkpath(src.path() + "/图纸/内部");
        QFile f(src.path() + "/图纸/内部/a.GCFG");
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("drawing");
        f.close();
        QFile g(src.path() + "/readme.txt");
        QVERIFY(g.open(QIODevice::WriteOnly));
        g.write("hello");
        g.close();

        QCOMPARE(ctl(data, {"user", "add", "u1", "pw"}).code, 0);
        QCOMPARE(ctl(data, {"user", "add", "u2", "pw"}).code, 0);
        Run r = ctl(data, {"enterprise", "add", "甲公司"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QStringLiteral("1\n"));
        QCOMPARE(ctl(data, {"member", "add", "甲公司", "u1"}).code, 0);
        QCOMPARE(ctl(data, {"member", "add", "1", "2"}).code, 0); // by ids
        QCOMPARE(ctl(data, {"member", "list", "甲公司"}).out, QStringLiteral("1\tu1\n2\tu2\n"));
        r = ctl(data, {"import", src.path(), "enterprise", "甲公司", "工程"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QStringLiteral("2 files imported\n"));
        QCOMPARE(ctl(data, {"import", src.path(), "user", "u2"}).code, 0);
        QCOMPARE(ctl(data, {"right", "withdraw", "甲公司", "工程/图纸/内部", "u2", "enter"}).code, 0);
        QCOMPARE(ctl(data, {"right", "withdraw", "甲公司", "工程/readme.txt", "u2", "download"}).code, 0);
        QVERIFY(ctl(data, {"right", "withdraw", "甲公司", "工程/readme.txt", "u2", "fly"}).code != 0);
        QVERIFY(ctl(data, {"right", "withdraw", "甲公司", "nope", "u2", "enter"}).code != 0);
        r = ctl(data, {"right", "list", "甲公司"});
        QCOMPARE(r.out.count('\n'), 2);
        QVERIFY(r.out.contains("u2\tenter"));

        r = ctl(data, {"tree", "enterprise", "甲公司"});
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.startsWith(QStringLiteral("甲公司/")));
        QVERIFY(r.out.contains(QStringLiteral("      内部/")));
        QVERIFY(r.out.contains(QStringLiteral("a.GCFG")));
        r = ctl(data, {"tree", "user", "u2", "图纸"});
        QVERIFY(r.out.startsWith(QStringLiteral("图纸/")));

        // What the service then answers.
        auto s = clustersupport::openStore(data);
        const QJsonArray u2 = s->handle(2, enterpriseList(2)).value("data").toArray();
        QVERIFY(find(u2, "a.GCFG").isEmpty()); // behind the closed folder
        QCOMPARE(s->handle(2, enterpriseAuth(2, "1", idOf(find(u2, "readme.txt")))).value("msg").toString().contains("无法下载"), true);
        const QJsonArray u1 = s->handle(1, enterpriseList(1)).value("data").toArray();
        QVERIFY(!find(u1, "a.GCFG").isEmpty());

        QCOMPARE(ctl(data, {"right", "grant", "甲公司", "工程/图纸/内部", "u2", "enter"}).code, 0);
        QVERIFY(!find(s->handle(2, enterpriseList(2)).value("data").toArray(), "a.GCFG").isEmpty());
        QCOMPARE(ctl(data, {"rm", "enterprise", "甲公司", "工程/图纸"}).code, 0);
        QVERIFY(find(s->handle(1, enterpriseList(1)).value("data").toArray(), "a.GCFG").isEmpty());
        QCOMPARE(ctl(data, {"member", "remove", "甲公司", "u2"}).code, 0);
        QCOMPARE(s->handle(2, enterpriseList(2)).value("data").toArray().size(), 0);
    }

    void passwordsFromStandardInput()
    {
        QTemporaryDir dir;
        Run r = ctl(dir.path(), {"user", "add", "wangwu", "--password-stdin"}, "from stdin\n");
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QStringLiteral("1\n"));
        QCOMPARE(ctl(dir.path(), {"user", "passwd", "wangwu", "--password-stdin"}, "second one\r\n").code, 0);
        auto s = clustersupport::openStore(dir.path());
        QCOMPARE(s->checkPassword("wangwu", "second one"), qint64(1));
        s.reset();
        // Nothing on standard input: no empty password.
        r = ctl(dir.path(), {"user", "add", "zhaoliu", "--password-stdin"});
        QVERIFY(r.code != 0);
        QCOMPARE(r.out, QString());
    }

    void passwdAndLogoutEndSessions()
    {
        QTemporaryDir dir;
        QCOMPARE(ctl(dir.path(), {"user", "add", "u1", "pw"}).code, 0);
        QCOMPARE(ctl(dir.path(), {"user", "add", "u2", "pw"}).code, 0);
        auto s = clustersupport::openStore(dir.path());
        const QString first = s->createSession(1);
        const QString second = s->createSession(1);
        const QString others = s->createSession(2);
        Run r = ctl(dir.path(), {"user", "logout", "u1"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QStringLiteral("2\n"));
        QCOMPARE(s->sessionUser(first), qint64(-1));
        QCOMPARE(s->sessionUser(second), qint64(-1));
        QCOMPARE(s->sessionUser(others), qint64(2));
        QCOMPARE(ctl(dir.path(), {"user", "passwd", "u2", "new"}).code, 0);
        QCOMPARE(s->sessionUser(others), qint64(-1));
        QVERIFY(ctl(dir.path(), {"user", "logout", "nobody"}).code != 0);
    }

    void importNamesTheOffendingFileAndStoresNothing()
    {
        QTemporaryDir dir;
        QTemporaryDir src;
        QDir().mkpath(src.path() + "/a");
        for (const QString& name : {QString("a/ok.GCFG"), QString("a/back\\slash.GCFG"), QString("b.GCFG")}) {
            QFile f(src.path() + "/" + name);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("x");
        }
        QCOMPARE(ctl(dir.path(), {"user", "add", "u1", "pw"}).code, 0);
        Run r = ctl(dir.path(), {"import", src.path(), "user", "u1"});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.err.contains(src.path() + "/a/back\\slash.GCFG"), qPrintable(r.err));
        QCOMPARE(ctl(dir.path(), {"tree", "user", "u1"}).out.count('\n'), 1); // 根目录 alone
    }

    void badUseExplains()
    {
        QTemporaryDir dir;
        Run r = ctl(dir.path(), {"user"});
        QCOMPARE(r.code, 2);
        QVERIFY(r.err.contains("usage"));
        r = ctl(dir.path(), {"frobnicate"});
        QCOMPARE(r.code, 2);
        QVERIFY(ctl(dir.path(), {"member", "add", "none", "none"}).code != 0);
        QVERIFY(ctl(dir.path(), {"tree", "user", "none"}).code != 0);
        QVERIFY(ctl(dir.path(), {"import", dir.path() + "/missing", "user", "none"}).code != 0);
    }

    // The usage text's Chinese example reaches the terminal as UTF-8, as
    // every other line of the tool does.
    void helpPrintsItsChineseExampleAsUtf8()
    {
        QTemporaryDir dir;
        const Run r = ctl(dir.path(), {"--help"});
        QCOMPARE(r.code, 2);
        QVERIFY2(r.err.contains(QStringLiteral("(\"设计/图纸\")")), qPrintable(r.err.right(120)));
    }
};

QTEST_GUILESS_MAIN(tst_clouddisk_ctl)
#include "tst_clouddisk_ctl.moc"
