#include "fileops.h"
#include "fileops_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QTemporaryFile>

#include <memory>

namespace fileops {

QString generateUniqueFileName(const QString& path)
{
    const QFileInfo info(path);
    const QString folder = info.path();
    const QString base = info.completeBaseName();
    const QString suffix = info.suffix();
    QString candidate = path;
    int n = 1;
    while (QFileInfo::exists(candidate)) {
        // One arg() call per name: a chained arg() would read a "%1" or
        // "%2" inside the base name as a place for the next argument.
        const QString number = QString::number(n);
        QString name;
        if (suffix.isEmpty())
            name = n == 1 ? QStringLiteral("%1 - 副本").arg(base)
                          : QStringLiteral("%1 - 副本 (%2)").arg(base, number);
        else
            name = n == 1 ? QStringLiteral("%1 - 副本.%2").arg(base, suffix)
                          : QStringLiteral("%1 - 副本 (%2).%3").arg(base, number, suffix);
        candidate = QDir(folder).filePath(name);
        ++n;
    }
    return candidate;
}

bool isSubdirectory(const QString& source, const QString& target)
{
    if (source.isEmpty() || target.isEmpty() || source.at(0) != target.at(0))
        return false;
    const QString absSource = QDir(source).absolutePath();
    const QString absTarget = QDir(target).absolutePath();
    if (absSource.isEmpty() || absTarget.isEmpty())
        return false;
    const QString rel = QDir(absSource).relativeFilePath(absTarget);
    return !rel.isEmpty() && !rel.startsWith(QLatin1String(".."));
}

void getDuplicatedFile(QStringList& dups, const QString& source, const QString& dest)
{
    const QFileInfo destInfo(dest);
    if (destInfo.exists() && destInfo.path() != QFileInfo(source).path())
        dups.append(QDir::toNativeSeparators(destInfo.absoluteFilePath()));
}

void getDuplicatedFilesRecursively(QStringList& dups, const QString& sourceDir, const QString& destDir)
{
    const QDir source(sourceDir);
    if (!source.exists())
        return;
    const QDir dest(destDir);
    // Hidden entries too: the copy takes them, so a hidden file it would
    // replace is asked about like any other.
    for (const QString& name : source.entryList(QDir::Files | QDir::Hidden))
        getDuplicatedFile(dups, source.filePath(name), dest.filePath(name));
    for (const QString& sub : source.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden))
        getDuplicatedFilesRecursively(dups, source.filePath(sub), dest.filePath(sub));
}

PastePlan planPaste(const QStringList& sources, const QString& target, bool checkSubfolders)
{
    PastePlan plan;
    if (checkSubfolders) {
        for (const QString& source : sources) {
            if (isSubdirectory(source, target)) {
                plan.refusedSource = source;
                return plan;
            }
        }
    }
    plan.targetDir = target;
    for (const QString& source : sources) {
        const QFileInfo info(source);
        const QString dest = QDir(target).filePath(info.fileName());
        if (info.isDir())
            getDuplicatedFilesRecursively(plan.duplicates, source, dest);
        else
            getDuplicatedFile(plan.duplicates, source, dest);
    }
    return plan;
}

ReplaceSpare::~ReplaceSpare()
{
    drop();
}

void ReplaceSpare::drop()
{
    if (m_handle >= 0)
        detail::closeHandle(m_handle);
    if (!m_path.isEmpty())
        QFile::remove(m_path);
    m_handle = -1;
    m_path.clear();
}

bool copyContents(const QString& source, const QString& dest, bool replace, ReplaceSpare* spare)
{
    const QFileInfo destInfo(dest);
    if (destInfo.isDir() || (destInfo.exists() && !replace))
        return false;
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    if (!replace) {
        const detail::UnnamedCopy written = detail::writeUnnamed(in, dest);
        if (written != detail::UnnamedCopy::Unsupported)
            return written == detail::UnnamedCopy::Written;
        in.seek(0);
    }
    // The new content goes to a hidden temporary file beside dest; only a
    // complete copy is moved over the name, so a failure leaves dest as it
    // was and no half-written file under its name.
    const QString folder = destInfo.absolutePath();
    // A spare is kept to one folder; and a source that happens to bear the
    // spare's own name must not be written into the spare and then emptied.
    if (spare && (spare->folder() != folder || spare->m_path == destInfo.absoluteFilePath()))
        spare->drop();
    QTemporaryFile fresh(folder + QStringLiteral("/.") + destInfo.fileName() + QStringLiteral(".XXXXXX"));
    fresh.setAutoRemove(false);
    QFile reused;
    QFile* out = &fresh;
    QString temporary;
    bool ok;
    if (spare && spare->m_handle >= 0) {
        // From here the spare is this copy's file; it is spare again only
        // if this replacement leaves another one.
        ok = reused.open(spare->m_handle, QIODevice::WriteOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle);
        if (!ok)
            detail::closeHandle(spare->m_handle);
        temporary = spare->m_path;
        spare->m_handle = -1;
        spare->m_path.clear();
        out = &reused;
    } else {
        ok = fresh.open();
        temporary = fresh.fileName();
    }
    ok = ok && detail::copyData(in, *out) && out->flush() && detail::copyPermissions(in, *out);
    out->close();
    ok = ok && out->error() == QFileDevice::NoError;
    if (ok && spare && detail::swapNames(temporary, dest)) {
        const int handle = detail::takeEmptied(temporary, dest);
        if (handle >= 0) {
            spare->m_handle = handle;
            spare->m_path = temporary;
            return true;
        }
        if (QFileInfo(temporary).isDir()) {
            // A folder took the name since dest was looked at: it gets its
            // name back and the copy goes.
            if (detail::swapNames(temporary, dest))
                QFile::remove(temporary);
            return false;
        }
        QFile::remove(temporary);
        return true;
    }
    // Checked again at the last moment: a folder may have taken the name.
    ok = ok && !QFileInfo(dest).isDir() && (replace || !QFileInfo::exists(dest));
    // No spare, or no swap here (the file system cannot, or dest has gone
    // meanwhile): the complete copy is renamed over the name.
    ok = ok && detail::renameOver(temporary, dest);
    if (!ok)
        QFile::remove(temporary);
    return ok;
}

namespace detail {

bool copyDataByBlocks(QFile& in, QFile& out)
{
    constexpr qint64 chunk = 1 << 20;
    std::unique_ptr<char[]> buffer(new char[chunk]);
    for (;;) {
        const qint64 got = in.read(buffer.get(), chunk);
        if (got < 0)
            return false;
        if (got == 0)
            return true;
        if (out.write(buffer.get(), got) != got)
            return false;
    }
}

} // namespace detail

bool copyFile(const QString& source, const QString& dest, QString& lastName, bool keepName)
{
    ReplaceSpare spare;
    return copyFile(source, dest, lastName, keepName, spare);
}

bool copyFile(const QString& source, const QString& dest, QString& lastName, bool keepName, ReplaceSpare& spare)
{
    const QFileInfo destInfo(dest);
    if (!destInfo.exists()) {
        if (!keepName)
            lastName = QFileInfo(source).fileName();
        return copyContents(source, dest, false);
    }
    if (destInfo.path() == QFileInfo(source).path()) {
        const QString copy = generateUniqueFileName(dest);
        if (!keepName)
            lastName = QFileInfo(copy).fileName();
        return copyContents(source, copy, false);
    }
    // The user agreed to replace dest.
    return copyContents(source, dest, true, &spare);
}

namespace {

// ancestors: canonical source folders on the way down; destRoot: the
// canonical folder being filled. Neither is entered again, so a folder
// pasted into itself, or a link back up the tree, ends instead of growing
// without end.
bool copyTree(const QString& sourceDir, QString destDir, QString& lastName, QSet<QString>& ancestors,
              QString destRoot, ReplaceSpare& spare)
{
    const QDir source(sourceDir);
    if (!source.exists())
        return false;
    QDir dest(destDir);
    if (!dest.exists()) {
        if (!dest.mkpath(QStringLiteral(".")))
            return false;
        if (lastName.isEmpty())
            lastName = dest.dirName();
    } else if (dest.absolutePath() == source.absolutePath()) {
        destDir = generateUniqueFileName(destDir);
        dest = QDir(destDir);
        if (lastName.isEmpty())
            lastName = dest.dirName();
        if (!dest.mkpath(QStringLiteral(".")))
            return false;
    }
    if (destRoot.isEmpty())
        destRoot = QFileInfo(destDir).canonicalFilePath();
    const QString here = QFileInfo(sourceDir).canonicalFilePath();
    ancestors.insert(here);

    // Every entry, hidden ones included: a copy that left them out would be
    // incomplete without saying so.
    for (const QString& name : source.entryList(QDir::Files | QDir::Hidden)) {
        const QString from = source.filePath(name);
        const QString to = dest.filePath(name);
        const QFileInfo toInfo(to);
        bool ok;
        if (!toInfo.exists())
            ok = copyContents(from, to, false);
        else if (toInfo.path() == QFileInfo(from).path())
            ok = copyContents(from, generateUniqueFileName(to), false);
        else
            ok = copyContents(from, to, true, &spare);
        if (!ok)
            return false;
    }
    for (const QString& sub : source.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden)) {
        const QString from = source.filePath(sub);
        const QString canonical = QFileInfo(from).canonicalFilePath();
        if (canonical == destRoot || ancestors.contains(canonical))
            continue;
        if (!copyTree(from, dest.filePath(sub), lastName, ancestors, destRoot, spare))
            return false;
    }
    ancestors.remove(here);
    return true;
}

} // namespace

bool copyDirectoryRecursively(const QString& sourceDir, const QString& destDir, QString& lastName)
{
    ReplaceSpare spare;
    return copyDirectoryRecursively(sourceDir, destDir, lastName, spare);
}

bool copyDirectoryRecursively(const QString& sourceDir, const QString& destDir, QString& lastName,
                              ReplaceSpare& spare)
{
    QSet<QString> ancestors;
    return copyTree(sourceDir, destDir, lastName, ancestors, QString(), spare);
}

bool deleteDir(const QString& path, const std::function<void(const QString& filePath)>& fileFailed)
{
    if (path.isEmpty())
        return false;
    QDir dir(path);
    if (!dir.exists())
        return true;
    const QFileInfoList entries = dir.entryInfoList(QDir::Files | QDir::Dirs | QDir::Drives | QDir::NoDotAndDotDot);
    for (const QFileInfo& entry : entries) {
        // A link is removed as itself: following it would empty a folder
        // outside the tree being deleted.
        if (entry.isDir() && !entry.isSymLink()) {
            deleteDir(entry.absoluteFilePath(), fileFailed);
            continue;
        }
        if (!dir.remove(entry.fileName())) {
            if (fileFailed)
                fileFailed(entry.absoluteFilePath());
            return false;
        }
    }
    return dir.rmdir(dir.absolutePath());
}

QString createNewFloder(const QString& base, int n)
{
    for (;; ++n) {
        const QString candidate = n == 0 ? base + QStringLiteral("新建文件夹")
                                         : base + QStringLiteral("新建文件夹") + QString::number(n);
        if (!QDir(candidate).exists())
            return candidate;
    }
}

} // namespace fileops
