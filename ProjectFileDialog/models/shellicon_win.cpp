#include "shellicon.h"

#include <QImage>
#include <QPixmap>

#include <windows.h>
#include <shellapi.h>

namespace pfd {

QIcon shellIcon(const QString& path)
{
    SHFILEINFOW info = {};
    const std::wstring wide = path.toStdWString();
    if (!SHGetFileInfoW(wide.c_str(), 0, &info, sizeof(info), SHGFI_ICON | SHGFI_USEFILEATTRIBUTES)
        || !info.hIcon)
        return QIcon();

    ICONINFO iconInfo = {};
    QIcon result;
    if (GetIconInfo(info.hIcon, &iconInfo)) {
        BITMAP bitmap = {};
        if (iconInfo.hbmColor && GetObjectW(iconInfo.hbmColor, sizeof(bitmap), &bitmap)) {
            QImage image(bitmap.bmWidth, bitmap.bmHeight, QImage::Format_ARGB32);
            GetBitmapBits(iconInfo.hbmColor, LONG(image.sizeInBytes()), image.bits());
            result = QIcon(QPixmap::fromImage(image));
        }
        if (iconInfo.hbmColor)
            DeleteObject(iconInfo.hbmColor);
        if (iconInfo.hbmMask)
            DeleteObject(iconInfo.hbmMask);
    }
    DestroyIcon(info.hIcon);
    return result;
}

} // namespace pfd
