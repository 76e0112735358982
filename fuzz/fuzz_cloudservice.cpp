// The cloud-disk service and the host's channel given any bytes as a request
// envelope. Every answer is an object with a "code"; a refusal carries a
// message; nothing succeeds for another user's tree or a forged ticket; a
// download lands only inside the signed-in user's staging folder.
//
// The first byte picks the way in:
//   0  the bytes through the host's channel, as AsyncReplyLoop hands them on
//   1  the bytes to the service's entry points directly, as user 1 or 2
//   2  a JSON object whose members replace those of a valid upload-file
//      request (with a real ticket; its "wjm" names the file in the ticket
//      too); the bytes after a zero byte are the contents
// Every reply written as bytes must read back as one JSON object.
#include "fuzzsupport.h"

#include "CloudChannel.h"
#include "CloudDiskService.h"
#include "CloudTransport.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QTemporaryDir>

#include <algorithm>

namespace {

struct Cloud
{
    QTemporaryDir app{QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm/pfd-fuzz-cloud-XXXXXX")
                                                                 : QDir::tempPath() + QStringLiteral("/pfd-fuzz-cloud-XXXXXX")};
    std::unique_ptr<clouddisk::Service> service;
    std::unique_ptr<clouddisk::Channel> channel;
    qint64 alice = -1, bob = -1, aliceRoot = -1, bobFile = -1;
    QString bobBlob;

    Cloud()
    {
        FUZZ_CHECK(app.isValid());
        const QString data = app.path() + QStringLiteral("/clouddisk");
        service = clouddisk::Service::open(data);
        FUZZ_CHECK(service);
        alice = service->addUser(QStringLiteral("alice"), QStringLiteral("pw"));
        bob = service->addUser(QStringLiteral("bob"), QStringLiteral("pw"));
        aliceRoot = service->personalRoot(alice);
        const qint64 e = service->addEnterprise(QStringLiteral("甲公司"));
        service->addMember(e, alice);
        service->addMember(e, bob);
        const qint64 folder = service->makeFolder(service->enterpriseRoot(e), QStringLiteral("工程"));
        const qint64 secret = service->makeFolder(service->enterpriseRoot(e), QStringLiteral("保密"));
        QBuffer b;
        b.setData("bob's");
        b.open(QIODevice::ReadOnly);
        bobFile = service->storeFile(service->personalRoot(bob), QStringLiteral("b.GCFG"), &b);
        b.seek(0);
        service->storeFile(folder, QStringLiteral("g.GCFG"), &b);
        service->setRight(secret, alice, clouddisk::Service::Right::Enter, false);
        bobBlob = service
                      ->prepareDownload(bob, QJsonObject{{"cmd", "cloudDisk"},
                                                         {"orgin_token", "mq_token_user"},
                                                         {"data", QJsonObject{{"method", "personclouddownloadfileforclouddisk"},
                                                                              {"xzlj", service->subtree(bobFile).value("xzlj")}}}})
                      .contentsPath;
        FUZZ_CHECK(!bobBlob.isEmpty());
        channel = std::make_unique<clouddisk::Channel>(clouddisk::makeEmbeddedTransport(data), app.path());
        FUZZ_CHECK(channel->login(QStringLiteral("alice"), QStringLiteral("pw")).ok);
    }
};

Cloud& cloud()
{
    static Cloud c;
    return c;
}

void checkReply(const QJsonObject& reply)
{
    FUZZ_CHECK(reply.value(QStringLiteral("code")).isDouble());
    if (reply.value(QStringLiteral("code")).toInt() != 0)
        FUZZ_CHECK(!reply.value(QStringLiteral("msg")).toString().isEmpty());
}

// Reply bytes as the service wrote them: one JSON object, read without an
// error, with no raw control character (compact JSON has no blanks, and
// Qt's reader would let one pass inside a string).
QJsonObject checkedBytes(const QByteArray& bytes)
{
    for (const char c : bytes)
        FUZZ_CHECK(uchar(c) >= 0x20);
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    FUZZ_CHECK(error.error == QJsonParseError::NoError);
    FUZZ_CHECK(doc.isObject());
    checkReply(doc.object());
    return doc.object();
}

QJsonObject envelope(const QString& token, const QJsonObject& method)
{
    return QJsonObject{{"cmd", "cloudDisk"}, {"orgin_token", token}, {"data", method}};
}

void throughChannel(const QByteArray& bytes)
{
    Cloud& c = cloud();
    const QJsonObject reply = checkedBytes(c.channel->exchange(bytes));
    const QJsonObject request = QJsonDocument::fromJson(bytes).object();
    const QString method = request.value("data").toObject().value("method").toString();
    if (reply.value("code").toInt() == 0) {
        // Only alice's own things are ever answered for her.
        FUZZ_CHECK(!QJsonDocument(reply).toJson().contains("bob's"));
        if (method == QLatin1String("personclouddownloadfileforclouddisk")) {
            const QString path = reply.value("data").toString();
            FUZZ_CHECK(clouddisk::pathIsInside(c.channel->stagingRoot(), path));
            FUZZ_CHECK(QFileInfo(QDir::fromNativeSeparators(path)).isFile());
        }
        if (method == QLatin1String("isexistlocalsamenamefile")) {
            const QString path = reply.value("data").toObject().value("filPath").toString();
            FUZZ_CHECK(clouddisk::pathIsInside(c.channel->stagingRoot(), path));
        }
    }
}

void direct(const QByteArray& bytes, qint64 user)
{
    Cloud& c = cloud();
    const QJsonObject env = QJsonDocument::fromJson(bytes).object();
    checkedBytes(c.service->handleBytes(user, env));
    const clouddisk::Service::Download d = c.service->prepareDownload(user, env);
    if (d.refusal.isEmpty()) {
        FUZZ_CHECK(QFileInfo(d.contentsPath).isFile());
        FUZZ_CHECK(user == c.bob || d.contentsPath != c.bobBlob); // bob's personal file
    } else {
        checkReply(d.refusal);
    }
    // Tickets are random: made-up envelopes never start an upload.
    QJsonObject refusal;
    FUZZ_CHECK(!c.service->beginUpload(user, env, &refusal));
    checkReply(refusal);
}

void upload(const QByteArray& bytes)
{
    Cloud& c = cloud();
    QByteArray patch, contents;
    fuzzsupport::splitAtZero(bytes.constData(), size_t(bytes.size()), patch, contents);
    const QString mqid = QString::number(c.alice);
    const QString pid = QString::number(c.aliceRoot);
    const QJsonObject changes = QJsonDocument::fromJson(patch).object();
    // A name of the fuzzer's own goes into the ticket too: whatever the
    // service lets in must come out of its tree replies as it went in.
    const QJsonValue named = changes.value("wjm");
    const QString wjm = named.isString() ? named.toString() : QStringLiteral("f.GCFG");
    const QJsonObject info = c.service->handle(
        c.alice, envelope("mq_token_user",
                          {{"method", "personclouduploadinfoforclouddisk"},
                           {"mqid", mqid},
                           {"pid", pid},
                           {"data", QJsonArray{QJsonObject{{"wjm", wjm}, {"pid", pid}, {"wjdx", 1}, {"ext", ".GCFG"}}}}}));
    if (info.value("code").toInt() != 0) {
        checkReply(info);
        FUZZ_CHECK(wjm != QLatin1String("f.GCFG"));
        return;
    }
    const QJsonObject ticket = info.value("data").toObject();
    QJsonObject m{{"method", "personclouduploadfileinfoforclouddisk"},
                  {"sclj", ticket.value("sclj")},
                  {"filePath", "/nonexistent"},
                  {"wjjwybs", ticket.value("wjjwybs")},
                  {"pid", pid},
                  {"wjdx", 1},
                  {"ext", ".GCFG"},
                  {"mqid", mqid},
                  {"SFFG", "1"},
                  {"SFFX", "1"},
                  {"wjm", wjm},
                  {"data", QJsonObject()}};
    for (auto it = changes.begin(); it != changes.end(); ++it)
        m.insert(it.key(), it.value());
    QJsonObject refusal;
    std::unique_ptr<clouddisk::Service::Upload> up = c.service->beginUpload(c.alice, envelope("mq_token_user", m), &refusal);
    if (!up) {
        checkReply(refusal);
        return;
    }
    // Accepted only for alice's own folder and the ticket's name.
    FUZZ_CHECK(m.value("wjm").toString() == wjm);
    FUZZ_CHECK(m.value("pid").toString() == pid);
    FUZZ_CHECK(up->write(contents.constData(), contents.size()));
    const QJsonObject done = up->commit();
    checkReply(done);
    if (done.value("code").toInt() != 0)
        return;
    const QJsonObject stored = done.value("data").toObject();
    FUZZ_CHECK(qint64(stored.value("wjdx").toDouble()) == contents.size());
    FUZZ_CHECK(stored.value("wjjmc").toString() == wjm);
    const QJsonObject tree = checkedBytes(c.service->handleBytes(
        c.alice, envelope("mq_token_user", {{"method", "personcloudgetfiledirforclouddisk"},
                                            {"mqid", double(c.alice)},
                                            {"data", QJsonObject()}})));
    // The file lies in alice's top folder, under the name it was given.
    const QJsonArray top =
        tree.value("data").toObject().value("data").toArray().first().toObject().value("xjdata").toArray();
    FUZZ_CHECK(std::any_of(top.begin(), top.end(), [&](const QJsonValue& v) {
        return v.toObject().value("wjjid") == stored.value("wjjid") && v.toObject().value("wjjmc").toString() == wjm;
    }));
    // Kept small, so that every run lists about the same tree.
    if (wjm != QLatin1String("f.GCFG"))
        FUZZ_CHECK(c.service->removeNode(stored.value("wjjid").toString().toLongLong()));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication app(*argc, *argv);
    cloud();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1, int(size - 1));
    switch (data[0] % 3) {
    case 0:
        throughChannel(bytes);
        break;
    case 1:
        direct(bytes, (data[0] & 0x80) ? cloud().bob : cloud().alice);
        break;
    default:
        upload(bytes);
        break;
    }
    return 0;
}
