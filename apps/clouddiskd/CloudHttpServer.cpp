#include "CloudHttpServer.h"

#include "CloudDiskService.h"
#include "CloudHttp_p.h"

#include <microhttpd.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLatin1String>

#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace clouddiskd {

namespace http = clouddisk::http;

namespace {

const QLatin1String kDownloadMethod("personclouddownloadfileforclouddisk");
const QLatin1String kUploadPersonal("personclouduploadfileinfoforclouddisk");
const QLatin1String kUploadEnterprise("enterpriseclouduploadfileinfoforclouddisk");

// Refused uploads of ordinary project files are still read to their end, so
// their sender sees the refusal rather than a broken connection.
constexpr qint64 kDrainLimit = 64LL << 20;
// Memory of one connection: room for large socket reads of a body.
constexpr size_t kConnectionMemory = 4u << 20;
// The pieces of an upload, whatever the reads gave, reach the store in
// writes of about this size.
constexpr qint64 kStoreWrite = 2 << 20;
// Slow networks get time; a peer that stays silent longer is dropped and its
// upload abandoned.
constexpr unsigned kIdleSeconds = 60;

QJsonObject failure(const QString& msg)
{
    return QJsonObject{{QStringLiteral("code"), 1}, {QStringLiteral("msg"), msg}};
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

QByteArray headerValue(MHD_Connection* c, const char* name)
{
    const char* value = MHD_lookup_connection_value(c, MHD_HEADER_KIND, name);
    return value ? QByteArray(value) : QByteArray();
}

QByteArray bearerToken(MHD_Connection* c)
{
    const QByteArray value = headerValue(c, MHD_HTTP_HEADER_AUTHORIZATION);
    static const QByteArray prefix("Bearer ");
    if (value.size() <= prefix.size() || !value.startsWith(prefix))
        return {};
    return value.mid(prefix.size()).trimmed();
}

// The declared body length, or -1 when the body comes chunked or not at all.
qint64 declaredLength(MHD_Connection* c)
{
    const QByteArray value = headerValue(c, MHD_HTTP_HEADER_CONTENT_LENGTH);
    bool ok = false;
    const qint64 length = value.toLongLong(&ok, 10);
    return ok ? length : -1;
}

} // namespace

// One request from its headers to its answer. The library calls the router
// with the headers, then with each piece of the body, then once with none;
// the answer is queued at the end, or as soon as the rest of the body can
// only be refused.
struct CloudHttpServer::Exchange
{
    enum class Route { Login, Logout, Session, Request, Download, Upload, Unknown };
    Route route = Route::Unknown;
    qint64 userId = -1;
    bool answered = false;

    // A refusal decided before the body was read: the body is read and
    // dropped first (up to drainLimit bytes), so that the client, which is
    // still sending, gets to read the answer; a longer body is left unread
    // and the connection closed, so it is never taken for the next request.
    bool refusing = false;
    QJsonObject refusal;
    unsigned refusalStatus = 0;
    qint64 drainLimit = 0;
    qint64 drained = 0;

    // A JSON body (login, envelope), capped at http::kMaxJsonBody.
    QByteArray body;
    // The contents of an upload go to the store in large writes.
    std::unique_ptr<clouddisk::Service::Upload> upload;
    std::unique_ptr<http::GatheredWrites> toStore;
};

struct Router
{
    using Exchange = CloudHttpServer::Exchange;
    using Route = Exchange::Route;

    static MHD_Result answerBytes(MHD_Connection* c, Exchange* ex, unsigned status, const QByteArray& bytes,
                                  bool close = false)
    {
        MHD_Response* r = MHD_create_response_from_buffer(size_t(bytes.size()), const_cast<char*>(bytes.constData()),
                                                          MHD_RESPMEM_MUST_COPY);
        if (!r)
            return MHD_NO;
        MHD_add_response_header(r, MHD_HTTP_HEADER_CONTENT_TYPE, http::kJsonType);
        if (close)
            MHD_add_response_header(r, MHD_HTTP_HEADER_CONNECTION, "close");
        ex->answered = true;
        const MHD_Result queued = MHD_queue_response(c, status, r);
        MHD_destroy_response(r);
        return queued;
    }

    static MHD_Result answer(MHD_Connection* c, Exchange* ex, const QJsonObject& body, unsigned status = 200,
                             bool close = false)
    {
        return answerBytes(c, ex, status, QJsonDocument(body).toJson(QJsonDocument::Compact), close);
    }

    // Refuses before the body is read; drainLimit 0 answers at once and
    // closes the connection.
    static MHD_Result refuseBeforeBody(MHD_Connection* c, Exchange* ex, const QJsonObject& refusal, unsigned status,
                                       qint64 drainLimit = kDrainLimit)
    {
        if (drainLimit == 0)
            return answer(c, ex, refusal, status, true);
        ex->refusing = true;
        ex->refusal = refusal;
        ex->refusalStatus = status;
        ex->drainLimit = drainLimit;
        return MHD_YES;
    }

    static MHD_Result refuseTooLarge(MHD_Connection* c, Exchange* ex)
    {
        return answer(c, ex, failure(QStringLiteral("请求过大")), 413, true);
    }

    // The token's user, or -1 with the refusal set up.
    static qint64 authorise(CloudHttpServer* self, MHD_Connection* c, Exchange* ex)
    {
        bool storeFailed = false;
        const qint64 userId = self->m_service.sessionUser(QString::fromLatin1(bearerToken(c)), &storeFailed);
        if (storeFailed)
            refuseBeforeBody(c, ex, failure(QStringLiteral("云盘服务繁忙，请稍后重试")), 503);
        else if (userId < 0)
            refuseBeforeBody(c, ex, failure(QStringLiteral("登录已失效，请重新登录")), 401);
        return userId;
    }

    static Route routeOf(const char* url, const char* method)
    {
        if (std::strcmp(method, MHD_HTTP_METHOD_POST) != 0)
            return Route::Unknown;
        const struct
        {
            const char* path;
            Route route;
        } routes[] = {{http::kLoginPath, Route::Login},       {http::kLogoutPath, Route::Logout},
                      {http::kSessionPath, Route::Session},   {http::kRequestPath, Route::Request},
                      {http::kDownloadPath, Route::Download}, {http::kUploadPath, Route::Upload}};
        for (const auto& r : routes) {
            if (std::strcmp(url, r.path) == 0)
                return r.route;
        }
        return Route::Unknown;
    }

    // The headers are in: decide what the body is for.
    static MHD_Result begin(CloudHttpServer* self, MHD_Connection* c, Exchange* ex)
    {
        switch (ex->route) {
        case Route::Unknown:
            return refuseBeforeBody(c, ex, failure(QStringLiteral("没有这项服务")), 404);
        case Route::Logout:
            return MHD_YES;
        case Route::Session:
            ex->userId = authorise(self, c, ex);
            return MHD_YES;
        case Route::Login:
            break;
        case Route::Request:
        case Route::Download:
            ex->userId = authorise(self, c, ex);
            if (ex->userId < 0)
                return MHD_YES;
            break;
        case Route::Upload:
            return beginUpload(self, c, ex);
        }
        // An envelope or a login is small; a larger one is refused unread.
        if (declaredLength(c) > http::kMaxJsonBody)
            return refuseBeforeBody(c, ex, failure(QStringLiteral("请求过大")), 413, 0);
        return MHD_YES;
    }

    static MHD_Result beginUpload(CloudHttpServer* self, MHD_Connection* c, Exchange* ex)
    {
        ex->userId = authorise(self, c, ex);
        if (ex->userId < 0)
            return MHD_YES;
        const QJsonObject envelope = http::decodeEnvelopeHeader(headerValue(c, http::kEnvelopeHeader));
        if (envelope.isEmpty())
            return refuseBeforeBody(c, ex, failure(QStringLiteral("上传请求无效")), 400);
        if (namesAnotherUser(envelope, ex->userId))
            return refuseBeforeBody(c, ex, failure(QStringLiteral("请求的用户与登录用户不符")), 403);
        if (!isUploadMethod(methodOf(envelope)))
            return refuseBeforeBody(c, ex, failure(QStringLiteral("不是上传请求")), 400);
        QJsonObject refusal;
        ex->upload = self->m_service.beginUpload(ex->userId, envelope, &refusal);
        if (!ex->upload)
            return refuseBeforeBody(c, ex, refusal, 200);
        ex->toStore = std::make_unique<http::GatheredWrites>(
            kStoreWrite, [upload = ex->upload.get()](const char* data, qint64 size) { return upload->write(data, size); });
        return MHD_YES;
    }

    // One piece of the body.
    static MHD_Result piece(MHD_Connection* c, Exchange* ex, const char* data, size_t size)
    {
        if (ex->answered)
            return MHD_YES;
        if (ex->refusing) {
            ex->drained += qint64(size);
            if (ex->drained > ex->drainLimit)
                return answer(c, ex, ex->refusal, ex->refusalStatus, true);
            return MHD_YES;
        }
        if (ex->upload) {
            if (ex->toStore->add(data, qint64(size)))
                return MHD_YES;
            return storeFailed(c, ex);
        }
        if (ex->route == Route::Logout || ex->route == Route::Session)
            return MHD_YES;
        if (ex->body.size() + qint64(size) > http::kMaxJsonBody)
            return refuseTooLarge(c, ex);
        ex->body.append(data, int(size));
        return MHD_YES;
    }

    // The store could not take the contents: the upload is abandoned.
    static MHD_Result storeFailed(MHD_Connection* c, Exchange* ex)
    {
        ex->toStore.reset();
        ex->upload.reset();
        return answer(c, ex, failure(QStringLiteral("云盘无法保存文件内容")), 500, true);
    }

    // A JSON body as an object; false (and the refusal queued) otherwise.
    static bool jsonBody(MHD_Connection* c, Exchange* ex, QJsonObject* out)
    {
        QJsonParseError error{};
        const QJsonDocument doc = QJsonDocument::fromJson(ex->body, &error);
        if (error.error != QJsonParseError::NoError || !doc.isObject()) {
            answer(c, ex, failure(QStringLiteral("请求不是 JSON 对象")), 400);
            return false;
        }
        *out = doc.object();
        return true;
    }

    // The envelope in the body of the token's user; false (and the refusal
    // queued) otherwise.
    static bool envelopeBody(MHD_Connection* c, Exchange* ex, QJsonObject* envelope)
    {
        if (!jsonBody(c, ex, envelope))
            return false;
        if (namesAnotherUser(*envelope, ex->userId)) {
            answer(c, ex, failure(QStringLiteral("请求的用户与登录用户不符")), 403);
            return false;
        }
        return true;
    }

    // The whole body is in: answer.
    static MHD_Result finish(CloudHttpServer* self, MHD_Connection* c, Exchange* ex)
    {
        if (ex->refusing)
            return answer(c, ex, ex->refusal, ex->refusalStatus);
        switch (ex->route) {
        case Route::Login:
            return finishLogin(self, c, ex);
        case Route::Logout:
            self->m_service.endSession(QString::fromLatin1(bearerToken(c)));
            return answer(c, ex, QJsonObject{{QStringLiteral("code"), 0}});
        case Route::Session:
            return answer(c, ex, QJsonObject{{QStringLiteral("code"), 0}, {QStringLiteral("userId"), double(ex->userId)}});
        case Route::Request: {
            QJsonObject envelope;
            if (!envelopeBody(c, ex, &envelope))
                return MHD_YES;
            const QString method = methodOf(envelope);
            if (method == kDownloadMethod || isUploadMethod(method)) {
                return answer(c, ex,
                              failure(QStringLiteral("文件内容经 %1 或 %2 传送")
                                          .arg(QLatin1String(http::kDownloadPath), QLatin1String(http::kUploadPath))),
                              400);
            }
            // The service's own bytes: a large tree is written once.
            return answerBytes(c, ex, 200, self->m_service.handleBytes(ex->userId, envelope));
        }
        case Route::Download:
            return finishDownload(self, c, ex);
        case Route::Upload: {
            if (!ex->toStore->flush())
                return storeFailed(c, ex);
            const QJsonObject reply = ex->upload->commit();
            ex->toStore.reset();
            ex->upload.reset();
            return answer(c, ex, reply);
        }
        case Route::Unknown:
            break;
        }
        return MHD_NO;
    }

    static MHD_Result finishLogin(CloudHttpServer* self, MHD_Connection* c, Exchange* ex)
    {
        QJsonObject body;
        if (!jsonBody(c, ex, &body))
            return MHD_YES;
        const QJsonValue name = body.value(QLatin1String("name"));
        const QJsonValue password = body.value(QLatin1String("password"));
        const qint64 userId = name.isString() && password.isString()
                                  ? self->m_service.checkPassword(name.toString(), password.toString())
                                  : -1;
        if (userId < 0)
            return answer(c, ex, failure(QStringLiteral("用户名或密码错误")), 401);
        const QString token = self->m_service.createSession(userId);
        if (token.isEmpty())
            return answer(c, ex, failure(QStringLiteral("云盘服务繁忙，请稍后重试")), 503);
        return answer(c, ex,
                      QJsonObject{{QStringLiteral("code"), 0},
                                  {QStringLiteral("token"), token},
                                  {QStringLiteral("userId"), double(userId)}});
    }

    static MHD_Result finishDownload(CloudHttpServer* self, MHD_Connection* c, Exchange* ex)
    {
        QJsonObject envelope;
        if (!envelopeBody(c, ex, &envelope))
            return MHD_YES;
        if (methodOf(envelope) != kDownloadMethod)
            return answer(c, ex, failure(QStringLiteral("不是下载请求")), 400);
        const clouddisk::Service::Download d = self->m_service.prepareDownload(ex->userId, envelope);
        if (!d.refusal.isEmpty())
            return answer(c, ex, d.refusal);
        // The open file keeps its contents even if an upload replaces them
        // meanwhile, so the size taken now is the size sent.
        const int fd = ::fcntl(d.contents->handle(), F_DUPFD_CLOEXEC, 0);
        struct stat st{};
        if (fd < 0 || ::fstat(fd, &st) != 0) {
            if (fd >= 0)
                ::close(fd);
            return answer(c, ex, failure(QStringLiteral("云盘文件内容无法读取")), 500);
        }
        // The library sends the file with sendfile and closes it when done.
        MHD_Response* r = MHD_create_response_from_fd64(uint64_t(st.st_size), fd);
        if (!r) {
            ::close(fd);
            return MHD_NO;
        }
        MHD_add_response_header(r, MHD_HTTP_HEADER_CONTENT_TYPE, http::kContentsType);
        ex->answered = true;
        const MHD_Result queued = MHD_queue_response(c, MHD_HTTP_OK, r);
        MHD_destroy_response(r);
        return queued;
    }

    static MHD_Result access(void* cls, MHD_Connection* c, const char* url, const char* method, const char*,
                             const char* data, size_t* size, void** context)
    {
        auto* self = static_cast<CloudHttpServer*>(cls);
        auto* ex = static_cast<Exchange*>(*context);
        if (!ex) {
            ex = new Exchange;
            ex->route = routeOf(url, method);
            *context = ex;
            return begin(self, c, ex);
        }
        if (*size != 0) {
            const size_t n = *size;
            *size = 0;
            return piece(c, ex, data, n);
        }
        if (ex->answered)
            return MHD_YES;
        return finish(self, c, ex);
    }

    // The request is over, answered or not (the peer went away, a timeout):
    // an upload that was not committed is abandoned with it.
    static void completed(void* cls, MHD_Connection*, void** context, MHD_RequestTerminationCode)
    {
        delete static_cast<Exchange*>(*context);
        *context = nullptr;
        // A thread that now waits on an idle client holds no database
        // connection.
        static_cast<CloudHttpServer*>(cls)->m_service.releaseConnection();
    }
};

CloudHttpServer::CloudHttpServer(clouddisk::Service& service)
    : m_service(service)
{
}

CloudHttpServer::~CloudHttpServer()
{
    if (m_listenSocket >= 0)
        ::close(m_listenSocket);
}

int CloudHttpServer::bind(const QString& host, int port)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const QByteArray service = QByteArray::number(port);
    if (::getaddrinfo(host.toUtf8().constData(), service.constData(), &hints, &found) != 0)
        return -1;
    int fd = -1;
    for (addrinfo* a = found; a && fd < 0; a = a->ai_next) {
        fd = ::socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC, a->ai_protocol);
        if (fd < 0)
            continue;
        const int on = 1;
        ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        if (::bind(fd, a->ai_addr, a->ai_addrlen) != 0 || ::listen(fd, SOMAXCONN) != 0) {
            ::close(fd);
            fd = -1;
        }
    }
    ::freeaddrinfo(found);
    if (fd < 0)
        return -1;
    sockaddr_storage bound{};
    socklen_t length = sizeof bound;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &length);
    const int boundPort = bound.ss_family == AF_INET6 ? ntohs(reinterpret_cast<sockaddr_in6*>(&bound)->sin6_port)
                                                      : ntohs(reinterpret_cast<sockaddr_in*>(&bound)->sin_port);
    if (m_listenSocket >= 0)
        ::close(m_listenSocket);
    m_listenSocket = fd;
    return boundPort;
}

bool CloudHttpServer::serve()
{
    if (m_listenSocket < 0)
        return false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_stopRequested)
            return true;
    }
    // A thread per connection: a long upload never holds up another host's
    // browse request, and the service's blocking calls need no event loop.
    MHD_Daemon* daemon = MHD_start_daemon(
        MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_POLL, 0, nullptr, nullptr,
        &Router::access, this, MHD_OPTION_LISTEN_SOCKET, m_listenSocket, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
        kConnectionMemory, MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds, MHD_OPTION_NOTIFY_COMPLETED,
        &Router::completed, this, MHD_OPTION_END);
    if (!daemon)
        return false;
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_stopped.wait(lock, [this] { return m_stopRequested; });
    }
    // Closes the listening socket and waits for the connections' threads.
    MHD_stop_daemon(daemon);
    m_listenSocket = -1;
    return true;
}

void CloudHttpServer::stop()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_stopRequested = true;
    m_stopped.notify_all();
}

} // namespace clouddiskd
