#include "knownfolderpaths.h"

#include <QDir>

#include <windows.h>
#include <knownfolders.h>
#include <shlobj.h>

namespace pfd {

QString knownFolder(KnownFolder which)
{
    const KNOWNFOLDERID* id = &FOLDERID_Documents;
    switch (which) {
    case KnownFolder::Desktop: id = &FOLDERID_Desktop; break;
    case KnownFolder::Documents: id = &FOLDERID_Documents; break;
    case KnownFolder::Pictures: id = &FOLDERID_Pictures; break;
    }
    PWSTR raw = nullptr;
    QString path;
    if (SUCCEEDED(SHGetKnownFolderPath(*id, 0, nullptr, &raw)) && raw)
        path = QDir::toNativeSeparators(QString::fromWCharArray(raw));
    CoTaskMemFree(raw);
    return path;
}

} // namespace pfd
