// The host's side of the cloud channel: local names for cloud names, the
// staging path answer, downloads written into the staging folder only,
// uploads read from the local file, the channel through
// ServicesUtil::AsyncReplyLoop, its test seam, and calls from many threads.
#include "CloudChannel.h"
#include "CloudDiskService.h"
#include "CloudTransport.h"
#include "HostServices.h"
#include "SharedInterfaceTesting.h"
#include "clouddisksupport.h"
#include "testsupport.h"

#include <QCryptographicHash>
#include <QFile>
#include <QtConcurrent>
#include <QtTest>

#ifndef Q_OS_WIN
#include <sys/stat.h>
#endif

using namespace cloudsupport;
using clouddisk::Channel;
using clouddisk::localNameForCloudName;

namespace {

QByteArray readAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

bool writeFile(const QString& path, const QByteArray& data)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

// Every file below dir, relative, sorted.
QStringList filesBelow(const QString& dir)
{
    QStringList out;
    QDirIterator it(dir, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext())
        out << QDir(dir).relativeFilePath(it.next());
    out.sort();
    return out;
}

// A transport that answers every plain request with the same bytes and
// counts the calls it gets.
class CannedTransport : public clouddisk::CloudTransport
{
public:
    explicit CannedTransport(QByteArray reply, bool overrideBytes = true)
        : m_reply(std::move(reply))
        , m_overrideBytes(overrideBytes)
    {
    }
    clouddisk::LoginResult login(const QString& name, const QString&) override
    {
        clouddisk::LoginResult r;
        r.ok = true;
        r.userId = 7;
        r.userName = name;
        return r;
    }
    void logout() override {}
    QJsonObject request(const QJsonObject&) override
    {
        ++requests;
        return QJsonDocument::fromJson(m_reply).object();
    }
    QByteArray requestBytes(const QJsonObject& envelope) override
    {
        if (!m_overrideBytes)
            return CloudTransport::requestBytes(envelope);
        ++byteRequests;
        return m_reply;
    }
    QJsonObject download(const QJsonObject&, QIODevice*) override { return QJsonObject{{"code", 1}, {"msg", "no"}}; }
    QJsonObject upload(const QJsonObject&, QIODevice*) override { return QJsonObject{{"code", 1}, {"msg", "no"}}; }

    int requests = 0;
    int byteRequests = 0;

private:
    QByteArray m_reply;
    bool m_overrideBytes;
};

} // namespace

class tst_clouddisk_channel : public QObject
{
    Q_OBJECT

private:
    // A cloud under app/clouddisk, an embedded channel for it, alice signed in.
    struct Fixture
    {
        QTemporaryDir app;
        std::unique_ptr<Cloud> cloud;
        std::unique_ptr<Channel> channel;
        Fixture()
        {
            cloud = std::make_unique<Cloud>(app.path() + "/clouddisk");
            channel = std::make_unique<Channel>(clouddisk::makeEmbeddedTransport(app.path() + "/clouddisk"), app.path());
        }
        bool signIn(const QString& name = "alice", const QString& pw = "alice-pw")
        {
            return channel->login(name, pw).ok;
        }
        QString staging() const
        {
            return app.path() + "/cfg/DownloadCloudDiskFile/" + QString::number(channel->userId());
        }
        QJsonObject ask(const QJsonObject& env) { return parse(channel->exchange(bytes(env))); }
    };

private slots:
    // ---- local names
    void localNames_data()
    {
        QTest::addColumn<QString>("cloud");
        QTest::addColumn<QString>("local");
        QTest::newRow("plain") << "预算.GCFG" << "预算.GCFG";
        QTest::newRow("label") << "个人云盘" << "个人云盘";
        QTest::newRow("blanks inside") << "a b.GCFG" << "a b.GCFG";
        QTest::newRow("slash") << "a/b" << "a_b";
        QTest::newRow("backslash") << "a\\b" << "a_b";
        QTest::newRow("reserved") << "a:*?\"<>|b" << "a_______b";
        QTest::newRow("control") << QString("a\x01\x1f\x7f") + "b" << "a___b";
        QTest::newRow("nul") << QString(QChar(0)) + "x" << "_x";
        QTest::newRow("dot") << "." << "_";
        QTest::newRow("dot dot") << ".." << "__";
        QTest::newRow("trailing dot") << "a." << "a_";
        QTest::newRow("trailing blanks and dots") << "a. ." << "a___";
        QTest::newRow("leading dot kept") << ".hidden" << ".hidden";
        QTest::newRow("empty") << "" << "_";
        QTest::newRow("parent escape") << "../../etc" << ".._.._etc";
    }
    void localNames()
    {
        QFETCH(QString, cloud);
        QFETCH(QString, local);
        QCOMPARE(localNameForCloudName(cloud), local);
    }

    void longNamesAreCutWithHashAndSuffix()
    {
        const QString name = QString(300, 'x') + ".GCFG";
        const QString local = localNameForCloudName(name);
        const QString hash = QString::fromLatin1(QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha1).toHex().left(8));
        QCOMPARE(local.toUtf8().size(), 255);
        QVERIFY(local.endsWith("~" + hash + ".GCFG"));
        QCOMPARE(local, QString(255 - 14, 'x') + "~" + hash + ".GCFG");
        // Exactly 255 bytes stays as it is.
        const QString fits = QString(250, 'y') + ".GCFG";
        QCOMPARE(localNameForCloudName(fits), fits);
    }

    void longChineseNamesCutAtCharacters()
    {
        const QString name = QString(100, QChar(0x9884)) + ".GCFG"; // 300 bytes + 5
        const QString local = localNameForCloudName(name);
        QVERIFY(local.toUtf8().size() <= 255);
        QVERIFY(local.endsWith(".GCFG"));
        // 255 - 14 = 241 bytes for the stem: 80 whole characters.
        QCOMPARE(local.indexOf('~'), 80);
        QVERIFY(QString::fromUtf8(local.toUtf8()) == local);
    }

    void longSuffixIsNotKept()
    {
        const QString name = QString(300, 'z') + "." + QString(20, 's');
        const QString local = localNameForCloudName(name);
        QCOMPARE(local.toUtf8().size(), 255);
        QVERIFY(local.contains('~'));
        QCOMPARE(local.mid(local.indexOf('~')).size(), 9); // "~" + 8 hex digits, nothing after
    }

    void surrogatePairsStayWhole()
    {
        const QString emoji = QString::fromUtf8("\xF0\x9F\x93\x81"); // 4 bytes, two UTF-16 units
        const QString name = emoji.repeated(70);                      // 280 bytes
        const QString local = localNameForCloudName(name);
        QVERIFY(local.toUtf8().size() <= 255);
        QVERIFY(!local.toUtf8().contains("?"));
        QCOMPARE(local.indexOf('~') % 2, 0);
    }

    void insideChecks_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("inside");
        QTest::newRow("child") << "/s/1/a" << true;
        QTest::newRow("deep") << "/s/1/a/b/c" << true;
        QTest::newRow("itself") << "/s/1" << false;
        QTest::newRow("parent") << "/s" << false;
        QTest::newRow("sibling prefix") << "/s/10/a" << false;
        QTest::newRow("dot dot") << "/s/1/../2/a" << false;
        QTest::newRow("dot dot back in") << "/s/1/x/../a" << true;
        QTest::newRow("elsewhere") << "/etc/passwd" << false;
    }
    void insideChecks()
    {
        QFETCH(QString, path);
        QFETCH(bool, inside);
        QCOMPARE(clouddisk::pathIsInside("/s/1", path), inside);
    }

    // ---- "isexistlocalsamenamefile"
    void stagingPathAnswer()
    {
        Fixture f;
        QVERIFY(f.signIn());
        QJsonObject r = f.ask(isExistLocal("a.GCFG", "个人云盘\\设计"));
        QCOMPARE(r.value("code").toInt(-1), 0);
        const QString expected = QDir::toNativeSeparators(f.staging() + "/个人云盘/设计/a.GCFG");
        QCOMPARE(r.value("data").toObject().value("filPath").toString(), expected);
        QVERIFY(r.value("data").toObject().value("isExist").isBool());
        QCOMPARE(r.value("data").toObject().value("isExist").toBool(), false);
        QVERIFY(writeFile(f.staging() + "/个人云盘/设计/a.GCFG", "x"));
        r = f.ask(isExistLocal("a.GCFG", "个人云盘\\设计"));
        QCOMPARE(r.value("data").toObject().value("isExist").toBool(), true);
        // The user id is the signed-in user's.
        QCOMPARE(f.channel->userId(), f.cloud->alice);
        QVERIFY(expected.contains("/DownloadCloudDiskFile/" + QString::number(f.cloud->alice) + "/"));
    }

    void stagingPathMapsHostileNames()
    {
        Fixture f;
        QVERIFY(f.signIn());
        const QJsonObject r = f.ask(isExistLocal("../../../evil", "个人云盘\\..\\..\\a:b\\"));
        const QString path = r.value("data").toObject().value("filPath").toString();
        QCOMPARE(path, QDir::toNativeSeparators(f.staging() + "/个人云盘/__/__/a_b/.._.._.._evil"));
        QVERIFY(clouddisk::pathIsInside(f.staging(), path));
        // Nothing is created by asking.
        QVERIFY(!QFileInfo::exists(f.staging()));
    }

    void stagingPathNeedsSignIn()
    {
        Fixture f;
        const QJsonObject r = f.ask(isExistLocal("a.GCFG", "个人云盘"));
        QCOMPARE(r.value("code").toInt(), 1);
        QCOMPARE(r.value("msg").toString(), QStringLiteral("请先登录云盘"));
    }

    // ---- downloads
    void downloadWritesIntoStaging()
    {
        Fixture f;
        QVERIFY(f.signIn());
        const QString target = f.ask(isExistLocal("a.GCFG", "个人云盘\\设计")).value("data").toObject().value("filPath").toString();
        const QJsonObject r = f.ask(download("a.GCFG", target, xzljOf(*f.cloud->service, f.cloud->aliceFile)));
        QCOMPARE(r.value("code").toInt(-1), 0);
        QCOMPARE(r.value("data").toString(), target);
        QCOMPARE(readAll(target), QByteArray("alice's a"));
        // Only the file itself is left (no temporary beside it).
        QCOMPARE(filesBelow(f.staging()), QStringList{"个人云盘/设计/a.GCFG"});
    }

    void downloadReplacesStagedCopy()
    {
        Fixture f;
        QVERIFY(f.signIn());
        const QString target = f.staging() + "/个人云盘/设计/a.GCFG";
        QVERIFY(writeFile(target, "an older copy that is longer"));
        const QJsonObject r = f.ask(download("a.GCFG", target, xzljOf(*f.cloud->service, f.cloud->aliceFile)));
        QCOMPARE(r.value("code").toInt(-1), 0);
        QCOMPARE(readAll(target), QByteArray("alice's a"));
    }

    void downloadOutsideStagingRefused_data()
    {
        QTest::addColumn<QString>("target");
        QTest::newRow("elsewhere") << "@app/elsewhere.GCFG";
        QTest::newRow("climbing out") << "@staging/../../../x.GCFG";
        QTest::newRow("the staging folder") << "@staging";
        QTest::newRow("another user's") << "@app/cfg/DownloadCloudDiskFile/2/x.GCFG";
        QTest::newRow("relative") << "x.GCFG";
        QTest::newRow("empty") << "";
    }
    void downloadOutsideStagingRefused()
    {
        QFETCH(QString, target);
        Fixture f;
        QVERIFY(f.signIn());
        target.replace("@staging", f.staging()).replace("@app", f.app.path());
        const QStringList before = filesBelow(f.app.path());
        const QJsonObject r = f.ask(download("a.GCFG", target, xzljOf(*f.cloud->service, f.cloud->aliceFile)));
        QCOMPARE(r.value("code").toInt(), 1);
        QCOMPARE(filesBelow(f.app.path()), before);
        QVERIFY(!QFileInfo::exists(QDir::currentPath() + "/x.GCFG"));
    }

#ifndef Q_OS_WIN
    void downloadThroughLinkOutsideRefused()
    {
        Fixture f;
        QVERIFY(f.signIn());
        QTemporaryDir outside;
        QDir().mkpath(f.staging() + "/个人云盘");
        QVERIFY(QFile::link(outside.path(), f.staging() + "/个人云盘/link"));
        const QJsonObject r = f.ask(download("a.GCFG", f.staging() + "/个人云盘/link/sub/a.GCFG",
                                             xzljOf(*f.cloud->service, f.cloud->aliceFile)));
        QCOMPARE(r.value("code").toInt(), 1);
        QVERIFY(QDir(outside.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());
    }
#endif

    void refusedDownloadLeavesNothing()
    {
        Fixture f;
        QVERIFY(f.signIn("bob", "bob-pw"));
        const QString target = f.staging() + "/企业云盘/甲公司/工程/only-view.GCFG";
        const QJsonObject r = f.ask(download("only-view.GCFG", target, xzljOf(*f.cloud->service, f.cloud->viewOnly)));
        QCOMPARE(r.value("code").toInt(), 1);
        QVERIFY(r.value("msg").toString().contains(QStringLiteral("无法下载")));
        QCOMPARE(filesBelow(f.staging()), QStringList());
        // Someone else's file: refused, nothing written.
        const QJsonObject r2 = f.ask(download("a.GCFG", f.staging() + "/a.GCFG", xzljOf(*f.cloud->service, f.cloud->aliceFile)));
        QCOMPARE(r2.value("code").toInt(), 1);
        QCOMPARE(filesBelow(f.staging()), QStringList());
    }

    // ---- uploads
    void uploadReadsLocalFile()
    {
        Fixture f;
        QVERIFY(f.signIn());
        const QString local = f.staging() + "/个人云盘/设计/新.GCFG";
        const QByteArray contents = QByteArray(300000, 'q') + "end";
        QVERIFY(writeFile(local, contents));
        const QString mqid = QString::number(f.cloud->alice);
        // The dialog's 32-bit size is carried as sent; the real size is recorded.
        const QJsonObject info = f.ask(uploadInfo(mqid, "新.GCFG", QString::number(f.cloud->design), 7, ".GCFG"));
        QCOMPARE(info.value("code").toInt(-1), 0);
        const QJsonObject r = f.ask(uploadFile(info.value("data").toObject(), QDir::toNativeSeparators(local), mqid));
        QCOMPARE(r.value("code").toInt(-1), 0);
        const qint64 id = f.cloud->service->nodeAt(f.cloud->aliceRoot, "设计/新.GCFG");
        QVERIFY(id > 0);
        QCOMPARE(qint64(f.cloud->service->subtree(id).value("wjdx").toDouble()), qint64(contents.size()));
        const QString back = f.staging() + "/个人云盘/设计/back.GCFG";
        QCOMPARE(f.ask(download("新.GCFG", back, xzljOf(*f.cloud->service, id))).value("code").toInt(-1), 0);
        QCOMPARE(readAll(back), contents);
    }

#ifdef Q_OS_LINUX
    void uploadOfAFileTheKernelCannotCopy()
    {
        // Files under /proc report no size; their bytes are read all the same.
        Fixture f;
        QVERIFY(f.signIn());
        const QString mqid = QString::number(f.cloud->alice);
        const QJsonObject info = f.ask(uploadInfo(mqid, "status.txt", QString::number(f.cloud->aliceRoot), 0, ".txt"));
        QCOMPARE(f.ask(uploadFile(info.value("data").toObject(), "/proc/self/status", mqid)).value("code").toInt(-1), 0);
        const qint64 id = f.cloud->service->nodeAt(f.cloud->aliceRoot, "status.txt");
        QVERIFY(f.cloud->service->subtree(id).value("wjdx").toDouble() > 0);
    }
#endif

    void uploadFromNonFileRefused()
    {
        Fixture f;
        QVERIFY(f.signIn());
        const QString mqid = QString::number(f.cloud->alice);
        QStringList sources{f.app.path(), f.app.path() + "/missing.GCFG", QString()};
#ifndef Q_OS_WIN
        const QString fifo = f.app.path() + "/pipe.GCFG";
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        sources << fifo;
#endif
        for (const QString& source : sources) {
            const QJsonObject info = f.ask(uploadInfo(mqid, "n.GCFG", QString::number(f.cloud->aliceRoot), 1, ".GCFG"));
            const QJsonObject r = f.ask(uploadFile(info.value("data").toObject(), source, mqid));
            QCOMPARE(r.value("code").toInt(), 1);
            QCOMPARE(r.value("msg").toString(), QStringLiteral("无法读取要上传的文件"));
        }
        QCOMPARE(f.cloud->service->nodeAt(f.cloud->aliceRoot, "n.GCFG"), qint64(-1));
    }

    void requestsNeedSignIn()
    {
        Fixture f;
        QCOMPARE(f.ask(personTree(double(f.cloud->alice))).value("code").toInt(), 1);
        QVERIFY(!f.channel->login("alice", "wrong").ok);
        QCOMPARE(f.ask(personTree(double(f.cloud->alice))).value("code").toInt(), 1);
        QVERIFY(f.signIn());
        QCOMPARE(f.ask(personTree(double(f.cloud->alice))).value("code").toInt(-1), 0);
        f.channel->logout();
        QCOMPARE(f.channel->userId(), qint64(-1));
        QCOMPARE(f.ask(personTree(double(f.cloud->alice))).value("code").toInt(), 1);
    }

    void anyBytesGetAnObjectReply_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("not JSON") << QByteArray("not json {");
        QTest::newRow("array") << QByteArray("[1,2,3]");
        QTest::newRow("object without data") << QByteArray("{\"cmd\":\"cloudDisk\"}");
        QTest::newRow("nul bytes") << QByteArray("{\0\0}", 4);
    }
    void anyBytesGetAnObjectReply()
    {
        QFETCH(QByteArray, request);
        Fixture f;
        QVERIFY(f.signIn());
        const QJsonDocument doc = QJsonDocument::fromJson(f.channel->exchange(request));
        QVERIFY(doc.isObject());
        QCOMPARE(doc.object().value("code").toInt(), 1);
        QCOMPARE(doc.object().value("msg").toString(), QStringLiteral("请求格式错误"));
    }

    // ---- reply bytes
    void plainRequestRepliesPassUntouched()
    {
        // Blanks and an order of keys that reading and writing again would
        // not keep: the bytes must reach the caller as the transport gave them.
        const QByteArray canned = "{\"msg\":\"\u6210\u529f\", \"code\":0,\"data\":{\"z\":1,\"a\":[]}}";
        auto transport = std::make_unique<CannedTransport>(canned);
        CannedTransport* t = transport.get();
        QTemporaryDir app;
        Channel channel(std::move(transport), app.path());
        QVERIFY(channel.login("alice", "pw").ok);
        QCOMPARE(channel.exchange(bytes(personTree(7.0))), canned);
        QCOMPARE(channel.exchange(bytes(enterpriseList(7.0))), canned);
        QCOMPARE(channel.exchange(bytes(uploadInfo("7", "a.GCFG", "1", 3, ".GCFG"))), canned);
        QCOMPARE(t->byteRequests, 3);
        QCOMPARE(t->requests, 0);
        // The channel's own methods never go to the transport as plain requests.
        const QJsonObject same = parse(channel.exchange(bytes(isExistLocal("a.GCFG", "个人云盘"))));
        QCOMPARE(same.value("code").toInt(-1), 0);
        QVERIFY(same.value("data").toObject().contains("filPath"));
        QCOMPARE(t->byteRequests, 3);
    }

    void transportWithoutBytesIsWrittenOnce()
    {
        const QByteArray canned = "{\"msg\":\"ok\", \"code\":0}";
        QTemporaryDir app;
        Channel channel(std::make_unique<CannedTransport>(canned, false), app.path());
        QVERIFY(channel.login("alice", "pw").ok);
        QCOMPARE(channel.exchange(bytes(personTree(7.0))), QByteArray("{\"code\":0,\"msg\":\"ok\"}"));
    }

    void embeddedRepliesAreTheServiceBytes()
    {
        Fixture f;
        QVERIFY(f.signIn());
        for (const QJsonObject& env : {personTree(double(f.cloud->alice)), enterpriseList(double(f.cloud->alice)),
                                       enterpriseDir(double(f.cloud->alice), QString::number(f.cloud->project),
                                                     QString::number(f.cloud->jia))}) {
            const QByteArray got = f.channel->exchange(bytes(env));
            QCOMPARE(got, f.cloud->service->handleBytes(f.cloud->alice, env));
            QCOMPARE(parse(got).value("code").toInt(-1), 0);
        }
        // Refusals of the transport itself are replies too.
        f.channel->logout();
        const QJsonObject refused = parse(f.channel->exchange(bytes(personTree(double(f.cloud->alice)))));
        QCOMPARE(refused.value("code").toInt(), 1);
        QCOMPARE(refused.value("msg").toString(), QStringLiteral("请先登录云盘"));
    }

    // ---- through the host's channel
    void asyncReplyLoopReachesTheService()
    {
        testsupport::AppDir app;
        Cloud cloud(app.path() + "/clouddisk");
        QString userId, message;
        QVERIFY(!ServicesUtil::CloudLogin("alice", "nope", &userId, &message));
        QVERIFY(userId.isEmpty());
        QCOMPARE(message, QStringLiteral("用户名或密码错误"));
        QVERIFY(ServicesUtil::CloudLogin("alice", "alice-pw", &userId, &message));
        QCOMPARE(userId, QString::number(cloud.alice));
        QCOMPARE(ServicesUtil::CloudUserId(), userId);
        const QJsonObject r = parse(ServicesUtil::AsyncReplyLoop(bytes(personTree(double(cloud.alice)))));
        QCOMPARE(r.value("code").toInt(-1), 0);
        QCOMPARE(r.value("data").toObject().value("data").toArray().first().toObject().value("wjjmc").toString(),
                 QStringLiteral("根目录"));
        QCOMPARE(SharedInterfaceTesting::cloudRequests().size(), 1);
        ServicesUtil::CloudLogout();
        QVERIFY(ServicesUtil::CloudUserId().isEmpty());
        QCOMPARE(parse(ServicesUtil::AsyncReplyLoop(bytes(personTree(double(cloud.alice))))).value("code").toInt(), 1);
    }

    void newApplicationDirectoryIsANewCloud()
    {
        testsupport::AppDir app;
        Cloud cloud(app.path() + "/clouddisk");
        QVERIFY(ServicesUtil::CloudLogin("alice", "alice-pw"));
        QTemporaryDir other;
        SharedInterfaceTesting::setAppPath(other.path());
        QVERIFY(ServicesUtil::CloudUserId().isEmpty());
        QVERIFY(!ServicesUtil::CloudLogin("alice", "alice-pw"));
        QVERIFY(QFileInfo(other.path() + "/clouddisk/clouddisk.sqlite").isFile());
        SharedInterfaceTesting::reset(); // closes the cloud in `other` before it goes
    }

    void seamReplacesServiceForEveryCaller()
    {
        testsupport::AppDir app;
        Cloud cloud(app.path() + "/clouddisk");
        QVERIFY(ServicesUtil::CloudLogin("alice", "alice-pw"));
        SharedInterfaceTesting::setCloudChannel([](const QByteArray& env) { return QByteArray("scripted:") + env.left(8); });
        const QByteArray request = bytes(personTree(double(cloud.alice)));
        QCOMPARE(ServicesUtil::AsyncReplyLoop(request), QByteArray("scripted:") + request.left(8));
        // From pool threads too.
        QList<QFuture<QByteArray>> futures;
        for (int i = 0; i < 8; ++i)
            futures << QtConcurrent::run([request] { return ServicesUtil::AsyncReplyLoop(request); });
        for (auto& fut : futures)
            QCOMPARE(fut.result(), QByteArray("scripted:") + request.left(8));
        QCOMPARE(SharedInterfaceTesting::cloudRequests().size(), 9);
        // Emptied: the real service answers again.
        SharedInterfaceTesting::setCloudChannel(nullptr);
        QCOMPARE(parse(ServicesUtil::AsyncReplyLoop(request)).value("code").toInt(-1), 0);
    }

    void manyThreadsAtOnce()
    {
        testsupport::AppDir app;
        Cloud cloud(app.path() + "/clouddisk");
        QVERIFY(ServicesUtil::CloudLogin("alice", "alice-pw"));
        const QString staging = app.path() + "/cfg/DownloadCloudDiskFile/" + QString::number(cloud.alice);
        const QString mqid = QString::number(cloud.alice);
        const QString pid = QString::number(cloud.design);
        const QString xzlj = xzljOf(*cloud.service, cloud.aliceFile);
        const double alice = double(cloud.alice);
        QThreadPool pool;
        pool.setMaxThreadCount(8);
        QList<QFuture<QString>> futures;
        for (int t = 0; t < 8; ++t) {
            futures << QtConcurrent::run(&pool, [t, alice, staging, mqid, pid, xzlj]() -> QString {
                for (int i = 0; i < 6; ++i) {
                    const QString name = QStringLiteral("t%1-%2.GCFG").arg(t).arg(i);
                    const QString local = staging + "/up/" + name;
                    if (!writeFile(local, name.toUtf8()))
                        return "write " + name;
                    const QJsonObject info = parse(ServicesUtil::AsyncReplyLoop(bytes(uploadInfo(mqid, name, pid, 1, ".GCFG"))));
                    if (info.value("code").toInt(-1) != 0)
                        return "info " + info.value("msg").toString();
                    const QJsonObject up = parse(ServicesUtil::AsyncReplyLoop(bytes(uploadFile(info.value("data").toObject(), local, mqid))));
                    if (up.value("code").toInt(-1) != 0)
                        return "upload " + up.value("msg").toString();
                    const QJsonObject tree = parse(ServicesUtil::AsyncReplyLoop(bytes(personTree(alice))));
                    if (find(tree.value("data").toObject().value("data").toArray(), name).isEmpty())
                        return "missing " + name;
                    const QString target = staging + QStringLiteral("/down/%1/a.GCFG").arg(t);
                    const QJsonObject down = parse(ServicesUtil::AsyncReplyLoop(bytes(download("a.GCFG", target, xzlj))));
                    if (down.value("code").toInt(-1) != 0 || readAll(target) != "alice's a")
                        return "download " + down.value("msg").toString();
                }
                return QString();
            });
        }
        for (auto& fut : futures)
            QCOMPARE(fut.result(), QString());
        const QJsonArray level = find(parse(ServicesUtil::AsyncReplyLoop(bytes(personTree(double(cloud.alice)))))
                                          .value("data").toObject().value("data").toArray(), "设计")
                                     .value("xjdata")
                                     .toArray();
        QCOMPARE(level.size(), 1 + 8 * 6);
        QCOMPARE(SharedInterfaceTesting::cloudRequests().size(), 8 * 6 * 4 + 1);
    }
};

QTEST_GUILESS_MAIN(tst_clouddisk_channel)
#include "tst_clouddisk_channel.moc"
