// The store's database connections: a bounded pool that threads take from
// and give back when they end, so that a server which runs every client on
// a new thread keeps its handles flat, and the service's own failures are
// answered as such, never blamed on the user.
#include "CloudDiskService.h"
#include "clouddisksupport.h"

#include <QDir>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

using namespace cloudsupport;
using clouddisk::Service;

namespace {

int openHandles()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size();
}

} // namespace

class tst_clouddisk_connections : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (!QDir(QStringLiteral("/proc/self/fd")).exists())
            QSKIP("counting handles needs /proc");
    }

    void eachNewThreadReusesAnEndedThreadsConnection()
    {
        Cloud c;
        // One request on a thread of its own, as a server that starts a
        // thread per client makes it.
        const auto oneClient = [&c] {
            int code = -1;
            std::thread t([&] { code = c.service->handle(c.alice, personTree(double(c.alice))).value("code").toInt(-1); });
            t.join();
            return code;
        };
        for (int i = 0; i < 20; ++i)
            QCOMPARE(oneClient(), 0);
        const int before = openHandles();
        for (int i = 0; i < 2000; ++i) {
            if (oneClient() != 0)
                QFAIL(qPrintable(QStringLiteral("request %1 refused").arg(i)));
        }
        const int after = openHandles();
        qInfo("handles before %d, after 2,000 threads %d; connections open %d", before, after,
              c.service->openConnections());
        QCOMPARE(after, before);
        QVERIFY(c.service->openConnections() <= 2);
    }

    void connectionsNeverExceedTheLimit()
    {
        Cloud c;
        c.service->setConnectionLimit(3);
        std::atomic<int> refused{0};
        std::atomic<int> most{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 12; ++t) {
            threads.emplace_back([&] {
                for (int i = 0; i < 20; ++i) {
                    if (c.service->handle(c.bob, personTree(double(c.bob))).value("code").toInt(-1) != 0)
                        ++refused;
                    const int now = c.service->openConnections();
                    int seen = most.load();
                    while (now > seen && !most.compare_exchange_weak(seen, now)) {
                    }
                }
            });
        }
        for (std::thread& t : threads)
            t.join();
        QCOMPARE(refused.load(), 0);
        QVERIFY2(most.load() <= 3, qPrintable(QString::number(most.load())));
    }

    void storeFailureIsBusyNeverTheWrongUser()
    {
        Cloud c;
        // The store breaks under the service: a table it needs is gone.
        {
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "breaker");
            db.setDatabaseName(c.dataDir() + "/clouddisk.sqlite");
            QVERIFY(db.open());
            QSqlQuery q(db);
            QVERIFY(q.exec("ALTER TABLE users RENAME TO users_away"));
        }
        QSqlDatabase::removeDatabase("breaker");
        const QString busy = QStringLiteral("云盘服务繁忙，请稍后重试");
        QJsonObject r = c.service->handle(c.alice, personTree(double(c.alice)));
        QCOMPARE(r.value("code").toInt(), 1);
        QCOMPARE(r.value("msg").toString(), busy);
        const Service::Download d = c.service->prepareDownload(c.alice, download("a", "/x", "clouddisk:file/1"));
        QCOMPARE(d.refusal.value("msg").toString(), busy);
        QJsonObject refusal;
        QVERIFY(!c.service->beginUpload(c.alice, uploadFile(QJsonObject(), "/x", QString::number(c.alice)), &refusal));
        QCOMPARE(refusal.value("msg").toString(), busy);
    }
};

QTEST_GUILESS_MAIN(tst_clouddisk_connections)
#include "tst_clouddisk_connections.moc"
