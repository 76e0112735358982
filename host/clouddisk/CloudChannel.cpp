#include "CloudChannel.h"
#include "CloudDiskService.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTemporaryFile>

#include <cstdio>
#ifdef Q_OS_WIN
#include <windows.h>
#endif

namespace clouddisk {

namespace {

const QString kLocalSameName = QStringLiteral("isexistlocalsamenamefile");
const QString kDownload = QStringLiteral("personclouddownloadfileforclouddisk");
const QString kPersonUploadFile = QStringLiteral("personclouduploadfileinfoforclouddisk");
const QString kEnterpriseUploadFile = QStringLiteral("enterpriseclouduploadfileinfoforclouddisk");

QJsonObject refuse(const QString& msg)
{
    return QJsonObject{{"code", 1}, {"msg", msg}};
}

const QString msgMalformed = QStringLiteral("请求格式错误");
const QString msgNotSignedIn = QStringLiteral("请先登录云盘");
const QString msgOutside = QStringLiteral("下载位置不在云盘下载目录中");
const QString msgWriteFailed = QStringLiteral("写入本地文件失败");
const QString msgReadFailed = QStringLiteral("无法读取要上传的文件");

bool reservedChar(QChar c)
{
    switch (c.unicode()) {
    case '/': case '\\': case ':': case '*': case '?': case '"': case '<': case '>': case '|':
        return true;
    default:
        return c.unicode() < 0x20 || c.unicode() == 0x7f;
    }
}

QString absoluteClean(const QString& path)
{
    return QDir::cleanPath(QDir(QDir::fromNativeSeparators(path)).absolutePath());
}

// The deepest part of `path` that exists, resolved through links.
QString canonicalExisting(const QString& path)
{
    QString p = path;
    QString rest;
    while (!p.isEmpty()) {
        const QFileInfo fi(p);
        if (fi.exists() || fi.isSymLink()) {
            const QString canon = fi.canonicalFilePath();
            if (canon.isEmpty())
                return QString(); // a dangling link
            return rest.isEmpty() ? canon : canon + rest;
        }
        const int slash = p.lastIndexOf(QLatin1Char('/'));
        if (slash <= 0)
            break;
        rest.prepend(p.mid(slash));
        p.truncate(slash);
    }
    return path;
}

// Moves `from` over `to` in one step, replacing what is there.
bool replaceFile(const QString& from, const QString& to)
{
#ifdef Q_OS_WIN
    return MoveFileExW(reinterpret_cast<LPCWSTR>(QDir::toNativeSeparators(from).utf16()),
                       reinterpret_cast<LPCWSTR>(QDir::toNativeSeparators(to).utf16()),
                       MOVEFILE_REPLACE_EXISTING) != 0;
#else
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
#endif
}

// The methods the channel itself takes part in: they touch the host's disk.
bool handledHere(const QString& method)
{
    return method == kLocalSameName || method == kDownload || method == kPersonUploadFile
           || method == kEnterpriseUploadFile;
}

} // namespace

QString localNameForCloudName(const QString& name)
{
    QString out = name;
    for (QChar& c : out) {
        if (reservedChar(c))
            c = QLatin1Char('_');
    }
    for (int i = out.size() - 1; i >= 0 && (out[i] == QLatin1Char('.') || out[i] == QLatin1Char(' ')); --i)
        out[i] = QLatin1Char('_');
    if (out.isEmpty())
        out = QStringLiteral("_");
    constexpr int kMaxBytes = 255;
    if (out.toUtf8().size() <= kMaxBytes)
        return out;

    QString suffix;
    const int dot = out.lastIndexOf(QLatin1Char('.'));
    if (dot >= 0 && out.mid(dot).toUtf8().size() <= 16)
        suffix = out.mid(dot);
    const QString stem = suffix.isEmpty() ? out : out.left(dot);
    const QString mark = QLatin1Char('~')
                         + QString::fromLatin1(QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha1)
                                                   .toHex()
                                                   .left(8));
    const int budget = kMaxBytes - mark.toUtf8().size() - suffix.toUtf8().size();
    int bytes = 0;
    int cut = 0;
    while (cut < stem.size()) {
        // Whole characters only: a surrogate pair goes or stays as one.
        const int len = (stem[cut].isHighSurrogate() && cut + 1 < stem.size() && stem[cut + 1].isLowSurrogate()) ? 2 : 1;
        const int b = stem.mid(cut, len).toUtf8().size();
        if (bytes + b > budget)
            break;
        bytes += b;
        cut += len;
    }
    return stem.left(cut) + mark + suffix;
}

bool pathIsInside(const QString& folder, const QString& path)
{
    const QString f = absoluteClean(folder);
    const QString p = absoluteClean(path);
    if (f.isEmpty() || p.size() <= f.size())
        return false;
    const QString prefix = f.endsWith(QLatin1Char('/')) ? f : f + QLatin1Char('/');
#ifdef Q_OS_WIN
    return p.startsWith(prefix, Qt::CaseInsensitive);
#else
    return p.startsWith(prefix);
#endif
}

// --- Channel ---------------------------------------------------------------------

Channel::Channel(std::unique_ptr<CloudTransport> transport, const QString& appPath)
    : m_transport(std::move(transport))
    , m_appPath(appPath)
{
}

Channel::~Channel() = default;

LoginResult Channel::login(const QString& name, const QString& password)
{
    if (!m_transport) {
        LoginResult r;
        r.message = QStringLiteral("云盘服务不可用");
        return r;
    }
    const LoginResult r = m_transport->login(name, password);
    QMutexLocker lock(&m_mutex);
    if (r.ok) {
        m_userId = r.userId;
        m_userName = r.userName.isEmpty() ? name : r.userName;
    }
    return r;
}

void Channel::logout()
{
    if (m_transport)
        m_transport->logout();
    QMutexLocker lock(&m_mutex);
    m_userId = -1;
    m_userName.clear();
}

qint64 Channel::userId() const
{
    QMutexLocker lock(&m_mutex);
    return m_userId;
}

QString Channel::userName() const
{
    QMutexLocker lock(&m_mutex);
    return m_userName;
}

QString Channel::stagingRoot() const
{
    const qint64 id = userId();
    if (id < 0)
        return QString();
    return absoluteClean(m_appPath + QStringLiteral("/cfg/DownloadCloudDiskFile/") + QString::number(id));
}

QString Channel::stagingPathFor(const QString& fileName, const QString& cloudPath) const
{
    const QString root = stagingRoot();
    if (root.isEmpty())
        return QString();
    QString path = root;
    for (const QString& segment : cloudPath.split(QLatin1Char('\\'), Qt::SkipEmptyParts))
        path += QLatin1Char('/') + localNameForCloudName(segment);
    path += QLatin1Char('/') + localNameForCloudName(fileName);
    return path;
}

QByteArray Channel::exchange(const QByteArray& envelope)
{
    const QJsonDocument doc = QJsonDocument::fromJson(envelope);
    // A plain request's reply comes back as the bytes the service wrote:
    // a tree of tens of thousands of nodes is not read and written again.
    if (doc.isObject() && m_transport) {
        const QJsonValue method = doc.object().value(QLatin1String("data")).toObject().value(QLatin1String("method"));
        if (method.isString() && !handledHere(method.toString()))
            return m_transport->requestBytes(doc.object());
    }
    const QJsonObject reply = doc.isObject() ? exchange(doc.object()) : refuse(msgMalformed);
    return QJsonDocument(reply).toJson(QJsonDocument::Compact);
}

QJsonObject Channel::exchange(const QJsonObject& envelope)
{
    const QJsonValue data = envelope.value("data");
    if (!data.isObject() || !data.toObject().value("method").isString())
        return refuse(msgMalformed);
    const QJsonObject method = data.toObject();
    const QString name = method.value("method").toString();
    if (!m_transport)
        return refuse(QStringLiteral("云盘服务不可用"));
    if (name == kLocalSameName)
        return localSameName(envelope);
    if (name == kDownload)
        return download(envelope, method);
    if (name == kPersonUploadFile || name == kEnterpriseUploadFile)
        return upload(envelope, method);
    return m_transport->request(envelope);
}

QJsonObject Channel::localSameName(const QJsonObject& envelope) const
{
    if (envelope.value("cmd").toString() != QLatin1String("cloudDisk")
        || envelope.value("orgin_token").toString() != Service::tokenKindFor(kLocalSameName))
        return refuse(QStringLiteral("请求使用的令牌类型不正确"));
    const QJsonObject method = envelope.value("data").toObject();
    if (!method.value("fileName").isString() || !method.value("pathPrat").isString())
        return refuse(msgMalformed);
    const QString path = stagingPathFor(method.value("fileName").toString(), method.value("pathPrat").toString());
    if (path.isEmpty())
        return refuse(msgNotSignedIn);
    // The mapping keeps every component one plain name; checked all the same.
    if (!pathIsInside(stagingRoot(), path))
        return refuse(msgOutside);
    return QJsonObject{{"code", 0},
                       {"msg", QString()},
                       {"data", QJsonObject{{"filPath", QDir::toNativeSeparators(path)},
                                            {"isExist", QFileInfo(path).isFile()}}}};
}

QJsonObject Channel::download(const QJsonObject& envelope, const QJsonObject& method)
{
    const QString root = stagingRoot();
    if (root.isEmpty())
        return refuse(msgNotSignedIn);
    // The target comes from the dialog: only a file inside this user's
    // staging folder is ever written, also when links point elsewhere.
    const QString target = absoluteClean(method.value("filePath").toString());
    if (!method.value("filePath").isString() || !pathIsInside(root, target))
        return refuse(msgOutside);
    const QString folder = QFileInfo(target).absolutePath();
    if (!QDir().mkpath(root))
        return refuse(msgWriteFailed);
    const QString canonRoot = QFileInfo(root).canonicalFilePath();
    const QString canonFolder = canonicalExisting(folder);
    if (canonRoot.isEmpty() || canonFolder.isEmpty()
        || (canonFolder != canonRoot && !pathIsInside(canonRoot, canonFolder)))
        return refuse(msgOutside);
    if (!QDir().mkpath(folder) || QFileInfo(target).isDir())
        return refuse(msgWriteFailed);

    // Written beside the target under a temporary name and renamed over it
    // only when complete: an interrupted download never leaves a part under
    // the real name. (The staged copy is the host's cache of the cloud file,
    // so it is not forced to the disk before the rename.)
    QTemporaryFile file(folder + QStringLiteral("/.download-XXXXXX.part"));
    if (!file.open())
        return refuse(msgWriteFailed);
    QJsonObject reply = m_transport->download(envelope, &file);
    if (reply.value("code").toInt(-1) != 0) {
        if (reply.value("code").toInt() == 0)
            reply.insert(QStringLiteral("code"), 1);
        return reply; // the temporary file goes with `file`
    }
    if (!file.flush() || !replaceFile(file.fileName(), target))
        return refuse(msgWriteFailed);
    file.setAutoRemove(false);
    reply.insert(QStringLiteral("data"), QDir::toNativeSeparators(target));
    return reply;
}

QJsonObject Channel::upload(const QJsonObject& envelope, const QJsonObject& method)
{
    if (userId() < 0)
        return refuse(msgNotSignedIn);
    const QString path = QDir::fromNativeSeparators(method.value("filePath").toString());
    // Only a regular file is read: never a folder, a device or a pipe that
    // could block the upload for ever.
    const QFileInfo fi(path);
    if (path.isEmpty() || !fi.isFile())
        return refuse(msgReadFailed);
    QFile file(fi.absoluteFilePath());
    if (!file.open(QIODevice::ReadOnly))
        return refuse(msgReadFailed);
    return m_transport->upload(envelope, &file);
}

} // namespace clouddisk
