// clouddiskd over HTTP on 127.0.0.1: the forms outside tools rely on, the
// HTTP transport end to end, and bad clients (no or a wrong token, someone
// else's id, malformed and huge bodies, a sender that vanishes mid-upload)
// that must leave the server running and the tree as it was.
#include "cloudserversupport.h"

#include "CloudHttp_p.h"
#include "CloudTransport.h"
#include "HostServices.h"
#include "SharedInterfaceTesting.h"
#include "TransportChoice.h"

#include <curl/curl.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QBuffer>
#include <QDir>
#include <QDirIterator>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <functional>
#include <thread>
#include <optional>

using namespace cloudtest;
namespace http = clouddisk::http;

namespace {

QJsonObject parse(const std::string& body)
{
    return QJsonDocument::fromJson(QByteArray::fromStdString(body)).object();
}

int codeOf(const QJsonObject& reply)
{
    return reply.value(QLatin1String("code")).toInt(0);
}

QByteArray randomBytes(qint64 size, quint32 seed)
{
    QByteArray out(int(size), Qt::Uninitialized);
    QRandomGenerator gen(seed);
    gen.fillRange(reinterpret_cast<quint32*>(out.data()), int(size / 4));
    for (qint64 i = size / 4 * 4; i < size; ++i)
        out[int(i)] = char(gen.generate());
    return out;
}

// Every file under dir with its size, for "nothing changed on disk".
QStringList filesUnder(const QString& dir)
{
    QStringList out;
    QDirIterator it(dir, QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        // The journal of the database grows and shrinks by itself.
        if (it.fileName().endsWith(QLatin1String("-wal")) || it.fileName().endsWith(QLatin1String("-shm")))
            continue;
        out << it.filePath().mid(dir.size()) + QLatin1Char(' ') + QString::number(it.fileInfo().size());
    }
    out.sort();
    return out;
}

// A raw HTTP client playing the outside tools: exact paths, headers and
// bodies, nothing of the transport's own.
struct RawReply
{
    long status = 0;
    std::string body;
};
using RawResult = std::optional<RawReply>;
using RawHeaders = std::vector<std::string>;

class RawClient
{
public:
    explicit RawClient(int port)
        : m_base("http://127.0.0.1:" + std::to_string(port))
    {
    }

    RawResult post(const std::string& path, const RawHeaders& headers, const std::string& body,
                   const std::string& type) const
    {
        return perform(path, headers, type, [&](CURL* c) {
            curl_easy_setopt(c, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(body.size()));
            curl_easy_setopt(c, CURLOPT_POSTFIELDS, body.data());
        });
    }
    RawResult post(const std::string& path, const std::string& body, const std::string& type) const
    {
        return post(path, {}, body, type);
    }

    // Announces `size` bytes and sends what `next` gives until it returns
    // false, which drops the connection.
    RawResult postStreamed(const std::string& path, const RawHeaders& headers, qint64 size,
                           std::function<bool(std::string*)> next) const
    {
        std::string piece;
        size_t taken = 0;
        auto feed = [&](char* out, size_t room) -> size_t {
            if (taken == piece.size()) {
                piece.clear();
                taken = 0;
                if (!next(&piece))
                    return CURL_READFUNC_ABORT;
            }
            const size_t n = std::min(room, piece.size() - taken);
            memcpy(out, piece.data() + taken, n);
            taken += n;
            return n;
        };
        using Feed = decltype(feed);
        return perform(path, headers, "application/octet-stream", [&](CURL* c) {
            curl_easy_setopt(c, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(size));
            curl_easy_setopt(c, CURLOPT_READFUNCTION, +[](char* out, size_t, size_t room, void* f) {
                return (*static_cast<Feed*>(f))(out, room);
            });
            curl_easy_setopt(c, CURLOPT_READDATA, &feed);
        });
    }

private:
    RawResult perform(const std::string& path, const RawHeaders& headers, const std::string& type,
                      const std::function<void(CURL*)>& setBody) const
    {
        CURL* c = curl_easy_init();
        curl_slist* list = curl_slist_append(nullptr, ("Content-Type: " + type).c_str());
        list = curl_slist_append(list, "Expect:");
        for (const std::string& h : headers)
            list = curl_slist_append(list, h.c_str());
        RawReply reply;
        curl_easy_setopt(c, CURLOPT_URL, (m_base + path).c_str());
        curl_easy_setopt(c, CURLOPT_PROXY, "");
        curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(c, CURLOPT_TIMEOUT, 30L);
        curl_easy_setopt(c, CURLOPT_POST, 1L);
        curl_easy_setopt(c, CURLOPT_HTTPHEADER, list);
        curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, +[](char* data, size_t, size_t n, void* out) {
            static_cast<std::string*>(out)->append(data, n);
            return n;
        });
        curl_easy_setopt(c, CURLOPT_WRITEDATA, &reply.body);
        setBody(c);
        const CURLcode rc = curl_easy_perform(c);
        curl_easy_getinfo(c, CURLINFO_RESPONSE_CODE, &reply.status);
        curl_easy_cleanup(c);
        curl_slist_free_all(list);
        if (rc != CURLE_OK)
            return std::nullopt;
        return reply;
    }

    std::string m_base;
};

std::string bearer(const QString& token)
{
    return "Authorization: Bearer " + token.toStdString();
}

} // namespace

class TestCloudHttp : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_data;
    std::unique_ptr<Server> m_server;
    qint64 m_alice = -1;
    qint64 m_bob = -1;
    // Sessions for looking at the trees; logins are slow on purpose.
    QString m_aliceToken;
    QString m_bobToken;

    // Raw clients play outside tools. Callers hold a NoBrokenPipeSignal: a
    // refused sender may find the connection closed under it. The transport
    // must look after that itself, so it is not blocked for the whole test.
    RawClient client() const
    {
        return RawClient(m_server->port());
    }

    QString loginToken(const QString& name, const QString& password) const
    {
        const clouddisk::http::NoBrokenPipeSignal quiet;
        const QJsonObject body{{QStringLiteral("name"), name}, {QStringLiteral("password"), password}};
        auto res = client().post("/login", bytes(body).toStdString(), "application/json");
        return res ? parse(res->body).value(QLatin1String("token")).toString() : QString();
    }

    // POSTs an envelope to /clouddisk with the given token (none if empty).
    QJsonObject post(const QByteArray& body, const QString& token, int* status = nullptr) const
    {
        const clouddisk::http::NoBrokenPipeSignal quiet;
        RawHeaders headers;
        if (!token.isEmpty())
            headers.push_back(bearer(token));
        auto res = client().post("/clouddisk", headers, body.toStdString(), "application/json");
        if (status)
            *status = res ? res->status : -1;
        return res ? parse(res->body) : QJsonObject{{QStringLiteral("code"), -1}};
    }

    QJsonObject aliceTree() const
    {
        return post(bytes(personalTree(m_alice)), m_aliceToken);
    }

    // What an observer can see of the cloud: both users' trees and the files
    // in the data folder.
    QString snapshot() const
    {
        const QJsonObject bobTree = post(bytes(personalTree(m_bob)), m_bobToken);
        return QString::fromUtf8(bytes(aliceTree())) + QString::fromUtf8(bytes(bobTree)) +
               filesUnder(m_data.path()).join(QLatin1Char('\n'));
    }

    // Uploads `contents` as `name` into alice's root through a transport.
    QJsonObject uploadThrough(clouddisk::CloudTransport& t, const QString& name, const QByteArray& contents)
    {
        const QString mqid = QString::number(m_alice);
        const QString root = rootNode(t.request(personalTree(m_alice))).value(QLatin1String("wjjid")).toString();
        const QJsonObject info = t.request(personalUploadInfo(name, root, contents.size(), QStringLiteral(".GCFG"), mqid));
        if (codeOf(info) != 0)
            return info;
        QBuffer source;
        source.setData(contents);
        source.open(QIODevice::ReadOnly);
        return t.upload(personalUploadFile(info.value(QLatin1String("data")).toObject(), QStringLiteral("/tmp/x"), mqid),
                        &source);
    }

    // The headers an outside tool streams an upload of `size` bytes named
    // `name` into alice's root with; the ticket comes through `t`. Empty
    // when the ticket is refused.
    RawHeaders uploadHeaders(clouddisk::CloudTransport& t, const QString& name, qint64 size) const
    {
        const QString mqid = QString::number(m_alice);
        const QString root = rootNode(t.request(personalTree(m_alice))).value(QLatin1String("wjjid")).toString();
        const QJsonObject info = t.request(personalUploadInfo(name, root, size, QStringLiteral(".GCFG"), mqid));
        if (codeOf(info) != 0)
            return {};
        const QJsonObject file =
            personalUploadFile(info.value(QLatin1String("data")).toObject(), QStringLiteral("/tmp/x"), mqid);
        return {bearer(m_aliceToken), "X-Cloud-Envelope: " + http::encodeEnvelopeHeader(file).toStdString()};
    }

    // carol's personal tree: kLargeTreeFiles files with long names, so that
    // its listing is over a megabyte.
    static constexpr int kLargeTreeFiles = 3000;
    bool addLargeTree()
    {
        QTemporaryDir local;
        std::unique_ptr<clouddisk::Service> service = clustersupport::openStore(m_data.path());
        const qint64 carol = service ? service->addUser(QStringLiteral("carol"), QStringLiteral("c-pass")) : -1;
        if (carol < 0)
            return false;
        const QString stem = QString(80, QChar(0x9884)); // "预" times 80
        for (int i = 0; i < kLargeTreeFiles; ++i) {
            QFile f(local.path() + QLatin1Char('/') + stem + QString::number(i) + QStringLiteral(".GCFG"));
            if (!f.open(QIODevice::WriteOnly))
                return false;
        }
        QString error;
        return service->importFolder(service->personalRoot(carol), local.path(), &error) >= 0;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_data.isValid());
        m_alice = addUser(m_data.path(), QStringLiteral("alice"), QStringLiteral("a-pass"));
        m_bob = addUser(m_data.path(), QStringLiteral("bob"), QStringLiteral("b-pass"));
        QVERIFY(m_alice > 0 && m_bob > 0 && m_alice != m_bob);
        QVERIFY(addLargeTree());
        m_server = std::make_unique<Server>(m_data.path());
        QVERIFY2(m_server->start(), m_server->errors().constData());
        m_aliceToken = loginToken(QStringLiteral("alice"), QStringLiteral("a-pass"));
        m_bobToken = loginToken(QStringLiteral("bob"), QStringLiteral("b-pass"));
    }

    void cleanupTestCase()
    {
        if (m_server)
            QVERIFY(m_server->stop());
    }

    void loginAnswersTokenAndUserId()
    {
        const clouddisk::http::NoBrokenPipeSignal quiet;
        auto res = client().post("/login", "{\"name\":\"alice\",\"password\":\"a-pass\"}", "application/json");
        QVERIFY(res);
        const QJsonObject reply = parse(res->body);
        QCOMPARE(reply.value(QLatin1String("code")).toInt(-1), 0);
        QCOMPARE(qint64(reply.value(QLatin1String("userId")).toDouble()), m_alice);
        QVERIFY(reply.value(QLatin1String("token")).isString());
        QVERIFY(reply.value(QLatin1String("token")).toString().size() >= 32);
        // Every login gets its own token.
        QVERIFY(loginToken(QStringLiteral("alice"), QStringLiteral("a-pass")) !=
                reply.value(QLatin1String("token")).toString());
    }

    void loginWithWrongPasswordGivesNoToken_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("wrong password") << QByteArray("{\"name\":\"alice\",\"password\":\"b-pass\"}");
        QTest::newRow("unknown user") << QByteArray("{\"name\":\"carol\",\"password\":\"a-pass\"}");
        QTest::newRow("another's password") << QByteArray("{\"name\":\"bob\",\"password\":\"a-pass\"}");
        QTest::newRow("password not a string") << QByteArray("{\"name\":\"alice\",\"password\":1}");
        QTest::newRow("no password") << QByteArray("{\"name\":\"alice\"}");
        QTest::newRow("not JSON") << QByteArray("name=alice&password=a-pass");
        QTest::newRow("empty") << QByteArray();
    }

    void loginWithWrongPasswordGivesNoToken()
    {
        const clouddisk::http::NoBrokenPipeSignal quiet;
        QFETCH(QByteArray, body);
        auto res = client().post("/login", body.toStdString(), "application/json");
        QVERIFY(res);
        const QJsonObject reply = parse(res->body);
        QVERIFY(reply.contains(QLatin1String("code")));
        QVERIFY(codeOf(reply) != 0);
        QVERIFY(!reply.contains(QLatin1String("token")));
    }

    void requestWithoutTokenIsRefused()
    {
        const QString before = snapshot();
        int status = 0;
        const QJsonObject reply = post(bytes(personalTree(m_alice)), QString(), &status);
        QVERIFY(codeOf(reply) != 0);
        QCOMPARE(status, 401);
        QVERIFY(!reply.contains(QLatin1String("data")));
        QCOMPARE(snapshot(), before);
    }

    void requestWithWrongTokenIsRefused_data()
    {
        QTest::addColumn<QString>("token");
        QTest::newRow("made up") << QStringLiteral("0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef");
        QTest::newRow("garbage") << QStringLiteral("\"; DROP TABLE users; --");
        QTest::newRow("a login's token, cut short") << QStringLiteral("SHORT");
    }

    void requestWithWrongTokenIsRefused()
    {
        QFETCH(QString, token);
        if (token == QLatin1String("SHORT"))
            token = loginToken(QStringLiteral("alice"), QStringLiteral("a-pass")).left(20);
        const QString before = snapshot();
        const QString mqid = QString::number(m_alice);
        int status = 0;
        QVERIFY(codeOf(post(bytes(personalTree(m_alice)), token, &status)) != 0);
        QCOMPARE(status, 401);
        QVERIFY(codeOf(post(bytes(personalUploadInfo(QStringLiteral("a.GCFG"), QStringLiteral("1"), 3,
                                                     QStringLiteral(".GCFG"), mqid)),
                            token)) != 0);
        QCOMPARE(snapshot(), before);
    }

    void loggedOutTokenIsRefused()
    {
        const clouddisk::http::NoBrokenPipeSignal quiet;
        const QString token = loginToken(QStringLiteral("alice"), QStringLiteral("a-pass"));
        QCOMPARE(codeOf(post(bytes(personalTree(m_alice)), token)), 0);
        QVERIFY(client().post("/logout", {bearer(token)}, std::string(), "application/json"));
        QVERIFY(codeOf(post(bytes(personalTree(m_alice)), token)) != 0);
    }

    void someoneElsesMqidIsRefused()
    {
        const QString before = snapshot();
        const QString aliceToken = loginToken(QStringLiteral("alice"), QStringLiteral("a-pass"));
        // Browse requests carry the id as a number, upload requests as a string.
        QVERIFY(codeOf(post(bytes(personalTree(m_bob)), aliceToken)) != 0);
        QVERIFY(codeOf(post(bytes(personalUploadInfo(QStringLiteral("a.GCFG"), QStringLiteral("1"), 3,
                                                     QStringLiteral(".GCFG"), QString::number(m_bob))),
                            aliceToken)) != 0);
        // Alice's own tree stays hers and Bob's id gets nothing of it.
        QCOMPARE(codeOf(post(bytes(personalTree(m_alice)), aliceToken)), 0);
        QCOMPARE(snapshot(), before);
    }

    void transportEndToEnd()
    {
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(m_server->url());
        // Before signing in nothing is answered.
        QVERIFY(codeOf(t->request(personalTree(m_alice))) != 0);
        const clouddisk::LoginResult refused = t->login(QStringLiteral("alice"), QStringLiteral("nope"));
        QVERIFY(!refused.ok);
        QVERIFY(!refused.message.isEmpty());
        const clouddisk::LoginResult login = t->login(QStringLiteral("alice"), QStringLiteral("a-pass"));
        QVERIFY(login.ok);
        QCOMPARE(login.userId, m_alice);

        const QJsonObject tree = t->request(personalTree(m_alice));
        QCOMPARE(codeOf(tree), 0);
        QCOMPARE(rootNode(tree).value(QLatin1String("wjjmc")).toString(), QStringLiteral("根目录"));

        // Larger than one piece of the stream, and not a multiple of it.
        const QByteArray contents = randomBytes(3 * 1024 * 1024 + 17, 7);
        const QJsonObject stored = uploadThrough(*t, QStringLiteral("预算.GCFG"), contents);
        QCOMPARE(codeOf(stored), 0);

        const QJsonObject node = childNamed(t->request(personalTree(m_alice)), QStringLiteral("预算.GCFG"));
        QCOMPARE(node.value(QLatin1String("wjdx")).toDouble(), double(contents.size()));
        const QString xzlj = node.value(QLatin1String("xzlj")).toString();
        QVERIFY(!xzlj.isEmpty());

        QBuffer sink;
        sink.open(QIODevice::WriteOnly);
        const QJsonObject got = t->download(download(QStringLiteral("预算.GCFG"), QStringLiteral("/tmp/y"), xzlj), &sink);
        QCOMPARE(codeOf(got), 0);
        QCOMPARE(sink.data().size(), contents.size());
        QVERIFY(sink.data() == contents);

        t->logout();
        QVERIFY(codeOf(t->request(personalTree(m_alice))) != 0);
    }

    void listingOfOverAMegabyteArrivesWhole()
    {
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(m_server->url());
        const clouddisk::LoginResult login = t->login(QStringLiteral("carol"), QStringLiteral("c-pass"));
        QVERIFY(login.ok);
        const QJsonObject tree = t->request(personalTree(login.userId));
        QCOMPARE(codeOf(tree), 0);
        // Larger than any request body the server takes.
        QVERIFY(bytes(tree).size() > http::kMaxJsonBody);
        QCOMPARE(rootNode(tree).value(QLatin1String("xjdata")).toArray().size(), kLargeTreeFiles);
    }

    void requestBytesAreTheBodyAsSent()
    {
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(m_server->url());
        QVERIFY(t->login(QStringLiteral("alice"), QStringLiteral("a-pass")).ok);
        const clouddisk::http::NoBrokenPipeSignal quiet;
        auto raw = client().post("/clouddisk", {bearer(m_aliceToken)}, bytes(personalTree(m_alice)).toStdString(),
                                 "application/json");
        QVERIFY(raw);
        QCOMPARE(raw->status, 200L);
        const QByteArray got = t->requestBytes(personalTree(m_alice));
        QCOMPARE(got, QByteArray::fromStdString(raw->body));
        QCOMPARE(codeOf(QJsonDocument::fromJson(got).object()), 0);
    }

    void requestBytesRefusalsAreReplies()
    {
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(m_server->url());
        // Not signed in: the transport's own refusal.
        const QJsonObject before = QJsonDocument::fromJson(t->requestBytes(personalTree(m_alice))).object();
        QCOMPARE(codeOf(before), 1);
        QCOMPARE(before.value(QLatin1String("msg")).toString(), QStringLiteral("尚未登录云盘"));
        // Someone else's id: the server's refusal, whatever its HTTP status.
        QVERIFY(t->login(QStringLiteral("alice"), QStringLiteral("a-pass")).ok);
        const QJsonObject other = QJsonDocument::fromJson(t->requestBytes(personalTree(m_bob))).object();
        QVERIFY(codeOf(other) != 0);
        QVERIFY(!other.value(QLatin1String("msg")).toString().isEmpty());
        // No server: a reply naming what went wrong.
        Server gone(m_data.path());
        QVERIFY(gone.start());
        const QString url = gone.url();
        QVERIFY(gone.stop());
        std::unique_ptr<clouddisk::CloudTransport> lost = clouddisk::makeHttpTransport(url);
        QVERIFY(!lost->login(QStringLiteral("alice"), QStringLiteral("a-pass")).ok);
        const QJsonObject unreachable = QJsonDocument::fromJson(lost->requestBytes(personalTree(m_alice))).object();
        QVERIFY(codeOf(unreachable) != 0);
        QVERIFY(!unreachable.value(QLatin1String("msg")).toString().isEmpty());
    }

    void usedTicketIsRefusedAndItsSenderHearsWhy()
    {
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(m_server->url());
        QVERIFY(t->login(QStringLiteral("alice"), QStringLiteral("a-pass")).ok);
        const QString mqid = QString::number(m_alice);
        const QString root = rootNode(t->request(personalTree(m_alice))).value(QLatin1String("wjjid")).toString();
        const QByteArray contents = randomBytes(2 * 1024 * 1024, 11);
        const QJsonObject info = t->request(personalUploadInfo(QStringLiteral("twice.GCFG"), root, contents.size(),
                                                               QStringLiteral(".GCFG"), mqid));
        QCOMPARE(codeOf(info), 0);
        const QJsonObject fileRequest =
            personalUploadFile(info.value(QLatin1String("data")).toObject(), QStringLiteral("/tmp/x"), mqid);
        QBuffer first;
        first.setData(contents);
        first.open(QIODevice::ReadOnly);
        QCOMPARE(codeOf(t->upload(fileRequest, &first)), 0);
        const QString before = snapshot();

        // Far more than the connection buffers, so the refusal only reaches
        // the sender if the server reads the body to its end.
        QBuffer second;
        second.setData(QByteArray(32 * 1024 * 1024, 'y'));
        second.open(QIODevice::ReadOnly);
        const QJsonObject again = t->upload(fileRequest, &second);
        QVERIFY(codeOf(again) != 0);
        // The service's own refusal, not a broken connection.
        QVERIFY(!again.value(QLatin1String("msg")).toString().contains(QStringLiteral("无法连接")));
        QCOMPARE(snapshot(), before);
    }

    void refusedUploadLargerThanTheServerReadsFailsCleanly()
    {
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(m_server->url());
        QVERIFY(t->login(QStringLiteral("alice"), QStringLiteral("a-pass")).ok);
        const QString mqid = QString::number(m_alice);
        const QJsonObject forged{{QStringLiteral("wjm"), QStringLiteral("big.GCFG")},
                                 {QStringLiteral("ext"), QStringLiteral(".GCFG")},
                                 {QStringLiteral("wjdx"), 1},
                                 {QStringLiteral("pid"), QStringLiteral("1")},
                                 {QStringLiteral("wjjwybs"), QStringLiteral("forged-ticket")},
                                 {QStringLiteral("sclj"), QStringLiteral("/big.GCFG")}};
        const QString before = snapshot();
        // The server stops reading a refused body past 64 MB and closes the
        // connection; the host must get an answer, not a broken pipe.
        QBuffer source;
        source.setData(QByteArray(80 * 1024 * 1024, 'z'));
        source.open(QIODevice::ReadOnly);
        const QJsonObject reply = t->upload(personalUploadFile(forged, QStringLiteral("/tmp/x"), mqid), &source);
        QVERIFY(codeOf(reply) != 0);
        QVERIFY(!reply.value(QLatin1String("msg")).toString().isEmpty());
        QVERIFY(m_server->isRunning());
        QCOMPARE(snapshot(), before);
    }

    void downloadOfUnknownNodeIsRefused()
    {
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(m_server->url());
        QVERIFY(t->login(QStringLiteral("alice"), QStringLiteral("a-pass")).ok);
        QBuffer sink;
        sink.open(QIODevice::WriteOnly);
        const QJsonObject reply =
            t->download(download(QStringLiteral("x.GCFG"), QStringLiteral("/tmp/y"), QStringLiteral("999999")), &sink);
        QVERIFY(codeOf(reply) != 0);
        QVERIFY(sink.data().isEmpty());
    }

    void contentMethodsOnRequestRouteAreRefused()
    {
        const QString before = snapshot();
        const QString token = loginToken(QStringLiteral("alice"), QStringLiteral("a-pass"));
        QVERIFY(codeOf(post(bytes(download(QStringLiteral("a"), QStringLiteral("/tmp/a"), QStringLiteral("1"))),
                            token)) != 0);
        QCOMPARE(snapshot(), before);
    }

    void malformedBodiesLeaveServerRunningAndTreeUnchanged_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("not JSON") << QByteArray("cloudDisk please");
        QTest::newRow("cut short") << QByteArray("{\"cmd\":\"cloudDisk\",\"orgin_token\":\"mq_token_user\",\"data\":{\"met");
        QTest::newRow("array") << QByteArray("[{\"cmd\":\"cloudDisk\"}]");
        QTest::newRow("string") << QByteArray("\"cloudDisk\"");
        QTest::newRow("empty object") << QByteArray("{}");
        QTest::newRow("data not an object") << QByteArray("{\"cmd\":\"cloudDisk\",\"orgin_token\":\"mq_token_user\",\"data\":[]}");
        QTest::newRow("unknown method") << QByteArray("{\"cmd\":\"cloudDisk\",\"orgin_token\":\"mq_token_user\",\"data\":{\"method\":\"dropeverything\",\"data\":{}}}");
        QTest::newRow("deep nesting") << QByteArray(100000, '[');
        QTest::newRow("NUL bytes") << QByteArray("{\"cmd\":\"cloud\0Disk\"}", 20);
        QTest::newRow("random bytes") << randomBytes(4096, 3);
    }

    void malformedBodiesLeaveServerRunningAndTreeUnchanged()
    {
        QFETCH(QByteArray, body);
        const QString before = snapshot();
        const QString token = loginToken(QStringLiteral("alice"), QStringLiteral("a-pass"));
        const QJsonObject reply = post(body, token);
        QVERIFY(reply.contains(QLatin1String("code")));
        QVERIFY(codeOf(reply) != 0);
        QVERIFY(!reply.value(QLatin1String("msg")).toString().isEmpty());
        QVERIFY(m_server->isRunning());
        QCOMPARE(snapshot(), before);
    }

    void garbageBodyOf50MBLeavesServerRunningAndTreeUnchanged_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("withToken");
        QTest::newRow("request, signed in") << QStringLiteral("/clouddisk") << true;
        QTest::newRow("request, no token") << QStringLiteral("/clouddisk") << false;
        QTest::newRow("upload, signed in, no envelope") << QStringLiteral("/clouddisk/upload") << true;
        QTest::newRow("download") << QStringLiteral("/clouddisk/download") << true;
        QTest::newRow("login") << QStringLiteral("/login") << false;
    }

    void garbageBodyOf50MBLeavesServerRunningAndTreeUnchanged()
    {
        const clouddisk::http::NoBrokenPipeSignal quiet;
        QFETCH(QString, path);
        QFETCH(bool, withToken);
        const QString before = snapshot();
        RawHeaders headers;
        if (withToken)
            headers.push_back(bearer(loginToken(QStringLiteral("alice"), QStringLiteral("a-pass"))));
        const std::string garbage = randomBytes(50 * 1024 * 1024, 5).toStdString();
        auto res = client().post(path.toStdString(), headers, garbage, "application/octet-stream");
        // Refused, or cut off unread: either way nothing was taken in.
        if (res) {
            QVERIFY(res->status >= 400);
            QVERIFY(codeOf(parse(res->body)) != 0);
        }
        QVERIFY(m_server->isRunning());
        QCOMPARE(snapshot(), before);
    }

    void clientDisconnectingMidUploadLeavesTreeUnchanged()
    {
        const clouddisk::http::NoBrokenPipeSignal quiet;
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(m_server->url());
        QVERIFY(t->login(QStringLiteral("alice"), QStringLiteral("a-pass")).ok);
        const qint64 size = 20 * 1024 * 1024;
        const RawHeaders headers = uploadHeaders(*t, QStringLiteral("cut.GCFG"), size);
        QVERIFY(!headers.empty());
        const QString before = snapshot();

        // Announces 20 MB, sends 5 MB, then drops the connection.
        int sent = 0;
        auto res = client().postStreamed("/clouddisk/upload", headers, size, [&](std::string* piece) {
            if (sent++ == 5)
                return false;
            piece->assign(1024 * 1024, 'x');
            return true;
        });
        QVERIFY(!res);

        // The server has noticed once it answers again; the tree is as before.
        QTRY_COMPARE_WITH_TIMEOUT(snapshot(), before, 10000);
        QVERIFY(m_server->isRunning());
        QVERIFY(childNamed(t->request(personalTree(m_alice)), QStringLiteral("cut.GCFG")).isEmpty());
    }

    void browseIsAnsweredWhileAnotherHostUploads()
    {
        // Several hosts share one server: one host's upload, stalled half
        // way, must not hold up another host's request.
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(m_server->url());
        QVERIFY(t->login(QStringLiteral("alice"), QStringLiteral("a-pass")).ok);
        const qint64 size = 2 * 1024 * 1024;
        const RawHeaders headers = uploadHeaders(*t, QStringLiteral("slow.GCFG"), size);
        QVERIFY(!headers.empty());
        QSemaphore firstHalfSent, browsed;
        RawResult uploaded;
        std::atomic<bool> uploadOver{false};
        std::thread uploader([&] {
            const clouddisk::http::NoBrokenPipeSignal quiet;
            int pieces = 0;
            const auto guard = qScopeGuard([&] { uploadOver = true; });
            uploaded = client().postStreamed("/clouddisk/upload", headers, size, [&](std::string* piece) {
                if (pieces == 1) {
                    firstHalfSent.release();
                    // At most 30 s, so a failure here cannot hang the test.
                    browsed.tryAcquire(1, 30000);
                }
                if (pieces++ == 2)
                    return false;
                piece->assign(size_t(size / 2), 's');
                return true;
            });
        });
        QVERIFY(firstHalfSent.tryAcquire(1, 30000));
        const QJsonObject bobTree = post(bytes(personalTree(m_bob)), m_bobToken);
        // Answered while the upload still waited, not after it gave up.
        const bool answeredDuringUpload = !uploadOver;
        browsed.release();
        uploader.join();
        QCOMPARE(codeOf(bobTree), 0);
        QVERIFY(answeredDuringUpload);
        QVERIFY(uploaded);
        QCOMPARE(codeOf(parse(uploaded->body)), 0);
        QCOMPARE(childNamed(t->request(personalTree(m_alice)), QStringLiteral("slow.GCFG")).value(QLatin1String("wjdx")).toDouble(),
                 double(size));
    }

    void serverRestartKeepsTheHostSignedIn()
    {
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(m_server->url());
        QVERIFY(t->login(QStringLiteral("alice"), QStringLiteral("a-pass")).ok);
        QCOMPARE(codeOf(t->request(personalTree(m_alice))), 0);
        const int port = m_server->port();
        QVERIFY(m_server->stop());
        QVERIFY2(m_server->start(port), m_server->errors().constData());
        // Sessions live in the store: a restart signs no one out.
        QCOMPARE(codeOf(t->request(personalTree(m_alice))), 0);
        QCOMPARE(codeOf(uploadThrough(*t, QStringLiteral("after-restart.GCFG"), randomBytes(1000, 9))), 0);
        QCOMPARE(codeOf(post(bytes(personalTree(m_alice)), m_aliceToken)), 0);
    }

    void scenarioEndToEndThroughChannel()
    {
        // The host pointed at the server by its host value: everything on
        // the host's disk happens here, the server keeps records and contents.
        QTemporaryDir app;
        SharedInterfaceTesting::reset();
        SharedInterfaceTesting::setAppPath(app.path());
        SharedInterfaceTesting::setHostValue(QString::fromUtf8(clouddisk::kServiceUrlKey), m_server->url());
        auto exchange = [](const QJsonObject& envelope) {
            return QJsonDocument::fromJson(ServicesUtil::AsyncReplyLoop(bytes(envelope))).object();
        };

        QString message;
        QVERIFY(!ServicesUtil::CloudLogin(QStringLiteral("alice"), QStringLiteral("wrong"), nullptr, &message));
        QVERIFY(!message.isEmpty());
        QString userId;
        QVERIFY(ServicesUtil::CloudLogin(QStringLiteral("alice"), QStringLiteral("a-pass"), &userId));
        QCOMPARE(userId, QString::number(m_alice));

        const QJsonObject tree = exchange(personalTree(m_alice));
        QCOMPARE(codeOf(tree), 0);
        const QString root = rootNode(tree).value(QLatin1String("wjjid")).toString();

        // Save: the host wrote a project; the channel reads and uploads it.
        const QByteArray contents = randomBytes(1024 * 1024 + 5, 21);
        const QString local = app.path() + QStringLiteral("/结算书.GCFG");
        {
            QFile f(local);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(contents);
        }
        const QString mqid = QString::number(m_alice);
        const QJsonObject info =
            exchange(personalUploadInfo(QStringLiteral("结算书.GCFG"), root, contents.size(), QStringLiteral(".GCFG"), mqid));
        QCOMPARE(codeOf(info), 0);
        QCOMPARE(codeOf(exchange(personalUploadFile(info.value(QLatin1String("data")).toObject(), local, mqid))), 0);
        const QJsonObject node = childNamed(exchange(personalTree(m_alice)), QStringLiteral("结算书.GCFG"));
        QCOMPARE(node.value(QLatin1String("wjdx")).toDouble(), double(contents.size()));

        // Open: where the download goes, then the download itself.
        const QJsonObject same = envelope(QStringLiteral("mq_token_user"),
                                          QJsonObject{{QStringLiteral("method"), QStringLiteral("isexistlocalsamenamefile")},
                                                      {QStringLiteral("fileName"), QStringLiteral("结算书.GCFG")},
                                                      {QStringLiteral("pathPrat"), QStringLiteral("个人云盘")},
                                                      {QStringLiteral("data"), QJsonObject()}});
        const QJsonObject where = exchange(same).value(QLatin1String("data")).toObject();
        const QString staged = where.value(QLatin1String("filPath")).toString();
        QCOMPARE(staged, app.path() + QStringLiteral("/cfg/DownloadCloudDiskFile/%1/个人云盘/结算书.GCFG").arg(m_alice));
        QCOMPARE(where.value(QLatin1String("isExist")).toBool(), false);
        const QJsonObject got = exchange(
            download(QStringLiteral("结算书.GCFG"), staged, node.value(QLatin1String("xzlj")).toString()));
        QCOMPARE(codeOf(got), 0);
        QCOMPARE(got.value(QLatin1String("data")).toString(), staged);
        QFile downloaded(staged);
        QVERIFY(downloaded.open(QIODevice::ReadOnly));
        QVERIFY(downloaded.readAll() == contents);
        QCOMPARE(exchange(same).value(QLatin1String("data")).toObject().value(QLatin1String("isExist")).toBool(), true);

        // All of it went to the server: no service was started in the host.
        QVERIFY(!QFileInfo::exists(app.path() + QStringLiteral("/clouddisk")));

        ServicesUtil::CloudLogout();
        QVERIFY(codeOf(exchange(personalTree(m_alice))) != 0);
        SharedInterfaceTesting::reset();
    }

    void unreachableServerGivesAClearRefusal()
    {
        // A port nobody listens on: the one the server had, once stopped.
        Server gone(m_data.path());
        QVERIFY(gone.start());
        const QString url = gone.url();
        QVERIFY(gone.stop());
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(url);
        const clouddisk::LoginResult login = t->login(QStringLiteral("alice"), QStringLiteral("a-pass"));
        QVERIFY(!login.ok);
        QVERIFY(login.message.contains(QStringLiteral("无法连接云盘服务")));
        const QJsonObject reply = t->request(personalTree(m_alice));
        QVERIFY(codeOf(reply) != 0);
        QVERIFY(!reply.value(QLatin1String("msg")).toString().isEmpty());
    }

    void silentServerIsGivenUpInsteadOfWaitedForForEver()
    {
        // Accepts connections (the system does, into its backlog) and never
        // answers: the host gives up with a clear refusal.
        const int silent = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        QVERIFY(silent >= 0);
        const auto closeSilent = qScopeGuard([silent] { ::close(silent); });
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        QVERIFY(::bind(silent, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
        QVERIFY(::listen(silent, 4) == 0);
        QVERIFY(::getsockname(silent, reinterpret_cast<sockaddr*>(&address), &length) == 0);
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(
            QStringLiteral("http://127.0.0.1:%1").arg(ntohs(address.sin_port)));
        const clouddisk::LoginResult login = t->login(QStringLiteral("alice"), QStringLiteral("a-pass"));
        QVERIFY(!login.ok);
        QVERIFY2(login.message.contains(QStringLiteral("无法连接云盘服务")), qPrintable(login.message));
    }

    void serviceUrlComesFromHostValueThenEnvironment()
    {
        qunsetenv(clouddisk::kServiceUrlEnv);
        QCOMPARE(clouddisk::chooseServiceUrl(QString()), QString());
        QCOMPARE(clouddisk::chooseServiceUrl(QStringLiteral(" http://127.0.0.1:8765 ")),
                 QStringLiteral("http://127.0.0.1:8765"));
        QCOMPARE(clouddisk::chooseServiceUrl(QStringLiteral("not a url")), QString());
        QCOMPARE(clouddisk::chooseServiceUrl(QStringLiteral("/var/lib/cloud")), QString());
        QCOMPARE(clouddisk::chooseServiceUrl(QStringLiteral("ftp://host/")), QString());
        qputenv(clouddisk::kServiceUrlEnv, "http://10.0.0.2:9000");
        QCOMPARE(clouddisk::chooseServiceUrl(QString()), QStringLiteral("http://10.0.0.2:9000"));
        QCOMPARE(clouddisk::chooseServiceUrl(QStringLiteral("http://127.0.0.1:8765")),
                 QStringLiteral("http://127.0.0.1:8765"));
        qputenv(clouddisk::kServiceUrlEnv, "embedded");
        QCOMPARE(clouddisk::chooseServiceUrl(QString()), QString());
        qunsetenv(clouddisk::kServiceUrlEnv);
    }
};

QTEST_GUILESS_MAIN(TestCloudHttp)
#include "tst_cloudhttp.moc"
