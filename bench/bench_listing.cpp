// bench_listing: how long it takes to show one large folder.
//
// Three ways of listing the same folder are timed with a warm cache:
//   (a) the floor: opendir/readdir + fstatat into a std::vector, the least
//       any listing has to do;
//   (b) ours: getFilesByPath + fileModelLocal (records, name filters, sort by
//       name), with its parts timed one by one, and (b*) the same with every
//       row visible;
//   (c) the peer: QFileSystemModel from setRootPath until every row is in
//       and sorted, with the same filters, and (c*) without filters.
// The fixture folders are created once under a cache folder and reused.
// Peak memory of (b) is measured in a child process so that nothing the
// other measurements allocate shows up in it.
//
// Run offscreen (QT_QPA_PLATFORM=offscreen; set here when unset). Nothing is
// painted. The exit code is 0 whatever the figures: this is a measurement,
// not a pass/fail check.

#include "FileInfo.h"
#include "HostServices.h"
#include "TranMiUtilAction.h"
#include "fileModelLocal.h"
#include "listing.h"

#include <QApplication>
#include <QByteArray>
#include <QDir>
#include <QFileSystemModel>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/utsname.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// ---------------------------------------------------------------------------
// Options

struct Options
{
    int runs = 7;
    std::string dir;     // cache folder holding the fixtures
    std::string only;    // "", "big" or "mid"
    bool skipPeer = false;
    bool oursOnly = false; // only (b), for profiling
};

void printUsage(const char* argv0)
{
    std::printf("usage: %s [--runs N] [--dir PATH] [--only big|mid] [--skip-peer] [--ours-only]\n"
                "  --runs N       timed runs per configuration (default 7), after one\n"
                "                 untimed warm-up run\n"
                "  --dir PATH     folder holding the fixture folders (default\n"
                "                 $XDG_CACHE_HOME/pfd-bench or ~/.cache/pfd-bench)\n"
                "  --only big|mid measure one fixture folder only\n"
                "  --skip-peer    leave out the QFileSystemModel measurements\n"
                "  --ours-only    run (b) alone, nothing else (for a profiler)\n",
                argv0);
}

std::string defaultCacheDir()
{
    const char* xdg = std::getenv("XDG_CACHE_HOME");
    if (xdg && *xdg == '/')
        return std::string(xdg) + "/pfd-bench";
    const char* home = std::getenv("HOME");
    return std::string(home && *home ? home : "/tmp") + "/.cache/pfd-bench";
}

// Returns 0 when the options are usable, else the exit code to end with.
int parseOptions(int argc, char** argv, Options& opt)
{
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&](const char* name) -> const char* {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "%s needs a value\n", name);
                return nullptr;
            }
            return argv[++i];
        };
        if (a == "--runs") {
            const char* v = value("--runs");
            if (!v)
                return 2;
            char* end = nullptr;
            const long n = std::strtol(v, &end, 10);
            if (!end || *end != '\0' || n < 1 || n > 1000) {
                std::fprintf(stderr, "--runs wants a number from 1 to 1000\n");
                return 2;
            }
            opt.runs = int(n);
        } else if (a == "--dir") {
            const char* v = value("--dir");
            if (!v || !*v)
                return 2;
            opt.dir = v;
        } else if (a == "--only") {
            const char* v = value("--only");
            if (!v)
                return 2;
            opt.only = v;
            if (opt.only != "big" && opt.only != "mid") {
                std::fprintf(stderr, "--only wants big or mid\n");
                return 2;
            }
        } else if (a == "--skip-peer") {
            opt.skipPeer = true;
        } else if (a == "--ours-only") {
            opt.oursOnly = true;
        } else if (a == "--help" || a == "-h") {
            printUsage(argv[0]);
            return 1;
        } else {
            std::fprintf(stderr, "unknown option %s\n", a.c_str());
            printUsage(argv[0]);
            return 2;
        }
    }
    if (opt.dir.empty())
        opt.dir = defaultCacheDir();
    if (opt.dir.size() > 1 && opt.dir.back() == '/')
        opt.dir.pop_back();
    if (opt.dir.front() != '/') {
        char cwd[4096];
        if (::getcwd(cwd, sizeof cwd))
            opt.dir = std::string(cwd) + "/" + opt.dir;
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Fixture folders

struct Fixture
{
    const char* name;
    int files;
    int folders;
};

const Fixture kBig{"big", 100000, 2000};
const Fixture kMid{"mid", 9800, 200};

// Bumped whenever the names, sizes or times below change, so that an old
// fixture is rebuilt rather than silently measured.
const char kLayout[] = "pfd-bench fixture layout 1";

// Name patterns of the files, used in turn. The first five carry the
// extensions the filter of (b) and (c) lets through.
const char* const kFilePatterns[] = {
    "工程预算_%05d.GCFG", "结算书 第%d版.SGCFX", "Estimate-%d.GCFZ",
    "审计报告(%d).GNQS",  "投标报价 %d.GCFX",    "清单%d.xlsx",
    "材料价格表_%d.xls",  "Contract %d.CJZ",     "说明-%d.txt",
};
const int kPatternCount = int(sizeof kFilePatterns / sizeof kFilePatterns[0]);
const int kFilteredPatterns = 5;

const QStringList& projectFilters()
{
    static const QStringList f{QStringLiteral("*.GCFG"), QStringLiteral("*.GCFZ"),
                               QStringLiteral("*.SGCFX"), QStringLiteral("*.GNQS"),
                               QStringLiteral("*.GCFX")};
    return f;
}

std::uint64_t mix(std::uint64_t x)
{
    // splitmix64 finaliser: a cheap, well spread hash of the entry number.
    x += 0x9E3779B97F4A7C15ULL;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
    return x ^ (x >> 31);
}

std::string fileName(int i)
{
    char buf[256];
    std::snprintf(buf, sizeof buf, kFilePatterns[i % kPatternCount], i);
    return buf;
}

std::string folderName(int i)
{
    char buf[256];
    std::snprintf(buf, sizeof buf, "项目文件夹 %d", i);
    return buf;
}

// Modification times spread over 2017-01-01 .. 2023-12-31 (UTC), to the
// second, so that both the dates and the times of day differ.
struct timespec entryTime(std::uint64_t key)
{
    const std::int64_t start = 1483228800; // 2017-01-01 00:00:00 UTC
    const std::int64_t span = std::int64_t(7) * 365 * 86400;
    struct timespec ts;
    ts.tv_sec = time_t(start + std::int64_t(mix(key) % std::uint64_t(span)));
    ts.tv_nsec = 0;
    return ts;
}

// 0 bytes for one file in three, else 1 to 40 bytes.
int entrySize(int i)
{
    const std::uint64_t h = mix(std::uint64_t(i) * 2 + 1);
    return (h % 3 == 0) ? 0 : int(1 + (h >> 8) % 40);
}

std::string markerText(const Fixture& f)
{
    char buf[160];
    std::snprintf(buf, sizeof buf, "%s files=%d folders=%d\n", kLayout, f.files, f.folders);
    return buf;
}

bool readWholeFile(const std::string& path, std::string& out)
{
    FILE* fp = std::fopen(path.c_str(), "rb");
    if (!fp)
        return false;
    char buf[512];
    out.clear();
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, fp)) > 0)
        out.append(buf, n);
    std::fclose(fp);
    return true;
}

bool mkdirs(const std::string& path)
{
    std::string part;
    for (size_t i = 1; i <= path.size(); ++i) {
        if (i == path.size() || path[i] == '/') {
            part = path.substr(0, i);
            if (::mkdir(part.c_str(), 0755) != 0 && errno != EEXIST)
                return false;
        }
    }
    return true;
}

int removeOne(const char* path, const struct stat*, int, struct FTW*)
{
    return ::remove(path);
}

bool removeTree(const std::string& path)
{
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0)
        return errno == ENOENT;
    return ::nftw(path.c_str(), removeOne, 64, FTW_DEPTH | FTW_PHYS) == 0;
}

// Makes sure <root>/<name> holds the fixture. A fixture counts as complete
// only when its marker file <root>/<name>.ready carries the current layout;
// anything else (never made, interrupted, older layout) is removed and made
// again. Returns false, having said why, when that fails.
bool ensureFixture(const std::string& root, const Fixture& f)
{
    const std::string dir = root + "/" + f.name;
    const std::string marker = root + "/" + f.name + ".ready";
    std::string text;
    if (readWholeFile(marker, text) && text == markerText(f)) {
        std::printf("fixture %-3s: reusing %s\n", f.name, dir.c_str());
        return true;
    }
    std::printf("fixture %-3s: creating %s (%d files, %d folders) ...\n", f.name, dir.c_str(),
                f.files, f.folders);
    std::fflush(stdout);
    const auto t0 = std::chrono::steady_clock::now();
    ::unlink(marker.c_str());
    if (!removeTree(dir) || !mkdirs(dir)) {
        std::fprintf(stderr, "cannot prepare %s: %s\n", dir.c_str(), std::strerror(errno));
        return false;
    }
    const int dfd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd < 0) {
        std::fprintf(stderr, "cannot open %s: %s\n", dir.c_str(), std::strerror(errno));
        return false;
    }
    bool ok = true;
    char content[64];
    std::memset(content, 'x', sizeof content);
    // Folders and files are created interleaved, as a folder grows in use.
    const int total = f.files + f.folders;
    int madeFiles = 0;
    int madeFolders = 0;
    for (int k = 0; k < total && ok; ++k) {
        const bool folderTurn = madeFolders < f.folders
                                && (madeFiles >= f.files
                                    || std::int64_t(madeFolders) * total <= std::int64_t(k) * f.folders);
        if (folderTurn) {
            const std::string name = folderName(madeFolders);
            const struct timespec ts[2] = {entryTime(0x100000000ULL + std::uint64_t(madeFolders)),
                                           entryTime(0x100000000ULL + std::uint64_t(madeFolders))};
            if (::mkdirat(dfd, name.c_str(), 0755) != 0
                || ::utimensat(dfd, name.c_str(), ts, AT_SYMLINK_NOFOLLOW) != 0)
                ok = false;
            ++madeFolders;
        } else {
            const std::string name = fileName(madeFiles);
            const int fd = ::openat(dfd, name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
            if (fd < 0) {
                ok = false;
                break;
            }
            const int size = entrySize(madeFiles);
            if (size > 0 && ::write(fd, content, size_t(size)) != ssize_t(size))
                ok = false;
            const struct timespec ts[2] = {entryTime(std::uint64_t(madeFiles)),
                                           entryTime(std::uint64_t(madeFiles))};
            if (::futimens(fd, ts) != 0)
                ok = false;
            if (::close(fd) != 0)
                ok = false;
            ++madeFiles;
        }
        if ((k + 1) % 20000 == 0) {
            std::printf("  %d / %d\n", k + 1, total);
            std::fflush(stdout);
        }
    }
    ::close(dfd);
    if (!ok) {
        std::fprintf(stderr, "creating the fixture in %s failed: %s\n", dir.c_str(),
                     std::strerror(errno));
        return false;
    }
    ::sync();
    FILE* fp = std::fopen(marker.c_str(), "wb");
    const std::string want = markerText(f);
    if (!fp || std::fwrite(want.data(), 1, want.size(), fp) != want.size()) {
        if (fp)
            std::fclose(fp);
        std::fprintf(stderr, "cannot write %s\n", marker.c_str());
        return false;
    }
    std::fclose(fp);
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    std::printf("fixture %-3s: done in %.1f s\n", f.name, s);
    return true;
}

// What a folder actually holds, read untimed: the row counts each listing
// must end with.
struct Census
{
    int entries = 0;
    int folders = 0;
    int filtered = 0; // folders + files whose extension passes projectFilters()
};

bool hasFilteredSuffix(const char* name)
{
    const char* dot = std::strrchr(name, '.');
    if (!dot)
        return false;
    for (const char* ext : {".GCFG", ".GCFZ", ".SGCFX", ".GNQS", ".GCFX"}) {
        if (::strcasecmp(dot, ext) == 0)
            return true;
    }
    return false;
}

Census takeCensus(const std::string& dir)
{
    Census c;
    DIR* d = ::opendir(dir.c_str());
    if (!d)
        return c;
    const int fd = ::dirfd(d);
    while (const dirent* e = ::readdir(d)) {
        if (e->d_name[0] == '.')
            continue;
        struct stat st;
        if (::fstatat(fd, e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        ++c.entries;
        if (S_ISDIR(st.st_mode)) {
            ++c.folders;
            ++c.filtered;
        } else if (hasFilteredSuffix(e->d_name)) {
            ++c.filtered;
        }
    }
    ::closedir(d);
    return c;
}

// ---------------------------------------------------------------------------
// Timing

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t0)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
}

double processCpuMs()
{
    struct timespec ts;
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

// Wall-clock and CPU time of one timed part. The CPU time is that of the
// whole process (all its threads), so it includes the peer's loader thread
// and leaves out time the machine gave to other processes.
struct Span
{
    double wall = 0;
    double cpu = 0;
};

class Stopwatch
{
public:
    Stopwatch() : m_wall(Clock::now()), m_cpu(processCpuMs()) {}
    Span stop() const { return Span{msSince(m_wall), processCpuMs() - m_cpu}; }
    // The time since the start or the last lap, and a new lap begins.
    Span lap()
    {
        const Clock::time_point wall = Clock::now();
        const double cpu = processCpuMs();
        const Span s{std::chrono::duration<double, std::milli>(wall - m_wall).count(), cpu - m_cpu};
        m_wall = wall;
        m_cpu = cpu;
        return s;
    }

private:
    Clock::time_point m_wall;
    double m_cpu;
};

struct Stats
{
    double median = 0;    // wall clock
    double min = 0;       // wall clock
    double cpuMedian = 0; // process CPU time
    int rows = -1;        // rows the configuration ended with (last run)
    bool measured = false;
    bool complete = true; // false when a run gave up waiting
};

double medianOf(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// One run: does its own untimed preparation and clean-up and returns the
// times of its timed part; rows and complete describe the result.
using RunFn = std::function<Span(int& rows, bool& complete)>;

Stats statsOf(const std::vector<Span>& runs, int rows, bool complete)
{
    Stats s;
    s.measured = true;
    s.complete = complete;
    s.rows = rows;
    if (runs.empty())
        return s;
    std::vector<double> wall;
    std::vector<double> cpu;
    for (const Span& t : runs) {
        wall.push_back(t.wall);
        cpu.push_back(t.cpu);
    }
    s.median = medianOf(wall);
    s.min = *std::min_element(wall.begin(), wall.end());
    s.cpuMedian = medianOf(cpu);
    return s;
}

struct Config
{
    RunFn run;
    std::vector<Span> times;
    int rows = -1;
    bool complete = true;
    Stats stats() const { return statsOf(times, rows, complete); }
};

// Runs each configuration once untimed, then runs times in turns (a, b, c,
// a, b, c, ...), so that a change in the machine's load during the
// measurement falls on all of them alike. afterWarmUp, when given, is called
// between the warm-up and the timed runs.
void measureInTurns(int runs, const std::vector<Config*>& configs,
                    const std::function<void()>& afterWarmUp = {})
{
    for (Config* c : configs) {
        bool complete = true;
        c->run(c->rows, complete);
        c->complete = complete;
    }
    if (afterWarmUp)
        afterWarmUp();
    for (int i = 0; i < runs; ++i) {
        for (Config* c : configs) {
            if (!c->complete && c->times.empty())
                continue; // the warm-up gave up already
            bool complete = true;
            c->times.push_back(c->run(c->rows, complete));
            if (!complete)
                c->complete = false;
        }
    }
}

// One configuration on its own: the warm-up, then runs times.
Stats measure(int runs, const RunFn& run)
{
    Config c;
    c.run = run;
    measureInTurns(runs, {&c});
    return c.stats();
}

// (a) The floor.
struct FloorEntry
{
    std::string name;
    long long size;
    long long mtime;
};

Span runFloor(const std::string& dir, int& rows)
{
    std::vector<FloorEntry> entries;
    const Stopwatch watch;
    DIR* d = ::opendir(dir.c_str());
    if (d) {
        const int fd = ::dirfd(d);
        while (const dirent* e = ::readdir(d)) {
            const char* n = e->d_name;
            if (n[0] == '.' && (n[1] == '\0' || (n[1] == '.' && n[2] == '\0')))
                continue;
            struct stat st;
            if (::fstatat(fd, n, &st, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            entries.push_back(FloorEntry{std::string(n), (long long)st.st_size, (long long)st.st_mtime});
        }
        ::closedir(d);
    }
    const Span t = watch.stop();
    rows = int(entries.size());
    return t; // the vector is freed after the clock stopped
}

// (b) Ours, whole: one folder shown from scratch in a model whose filters
// were set beforehand. The previous run's records are dropped untimed.
Span runOurs(fileModelLocal& model, const QString& folder, int& rows)
{
    model.setFiles(QList<FileInfo>());
    model.applyNameFilters();
    const Stopwatch watch;
    {
        const QList<FileInfo> files = getFilesByPath(folder);
        model.setFiles(files);
        model.applyNameFilters();
        model.sort(0, Qt::AscendingOrder);
    }
    const Span t = watch.stop();
    rows = model.rowCount();
    return t;
}

// (b) in phases: the steps of getFilesByPath and the model one after the
// other, each timed on its own within the same run, so the split between
// the directory service and the rest comes from the very same run.
enum Phase { kService, kParse, kFilters, kSort, kPhaseCount };

struct PhaseLog
{
    std::vector<Span> phase[kPhaseCount];
    std::vector<Span> total;
    std::vector<Span> outside; // total - service, run by run
    void clear()
    {
        for (auto& v : phase)
            v.clear();
        total.clear();
        outside.clear();
    }
};

Span runPhased(fileModelLocal& model, const QString& folder, PhaseLog& log, int& rows)
{
    model.setFiles(QList<FileInfo>());
    model.applyNameFilters();
    Span s[kPhaseCount];
    Stopwatch watch;
    QByteArray bytes = TranMiUtilAction::Instance()->ReadDirAll(folder);
    s[kService] = watch.lap();
    const QList<FileInfo> files = pfd::parseDirRows(bytes, folder, false);
    bytes = QByteArray(); // getFilesByPath frees the bytes on returning
    s[kParse] = watch.lap();
    model.setFiles(files);
    model.applyNameFilters();
    s[kFilters] = watch.lap();
    model.sort(0, Qt::AscendingOrder);
    s[kSort] = watch.lap();
    Span total;
    for (const Span& p : s) {
        total.wall += p.wall;
        total.cpu += p.cpu;
    }
    for (int i = 0; i < kPhaseCount; ++i)
        log.phase[i].push_back(s[i]);
    log.total.push_back(total);
    log.outside.push_back(Span{total.wall - s[kService].wall, total.cpu - s[kService].cpu});
    rows = model.rowCount();
    return total;
}

// (c) The peer: a fresh QFileSystemModel until all rows are in and sorted.
Span runPeer(const QString& folder, const QStringList& filters, int expected, int& rows,
               bool& complete)
{
    auto* model = new QFileSystemModel;
    if (!filters.isEmpty()) {
        model->setNameFilterDisables(false);
        model->setNameFilters(filters);
    }
    bool loaded = false;
    int layoutChanges = 0;
    Clock::time_point lastChange = Clock::now();
    QObject::connect(model, &QFileSystemModel::directoryLoaded, model, [&](const QString& p) {
        if (QDir::cleanPath(p) == folder)
            loaded = true;
        lastChange = Clock::now();
    });
    QObject::connect(model, &QAbstractItemModel::layoutChanged, model, [&] {
        ++layoutChanges;
        lastChange = Clock::now();
    });
    QObject::connect(model, &QAbstractItemModel::rowsInserted, model,
                     [&] { lastChange = Clock::now(); });
    // Wakes the waiting loop now and then should no other event come.
    QTimer keepAwake;
    keepAwake.start(20);

    complete = true;
    const Stopwatch watch;
    const QModelIndex root = model->setRootPath(folder);
    bool fetched = false;
    while (!(loaded && model->rowCount(root) == expected)) {
        if (!fetched && model->canFetchMore(root)) {
            model->fetchMore(root);
            fetched = true;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        // Loaded but stuck short of the expected count, or nothing at all
        // for a long time: report it rather than hang.
        const double quiet = msSince(lastChange);
        if ((loaded && quiet > 3000) || quiet > 60000) {
            complete = false;
            break;
        }
    }
    model->sort(0, Qt::AscendingOrder);
    // Settle: spin until one pass of the event loop brings no new layout.
    for (int spin = 0; spin < 10000; ++spin) {
        const int before = layoutChanges;
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        if (layoutChanges == before)
            break;
    }
    const Span t = watch.stop();
    rows = model->rowCount(root);
    if (rows != expected)
        complete = false;
    keepAwake.stop();
    delete model; // untimed: waits for the model's loader thread
    return t;
}

// ---------------------------------------------------------------------------
// Peak memory of (b), in a child process

struct MemoryReport
{
    long baselineRssKb = -1;  // VmRSS just before (b)
    long hwmBeforeKb = -1;    // VmHWM just before (b), after resetting it
    long hwmAfterKb = -1;     // VmHWM after (b)
    long maxRssKb = -1;       // getrusage ru_maxrss after (b)
    int rows = -1;
    bool resetHwm = false;    // the high-water mark could be reset to VmRSS
    bool ok = false;
};

long statusKb(const char* field)
{
    FILE* fp = std::fopen("/proc/self/status", "r");
    if (!fp)
        return -1;
    char line[256];
    long value = -1;
    const size_t len = std::strlen(field);
    while (std::fgets(line, sizeof line, fp)) {
        if (std::strncmp(line, field, len) == 0 && line[len] == ':') {
            value = std::strtol(line + len + 1, nullptr, 10);
            break;
        }
    }
    std::fclose(fp);
    return value;
}

bool resetHighWaterMark()
{
    const int fd = ::open("/proc/self/clear_refs", O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool ok = ::write(fd, "5", 1) == 1;
    ::close(fd);
    return ok;
}

// Runs in the child: a fresh application, the pipeline warmed on a small
// folder (libraries, the collator), then (b) once on the big folder.
MemoryReport measureMemoryInChild(int argc, char** argv, const std::string& root,
                                  const QString& bigFolder)
{
    MemoryReport r;
    QApplication app(argc, argv);
    LogManagement::getInstance()->setEnabled(false);
    fileModelLocal model;
    model.setNameFilters(projectFilters());
    {
        // Warm-up on the cache folder itself (a few entries).
        const QList<FileInfo> few = getFilesByPath(QString::fromStdString(root));
        model.setFiles(few);
        model.applyNameFilters();
        model.sort(0, Qt::AscendingOrder);
        model.setFiles(QList<FileInfo>());
        model.applyNameFilters();
    }
    r.resetHwm = resetHighWaterMark();
    r.baselineRssKb = statusKb("VmRSS");
    r.hwmBeforeKb = statusKb("VmHWM");
    {
        const QList<FileInfo> files = getFilesByPath(bigFolder);
        model.setFiles(files);
        model.applyNameFilters();
        model.sort(0, Qt::AscendingOrder);
    }
    r.rows = model.rowCount();
    r.hwmAfterKb = statusKb("VmHWM");
    struct rusage ru;
    if (::getrusage(RUSAGE_SELF, &ru) == 0)
        r.maxRssKb = ru.ru_maxrss;
    r.ok = r.hwmAfterKb > 0 && r.baselineRssKb > 0;
    return r;
}

MemoryReport measureMemory(int argc, char** argv, const std::string& root, const QString& bigFolder)
{
    MemoryReport r;
    int fds[2];
    if (::pipe(fds) != 0)
        return r;
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = ::fork();
    if (pid < 0) {
        ::close(fds[0]);
        ::close(fds[1]);
        return r;
    }
    if (pid == 0) {
        ::close(fds[0]);
        const MemoryReport child = measureMemoryInChild(argc, argv, root, bigFolder);
        const ssize_t n = ::write(fds[1], &child, sizeof child);
        ::close(fds[1]);
        ::_exit(n == ssize_t(sizeof child) ? 0 : 1);
    }
    ::close(fds[1]);
    MemoryReport got;
    size_t have = 0;
    auto* p = reinterpret_cast<char*>(&got);
    while (have < sizeof got) {
        const ssize_t n = ::read(fds[0], p + have, sizeof got - have);
        if (n <= 0) {
            if (n < 0 && errno == EINTR)
                continue;
            break;
        }
        have += size_t(n);
    }
    ::close(fds[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (have == sizeof got && WIFEXITED(status) && WEXITSTATUS(status) == 0)
        r = got;
    return r;
}

// ---------------------------------------------------------------------------
// Report


void printRow(const char* label, const Stats& s, int expectedRows)
{
    if (!s.measured) {
        std::printf("  %-44s %9s %9s %9s\n", label, "-", "-", "-");
        return;
    }
    if (!s.complete && s.median == 0) {
        std::printf("  %-44s %9s %9s %9s  rows %d of %d: INCOMPLETE, not timed\n", label, "-", "-",
                    "-", s.rows, expectedRows);
        return;
    }
    std::printf("  %-44s %9.1f %9.1f %9.1f", label, s.median, s.min, s.cpuMedian);
    if (s.rows >= 0) {
        std::printf("  %7d", s.rows);
        if (expectedRows >= 0 && s.rows != expectedRows)
            std::printf("  (expected %d!)", expectedRows);
    }
    if (!s.complete)
        std::printf("  INCOMPLETE");
    std::printf("\n");
}

bool usable(const Stats& s)
{
    return s.measured && s.complete && s.median > 0;
}

// "MET" or "MISSED by factor x.xx" for value <= limit (or < limit).
std::string verdict(double value, double limit, bool strict)
{
    char buf[64];
    const bool met = strict ? value < limit : value <= limit;
    if (met)
        return "MET";
    std::snprintf(buf, sizeof buf, "MISSED by factor %.2f", value / limit);
    return buf;
}

void printRatio(const char* label, const Stats& num, const Stats& den, double target)
{
    if (!usable(num) || !usable(den)) {
        std::printf("  %-36s %7s %7s %7s\n", label, "n/a", "n/a", "n/a");
        return;
    }
    const double r = num.median / den.median;
    const double rc = den.cpuMedian > 0 ? num.cpuMedian / den.cpuMedian : 0;
    const double rm = den.min > 0 ? num.min / den.min : 0;
    std::printf("  %-36s %7.2f %7.2f %7.2f", label, r, rc, rm);
    if (target > 0)
        std::printf("   target <= %.2f   %s", target, verdict(r, target, false).c_str());
    std::printf("\n");
}

// The machine's load, to judge how far the wall-clock figures can be trusted.
struct Load
{
    double loadAvg1 = -1;   // /proc/loadavg, first field
    double pressure10 = -1; // /proc/pressure/cpu "some avg10", percent
};

Load currentLoad()
{
    Load l;
    if (FILE* fp = std::fopen("/proc/loadavg", "r")) {
        if (std::fscanf(fp, "%lf", &l.loadAvg1) != 1)
            l.loadAvg1 = -1;
        std::fclose(fp);
    }
    if (FILE* fp = std::fopen("/proc/pressure/cpu", "r")) {
        char line[256];
        if (std::fgets(line, sizeof line, fp)) {
            if (const char* at = std::strstr(line, "avg10="))
                l.pressure10 = std::strtod(at + 6, nullptr);
        }
        std::fclose(fp);
    }
    return l;
}

struct FolderResult
{
    const Fixture* fixture = nullptr;
    Census census;
    Stats a, b, bPhased, bStar, bStarPhased, c, cStar;
    Stats phase[kPhaseCount];     // (b) in phases
    Stats phaseStar[kPhaseCount]; // (b*) in phases
    Stats outside;                // (b) in phases: total - service, per run
    Stats outsideStar;
    bool peer = false;
    Load before;
    Load after;
};

void printLoad(const char* when, const Load& l)
{
    std::printf("%s load average %.2f on %ld CPUs", when, l.loadAvg1, ::sysconf(_SC_NPROCESSORS_ONLN));
    if (l.pressure10 >= 0)
        std::printf(", CPU pressure (some, 10 s) %.0f %%", l.pressure10);
}

void printFolder(const FolderResult& f, bool targets)
{
    const Census& c = f.census;
    std::printf("\n=== folder \"%s\": %d entries (%d files, %d folders); %d pass the project-file "
                "filter ===\n  ",
                f.fixture->name, c.entries, c.entries - c.folders, c.folders, c.filtered);
    printLoad("machine: before", f.before);
    std::printf(";\n  ");
    printLoad("after", f.after);
    const long cpus = ::sysconf(_SC_NPROCESSORS_ONLN);
    if (f.before.loadAvg1 > 0.75 * double(cpus) || f.after.loadAvg1 > 0.75 * double(cpus))
        std::printf("\n  BUSY MACHINE: other processes compete for the CPUs and their caches;\n"
                    "  figures are noisy. Compare ratios (all configurations ran in turns) and\n"
                    "  the minima, which come closest to the undisturbed cost");
    std::printf("\n\n  %-44s %9s %9s %9s  %7s\n", "configuration", "median ms", "min ms",
                "cpu ms", "rows");
    printRow("(a)  floor: readdir + fstatat -> vector", f.a, c.entries);
    printRow("(b)  ours, project filter, sorted by name", f.b, c.filtered);
    printRow("     (b) in phases, total", f.bPhased, c.filtered);
    printRow("       directory service (ReadDirAll)", f.phase[kService], -1);
    printRow("       parsing (parseDirRows)", f.phase[kParse], c.entries);
    printRow("       setFiles + applyNameFilters", f.phase[kFilters], c.filtered);
    printRow("       sort(0, ascending)", f.phase[kSort], c.filtered);
    printRow("(b*) ours, filter \"*.*\" (all rows), sorted", f.bStar, c.entries);
    printRow("     (b*) in phases, total", f.bStarPhased, c.entries);
    printRow("       directory service (ReadDirAll)", f.phaseStar[kService], -1);
    printRow("       parsing (parseDirRows)", f.phaseStar[kParse], c.entries);
    printRow("       setFiles + applyNameFilters", f.phaseStar[kFilters], c.entries);
    printRow("       sort(0, ascending)", f.phaseStar[kSort], c.entries);
    if (f.peer) {
        printRow("(c)  peer QFileSystemModel, project filter", f.c, c.filtered);
        printRow("(c*) peer QFileSystemModel, no filter", f.cStar, c.entries);
    } else {
        std::printf("  (c)  peer: skipped\n");
    }

    std::printf("\n  ratios of medians%s\n", targets ? "" : " (targets apply to the 100,000-entry folder)");
    std::printf("  %-36s %7s %7s %7s\n", "", "wall", "cpu", "min");
    printRatio("b/a", f.b, f.a, targets ? 1.25 : 0);
    printRatio("b*/a", f.bStar, f.a, 0);
    if (f.peer) {
        printRatio("b/c   (both filtered)", f.b, f.c, 0);
        printRatio("b*/c* (both unfiltered)", f.bStar, f.cStar, 0);
        printRatio("b*/c  (ours all rows, peer filtered)", f.bStar, f.c, 0);
    }

    auto split = [&](const char* title, const Stats& total, const Stats& service,
                     const Stats& outside, bool withTarget) {
        if (!usable(total) || !usable(service) || !usable(f.a))
            return;
        (void)total;
        const double wallSum = service.median + outside.median;
        const double cpuSum = service.cpuMedian + outside.cpuMedian;
        std::printf("\n  %-38s  wall ms   share |  cpu ms   share |  min ms\n", title);
        auto line = [&](const char* what, const Stats& part) {
            std::printf("  %-38s %8.1f %5.1f %% | %7.1f %5.1f %% | %7.1f\n", what, part.median,
                        wallSum > 0 ? 100.0 * part.median / wallSum : 0.0, part.cpuMedian,
                        cpuSum > 0 ? 100.0 * part.cpuMedian / cpuSum : 0.0, part.min);
        };
        line("inside the directory service", service);
        line("outside it (parse+records+filter+sort)", outside);
        auto ofA = [&](const char* what, const Stats& part, bool target) {
            std::printf("  %-38s %8.2f x a     | %7.2f x a     | %7.2f x a", what,
                        part.median / f.a.median,
                        f.a.cpuMedian > 0 ? part.cpuMedian / f.a.cpuMedian : 0.0,
                        f.a.min > 0 ? part.min / f.a.min : 0.0);
            if (target)
                std::printf("   target <= 1.0 x a (wall)   %s",
                            verdict(part.median / f.a.median, 1.0, false).c_str());
            std::printf("\n");
        };
        ofA("outside as a multiple of a", outside, false);
        ofA("directory service as a multiple of a", service, withTarget);
    };
    split("where (b) goes (medians over the runs)", f.bPhased, f.phase[kService], f.outside, targets);
    split("where (b*) goes", f.bStarPhased, f.phaseStar[kService], f.outsideStar, false);
}

std::string fileSystemName(const std::string& path)
{
    struct statfs s;
    if (::statfs(path.c_str(), &s) != 0)
        return "unknown";
    switch (static_cast<unsigned long>(s.f_type)) {
    case 0xEF53UL: return "ext2/3/4";
    case 0x58465342UL: return "xfs";
    case 0x9123683EUL: return "btrfs";
    case 0x01021994UL: return "tmpfs";
    case 0x794C7630UL: return "overlayfs";
    case 0x2FC12FC1UL: return "zfs";
    case 0x65735546UL: return "fuse";
    default: {
        char buf[32];
        std::snprintf(buf, sizeof buf, "0x%lx", static_cast<unsigned long>(s.f_type));
        return buf;
    }
    }
}

std::string cpuModel()
{
    std::string text;
    if (!readWholeFile("/proc/cpuinfo", text))
        return "unknown";
    const size_t at = text.find("model name");
    if (at == std::string::npos)
        return "unknown";
    const size_t colon = text.find(':', at);
    const size_t eol = text.find('\n', at);
    if (colon == std::string::npos || eol == std::string::npos || colon > eol)
        return "unknown";
    return text.substr(colon + 2, eol - colon - 2);
}

} // namespace

int main(int argc, char** argv)
{
    Options opt;
    if (const int code = parseOptions(argc, argv, opt))
        return code == 1 ? 0 : code;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    std::vector<const Fixture*> fixtures;
    if (opt.only.empty() || opt.only == "big")
        fixtures.push_back(&kBig);
    if (opt.only.empty() || opt.only == "mid")
        fixtures.push_back(&kMid);

    std::printf("bench_listing: listing one folder, warm cache\n");
    std::printf("cache folder: %s (%s)\n", opt.dir.c_str(), "fixtures made once, reused");
    if (!mkdirs(opt.dir)) {
        std::fprintf(stderr, "cannot create %s: %s\n", opt.dir.c_str(), std::strerror(errno));
        return 1;
    }
    for (const Fixture* f : fixtures) {
        if (!ensureFixture(opt.dir, *f))
            return 1;
    }

    // Peak memory first, in a child forked before this process starts any
    // thread, so the child begins from a small, clean baseline.
    MemoryReport memory;
    bool memoryTried = false;
    if ((opt.only.empty() || opt.only == "big") && !opt.oursOnly) {
        memoryTried = true;
        memory = measureMemory(argc, argv, opt.dir,
                               QDir::cleanPath(QString::fromStdString(opt.dir + "/" + kBig.name)));
    }

    QApplication app(argc, argv);
    LogManagement::getInstance()->setEnabled(false);

    if (opt.oursOnly) {
        // For a profiler: (b) alone, so its samples are not mixed with the
        // floor's, the peer's or the fixture census's.
        for (const Fixture* fx : fixtures) {
            const QString folder =
                QDir::cleanPath(QString::fromStdString(opt.dir + "/" + fx->name));
            fileModelLocal model;
            model.setNameFilters(projectFilters());
            const Stats b = measure(opt.runs, [&](int& rows, bool&) {
                return runOurs(model, folder, rows);
            });
            std::printf("(b) ours on \"%s\": median %.1f ms, min %.1f ms, cpu %.1f ms, rows %d "
                        "(host log off)\n",
                        fx->name, b.median, b.min, b.cpuMedian, b.rows);
        }
        return 0;
    }

    struct utsname un;
    const bool haveUname = ::uname(&un) == 0;
    const char* tz = std::getenv("TZ");
#ifdef NDEBUG
    const char* build = "optimised (NDEBUG)";
#else
    const char* build = "not NDEBUG (debug-ish build: figures not representative)";
#endif
    std::printf("\nmachine: %s, %ld CPUs, %s %s; file system of the fixtures: %s\n",
                cpuModel().c_str(), ::sysconf(_SC_NPROCESSORS_ONLN),
                haveUname ? un.sysname : "?", haveUname ? un.release : "?",
                fileSystemName(opt.dir).c_str());
    std::printf("Qt %s, platform %s; build: %s; TZ=%s\n", qVersion(),
                qPrintable(QGuiApplication::platformName()), build, tz ? tz : "(unset)");
    std::printf("host log: OFF for the whole run (LogManagement::setEnabled(false)); the real\n"
                "host's log is off too unless someone is diagnosing, and with it on each\n"
                "folder read also writes two log lines\n");
    std::printf("each configuration: 1 untimed warm-up run, then %d timed runs; wall-clock median\n"
                "and min, and the median of the process's CPU time (all threads), in ms\n",
                opt.runs);
    std::fflush(stdout);

    std::vector<FolderResult> results;
    for (const Fixture* fx : fixtures) {
        FolderResult r;
        r.fixture = fx;
        r.before = currentLoad();
        const std::string dirStd = opt.dir + "/" + fx->name;
        const QString folder = QDir::cleanPath(QString::fromStdString(dirStd));
        r.census = takeCensus(dirStd);
        if (r.census.entries != fx->files + fx->folders)
            std::printf("warning: %s holds %d entries, %d were made\n", dirStd.c_str(),
                        r.census.entries, fx->files + fx->folders);
        std::printf("\nmeasuring \"%s\" ...\n", fx->name);
        std::fflush(stdout);

        // (a), (b), (b*) and (b) in phases, in turns.
        fileModelLocal model;
        model.setNameFilters(projectFilters());
        fileModelLocal all;
        all.setNameFilters({QStringLiteral("*.*")});
        PhaseLog phases;
        PhaseLog phasesStar;
        Config ca;
        ca.run = [&](int& rows, bool&) { return runFloor(dirStd, rows); };
        Config cb;
        cb.run = [&](int& rows, bool&) { return runOurs(model, folder, rows); };
        Config cbp;
        cbp.run = [&](int& rows, bool&) { return runPhased(model, folder, phases, rows); };
        Config cbs;
        cbs.run = [&](int& rows, bool&) { return runOurs(all, folder, rows); };
        Config cbsp;
        cbsp.run = [&](int& rows, bool&) { return runPhased(all, folder, phasesStar, rows); };
        // The phase logs start afresh after the warm-up runs.
        measureInTurns(opt.runs, {&ca, &cb, &cbp, &cbs, &cbsp}, [&] {
            phases.clear();
            phasesStar.clear();
        });
        model.setFiles(QList<FileInfo>());
        model.applyNameFilters();
        all.setFiles(QList<FileInfo>());
        all.applyNameFilters();
        r.a = ca.stats();
        r.b = cb.stats();
        r.bPhased = cbp.stats();
        r.bStar = cbs.stats();
        r.bStarPhased = cbsp.stats();
        for (int i = 0; i < kPhaseCount; ++i) {
            const int rows = i == kService ? -1 : i == kParse ? r.census.entries : cbp.rows;
            const int rowsStar = i == kService ? -1 : i == kParse ? r.census.entries : cbsp.rows;
            r.phase[i] = statsOf(phases.phase[i], rows, true);
            r.phaseStar[i] = statsOf(phasesStar.phase[i], rowsStar, true);
        }
        r.outside = statsOf(phases.outside, -1, true);
        r.outsideStar = statsOf(phasesStar.outside, -1, true);

        // (c)
        if (!opt.skipPeer) {
            r.peer = true;
            const int wantFiltered = r.census.filtered;
            const int wantAll = r.census.entries;
            r.c = measure(opt.runs, [&](int& rows, bool& complete) {
                return runPeer(folder, projectFilters(), wantFiltered, rows, complete);
            });
            r.cStar = measure(opt.runs, [&](int& rows, bool& complete) {
                return runPeer(folder, QStringList(), wantAll, rows, complete);
            });
        }
        r.after = currentLoad();
        results.push_back(r);
    }

    for (const FolderResult& r : results)
        printFolder(r, r.fixture == &kBig);

    std::printf("\n=== peak memory of ours ===\n");
    if (!memoryTried) {
        std::printf("  not measured (the big folder is not part of this run)\n");
    } else if (!memory.ok) {
        std::printf("  could not be measured (child process failed)\n");
    } else {
        const double growthMb = double(memory.hwmAfterKb - memory.baselineRssKb) / 1024.0;
        std::printf("peak memory of ours (100k): %.1f MB (RSS high-water mark growth)\n", growthMb);
        std::printf("  absolute VmHWM after (b): %.1f MB; VmRSS before (b): %.1f MB; "
                    "ru_maxrss: %.1f MB; rows shown: %d\n",
                    memory.hwmAfterKb / 1024.0, memory.baselineRssKb / 1024.0,
                    memory.maxRssKb / 1024.0, memory.rows);
        std::printf("  (one pass of (b) on the big folder in a fresh child process, after a "
                    "warm-up on a tiny folder;\n   high-water mark %s before the pass; "
                    "1 MB = 1,048,576 bytes)\n",
                    memory.resetHwm ? "reset to the current RSS" : "NOT resettable: growth is from VmRSS");
        std::printf("  target <= 40 MB   %s\n", verdict(growthMb, 40.0, false).c_str());
    }

    // Summary of the targets for the 100,000-entry folder.
    for (const FolderResult& r : results) {
        if (r.fixture != &kBig)
            continue;
        std::printf("\n=== targets, 100,000-entry folder ===\n");
        auto line = [](const char* what, bool have, double value, const char* unit, double limit,
                       bool strict) {
            if (!have) {
                std::printf("  %-30s %10s\n", what, "n/a");
                return;
            }
            std::printf("  %-30s %8.2f %-2s  limit %s %.2f %-2s  %s\n", what, value, unit,
                        strict ? "<" : "<=", limit, unit, verdict(value, limit, strict).c_str());
        };
        const bool ab = usable(r.b) && usable(r.a);
        line("b / a", ab, ab ? r.b.median / r.a.median : 0, "x", 1.25, false);
        const bool service = usable(r.phase[kService]) && usable(r.a);
        line("directory service alone / a", service, service ? r.phase[kService].median / r.a.median : 0,
             "x", 1.0, false);
        const bool mem = memoryTried && memory.ok;
        line("peak memory growth", mem,
             mem ? double(memory.hwmAfterKb - memory.baselineRssKb) / 1024.0 : 0, "MB", 40.0, false);
    }
    std::printf("\n(exit code 0 whatever the figures: a measurement, not a test)\n");
    return 0;
}
