// The host's directory service as the dialog sees it: ReadDirAll on a real
// folder tree, parsed the way the dialog parses it.
#include "SharedInterfaceTesting.h"
#include "TranMiUtilAction.h"
#include "listing.h"

#include <QByteArray>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QJsonValue>
#include <QScopeGuard>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <ctime>
#include <functional>

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dirservice_p.h"

namespace {

const QString kFolder = QStringLiteral("文件夹");
const QString kShortcut = QStringLiteral("快捷方式");
const QStringList kDriveKinds = {QStringLiteral("本地磁盘"), QStringLiteral("网络驱动"),
                                 QStringLiteral("移动硬盘"), QStringLiteral("RAM磁盘"),
                                 QStringLiteral("CD-ROM")};

struct Listing
{
    bool ok = false;
    QString error;
    QVector<QStringList> rows;
    QHash<QString, QStringList> byName;
};

// Parses ReadDirAll's answer strictly: an array of arrays of six strings.
Listing parseListing(const QByteArray& json)
{
    Listing listing;
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        listing.error = QStringLiteral("invalid JSON at %1: %2")
                            .arg(parseError.offset)
                            .arg(parseError.errorString());
        return listing;
    }
    if (!doc.isArray()) {
        listing.error = QStringLiteral("not an array");
        return listing;
    }
    const QJsonArray rows = doc.array();
    for (const QJsonValue& rowValue : rows) {
        if (!rowValue.isArray() || rowValue.toArray().size() != 6) {
            listing.error = QStringLiteral("a row is not an array of six");
            return listing;
        }
        QStringList fields;
        const QJsonArray row = rowValue.toArray();
        for (const QJsonValue& field : row) {
            if (!field.isString()) {
                listing.error = QStringLiteral("a field is not a string");
                return listing;
            }
            fields << field.toString();
        }
        listing.rows << fields;
        listing.byName.insert(fields.at(0), fields);
    }
    listing.ok = true;
    return listing;
}

Listing listFolder(const QString& dir)
{
    return parseListing(TranMiUtilAction::Instance()->ReadDirAll(dir));
}

QString modifiedText(const QString& path)
{
    return QFileInfo(path).lastModified().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

QString epochText(qint64 seconds)
{
    return QDateTime::fromSecsSinceEpoch(seconds).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

bool writeFile(const QString& path, qint64 size)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    return size == 0 || file.resize(size);
}

bool setModified(const QString& path, qint64 seconds, bool ofLinkItself = false)
{
    struct timespec times[2];
    times[0].tv_sec = time_t(seconds);
    times[0].tv_nsec = 0;
    times[1] = times[0];
    return ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times,
                       ofLinkItself ? AT_SYMLINK_NOFOLLOW : 0) == 0;
}

bool makeLink(const QByteArray& text, const QString& linkPath)
{
    return ::symlink(text.constData(), QFile::encodeName(linkPath).constData()) == 0;
}

// A 200-byte name: three ASCII letters, 64 three-byte characters, ".GCFG".
QString longName()
{
    return QStringLiteral("abc") + QString(64, QChar(0x957F)) + QStringLiteral(".GCFG");
}

} // namespace

class TestDirService : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void namesAndFields_data();
    void namesAndFields();
    void hiddenEntriesLeftOut();
    void symbolicLinks_data();
    void symbolicLinks();
    void sizeText_data();
    void sizeText();
    void unreadableFolderGivesEmptyArray();
    void missingFolderGivesEmptyArray_data();
    void missingFolderGivesEmptyArray();
    void trailingSlashListsTheSame();
    void volumes();
    void fileKindText_data();
    void fileKindText();
    void awkwardNamesRoundTrip_data();
    void awkwardNamesRoundTrip();
    void namesThatAreNotUtf8AreLeftOut();
    void modifiedTimeInZone_data();
    void modifiedTimeInZone();
    void manyTimesAgreeWithQFileInfo();
    void clusteredTimesAcrossAChangeAgreeWithQFileInfo();

private:
    QString path(const QString& relative) const { return m_tmp.path() + QLatin1Char('/') + relative; }
    void useZone(const QByteArray& zone);
    // 2,000 files in folder, file i modified at timeOf(i): every listed time
    // reads as QFileInfo's.
    void timesAgreeWithQFileInfo(const QString& folder, const std::function<qint64(int)>& timeOf);

    QTemporaryDir m_tmp;
    QByteArray m_savedZone;
    bool m_zoneWasSet = false;
    bool m_zoneChanged = false;
};

void TestDirService::initTestCase()
{
    QVERIFY(m_tmp.isValid());
    // Another user must be able to walk the tree (see the unreadable-folder case).
    QVERIFY(::chmod(QFile::encodeName(m_tmp.path()).constData(), 0755) == 0);
    SharedInterfaceTesting::setDirService(SharedInterfaceTesting::DirService());
    m_zoneWasSet = qEnvironmentVariableIsSet("TZ");
    m_savedZone = qgetenv("TZ");

    QDir root(m_tmp.path());
    QVERIFY(root.mkpath(QStringLiteral("fields/文件夹 & #1")));
    QVERIFY(root.mkpath(QStringLiteral("fields/空 文件夹")));
    QVERIFY(writeFile(path(QStringLiteral("fields/工程文件.GCFG")), 1536));
    QVERIFY(writeFile(path(QStringLiteral("fields/带 空格 的 文件.gcfg")), 10));
    QVERIFY(writeFile(path(QStringLiteral("fields/a&b#c.Txt")), 0));
    QVERIFY(writeFile(path(QStringLiteral("fields/") + longName()), 2048));
    QVERIFY(writeFile(path(QStringLiteral("fields/a.tar.gz")), 100));
    QVERIFY(writeFile(path(QStringLiteral("fields/noext")), 1));
    QVERIFY(writeFile(path(QStringLiteral("fields/尾点.")), 1));
    QVERIFY(writeFile(path(QStringLiteral("fields/报表.ärger")), 1));
    QVERIFY(writeFile(path(QStringLiteral("fields/旧表.Ärger")), 1));
    QCOMPARE(QFile::encodeName(longName()).size(), 200);
}

void TestDirService::cleanup()
{
    if (m_zoneChanged) {
        if (m_zoneWasSet)
            qputenv("TZ", m_savedZone);
        else
            qunsetenv("TZ");
        ::tzset();
        m_zoneChanged = false;
    }
}

void TestDirService::useZone(const QByteArray& zone)
{
    m_zoneChanged = true;
    qputenv("TZ", zone);
    ::tzset();
}

void TestDirService::namesAndFields_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("size");

    QTest::newRow("chinese") << QStringLiteral("工程文件.GCFG") << QStringLiteral("GCFG 文件")
                             << QStringLiteral("1.5KB");
    QTest::newRow("blanks") << QStringLiteral("带 空格 的 文件.gcfg") << QStringLiteral("GCFG 文件")
                            << QStringLiteral("0.009765625KB");
    QTest::newRow("ampersand and hash") << QStringLiteral("a&b#c.Txt") << QStringLiteral("TXT 文件")
                                        << QStringLiteral("0KB");
    QTest::newRow("200 bytes") << longName() << QStringLiteral("GCFG 文件") << QStringLiteral("2KB");
    QTest::newRow("two suffixes") << QStringLiteral("a.tar.gz") << QStringLiteral("GZ 文件")
                                  << QStringLiteral("0.09765625KB");
    QTest::newRow("no suffix") << QStringLiteral("noext") << QStringLiteral("文件")
                               << QStringLiteral("0.0009765625KB");
    QTest::newRow("trailing dot") << QStringLiteral("尾点.") << QStringLiteral("文件")
                                  << QStringLiteral("0.0009765625KB");
    QTest::newRow("non-ASCII suffix") << QStringLiteral("报表.ärger") << QStringLiteral("ÄRGER 文件")
                                      << QStringLiteral("0.0009765625KB");
    QTest::newRow("same suffix again") << QStringLiteral("旧表.Ärger") << QStringLiteral("ÄRGER 文件")
                                       << QStringLiteral("0.0009765625KB");
    QTest::newRow("folder with & and #") << QStringLiteral("文件夹 & #1") << kFolder << QString();
    QTest::newRow("folder with blank") << QStringLiteral("空 文件夹") << kFolder << QString();
}

void TestDirService::namesAndFields()
{
    QFETCH(QString, name);
    QFETCH(QString, kind);
    QFETCH(QString, size);

    const Listing listing = listFolder(path(QStringLiteral("fields")));
    QVERIFY2(listing.ok, qPrintable(listing.error));
    QCOMPARE(listing.rows.size(), 11);
    QVERIFY2(listing.byName.contains(name), qPrintable(name));
    const QStringList row = listing.byName.value(name);
    QCOMPARE(row.at(1), modifiedText(path(QStringLiteral("fields/") + name)));
    QCOMPARE(row.at(2), kind);
    QCOMPARE(row.at(3), size);
    QCOMPARE(row.at(4), QString());
    QCOMPARE(row.at(5), QString());
}

void TestDirService::hiddenEntriesLeftOut()
{
    QDir root(m_tmp.path());
    QVERIFY(root.mkpath(QStringLiteral("hidden/.隐藏文件夹")));
    QVERIFY(root.mkpath(QStringLiteral("hidden/shown")));
    QVERIFY(writeFile(path(QStringLiteral("hidden/.hidden.GCFG")), 5));
    QVERIFY(writeFile(path(QStringLiteral("hidden/visible.GCFG")), 5));

    const Listing listing = listFolder(path(QStringLiteral("hidden")));
    QVERIFY2(listing.ok, qPrintable(listing.error));
    QStringList names;
    for (const QStringList& row : listing.rows)
        names << row.at(0);
    names.sort();
    QCOMPARE(names, QStringList({QStringLiteral("shown"), QStringLiteral("visible.GCFG")}));
}

void TestDirService::symbolicLinks_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QByteArray>("linkText");
    QTest::addColumn<QString>("target");
    // Where size and time come from: the target file, or the link itself
    // for a folder target and a broken link.
    QTest::addColumn<bool>("fromTarget");

    const QString base = m_tmp.path() + QStringLiteral("/links");
    const QByteArray nativeBase = QFile::encodeName(base);
    QTest::newRow("to a folder") << QStringLiteral("到文件夹") << nativeBase + "/target folder"
                                 << base + QStringLiteral("/target folder") << false;
    QTest::newRow("to a file") << QStringLiteral("到文件.GCFG")
                               << nativeBase + "/target folder/工程 #1.GCFG"
                               << base + QStringLiteral("/target folder/工程 #1.GCFG") << true;
    QTest::newRow("relative") << QStringLiteral("relative.GCFG")
                              << QByteArray("target folder/工程 #1.GCFG")
                              << base + QStringLiteral("/target folder/工程 #1.GCFG") << true;
    QTest::newRow("relative with ..") << QStringLiteral("up")
                                      << QByteArray("../links/./target folder")
                                      << base + QStringLiteral("/target folder") << false;
    QTest::newRow("broken") << QStringLiteral("broken.GCFG") << nativeBase + "/gone/missing.GCFG"
                            << base + QStringLiteral("/gone/missing.GCFG") << false;
    QTest::newRow("broken relative") << QStringLiteral("broken relative")
                                     << QByteArray("gone/missing.GCFG")
                                     << base + QStringLiteral("/gone/missing.GCFG") << false;
}

void TestDirService::symbolicLinks()
{
    QFETCH(QString, link);
    QFETCH(QByteArray, linkText);
    QFETCH(QString, target);
    QFETCH(bool, fromTarget);

    const QString base = path(QStringLiteral("links"));
    const QString targetFile = base + QStringLiteral("/target folder/工程 #1.GCFG");
    if (!QFileInfo::exists(targetFile)) {
        QVERIFY(QDir().mkpath(base + QStringLiteral("/target folder")));
        QVERIFY(writeFile(targetFile, 1536));
        QVERIFY(setModified(targetFile, 1600000000));
    }
    const QString linkPath = base + QLatin1Char('/') + link;
    QVERIFY(makeLink(linkText, linkPath));
    QVERIFY(setModified(linkPath, 1500000000, true));

    const Listing listing = listFolder(base);
    QVERIFY2(listing.ok, qPrintable(listing.error));
    QVERIFY(listing.byName.contains(link));
    const QStringList row = listing.byName.value(link);
    QCOMPARE(row.at(2), kShortcut);
    QCOMPARE(row.at(4), target);
    QCOMPARE(row.at(5), QString());
    if (fromTarget) {
        QCOMPARE(row.at(1), epochText(1600000000));
        QCOMPARE(row.at(3), QStringLiteral("1.5KB"));
    } else {
        // The link's own size is the length of its text.
        char sizeText[40];
        const int n = dirservice::detail::formatSizeText(sizeText, quint64(linkText.size()));
        QCOMPARE(row.at(1), epochText(1500000000));
        QCOMPARE(row.at(3), QString::fromLatin1(sizeText, n));
    }
}

void TestDirService::sizeText_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("expected");

    QTest::newRow("empty") << qint64(0) << QStringLiteral("0KB");
    QTest::newRow("512") << qint64(512) << QStringLiteral("0.5KB");
    QTest::newRow("1536") << qint64(1536) << QStringLiteral("1.5KB");
    QTest::newRow("1023") << qint64(1023) << QStringLiteral("0.9990234375KB");
    QTest::newRow("1024") << qint64(1024) << QStringLiteral("1KB");
    QTest::newRow("1025") << qint64(1025) << QStringLiteral("1.0009765625KB");
    QTest::newRow("sparse over 4 GiB") << (qint64(1) << 32) + 1 << QStringLiteral("4194304.0009765625KB");
}

void TestDirService::sizeText()
{
    QFETCH(qint64, bytes);
    QFETCH(QString, expected);

    const QString dir = path(QStringLiteral("sizes/") + QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(QDir().mkpath(dir));
    // resize() leaves a hole, so the 4 GiB case costs no disk space.
    QVERIFY(writeFile(dir + QStringLiteral("/data.bin"), bytes));

    const Listing listing = listFolder(dir);
    QVERIFY2(listing.ok, qPrintable(listing.error));
    QCOMPARE(listing.rows.size(), 1);
    QCOMPARE(listing.rows.at(0).at(3), expected);
    QCOMPARE(listing.rows.at(0).at(2), QStringLiteral("BIN 文件"));
}

void TestDirService::unreadableFolderGivesEmptyArray()
{
    const QString locked = path(QStringLiteral("locked"));
    QVERIFY(QDir().mkpath(locked));
    QVERIFY(writeFile(locked + QStringLiteral("/inside.GCFG"), 1));
    QVERIFY(::chmod(QFile::encodeName(locked).constData(), 0) == 0);
    const QString readable = path(QStringLiteral("fields"));

    if (::geteuid() != 0) {
        const QByteArray answer = TranMiUtilAction::Instance()->ReadDirAll(locked);
        QVERIFY(::chmod(QFile::encodeName(locked).constData(), 0755) == 0);
        QCOMPARE(answer, QByteArray("[]"));
        QVERIFY(parseListing(answer).ok);
        return;
    }

    // Mode 000 does not stop root, so an unprivileged child process lists the
    // folder and reports back through a pipe.
    int fds[2];
    QVERIFY(::pipe(fds) == 0);
    const pid_t child = ::fork();
    QVERIFY(child >= 0);
    if (child == 0) {
        ::close(fds[0]);
        QByteArray report;
        if (::setgroups(0, nullptr) == 0 && ::setresgid(65534, 65534, 65534) == 0
            && ::setresuid(65534, 65534, 65534) == 0) {
            report = TranMiUtilAction::Instance()->ReadDirAll(locked) + '\n'
                + TranMiUtilAction::Instance()->ReadDirAll(readable);
        } else {
            report = "could not drop privileges";
        }
        const char* p = report.constData();
        qint64 left = report.size();
        while (left > 0) {
            const ssize_t n = ::write(fds[1], p, std::size_t(left));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            p += n;
            left -= n;
        }
        ::_exit(0);
    }
    ::close(fds[1]);
    QByteArray report;
    QDeadlineTimer deadline(30000);
    bool finished = false;
    while (!deadline.hasExpired()) {
        pollfd pfd{fds[0], POLLIN, 0};
        const int ready = ::poll(&pfd, 1, int(qMax<qint64>(1, deadline.remainingTime())));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            break;
        char buf[4096];
        const ssize_t n = ::read(fds[0], buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            finished = n == 0;
            break;
        }
        report.append(buf, int(n));
    }
    ::close(fds[0]);
    if (!finished)
        ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    QVERIFY(::chmod(QFile::encodeName(locked).constData(), 0755) == 0);
    QVERIFY2(finished, "the unprivileged listing did not finish");

    const int split = report.indexOf('\n');
    QVERIFY2(split > 0, report.constData());
    const QByteArray lockedAnswer = report.left(split);
    const Listing readableListing = parseListing(report.mid(split + 1));
    QVERIFY2(readableListing.ok, qPrintable(readableListing.error));
    if (readableListing.rows.isEmpty())
        QSKIP("the temporary folder is not reachable for an unprivileged user");
    QCOMPARE(lockedAnswer, QByteArray("[]"));
    QVERIFY(parseListing(lockedAnswer).ok);
}

void TestDirService::missingFolderGivesEmptyArray_data()
{
    QTest::addColumn<QString>("dir");
    QTest::newRow("missing") << path(QStringLiteral("no such folder"));
    QTest::newRow("missing with slash") << path(QStringLiteral("no such folder/"));
    QTest::newRow("a file, not a folder") << path(QStringLiteral("fields/noext"));
    QTest::newRow("empty path") << QString();
}

void TestDirService::missingFolderGivesEmptyArray()
{
    QFETCH(QString, dir);
    const QByteArray answer = TranMiUtilAction::Instance()->ReadDirAll(dir);
    QCOMPARE(answer, QByteArray("[]"));
    const Listing listing = parseListing(answer);
    QVERIFY(listing.ok);
    QVERIFY(listing.rows.isEmpty());
}

void TestDirService::trailingSlashListsTheSame()
{
    const QString base = path(QStringLiteral("slash"));
    QVERIFY(QDir().mkpath(base + QStringLiteral("/sub")));
    QVERIFY(writeFile(base + QStringLiteral("/a.GCFG"), 3000));
    QVERIFY(makeLink("sub", base + QStringLiteral("/relative link")));

    const Listing plain = listFolder(base);
    const Listing slashed = listFolder(base + QLatin1Char('/'));
    QVERIFY2(plain.ok, qPrintable(plain.error));
    QVERIFY2(slashed.ok, qPrintable(slashed.error));
    QCOMPARE(plain.rows.size(), 3);
    auto sorted = [](QVector<QStringList> rows) {
        std::sort(rows.begin(), rows.end(),
                  [](const QStringList& a, const QStringList& b) { return a.at(0) < b.at(0); });
        return rows;
    };
    QCOMPARE(sorted(slashed.rows), sorted(plain.rows));
    QCOMPARE(plain.byName.value(QStringLiteral("relative link")).at(4), base + QStringLiteral("/sub"));
}

void TestDirService::volumes()
{
    const Listing listing = listFolder(QStringLiteral(":"));
    QVERIFY2(listing.ok, qPrintable(listing.error));
    QVERIFY(listing.byName.contains(QStringLiteral("/")));
    QVERIFY(kDriveKinds.contains(listing.byName.value(QStringLiteral("/")).at(2)));
    for (const QStringList& row : listing.rows) {
        const QString& name = row.at(0);
        for (const char* system : {"/proc", "/sys", "/dev"}) {
            QVERIFY2(!(name == QLatin1String(system)
                       || name.startsWith(QLatin1String(system) + QLatin1Char('/'))),
                     qPrintable(name));
        }
        QVERIFY2(kDriveKinds.contains(row.at(2)), qPrintable(row.at(2)));
        QCOMPARE(row.at(1), QString());
        QCOMPARE(row.at(3), QString());
        if (row.at(2) == kDriveKinds.at(1))
            QCOMPARE(row.at(4), name);
        else
            QCOMPARE(row.at(4), QString());
    }
}

void TestDirService::fileKindText_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("kind");

    QTest::newRow("suffix") << QStringLiteral("a.gcfg") << QStringLiteral("GCFG 文件");
    QTest::newRow("no suffix") << QStringLiteral("noext") << QStringLiteral("文件");
    QTest::newRow("leading dot only") << QStringLiteral(".hidden") << QStringLiteral("文件");
    QTest::newRow("leading dot and suffix") << QStringLiteral(".config.json")
                                            << QStringLiteral("JSON 文件");
    QTest::newRow("two suffixes") << QStringLiteral("a.tar.gz") << QStringLiteral("GZ 文件");
    QTest::newRow("trailing dot") << QStringLiteral("a.") << QStringLiteral("文件");
    QTest::newRow("mixed case") << QStringLiteral("工程.GcFg") << QStringLiteral("GCFG 文件");
    QTest::newRow("non-ASCII") << QStringLiteral("报表.ärger") << QStringLiteral("ÄRGER 文件");
    QTest::newRow("path with a dotted folder") << QStringLiteral("/some.dir/noext")
                                               << QStringLiteral("文件");
    QTest::newRow("path") << QStringLiteral("/some.dir/a.Gcfg") << QStringLiteral("GCFG 文件");
}

void TestDirService::fileKindText()
{
    QFETCH(QString, fileName);
    QFETCH(QString, kind);
    QCOMPARE(dirservice::fileKindText(fileName), kind);
}

void TestDirService::awkwardNamesRoundTrip_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("quote, backslash, newline") << QStringLiteral("a\"b\\c\nd.GCFG");
    QTest::newRow("tab and other controls") << QStringLiteral("t\tx\x01y\x1f z.GCFG");
    QTest::newRow("delete character") << QStringLiteral("del\x7f.GCFG");
    QTest::newRow("outside the BMP") << QStringLiteral("表\U0001F600.GCFG");
    QTest::newRow("line separator") << QStringLiteral("ls\u2028ps\u2029.GCFG");
    QTest::newRow("slash-like") << QStringLiteral("a\\u0022b.GCFG");
}

void TestDirService::awkwardNamesRoundTrip()
{
    QFETCH(QString, name);
    const QString dir = path(QStringLiteral("awkward/") + QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(QDir().mkpath(dir));
    QVERIFY(writeFile(dir + QLatin1Char('/') + name, 512));

    const Listing listing = listFolder(dir);
    QVERIFY2(listing.ok, qPrintable(listing.error));
    QCOMPARE(listing.rows.size(), 1);
    QCOMPARE(listing.rows.at(0).at(0), name);
    QCOMPARE(listing.rows.at(0).at(2), QStringLiteral("GCFG 文件"));
    QCOMPARE(listing.rows.at(0).at(3), QStringLiteral("0.5KB"));
}

void TestDirService::namesThatAreNotUtf8AreLeftOut()
{
    const QString dir = path(QStringLiteral("not utf8"));
    QVERIFY(QDir().mkpath(dir));
    const QByteArray native = QFile::encodeName(dir);
    // Two names that decode alike, and a link whose target cannot be named.
    const QByteArray raws[] = {native + "/bad\xff\xc0name.GCFG", native + "/bad\xfe\xc1name.GCFG"};
    const QByteArray link = native + "/link.GCFG";
    for (const QByteArray& raw : raws) {
        const int fd = ::open(raw.constData(), O_CREAT | O_WRONLY, 0644);
        QVERIFY(fd >= 0);
        ::close(fd);
    }
    QVERIFY(::symlink(raws[0].constData(), link.constData()) == 0);
    // QDir cannot name these files to remove them with the temporary folder.
    const auto removeRaw = qScopeGuard([&] {
        for (const QByteArray& raw : raws)
            ::unlink(raw.constData());
        ::unlink(link.constData());
    });
    QVERIFY(writeFile(dir + QStringLiteral("/good.GCFG"), 1));

    QTest::ignoreMessage(QtWarningMsg,
                         qPrintable(QStringLiteral("目录服务：%1 中有 3 个名称不是 UTF-8 的条目未列出").arg(dir)));
    const QByteArray answer = TranMiUtilAction::Instance()->ReadDirAll(dir);
    const Listing listing = parseListing(answer);
    QVERIFY2(listing.ok, qPrintable(listing.error));
    QCOMPARE(listing.rows.size(), 1);
    QCOMPARE(listing.rows.at(0).at(0), QStringLiteral("good.GCFG"));

    // No record of the dialog's listing points at a file that is not there.
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^目录服务：")));
    for (const FileInfo& f : getFilesByPath(dir))
        QVERIFY2(QFileInfo::exists(f.path), qPrintable(f.path));
}

void TestDirService::modifiedTimeInZone_data()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<QList<qint64>>("times");
    QTest::addColumn<QStringList>("expected");

    // Pairs on both sides of an offset change, some of them in the middle of
    // a UTC hour, where a cached offset would go wrong.
    QTest::newRow("UTC") << QByteArray("UTC") << QList<qint64>{0, 1700000000, 4107542399}
                         << QStringList{QStringLiteral("1970-01-01 00:00:00"),
                                        QStringLiteral("2023-11-14 22:13:20"),
                                        QStringLiteral("2100-02-28 23:59:59")};
    QTest::newRow("Berlin spring") << QByteArray("Europe/Berlin")
                                   << QList<qint64>{1711846799, 1711846800, -14182940}
                                   << QStringList{QStringLiteral("2024-03-31 01:59:59"),
                                                  QStringLiteral("2024-03-31 03:00:00"),
                                                  QStringLiteral("1969-07-20 21:17:40")};
    QTest::newRow("St. John's, half hour") << QByteArray("America/St_Johns")
                                           << QList<qint64>{1710048599, 1710048600}
                                           << QStringList{QStringLiteral("2024-03-10 01:59:59"),
                                                          QStringLiteral("2024-03-10 03:00:00")};
    QTest::newRow("Kathmandu, quarter hour") << QByteArray("Asia/Kathmandu")
                                             << QList<qint64>{504901799, 504901800}
                                             << QStringList{QStringLiteral("1985-12-31 23:59:59"),
                                                            QStringLiteral("1986-01-01 00:15:00")};
    QTest::newRow("Lord Howe, half-hour shift") << QByteArray("Australia/Lord_Howe")
                                                << QList<qint64>{1728142199, 1728142200}
                                                << QStringList{QStringLiteral("2024-10-06 01:59:59"),
                                                               QStringLiteral("2024-10-06 02:30:00")};
    QTest::newRow("Shanghai, far future") << QByteArray("Asia/Shanghai") << QList<qint64>{4107542399}
                                          << QStringList{QStringLiteral("2100-03-01 07:59:59")};
}

void TestDirService::modifiedTimeInZone()
{
    QFETCH(QByteArray, zone);
    QFETCH(QList<qint64>, times);
    QFETCH(QStringList, expected);

    if (!QFileInfo::exists(QStringLiteral("/usr/share/zoneinfo/") + QString::fromLatin1(zone))
        && zone != "UTC")
        QSKIP("zone data not installed");
    useZone(zone);
    const QString dir = path(QStringLiteral("zones/") + QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(QDir().mkpath(dir));
    for (int i = 0; i < times.size(); ++i) {
        const QString file = dir + QStringLiteral("/t%1.GCFG").arg(i);
        QVERIFY(writeFile(file, 1));
        QVERIFY(setModified(file, times.at(i)));
    }
    const Listing listing = listFolder(dir);
    QVERIFY2(listing.ok, qPrintable(listing.error));
    for (int i = 0; i < times.size(); ++i) {
        const QString name = QStringLiteral("t%1.GCFG").arg(i);
        QVERIFY(listing.byName.contains(name));
        QCOMPARE(listing.byName.value(name).at(1), expected.at(i));
        // QFileInfo takes a zero time for "unknown"; the service shows the epoch.
        if (times.at(i) != 0)
            QCOMPARE(listing.byName.value(name).at(1), modifiedText(dir + QLatin1Char('/') + name));
    }
}

void TestDirService::timesAgreeWithQFileInfo(const QString& folder, const std::function<qint64(int)>& timeOf)
{
    const QString dir = path(folder);
    QVERIFY(QDir().mkpath(dir));
    for (int i = 0; i < 2000; ++i) {
        const QString file = dir + QStringLiteral("/%1.GCFG").arg(i);
        QVERIFY(writeFile(file, i));
        QVERIFY(setModified(file, timeOf(i)));
    }
    const Listing listing = listFolder(dir);
    QVERIFY2(listing.ok, qPrintable(listing.error));
    QCOMPARE(listing.rows.size(), 2000);
    for (const QStringList& row : listing.rows)
        QCOMPARE(row.at(1), modifiedText(dir + QLatin1Char('/') + row.at(0)));
}

void TestDirService::clusteredTimesAcrossAChangeAgreeWithQFileInfo()
{
    // Times 11 seconds apart for six hours around the spring change, read
    // in the folder's own order: most rows follow one of the same UTC hour,
    // so the hours' offsets are learnt and reused, the hour of the change
    // included.
    if (!QFileInfo::exists(QStringLiteral("/usr/share/zoneinfo/Europe/Berlin")))
        QSKIP("zone data not installed");
    useZone("Europe/Berlin");
    const qint64 start = 1711846800 - 3 * 3600;
    timesAgreeWithQFileInfo(QStringLiteral("clustered times"), [start](int i) { return start + qint64(i) * 11; });
}

void TestDirService::manyTimesAgreeWithQFileInfo()
{
    // Times every 997 seconds across a daylight-saving change: many share a
    // UTC hour, and every hour of the change is crossed.
    if (!QFileInfo::exists(QStringLiteral("/usr/share/zoneinfo/Europe/Berlin")))
        QSKIP("zone data not installed");
    useZone("Europe/Berlin");
    const qint64 start = 1711846800 - 1000 * 997;
    timesAgreeWithQFileInfo(QStringLiteral("many times"),
                            [start](int i) { return start + qint64(i) * 997 + (i % 3); });
}

QTEST_GUILESS_MAIN(TestDirService)
#include "tst_dirservice.moc"
