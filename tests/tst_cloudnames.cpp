// Cloud names on the local disk, the staging tree's fence, the recovery
// folder and the cloud tree helpers.
#include "cloud/cloudnames.h"
#include "cloud/cloudtree.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

using namespace pfd::cloud;

namespace {

QJsonObject node(const QString& name, const QString& id, bool folder, double size = 0,
                 const QJsonArray& children = QJsonArray())
{
    QJsonObject n{{"wjjmc", name}, {"wjjid", id}, {"wjjpid", "0"}, {"wjlx", folder ? "1" : "2"},
                  {"wjdx", size}, {"xgsj", "2024-05-06 07:08:09"}, {"wjjgsqyid", "q1"}};
    if (folder)
        n.insert("xjdata", children);
    return n;
}

QString sha8(const QString& name)
{
    return QString::fromLatin1(QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha1).toHex().left(8));
}

void touch(const QString& path, const QByteArray& bytes = "x")
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

} // namespace

class TestCloudNames : public QObject
{
    Q_OBJECT

private slots:
    void localNames_data();
    void localNames();
    void longNameKeepsItsSuffixAndFits();
    void longNameWithLongSuffixIsCutWhole();
    void longChineseNameIsCutAtACharacterBoundary();
    void longNameCutKeepsSurrogatePairsWhole();
    void fenceKeepsPathsInsideTheStagingFolder();
    void fenceFollowsLinksOutOfTheTree();
    void stagingFolderMapsEverySegment();
    void recoveryTargetNeverTakesAnExistingName();
    void moveToRecoveryRefusesFilesOutsideTheStagingTree();
    void moveToRecoveryMovesTheFile();

    void sizeTexts_data();
    void sizeTexts();
    void folderRowsHaveNoSizeAndTheFolderKind();
    void idsPastAWholeNumbersRangeKeepTheirNumberText();
    void personalRootIsUnwrapped();
    void personalTreeWithoutRootComesAsItIs();
    void singleSegmentNeverExists();
    void fileFoundDownTheTree();
    void unknownSegmentIsSkippedAtTheSameLevel();
    void walkStopsAtTheFirstMissingFolder();
};

void TestCloudNames::localNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("local");
    QTest::newRow("plain") << "工程.GCFX" << "工程.GCFX";
    QTest::newRow("personal label") << "个人云盘" << "个人云盘";
    QTest::newRow("dot") << "." << "_";
    QTest::newRow("dot dot") << ".." << "__";
    QTest::newRow("trailing dot") << "a." << "a_";
    QTest::newRow("trailing blanks and dots") << "a . " << "a___";
    QTest::newRow("inner dots kept") << "a..b" << "a..b";
    QTest::newRow("leading dot kept") << ".hidden" << ".hidden";
    QTest::newRow("slash") << "../../etc/passwd" << ".._.._etc_passwd";
    QTest::newRow("backslash") << "..\\..\\x" << ".._.._x";
    QTest::newRow("drive colon") << "C:evil" << "C_evil";
    QTest::newRow("wildcards") << "a*b?c\"d<e>f|g" << "a_b_c_d_e_f_g";
    QTest::newRow("control") << QString("a") + QChar(0) + "b" + QChar(0x1f) + "c" + QChar(0x7f) << "a_b_c_";
    QTest::newRow("newline") << "a\nb" << "a_b";
    QTest::newRow("empty") << "" << "_";
    QTest::newRow("blank") << " " << "_";
}

void TestCloudNames::localNames()
{
    QFETCH(QString, name);
    QFETCH(QString, local);
    QCOMPARE(localNameForCloudName(name), local);
}

void TestCloudNames::longNameKeepsItsSuffixAndFits()
{
    const QString name = QString(300, QLatin1Char('a')) + QStringLiteral(".GCFX");
    const QString local = localNameForCloudName(name);
    QVERIFY(local.toUtf8().size() <= 255);
    QCOMPARE(local.toUtf8().size(), 255);
    QVERIFY(local.endsWith(QLatin1Char('~') + sha8(name) + QStringLiteral(".GCFX")));
    QVERIFY(local.startsWith(QString(200, QLatin1Char('a'))));
    // Two long names that differ only at their end stay apart.
    QVERIFY(localNameForCloudName(QString(300, QLatin1Char('a')) + QStringLiteral("b.GCFX")) != local);
    // 255 bytes exactly need nothing.
    const QString fits = QString(250, QLatin1Char('b')) + QStringLiteral(".GCF");
    QCOMPARE(localNameForCloudName(fits), fits);
}

void TestCloudNames::longNameWithLongSuffixIsCutWhole()
{
    const QString name = QStringLiteral("x.") + QString(300, QLatin1Char('s'));
    const QString local = localNameForCloudName(name);
    QCOMPARE(local.toUtf8().size(), 255);
    QVERIFY(local.endsWith(QLatin1Char('~') + sha8(name)));
}

void TestCloudNames::longChineseNameIsCutAtACharacterBoundary()
{
    const QString name = QString(120, QChar(0x697c)) + QStringLiteral(".GCFX"); // 360 bytes + 5
    const QString local = localNameForCloudName(name);
    const QByteArray utf8 = local.toUtf8();
    QVERIFY(utf8.size() <= 255);
    QCOMPARE(QString::fromUtf8(utf8), local);
    // 255 - 9 ("~" + 8) - 5 = 241 bytes of stem: 80 characters of 3 bytes.
    QCOMPARE(local, QString(80, QChar(0x697c)) + QLatin1Char('~') + sha8(name) + QStringLiteral(".GCFX"));
}

void TestCloudNames::longNameCutKeepsSurrogatePairsWhole()
{
    const QString emoji = QString::fromUtf8("\xF0\x9F\x93\x81"); // 4 bytes, two UTF-16 units
    QString name;
    for (int i = 0; i < 70; ++i)
        name += emoji;
    const QString local = localNameForCloudName(name);
    QVERIFY(local.toUtf8().size() <= 255);
    QVERIFY(!local.at(local.indexOf(QLatin1Char('~')) - 1).isHighSurrogate());
    QCOMPARE(local.indexOf(QLatin1Char('~')), 2 * 61); // 61 x 4 = 244 <= 246
}

void TestCloudNames::fenceKeepsPathsInsideTheStagingFolder()
{
    QTemporaryDir tmp;
    const QString root = tmp.path() + "/cfg/DownloadCloudDiskFile/7";
    QDir().mkpath(root);
    QVERIFY(isInsideFolder(root + "/个人云盘/a.GCFX", root));
    QVERIFY(isInsideFolder(root + "/not/yet/made/a.GCFX", root));
    QVERIFY(!isInsideFolder(root, root));
    QVERIFY(!isInsideFolder(root + "/", root));
    QVERIFY(!isInsideFolder(root + "/../8/a.GCFX", root));
    QVERIFY(!isInsideFolder(root + "/个人云盘/../../x", root));
    QVERIFY(!isInsideFolder(root + "x/a", root));
    QVERIFY(!isInsideFolder(tmp.path() + "/elsewhere", root));
    QVERIFY(!isInsideFolder(root + "/a", QString()));
}

void TestCloudNames::fenceFollowsLinksOutOfTheTree()
{
    QTemporaryDir tmp;
    const QString root = tmp.path() + "/stage";
    const QString outside = tmp.path() + "/outside";
    QDir().mkpath(root);
    QDir().mkpath(outside);
    QVERIFY(QFile::link(outside, root + "/link"));
    QVERIFY(!isInsideFolder(root + "/link/a.GCFX", root));
    QVERIFY(isInsideFolder(root + "/plain/a.GCFX", root));
}

void TestCloudNames::stagingFolderMapsEverySegment()
{
    QCOMPARE(stagingUserFolder("/app", "1024"), QStringLiteral("/app/cfg/DownloadCloudDiskFile/1024"));
    QCOMPARE(stagingFolder("/app", "1024", {"个人云盘", "..", "a/b", "c:"}),
             QStringLiteral("/app/cfg/DownloadCloudDiskFile/1024/个人云盘/__/a_b/c_"));
    QCOMPARE(stagingFolder("/app", "../x", {}), QStringLiteral("/app/cfg/DownloadCloudDiskFile/.._x"));
    QCOMPARE(recoveryFolder("/app", "1024"), QStringLiteral("/app/cfg/CloudUploadRecovery/1024"));
}

void TestCloudNames::recoveryTargetNeverTakesAnExistingName()
{
    QTemporaryDir tmp;
    const QDateTime when(QDate(2026, 11, 23), QTime(14, 5, 6));
    const QString first = recoveryTarget(tmp.path(), "楼.GCFX", when);
    QCOMPARE(first, tmp.path() + "/20261123-140506-楼.GCFX");
    touch(first);
    QCOMPARE(recoveryTarget(tmp.path(), "楼.GCFX", when), tmp.path() + "/20261123-140506-楼 (2).GCFX");
    QCOMPARE(recoveryTarget(tmp.path(), "../x", when), tmp.path() + "/20261123-140506-.._x");
}

void TestCloudNames::moveToRecoveryRefusesFilesOutsideTheStagingTree()
{
    QTemporaryDir tmp;
    const QString stage = tmp.path() + "/stage";
    const QString outsideFile = tmp.path() + "/precious.GCFX";
    touch(outsideFile, "keep");
    QVERIFY(moveToRecovery(outsideFile, stage, tmp.path() + "/rec", QDateTime::currentDateTime()).isEmpty());
    QVERIFY(QFile::exists(outsideFile));
    QVERIFY(moveToRecovery(stage + "/../precious.GCFX", stage, tmp.path() + "/rec", QDateTime::currentDateTime()).isEmpty());
    QVERIFY(QFile::exists(outsideFile));
}

void TestCloudNames::moveToRecoveryMovesTheFile()
{
    QTemporaryDir tmp;
    const QString stage = tmp.path() + "/stage";
    const QString staged = stage + "/个人云盘/a.GCFX";
    touch(staged, "project bytes");
    const QString moved = moveToRecovery(staged, stage, tmp.path() + "/rec", QDateTime::currentDateTime());
    QVERIFY(!moved.isEmpty());
    QVERIFY(!QFile::exists(staged));
    QFile f(moved);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QCOMPARE(f.readAll(), QByteArray("project bytes"));
    QVERIFY(moved.startsWith(tmp.path() + "/rec/"));
}

void TestCloudNames::sizeTexts_data()
{
    QTest::addColumn<double>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("0") << 0.0 << "0.00 B";
    QTest::newRow("1023") << 1023.0 << "1023.00 B";
    QTest::newRow("1024") << 1024.0 << "1.00 KB";
    QTest::newRow("1536") << 1536.0 << "1.50 KB";
    QTest::newRow("1048575") << 1048575.0 << "1024.00 KB";
    QTest::newRow("1048576") << 1048576.0 << "1.00 M";
    QTest::newRow("1073741824") << 1073741824.0 << "1.00 G";
    QTest::newRow("5 G") << 5.0 * 1073741824.0 << "5.00 G";
}

void TestCloudNames::sizeTexts()
{
    QFETCH(double, bytes);
    QFETCH(QString, text);
    QCOMPARE(cloudSizeText(bytes), text);
    QCOMPARE(rowTexts(node("f.GCFX", "1", false, bytes)).at(SizeColumn), text);
}

void TestCloudNames::folderRowsHaveNoSizeAndTheFolderKind()
{
    const QStringList folder = rowTexts(node("工程", "11", true, 4096));
    QCOMPARE(folder.size(), int(RowColumnCount));
    QCOMPARE(folder.at(NameColumn), QStringLiteral("工程"));
    QCOMPARE(folder.at(SizeColumn), QString());
    QCOMPARE(folder.at(KindColumn), QStringLiteral("文件夹"));
    QCOMPARE(folder.at(IdColumn), QStringLiteral("11"));
    QCOMPARE(folder.at(FolderFlagColumn), QStringLiteral("1"));
    QCOMPARE(folder.at(EnterpriseIdColumn), QStringLiteral("q1"));
    const QStringList file = rowTexts(node("b.gcfz", "12", false, 10));
    QCOMPARE(file.at(KindColumn), QStringLiteral("gcfz 文件"));
    QCOMPARE(file.at(TimeColumn), QStringLiteral("2024-05-06 07:08:09"));
    // A numeric id is written in decimal.
    QCOMPARE(rowTexts(QJsonObject{{"wjjmc", "n"}, {"wjjid", 42}, {"wjlx", 1}}).at(IdColumn), QStringLiteral("42"));
}

void TestCloudNames::idsPastAWholeNumbersRangeKeepTheirNumberText()
{
    // Ids a 64-bit integer cannot hold arrive only from a broken or hostile
    // reply; they are shown as the number they are, never converted.
    const auto id = [](double value) {
        return rowTexts(QJsonObject{{"wjjmc", "n"}, {"wjjid", value}, {"wjlx", 1}}).at(IdColumn);
    };
    QCOMPARE(id(1.11111e23), QStringLiteral("1.11111e+23"));
    QCOMPARE(id(-1e19), QStringLiteral("-1e+19"));
    QCOMPARE(id(9223372036854775808.0), QStringLiteral("9.22337e+18"));
    QCOMPARE(id(-9223372036854775808.0), QStringLiteral("-9223372036854775808"));
    QCOMPARE(id(2.5), QStringLiteral("2.5"));
    QCOMPARE(nodeText(QJsonObject{{"wjlx", 1e300}}, QStringLiteral("wjlx")), QStringLiteral("1e+300"));
}

void TestCloudNames::personalRootIsUnwrapped()
{
    const QJsonArray top{node("a", "2", true)};
    QString rootId;
    QCOMPARE(unwrapPersonalRoot(QJsonArray{node(kRootNodeName, "r1", true, 0, top)}, &rootId), top);
    QCOMPARE(rootId, QStringLiteral("r1"));
}

void TestCloudNames::personalTreeWithoutRootComesAsItIs()
{
    const QJsonArray nodes{node("根", "r1", true, 0, QJsonArray{node("a", "2", true)})};
    QString rootId = QStringLiteral("unchanged");
    QCOMPARE(unwrapPersonalRoot(nodes, &rootId), nodes);
    QCOMPARE(rootId, QStringLiteral("unchanged"));
    QCOMPARE(unwrapPersonalRoot(QJsonArray(), &rootId), QJsonArray());
}

void TestCloudNames::singleSegmentNeverExists()
{
    const QJsonArray tree{node("a.GCFX", "1", false)};
    QVERIFY(!fileExistsInTree({"a.GCFX"}, tree));
    QVERIFY(!fileExistsInTree({}, tree));
    QVERIFY(fileExistsInTree({"个人云盘", "a.GCFX"}, tree));
}

void TestCloudNames::fileFoundDownTheTree()
{
    const QJsonArray tree{node("d", "1", true, 0, QJsonArray{node("e", "2", true, 0, QJsonArray{node("f.GCFX", "3", false)})})};
    QVERIFY(fileExistsInTree({"个人云盘", "d", "e", "f.GCFX"}, tree));
    QVERIFY(!fileExistsInTree({"个人云盘", "d", "e", "g.GCFX"}, tree));
    QVERIFY(!fileExistsInTree({"个人云盘", "d", "e"}, tree));
}

void TestCloudNames::unknownSegmentIsSkippedAtTheSameLevel()
{
    const QJsonArray tree{node("f.GCFX", "3", false)};
    QVERIFY(fileExistsInTree({"个人云盘", "gone", "f.GCFX"}, tree));
}

void TestCloudNames::walkStopsAtTheFirstMissingFolder()
{
    const QJsonObject e = node("e", "2", true, 0, QJsonArray{node("f.GCFX", "3", false)});
    const QJsonObject d = node("d", "1", true, 0, QJsonArray{e});
    QJsonObject folder;
    int matched = -1;
    QCOMPARE(walkTree(QJsonArray{d}, {"个人云盘", "d", "e"}, &folder, &matched), e.value("xjdata").toArray());
    QCOMPARE(folder.value("wjjid").toString(), QStringLiteral("2"));
    QCOMPARE(matched, 2);
    QCOMPARE(walkTree(QJsonArray{d}, {"个人云盘", "d", "x", "e"}, &folder, &matched), d.value("xjdata").toArray());
    QCOMPARE(matched, 1);
    QCOMPARE(walkTree(QJsonArray{d}, {"个人云盘"}, &folder, &matched), QJsonArray{d});
    QVERIFY(folder.isEmpty());
    QCOMPARE(findNode(QJsonArray{d}, "wjjid", "1"), d);
    QVERIFY(findNode(QJsonArray{d}, "wjjid", "9").isEmpty());
}

QTEST_GUILESS_MAIN(TestCloudNames)
#include "tst_cloudnames.moc"
