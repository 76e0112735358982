#include "LoginThrottle.h"

#include <algorithm>
#include <vector>

namespace clouddiskd {

LoginThrottle::LoginThrottle(Limits limits)
    : m_limits(limits)
{
}

qint64 LoginThrottle::delayAfter(int failures, const Limits& limits)
{
    if (failures <= 0)
        return 0;
    const int shift = std::min(failures - 1, 30);
    return std::min(limits.maxDelayMs, limits.baseDelayMs << shift);
}

QString LoginThrottle::nameKey(const QString& name)
{
    return QLatin1String("n:") + name;
}

QString LoginThrottle::addressKey(const QByteArray& address)
{
    return QLatin1String("a:") + QString::fromLatin1(address.toHex());
}

int LoginThrottle::liveFailures(const Key& k, qint64 nowMs) const
{
    return nowMs - k.lastFailureMs > m_limits.forgetMs ? 0 : k.failures;
}

qint64 LoginThrottle::notBefore(const QString& key, qint64 nowMs) const
{
    const auto it = m_keys.constFind(key);
    if (it == m_keys.constEnd())
        return 0;
    const int f = liveFailures(*it, nowMs);
    return f == 0 ? 0 : it->lastFailureMs + delayAfter(f, m_limits);
}

qint64 LoginThrottle::notBefore(const QString& name, const QByteArray& address, qint64 nowMs) const
{
    return std::max({nowMs, notBefore(nameKey(name), nowMs), notBefore(addressKey(address), nowMs)});
}

bool LoginThrottle::busy(const QString& key, int freeInFlight, qint64 nowMs) const
{
    const auto it = m_keys.constFind(key);
    if (it == m_keys.constEnd() || it->inFlight == 0)
        return false;
    return liveFailures(*it, nowMs) > 0 || it->inFlight >= freeInFlight;
}

bool LoginThrottle::busy(const QString& name, const QByteArray& address, qint64 nowMs) const
{
    // One name is checked once at a time even before it failed, so that a
    // burst of guesses sent at once is taken one by one; an address shared
    // by an office's machines has a few at once until it fails.
    return busy(nameKey(name), 1, nowMs) || busy(addressKey(address), kAddressInFlight, nowMs);
}

void LoginThrottle::started(const QString& name, const QByteArray& address)
{
    ++m_keys[nameKey(name)].inFlight;
    ++m_keys[addressKey(address)].inFlight;
}

void LoginThrottle::finished(const QString& key, bool clear, bool failed, qint64 nowMs)
{
    auto it = m_keys.find(key);
    if (it == m_keys.end())
        return;
    it->inFlight = std::max(0, it->inFlight - 1);
    if (clear) {
        it->failures = 0;
    } else if (failed) {
        it->failures = liveFailures(*it, nowMs) + 1;
        it->lastFailureMs = nowMs;
    }
    if (it->inFlight == 0 && liveFailures(*it, nowMs) == 0)
        m_keys.erase(it);
}

void LoginThrottle::finished(const QString& name, const QByteArray& address, bool succeeded, qint64 nowMs)
{
    finished(nameKey(name), succeeded, !succeeded, nowMs);
    finished(addressKey(address), false, !succeeded, nowMs);
    if (m_keys.size() > m_limits.maxKeys)
        trim(nowMs);
}

int LoginThrottle::failures(const QString& name, const QByteArray& address, qint64 nowMs) const
{
    int most = 0;
    for (const QString& key : {nameKey(name), addressKey(address)}) {
        const auto it = m_keys.constFind(key);
        if (it != m_keys.constEnd())
            most = std::max(most, liveFailures(*it, nowMs));
    }
    return most;
}

void LoginThrottle::trim(qint64 nowMs)
{
    // Forgotten ones first, then the stalest of the rest.
    for (auto it = m_keys.begin(); it != m_keys.end();) {
        if (it->inFlight == 0 && liveFailures(*it, nowMs) == 0)
            it = m_keys.erase(it);
        else
            ++it;
    }
    if (m_keys.size() <= m_limits.maxKeys)
        return;
    // Down to nine tenths in one pass, so a flood of names costs one sort
    // now and then rather than a scan per attempt.
    std::vector<std::pair<qint64, QString>> idle;
    for (auto it = m_keys.cbegin(); it != m_keys.cend(); ++it) {
        if (it->inFlight == 0)
            idle.emplace_back(it->lastFailureMs, it.key());
    }
    const size_t drop = std::min(idle.size(), size_t(m_keys.size() - m_limits.maxKeys * 9 / 10));
    std::nth_element(idle.begin(), idle.begin() + drop, idle.end());
    for (size_t i = 0; i < drop; ++i)
        m_keys.remove(idle[i].second);
}

} // namespace clouddiskd
