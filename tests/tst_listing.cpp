// Reading folders and drive lists through the directory service, the size
// text and the icons of the table's first column.
#include "listing.h"
#include "pathstyle.h"
#include "shellicon.h"
#include "sizetext.h"
#include "testsupport.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QFile>
#include <QFileIconProvider>
#include <QImage>
#include <QPixmap>
#include <QProxyStyle>
#include <QTemporaryDir>
#include <QtTest>

using namespace testsupport;

class TestListing : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void driveLettersReachServiceAsRoot_data();
    void driveLettersReachServiceAsRoot();
    void listingDriveLetterGivesSlashPaths();
    void driveListRecordsRootsLabelsAndNetworkPaths();
    void folderPathEndingInSeparatorLosesExactlyOne();
    void posixRootListsWithSingleSlashPaths();
    void fieldsAreTakenByPosition();
    void logLinesSurroundTheServiceCall();

    void badServiceAnswersGiveEmptyOrSkippedRows_data();
    void badServiceAnswersGiveEmptyOrSkippedRows();
    void escapedAndUnicodeNamesDecodeExactly();
    void invalidUtf8IsJudgedLikeTheGeneralReader();
    void itemsPastTheSixthAreJudgedLikeTheGeneralReader_data();
    void itemsPastTheSixthAreJudgedLikeTheGeneralReader();
    void answersReadWhileGivenBackEqualTheGeneralReader_data();
    void answersReadWhileGivenBackEqualTheGeneralReader();
    void sharedOrBorrowedAnswersAreLeftWhole();

    void sizeDisplayText_data();
    void sizeDisplayText();
    void sizeKilobytesForSorting_data();
    void sizeKilobytesForSorting();

    void shortcutPredicates();
    void suffixMatchesFileInfo_data();
    void suffixMatchesFileInfo();

    void lnkKeysGiveShortcutIcon_data();
    void lnkKeysGiveShortcutIcon();
    void appDataIcoWinsForItsSuffix();
    void kindKeysGiveGenericIcons();
    void unknownSuffixLeavesNoProbeFileBehind();
    void iconProviderIsSharedUntilTheStyleChanges();

private:
    AppDir* m_app = nullptr;
};

void TestListing::init()
{
    m_app = new AppDir;
}

void TestListing::cleanup()
{
    delete m_app;
    m_app = nullptr;
}

void TestListing::driveLettersReachServiceAsRoot_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("D:") << "D:";
    QTest::newRow("D:\\") << "D:\\";
    QTest::newRow("D:/") << "D:/";
}

void TestListing::driveLettersReachServiceAsRoot()
{
    QFETCH(QString, path);
    answerDirRequests(rows({row("a.GCFG", "GCFG 文件", "1KB")}));
    const QList<FileInfo> files = getFilesByPath(path);
    QCOMPARE(SharedInterfaceTesting::dirRequests(), QStringList{QStringLiteral("D:\\")});
    QCOMPARE(files.size(), 1);
    QCOMPARE(files.at(0).path, QStringLiteral("D:/a.GCFG"));
}

void TestListing::listingDriveLetterGivesSlashPaths()
{
    answerDirRequests(rows({row("工程", "文件夹"), row("预算.GCFG", "GCFG 文件", "2KB")}));
    const QList<FileInfo> files = getFilesByPath(QStringLiteral("D:"));
    QCOMPARE(files.size(), 2);
    QCOMPARE(files.at(0).path, QStringLiteral("D:/工程"));
    QCOMPARE(files.at(1).path, QStringLiteral("D:/预算.GCFG"));
    QVERIFY(files.at(0).displayName.isEmpty());
}

void TestListing::driveListRecordsRootsLabelsAndNetworkPaths()
{
    answerDirRequests(rows({row("C:", "本地磁盘", "", "", "系统"), row("E:", "移动硬盘", "", "", "U盘"),
                            row("R:", "RAM磁盘", "", "", "内存"), row("F:", "CD-ROM", "", "", "光盘"),
                            row("Z:", "网络驱动", "", "\\\\srv\\share", "共享")}));
    const QList<FileInfo> drives = getFilesByPath(QStringLiteral(":"));
    QCOMPARE(SharedInterfaceTesting::dirRequests(), QStringList{QStringLiteral(":")});
    QCOMPARE(drives.size(), 5);
    QCOMPARE(drives.at(0).path, QStringLiteral("C:\\"));
    QCOMPARE(drives.at(1).path, QStringLiteral("E:\\"));
    QCOMPARE(drives.at(2).path, QStringLiteral("R:\\"));
    QCOMPARE(drives.at(3).path, QStringLiteral("F:\\"));
    // A network drive keeps the path made of the pseudo-path and its name.
    QCOMPARE(drives.at(4).path, QStringLiteral(":/Z:"));
    QCOMPARE(drives.at(4).symLinkTarget, QStringLiteral("\\\\srv\\share"));
    QCOMPARE(drives.at(0).displayName, QStringLiteral("系统 (C:)"));
    QCOMPARE(drives.at(4).displayName, QStringLiteral("共享 (Z:)"));
    QVERIFY(drives.at(0).isDrive() && drives.at(4).isDrive() && drives.at(4).isNetDrive());
}

void TestListing::folderPathEndingInSeparatorLosesExactlyOne()
{
    QTemporaryDir tree;
    QVERIFY(QDir(tree.path()).mkpath(QStringLiteral("子 目录")));
    const QString sub = tree.path() + QStringLiteral("/子 目录");
    answerDirRequests(rows({row("x.txt", "TXT 文件", "1KB")}));

    QCOMPARE(getFilesByPath(sub + QLatin1Char('/')).at(0).path, sub + QStringLiteral("/x.txt"));
    getFilesByPath(sub + QStringLiteral("//"));
    getFilesByPath(sub + QLatin1Char('\\'));
    // A Windows-style folder that is not a drive root does not exist here,
    // so its separator stays.
    getFilesByPath(QStringLiteral("C:\\工程\\"));
    QCOMPARE(SharedInterfaceTesting::dirRequests(),
             (QStringList{sub, sub + QLatin1Char('/'), sub + QLatin1Char('\\'), QStringLiteral("C:\\工程\\")}));
}

void TestListing::posixRootListsWithSingleSlashPaths()
{
    answerDirRequests(rows({row("home", "文件夹")}));
    const QList<FileInfo> files = getFilesByPath(QStringLiteral("/"));
    QCOMPARE(SharedInterfaceTesting::dirRequests(), QStringList{QStringLiteral("/")});
    QCOMPARE(files.at(0).path, QStringLiteral("/home"));
}

void TestListing::fieldsAreTakenByPosition()
{
    answerDirRequests(rows({row("链接.lnk", "快捷方式", "1.5KB", "/tmp", "ignored", "2023-12-31 23:59:58")}));
    const FileInfo f = getFilesByPath(QStringLiteral("/data")).value(0);
    QCOMPARE(f.name, QStringLiteral("链接.lnk"));
    QCOMPARE(f.datetime, QStringLiteral("2023-12-31 23:59:58"));
    QCOMPARE(f.type, QStringLiteral("快捷方式"));
    QCOMPARE(f.size, QStringLiteral("1.5KB"));
    QCOMPARE(f.symLinkTarget, QStringLiteral("/tmp"));
    QCOMPARE(f.path, QStringLiteral("/data/链接.lnk"));
    // The volume label is read only for the drive list.
    QVERIFY(f.displayName.isEmpty());
}

void TestListing::logLinesSurroundTheServiceCall()
{
    SharedInterfaceTesting::clearLog();
    answerDirRequests("[]");
    getFilesByPath(QStringLiteral("/x"));
    const QStringList lines = SharedInterfaceTesting::logLines();
    QCOMPARE(lines.size(), 2);
    const QRegularExpression stamp(QStringLiteral("^\\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\] "));
    QVERIFY(stamp.match(lines.at(0)).hasMatch());
    QVERIFY(lines.at(0).endsWith(QStringLiteral("] 文件对话框------调用Go接口获取数据开始")));
    QVERIFY(lines.at(1).endsWith(QStringLiteral("] 文件对话框------调用Go接口获取数据结束")));
}

void TestListing::badServiceAnswersGiveEmptyOrSkippedRows_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QStringList>("types");

    QTest::newRow("nothing") << QByteArray() << QStringList() << QStringList();
    QTest::newRow("malformed") << QByteArray("[[\"a\",\"b\"") << QStringList() << QStringList();
    QTest::newRow("trailing garbage") << QByteArray("[[\"a\"]] x") << QStringList() << QStringList();
    QTest::newRow("object") << QByteArray("{\"name\":\"a\"}") << QStringList() << QStringList();
    QTest::newRow("string") << QByteArray("\"a\"") << QStringList() << QStringList();
    QTest::newRow("empty array") << QByteArray("[]") << QStringList() << QStringList();
    QTest::newRow("rows not arrays")
        << QByteArray("[\"a\", 1, {\"x\":1}, null, [\"b\",\"t\",\"文件夹\"]]") << QStringList{"b"}
        << QStringList{"文件夹"};
    QTest::newRow("rows too short") << QByteArray("[[\"only\"], []]") << QStringList{"only", ""}
                                    << QStringList{"", ""};
    QTest::newRow("non-string items") << QByteArray("[[1, true, null, [\"x\"], {\"a\":2}, 7]]")
                                      << QStringList{""} << QStringList{""};
    QTest::newRow("mixed string and number")
        << QByteArray("[[\"n\", 5, \"文件夹\"]]") << QStringList{"n"} << QStringList{"文件夹"};
    QTest::newRow("extra items") << QByteArray("[[\"n\",\"d\",\"k\",\"1KB\",\"\",\"\",\"more\",3]]")
                                 << QStringList{"n"} << QStringList{"k"};
    QTest::newRow("whitespace everywhere") << QByteArray(" \n[ [ \"n\" , \"d\" ,\t\"k\" ] ]\r\n ")
                                           << QStringList{"n"} << QStringList{"k"};
}

void TestListing::badServiceAnswersGiveEmptyOrSkippedRows()
{
    QFETCH(QByteArray, answer);
    QFETCH(QStringList, names);
    QFETCH(QStringList, types);
    answerDirRequests(answer);
    const QList<FileInfo> files = getFilesByPath(QStringLiteral("/some/folder"));
    QStringList gotNames, gotTypes;
    for (const FileInfo& f : files) {
        gotNames << f.name;
        gotTypes << f.type;
    }
    QCOMPARE(gotNames, names);
    QCOMPARE(gotTypes, types);
}

void TestListing::escapedAndUnicodeNamesDecodeExactly()
{
    const QString odd = QStringLiteral("引号\"反斜杠\\换行\n制表\t😀 & #");
    answerDirRequests(rows({row(odd, "TXT 文件", "0.5KB"), row("\\u0041/é", "TXT 文件")}));
    const QList<FileInfo> files = getFilesByPath(QStringLiteral("/d"));
    QCOMPARE(files.size(), 2);
    QCOMPARE(files.at(0).name, odd);
    QCOMPARE(files.at(1).name, QStringLiteral("\\u0041/é"));
    QByteArray escaped("[[\"\\u5de5\\u7a0b\\/x\",\"d\",\"\\u6587\\u4ef6\\u5939\"]]");
    answerDirRequests(escaped);
    const QList<FileInfo> again = getFilesByPath(QStringLiteral("/d"));
    QCOMPARE(again.value(0).name, QStringLiteral("工程/x"));
    QVERIFY(again.value(0).isFolder());
}

void TestListing::invalidUtf8IsJudgedLikeTheGeneralReader()
{
    const QByteArray bad("[[\"ab\xff\xfe\",\"d\",\"k\"]]");
    answerDirRequests(bad);
    const QList<FileInfo> files = getFilesByPath(QStringLiteral("/d"));
    QJsonParseError err;
    const QJsonDocument doc = QJsonDocument::fromJson(bad, &err);
    if (err.error != QJsonParseError::NoError) {
        QVERIFY(files.isEmpty());
    } else {
        QCOMPARE(files.size(), 1);
        QCOMPARE(files.at(0).name, doc.array().at(0).toArray().at(0).toString());
    }
}

void TestListing::itemsPastTheSixthAreJudgedLikeTheGeneralReader_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("records");
    QTest::newRow("escape then invalid UTF-8") << QByteArray("[[\"a\",\"b\",\"c\",\"d\",\"e\",\"f\",\"\\t\xff\"]]") << 0;
    // Qt's reader lets an unknown escape stand for its character.
    QTest::newRow("unknown escape") << QByteArray("[[\"a\",\"b\",\"c\",\"d\",\"e\",\"f\",\"\\q\"]]") << 1;
    QTest::newRow("cut unicode escape") << QByteArray("[[\"a\",\"b\",\"c\",\"d\",\"e\",\"f\",\"g\",\"\\u12\"]]") << 0;
    QTest::newRow("plain invalid UTF-8") << QByteArray("[[\"a\",\"b\",\"c\",\"d\",\"e\",\"f\",\"\xc3\"]]") << 0;
    QTest::newRow("good escapes") << QByteArray("[[\"a\",\"b\",\"c\",\"d\",\"e\",\"f\",\"\\t\\u00e9\xc3\xa9\"]]") << 1;
}

void TestListing::itemsPastTheSixthAreJudgedLikeTheGeneralReader()
{
    QFETCH(QByteArray, answer);
    QFETCH(int, records);
    QJsonParseError err;
    QJsonDocument::fromJson(answer, &err);
    QCOMPARE(err.error == QJsonParseError::NoError, records == 1);
    answerDirRequests(answer);
    const QList<FileInfo> files = getFilesByPath(QStringLiteral("/d"));
    QCOMPARE(files.size(), records);
    QList<FileInfo> scanned;
    if (pfd::scanDirRows(answer, QStringLiteral("/d"), false, scanned))
        QCOMPARE(scanned.size(), records);
}

namespace {

// count rows of the directory service's shape, a few megabytes of text.
QJsonArray manyRows(int count)
{
    QJsonArray rows;
    for (int i = 0; i < count; ++i) {
        rows.append(QJsonArray{QStringLiteral("工程预算_%1.GCFX").arg(i), QStringLiteral("2024-01-02 03:%1:05").arg(i % 60, 2, 10, QLatin1Char('0')),
                               QStringLiteral("GCFX 文件"), QStringLiteral("%1KB").arg(i % 7), QString(), QString()});
    }
    return rows;
}

QByteArray compact(const QJsonArray& rows)
{
    return QJsonDocument(rows).toJson(QJsonDocument::Compact);
}

} // namespace

void TestListing::answersReadWhileGivenBackEqualTheGeneralReader_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("plain") << compact(manyRows(60000));
    // Items the quick reader leaves to the general one, far past the first
    // megabyte (whose text is gone by then) and near the start.
    QJsonArray late = manyRows(60000);
    late.replace(55000, QJsonArray{QStringLiteral("n"), 12, true});
    QTest::newRow("number late") << compact(late);
    QJsonArray lateNonArray = manyRows(60000);
    lateNonArray.replace(50000, 7);
    QTest::newRow("row that is no array, late") << compact(lateNonArray);
    QJsonArray early = manyRows(60000);
    early.replace(3, QJsonArray{QStringLiteral("n"), 12});
    QTest::newRow("number early") << compact(early);
    QJsonArray escaped = manyRows(60000);
    escaped.replace(58000, QJsonArray{QStringLiteral("引号\"与\\斜杠.GCFX"), QStringLiteral("2024-01-02 03:04:05")});
    QTest::newRow("escapes late") << compact(escaped);
    // Broken past the first megabyte: the whole answer is no array.
    QByteArray broken = compact(manyRows(60000));
    broken.insert(broken.size() - 1000, "}");
    QTest::newRow("broken late") << broken;
    QByteArray trailing = compact(manyRows(60000)) + " x";
    QTest::newRow("text after the array") << trailing;
}

void TestListing::answersReadWhileGivenBackEqualTheGeneralReader()
{
    // The quick reader gives back the text of rows it has read; whatever it
    // stops at later, the records are the general reader's.
    QFETCH(QByteArray, answer);
    QVERIFY(answer.size() > 3 * 1024 * 1024);
    QJsonParseError err;
    const QJsonDocument doc = QJsonDocument::fromJson(answer, &err);
    QList<FileInfo> want;
    if (err.error == QJsonParseError::NoError && doc.isArray()) {
        for (const QJsonValue& row : doc.array()) {
            if (!row.isArray())
                continue;
            const QJsonArray r = row.toArray();
            FileInfo f;
            f.name = r.at(0).toString();
            f.datetime = r.at(1).toString();
            f.type = r.at(2).toString();
            f.size = r.at(3).toString();
            f.symLinkTarget = r.at(4).toString();
            f.path = QStringLiteral("/d/") + f.name;
            want.append(f);
        }
    }
    QByteArray owned(answer.constData(), answer.size()); // held by this test alone
    const QList<FileInfo> got = pfd::parseDirRowsReleasing(owned, QStringLiteral("/d"), false);
    QCOMPARE(got.size(), want.size());
    for (int i = 0; i < want.size(); ++i) {
        QCOMPARE(got.at(i).name, want.at(i).name);
        QCOMPARE(got.at(i).datetime, want.at(i).datetime);
        QCOMPARE(got.at(i).type, want.at(i).type);
        QCOMPARE(got.at(i).size, want.at(i).size);
        QCOMPARE(got.at(i).symLinkTarget, want.at(i).symLinkTarget);
        QCOMPARE(got.at(i).path, want.at(i).path);
    }
}

void TestListing::sharedOrBorrowedAnswersAreLeftWhole()
{
    const QByteArray answer = compact(manyRows(60000));
    const std::string before(answer.constData(), size_t(answer.size()));
    // Another holder of the same text (the host may keep its answer).
    QByteArray shared = answer;
    QCOMPARE(pfd::parseDirRowsReleasing(shared, QStringLiteral("/d"), false).size(), 60000);
    QCOMPARE(std::string(answer.constData(), size_t(answer.size())), before);
    // Text the array only points at.
    QByteArray borrowed = QByteArray::fromRawData(answer.constData(), answer.size());
    QCOMPARE(pfd::parseDirRowsReleasing(borrowed, QStringLiteral("/d"), false).size(), 60000);
    QCOMPARE(std::string(answer.constData(), size_t(answer.size())), before);
}

void TestListing::sizeDisplayText_data()
{
    QTest::addColumn<QString>("size");
    QTest::addColumn<QString>("shown");
    QTest::newRow("1536 KB is 1.50 MB") << "1536KB" << "1.50 MB";
    QTest::newRow("half a KB is 512 B") << "0.5KB" << "512 B";
    QTest::newRow("no number") << "abc" << "0 B";
    QTest::newRow("empty") << "" << "";
    QTest::newRow("blanks only") << "   " << "";
    QTest::newRow("1.5 KB") << "1.5KB" << "1.50 KB";
    QTest::newRow("blank before unit") << " 2 KB " << "2.00 KB";
    QTest::newRow("zero") << "0KB" << "0 B";
    QTest::newRow("exact GB") << "1048576KB" << "1.00 GB";
    QTest::newRow("over 4 GiB") << "4194304.0009765625KB" << "4.00 GB";
    QTest::newRow("TB stays TB") << "2147483648KB" << "2.00 TB";
    QTest::newRow("beyond TB") << "2199023255552KB" << "2048.00 TB";
    QTest::newRow("lower-case kb is no unit") << "2kb" << "0 B";
    QTest::newRow("1023 bytes") << "0.9990234375KB" << "1023 B";
    // "nan" shows as an unreadable size; an infinity runs up the scale like
    // any large size; a huge negative size is written out, not converted.
    QTest::newRow("nan") << "nanKB" << "0 B";
    QTest::newRow("infinity") << "infKB" << "inf TB";
    QTest::newRow("negative infinity") << "-infKB" << "-inf B";
    QTest::newRow("past a double's range") << "1e400KB" << "inf TB";
    QTest::newRow("overflows when made bytes") << "1.7e308KB" << "inf TB";
    QTest::newRow("small negative") << "-1KB" << "-1024 B";
    QTest::newRow("huge negative") << "-1e30KB" << "-1024000000000000020361855834783744 B";
}

void TestListing::sizeDisplayText()
{
    QFETCH(QString, size);
    QFETCH(QString, shown);
    QCOMPARE(pfd::sizeDisplayText(size), shown);
}

void TestListing::sizeKilobytesForSorting_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("size");
    QTest::addColumn<double>("kb");
    QTest::newRow("file") << "GCFG 文件" << "12.5KB" << 12.5;
    QTest::newRow("blank before unit") << "GCFG 文件" << " 3 KB" << 3.0;
    QTest::newRow("folder") << "文件夹" << "12KB" << -1.0;
    QTest::newRow("drive") << "本地磁盘" << "12KB" << -1.0;
    QTest::newRow("empty") << "GCFG 文件" << "" << -1.0;
    QTest::newRow("other unit") << "GCFG 文件" << "12MB" << -1.0;
    QTest::newRow("lower case") << "GCFG 文件" << "12kb" << -1.0;
    QTest::newRow("no number") << "GCFG 文件" << "xKB" << -1.0;
    QTest::newRow("nan") << "GCFG 文件" << "nanKB" << -1.0;
    QTest::newRow("infinity") << "GCFG 文件" << "infKB" << qInf();
    QTest::newRow("negative infinity") << "GCFG 文件" << "-infKB" << -qInf();
    QTest::newRow("past a double's range") << "GCFG 文件" << "1e400KB" << -1.0;
}

void TestListing::sizeKilobytesForSorting()
{
    QFETCH(QString, type);
    QFETCH(QString, size);
    QFETCH(double, kb);
    FileInfo f;
    f.type = type;
    f.size = size;
    QCOMPARE(pfd::sizeKilobytes(f), kb);
}

void TestListing::shortcutPredicates()
{
    QTemporaryDir tree;
    FileInfo toFolder{QStringLiteral("a.lnk"), {}, QStringLiteral("快捷方式"), {}, {}, tree.path(), {}};
    FileInfo toFile = toFolder;
    QFile file(tree.path() + QStringLiteral("/f.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    toFile.symLinkTarget = file.fileName();
    FileInfo gone = toFolder;
    gone.symLinkTarget = tree.path() + QStringLiteral("/不存在");
    FileInfo unc = toFolder;
    unc.symLinkTarget = QStringLiteral("\\\\server\\share");
    FileInfo forward = toFolder;
    forward.symLinkTarget = QStringLiteral("//server/share");
    FileInfo folder = toFolder;
    folder.type = QStringLiteral("文件夹");

    QVERIFY(toFolder.isShortcutToFolder());
    QVERIFY(!toFile.isShortcutToFolder());
    QVERIFY(!gone.isShortcutToFolder());
    QVERIFY(unc.isShortcutToNetworkPath());
    QVERIFY(!forward.isShortcutToNetworkPath());
    QVERIFY(!folder.isShortcutToFolder());
    QVERIFY(folder.isFolder() && !folder.isDrive());
}

void TestListing::suffixMatchesFileInfo_data()
{
    QTest::addColumn<QString>("path");
    for (const char* p : {".bashrc", "/a/.bashrc", "/a/b.c/d", "/a/b.", "/a/b..c", "a.tar.gz", "/a/b.c/.x.y",
                          "C:\\x\\a.b", "/", "", "/a/b.c/", "x", "/a/.", "/a/..", "/a/...", "D:/a.GCFG",
                          "/工程/预算.SGCFX", "/a b/c d.e f"})
        QTest::newRow(p) << QString::fromUtf8(p);
}

void TestListing::suffixMatchesFileInfo()
{
    QFETCH(QString, path);
    QCOMPARE(pfd::suffixRef(path).toString(), QFileInfo(path).suffix());
}

namespace {

// A style whose folder icon is plain red, to tell it from any other.
class RedFolderStyle : public QProxyStyle
{
public:
    QIcon standardIcon(StandardPixmap which, const QStyleOption* option,
                       const QWidget* widget) const override
    {
        if (which != SP_DirIcon)
            return QProxyStyle::standardIcon(which, option, widget);
        QPixmap red(32, 32);
        red.fill(QColor(200, 20, 20));
        return QIcon(red);
    }
};

} // namespace

static QImage iconImage(const QIcon& icon)
{
    return icon.pixmap(32, 32).toImage().convertToFormat(QImage::Format_ARGB32);
}

void TestListing::lnkKeysGiveShortcutIcon_data()
{
    QTest::addColumn<QString>("key");
    QTest::newRow("lnk") << "lnk";
    QTest::newRow("xlnk") << "xlnk";
    QTest::newRow("LNK") << "LNK";
}

void TestListing::lnkKeysGiveShortcutIcon()
{
    QFETCH(QString, key);
    const QImage expected = iconImage(QIcon(QStringLiteral(":/Image/filedlgicon/fileTy.ico")));
    QVERIFY(!expected.isNull());
    QCOMPARE(iconImage(pfd::fileIconForKey(key)), expected);
}

void TestListing::appDataIcoWinsForItsSuffix()
{
    QVERIFY(QDir(m_app->path()).mkpath(QStringLiteral("data")));
    QImage red(32, 32, QImage::Format_ARGB32);
    red.fill(QColor(200, 20, 20));
    QVERIFY(red.save(m_app->path() + QStringLiteral("/data/GCFG.ico"), "ICO"));
    const QImage got = iconImage(pfd::fileIconForKey(QStringLiteral("gcfg")));
    QCOMPARE(got.pixelColor(16, 16), QColor(200, 20, 20));
    // A suffix without an icon of its own does not get this one.
    QVERIFY(iconImage(pfd::fileIconForKey(QStringLiteral("gczj"))).pixelColor(16, 16) != QColor(200, 20, 20));
}

void TestListing::kindKeysGiveGenericIcons()
{
    QFileIconProvider provider;
    QCOMPARE(iconImage(pfd::fileIconForKey(QStringLiteral("文件夹"))), iconImage(provider.icon(QFileIconProvider::Folder)));
    QCOMPARE(iconImage(pfd::fileIconForKey(QStringLiteral("diskDriver"))), iconImage(provider.icon(QFileIconProvider::Drive)));
    QCOMPARE(iconImage(pfd::fileIconForKey(QStringLiteral("netDriver"))), iconImage(provider.icon(QFileIconProvider::Network)));
    QVERIFY(!pfd::fileIconForKey(QStringLiteral("文件夹")).isNull());
}

void TestListing::unknownSuffixLeavesNoProbeFileBehind()
{
    const QString pattern = QCoreApplication::applicationName() + QStringLiteral("_*.pfdprobe");
    const QStringList before = QDir::temp().entryList({pattern}, QDir::Files);
    pfd::fileIconForKey(QStringLiteral("pfdprobe"));
    QCOMPARE(QDir::temp().entryList({pattern}, QDir::Files), before);
}

void TestListing::iconProviderIsSharedUntilTheStyleChanges()
{
    QFileIconProvider& first = pfd::systemIconProvider();
    QCOMPARE(&pfd::systemIconProvider(), &first);
    // The shared provider's folder icon is the one a fresh provider gives.
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("sub")));
    const QFileInfo sub(dir.path() + QStringLiteral("/sub"));
    QFileIconProvider fresh;
    QCOMPARE(iconImage(first.icon(sub)), iconImage(fresh.icon(sub)));

    // Another style has other standard icons: the provider is made anew.
    QApplication::setStyle(new RedFolderStyle);
    const QImage afterStyle = iconImage(pfd::systemIconProvider().icon(sub));
    QCOMPARE(afterStyle.pixelColor(16, 16), QColor(200, 20, 20));
    QFileIconProvider& again = pfd::systemIconProvider();
    QCOMPARE(&pfd::systemIconProvider(), &again);
}

QTEST_MAIN(TestListing)
#include "tst_listing.moc"
