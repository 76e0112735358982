#pragma once
// The wire forms shared by clouddiskd and the HTTP transport. Operators'
// scripts rely on the first two; the content routes are the transport's own.
//
//   POST /login               {"name","password"} -> {"code":0,"token","userId"}
//                             or a non-zero "code" and "msg", no token
//   POST /logout              Authorization: Bearer TOKEN -> {"code":0}
//   POST /session             Authorization: Bearer TOKEN -> {"code":0,"userId"}
//                             (a cheap check before streaming an upload)
//   POST /clouddisk           Authorization: Bearer TOKEN, body: an envelope
//                             -> the method's reply
//   POST /clouddisk/download  body: a download envelope -> the contents as
//                             application/octet-stream, or a JSON refusal
//   POST /clouddisk/upload    X-Cloud-Envelope: the upload-file envelope,
//                             base64url; body: the contents (streamed)
//                             -> the method's reply
//
// Every JSON answer carries "code" (0 = success) and, on failure, "msg".
// A missing, unknown or expired token answers HTTP 401 with a JSON refusal,
// so the transport knows to sign in again.
#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <functional>

#ifndef _WIN32
#include <csignal>
#include <ctime>
#include <pthread.h>
#endif

namespace clouddisk::http {

inline constexpr char kLoginPath[] = "/login";
inline constexpr char kLogoutPath[] = "/logout";
inline constexpr char kSessionPath[] = "/session";
inline constexpr char kRequestPath[] = "/clouddisk";
inline constexpr char kDownloadPath[] = "/clouddisk/download";
inline constexpr char kUploadPath[] = "/clouddisk/upload";
inline constexpr char kEnvelopeHeader[] = "X-Cloud-Envelope";
inline constexpr char kJsonType[] = "application/json; charset=utf-8";
inline constexpr char kContentsType[] = "application/octet-stream";

// An envelope or login body is small; anything larger is refused unread.
inline constexpr qint64 kMaxJsonBody = 1 << 20;

inline QByteArray encodeEnvelopeHeader(const QJsonObject& envelope)
{
    return QJsonDocument(envelope).toJson(QJsonDocument::Compact).toBase64(
        QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

// The envelope carried in the upload header; an empty object when the
// header is not base64url of a JSON object.
inline QJsonObject decodeEnvelopeHeader(const QByteArray& header)
{
    const auto decoded = QByteArray::fromBase64Encoding(
        header, QByteArray::Base64UrlEncoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return {};
    const QJsonDocument doc = QJsonDocument::fromJson(*decoded);
    return doc.isObject() ? doc.object() : QJsonObject();
}

// Gathers the pieces an HTTP library hands over (libcurl passes 16 KB at a
// time, a socket read gives what has arrived) into writes of about `size`
// bytes, so the disk sees few large writes. A piece that is large by itself
// goes straight through.
class GatheredWrites
{
public:
    using Write = std::function<bool(const char*, qint64)>;

    GatheredWrites(qint64 size, Write write)
        : m_size(size)
        , m_write(std::move(write))
    {
    }

    // False once a write failed.
    bool add(const char* data, qint64 size)
    {
        if (m_pending.isEmpty() && size >= m_size)
            return m_write(data, size);
        if (m_pending.capacity() < m_size)
            m_pending.reserve(int(m_size));
        m_pending.append(data, int(size));
        return m_pending.size() < m_size || flush();
    }

    // Writes what is still held; false when that fails.
    bool flush()
    {
        const bool written = m_pending.isEmpty() || m_write(m_pending.constData(), m_pending.size());
        m_pending.resize(0);
        return written;
    }

private:
    qint64 m_size;
    Write m_write;
    QByteArray m_pending;
};

// While alive, a write to a connection the peer closed fails with an error
// instead of raising SIGPIPE, which would end the whole host process. Only the
// calling thread is affected; the process's own signal handling is untouched.
class NoBrokenPipeSignal
{
public:
#ifndef _WIN32
    NoBrokenPipeSignal()
    {
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_pipe, &m_previous);
    }
    ~NoBrokenPipeSignal()
    {
        // Swallow the signal our own writes left pending, then unblock.
        const timespec zero{0, 0};
        while (sigtimedwait(&m_pipe, nullptr, &zero) > 0) {
        }
        pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
    }

private:
    sigset_t m_pipe;
    sigset_t m_previous;
#endif
    NoBrokenPipeSignal(const NoBrokenPipeSignal&) = delete;
    NoBrokenPipeSignal& operator=(const NoBrokenPipeSignal&) = delete;
};

} // namespace clouddisk::http
