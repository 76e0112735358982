// The store under writers that meet: a folder removed during uploads into
// it, downloads during replacements, an import that cannot finish, and what
// an upload must say no to (names that read as something else, sizes that
// cannot be), and contents on the disk before a reply says they are stored.
#include "CloudDiskService.h"
#include "clouddisk_store_p.h"
#include "clouddisksupport.h"

#include <QDirIterator>
#include <QMutex>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

using namespace cloudsupport;
using clouddisk::Service;

namespace {

QVariantList column(const QString& dataDir, const QString& sql)
{
    QVariantList out;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "peek");
        db.setDatabaseName(dataDir + "/clouddisk.sqlite");
        db.open();
        QSqlQuery q(db);
        q.exec(sql);
        while (q.next())
            out << q.value(0);
    }
    QSqlDatabase::removeDatabase("peek");
    return out;
}

int contentsFiles(const QString& dataDir)
{
    int n = 0;
    QDirIterator it(dataDir + "/contents", QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        ++n;
    }
    return n;
}

bool writeFile(const QString& path, const QByteArray& data)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

QMutex g_syncedMutex;
QStringList g_synced;
void recordSync(const QString& path)
{
    QMutexLocker lock(&g_syncedMutex);
    g_synced << path;
}

} // namespace

class tst_clouddisk_races : public QObject
{
    Q_OBJECT

private:
    // Asks for a ticket into `folder` and uploads `contents`; the reply.
    QJsonObject upload(Service& s, qint64 user, const QString& name, qint64 folder, const QByteArray& contents)
    {
        const QString mqid = QString::number(user);
        const QJsonObject info =
            s.handle(user, uploadInfo(mqid, name, QString::number(folder), contents.size(), ".GCFG"));
        if (info.value("code").toInt() != 0)
            return info;
        QJsonObject refusal;
        auto up = s.beginUpload(user, uploadFile(info.value("data").toObject(), "/unused", mqid), &refusal);
        if (!up)
            return refusal;
        up->write(contents.constData(), contents.size());
        return up->commit();
    }

private slots:
    // ---- a folder removed during uploads into it

    void uploadIntoAFolderBeingRemovedLandsBeforeOrIsRefused()
    {
        Cloud c;
        std::atomic<qint64> folder{-1};
        std::atomic<bool> over{false};
        std::atomic<int> landed{0}, refused{0}, odd{0};
        std::vector<std::thread> uploaders;
        for (int t = 0; t < 4; ++t) {
            uploaders.emplace_back([&, t] {
                for (int i = 0; !over; ++i) {
                    const qint64 f = folder;
                    if (f < 0) {
                        std::this_thread::yield();
                        continue;
                    }
                    const QJsonObject r = upload(*c.service, c.alice, QStringLiteral("u%1-%2.GCFG").arg(t).arg(i), f,
                                                 QByteArray(2000 + i, 'x'));
                    if (r.value("code").toInt() == 0)
                        ++landed;
                    else if (r.value("msg").toString() == QStringLiteral("文件夹不存在或无权访问"))
                        ++refused;
                    else
                        ++odd;
                }
            });
        }
        for (int round = 0; round < 30; ++round) {
            folder = c.service->makeFolder(c.aliceRoot, QStringLiteral("incoming"));
            QTest::qWait(15);
            const qint64 f = folder;
            QVERIFY(c.service->removeNode(f));
        }
        over = true;
        for (std::thread& t : uploaders)
            t.join();
        qInfo("%d uploads landed before a removal, %d refused", landed.load(), refused.load());
        QCOMPARE(odd.load(), 0);
        QVERIFY(landed > 0);
        // No node whose folder is gone, no contents that no node names.
        QCOMPARE(column(c.dataDir(), "SELECT count(*) FROM nodes WHERE parent IS NOT NULL"
                                     " AND parent NOT IN (SELECT id FROM nodes)")
                     .value(0)
                     .toInt(),
                 0);
        QCOMPARE(contentsFiles(c.dataDir()), 7);
    }

    void orphansOfEarlierVersionsAreReclaimedAtStart()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        qint64 orphan = -1;
        QString blobPath;
        {
            Cloud c(data);
            const qint64 gone = c.service->makeFolder(c.aliceRoot, "gone");
            orphan = c.put(gone, "orphan.GCFG", "left behind");
            blobPath = c.service->prepareDownload(c.alice, download("o", "/x", xzljOf(*c.service, orphan))).contentsPath;
            QVERIFY(QFileInfo::exists(blobPath));
        }
        // What an earlier version's removal left: the folder's row went, its file's stayed.
        {
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "cut");
            db.setDatabaseName(data + "/clouddisk.sqlite");
            QVERIFY(db.open());
            QSqlQuery q(db);
            QVERIFY(q.exec("DELETE FROM nodes WHERE name = 'gone'"));
        }
        QSqlDatabase::removeDatabase("cut");
        auto s = Service::open(data);
        QVERIFY(s);
        QVERIFY(s->subtree(orphan).isEmpty());
        QVERIFY(!QFileInfo::exists(blobPath));
        const Service::Download d = s->prepareDownload(1, download("o", "/x", QStringLiteral("clouddisk:file/%1").arg(orphan)));
        QCOMPARE(d.refusal.value("code").toInt(), 1);
    }

    // ---- downloads during replacements

    void downloadDuringReplacementGetsOneWholeVersion()
    {
        Cloud c;
        QVERIFY(upload(*c.service, c.alice, "r.GCFG", c.aliceRoot, QByteArray(1000, 'a')).value("code").toInt() == 0);
        const qint64 id = c.service->nodeAt(c.aliceRoot, "r.GCFG");
        const QString xzlj = xzljOf(*c.service, id);
        std::atomic<bool> over{false};
        std::thread replacer([&] {
            for (int i = 1; i < 300; ++i)
                upload(*c.service, c.alice, "r.GCFG", c.aliceRoot, QByteArray(1000 + 37 * (i % 50), char('a' + i % 26)));
            over = true;
        });
        int downloads = 0, refused = 0, torn = 0;
        while (!over) {
            const Service::Download d = c.service->prepareDownload(c.alice, download("r.GCFG", "/x", xzlj));
            ++downloads;
            if (!d.refusal.isEmpty() || !d.contents) {
                ++refused;
                continue;
            }
            const QByteArray got = d.contents->readAll();
            if (got.isEmpty() || got.size() != d.size || got.count(got.at(0)) != got.size())
                ++torn;
        }
        replacer.join();
        qInfo("%d downloads during 300 replacements", downloads);
        QCOMPARE(refused, 0);
        QCOMPARE(torn, 0);
    }

    // ---- imports

    void importIsAllOrNothingAndNamesTheOffendingFile()
    {
        Cloud c;
        QTemporaryDir src;
        QVERIFY(writeFile(src.path() + "/a/one.GCFG", "1"));
        QVERIFY(writeFile(src.path() + "/a/two.GCFG", "2"));
        QVERIFY(writeFile(src.path() + "/z/bad\\name.GCFG", "bad"));
        const QJsonObject before = c.service->subtree(c.aliceRoot);
        const int filesBefore = contentsFiles(c.dataDir());
        QString error;
        QCOMPARE(c.service->importFolder(c.aliceRoot, src.path(), &error), qint64(-1));
        QVERIFY2(error.contains(src.path() + "/z/bad\\name.GCFG"), qPrintable(error));
        QVERIFY2(error.contains("nothing was imported"), qPrintable(error));
        QCOMPARE(c.service->subtree(c.aliceRoot), before);
        QCOMPARE(contentsFiles(c.dataDir()), filesBefore);
        QCOMPARE(QDir(c.dataDir() + "/tmp").entryList(QDir::Files).size(), 0);

        // A file in the way of a folder, found only when recording: nothing either.
        QVERIFY(QFile::remove(src.path() + "/z/bad\\name.GCFG"));
        QVERIFY(writeFile(src.path() + "/readme.txt/inner.GCFG", "in a folder named like alice's file"));
        QCOMPARE(c.service->importFolder(c.aliceRoot, src.path(), &error), qint64(-1));
        QVERIFY2(error.contains("readme.txt"), qPrintable(error));
        QCOMPARE(c.service->subtree(c.aliceRoot), before);
        QCOMPARE(contentsFiles(c.dataDir()), filesBefore);

        QVERIFY(QDir(src.path() + "/readme.txt").removeRecursively());
        QCOMPARE(c.service->importFolder(c.aliceRoot, src.path(), &error), qint64(2));
        QVERIFY(c.service->nodeAt(c.aliceRoot, "a/two.GCFG") > 0);
        QCOMPARE(contentsFiles(c.dataDir()), filesBefore + 2);
    }

    // ---- what an upload refuses

    void namesWithControlOrDirectionCharactersRefused_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("U+202E") << QString::fromUtf8("invoice\u202Egcfg.exe");
        QTest::newRow("U+202A") << QString::fromUtf8("a\u202Ab.GCFG");
        QTest::newRow("U+2066") << QString::fromUtf8("a\u2066b.GCFG");
        QTest::newRow("U+2069") << QString::fromUtf8("a\u2069b.GCFG");
        QTest::newRow("U+200E") << QString::fromUtf8("a\u200Eb.GCFG");
        QTest::newRow("U+200F") << QString::fromUtf8("a\u200Fb.GCFG");
        QTest::newRow("U+061C") << QString::fromUtf8("a\u061Cb.GCFG");
        QTest::newRow("C1 U+0085") << QString(QStringLiteral("a") + QChar(0x85) + QStringLiteral("b.GCFG"));
        QTest::newRow("C1 U+009B") << QString(QStringLiteral("a") + QChar(0x9b) + QStringLiteral("b.GCFG"));
        QTest::newRow("DEL") << QString(QStringLiteral("a") + QChar(0x7f) + QStringLiteral("b.GCFG"));
        QTest::newRow("C0 tab") << QStringLiteral("a\tb.GCFG");
    }
    void namesWithControlOrDirectionCharactersRefused()
    {
        QFETCH(QString, name);
        Cloud c;
        const QJsonObject r = c.service->handle(
            c.alice, uploadInfo(QString::number(c.alice), name, QString::number(c.aliceRoot), 10, ".GCFG"));
        QCOMPARE(r.value("code").toInt(), 1);
        QCOMPARE(r.value("msg").toString(), QStringLiteral("文件名不能含有控制字符或改变文字方向的字符"));
        QCOMPARE(c.service->makeFolder(c.aliceRoot, name), qint64(-1));
        // Chinese, Arabic and other scripts are names like any other.
        const QJsonObject ok = c.service->handle(
            c.alice, uploadInfo(QString::number(c.alice), QString::fromUtf8("工程 عربى.GCFG"), QString::number(c.aliceRoot), 10, ".GCFG"));
        QCOMPARE(ok.value("code").toInt(), 0);
    }

    void declaredSizesRangeChecked_data()
    {
        QTest::addColumn<double>("size");
        QTest::newRow("1e308") << 1e308;
        QTest::newRow("below 32 bits") << -2147483649.0;
        QTest::newRow("-1e308") << -1e308;
        QTest::newRow("fraction") << 10.5;
        QTest::newRow("2^63") << 9223372036854775808.0;
        QTest::newRow("infinite") << std::numeric_limits<double>::infinity();
        QTest::newRow("past 1 TiB") << 1099511627777.0;
    }
    void declaredSizesRangeChecked()
    {
        QFETCH(double, size);
        Cloud c;
        const QJsonObject r = c.service->handle(
            c.alice, uploadInfo(QString::number(c.alice), "big.GCFG", QString::number(c.aliceRoot), size, ".GCFG"));
        QCOMPARE(r.value("code").toInt(), 1);
        QCOMPARE(r.value("msg").toString(), QStringLiteral("文件大小不合法"));
        QVERIFY(!r.contains("data"));
    }

    void largestDeclaredSizeEchoedExactly()
    {
        Cloud c;
        const double tib = 1099511627776.0;
        const QJsonObject r = c.service->handle(
            c.alice, uploadInfo(QString::number(c.alice), "big.GCFG", QString::number(c.aliceRoot), tib, ".GCFG"));
        QCOMPARE(r.value("code").toInt(), 0);
        QCOMPARE(r.value("data").toObject().value("wjdx").toDouble(), tib);
    }

    // ---- a service outliving its thread's held connections

    // A service held by something its thread destroys only after its own
    // thread-local state (a static of the main thread at exit(), here a
    // thread_local made first) finds that thread's held connections already
    // given back, and must not touch them again. Under AddressSanitizer the
    // old code read freed memory here.
    void serviceDestroyedAfterItsThreadsHeldConnections()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        std::atomic<qint64> user{-1};
        std::thread([&] {
            struct Keeper
            {
                std::unique_ptr<Service> service;
                ~Keeper() { service.reset(); }
            };
            // Made before the store's own thread-local state, so it is
            // destroyed after it.
            static thread_local Keeper keeper;
            keeper.service = Service::open(data);
            if (keeper.service)
                user = keeper.service->addUser("alice", "a-pass");
        }).join();
        QVERIFY(user > 0);
        auto again = Service::open(data);
        QVERIFY(again);
        QCOMPARE(again->personalRoot(user) > 0, true);
    }

    // ---- on the disk before the reply

    void contentsAndTheirFolderFlushedBeforeTheReply()
    {
        Cloud c;
        {
            QMutexLocker lock(&g_syncedMutex);
            g_synced.clear();
        }
        clouddisk::store::setSyncObserver(&recordSync);
        const QJsonObject r = upload(*c.service, c.alice, "flushed.GCFG", c.aliceRoot, "on the disk");
        clouddisk::store::setSyncObserver(nullptr);
        QCOMPARE(r.value("code").toInt(), 0);
        const QString stored =
            c.service->prepareDownload(c.alice, download("f", "/x", xzljOf(*c.service, r.value("data").toObject().value("wjjid").toString().toLongLong())))
                .contentsPath;
        QVERIFY(!stored.isEmpty());
        QMutexLocker lock(&g_syncedMutex);
        // The bytes (still under their temporary name), then the folder
        // that holds them under their stored one.
        QCOMPARE(g_synced.size() >= 2, true);
        QVERIFY2(g_synced.first().startsWith(c.dataDir() + "/tmp/"), qPrintable(g_synced.join(' ')));
        QCOMPARE(g_synced.last(), QFileInfo(stored).absolutePath());
    }
};

QTEST_GUILESS_MAIN(tst_clouddisk_races)
#include "tst_clouddisk_races.moc"
