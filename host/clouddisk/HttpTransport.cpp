// The host's way to clouddiskd: one HTTP exchange per request (so a long
// download never holds up the user-interface thread's browse requests), a
// bearer token from /login, and contents streamed between the server and the
// devices the channel opened on the host's disk. The HTTP is libcurl's; the
// exchanges of the whole process share its connections, so a request goes
// out on one an earlier request left open (no new TCP and TLS handshake).
// Over https the server's certificate is checked against the system's store
// or the CA file the host names, and plain http goes to this machine only,
// unless the host allows it.
#include "CloudHttp_p.h"
#include "CloudTransport.h"

#include <curl/curl.h>

#include <QFile>
#include <QIODevice>
#include <QJsonDocument>
#include <QMutex>
#include <QMutexLocker>
#include <QUrl>

#include <functional>
#include <mutex>

namespace clouddisk {

namespace {

// Contents leave in pieces of this size (libcurl's largest upload buffer)...
constexpr long kUploadBuffer = 2L << 20;
// ...and are written to the sink in pieces of about this size.
constexpr long kDownloadBuffer = 1L << 20;
// A JSON answer is held whole to be parsed. A personal tree of 20,000 nodes
// is about 3 MB; anything past this is no answer of the service's.
constexpr qint64 kMaxAnswer = 256LL << 20;
// Signing in and asking for anything must not wait long for a server that
// does not answer at all.
constexpr long kConnectSeconds = 10;
// A request that gets no byte of its answer for this long is given up:
// browse requests hold the user-interface thread.
constexpr long kAnswerStallSeconds = 30;
// Contents that stop moving for this long are given up; a large upload is
// answered only after the server has stored it.
constexpr long kTransferStallSeconds = 300;

// libcurl's cache of open connections (and of resolved names and TLS
// sessions), shared by every exchange of the process. Its parts are locked
// one by one.
class SharedConnections
{
public:
    static CURLSH* get()
    {
        static SharedConnections shared;
        return shared.m_share;
    }

private:
    SharedConnections()
        : m_share(curl_share_init())
    {
        curl_share_setopt(m_share, CURLSHOPT_LOCKFUNC, &SharedConnections::lock);
        curl_share_setopt(m_share, CURLSHOPT_UNLOCKFUNC, &SharedConnections::unlock);
        curl_share_setopt(m_share, CURLSHOPT_USERDATA, this);
        curl_share_setopt(m_share, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
        curl_share_setopt(m_share, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
        curl_share_setopt(m_share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    }
    // Kept until the process ends: an exchange may still run on a pool
    // thread while statics are destroyed.
    ~SharedConnections() = default;

    static void lock(CURL*, curl_lock_data data, curl_lock_access, void* self)
    {
        static_cast<SharedConnections*>(self)->m_locks[data % kLocks].lock();
    }
    static void unlock(CURL*, curl_lock_data data, void* self)
    {
        static_cast<SharedConnections*>(self)->m_locks[data % kLocks].unlock();
    }

    static constexpr int kLocks = CURL_LOCK_DATA_LAST;
    CURLSH* m_share;
    QMutex m_locks[kLocks];
};

QJsonObject failure(const QString& msg)
{
    return QJsonObject{{QStringLiteral("code"), 1}, {QStringLiteral("msg"), msg}};
}

// Errors of the TLS layer: the server's certificate was not trusted, does
// not name the server, has expired, or the handshake failed.
bool isTlsFailure(CURLcode error)
{
    return error == CURLE_PEER_FAILED_VERIFICATION || error == CURLE_SSL_CONNECT_ERROR ||
           error == CURLE_SSL_CERTPROBLEM || error == CURLE_SSL_CACERT_BADFILE || error == CURLE_SSL_ISSUER_ERROR ||
           error == CURLE_SSL_PINNEDPUBKEYNOTMATCH;
}

QByteArray compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// What came back from one exchange.
struct Answer
{
    CURLcode error = CURLE_OK;
    QString detail; // libcurl's own words on the error
    long status = 0;
    QByteArray body; // a JSON answer; empty when the body went to a sink
    bool bodyTooLarge = false;

    bool ok() const { return error == CURLE_OK; }
};

// The answer to a finished exchange: the server's JSON reply or refusal when
// it sent one, else a message naming what went wrong.
QJsonObject answerOf(const Answer& a)
{
    if (a.bodyTooLarge)
        return failure(QStringLiteral("云盘服务答复过大"));
    if (!a.ok()) {
        const QString why = a.detail.isEmpty() ? QString::fromUtf8(curl_easy_strerror(a.error)) : a.detail;
        if (isTlsFailure(a.error))
            return failure(QStringLiteral("云盘服务的证书未通过验证，连接已拒绝（%1）").arg(why));
        return failure(QStringLiteral("无法连接云盘服务（%1）").arg(why));
    }
    const QJsonDocument doc = QJsonDocument::fromJson(a.body);
    if (doc.isObject() && !doc.object().isEmpty())
        return doc.object();
    return failure(QStringLiteral("云盘服务答复无效（HTTP %1）").arg(a.status));
}

// Whether a body can be a JSON object, judged without reading it all.
bool looksLikeObject(const QByteArray& body)
{
    const QByteArray trimmed = body.trimmed();
    return trimmed.startsWith('{') && trimmed.endsWith('}');
}

// The envelope as the server gets it: "filePath" names a place on the host's
// disk, which is no business of the server's, so it travels empty.
QJsonObject withoutLocalPath(QJsonObject envelope)
{
    QJsonObject method = envelope.value(QLatin1String("data")).toObject();
    if (method.contains(QLatin1String("filePath"))) {
        method.insert(QStringLiteral("filePath"), QString());
        envelope.insert(QStringLiteral("data"), method);
    }
    return envelope;
}

// One POST. The body is either `body` or read from `source`; the answer is
// collected as JSON unless `contents` takes it (it is handed the pieces of a
// 200 answer of the contents type).
class Exchange
{
public:
    using Contents = std::function<bool(const char*, size_t)>;

    Exchange(const std::string& url, const QByteArray& token, const HttpSettings& settings)
        : m_curl(curl_easy_init())
        , m_settings(settings)
        , m_url(url)
    {
        if (!m_curl)
            return;
        curl_easy_setopt(m_curl, CURLOPT_URL, url.c_str());
        curl_easy_setopt(m_curl, CURLOPT_ERRORBUFFER, m_error);
        // https: the certificate must chain to a trusted authority and name
        // the host (libcurl's defaults, stated so nobody turns them off).
        curl_easy_setopt(m_curl, CURLOPT_SSL_VERIFYPEER, 1L);
        curl_easy_setopt(m_curl, CURLOPT_SSL_VERIFYHOST, 2L);
        if (!settings.caFile.isEmpty())
            curl_easy_setopt(m_curl, CURLOPT_CAINFO, QFile::encodeName(settings.caFile).constData());
        // clouddiskd is reached directly, whatever proxy the environment names.
        curl_easy_setopt(m_curl, CURLOPT_PROXY, "");
        curl_easy_setopt(m_curl, CURLOPT_PROTOCOLS_STR, "http,https");
        // Worker threads: no signals for timeouts.
        curl_easy_setopt(m_curl, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(m_curl, CURLOPT_TCP_NODELAY, 1L);
        curl_easy_setopt(m_curl, CURLOPT_SHARE, SharedConnections::get());
        curl_easy_setopt(m_curl, CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
        curl_easy_setopt(m_curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
        curl_easy_setopt(m_curl, CURLOPT_LOW_SPEED_TIME, kAnswerStallSeconds);
        curl_easy_setopt(m_curl, CURLOPT_POST, 1L);
        curl_easy_setopt(m_curl, CURLOPT_WRITEFUNCTION, &Exchange::received);
        curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, this);
        if (!token.isEmpty())
            m_headers = curl_slist_append(m_headers, ("Authorization: Bearer " + token).constData());
    }

    ~Exchange()
    {
        if (m_curl)
            curl_easy_cleanup(m_curl);
        curl_slist_free_all(m_headers);
    }

    void addHeader(const QByteArray& line) { m_headers = curl_slist_append(m_headers, line.constData()); }

    void setBody(const QByteArray& body, const char* type)
    {
        // A small body goes at once; waiting for "100 Continue" would only
        // add a round trip.
        addHeader("Expect:");
        m_body = body;
        addHeader(QByteArray("Content-Type: ") + type);
        curl_easy_setopt(m_curl, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(m_body.size()));
        curl_easy_setopt(m_curl, CURLOPT_POSTFIELDS, m_body.constData());
    }

    // The body is what `source` holds from its position to its end; a
    // device of unknown size goes chunked.
    void setSource(QIODevice* source, const char* type)
    {
        m_source = source;
        addHeader(QByteArray("Content-Type: ") + type);
        // Contents wait for the server's go-ahead, so a refusal decided on
        // the head alone (the disk is full, the ticket is used) comes back
        // before any of them is sent.
        addHeader("Expect: 100-continue");
        const curl_off_t size = source->isSequential() ? -1 : curl_off_t(source->size() - source->pos());
        curl_easy_setopt(m_curl, CURLOPT_POSTFIELDSIZE_LARGE, size);
        curl_easy_setopt(m_curl, CURLOPT_READFUNCTION, &Exchange::send);
        curl_easy_setopt(m_curl, CURLOPT_READDATA, this);
        // A kept connection the server has meanwhile closed is found only
        // when the request goes out; libcurl then sends it again on a new
        // one, from the start of the contents.
        m_sourceStart = source->pos();
        curl_easy_setopt(m_curl, CURLOPT_SEEKFUNCTION, &Exchange::rewind);
        curl_easy_setopt(m_curl, CURLOPT_SEEKDATA, this);
        curl_easy_setopt(m_curl, CURLOPT_UPLOAD_BUFFERSIZE, kUploadBuffer);
        curl_easy_setopt(m_curl, CURLOPT_LOW_SPEED_TIME, kTransferStallSeconds);
    }

    void setContents(Contents contents)
    {
        m_contents = std::move(contents);
        curl_easy_setopt(m_curl, CURLOPT_BUFFERSIZE, kDownloadBuffer);
        curl_easy_setopt(m_curl, CURLOPT_LOW_SPEED_TIME, kTransferStallSeconds);
    }

    Answer perform()
    {
        if (!m_curl) {
            m_answer.error = CURLE_FAILED_INIT;
            return m_answer;
        }
        curl_easy_setopt(m_curl, CURLOPT_HTTPHEADER, m_headers);
        m_answer.error = curl_easy_perform(m_curl);
        m_answer.detail = QString::fromUtf8(m_error).trimmed();
        curl_easy_getinfo(m_curl, CURLINFO_RESPONSE_CODE, &m_answer.status);
        if (isTlsFailure(m_answer.error) && m_settings.log) {
            m_settings.log(QStringLiteral("云盘传输------云盘服务的证书未通过验证，连接已拒绝：%1：%2")
                               .arg(QString::fromStdString(m_url), m_answer.detail));
        }
        return m_answer;
    }

    bool sourceFailed() const { return m_sourceFailed; }
    bool contentsFailed() const { return m_contentsFailed; }
    bool gotContents() const { return m_isContents == 1; }

private:
    static size_t received(char* data, size_t, size_t size, void* self)
    {
        return static_cast<Exchange*>(self)->receive(data, size) ? size : 0;
    }

    bool receive(const char* data, size_t size)
    {
        if (m_isContents < 0) {
            long status = 0;
            const char* type = nullptr;
            curl_easy_getinfo(m_curl, CURLINFO_RESPONSE_CODE, &status);
            curl_easy_getinfo(m_curl, CURLINFO_CONTENT_TYPE, &type);
            m_isContents = m_contents && status == 200 && type && qstrcmp(type, http::kContentsType) == 0;
        }
        if (m_isContents) {
            m_contentsFailed = !m_contents(data, size);
            return !m_contentsFailed;
        }
        // A refusal instead of contents is small; an answer can be large.
        const qint64 cap = m_contents ? http::kMaxJsonBody : kMaxAnswer;
        if (m_answer.body.size() + qint64(size) > cap) {
            m_answer.bodyTooLarge = true;
            return false;
        }
        m_answer.body.append(data, int(size));
        return true;
    }

    static size_t send(char* buffer, size_t, size_t size, void* self)
    {
        return static_cast<Exchange*>(self)->read(buffer, size);
    }

    static int rewind(void* self, curl_off_t offset, int origin)
    {
        auto* e = static_cast<Exchange*>(self);
        if (origin != SEEK_SET || e->m_source->isSequential() || !e->m_source->seek(e->m_sourceStart + offset))
            return CURL_SEEKFUNC_CANTSEEK;
        return CURL_SEEKFUNC_OK;
    }

    size_t read(char* buffer, size_t size)
    {
        for (;;) {
            const qint64 got = m_source->read(buffer, qint64(size));
            if (got > 0)
                return size_t(got);
            // A stream of unknown size ends when its device does; a file of
            // known size that ends early, or fails, spoils the upload.
            if (got == 0 && m_source->isSequential()) {
                if (m_source->atEnd())
                    return 0;
                m_source->waitForReadyRead(100);
                continue;
            }
            m_sourceFailed = true;
            return CURL_READFUNC_ABORT;
        }
    }

    CURL* m_curl = nullptr;
    const HttpSettings& m_settings;
    std::string m_url;
    char m_error[CURL_ERROR_SIZE] = {};
    curl_slist* m_headers = nullptr;
    QByteArray m_body;
    QIODevice* m_source = nullptr;
    qint64 m_sourceStart = 0;
    Contents m_contents;
    int m_isContents = -1;
    bool m_sourceFailed = false;
    bool m_contentsFailed = false;
    Answer m_answer;
};

class HttpTransport final : public CloudTransport
{
public:
    HttpTransport(const QString& baseUrl, const HttpSettings& settings)
        : m_baseUrl(baseUrl.trimmed().toStdString())
        , m_settings(settings)
    {
        while (!m_baseUrl.empty() && m_baseUrl.back() == '/')
            m_baseUrl.pop_back();
        const QString scheme = QUrl(baseUrl.trimmed()).scheme().toLower();
        if (scheme == QLatin1String("http") && !isLoopbackUrl(baseUrl)) {
            if (settings.allowPlainHttp) {
                log(QStringLiteral("云盘传输------主机允许以不加密的 http 连接 %1：密码和登录凭据将以明文传送")
                        .arg(baseUrl.trimmed()));
            } else {
                m_refusal = QStringLiteral("云盘服务地址 %1 使用不加密的 http，已拒绝连接；请改用 https")
                                .arg(baseUrl.trimmed());
                log(QStringLiteral("云盘传输------拒绝以不加密的 http 连接 %1：只有本机地址可用 http，"
                                   "其它地址请用 https（或由主机设置“云盘服务允许明文”）")
                        .arg(baseUrl.trimmed()));
            }
        }
        // Once per process, before any exchange on any thread.
        static std::once_flag once;
        std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    }

    LoginResult login(const QString& name, const QString& password) override
    {
        const http::NoBrokenPipeSignal quiet;
        LoginResult result;
        if (!m_refusal.isEmpty()) {
            result.message = m_refusal;
            return result;
        }
        const QJsonObject answer = signIn(name, password);
        if (answer.value(QLatin1String("code")).toInt(-1) != 0) {
            result.message = answer.value(QLatin1String("msg")).toString();
            if (result.message.isEmpty())
                result.message = QStringLiteral("用户名或密码错误");
            return result;
        }
        result.ok = true;
        // A user id is a whole number a 64-bit integer holds; anything else a
        // server sends reads as no id rather than an overflowing conversion.
        const double id = answer.value(QLatin1String("userId")).toDouble(-1);
        result.userId = (id >= 0 && id < 9223372036854775808.0) ? qint64(id) : -1;
        result.userName = name;
        return result;
    }

    void logout() override
    {
        const http::NoBrokenPipeSignal quiet;
        QByteArray token;
        {
            QMutexLocker lock(&m_mutex);
            token = m_token;
            m_token.clear();
            m_name.clear();
            m_password.clear();
        }
        if (token.isEmpty())
            return;
        Exchange e(url(http::kLogoutPath), token, m_settings);
        e.setBody(QByteArray(), http::kJsonType);
        e.perform();
    }

    QJsonObject request(const QJsonObject& envelope) override
    {
        const http::NoBrokenPipeSignal quiet;
        const QByteArray body = compact(envelope);
        return withSession([&](const QByteArray& token) {
            Exchange e(url(http::kRequestPath), token, m_settings);
            e.setBody(body, http::kJsonType);
            return e.perform();
        });
    }

    QByteArray requestBytes(const QJsonObject& envelope) override
    {
        const http::NoBrokenPipeSignal quiet;
        const QByteArray body = compact(envelope);
        QJsonObject failed;
        const Answer a = sendWithSession(
            [&](const QByteArray& token) {
                Exchange e(url(http::kRequestPath), token, m_settings);
                e.setBody(body, http::kJsonType);
                return e.perform();
            },
            &failed);
        // The server's answer goes on as it came; only a refusal of the
        // exchange itself is made into a reply here.
        if (failed.isEmpty() && a.ok() && a.status == 200 && looksLikeObject(a.body))
            return a.body;
        return compact(failed.isEmpty() ? answerOf(a) : failed);
    }

    QJsonObject download(const QJsonObject& envelope, QIODevice* sink) override
    {
        const http::NoBrokenPipeSignal quiet;
        const QByteArray body = compact(withoutLocalPath(envelope));
        bool gotContents = false;
        bool complete = false;
        bool sinkFailed = false;
        const QJsonObject answer = withSession([&](const QByteArray& token) {
            Exchange e(url(http::kDownloadPath), token, m_settings);
            e.setBody(body, http::kJsonType);
            http::GatheredWrites toSink(kDownloadBuffer, [sink](const char* data, qint64 size) {
                return sink->write(data, size) == size;
            });
            e.setContents([&toSink](const char* data, size_t size) { return toSink.add(data, qint64(size)); });
            Answer a = e.perform();
            complete = a.ok() && (!e.gotContents() || toSink.flush());
            gotContents = e.gotContents();
            sinkFailed = e.contentsFailed() || (a.ok() && e.gotContents() && !complete);
            return a;
        });
        if (sinkFailed)
            return failure(QStringLiteral("下载的文件无法写入本地磁盘"));
        if (!gotContents)
            return answer;
        if (!complete)
            return failure(QStringLiteral("下载中断，文件不完整"));
        return QJsonObject{{QStringLiteral("code"), 0}, {QStringLiteral("msg"), QString()}};
    }

    QJsonObject upload(const QJsonObject& envelope, QIODevice* source) override
    {
        const http::NoBrokenPipeSignal quiet;
        const QByteArray header = http::encodeEnvelopeHeader(withoutLocalPath(envelope));
        // The contents can be sent once only, so the session is checked (and
        // renewed if the server forgot it) before they go.
        const QJsonObject session = withSession([&](const QByteArray& token) {
            Exchange e(url(http::kSessionPath), token, m_settings);
            e.setBody(QByteArray(), http::kJsonType);
            return e.perform();
        });
        if (session.value(QLatin1String("code")).toInt(-1) != 0)
            return session;

        QByteArray token;
        {
            QMutexLocker lock(&m_mutex);
            token = m_token;
        }
        Exchange e(url(http::kUploadPath), token, m_settings);
        e.addHeader(QByteArray(http::kEnvelopeHeader) + ": " + header);
        e.setSource(source, http::kContentsType);
        const Answer a = e.perform();
        if (e.sourceFailed())
            return failure(QStringLiteral("要上传的文件无法读取"));
        return answerOf(a);
    }

private:
    std::string url(const char* path) const { return m_baseUrl + path; }

    void log(const QString& line) const
    {
        if (m_settings.log)
            m_settings.log(line);
    }

    QJsonObject signIn(const QString& name, const QString& password)
    {
        Exchange e(url(http::kLoginPath), QByteArray(), m_settings);
        e.setBody(compact(QJsonObject{{QStringLiteral("name"), name}, {QStringLiteral("password"), password}}),
                  http::kJsonType);
        const QJsonObject answer = answerOf(e.perform());
        const QByteArray token = answer.value(QLatin1String("token")).toString().toLatin1();
        if (answer.value(QLatin1String("code")).toInt(-1) != 0)
            return answer;
        if (token.isEmpty())
            return failure(QStringLiteral("云盘服务未给出登录凭据"));
        QMutexLocker lock(&m_mutex);
        m_token = token;
        // Kept so that a server restart, which forgets sessions, costs the
        // user nothing: the transport signs in again once.
        m_name = name;
        m_password = password;
        return answer;
    }

    // Runs send(token) and gives its answer, or the refusal.
    template <typename Send>
    QJsonObject withSession(Send send)
    {
        QJsonObject failed;
        const Answer a = sendWithSession(send, &failed);
        return failed.isEmpty() ? answerOf(a) : failed;
    }

    // Runs send(token); when the server no longer knows the token, signs in
    // again with the remembered credentials and runs it once more. *failed
    // is set when there is no session to send with.
    template <typename Send>
    Answer sendWithSession(Send send, QJsonObject* failed)
    {
        QByteArray token;
        QString name, password;
        {
            QMutexLocker lock(&m_mutex);
            token = m_token;
            name = m_name;
            password = m_password;
        }
        if (!m_refusal.isEmpty()) {
            *failed = failure(m_refusal);
            return Answer();
        }
        if (token.isEmpty()) {
            *failed = failure(QStringLiteral("尚未登录云盘"));
            return Answer();
        }
        Answer a = send(token);
        if (a.ok() && a.status == 401 && !name.isEmpty()) {
            QByteArray renewed;
            {
                QMutexLocker lock(&m_mutex);
                renewed = m_token;
            }
            // Another thread may have signed in again already.
            if (renewed == token || renewed.isEmpty()) {
                const QJsonObject again = signIn(name, password);
                if (again.value(QLatin1String("code")).toInt(-1) != 0) {
                    *failed = again;
                    return Answer();
                }
                QMutexLocker lock(&m_mutex);
                renewed = m_token;
            }
            a = send(renewed);
        }
        return a;
    }

    std::string m_baseUrl;
    HttpSettings m_settings;
    // Set when the address may not be used at all: every call answers it.
    QString m_refusal;
    QMutex m_mutex;
    QByteArray m_token;
    QString m_name;
    QString m_password;
};

} // namespace

std::unique_ptr<CloudTransport> makeHttpTransport(const QString& baseUrl, const HttpSettings& settings)
{
    return std::make_unique<HttpTransport>(baseUrl, settings);
}

bool isLoopbackUrl(const QString& url)
{
    const QString host = QUrl(url.trimmed()).host().toLower();
    if (host == QLatin1String("localhost") || host.endsWith(QLatin1String(".localhost")))
        return true;
    if (host.contains(QLatin1Char(':'))) {
        // ::1 in any of its spellings.
        const QStringList groups = host.split(QLatin1Char(':'));
        for (int i = 0; i + 1 < groups.size(); ++i) {
            bool ok = true;
            if (!groups[i].isEmpty() && (groups[i].toUInt(&ok, 16) != 0 || !ok))
                return false;
        }
        bool ok = false;
        return groups.last().toUInt(&ok, 16) == 1 && ok;
    }
    const QStringList octets = host.split(QLatin1Char('.'));
    if (octets.size() != 4)
        return false;
    for (const QString& o : octets) {
        bool ok = false;
        if (o.toUInt(&ok, 10) > 255 || !ok)
            return false;
    }
    return octets.first().toUInt() == 127;
}

} // namespace clouddisk
