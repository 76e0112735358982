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

QChar localSeparator(const QString& path)
{
    return isWindowsStylePath(path) ? QLatin1Char('\\') : QLatin1Char('/');
}

} // namespace pfd
