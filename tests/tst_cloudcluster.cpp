// One cloud served by two clouddiskd on one PostgreSQL database and one
// contents folder, behind nginx with the configuration of deploy/: any
// instance answers any session, the dialog works through the front, an
// instance killed during uploads loses nothing it acknowledged, same-name
// uploads through both at once leave one whole node, and a password change
// ends the sessions every instance honours. PostgreSQL, nginx and the
// instances are started and stopped here, on a Unix socket and 127.0.0.1.
#include "clouddisksupport.h"
#include "cloudscript.h"
#include "cloudserversupport.h"
#include "clustersupport.h"
#include "httpclient.h"
#include "testsupport.h"

#include "CloudHttp_p.h"
#include "FirstPageService.h"
#include "HostServices.h"
#include "Users.h"
#include "dialogs/OpenProject.h"
#include "dialogs/SaveProject.h"
#include "zBaseLineEdit.h"
#include "zFileDialogUi.h"

#include <QElapsedTimer>
#include <QMutex>
#include <QRandomGenerator>
#include <QSet>
#include <QtTest>

#include <atomic>
#include <thread>

using namespace cloudtest;
using namespace clustersupport;
namespace http = clouddisk::http;

namespace {

using httpclient::Reply;

// The cloud's forms over one kept connection.
class Client : public httpclient::Client
{
public:
    explicit Client(const QString& base, const QString& caFile = QString(), const QByteArray& from = QByteArray())
        : httpclient::Client(base.toUtf8(), caFile, from)
    {
    }

    // ---- the cloud's forms
    QString login(const QString& name, const QString& password)
    {
        const Reply r = post(http::kLoginPath, bytes(QJsonObject{{"name", name}, {"password", password}}));
        return QJsonDocument::fromJson(r.body).object().value("token").toString();
    }
    QJsonObject request(const QString& token, const QJsonObject& envelope, long* status = nullptr)
    {
        const Reply r = post(http::kRequestPath, bytes(envelope), {"Authorization: Bearer " + token.toUtf8()});
        if (status)
            *status = r.status;
        return r.status ? QJsonDocument::fromJson(r.body).object() : QJsonObject{{"code", -1}};
    }
    // Uploads through this client with a ticket it asks for itself. "code"
    // 0 is the instance's word that the contents are stored.
    QJsonObject upload(const QString& token, qint64 user, const QString& folderId, const QString& name,
                       const QByteArray& contents)
    {
        const QString mqid = QString::number(user);
        const QJsonObject info =
            request(token, personalUploadInfo(name, folderId, contents.size(), QStringLiteral(".GCFG"), mqid));
        if (info.value("code").toInt(-1) != 0)
            return info;
        const QJsonObject file = personalUploadFile(info.value("data").toObject(), QStringLiteral("/tmp/x"), mqid);
        const Reply r = post(http::kUploadPath, contents,
                             {"Authorization: Bearer " + token.toUtf8(),
                              QByteArray(http::kEnvelopeHeader) + ": " + http::encodeEnvelopeHeader(file)},
                             http::kContentsType);
        return r.status == 200 ? QJsonDocument::fromJson(r.body).object() : QJsonObject{{"code", -1}};
    }
    // The contents of a node; null when refused.
    QByteArray download(const QString& token, const QJsonObject& node)
    {
        const Reply r = post(http::kDownloadPath,
                             bytes(cloudtest::download(node.value("wjjmc").toString(), QStringLiteral("/tmp/x"),
                                                       node.value("xzlj").toString())),
                             {"Authorization: Bearer " + token.toUtf8()});
        return r.status == 200 && r.type == http::kContentsType ? r.body : QByteArray();
    }

};

QByteArray randomBytes(int size, quint32 seed)
{
    QByteArray out(size, Qt::Uninitialized);
    QRandomGenerator gen(seed);
    for (int i = 0; i < size; ++i)
        out[i] = char(gen.generate());
    return out;
}

template <typename Base>
class Probe : public Base
{
public:
    using zFileDialog::ui;
};

// The personal root's children of a tree reply, by name.
QHash<QString, QJsonObject> childrenByName(const QJsonObject& tree)
{
    QHash<QString, QJsonObject> out;
    for (const QJsonValue& v : rootNode(tree).value("xjdata").toArray())
        out.insert(v.toObject().value("wjjmc").toString(), v.toObject());
    return out;
}

} // namespace

class TestCloudCluster : public QObject
{
    Q_OBJECT

private:
    Postgres m_pg;
    Nginx m_front;
    QTemporaryDir m_data;
    QTemporaryDir m_certs;
    QString m_db;
    std::unique_ptr<Server> m_a, m_b;
    int m_frontPort = 0;
    qint64 m_alice = -1;
    QString m_aliceRoot;

    QString frontUrl() const { return QStringLiteral("https://127.0.0.1:%1").arg(m_frontPort); }
    QString ca() const { return m_certs.path() + QStringLiteral("/cert.pem"); }
    std::unique_ptr<Server> instance()
    {
        // The front names each host in X-Forwarded-For.
        auto s = std::make_unique<Server>(m_data.path(), QStringList{QStringLiteral("--db"), m_db,
                                                                     QStringLiteral("--trusted-proxy"),
                                                                     QStringLiteral("127.0.0.1")});
        return s->start() ? std::move(s) : nullptr;
    }
    // deploy/nginx.conf with this test's instances, port and certificate.
    QString site() const
    {
        return frontSite(QStringLiteral(PFD_SOURCE_DIR "/deploy/nginx.conf"), {m_a->port(), m_b->port()}, m_frontPort,
                         m_certs.path());
    }

private slots:
    void initTestCase()
    {
        if (!m_pg.start()) {
            if (m_pg.missing())
                QSKIP(qPrintable(m_pg.why()));
            QFAIL(qPrintable(m_pg.why()));
        }
        if (Nginx::program().isEmpty())
            QSKIP("nginx is not installed (scripts/setup-debian.sh installs it)");
        QVERIFY2(m_pg.createDatabase(QStringLiteral("cloud")), qPrintable(m_pg.why()));
        m_db = m_pg.url(QStringLiteral("cloud"));
        {
            QString error;
            auto service = clouddisk::Service::open(m_data.path(), m_db, &error);
            QVERIFY2(service, qPrintable(error));
            m_alice = service->addUser(QStringLiteral("alice"), QStringLiteral("alice-pw"));
            QVERIFY(m_alice > 0);
            QVERIFY(service->addUser(QStringLiteral("bob"), QStringLiteral("bob-pw")) > 0);
            m_aliceRoot = QString::number(service->personalRoot(m_alice));
        }
        m_a = instance();
        m_b = instance();
        QVERIFY(m_a && m_b);
        QString why;
        QVERIFY2(makeCertificate(m_certs.path(), &why), qPrintable(why));
        const QString conf = [this] {
            m_frontPort = freePort();
            return site();
        }();
        QVERIFY(!conf.isEmpty());
        QVERIFY2(m_front.start(conf, m_frontPort), qPrintable(m_front.why()));
    }

    void cleanupTestCase()
    {
        m_front.stop();
        if (m_a)
            QVERIFY(m_a->stop());
        if (m_b)
            QVERIFY(m_b->stop());
        m_pg.stop();
    }

    void signedInOnOneServedByTheOther()
    {
        Client a(m_a->url()), b(m_b->url());
        const QString token = a.login(QStringLiteral("alice"), QStringLiteral("alice-pw"));
        QVERIFY(!token.isEmpty());
        long status = 0;
        const QJsonObject tree = b.request(token, personalTree(m_alice), &status);
        QCOMPARE(status, 200L);
        QCOMPARE(tree.value("code").toInt(-1), 0);
        QCOMPARE(rootNode(tree).value("wjjmc").toString(), QStringLiteral("根目录"));
        const QByteArray contents = randomBytes(300 * 1024, 1);
        const QJsonObject stored = b.upload(token, m_alice, m_aliceRoot, QStringLiteral("two.GCFG"), contents);
        QCOMPARE(stored.value("code").toInt(-1), 0);
        // Listed and downloaded through the other one.
        const QJsonObject node = childrenByName(a.request(token, personalTree(m_alice))).value("two.GCFG");
        QCOMPARE(qint64(node.value("wjdx").toDouble()), qint64(contents.size()));
        QCOMPARE(a.download(token, node), contents);
        QCOMPARE(b.download(token, node), contents);
    }

    void frontAnswersOverTlsAndKeepsTheConnection()
    {
        // Only TLS with the certificate the front was given; plain HTTP and
        // an unknown certificate are turned away.
        Client untrusted(frontUrl());
        QCOMPARE(untrusted.post(http::kLoginPath, "{}").status, 0L);
        Client front(frontUrl(), ca());
        const QString token = front.login(QStringLiteral("alice"), QStringLiteral("alice-pw"));
        QVERIFY(!token.isEmpty());
        // Requests spread over both instances, on one connection to the front.
        for (int i = 0; i < 20; ++i) {
            QCOMPARE(front.request(token, personalTree(m_alice)).value("code").toInt(-1), 0);
            QCOMPARE(front.newConnections(), 0L);
        }
        // A body that arrives slowly is gathered by the front first.
        const QByteArray contents = randomBytes(3 * 1024 * 1024, 2);
        QCOMPARE(front.upload(token, m_alice, m_aliceRoot, QStringLiteral("front.GCFG"), contents).value("code").toInt(-1), 0);
        const QJsonObject node = childrenByName(front.request(token, personalTree(m_alice))).value("front.GCFG");
        QCOMPARE(front.download(token, node), contents);
    }

    void hostsBehindTheFrontAreToldApart()
    {
        // One host guesses at names through the front: each instance sees
        // four of its eight failures and slows it (0, 0.5, 1, 2 s)...
        Client guesser(frontUrl(), ca(), "127.1.0.1");
        for (int i = 0; i < 8; ++i)
            QVERIFY(guesser.login(QStringLiteral("guess%1").arg(i), QStringLiteral("x")).isEmpty());
        // ... while another host signs in through it at once, though the
        // instances see both come from the front's address (they would make
        // it wait 4 s if they could not tell them apart).
        Client colleague(frontUrl(), ca(), "127.1.0.2");
        QElapsedTimer t;
        t.start();
        QVERIFY(!colleague.login(QStringLiteral("alice"), QStringLiteral("alice-pw")).isEmpty());
        QVERIFY2(t.elapsed() < 2500, qPrintable(QString::number(t.elapsed())));
    }

    void dialogOpensAndSavesThroughTheFront()
    {
        // The host trusts the front's own certificate through PFD_CLOUD_CA.
        QTemporaryDir home;
        cloudscript::useHome(home);
        testsupport::AppDir app;
        cloudscript::resetHost(true);
        mqcoreTesting::reset();
        qputenv("PFD_CLOUD_CA", QFile::encodeName(ca()));
        SharedInterfaceTesting::setHostValue(QStringLiteral("云盘服务地址"), frontUrl());
        QString why;
        QVERIFY2(osgi::SignIn(QStringLiteral("alice"), QStringLiteral("alice-pw"), &why), qPrintable(why));
        zFileDialog::isIopen = false;
        {
            Probe<SaveProject> s;
            s.onPersonYunButton();
            s.ui->tableView->clearSelection();
            s.ui->fileNameEdit->setText(QStringLiteral("经前端.GCFG"));
            s.onOkButton();
            const QString staged = s.resultPath();
            QVERIFY(!staged.isEmpty());
            QFile f(staged);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("through the front");
            f.close();
            QVERIFY(zFileDialog::SaveToYunPanData(staged));
            QCOMPARE(cloudscript::lastBox().text, QStringLiteral("保存云文件成功！"));
        }
        zFileDialog::isIopen = true;
        {
            Probe<OpenProject> o;
            o.onPersonYunButton();
            cloudscript::choose(o, {"经前端.GCFG"});
            QCOMPARE(cloudscript::contentOf(o.resultPath()), QByteArray("through the front"));
        }
        ServicesUtil::CloudLogout();
        SharedInterfaceTesting::reset();
        qunsetenv("PFD_CLOUD_CA");
        cloudscript::releaseHost();
    }

    void sameNameUploadsThroughBothLeaveOneWholeNode()
    {
        Client a(m_a->url()), b(m_b->url());
        const QString token = a.login(QStringLiteral("alice"), QStringLiteral("alice-pw"));
        QVERIFY(!token.isEmpty());
        for (int round = 0; round < 40; ++round) {
            const QString name = QStringLiteral("race-%1.GCFG").arg(round);
            const QByteArray first = randomBytes(64 * 1024 + round, 100 + quint32(round));
            const QByteArray second = randomBytes(96 * 1024 + round, 200 + quint32(round));
            QJsonObject gotA, gotB;
            std::thread other([&] { gotB = b.upload(token, m_alice, m_aliceRoot, name, second); });
            gotA = a.upload(token, m_alice, m_aliceRoot, name, first);
            other.join();
            const bool storedA = gotA.value("code").toInt(-1) == 0;
            const bool storedB = gotB.value("code").toInt(-1) == 0;
            QVERIFY2(storedA || storedB, qPrintable(QString::fromUtf8(bytes(gotA) + bytes(gotB))));
            int nodes = 0;
            QJsonObject node;
            for (const QJsonValue& v : rootNode(a.request(token, personalTree(m_alice))).value("xjdata").toArray()) {
                if (v.toObject().value("wjjmc").toString() == name) {
                    ++nodes;
                    node = v.toObject();
                }
            }
            QCOMPARE(nodes, 1);
            const QByteArray got = b.download(token, node);
            QVERIFY2((storedA && got == first) || (storedB && got == second), qPrintable(name));
            QCOMPARE(qint64(node.value("wjdx").toDouble()), qint64(got.size()));
        }
    }

    void passwordChangeEndsTheSessionOnEveryInstance()
    {
        Client a(m_a->url()), b(m_b->url());
        const QString token = b.login(QStringLiteral("bob"), QStringLiteral("bob-pw"));
        QVERIFY(!token.isEmpty());
        QString error;
        {
            // The operator changes it with the admin tool on the shared
            // records, as on any machine of the cloud.
            QProcess ctl;
            ctl.start(CLOUDDISKCTL, {"--db", m_db, "--data", m_data.path(), "user", "passwd", "bob", "new-pw"});
            QVERIFY(ctl.waitForFinished(60000));
            QCOMPARE(ctl.exitCode(), 0);
        }
        long status = 0;
        a.request(token, personalTree(1), &status);
        QCOMPARE(status, 401L);
        b.request(token, personalTree(1), &status);
        QCOMPARE(status, 401L);
        QVERIFY(a.login(QStringLiteral("bob"), QStringLiteral("bob-pw")).isEmpty());
        QVERIFY(!a.login(QStringLiteral("bob"), QStringLiteral("new-pw")).isEmpty());
    }

    void killedInstanceLosesNothingAcknowledged()
    {
        Client front(frontUrl(), ca());
        const QString token = front.login(QStringLiteral("alice"), QStringLiteral("alice-pw"));
        QVERIFY(!token.isEmpty());
        QMutex mutex;
        QHash<QString, QByteArray> acknowledged;
        std::atomic<int> afterKill{0};
        std::atomic<bool> killed{false};
        std::atomic<bool> stop{false};
        std::vector<std::thread> senders;
        for (int t = 0; t < 4; ++t) {
            senders.emplace_back([&, t] {
                Client c(frontUrl(), ca());
                for (int i = 0; !stop; ++i) {
                    const QString name = QStringLiteral("kill-%1-%2.GCFG").arg(t).arg(i);
                    const QByteArray contents = randomBytes(32 * 1024 + 1024 * (i % 200), quint32(t * 100000 + i));
                    const bool wasKilled = killed;
                    if (c.upload(token, m_alice, m_aliceRoot, name, contents).value("code").toInt(-1) == 0) {
                        QMutexLocker lock(&mutex);
                        acknowledged.insert(name, contents);
                        if (wasKilled)
                            ++afterKill;
                    }
                }
            });
        }
        QThread::msleep(1500);
        m_a->kill();
        killed = true;
        QThread::msleep(2500);
        stop = true;
        for (std::thread& s : senders)
            s.join();
        QVERIFY(acknowledged.size() > 10);
        // The other instance went on serving through the front.
        QVERIFY2(afterKill > 5, qPrintable(QString::number(afterKill)));
        // Every upload that was answered as stored is there, whole.
        const QHash<QString, QJsonObject> nodes = childrenByName(front.request(token, personalTree(m_alice)));
        for (auto it = acknowledged.constBegin(); it != acknowledged.constEnd(); ++it) {
            QVERIFY2(nodes.contains(it.key()), qPrintable(it.key()));
            QCOMPARE(front.download(token, nodes.value(it.key())), it.value());
        }
        // And the instance comes back on the same records.
        m_a = instance();
        QVERIFY(m_a);
    }
};

QTEST_MAIN(TestCloudCluster)
#include "tst_cloudcluster.moc"
