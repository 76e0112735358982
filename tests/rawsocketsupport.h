#pragma once
// Plain sockets for the clouddiskd load tests: connections from a chosen
// loopback address (all of 127.0.0.0/8 reaches the server on 127.0.0.1, so
// each address plays another machine), a request written by hand, and the
// answer read back, with nothing of an HTTP library in between.
#include <QByteArray>
#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace rawsocket {

// A connected socket to 127.0.0.1:port from `from`, or -1.
inline int connectFrom(int port, const char* from = "127.0.0.1")
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    sockaddr_in local{};
    local.sin_family = AF_INET;
    ::inet_pton(AF_INET, from, &local.sin_addr);
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(quint16(port));
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0 ||
        ::connect(fd, reinterpret_cast<sockaddr*>(&server), sizeof server) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

inline bool sendAll(int fd, const QByteArray& bytes)
{
    qint64 sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(fd, bytes.constData() + sent, size_t(bytes.size() - sent), MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        sent += n;
    }
    return true;
}

inline QByteArray post(const QByteArray& path, const QByteArray& body, const QByteArray& extraHeaders = {})
{
    return "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\nContent-Length: " +
           QByteArray::number(body.size()) + "\r\n" + extraHeaders + "\r\n" + body;
}

// Reads one answer (head and a body of Content-Length bytes) within
// timeoutMs; its JSON body, or an empty object when none came.
inline QJsonObject readAnswer(int fd, int timeoutMs, int* status = nullptr)
{
    QByteArray got;
    QDeadlineTimer deadline(timeoutMs);
    static const QRegularExpression length(QStringLiteral("(?i)content-length:\\s*(\\d+)"));
    static const QRegularExpression code(QStringLiteral("^HTTP/1\\.\\d (\\d+)"));
    for (;;) {
        const int head = got.indexOf("\r\n\r\n");
        if (head >= 0) {
            const QString headText = QString::fromLatin1(got.left(head));
            const auto m = length.match(headText);
            const int want = m.hasMatch() ? m.captured(1).toInt() : 0;
            if (got.size() - head - 4 >= want) {
                if (status)
                    *status = code.match(headText).captured(1).toInt();
                return QJsonDocument::fromJson(got.mid(head + 4, want)).object();
            }
        }
        pollfd p{fd, POLLIN, 0};
        const int left = int(deadline.remainingTime());
        if (left <= 0 || ::poll(&p, 1, left) <= 0)
            return {};
        char buf[65536];
        const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n <= 0)
            return {};
        got.append(buf, int(n));
    }
}

// Whether the server closed the connection within timeoutMs (what it sent
// before closing is read and dropped).
inline bool closedWithin(int fd, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        pollfd p{fd, POLLIN, 0};
        const int left = int(deadline.remainingTime());
        if (left <= 0 || ::poll(&p, 1, left) <= 0)
            return false;
        char buf[4096];
        const ssize_t n = ::recv(fd, buf, sizeof buf, MSG_DONTWAIT);
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK))
            return true;
    }
}

// One request on a fresh connection from `from`; the JSON answer.
inline QJsonObject exchange(int port, const QByteArray& request, const char* from = "127.0.0.1",
                            int timeoutMs = 10000, int* status = nullptr)
{
    const int fd = connectFrom(port, from);
    if (fd < 0)
        return {};
    QJsonObject answer;
    if (sendAll(fd, request))
        answer = readAnswer(fd, timeoutMs, status);
    ::close(fd);
    return answer;
}

} // namespace rawsocket
