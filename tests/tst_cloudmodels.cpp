// The cloud table model and its sorting proxy.
#include "YunPanModel.h"
#include "nameFilterProxyModel.h"

#include <QStandardItem>
#include <QtTest>

#include <limits>

namespace {

void addRow(YunPanModel& m, const QString& name, const QString& size, const QString& kind)
{
    m.appendRow({new QStandardItem(name), new QStandardItem(size), new QStandardItem(kind),
                 new QStandardItem(QStringLiteral("2024/01/01 10:00"))});
}

QStringList proxyColumn(const QSortFilterProxyModel& p, int col = 0)
{
    QStringList out;
    for (int r = 0; r < p.rowCount(); ++r)
        out << p.index(r, col).data().toString();
    return out;
}

} // namespace

class TestCloudModels : public QObject
{
    Q_OBJECT

private slots:
    void sizeTextToBytes_data();
    void sizeTextToBytes();
    void nameSortPutsFoldersFirstThenCollator();
    void nameSortDescendingPutsFoldersLast();
    void sizeSortUsesValuesWithUnparseableFirst();
    void otherColumnsUseTheBaseOrder();
    void refusingHookKeepsOldValue();
    void acceptingHookStoresValue();
    void withoutHookValueIsStored();
};

void TestCloudModels::sizeTextToBytes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint64>("bytes");
    QTest::newRow("1.5 kb") << "1.5 kb" << qint64(1536);
    QTest::newRow("10 GB") << "10 GB" << qint64(10) * 1024 * 1024 * 1024;
    QTest::newRow("12 PB") << "12 PB" << qint64(-1);
    QTest::newRow("empty") << "" << qint64(-1);
    QTest::newRow("plain bytes") << "512" << qint64(512);
    QTest::newRow("B") << " 512 B " << qint64(512);
    QTest::newRow("K") << "2K" << qint64(2048);
    QTest::newRow("M") << "1.25M" << qint64(1310720);
    QTest::newRow("TB") << "1 TB" << qint64(1024) * 1024 * 1024 * 1024;
    QTest::newRow("truncates") << "1.0009 KB" << qint64(1024);
    QTest::newRow("negative") << "-1 KB" << qint64(-1);
    QTest::newRow("words") << "abc" << qint64(-1);
    QTest::newRow("2^63 bytes and more are held at the largest size")
        << "100000000T" << std::numeric_limits<qint64>::max();
    QTest::newRow("exactly 2^63 bytes") << "8388608 TB" << std::numeric_limits<qint64>::max();
    QTest::newRow("just below 2^63 bytes") << "8388607 TB" << qint64(8388607) * 1024 * 1024 * 1024 * 1024;
    QTest::newRow("digits past a double's range") << QString(400, QLatin1Char('9')) + QStringLiteral(" B")
                                                 << std::numeric_limits<qint64>::max();
}

void TestCloudModels::sizeTextToBytes()
{
    QFETCH(QString, text);
    QFETCH(qint64, bytes);
    QCOMPARE(nameFilterProxyModel::sizeTextToBytes(text), bytes);
}

void TestCloudModels::nameSortPutsFoldersFirstThenCollator()
{
    YunPanModel m(0, 4);
    addRow(m, "b10.GCFG", "1.00 KB", "GCFG");
    addRow(m, "z目录", "", "文件夹");
    addRow(m, "b2.GCFG", "2.00 KB", "GCFG");
    addRow(m, "a目录", "", "文件夹");
    nameFilterProxyModel p;
    p.setSourceModel(&m);
    p.sort(0, Qt::AscendingOrder);
    QCOMPARE(proxyColumn(p), (QStringList{"a目录", "z目录", "b2.GCFG", "b10.GCFG"}));
}

void TestCloudModels::nameSortDescendingPutsFoldersLast()
{
    YunPanModel m(0, 4);
    addRow(m, "a目录", "", "文件夹");
    addRow(m, "b.GCFG", "1.00 KB", "GCFG");
    nameFilterProxyModel p;
    p.setSourceModel(&m);
    p.sort(0, Qt::DescendingOrder);
    QCOMPARE(proxyColumn(p), (QStringList{"b.GCFG", "a目录"}));
}

void TestCloudModels::sizeSortUsesValuesWithUnparseableFirst()
{
    YunPanModel m(0, 4);
    addRow(m, "big", "1.00 MB", "GCFG");
    addRow(m, "small", "900 B", "GCFG");
    addRow(m, "odd", "lots", "GCFG");
    addRow(m, "mid", "1.50 KB", "GCFG");
    addRow(m, "dir", "", "文件夹");
    nameFilterProxyModel p;
    p.setSourceModel(&m);
    p.sort(1, Qt::AscendingOrder);
    QCOMPARE(proxyColumn(p), (QStringList{"dir", "odd", "small", "mid", "big"}));
}

void TestCloudModels::otherColumnsUseTheBaseOrder()
{
    YunPanModel m(0, 4);
    addRow(m, "x", "", "b");
    addRow(m, "y", "", "C");
    addRow(m, "z", "", "a");
    nameFilterProxyModel p;
    p.setSourceModel(&m);
    p.sort(2, Qt::AscendingOrder);
    QCOMPARE(proxyColumn(p, 2), (QStringList{"C", "a", "b"})); // the base order: plain, case-sensitive
}

void TestCloudModels::refusingHookKeepsOldValue()
{
    YunPanModel m(0, 4);
    addRow(m, "old", "", "文件夹");
    QList<QVariant> seen;
    m.setSetDataHook([&seen](const QModelIndex&, const QVariant& v, int) {
        seen << v;
        return false;
    });
    QVERIFY(!m.setData(m.index(0, 0), QStringLiteral("new")));
    QCOMPARE(m.index(0, 0).data().toString(), QStringLiteral("old"));
    QCOMPARE(seen, QList<QVariant>{QStringLiteral("new")});
}

void TestCloudModels::acceptingHookStoresValue()
{
    YunPanModel m(0, 4);
    addRow(m, "old", "", "文件夹");
    m.setSetDataHook([](const QModelIndex&, const QVariant&, int) { return true; });
    QVERIFY(m.setData(m.index(0, 0), QStringLiteral("new")));
    QCOMPARE(m.index(0, 0).data().toString(), QStringLiteral("new"));
}

void TestCloudModels::withoutHookValueIsStored()
{
    YunPanModel m(0, 4);
    addRow(m, "old", "", "文件夹");
    QVERIFY(m.setData(m.index(0, 0), QStringLiteral("new")));
    QCOMPARE(m.index(0, 0).data().toString(), QStringLiteral("new"));
}

QTEST_MAIN(TestCloudModels)
#include "tst_cloudmodels.moc"
