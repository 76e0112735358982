#include "CloudHttpServer.h"

#include "ArrivalWatch.h"
#include "BodyPace.h"
#include "ClientAddress.h"
#include "CloudDiskService.h"
#include "CloudHttp_p.h"
#include "LoginDesk.h"

#include <microhttpd.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLatin1String>
#include <QThread>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace clouddiskd {

namespace http = clouddisk::http;

namespace {

const QLatin1String kDownloadMethod("personclouddownloadfileforclouddisk");
const QLatin1String kUploadPersonal("personclouduploadfileinfoforclouddisk");
const QLatin1String kUploadEnterprise("enterpriseclouduploadfileinfoforclouddisk");

// Refused uploads of ordinary project files are still read to their end, so
// their sender sees the refusal rather than a broken connection. A sender
// that announced its body with "Expect: 100-continue" is answered before
// sending it.
constexpr qint64 kDrainLimit = 64LL << 20;
// Memory of one connection: its request's head and one read of its body. It
// is held (and touched) as long as the connection stays open, idle or not,
// so it is kept small; the body reaches the store through kStoreWrite.
constexpr size_t kConnectionMemory = 64u << 10;
// The pieces of an upload, whatever the reads gave, reach the store in
// writes of about this size.
constexpr qint64 kStoreWrite = 2 << 20;
// Slow networks get time; a peer that stays silent longer is dropped and its
// upload abandoned.
constexpr unsigned kIdleSeconds = 60;
// A body must keep moving: at least this much in every such window, or the
// sender is dropped (a byte now and then does not keep a connection).
constexpr qint64 kBodyWindowMs = 30000;
constexpr qint64 kBodyWindowBytes = 16 << 10;
// Left free on the cloud's disk for the records and their journal.
constexpr qint64 kDiskReserve = 8LL << 20;

const QLatin1String kUploadInfoPersonal("personclouduploadinfoforclouddisk");
const QLatin1String kUploadInfoEnterprise("getuploadinfoenterpriseforclouddisk");

QString diskFullMessage()
{
    return QStringLiteral("云盘服务器磁盘已满，无法保存文件");
}

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

bool expectsContinue(MHD_Connection* c)
{
    return headerValue(c, MHD_HTTP_HEADER_EXPECT).toLower().startsWith("100-continue");
}

// Bytes the cloud's disk can still take, or -1 when unknown.
qint64 freeBytes(const QString& dir)
{
    struct statvfs s{};
    if (::statvfs(QFile::encodeName(dir).constData(), &s) != 0)
        return -1;
    return qint64(s.f_bavail) * qint64(s.f_frsize);
}

// Whether `size` more bytes fit, leaving the reserve free.
bool fitsOnDisk(const QString& dir, qint64 size)
{
    const qint64 room = freeBytes(dir);
    return room < 0 || size + kDiskReserve <= room;
}

// The size an upload-info request declares ("wjdx" of its one item), or 0.
qint64 declaredUploadSize(const QJsonObject& envelope)
{
    const QJsonObject method = envelope.value(QLatin1String("data")).toObject();
    const QJsonValue items = method.value(QLatin1String("data"));
    const double wjdx = items.toArray().first().toObject().value(QLatin1String("wjdx")).toDouble(0);
    return wjdx > 0 && wjdx < 9e15 ? qint64(wjdx) : 0;
}

// The machine at the other end of a connection.
QByteArray peerOf(MHD_Connection* c)
{
    const MHD_ConnectionInfo* info = MHD_get_connection_info(c, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    return addressBytes(info ? info->client_addr : nullptr);
}

int socketOf(MHD_Connection* c)
{
    const MHD_ConnectionInfo* info = MHD_get_connection_info(c, MHD_CONNECTION_INFO_CONNECTION_FD);
    return info ? info->connect_fd : -1;
}

qint64 steadyMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

int ServerOptions::threadCount() const
{
    return threads > 0 ? threads : std::max(8, 2 * QThread::idealThreadCount());
}

int ServerOptions::loginThreadCount() const
{
    // Password hashes take memory as well as time: a few at once.
    return loginThreads > 0 ? loginThreads : std::clamp(QThread::idealThreadCount() / 2, 2, 4);
}

unsigned ServerOptions::connectionLimit() const
{
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) != 0 || files.rlim_cur == RLIM_INFINITY)
        files.rlim_cur = 1024;
    // Each connection may hold a file of contents besides its socket; the
    // rest are the records' connections, the threads' event queues, logs.
    const long long spare = 64 + 8LL * (threadCount() + loginThreadCount());
    const long long limit = (static_cast<long long>(files.rlim_cur) - spare) / 2;
    return unsigned(std::clamp<long long>(limit, 16, 100000));
}

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

    // The body's pace, and every byte of it so far.
    clouddiskd::BodyPace pace{kBodyWindowMs, kBodyWindowBytes};

    // A sign-in waits, suspended, for the login desk's answer.
    enum class Login { None, Waiting, Done };
    Login login = Login::None;
    LoginDesk::Outcome loginOutcome;

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
        // A sender waiting for "100 Continue" sends no body at all when the
        // answer comes instead.
        if (drainLimit == 0 || expectsContinue(c))
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
        // Contents that cannot fit are refused before a byte of them is read.
        const qint64 declared = declaredLength(c);
        if (!fitsOnDisk(self->m_service.contentsDir(), std::max<qint64>(declared, 0)))
            return refuseBeforeBody(c, ex, failure(diskFullMessage()), 507);
        QJsonObject refusal;
        ex->upload = self->m_service.beginUpload(ex->userId, envelope, &refusal);
        if (!ex->upload)
            return refuseBeforeBody(c, ex, refusal, 200);
        ex->toStore = std::make_unique<http::GatheredWrites>(
            kStoreWrite, [upload = ex->upload.get()](const char* data, qint64 size) { return upload->write(data, size); });
        return MHD_YES;
    }

    // One piece of the body.
    static MHD_Result piece(CloudHttpServer* self, MHD_Connection* c, Exchange* ex, const char* data, size_t size)
    {
        if (ex->answered)
            return MHD_YES;
        if (ex->pace.tooSlow(steadyMs(), qint64(size))) {
            ex->toStore.reset();
            ex->upload.reset();
            return answer(c, ex, failure(QStringLiteral("请求发送过慢，连接已关闭")), 408, true);
        }
        if (ex->refusing) {
            ex->drained += qint64(size);
            if (ex->drained > ex->drainLimit)
                return answer(c, ex, ex->refusal, ex->refusalStatus, true);
            return MHD_YES;
        }
        if (ex->upload) {
            if (ex->toStore->add(data, qint64(size)))
                return MHD_YES;
            return storeFailed(self, c, ex);
        }
        if (ex->route == Route::Logout || ex->route == Route::Session)
            return MHD_YES;
        if (ex->body.size() + qint64(size) > http::kMaxJsonBody)
            return refuseTooLarge(c, ex);
        ex->body.append(data, int(size));
        return MHD_YES;
    }

    // The store could not take the contents: the upload is abandoned and
    // what was written of it removed. The rest of the body is read and
    // dropped (the sender announced it and is still sending), so that the
    // sender reads the refusal instead of a broken connection.
    static MHD_Result storeFailed(CloudHttpServer* self, MHD_Connection* c, Exchange* ex)
    {
        ex->toStore.reset();
        ex->upload.reset();
        const bool full = !fitsOnDisk(self->m_service.contentsDir(), 0);
        const QJsonObject refusal = failure(full ? diskFullMessage() : QStringLiteral("云盘无法保存文件内容"));
        const unsigned status = full ? 507 : 500;
        const qint64 declared = declaredLength(c);
        const qint64 rest = declared >= 0 ? declared - ex->pace.total() : kDrainLimit;
        ex->refusing = true;
        ex->refusal = refusal;
        ex->refusalStatus = status;
        ex->drainLimit = std::max<qint64>(0, std::max(kDrainLimit, rest));
        ex->drained = 0;
        return MHD_YES;
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
            // A ticket for contents that cannot fit is not given out.
            if ((method == kUploadInfoPersonal || method == kUploadInfoEnterprise) &&
                !fitsOnDisk(self->m_service.contentsDir(), declaredUploadSize(envelope)))
                return answer(c, ex, failure(diskFullMessage()));
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
            if (!ex->toStore->flush()) {
                storeFailed(self, c, ex);
                return answer(c, ex, ex->refusal, ex->refusalStatus);
            }
            QJsonObject reply = ex->upload->commit();
            ex->toStore.reset();
            ex->upload.reset();
            // The last bytes may meet a full disk only when they are flushed.
            if (reply.value(QLatin1String("code")).toInt() != 0 && !fitsOnDisk(self->m_service.contentsDir(), 0))
                reply = failure(diskFullMessage());
            return answer(c, ex, reply);
        }
        case Route::Unknown:
            break;
        }
        return MHD_NO;
    }

    // A sign-in goes to the login desk and the connection is suspended
    // until the desk has checked it (or turned it away); the library then
    // calls again and the answer goes out. The refusal never says which of
    // name and password was wrong.
    static MHD_Result finishLogin(CloudHttpServer* self, MHD_Connection* c, Exchange* ex)
    {
        if (ex->login == Exchange::Login::None) {
            QJsonObject body;
            if (!jsonBody(c, ex, &body))
                return MHD_YES;
            const QJsonValue name = body.value(QLatin1String("name"));
            const QJsonValue password = body.value(QLatin1String("password"));
            if (!name.isString() || !password.isString())
                return answer(c, ex, failure(QStringLiteral("用户名或密码错误")), 401);
            ex->login = Exchange::Login::Waiting;
            MHD_suspend_connection(c);
            // Behind the front, the host it names.
            const QByteArray client = self->m_options.trustedProxies.clientOf(
                peerOf(c), MHD_lookup_connection_value(c, MHD_HEADER_KIND, "X-Forwarded-For"));
            self->m_logins->submit(name.toString(), password.toString(), limitKey(client),
                                   [c, ex](const LoginDesk::Outcome& outcome) {
                                       ex->loginOutcome = outcome;
                                       ex->login = Exchange::Login::Done;
                                       MHD_resume_connection(c);
                                   });
            return MHD_YES;
        }
        if (ex->login == Exchange::Login::Waiting)
            return MHD_YES;
        if (ex->loginOutcome.turnedAway)
            return answer(c, ex, failure(QStringLiteral("登录尝试过于频繁，请稍后再试")), 429);
        const qint64 userId = ex->loginOutcome.userId;
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
            self->m_arrivals->arrived(c);
            ex = new Exchange;
            ex->route = routeOf(url, method);
            *context = ex;
            return begin(self, c, ex);
        }
        if (*size != 0) {
            const size_t n = *size;
            *size = 0;
            return piece(self, c, ex, data, n);
        }
        if (ex->answered)
            return MHD_YES;
        return finish(self, c, ex);
    }

    // The request is over, answered or not (the peer went away, a timeout):
    // an upload that was not committed is abandoned with it.
    static void completed(void* cls, MHD_Connection* c, void** context, MHD_RequestTerminationCode)
    {
        delete static_cast<Exchange*>(*context);
        *context = nullptr;
        // The next request on a kept-alive connection is due in time too.
        auto* self = static_cast<CloudHttpServer*>(cls);
        self->m_arrivals->expect(c, socketOf(c));
        // A thread that now waits on idle clients holds no database
        // connection.
        self->m_service.releaseConnection();
    }

    // A connection opened or ended. Its socket is closed only after this.
    static void connection(void* cls, MHD_Connection* c, void**, MHD_ConnectionNotificationCode code)
    {
        auto* self = static_cast<CloudHttpServer*>(cls);
        if (code == MHD_CONNECTION_NOTIFY_STARTED) {
            self->m_perAddress->opened(peerOf(c));
            self->m_arrivals->expect(c, socketOf(c));
        } else {
            self->m_arrivals->forget(c);
            self->m_perAddress->closed(peerOf(c));
        }
    }

    // A connection is about to be taken: one address may hold only so
    // many at once (a trusted proxy any number); more are closed
    // unanswered. Counted here rather than by the library, which knows no
    // trusted proxies. Connections accepted at the same instant on other
    // threads may pass it by one each.
    static MHD_Result admit(void* cls, const sockaddr* address, socklen_t)
    {
        return static_cast<CloudHttpServer*>(cls)->m_perAddress->admits(addressBytes(address)) ? MHD_YES : MHD_NO;
    }
};

CloudHttpServer::CloudHttpServer(clouddisk::Service& service, ServerOptions options)
    : m_service(service)
    , m_options(std::move(options))
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

bool CloudHttpServer::serve(QString* error, const std::function<void()>& serving)
{
    auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return false;
    };
    if (m_listenSocket < 0)
        return fail(QStringLiteral("not listening"));
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_stopRequested)
            return true;
    }
    const bool tls = !m_options.tlsCertificate.isEmpty() || !m_options.tlsKey.isEmpty();
    if (tls && MHD_is_feature_supported(MHD_FEATURE_TLS) != MHD_YES)
        return fail(QStringLiteral("this libmicrohttpd has no TLS"));
    m_arrivals = std::make_unique<ArrivalWatch>(m_options.requestTime);
    m_perAddress = std::make_unique<ConnectionsPerAddress>(m_options.perAddressLimit, m_options.trustedProxies);
    m_logins = std::make_unique<LoginDesk>(
        [this](const QString& name, const QString& password) { return m_service.checkPassword(name, password); },
        m_options.loginThreadCount());
    // A fixed pool of threads, each watching its share of the connections
    // with poll: a connection that idles or trickles costs no thread. (Not
    // epoll: with it this libmicrohttpd missed a sender that closed right
    // after its last bytes, and kept its half upload for many seconds.)
    unsigned flags = MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_POLL | MHD_ALLOW_SUSPEND_RESUME;
    if (tls)
        flags |= MHD_USE_TLS;
    // The PEM texts stay alive (in m_options) as long as the daemon.
    const MHD_OptionItem tlsOptions[] = {
        {MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char*>(m_options.tlsCertificate.constData())},
        {MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char*>(m_options.tlsKey.constData())},
        {MHD_OPTION_END, 0, nullptr}};
    const MHD_OptionItem noOptions[] = {{MHD_OPTION_END, 0, nullptr}};
    MHD_Daemon* daemon = MHD_start_daemon(
        flags, 0, &Router::admit, this, &Router::access, this, MHD_OPTION_LISTEN_SOCKET, m_listenSocket,
        MHD_OPTION_THREAD_POOL_SIZE, unsigned(m_options.threadCount()), MHD_OPTION_CONNECTION_MEMORY_LIMIT,
        kConnectionMemory, MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds, MHD_OPTION_CONNECTION_LIMIT,
        m_options.connectionLimit(), MHD_OPTION_NOTIFY_COMPLETED, &Router::completed, this,
        MHD_OPTION_NOTIFY_CONNECTION, &Router::connection, this, MHD_OPTION_ARRAY, tls ? tlsOptions : noOptions, MHD_OPTION_END);
    if (!daemon) {
        m_logins.reset();
        m_arrivals.reset();
        m_perAddress.reset();
        return fail(tls ? QStringLiteral("cannot serve (is the certificate and key a matching PEM pair?)")
                        : QStringLiteral("cannot serve"));
    }
    if (serving)
        serving();
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_stopped.wait(lock, [this] { return m_stopRequested; });
    }
    // Sign-ins that wait are answered first: the library must not stop
    // with connections suspended.
    m_logins->stop();
    // Closes the listening socket and waits for the pool's threads.
    MHD_stop_daemon(daemon);
    m_logins.reset();
    m_arrivals.reset();
    m_perAddress.reset();
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
