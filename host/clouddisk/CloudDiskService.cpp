// Opening the service's store, reading its nodes and rights, and the
// helpers its parts share.
#include "clouddisk_service_p.h"

#include <QSqlQuery>

namespace clouddisk {

QJsonObject refuse(const QString& msg)
{
    return QJsonObject{{"code", 1}, {"msg", msg}};
}

QJsonObject success(const QJsonValue& data, const QString& msg)
{
    return QJsonObject{{"code", 0}, {"msg", msg}, {"data", data}};
}

QString nameRefusal(const QString& name)
{
    if (name.trimmed().isEmpty() || name.size() > 255 || name == QLatin1String(".") || name == QLatin1String("..")
        || name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\')))
        return msgBadName;
    for (const QChar c : name) {
        const ushort u = c.unicode();
        // C0 and C1 controls, and the marks that turn the direction of the
        // text around: a name in a shared folder must read as it is.
        if (u < 0x20 || (u >= 0x7f && u <= 0x9f) || (u >= 0x202a && u <= 0x202e) || (u >= 0x2066 && u <= 0x2069)
            || u == 0x200e || u == 0x200f || u == 0x061c)
            return msgNameHasControls;
    }
    return QString();
}

bool acceptableName(const QString& name)
{
    return nameRefusal(name).isEmpty();
}

Node nodeFrom(const QSqlQuery& q)
{
    // Columns: id, parent, owner, enterprise, name, folder, size, mtime, blob
    Node n;
    n.id = q.value(0).toLongLong();
    n.parent = q.value(1).isNull() ? -1 : q.value(1).toLongLong();
    n.owner = q.value(2).isNull() ? -1 : q.value(2).toLongLong();
    n.enterprise = q.value(3).isNull() ? -1 : q.value(3).toLongLong();
    n.name = q.value(4).toString();
    n.folder = q.value(5).toInt() != 0;
    n.size = q.value(6).toLongLong();
    n.mtime = q.value(7).toString();
    n.blob = q.value(8).toString();
    return n;
}

QVariant nullable(qint64 v)
{
    return v < 0 ? QVariant(QVariant::LongLong) : QVariant(v);
}

Service::Private::Known Service::Private::userKnown(qint64 user)
{
    if (user <= 0)
        return Known::No;
    QSqlDatabase conn = db.connection();
    if (!conn.isOpen())
        return Known::Failed;
    QSqlQuery q(conn);
    if (!store::exec(q, QStringLiteral("SELECT 1 FROM users WHERE id = ?"), {user}))
        return Known::Failed;
    return q.next() ? Known::Yes : Known::No;
}

QJsonObject Service::Private::checkUser(qint64 user)
{
    switch (userKnown(user)) {
    case Known::Yes: return QJsonObject();
    case Known::No: return refuse(msgWrongUser);
    case Known::Failed: break;
    }
    return refuse(msgBusy);
}

bool Service::Private::node(qint64 id, Node* out)
{
    QSqlQuery q(db.connection());
    if (!store::exec(q, QStringLiteral("SELECT %1 FROM nodes WHERE id = ?").arg(kNodeColumns), {id}) || !q.next())
        return false;
    *out = nodeFrom(q);
    return true;
}

bool Service::Private::isMember(qint64 enterprise, qint64 user)
{
    QSqlQuery q(db.connection());
    return store::exec(q, QStringLiteral("SELECT 1 FROM members WHERE enterprise = ? AND user = ?"),
                       {enterprise, user})
        && q.next();
}

Denials Service::Private::denials(qint64 user, qint64 enterprise)
{
    Denials d;
    QSqlQuery q(db.connection());
    q.setForwardOnly(true);
    store::exec(q,
                QStringLiteral("SELECT d.node, d.what FROM denials d JOIN nodes n ON n.id = d.node"
                               " WHERE d.user = ? AND n.enterprise = ?"),
                {user, enterprise});
    while (q.next()) {
        const qint64 node = q.value(0).toLongLong();
        const QString what = q.value(1).toString();
        if (what == QLatin1String("enter"))
            d.enter.insert(node);
        else if (what == QLatin1String("open"))
            d.open.insert(node);
        else if (what == QLatin1String("download"))
            d.download.insert(node);
    }
    return d;
}

QVector<Node> Service::Private::chain(const Node& n)
{
    QVector<Node> out{n};
    Node cur = n;
    while (cur.parent >= 0 && out.size() < 4096) {
        Node up;
        if (!node(cur.parent, &up))
            break;
        out << up;
        cur = up;
    }
    return out;
}

Service::Private::Reach Service::Private::reach(qint64 user, const Node& n, Denials* deniedOut)
{
    if (n.enterprise < 0)
        return n.owner == user ? Reach::Ok : Reach::Unknown;
    if (!isMember(n.enterprise, user))
        return Reach::Unknown;
    const Denials denied = denials(user, n.enterprise);
    if (deniedOut)
        *deniedOut = denied;
    for (const Node& f : chain(n)) {
        if (f.folder && denied.enter.contains(f.id))
            return Reach::NoEnter;
    }
    return Reach::Ok;
}

QVector<Node> Service::Private::treeNodes(const QString& column, qint64 value, Columns columns)
{
    QVector<Node> out;
    QSqlQuery q(db.connection());
    q.setForwardOnly(true);
    store::exec(q, QStringLiteral("SELECT %1 FROM nodes WHERE %2 = ? ORDER BY parent, folder DESC, name")
                       .arg(columns == Columns::All ? kNodeColumns : kListedColumns, column),
                {value});
    while (q.next())
        out << nodeFrom(q);
    return out;
}

QVector<Node> Service::Private::treeOf(const Node& n, Columns columns)
{
    return n.enterprise >= 0 ? treeNodes(QStringLiteral("enterprise"), n.enterprise, columns)
                             : treeNodes(QStringLiteral("owner"), n.owner, columns);
}

qint64 Service::Private::personalRootOf(qint64 user)
{
    QSqlQuery q(db.connection());
    if (store::exec(q, QStringLiteral("SELECT id FROM nodes WHERE owner = ? AND parent IS NULL"), {user}) && q.next())
        return q.value(0).toLongLong();
    return -1;
}

// --- Service -------------------------------------------------------------------------

Service::Service() = default;
Service::~Service() = default;

std::unique_ptr<Service> Service::open(const QString& dataDir, QString* error, OthersAccess othersAccess)
{
    return open(dataDir, QString(), error, othersAccess);
}

std::unique_ptr<Service> Service::open(const QString& dataDir, const QString& database, QString* error,
                                       OthersAccess othersAccess)
{
    store::Location location;
    if (!database.isEmpty() && !store::parseLocation(database, &location, error))
        return nullptr;
    std::unique_ptr<Service> s(new Service);
    s->d = std::make_unique<Private>(dataDir, location);
    if (!s->d->db.open(error, othersAccess == OthersAccess::Withdraw))
        return nullptr;
    return s;
}

void Service::setConnectionLimit(int limit)
{
    d->db.setConnectionLimit(limit);
}

void Service::releaseConnection()
{
    d->db.releaseConnection();
}

int Service::openConnections() const
{
    return d->db.openConnections();
}

QString Service::contentsDir() const
{
    return d->db.contentsDir();
}

} // namespace clouddisk
