#pragma once
// What the parts of the cloud-disk service share: the store's reading, the
// messages of its refusals, and the private half of Service. Private to the
// clouddisk library.
//
//   CloudDiskService.cpp   opening the store, reading nodes and rights
//   clouddisk_requests.cpp the requests and their checks
//   clouddisk_replies.cpp  the tree replies, written as bytes
//   clouddisk_contents.cpp storing contents, uploads
//   clouddisk_admin.cpp    accounts, sessions and administration
#include "CloudDiskService.h"
#include "clouddisk_store_p.h"

#include <QByteArray>
#include <QJsonObject>
#include <QSet>
#include <QSqlQuery>
#include <QString>
#include <QVector>

namespace clouddisk {

// Says why a call failed, where the caller asked to know, and answers value.
template <typename T>
T failed(QString* error, const QString& why, T value)
{
    if (error)
        *error = why;
    return value;
}

using store::Node;

inline const QString kRootName = QStringLiteral("根目录");
// Contents copied through memory move in pieces of this size.
constexpr qint64 kChunk = 1 << 20;

QJsonObject refuse(const QString& msg);
QJsonObject success(const QJsonValue& data, const QString& msg = QString());

inline const QString msgMalformed = QStringLiteral("请求格式错误");
inline const QString msgUnknownMethod = QStringLiteral("不支持的云盘请求");
inline const QString msgWrongToken = QStringLiteral("请求使用的令牌类型不正确");
inline const QString msgWrongUser = QStringLiteral("用户身份与登录用户不符");
inline const QString msgBusy = QStringLiteral("云盘服务繁忙，请稍后重试");
inline const QString msgNoFolder = QStringLiteral("文件夹不存在或无权访问");
inline const QString msgNoFile = QStringLiteral("文件不存在或无权访问");
inline const QString msgNoEnterprise = QStringLiteral("企业不存在或您不是该企业的成员");
inline const QString msgNoEnter = QStringLiteral("您没有进入该文件夹的权限");
inline const QString msgNoOpen = QStringLiteral("您没有打开该文件的权限");
inline const QString msgNoDownload = QStringLiteral("该文件仅允许查看，无法下载");
inline const QString msgBadTicket = QStringLiteral("上传凭证无效，请重新上传");
inline const QString msgUsedTicket = QStringLiteral("上传凭证已使用，请重新上传");
inline const QString msgBadName = QStringLiteral("文件名不合法");
inline const QString msgNameIsFolder = QStringLiteral("目标位置已有同名文件夹");
inline const QString msgNoReplace = QStringLiteral("您没有覆盖该文件的权限");
inline const QString msgStoreFailed = QStringLiteral("云盘保存文件失败");

inline const QString msgNameHasControls = QStringLiteral("文件名不能含有控制字符或改变文字方向的字符");
inline const QString msgBadSize = QStringLiteral("文件大小不合法");
// The largest file the cloud takes, in bytes (1 TiB).
constexpr qint64 kMaxFileSize = qint64(1) << 40;
// The least size an upload may declare: the dialog's 32-bit sizes of files
// past 2 GiB are negative.
constexpr qint64 kMinDeclaredSize = -(qint64(1) << 31);

// A cloud name is display text; it is refused when it could not be shown
// as one segment of a cloud path (which uses "\\" between segments) or
// would not read as what it is (control and direction characters). The
// refusal's text, or empty for a name the cloud takes.
QString nameRefusal(const QString& name);
bool acceptableName(const QString& name);

// A node from a row of the columns below.
Node nodeFrom(const QSqlQuery& q);
inline const QString kNodeColumns = QStringLiteral("id, parent, owner, enterprise, name, folder, size, mtime, blob");
// What a listing shows, in the same places: a reply needs neither the owner
// nor where the contents lie.
inline const QString kListedColumns = QStringLiteral("id, parent, NULL, enterprise, name, folder, size, mtime, NULL");

QVariant nullable(qint64 v);

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

struct Service::Private
{
    explicit Private(const QString& dir, const store::Location& location)
        : db(dir, location)
    {
    }
    store::Db db;

    // ---- reading
    // Whether the user exists; Failed when the store could not be asked
    // (that is the service's failure, never the caller's).
    enum class Known { Yes, No, Failed };
    Known userKnown(qint64 user);
    // The refusal for a request of `user` that the store cannot serve or
    // that names no user; empty when the user may go on.
    QJsonObject checkUser(qint64 user);
    bool node(qint64 id, Node* out);
    bool isMember(qint64 enterprise, qint64 user);
    Denials denials(qint64 user, qint64 enterprise);
    // The folders from the node up to its top folder, the node first.
    QVector<Node> chain(const Node& n);
    enum class Reach { Ok, Unknown, NoEnter };
    // Whether `user` may reach node n: their own personal tree, or a member
    // of its enterprise allowed into every folder on the way.
    Reach reach(qint64 user, const Node& n, Denials* deniedOut = nullptr);

    // ---- listing
    enum class Columns { Listed, All };
    // All nodes of one tree in one query, grouped by parent, each folder's
    // children folders first and by name: the order of the tree indexes,
    // so the rows come without a sort.
    QVector<Node> treeNodes(const QString& column, qint64 value, Columns columns = Columns::Listed);
    // The rows of the tree that node n belongs to.
    QVector<Node> treeOf(const Node& n, Columns columns = Columns::Listed);
    // The user's "根目录", or -1.
    qint64 personalRootOf(qint64 user);

    // ---- requests (clouddisk_requests.cpp)
    Answer personTree(qint64 user);
    Answer enterpriseList(qint64 user);
    Answer enterpriseDir(qint64 user, const QJsonObject& m);
    QJsonObject enterpriseAuth(qint64 user, const QJsonObject& m);
    // The folder an upload goes into: reachable, and in the personal tree
    // or in the enterprise the request names.
    QJsonObject uploadTarget(qint64 user, qint64 enterprise, const QString& pidText, Node* folder);
    QJsonObject uploadInfo(qint64 user, const QJsonObject& m, bool enterpriseUpload);
    // A file of that name may be replaced unless opening it was withdrawn;
    // a folder of that name is never replaced.
    QJsonObject replaceCheck(qint64 user, qint64 folderId, const QString& name);

    // ---- contents (clouddisk_contents.cpp)
    // Within an open write transaction: records complete contents as the
    // file `name` in the folder, replacing a file of that name; refuses
    // (*error the reply's text) a folder of that name or a folder gone.
    // *oldBlob names the contents replaced, to remove after the commit.
    bool recordContents(QSqlQuery& q, qint64 folderId, const QString& name, const QString& blob, qint64 size,
                        Node* out, QString* oldBlob, QString* error);
    // Moves complete contents into place and records them as the file
    // `name` in `folder`, replacing a file of that name. Returns the node.
    bool commitContents(const Node& folder, const QString& name, const QString& blob, qint64 size, Node* out,
                        QString* error);
    // A new upload of the file `name` into `folder`.
    std::unique_ptr<Service::Upload> newUpload(const Node& folder, const QString& name);
    class ContentsWriter;
};

} // namespace clouddisk
