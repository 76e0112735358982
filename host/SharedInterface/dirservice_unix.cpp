// The directory service on POSIX systems: one folder read with readdir and
// fstatat, written straight into the JSON the dialog parses, and ":" as the
// mounted volumes a user would call drives.
//
// Listing speed is felt by the user on every folder change, so the per-entry
// path avoids Qt's file and time classes: names stay bytes, times are
// converted with a cached offset, and rows are appended to one buffer.
#include "dirservice_p.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
#include <QString>
#include <QtDebug>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <algorithm>
#include <functional>
#include <initializer_list>
#include <thread>
#include <string>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>


namespace {

const char kFolder[] = "文件夹";
const char kShortcut[] = "快捷方式";
const char kLocalDisk[] = "本地磁盘";
const char kNetworkDrive[] = "网络驱动";
const char kRemovableDisk[] = "移动硬盘";
const char kRamDisk[] = "RAM磁盘";
const char kCdRom[] = "CD-ROM";

qint64 floorDiv(qint64 a, qint64 b)
{
    const qint64 q = a / b;
    return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

// Calendar date of a day count since 1970-01-01 (proleptic Gregorian), by
// counting 400-year cycles of 146097 days from 0000-03-01, so that the leap
// day falls at the end of each counted year.
void civilDate(qint64 days, qint64& year, int& month, int& day)
{
    const qint64 fromMarch0 = days + 719468; // days from 0000-03-01
    const qint64 cycle = floorDiv(fromMarch0, 146097);
    const qint64 dayOfCycle = fromMarch0 - cycle * 146097;                  // 0..146096
    const qint64 yearOfCycle =
        (dayOfCycle - dayOfCycle / 1460 + dayOfCycle / 36524 - dayOfCycle / 146096) / 365;
    const qint64 dayOfYear = dayOfCycle - (365 * yearOfCycle + yearOfCycle / 4 - yearOfCycle / 100);
    const qint64 monthFromMarch = (5 * dayOfYear + 2) / 153;                // 0 = March
    day = int(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    month = int(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    year = yearOfCycle + cycle * 400 + (month <= 2 ? 1 : 0);
}

// Local wall-clock text of file times. localtime_r costs a time-zone lookup
// per call, under a lock all threads share; entries of one folder often
// cluster in time, so the zone offset found for one UTC hour is reused for
// every time in that hour once both ends of the hour are seen to share it
// (no zone changes its offset twice within an hour). Any doubt falls back
// to localtime_r for the single time.
class LocalClock
{
public:
    // Writes "yyyy-MM-dd hh:mm:ss" into buf (room for 40); 0 when the time
    // cannot be converted.
    int format(char* buf, time_t t)
    {
        if (t == m_lastTime && m_lastLength > 0) {
            std::memcpy(buf, m_last, std::size_t(m_lastLength));
            return m_lastLength;
        }
        int n = 0;
        // Times beyond any calendar a file carries skip the cache's arithmetic.
        const bool plausible = qint64(t) > -(qint64(1) << 40) && qint64(t) < (qint64(1) << 40);
        const bool inBucket = m_bucketKnown && t >= m_bucketStart && t - m_bucketStart < 3600;
        if (plausible && !inBucket) {
            // An hour is learnt (two lookups) only when a second time falls
            // in it: times spread over years cost one lookup each instead.
            const qint64 hour = floorDiv(qint64(t), 3600);
            if (m_lastMissKnown && hour == m_lastMissHour)
                learnBucket(t);
            m_lastMissHour = hour;
            m_lastMissKnown = true;
        }
        if (plausible && m_bucketValid && t >= m_bucketStart && t - m_bucketStart < 3600) {
            n = fromOffset(buf, qint64(t) + m_offset);
        } else {
            struct tm tm;
            if (localtime_r(&t, &tm))
                n = fromTm(buf, tm);
        }
        if (n > 0 && n <= int(sizeof m_last)) {
            std::memcpy(m_last, buf, std::size_t(n));
            m_lastLength = n;
            m_lastTime = t;
        }
        return n;
    }

private:
    static int fromTm(char* buf, const struct tm& tm)
    {
        return dirservice::detail::formatDateTime(buf, qint64(tm.tm_year) + 1900, tm.tm_mon + 1,
                                                  tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
    }

    static int fromOffset(char* buf, qint64 local)
    {
        const qint64 days = floorDiv(local, 86400);
        const int secs = int(local - days * 86400);
        qint64 year;
        int month;
        int day;
        civilDate(days, year, month, day);
        return dirservice::detail::formatDateTime(buf, year, month, day, secs / 3600,
                                                  secs / 60 % 60, secs % 60);
    }

    void learnBucket(time_t t)
    {
        m_bucketStart = time_t(floorDiv(qint64(t), 3600) * 3600);
        m_bucketKnown = true;
        m_bucketValid = false;
        const time_t last = m_bucketStart + 3599;
        struct tm first;
        struct tm end;
        if (!localtime_r(&m_bucketStart, &first) || !localtime_r(&last, &end))
            return;
        if (first.tm_gmtoff != end.tm_gmtoff)
            return;
        m_offset = first.tm_gmtoff;
        // A zone with leap seconds makes localtime differ from plain offset
        // arithmetic; check once per hour rather than trust it.
        char a[40];
        char b[40];
        const int na = fromTm(a, first);
        const int nb = fromOffset(b, qint64(m_bucketStart) + m_offset);
        m_bucketValid = na == nb && std::memcmp(a, b, std::size_t(na)) == 0;
    }

    time_t m_bucketStart = 0;     // start of the UTC hour last looked up
    bool m_bucketKnown = false;   // m_bucketStart has been looked up
    bool m_bucketValid = false;   // m_offset holds for that whole hour
    long m_offset = 0;            // seconds east of UTC
    qint64 m_lastMissHour = 0;    // UTC hour of the last time outside the bucket
    bool m_lastMissKnown = false;
    time_t m_lastTime = 0;
    int m_lastLength = 0;
    char m_last[40];
};

bool underPath(const QString& path, const char* root)
{
    const QLatin1String r(root);
    return path == r || (path.startsWith(r) && path.size() > r.size() && path.at(r.size()) == QLatin1Char('/'));
}

bool isOneOf(const QByteArray& value, std::initializer_list<const char*> list)
{
    for (const char* item : list) {
        if (value == item)
            return true;
    }
    return false;
}

// File systems with no place in a list of drives: kernel interfaces,
// container plumbing and helpers of the desktop session.
bool isPseudoFileSystem(const QByteArray& type)
{
    return isOneOf(type, {"proc", "sysfs", "cgroup", "cgroup2", "devpts", "devtmpfs", "mqueue",
                          "securityfs", "debugfs", "tracefs", "pstore", "bpf", "configfs",
                          "fusectl", "hugetlbfs", "autofs", "binfmt_misc", "nsfs", "efivarfs",
                          "selinuxfs", "rpc_pipefs", "nfsd", "rootfs", "fuse.gvfsd-fuse",
                          "fuse.portal", "fuse.lxcfs", "fuse.snapfuse", "none"});
}

bool isNetworkFileSystem(const QByteArray& type)
{
    return isOneOf(type, {"nfs", "nfs4", "cifs", "smb3", "smbfs", "sshfs", "fuse.sshfs", "9p",
                          "afs", "ncpfs", "ncp", "coda", "ceph", "fuse.ceph", "glusterfs",
                          "fuse.glusterfs", "lustre", "gpfs", "davfs", "fuse.davfs2",
                          "fuse.rclone", "fuse.s3fs", "fuse.gcsfuse", "beegfs", "orangefs"});
}

// Mount points a file manager never offers as drives, whatever their type.
bool isSystemMountPoint(const QString& root)
{
    if (underPath(root, "/run"))
        return !underPath(root, "/run/media") || root == QLatin1String("/run/media");
    return underPath(root, "/proc") || underPath(root, "/sys") || underPath(root, "/dev")
        || underPath(root, "/var/run") || underPath(root, "/var/lock") || underPath(root, "/snap")
        || underPath(root, "/var/lib/docker") || underPath(root, "/var/lib/containers");
}

QByteArray listVolumes()
{
    struct Volume
    {
        QString root;
        QByteArray kind;
        bool network;
        QString label;
    };
    std::vector<Volume> volumes;
    const QList<QStorageInfo> mounted = QStorageInfo::mountedVolumes();
    for (const QStorageInfo& info : mounted) {
        const QString root = info.rootPath();
        const QByteArray type = info.fileSystemType();
        if (root.isEmpty() || isSystemMountPoint(root) || isPseudoFileSystem(type))
            continue;
        // An overlay is a real drive only as the root of a container or live
        // system; elsewhere it is the inside of some other tool.
        if ((type == "overlay" || type == "aufs") && root != QLatin1String("/"))
            continue;
        Volume v;
        v.root = root;
        v.network = isNetworkFileSystem(type);
        if (v.network)
            v.kind = kNetworkDrive;
        else if (type == "iso9660" || type == "udf")
            v.kind = kCdRom;
        else if (type == "tmpfs" || type == "ramfs")
            v.kind = kRamDisk;
        else if (underPath(root, "/media") || underPath(root, "/run/media"))
            v.kind = kRemovableDisk;
        else
            v.kind = kLocalDisk;
        v.label = info.displayName();
        // A later mount on the same point hides the earlier one.
        bool replaced = false;
        for (Volume& existing : volumes) {
            if (existing.root == root) {
                existing = v;
                replaced = true;
                break;
            }
        }
        if (!replaced)
            volumes.push_back(v);
    }

    QByteArray out;
    out.reserve(int(volumes.size()) * 96 + 2);
    out.append('[');
    for (const Volume& v : volumes) {
        const QByteArray root = v.root.toUtf8();
        const QByteArray label = v.label.toUtf8();
        const std::string_view rootView(root.constData(), std::size_t(root.size()));
        dirservice::detail::appendRow(
            out, rootView, {}, std::string_view(v.kind.constData(), std::size_t(v.kind.size())),
            {}, v.network ? rootView : std::string_view(),
            std::string_view(label.constData(), std::size_t(label.size())));
    }
    out.append(']');
    return out;
}

// The text of a symbolic link; false when it cannot be read (gone meanwhile).
bool readLinkText(int dirFd, const char* name, off_t sizeHint, std::string& text)
{
    std::size_t capacity = sizeHint > 0 ? std::size_t(sizeHint) + 1 : 256;
    while (capacity <= (std::size_t(1) << 20)) {
        text.resize(capacity);
        const ssize_t n = ::readlinkat(dirFd, name, &text[0], capacity);
        if (n < 0)
            return false;
        if (std::size_t(n) < capacity) {
            text.resize(std::size_t(n));
            return true;
        }
        capacity *= 2;
    }
    return false;
}

// One stretch of a folder's entries, read and written by one thread into a
// buffer of its own; stretches are joined in readdir order.
struct Stretch
{
    std::size_t first = 0;
    std::size_t end = 0;
    QByteArray out;
    int notUtf8 = 0; // entries left out for a target that is not UTF-8
};

// Looks up each entry of a stretch and writes its row.
void writeStretch(Stretch& part, int dirFd, const QString& dir, const std::string& names,
                  const std::vector<std::size_t>& starts)
{
    LocalClock clock;
    std::string kind;
    std::string linkText;
    QString absoluteDir; // filled when the first relative link needs it
    char timeBuf[40];
    char sizeBuf[40];
    for (std::size_t i = part.first; i < part.end; ++i) {
        const char* name = names.data() + starts[i];
        const std::string_view nameView(name, starts[i + 1] - starts[i] - 1);
        struct stat st;
        if (::fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
            continue; // vanished since readdir, or not ours to see

        std::string_view kindView;
        std::string_view sizeView;
        QByteArray target;
        time_t modified = st.st_mtime;
        if (S_ISDIR(st.st_mode)) {
            kindView = kFolder;
        } else if (S_ISLNK(st.st_mode)) {
            if (!readLinkText(dirFd, name, st.st_size, linkText))
                continue;
            if (!dirservice::detail::isWellFormedUtf8(linkText)) {
                ++part.notUtf8; // its target could not be named
                continue;
            }
            kindView = kShortcut;
            QString path = QFile::decodeName(QByteArray(linkText.data(), int(linkText.size())));
            if (!path.startsWith(QLatin1Char('/'))) {
                if (absoluteDir.isEmpty())
                    absoluteDir = QDir::cleanPath(QFileInfo(dir).absoluteFilePath());
                path = absoluteDir + QLatin1Char('/') + path;
            }
            target = QDir::cleanPath(path).toUtf8();
            // Size and time: those of the target when it exists, since that is
            // what the shortcut opens; a folder has no size here, so a link to
            // a folder, like a broken link, shows the link itself.
            struct stat targetSt;
            quint64 size = quint64(st.st_size);
            if (::fstatat(dirFd, name, &targetSt, 0) == 0 && !S_ISDIR(targetSt.st_mode)) {
                size = quint64(targetSt.st_size);
                modified = targetSt.st_mtime;
            }
            sizeView = std::string_view(sizeBuf, std::size_t(dirservice::detail::formatSizeText(sizeBuf, size)));
        } else {
            dirservice::detail::fileKindBytes(nameView, kind);
            kindView = kind;
            sizeView = std::string_view(
                sizeBuf, std::size_t(dirservice::detail::formatSizeText(sizeBuf, quint64(st.st_size))));
        }
        const int timeLength = clock.format(timeBuf, modified);
        dirservice::detail::appendRow(part.out, nameView, std::string_view(timeBuf, std::size_t(timeLength)),
                                      kindView, sizeView,
                                      std::string_view(target.constData(), std::size_t(target.size())), {});
    }
}

// Threads a folder of count entries is looked up with. Looking up an entry
// is a system call that waits on the kernel's inode and dentry caches (or
// the disk), so a large folder is shared among the cores; a small one is
// not worth starting a thread for.
std::size_t stretchCount(std::size_t count)
{
    constexpr std::size_t kEntriesPerThread = 2048;
    const std::size_t cores = std::max(1u, std::thread::hardware_concurrency());
    return std::max<std::size_t>(1, std::min({cores, std::size_t(8), count / kEntriesPerThread}));
}

} // namespace

namespace dirservice {

QByteArray readDirAll(const QString& dir)
{
    if (dir == QLatin1String(":"))
        return listVolumes();

    const QByteArray nativeDir = QFile::encodeName(dir);
    DIR* stream = nativeDir.isEmpty() ? nullptr : ::opendir(nativeDir.constData());
    if (!stream)
        return QByteArrayLiteral("[]");
    const int dirFd = ::dirfd(stream);

    // Pick up a time-zone change made while the application runs, as Qt's
    // own local-time conversions do.
    ::tzset();

    qint64 guess = 4096;
    {
        // The folder's own size grows with its entry count on most file
        // systems; reserving from it saves regrowing a large listing.
        struct stat self;
        if (::fstat(dirFd, &self) == 0 && self.st_size > 0)
            guess = qBound<qint64>(4096, qint64(self.st_size) * 4, qint64(64) << 20);
    }

    // The names first, each ended by its NUL, in readdir order.
    int notUtf8 = 0; // entries left out for a name or target that is not UTF-8
    std::string names;
    names.reserve(std::size_t(guess / 3));
    std::vector<std::size_t> starts;
    for (;;) {
        const dirent* entry = ::readdir(stream);
        if (!entry)
            break; // end of the folder, or a read error: keep what was read
        const char* name = entry->d_name;
        // Hidden names, "." and ".." all start with a dot.
        if (name[0] == '.')
            continue;
        const std::size_t length = std::strlen(name);
        // A name in another encoding could only be shown decoded with
        // replacement characters: a row for a file that is not there, and
        // two such files alike. Such entries are left out.
        if (!detail::isWellFormedUtf8(std::string_view(name, length))) {
            ++notUtf8;
            continue;
        }
        starts.push_back(names.size());
        names.append(name, length + 1);
    }
    const std::size_t count = starts.size();
    starts.push_back(names.size());

    const std::size_t parts = stretchCount(count);
    std::vector<Stretch> stretches(parts);
    for (std::size_t k = 0; k < parts; ++k) {
        stretches[k].first = count * k / parts;
        stretches[k].end = count * (k + 1) / parts;
        stretches[k].out.reserve(int(guess / qint64(parts)) + 64);
        stretches[k].out.append('[');
    }
    std::vector<std::thread> helpers;
    for (std::size_t k = 1; k < parts; ++k)
        helpers.emplace_back(writeStretch, std::ref(stretches[k]), dirFd, std::cref(dir), std::cref(names),
                             std::cref(starts));
    writeStretch(stretches[0], dirFd, dir, names, starts);
    for (std::thread& helper : helpers)
        helper.join();
    ::closedir(stream);

    QByteArray out = std::move(stretches[0].out);
    notUtf8 += stretches[0].notUtf8;
    for (std::size_t k = 1; k < parts; ++k) {
        notUtf8 += stretches[k].notUtf8;
        const QByteArray& rows = stretches[k].out;
        if (rows.size() <= 1)
            continue;
        if (out.size() > 1)
            out.append(',');
        out.append(rows.constData() + 1, rows.size() - 1);
        stretches[k].out = QByteArray();
    }
    out.append(']');
    if (notUtf8 > 0)
        qWarning().noquote() << QStringLiteral("目录服务：%1 中有 %2 个名称不是 UTF-8 的条目未列出").arg(dir).arg(notUtf8);
    return out;
}

} // namespace dirservice
