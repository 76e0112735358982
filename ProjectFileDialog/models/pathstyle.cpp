#include "pathstyle.h"

#include <QFileInfo>

namespace pfd {

bool isWindowsStylePath(const QString& path)
{
    if (path.size() >= 2 && path.at(1) == QLatin1Char(':') && path.at(0).isLetter())
        return true;
    return path.startsWith(QLatin1String("\\\\")) || path.startsWith(QLatin1String("//"));
}

bool isPosixStylePath(const QString& path)
{
    return path.startsWith(QLatin1Char('/')) && !path.startsWith(QLatin1String("//"));
}

bool isExistingDir(const QString& path)
{
#ifndef Q_OS_WIN
    if (path.size() == 3 && isWindowsStylePath(path)
        && (path.at(2) == QLatin1Char('\\') || path.at(2) == QLatin1Char('/')))
        return true;
    // A bare "D:" is a relative name here, like any other.
    if (isWindowsStylePath(path) && path.size() > 2)
        return false;
#endif
    return QFileInfo(path).isDir();
}

QString absoluteDirPath(const QString& path)
{
#ifndef Q_OS_WIN
    if (isWindowsStylePath(path) && path.size() > 2)
        return path;
#endif
    return QFileInfo(path).absoluteFilePath();
}

QString driveRootPath(const QString& driveName)
{
    if (isPosixStylePath(driveName))
        return driveName;
    return driveName + QLatin1Char('\\');
}

QStringRef suffixRef(const QString& path)
{
    int sep = path.lastIndexOf(QLatin1Char('/'));
#ifdef Q_OS_WIN
    sep = qMax(sep, path.lastIndexOf(QLatin1Char('\\')));
#endif
    const int dot = path.lastIndexOf(QLatin1Char('.'));
    if (dot <= sep)
        return QStringRef();
    return path.midRef(dot + 1);
}

namespace {

bool isSeparator(QChar c, bool backslashToo)
{
    return c == QLatin1Char('/') || (backslashToo && c == QLatin1Char('\\'));
}

bool backslashSeparates(const QString& path)
{
#ifdef Q_OS_WIN
    Q_UNUSED(path)
    return true;
#else
    return isWindowsStylePath(path);
#endif
}

} // namespace

QString fileNamePart(const QString& path)
{
    const bool backslash = backslashSeparates(path);
    int start = path.size();
    while (start > 0 && !isSeparator(path.at(start - 1), backslash))
        --start;
    // "C:name" is a name on drive C.
    if (start == 0 && backslash && path.size() >= 2 && path.at(1) == QLatin1Char(':'))
        start = 2;
    return path.mid(start);
}

QString baseName(const QString& path)
{
    const QString name = fileNamePart(path);
    const int dot = name.indexOf(QLatin1Char('.'));
    return dot < 0 ? name : name.left(dot);
}

QString parentDirPath(const QString& path)
{
    if (!isWindowsStylePath(path))
        return QFileInfo(path).absolutePath();
    QString native = path;
    native.replace(QLatin1Char('/'), QLatin1Char('\\'));
    // The root that no parent goes above: "C:\" or "\\server\share".
    int rootEnd = 0;
    QString root;
    if (native.at(1) == QLatin1Char(':')) {
        rootEnd = 2;
        root = native.left(2) + QLatin1Char('\\');
    } else {
        const int server = native.indexOf(QLatin1Char('\\'), 2);
        const int share = server < 0 ? -1 : native.indexOf(QLatin1Char('\\'), server + 1);
        rootEnd = share < 0 ? native.size() : share;
        root = native.left(rootEnd);
    }
    const int sep = native.lastIndexOf(QLatin1Char('\\'));
    if (sep <= rootEnd)
        return root;
    return native.left(sep);
}

QString upFolder(const QString& folder)
{
    if (folder.isEmpty() || folder == QLatin1String(":") || folder == QLatin1String(":/")
        || folder == QLatin1String(":\\"))
        return QString();
    const bool windows = isWindowsStylePath(folder);
    // Compared without trailing separators, so "C:", "C:\" and "C:/" are
    // one root, as are "/a/" and "/a".
    auto bare = [windows](QString p) {
        if (windows)
            p.replace(QLatin1Char('/'), QLatin1Char('\\'));
        const QChar sep = windows ? QLatin1Char('\\') : QLatin1Char('/');
        while (p.size() > 1 && p.endsWith(sep))
            p.chop(1);
        return p;
    };
    const QString here = bare(folder);
    const QString up = parentDirPath(here);
    return bare(up) == here ? QString() : up;
}

QChar localSeparator(const QString& path)
{
    return isWindowsStylePath(path) ? QLatin1Char('\\') : QLatin1Char('/');
}

} // namespace pfd
