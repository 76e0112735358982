#include "knownfolderpaths.h"

#include <QDir>
#include <QStandardPaths>

namespace pfd {

QString knownFolder(KnownFolder which)
{
    QStandardPaths::StandardLocation location = QStandardPaths::DocumentsLocation;
    switch (which) {
    case KnownFolder::Desktop: location = QStandardPaths::DesktopLocation; break;
    case KnownFolder::Documents: location = QStandardPaths::DocumentsLocation; break;
    case KnownFolder::Pictures: location = QStandardPaths::PicturesLocation; break;
    }
    return QDir::toNativeSeparators(QStandardPaths::writableLocation(location));
}

} // namespace pfd
