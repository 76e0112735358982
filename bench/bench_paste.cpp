// Paste of a folder tree, as the dialog's paste does it (the conflict
// collection, then the copy), against `cp -r` of the same tree in the same
// run, and against `cp -r --reflink=auto`: into an empty folder, and over an
// existing copy (every file replaced). Prints the median of each, the ratios
// and whether each target is MET or MISSED.
//
//   bench_paste [--files N] [--mb M] [--runs R] [--dir FOLDER] [--keep]
//
// Defaults: 2000 files, 500 MB in all, 5 runs, a temporary folder beside
// the build. Smaller trees run in seconds: bench_paste --files 200 --mb 20.
#include "fileops.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <functional>

namespace {

double median(QVector<double> v)
{
    std::sort(v.begin(), v.end());
    const int n = v.size();
    return n == 0 ? 0 : (n % 2 ? v.at(n / 2) : (v.at(n / 2 - 1) + v.at(n / 2)) / 2);
}

void sync()
{
    QProcess::execute(QStringLiteral("sync"), {});
}

bool makeTree(const QString& root, int files, qint64 totalBytes)
{
    QRandomGenerator rng(12);
    const qint64 mean = totalBytes / files;
    QByteArray block(int(std::min<qint64>(mean * 2 + 1, 64 << 20)), Qt::Uninitialized);
    for (int i = 0; i < block.size(); i += 4)
        *reinterpret_cast<quint32*>(block.data() + i) = rng.generate();
    qint64 written = 0;
    for (int i = 0; i < files; ++i) {
        const QString folder = root + QStringLiteral("/分部%1").arg(i / 100, 3, 10, QLatin1Char('0'));
        if (i % 100 == 0 && !QDir().mkpath(folder))
            return false;
        // Sizes spread from half to one and a half times the mean; the last
        // file makes the total exact.
        qint64 size = i + 1 == files ? totalBytes - written : mean / 2 + qint64(rng.bounded(quint32(mean + 1)));
        size = std::max<qint64>(0, std::min<qint64>(size, block.size() - 1));
        QFile f(folder + QStringLiteral("/清单%1.GCFX").arg(i, 5, 10, QLatin1Char('0')));
        if (!f.open(QIODevice::WriteOnly) || f.write(block.constData() + (i % 7), size) != size)
            return false;
        written += size;
    }
    return true;
}

// The dialog's paste of one folder into target: what it asks about, then
// the copy.
bool paste(const QString& source, const QString& target)
{
    const fileops::PastePlan plan = fileops::planPaste({source}, target, true);
    QString lastName;
    return plan.refusedSource.isEmpty()
           && fileops::copyDirectoryRecursively(source, QDir(target).filePath(QFileInfo(source).fileName()), lastName);
}

bool cpr(const QString& source, const QString& target, bool over, bool reflink)
{
    // Over an existing copy `cp -rT` writes into it instead of beneath it.
    QStringList args = over ? QStringList{"-rT", source, QDir(target).filePath(QFileInfo(source).fileName())}
                            : QStringList{"-r", source, target};
    if (reflink)
        args.prepend(QStringLiteral("--reflink=auto"));
    return QProcess::execute(QStringLiteral("cp"), args) == 0;
}

QString loadAverage()
{
    QFile f(QStringLiteral("/proc/loadavg"));
    if (!f.open(QIODevice::ReadOnly))
        return QStringLiteral("unknown");
    return QString::fromLatin1(f.readAll()).section(QLatin1Char(' '), 0, 2);
}

QString fileSystemOf(const QString& path)
{
    // The mount table names ext4 as such; stat -f gives one name to ext2,
    // ext3 and ext4.
    QProcess p;
    p.start(QStringLiteral("findmnt"), {QStringLiteral("-n"), QStringLiteral("-o"), QStringLiteral("FSTYPE"),
                                        QStringLiteral("-T"), path});
    p.waitForFinished();
    QString type = QString::fromLocal8Bit(p.readAllStandardOutput()).trimmed();
    if (!type.isEmpty())
        return type;
    p.start(QStringLiteral("stat"), {QStringLiteral("-f"), QStringLiteral("-c"), QStringLiteral("%T"), path});
    p.waitForFinished();
    return QString::fromLocal8Bit(p.readAllStandardOutput()).trimmed();
}

double timed(const std::function<bool()>& f, bool& ok)
{
    QElapsedTimer t;
    t.start();
    ok = f() && ok;
    return t.nsecsElapsed() / 1e9;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption filesOpt(QStringLiteral("files"), QStringLiteral("Files in the tree."), QStringLiteral("n"), QStringLiteral("2000"));
    const QCommandLineOption mbOpt(QStringLiteral("mb"), QStringLiteral("Size of the tree in MB."), QStringLiteral("m"), QStringLiteral("500"));
    const QCommandLineOption runsOpt(QStringLiteral("runs"), QStringLiteral("Runs of each measure."), QStringLiteral("r"), QStringLiteral("5"));
    const QCommandLineOption dirOpt(QStringLiteral("dir"), QStringLiteral("Where the trees are written."), QStringLiteral("folder"));
    parser.addOptions({filesOpt, mbOpt, runsOpt, dirOpt});
    parser.process(app);
    const int files = std::max(1, parser.value(filesOpt).toInt());
    const qint64 bytes = qint64(std::max(1, parser.value(mbOpt).toInt())) << 20;
    const int runs = std::max(1, parser.value(runsOpt).toInt());

    QTextStream out(stdout);
    QTemporaryDir work(parser.isSet(dirOpt) ? parser.value(dirOpt) + QStringLiteral("/bench_paste-XXXXXX")
                                            : QDir::currentPath() + QStringLiteral("/bench_paste-XXXXXX"));
    if (!work.isValid()) {
        out << "cannot create a work folder\n";
        return 1;
    }
    const QString source = work.path() + QStringLiteral("/src/工程库");
    out << "tree: " << files << " files, " << (bytes >> 20) << " MB, in " << work.path() << "\n";
    out.flush();
    if (!makeTree(source, files, bytes)) {
        out << "cannot write the tree\n";
        return 1;
    }
    sync();

    out << "file system: " << fileSystemOf(work.path()) << "; load average before: " << loadAverage() << "\n";
    out.flush();

    // Three ways to copy, each into an empty folder and then over the copy
    // it has just made; each run starts with another of them, so that none
    // always meets a busier disk.
    enum Way { Paste, Cp, CpReflink, kWays };
    const char* const names[kWays] = {"paste", "cp -r", "cp -r --reflink=auto"};
    QVector<double> empty[kWays], over[kWays];
    bool ok = true;
    for (int r = 0; r < runs; ++r) {
        for (int k = 0; k < kWays; ++k) {
            const int way = (r + k) % kWays;
            const QString target = work.path() + QStringLiteral("/way%1-%2").arg(way).arg(r);
            QDir().mkpath(target);
            const auto copy = [&] {
                return way == Paste ? paste(source, target) : cpr(source, target, false, way == CpReflink);
            };
            const auto copyOver = [&] {
                return way == Paste ? paste(source, target) : cpr(source, target, true, way == CpReflink);
            };
            empty[way] << timed(copy, ok);
            sync();
            over[way] << timed(copyOver, ok);
            sync();
            QDir(target).removeRecursively();
            sync();
        }
    }
    if (!ok) {
        out << "a copy failed\n";
        return 1;
    }
    out << "load average after: " << loadAverage() << "\n";
    out << "medians of " << runs << " runs\n";
    const auto report = [&](const char* what, const QVector<double>* times, double limit) {
        const double p = median(times[Paste]);
        out << what << ": paste " << QString::number(p, 'f', 3) << " s\n";
        for (int way : {Cp, CpReflink}) {
            const double c = median(times[way]);
            const double ratio = c > 0 ? p / c : 0;
            out << QStringLiteral("  against %1: %2 s   ratio %3")
                       .arg(QLatin1String(names[way]), -22)
                       .arg(c, 0, 'f', 3)
                       .arg(ratio, 0, 'f', 2);
            if (way == Cp)
                out << QStringLiteral("   target <= %1   %2")
                           .arg(limit, 0, 'f', 2)
                           .arg(ratio > 0 && ratio <= limit
                                    ? QStringLiteral("MET")
                                    : QStringLiteral("MISSED by factor %1").arg(ratio / limit, 0, 'f', 2));
            out << "\n";
        }
    };
    report("into an empty folder", empty, 1.1);
    report("over an existing copy", over, 1.2);
    return 0;
}
