#include "clouddisk_store_p.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSet>
#include <QRegularExpression>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>
#include <QUrl>
#include <QUrlQuery>
#include <QVector>

#include <atomic>

#ifdef Q_OS_LINUX
#include <cerrno>
#include <unistd.h>
#endif
#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <cerrno>
#include <csignal>
#endif

namespace clouddisk {
namespace store {

namespace {

// Whether a process of that id runs on this machine.
bool processRuns(qint64 pid)
{
    if (pid <= 0)
        return false;
#ifdef Q_OS_WIN
    HANDLE h = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, DWORD(pid));
    if (!h)
        return GetLastError() == ERROR_ACCESS_DENIED;
    DWORD code = 0;
    const bool running = GetExitCodeProcess(h, &code) && code == STILL_ACTIVE;
    CloseHandle(h);
    return running;
#else
    return ::kill(pid_t(pid), 0) == 0 || errno == EPERM;
#endif
}

std::atomic<int> g_dbCounter{0};

// Enough for the embedded service's threads; a server sets its own.
constexpr int kDefaultConnections = 16;

} // namespace

QString randomHex(int bytes)
{
    QByteArray raw(bytes, Qt::Uninitialized);
    QRandomGenerator* gen = QRandomGenerator::system();
    for (int i = 0; i < bytes; ++i)
        raw[i] = char(gen->bounded(256));
    return QString::fromLatin1(raw.toHex());
}

QString now()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

qint64 parseId(const QString& text)
{
    if (text.isEmpty() || text.size() > 18)
        return -1;
    for (const QChar c : text) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return -1;
    }
    const qint64 id = text.toLongLong();
    return id > 0 ? id : -1;
}

qint64 copyFileData(int from, int to)
{
#if defined(Q_OS_LINUX)
    qint64 total = 0;
    for (;;) {
        const ssize_t n = ::copy_file_range(from, nullptr, to, nullptr, 1 << 30, 0);
        if (n > 0) {
            total += n;
            continue;
        }
        if (n == 0)
            return total > 0 ? total : -1; // nothing, or a file the kernel cannot copy (/proc): read it instead
        if (errno == EINTR)
            continue;
        // Not supported between these two (other file systems, old kernel):
        // only a clean fallback when nothing has been copied yet.
        return total == 0 && (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP)
                   ? -1
                   : -2;
    }
#else
    Q_UNUSED(from)
    Q_UNUSED(to)
    return -1;
#endif
}

namespace {

bool isPostgres(const QSqlQuery& q)
{
    return q.driver() && q.driver()->dbmsType() == QSqlDriver::PostgreSQL;
}

// The statement as PostgreSQL spells it. Computed once per text.
QString forPostgres(const QString& sql)
{
    static QMutex mutex;
    static QHash<QString, QString> done;
    QMutexLocker lock(&mutex);
    const auto it = done.constFind(sql);
    if (it != done.constEnd())
        return *it;
    static const QRegularExpression user(QStringLiteral("(?<![\\w\"])user(?![\\w\"])"));
    QString out = sql;
    out.replace(user, QStringLiteral("\"user\""));
    if (out.startsWith(QLatin1String("INSERT OR IGNORE INTO "))) {
        out.replace(0, int(qstrlen("INSERT OR IGNORE INTO ")), QStringLiteral("INSERT INTO "));
        out += QStringLiteral(" ON CONFLICT DO NOTHING");
    }
    done.insert(sql, out);
    return out;
}

// Another transaction changed what this one read or wrote: running it
// again sees the other's outcome.
void noteFailure(const QSqlError& error)
{
    const QString state = error.nativeErrorCode();
    if (state == QLatin1String("40001") || state == QLatin1String("40P01") || state == QLatin1String("23505"))
        conflictSeen() = true;
}

} // namespace

bool& conflictSeen()
{
    static thread_local bool seen = false;
    return seen;
}

void pauseBeforeRetry(int attempt)
{
    // Random, growing pauses keep two servers from meeting again at once.
    const int ceiling = qMin(200, 5 << qMin(attempt, 5));
    QThread::msleep(ulong(QRandomGenerator::global()->bounded(1, ceiling)));
}

bool exec(QSqlQuery& q, const QString& sql, const QVariantList& values)
{
    if (!q.prepare(isPostgres(q) ? forPostgres(sql) : sql))
        return noteFailure(q.lastError()), false;
    for (const QVariant& v : values)
        q.addBindValue(v);
    if (q.exec())
        return true;
    noteFailure(q.lastError());
    return false;
}

qint64 insert(QSqlQuery& q, const QString& sql, const QVariantList& values)
{
    if (isPostgres(q))
        return exec(q, sql + QStringLiteral(" RETURNING id"), values) && q.next() ? q.value(0).toLongLong() : -1;
    return exec(q, sql, values) ? q.lastInsertId().toLongLong() : -1;
}

// --- Location ---------------------------------------------------------------------

bool parseLocation(const QString& url, Location* out, QString* error)
{
    const auto fail = [error, &url](const QString& why) {
        if (error)
            *error = QStringLiteral("%1: %2 (want postgresql://USER@HOST:PORT/DBNAME)").arg(url, why);
        return false;
    };
    static const QRegularExpression form(QStringLiteral(
        "^(?:postgresql|postgres)://(?:([^:@/?]*)(?::([^@/?]*))?@)?([^/?]*)/([^?]+)(?:\\?(.*))?$"));
    const QRegularExpressionMatch m = form.match(url);
    if (!m.hasMatch())
        return fail(QStringLiteral("not a database URL"));
    Location loc;
    loc.postgres = true;
    loc.user = QUrl::fromPercentEncoding(m.captured(1).toUtf8());
    loc.password = QUrl::fromPercentEncoding(m.captured(2).toUtf8());
    QString hostPort = m.captured(3);
    // The port follows the last colon, unless that colon is inside
    // [an IPv6 address].
    const int colon = hostPort.lastIndexOf(QLatin1Char(':'));
    if (colon >= 0 && colon > hostPort.lastIndexOf(QLatin1Char(']'))) {
        bool ok = false;
        loc.port = hostPort.mid(colon + 1).toInt(&ok);
        if (!ok || loc.port <= 0 || loc.port > 65535)
            return fail(QStringLiteral("bad port"));
        hostPort.truncate(colon);
    }
    if (hostPort.startsWith(QLatin1Char('[')) && hostPort.endsWith(QLatin1Char(']')))
        hostPort = hostPort.mid(1, hostPort.size() - 2);
    loc.host = QUrl::fromPercentEncoding(hostPort.toUtf8());
    loc.database = QUrl::fromPercentEncoding(m.captured(4).toUtf8());
    if (loc.database.isEmpty() || loc.database.contains(QLatin1Char('/')))
        return fail(QStringLiteral("bad database name"));
    QStringList options;
    const QUrlQuery query(m.captured(5));
    for (const auto& item : query.queryItems(QUrl::FullyDecoded)) {
        if (item.first == QLatin1String("host"))
            loc.host = item.second;
        else if (item.first == QLatin1String("port"))
            loc.port = item.second.toInt();
        else if (item.first.contains(QLatin1Char(';')) || item.second.contains(QLatin1Char(';'))
                 || item.first.contains(QLatin1Char('=')))
            return fail(QStringLiteral("bad option %1").arg(item.first));
        else
            options << item.first + QLatin1Char('=') + item.second;
    }
    loc.options = options.join(QLatin1Char(';'));
    *out = loc;
    return true;
}

// --- Db ------------------------------------------------------------------------

Db::Db(const QString& dataDir, const Location& location)
    : m_dir(QDir(dataDir).absolutePath())
    , m_location(location)
    , m_tag(QStringLiteral("clouddisk-%1").arg(++g_dbCounter))
{
    m_pool = makePool(m_tag, [this](const QString& name) { return openConnection(name); }, kDefaultConnections);
}

Db::~Db()
{
    releaseHeld(m_pool);
}

void Db::setConnectionLimit(int limit)
{
    setPoolLimit(*m_pool, limit);
}

void Db::releaseConnection()
{
    releaseHeld(m_pool);
}

int Db::connectionLimit() const
{
    return poolLimit(*m_pool);
}

int Db::openConnections() const
{
    return poolOpen(*m_pool);
}

QString Db::blobPath(const QString& blob) const
{
    return contentsDir() + QLatin1Char('/') + blob.left(2) + QLatin1Char('/') + blob;
}

QString Db::newBlobName() const
{
    return randomHex(16);
}

QString Db::tmpPathFor(const QString& blob) const
{
    return tmpDir() + QLatin1Char('/') + blob + QStringLiteral(".part");
}

QSqlDatabase Db::connection()
{
    return heldConnection(m_pool);
}

QSqlDatabase Db::openConnection(const QString& name) const
{
    if (m_location.postgres) {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), name);
        db.setHostName(m_location.host);
        if (m_location.port > 0)
            db.setPort(m_location.port);
        db.setUserName(m_location.user);
        db.setPassword(m_location.password);
        db.setDatabaseName(m_location.database);
        QString options = QStringLiteral("connect_timeout=10");
        if (!m_location.options.isEmpty())
            options += QLatin1Char(';') + m_location.options;
        db.setConnectOptions(options);
        db.open();
        return db;
    }
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    db.setDatabaseName(m_dir + QStringLiteral("/clouddisk.sqlite"));
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=30000"));
    if (db.open()) {
        QSqlQuery q(db);
        // FULL: a commit is on disk before the reply that acknowledges it,
        // like the contents it names, which are flushed before it.
        q.exec(QStringLiteral("PRAGMA synchronous=FULL"));
        q.exec(QStringLiteral("PRAGMA foreign_keys=ON"));
    }
    return db;
}

bool Db::open(QString* error, bool withdrawOthers)
{
    // The folder holds password hashes, session and ticket tokens and every
    // file's contents: owner-only, whatever the umask.
    // With the records in PostgreSQL the folder holds no database file.
    const QString database = m_dir + QStringLiteral("/clouddisk.sqlite");
    if (!makePrivateFolder(m_dir) || !makePrivateFolder(contentsDir()) || !makePrivateFolder(tmpDir())
        || !makePrivateFolder(m_dir + QStringLiteral("/run"))
        || (!m_location.postgres && !createPrivateFile(database))) {
        if (error)
            *error = QStringLiteral("cannot create the data folder %1").arg(m_dir);
        return false;
    }
    const QString open = openToOthers({m_dir, database, database + QStringLiteral("-wal"),
                                       database + QStringLiteral("-shm"), contentsDir(), tmpDir(),
                                       m_dir + QStringLiteral("/run")},
                                      withdrawOthers);
    if (!open.isEmpty()) {
        if (error)
            *error = QStringLiteral("the data folder %1 is open to other accounts: %2. It holds password hashes, "
                                    "session tokens and file contents; make it owner-only (chmod -R go= %1) and "
                                    "start again")
                         .arg(m_dir, open);
        return false;
    }
    QSqlDatabase db = connection();
    if (!db.isOpen()) {
        if (error)
            *error = QStringLiteral("cannot open the database: %1").arg(db.lastError().text());
        return false;
    }
    if (dialect() == Dialect::SQLite) {
        QSqlQuery q(db);
        if (!q.exec(QStringLiteral("PRAGMA journal_mode=WAL")) || !q.next()
            || q.value(0).toString().toLower() != QLatin1String("wal")) {
            if (error)
                *error = QStringLiteral("cannot switch the database to WAL: %1").arg(q.lastError().text());
            return false;
        }
    }
    if (!migrate(error))
        return false;
    reclaimOrphans();
    if (aloneOnData())
        cleanLeftovers();
    return true;
}

namespace {

// The tables, as one change after another; a store records how many of them
// it has had and gets the rest at its next start. The first is the layout
// stores had before changes were counted, so it only creates what is
// missing. A new change is added at the end of both lists, never edited in
// place once released.
using Migration = QVector<const char*>;

const QVector<Migration>& sqliteMigrations()
{
    static const QVector<Migration> m{
        {
            "CREATE TABLE IF NOT EXISTS users(id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL UNIQUE,"
            " pwhash TEXT NOT NULL, created TEXT NOT NULL)",
            "CREATE TABLE IF NOT EXISTS enterprises(id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL UNIQUE,"
            " root INTEGER)",
            "CREATE TABLE IF NOT EXISTS members(enterprise INTEGER NOT NULL, user INTEGER NOT NULL,"
            " PRIMARY KEY(enterprise, user))",
            "CREATE TABLE IF NOT EXISTS nodes(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER, owner INTEGER,"
            " enterprise INTEGER, name TEXT NOT NULL, folder INTEGER NOT NULL, size INTEGER NOT NULL DEFAULT 0,"
            " mtime TEXT NOT NULL, blob TEXT)",
            // One node per name per folder, whoever writes.
            "CREATE UNIQUE INDEX IF NOT EXISTS nodes_child ON nodes(parent, name)",
            // A tree's nodes in the order they are listed: by parent, folders
            // first, by name. They replace the plain owner and enterprise
            // indexes of older stores.
            "DROP INDEX IF EXISTS nodes_owner",
            "DROP INDEX IF EXISTS nodes_enterprise",
            "CREATE INDEX IF NOT EXISTS nodes_owner_tree ON nodes(owner, parent, folder DESC, name)",
            "CREATE INDEX IF NOT EXISTS nodes_enterprise_tree ON nodes(enterprise, parent, folder DESC, name)",
            "CREATE TABLE IF NOT EXISTS denials(node INTEGER NOT NULL, user INTEGER NOT NULL, what TEXT NOT NULL,"
            " PRIMARY KEY(node, user, what))",
            "CREATE TABLE IF NOT EXISTS tickets(token TEXT PRIMARY KEY, user INTEGER NOT NULL, enterprise INTEGER,"
            " pid INTEGER NOT NULL, wjm TEXT NOT NULL, ext TEXT NOT NULL, wjdx INTEGER NOT NULL, sclj TEXT NOT NULL,"
            " used INTEGER NOT NULL DEFAULT 0, created INTEGER NOT NULL)",
            "CREATE TABLE IF NOT EXISTS sessions(hash TEXT PRIMARY KEY, user INTEGER NOT NULL, created TEXT NOT NULL)",
        },
        {
            // Sessions move from the server's memory into the store (the
            // earlier table was never filled): times in seconds, the last use.
            "DROP TABLE IF EXISTS sessions",
            "CREATE TABLE sessions(hash TEXT PRIMARY KEY, user INTEGER NOT NULL, created INTEGER NOT NULL,"
            " used INTEGER NOT NULL)",
            "CREATE INDEX sessions_user ON sessions(user, used)",
        },
    };
    return m;
}

// The same tables in PostgreSQL. Names compare and sort byte by byte
// (COLLATE "C"), as in SQLite, so listings come in the same order.
const QVector<Migration>& postgresMigrations()
{
    static const QVector<Migration> m{
        {
            "CREATE TABLE users(id BIGSERIAL PRIMARY KEY, name TEXT COLLATE \"C\" NOT NULL UNIQUE,"
            " pwhash TEXT NOT NULL, created TEXT NOT NULL)",
            "CREATE TABLE enterprises(id BIGSERIAL PRIMARY KEY, name TEXT COLLATE \"C\" NOT NULL UNIQUE, root BIGINT)",
            "CREATE TABLE members(enterprise BIGINT NOT NULL, \"user\" BIGINT NOT NULL, PRIMARY KEY(enterprise, \"user\"))",
            "CREATE TABLE nodes(id BIGSERIAL PRIMARY KEY, parent BIGINT, owner BIGINT, enterprise BIGINT,"
            " name TEXT COLLATE \"C\" NOT NULL, folder INTEGER NOT NULL, size BIGINT NOT NULL DEFAULT 0,"
            " mtime TEXT NOT NULL, blob TEXT)",
            "CREATE UNIQUE INDEX nodes_child ON nodes(parent, name)",
            "CREATE INDEX nodes_owner_tree ON nodes(owner, parent, folder DESC, name)",
            "CREATE INDEX nodes_enterprise_tree ON nodes(enterprise, parent, folder DESC, name)",
            "CREATE INDEX nodes_blob ON nodes(blob)",
            "CREATE TABLE denials(node BIGINT NOT NULL, \"user\" BIGINT NOT NULL, what TEXT NOT NULL,"
            " PRIMARY KEY(node, \"user\", what))",
            "CREATE TABLE tickets(token TEXT PRIMARY KEY, \"user\" BIGINT NOT NULL, enterprise BIGINT,"
            " pid BIGINT NOT NULL, wjm TEXT NOT NULL, ext TEXT NOT NULL, wjdx BIGINT NOT NULL, sclj TEXT NOT NULL,"
            " used INTEGER NOT NULL DEFAULT 0, created BIGINT NOT NULL)",
            "CREATE TABLE sessions(hash TEXT PRIMARY KEY, \"user\" BIGINT NOT NULL, created TEXT NOT NULL)",
        },
        {
            "DROP TABLE sessions",
            "CREATE TABLE sessions(hash TEXT PRIMARY KEY, \"user\" BIGINT NOT NULL, created BIGINT NOT NULL,"
            " used BIGINT NOT NULL)",
            "CREATE INDEX sessions_user ON sessions(\"user\", used)",
        },
    };
    return m;
}

} // namespace

bool Db::migrate(QString* error)
{
    const auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return false;
    };
    const QVector<Migration>& migrations =
        dialect() == Dialect::PostgreSQL ? postgresMigrations() : sqliteMigrations();
    return retrying([&] {
        Transaction t(*this, Transaction::Schema);
        if (!t.ok())
            return fail(QStringLiteral("the database is busy or read-only: %1").arg(t.db().lastError().text()));
        QSqlQuery q(t.db());
        if (!q.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS schema_version(version INTEGER NOT NULL)")))
            return fail(QStringLiteral("cannot create the tables: %1").arg(q.lastError().text()));
        int version = 0;
        if (!q.exec(QStringLiteral("SELECT MAX(version) FROM schema_version")))
            return fail(QStringLiteral("cannot read the tables' version: %1").arg(q.lastError().text()));
        if (q.next())
            version = q.value(0).toInt();
        if (version > migrations.size())
            return fail(QStringLiteral("the database was made by a newer version (tables version %1, this one knows %2)")
                            .arg(version)
                            .arg(migrations.size()));
        for (int v = version; v < migrations.size(); ++v) {
            for (const char* sql : migrations[v]) {
                if (!q.exec(QString::fromLatin1(sql)))
                    return fail(QStringLiteral("cannot change the tables to version %1: %2")
                                    .arg(v + 1)
                                    .arg(q.lastError().text()));
            }
            if (!exec(q, QStringLiteral("INSERT INTO schema_version(version) VALUES (?)"), {v + 1}))
                return fail(QStringLiteral("cannot record the tables' version: %1").arg(q.lastError().text()));
        }
        q.finish();
        if (!t.commit())
            return fail(QStringLiteral("cannot create the tables: %1").arg(t.db().lastError().text()));
        return true;
    });
}

void Db::reclaimOrphans()
{
    // Earlier versions could commit an upload into a folder that a removal
    // was taking away: such nodes (and what lies below them) are no one's
    // to see, and their contents are never reclaimed otherwise. Safe with
    // other processes on the folder: no write can make a new one now.
    QStringList blobs;
    Transaction t(*this);
    if (!t.ok())
        return;
    QSqlQuery q(t.db());
    if (!exec(q, QStringLiteral("WITH RECURSIVE lost(id) AS (SELECT id FROM nodes WHERE parent IS NOT NULL"
                                " AND parent NOT IN (SELECT id FROM nodes)"
                                " UNION ALL SELECT n.id FROM nodes n JOIN lost l ON n.parent = l.id)"
                                " SELECT id, blob FROM nodes WHERE id IN (SELECT id FROM lost)")))
        return;
    QVector<qint64> ids;
    while (q.next()) {
        ids << q.value(0).toLongLong();
        if (!q.value(1).isNull() && !q.value(1).toString().isEmpty())
            blobs << q.value(1).toString();
    }
    if (ids.isEmpty())
        return;
    for (qint64 id : qAsConst(ids)) {
        if (!exec(q, QStringLiteral("DELETE FROM nodes WHERE id = ?"), {id})
            || !exec(q, QStringLiteral("DELETE FROM denials WHERE node = ?"), {id}))
            return;
    }
    if (!t.commit())
        return;
    for (const QString& blob : qAsConst(blobs))
        QFile::remove(blobPath(blob));
    qInfo("clouddisk: reclaimed %d nodes whose folder was gone", int(ids.size()));
}

// Another process (the server and the admin tool may share a data folder)
// may be writing contents right now; leftovers are only cleaned when no
// other live service holds the folder.
bool Db::aloneOnData()
{
    const QString runDir = m_dir + QStringLiteral("/run");
    bool alone = true;
    const QStringList locks = QDir(runDir).entryList({QStringLiteral("*.lock")}, QDir::Files);
    for (const QString& name : locks) {
        QLockFile other(runDir + QLatin1Char('/') + name);
        other.setStaleLockTime(0);
        if (other.tryLock(0)) {
            other.unlock(); // its owner is gone; unlock removes the file
        } else if (other.error() == QLockFile::LockFailedError) {
            // A service killed while it wrote its lock leaves one that names
            // no one and would keep every later start from cleaning up; the
            // file's name still says whose it was.
            qint64 pid = 0;
            QString host, app;
            const qint64 named = name.section(QLatin1Char('-'), 0, 0).toLongLong();
            if (!other.getLockInfo(&pid, &host, &app) && !processRuns(named))
                QFile::remove(runDir + QLatin1Char('/') + name);
            else
                alone = false;
        }
    }
    m_runLock = std::make_unique<QLockFile>(runDir + QStringLiteral("/%1-%2.lock")
                                                         .arg(QCoreApplication::applicationPid())
                                                         .arg(m_tag));
    m_runLock->setStaleLockTime(0);
    m_runLock->tryLock(0);
    return alone;
}

void Db::cleanLeftovers()
{
    // Half-written contents never became part of the cloud.
    QDirIterator tmp(tmpDir(), QDir::Files | QDir::Hidden);
    while (tmp.hasNext())
        QFile::remove(tmp.next());

    QSqlDatabase db = connection();
    QHash<QString, qint64> referenced; // blob -> recorded size
    {
        QSqlQuery q(db);
        q.setForwardOnly(true);
        q.exec(QStringLiteral("SELECT blob, size FROM nodes WHERE blob IS NOT NULL"));
        while (q.next())
            referenced.insert(q.value(0).toString(), q.value(1).toLongLong());
    }
    // Contents renamed into place whose record was never committed, or that
    // a replaced file left behind.
    QSet<QString> present;
    QDirIterator it(contentsDir(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString name = it.fileName();
        const auto ref = referenced.constFind(name);
        if (ref == referenced.constEnd() || blobPath(name) != path)
            QFile::remove(path);
        else if (it.fileInfo().size() == ref.value())
            present.insert(name);
    }
    // A record whose contents are gone (removed by hand) or not whole (the
    // machine stopped before the system wrote them out) can never be
    // downloaded as it was; it goes too.
    QStringList missing;
    for (auto ref = referenced.constBegin(); ref != referenced.constEnd(); ++ref) {
        if (!present.contains(ref.key()))
            missing << ref.key();
    }
    if (!missing.isEmpty()) {
        Transaction t(*this);
        if (t.ok()) {
            QSqlQuery q(t.db());
            for (const QString& blob : qAsConst(missing))
                exec(q, QStringLiteral("DELETE FROM nodes WHERE blob = ?"), {blob});
            if (t.commit()) {
                for (const QString& blob : qAsConst(missing))
                    QFile::remove(blobPath(blob));
            }
        }
    }
    // Used and stale upload tickets.
    Transaction t(*this);
    if (t.ok()) {
        QSqlQuery q(t.db());
        exec(q, QStringLiteral("DELETE FROM tickets WHERE used = 1 OR created < ?"),
             {QDateTime::currentSecsSinceEpoch() - 24 * 3600});
        t.commit();
    }
}

// --- Transaction -----------------------------------------------------------------

Transaction::Transaction(Db& db, Kind kind)
    // One writer at a time in this process, on either engine. PostgreSQL
    // orders the writers of different servers itself, but its serializable
    // checks lock index pages, not rows: writers of one busy server into
    // small tables would keep cancelling each other (even into different
    // folders) and run out of attempts. Between servers such meetings are
    // rare and running again settles them.
    : m_lock(&db.writeMutex())
    , m_db(db.connection())
{
    QSqlQuery q(m_db);
    if (db.dialect() == Dialect::SQLite) {
        m_ok = m_db.isOpen() && q.exec(QStringLiteral("BEGIN IMMEDIATE"));
    } else if (kind == Schema) {
        // Servers that start together change the tables one after the
        // other; each statement sees what the one before committed.
        m_ok = m_db.isOpen() && q.exec(QStringLiteral("BEGIN"))
               && q.exec(QStringLiteral("SELECT pg_advisory_xact_lock(7036540519)"))
               // "already exists, skipping" is no news.
               && q.exec(QStringLiteral("SET LOCAL client_min_messages = warning"));
    } else {
        m_ok = m_db.isOpen() && q.exec(QStringLiteral("BEGIN ISOLATION LEVEL SERIALIZABLE"));
    }
    if (!m_ok)
        noteFailure(q.lastError());
    m_done = !m_ok;
}

Transaction::~Transaction()
{
    if (!m_done) {
        QSqlQuery q(m_db);
        q.exec(QStringLiteral("ROLLBACK"));
    }
}

bool Transaction::commit()
{
    if (m_done)
        return false;
    QSqlQuery q(m_db);
    const bool ok = q.exec(QStringLiteral("COMMIT"));
    if (!ok) {
        noteFailure(q.lastError());
        q.exec(QStringLiteral("ROLLBACK"));
    }
    m_done = true;
    return ok;
}

} // namespace store
} // namespace clouddisk
