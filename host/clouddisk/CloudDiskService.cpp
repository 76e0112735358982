#include "CloudDiskService.h"
#include "clouddisk_replies_p.h"
#include "clouddisk_store_p.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QFile>
#include <QFileDevice>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>
#include <QVector>

namespace clouddisk {

using store::Node;
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

const QString kRootName = QStringLiteral("根目录");
constexpr qint64 kTicketLifetimeSecs = 24 * 3600;
constexpr qint64 kChunk = 1 << 20;

QJsonObject refuse(const QString& msg)
{
    return QJsonObject{{"code", 1}, {"msg", msg}};
}

QJsonObject success(const QJsonValue& data, const QString& msg = QString())
{
    return QJsonObject{{"code", 0}, {"msg", msg}, {"data", data}};
}

const QString msgMalformed = QStringLiteral("请求格式错误");
const QString msgUnknownMethod = QStringLiteral("不支持的云盘请求");
const QString msgWrongToken = QStringLiteral("请求使用的令牌类型不正确");
const QString msgWrongUser = QStringLiteral("用户身份与登录用户不符");
const QString msgBusy = QStringLiteral("云盘服务繁忙，请稍后重试");
const QString msgNoFolder = QStringLiteral("文件夹不存在或无权访问");
const QString msgNoFile = QStringLiteral("文件不存在或无权访问");
const QString msgNoEnterprise = QStringLiteral("企业不存在或您不是该企业的成员");
const QString msgNoEnter = QStringLiteral("您没有进入该文件夹的权限");
const QString msgNoOpen = QStringLiteral("您没有打开该文件的权限");
const QString msgNoDownload = QStringLiteral("该文件仅允许查看，无法下载");
const QString msgBadTicket = QStringLiteral("上传凭证无效，请重新上传");
const QString msgUsedTicket = QStringLiteral("上传凭证已使用，请重新上传");
const QString msgBadName = QStringLiteral("文件名不合法");
const QString msgNameIsFolder = QStringLiteral("目标位置已有同名文件夹");
const QString msgNoReplace = QStringLiteral("您没有覆盖该文件的权限");
const QString msgStoreFailed = QStringLiteral("云盘保存文件失败");

const char* rightWord(Service::Right r)
{
    switch (r) {
    case Service::Right::Enter: return "enter";
    case Service::Right::Open: return "open";
    case Service::Right::Download: return "download";
    }
    return "enter";
}

// A cloud name is display text; it is refused only when it could not be
// shown as one segment of a cloud path (which uses "\\" between segments).
bool acceptableName(const QString& name)
{
    if (name.trimmed().isEmpty() || name.size() > 255 || name == QLatin1String(".") || name == QLatin1String(".."))
        return false;
    for (const QChar c : name) {
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c.unicode() < 0x20 || c.unicode() == 0x7f)
            return false;
    }
    return true;
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

const QString kNodeColumns = QStringLiteral("id, parent, owner, enterprise, name, folder, size, mtime, blob");
// What a listing shows, in the same places: a reply needs neither the owner
// nor where the contents lie.
const QString kListedColumns = QStringLiteral("id, parent, NULL, enterprise, name, folder, size, mtime, NULL");

QVariant nullable(qint64 v)
{
    return v < 0 ? QVariant(QVariant::LongLong) : QVariant(v);
}

struct Denials
{
    QSet<qint64> enter, open, download;
};

// A reply as it was made: the small ones as objects, those that carry a tree
// as the bytes that are sent.
struct Answer
{
    Answer(QJsonObject o)
        : object(std::move(o))
    {
    }
    Answer(QByteArray b)
        : bytes(std::move(b))
    {
    }
    QJsonObject object;
    QByteArray bytes;
};

// Room for a tree reply of `rows` nodes, so that it is written without
// growing.
constexpr int kBytesPerNode = 192;

} // namespace

struct Service::Private
{
    explicit Private(const QString& dir)
        : db(dir)
    {
    }
    store::Db db;

    // ---- reading
    bool node(qint64 id, Node* out)
    {
        QSqlQuery q(db.connection());
        if (!store::exec(q, QStringLiteral("SELECT %1 FROM nodes WHERE id = ?").arg(kNodeColumns), {id}) || !q.next())
            return false;
        *out = nodeFrom(q);
        return true;
    }

    bool isMember(qint64 enterprise, qint64 user)
    {
        QSqlQuery q(db.connection());
        return store::exec(q, QStringLiteral("SELECT 1 FROM members WHERE enterprise = ? AND user = ?"),
                           {enterprise, user})
            && q.next();
    }

    Denials denials(qint64 user, qint64 enterprise)
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

    // The folders from the node up to its top folder, the node first.
    QVector<Node> chain(const Node& n)
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

    enum class Reach { Ok, Unknown, NoEnter };
    // Whether `user` may reach node n: their own personal tree, or a member
    // of its enterprise allowed into every folder on the way.
    Reach reach(qint64 user, const Node& n, Denials* deniedOut = nullptr)
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

    // ---- listing
    enum class Columns { Listed, All };
    // All nodes of one tree in one query, grouped by parent, each folder's
    // children folders first and by name: the order of the tree indexes,
    // so the rows come without a sort.
    QVector<Node> treeNodes(const QString& column, qint64 value, Columns columns = Columns::Listed)
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

    // The rows of the tree that node n belongs to.
    QVector<Node> treeOf(const Node& n, Columns columns = Columns::Listed)
    {
        return n.enterprise >= 0 ? treeNodes(QStringLiteral("enterprise"), n.enterprise, columns)
                                 : treeNodes(QStringLiteral("owner"), n.owner, columns);
    }

    // ---- methods
    Answer personTree(qint64 user)
    {
        Node root;
        const qint64 rootId = personalRootOf(user);
        if (rootId < 0 || !node(rootId, &root))
            return refuse(msgNoFolder);
        const QVector<Node> rows = treeNodes(QStringLiteral("owner"), user);
        JsonWriter w(rows.size() * kBytesPerNode);
        replies::beginSuccess(w);
        w.raw("{\"data\":[");
        if (!replies::writeTree(w, rows, rootId, {}, kRootName))
            w.raw("{}");
        w.raw("]}");
        replies::endReply(w);
        return w.take();
    }

    Answer enterpriseList(qint64 user)
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

    Answer enterpriseDir(qint64 user, const QJsonObject& m)
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
        const QVector<Node> rows = treeNodes(QStringLiteral("enterprise"), enterprise);
        JsonWriter w(rows.size() * kBytesPerNode);
        replies::beginSuccess(w);
        if (!replies::writeTree(w, rows, n.id, denied.enter))
            w.raw("{}");
        replies::endReply(w);
        return w.take();
    }

    QJsonObject enterpriseAuth(qint64 user, const QJsonObject& m)
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

    // The folder an upload goes into: reachable, and in the personal tree
    // or in the enterprise the request names.
    QJsonObject uploadTarget(qint64 user, qint64 enterprise, const QString& pidText, Node* folder)
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

    QJsonObject uploadInfo(qint64 user, const QJsonObject& m, bool enterpriseUpload)
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
        if (!acceptableName(wjm))
            return refuse(msgBadName);
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
        const qint64 wjdx = qint64(item.value("wjdx").toDouble());
        const QString token = store::randomHex(16);
        const QString sclj = QStringLiteral("upload/%1").arg(store::randomHex(8));
        store::Transaction t(db);
        QSqlQuery q(t.db());
        if (!t.ok()
            || !store::exec(q,
                            QStringLiteral("INSERT INTO tickets(token, user, enterprise, pid, wjm, ext, wjdx, sclj, created)"
                                           " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                            {token, user, nullable(enterprise), folder.id, wjm, ext, wjdx, sclj,
                             QDateTime::currentSecsSinceEpoch()})
            || !t.commit())
            return refuse(msgBusy);
        return success(QJsonObject{{"wjm", wjm}, {"ext", ext}, {"wjdx", double(wjdx)}, {"pid", pid},
                                   {"wjjwybs", token}, {"sclj", sclj}},
                       QStringLiteral("获取上传信息成功"));
    }

    // A file of that name may be replaced unless opening it was withdrawn;
    // a folder of that name is never replaced.
    QJsonObject replaceCheck(qint64 user, qint64 folderId, const QString& name)
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

    qint64 personalRootOf(qint64 user)
    {
        QSqlQuery q(db.connection());
        if (store::exec(q, QStringLiteral("SELECT id FROM nodes WHERE owner = ? AND parent IS NULL"), {user}) && q.next())
            return q.value(0).toLongLong();
        return -1;
    }

    // ---- writing contents
    // Moves complete contents into place and records them as the file
    // `name` in `folder`, replacing a file of that name. Returns the node.
    bool commitContents(const Node& folder, const QString& name, const QString& blob, qint64 size, Node* out,
                        QString* error)
    {
        QString oldBlob;
        {
            store::Transaction t(db);
            if (!t.ok()) {
                *error = msgBusy;
                return false;
            }
            QSqlQuery q(t.db());
            Node parent;
            // The folder may have gone while the bytes travelled.
            if (!store::exec(q, QStringLiteral("SELECT %1 FROM nodes WHERE id = ?").arg(kNodeColumns), {folder.id})
                || !q.next() || !nodeFrom(q).folder) {
                *error = msgNoFolder;
                return false;
            }
            parent = nodeFrom(q);
            const QString mtime = store::now();
            if (!store::exec(q, QStringLiteral("SELECT %1 FROM nodes WHERE parent = ? AND name = ?").arg(kNodeColumns),
                             {folder.id, name})) {
                *error = msgBusy;
                return false;
            }
            if (q.next()) {
                Node existing = nodeFrom(q);
                if (existing.folder) {
                    *error = msgNameIsFolder;
                    return false;
                }
                oldBlob = existing.blob;
                if (!store::exec(q, QStringLiteral("UPDATE nodes SET size = ?, mtime = ?, blob = ? WHERE id = ?"),
                                 {size, mtime, blob, existing.id})) {
                    *error = msgBusy;
                    return false;
                }
                existing.size = size;
                existing.mtime = mtime;
                existing.blob = blob;
                *out = existing;
            } else {
                if (!store::exec(q,
                                 QStringLiteral("INSERT INTO nodes(parent, owner, enterprise, name, folder, size, mtime, blob)"
                                                " VALUES (?, ?, ?, ?, 0, ?, ?, ?)"),
                                 {parent.id, nullable(parent.owner), nullable(parent.enterprise), name, size, mtime, blob})) {
                    *error = msgBusy;
                    return false;
                }
                Node n;
                n.id = q.lastInsertId().toLongLong();
                n.parent = parent.id;
                n.owner = parent.owner;
                n.enterprise = parent.enterprise;
                n.name = name;
                n.size = size;
                n.mtime = mtime;
                n.blob = blob;
                *out = n;
            }
            if (!t.commit()) {
                *error = msgBusy;
                return false;
            }
        }
        if (!oldBlob.isEmpty())
            QFile::remove(db.blobPath(oldBlob)); // a leftover is cleaned at the next start
        return true;
    }

    // Writes the bytes to a temporary file, flushes them to disk and renames
    // them into the contents folder; only then may a record name them.
    class ContentsWriter
    {
    public:
        explicit ContentsWriter(store::Db& db)
            : m_db(db)
            , m_blob(db.newBlobName())
            , m_file(db.tmpPathFor(m_blob))
        {
            m_ok = m_file.open(QIODevice::WriteOnly | QIODevice::Truncate);
        }
        ~ContentsWriter() { discard(); }
        bool write(const char* data, qint64 size)
        {
            if (!m_ok || size < 0)
                return m_ok = false;
            qint64 done = 0;
            while (done < size) {
                const qint64 n = m_file.write(data + done, size - done);
                if (n <= 0)
                    return m_ok = false;
                done += n;
            }
            m_size += size;
            return true;
        }
        // Copies the rest of a local file; false when it cannot here (nothing
        // copied) or on a failure (then m_ok is false too).
        bool copyFrom(QFileDevice* source)
        {
            if (!m_ok || !source || source->handle() < 0 || !m_file.flush())
                return false;
            const qint64 n = store::copyFileData(source->handle(), m_file.handle());
            if (n == -1)
                return false;
            if (n < 0)
                return m_ok = false;
            m_size += n;
            return true;
        }
        bool ok() const { return m_ok; }
        // The blob's name once it is complete and in place, else empty. The
        // rename comes only after the last byte was written, so whatever
        // stops this process leaves either no blob or a whole one.
        QString finish()
        {
            if (!m_ok || !m_file.flush())
                return QString();
            m_file.close();
            const QString target = m_db.blobPath(m_blob);
            if (!QDir().mkpath(QFileInfo(target).absolutePath()) || !QFile::rename(m_file.fileName(), target))
                return QString();
            m_placed = true;
            return m_blob;
        }
        // Removes what was written (also a blob already placed but never
        // recorded).
        void discard()
        {
            if (m_file.isOpen())
                m_file.close();
            if (!m_kept) {
                QFile::remove(m_file.fileName());
                if (m_placed)
                    QFile::remove(m_db.blobPath(m_blob));
            }
            m_ok = false;
        }
        void keep() { m_kept = true; }
        qint64 size() const { return m_size; }

    private:
        store::Db& m_db;
        QString m_blob;
        QFile m_file;
        qint64 m_size = 0;
        bool m_ok = false;
        bool m_placed = false;
        bool m_kept = false;
    };
};

// --- Upload ------------------------------------------------------------------------

Service::Upload::~Upload() = default;

bool Service::Upload::writeFrom(QIODevice* source)
{
    if (!source || !source->isReadable())
        return false;
    QByteArray buf(int(kChunk), Qt::Uninitialized);
    for (;;) {
        const qint64 n = source->read(buf.data(), buf.size());
        if (n < 0)
            return false;
        if (n == 0)
            return true;
        if (!write(buf.constData(), n))
            return false;
    }
}

namespace {

class UploadImpl : public Service::Upload
{
public:
    UploadImpl(Service::Private* d, const Node& folder, const QString& name)
        : m_d(d)
        , m_folder(folder)
        , m_name(name)
        , m_writer(d->db)
    {
    }
    ~UploadImpl() override { abort(); }

    bool write(const char* data, qint64 size) override { return !m_done && m_writer.write(data, size); }

    bool writeFrom(QIODevice* source) override
    {
        if (m_done)
            return false;
        auto* file = qobject_cast<QFileDevice*>(source);
        if (file && m_writer.copyFrom(file))
            return true;
        return m_writer.ok() && Upload::writeFrom(source);
    }

    QJsonObject commit() override
    {
        if (m_done)
            return refuse(msgStoreFailed);
        m_done = true;
        const QString blob = m_writer.finish();
        if (blob.isEmpty()) {
            m_writer.discard();
            return refuse(msgStoreFailed);
        }
        Node stored;
        QString error;
        if (!m_d->commitContents(m_folder, m_name, blob, m_writer.size(), &stored, &error)) {
            m_writer.discard();
            return refuse(error);
        }
        m_writer.keep();
        JsonWriter w;
        replies::beginSuccess(w, QStringLiteral("上传成功"));
        replies::writeNode(w, stored);
        replies::endReply(w);
        return QJsonDocument::fromJson(w.bytes()).object();
    }

    void abort() override
    {
        m_done = true;
        m_writer.discard();
    }

private:
    Service::Private* m_d;
    Node m_folder;
    QString m_name;
    Service::Private::ContentsWriter m_writer;
    bool m_done = false;
};

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

// --- Service -------------------------------------------------------------------------

Service::Service() = default;
Service::~Service() = default;

std::unique_ptr<Service> Service::open(const QString& dataDir, QString* error)
{
    std::unique_ptr<Service> s(new Service);
    s->d = std::make_unique<Private>(dataDir);
    if (!s->d->db.open(error))
        return nullptr;
    return s;
}

QString Service::contentsDir() const
{
    return d->db.contentsDir();
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
Answer answer(const Service& service, Service::Private* d, qint64 userId, const QJsonObject& envelope)
{
    QJsonObject refusal;
    const QJsonObject m = methodObject(envelope, &refusal);
    if (!refusal.isEmpty())
        return refusal;
    const QString method = m.value("method").toString();
    if (userId <= 0 || service.userName(userId).isEmpty())
        return refuse(msgWrongUser);

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
    const Answer a = answer(*this, d.get(), userId, envelope);
    return a.bytes.isEmpty() ? a.object : QJsonDocument::fromJson(a.bytes).object();
}

QByteArray Service::handleBytes(qint64 userId, const QJsonObject& envelope)
{
    const Answer a = answer(*this, d.get(), userId, envelope);
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
    if (userId <= 0 || userName(userId).isEmpty()) {
        out.refusal = refuse(msgWrongUser);
        return out;
    }
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
    out.contentsPath = d->db.blobPath(n.blob);
    out.size = n.size;
    if (n.blob.isEmpty() || !QFileInfo(out.contentsPath).isFile())
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
    if (userId <= 0 || userName(userId).isEmpty() || !mqidMatches(m, userId, true)) {
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
    {
        store::Transaction t(d->db);
        QSqlQuery u(t.db());
        if (!t.ok() || !store::exec(u, QStringLiteral("UPDATE tickets SET used = 1 WHERE token = ? AND used = 0"), {token})
            || u.numRowsAffected() != 1 || !t.commit()) {
            why = t.ok() ? refuse(msgUsedTicket) : refuse(msgBusy);
            return nullptr;
        }
    }
    return std::make_unique<UploadImpl>(d.get(), folder, wjm);
}

// --- accounts -----------------------------------------------------------------------

qint64 Service::addUser(const QString& name, const QString& password, QString* error)
{
    auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return qint64(-1);
    };
    if (!acceptableName(name))
        return fail(QStringLiteral("invalid user name"));
    if (password.isEmpty())
        return fail(QStringLiteral("empty password"));
    const QString hash = store::hashPassword(password);
    store::Transaction t(d->db);
    if (!t.ok())
        return fail(QStringLiteral("database busy"));
    QSqlQuery q(t.db());
    if (store::exec(q, QStringLiteral("SELECT 1 FROM users WHERE name = ?"), {name}) && q.next())
        return fail(QStringLiteral("user %1 exists").arg(name));
    if (!store::exec(q, QStringLiteral("INSERT INTO users(name, pwhash, created) VALUES (?, ?, ?)"),
                     {name, hash, store::now()}))
        return fail(q.lastError().text());
    const qint64 id = q.lastInsertId().toLongLong();
    if (!store::exec(q,
                     QStringLiteral("INSERT INTO nodes(parent, owner, enterprise, name, folder, size, mtime)"
                                    " VALUES (NULL, ?, NULL, ?, 1, 0, ?)"),
                     {id, kRootName, store::now()}))
        return fail(q.lastError().text());
    if (!t.commit())
        return fail(QStringLiteral("database busy"));
    return id;
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
    QList<Account> out;
    QSqlQuery q(d->db.connection());
    store::exec(q, QStringLiteral("SELECT id, name FROM users ORDER BY id"));
    while (q.next())
        out << Account{q.value(0).toLongLong(), q.value(1).toString()};
    return out;
}

bool Service::setPassword(qint64 userId, const QString& password, QString* error)
{
    if (password.isEmpty()) {
        if (error)
            *error = QStringLiteral("empty password");
        return false;
    }
    const QString hash = store::hashPassword(password);
    store::Transaction t(d->db);
    QSqlQuery q(t.db());
    if (!t.ok() || !store::exec(q, QStringLiteral("UPDATE users SET pwhash = ? WHERE id = ?"), {hash, userId})
        || q.numRowsAffected() != 1 || !t.commit()) {
        if (error)
            *error = QStringLiteral("no user %1").arg(userId);
        return false;
    }
    return true;
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
    store::Transaction t(d->db);
    QSqlQuery q(t.db());
    if (!t.ok()
        || !store::exec(q, QStringLiteral("INSERT INTO sessions(hash, user, created) VALUES (?, ?, ?)"),
                        {tokenHash(token), userId, store::now()})
        || !t.commit())
        return QString();
    return token;
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
    store::Transaction t(d->db);
    QSqlQuery q(t.db());
    if (t.ok() && store::exec(q, QStringLiteral("DELETE FROM sessions WHERE hash = ?"), {tokenHash(token)}))
        t.commit();
}

// --- administration ----------------------------------------------------------------------------

qint64 Service::addEnterprise(const QString& name, QString* error)
{
    auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return qint64(-1);
    };
    if (!acceptableName(name))
        return fail(QStringLiteral("invalid enterprise name"));
    store::Transaction t(d->db);
    if (!t.ok())
        return fail(QStringLiteral("database busy"));
    QSqlQuery q(t.db());
    if (store::exec(q, QStringLiteral("SELECT 1 FROM enterprises WHERE name = ?"), {name}) && q.next())
        return fail(QStringLiteral("enterprise %1 exists").arg(name));
    if (!store::exec(q, QStringLiteral("INSERT INTO enterprises(name) VALUES (?)"), {name}))
        return fail(q.lastError().text());
    const qint64 id = q.lastInsertId().toLongLong();
    if (!store::exec(q,
                     QStringLiteral("INSERT INTO nodes(parent, owner, enterprise, name, folder, size, mtime)"
                                    " VALUES (NULL, NULL, ?, ?, 1, 0, ?)"),
                     {id, name, store::now()}))
        return fail(q.lastError().text());
    const qint64 root = q.lastInsertId().toLongLong();
    if (!store::exec(q, QStringLiteral("UPDATE enterprises SET root = ? WHERE id = ?"), {root, id}) || !t.commit())
        return fail(QStringLiteral("database busy"));
    return id;
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
    QList<Account> out;
    QSqlQuery q(d->db.connection());
    store::exec(q, QStringLiteral("SELECT id, name FROM enterprises ORDER BY id"));
    while (q.next())
        out << Account{q.value(0).toLongLong(), q.value(1).toString()};
    return out;
}

QList<Service::Account> Service::members(qint64 enterpriseId) const
{
    QList<Account> out;
    QSqlQuery q(d->db.connection());
    store::exec(q,
                QStringLiteral("SELECT u.id, u.name FROM users u JOIN members m ON m.user = u.id"
                               " WHERE m.enterprise = ? ORDER BY u.id"),
                {enterpriseId});
    while (q.next())
        out << Account{q.value(0).toLongLong(), q.value(1).toString()};
    return out;
}

bool Service::addMember(qint64 enterpriseId, qint64 userId, QString* error)
{
    if (enterpriseName(enterpriseId).isEmpty() || userName(userId).isEmpty()) {
        if (error)
            *error = QStringLiteral("unknown enterprise or user");
        return false;
    }
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
}

bool Service::removeMember(qint64 enterpriseId, qint64 userId, QString* error)
{
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
}

bool Service::setRight(qint64 nodeId, qint64 userId, Right right, bool granted, QString* error)
{
    auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return false;
    };
    Node n;
    if (!d->node(nodeId, &n) || n.enterprise < 0)
        return fail(QStringLiteral("no enterprise folder or file %1").arg(nodeId));
    if (userName(userId).isEmpty())
        return fail(QStringLiteral("no user %1").arg(userId));
    if (n.folder != (right == Right::Enter))
        return fail(n.folder ? QStringLiteral("folders carry the enter right only")
                             : QStringLiteral("files carry the open and download rights only"));
    store::Transaction t(d->db);
    QSqlQuery q(t.db());
    const QString sql = granted ? QStringLiteral("DELETE FROM denials WHERE node = ? AND user = ? AND what = ?")
                                : QStringLiteral("INSERT OR IGNORE INTO denials(node, user, what) VALUES (?, ?, ?)");
    if (!t.ok() || !store::exec(q, sql, {nodeId, userId, QString::fromLatin1(rightWord(right))}) || !t.commit())
        return fail(QStringLiteral("database busy"));
    return true;
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
    auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return qint64(-1);
    };
    if (!acceptableName(name))
        return fail(QStringLiteral("invalid folder name"));
    Node parent;
    if (!d->node(parentId, &parent) || !parent.folder)
        return fail(QStringLiteral("no folder %1").arg(parentId));
    store::Transaction t(d->db);
    if (!t.ok())
        return fail(QStringLiteral("database busy"));
    QSqlQuery q(t.db());
    if (store::exec(q, QStringLiteral("SELECT id, folder FROM nodes WHERE parent = ? AND name = ?"), {parentId, name})
        && q.next()) {
        if (q.value(1).toInt() != 0)
            return q.value(0).toLongLong();
        return fail(QStringLiteral("a file named %1 is in the way").arg(name));
    }
    if (!store::exec(q,
                     QStringLiteral("INSERT INTO nodes(parent, owner, enterprise, name, folder, size, mtime)"
                                    " VALUES (?, ?, ?, ?, 1, 0, ?)"),
                     {parentId, nullable(parent.owner), nullable(parent.enterprise), name, store::now()}))
        return fail(q.lastError().text());
    const qint64 id = q.lastInsertId().toLongLong();
    if (!t.commit())
        return fail(QStringLiteral("database busy"));
    return id;
}

qint64 Service::storeFile(qint64 parentId, const QString& name, QIODevice* source, QString* error)
{
    auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return qint64(-1);
    };
    if (!acceptableName(name))
        return fail(QStringLiteral("invalid file name"));
    Node parent;
    if (!d->node(parentId, &parent) || !parent.folder)
        return fail(QStringLiteral("no folder %1").arg(parentId));
    if (!source || !source->isReadable())
        return fail(QStringLiteral("cannot read the contents"));
    Private::ContentsWriter writer(d->db);
    auto* file = qobject_cast<QFileDevice*>(source);
    if (!file || !writer.copyFrom(file)) {
        QByteArray buf(int(kChunk), Qt::Uninitialized);
        for (;;) {
            const qint64 n = source->read(buf.data(), buf.size());
            if (n < 0)
                return fail(QStringLiteral("cannot read the contents"));
            if (n == 0 && (source->atEnd() || !source->waitForReadyRead(-1)))
                break;
            if (!writer.write(buf.constData(), n))
                return fail(QStringLiteral("cannot write the contents"));
        }
    }
    const QString blob = writer.finish();
    if (blob.isEmpty())
        return fail(QStringLiteral("cannot write the contents"));
    Node stored;
    QString why;
    if (!d->commitContents(parent, name, blob, writer.size(), &stored, &why))
        return fail(why);
    writer.keep();
    return stored.id;
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
    {
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
    }
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
