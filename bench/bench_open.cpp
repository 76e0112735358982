// bench_open: how long a user waits for the dialog.
//
// From the call of zFileDialog::getOpenFileName to the first painted frame
// of its table showing the folder's complete, sorted contents, against a
// non-native QFileDialog opened on the same folder in the same run (timed
// until its model has every row, sorted, and its view has painted). Two
// folders: 200 entries, and the 100,000-entry folder of bench_listing
// (reused from its cache when present, else made here).
//
// Run offscreen (QT_QPA_PLATFORM=offscreen is set when unset). Prints
// medians and the ratio ours / QFileDialog; the exit code is always 0.

#include "HostServices.h"
#include "SharedInterfaceTesting.h"
#include "zFileDialog.h"
#include "zControlTesting.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QFileSystemModel>
#include <QStandardPaths>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

QString cacheRoot()
{
    QString base = qEnvironmentVariable("XDG_CACHE_HOME");
    if (base.isEmpty())
        base = QDir::homePath() + QStringLiteral("/.cache");
    return base + QStringLiteral("/pfd-bench");
}

// A folder of `files` project files and `folders` sub-folders, made once.
QString ensureFolder(const QString& path, int files, int folders)
{
    const QString ready = path + QStringLiteral(".open-ready");
    if (QFile::exists(ready) || QFile::exists(path + QStringLiteral(".ready")))
        return path;
    QDir(path).removeRecursively();
    QDir().mkpath(path);
    const char* exts[] = {"GCFX", "GCFZ", "SGCFX", "GNQS", "GCFG", "xlsx", "CJZ"};
    for (int i = 0; i < folders; ++i)
        QDir().mkpath(path + QStringLiteral("/项目文件夹 %1").arg(i));
    const QByteArray dir = QFile::encodeName(path);
    for (int i = 0; i < files; ++i) {
        const QByteArray name = dir + "/" + QStringLiteral("工程预算_%1.%2").arg(i, 5, 10, QLatin1Char('0')).arg(QLatin1String(exts[i % 7])).toUtf8();
        const int fd = ::open(name.constData(), O_CREAT | O_WRONLY, 0644);
        if (fd >= 0)
            ::close(fd);
    }
    QFile marker(ready);
    marker.open(QIODevice::WriteOnly);
    return path;
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

// Calls back once `widget` has painted while `complete()` holds.
class PaintWatch : public QObject
{
public:
    PaintWatch(QWidget* widget, std::function<bool()> complete, std::function<void()> done)
        : m_complete(std::move(complete)), m_done(std::move(done))
    {
        widget->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint && !m_fired && m_complete()) {
            m_fired = true;
            auto* w = static_cast<QWidget*>(watched);
            // Let this paint finish, then report.
            QTimer::singleShot(0, w, m_done);
        }
        return false;
    }

private:
    std::function<bool()> m_complete;
    std::function<void()> m_done;
    bool m_fired = false;
};

// Our dialog: getOpenFileName until the table has painted its rows.
double timeOurs(const QString& folder, int expectedRows)
{
    QElapsedTimer clock;
    double elapsed = -1;
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [&] {
        auto* dialog = qobject_cast<zFileDialog*>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        poll->stop();
        auto* table = dialog->findChild<QTableView*>(QStringLiteral("FileDialog"));
        new PaintWatch(
            table->viewport(), [table, expectedRows] { return table->model()->rowCount() == expectedRows; },
            [&, dialog] {
                elapsed = clock.nsecsElapsed() / 1e6;
                dialog->reject();
            });
        table->viewport()->update();
    });
    poll->start(0);
    // Never hang a benchmark: a dialog that does not get there in a minute
    // is reported as a failed run.
    QTimer::singleShot(60000, [] {
        if (auto* d = qobject_cast<zFileDialog*>(QApplication::activeModalWidget()))
            d->reject();
    });
    // One type group of every file ("*.*"): a dialog given no groups would
    // list the folders only.
    QStringList everything{QStringLiteral("全部文件"), QStringLiteral("*")};
    clock.start();
    zFileDialog::getOpenFileName(nullptr, folder, &everything, 1);
    delete poll;
    return elapsed;
}

// The toolkit's own dialog, non-native, until its model holds every row,
// sorted, and its view has painted them.
double timePeer(const QString& folder, int expectedRows)
{
    QElapsedTimer clock;
    double elapsed = -1;
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [&] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        auto* model = dialog->findChild<QFileSystemModel*>();
        // Detail view by default; whichever of its two views is showing.
        QAbstractItemView* view = dialog->findChild<QAbstractItemView*>(QStringLiteral("treeView"));
        if (!view || !view->isVisible())
            view = dialog->findChild<QAbstractItemView*>(QStringLiteral("listView"));
        if (!model || !view)
            return;
        const QModelIndex root = model->index(folder);
        if (model->rowCount(root) != expectedRows)
            return;
        poll->stop();
        // Sorting is queued after the last batch arrives: one more turn of
        // the event loop, then the next paint shows the sorted rows.
        QTimer::singleShot(0, dialog, [&, dialog, view] {
            new PaintWatch(view->viewport(), [] { return true; }, [&, dialog] {
                elapsed = clock.nsecsElapsed() / 1e6;
                dialog->reject();
            });
            view->viewport()->update();
        });
    });
    poll->start(1);
    QTimer::singleShot(60000, [] {
        if (auto* d = qobject_cast<QFileDialog*>(QApplication::activeModalWidget()))
            d->reject();
    });
    clock.start();
    QFileDialog::getOpenFileName(nullptr, QString(), folder, QStringLiteral("All (*)"), nullptr,
                                 QFileDialog::DontUseNativeDialog);
    delete poll;
    return elapsed;
}

QString loadAverage()
{
    QFile f(QStringLiteral("/proc/loadavg"));
    if (!f.open(QIODevice::ReadOnly))
        return QStringLiteral("unknown");
    return QString::fromLatin1(f.readAll()).section(QLatin1Char(' '), 0, 2);
}

// limit: the most ours / QFileDialog may be.
void run(const char* label, const QString& folder, int runs, bool oursOnly, double limit)
{
    const int entries = QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size();
    timeOurs(folder, entries); // warm-up: caches, fonts, icons
    if (!oursOnly)
        timePeer(folder, entries);
    std::vector<double> ours, peer;
    for (int i = 0; i < runs; ++i) {
        ours.push_back(timeOurs(folder, entries));
        if (!oursOnly)
            peer.push_back(timePeer(folder, entries));
    }
    const double o = median(ours), p = median(peer);
    if (oursOnly) {
        std::printf("%-8s %7d entries   ours %9.1f ms\n", label, entries, o);
        std::fflush(stdout);
        return;
    }
    const double ratio = p > 0 ? o / p : 0.0;
    char verdict[64] = "MET";
    if (!(p > 0 && ratio <= limit))
        std::snprintf(verdict, sizeof verdict, "MISSED by factor %.2f", ratio / limit);
    std::printf("%-8s %7d entries   ours %9.1f ms   QFileDialog %9.1f ms   ours/QFileDialog %5.2f   "
                "(target <= %.2f: %s; load average %s)\n",
                label, entries, o, p, ratio, limit, verdict, qPrintable(loadAverage()));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    int runs = 5;
    bool oursOnly = false;
    QByteArray only; // "200" or "100k": one folder alone
    for (int i = 1; i < argc; ++i) {
        if (qstrcmp(argv[i], "--runs") == 0 && i + 1 < argc)
            runs = std::max(1, atoi(argv[++i]));
        else if (qstrcmp(argv[i], "--only") == 0 && i + 1 < argc)
            only = argv[++i];
        else if (qstrcmp(argv[i], "--ours-only") == 0)
            oursOnly = true;
    }

    // The dialog remembers places and writes its store: keep that away from
    // the user's own application directory, and the host log off.
    QTemporaryDir appDir;
    SharedInterfaceTesting::setAppPath(appDir.path());
    LogManagement::getInstance()->setEnabled(false);
    zControlTesting::setMessageBoxScripted(true);

    const QString root = cacheRoot();
    const QString small = ensureFolder(root + QStringLiteral("/open200"), 190, 10);
    const QString big = ensureFolder(root + QStringLiteral("/big"), 100000, 2000);

    std::printf("dialog open latency, medians of %d runs (call to first painted frame with every row, sorted); "
                "load average %s\n",
                runs, qPrintable(loadAverage()));
    if (only.isEmpty() || only == "200")
        run("200", small, runs, oursOnly, 0.8);
    if (only.isEmpty() || only == "100k")
        run("100k", big, std::max(1, runs / 2), oursOnly, 0.12);
    return 0;
}
