// The service's tree replies written as bytes: JSON strings that read back
// as the text they were made from, whatever it holds, and tree replies that
// are, once parsed, exactly the trees the store's rows describe, also for
// names no user could type.
#include "CloudDiskService.h"
#include "JsonWriter.h"
#include "clouddisksupport.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QtTest>

#include <limits>

using namespace cloudsupport;
using clouddisk::appendJsonString;
using clouddisk::JsonWriter;

namespace {

// `text` written by appendJsonString inside an array, and read back.
QString roundTrip(const QString& text, QJsonParseError* error)
{
    QByteArray json = "[";
    appendJsonString(json, text);
    json += "]";
    return QJsonDocument::fromJson(json, error).array().first().toString();
}

QString fromUnits(std::initializer_list<ushort> units)
{
    QString s;
    for (ushort u : units)
        s += QChar(u);
    return s;
}

// One stored node, as the test reads it from the database itself.
struct Row
{
    qint64 id, parent, enterprise, size;
    QString name, mtime;
    bool folder;
};

// The store's database, opened by the test on a connection of its own.
class Rows
{
public:
    explicit Rows(const QString& dataDir)
        : m_name(QStringLiteral("rows-%1").arg(quintptr(this)))
    {
        QSqlDatabase db = clustersupport::addPeekDatabase(m_name, dataDir);
        QVERIFY2(db.isOpen(), qPrintable(db.lastError().text()));
    }
    ~Rows()
    {
        QSqlDatabase::database(m_name).close();
        QSqlDatabase::removeDatabase(m_name);
    }

    // A node written straight into the store, as a damaged or foreign
    // store could hold it: no check of the name at all.
    qint64 insert(qint64 parent, qint64 owner, qint64 enterprise, const QString& name, bool folder, qint64 size = 0,
                  const QString& mtime = QStringLiteral("2026-01-02 03:04:05"))
    {
        QSqlQuery q(QSqlDatabase::database(m_name));
        q.prepare(QStringLiteral("INSERT INTO nodes(parent, owner, enterprise, name, folder, size, mtime)"
                                 " VALUES (?, ?, ?, ?, ?, ?, ?)")
                  + (clustersupport::testsOnPostgres() ? QStringLiteral(" RETURNING id") : QString()));
        q.addBindValue(parent);
        q.addBindValue(owner < 0 ? QVariant(QVariant::LongLong) : QVariant(owner));
        q.addBindValue(enterprise < 0 ? QVariant(QVariant::LongLong) : QVariant(enterprise));
        q.addBindValue(name);
        q.addBindValue(folder ? 1 : 0);
        q.addBindValue(size);
        q.addBindValue(mtime);
        if (!q.exec()) {
            qWarning("insert: %s", qPrintable(q.lastError().text()));
            return -1;
        }
        if (clustersupport::testsOnPostgres())
            return q.next() ? q.value(0).toLongLong() : -1;
        return q.lastInsertId().toLongLong();
    }

    bool exec(const QString& sql)
    {
        QSqlQuery q(QSqlDatabase::database(m_name));
        return q.exec(sql);
    }

    // The nodes of one tree ("owner" or "enterprise"), folders first and
    // by name within each folder.
    QVector<Row> tree(const QString& column, qint64 value) const
    {
        QVector<Row> out;
        QSqlQuery q(QSqlDatabase::database(m_name));
        q.prepare(QStringLiteral("SELECT id, parent, enterprise, size, name, mtime, folder FROM nodes WHERE %1 = ?"
                                 " ORDER BY folder DESC, name")
                      .arg(column));
        q.addBindValue(value);
        if (!q.exec())
            qWarning("select: %s", qPrintable(q.lastError().text()));
        while (q.next())
            out << Row{q.value(0).toLongLong(), q.value(1).isNull() ? -1 : q.value(1).toLongLong(),
                       q.value(2).isNull() ? -1 : q.value(2).toLongLong(), q.value(3).toLongLong(),
                       q.value(4).toString(), q.value(5).toString(), q.value(6).toInt() != 0};
        return out;
    }

private:
    QString m_name;
};

// The reply node of rows[id] with everything below it; folders in `closed`
// without their contents.
QJsonObject expectedNode(const QVector<Row>& rows, qint64 id, const QSet<qint64>& closed = {})
{
    for (const Row& r : rows) {
        if (r.id != id)
            continue;
        QJsonObject o{{"wjjmc", r.name},
                      {"wjjid", QString::number(r.id)},
                      {"wjjpid", r.parent < 0 ? QStringLiteral("0") : QString::number(r.parent)},
                      {"wjlx", r.folder ? "1" : "2"},
                      {"wjdx", double(r.size)},
                      {"xgsj", r.mtime},
                      {"wjjgsqyid", r.enterprise < 0 ? QString() : QString::number(r.enterprise)}};
        if (!r.folder) {
            o.insert("xzlj", "clouddisk:file/" + QString::number(r.id));
            return o;
        }
        QJsonArray kids;
        if (!closed.contains(r.id)) {
            for (const Row& k : rows) {
                if (k.parent == r.id)
                    kids.append(expectedNode(rows, k.id, closed));
            }
        }
        o.insert("xjdata", kids);
        return o;
    }
    return QJsonObject();
}

QJsonObject expectedSuccess(const QJsonValue& data)
{
    return QJsonObject{{"code", 0}, {"msg", QString()}, {"data", data}};
}

// The reply's bytes parsed, failing the test when they are not one JSON
// object. Qt's reader lets raw control characters in strings pass; JSON does
// not, and compact JSON has no blanks either, so no byte may be one.
QJsonObject parsedStrictly(const QByteArray& bytes)
{
    for (int i = 0; i < bytes.size(); ++i) {
        if (uchar(bytes[i]) < 0x20) {
            qWarning("raw control character %d at %d", int(bytes[i]), i);
            return QJsonObject{{"not", "JSON"}};
        }
    }
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) {
        qWarning("not a JSON object (%s at %d)", qPrintable(error.errorString()), error.offset);
        return QJsonObject{{"not", "an object"}};
    }
    return doc.object();
}

// Names that the service accepts from its users and that a reply must carry
// unchanged.
QStringList acceptedHostileNames()
{
    return {QStringLiteral("引号\"名\".GCFG"),
            QStringLiteral("\"\""),
            QStringLiteral("𠀀𝄞😀.GCFG"),
            QString(255, QChar(0x9884)),
            QStringLiteral("مشروع الميزانية.GCFG"),
            QStringLiteral("..."),
            QStringLiteral(" ."),
            QString(QChar(0x200b)),
            QStringLiteral("{\"code\":1}"),
            QStringLiteral("<script>&amp;'")};
}

// Names only a damaged or foreign store, or one written by an earlier
// version (which let text-direction characters through), could hold.
QStringList rawHostileNames()
{
    QString controls;
    // PostgreSQL text holds no U+0000 at all, so no store there can.
    for (ushort u = clustersupport::testsOnPostgres() ? 1 : 0; u < 0x20; ++u)
        controls += QChar(u);
    controls += QChar(0x7f);
    return {QStringLiteral("back\\slash\\"),
            controls,
            QString(QChar(0x202e)) + QStringLiteral("GFCG.exe"),
            QStringLiteral("a\\\"b\\\\\"\\"),
            fromUnits({'x', 0xd800, 'y'}),
            fromUnits({0xdc00}),
            fromUnits({0xdbff, 0xdbff, 0xdfff}),
            QString(5000, QLatin1Char('x')) + QStringLiteral("😀"),
            QStringLiteral(""),
            QStringLiteral("\u2028\u2029")};
}

} // namespace

class tst_clouddisk_replies : public QObject
{
    Q_OBJECT

private slots:
    // ---- strings
    void escapesAsJsonRequires_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("plain") << QStringLiteral("a.GCFG") << QByteArray("\"a.GCFG\"");
        QTest::newRow("empty") << QString() << QByteArray("\"\"");
        QTest::newRow("quote") << QStringLiteral("a\"b") << QByteArray("\"a\\\"b\"");
        QTest::newRow("backslash") << QStringLiteral("a\\b") << QByteArray("\"a\\\\b\"");
        QTest::newRow("short escapes") << QStringLiteral("\b\f\n\r\t") << QByteArray("\"\\b\\f\\n\\r\\t\"");
        QTest::newRow("other controls") << fromUnits({0, 1, 0x1f}) << QByteArray("\"\\u0000\\u0001\\u001f\"");
        QTest::newRow("delete") << fromUnits({0x7f}) << QByteArray("\"\x7f\"");
        QTest::newRow("two bytes") << QStringLiteral("é") << QByteArray("\"\xc3\xa9\"");
        QTest::newRow("three bytes") << QStringLiteral("预") << QByteArray("\"\xe9\xa2\x84\"");
        QTest::newRow("four bytes") << QStringLiteral("😀") << QByteArray("\"\xf0\x9f\x98\x80\"");
        QTest::newRow("unpaired high") << fromUnits({'a', 0xd83d}) << QByteArray("\"a\\ud83d\"");
        QTest::newRow("unpaired low") << fromUnits({0xde00, 'a'}) << QByteArray("\"\\ude00a\"");
        QTest::newRow("pair after unpaired high") << fromUnits({0xd83d, 0xd83d, 0xde00})
                                                  << QByteArray("\"\\ud83d\xf0\x9f\x98\x80\"");
    }
    void escapesAsJsonRequires()
    {
        QFETCH(QString, text);
        QFETCH(QByteArray, json);
        QByteArray out = "x";
        appendJsonString(out, text);
        QCOMPARE(out, "x" + json);
    }

    void everyCodePointReadsBack()
    {
        QString all;
        for (uint c = 0; c <= 0x10ffff; ++c) {
            if (c >= 0xd800 && c < 0xe000)
                continue;
            if (QChar::requiresSurrogates(c)) {
                all += QChar(QChar::highSurrogate(c));
                all += QChar(QChar::lowSurrogate(c));
            } else {
                all += QChar(ushort(c));
            }
        }
        QJsonParseError error{};
        QCOMPARE(roundTrip(all, &error), all);
        QCOMPARE(error.error, QJsonParseError::NoError);
        // Every unit that is no character on its own, too.
        QString units;
        for (uint u = 0xd800; u < 0xe000; ++u)
            units += QChar(ushort(u)) + QLatin1Char('.');
        QCOMPARE(roundTrip(units, &error), units);
        QCOMPARE(error.error, QJsonParseError::NoError);
    }

    void hostileNamesReadBack()
    {
        for (const QString& name : acceptedHostileNames() + rawHostileNames()) {
            QJsonParseError error{};
            QCOMPARE(roundTrip(name, &error), name);
            QCOMPARE(error.error, QJsonParseError::NoError);
        }
    }

    void numbers()
    {
        JsonWriter w;
        w.raw("[").number(0).raw(",").number(7).raw(",").number(-42).raw(",");
        w.number(std::numeric_limits<qint64>::max()).raw(",").number(std::numeric_limits<qint64>::min()).raw("]");
        QCOMPARE(w.bytes(), QByteArray("[0,7,-42,9223372036854775807,-9223372036854775808]"));
        QVERIFY(QJsonDocument::fromJson(w.bytes()).isArray());
    }

    // ---- tree replies
    void personalTreeIsTheStoredRows()
    {
        Cloud cloud;
        Rows rows(cloud.dataDir());
        const QStringList accepted = acceptedHostileNames();
        const qint64 odd = cloud.service->makeFolder(cloud.aliceRoot, accepted.first());
        QVERIFY(odd > 0);
        for (const QString& name : accepted) {
            QVERIFY2(cloud.put(cloud.design, name, "x") > 0, qPrintable(name));
            QVERIFY2(cloud.service->makeFolder(odd, name) > 0, qPrintable(name));
        }
        int n = 0;
        for (const QString& name : rawHostileNames()) {
            ++n;
            QVERIFY(rows.insert(odd, cloud.alice, -1, name + QString::number(n), false, qint64(5) << 32 | n,
                                QStringLiteral("\"时间\"\\\n") + name) > 0);
            QVERIFY(rows.insert(cloud.design, cloud.alice, -1, name, true) > 0);
        }

        const QJsonObject request = personTree(double(cloud.alice));
        const QByteArray bytes = cloud.service->handleBytes(cloud.alice, request);
        const QJsonObject got = parsedStrictly(bytes);
        const QVector<Row> tree = rows.tree("owner", cloud.alice);
        QCOMPARE(tree.size(), 2 * accepted.size() + 2 * rawHostileNames().size() + 5);
        const QJsonObject expected =
            expectedSuccess(QJsonObject{{"data", QJsonArray{expectedNode(tree, cloud.aliceRoot)}}});
        QCOMPARE(got, expected);
        QCOMPARE(cloud.service->handle(cloud.alice, request), expected);
    }

    void enterpriseTreesAreTheStoredRowsLessWhatIsClosed()
    {
        Cloud cloud;
        Rows rows(cloud.dataDir());
        for (const QString& name : acceptedHostileNames())
            QVERIFY2(cloud.put(cloud.project, name, "x") > 0, qPrintable(name));
        for (const QString& name : rawHostileNames()) {
            QVERIFY(rows.insert(cloud.secret, -1, cloud.jia, name, true) > 0);
            QVERIFY(rows.insert(cloud.project, -1, cloud.jia, name + "~", false, 12) > 0);
        }
        const QVector<Row> jia = rows.tree("enterprise", cloud.jia);
        const QVector<Row> yi = rows.tree("enterprise", cloud.yi);

        // alice may enter everything of 甲公司.
        QCOMPARE(parsedStrictly(cloud.service->handleBytes(cloud.alice, enterpriseList(double(cloud.alice)))),
                 expectedSuccess(QJsonArray{expectedNode(jia, cloud.jiaRoot)}));
        // bob sees 保密 closed, in both of his enterprises (listed by name).
        const QSet<qint64> closed{cloud.secret};
        QCOMPARE(parsedStrictly(cloud.service->handleBytes(cloud.bob, enterpriseList(double(cloud.bob)))),
                 expectedSuccess(QJsonArray{expectedNode(yi, cloud.yiRoot), expectedNode(jia, cloud.jiaRoot, closed)}));
        // One folder.
        const QJsonObject dir = enterpriseDir(double(cloud.bob), QString::number(cloud.project), QString::number(cloud.jia));
        QCOMPARE(parsedStrictly(cloud.service->handleBytes(cloud.bob, dir)),
                 expectedSuccess(expectedNode(jia, cloud.project, closed)));
        QCOMPARE(cloud.service->handle(cloud.bob, dir), expectedSuccess(expectedNode(jia, cloud.project, closed)));
    }

    void storedLoopsEndTheReply()
    {
        // A store whose parents go round in a circle (no user action makes
        // one): the reply still ends, each node written once.
        Cloud cloud;
        Rows rows(cloud.dataDir());
        const qint64 a = cloud.service->makeFolder(cloud.project, "a");
        const qint64 b = cloud.service->makeFolder(a, "b");
        QVERIFY(rows.exec(QStringLiteral("UPDATE nodes SET parent = %1 WHERE id = %2").arg(b).arg(a)));
        const QJsonObject dir = enterpriseDir(double(cloud.alice), QString::number(a), QString::number(cloud.jia));
        const QJsonObject got = parsedStrictly(cloud.service->handleBytes(cloud.alice, dir));
        QCOMPARE(got.value("code").toInt(-1), 0);
        const QJsonObject top = got.value("data").toObject();
        QCOMPARE(top.value("wjjid").toString(), QString::number(a));
        const QJsonArray below = top.value("xjdata").toArray();
        QCOMPARE(below.size(), 1);
        QCOMPARE(below.first().toObject().value("wjjid").toString(), QString::number(b));
        QCOMPARE(below.first().toObject().value("xjdata").toArray().size(), 0);
    }

    void smallRepliesAreTheSameBothWays()
    {
        Cloud cloud;
        const QJsonObject refused = personTree(double(cloud.bob));
        QCOMPARE(parsedStrictly(cloud.service->handleBytes(cloud.alice, refused)), cloud.service->handle(cloud.alice, refused));
        QCOMPARE(cloud.service->handle(cloud.alice, refused).value("code").toInt(), 1);
        const QJsonObject auth = enterpriseAuth(double(cloud.bob), QString::number(cloud.jia), QString::number(cloud.viewOnly));
        QCOMPARE(parsedStrictly(cloud.service->handleBytes(cloud.bob, auth)), cloud.service->handle(cloud.bob, auth));
        QVERIFY(cloud.service->handle(cloud.bob, auth).value("msg").toString().contains(QStringLiteral("无法下载")));
    }
};

QTEST_GUILESS_MAIN(tst_clouddisk_replies)
#include "tst_clouddisk_replies.moc"
