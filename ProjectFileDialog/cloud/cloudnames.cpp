#include "cloudnames.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace pfd {
namespace cloud {

namespace {

const int kMaxNameBytes = 255;
const int kMaxSuffixBytes = 16;

bool isForbidden(QChar c)
{
    const ushort u = c.unicode();
    if (u < 0x20 || u == 0x7f)
        return true;
    switch (u) {
    case '/': case '\\': case ':': case '*': case '?': case '"': case '<': case '>': case '|':
        return true;
    default:
        return false;
    }
}

int utf8Bytes(const QString& s)
{
    return s.toUtf8().size();
}

// The longest start of text, whole characters only, of at most maxBytes
// bytes in UTF-8.
QString cutToBytes(const QString& text, int maxBytes)
{
    int bytes = 0;
    int i = 0;
    while (i < text.size()) {
        const bool pair = text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        const int step = pair ? 2 : 1;
        const int size = utf8Bytes(text.mid(i, step));
        if (bytes + size > maxBytes)
            break;
        bytes += size;
        i += step;
    }
    return text.left(i);
}

QString cleanAbsolute(const QString& path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

bool strictlyInside(const QString& path, const QString& folder)
{
    if (folder.isEmpty())
        return false;
    const QString prefix = folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/');
    return path.startsWith(prefix) && path.size() > prefix.size();
}

} // namespace

QString localNameForCloudName(const QString& name)
{
    QString local = name;
    for (QChar& c : local) {
        if (isForbidden(c))
            c = QLatin1Char('_');
    }
    for (int i = local.size() - 1; i >= 0; --i) {
        if (local.at(i) != QLatin1Char('.') && local.at(i) != QLatin1Char(' '))
            break;
        local[i] = QLatin1Char('_');
    }
    if (local.isEmpty())
        local = QStringLiteral("_");
    if (utf8Bytes(local) <= kMaxNameBytes)
        return local;

    QString suffix;
    const int dot = local.lastIndexOf(QLatin1Char('.'));
    if (dot >= 0 && utf8Bytes(local.mid(dot)) <= kMaxSuffixBytes)
        suffix = local.mid(dot);
    const QString stem = local.left(local.size() - suffix.size());
    const QString tag = QLatin1Char('~')
                        + QString::fromLatin1(QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha1)
                                                  .toHex()
                                                  .left(8));
    const int room = kMaxNameBytes - utf8Bytes(tag) - utf8Bytes(suffix);
    return cutToBytes(stem, room) + tag + suffix;
}

bool isInsideFolder(const QString& path, const QString& folder)
{
    const QString target = cleanAbsolute(path);
    const QString root = cleanAbsolute(folder);
    if (!strictlyInside(target, root))
        return false;
    // A link inside the tree could still lead out of it: compare the real
    // places of the deepest parts that exist.
    const QString realRoot = QFileInfo(root).canonicalFilePath();
    if (realRoot.isEmpty())
        return true;
    QString probe = target;
    while (!QFileInfo::exists(probe) && probe.size() > root.size())
        probe = QFileInfo(probe).absolutePath();
    const QString real = QFileInfo(probe).canonicalFilePath();
    return real == realRoot || strictlyInside(real, realRoot);
}

QString stagingUserFolder(const QString& appPath, const QString& userId)
{
    return appPath + QStringLiteral("/cfg/DownloadCloudDiskFile/") + localNameForCloudName(userId);
}

QString stagingFolder(const QString& appPath, const QString& userId, const QStringList& cloudSegments)
{
    QString folder = stagingUserFolder(appPath, userId);
    for (const QString& segment : cloudSegments)
        folder += QLatin1Char('/') + localNameForCloudName(segment);
    return folder;
}

QString recoveryFolder(const QString& appPath, const QString& userId)
{
    return appPath + QStringLiteral("/cfg/CloudUploadRecovery/") + localNameForCloudName(userId);
}

QString recoveryTarget(const QString& folder, const QString& fileName, const QDateTime& when)
{
    const QString name = when.toString(QStringLiteral("yyyyMMdd-HHmmss-")) + localNameForCloudName(fileName);
    const int dot = name.lastIndexOf(QLatin1Char('.'));
    const QString stem = dot > 0 ? name.left(dot) : name;
    const QString suffix = dot > 0 ? name.mid(dot) : QString();
    QString candidate = folder + QLatin1Char('/') + localNameForCloudName(name);
    for (int n = 2; QFileInfo::exists(candidate) || QFileInfo(candidate).isSymLink(); ++n)
        candidate = folder + QLatin1Char('/') + localNameForCloudName(stem + QStringLiteral(" (%1)").arg(n) + suffix);
    return candidate;
}

QString moveToRecovery(const QString& file, const QString& stagingRoot, const QString& recovery,
                       const QDateTime& when)
{
    const QFileInfo info(file);
    if (!isInsideFolder(file, stagingRoot) || !info.isFile() || info.isSymLink())
        return QString();
    if (!QDir().mkpath(recovery))
        return QString();
    const QString target = recoveryTarget(recovery, info.fileName(), when);
    if (QFile::rename(file, target))
        return target;
    // Another file system: copy, and let the staged file go only when the
    // copy is whole.
    if (QFile::copy(file, target) && QFileInfo(target).size() == info.size()) {
        QFile::remove(file);
        return target;
    }
    QFile::remove(target);
    return QString();
}

} // namespace cloud
} // namespace pfd
