// clouddiskd over HTTPS: the server serves with a certificate and key made
// here by a test authority; the host's transport trusts what the host names
// (the value "云盘服务证书") and refuses, with a clear log line, a server whose
// certificate names another host, comes from an authority it does not
// trust, or has expired. Plain http goes to this machine only unless the
// host allows it.
#include "cloudserversupport.h"
#include "tlssupport.h"

#include "CloudTransport.h"
#include "TransportChoice.h"

#include <QBuffer>
#include <QtTest>

using namespace cloudtest;

namespace {

int codeOf(const QJsonObject& reply)
{
    return reply.value(QLatin1String("code")).toInt(0);
}

} // namespace

class TestCloudTls : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_data;
    tlstest::Pki m_pki;
    qint64 m_alice = -1;
    QStringList m_log;

    clouddisk::HttpSettings trusting(const QString& authority)
    {
        clouddisk::HttpSettings s;
        s.caFile = authority.isEmpty() ? QString() : m_pki.pem(authority);
        s.log = [this](const QString& line) { m_log << line; };
        return s;
    }

    // Signs in to a server serving `certificate` at `host` (the URL's host
    // name) trusting `authority`; the refusal's message, or empty on success.
    QString signInTo(const QString& certificate, const QString& authority, const QString& host = QString())
    {
        Server server(m_data.path(), m_pki.serverArgs(certificate));
        if (!server.start())
            return QStringLiteral("server did not start: ") + QString::fromLocal8Bit(server.errors());
        QString url = server.url();
        if (!host.isEmpty())
            url.replace(QStringLiteral("127.0.0.1"), host);
        auto t = clouddisk::makeHttpTransport(url, trusting(authority));
        const clouddisk::LoginResult r = t->login(QStringLiteral("alice"), QStringLiteral("a-pass"));
        server.stop();
        return r.ok ? QString() : r.message;
    }

private slots:
    void initTestCase()
    {
        if (!m_pki.usable())
            QSKIP("no openssl command");
        QVERIFY(m_data.isValid());
        m_alice = addUser(m_data.path(), QStringLiteral("alice"), QStringLiteral("a-pass"));
        QVERIFY(m_alice > 0);
        QVERIFY2(m_pki.makeAuthority(QStringLiteral("team-ca")), qPrintable(m_pki.lastError()));
        QVERIFY2(m_pki.makeAuthority(QStringLiteral("stranger-ca")), qPrintable(m_pki.lastError()));
        QVERIFY(m_pki.makeServer(QStringLiteral("good"), QStringLiteral("team-ca"),
                                 QStringLiteral("IP:127.0.0.1,DNS:localhost")));
        QVERIFY(m_pki.makeServer(QStringLiteral("other-name"), QStringLiteral("team-ca"),
                                 QStringLiteral("DNS:cloud.elsewhere.example")));
        QVERIFY(m_pki.makeServer(QStringLiteral("untrusted"), QStringLiteral("stranger-ca"),
                                 QStringLiteral("IP:127.0.0.1,DNS:localhost")));
        QVERIFY(m_pki.makeServer(QStringLiteral("expired"), QStringLiteral("team-ca"),
                                 QStringLiteral("IP:127.0.0.1,DNS:localhost"), -1));
    }

    void init() { m_log.clear(); }

    void httpsEndToEnd()
    {
        Server server(m_data.path(), m_pki.serverArgs(QStringLiteral("good")));
        QVERIFY2(server.start(), server.errors().constData());
        QVERIFY(server.url().startsWith(QLatin1String("https://")));
        auto t = clouddisk::makeHttpTransport(server.url(), trusting(QStringLiteral("team-ca")));
        QVERIFY(t->login(QStringLiteral("alice"), QStringLiteral("a-pass")).ok);
        const QJsonObject tree = t->request(personalTree(m_alice));
        QCOMPARE(codeOf(tree), 0);
        const QString root = rootNode(tree).value(QLatin1String("wjjid")).toString();
        const QString mqid = QString::number(m_alice);
        QByteArray contents(3 * 1024 * 1024 + 11, Qt::Uninitialized);
        for (int i = 0; i < contents.size(); ++i)
            contents[i] = char(i * 7);
        const QJsonObject info =
            t->request(personalUploadInfo(QStringLiteral("加密.GCFG"), root, contents.size(), QStringLiteral(".GCFG"), mqid));
        QCOMPARE(codeOf(info), 0);
        QBuffer source;
        source.setData(contents);
        source.open(QIODevice::ReadOnly);
        QCOMPARE(codeOf(t->upload(personalUploadFile(info.value(QLatin1String("data")).toObject(),
                                                     QStringLiteral("/tmp/x"), mqid),
                                  &source)),
                 0);
        const QJsonObject node = childNamed(t->request(personalTree(m_alice)), QStringLiteral("加密.GCFG"));
        QBuffer sink;
        sink.open(QIODevice::WriteOnly);
        QCOMPARE(codeOf(t->download(download(QStringLiteral("加密.GCFG"), QStringLiteral("/tmp/y"),
                                             node.value(QLatin1String("xzlj")).toString()),
                                    &sink)),
                 0);
        QVERIFY(sink.data() == contents);
        QVERIFY(m_log.isEmpty());
        QVERIFY(server.stop());
    }

    void localhostNameIsAcceptedWhenTheCertificateNamesIt()
    {
        QCOMPARE(signInTo(QStringLiteral("good"), QStringLiteral("team-ca"), QStringLiteral("localhost")), QString());
    }

    void certificateForAnotherHostIsRefused()
    {
        const QString why = signInTo(QStringLiteral("other-name"), QStringLiteral("team-ca"));
        QVERIFY2(why.contains(QStringLiteral("证书未通过验证")), qPrintable(why));
        QCOMPARE(m_log.size(), 1);
        qInfo("%s", qPrintable(m_log.first()));
        QVERIFY2(m_log.first().contains(QStringLiteral("证书未通过验证")) && m_log.first().contains(QLatin1String("https://127.0.0.1:")),
                 qPrintable(m_log.first()));
        QVERIFY2(m_log.first().contains(QLatin1String("name"), Qt::CaseInsensitive), qPrintable(m_log.first()));
    }

    void certificateFromAnUntrustedAuthorityIsRefused()
    {
        const QString why = signInTo(QStringLiteral("untrusted"), QStringLiteral("team-ca"));
        QVERIFY2(why.contains(QStringLiteral("证书未通过验证")), qPrintable(why));
        QCOMPARE(m_log.size(), 1);
        qInfo("%s", qPrintable(m_log.first()));
        QVERIFY2(m_log.first().contains(QLatin1String("issuer"), Qt::CaseInsensitive), qPrintable(m_log.first()));
    }

    void certificateOfTheSystemStoreOnlyIsNotEnoughForATestAuthority()
    {
        // No CA file: the system's store, which does not know the test's.
        const QString why = signInTo(QStringLiteral("good"), QString());
        QVERIFY2(why.contains(QStringLiteral("证书未通过验证")), qPrintable(why));
        QCOMPARE(m_log.size(), 1);
    }

    void expiredCertificateIsRefused()
    {
        const QString why = signInTo(QStringLiteral("expired"), QStringLiteral("team-ca"));
        QVERIFY2(why.contains(QStringLiteral("证书未通过验证")), qPrintable(why));
        QCOMPARE(m_log.size(), 1);
        qInfo("%s", qPrintable(m_log.first()));
        QVERIFY2(m_log.first().contains(QLatin1String("expired"), Qt::CaseInsensitive), qPrintable(m_log.first()));
    }

    void serverRefusesAKeyThatIsNotTheCertificates()
    {
        Server server(m_data.path(), {QStringLiteral("--tls-cert"), m_pki.pem(QStringLiteral("good")),
                                      QStringLiteral("--tls-key"), m_pki.key(QStringLiteral("expired"))});
        QVERIFY(!server.start());
        Server missing(m_data.path(), {QStringLiteral("--tls-cert"), m_pki.pem(QStringLiteral("good"))});
        QVERIFY(!missing.start());
    }

    void plainHttpToAnotherMachineIsRefusedAndLogged()
    {
        // Nothing listens there; the refusal comes before any connection.
        auto t = clouddisk::makeHttpTransport(QStringLiteral("http://192.0.2.10:8765"), trusting(QString()));
        const clouddisk::LoginResult r = t->login(QStringLiteral("alice"), QStringLiteral("a-pass"));
        QVERIFY(!r.ok);
        QVERIFY2(r.message.contains(QStringLiteral("不加密的 http")), qPrintable(r.message));
        QVERIFY(codeOf(t->request(personalTree(m_alice))) != 0);
        QCOMPARE(m_log.size(), 1);
        qInfo("%s", qPrintable(m_log.first()));
        QVERIFY(m_log.first().contains(QStringLiteral("拒绝以不加密的 http 连接 http://192.0.2.10:8765")));
    }

    void plainHttpToAnotherMachineGoesWhenTheHostAllowsIt()
    {
        clouddisk::HttpSettings s = trusting(QString());
        s.allowPlainHttp = true;
        // A port of this machine's own under another of its names would be
        // loopback; an address of a documentation network is not, and is
        // tried (and fails to connect, quickly: nothing routes there).
        auto t = clouddisk::makeHttpTransport(QStringLiteral("http://192.0.2.10:1"), s);
        QCOMPARE(m_log.size(), 1);
        QVERIFY(m_log.first().contains(QStringLiteral("允许")));
        Q_UNUSED(t)
    }

    void loopbackAddressesArePlainHttpsExceptions_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("loopback");
        QTest::newRow("127.0.0.1") << "http://127.0.0.1:8765" << true;
        QTest::newRow("127.8.9.10") << "http://127.8.9.10:8765" << true;
        QTest::newRow("localhost") << "http://localhost:8765" << true;
        QTest::newRow("::1") << "http://[::1]:8765" << true;
        QTest::newRow("::1 spelt out") << "http://[0:0:0:0:0:0:0:1]:8765" << true;
        QTest::newRow("10.0.0.2") << "http://10.0.0.2:8765" << false;
        QTest::newRow("128.0.0.1") << "http://128.0.0.1:8765" << false;
        QTest::newRow("name") << "http://cloud.example:8765" << false;
        QTest::newRow("localhost.example") << "http://localhost.example:8765" << false;
        QTest::newRow("::2") << "http://[::2]:8765" << false;
        QTest::newRow("127.0.0.1.example") << "http://127.0.0.1.example:8765" << false;
    }

    void loopbackAddressesArePlainHttpsExceptions()
    {
        QFETCH(QString, url);
        QFETCH(bool, loopback);
        QCOMPARE(clouddisk::isLoopbackUrl(url), loopback);
    }

    void settingsComeFromHostValuesThenEnvironment()
    {
        qunsetenv(clouddisk::kServiceCaEnv);
        qunsetenv(clouddisk::kAllowPlainHttpEnv);
        QCOMPARE(clouddisk::chooseHttpSettings(QString(), QString()).caFile, QString());
        QCOMPARE(clouddisk::chooseHttpSettings(QString(), QString()).allowPlainHttp, false);
        QCOMPARE(clouddisk::chooseHttpSettings(QStringLiteral(" /etc/ca.pem "), QStringLiteral("1")).caFile,
                 QStringLiteral("/etc/ca.pem"));
        QCOMPARE(clouddisk::chooseHttpSettings(QString(), QStringLiteral("是")).allowPlainHttp, true);
        QCOMPARE(clouddisk::chooseHttpSettings(QString(), QStringLiteral("0")).allowPlainHttp, false);
        qputenv(clouddisk::kServiceCaEnv, "/opt/team-ca.pem");
        qputenv(clouddisk::kAllowPlainHttpEnv, "1");
        QCOMPARE(clouddisk::chooseHttpSettings(QString(), QString()).caFile, QStringLiteral("/opt/team-ca.pem"));
        QCOMPARE(clouddisk::chooseHttpSettings(QString(), QString()).allowPlainHttp, true);
        QCOMPARE(clouddisk::chooseHttpSettings(QStringLiteral("/etc/ca.pem"), QStringLiteral("0")).caFile,
                 QStringLiteral("/etc/ca.pem"));
        QCOMPARE(clouddisk::chooseHttpSettings(QStringLiteral("/etc/ca.pem"), QStringLiteral("0")).allowPlainHttp, false);
        qunsetenv(clouddisk::kServiceCaEnv);
        qunsetenv(clouddisk::kAllowPlainHttpEnv);
    }
};

QTEST_GUILESS_MAIN(TestCloudTls)
#include "tst_cloudtls.moc"
