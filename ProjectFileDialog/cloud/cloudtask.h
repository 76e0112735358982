#pragma once
// Cloud transfers run on the global thread pool while the user-interface
// thread keeps a progress window moving. The worker says it is done through
// a flag it writes under a mutex; the user-interface thread only looks at
// the flag between two steps of its loop and never takes the lock, so a
// worker holding it cannot stall the progress window.
#include <QMutex>
#include <QMutexLocker>

#include <atomic>

namespace pfd {
namespace cloud {

class DoneFlag
{
public:
    void set()
    {
        QMutexLocker lock(&m_mutex);
        m_done.store(true);
    }
    // Read without the lock (an atomic read: no torn or stale-forever value).
    bool isSet() const { return m_done.load(); }
    // The lock the worker writes under.
    QMutex* mutex() { return &m_mutex; }

private:
    QMutex m_mutex;
    std::atomic<bool> m_done{false};
};

// Lets events (painting, timers, input) run for about ms milliseconds.
void letEventsRun(int ms);

} // namespace cloud
} // namespace pfd
