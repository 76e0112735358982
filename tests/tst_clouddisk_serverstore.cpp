// clouddiskd on its store: handles and memory that stay flat however many
// clients come and go, sessions kept in the store (a restart ends none, a
// new password ends them all), a data folder that others can read refused
// at start, and a login refusal that does not say which half was wrong.
#include "CloudDiskService.h"
#include "cloudserversupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace cloudtest;

namespace {

struct Reply
{
    int status = 0;
    QJsonObject body;
};

// One request on a connection of its own, closed after the answer.
Reply post(int port, const QByteArray& path, const QByteArray& body, const QString& token = QString())
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return {};
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(quint16(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    timeval timeout{10, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        ::close(fd);
        return {};
    }
    QByteArray request = "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n"
                         "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n";
    if (!token.isEmpty())
        request += "Authorization: Bearer " + token.toLatin1() + "\r\n";
    request += "\r\n" + body;
    qint64 sent = 0;
    while (sent < request.size()) {
        const ssize_t n = ::send(fd, request.constData() + sent, size_t(request.size() - sent), MSG_NOSIGNAL);
        if (n <= 0)
            break;
        sent += n;
    }
    QByteArray answer;
    char buf[65536];
    for (;;) {
        const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n <= 0)
            break;
        answer.append(buf, int(n));
    }
    ::close(fd);
    Reply r;
    const int space = answer.indexOf(' ');
    r.status = answer.mid(space + 1, 3).toInt();
    const int bodyAt = answer.indexOf("\r\n\r\n");
    if (bodyAt >= 0)
        r.body = QJsonDocument::fromJson(answer.mid(bodyAt + 4)).object();
    return r;
}

// A connection kept open after one answered request, as a host's
// transport keeps it; -1 when the request was not answered with code 0.
int keptAliveAfterOneRequest(int port, const QByteArray& body, const QString& token)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(quint16(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    timeval timeout{10, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        ::close(fd);
        return -1;
    }
    const QByteArray request = "POST /clouddisk HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer " + token.toLatin1()
                               + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
    ::send(fd, request.constData(), size_t(request.size()), MSG_NOSIGNAL);
    QByteArray answer;
    char buf[65536];
    for (;;) {
        const int headEnd = answer.indexOf("\r\n\r\n");
        if (headEnd >= 0) {
            const int at = answer.toLower().indexOf("content-length:");
            const int length = at >= 0 ? answer.mid(at + 15, answer.indexOf('\r', at) - at - 15).trimmed().toInt() : 0;
            if (answer.size() >= headEnd + 4 + length) {
                if (QJsonDocument::fromJson(answer.mid(headEnd + 4, length)).object().value("code").toInt(-1) == 0)
                    return fd;
                break;
            }
        }
        const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n <= 0)
            break;
        answer.append(buf, int(n));
    }
    ::close(fd);
    return -1;
}

QString login(int port, const QString& name, const QString& password)
{
    return post(port, "/login", bytes(QJsonObject{{"name", name}, {"password", password}}))
        .body.value("token")
        .toString();
}

int handlesOf(qint64 pid)
{
    return QDir(QStringLiteral("/proc/%1/fd").arg(pid)).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size();
}

// Resident memory in KB.
qint64 rssOf(qint64 pid)
{
    QFile f(QStringLiteral("/proc/%1/status").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : f.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

int ctl(const QString& data, const QStringList& args)
{
    QProcess p;
    p.start(QStringLiteral(CLOUDDISKCTL), QStringList{"--data", data} + args);
    return p.waitForFinished(60000) && p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
}

} // namespace

#if defined(__SANITIZE_ADDRESS__)
#define PFD_TEST_UNDER_ASAN
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PFD_TEST_UNDER_ASAN
#endif
#endif

class tst_clouddisk_serverstore : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (!QDir(QStringLiteral("/proc/self/fd")).exists())
            QSKIP("counting a server's handles needs /proc");
    }

    void handlesAndMemoryFlatAfterManyConnectionsOneByOne()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        const qint64 alice = addUser(data, "alice", "a-pass");
        Server server(data);
        QVERIFY2(server.start(), server.errors().constData());
        const QString token = login(server.port(), "alice", "a-pass");
        QVERIFY(!token.isEmpty());
        const QByteArray tree = bytes(personalTree(alice));
        // PFD_CONNECTIONS: as many as the reproduction asks for (10,000).
        const int count = qEnvironmentVariableIntValue("PFD_CONNECTIONS") > 0
                              ? qEnvironmentVariableIntValue("PFD_CONNECTIONS")
                              : 2000;
        const auto connections = [&](int n) {
            for (int i = 0; i < n; ++i) {
                const Reply r = post(server.port(), "/clouddisk", tree, token);
                if (r.body.value("code").toInt(-1) != 0)
                    return i;
            }
            return n;
        };
        QCOMPARE(connections(200), 200);
        const qint64 pid = server.processId();
        const int handlesBefore = handlesOf(pid);
        const qint64 rssBefore = rssOf(pid);
        QElapsedTimer t;
        t.start();
        QCOMPARE(connections(count), count);
        const int handlesAfter = handlesOf(pid);
        const qint64 rssAfter = rssOf(pid);
        qInfo("%d connections one by one in %lld ms: handles %d -> %d, RSS %lld -> %lld KB", count,
              t.elapsed(), handlesBefore, handlesAfter, rssBefore, rssAfter);
        // The pool may have grown meanwhile (a client's thread still ends
        // while the next one starts), up to its limit of 16 connections of
        // 3 handles each (database, journal, shared memory); a leak is 2 or
        // more per client.
        QVERIFY2(handlesAfter <= handlesBefore + 16 * 3, qPrintable(QString::number(handlesAfter)));
        // A leak of one database connection per client is 100 KB each.
        // Under AddressSanitizer freed memory waits in its quarantine (256 MB)
        // and the RSS grows whatever the server does; its leak check at the
        // server's exit stands in for this figure there.
#ifndef PFD_TEST_UNDER_ASAN
        QVERIFY2(rssAfter - rssBefore < 16 * 1024, qPrintable(QString::number(rssAfter - rssBefore)));
#endif
    }

    void idleKeptAliveClientsHoldNoDatabaseConnection()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        const qint64 alice = addUser(data, "alice", "a-pass");
        Server server(data);
        QVERIFY2(server.start(), server.errors().constData());
        const QString token = login(server.port(), "alice", "a-pass");
        const QByteArray tree = bytes(personalTree(alice));
        // More idle clients than the pool has connections (16), each after
        // one request on a connection it keeps.
        std::vector<int> idle;
        for (int i = 0; i < 40; ++i) {
            const int fd = keptAliveAfterOneRequest(server.port(), tree, token);
            QVERIFY2(fd >= 0, qPrintable(QStringLiteral("client %1 not answered").arg(i)));
            idle.push_back(fd);
        }
        const Reply r = post(server.port(), "/clouddisk", tree, token);
        for (int fd : idle)
            ::close(fd);
        QCOMPARE(r.body.value("code").toInt(-1), 0);
    }

    void sessionsOutliveARestartAndEndWithThePassword()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        const qint64 alice = addUser(data, "alice", "a-pass");
        Server server(data);
        QVERIFY2(server.start(), server.errors().constData());
        const QByteArray tree = bytes(personalTree(alice));
        const QString token = login(server.port(), "alice", "a-pass");
        const QString other = login(server.port(), "alice", "a-pass");
        QCOMPARE(post(server.port(), "/clouddisk", tree, token).body.value("code").toInt(-1), 0);
        const int port = server.port();
        QVERIFY(server.stop());
        QVERIFY2(server.start(port), server.errors().constData());
        QCOMPARE(post(port, "/clouddisk", tree, token).body.value("code").toInt(-1), 0);

        // The admin tool ends them on purpose, while the server runs.
        QCOMPARE(ctl(data, {"user", "logout", "alice"}), 0);
        Reply r = post(port, "/clouddisk", tree, token);
        QCOMPARE(r.status, 401);
        QCOMPARE(post(port, "/clouddisk", tree, other).status, 401);

        // A new password ends the sessions of the old one.
        const QString again = login(port, "alice", "a-pass");
        QCOMPARE(post(port, "/clouddisk", tree, again).body.value("code").toInt(-1), 0);
        QCOMPARE(ctl(data, {"user", "passwd", "alice", "b-pass"}), 0);
        r = post(port, "/clouddisk", tree, again);
        QCOMPARE(r.status, 401);
        QVERIFY(login(port, "alice", "a-pass").isEmpty());
        QVERIFY(!login(port, "alice", "b-pass").isEmpty());
    }

    void loginRefusalDoesNotSayWhichHalfWasWrong()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        addUser(data, "alice", "a-pass");
        Server server(data);
        QVERIFY2(server.start(), server.errors().constData());
        const Reply wrongPassword = post(server.port(), "/login", bytes(QJsonObject{{"name", "alice"}, {"password", "x"}}));
        const Reply unknownName = post(server.port(), "/login", bytes(QJsonObject{{"name", "nobody"}, {"password", "x"}}));
        QCOMPARE(wrongPassword.status, unknownName.status);
        QCOMPARE(wrongPassword.body, unknownName.body);
        QCOMPARE(wrongPassword.body.value("msg").toString(), QStringLiteral("用户名或密码错误"));
    }

    void dataFolderOthersCanReadRefusedAtStart()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        addUser(data, "alice", "a-pass");
        QVERIFY(::chmod(QFile::encodeName(data).constData(), 0750) == 0);
        QProcess p;
        p.start(serverProgram(), {"--data", data, "--listen", "127.0.0.1:0"});
        QVERIFY(p.waitForFinished(20000));
        QCOMPARE(p.exitCode(), 1);
        const QString why = QString::fromUtf8(p.readAllStandardError());
        QVERIFY2(why.contains(data) && why.contains("other accounts") && why.contains("0750"), qPrintable(why));
        QVERIFY(p.readAllStandardOutput().isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_clouddisk_serverstore)
#include "tst_clouddisk_serverstore.moc"
