// bench_cloud's load mode: N clients at once against one clouddiskd (SQLite
// or PostgreSQL), or K of them on one PostgreSQL database behind nginx with
// the configuration of deploy/; see cloudload.h.
#include "cloudload.h"

#include "benchserver.h"
#include "cloudserversupport.h"
#include "clustersupport.h"

#include "CloudDiskService.h"
#include "CloudHttp_p.h"

#include <curl/curl.h>

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

namespace cloudload {

namespace {

namespace http = clouddisk::http;

enum Kind { Login, List, Ticket, Upload, Download, KindCount };
const char* const kKindNames[KindCount] = {"login", "list", "upload ticket", "upload", "download"};

// Users the clients sign in as, round robin: enough that sign-ins of one
// name rarely meet, few enough that making them stays quick.
constexpr int kMaxUsers = 64;

struct Figures
{
    std::vector<double> ms[KindCount];
    int errors[KindCount] = {};
    QString firstError;
};

struct Reply
{
    bool ok = false;
    long status = 0;
    QByteArray body;
};

QJsonObject envelope(const QJsonObject& method)
{
    return QJsonObject{{QStringLiteral("cmd"), QStringLiteral("cloudDisk")},
                       {QStringLiteral("orgin_token"), QStringLiteral("mq_token_user")},
                       {QStringLiteral("data"), method}};
}

QByteArray compact(const QJsonObject& o)
{
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

// Where the clients go: the one instance, or the front.
struct Target
{
    std::string base;
    // The certificate an https front must chain to.
    QByteArray caFile;
    bool reconnect = false;
};

class Client
{
public:
    Client(int index, const Target& target, Figures* figures)
        : m_target(target)
        , m_from("127.1." + std::to_string(1 + index / 250) + "." + std::to_string(1 + index % 250))
        , m_index(index)
        , m_figures(figures)
        , m_random(quint32(index + 1))
        , m_curl(curl_easy_init())
    {
    }
    ~Client() { curl_easy_cleanup(m_curl); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // Signs in, tells `signedIn`, waits for `go`, then runs rounds until
    // `stop`.
    void run(std::atomic<int>& signedIn, const std::atomic<bool>& go, const std::atomic<bool>& stop)
    {
        const int user = m_index % kMaxUsers;
        const QJsonObject login = timed(Login, http::kLoginPath,
                                        compact(QJsonObject{{QStringLiteral("name"), QStringLiteral("load%1").arg(user)},
                                                            {QStringLiteral("password"), QStringLiteral("load-pass")}}));
        m_token = login.value(QLatin1String("token")).toString().toLatin1();
        m_userId = qint64(login.value(QLatin1String("userId")).toDouble(-1));
        ++signedIn;
        while (!go)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        if (m_token.isEmpty())
            return;
        for (int round = 0; !stop; ++round)
            cycle(round);
    }

private:
    // One POST from this client's address, on its kept connection (a new
    // one with --reconnect).
    Reply post(const char* path, const QByteArray& body, bool signedIn, const QByteArray& envelopeHeader = {})
    {
        Reply reply;
        if (!m_curl)
            return reply;
        curl_easy_reset(m_curl);
        curl_slist* headers = nullptr;
        headers = curl_slist_append(headers, envelopeHeader.isEmpty() ? "Content-Type: application/json"
                                                                       : "Content-Type: application/octet-stream");
        headers = curl_slist_append(headers, envelopeHeader.isEmpty() ? "Expect:" : "Expect: 100-continue");
        if (signedIn)
            headers = curl_slist_append(headers, ("Authorization: Bearer " + m_token).constData());
        if (!envelopeHeader.isEmpty())
            headers = curl_slist_append(headers, (QByteArray(http::kEnvelopeHeader) + ": " + envelopeHeader).constData());
        const std::string url = m_target.base + path;
        curl_easy_setopt(m_curl, CURLOPT_URL, url.c_str());
        curl_easy_setopt(m_curl, CURLOPT_PROXY, "");
        curl_easy_setopt(m_curl, CURLOPT_INTERFACE, m_from.c_str());
        if (!m_target.caFile.isEmpty())
            curl_easy_setopt(m_curl, CURLOPT_CAINFO, m_target.caFile.constData());
        curl_easy_setopt(m_curl, CURLOPT_NOSIGNAL, 1L);
        if (m_target.reconnect)
            curl_easy_setopt(m_curl, CURLOPT_FORBID_REUSE, 1L);
        curl_easy_setopt(m_curl, CURLOPT_TCP_NODELAY, 1L);
        // Sign-ins are slow on purpose and many at once queue for the hashing
        // threads: the figures show how long, rather than cut them off.
        curl_easy_setopt(m_curl, CURLOPT_TIMEOUT, 300L);
        curl_easy_setopt(m_curl, CURLOPT_POST, 1L);
        curl_easy_setopt(m_curl, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(m_curl, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(body.size()));
        curl_easy_setopt(m_curl, CURLOPT_POSTFIELDS, body.constData());
        curl_easy_setopt(m_curl, CURLOPT_WRITEFUNCTION, +[](char* data, size_t, size_t n, void* out) {
            static_cast<QByteArray*>(out)->append(data, int(n));
            return n;
        });
        curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, &reply.body);
        reply.ok = curl_easy_perform(m_curl) == CURLE_OK;
        curl_easy_getinfo(m_curl, CURLINFO_RESPONSE_CODE, &reply.status);
        curl_slist_free_all(headers);
        return reply;
    }

    void cycle(int round)
    {
        const QJsonObject tree = timed(List, http::kRequestPath,
                                       compact(envelope({{QStringLiteral("method"), QStringLiteral("personcloudgetfiledirforclouddisk")},
                                                         {QStringLiteral("mqid"), double(m_userId)},
                                                         {QStringLiteral("data"), QJsonObject()}})));
        const QString root = tree.value(QLatin1String("data")).toObject().value(QLatin1String("data")).toArray()
                                 .first().toObject().value(QLatin1String("wjjid")).toString();
        if (root.isEmpty())
            return;
        const int size = 1024 + int(m_random.bounded(15 * 1024 + 1));
        const QString name = QStringLiteral("c%1-%2.GCFG").arg(m_index).arg(round % 8);
        const QString mqid = QString::number(m_userId);
        const QJsonObject item{{QStringLiteral("wjm"), name},
                               {QStringLiteral("pid"), root},
                               {QStringLiteral("wjdx"), size},
                               {QStringLiteral("ext"), QStringLiteral(".GCFG")}};
        const QJsonObject info = timed(Ticket, http::kRequestPath,
                                       compact(envelope({{QStringLiteral("method"), QStringLiteral("personclouduploadinfoforclouddisk")},
                                                         {QStringLiteral("mqid"), mqid},
                                                         {QStringLiteral("pid"), root},
                                                         {QStringLiteral("data"), QJsonArray{item}}})));
        const QJsonObject t = info.value(QLatin1String("data")).toObject();
        if (t.isEmpty())
            return;
        const QJsonObject file = envelope({{QStringLiteral("method"), QStringLiteral("personclouduploadfileinfoforclouddisk")},
                                           {QStringLiteral("sclj"), t.value(QLatin1String("sclj"))},
                                           {QStringLiteral("filePath"), QString()},
                                           {QStringLiteral("wjjwybs"), t.value(QLatin1String("wjjwybs"))},
                                           {QStringLiteral("pid"), t.value(QLatin1String("pid"))},
                                           {QStringLiteral("wjdx"), t.value(QLatin1String("wjdx"))},
                                           {QStringLiteral("ext"), t.value(QLatin1String("ext"))},
                                           {QStringLiteral("mqid"), mqid},
                                           {QStringLiteral("SFFG"), QStringLiteral("1")},
                                           {QStringLiteral("SFFX"), QStringLiteral("1")},
                                           {QStringLiteral("wjm"), t.value(QLatin1String("wjm"))},
                                           {QStringLiteral("data"), QJsonObject()}});
        QByteArray contents(size, Qt::Uninitialized);
        for (int i = 0; i < size; ++i)
            contents[i] = char(m_random.generate());
        const QJsonObject stored = timed(Upload, http::kUploadPath, contents, http::encodeEnvelopeHeader(file));
        const QString xzlj = stored.value(QLatin1String("data")).toObject().value(QLatin1String("xzlj")).toString();
        if (xzlj.isEmpty())
            return;
        QElapsedTimer timer;
        timer.start();
        const Reply got = post(http::kDownloadPath,
                               compact(envelope({{QStringLiteral("method"), QStringLiteral("personclouddownloadfileforclouddisk")},
                                                 {QStringLiteral("fileName"), name},
                                                 {QStringLiteral("filePath"), QString()},
                                                 {QStringLiteral("Iscover"), QStringLiteral("0")},
                                                 {QStringLiteral("xzlj"), xzlj},
                                                 {QStringLiteral("data"), QJsonObject()}})),
                               true);
        const bool same = got.ok && got.status == 200 && got.body == contents;
        record(Download, double(timer.nsecsElapsed()) / 1e6, same,
               same ? QString() : QStringLiteral("download: HTTP %1 %2").arg(got.status).arg(QString::fromUtf8(got.body.left(120))));
    }

    // One JSON request, timed and recorded; its answer.
    QJsonObject timed(Kind kind, const char* path, const QByteArray& body, const QByteArray& envelopeHeader = {})
    {
        QElapsedTimer timer;
        timer.start();
        const Reply r = post(path, body, kind != Login, envelopeHeader);
        const QJsonObject answer = QJsonDocument::fromJson(r.body).object();
        const bool ok = r.ok && answer.value(QLatin1String("code")).toInt(-1) == 0;
        record(kind, double(timer.nsecsElapsed()) / 1e6, ok,
               ok ? QString()
                  : QStringLiteral("%1: %2 HTTP %3 %4")
                        .arg(QLatin1String(kKindNames[kind]))
                        .arg(r.ok ? QStringLiteral("answered") : QStringLiteral("no answer"))
                        .arg(r.status)
                        .arg(QString::fromUtf8(r.body.left(120))));
        return answer;
    }

    void record(Kind kind, double ms, bool ok, const QString& error)
    {
        m_figures->ms[kind].push_back(ms);
        if (!ok) {
            ++m_figures->errors[kind];
            if (m_figures->firstError.isEmpty())
                m_figures->firstError = error;
        }
    }

    const Target& m_target;
    std::string m_from;
    int m_index;
    Figures* m_figures;
    QRandomGenerator m_random;
    CURL* m_curl;
    QByteArray m_token;
    qint64 m_userId = -1;
};

double percentile(std::vector<double> v, double p)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, size_t(p * double(v.size() - 1) + 0.5))];
}

QByteArray loadAverage()
{
    QFile f(QStringLiteral("/proc/loadavg"));
    return f.open(QIODevice::ReadOnly) ? f.readAll().left(14).trimmed() : QByteArray("?");
}

// What /proc says of each instance at one moment.
struct ServerState
{
    QVector<int> fds;
    QVector<qint64> rssKb;
};

ServerState stateOf(const std::vector<std::unique_ptr<cloudtest::Server>>& servers)
{
    ServerState s;
    for (const auto& server : servers) {
        const QString pid = QString::number(server->pid());
        s.fds << benchserver::openFiles(pid);
        s.rssKb << benchserver::procStatusKb(pid, "VmRSS");
    }
    return s;
}

} // namespace

int run(const Options& options)
{
    if (options.instances > 1 && !options.postgres) {
        std::fprintf(stderr, "bench_cloud: several instances share their records in PostgreSQL: use --db postgresql\n");
        return 2;
    }
    curl_global_init(CURL_GLOBAL_DEFAULT);
    QTemporaryDir scratch(options.scratch + QStringLiteral("/bench_cloud_load-XXXXXX"));
    if (!scratch.isValid()) {
        std::fprintf(stderr, "bench_cloud: no scratch folder\n");
        return 1;
    }
    const QString data = scratch.path() + QStringLiteral("/server");
    clustersupport::Postgres pg;
    QString db;
    if (options.postgres) {
        if (!pg.start() || !pg.createDatabase(QStringLiteral("bench"))) {
            std::fprintf(stderr, "bench_cloud: PostgreSQL: %s\n", qPrintable(pg.why()));
            return 1;
        }
        db = pg.url(QStringLiteral("bench"));
    }
    const int users = std::min(options.clients, kMaxUsers);
    {
        QString error;
        auto service = clouddisk::Service::open(data, db, &error);
        for (int i = 0; service && i < users; ++i) {
            if (service->addUser(QStringLiteral("load%1").arg(i), QStringLiteral("load-pass")) < 0)
                service.reset();
        }
        if (!service) {
            std::fprintf(stderr, "bench_cloud: cannot make the users %s\n", qPrintable(error));
            return 1;
        }
    }
    QStringList serverArgs = db.isEmpty() ? QStringList() : QStringList{QStringLiteral("--db"), db};
    // Behind the front, as deploy/nginx.conf says to start them.
    if (options.instances > 1)
        serverArgs << QStringLiteral("--trusted-proxy") << QStringLiteral("127.0.0.1");
    std::vector<std::unique_ptr<cloudtest::Server>> servers;
    for (int i = 0; i < options.instances; ++i) {
        servers.push_back(std::make_unique<cloudtest::Server>(data, serverArgs));
        const QString log = scratch.path() + QStringLiteral("/clouddiskd-%1.log").arg(i + 1);
        servers.back()->writeErrorsTo(log);
        if (!servers.back()->start()) {
            QFile f(log);
            f.open(QIODevice::ReadOnly);
            std::fprintf(stderr, "bench_cloud: clouddiskd did not start: %s\n", f.readAll().constData());
            return 1;
        }
    }
    Target target;
    target.reconnect = options.reconnect;
    target.base = "http://127.0.0.1:" + std::to_string(servers.front()->port());
    QTemporaryDir certs;
    clustersupport::Nginx front;
    if (options.instances > 1) {
        QString why;
        if (!clustersupport::makeCertificate(certs.path(), &why)) {
            std::fprintf(stderr, "bench_cloud: %s\n", qPrintable(why));
            return 1;
        }
        QList<int> ports;
        for (const auto& s : servers)
            ports << s->port();
        const int port = clustersupport::freePort();
        if (!front.start(clustersupport::frontSite(QStringLiteral(PFD_SOURCE_DIR "/deploy/nginx.conf"), ports, port,
                                                   certs.path()),
                         port)) {
            std::fprintf(stderr, "bench_cloud: nginx: %s\n", qPrintable(front.why()));
            return 1;
        }
        target.base = "https://127.0.0.1:" + std::to_string(port);
        target.caFile = QFile::encodeName(certs.path() + QStringLiteral("/cert.pem"));
    }
    const ServerState before = stateOf(servers);
    std::printf("bench_cloud --clients %d --instances %d --db %s: %d s of load on %s%s (%d users, each client from "
                "its own 127.1.x.y, %s), %d cores, load average %s\n",
                options.clients, options.instances, options.postgres ? "postgresql" : "sqlite", options.seconds,
                target.base.c_str(), options.instances > 1 ? " (nginx with deploy/nginx.conf)" : "", users,
                options.reconnect ? "a new connection per request" : "one kept connection each",
                QThread::idealThreadCount(), loadAverage().constData());

    std::vector<Figures> figures(size_t(options.clients));
    std::atomic<bool> go{false}, stop{false};
    std::atomic<int> signedIn{0};
    std::vector<std::thread> threads;
    QElapsedTimer wall;
    wall.start();
    for (int i = 0; i < options.clients; ++i) {
        threads.emplace_back([&, i] {
            Client client(i, target, &figures[size_t(i)]);
            client.run(signedIn, go, stop);
        });
    }
    // All sign in at once first; the timed rounds start when all have.
    while (signedIn < options.clients)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const double signInSeconds = double(wall.nsecsElapsed()) / 1e9;
    wall.start();
    go = true;
    // Warm: every thread of the servers has opened what it keeps open (its
    // records' connection); growth from here on would be per client.
    const auto warmUp = std::chrono::milliseconds(std::min(3000, options.seconds * 1000 / 4));
    std::this_thread::sleep_for(warmUp);
    const ServerState warm = stateOf(servers);
    std::this_thread::sleep_for(std::chrono::milliseconds(options.seconds * 1000) - warmUp);
    stop = true;
    for (std::thread& t : threads)
        t.join();
    const double seconds = double(wall.nsecsElapsed()) / 1e9;
    // Connections the clients closed are gone once the servers noticed
    // (behind the front, its kept connections to them stay).
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const ServerState after = stateOf(servers);

    Figures all;
    for (const Figures& f : figures) {
        for (int k = 0; k < KindCount; ++k) {
            all.ms[k].insert(all.ms[k].end(), f.ms[k].begin(), f.ms[k].end());
            all.errors[k] += f.errors[k];
        }
        if (all.firstError.isEmpty())
            all.firstError = f.firstError;
    }
    std::vector<double> rounds;
    int errors = 0;
    for (int k = 0; k < KindCount; ++k) {
        if (k != Login)
            rounds.insert(rounds.end(), all.ms[k].begin(), all.ms[k].end());
        errors += all.errors[k];
    }
    std::printf("  all %d signed in at once within %.1f s; then %d s of rounds:\n", options.clients, signInSeconds,
                options.seconds);
    std::printf("  %-14s %8s %10s %10s %8s\n", "request", "count", "p50 ms", "p99 ms", "errors");
    for (int k = 0; k < KindCount; ++k) {
        std::printf("  %-14s %8zu %10.1f %10.1f %8d\n", kKindNames[k], all.ms[k].size(), percentile(all.ms[k], 0.5),
                    percentile(all.ms[k], 0.99), all.errors[k]);
    }
    std::printf("  %-14s %8zu %10.1f %10.1f\n", "rounds", rounds.size(), percentile(rounds, 0.5),
                percentile(rounds, 0.99));
    std::printf("  %.0f requests/s (rounds only) over %.1f s; errors %d (%s); load average %s\n",
                double(rounds.size()) / seconds, seconds, errors, errors == 0 ? "MET" : "MISSED",
                loadAverage().constData());
    if (!all.firstError.isEmpty())
        std::printf("  first error: %s\n", qPrintable(all.firstError));
    for (size_t i = 0; i < servers.size(); ++i) {
        const int k = int(i);
        std::printf("  clouddiskd %d: fds %d before, %d warm, %d after (%s: flat), RSS %.1f before, %.1f warm, "
                    "%.1f after MB\n",
                    k + 1, before.fds[k], warm.fds[k], after.fds[k], after.fds[k] <= warm.fds[k] + 4 ? "MET" : "MISSED",
                    double(before.rssKb[k]) / 1024.0, double(warm.rssKb[k]) / 1024.0, double(after.rssKb[k]) / 1024.0);
    }
    return 0;
}

} // namespace cloudload
