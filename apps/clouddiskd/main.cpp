// clouddiskd: the cloud-disk service as a server that several hosts share.
//
//   clouddiskd [--db postgresql://USER@HOST:PORT/DBNAME] --data DIR [--listen HOST:PORT]
//
// Keeps the cloud's records and contents in DIR and answers hosts over HTTP.
// With --db the records live in that PostgreSQL database instead, and DIR
// holds the contents only: any number of clouddiskd with the same --db and
// the same DIR (a folder they all mount) serve one cloud, behind a front
// that spreads the hosts over them.
// PORT 0 takes any free port. Once it serves, it prints
// "clouddiskd listening on http://HOST:PORT" on standard output. SIGINT and
// SIGTERM stop it cleanly; a harder stop loses nothing that was committed.
#include "CloudDiskService.h"
#include "CloudHttpServer.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>

#include <csignal>
#include <cstdio>
#include <pthread.h>
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
    parser.addOption(dataOption);
    parser.addOption(dbOption);
    parser.addOption(listenOption);
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

    const QString dataDir = QDir(parser.value(dataOption)).absolutePath();
    QString error;
    std::unique_ptr<clouddisk::Service> service = clouddisk::Service::open(dataDir, parser.value(dbOption), &error);
    if (!service) {
        std::fprintf(stderr, "clouddiskd: cannot open the store in %s: %s\n", qPrintable(dataDir),
                     qPrintable(error));
        return 1;
    }

    clouddiskd::CloudHttpServer server(*service);
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
    std::printf("clouddiskd listening on http://%s:%d\n", qPrintable(shownHost), bound);
    std::fflush(stdout);

    const bool served = server.serve();

    // serve() also ends without a signal when listening fails; wake the
    // watcher so it can be joined.
    pthread_kill(watcher.native_handle(), SIGTERM);
    watcher.join();
    return served ? 0 : 1;
}
