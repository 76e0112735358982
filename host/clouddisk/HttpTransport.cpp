// The host's way to clouddiskd: one HTTP client per request (so a long
// download never holds up the user-interface thread's browse requests), a
// bearer token from /login, and contents streamed between the server and the
// devices the channel opened on the host's disk.
#include "CloudHttp_p.h"
#include "CloudTransport.h"

#include <httplib.h>

#include <QIODevice>
#include <QJsonDocument>
#include <QMutex>
#include <QMutexLocker>
#include <QUrl>

#include <vector>

namespace clouddisk {

namespace {

QJsonObject failure(const QString& msg)
{
    return QJsonObject{{QStringLiteral("code"), 1}, {QStringLiteral("msg"), msg}};
}

QJsonObject parseObject(const std::string& body)
{
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(body));
    return doc.isObject() ? doc.object() : QJsonObject();
}

std::string compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

// Whether a body can be a JSON object, judged without reading it all.
bool looksLikeObject(const std::string& body)
{
    const size_t first = body.find_first_not_of(" \t\r\n");
    const size_t last = body.find_last_not_of(" \t\r\n");
    return first != std::string::npos && body[first] == '{' && body[last] == '}';
}

QString unreachable(httplib::Error error)
{
    return QStringLiteral("无法连接云盘服务（%1）").arg(QString::fromStdString(httplib::to_string(error)));
}

// The answer to a failed exchange: the server's JSON refusal when it sent
// one, else a message naming what went wrong.
QJsonObject answerOf(const httplib::Result& result)
{
    if (!result)
        return failure(unreachable(result.error()));
    const QJsonObject body = parseObject(result->body);
    if (!body.isEmpty())
        return body;
    return failure(QStringLiteral("云盘服务答复无效（HTTP %1）").arg(result->status));
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

class HttpTransport final : public CloudTransport
{
public:
    explicit HttpTransport(const QString& baseUrl)
        : m_baseUrl(baseUrl.trimmed().toStdString())
    {
        while (!m_baseUrl.empty() && m_baseUrl.back() == '/')
            m_baseUrl.pop_back();
    }

    LoginResult login(const QString& name, const QString& password) override
    {
        const http::NoBrokenPipeSignal quiet;
        LoginResult result;
        const QJsonObject answer = signIn(name, password);
        if (answer.value(QLatin1String("code")).toInt(-1) != 0) {
            result.message = answer.value(QLatin1String("msg")).toString();
            if (result.message.isEmpty())
                result.message = QStringLiteral("用户名或密码错误");
            return result;
        }
        result.ok = true;
        result.userId = qint64(answer.value(QLatin1String("userId")).toDouble(-1));
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
        auto client = makeClient();
        client->Post(http::kLogoutPath, authHeaders(token), std::string(), http::kJsonType);
    }

    QJsonObject request(const QJsonObject& envelope) override
    {
        const http::NoBrokenPipeSignal quiet;
        const std::string body = compact(envelope);
        return withSession([&](const QByteArray& token) {
            auto client = makeClient();
            return client->Post(http::kRequestPath, authHeaders(token), body, http::kJsonType);
        });
    }

    QByteArray requestBytes(const QJsonObject& envelope) override
    {
        const http::NoBrokenPipeSignal quiet;
        const std::string body = compact(envelope);
        QJsonObject failed;
        httplib::Result result = sendWithSession(
            [&](const QByteArray& token) {
                auto client = makeClient();
                return client->Post(http::kRequestPath, authHeaders(token), body, http::kJsonType);
            },
            &failed);
        // The server's answer goes on as it came; only a refusal of the
        // exchange itself is made into a reply here.
        if (failed.isEmpty() && result && result->status == 200 && looksLikeObject(result->body))
            return QByteArray::fromStdString(result->body);
        return QJsonDocument(failed.isEmpty() ? answerOf(result) : failed).toJson(QJsonDocument::Compact);
    }

    QJsonObject download(const QJsonObject& envelope, QIODevice* sink) override
    {
        const http::NoBrokenPipeSignal quiet;
        const std::string body = compact(withoutLocalPath(envelope));
        bool isContents = false;
        bool complete = false;
        bool sinkFailed = false;
        std::string refusal;
        // The library hands the contents over in small pieces; the sink
        // gets them gathered into large writes.
        QByteArray pending;
        pending.reserve(int(http::kChunk));
        auto flush = [&] {
            if (!pending.isEmpty() && sink->write(pending) != pending.size())
                sinkFailed = true;
            pending.resize(0);
            return !sinkFailed;
        };
        const QJsonObject answer = withSession([&](const QByteArray& token) {
            isContents = false;
            pending.resize(0);
            refusal.clear();
            httplib::Request req;
            req.method = "POST";
            req.path = http::kDownloadPath;
            req.headers = authHeaders(token);
            req.body = body;
            req.set_header("Content-Type", http::kJsonType);
            req.response_handler = [&](const httplib::Response& res) {
                isContents = res.status == 200 && res.get_header_value("Content-Type") == http::kContentsType;
                return true;
            };
            req.content_receiver = [&](const char* data, size_t size, uint64_t, uint64_t) {
                if (!isContents) {
                    // A refusal is a small JSON object; anything longer is not one.
                    refusal.append(data, size);
                    return qint64(refusal.size()) <= http::kMaxJsonBody;
                }
                pending.append(data, int(size));
                return pending.size() < http::kChunk || flush();
            };
            auto client = makeClient();
            auto res = std::make_unique<httplib::Response>();
            httplib::Error error = httplib::Error::Success;
            const bool sent = client->send(req, *res, error);
            complete = sent && (!isContents || flush());
            // The body went to the receivers; give answerOf the refusal text.
            res->body = refusal;
            return httplib::Result(sent ? std::move(res) : nullptr, error);
        });
        if (sinkFailed)
            return failure(QStringLiteral("下载的文件无法写入本地磁盘"));
        if (!isContents)
            return answer;
        if (!complete)
            return failure(QStringLiteral("下载中断，文件不完整"));
        return QJsonObject{{QStringLiteral("code"), 0}, {QStringLiteral("msg"), QString()}};
    }

    QJsonObject upload(const QJsonObject& envelope, QIODevice* source) override
    {
        const http::NoBrokenPipeSignal quiet;
        const std::string header = http::encodeEnvelopeHeader(withoutLocalPath(envelope)).toStdString();
        // The contents can be sent once only, so the session is checked (and
        // renewed if the server forgot it) before they go.
        const QJsonObject session = withSession([&](const QByteArray& token) {
            auto client = makeClient();
            return client->Post(http::kSessionPath, authHeaders(token), std::string(), http::kJsonType);
        });
        if (session.value(QLatin1String("code")).toInt(-1) != 0)
            return session;

        QByteArray token;
        {
            QMutexLocker lock(&m_mutex);
            token = m_token;
        }
        httplib::Headers headers = authHeaders(token);
        headers.emplace(http::kEnvelopeHeader, header);

        auto buffer = std::make_shared<std::vector<char>>(size_t(http::kChunk));
        bool sourceFailed = false;
        auto client = makeClient();
        httplib::Result result = [&] {
            if (!source->isSequential()) {
                const qint64 size = source->size() - source->pos();
                const qint64 start = source->pos();
                return client->Post(
                    http::kUploadPath, headers, size_t(size),
                    [&, start](size_t offset, size_t length, httplib::DataSink& out) {
                        const qint64 want = qMin<qint64>(qint64(length), qint64(buffer->size()));
                        const bool placed =
                            source->pos() == start + qint64(offset) || source->seek(start + qint64(offset));
                        const qint64 got = placed ? source->read(buffer->data(), want) : -1;
                        if (got <= 0) {
                            sourceFailed = true;
                            return false;
                        }
                        return out.write(buffer->data(), size_t(got));
                    },
                    http::kContentsType);
            }
            return client->Post(
                http::kUploadPath, headers,
                [&](size_t, httplib::DataSink& out) {
                    if (source->bytesAvailable() <= 0 && !source->atEnd())
                        source->waitForReadyRead(100);
                    const qint64 got = source->read(buffer->data(), qint64(buffer->size()));
                    if (got < 0) {
                        sourceFailed = true;
                        return false;
                    }
                    if (got == 0 && source->atEnd()) {
                        out.done();
                        return true;
                    }
                    return got == 0 || out.write(buffer->data(), size_t(got));
                },
                http::kContentsType);
        }();
        if (sourceFailed)
            return failure(QStringLiteral("要上传的文件无法读取"));
        return answerOf(result);
    }

private:
    std::unique_ptr<httplib::Client> makeClient() const
    {
        auto client = std::make_unique<httplib::Client>(m_baseUrl);
        client->set_connection_timeout(10, 0);
        // A large upload is answered only after the server has stored it.
        client->set_read_timeout(300, 0);
        client->set_write_timeout(60, 0);
        client->set_keep_alive(false);
        client->set_tcp_nodelay(true);
        return client;
    }

    static httplib::Headers authHeaders(const QByteArray& token)
    {
        httplib::Headers headers;
        if (!token.isEmpty())
            headers.emplace("Authorization", "Bearer " + token.toStdString());
        return headers;
    }

    QJsonObject signIn(const QString& name, const QString& password)
    {
        auto client = makeClient();
        const QJsonObject body{{QStringLiteral("name"), name}, {QStringLiteral("password"), password}};
        const httplib::Result result = client->Post(http::kLoginPath, compact(body), http::kJsonType);
        const QJsonObject answer = answerOf(result);
        const QByteArray token = answer.value(QLatin1String("token")).toString().toLatin1();
        if (answer.value(QLatin1String("code")).toInt(-1) != 0 || token.isEmpty())
            return answer.value(QLatin1String("code")).toInt(-1) != 0 ? answer
                                                                       : failure(QStringLiteral("云盘服务未给出登录凭据"));
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
        const httplib::Result result = sendWithSession(send, &failed);
        return failed.isEmpty() ? answerOf(result) : failed;
    }

    // Runs send(token); when the server no longer knows the token, signs in
    // again with the remembered credentials and runs it once more. *failed
    // is set when there is no session to send with.
    template <typename Send>
    httplib::Result sendWithSession(Send send, QJsonObject* failed)
    {
        QByteArray token;
        QString name, password;
        {
            QMutexLocker lock(&m_mutex);
            token = m_token;
            name = m_name;
            password = m_password;
        }
        if (token.isEmpty()) {
            *failed = failure(QStringLiteral("尚未登录云盘"));
            return httplib::Result(nullptr, httplib::Error::Unknown);
        }
        httplib::Result result = send(token);
        if (result && result->status == 401 && !name.isEmpty()) {
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
                    return httplib::Result(nullptr, httplib::Error::Unknown);
                }
                QMutexLocker lock(&m_mutex);
                renewed = m_token;
            }
            result = send(renewed);
        }
        return result;
    }

    std::string m_baseUrl;
    QMutex m_mutex;
    QByteArray m_token;
    QString m_name;
    QString m_password;
};

} // namespace

std::unique_ptr<CloudTransport> makeHttpTransport(const QString& baseUrl)
{
    return std::make_unique<HttpTransport>(baseUrl);
}

} // namespace clouddisk
