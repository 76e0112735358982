// The local table model: filters, columns, sorting and renaming.
#include "collation.h"
#include "fileInfoJsonUtil.h"
#include "fileModelLocal.h"
#include "testsupport.h"
#include "zFileDialog.h"

#include <QCollator>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QtTest>

using namespace testsupport;

namespace {

FileInfo rec(const QString& name, const QString& type, const QString& size = QString(),
             const QString& target = QString(), const QString& datetime = QStringLiteral("2024-01-02 03:04:05"))
{
    FileInfo f;
    f.name = name;
    f.type = type;
    f.size = size;
    f.symLinkTarget = target;
    f.datetime = datetime;
    f.path = QStringLiteral("/p/") + name;
    return f;
}

QStringList column(const fileModelLocal& m, int col = 0)
{
    QStringList out;
    for (int r = 0; r < m.rowCount(); ++r)
        out << m.index(r, col).data().toString();
    return out;
}

QStringList names(const fileModelLocal& m)
{
    QStringList out;
    for (int r = 0; r < m.rowCount(); ++r)
        out << m.fileAt(r)->name;
    return out;
}

// An empty project file made in tree, and its record.
bool fileOnDisk(const QTemporaryDir& tree, const QString& name, FileInfo& info)
{
    info = rec(name, QStringLiteral("GCFG 文件"), QStringLiteral("1KB"));
    info.path = tree.path() + QLatin1Char('/') + name;
    QFile f(info.path);
    return f.open(QIODevice::WriteOnly);
}

// A model showing one record under the match-all filter.
void showOne(fileModelLocal& m, const FileInfo& info)
{
    m.setNameFilters({"*.*"});
    m.setFiles({info});
    m.applyNameFilters();
}

} // namespace

class TestFileModelLocal : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void starFiltersShowEveryRecord_data();
    void starFiltersShowEveryRecord();
    void shortcutToFileHiddenUnderOtherFilters_data();
    void shortcutToFileHiddenUnderOtherFilters();
    void suffixFilterIsCaseInsensitive();
    void setFilesNeedsApplyAndIgnoresSameList();

    void ascendingNameSortPutsFoldersFirstAndNumbersByValue();
    void caseOnlyDifferenceComparesEqual();
    void descendingNameSortPutsFoldersLast();
    void nameSortFollowsCollatorExactly();
    void drivesSortByNameNotDisplayName();
    void sizeSortPutsFoldersFirstAscending();
    void typeSortIsCodeUnitOrder();
    void dateSortPutsInvalidDatesFirst();
    void sortOutsideColumnsDoesNothing();
    void shortcutsToFilesNeverBreakTheSort();
    void sortFiltersAgainAfterARenameChangesTheSuffix();
    void sortFiltersAgainUnderNewFilters();
    void sortAsksShortcutTargetsAgain();

    void cellTexts();
    void dateTextsReadLikeTheGeneralParser_data();
    void dateTextsReadLikeTheGeneralParser();
    void pathColumnSwapsTexts();
    void driveListShowsDisplayNames();
    void headerSectionsAndAlignment();
    void flagsMakeOnlyNamesEditable();
    void decorationUsesIconSourceForFilesAndNetDrives();

    void renameToSameNameReturnsFalse();
    void renameOntoExistingNameReturnsFalse();
    void renameMovesFileAndUpdatesRow();
    void renameOfVanishedFileReturnsTrueAndChangesNothing();
    void renamePinnedFolderUpdatesStore();
    void renameOntoBrokenLinkReturnsFalseAndKeepsFile();
    void renameOfBrokenLinkRenamesTheLink();

private:
    AppDir* m_app = nullptr;
};

void TestFileModelLocal::init()
{
    m_app = new AppDir;
    zFileDialog::SetCurrentPath(QStringLiteral("/p"));
}

void TestFileModelLocal::cleanup()
{
    delete m_app;
    m_app = nullptr;
    zFileDialog::SetCurrentPath(QString());
}

void TestFileModelLocal::starFiltersShowEveryRecord_data()
{
    QTest::addColumn<QStringList>("filters");
    QTest::addColumn<int>("rows");
    QTest::newRow("*.*") << QStringList{"*.*"} << 4;
    QTest::newRow("**") << QStringList{"**"} << 4;
    // Two patterns: no shortcut through, the suffix decides.
    QTest::newRow("*.* among two") << QStringList{"*.*", "*.GCFG"} << 2;
}

void TestFileModelLocal::starFiltersShowEveryRecord()
{
    QFETCH(QStringList, filters);
    QFETCH(int, rows);
    QTemporaryDir tree;
    QFile target(tree.path() + QStringLiteral("/t.txt"));
    QVERIFY(target.open(QIODevice::WriteOnly));
    target.close();
    fileModelLocal m;
    m.setFiles({rec("a.GCFG", "GCFG 文件"), rec("b.txt", "TXT 文件"), rec("文件夹一", "文件夹"),
                rec("to-file.lnk", "快捷方式", "1KB", target.fileName())});
    m.setNameFilters(filters);
    m.applyNameFilters();
    QCOMPARE(m.rowCount(), rows);
}

void TestFileModelLocal::shortcutToFileHiddenUnderOtherFilters_data()
{
    QTest::addColumn<QStringList>("filters");
    QTest::newRow("none") << QStringList();
    QTest::newRow("lnk suffix") << QStringList{"*.lnk"};
    QTest::newRow("GCFG") << QStringList{"*.GCFG"};
    QTest::newRow("*.* and lnk") << QStringList{"*.*", "*.lnk"};
    QTest::newRow("* alone") << QStringList{"*"};
}

void TestFileModelLocal::shortcutToFileHiddenUnderOtherFilters()
{
    QFETCH(QStringList, filters);
    QTemporaryDir tree;
    QFile target(tree.path() + QStringLiteral("/t.lnk"));
    QVERIFY(target.open(QIODevice::WriteOnly));
    target.close();
    fileModelLocal m;
    m.setFiles({rec("to-file.lnk", "快捷方式", "1KB", target.fileName()),
                rec("to-dir.lnk", "快捷方式", "1KB", tree.path()),
                rec("to-net.lnk", "快捷方式", "1KB", "\\\\srv\\x")});
    m.setNameFilters(filters);
    m.applyNameFilters();
    QCOMPARE(names(m), (QStringList{"to-dir.lnk", "to-net.lnk"}));
}

void TestFileModelLocal::suffixFilterIsCaseInsensitive()
{
    fileModelLocal m;
    m.setFiles({rec("a.gcfg", "GCFG 文件"), rec("b.GcFg", "GCFG 文件"), rec("c.GCFZ", "GCFZ 文件"),
                rec("noext", "文件"), rec("C:", "本地磁盘"), rec("dir.GCFZ", "文件夹")});
    m.setNameFilters({"*.GCFG"});
    m.applyNameFilters();
    QCOMPARE(names(m), (QStringList{"a.gcfg", "b.GcFg", "C:", "dir.GCFZ"}));
}

void TestFileModelLocal::setFilesNeedsApplyAndIgnoresSameList()
{
    fileModelLocal m;
    const QList<FileInfo> list{rec("a.txt", "TXT 文件"), rec("b.txt", "TXT 文件")};
    m.setNameFilters({"*.*"});
    m.setFiles(list);
    QCOMPARE(m.rowCount(), 0);
    m.applyNameFilters();
    QCOMPARE(m.rowCount(), 2);
    QSignalSpy resets(&m, &QAbstractItemModel::modelReset);
    m.setFiles(m.files());
    QCOMPARE(resets.count(), 0);
    QCOMPARE(m.rowCount(), 2);
}

void TestFileModelLocal::ascendingNameSortPutsFoldersFirstAndNumbersByValue()
{
    QTemporaryDir tree;
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles({rec("a10.txt", "TXT 文件"), rec("zz", "文件夹"), rec("a2.txt", "TXT 文件"),
                rec("b-link.lnk", "快捷方式", "", tree.path()), rec("aa", "文件夹"), rec("C:", "本地磁盘")});
    m.applyNameFilters();
    m.sort(0, Qt::AscendingOrder);
    QCOMPARE(names(m), (QStringList{"aa", "b-link.lnk", "zz", "a2.txt", "a10.txt", "C:"}));
}

void TestFileModelLocal::caseOnlyDifferenceComparesEqual()
{
    fileModelLocal m;
    QCOMPARE(fileModelLocal::collator().compare(QStringLiteral("Abc"), QStringLiteral("abc")), 0);
    m.setNameFilters({"*.*"});
    m.setFiles({rec("b", "TXT 文件"), rec("abc", "TXT 文件"), rec("Abc", "TXT 文件"), rec("a", "TXT 文件")});
    m.applyNameFilters();
    m.sort(0, Qt::AscendingOrder);
    const QStringList got = names(m);
    QCOMPARE(got.first(), QStringLiteral("a"));
    QCOMPARE(got.last(), QStringLiteral("b"));
    QCOMPARE(QSet<QString>(got.begin() + 1, got.begin() + 3), (QSet<QString>{"Abc", "abc"}));
}

void TestFileModelLocal::descendingNameSortPutsFoldersLast()
{
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles({rec("甲", "文件夹"), rec("x1.txt", "TXT 文件"), rec("乙", "文件夹"), rec("x2.txt", "TXT 文件")});
    m.applyNameFilters();
    m.sort(0, Qt::DescendingOrder);
    QCOMPARE(names(m), (QStringList{"x2.txt", "x1.txt", "乙", "甲"}));
}

void TestFileModelLocal::nameSortFollowsCollatorExactly()
{
    const QStringList list{"预算10.GCFG", "预算2.GCFG", "概算.GCFZ", "结算_final.GCFG", "审计(1).GCFG",
                           "审计 1.GCFG", "Zeta.GCFG", "alpha.GCFG", "ALPHA2.GCFG", "工程-总.GCFG",
                           "工程总.GCFG", "#1.GCFG", "全过程.GCFG", "招标.GCFG", "1.GCFG", "01.GCFG"};
    fileModelLocal m;
    QList<FileInfo> files;
    for (const QString& n : list)
        files << rec(n, "GCFG 文件");
    m.setNameFilters({"*.*"});
    m.setFiles(files);
    m.applyNameFilters();
    m.sort(0, Qt::AscendingOrder);
    const QStringList got = names(m);
    QCOMPARE(got.size(), list.size());
    QCollator reference;
    pfd::configureChineseCollator(reference);
    for (int i = 1; i < got.size(); ++i)
        QVERIFY2(reference.compare(got.at(i - 1), got.at(i)) <= 0,
                 qPrintable(got.at(i - 1) + QStringLiteral(" > ") + got.at(i)));
    // Pinyin order: 概 (gai) < 工 (gong) < 结 (jie) < 全 (quan) < 审 (shen) < 预 (yu) < 招 (zhao).
    QVERIFY(got.indexOf("概算.GCFZ") < got.indexOf("工程总.GCFG"));
    QVERIFY(got.indexOf("审计(1).GCFG") < got.indexOf("预算2.GCFG"));
    QVERIFY(got.indexOf("预算2.GCFG") < got.indexOf("预算10.GCFG"));
    QVERIFY(got.indexOf("预算10.GCFG") < got.indexOf("招标.GCFG"));
}

void TestFileModelLocal::drivesSortByNameNotDisplayName()
{
    fileModelLocal m;
    FileInfo c = rec("C:", "本地磁盘");
    c.displayName = QStringLiteral("Z盘 (C:)");
    FileInfo d = rec("D:", "本地磁盘");
    d.displayName = QStringLiteral("A盘 (D:)");
    m.setFiles({d, c});
    m.applyNameFilters();
    m.sort(0, Qt::AscendingOrder);
    QCOMPARE(names(m), (QStringList{"C:", "D:"}));
}

void TestFileModelLocal::sizeSortPutsFoldersFirstAscending()
{
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles({rec("big.txt", "TXT 文件", "2048KB"), rec("dir", "文件夹"), rec("small.txt", "TXT 文件", "0.5KB"),
                rec("odd.txt", "TXT 文件", "12MB")});
    m.applyNameFilters();
    m.sort(1, Qt::AscendingOrder);
    const QStringList got = names(m);
    QCOMPARE(QSet<QString>(got.begin(), got.begin() + 2), (QSet<QString>{"dir", "odd.txt"}));
    QCOMPARE(got.mid(2), (QStringList{"small.txt", "big.txt"}));
    m.sort(1, Qt::DescendingOrder);
    QCOMPARE(names(m).mid(0, 2), (QStringList{"big.txt", "small.txt"}));
}

void TestFileModelLocal::typeSortIsCodeUnitOrder()
{
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles({rec("1", "文件夹"), rec("2", "b 文件"), rec("3", "B 文件"), rec("4", "a 文件")});
    m.applyNameFilters();
    m.sort(2, Qt::AscendingOrder);
    QCOMPARE(names(m), (QStringList{"3", "4", "2", "1"}));
}

void TestFileModelLocal::dateSortPutsInvalidDatesFirst()
{
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles({rec("new", "T", "", "", "2024-05-01 10:00:00"), rec("bad", "T", "", "", "2024-02-30 10:00:00"),
                rec("old", "T", "", "", "1999-12-31 23:59:59"), rec("mid", "T", "", "", "2024-05-01 09:59:59"),
                rec("text", "T", "", "", "yesterday")});
    m.applyNameFilters();
    m.sort(3, Qt::AscendingOrder);
    const QStringList got = names(m);
    QCOMPARE(QSet<QString>(got.begin(), got.begin() + 2), (QSet<QString>{"bad", "text"}));
    QCOMPARE(got.mid(2), (QStringList{"old", "mid", "new"}));
}

void TestFileModelLocal::sortOutsideColumnsDoesNothing()
{
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles({rec("b", "T"), rec("a", "T")});
    m.applyNameFilters();
    QSignalSpy resets(&m, &QAbstractItemModel::modelReset);
    m.sort(-1, Qt::AscendingOrder);
    m.sort(4, Qt::AscendingOrder);
    QCOMPARE(resets.count(), 0);
    QCOMPARE(names(m), (QStringList{"b", "a"}));
}

void TestFileModelLocal::shortcutsToFilesNeverBreakTheSort()
{
    // Shortcuts to files compare by name with folders and files alike, which
    // is no consistent order; the sort must still end with every row once.
    QTemporaryDir tree;
    QFile target(tree.path() + QStringLiteral("/t"));
    QVERIFY(target.open(QIODevice::WriteOnly));
    target.close();
    QList<FileInfo> files;
    for (int i = 0; i < 3000; ++i) {
        const QString n = QStringLiteral("n%1").arg((i * 7919) % 3000);
        if (i % 3 == 0)
            files << rec(n, "文件夹");
        else if (i % 3 == 1)
            files << rec(n + ".lnk", "快捷方式", "", target.fileName());
        else
            files << rec(n + ".txt", "TXT 文件");
    }
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles(files);
    m.applyNameFilters();
    m.sort(0, Qt::AscendingOrder);
    QCOMPARE(m.rowCount(), 3000);
    QSet<QString> seen;
    for (int r = 0; r < m.rowCount(); ++r)
        seen.insert(m.fileAt(r)->name);
    QCOMPARE(seen.size(), 3000);
}

void TestFileModelLocal::sortFiltersAgainAfterARenameChangesTheSuffix()
{
    QTemporaryDir tree;
    FileInfo info;
    QVERIFY(fileOnDisk(tree, QStringLiteral("a.GCFG"), info));
    fileModelLocal m;
    m.setNameFilters({"*.GCFG"});
    m.setFiles({info, rec("b.GCFG", "GCFG 文件")});
    m.applyNameFilters();
    QCOMPARE(m.rowCount(), 2);
    QVERIFY(m.setData(m.index(0, 0), QStringLiteral("a.txt")));
    QCOMPARE(names(m), (QStringList{"a.txt", "b.GCFG"}));
    m.sort(0, Qt::AscendingOrder);
    QCOMPARE(names(m), QStringList{"b.GCFG"});
}

void TestFileModelLocal::sortFiltersAgainUnderNewFilters()
{
    fileModelLocal m;
    m.setNameFilters({"*.GCFG"});
    m.setFiles({rec("b.GCFG", "GCFG 文件"), rec("a.GCFZ", "GCFZ 文件")});
    m.applyNameFilters();
    m.sort(0, Qt::AscendingOrder);
    QCOMPARE(names(m), QStringList{"b.GCFG"});
    m.setNameFilters({"*.GCFZ"});
    m.sort(0, Qt::AscendingOrder);
    QCOMPARE(names(m), QStringList{"a.GCFZ"});
    m.setNameFilters({"*.*"});
    m.sort(0, Qt::AscendingOrder);
    QCOMPARE(names(m), (QStringList{"a.GCFZ", "b.GCFG"}));
    // New records under the same filters are asked again too.
    m.setFiles({rec("c.txt", "TXT 文件")});
    m.sort(0, Qt::AscendingOrder);
    QCOMPARE(names(m), QStringList{"c.txt"});
}

void TestFileModelLocal::sortAsksShortcutTargetsAgain()
{
    // A shortcut's row depends on its target at the time of each pass: a
    // target folder made after the records were filtered shows at the sort.
    QTemporaryDir tree;
    const QString target = tree.path() + QStringLiteral("/later");
    fileModelLocal m;
    m.setNameFilters({"*.GCFG"});
    m.setFiles({rec("to-later.lnk", "快捷方式", "1KB", target), rec("a.GCFG", "GCFG 文件")});
    m.applyNameFilters();
    QCOMPARE(names(m), QStringList{"a.GCFG"});
    QVERIFY(QDir().mkpath(target));
    m.sort(0, Qt::AscendingOrder);
    QCOMPARE(names(m), (QStringList{"to-later.lnk", "a.GCFG"}));
}

void TestFileModelLocal::dateTextsReadLikeTheGeneralParser_data()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<QString>("text");
    const QStringList texts{
        "2024-01-02 03:04:05", "1999-12-31 23:59:59", "0999-01-01 00:00:00", "2024-02-29 12:00:00",
        "2023-02-29 12:00:00", "2024-13-01 00:00:00", "2024-00-10 00:00:00", "2024-01-32 00:00:00",
        "2024-01-02 24:00:00", "2024-01-02 23:60:00", "2024-01-02 23:59:60", "0000-01-01 00:00:00",
        "2024-03-31 02:30:00", "2024-10-27 02:30:00", "2018-11-04 00:30:00", "2024-1-02 03:04:05",
        "2024-01-02T03:04:05", "2024-01-02 03:04", "", "not a date", "２０２４-01-02 03:04:05",
        "2024-01-02 03:04:05 ", " 2024-01-02 03:04:0"};
    for (const char* zone : {"UTC", "Europe/Berlin", "America/Sao_Paulo", "Asia/Shanghai"}) {
        for (const QString& text : texts)
            QTest::addRow("%s %s", zone, qPrintable(text)) << QByteArray(zone) << text;
    }
}

void TestFileModelLocal::dateTextsReadLikeTheGeneralParser()
{
    // The table's date column reads well-formed texts by hand; whatever the
    // text and the time zone (days the clock skips an hour included), it
    // shows what parsing and formatting with patterns show.
    QFETCH(QByteArray, zone);
    QFETCH(QString, text);
    const QByteArray before = qgetenv("TZ");
    qputenv("TZ", zone);
    tzset();
    const QString expected = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd hh:mm:ss"))
                                 .toString(QStringLiteral("yyyy/MM/dd hh:mm"));
    fileModelLocal m;
    showOne(m, rec("a.txt", "TXT 文件", "1KB", QString(), text));
    const QString shown = m.index(0, 3).data().toString();
    if (before.isNull())
        qunsetenv("TZ");
    else
        qputenv("TZ", before);
    tzset();
    QCOMPARE(shown, expected);
}

void TestFileModelLocal::cellTexts()
{
    QTemporaryDir tree;
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles({rec("预算.GCFG", "GCFG 文件", "1536KB", "", "2024-03-05 08:09:10"),
                rec("link.lnk.lnk", "快捷方式", "3KB", tree.path()), rec("x.LNK", "快捷方式", "3KB", "\\\\s\\x"),
                rec("bad", "T", "1KB", "", "not a date")});
    m.applyNameFilters();
    QCOMPARE(column(m, 0), (QStringList{"预算.GCFG", "link", "x.LNK", "bad"}));
    QCOMPARE(column(m, 1), (QStringList{"1.50 MB", "", "", "1.00 KB"}));
    QCOMPARE(column(m, 2), (QStringList{"GCFG 文件", "快捷方式", "快捷方式", "T"}));
    QCOMPARE(m.index(0, 3).data().toString(), QStringLiteral("2024/03/05 08:09"));
    QCOMPARE(m.index(3, 3).data().toString(), QString());
    QCOMPARE(m.index(0, 0).data(Qt::EditRole).toString(), QStringLiteral("预算.GCFG"));
    QVERIFY(!m.index(0, 0).data(Qt::ToolTipRole).isValid());
    QVERIFY(!m.index(0, 1).data(Qt::TextAlignmentRole).isValid());
    QVERIFY(!m.index(0, 1).data(Qt::DecorationRole).isValid());
    QVERIFY(!m.data(QModelIndex()).isValid());
}

void TestFileModelLocal::pathColumnSwapsTexts()
{
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles({rec("a.GCFG", "GCFG 文件", "2KB")});
    m.applyNameFilters();
    m.setShowPathColumn(true);
    QCOMPARE(m.index(0, 1).data().toString(), QStringLiteral("/p/a.GCFG"));
    QCOMPARE(m.index(0, 2).data().toString(), QStringLiteral("2.00 KB"));
    QCOMPARE(m.headerData(1, Qt::Horizontal).toString(), QStringLiteral("路径"));
    QCOMPARE(m.headerData(2, Qt::Horizontal).toString(), QStringLiteral("大小"));
}

void TestFileModelLocal::driveListShowsDisplayNames()
{
    fileModelLocal m;
    FileInfo c = rec("C:", "本地磁盘");
    c.displayName = QStringLiteral("系统 (C:)");
    m.setFiles({c});
    m.applyNameFilters();
    QCOMPARE(m.index(0, 0).data().toString(), QStringLiteral("C:"));
    zFileDialog::SetCurrentPath(QStringLiteral(":"));
    QCOMPARE(m.index(0, 0).data().toString(), QStringLiteral("系统 (C:)"));
}

void TestFileModelLocal::headerSectionsAndAlignment()
{
    fileModelLocal m;
    QCOMPARE(m.headerData(0, Qt::Horizontal).toString(), QStringLiteral("名称"));
    QCOMPARE(m.headerData(1, Qt::Horizontal).toString(), QStringLiteral("大小"));
    QCOMPARE(m.headerData(2, Qt::Horizontal).toString(), QStringLiteral("项目类型"));
    QCOMPARE(m.headerData(3, Qt::Horizontal).toString(), QStringLiteral("修改日期"));
    QVERIFY(!m.headerData(4, Qt::Horizontal).isValid());
    QVERIFY(!m.headerData(-1, Qt::Horizontal).isValid());
    QVERIFY(!m.headerData(0, Qt::Vertical).isValid());
    QVERIFY(!m.headerData(0, Qt::Horizontal, Qt::ToolTipRole).isValid());
    for (int section : {-1, 0, 3, 4, 99})
        QCOMPARE(m.headerData(section, Qt::Horizontal, Qt::TextAlignmentRole).toInt(), 129);
    QCOMPARE(m.columnCount(m.index(0, 0)), 4);
}

void TestFileModelLocal::flagsMakeOnlyNamesEditable()
{
    fileModelLocal m;
    m.setFiles({rec("a", "T")});
    m.setNameFilters({"*.*"});
    m.applyNameFilters();
    QVERIFY(m.flags(m.index(0, 0)).testFlag(Qt::ItemIsEditable));
    QVERIFY(m.flags(m.index(0, 0)).testFlag(Qt::ItemIsSelectable));
    QVERIFY(!m.flags(m.index(0, 1)).testFlag(Qt::ItemIsEditable));
    QCOMPARE(m.flags(QModelIndex()), Qt::NoItemFlags);
}

void TestFileModelLocal::decorationUsesIconSourceForFilesAndNetDrives()
{
    fileModelLocal m;
    QStringList keys;
    m.setIconSource([&keys](const QString& key) {
        keys << key;
        return QIcon();
    });
    m.setNameFilters({"*.*"});
    m.setFiles({rec("a.GCFG", "GCFG 文件"), rec("Z:", "网络驱动"), rec("noext", "文件")});
    m.applyNameFilters();
    for (int r = 0; r < 3; ++r)
        m.index(r, 0).data(Qt::DecorationRole);
    QCOMPARE(keys, (QStringList{"GCFG", "netDriver", ""}));
}

void TestFileModelLocal::renameToSameNameReturnsFalse()
{
    QTemporaryDir tree;
    const QString path = tree.path() + QStringLiteral("/x.txt");
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write("keep");
    f.close();
    FileInfo info = rec("x.txt", "TXT 文件", "1KB");
    info.path = path;
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles({info});
    m.applyNameFilters();
    QSignalSpy changed(&m, &QAbstractItemModel::dataChanged);
    QVERIFY(!m.setData(m.index(0, 0), QStringLiteral("x.txt")));
    QVERIFY(!m.setData(m.index(0, 0), QStringLiteral("y.txt"), Qt::DisplayRole));
    QCOMPARE(changed.count(), 0);
    QCOMPARE(QDir(tree.path()).entryList(QDir::Files), QStringList{"x.txt"});
}

void TestFileModelLocal::renameOntoExistingNameReturnsFalse()
{
    QTemporaryDir tree;
    for (const char* n : {"x.txt", "y.txt"}) {
        QFile f(tree.path() + QLatin1Char('/') + QLatin1String(n));
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(n);
    }
    FileInfo info = rec("x.txt", "TXT 文件", "1KB");
    info.path = tree.path() + QStringLiteral("/x.txt");
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles({info});
    m.applyNameFilters();
    QVERIFY(!m.setData(m.index(0, 0), QStringLiteral("y.txt")));
    QCOMPARE(m.fileAt(0)->name, QStringLiteral("x.txt"));
    QFile y(tree.path() + QStringLiteral("/y.txt"));
    QVERIFY(y.open(QIODevice::ReadOnly));
    QCOMPARE(y.readAll(), QByteArray("y.txt"));
}

void TestFileModelLocal::renameMovesFileAndUpdatesRow()
{
    QTemporaryDir tree;
    FileInfo info;
    QVERIFY(fileOnDisk(tree, QStringLiteral("旧 名.GCFG"), info));
    const QString path = info.path;
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles({info});
    m.applyNameFilters();
    QSignalSpy changed(&m, &QAbstractItemModel::dataChanged);
    QVERIFY(m.setData(m.index(0, 0), QStringLiteral("新&名#1.GCFG")));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(m.fileAt(0)->name, QStringLiteral("新&名#1.GCFG"));
    QCOMPARE(m.fileAt(0)->path, tree.path() + QStringLiteral("/新&名#1.GCFG"));
    QVERIFY(QFile::exists(tree.path() + QStringLiteral("/新&名#1.GCFG")));
    QVERIFY(!QFile::exists(path));
}

void TestFileModelLocal::renameOfVanishedFileReturnsTrueAndChangesNothing()
{
    QTemporaryDir tree;
    FileInfo info = rec("gone.txt", "TXT 文件");
    info.path = tree.path() + QStringLiteral("/gone.txt");
    fileModelLocal m;
    m.setNameFilters({"*.*"});
    m.setFiles({info});
    m.applyNameFilters();
    QVERIFY(m.setData(m.index(0, 0), QStringLiteral("new.txt")));
    QCOMPARE(m.fileAt(0)->name, QStringLiteral("gone.txt"));
    QVERIFY(QDir(tree.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).isEmpty());
}

void TestFileModelLocal::renamePinnedFolderUpdatesStore()
{
    QTemporaryDir tree;
    QVERIFY(QDir(tree.path()).mkdir(QStringLiteral("pinned")));
    FileInfo info = rec("pinned", "文件夹");
    info.path = tree.path() + QStringLiteral("/pinned");
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("OftenUse"), info);
    fileModelLocal m;
    m.setFiles({info});
    m.applyNameFilters();
    QVERIFY(m.setData(m.index(0, 0), QStringLiteral("钉住")));
    QList<FileInfo> stored;
    fileInfoJsonUtil::ReadFileInfoListFromJson(m_app->store(), QStringLiteral("OftenUse"), stored);
    QCOMPARE(stored.size(), 1);
    QCOMPARE(stored.at(0).name, QStringLiteral("钉住"));
    QCOMPARE(stored.at(0).path, tree.path() + QStringLiteral("/钉住"));
    QVERIFY(QFileInfo(tree.path() + QStringLiteral("/钉住")).isDir());
}

void TestFileModelLocal::renameOntoBrokenLinkReturnsFalseAndKeepsFile()
{
    // A shortcut whose target has gone is still an entry of that name: the
    // rename must neither write through it nor lose the file.
    QTemporaryDir tree;
    const QString path = tree.path() + QStringLiteral("/x.GCFG");
    {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write("project") == 7);
    }
    const QString elsewhere = tree.path() + QStringLiteral("/别处.GCFG");
    const QString link = tree.path() + QStringLiteral("/y.GCFG");
    QVERIFY(QFile::link(elsewhere, link));
    FileInfo info = rec("x.GCFG", "GCFG 文件", "1KB");
    info.path = path;
    fileModelLocal m;
    showOne(m, info);
    QSignalSpy changed(&m, &QAbstractItemModel::dataChanged);
    QVERIFY(!m.setData(m.index(0, 0), QStringLiteral("y.GCFG")));
    QCOMPARE(changed.count(), 0);
    QCOMPARE(m.fileAt(0)->name, QStringLiteral("x.GCFG"));
    QVERIFY(QFileInfo(path).isFile());
    QCOMPARE(QFileInfo(link).symLinkTarget(), elsewhere);
    QVERIFY(!QFileInfo::exists(elsewhere));
}

void TestFileModelLocal::renameOfBrokenLinkRenamesTheLink()
{
    QTemporaryDir tree;
    const QString target = tree.path() + QStringLiteral("/gone/目标.GCFX");
    const QString link = tree.path() + QStringLiteral("/旧.GCFX");
    QVERIFY(QFile::link(target, link));
    FileInfo info = rec("旧.GCFX", "快捷方式", QString(), target);
    info.path = link;
    fileModelLocal m;
    showOne(m, info);
    QSignalSpy changed(&m, &QAbstractItemModel::dataChanged);
    QVERIFY(m.setData(m.index(0, 0), QStringLiteral("新.GCFX")));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(m.fileAt(0)->name, QStringLiteral("新.GCFX"));
    QCOMPARE(m.fileAt(0)->path, tree.path() + QStringLiteral("/新.GCFX"));
    QVERIFY(!QFileInfo(link).isSymLink());
    QCOMPARE(QFileInfo(tree.path() + QStringLiteral("/新.GCFX")).symLinkTarget(), target);
}

QTEST_MAIN(TestFileModelLocal)
#include "tst_filemodellocal.moc"
