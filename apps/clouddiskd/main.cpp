// clouddiskd: the cloud-disk service as a server that several hosts share.
//
//   clouddiskd [--db postgresql://USER@HOST:PORT/DBNAME] --data DIR [--listen HOST:PORT]
//              [--tls-cert FILE --tls-key FILE] [--threads N] [--per-address-limit N]
//              [--request-seconds S] [--trusted-proxy ADDR]...
//
// Keeps the cloud's records and contents in DIR and answers hosts over HTTP,
// or HTTPS with a certificate and key (PEM). With --db the records live in
// that PostgreSQL database instead, and DIR holds the contents only: any
// number of clouddiskd with the same --db and the same DIR (a folder they all
// mount) serve one cloud, behind a front that spreads the hosts over them.
// PORT 0 takes any free port. Once it serves, it prints
// "clouddiskd listening on http://HOST:PORT" (or https://) on standard
// output. SIGINT and SIGTERM stop it cleanly; a harder stop loses nothing
// that was committed.
#include "CloudDiskService.h"
#include "CloudHttpServer.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <csignal>
#include <cstdio>
#include <pthread.h>
#include <sys/resource.h>
#include <thread>

namespace {

bool parseListen(const QString& text, QString* host, int* port)
{
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    if (colon <= 0)
        return false;
    *host = text.left(colon);
    if (host->startsWith(QLatin1Char('[')) && host->endsWith(QLatin1Char(']')))
        *host = host->mid(1, host->size() - 2);
    bool ok = false;
    *port = text.mid(colon + 1).toInt(&ok, 10);
    return ok && *port >= 0 && *port <= 65535 && !host->isEmpty();
}

// Every descriptor the system lets this process have: each connection needs
// one or two.
void raiseFileLimit()
{
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < files.rlim_max) {
        files.rlim_cur = files.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &files);
    }
}

// A whole PEM file, NUL-terminated as the HTTP library wants it; empty when
// it cannot be read.
QByteArray readPem(const QString& path, QString* error)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        *error = f.errorString();
        return QByteArray();
    }
    QByteArray pem = f.readAll();
    if (!pem.contains("-----BEGIN ")) {
        *error = QStringLiteral("not a PEM file");
        return QByteArray();
    }
    pem.append('\0');
    return pem;
}

bool positiveNumber(const QString& text, int* out)
{
    bool ok = false;
    *out = text.toInt(&ok, 10);
    return ok && *out > 0;
}

} // namespace

int main(int argc, char* argv[])
{
    // Stop signals are taken by a watcher thread, never by a handler that
    // could interrupt a transaction half way.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    // A peer that goes away mid-answer must not end the server.
    std::signal(SIGPIPE, SIG_IGN);

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("clouddiskd"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("The cloud-disk service over HTTP."));
    parser.addHelpOption();
    const QCommandLineOption dataOption(QStringLiteral("data"), QStringLiteral("Folder of the cloud's records and contents."),
                                        QStringLiteral("DIR"));
    const QCommandLineOption listenOption(QStringLiteral("listen"),
                                          QStringLiteral("Address to serve on (port 0: any free port)."),
                                          QStringLiteral("HOST:PORT"), QStringLiteral("127.0.0.1:8765"));
    const QCommandLineOption dbOption(
        QStringLiteral("db"),
        QStringLiteral("PostgreSQL database of the cloud's records, shared by several servers "
                       "(postgresql://USER@HOST:PORT/DBNAME; HOST may be a socket folder written %2F...). "
                       "Without it: SQLite in DIR."),
        QStringLiteral("URL"));
    const QCommandLineOption certOption(QStringLiteral("tls-cert"),
                                        QStringLiteral("Serve HTTPS with this certificate (PEM, chain after it)."),
                                        QStringLiteral("FILE"));
    const QCommandLineOption keyOption(QStringLiteral("tls-key"), QStringLiteral("The certificate's private key (PEM)."),
                                       QStringLiteral("FILE"));
    const QCommandLineOption threadsOption(QStringLiteral("threads"),
                                           QStringLiteral("Threads serving connections (default: from the machine)."),
                                           QStringLiteral("N"));
    const QCommandLineOption perAddressOption(QStringLiteral("per-address-limit"),
                                              QStringLiteral("Connections one address may hold at once (default 64)."),
                                              QStringLiteral("N"), QStringLiteral("64"));
    const QCommandLineOption requestOption(
        QStringLiteral("request-seconds"),
        QStringLiteral("Time a request's head may take to arrive, also after a previous request (default 20)."),
        QStringLiteral("S"), QStringLiteral("20"));
    const QCommandLineOption proxyOption(
        QStringLiteral("trusted-proxy"),
        QStringLiteral("A front whose X-Forwarded-For names the host (repeatable); its own connections are not "
                       "held to --per-address-limit."),
        QStringLiteral("ADDR"));
    parser.addOptions({dataOption, dbOption, listenOption, certOption, keyOption, threadsOption, perAddressOption,
                       requestOption, proxyOption});
    parser.process(app);

    if (!parser.isSet(dataOption)) {
        std::fprintf(stderr, "clouddiskd: --data DIR is required\n");
        return 2;
    }
    QString host;
    int port = 0;
    if (!parseListen(parser.value(listenOption), &host, &port)) {
        std::fprintf(stderr, "clouddiskd: --listen wants HOST:PORT, got \"%s\"\n",
                     qPrintable(parser.value(listenOption)));
        return 2;
    }

    clouddiskd::ServerOptions options;
    int number = 0;
    if (parser.isSet(threadsOption)) {
        if (!positiveNumber(parser.value(threadsOption), &number)) {
            std::fprintf(stderr, "clouddiskd: --threads wants a positive number\n");
            return 2;
        }
        options.threads = number;
    }
    if (!positiveNumber(parser.value(perAddressOption), &number)) {
        std::fprintf(stderr, "clouddiskd: --per-address-limit wants a positive number\n");
        return 2;
    }
    options.perAddressLimit = unsigned(number);
    if (!positiveNumber(parser.value(requestOption), &number)) {
        std::fprintf(stderr, "clouddiskd: --request-seconds wants a positive number\n");
        return 2;
    }
    options.requestTime = std::chrono::seconds(number);
    for (const QString& proxy : parser.values(proxyOption)) {
        if (!options.trustedProxies.add(proxy)) {
            std::fprintf(stderr, "clouddiskd: --trusted-proxy wants an IP address, got \"%s\"\n", qPrintable(proxy));
            return 2;
        }
    }
    if (parser.isSet(certOption) != parser.isSet(keyOption)) {
        std::fprintf(stderr, "clouddiskd: --tls-cert and --tls-key go together\n");
        return 2;
    }
    if (parser.isSet(certOption)) {
        QString why;
        options.tlsCertificate = readPem(parser.value(certOption), &why);
        if (options.tlsCertificate.isEmpty()) {
            std::fprintf(stderr, "clouddiskd: cannot read the certificate %s: %s\n",
                         qPrintable(parser.value(certOption)), qPrintable(why));
            return 1;
        }
        options.tlsKey = readPem(parser.value(keyOption), &why);
        if (options.tlsKey.isEmpty()) {
            std::fprintf(stderr, "clouddiskd: cannot read the key %s: %s\n", qPrintable(parser.value(keyOption)),
                         qPrintable(why));
            return 1;
        }
    }
    const bool tls = parser.isSet(certOption);
    raiseFileLimit();

    const QString dataDir = QDir(parser.value(dataOption)).absolutePath();
    QString error;
    std::unique_ptr<clouddisk::Service> service = clouddisk::Service::open(dataDir, parser.value(dbOption), &error);
    if (!service) {
        std::fprintf(stderr, "clouddiskd: cannot open the store in %s: %s\n", qPrintable(dataDir),
                     qPrintable(error));
        return 1;
    }
    // Every thread that serves or checks a password holds a database
    // connection while it works, and the thread that opened the store
    // keeps its own.
    service->setConnectionLimit(options.threadCount() + options.loginThreadCount() + 1);

    clouddiskd::CloudHttpServer server(*service, options);
    const int bound = server.bind(host, port);
    if (bound < 0) {
        std::fprintf(stderr, "clouddiskd: cannot listen on %s:%d\n", qPrintable(host), port);
        return 1;
    }

    std::thread watcher([&server, stopSignals] {
        int signal = 0;
        sigwait(&stopSignals, &signal);
        // Also a stop that comes before serving starts ends it.
        server.stop();
    });

    const QString shownHost = host.contains(QLatin1Char(':')) ? QLatin1Char('[') + host + QLatin1Char(']') : host;
    QString why;
    const bool served = server.serve(&why, [&] {
        std::printf("clouddiskd listening on %s://%s:%d\n", tls ? "https" : "http", qPrintable(shownHost), bound);
        std::printf("clouddiskd serving with %d threads, up to %u connections, %u per address%s, "
                    "%lld s for a request to arrive\n",
                    options.threadCount(), options.connectionLimit(), options.perAddressLimit,
                    options.trustedProxies.isEmpty() ? "" : " (trusted proxies: any number)",
                    static_cast<long long>(options.requestTime.count()));
        std::fflush(stdout);
    });
    if (!served)
        std::fprintf(stderr, "clouddiskd: %s\n", qPrintable(why));

    // serve() also ends without a signal when listening fails; wake the
    // watcher so it can be joined.
    pthread_kill(watcher.native_handle(), SIGTERM);
    watcher.join();
    return served ? 0 : 1;
}
