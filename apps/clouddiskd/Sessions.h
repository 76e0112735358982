#pragma once
// Session tokens of clouddiskd: issued at /login, presented as bearer tokens.
// They live in the server's memory only, so a restart signs everyone out (the
// host's transport signs in again by itself). Safe from several threads.
#include <QByteArray>
#include <QHash>
#include <QMutex>

namespace clouddiskd {

class Sessions
{
public:
    // Tokens unused for this long are forgotten.
    static constexpr qint64 kIdleLimitMs = 24LL * 60 * 60 * 1000;
    // Past this many live sessions the least recently used one goes.
    static constexpr int kMaxSessions = 10000;

    // A fresh random token (64 hex characters) for userId.
    QByteArray issue(qint64 userId);
    // The token's user, or -1 for an unknown or expired token. A use keeps
    // the session alive.
    qint64 userFor(const QByteArray& token);
    void drop(const QByteArray& token);

private:
    struct Session
    {
        qint64 userId;
        qint64 lastUsedMs;
    };
    void dropExpired(qint64 nowMs);

    QMutex m_mutex;
    QHash<QByteArray, Session> m_sessions;
};

} // namespace clouddiskd
