#pragma once
// Where sign-ins wait and are checked. Password hashing is slow on purpose
// and a guessed-at name or address must wait its turn; neither may hold up
// the threads that serve everyone else's requests. So an attempt is handed
// over here, checked by a few threads of its own when LoginThrottle lets it,
// and its outcome handed back through a callback from one of those threads.
#include "LoginThrottle.h"

#include <QByteArray>
#include <QString>

#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace clouddiskd {

class LoginDesk
{
public:
    // The user's id when name and password match, else -1.
    using Check = std::function<qint64(const QString& name, const QString& password)>;
    struct Outcome
    {
        qint64 userId = -1;
        // Not checked: failed attempts before it held it back longer than
        // maxWaitMs, or the server is stopping.
        bool turnedAway = false;
    };
    using Done = std::function<void(const Outcome&)>;

    // An attempt held back by failed attempts (of its name or address) that
    // cannot be checked within maxWaitMs of its arrival is turned away
    // unchecked.
    LoginDesk(Check check, int workers, qint64 maxWaitMs = 20000,
              LoginThrottle::Limits limits = LoginThrottle::Limits());
    ~LoginDesk();

    // Never calls done before returning; done runs on a thread of the desk.
    void submit(const QString& name, const QString& password, const QByteArray& address, Done done);
    // Turns away what waits, lets what is being checked finish, and joins.
    void stop();

    int failures(const QString& name, const QByteArray& address) const;

private:
    struct Attempt
    {
        QString name;
        QString password;
        QByteArray address;
        qint64 arrivedMs = 0;
        Done done;
    };
    void schedule();
    void work();

    Check m_check;
    qint64 m_maxWaitMs;
    mutable std::mutex m_mutex;
    std::condition_variable m_wakeScheduler;
    std::condition_variable m_wakeWorkers;
    LoginThrottle m_throttle;
    std::list<Attempt> m_waiting;
    std::deque<Attempt> m_ready;
    bool m_stopping = false;
    std::thread m_scheduler;
    std::vector<std::thread> m_workers;
};

} // namespace clouddiskd
