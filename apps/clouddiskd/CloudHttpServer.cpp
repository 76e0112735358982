#include "CloudHttpServer.h"

#include "CloudDiskService.h"
#include "CloudHttp_p.h"

#include <httplib.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLatin1String>

#include <vector>

namespace clouddiskd {

namespace http = clouddisk::http;

namespace {

const QLatin1String kDownloadMethod("personclouddownloadfileforclouddisk");
const QLatin1String kUploadPersonal("personclouduploadfileinfoforclouddisk");
const QLatin1String kUploadEnterprise("enterpriseclouduploadfileinfoforclouddisk");

// Refused uploads of ordinary project files are still read to their end, so
// their sender sees the refusal rather than a broken connection.
constexpr qint64 kDrainLimit = 64LL << 20;

QJsonObject failure(const QString& msg)
{
    return QJsonObject{{QStringLiteral("code"), 1}, {QStringLiteral("msg"), msg}};
}

void reply(httplib::Response& res, const QJsonObject& body, int status = 200)
{
    res.status = status;
    res.set_content(QJsonDocument(body).toJson(QJsonDocument::Compact).toStdString(), http::kJsonType);
}

// A refusal given before the request's body was read. The body is read and
// dropped first (up to drainLimit bytes), so that the client, which is still
// sending, gets to read the answer; a longer body is left unread and the
// connection closed, so it is never taken for the next request.
void refuseBeforeBody(httplib::Response& res, const httplib::ContentReader& reader, const QJsonObject& body,
                      int status, qint64 drainLimit = kDrainLimit)
{
    qint64 seen = 0;
    const bool whole = reader([&](const char*, size_t size) {
        seen += qint64(size);
        return seen <= drainLimit;
    });
    if (!whole)
        res.set_header("Connection", "close");
    reply(res, body, status);
}

QString methodOf(const QJsonObject& envelope)
{
    return envelope.value(QLatin1String("data")).toObject().value(QLatin1String("method")).toString();
}

// Whether "mqid" names someone other than the token's user. Browse requests
// carry it as a number, upload requests as a decimal string; a request
// without one is left to the service's own checks.
bool namesAnotherUser(const QJsonObject& envelope, qint64 userId)
{
    const QJsonObject data = envelope.value(QLatin1String("data")).toObject();
    const auto it = data.constFind(QLatin1String("mqid"));
    if (it == data.constEnd())
        return false;
    if (it->isDouble())
        return it->toDouble() != double(userId);
    if (it->isString()) {
        bool ok = false;
        const qint64 id = it->toString().toLongLong(&ok, 10);
        return !ok || id != userId;
    }
    return true;
}

bool isUploadMethod(const QString& method)
{
    return method == kUploadPersonal || method == kUploadEnterprise;
}

// Reads a small JSON body; false (and res filled) when it is too large,
// cut short or not a JSON object.
bool readJsonObject(const httplib::Request& req, httplib::Response& res,
                    const httplib::ContentReader& reader, QJsonObject* out)
{
    const std::string declared = req.get_header_value("Content-Length");
    if (!declared.empty() && std::strtoull(declared.c_str(), nullptr, 10) > quint64(http::kMaxJsonBody)) {
        refuseBeforeBody(res, reader, failure(QStringLiteral("请求过大")), 413, 0);
        return false;
    }
    QByteArray body;
    bool tooLarge = false;
    const bool complete = reader([&](const char* data, size_t size) {
        if (body.size() + qint64(size) > http::kMaxJsonBody) {
            tooLarge = true;
            return false;
        }
        body.append(data, int(size));
        return true;
    });
    if (tooLarge || !complete) {
        res.set_header("Connection", "close");
        reply(res, failure(tooLarge ? QStringLiteral("请求过大") : QStringLiteral("请求不完整")),
              tooLarge ? 413 : 400);
        return false;
    }
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) {
        reply(res, failure(QStringLiteral("请求不是 JSON 对象")), 400);
        return false;
    }
    *out = doc.object();
    return true;
}

QByteArray bearerToken(const httplib::Request& req)
{
    const std::string value = req.get_header_value("Authorization");
    static const std::string prefix = "Bearer ";
    if (value.size() <= prefix.size() || value.compare(0, prefix.size(), prefix) != 0)
        return {};
    return QByteArray::fromStdString(value.substr(prefix.size())).trimmed();
}

} // namespace

CloudHttpServer::CloudHttpServer(clouddisk::Service& service)
    : m_service(service)
    , m_server(std::make_unique<httplib::Server>())
{
    // Slow networks get time; a peer that stalls longer is dropped and its
    // upload abandoned.
    m_server->set_read_timeout(60, 0);
    m_server->set_write_timeout(60, 0);
    // Answers go out at once, not after the peer's delayed acknowledgement.
    m_server->set_tcp_nodelay(true);
    installRoutes();
}

CloudHttpServer::~CloudHttpServer() = default;

int CloudHttpServer::bind(const QString& host, int port)
{
    const std::string h = host.toStdString();
    if (port == 0)
        return m_server->bind_to_any_port(h);
    return m_server->bind_to_port(h, port) ? port : -1;
}

bool CloudHttpServer::serve()
{
    return m_server->listen_after_bind();
}

void CloudHttpServer::stop()
{
    m_server->stop();
}

void CloudHttpServer::installRoutes()
{
    httplib::Server& s = *m_server;

    // The token's user, or -1 with the refusal already in res.
    auto authorise = [this](const httplib::Request& req, httplib::Response& res,
                            const httplib::ContentReader& reader) -> qint64 {
        const qint64 userId = m_sessions.userFor(bearerToken(req));
        if (userId < 0)
            refuseBeforeBody(res, reader, failure(QStringLiteral("登录已失效，请重新登录")), 401);
        return userId;
    };

    // The token's user and the envelope in the body, or -1 with the
    // refusal already in res.
    auto acceptEnvelope = [authorise](const httplib::Request& req, httplib::Response& res,
                                      const httplib::ContentReader& reader, QJsonObject* envelope) -> qint64 {
        const qint64 userId = authorise(req, res, reader);
        if (userId < 0 || !readJsonObject(req, res, reader, envelope))
            return -1;
        if (namesAnotherUser(*envelope, userId)) {
            reply(res, failure(QStringLiteral("请求的用户与登录用户不符")), 403);
            return -1;
        }
        return userId;
    };

    s.Post(http::kLoginPath, [this](const httplib::Request& req, httplib::Response& res,
                                    const httplib::ContentReader& reader) {
        QJsonObject body;
        if (!readJsonObject(req, res, reader, &body))
            return;
        const QJsonValue name = body.value(QLatin1String("name"));
        const QJsonValue password = body.value(QLatin1String("password"));
        const qint64 userId = name.isString() && password.isString()
                                  ? m_service.checkPassword(name.toString(), password.toString())
                                  : -1;
        if (userId < 0) {
            reply(res, failure(QStringLiteral("用户名或密码错误")), 401);
            return;
        }
        reply(res, QJsonObject{{QStringLiteral("code"), 0},
                               {QStringLiteral("token"), QString::fromLatin1(m_sessions.issue(userId))},
                               {QStringLiteral("userId"), double(userId)}});
    });

    s.Post(http::kLogoutPath, [this](const httplib::Request& req, httplib::Response& res,
                                     const httplib::ContentReader& reader) {
        reader([](const char*, size_t) { return true; });
        m_sessions.drop(bearerToken(req));
        reply(res, QJsonObject{{QStringLiteral("code"), 0}});
    });

    s.Post(http::kSessionPath, [authorise](const httplib::Request& req, httplib::Response& res,
                                           const httplib::ContentReader& reader) {
        const qint64 userId = authorise(req, res, reader);
        if (userId < 0)
            return;
        reader([](const char*, size_t) { return true; });
        reply(res, QJsonObject{{QStringLiteral("code"), 0}, {QStringLiteral("userId"), double(userId)}});
    });

    s.Post(http::kRequestPath, [this, acceptEnvelope](const httplib::Request& req, httplib::Response& res,
                                                 const httplib::ContentReader& reader) {
        QJsonObject envelope;
        const qint64 userId = acceptEnvelope(req, res, reader, &envelope);
        if (userId < 0)
            return;
        const QString method = methodOf(envelope);
        if (method == kDownloadMethod || isUploadMethod(method)) {
            reply(res, failure(QStringLiteral("文件内容经 %1 或 %2 传送")
                                   .arg(QLatin1String(http::kDownloadPath), QLatin1String(http::kUploadPath))),
                  400);
            return;
        }
        res.status = 200;
        res.set_content(m_service.handleBytes(userId, envelope).toStdString(), http::kJsonType);
    });

    s.Post(http::kDownloadPath, [this, acceptEnvelope](const httplib::Request& req, httplib::Response& res,
                                                  const httplib::ContentReader& reader) {
        QJsonObject envelope;
        const qint64 userId = acceptEnvelope(req, res, reader, &envelope);
        if (userId < 0)
            return;
        if (methodOf(envelope) != kDownloadMethod) {
            reply(res, failure(QStringLiteral("不是下载请求")), 400);
            return;
        }
        const clouddisk::Service::Download d = m_service.prepareDownload(userId, envelope);
        if (!d.refusal.isEmpty()) {
            reply(res, d.refusal);
            return;
        }
        auto file = std::make_shared<QFile>(d.contentsPath);
        if (!file->open(QIODevice::ReadOnly)) {
            reply(res, failure(QStringLiteral("云盘文件内容无法读取")), 500);
            return;
        }
        // The open file keeps its contents even if an upload replaces them
        // meanwhile, so the size taken now is the size sent.
        const qint64 size = file->size();
        auto buffer = std::make_shared<std::vector<char>>(size_t(http::kChunk));
        res.set_content_provider(
            size_t(size), http::kContentsType,
            [file, buffer](size_t offset, size_t length, httplib::DataSink& sink) {
                if (file->pos() != qint64(offset) && !file->seek(qint64(offset)))
                    return false;
                const qint64 want = qMin<qint64>(qint64(length), qint64(buffer->size()));
                const qint64 got = file->read(buffer->data(), want);
                if (got <= 0)
                    return false;
                return sink.write(buffer->data(), size_t(got));
            });
    });

    s.Post(http::kUploadPath, [this, authorise](const httplib::Request& req, httplib::Response& res,
                                                const httplib::ContentReader& reader) {
        const qint64 userId = authorise(req, res, reader);
        if (userId < 0)
            return;
        const QJsonObject envelope =
            http::decodeEnvelopeHeader(QByteArray::fromStdString(req.get_header_value(http::kEnvelopeHeader)));
        if (envelope.isEmpty()) {
            refuseBeforeBody(res, reader, failure(QStringLiteral("上传请求无效")), 400);
            return;
        }
        if (namesAnotherUser(envelope, userId)) {
            refuseBeforeBody(res, reader, failure(QStringLiteral("请求的用户与登录用户不符")), 403);
            return;
        }
        if (!isUploadMethod(methodOf(envelope))) {
            refuseBeforeBody(res, reader, failure(QStringLiteral("不是上传请求")), 400);
            return;
        }
        QJsonObject refusal;
        std::unique_ptr<clouddisk::Service::Upload> upload = m_service.beginUpload(userId, envelope, &refusal);
        if (!upload) {
            refuseBeforeBody(res, reader, refusal, 200);
            return;
        }
        // The library hands the body over in small pieces; the store gets
        // them gathered into large writes.
        QByteArray pending;
        pending.reserve(int(http::kChunk));
        bool storeFailed = false;
        auto flush = [&] {
            storeFailed = !pending.isEmpty() && !upload->write(pending.constData(), pending.size());
            pending.resize(0);
            return !storeFailed;
        };
        const bool complete = reader([&](const char* data, size_t size) {
            pending.append(data, int(size));
            return pending.size() < http::kChunk || flush();
        }) && flush();
        if (!complete) {
            upload->abort();
            res.set_header("Connection", "close");
            reply(res,
                  failure(storeFailed ? QStringLiteral("云盘无法保存文件内容")
                                      : QStringLiteral("上传中断，文件未保存")),
                  storeFailed ? 500 : 400);
            return;
        }
        reply(res, upload->commit());
    });
}

} // namespace clouddiskd
