// Crash safety of clouddiskd: 200 uploads with the server killed (SIGKILL) at
// random moments. After every restart the store opens, every node's contents
// are there with exactly the bytes uploaded, uploads that were answered as
// stored are all there, and no half-written contents are visible. The seed
// is printed; PFD_CRASH_SEED repeats a run.
#include "cloudserversupport.h"

#include "CloudHttp_p.h"
#include "CloudTransport.h"

#include <QBuffer>
#include <QDirIterator>
#include <QHash>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <thread>

using namespace cloudtest;

namespace {

constexpr int kUploads = 200;

QByteArray randomBytes(qint64 size, quint32 seed)
{
    QByteArray out(int(size), Qt::Uninitialized);
    QRandomGenerator gen(seed);
    for (qint64 i = 0; i < size; ++i)
        out[int(i)] = char(gen.generate());
    return out;
}

// Sizes of the files under one folder of the data folder, sorted.
QList<qint64> fileSizesUnder(const QString& dir)
{
    QList<qint64> out;
    QDirIterator it(dir, QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        out << it.fileInfo().size();
    }
    std::sort(out.begin(), out.end());
    return out;
}

} // namespace

class TestCloudCrash : public QObject
{
    Q_OBJECT

private slots:
    void killedServerKeepsEveryUploadWholeOrAbsent()
    {
        QTemporaryDir data;
        QVERIFY(data.isValid());
        const qint64 alice = addUser(data.path(), QStringLiteral("alice"), QStringLiteral("a-pass"));
        QVERIFY(alice > 0);
        const QString mqid = QString::number(alice);

        Server server(data.path());
        QVERIFY2(server.start(), server.errors().constData());
        const int port = server.port();
        std::unique_ptr<clouddisk::CloudTransport> t = clouddisk::makeHttpTransport(server.url());
        QVERIFY(t->login(QStringLiteral("alice"), QStringLiteral("a-pass")).ok);

        const quint32 seed = qEnvironmentVariableIsSet("PFD_CRASH_SEED")
                                 ? quint32(qEnvironmentVariableIntValue("PFD_CRASH_SEED"))
                                 : QRandomGenerator::global()->generate();
        qInfo("seed %u", seed);
        QRandomGenerator random(seed);

        QHash<QString, QByteArray> uploaded; // every upload tried, by name
        QSet<QString> answeredStored;        // those the server said it stored
        int kills = 0;

        // After a restart: the tree is readable and each node holds exactly
        // the bytes sent for it.
        auto verify = [&]() {
            const QJsonObject tree = t->request(personalTree(alice));
            QCOMPARE(tree.value(QLatin1String("code")).toInt(), 0);
            const QJsonArray nodes = rootNode(tree).value(QLatin1String("xjdata")).toArray();
            QSet<QString> present;
            QList<qint64> nodeSizes;
            for (const QJsonValue& v : nodes) {
                const QJsonObject node = v.toObject();
                const QString name = node.value(QLatin1String("wjjmc")).toString();
                QVERIFY2(uploaded.contains(name), qPrintable(name));
                present.insert(name);
                QBuffer sink;
                sink.open(QIODevice::WriteOnly);
                const QJsonObject got = t->download(
                    download(name, QStringLiteral("/tmp/unused"), node.value(QLatin1String("xzlj")).toString()), &sink);
                QCOMPARE(got.value(QLatin1String("code")).toInt(-1), 0);
                QVERIFY2(sink.data() == uploaded.value(name), qPrintable(name));
                QCOMPARE(qint64(node.value(QLatin1String("wjdx")).toDouble()), qint64(sink.data().size()));
                nodeSizes << sink.data().size();
            }
            for (const QString& name : answeredStored)
                QVERIFY2(present.contains(name), qPrintable(name));
            std::sort(nodeSizes.begin(), nodeSizes.end());
            // The store keeps finished contents in "contents" and writes
            // new ones in "tmp" first: after a restart the one holds a file
            // per node and nothing else, the other nothing at all.
            QCOMPARE(fileSizesUnder(data.path() + QStringLiteral("/contents")), nodeSizes);
            QCOMPARE(fileSizesUnder(data.path() + QStringLiteral("/tmp")), QList<qint64>());
        };

        for (int i = 0; i < kUploads; ++i) {
            const QString name = QStringLiteral("crash-%1.GCFG").arg(i, 3, 10, QLatin1Char('0'));
            // Mostly small project files, every tenth large enough that a
            // kill often lands while its contents stream in.
            const qint64 size = i % 10 == 9 ? 2 * 1024 * 1024 + random.bounded(1024)
                                            : 1024 + random.bounded(128 * 1024);
            const QByteArray contents = randomBytes(size, seed + quint32(i));
            uploaded.insert(name, contents);

            std::atomic<int> code{-1};
            auto upload = [&] {
                const clouddisk::http::NoBrokenPipeSignal quiet;
                const QString root =
                    rootNode(t->request(personalTree(alice))).value(QLatin1String("wjjid")).toString();
                const QJsonObject info =
                    t->request(personalUploadInfo(name, root, size, QStringLiteral(".GCFG"), mqid));
                if (info.value(QLatin1String("code")).toInt(-1) != 0)
                    return;
                QBuffer source;
                source.setData(contents);
                source.open(QIODevice::ReadOnly);
                code = t->upload(personalUploadFile(info.value(QLatin1String("data")).toObject(),
                                                    QStringLiteral("/tmp/unused"), mqid),
                                 &source)
                           .value(QLatin1String("code"))
                           .toInt(-1);
            };

            // About one upload in six has the server killed under it, at a
            // random moment from before the first byte to after the answer.
            const bool kill = random.bounded(6) == 0;
            if (!kill) {
                upload();
                QCOMPARE(code.load(), 0);
                answeredStored.insert(name);
                continue;
            }
            std::thread worker(upload);
            QThread::usleep(random.bounded(size > 1024 * 1024 ? 40000 : 8000));
            server.kill();
            worker.join();
            ++kills;
            if (code == 0)
                answeredStored.insert(name);
            QVERIFY2(server.start(port), server.errors().constData());
            verify();
            if (QTest::currentTestFailed())
                return;
        }
        QVERIFY(kills > 0);
        QVERIFY(server.stop());
        QVERIFY2(server.start(port), server.errors().constData());
        verify();
        qInfo("%d uploads, %d kills, %d stored", kUploads, kills, int(answeredStored.size()));
    }
};

QTEST_GUILESS_MAIN(TestCloudCrash)
#include "tst_cloudcrash.moc"
