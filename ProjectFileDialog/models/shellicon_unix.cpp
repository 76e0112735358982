#include "shellicon.h"

#include <QFileIconProvider>
#include <QFileInfo>
#include <QStorageInfo>

namespace pfd {

QIcon shellIcon(const QString& path)
{
    QFileIconProvider& provider = systemIconProvider();
    const QFileInfo fi(path);
    if (!fi.exists() && !fi.isSymLink())
        return QIcon();
    // A mount point is a drive to the user, whatever its folder looks like.
    if (fi.isDir() && QStorageInfo(path).rootPath() == fi.absoluteFilePath())
        return provider.icon(QFileIconProvider::Drive);
    return provider.icon(fi);
}

} // namespace pfd
