// The cloud-disk store: WAL journal, leftovers cleaned at start, and a
// writer killed at any moment leaves no record pointing at missing or
// partial contents.
#include "CloudDiskService.h"
#include "clouddisksupport.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QtTest>

using namespace cloudsupport;
using clouddisk::Service;

namespace {

// A second, read-only look at the database, beside the service.
struct Peek
{
    QString name;
    explicit Peek(const QString& dataDir)
        : name(QStringLiteral("peek-%1").arg(QRandomGenerator::global()->generate()))
    {
        clustersupport::addPeekDatabase(name, dataDir);
    }
    ~Peek() { QSqlDatabase::removeDatabase(name); }
    QVariantList column(const QString& sql)
    {
        QVariantList out;
        QSqlQuery q(QSqlDatabase::database(name));
        q.exec(sql);
        while (q.next())
            out << q.value(0);
        return out;
    }
};

QStringList filesBelow(const QString& dir)
{
    QStringList out;
    QDirIterator it(dir, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        out << QDir(dir).relativeFilePath(it.next());
    out.sort();
    return out;
}

bool writeFile(const QString& path, const QByteArray& data)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

} // namespace

class tst_clouddisk_store : public QObject
{
    Q_OBJECT

private:
    // Every file node's contents exist, complete: the recorded size and the
    // bytes of the local file of the same name. No temporary file is left.
    void checkIntact(const QString& dataDir, const QString& sourceDir)
    {
        QString error;
        auto service = clustersupport::openStore(dataDir, &error);
        QVERIFY2(service, qPrintable(error));
        QCOMPARE(filesBelow(dataDir + "/tmp"), QStringList());
        Peek peek(dataDir);
        const QVariantList names = peek.column("SELECT name FROM nodes WHERE folder = 0 ORDER BY id");
        const QVariantList blobs = peek.column("SELECT blob FROM nodes WHERE folder = 0 ORDER BY id");
        const QVariantList sizes = peek.column("SELECT size FROM nodes WHERE folder = 0 ORDER BY id");
        QCOMPARE(names.size(), blobs.size());
        QSet<QString> referenced;
        for (int i = 0; i < names.size(); ++i) {
            const QString blob = blobs[i].toString();
            referenced.insert(blob);
            QFile f(dataDir + "/contents/" + blob.left(2) + "/" + blob);
            QVERIFY2(f.open(QIODevice::ReadOnly), qPrintable(names[i].toString()));
            const QByteArray contents = f.readAll();
            QCOMPARE(qint64(contents.size()), sizes[i].toLongLong());
            QFile src(sourceDir + "/" + names[i].toString());
            QVERIFY(src.open(QIODevice::ReadOnly));
            QCOMPARE(contents, src.readAll());
        }
        // And nothing unreferenced stays in the contents folder.
        for (const QString& file : filesBelow(dataDir + "/contents"))
            QVERIFY2(referenced.contains(QFileInfo(file).fileName()), qPrintable(file));
    }

private slots:
    void journalIsWal()
    {
        if (clustersupport::testsOnPostgres())
            QSKIP("SQLite's journal: the records are in PostgreSQL in this run");
        Cloud c;
        Peek peek(c.dataDir());
        QCOMPARE(peek.column("PRAGMA journal_mode").value(0).toString(), QStringLiteral("wal"));
    }

    void recordsInPostgresLeaveNoDatabaseFileInTheFolder()
    {
        if (!clustersupport::testsOnPostgres())
            QSKIP("the records are in the folder's SQLite file in this run");
        Cloud c;
        QVERIFY(QFileInfo(c.dataDir()).isDir());
        QVERIFY(QFileInfo(c.dataDir() + QStringLiteral("/contents")).isDir());
        QVERIFY(!QFileInfo::exists(c.dataDir() + QStringLiteral("/clouddisk.sqlite")));
    }

    void leftoversCleanedAtStart()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        qint64 keptFile = -1;
        {
            Cloud c(data);
            keptFile = c.aliceFile;
        }
        // What a killed writer leaves: a part in tmp, contents renamed into
        // place but never recorded, a stray file.
        QVERIFY(writeFile(data + "/tmp/0123456789abcdef0123456789abcdef.part", "half"));
        QVERIFY(writeFile(data + "/contents/ab/abababababababababababababababab", "never recorded"));
        QVERIFY(writeFile(data + "/contents/stray", "x"));
        const QStringList before = filesBelow(data + "/contents");
        QString error;
        auto service = clustersupport::openStore(data, &error);
        QVERIFY(service);
        QCOMPARE(filesBelow(data + "/tmp"), QStringList());
        QStringList expected = before;
        expected.removeAll("ab/abababababababababababababababab");
        expected.removeAll("stray");
        QCOMPARE(filesBelow(data + "/contents"), expected);
        QCOMPARE(expected.size(), 7);
        QVERIFY(!service->prepareDownload(1, download("a", "/x", xzljOf(*service, keptFile))).contentsPath.isEmpty());
    }

    void recordWithDamagedContentsDroppedAtStart_data()
    {
        QTest::addColumn<bool>("removed");
        // Removed by hand, or cut short: what a machine that stopped before
        // the system wrote the contents out can leave.
        QTest::newRow("contents gone") << true;
        QTest::newRow("contents short") << false;
    }
    void recordWithDamagedContentsDroppedAtStart()
    {
        QFETCH(bool, removed);
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        qint64 damaged = -1;
        QString blobPath;
        {
            Cloud c(data);
            damaged = c.bobFile;
            blobPath = c.service->prepareDownload(c.bob, download("b", "/x", xzljOf(*c.service, damaged))).contentsPath;
        }
        if (removed) {
            QVERIFY(QFile::remove(blobPath));
        } else {
            QFile f(blobPath);
            QVERIFY(f.open(QIODevice::ReadWrite) && f.resize(2));
        }
        auto service = clustersupport::openStore(data);
        QVERIFY(service);
        QVERIFY(service->subtree(damaged).isEmpty());
        QVERIFY(!QFileInfo::exists(blobPath));
        Peek peek(data);
        QCOMPARE(peek.column("SELECT count(*) FROM nodes WHERE folder = 0").value(0).toInt(), 6);
    }

    void leftoversKeptWhileAnotherServiceUsesTheFolder()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        Cloud first(data);
        // A second opener (the admin tool beside the server) must not take
        // away what the first is writing right now.
        QVERIFY(writeFile(data + "/tmp/feedfeedfeedfeedfeedfeedfeedfeed.part", "in flight"));
        auto second = clustersupport::openStore(data);
        QVERIFY(second);
        QCOMPARE(filesBelow(data + "/tmp"), QStringList{"feedfeedfeedfeedfeedfeedfeedfeed.part"});
        second.reset();
        first.service.reset();
        // Alone again: cleaned.
        auto third = clustersupport::openStore(data);
        QCOMPARE(filesBelow(data + "/tmp"), QStringList());
    }

    void halfWrittenLockOfAGoneServiceIsNoOwner()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        { Cloud once(data); }
        // A service killed while it wrote its lock left the file empty.
        QProcess gone;
        gone.start("sh", {"-c", "exit 0"});
        QVERIFY(gone.waitForStarted());
        const qint64 pid = gone.processId();
        QVERIFY(gone.waitForFinished());
        QVERIFY(writeFile(data + QStringLiteral("/run/%1-clouddisk-1.lock").arg(pid), QByteArray()));
        QVERIFY(writeFile(data + "/tmp/feedfeedfeedfeedfeedfeedfeedfeed.part", "left over"));
        auto service = clustersupport::openStore(data);
        QVERIFY(service);
        QCOMPARE(filesBelow(data + "/tmp"), QStringList());
        QVERIFY(!QFile::exists(data + QStringLiteral("/run/%1-clouddisk-1.lock").arg(pid)));
        // One of a live process is left alone, with what may be its contents.
        service.reset();
        const QString live = data + QStringLiteral("/run/%1-clouddisk-9.lock").arg(QCoreApplication::applicationPid());
        QVERIFY(writeFile(live, QByteArray()));
        QVERIFY(writeFile(data + "/tmp/feedfeedfeedfeedfeedfeedfeedfeed.part", "in flight"));
        service = clustersupport::openStore(data);
        QCOMPARE(filesBelow(data + "/tmp"), QStringList{"feedfeedfeedfeedfeedfeedfeedfeed.part"});
        QVERIFY(QFile::exists(live));
    }

    void unopenableFolderReported()
    {
        QTemporaryDir dir;
        QVERIFY(writeFile(dir.path() + "/file", "x"));
        QString error;
        QVERIFY(!clustersupport::openStore(dir.path() + "/file/data", &error));
        QVERIFY(!error.isEmpty());
        if (clustersupport::testsOnPostgres())
            return; // no database file in the folder to spoil
        // Not a database.
        QVERIFY(writeFile(dir.path() + "/bad/clouddisk.sqlite", QByteArray(4096, 'g')));
        QVERIFY(!clustersupport::openStore(dir.path() + "/bad", &error));
        QVERIFY(!error.isEmpty());
    }

    void killedWriterLeavesNoPartialRecord()
    {
        // The admin tool imports a folder of files in a second process and is
        // killed at random moments; each time the store opens intact.
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        const QString source = dir.path() + "/source";
        for (int i = 0; i < 12; ++i) {
            QByteArray contents(8 * 1024 * 1024 + i * 16411, char('a' + i % 26));
            contents.prepend(QByteArray::number(i));
            QVERIFY(writeFile(source + QStringLiteral("/f%1.GCFG").arg(i), contents));
        }
        QProcess add;
        add.start(CLOUDDISKCTL, clustersupport::databaseOptions(data) + QStringList{"--data", data, "user", "add", "u", "pw"});
        QVERIFY(add.waitForFinished(30000));
        QCOMPARE(add.exitCode(), 0);
        auto* rng = QRandomGenerator::global();
        for (int round = 0; round < 12; ++round) {
            QProcess ctl;
            ctl.start(CLOUDDISKCTL,
                      clustersupport::databaseOptions(data) + QStringList{"--data", data, "import", source, "user", "u"});
            QVERIFY(ctl.waitForStarted());
            // Let it run for a random while, then kill it without warning.
            QElapsedTimer t;
            t.start();
            const int ms = int(rng->bounded(2, 120));
            ctl.waitForFinished(ms);
            if (ctl.state() != QProcess::NotRunning) {
                ctl.kill();
                QVERIFY(ctl.waitForFinished(10000));
            }
            checkIntact(data, source);
        }
    }
};

QTEST_GUILESS_MAIN(tst_clouddisk_store)
#include "tst_clouddisk_store.moc"
