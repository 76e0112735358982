// bench_cloud: moving project files to and from the cloud disk.
//
// (1) Upload then download one large file (512 MB by default) through the
//     service embedded in this process and through clouddiskd on loopback,
//     against a plain `cp` of the same file and against the loopback floor
//     (the same file sent over a bare TCP connection on 127.0.0.1, no HTTP:
//     the best this machine's loopback allows); medians and ratios.
// (2) The host process's peak memory growth during each transfer.
// (3) The personal tree of 20,000 nodes: zFileDialog::LoadGrypData() end
//     to end (build the request, send it through the host channel, the
//     service writes the reply's bytes from its rows, parse them), embedded
//     and over HTTP; and its parts on their own.
//
// With --clients N it measures load instead (cloudload.h): N concurrent
// clients against one clouddiskd, or several behind nginx, for a fixed time.
//
// Prints figures and MET/MISSED beside each target; the exit code is 0
// whatever the figures (2 for bad options, 1 when set-up fails).
#include "benchserver.h"
#include "cloudload.h"

#include "CloudDiskService.h"
#include "CloudTransport.h"
#include "HostServices.h"
#include "SharedInterfaceTesting.h"
#include "TranMiUtilAction.h"
#include "mqcoreTesting.h"
#include "zFileDialog.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <cstdio>
#include <functional>
#include <vector>

using benchserver::procStatusKb;
using benchserver::ServerProcess;

namespace {

constexpr double kMiB = 1024.0 * 1024.0;

double median(std::vector<double> v)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// Resets the kernel's peak-RSS mark of a process to its current RSS.
void resetPeak(const QString& pid)
{
    QFile f(QStringLiteral("/proc/%1/clear_refs").arg(pid));
    if (f.open(QIODevice::WriteOnly))
        f.write("5");
}

// Peak memory growth of this process while `work` runs, in MB.
double peakGrowthMb(const std::function<void()>& work)
{
    const QString self = QStringLiteral("self");
    resetPeak(self);
    const qint64 before = procStatusKb(self, "VmRSS");
    work();
    const qint64 peak = procStatusKb(self, "VmHWM");
    return before < 0 || peak < 0 ? -1 : double(peak - before) / 1024.0;
}

bool makeSourceFile(const QString& path, qint64 megabytes)
{
    QFile f(path);
    if (f.exists() && f.size() == megabytes * qint64(kMiB))
        return true;
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    QByteArray block(int(kMiB), Qt::Uninitialized);
    QRandomGenerator gen(42);
    gen.fillRange(reinterpret_cast<quint32*>(block.data()), block.size() / 4);
    for (qint64 i = 0; i < megabytes; ++i) {
        // Every megabyte differs, so nothing along the way can shortcut it.
        memcpy(block.data(), &i, sizeof i);
        if (f.write(block) != block.size())
            return false;
    }
    return true;
}

QJsonObject envelope(const QJsonObject& method)
{
    return QJsonObject{{QStringLiteral("cmd"), QStringLiteral("cloudDisk")},
                       {QStringLiteral("orgin_token"), QStringLiteral("mq_token_user")},
                       {QStringLiteral("data"), method}};
}

// Upload and download through one transport, as the host's channel drives
// it, with timings and memory.
struct TransferFigures
{
    std::vector<double> upMs, downMs;
    double peakMb = 0;
    bool ok = true;
};

void transfer(clouddisk::CloudTransport& t, qint64 userId, const QString& source, const QString& target,
              int runs, TransferFigures* out)
{
    const QString mqid = QString::number(userId);
    const QJsonObject tree = t.request(envelope({{QStringLiteral("method"), QStringLiteral("personcloudgetfiledirforclouddisk")},
                                                 {QStringLiteral("mqid"), double(userId)},
                                                 {QStringLiteral("data"), QJsonObject()}}));
    const QString root = tree.value(QLatin1String("data")).toObject().value(QLatin1String("data")).toArray()
                             .first().toObject().value(QLatin1String("wjjid")).toString();
    const qint64 size = QFileInfo(source).size();
    for (int run = 0; run < runs + 1 && out->ok; ++run) {
        QElapsedTimer timer;
        QString xzlj;
        const double growth = peakGrowthMb([&] {
            timer.start();
            const QJsonObject item{{QStringLiteral("wjm"), QStringLiteral("大文件.GCFG")},
                                   {QStringLiteral("pid"), root},
                                   {QStringLiteral("wjdx"), double(qint32(size))},
                                   {QStringLiteral("ext"), QStringLiteral(".GCFG")}};
            const QJsonObject info = t.request(envelope({{QStringLiteral("method"), QStringLiteral("personclouduploadinfoforclouddisk")},
                                                         {QStringLiteral("mqid"), mqid},
                                                         {QStringLiteral("pid"), root},
                                                         {QStringLiteral("data"), QJsonArray{item}}}));
            const QJsonObject ticket = info.value(QLatin1String("data")).toObject();
            QFile in(source);
            in.open(QIODevice::ReadOnly);
            const QJsonObject stored = t.upload(
                envelope({{QStringLiteral("method"), QStringLiteral("personclouduploadfileinfoforclouddisk")},
                          {QStringLiteral("sclj"), ticket.value(QLatin1String("sclj"))},
                          {QStringLiteral("filePath"), source},
                          {QStringLiteral("wjjwybs"), ticket.value(QLatin1String("wjjwybs"))},
                          {QStringLiteral("pid"), ticket.value(QLatin1String("pid"))},
                          {QStringLiteral("wjdx"), ticket.value(QLatin1String("wjdx"))},
                          {QStringLiteral("ext"), ticket.value(QLatin1String("ext"))},
                          {QStringLiteral("mqid"), mqid},
                          {QStringLiteral("SFFG"), QStringLiteral("1")},
                          {QStringLiteral("SFFX"), QStringLiteral("1")},
                          {QStringLiteral("wjm"), ticket.value(QLatin1String("wjm"))},
                          {QStringLiteral("data"), QJsonObject()}}),
                &in);
            const double up = double(timer.nsecsElapsed()) / 1e6;
            if (info.value(QLatin1String("code")).toInt() != 0 || stored.value(QLatin1String("code")).toInt() != 0) {
                std::fprintf(stderr, "upload failed: %s %s\n", QJsonDocument(info).toJson().constData(),
                             QJsonDocument(stored).toJson().constData());
                out->ok = false;
                return;
            }
            const QJsonObject after = t.request(envelope({{QStringLiteral("method"), QStringLiteral("personcloudgetfiledirforclouddisk")},
                                                          {QStringLiteral("mqid"), double(userId)},
                                                          {QStringLiteral("data"), QJsonObject()}}));
            for (const QJsonValue& v : after.value(QLatin1String("data")).toObject().value(QLatin1String("data"))
                                           .toArray().first().toObject().value(QLatin1String("xjdata")).toArray()) {
                if (v.toObject().value(QLatin1String("wjjmc")).toString() == QStringLiteral("大文件.GCFG"))
                    xzlj = v.toObject().value(QLatin1String("xzlj")).toString();
            }
            QFile::remove(target);
            QFile sink(target);
            sink.open(QIODevice::WriteOnly);
            timer.start();
            const QJsonObject got = t.download(
                envelope({{QStringLiteral("method"), QStringLiteral("personclouddownloadfileforclouddisk")},
                          {QStringLiteral("fileName"), QStringLiteral("大文件.GCFG")},
                          {QStringLiteral("filePath"), target},
                          {QStringLiteral("Iscover"), QStringLiteral("0")},
                          {QStringLiteral("xzlj"), xzlj},
                          {QStringLiteral("data"), QJsonObject()}}),
                &sink);
            sink.close();
            const double down = double(timer.nsecsElapsed()) / 1e6;
            if (got.value(QLatin1String("code")).toInt(-1) != 0 || QFileInfo(target).size() != size) {
                std::fprintf(stderr, "download failed: %s\n", QJsonDocument(got).toJson().constData());
                out->ok = false;
                return;
            }
            // The first run warms caches and is not counted.
            if (run > 0) {
                out->upMs.push_back(up);
                out->downMs.push_back(down);
            }
        });
        out->peakMb = std::max(out->peakMb, growth);
        QFile::remove(target);
    }
}

std::vector<double> timeCp(const QString& source, const QString& target, int runs)
{
    std::vector<double> ms;
    for (int run = 0; run < runs + 1; ++run) {
        QFile::remove(target);
        QElapsedTimer timer;
        timer.start();
        QProcess::execute(QStringLiteral("cp"), {source, target});
        if (run > 0)
            ms.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    QFile::remove(target);
    return ms;
}

// The loopback floor: the file sent with sendfile over a bare TCP connection
// on 127.0.0.1 and written to target by a receiver reading 1 MB at a time,
// timed until the receiver has written the last byte. No HTTP, no service:
// what any transfer over loopback on this machine costs at least.
std::vector<double> timeLoopbackFloor(const QString& source, const QString& target, int runs)
{
    std::vector<double> ms;
    for (int run = 0; run < runs + 1; ++run) {
        QFile::remove(target);
        const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (listener < 0 || ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(listener, 1) != 0 || ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            if (listener >= 0)
                ::close(listener);
            return {};
        }
        QElapsedTimer timer;
        timer.start();
        bool received = false;
        std::thread receiver([&] {
            const int peer = ::accept(listener, nullptr, nullptr);
            const int out = ::open(QFile::encodeName(target).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
            std::vector<char> buffer(static_cast<size_t>(kMiB));
            ssize_t got = 0;
            bool written = peer >= 0 && out >= 0;
            while (written && (got = ::recv(peer, buffer.data(), buffer.size(), 0)) > 0)
                written = ::write(out, buffer.data(), size_t(got)) == got;
            received = written && got == 0;
            if (out >= 0)
                ::close(out);
            if (peer >= 0)
                ::close(peer);
        });
        const int sender = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int in = ::open(QFile::encodeName(source).constData(), O_RDONLY | O_CLOEXEC);
        const off_t size = off_t(QFileInfo(source).size());
        off_t offset = 0;
        if (sender >= 0 && in >= 0 && ::connect(sender, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            while (offset < size && ::sendfile(sender, in, &offset, size_t(size - offset)) > 0) {
            }
        }
        if (in >= 0)
            ::close(in);
        if (sender >= 0)
            ::close(sender);
        receiver.join();
        ::close(listener);
        const double elapsed = double(timer.nsecsElapsed()) / 1e6;
        if (!received || offset != size || QFileInfo(target).size() != qint64(size))
            return {};
        if (run > 0)
            ms.push_back(elapsed);
    }
    QFile::remove(target);
    return ms;
}

const char* verdict(bool met)
{
    return met ? "MET" : "MISSED";
}

void printTransfer(const char* label, const TransferFigures& f, double cpMs, double floorMs)
{
    const double up = median(f.upMs), down = median(f.downMs);
    std::printf("  %-22s upload %8.1f ms (%.2f x cp, %.2f x floor, %s)   download %8.1f ms (%.2f x cp, %.2f x floor, %s)"
                "   peak growth %6.1f MB (%s)\n",
                label, up, up / cpMs, up / floorMs, verdict(up <= 1.5 * cpMs), down, down / cpMs, down / floorMs,
                verdict(down <= 1.5 * cpMs), f.peakMb, verdict(f.peakMb >= 0 && f.peakMb < 64));
}

// A data folder whose user "tree" has `nodes` nodes below "根目录" (folders
// of files), made once under the cache folder and reused.
QString ensureTree(const QString& appDir, int nodes, qint64* userId)
{
    const QString data = appDir + QStringLiteral("/clouddisk");
    const QString ready = appDir + QStringLiteral(".ready-%1").arg(nodes);
    if (QFile::exists(ready)) {
        auto service = clouddisk::Service::open(data);
        *userId = service ? service->userId(QStringLiteral("tree")) : -1;
        return *userId > 0 ? data : QString();
    }
    QDir(appDir).removeRecursively();
    QTemporaryDir local;
    const int folders = std::max(1, nodes / 200);
    const int filesPer = (nodes - folders) / folders;
    int made = folders;
    for (int d = 0; d < folders; ++d) {
        const QString dir = local.path() + QStringLiteral("/项目 %1").arg(d, 3, 10, QLatin1Char('0'));
        QDir().mkpath(dir);
        const int count = d == folders - 1 ? nodes - made : filesPer;
        for (int i = 0; i < count; ++i) {
            QFile f(dir + QStringLiteral("/预算书_%1.GCFG").arg(i, 5, 10, QLatin1Char('0')));
            f.open(QIODevice::WriteOnly);
            f.write(QByteArray::number(i));
        }
        made += count;
    }
    auto service = clouddisk::Service::open(data);
    if (!service)
        return QString();
    *userId = service->addUser(QStringLiteral("tree"), QStringLiteral("tree-pass"));
    QString error;
    if (*userId < 0 || service->importFolder(service->personalRoot(*userId), local.path(), &error) < 0) {
        std::fprintf(stderr, "import failed: %s\n", qPrintable(error));
        return QString();
    }
    QFile(ready).open(QIODevice::WriteOnly);
    return data;
}

int countNodes(const QJsonArray& nodes)
{
    int n = 0;
    for (const QJsonValue& v : nodes)
        n += 1 + countNodes(v.toObject().value(QLatin1String("xjdata")).toArray());
    return n;
}

std::vector<double> timeTree(int runs, int* seen)
{
    std::vector<double> ms;
    for (int run = 0; run < runs + 1; ++run) {
        QElapsedTimer timer;
        timer.start();
        const QJsonObject reply = zFileDialog::LoadGrypData();
        const double elapsed = double(timer.nsecsElapsed()) / 1e6;
        const QJsonArray top = reply.value(QLatin1String("data")).toObject().value(QLatin1String("data")).toArray();
        *seen = countNodes(top.first().toObject().value(QLatin1String("xjdata")).toArray());
        if (run > 0)
            ms.push_back(elapsed);
    }
    return ms;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    // Figures appear as they are measured, also when piped to a file.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption sizeOption(QStringLiteral("size"), QStringLiteral("File size in MB (default 512)."),
                                        QStringLiteral("MB"), QStringLiteral("512"));
    const QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Timed runs (default 3)."),
                                        QStringLiteral("N"), QStringLiteral("3"));
    const QCommandLineOption nodesOption(QStringLiteral("nodes"), QStringLiteral("Tree nodes (default 20000)."),
                                         QStringLiteral("N"), QStringLiteral("20000"));
    const QCommandLineOption dirOption(QStringLiteral("dir"),
                                       QStringLiteral("Scratch folder (default: the temporary folder)."),
                                       QStringLiteral("PATH"), QDir::tempPath());
    const QCommandLineOption clientsOption(
        QStringLiteral("clients"),
        QStringLiteral("Load instead: N concurrent clients against clouddiskd (see --seconds)."), QStringLiteral("N"));
    const QCommandLineOption instancesOption(
        QStringLiteral("instances"), QStringLiteral("Load: clouddiskd instances (more than 1: behind nginx)."),
        QStringLiteral("K"), QStringLiteral("1"));
    const QCommandLineOption dbOption(QStringLiteral("db"), QStringLiteral("Load: the records in sqlite or postgresql."),
                                      QStringLiteral("KIND"), QStringLiteral("sqlite"));
    const QCommandLineOption secondsOption(QStringLiteral("seconds"),
                                           QStringLiteral("How long the load runs (default 20)."),
                                           QStringLiteral("S"), QStringLiteral("20"));
    const QCommandLineOption reconnectOption(QStringLiteral("reconnect"),
                                             QStringLiteral("Load: every request on a new connection."));
    parser.addOptions({sizeOption, runsOption, nodesOption, dirOption, clientsOption, instancesOption, dbOption,
                       secondsOption, reconnectOption});
    parser.process(app);
    if (parser.isSet(clientsOption)) {
        cloudload::Options load;
        bool okClients = false, okInstances = false, okSeconds = false;
        load.clients = parser.value(clientsOption).toInt(&okClients);
        load.instances = parser.value(instancesOption).toInt(&okInstances);
        load.seconds = parser.value(secondsOption).toInt(&okSeconds);
        load.postgres = parser.value(dbOption) == QLatin1String("postgresql");
        load.reconnect = parser.isSet(reconnectOption);
        load.scratch = parser.value(dirOption);
        if (!okClients || !okInstances || !okSeconds || load.clients <= 0 || load.instances <= 0 || load.seconds <= 0
            || (parser.value(dbOption) != QLatin1String("sqlite") && !load.postgres)) {
            std::fprintf(stderr, "bench_cloud: bad option\n");
            return 2;
        }
        return cloudload::run(load);
    }
    bool okSize = false, okRuns = false, okNodes = false;
    const qint64 sizeMb = parser.value(sizeOption).toLongLong(&okSize);
    const int runs = parser.value(runsOption).toInt(&okRuns);
    const int nodes = parser.value(nodesOption).toInt(&okNodes);
    if (!okSize || !okRuns || !okNodes || sizeMb <= 0 || runs <= 0 || nodes < 2) {
        std::fprintf(stderr, "bench_cloud: bad option\n");
        return 2;
    }
    SharedInterfaceTesting::reset();
    LogManagement::getInstance()->setEnabled(false);

    QTemporaryDir scratch(parser.value(dirOption) + QStringLiteral("/bench_cloud-XXXXXX"));
    if (!scratch.isValid()) {
        std::fprintf(stderr, "bench_cloud: no scratch folder\n");
        return 1;
    }
    const QString source = scratch.path() + QStringLiteral("/source.GCFG");
    const QString target = scratch.path() + QStringLiteral("/downloaded.GCFG");
    std::printf("bench_cloud: %lld MB file, %d timed runs (after one warm-up), scratch %s\n", sizeMb, runs,
                qPrintable(scratch.path()));
    if (!makeSourceFile(source, sizeMb)) {
        std::fprintf(stderr, "bench_cloud: cannot write %s\n", qPrintable(source));
        return 1;
    }

    // ---- transfers
    const double cpMs = median(timeCp(source, target, runs));
    std::printf("\nTransfers (medians; targets: at most 1.5 x cp, peak growth under 64 MB)\n");
    std::printf("  %-22s %8.1f ms (%.0f MB/s)\n", "cp", cpMs, double(sizeMb) / (cpMs / 1000));
    const double floorMs = median(timeLoopbackFloor(source, target, runs));
    if (floorMs > 0)
        std::printf("  %-22s %8.1f ms (%.0f MB/s, %.2f x cp)\n", "loopback floor", floorMs,
                    double(sizeMb) / (floorMs / 1000), floorMs / cpMs);
    else
        std::printf("  loopback floor: FAILED\n");

    {
        const QString data = scratch.path() + QStringLiteral("/embedded");
        qint64 user = -1;
        {
            auto service = clouddisk::Service::open(data);
            user = service ? service->addUser(QStringLiteral("bench"), QStringLiteral("bench-pass")) : -1;
        }
        auto t = clouddisk::makeEmbeddedTransport(data);
        TransferFigures f;
        if (user > 0 && t->login(QStringLiteral("bench"), QStringLiteral("bench-pass")).ok)
            transfer(*t, user, source, target, runs, &f);
        else
            f.ok = false;
        if (f.ok)
            printTransfer("embedded", f, cpMs, floorMs);
        else
            std::printf("  embedded: FAILED\n");
        t.reset();
        QDir(data).removeRecursively();
    }
    {
        const QString data = scratch.path() + QStringLiteral("/server");
        qint64 user = -1;
        {
            auto service = clouddisk::Service::open(data);
            user = service ? service->addUser(QStringLiteral("bench"), QStringLiteral("bench-pass")) : -1;
        }
        ServerProcess server;
        TransferFigures f;
        if (user > 0 && server.start(data)) {
            auto t = clouddisk::makeHttpTransport(server.url());
            resetPeak(server.pid());
            const qint64 serverBefore = procStatusKb(server.pid(), "VmRSS");
            if (t->login(QStringLiteral("bench"), QStringLiteral("bench-pass")).ok)
                transfer(*t, user, source, target, runs, &f);
            else
                f.ok = false;
            const qint64 serverPeak = procStatusKb(server.pid(), "VmHWM");
            if (f.ok) {
                printTransfer("clouddiskd (loopback)", f, cpMs, floorMs);
                std::printf("  %-22s server peak growth %.1f MB\n", "", double(serverPeak - serverBefore) / 1024.0);
            }
        } else {
            f.ok = false;
        }
        if (!f.ok)
            std::printf("  clouddiskd: FAILED\n");
    }
    QFile::remove(source);

    // ---- the personal tree
    std::printf("\nPersonal tree of %d nodes: zFileDialog::LoadGrypData() (target: under 150 ms)\n", nodes);
    QString cache = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    if (cache.isEmpty())
        cache = QDir::homePath() + QStringLiteral("/.cache");
    const QString appDir = cache + QStringLiteral("/pfd-bench/cloudtree-%1").arg(nodes);
    qint64 treeUser = -1;
    QElapsedTimer made;
    made.start();
    const QString treeData = ensureTree(appDir, nodes, &treeUser);
    if (treeData.isEmpty()) {
        std::printf("  tree set-up FAILED\n");
        return 0;
    }
    std::printf("  (tree ready in %.1f s, kept in %s)\n", double(made.elapsed()) / 1000, qPrintable(appDir));
    {
        // Where the time goes: the service answering with the reply's bytes
        // (the rows read and written in one pass), and the dialog reading
        // the bytes back, each on its own.
        auto service = clouddisk::Service::open(treeData);
        const QJsonObject request = envelope({{QStringLiteral("method"), QStringLiteral("personcloudgetfiledirforclouddisk")},
                                              {QStringLiteral("mqid"), double(treeUser)},
                                              {QStringLiteral("data"), QJsonObject()}});
        std::vector<double> write, read;
        qint64 replyBytes = 0;
        for (int run = 0; service && run < runs + 1; ++run) {
            QElapsedTimer timer;
            timer.start();
            const QByteArray bytes = service->handleBytes(treeUser, request);
            const double w = double(timer.nsecsElapsed()) / 1e6;
            timer.start();
            const QJsonObject parsed = QJsonDocument::fromJson(bytes).object();
            const double r = double(timer.nsecsElapsed()) / 1e6;
            replyBytes = bytes.size();
            if (run > 0 && !parsed.isEmpty()) {
                write.push_back(w);
                read.push_back(r);
            }
        }
        std::printf("  %-22s service reads the rows and writes the reply %.1f ms (%lld KB), reading it back %.1f ms\n",
                    "parts:", median(write), replyBytes / 1024, median(read));
    }
    mqcoreTesting::setUser(QString::number(treeUser), QStringLiteral("tree"), QStringLiteral("tree"));
    mqcoreTesting::setLoggedIn(true);

    SharedInterfaceTesting::setAppPath(appDir);
    int seen = 0;
    if (ServicesUtil::CloudLogin(QStringLiteral("tree"), QStringLiteral("tree-pass"))) {
        const double ms = median(timeTree(runs, &seen));
        std::printf("  %-22s %8.1f ms, %d nodes (%s)\n", "embedded", ms, seen, verdict(ms < 150 && seen == nodes));
    } else {
        std::printf("  embedded: login FAILED\n");
    }
    SharedInterfaceTesting::reset();
    LogManagement::getInstance()->setEnabled(false);
    {
        ServerProcess server;
        if (server.start(treeData)) {
            SharedInterfaceTesting::setAppPath(scratch.path());
            SharedInterfaceTesting::setHostValue(QStringLiteral("云盘服务地址"), server.url());
            if (ServicesUtil::CloudLogin(QStringLiteral("tree"), QStringLiteral("tree-pass"))) {
                const double ms = median(timeTree(runs, &seen));
                std::printf("  %-22s %8.1f ms, %d nodes (%s)\n", "clouddiskd (loopback)", ms, seen,
                            verdict(ms < 150 && seen == nodes));
            } else {
                std::printf("  clouddiskd: login FAILED\n");
            }
            SharedInterfaceTesting::reset();
        }
    }
    return 0;
}
