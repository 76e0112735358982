// The ten cloud requests of zFileDialog: their exact bytes on the host
// channel, and every form of reply read back.
#include "cloud/cloudrequests.h"
#include "mqcoreTesting.h"
#include "testsupport.h"
#include "zFileDialog.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <functional>

using testsupport::AppDir;
using Call = std::function<QJsonObject()>;
Q_DECLARE_METATYPE(Call)

namespace {

// Sends one request with the channel answering `reply`; returns the one
// envelope that reached the channel and hands the parsed reply back.
QByteArray sent(const std::function<QJsonObject()>& call, const QByteArray& reply = QByteArray(),
                QJsonObject* parsed = nullptr)
{
    SharedInterfaceTesting::setCloudChannel([reply](const QByteArray&) { return reply; });
    const QJsonObject result = call();
    if (parsed)
        *parsed = result;
    const QList<QByteArray> requests = SharedInterfaceTesting::cloudRequests();
    return requests.isEmpty() ? QByteArray() : requests.last();
}

QJsonObject method(const QByteArray& envelope)
{
    return QJsonDocument::fromJson(envelope).object().value(QLatin1String("data")).toObject();
}

} // namespace

class TestCloudRequests : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void goldenEnvelopes_data();
    void goldenEnvelopes();
    void envelopeHasExactlyThreeMembers();
    void nonNumericUserIdIsZeroInBrowseRequestsButAStringInUploads();
    void numericUserIdIsANumberInBrowseRequests();
    void folderListingAndPermissionKeepTheirArgumentOrders();
    void infoRequestsCarryAOneElementArray();
    void enterpriseUploadsNameTheUserToken();
    void stringsAreEscapedAndSentUnchanged();
    void replyForms_data();
    void replyForms();
    void emptyReplyIsAnEmptyObjectForEveryRequest();
    void codeDefaultsToZero();

private:
    AppDir* m_app = nullptr;
};

void TestCloudRequests::init()
{
    m_app = new AppDir;
    mqcoreTesting::reset();
    mqcoreTesting::setUser(QStringLiteral("1024"), QStringLiteral("wang"), QStringLiteral("王工"));
    mqcoreTesting::setLoggedIn(true);
}

void TestCloudRequests::cleanup()
{
    mqcoreTesting::reset();
    delete m_app;
    m_app = nullptr;
}

void TestCloudRequests::goldenEnvelopes_data()
{
    QTest::addColumn<std::function<QJsonObject()>>("call");
    QTest::addColumn<QByteArray>("golden");

    QTest::newRow("LoadGrypData")
        << std::function<QJsonObject()>([] { return zFileDialog::LoadGrypData(); })
        << QByteArray(R"({"cmd":"cloudDisk","orgin_token":"mq_token_user","data":{"method":"personcloudgetfiledirforclouddisk","mqid":1024,"data":{}}})");
    QTest::newRow("LoadQyypData")
        << std::function<QJsonObject()>([] { return zFileDialog::LoadQyypData(); })
        << QByteArray(R"({"cmd":"cloudDisk","orgin_token":"mq_token_ltd","data":{"method":"getenterpriselistforclouddisk","mqid":1024,"data":{}}})");
    QTest::newRow("LoadQyypMlData")
        << std::function<QJsonObject()>([] { return zFileDialog::LoadQyypMlData(QStringLiteral("7"), QStringLiteral("3")); })
        << QByteArray(R"({"cmd":"cloudDisk","orgin_token":"mq_token_ltd","data":{"method":"getfiledirinenterpriseforclouddisk","mqid":1024,"wjjid":"7","qyid":"3","data":{}}})");
    QTest::newRow("LoadQyypFileQx")
        << std::function<QJsonObject()>([] { return zFileDialog::LoadQyypFileQx(QStringLiteral("7"), QStringLiteral("3")); })
        << QByteArray(R"({"cmd":"cloudDisk","orgin_token":"mq_token_ltd","data":{"method":"enterprisejudgmentauthopenfileforclouddisk","mqid":1024,"qyid":"7","wjjid":"3","data":{}}})");
    QTest::newRow("UploadGryData")
        << std::function<QJsonObject()>([] {
               return zFileDialog::UploadGryData(QStringLiteral("楼.GCFX"), QStringLiteral("p9"), 4096,
                                                 QStringLiteral(".GCFX"), QStringLiteral("1024"));
           })
        << QByteArray(R"({"cmd":"cloudDisk","orgin_token":"mq_token_user","data":{"method":"personclouduploadinfoforclouddisk","mqid":"1024","pid":"p9","data":[{"wjm":"楼.GCFX","pid":"p9","wjdx":4096,"ext":".GCFX"}]}})");
    QTest::newRow("UploadGryFile")
        << std::function<QJsonObject()>([] {
               return zFileDialog::UploadGryFile(QStringLiteral("up/1"), QStringLiteral("w-1"), QStringLiteral("p9"),
                                                 4096, QStringLiteral(".GCFX"), QStringLiteral("楼.GCFX"),
                                                 QStringLiteral("/tmp/楼.GCFX"), QStringLiteral("1024"));
           })
        << QByteArray(R"({"cmd":"cloudDisk","orgin_token":"mq_token_user","data":{"method":"personclouduploadfileinfoforclouddisk","sclj":"up/1","filePath":"/tmp/楼.GCFX","wjjwybs":"w-1","pid":"p9","wjdx":4096,"ext":".GCFX","mqid":"1024","SFFG":"1","SFFX":"1","wjm":"楼.GCFX","data":{}}})");
    QTest::newRow("UploadQyyData")
        << std::function<QJsonObject()>([] {
               return zFileDialog::UploadQyyData(QStringLiteral("a.GCFZ"), QStringLiteral("f5"), 10,
                                                 QStringLiteral(".GCFZ"), QStringLiteral("1024"), QStringLiteral("q2"));
           })
        << QByteArray(R"({"cmd":"cloudDisk","orgin_token":"mq_token_user","data":{"method":"getuploadinfoenterpriseforclouddisk","mqid":"1024","qyid":"q2","pid":"f5","data":[{"wjm":"a.GCFZ","pid":"f5","wjdx":10,"ext":".GCFZ"}]}})");
    QTest::newRow("UploadQyyFile")
        << std::function<QJsonObject()>([] {
               return zFileDialog::UploadQyyFile(QStringLiteral("s"), QStringLiteral("w"), QStringLiteral("f5"), 10,
                                                 QStringLiteral(".GCFZ"), QStringLiteral("a.GCFZ"),
                                                 QStringLiteral("C:\\x\\a.GCFZ"), QStringLiteral("1024"),
                                                 QStringLiteral("q2"));
           })
        << QByteArray(R"({"cmd":"cloudDisk","orgin_token":"mq_token_user","data":{"method":"enterpriseclouduploadfileinfoforclouddisk","sclj":"s","filePath":"C:\\x\\a.GCFZ","wjjwybs":"w","pid":"f5","wjdx":10,"ext":".GCFZ","mqid":"1024","SFFG":"1","SFFX":"1","wjm":"a.GCFZ","qyid":"q2","data":{}}})");
    QTest::newRow("IsExistDownLoadfile")
        << std::function<QJsonObject()>([] {
               return zFileDialog::IsExistDownLoadfile(QStringLiteral("b.GCFX"), QStringLiteral("个人云盘\\工程"));
           })
        << QByteArray(R"({"cmd":"cloudDisk","orgin_token":"mq_token_user","data":{"method":"isexistlocalsamenamefile","fileName":"b.GCFX","pathPrat":"个人云盘\\工程","data":{}}})");
    QTest::newRow("downLoadYunpanFile")
        << std::function<QJsonObject()>([] {
               return zFileDialog::downLoadYunpanFile(QStringLiteral("b.GCFX"), QStringLiteral("/s/b.GCFX"),
                                                      QStringLiteral("0"), QStringLiteral("files/77"));
           })
        << QByteArray(R"({"cmd":"cloudDisk","orgin_token":"mq_token_user","data":{"method":"personclouddownloadfileforclouddisk","fileName":"b.GCFX","filePath":"/s/b.GCFX","Iscover":"0","xzlj":"files/77","data":{}}})");
}

void TestCloudRequests::goldenEnvelopes()
{
    QFETCH(std::function<QJsonObject()>, call);
    QFETCH(QByteArray, golden);
    QCOMPARE(sent(call), golden);
    QCOMPARE(SharedInterfaceTesting::cloudRequests().size(), 1);
}

void TestCloudRequests::envelopeHasExactlyThreeMembers()
{
    const QJsonObject envelope = QJsonDocument::fromJson(sent([] { return zFileDialog::LoadGrypData(); })).object();
    QCOMPARE(envelope.keys(), (QStringList{"cmd", "data", "orgin_token"}));
    QCOMPARE(envelope.value("cmd").toString(), QStringLiteral("cloudDisk"));
}

void TestCloudRequests::nonNumericUserIdIsZeroInBrowseRequestsButAStringInUploads()
{
    mqcoreTesting::setUser(QStringLiteral("u-77"), QStringLiteral("li"), QStringLiteral("李"));
    for (const auto& call : {std::function<QJsonObject()>([] { return zFileDialog::LoadGrypData(); }),
                             std::function<QJsonObject()>([] { return zFileDialog::LoadQyypData(); }),
                             std::function<QJsonObject()>([] { return zFileDialog::LoadQyypMlData("1", "2"); }),
                             std::function<QJsonObject()>([] { return zFileDialog::LoadQyypFileQx("1", "2"); })}) {
        const QByteArray envelope = sent(call);
        QVERIFY2(envelope.contains("\"mqid\":0,"), envelope.constData());
        QVERIFY(method(envelope).value("mqid").isDouble());
    }
    const QByteArray upload = sent([] { return zFileDialog::UploadGryData("a", "p", 1, ".a", "u-77"); });
    QVERIFY2(upload.contains("\"mqid\":\"u-77\""), upload.constData());
    const QByteArray file = sent([] { return zFileDialog::UploadQyyFile("s", "w", "p", 1, ".a", "a", "/a", "u-77", "q"); });
    QVERIFY(method(file).value("mqid").isString());
    QCOMPARE(method(file).value("mqid").toString(), QStringLiteral("u-77"));
}

void TestCloudRequests::numericUserIdIsANumberInBrowseRequests()
{
    mqcoreTesting::setUser(QStringLiteral("-12"), QString(), QString());
    QCOMPARE(method(sent([] { return zFileDialog::LoadGrypData(); })).value("mqid").toInt(), -12);
    QCOMPARE(pfd::cloud::mqidNumber(QStringLiteral("0x1A")), 0);
    QCOMPARE(pfd::cloud::mqidNumber(QStringLiteral("99999999999")), 0);
    QCOMPARE(pfd::cloud::mqidNumber(QString()), 0);
    QCOMPARE(pfd::cloud::mqidNumber(QStringLiteral("42")), 42);
}

void TestCloudRequests::folderListingAndPermissionKeepTheirArgumentOrders()
{
    const QJsonObject listing = method(sent([] { return zFileDialog::LoadQyypMlData("7", "3"); }));
    QCOMPARE(listing.value("wjjid").toString(), QStringLiteral("7"));
    QCOMPARE(listing.value("qyid").toString(), QStringLiteral("3"));
    const QJsonObject permission = method(sent([] { return zFileDialog::LoadQyypFileQx("7", "3"); }));
    QCOMPARE(permission.value("qyid").toString(), QStringLiteral("7"));
    QCOMPARE(permission.value("wjjid").toString(), QStringLiteral("3"));
}

void TestCloudRequests::infoRequestsCarryAOneElementArray()
{
    for (const auto& call : {std::function<QJsonObject()>([] { return zFileDialog::UploadGryData("n", "p", 5, ".x", "1"); }),
                             std::function<QJsonObject()>([] { return zFileDialog::UploadQyyData("n", "p", 5, ".x", "1", "q"); })}) {
        const QJsonValue inner = method(sent(call)).value("data");
        QVERIFY(inner.isArray());
        QCOMPARE(inner.toArray().size(), 1);
        const QJsonObject info = inner.toArray().at(0).toObject();
        QCOMPARE(info.keys(), (QStringList{"ext", "pid", "wjdx", "wjm"}));
        QVERIFY(info.value("wjdx").isDouble());
        QCOMPARE(info.value("wjdx").toInt(), 5);
    }
    // Every other method carries an empty object there.
    QCOMPARE(method(sent([] { return zFileDialog::UploadGryFile("s", "w", "p", 5, ".x", "n", "/n", "1"); })).value("data"),
             QJsonValue(QJsonObject()));
}

void TestCloudRequests::enterpriseUploadsNameTheUserToken()
{
    const auto token = [](const QByteArray& envelope) {
        return QJsonDocument::fromJson(envelope).object().value("orgin_token").toString();
    };
    QCOMPARE(token(sent([] { return zFileDialog::UploadQyyData("n", "p", 1, ".x", "1", "q"); })), QStringLiteral("mq_token_user"));
    QCOMPARE(token(sent([] { return zFileDialog::UploadQyyFile("s", "w", "p", 1, ".x", "n", "/n", "1", "q"); })),
             QStringLiteral("mq_token_user"));
    QCOMPARE(token(sent([] { return zFileDialog::LoadQyypFileQx("q", "w"); })), QStringLiteral("mq_token_ltd"));
}

void TestCloudRequests::stringsAreEscapedAndSentUnchanged()
{
    const QString hostile = QStringLiteral("a\"b\\c\nd\te") + QChar(1) + QStringLiteral("f/../ü楼");
    const QByteArray envelope = sent([hostile] { return zFileDialog::IsExistDownLoadfile(hostile, hostile); });
    QVERIFY2(envelope.contains(QByteArray("\"fileName\":\"a\\\"b\\\\c\\nd\\te\\u0001f/../") + QStringLiteral("ü楼\"").toUtf8()), envelope.constData());
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(envelope, &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(doc.object().value("data").toObject().value("pathPrat").toString(), hostile);
    QVERIFY(!envelope.contains(' '));
}

void TestCloudRequests::replyForms_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QJsonObject>("expected");
    QTest::newRow("empty bytes") << QByteArray() << QJsonObject();
    QTest::newRow("not JSON") << QByteArray("<html>502 Bad Gateway</html>") << QJsonObject();
    QTest::newRow("truncated") << QByteArray(R"({"code":0,"msg":)") << QJsonObject();
    QTest::newRow("JSON array") << QByteArray(R"([{"code":1}])") << QJsonObject();
    QTest::newRow("JSON string") << QByteArray(R"("code")") << QJsonObject();
    QTest::newRow("object without code") << QByteArray(R"({"msg":"好","data":[]})")
                                         << QJsonObject{{"msg", "好"}, {"data", QJsonArray()}};
    QTest::newRow("object with code") << QByteArray(R"({"code":1,"msg":"无权"})")
                                      << QJsonObject{{"code", 1}, {"msg", "无权"}};
}

void TestCloudRequests::replyForms()
{
    QFETCH(QByteArray, reply);
    QFETCH(QJsonObject, expected);
    QJsonObject parsed;
    sent([] { return zFileDialog::LoadGrypData(); }, reply, &parsed);
    QCOMPARE(parsed, expected);
    QCOMPARE(pfd::cloud::parseReply(reply), expected);
}

void TestCloudRequests::emptyReplyIsAnEmptyObjectForEveryRequest()
{
    SharedInterfaceTesting::setCloudChannel([](const QByteArray&) { return QByteArray(); });
    QVERIFY(zFileDialog::LoadGrypData().isEmpty());
    QVERIFY(zFileDialog::LoadQyypData().isEmpty());
    QVERIFY(zFileDialog::LoadQyypMlData("1", "2").isEmpty());
    QVERIFY(zFileDialog::LoadQyypFileQx("1", "2").isEmpty());
    QVERIFY(zFileDialog::UploadGryData("n", "p", 1, ".x", "1").isEmpty());
    QVERIFY(zFileDialog::UploadGryFile("s", "w", "p", 1, ".x", "n", "/n", "1").isEmpty());
    QVERIFY(zFileDialog::UploadQyyData("n", "p", 1, ".x", "1", "q").isEmpty());
    QVERIFY(zFileDialog::UploadQyyFile("s", "w", "p", 1, ".x", "n", "/n", "1", "q").isEmpty());
    QVERIFY(zFileDialog::IsExistDownLoadfile("n", "p").isEmpty());
    QVERIFY(zFileDialog::downLoadYunpanFile("n", "/n", "0", "x").isEmpty());
    QCOMPARE(SharedInterfaceTesting::cloudRequests().size(), 10);
}

void TestCloudRequests::codeDefaultsToZero()
{
    QCOMPARE(pfd::cloud::replyCode(QJsonObject()), 0);
    QCOMPARE(pfd::cloud::replyCode(QJsonObject{{"msg", "x"}}), 0);
    QCOMPARE(pfd::cloud::replyCode(QJsonObject{{"code", 1}}), 1);
    QCOMPARE(pfd::cloud::replyCode(QJsonObject{{"code", 500}}), 500);
}

QTEST_GUILESS_MAIN(TestCloudRequests)
#include "tst_cloudrequests.moc"
