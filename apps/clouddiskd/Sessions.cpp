#include "Sessions.h"

#include <QDateTime>
#include <QMutexLocker>
#include <QRandomGenerator>

namespace clouddiskd {

QByteArray Sessions::issue(qint64 userId)
{
    // 256 bits from the system's source of randomness.
    quint32 words[8];
    QRandomGenerator::system()->fillRange(words);
    const QByteArray token =
        QByteArray(reinterpret_cast<const char*>(words), int(sizeof words)).toHex();

    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    QMutexLocker lock(&m_mutex);
    if (m_sessions.size() >= kMaxSessions) {
        dropExpired(now);
        if (m_sessions.size() >= kMaxSessions) {
            auto oldest = m_sessions.begin();
            for (auto it = m_sessions.begin(); it != m_sessions.end(); ++it) {
                if (it->lastUsedMs < oldest->lastUsedMs)
                    oldest = it;
            }
            m_sessions.erase(oldest);
        }
    }
    m_sessions.insert(token, Session{userId, now});
    return token;
}

qint64 Sessions::userFor(const QByteArray& token)
{
    if (token.isEmpty())
        return -1;
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    QMutexLocker lock(&m_mutex);
    const auto it = m_sessions.find(token);
    if (it == m_sessions.end())
        return -1;
    if (now - it->lastUsedMs > kIdleLimitMs) {
        m_sessions.erase(it);
        return -1;
    }
    it->lastUsedMs = now;
    return it->userId;
}

void Sessions::drop(const QByteArray& token)
{
    QMutexLocker lock(&m_mutex);
    m_sessions.remove(token);
}

void Sessions::dropExpired(qint64 nowMs)
{
    for (auto it = m_sessions.begin(); it != m_sessions.end();) {
        if (nowMs - it->lastUsedMs > kIdleLimitMs)
            it = m_sessions.erase(it);
        else
            ++it;
    }
}

} // namespace clouddiskd
