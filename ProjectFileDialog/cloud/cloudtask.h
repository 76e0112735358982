#pragma once
// Cloud transfers run on the global thread pool while the user-interface
// thread keeps a progress window moving. The worker says it is done through
// a flag under a mutex; the user-interface thread lets events run between
// two looks at it.
#include <QMutex>
#include <QMutexLocker>

namespace pfd {
namespace cloud {

class DoneFlag
{
public:
    void set()
    {
        QMutexLocker lock(&m_mutex);
        m_done = true;
    }
    bool isSet()
    {
        QMutexLocker lock(&m_mutex);
        return m_done;
    }

private:
    QMutex m_mutex;
    bool m_done = false;
};

// Lets events (painting, timers, input) run for about ms milliseconds.
void letEventsRun(int ms);

} // namespace cloud
} // namespace pfd
