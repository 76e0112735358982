// bench_cloud's load mode: N hosts at once against K clouddiskd on one set of
// records (SQLite for one instance, or PostgreSQL), K > 1 behind nginx with
// the configuration of deploy/. Each host lists its personal tree, uploads a
// file of 1 to 16 KB and downloads it back, over and over, on a connection it
// keeps; every request is timed.
#include "cloudload.h"

#include "CloudHttp_p.h"
#include "cloudserversupport.h"
#include "clustersupport.h"
#include "httpclient.h"

#include <curl/curl.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

namespace cloudload {

namespace http = clouddisk::http;
using namespace clustersupport;

namespace {

// Hosts sign in as one of this many users (each sign-in costs a password
// hash on purpose; the load is the requests that follow).
constexpr int kUsers = 16;

using httpclient::Client;
using httpclient::Reply;

QByteArray compact(const QJsonObject& o)
{
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

QJsonObject envelope(const QJsonObject& method)
{
    return QJsonObject{{"cmd", "cloudDisk"}, {"orgin_token", "mq_token_user"}, {"data", method}};
}

int codeOf(const Reply& r)
{
    return r.status == 200 ? QJsonDocument::fromJson(r.body).object().value("code").toInt(-1) : -1;
}

enum Kind { List, Ticket, Upload, Download, Kinds };
const char* const kKindNames[Kinds] = {"list", "upload ticket", "upload", "download"};

struct Figures
{
    std::vector<double> ms[Kinds];
    int errors[Kinds] = {};
};

double percentile(std::vector<double> v, double p)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, size_t(p * double(v.size())))];
}

} // namespace

int run(int clients, int instances, bool postgres, int seconds)
{
    curl_global_init(CURL_GLOBAL_DEFAULT);
    QTemporaryDir data;
    Postgres pg;
    QString db;
    if (postgres) {
        if (!pg.start() || !pg.createDatabase(QStringLiteral("bench"))) {
            std::fprintf(stderr, "bench_cloud: PostgreSQL: %s\n", qPrintable(pg.why()));
            return 1;
        }
        db = pg.url(QStringLiteral("bench"));
    } else if (instances > 1) {
        std::fprintf(stderr, "bench_cloud: several instances share their records in PostgreSQL: use --db postgresql\n");
        return 2;
    }
    QVector<qint64> users;
    QVector<QString> roots;
    {
        QString error;
        auto service = clouddisk::Service::open(data.path(), db, &error);
        if (!service) {
            std::fprintf(stderr, "bench_cloud: %s\n", qPrintable(error));
            return 1;
        }
        for (int u = 0; u < kUsers; ++u) {
            users << service->addUser(QStringLiteral("user%1").arg(u), QStringLiteral("pw%1").arg(u));
            roots << QString::number(service->personalRoot(users.last()));
        }
    }
    const QStringList dbArgs = db.isEmpty() ? QStringList() : QStringList{QStringLiteral("--db"), db};
    std::vector<std::unique_ptr<cloudtest::Server>> servers;
    for (int i = 0; i < instances; ++i) {
        servers.push_back(std::make_unique<cloudtest::Server>(data.path(), dbArgs));
        if (!servers.back()->start()) {
            std::fprintf(stderr, "bench_cloud: clouddiskd did not start\n");
            return 1;
        }
    }
    QByteArray base = "http://127.0.0.1:" + QByteArray::number(servers.front()->port());
    QString ca;
    QTemporaryDir certs;
    Nginx front;
    if (instances > 1) {
        QString why;
        QFile f(QStringLiteral(PFD_SOURCE_DIR "/deploy/nginx.conf"));
        if (!makeCertificate(certs.path(), &why) || !f.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "bench_cloud: %s\n", qPrintable(why));
            return 1;
        }
        QString site = QString::fromUtf8(f.readAll());
        QString upstreams;
        for (const auto& s : servers)
            upstreams += QStringLiteral("    server 127.0.0.1:%1 max_fails=1 fail_timeout=10s;\n").arg(s->port());
        site.replace(QRegularExpression(QStringLiteral("    server 127\\.0\\.0\\.1:876\\d[^\n]*\n")), QString());
        site.replace(QStringLiteral("    keepalive 64;"), upstreams + QStringLiteral("    keepalive 64;"));
        const int port = freePort();
        site.replace(QStringLiteral("listen 443 ssl;"), QStringLiteral("listen 127.0.0.1:%1 ssl;").arg(port));
        ca = certs.path() + QStringLiteral("/cert.pem");
        site.replace(QStringLiteral("/etc/clouddisk/tls/cert.pem"), ca);
        site.replace(QStringLiteral("/etc/clouddisk/tls/key.pem"), certs.path() + QStringLiteral("/key.pem"));
        if (!front.start(site, port)) {
            std::fprintf(stderr, "bench_cloud: nginx: %s\n", qPrintable(front.why()));
            return 1;
        }
        base = "https://127.0.0.1:" + QByteArray::number(port);
    }

    // One sign-in per user; its hosts share the session.
    QVector<QByteArray> tokens;
    {
        Client c(base, ca);
        for (int u = 0; u < kUsers; ++u) {
            const Reply r = c.post(QByteArray(http::kLoginPath),
                                   compact({{"name", QStringLiteral("user%1").arg(u)}, {"password", QStringLiteral("pw%1").arg(u)}}),
                                   {}, http::kJsonType);
            tokens << "Authorization: Bearer " + QJsonDocument::fromJson(r.body).object().value("token").toString().toUtf8();
        }
    }

    std::printf("load: %d hosts, %d clouddiskd (%s)%s, %d s; each lists, uploads 1-16 KB and downloads it back\n",
                clients, instances, postgres ? "PostgreSQL" : "SQLite",
                instances > 1 ? " behind nginx (TLS, deploy/nginx.conf)" : ", reached directly", seconds);
    QMutex mutex;
    Figures all;
    std::atomic<bool> stop{false};
    std::vector<std::thread> hosts;
    for (int h = 0; h < clients; ++h) {
        hosts.emplace_back([&, h] {
            Figures mine;
            Client c(base, ca);
            const int u = h % kUsers;
            const QByteArray& token = tokens[u];
            const QString mqid = QString::number(users[u]);
            QRandomGenerator random(quint32(h + 1));
            QElapsedTimer t;
            for (int i = 0; !stop; ++i) {
                const auto timed = [&](Kind kind, const std::function<bool()>& request) {
                    t.start();
                    const bool ok = request();
                    mine.ms[kind].push_back(double(t.nsecsElapsed()) / 1e6);
                    if (!ok)
                        ++mine.errors[kind];
                    return ok;
                };
                timed(List, [&] {
                    return codeOf(c.post(http::kRequestPath,
                                         compact(envelope({{"method", "personcloudgetfiledirforclouddisk"},
                                                           {"mqid", double(users[u])}, {"data", QJsonObject()}})),
                                         {token}, http::kJsonType))
                           == 0;
                });
                const QString name = QStringLiteral("h%1-%2.GCFG").arg(h).arg(i % 8);
                const QByteArray contents(1024 + int(random.bounded(15 * 1024)), char('a' + i % 26));
                QJsonObject ticket;
                const bool ticketOk = timed(Ticket, [&] {
                    const QJsonObject item{{"wjm", name}, {"pid", roots[u]}, {"wjdx", double(contents.size())}, {"ext", ".GCFG"}};
                    const Reply r = c.post(http::kRequestPath,
                                           compact(envelope({{"method", "personclouduploadinfoforclouddisk"},
                                                             {"mqid", mqid}, {"pid", roots[u]}, {"data", QJsonArray{item}}})),
                                           {token}, http::kJsonType);
                    ticket = QJsonDocument::fromJson(r.body).object().value("data").toObject();
                    return codeOf(r) == 0;
                });
                if (!ticketOk)
                    continue;
                QString xzlj;
                const bool uploaded = timed(Upload, [&] {
                    const QJsonObject file = envelope({{"method", "personclouduploadfileinfoforclouddisk"},
                                                       {"sclj", ticket.value("sclj")}, {"filePath", "/tmp/x"},
                                                       {"wjjwybs", ticket.value("wjjwybs")}, {"pid", ticket.value("pid")},
                                                       {"wjdx", ticket.value("wjdx")}, {"ext", ticket.value("ext")},
                                                       {"mqid", mqid}, {"SFFG", "1"}, {"SFFX", "1"},
                                                       {"wjm", ticket.value("wjm")}, {"data", QJsonObject()}});
                    const Reply r = c.post(http::kUploadPath, contents,
                                           {token, QByteArray(http::kEnvelopeHeader) + ": " + http::encodeEnvelopeHeader(file)},
                                           http::kContentsType);
                    xzlj = QJsonDocument::fromJson(r.body).object().value("data").toObject().value("xzlj").toString();
                    return codeOf(r) == 0;
                });
                if (!uploaded)
                    continue;
                timed(Download, [&] {
                    const Reply r = c.post(http::kDownloadPath,
                                           compact(envelope({{"method", "personclouddownloadfileforclouddisk"},
                                                             {"fileName", name}, {"filePath", "/tmp/x"}, {"Iscover", "0"},
                                                             {"xzlj", xzlj}, {"data", QJsonObject()}})),
                                           {token}, http::kJsonType);
                    return r.status == 200 && r.type == http::kContentsType && r.body == contents;
                });
            }
            QMutexLocker lock(&mutex);
            for (int k = 0; k < Kinds; ++k) {
                all.ms[k].insert(all.ms[k].end(), mine.ms[k].begin(), mine.ms[k].end());
                all.errors[k] += mine.errors[k];
            }
        });
    }
    QElapsedTimer wall;
    wall.start();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    stop = true;
    for (std::thread& t : hosts)
        t.join();
    const double elapsed = double(wall.nsecsElapsed()) / 1e9;
    std::vector<double> every;
    int errors = 0;
    for (int k = 0; k < Kinds; ++k) {
        std::printf("  %-14s %7zu requests  p50 %7.1f ms  p99 %7.1f ms  errors %d\n", kKindNames[k], all.ms[k].size(),
                    percentile(all.ms[k], 0.5), percentile(all.ms[k], 0.99), all.errors[k]);
        every.insert(every.end(), all.ms[k].begin(), all.ms[k].end());
        errors += all.errors[k];
    }
    std::printf("  all            %7.0f requests/s  p50 %7.1f ms  p99 %7.1f ms  errors %d  (load average %s)\n",
                double(every.size()) / elapsed, percentile(every, 0.5), percentile(every, 0.99), errors,
                qPrintable(loadAverage()));
    return errors == 0 ? 0 : 1;
}

QString loadAverage()
{
    QFile f(QStringLiteral("/proc/loadavg"));
    return f.open(QIODevice::ReadOnly) ? QString::fromLatin1(f.readAll()).section(QLatin1Char(' '), 0, 2) : QString();
}

} // namespace cloudload
