// Paste of a folder tree, as the dialog's paste does it (the conflict
// collection, then the copy), against `cp -r` of the same tree in the same
// run: into an empty folder, and over an existing copy (every file
// replaced). Prints the median of each and the ratios.
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

bool cpr(const QString& source, const QString& target, bool over)
{
    // Over an existing copy `cp -rT` writes into it instead of beneath it.
    const QStringList args = over ? QStringList{"-rT", source, QDir(target).filePath(QFileInfo(source).fileName())}
                                  : QStringList{"-r", source, target};
    return QProcess::execute(QStringLiteral("cp"), args) == 0;
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

    QVector<double> pasteEmpty, cpEmpty, pasteOver, cpOver;
    bool ok = true;
    for (int r = 0; r < runs; ++r) {
        const QString a = work.path() + QStringLiteral("/paste%1").arg(r);
        const QString b = work.path() + QStringLiteral("/cp%1").arg(r);
        QDir().mkpath(a);
        QDir().mkpath(b);
        // Alternate who goes first, so that neither always meets a busier disk.
        if (r % 2 == 0) {
            pasteEmpty << timed([&] { return paste(source, a); }, ok);
            sync();
            cpEmpty << timed([&] { return cpr(source, b, false); }, ok);
            sync();
        } else {
            cpEmpty << timed([&] { return cpr(source, b, false); }, ok);
            sync();
            pasteEmpty << timed([&] { return paste(source, a); }, ok);
            sync();
        }
        pasteOver << timed([&] { return paste(source, a); }, ok);
        sync();
        cpOver << timed([&] { return cpr(source, b, true); }, ok);
        sync();
        QDir(a).removeRecursively();
        QDir(b).removeRecursively();
        sync();
    }
    if (!ok) {
        out << "a copy failed\n";
        return 1;
    }
    const double pe = median(pasteEmpty), ce = median(cpEmpty), po = median(pasteOver), co = median(cpOver);
    out << QStringLiteral("into an empty folder:  paste %1 s   cp -r %2 s   ratio %3\n")
               .arg(pe, 0, 'f', 3).arg(ce, 0, 'f', 3).arg(pe / ce, 0, 'f', 2);
    out << QStringLiteral("over an existing copy: paste %1 s   cp -r %2 s   ratio %3\n")
               .arg(po, 0, 'f', 3).arg(co, 0, 'f', 3).arg(po / co, 0, 'f', 2);
    out << "medians of " << runs << " runs; target: ratio at most 1.30\n";
    return 0;
}
