#pragma once
// A limit on how long a request may take to arrive. The HTTP library's own
// idle limit restarts with every byte, so a client sending one byte a second
// would hold its connection for ever; here a connection gets a fixed time
// from its opening (or from the end of its previous request) until its
// request's head is complete, and is shut down when it runs over. The body
// is watched by the server itself, which sees every piece of it.
//
// The watch shuts a connection's socket down from its own thread; the
// library closes that socket only after it said the connection ended
// (forget()), and both happen under one lock, so a socket number that was
// reused is never touched.
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <unordered_map>

namespace clouddiskd {

class ArrivalWatch
{
public:
    explicit ArrivalWatch(std::chrono::milliseconds limit);
    ~ArrivalWatch();

    // The next request's head on this connection is due within the limit.
    void expect(const void* connection, int socket);
    // The head arrived: no limit until expect() again.
    void arrived(const void* connection);
    // The connection ended; its socket is about to be closed.
    void forget(const void* connection);

    // Connections shut down so far for running over.
    long long overdue() const;

private:
    void run();

    using Clock = std::chrono::steady_clock;
    struct Entry
    {
        int socket;
        Clock::time_point due;
    };
    const std::chrono::milliseconds m_limit;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::unordered_map<const void*, Entry> m_waiting;
    long long m_overdue = 0;
    bool m_stopping = false;
    std::thread m_thread;
};

} // namespace clouddiskd
