#include "LoginDesk.h"

#include <QDateTime>

#include <algorithm>
#include <chrono>

namespace clouddiskd {

namespace {

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

} // namespace

LoginDesk::LoginDesk(Check check, int workers, qint64 maxWaitMs, LoginThrottle::Limits limits)
    : m_check(std::move(check))
    , m_maxWaitMs(maxWaitMs)
    , m_throttle(limits)
{
    m_scheduler = std::thread([this] { schedule(); });
    for (int i = 0; i < std::max(1, workers); ++i)
        m_workers.emplace_back([this] { work(); });
}

LoginDesk::~LoginDesk()
{
    stop();
}

void LoginDesk::submit(const QString& name, const QString& password, const QByteArray& address, Done done)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_waiting.push_back(Attempt{name, password, address, nowMs(), std::move(done)});
    m_wakeScheduler.notify_one();
}

int LoginDesk::failures(const QString& name, const QByteArray& address) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_throttle.failures(name, address, nowMs());
}

void LoginDesk::schedule()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stopping) {
        const qint64 now = nowMs();
        qint64 nextLook = now + 1000;
        std::vector<Attempt> turnedAway;
        for (auto it = m_waiting.begin(); it != m_waiting.end();) {
            const qint64 due = m_throttle.notBefore(it->name, it->address, now);
            const bool busy = m_throttle.busy(it->name, it->address, now);
            if (!busy && due <= now) {
                m_throttle.started(it->name, it->address);
                m_ready.push_back(std::move(*it));
                it = m_waiting.erase(it);
                m_wakeWorkers.notify_one();
            } else if (m_throttle.failures(it->name, it->address, now) > 0 &&
                       std::max(due, now) > it->arrivedMs + m_maxWaitMs) {
                // Held back by failed guesses for longer than anyone waits.
                // (An attempt that only waits for a free thread keeps its
                // place: that is load, not guessing.)
                turnedAway.push_back(std::move(*it));
                it = m_waiting.erase(it);
            } else {
                if (!busy)
                    nextLook = std::min(nextLook, due);
                nextLook = std::min(nextLook, it->arrivedMs + m_maxWaitMs + 1);
                ++it;
            }
        }
        if (!turnedAway.empty()) {
            lock.unlock();
            for (const Attempt& a : turnedAway)
                a.done(Outcome{-1, true});
            lock.lock();
            continue;
        }
        m_wakeScheduler.wait_for(lock, std::chrono::milliseconds(std::max<qint64>(1, nextLook - now)));
    }
    // Stopping: whatever still waits is turned away.
    std::list<Attempt> left;
    left.swap(m_waiting);
    lock.unlock();
    for (const Attempt& a : left)
        a.done(Outcome{-1, true});
}

void LoginDesk::work()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_wakeWorkers.wait(lock, [this] { return m_stopping || !m_ready.empty(); });
        if (m_ready.empty())
            return;
        Attempt a = std::move(m_ready.front());
        m_ready.pop_front();
        if (m_stopping) {
            m_throttle.finished(a.name, a.address, true, nowMs());
            lock.unlock();
            a.done(Outcome{-1, true});
            lock.lock();
            continue;
        }
        lock.unlock();
        const qint64 userId = m_check(a.name, a.password);
        lock.lock();
        m_throttle.finished(a.name, a.address, userId >= 0, nowMs());
        m_wakeScheduler.notify_one();
        lock.unlock();
        a.done(Outcome{userId, false});
        lock.lock();
    }
}

void LoginDesk::stop()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_stopping && !m_scheduler.joinable())
            return;
        m_stopping = true;
    }
    m_wakeScheduler.notify_all();
    m_wakeWorkers.notify_all();
    if (m_scheduler.joinable())
        m_scheduler.join();
    for (std::thread& t : m_workers) {
        if (t.joinable())
            t.join();
    }
}

} // namespace clouddiskd
