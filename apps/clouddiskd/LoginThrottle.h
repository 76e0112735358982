#pragma once
// Bookkeeping that slows password guessing: failed sign-ins are counted per
// name and per address, and the next attempt for a counted key waits
// base * 2^(failures - 1), at most a cap. Attempts for one name, and for an
// address with failures, are checked one at a time, so guessing in parallel
// gains nothing. No
// threads and no clock of its own: callers pass the time and hold a lock.
#include <QByteArray>
#include <QHash>
#include <QString>

namespace clouddiskd {

struct LoginLimits
{
    qint64 baseDelayMs = 500;
    qint64 maxDelayMs = 16000;
    // Failures older than this are forgotten.
    qint64 forgetMs = 15LL * 60 * 1000;
    // Keys kept at most; past it the stalest are dropped.
    int maxKeys = 100000;
};

class LoginThrottle
{
public:
    using Limits = LoginLimits;

    explicit LoginThrottle(Limits limits = Limits());

    // The wait after `failures` failed attempts in a row.
    static qint64 delayAfter(int failures, const Limits& limits);

    // The earliest time (ms) an attempt by name from address may be checked.
    qint64 notBefore(const QString& name, const QByteArray& address, qint64 nowMs) const;
    // Whether an attempt must wait for one of its keys' attempts now being
    // checked.
    bool busy(const QString& name, const QByteArray& address, qint64 nowMs) const;
    void started(const QString& name, const QByteArray& address);
    // A success clears the name's count; the address's count stays, so an
    // account of one's own cannot wipe the traces of guessing at others.
    void finished(const QString& name, const QByteArray& address, bool succeeded, qint64 nowMs);

    int failures(const QString& name, const QByteArray& address, qint64 nowMs) const;
    int keys() const { return int(m_keys.size()); }
    const Limits& limits() const { return m_limits; }

private:
    struct Key
    {
        int failures = 0;
        qint64 lastFailureMs = 0;
        int inFlight = 0;
    };
    static QString nameKey(const QString& name);
    static QString addressKey(const QByteArray& address);
    int liveFailures(const Key& k, qint64 nowMs) const;
    qint64 notBefore(const QString& key, qint64 nowMs) const;
    bool busy(const QString& key, int freeInFlight, qint64 nowMs) const;
    static constexpr int kAddressInFlight = 4;
    void finished(const QString& key, bool clear, bool failed, qint64 nowMs);
    void trim(qint64 nowMs);

    Limits m_limits;
    QHash<QString, Key> m_keys;
};

} // namespace clouddiskd
