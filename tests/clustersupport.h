#pragma once
// Real servers for the cloud tests that run several clouddiskd at once: a
// private PostgreSQL and nginx, each in a temporary folder of its own,
// reachable only from this machine (a Unix socket, 127.0.0.1), started and
// stopped by the test. PostgreSQL refuses to run as root; under root it runs
// as the "postgres" account the Debian package creates.
//
// A watchdog process stops whatever was started when the test process ends
// in any way (a crash, a timeout's kill), so no server outlives its test.
#include "CloudDiskService.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>
#include <QUrl>

// The servers themselves (PostgreSQL, nginx, the watchdog) run on POSIX
// systems only; a Windows build keeps the store on SQLite and nothing else.
#ifndef _WIN32
#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace clustersupport {

#ifndef _WIN32
// ---- the watchdog --------------------------------------------------------------

// A child process that waits for this process to end and then signals the
// processes it was told about. Lines on its pipe: "K SIG PID" (a process),
// "F SIG FILE" (the process whose id is the first line of FILE).
class Watchdog
{
public:
    static Watchdog& instance()
    {
        static Watchdog w;
        return w;
    }
    void watchPid(pid_t pid, int sig) { tell(QByteArray("K ") + QByteArray::number(sig) + ' ' + QByteArray::number(pid)); }
    void watchPidFile(const QString& file, int sig)
    {
        tell(QByteArray("F ") + QByteArray::number(sig) + ' ' + QFile::encodeName(file));
    }

private:
    Watchdog()
    {
        int fds[2];
        if (pipe(fds) != 0)
            return;
        const pid_t pid = fork();
        if (pid == 0) {
            // Nothing of the test's is kept open here but the pipe.
            for (int fd = 3; fd < 4096; ++fd) {
                if (fd != fds[0])
                    close(fd);
            }
            setpgid(0, 0);
            signal(SIGINT, SIG_IGN);
            signal(SIGTERM, SIG_IGN);
            watch(fds[0]);
            _exit(0);
        }
        close(fds[0]);
        if (pid > 0) {
            m_fd = fds[1];
            fcntl(m_fd, F_SETFD, FD_CLOEXEC);
        } else {
            close(fds[1]);
        }
    }
    void tell(const QByteArray& line)
    {
        if (m_fd < 0)
            return;
        const QByteArray l = line + '\n';
        (void)!write(m_fd, l.constData(), size_t(l.size()));
    }

    // Runs in the child: only plain system calls from here on.
    static void watch(int fd)
    {
        static char buf[1 << 16];
        size_t used = 0;
        for (;;) {
            const ssize_t n = read(fd, buf + used, sizeof buf - 1 - used);
            if (n > 0) {
                used += size_t(n);
                continue;
            }
            if (n < 0 && errno == EINTR)
                continue;
            break; // the test process is gone
        }
        buf[used] = 0;
        // Newest first: nginx before the servers behind it, those before the
        // database.
        char* lines[512];
        int count = 0;
        for (char* p = strtok(buf, "\n"); p && count < 512; p = strtok(nullptr, "\n"))
            lines[count++] = p;
        for (int i = count - 1; i >= 0; --i) {
            char kind = 0;
            int sig = 0;
            char arg[4096];
            if (sscanf(lines[i], "%c %d %4095[^\n]", &kind, &sig, arg) != 3)
                continue;
            long pid = 0;
            if (kind == 'K') {
                pid = strtol(arg, nullptr, 10);
            } else {
                const int f = open(arg, O_RDONLY);
                if (f < 0)
                    continue;
                char num[32] = {0};
                (void)!read(f, num, sizeof num - 1);
                close(f);
                pid = strtol(num, nullptr, 10);
            }
            if (pid > 1)
                kill(pid_t(pid), sig);
        }
    }

    int m_fd = -1;
};

// ---- small helpers ----------------------------------------------------------------

// A program from PATH, else from the first of `dirs` (glob patterns allowed
// in the last segment's parent, e.g. /usr/lib/postgresql/*/bin) that has it.
inline QString findProgram(const QString& name, const QStringList& extraDirs = {})
{
    const QString onPath = QStandardPaths::findExecutable(name);
    if (!onPath.isEmpty())
        return onPath;
    for (const QString& d : extraDirs) {
        const QString found = QStandardPaths::findExecutable(name, {d});
        if (!found.isEmpty())
            return found;
    }
    return QString();
}

// The bin folders of the installed PostgreSQL versions, newest first.
inline QStringList postgresBinDirs()
{
    QStringList out;
    QDir lib(QStringLiteral("/usr/lib/postgresql"));
    QStringList versions = lib.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    std::sort(versions.begin(), versions.end(), [](const QString& a, const QString& b) { return a.toDouble() > b.toDouble(); });
    for (const QString& v : versions)
        out << lib.filePath(v + QStringLiteral("/bin"));
    return out;
}

// A port on 127.0.0.1 that was free a moment ago (for servers that cannot
// take port 0 and say which they got).
inline int freePort()
{
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    if (s < 0)
        return -1;
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = 0;
    socklen_t len = sizeof a;
    int port = -1;
    if (bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0
        && getsockname(s, reinterpret_cast<sockaddr*>(&a), &len) == 0)
        port = ntohs(a.sin_port);
    close(s);
    return port;
}

inline bool acceptsConnections(int port)
{
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    if (s < 0)
        return false;
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = htons(quint16(port));
    const bool ok = ::connect(s, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
    close(s);
    return ok;
}

// Runs a program to its end; its output (both channels) in *output.
inline bool run(const QString& program, const QStringList& args, QByteArray* output = nullptr, int timeoutMs = 60000)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    const bool finished = p.waitForStarted(10000) && p.waitForFinished(timeoutMs);
    if (output)
        *output = p.readAll();
    if (!finished) {
        p.kill();
        p.waitForFinished(5000);
    }
    return finished && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

// ---- PostgreSQL -------------------------------------------------------------------

class Postgres
{
public:
    Postgres() = default;
    ~Postgres() { stop(); }
    Postgres(const Postgres&) = delete;
    Postgres& operator=(const Postgres&) = delete;

    // Makes a cluster and starts it. False with why() saying what is
    // missing or what failed.
    bool start()
    {
        const QStringList binDirs = postgresBinDirs();
        m_initdb = findProgram(QStringLiteral("initdb"), binDirs);
        m_postgres = findProgram(QStringLiteral("postgres"), binDirs);
        m_pgctl = findProgram(QStringLiteral("pg_ctl"), binDirs);
        m_psql = findProgram(QStringLiteral("psql"), binDirs);
        if (m_initdb.isEmpty() || m_pgctl.isEmpty() || m_psql.isEmpty()) {
            m_why = QStringLiteral("PostgreSQL is not installed (no initdb, pg_ctl or psql; scripts/setup-debian.sh installs it)");
            m_missing = true;
            return false;
        }
        if (geteuid() == 0) {
            const passwd* pw = getpwnam("postgres");
            m_runuser = findProgram(QStringLiteral("runuser"), {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin")});
            if (!pw || m_runuser.isEmpty()) {
                m_why = QStringLiteral("running as root, but there is no postgres account or no runuser to start PostgreSQL with");
                m_missing = true;
                return false;
            }
            m_uid = pw->pw_uid;
            m_gid = pw->pw_gid;
        }
        if (!m_dir.isValid())
            return fail(QStringLiteral("no temporary folder"));
        // The server's account owns its folder; the socket lies in it.
        if (geteuid() == 0 && chown(QFile::encodeName(m_dir.path()).constData(), m_uid, m_gid) != 0)
            return fail(QStringLiteral("cannot hand the folder to postgres"));
        QByteArray out;
        if (!run(asServer(m_initdb),
                 serverArgs(m_initdb, {QStringLiteral("-D"), dataDir(), QStringLiteral("-U"), QStringLiteral("postgres"),
                                       QStringLiteral("-A"), QStringLiteral("trust"), QStringLiteral("-E"),
                                       QStringLiteral("UTF8"), QStringLiteral("--locale=C.UTF-8"),
                                       QStringLiteral("--no-sync")}),
                 &out))
            return fail(QStringLiteral("initdb failed: ") + QString::fromLocal8Bit(out));
        // Only the socket: no TCP port at all. fsync is off, it is a test's.
        const QString options = QStringLiteral("-k %1 -c listen_addresses= -p %2 -F -c max_connections=300"
                                               " -c shared_buffers=32MB")
                                    .arg(m_dir.path())
                                    .arg(port());
        if (!run(asServer(m_pgctl),
                 serverArgs(m_pgctl, {QStringLiteral("-D"), dataDir(), QStringLiteral("-w"), QStringLiteral("-t"),
                                      QStringLiteral("60"), QStringLiteral("-l"), m_dir.path() + QStringLiteral("/server.log"),
                                      QStringLiteral("-o"), options, QStringLiteral("start")}),
                 &out, 90000))
            return fail(QStringLiteral("pg_ctl start failed: ") + QString::fromLocal8Bit(out) + log());
        m_running = true;
        // Immediate shutdown if the test dies.
        Watchdog::instance().watchPidFile(dataDir() + QStringLiteral("/postmaster.pid"), SIGQUIT);
        return true;
    }

    // A fast shutdown, waited for. Plain system calls only: it also runs
    // as the process ends, after the application object has gone.
    void stop()
    {
        if (!m_running)
            return;
        m_running = false;
        QFile f(dataDir() + QStringLiteral("/postmaster.pid"));
        const pid_t pid = f.open(QIODevice::ReadOnly) ? pid_t(f.readLine().trimmed().toLong()) : 0;
        if (pid <= 1)
            return;
        kill(pid, SIGINT);
        for (int i = 0; i < 2000 && kill(pid, 0) == 0; ++i)
            usleep(10000);
    }

    // Whether it failed because PostgreSQL is not there (a reason to skip).
    bool missing() const { return m_missing; }
    QString why() const { return m_why; }
    QString socketDir() const { return m_dir.path(); }
    static int port() { return 5432; }

    // A new empty database; false when it cannot be made.
    bool createDatabase(const QString& name)
    {
        QByteArray out;
        const bool ok = psql(QStringLiteral("postgres"),
                             QStringLiteral("CREATE DATABASE \"%1\"").arg(name), &out);
        if (!ok)
            m_why = QString::fromLocal8Bit(out);
        return ok;
    }
    // Runs SQL in a database with psql, as the superuser.
    bool psql(const QString& database, const QString& sql, QByteArray* out = nullptr)
    {
        return run(m_psql, {QStringLiteral("-X"), QStringLiteral("-q"), QStringLiteral("-A"), QStringLiteral("-t"),
                            QStringLiteral("-v"), QStringLiteral("ON_ERROR_STOP=1"), QStringLiteral("-h"), socketDir(),
                            QStringLiteral("-p"), QString::number(port()), QStringLiteral("-U"),
                            QStringLiteral("postgres"), QStringLiteral("-d"), database, QStringLiteral("-c"), sql},
                   out);
    }
    // The --db form of a database here, over the Unix socket.
    QString url(const QString& database) const
    {
        // One arg() for all: the encoded folder holds "%2F".
        return QStringLiteral("postgresql://postgres@%1:%2/%3")
            .arg(QString::fromLatin1(QUrl::toPercentEncoding(socketDir())), QString::number(port()), database);
    }
    QString log() const
    {
        QFile f(m_dir.path() + QStringLiteral("/server.log"));
        return f.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(f.readAll().right(4000)) : QString();
    }

private:
    QString dataDir() const { return m_dir.path() + QStringLiteral("/cluster"); }
    // As root: through runuser under the postgres account.
    QString asServer(const QString& program) const { return m_runuser.isEmpty() ? program : m_runuser; }
    QStringList serverArgs(const QString& program, const QStringList& args) const
    {
        if (m_runuser.isEmpty())
            return args;
        return QStringList{QStringLiteral("-u"), QStringLiteral("postgres"), QStringLiteral("--"), program} + args;
    }
    bool fail(const QString& why)
    {
        m_why = why;
        return false;
    }

    QTemporaryDir m_dir{QDir::tempPath() + QStringLiteral("/pfd-pg-XXXXXX")};
    QString m_initdb, m_postgres, m_pgctl, m_psql, m_runuser;
    uid_t m_uid = 0;
    gid_t m_gid = 0;
    bool m_running = false;
    bool m_missing = false;
    QString m_why;
};

#endif // !_WIN32

// ---- the service tests on PostgreSQL -----------------------------------------

// The service tests run twice: as they are (SQLite in each data folder) and
// with PFD_TEST_CLOUD_DB=postgresql, where every data folder a test uses
// gets a database of its own in one private PostgreSQL of the test program.
inline bool testsOnPostgres()
{
    return qgetenv("PFD_TEST_CLOUD_DB") == "postgresql";
}

// The --db value for a data folder: empty on SQLite; else the URL of its own
// database, made on first use.
inline QString databaseFor(const QString& dataDir, QString* why = nullptr)
{
    if (!testsOnPostgres())
        return QString();
#ifdef _WIN32
    Q_UNUSED(dataDir)
    Q_UNUSED(why)
    std::fprintf(stderr, "SKIP: the PostgreSQL runs need a POSIX system\n");
    std::_Exit(77);
#else
    static std::unique_ptr<Postgres> server;
    static QStringList made;
    if (!server) {
        server = std::make_unique<Postgres>();
        if (!server->start()) {
            // The whole program is skipped (CTest's SKIP_RETURN_CODE) when
            // PostgreSQL is not installed, and fails when it will not run.
            if (server->missing()) {
                std::fprintf(stderr, "SKIP: %s\n", qPrintable(server->why()));
                std::_Exit(77);
            }
            qFatal("PostgreSQL did not start: %s", qPrintable(server->why()));
        }
    }
    const QString key = QDir(dataDir).absolutePath();
    const QString name = QStringLiteral("pfd_")
                         + QString::fromLatin1(QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha1).toHex().left(24));
    if (!made.contains(name)) {
        if (!server->createDatabase(name)) {
            if (why)
                *why = server->why();
            return QString();
        }
        made << name;
    }
    return server->url(name);
#endif
}

// The options that put a server or the admin tool on a data folder's
// records: "--db URL" on PostgreSQL, nothing on SQLite.
inline QStringList databaseOptions(const QString& dataDir)
{
    const QString url = databaseFor(dataDir);
    return url.isEmpty() ? QStringList() : QStringList{QStringLiteral("--db"), url};
}

// The store of a data folder, on the records the run uses.
inline std::unique_ptr<clouddisk::Service> openStore(const QString& dataDir, QString* error = nullptr)
{
    return clouddisk::Service::open(dataDir, databaseFor(dataDir), error);
}

// Where a data folder's PostgreSQL database is, for looking into it beside
// the service (tests on PostgreSQL only).
struct DatabaseAddress
{
    QString socketDir;
    int port = 0;
    QString name;
};
inline DatabaseAddress databaseAddressFor(const QString& dataDir)
{
    const QString url = databaseFor(dataDir);
    const QRegularExpressionMatch m =
        QRegularExpression(QStringLiteral("^postgresql://postgres@([^:]+):(\\d+)/(.+)$")).match(url);
    return DatabaseAddress{QUrl::fromPercentEncoding(m.captured(1).toUtf8()), m.captured(2).toInt(), m.captured(3)};
}

// A connection of the test's own to a data folder's records, named `name`
// (remove it with QSqlDatabase::removeDatabase); opened, or with its error.
inline QSqlDatabase addPeekDatabase(const QString& name, const QString& dataDir)
{
    if (testsOnPostgres()) {
        const DatabaseAddress a = databaseAddressFor(dataDir);
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), name);
        db.setHostName(a.socketDir);
        db.setPort(a.port);
        db.setUserName(QStringLiteral("postgres"));
        db.setDatabaseName(a.name);
        db.open();
        return db;
    }
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    db.setDatabaseName(dataDir + QStringLiteral("/clouddisk.sqlite"));
    db.open();
    return db;
}

#ifndef _WIN32
// ---- nginx ------------------------------------------------------------------------

// nginx with the site configuration of deploy/ (or any other), its own
// main configuration, pid, logs and temporary paths in a temporary folder.
class Nginx
{
public:
    Nginx() = default;
    ~Nginx() { stop(); }
    Nginx(const Nginx&) = delete;
    Nginx& operator=(const Nginx&) = delete;

    static QString program()
    {
        return findProgram(QStringLiteral("nginx"), {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin")});
    }

    // Starts nginx serving `site` (the text of an http-level configuration
    // that listens on `port`). False with why() on failure.
    bool start(const QString& site, int port)
    {
        const QString nginx = program();
        if (nginx.isEmpty()) {
            m_missing = true;
            m_why = QStringLiteral("nginx is not installed (scripts/setup-debian.sh installs it)");
            return false;
        }
        const QString d = m_dir.path();
        for (const char* sub : {"body", "proxy", "fastcgi", "uwsgi", "scgi", "logs"})
            QDir().mkpath(d + QLatin1Char('/') + QLatin1String(sub));
        QFile siteFile(d + QStringLiteral("/site.conf"));
        QFile main(d + QStringLiteral("/nginx.conf"));
        if (!siteFile.open(QIODevice::WriteOnly) || siteFile.write(site.toUtf8()) < 0 || !main.open(QIODevice::WriteOnly))
            return fail(QStringLiteral("cannot write the configuration"));
        siteFile.close();
        QString conf;
        // Under root the workers would otherwise run as nobody, who may not
        // enter the temporary folder.
        if (geteuid() == 0)
            conf += QStringLiteral("user root;\n");
        conf += QStringLiteral("worker_processes 1;\n"
                               "pid %1/nginx.pid;\n"
                               "error_log %1/logs/error.log warn;\n"
                               "events { worker_connections 4096; }\n"
                               "http {\n"
                               "  access_log off;\n"
                               "  client_body_temp_path %1/body;\n"
                               "  proxy_temp_path %1/proxy;\n"
                               "  fastcgi_temp_path %1/fastcgi;\n"
                               "  uwsgi_temp_path %1/uwsgi;\n"
                               "  scgi_temp_path %1/scgi;\n"
                               "  include %1/site.conf;\n"
                               "}\n")
                    .arg(d);
        main.write(conf.toUtf8());
        main.close();
        m_process.setProgram(nginx);
        m_process.setArguments({QStringLiteral("-p"), d, QStringLiteral("-c"), d + QStringLiteral("/nginx.conf"),
                                QStringLiteral("-e"), d + QStringLiteral("/logs/error.log"), QStringLiteral("-g"),
                                QStringLiteral("daemon off;")});
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start();
        if (!m_process.waitForStarted(10000))
            return fail(QStringLiteral("nginx did not start"));
        Watchdog::instance().watchPid(pid_t(m_process.processId()), SIGTERM);
        QDeadlineTimer deadline(20000);
        while (!deadline.hasExpired()) {
            if (m_process.state() != QProcess::Running)
                return fail(QStringLiteral("nginx ended: ") + QString::fromLocal8Bit(m_process.readAll()) + errorLog());
            if (acceptsConnections(port))
                return true;
            QThread::msleep(20);
        }
        return fail(QStringLiteral("nginx does not answer on port %1: %2").arg(port).arg(errorLog()));
    }

    void stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.terminate();
        if (!m_process.waitForFinished(20000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }

    bool missing() const { return m_missing; }
    QString why() const { return m_why; }
    QString folder() const { return m_dir.path(); }
    QString errorLog() const
    {
        QFile f(m_dir.path() + QStringLiteral("/logs/error.log"));
        return f.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(f.readAll().right(4000)) : QString();
    }

private:
    bool fail(const QString& why)
    {
        m_why = why;
        stop();
        return false;
    }

    QTemporaryDir m_dir{QDir::tempPath() + QStringLiteral("/pfd-nginx-XXXXXX")};
    QProcess m_process;
    bool m_missing = false;
    QString m_why;
};

// ---- the front ------------------------------------------------------------------

// The repository's front configuration (deploy/nginx.conf, read from
// `deployFile`) with these instances, this listening port and the
// certificate and key in `certDir`. Empty when the file cannot be read.
inline QString frontSite(const QString& deployFile, const QList<int>& instancePorts, int frontPort,
                         const QString& certDir)
{
    QFile f(deployFile);
    if (!f.open(QIODevice::ReadOnly))
        return QString();
    QString s = QString::fromUtf8(f.readAll());
    QString upstreams;
    for (int port : instancePorts)
        upstreams += QStringLiteral("    server 127.0.0.1:%1 max_fails=1 fail_timeout=10s;\n").arg(port);
    s.replace(QRegularExpression(QStringLiteral("    server 127\\.0\\.0\\.1:876\\d[^\n]*\n")), QString());
    s.replace(QStringLiteral("    keepalive 64;"), upstreams + QStringLiteral("    keepalive 64;"));
    s.replace(QStringLiteral("listen 443 ssl;"), QStringLiteral("listen 127.0.0.1:%1 ssl;").arg(frontPort));
    s.replace(QStringLiteral("/etc/clouddisk/tls/cert.pem"), certDir + QStringLiteral("/cert.pem"));
    s.replace(QStringLiteral("/etc/clouddisk/tls/key.pem"), certDir + QStringLiteral("/key.pem"));
    return s;
}

// ---- certificates -----------------------------------------------------------------

// A self-signed certificate for 127.0.0.1 and localhost, made with the
// openssl command; the files are cert.pem and key.pem in `dir`.
inline bool makeCertificate(const QString& dir, QString* why = nullptr)
{
    const QString openssl = findProgram(QStringLiteral("openssl"));
    QByteArray out;
    const bool ok = !openssl.isEmpty()
                    && run(openssl, {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"),
                                     QStringLiteral("rsa:2048"), QStringLiteral("-nodes"), QStringLiteral("-keyout"),
                                     dir + QStringLiteral("/key.pem"), QStringLiteral("-out"),
                                     dir + QStringLiteral("/cert.pem"), QStringLiteral("-days"), QStringLiteral("2"),
                                     QStringLiteral("-subj"), QStringLiteral("/CN=127.0.0.1"), QStringLiteral("-addext"),
                                     QStringLiteral("subjectAltName=IP:127.0.0.1,DNS:localhost")},
                           &out);
    if (!ok && why)
        *why = openssl.isEmpty() ? QStringLiteral("no openssl command") : QString::fromLocal8Bit(out);
    return ok;
}

#endif // !_WIN32

} // namespace clustersupport
