#include "ArrivalWatch.h"

#include <sys/socket.h>

namespace clouddiskd {

ArrivalWatch::ArrivalWatch(std::chrono::milliseconds limit)
    : m_limit(limit)
{
    m_thread = std::thread([this] { run(); });
}

ArrivalWatch::~ArrivalWatch()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

void ArrivalWatch::expect(const void* connection, int socket)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_waiting[connection] = Entry{socket, Clock::now() + m_limit};
}

void ArrivalWatch::arrived(const void* connection)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_waiting.erase(connection);
}

void ArrivalWatch::forget(const void* connection)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_waiting.erase(connection);
}

long long ArrivalWatch::overdue() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_overdue;
}

void ArrivalWatch::run()
{
    // Looked over a few times a second: a limit of seconds needs no more.
    const auto step = std::min<std::chrono::milliseconds>(std::chrono::milliseconds(250), m_limit / 4 + std::chrono::milliseconds(1));
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stopping) {
        m_wake.wait_for(lock, step);
        const Clock::time_point now = Clock::now();
        for (auto it = m_waiting.begin(); it != m_waiting.end();) {
            if (it->second.due <= now) {
                // The library sees the end of the stream and closes it.
                ::shutdown(it->second.socket, SHUT_RDWR);
                ++m_overdue;
                it = m_waiting.erase(it);
            } else {
                ++it;
            }
        }
    }
}

} // namespace clouddiskd
