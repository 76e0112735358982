// The store's connection pool: a bounded set of database connections, each
// held by one thread at a time, from the thread's first use of the store to
// the thread's end.
#include "clouddisk_store_p.h"

#include <QCoreApplication>
#include <QSqlDriver>

#include <condition_variable>
#include <mutex>
#include <vector>

namespace clouddisk {
namespace store {

namespace {
// How long a thread waits for a connection when all are held.
constexpr int kWaitMs = 30000;
} // namespace

class Pool
{
public:
    using Opener = std::function<QSqlDatabase(const QString& name)>;

    Pool(QString tag, Opener opener, int limit)
        : m_tag(std::move(tag))
        , m_opener(std::move(opener))
        , m_limit(limit)
    {
    }

    ~Pool()
    {
        std::vector<QString> names;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_idle.clear();
            names.swap(m_names);
        }
        // After the application object has gone (a service kept until the
        // process ends) Qt SQL's own registry may have gone too: the process
        // is ending, the connections go with it.
        if (!QCoreApplication::instance())
            return;
        for (const QString& name : names)
            QSqlDatabase::removeDatabase(name);
    }

    // An idle connection, a new one below the limit, or the first one given
    // back within the wait; a connection that is not open otherwise.
    QSqlDatabase take()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        const auto ready = [this] { return !m_idle.empty() || m_open < m_limit; };
        if (!m_cond.wait_for(lock, std::chrono::milliseconds(kWaitMs), ready))
            return QSqlDatabase();
        if (!m_idle.empty()) {
            QSqlDatabase db = std::move(m_idle.back());
            m_idle.pop_back();
            return db;
        }
        ++m_open;
        const QString name = QStringLiteral("%1-%2").arg(m_tag).arg(++m_counter);
        lock.unlock();
        QSqlDatabase db = m_opener(name);
        lock.lock();
        if (!db.isOpen()) {
            --m_open;
            lock.unlock();
            m_cond.notify_one();
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(name);
            return QSqlDatabase();
        }
        // No thread owns it: whichever thread holds it uses it, one at a time.
        if (db.driver())
            db.driver()->moveToThread(nullptr);
        m_names.push_back(name);
        return db;
    }

    void giveBack(QSqlDatabase db)
    {
        QString closed;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_open <= m_limit) {
                m_idle.push_back(std::move(db));
            } else {
                // The limit was lowered meanwhile.
                --m_open;
                closed = db.connectionName();
                m_names.erase(std::remove(m_names.begin(), m_names.end(), closed), m_names.end());
            }
        }
        if (!closed.isEmpty()) {
            db.close();
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(closed);
        }
        m_cond.notify_one();
    }

    void setLimit(int limit)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_limit = qMax(1, limit);
            while (m_open > m_limit && !m_idle.empty()) {
                QSqlDatabase db = std::move(m_idle.back());
                m_idle.pop_back();
                --m_open;
                const QString name = db.connectionName();
                m_names.erase(std::remove(m_names.begin(), m_names.end(), name), m_names.end());
                db.close();
                db = QSqlDatabase();
                QSqlDatabase::removeDatabase(name);
            }
        }
        m_cond.notify_all();
    }

    int limit() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_limit;
    }

    int open() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_open;
    }

private:
    const QString m_tag;
    const Opener m_opener;
    mutable std::mutex m_mutex;
    std::condition_variable m_cond;
    std::vector<QSqlDatabase> m_idle;
    std::vector<QString> m_names;
    int m_limit;
    int m_open = 0;
    int m_counter = 0;
};

namespace {

// What this thread holds, one connection per pool; given back when the
// thread ends.
struct Holdings
{
    struct Held
    {
        std::weak_ptr<Pool> pool;
        const Pool* key;
        QSqlDatabase db;
    };
    std::vector<Held> items;

    ~Holdings();

    Held* find(const Pool* key)
    {
        for (Held& h : items) {
            if (h.key == key && !h.pool.expired())
                return &h;
        }
        return nullptr;
    }

    // Forgets what belonged to pools that have gone.
    void prune()
    {
        items.erase(std::remove_if(items.begin(), items.end(), [](const Held& h) { return h.pool.expired(); }),
                    items.end());
    }
};

thread_local Holdings t_holdings;
// Set once this thread's holdings are gone. A service that outlives them
// (one held by a static of the main thread, destroyed by exit() after the
// thread's own destructors ran) then has nothing held to give back, and the
// holdings must not be touched again. Trivially destructible, so it is still
// there when they are not.
thread_local bool t_holdingsGone = false;

Holdings::~Holdings()
{
    t_holdingsGone = true;
    for (Held& h : items) {
        if (std::shared_ptr<Pool> p = h.pool.lock())
            p->giveBack(std::move(h.db));
    }
}

} // namespace

std::shared_ptr<Pool> makePool(const QString& tag, std::function<QSqlDatabase(const QString&)> opener, int limit)
{
    return std::make_shared<Pool>(tag, std::move(opener), qMax(1, limit));
}

QSqlDatabase heldConnection(const std::shared_ptr<Pool>& pool)
{
    if (t_holdingsGone)
        return pool->take();
    if (Holdings::Held* h = t_holdings.find(pool.get()))
        return h->db;
    t_holdings.prune();
    QSqlDatabase db = pool->take();
    if (db.isOpen())
        t_holdings.items.push_back(Holdings::Held{pool, pool.get(), db});
    return db;
}

void releaseHeld(const std::shared_ptr<Pool>& pool)
{
    if (t_holdingsGone)
        return;
    for (auto it = t_holdings.items.begin(); it != t_holdings.items.end(); ++it) {
        if (it->key == pool.get()) {
            QSqlDatabase db = std::move(it->db);
            t_holdings.items.erase(it);
            pool->giveBack(std::move(db));
            return;
        }
    }
}

void setPoolLimit(Pool& pool, int limit)
{
    pool.setLimit(limit);
}

int poolLimit(const Pool& pool)
{
    return pool.limit();
}

int poolOpen(const Pool& pool)
{
    return pool.open();
}

} // namespace store
} // namespace clouddisk
