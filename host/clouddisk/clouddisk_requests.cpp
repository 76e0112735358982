// The service's requests: each envelope's checks, then the method's answer.
#include "clouddisk_replies_p.h"
#include "clouddisk_service_p.h"

#include <QDateTime>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSqlQuery>

#include <cmath>

namespace clouddisk {

using replies::kXzljPrefix;

namespace {

const QString kUserToken = QStringLiteral("mq_token_user");
const QString kLtdToken = QStringLiteral("mq_token_ltd");

const QString mPersonTree = QStringLiteral("personcloudgetfiledirforclouddisk");
const QString mEnterpriseList = QStringLiteral("getenterpriselistforclouddisk");
const QString mEnterpriseDir = QStringLiteral("getfiledirinenterpriseforclouddisk");
const QString mEnterpriseAuth = QStringLiteral("enterprisejudgmentauthopenfileforclouddisk");
const QString mPersonUploadInfo = QStringLiteral("personclouduploadinfoforclouddisk");
const QString mPersonUploadFile = QStringLiteral("personclouduploadfileinfoforclouddisk");
const QString mEnterpriseUploadInfo = QStringLiteral("getuploadinfoenterpriseforclouddisk");
const QString mEnterpriseUploadFile = QStringLiteral("enterpriseclouduploadfileinfoforclouddisk");
const QString mLocalSameName = QStringLiteral("isexistlocalsamenamefile");
const QString mDownload = QStringLiteral("personclouddownloadfileforclouddisk");

constexpr qint64 kTicketLifetimeSecs = 24 * 3600;

// Checks the envelope's frame and returns its method object, or a refusal.
QJsonObject methodObject(const QJsonObject& envelope, QJsonObject* refusal)
{
    const QJsonValue data = envelope.value("data");
    if (envelope.value("cmd").toString() != QLatin1String("cloudDisk") || !envelope.value("orgin_token").isString()
        || !data.isObject() || !data.toObject().value("method").isString()) {
        *refusal = refuse(msgMalformed);
        return QJsonObject();
    }
    const QJsonObject m = data.toObject();
    const QString kind = Service::tokenKindFor(m.value("method").toString());
    if (kind.isEmpty()) {
        *refusal = refuse(msgUnknownMethod);
        return QJsonObject();
    }
    if (envelope.value("orgin_token").toString() != kind) {
        *refusal = refuse(msgWrongToken);
        return QJsonObject();
    }
    return m;
}

// "mqid" must be the signed-in user: a number on the browse methods, a
// string on the upload methods.
bool mqidMatches(const QJsonObject& m, qint64 user, bool asString)
{
    const QJsonValue v = m.value("mqid");
    if (asString)
        return v.isString() && store::parseId(v.toString()) == user;
    return v.isDouble() && v.toDouble() == double(user);
}

} // namespace

Answer Service::Private::personTree(qint64 user)
{
    Node root;
    const qint64 rootId = personalRootOf(user);
    if (rootId < 0 || !node(rootId, &root))
        return refuse(msgNoFolder);
    return replies::treeReply(treeNodes(QStringLiteral("owner"), user), rootId, {}, kRootName, "{\"data\":[", "]}");
}

Answer Service::Private::enterpriseList(qint64 user)
{
    QSqlQuery q(db.connection());
    q.setForwardOnly(true);
    store::exec(q,
                QStringLiteral("SELECT e.id, e.root FROM enterprises e JOIN members m ON m.enterprise = e.id"
                               " WHERE m.user = ? ORDER BY e.name"),
                {user});
    QVector<QPair<qint64, qint64>> ents;
    while (q.next())
        ents << qMakePair(q.value(0).toLongLong(), q.value(1).toLongLong());
    JsonWriter w;
    replies::beginSuccess(w);
    w.raw("[");
    bool first = true;
    for (const auto& e : qAsConst(ents)) {
        const Denials denied = denials(user, e.first);
        const QVector<Node> rows = treeNodes(QStringLiteral("enterprise"), e.first);
        const int mark = w.size();
        const bool wasFirst = first;
        w.separator(first);
        if (!replies::writeTree(w, rows, e.second, denied.enter)) {
            w.truncate(mark);
            first = wasFirst;
        }
    }
    w.raw("]");
    replies::endReply(w);
    return w.take();
}

Answer Service::Private::enterpriseDir(qint64 user, const QJsonObject& m)
{
    const qint64 folderId = store::parseId(m.value("wjjid").toString());
    const qint64 enterprise = store::parseId(m.value("qyid").toString());
    Node n;
    if (folderId < 0 || enterprise < 0 || !node(folderId, &n) || !n.folder || n.enterprise != enterprise)
        return refuse(msgNoFolder);
    switch (reach(user, n)) {
    case Reach::Unknown: return refuse(msgNoFolder);
    case Reach::NoEnter: return refuse(msgNoEnter);
    case Reach::Ok: break;
    }
    const Denials denied = denials(user, enterprise);
    return replies::treeReply(treeNodes(QStringLiteral("enterprise"), enterprise), n.id, denied.enter);
}

QJsonObject Service::Private::enterpriseAuth(qint64 user, const QJsonObject& m)
{
    const qint64 fileId = store::parseId(m.value("wjjid").toString());
    const qint64 enterprise = store::parseId(m.value("qyid").toString());
    Node n;
    if (fileId < 0 || enterprise < 0 || !node(fileId, &n) || n.folder || n.enterprise != enterprise)
        return refuse(msgNoFile);
    Denials denied;
    switch (reach(user, n, &denied)) {
    case Reach::Unknown: return refuse(msgNoFile);
    case Reach::NoEnter: return refuse(msgNoEnter);
    case Reach::Ok: break;
    }
    if (denied.open.contains(n.id))
        return refuse(msgNoOpen);
    if (denied.download.contains(n.id))
        return refuse(msgNoDownload);
    return QJsonObject{{"code", 0}, {"msg", QString()}};
}

QJsonObject Service::Private::uploadTarget(qint64 user, qint64 enterprise, const QString& pidText, Node* folder)
{
    const qint64 pid = store::parseId(pidText);
    if (pid < 0 || !node(pid, folder) || !folder->folder)
        return refuse(msgNoFolder);
    if (enterprise < 0 ? folder->enterprise >= 0 : folder->enterprise != enterprise)
        return refuse(enterprise < 0 ? msgNoFolder : msgNoEnterprise);
    switch (reach(user, *folder)) {
    case Reach::Unknown: return refuse(enterprise < 0 ? msgNoFolder : msgNoEnterprise);
    case Reach::NoEnter: return refuse(msgNoEnter);
    case Reach::Ok: break;
    }
    return QJsonObject();
}

QJsonObject Service::Private::uploadInfo(qint64 user, const QJsonObject& m, bool enterpriseUpload)
{
    const QJsonArray items = m.value("data").toArray();
    if (!m.value("data").isArray() || items.size() != 1 || !items.first().isObject())
        return refuse(msgMalformed);
    const QJsonObject item = items.first().toObject();
    const QString wjm = item.value("wjm").toString();
    const QString pid = item.value("pid").toString();
    const QString ext = item.value("ext").toString();
    if (!item.value("wjdx").isDouble() || !item.value("wjm").isString() || !item.value("pid").isString()
        || !item.value("ext").isString() || m.value("pid").toString() != pid)
        return refuse(msgMalformed);
    const QString badName = nameRefusal(wjm);
    if (!badName.isEmpty())
        return refuse(badName);
    // A whole number the cloud could hold, echoed back exactly as it came.
    // The dialog sends sizes as 32-bit integers, so a file past 2 GiB
    // arrives negative; the node records the bytes that arrive.
    const double declared = item.value("wjdx").toDouble();
    if (!std::isfinite(declared) || declared != std::floor(declared) || declared < double(kMinDeclaredSize)
        || declared > double(kMaxFileSize))
        return refuse(msgBadSize);
    qint64 enterprise = -1;
    if (enterpriseUpload) {
        enterprise = store::parseId(m.value("qyid").toString());
        if (enterprise < 0 || !isMember(enterprise, user))
            return refuse(msgNoEnterprise);
    }
    Node folder;
    const QJsonObject refusal = uploadTarget(user, enterprise, pid, &folder);
    if (!refusal.isEmpty())
        return refusal;
    const QJsonObject existing = replaceCheck(user, folder.id, wjm);
    if (!existing.isEmpty())
        return existing;
    const qint64 wjdx = qint64(declared);
    const QString token = store::randomHex(16);
    const QString sclj = QStringLiteral("upload/%1").arg(store::randomHex(8));
    const bool issued = store::retrying([&] {
        store::Transaction t(db);
        QSqlQuery q(t.db());
        return t.ok()
               && store::exec(q,
                              QStringLiteral("INSERT INTO tickets(token, user, enterprise, pid, wjm, ext, wjdx, sclj,"
                                             " created) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                              {token, user, nullable(enterprise), folder.id, wjm, ext, wjdx, sclj,
                               QDateTime::currentSecsSinceEpoch()})
               && t.commit();
    });
    if (!issued)
        return refuse(msgBusy);
    return success(QJsonObject{{"wjm", wjm}, {"ext", ext}, {"wjdx", double(wjdx)}, {"pid", pid},
                               {"wjjwybs", token}, {"sclj", sclj}},
                   QStringLiteral("获取上传信息成功"));
}

QJsonObject Service::Private::replaceCheck(qint64 user, qint64 folderId, const QString& name)
{
    QSqlQuery q(db.connection());
    if (!store::exec(q, QStringLiteral("SELECT %1 FROM nodes WHERE parent = ? AND name = ?").arg(kNodeColumns),
                     {folderId, name})
        || !q.next())
        return QJsonObject();
    const Node n = nodeFrom(q);
    if (n.folder)
        return refuse(msgNameIsFolder);
    if (n.enterprise >= 0 && denials(user, n.enterprise).open.contains(n.id))
        return refuse(msgNoReplace);
    return QJsonObject();
}

QString Service::tokenKindFor(const QString& method)
{
    static const QHash<QString, QString> kinds{
        {mPersonTree, kUserToken},          {mEnterpriseList, kLtdToken},
        {mEnterpriseDir, kLtdToken},        {mEnterpriseAuth, kLtdToken},
        {mPersonUploadInfo, kUserToken},    {mPersonUploadFile, kUserToken},
        {mEnterpriseUploadInfo, kUserToken}, {mEnterpriseUploadFile, kUserToken},
        {mLocalSameName, kUserToken},       {mDownload, kUserToken},
    };
    return kinds.value(method);
}

namespace {

// The reply to one request envelope of the user `userId`.
Answer answer(Service::Private* d, qint64 userId, const QJsonObject& envelope)
{
    QJsonObject refusal;
    const QJsonObject m = methodObject(envelope, &refusal);
    if (!refusal.isEmpty())
        return refusal;
    const QString method = m.value("method").toString();
    const QJsonObject unserved = d->checkUser(userId);
    if (!unserved.isEmpty())
        return unserved;

    const bool browse = method == mPersonTree || method == mEnterpriseList || method == mEnterpriseDir
                        || method == mEnterpriseAuth;
    const bool uploadInfo = method == mPersonUploadInfo || method == mEnterpriseUploadInfo;
    if ((browse || uploadInfo) && !mqidMatches(m, userId, uploadInfo))
        return refuse(msgWrongUser);

    if (method == mPersonTree)
        return d->personTree(userId);
    if (method == mEnterpriseList)
        return d->enterpriseList(userId);
    if (method == mEnterpriseDir)
        return d->enterpriseDir(userId, m);
    if (method == mEnterpriseAuth)
        return d->enterpriseAuth(userId, m);
    if (uploadInfo)
        return d->uploadInfo(userId, m, method == mEnterpriseUploadInfo);
    // Contents and the host's own disk travel by the other entry points.
    return refuse(msgUnknownMethod);
}

} // namespace

QJsonObject Service::handle(qint64 userId, const QJsonObject& envelope)
{
    const Answer a = answer(d.get(), userId, envelope);
    return a.bytes.isEmpty() ? a.object : QJsonDocument::fromJson(a.bytes).object();
}

QByteArray Service::handleBytes(qint64 userId, const QJsonObject& envelope)
{
    const Answer a = answer(d.get(), userId, envelope);
    return a.bytes.isEmpty() ? QJsonDocument(a.object).toJson(QJsonDocument::Compact) : a.bytes;
}

Service::Download Service::prepareDownload(qint64 userId, const QJsonObject& envelope)
{
    Download out;
    const QJsonObject m = methodObject(envelope, &out.refusal);
    if (!out.refusal.isEmpty())
        return out;
    if (m.value("method").toString() != mDownload) {
        out.refusal = refuse(msgUnknownMethod);
        return out;
    }
    out.refusal = d->checkUser(userId);
    if (!out.refusal.isEmpty())
        return out;
    const QString xzlj = m.value("xzlj").toString();
    const qint64 id = xzlj.startsWith(QLatin1String(kXzljPrefix)) ? store::parseId(xzlj.mid(int(qstrlen(kXzljPrefix)))) : -1;
    Node n;
    if (id < 0 || !d->node(id, &n) || n.folder) {
        out.refusal = refuse(msgNoFile);
        return out;
    }
    Denials denied;
    switch (d->reach(userId, n, &denied)) {
    case Private::Reach::Unknown: out.refusal = refuse(msgNoFile); return out;
    case Private::Reach::NoEnter: out.refusal = refuse(msgNoEnter); return out;
    case Private::Reach::Ok: break;
    }
    if (denied.open.contains(n.id)) {
        out.refusal = refuse(msgNoOpen);
        return out;
    }
    if (denied.download.contains(n.id)) {
        out.refusal = refuse(msgNoDownload);
        return out;
    }
    // An upload may replace the contents between reading the record and
    // opening them: the record is read again, and the version opened stays
    // whole however long the reading takes.
    for (int attempt = 0; attempt < 8; ++attempt) {
        if (n.blob.isEmpty())
            break;
        auto file = std::make_shared<QFile>(d->db.blobPath(n.blob));
        if (file->open(QIODevice::ReadOnly)) {
            out.contentsPath = file->fileName();
            out.size = file->size();
            out.contents = std::move(file);
            return out;
        }
        const QString was = n.blob;
        if (!d->node(id, &n) || n.folder || n.blob == was)
            break;
    }
    out.refusal = refuse(msgNoFile);
    return out;
}

std::unique_ptr<Service::Upload> Service::beginUpload(qint64 userId, const QJsonObject& envelope,
                                                      QJsonObject* refusal)
{
    QJsonObject dummy;
    QJsonObject& why = refusal ? *refusal : dummy;
    why = QJsonObject();
    const QJsonObject m = methodObject(envelope, &why);
    if (!why.isEmpty())
        return nullptr;
    const QString method = m.value("method").toString();
    const bool enterpriseUpload = method == mEnterpriseUploadFile;
    if (method != mPersonUploadFile && !enterpriseUpload) {
        why = refuse(msgUnknownMethod);
        return nullptr;
    }
    why = d->checkUser(userId);
    if (!why.isEmpty())
        return nullptr;
    if (!mqidMatches(m, userId, true)) {
        why = refuse(msgWrongUser);
        return nullptr;
    }
    const QString token = m.value("wjjwybs").toString();
    const QString sclj = m.value("sclj").toString();
    QSqlQuery q(d->db.connection());
    if (token.isEmpty()
        || !store::exec(q,
                        QStringLiteral("SELECT user, enterprise, pid, wjm, ext, sclj, used, created FROM tickets"
                                       " WHERE token = ?"),
                        {token})
        || !q.next()) {
        why = refuse(msgBadTicket);
        return nullptr;
    }
    const qint64 ticketUser = q.value(0).toLongLong();
    const qint64 ticketEnterprise = q.value(1).isNull() ? -1 : q.value(1).toLongLong();
    const qint64 ticketPid = q.value(2).toLongLong();
    const QString wjm = q.value(3).toString();
    const QString ext = q.value(4).toString();
    const QString ticketSclj = q.value(5).toString();
    const bool used = q.value(6).toInt() != 0;
    const qint64 created = q.value(7).toLongLong();
    q.finish(); // no read may stay open on this connection while it writes
    const qint64 enterprise = enterpriseUpload ? store::parseId(m.value("qyid").toString()) : -1;
    if (ticketUser != userId || ticketSclj != sclj || ticketEnterprise != enterprise
        || store::parseId(m.value("pid").toString()) != ticketPid || m.value("wjm").toString() != wjm
        || m.value("ext").toString() != ext || QDateTime::currentSecsSinceEpoch() - created > kTicketLifetimeSecs) {
        why = refuse(msgBadTicket);
        return nullptr;
    }
    if (used) {
        why = refuse(msgUsedTicket);
        return nullptr;
    }
    Node folder;
    why = d->uploadTarget(userId, enterprise, QString::number(ticketPid), &folder);
    if (!why.isEmpty())
        return nullptr;
    why = d->replaceCheck(userId, folder.id, wjm);
    if (!why.isEmpty())
        return nullptr;
    // A ticket is spent when its upload starts, so that two uploads can never
    // present the same one.
    const bool spent = store::retrying([&] {
        store::Transaction t(d->db);
        QSqlQuery u(t.db());
        if (!t.ok() || !store::exec(u, QStringLiteral("UPDATE tickets SET used = 1 WHERE token = ? AND used = 0"), {token})
            || u.numRowsAffected() != 1 || !t.commit()) {
            why = t.ok() ? refuse(msgUsedTicket) : refuse(msgBusy);
            return false;
        }
        return true;
    });
    if (!spent)
        return nullptr;
    return d->newUpload(folder, wjm);
}

} // namespace clouddisk
