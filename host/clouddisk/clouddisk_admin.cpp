// Accounts, sessions and administration: the admin tool's and the demo
// host's way into the store.
#include "clouddisk_replies_p.h"
#include "clouddisk_service_p.h"

#include <QCryptographicHash>
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
        // Same work for an unknown name as for a wrong password.
        store::passwordMatches(password, store::hashPassword(QString()));
        return -1;
    }
    return store::passwordMatches(password, q.value(1).toString()) ? q.value(0).toLongLong() : -1;
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
    return store::retrying([&] {
        store::Transaction t(d->db);
        QSqlQuery q(t.db());
        if (!t.ok() || !store::exec(q, QStringLiteral("UPDATE users SET pwhash = ? WHERE id = ?"), {hash, userId})
            || q.numRowsAffected() != 1 || !t.commit()) {
            if (error)
                *error = QStringLiteral("no user %1").arg(userId);
            return false;
        }
        return true;
    });
}

// --- sessions ------------------------------------------------------------------------------

namespace {
QString tokenHash(const QString& token)
{
    return QString::fromLatin1(QCryptographicHash::hash(token.toUtf8(), QCryptographicHash::Sha256).toHex());
}
} // namespace

QString Service::createSession(qint64 userId)
{
    if (userName(userId).isEmpty())
        return QString();
    const QString token = store::randomHex(32);
    return store::retrying([&] {
        store::Transaction t(d->db);
        QSqlQuery q(t.db());
        if (!t.ok()
            || !store::exec(q, QStringLiteral("INSERT INTO sessions(hash, user, created) VALUES (?, ?, ?)"),
                            {tokenHash(token), userId, store::now()})
            || !t.commit())
            return QString();
        return token;
    });
}

qint64 Service::sessionUser(const QString& token) const
{
    if (token.isEmpty() || token.size() > 256)
        return -1;
    QSqlQuery q(d->db.connection());
    if (store::exec(q, QStringLiteral("SELECT user FROM sessions WHERE hash = ?"), {tokenHash(token)}) && q.next())
        return q.value(0).toLongLong();
    return -1;
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
            || !store::exec(q, QStringLiteral("INSERT OR IGNORE INTO members(enterprise, user) VALUES (?, ?)"),
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
                                : QStringLiteral("INSERT OR IGNORE INTO denials(node, user, what) VALUES (?, ?, ?)");
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

qint64 Service::importFolder(qint64 parentId, const QString& localDir, QString* error)
{
    const QFileInfo top(localDir);
    if (!top.isDir()) {
        if (error)
            *error = QStringLiteral("%1 is not a folder").arg(localDir);
        return -1;
    }
    qint64 files = 0;
    QVector<QPair<QString, qint64>> pending{{top.absoluteFilePath(), parentId}};
    while (!pending.isEmpty()) {
        const auto [dir, folderId] = pending.takeLast();
        const QFileInfoList entries =
            QDir(dir).entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
        for (const QFileInfo& fi : entries) {
            if (fi.isSymLink())
                continue;
            if (fi.isDir()) {
                const qint64 sub = makeFolder(folderId, fi.fileName(), error);
                if (sub < 0)
                    return -1;
                pending.append({fi.absoluteFilePath(), sub});
            } else if (fi.isFile()) {
                QFile f(fi.absoluteFilePath());
                if (!f.open(QIODevice::ReadOnly)) {
                    if (error)
                        *error = QStringLiteral("cannot read %1").arg(fi.absoluteFilePath());
                    return -1;
                }
                if (storeFile(folderId, fi.fileName(), &f, error) < 0)
                    return -1;
                ++files;
            }
        }
    }
    return files;
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
    Node n;
    if (!d->node(nodeId, &n) || n.parent < 0) {
        if (error)
            *error = QStringLiteral("no removable node %1").arg(nodeId);
        return false;
    }
    const QVector<Node> all = d->treeOf(n, Private::Columns::All);
    QHash<qint64, QVector<int>> children;
    for (int i = 0; i < all.size(); ++i)
        children[all[i].parent].append(i);
    QVector<qint64> ids{nodeId};
    QStringList blobs;
    if (!n.blob.isEmpty())
        blobs << n.blob;
    for (int k = 0; k < ids.size(); ++k) {
        for (int i : children.value(ids[k])) {
            ids << all[i].id;
            if (!all[i].blob.isEmpty())
                blobs << all[i].blob;
        }
    }
    const bool removed = store::retrying([&] {
        store::Transaction t(d->db);
        QSqlQuery q(t.db());
        if (!t.ok()) {
            if (error)
                *error = QStringLiteral("database busy");
            return false;
        }
        for (qint64 id : qAsConst(ids)) {
            if (!store::exec(q, QStringLiteral("DELETE FROM nodes WHERE id = ?"), {id})
                || !store::exec(q, QStringLiteral("DELETE FROM denials WHERE node = ?"), {id})) {
                if (error)
                    *error = q.lastError().text();
                return false;
            }
        }
        if (!t.commit()) {
            if (error)
                *error = QStringLiteral("database busy");
            return false;
        }
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
