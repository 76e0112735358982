#pragma once
// The service's storage: SQLite through Qt SQL, one connection per thread,
// one transaction per change, contents as files beside the database.
// Private to the clouddisk library.
#include <QDir>
#include <QHash>
#include <QLockFile>
#include <QMutex>
#include <QPointer>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QThread>
#include <QVariant>
#include <memory>

namespace clouddisk {
namespace store {

// A node of a cloud tree as stored.
struct Node
{
    qint64 id = -1;
    qint64 parent = -1;     // -1 for a top folder
    qint64 owner = -1;      // the user of a personal tree, else -1
    qint64 enterprise = -1; // the enterprise of an enterprise tree, else -1
    QString name;
    bool folder = false;
    qint64 size = 0;
    QString mtime;
    QString blob; // contents file name (files only)
};

// Random lower-case hex of `bytes` random bytes from the system source.
QString randomHex(int bytes);
QString now();
// Salted, iterated hash of a password ("pbkdf2-sha256$iter$salt$hash").
QString hashPassword(const QString& password);
bool passwordMatches(const QString& password, const QString& stored);
// Strict base-10 positive id, else -1.
qint64 parseId(const QString& text);
// Copies from the current offset of `from` to its end into `to` inside the
// kernel where the platform can (no trip through this process's memory).
// The bytes copied; -1 when that is not possible here and nothing was
// copied (the caller then copies through a buffer); -2 on a failure.
qint64 copyFileData(int from, int to);

class Db
{
public:
    explicit Db(const QString& dataDir);
    ~Db();
    bool open(QString* error);

    // This thread's connection.
    QSqlDatabase connection();
    // Held by every writer in this process, around BEGIN IMMEDIATE ... COMMIT.
    QMutex& writeMutex() { return m_writeMutex; }

    QString dataDir() const { return m_dir; }
    QString contentsDir() const { return m_dir + QStringLiteral("/contents"); }
    QString tmpDir() const { return m_dir + QStringLiteral("/tmp"); }
    QString blobPath(const QString& blob) const;
    // A fresh blob name and the temporary file it is written to first.
    QString newBlobName() const;
    QString tmpPathFor(const QString& blob) const;

private:
    bool createSchema(QString* error);
    void cleanLeftovers();
    bool aloneOnData();

    QString m_dir;
    QString m_tag; // unique per Db, names its connections
    QMutex m_connMutex;
    struct Conn
    {
        QPointer<QThread> thread;
        QString name;
    };
    QHash<QThread*, Conn> m_conns;
    QStringList m_allNames;
    int m_counter = 0;
    QMutex m_writeMutex;
    std::unique_ptr<QLockFile> m_runLock;
};

// One write transaction: BEGIN IMMEDIATE under the process's write mutex;
// rolled back unless commit() succeeded.
class Transaction
{
public:
    explicit Transaction(Db& db);
    ~Transaction();
    bool ok() const { return m_ok; }
    bool commit();
    QSqlDatabase& db() { return m_db; }

private:
    QMutexLocker m_lock;
    QSqlDatabase m_db;
    bool m_ok = false;
    bool m_done = false;
};

// Runs a prepared statement with positional values; false on error.
bool exec(QSqlQuery& q, const QString& sql, const QVariantList& values = {});

} // namespace store
} // namespace clouddisk
