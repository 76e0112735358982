// Accounts, sessions and administration: the admin tool's and the demo
// host's way into the store.
#include "clouddisk_replies_p.h"
#include "clouddisk_service_p.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlQuery>

namespace clouddisk {

namespace {

const char* rightWord(Service::Right r)
{
    switch (r) {
    case Service::Right::Enter: return "enter";
    case Service::Right::Open: return "open";
    case Service::Right::Download: return "download";
    }
    return "enter";
}

// The (id, name) rows a query answers, in its order.
QList<Service::Account> accounts(const QSqlDatabase& db, const QString& sql, const QVariantList& values = {})
{
    QList<Service::Account> out;
    QSqlQuery q(db);
    store::exec(q, sql, values);
    while (q.next())
        out << Service::Account{q.value(0).toLongLong(), q.value(1).toString()};
    return out;
}

} // namespace

// --- accounts -----------------------------------------------------------------------

qint64 Service::addUser(const QString& name, const QString& password, QString* error)
{
    const auto fail = [error](const QString& why) { return failed(error, why, qint64(-1)); };
    if (!acceptableName(name))
        return fail(QStringLiteral("invalid user name"));
    if (password.isEmpty())
        return fail(QStringLiteral("empty password"));
    const QString hash = store::hashPassword(password);
    if (hash.isEmpty())
        return fail(QStringLiteral("cannot hash the password"));
    return store::retrying([&] {
        store::Transaction t(d->db);
        if (!t.ok())
            return fail(QStringLiteral("database busy"));
        QSqlQuery q(t.db());
        if (store::exec(q, QStringLiteral("SELECT 1 FROM users WHERE name = ?"), {name}) && q.next())
            return fail(QStringLiteral("user %1 exists").arg(name));
        const qint64 id =
            store::insert(q, QStringLiteral("INSERT INTO users(name, pwhash, created) VALUES (?, ?, ?)"),
                          {name, hash, store::now()});
        if (id < 0)
            return fail(q.lastError().text());
        if (!store::exec(q,
                         QStringLiteral("INSERT INTO nodes(parent, owner, enterprise, name, folder, size, mtime)"
                                        " VALUES (NULL, ?, NULL, ?, 1, 0, ?)"),
                         {id, kRootName, store::now()}))
            return fail(q.lastError().text());
        if (!t.commit())
            return fail(QStringLiteral("database busy"));
        return id;
    });
}

qint64 Service::checkPassword(const QString& name, const QString& password) const
{
    QSqlQuery q(d->db.connection());
    if (!store::exec(q, QStringLiteral("SELECT id, pwhash FROM users WHERE name = ?"), {name}) || !q.next()) {
        // The same work for an unknown name as for a wrong password, so
        // that the time of the answer does not tell which names exist.
        store::checkAgainstNoOne(password);
        return -1;
    }
    const qint64 id = q.value(0).toLongLong();
    const QString stored = q.value(1).toString();
    q.finish();
    const store::PasswordMatch match = store::passwordMatches(password, stored);
    if (match == store::PasswordMatch::No)
        return -1;
    if (match == store::PasswordMatch::YesButRehash) {
        // An older hash (PBKDF2, or weaker settings) is replaced now that
        // the password is known; unless it changed meanwhile.
        const QString hash = store::hashPassword(password);
        store::Transaction t(d->db);
        QSqlQuery u(t.db());
        if (!hash.isEmpty() && t.ok()
            && store::exec(u, QStringLiteral("UPDATE users SET pwhash = ? WHERE id = ? AND pwhash = ?"),
                           {hash, id, stored}))
            t.commit();
    }
    return id;
}

QString Service::userName(qint64 userId) const
{
    QSqlQuery q(d->db.connection());
    if (store::exec(q, QStringLiteral("SELECT name FROM users WHERE id = ?"), {userId}) && q.next())
        return q.value(0).toString();
    return QString();
}

qint64 Service::userId(const QString& name) const
{
    QSqlQuery q(d->db.connection());
    if (store::exec(q, QStringLiteral("SELECT id FROM users WHERE name = ?"), {name}) && q.next())
        return q.value(0).toLongLong();
    return -1;
}

QList<Service::Account> Service::users() const
{
    return accounts(d->db.connection(), QStringLiteral("SELECT id, name FROM users ORDER BY id"));
}

bool Service::setPassword(qint64 userId, const QString& password, QString* error)
{
    if (password.isEmpty()) {
        if (error)
            *error = QStringLiteral("empty password");
        return false;
    }
    const QString hash = store::hashPassword(password);
    if (hash.isEmpty()) {
        if (error)
            *error = QStringLiteral("cannot hash the password");
        return false;
    }
    return store::retrying([&] {
        store::Transaction t(d->db);
        QSqlQuery q(t.db());
        if (!t.ok() || !store::exec(q, QStringLiteral("UPDATE users SET pwhash = ? WHERE id = ?"), {hash, userId})
            || q.numRowsAffected() != 1) {
            if (error)
                *error = t.ok() ? QStringLiteral("no user %1").arg(userId) : QStringLiteral("database busy");
            return false;
        }
        // Whoever signed in with the old password is signed out with it, on
        // every server of the cloud.
        if (!store::exec(q, QStringLiteral("DELETE FROM sessions WHERE user = ?"), {userId}) || !t.commit()) {
            if (error)
                *error = QStringLiteral("database busy");
            return false;
        }
        return true;
    });
}

// --- sessions ------------------------------------------------------------------------------
//
// Sessions live in the store, so that a restart signs no one out and every
// process on the data folder accepts the same tokens. Only a hash of each
// token is kept: a copy of the database lets no one in.

namespace {

// Sessions unused for this long end by themselves.
constexpr qint64 kSessionIdleSecs = 24 * 3600;
// A use is written back at most this often.
constexpr qint64 kSessionTouchSecs = 60;
// Past this many sessions of one user the least recently used ones end.
constexpr int kSessionsPerUser = 64;

QString tokenHash(const QString& token)
{
    return QString::fromLatin1(QCryptographicHash::hash(token.toUtf8(), QCryptographicHash::Sha256).toHex());
}

qint64 nowSecs()
{
    return QDateTime::currentSecsSinceEpoch();
}

} // namespace

QString Service::createSession(qint64 userId)
{
    if (d->userKnown(userId) != Private::Known::Yes)
        return QString();
    // 256 bits from the system's source, as 64 hex characters.
    const QString token = store::randomHex(32);
    const qint64 now = nowSecs();
    return store::retrying([&] {
        store::Transaction t(d->db);
        QSqlQuery q(t.db());
        if (!t.ok()
            || !store::exec(q, QStringLiteral("DELETE FROM sessions WHERE used < ?"), {now - kSessionIdleSecs})
            || !store::exec(q,
                            QStringLiteral("DELETE FROM sessions WHERE user = ? AND hash IN (SELECT hash FROM sessions"
                                           " WHERE user = ? ORDER BY used DESC, created DESC LIMIT ? OFFSET ?)"),
                            {userId, userId, 1000000, kSessionsPerUser - 1})
            || !store::exec(q, QStringLiteral("INSERT INTO sessions(hash, user, created, used) VALUES (?, ?, ?, ?)"),
                            {tokenHash(token), userId, now, now})
            || !t.commit())
            return QString();
        return token;
    });
}

qint64 Service::sessionUser(const QString& token, bool* failed) const
{
    if (failed)
        *failed = false;
    if (token.isEmpty() || token.size() > 256)
        return -1;
    const QString hash = tokenHash(token);
    QSqlDatabase conn = d->db.connection();
    QSqlQuery q(conn);
    if (!conn.isOpen() || !store::exec(q, QStringLiteral("SELECT user, used FROM sessions WHERE hash = ?"), {hash})) {
        if (failed)
            *failed = true;
        return -1;
    }
    if (!q.next())
        return -1;
    const qint64 user = q.value(0).toLongLong();
    const qint64 used = q.value(1).toLongLong();
    q.finish();
    const qint64 now = nowSecs();
    const bool expired = now - used > kSessionIdleSecs;
    if (expired || now - used > kSessionTouchSecs) {
        store::Transaction t(d->db);
        QSqlQuery u(t.db());
        const bool written =
            expired ? store::exec(u, QStringLiteral("DELETE FROM sessions WHERE hash = ?"), {hash})
                    : store::exec(u, QStringLiteral("UPDATE sessions SET used = ? WHERE hash = ?"), {now, hash});
        if (t.ok() && written)
            t.commit();
    }
    return expired ? -1 : user;
}

void Service::endSession(const QString& token)
{
    store::retrying([&] {
        store::Transaction t(d->db);
        QSqlQuery q(t.db());
        return t.ok() && store::exec(q, QStringLiteral("DELETE FROM sessions WHERE hash = ?"), {tokenHash(token)})
               && t.commit();
    });
}

int Service::endSessions(qint64 userId, QString* error)
{
    return store::retrying([&] {
        store::Transaction t(d->db);
        QSqlQuery q(t.db());
        if (!t.ok() || !store::exec(q, QStringLiteral("DELETE FROM sessions WHERE user = ?"), {userId}))
            return failed(error, QStringLiteral("database busy"), -1);
        const int ended = q.numRowsAffected();
        if (!t.commit())
            return failed(error, QStringLiteral("database busy"), -1);
        return ended;
    });
}

// --- administration ----------------------------------------------------------------------------

qint64 Service::addEnterprise(const QString& name, QString* error)
{
    const auto fail = [error](const QString& why) { return failed(error, why, qint64(-1)); };
    if (!acceptableName(name))
        return fail(QStringLiteral("invalid enterprise name"));
    return store::retrying([&] {
        store::Transaction t(d->db);
        if (!t.ok())
            return fail(QStringLiteral("database busy"));
        QSqlQuery q(t.db());
        if (store::exec(q, QStringLiteral("SELECT 1 FROM enterprises WHERE name = ?"), {name}) && q.next())
            return fail(QStringLiteral("enterprise %1 exists").arg(name));
        const qint64 id = store::insert(q, QStringLiteral("INSERT INTO enterprises(name) VALUES (?)"), {name});
        if (id < 0)
            return fail(q.lastError().text());
        const qint64 root =
            store::insert(q,
                          QStringLiteral("INSERT INTO nodes(parent, owner, enterprise, name, folder, size, mtime)"
                                         " VALUES (NULL, NULL, ?, ?, 1, 0, ?)"),
                          {id, name, store::now()});
        if (root < 0)
            return fail(q.lastError().text());
        if (!store::exec(q, QStringLiteral("UPDATE enterprises SET root = ? WHERE id = ?"), {root, id}) || !t.commit())
            return fail(QStringLiteral("database busy"));
        return id;
    });
}

qint64 Service::enterpriseId(const QString& name) const
{
    QSqlQuery q(d->db.connection());
    if (store::exec(q, QStringLiteral("SELECT id FROM enterprises WHERE name = ?"), {name}) && q.next())
        return q.value(0).toLongLong();
    return -1;
}

QString Service::enterpriseName(qint64 enterpriseId) const
{
    QSqlQuery q(d->db.connection());
    if (store::exec(q, QStringLiteral("SELECT name FROM enterprises WHERE id = ?"), {enterpriseId}) && q.next())
        return q.value(0).toString();
    return QString();
}

QList<Service::Account> Service::enterprises() const
{
    return accounts(d->db.connection(), QStringLiteral("SELECT id, name FROM enterprises ORDER BY id"));
}

QList<Service::Account> Service::members(qint64 enterpriseId) const
{
    return accounts(d->db.connection(),
                    QStringLiteral("SELECT u.id, u.name FROM users u JOIN members m ON m.user = u.id"
                                   " WHERE m.enterprise = ? ORDER BY u.id"),
                    {enterpriseId});
}

bool Service::addMember(qint64 enterpriseId, qint64 userId, QString* error)
{
    if (enterpriseName(enterpriseId).isEmpty() || userName(userId).isEmpty()) {
        if (error)
            *error = QStringLiteral("unknown enterprise or user");
        return false;
    }
    return store::retrying([&] {
        store::Transaction t(d->db);
        QSqlQuery q(t.db());
        if (!t.ok()
            || !store::exec(q, QStringLiteral("INSERT INTO members(enterprise, user) VALUES (?, ?) ON CONFLICT DO NOTHING"),
                            {enterpriseId, userId})
            || !t.commit()) {
            if (error)
                *error = QStringLiteral("database busy");
            return false;
        }
        return true;
    });
}

bool Service::removeMember(qint64 enterpriseId, qint64 userId, QString* error)
{
    return store::retrying([&] {
        store::Transaction t(d->db);
        QSqlQuery q(t.db());
        if (!t.ok()
            || !store::exec(q, QStringLiteral("DELETE FROM members WHERE enterprise = ? AND user = ?"),
                            {enterpriseId, userId})
            || !store::exec(q,
                            QStringLiteral("DELETE FROM denials WHERE user = ? AND node IN"
                                           " (SELECT id FROM nodes WHERE enterprise = ?)"),
                            {userId, enterpriseId})
            || !t.commit()) {
            if (error)
                *error = QStringLiteral("database busy");
            return false;
        }
        return true;
    });
}

bool Service::setRight(qint64 nodeId, qint64 userId, Right right, bool granted, QString* error)
{
    const auto fail = [error](const QString& why) { return failed(error, why, false); };
    Node n;
    if (!d->node(nodeId, &n) || n.enterprise < 0)
        return fail(QStringLiteral("no enterprise folder or file %1").arg(nodeId));
    if (userName(userId).isEmpty())
        return fail(QStringLiteral("no user %1").arg(userId));
    if (n.folder != (right == Right::Enter))
        return fail(n.folder ? QStringLiteral("folders carry the enter right only")
                             : QStringLiteral("files carry the open and download rights only"));
    const QString sql = granted ? QStringLiteral("DELETE FROM denials WHERE node = ? AND user = ? AND what = ?")
                                : QStringLiteral("INSERT INTO denials(node, user, what) VALUES (?, ?, ?) ON CONFLICT DO NOTHING");
    return store::retrying([&] {
        store::Transaction t(d->db);
        QSqlQuery q(t.db());
        if (!t.ok() || !store::exec(q, sql, {nodeId, userId, QString::fromLatin1(rightWord(right))}) || !t.commit())
            return fail(QStringLiteral("database busy"));
        return true;
    });
}

QList<QJsonObject> Service::withdrawnRights(qint64 enterpriseId) const
{
    QList<QJsonObject> out;
    QSqlQuery q(d->db.connection());
    store::exec(q,
                QStringLiteral("SELECT d.node, d.user, d.what FROM denials d JOIN nodes n ON n.id = d.node"
                               " WHERE n.enterprise = ? ORDER BY d.node, d.user, d.what"),
                {enterpriseId});
    while (q.next())
        out << QJsonObject{{"node", q.value(0).toLongLong()}, {"user", q.value(1).toLongLong()},
                           {"right", q.value(2).toString()}};
    return out;
}

qint64 Service::personalRoot(qint64 userId) const
{
    return d->personalRootOf(userId);
}

qint64 Service::enterpriseRoot(qint64 enterpriseId) const
{
    QSqlQuery q(d->db.connection());
    if (store::exec(q, QStringLiteral("SELECT root FROM enterprises WHERE id = ?"), {enterpriseId}) && q.next()
        && !q.value(0).isNull())
        return q.value(0).toLongLong();
    return -1;
}

qint64 Service::childId(qint64 folderId, const QString& name) const
{
    QSqlQuery q(d->db.connection());
    if (store::exec(q, QStringLiteral("SELECT id FROM nodes WHERE parent = ? AND name = ?"), {folderId, name}) && q.next())
        return q.value(0).toLongLong();
    return -1;
}

qint64 Service::makeFolder(qint64 parentId, const QString& name, QString* error)
{
    const auto fail = [error](const QString& why) { return failed(error, why, qint64(-1)); };
    if (!acceptableName(name))
        return fail(QStringLiteral("invalid folder name"));
    Node parent;
    if (!d->node(parentId, &parent) || !parent.folder)
        return fail(QStringLiteral("no folder %1").arg(parentId));
    return store::retrying([&] {
        store::Transaction t(d->db);
        if (!t.ok())
            return fail(QStringLiteral("database busy"));
        QSqlQuery q(t.db());
        if (store::exec(q, QStringLiteral("SELECT id, folder FROM nodes WHERE parent = ? AND name = ?"),
                        {parentId, name})
            && q.next()) {
            if (q.value(1).toInt() != 0)
                return q.value(0).toLongLong();
            return fail(QStringLiteral("a file named %1 is in the way").arg(name));
        }
        const qint64 id = store::insert(q,
                                        QStringLiteral("INSERT INTO nodes(parent, owner, enterprise, name, folder,"
                                                       " size, mtime) VALUES (?, ?, ?, ?, 1, 0, ?)"),
                                        {parentId, nullable(parent.owner), nullable(parent.enterprise), name,
                                         store::now()});
        if (id < 0)
            return fail(q.lastError().text());
        if (!t.commit())
            return fail(QStringLiteral("database busy"));
        return id;
    });
}

qint64 Service::nodeAt(qint64 topId, const QString& path) const
{
    Node n;
    if (!d->node(topId, &n))
        return -1;
    qint64 id = topId;
    for (const QString& name : path.split(QRegularExpression(QStringLiteral("[/\\\\]")), Qt::SkipEmptyParts)) {
        id = childId(id, name);
        if (id < 0)
            return -1;
    }
    return id;
}

bool Service::removeNode(qint64 nodeId, QString* error)
{
    const auto fail = [error](const QString& why) { return failed(error, why, false); };
    QStringList blobs;
    // Two servers may remove and store below one folder at once: the one
    // that gives way runs again.
    const bool removed = store::retrying([&] {
        blobs.clear();
        // What lies below is read inside the write transaction: an upload
        // into one of these folders either committed before (and its file
        // goes with the folder) or commits after and finds its folder gone.
        store::Transaction t(d->db);
        if (!t.ok())
            return fail(QStringLiteral("database busy"));
        QSqlQuery q(t.db());
        if (!store::exec(q, QStringLiteral("SELECT parent FROM nodes WHERE id = ?"), {nodeId}) || !q.next()
            || q.value(0).isNull())
            return fail(QStringLiteral("no removable node %1").arg(nodeId));
        QVector<qint64> ids;
        if (!store::exec(q,
                         QStringLiteral("WITH RECURSIVE below(id) AS (SELECT CAST(? AS BIGINT) UNION ALL SELECT n.id FROM nodes n"
                                        " JOIN below b ON n.parent = b.id)"
                                        " SELECT id, blob FROM nodes WHERE id IN (SELECT id FROM below)"),
                         {nodeId}))
            return fail(q.lastError().text());
        while (q.next()) {
            ids << q.value(0).toLongLong();
            if (!q.value(1).isNull() && !q.value(1).toString().isEmpty())
                blobs << q.value(1).toString();
        }
        for (qint64 id : qAsConst(ids)) {
            if (!store::exec(q, QStringLiteral("DELETE FROM nodes WHERE id = ?"), {id})
                || !store::exec(q, QStringLiteral("DELETE FROM denials WHERE node = ?"), {id}))
                return fail(q.lastError().text());
        }
        if (!t.commit())
            return fail(QStringLiteral("database busy"));
        return true;
    });
    if (!removed)
        return false;
    for (const QString& blob : qAsConst(blobs))
        QFile::remove(d->db.blobPath(blob));
    return true;
}

QJsonObject Service::subtree(qint64 nodeId) const
{
    Node n;
    if (!d->node(nodeId, &n))
        return QJsonObject();
    JsonWriter w;
    if (!n.folder)
        replies::writeNode(w, n);
    else if (!replies::writeTree(w, d->treeOf(n), nodeId, {}))
        return QJsonObject();
    return QJsonDocument::fromJson(w.bytes()).object();
}

} // namespace clouddisk
