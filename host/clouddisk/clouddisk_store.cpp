#include "clouddisk_store_p.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMessageAuthenticationCode>
#include <QRandomGenerator>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>
#include <QtEndian>

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

constexpr int kPbkdf2Iterations = 20000;

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

QByteArray pbkdf2Sha256(const QByteArray& password, const QByteArray& salt, int iterations)
{
    // One 32-byte block is all a 32-byte key needs.
    QMessageAuthenticationCode mac(QCryptographicHash::Sha256, password);
    QByteArray block = salt;
    char index[4];
    qToBigEndian<quint32>(1, index);
    block.append(index, 4);
    mac.addData(block);
    QByteArray u = mac.result();
    QByteArray out = u;
    for (int i = 1; i < iterations; ++i) {
        mac.reset();
        mac.addData(u);
        u = mac.result();
        for (int j = 0; j < out.size(); ++j)
            out[j] = char(out[j] ^ u[j]);
    }
    return out;
}

bool constantTimeEqual(const QByteArray& a, const QByteArray& b)
{
    if (a.size() != b.size())
        return false;
    unsigned char diff = 0;
    for (int i = 0; i < a.size(); ++i)
        diff |= uchar(a[i]) ^ uchar(b[i]);
    return diff == 0;
}

std::atomic<int> g_dbCounter{0};

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

QString hashPassword(const QString& password)
{
    QByteArray salt(16, Qt::Uninitialized);
    for (int i = 0; i < salt.size(); ++i)
        salt[i] = char(QRandomGenerator::system()->bounded(256));
    const QByteArray hash = pbkdf2Sha256(password.toUtf8(), salt, kPbkdf2Iterations);
    return QStringLiteral("pbkdf2-sha256$%1$%2$%3")
        .arg(kPbkdf2Iterations)
        .arg(QString::fromLatin1(salt.toHex()), QString::fromLatin1(hash.toHex()));
}

bool passwordMatches(const QString& password, const QString& stored)
{
    const QStringList parts = stored.split(QLatin1Char('$'));
    if (parts.size() != 4 || parts[0] != QLatin1String("pbkdf2-sha256"))
        return false;
    bool ok = false;
    const int iterations = parts[1].toInt(&ok);
    if (!ok || iterations < 1 || iterations > 10000000)
        return false;
    const QByteArray salt = QByteArray::fromHex(parts[2].toLatin1());
    const QByteArray expected = QByteArray::fromHex(parts[3].toLatin1());
    return constantTimeEqual(pbkdf2Sha256(password.toUtf8(), salt, iterations), expected);
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

bool exec(QSqlQuery& q, const QString& sql, const QVariantList& values)
{
    if (!q.prepare(sql))
        return false;
    for (const QVariant& v : values)
        q.addBindValue(v);
    return q.exec();
}

// --- Db ------------------------------------------------------------------------

Db::Db(const QString& dataDir)
    : m_dir(QDir(dataDir).absolutePath())
    , m_tag(QStringLiteral("clouddisk-%1").arg(++g_dbCounter))
{
}

Db::~Db()
{
    // After the application object has gone (a service kept until the
    // process ends) Qt SQL's own registry may have gone too: the process
    // is ending, the connections go with it.
    if (!QCoreApplication::instance())
        return;
    QStringList names;
    {
        QMutexLocker lock(&m_connMutex);
        names = m_allNames;
        m_conns.clear();
        m_allNames.clear();
    }
    for (const QString& name : qAsConst(names))
        QSqlDatabase::removeDatabase(name);
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
    QThread* thread = QThread::currentThread();
    QMutexLocker lock(&m_connMutex);
    auto it = m_conns.find(thread);
    if (it != m_conns.end() && it->thread == thread)
        return QSqlDatabase::database(it->name, false);
    // First use on this thread (or a new thread where a finished one was).
    if (it != m_conns.end()) {
        QSqlDatabase::removeDatabase(it->name);
        m_allNames.removeAll(it->name);
    }
    const QString name = QStringLiteral("%1-%2").arg(m_tag).arg(++m_counter);
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
    db.setDatabaseName(m_dir + QStringLiteral("/clouddisk.sqlite"));
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=30000"));
    if (db.open()) {
        QSqlQuery q(db);
        // In WAL mode NORMAL survives any crash or kill of the process; contents
        // are flushed to disk themselves before a record names them.
        q.exec(QStringLiteral("PRAGMA synchronous=NORMAL"));
        q.exec(QStringLiteral("PRAGMA foreign_keys=ON"));
    }
    m_conns.insert(thread, Conn{QPointer<QThread>(thread), name});
    m_allNames << name;
    return db;
}

bool Db::open(QString* error)
{
    if (!QDir().mkpath(m_dir) || !QDir().mkpath(contentsDir()) || !QDir().mkpath(tmpDir())
        || !QDir().mkpath(m_dir + QStringLiteral("/run"))) {
        if (error)
            *error = QStringLiteral("cannot create the data folder %1").arg(m_dir);
        return false;
    }
    QSqlDatabase db = connection();
    if (!db.isOpen()) {
        if (error)
            *error = QStringLiteral("cannot open the database: %1").arg(db.lastError().text());
        return false;
    }
    QSqlQuery q(db);
    if (!q.exec(QStringLiteral("PRAGMA journal_mode=WAL")) || !q.next()
        || q.value(0).toString().toLower() != QLatin1String("wal")) {
        if (error)
            *error = QStringLiteral("cannot switch the database to WAL: %1").arg(q.lastError().text());
        return false;
    }
    q.finish();
    if (!createSchema(error))
        return false;
    if (aloneOnData())
        cleanLeftovers();
    return true;
}

bool Db::createSchema(QString* error)
{
    static const char* const statements[] = {
        "CREATE TABLE IF NOT EXISTS users(id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL UNIQUE,"
        " pwhash TEXT NOT NULL, created TEXT NOT NULL)",
        "CREATE TABLE IF NOT EXISTS enterprises(id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL UNIQUE,"
        " root INTEGER)",
        "CREATE TABLE IF NOT EXISTS members(enterprise INTEGER NOT NULL, user INTEGER NOT NULL,"
        " PRIMARY KEY(enterprise, user))",
        "CREATE TABLE IF NOT EXISTS nodes(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER, owner INTEGER,"
        " enterprise INTEGER, name TEXT NOT NULL, folder INTEGER NOT NULL, size INTEGER NOT NULL DEFAULT 0,"
        " mtime TEXT NOT NULL, blob TEXT)",
        "CREATE UNIQUE INDEX IF NOT EXISTS nodes_child ON nodes(parent, name)",
        // A tree's nodes in the order they are listed: by parent, folders
        // first, by name. They replace the plain owner and enterprise indexes
        // of older stores.
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
    };
    Transaction t(*this);
    if (!t.ok()) {
        if (error)
            *error = QStringLiteral("the database is busy or read-only");
        return false;
    }
    QSqlQuery q(t.db());
    for (const char* sql : statements) {
        if (!q.exec(QString::fromLatin1(sql))) {
            if (error)
                *error = QStringLiteral("cannot create the tables: %1").arg(q.lastError().text());
            return false;
        }
    }
    q.finish();
    if (!t.commit()) {
        if (error)
            *error = QStringLiteral("cannot create the tables: %1").arg(t.db().lastError().text());
        return false;
    }
    return true;
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

Transaction::Transaction(Db& db)
    : m_lock(&db.writeMutex())
    , m_db(db.connection())
{
    QSqlQuery q(m_db);
    m_ok = m_db.isOpen() && q.exec(QStringLiteral("BEGIN IMMEDIATE"));
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
    if (!ok)
        q.exec(QStringLiteral("ROLLBACK"));
    m_done = true;
    return ok;
}

} // namespace store
} // namespace clouddisk
