// Large folders: the directory service shares the look-ups of a big folder
// among threads and still answers every entry once, in readdir order; the
// records of its answer and the sort keys of their names come out as for a
// small folder.
#include "SharedInterfaceTesting.h"
#include "TranMiUtilAction.h"
#include "collation.h"
#include "listing.h"

#include <QCollator>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Names in the order the file system hands them out.
QStringList readdirOrder(const QString& dir)
{
    QStringList names;
    QDirIterator it(dir, QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    while (it.hasNext()) {
        it.next();
        if (!it.fileName().startsWith(QLatin1Char('.')))
            names << it.fileName();
    }
    return names;
}

} // namespace

class TestLargeFolders : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void serviceListsEveryEntryOnceInReaddirOrder();
    void serviceRowsOfABigFolderMatchThoseOfASmallOne();
    void recordsEqualTheGeneralReaders();
    void sortKeysOfManyNamesOrderAsOneCollator();
    void namesAlikeInALongBeginningOrderAsOneCollator();

private:
    QTemporaryDir m_dir;
    QString m_big; // 9,000 entries: files, folders, links, a hidden file, a name that is not UTF-8
};

void TestLargeFolders::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_big = m_dir.path() + QStringLiteral("/big");
    QVERIFY(QDir().mkpath(m_big));
    for (int i = 0; i < 9000; ++i) {
        const QString base = m_big + QLatin1Char('/');
        if (i % 10 == 0) {
            QVERIFY(QDir().mkdir(base + QStringLiteral("项目文件夹 %1").arg(i)));
        } else if (i % 97 == 0) {
            QVERIFY(QFile::link(base + QStringLiteral("项目文件夹 0"), base + QStringLiteral("链接 %1").arg(i)));
        } else {
            QFile f(base + QStringLiteral("工程预算_%1.GCFG").arg(i, 5, 10, QLatin1Char('0')));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(QByteArray(i % 41, 'x'));
            f.flush();
            QVERIFY(f.setFileTime(QDateTime::fromSecsSinceEpoch(1500000000 + qint64(i) * 7919),
                                  QFileDevice::FileModificationTime));
        }
    }
    QFile hidden(m_big + QStringLiteral("/.hidden"));
    QVERIFY(hidden.open(QIODevice::WriteOnly));
    const QByteArray latin1 = QFile::encodeName(m_big) + "/caf\xe9";
    const int fd = ::open(latin1.constData(), O_CREAT | O_WRONLY, 0644);
    QVERIFY(fd >= 0);
    ::close(fd);
}

void TestLargeFolders::cleanupTestCase()
{
    SharedInterfaceTesting::reset();
    // A name that is not UTF-8 has no text the temporary folder's removal
    // could name it by: it goes by its bytes, or the folder stays behind.
    ::unlink((QFile::encodeName(m_big) + "/caf\xe9").constData());
}

void TestLargeFolders::serviceListsEveryEntryOnceInReaddirOrder()
{
    const QByteArray bytes = TranMiUtilAction::Instance()->ReadDirAll(m_big);
    const QJsonDocument doc = QJsonDocument::fromJson(bytes);
    QVERIFY(doc.isArray());
    QStringList names;
    for (const QJsonValue& row : doc.array())
        names << row.toArray().at(0).toString();
    QStringList expected = readdirOrder(m_big);
    expected.removeAll(QString::fromLatin1("caf\xe9")); // not UTF-8: left out
    expected.erase(std::remove_if(expected.begin(), expected.end(),
                                  [](const QString& n) { return n.contains(QChar::ReplacementCharacter); }),
                   expected.end());
    QCOMPARE(names.size(), 9000);
    QCOMPARE(names, expected);
}

void TestLargeFolders::serviceRowsOfABigFolderMatchThoseOfASmallOne()
{
    // Every row of the big folder equals the row the same entry gets when it
    // is listed in a folder of its own (one thread, no sharing).
    const QJsonArray big = QJsonDocument::fromJson(TranMiUtilAction::Instance()->ReadDirAll(m_big)).array();
    QHash<QString, QJsonArray> byName;
    for (const QJsonValue& row : big)
        byName.insert(row.toArray().at(0).toString(), row.toArray());
    QTemporaryDir small(m_dir.path() + QStringLiteral("/small-XXXXXX"));
    const QStringList samples{QStringLiteral("工程预算_00001.GCFG"), QStringLiteral("工程预算_08999.GCFG"),
                              QStringLiteral("工程预算_04507.GCFG"), QStringLiteral("项目文件夹 4500")};
    for (const QString& name : samples) {
        const QString from = m_big + QLatin1Char('/') + name;
        const QString to = small.path() + QLatin1Char('/') + name;
        QVERIFY(QFileInfo(from).isDir() ? QDir().mkdir(to) : QFile::copy(from, to));
        struct stat st;
        QCOMPARE(::stat(QFile::encodeName(from).constData(), &st), 0);
        const struct timespec times[2] = {st.st_atim, st.st_mtim};
        QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(to).constData(), times, 0), 0);
    }
    const QJsonArray alone = QJsonDocument::fromJson(TranMiUtilAction::Instance()->ReadDirAll(small.path())).array();
    QCOMPARE(alone.size(), samples.size());
    for (const QJsonValue& row : alone) {
        const QJsonArray r = row.toArray();
        QCOMPARE(byName.value(r.at(0).toString()), r);
    }
    // A link in the big folder names its target with the folder's path.
    const QJsonArray link = byName.value(QStringLiteral("链接 97"));
    QCOMPARE(link.at(2).toString(), QStringLiteral("快捷方式"));
    QCOMPARE(link.at(4).toString(), m_big + QStringLiteral("/项目文件夹 0"));
}

void TestLargeFolders::recordsEqualTheGeneralReaders()
{
    const QByteArray bytes = TranMiUtilAction::Instance()->ReadDirAll(m_big);
    QList<FileInfo> scanned;
    QVERIFY(pfd::scanDirRows(bytes, m_big, false, scanned));
    const QJsonArray rows = QJsonDocument::fromJson(bytes).array();
    QCOMPARE(scanned.size(), rows.size());
    for (int i = 0; i < rows.size(); ++i) {
        const QJsonArray r = rows.at(i).toArray();
        const FileInfo& f = scanned.at(i);
        QCOMPARE(f.name, r.at(0).toString());
        QCOMPARE(f.datetime, r.at(1).toString());
        QCOMPARE(f.type, r.at(2).toString());
        QCOMPARE(f.size, r.at(3).toString());
        QCOMPARE(f.symLinkTarget, r.at(4).toString());
        QCOMPARE(f.path, m_big + QLatin1Char('/') + f.name);
        // A name keeps no more room than its characters need.
        QVERIFY(f.name.capacity() <= f.name.size() + 8);
    }
}

void TestLargeFolders::sortKeysOfManyNamesOrderAsOneCollator()
{
    QStringList names;
    for (int i = 0; i < 20000; ++i) {
        switch (i % 5) {
        case 0: names << QStringLiteral("工程预算_%1.GCFG").arg((i * 7919) % 20011); break;
        case 1: names << QStringLiteral("Estimate-%1.GCFZ").arg((i * 104729) % 30011); break;
        case 2: names << QStringLiteral("estimate %1").arg(i % 997); break;
        case 3: names << QStringLiteral("审计报告(%1).GNQS").arg(i % 1009); break;
        default: names << QStringLiteral("结算书 第%1版").arg(i % 313); break;
        }
    }
    const pfd::SortKeys keys = pfd::chineseSortKeys(names.size(), [&](int i) -> const QString& { return names.at(i); });
    QCOMPARE(keys.size(), names.size());
    QCollator one;
    pfd::configureChineseCollator(one);
    for (int i = 0; i + 1 < names.size(); i += 7) {
        const int j = (i * 31 + 17) % names.size();
        const int byKeys = keys.compare(i, j);
        const int byCollator = one.compare(names.at(i), names.at(j));
        QCOMPARE(byKeys < 0, byCollator < 0);
        QCOMPARE(byKeys == 0, byCollator == 0);
    }
}

void TestLargeFolders::namesAlikeInALongBeginningOrderAsOneCollator()
{
    // Keys that agree in far more than their first sixteen bytes, and some
    // that are equal (case and width ignored), both long and short.
    QStringList names;
    for (int i = 0; i < 600; ++i) {
        switch (i % 6) {
        case 0: names << QStringLiteral("工程预算审核报告汇总表_%1.GCFG").arg(i % 97); break;
        case 1: names << QStringLiteral("Contract Estimate Summary %1.GCFZ").arg(i % 89); break;
        case 2: names << QStringLiteral("CONTRACT ESTIMATE SUMMARY %1.gcfz").arg(i % 89); break;
        case 3: names << QStringLiteral("工程预算审核报告汇总表 %1").arg(i % 13); break;
        case 4: names << QStringLiteral("ab%1").arg(i % 7); break;
        default: names << QStringLiteral("AB%1").arg(i % 7); break;
        }
    }
    const pfd::SortKeys keys = pfd::chineseSortKeys(names.size(), [&](int i) -> const QString& { return names.at(i); });
    QCollator one;
    pfd::configureChineseCollator(one);
    int equal = 0;
    for (int i = 0; i < names.size(); ++i) {
        for (int j = 0; j < names.size(); j += 5) {
            const int byKeys = keys.compare(i, j);
            const int byCollator = one.compare(names.at(i), names.at(j));
            QCOMPARE(byKeys < 0, byCollator < 0);
            QCOMPARE(byKeys == 0, byCollator == 0);
            equal += byKeys == 0 && i != j;
        }
    }
    QVERIFY(equal > 0);
}

QTEST_MAIN(TestLargeFolders)
#include "tst_largefolders.moc"
