// The directory service on Windows: one folder read with FindFirstFileExW,
// .lnk shortcuts resolved to their stored target, and ":" as the drives.
//
// Libraries needed besides Qt5::Core: ole32 (CoInitializeEx,
// CoCreateInstance), uuid (CLSID_ShellLink, IID_IShellLinkW,
// IID_IPersistFile) and mpr (WNetGetConnectionW); the shell link object is
// reached through COM, so shell32 is not needed. MSVC picks them up from the
// pragmas below; MinGW needs them in target_link_libraries.
#include <QtGlobal>

#ifdef Q_OS_WIN

#include "dirservice_p.h"

#include <QByteArray>
#include <QDir>
#include <QString>

#include <cstddef>
#include <cwchar>
#include <memory>
#include <string>
#include <string_view>

#include <qt_windows.h>
#include <objbase.h>
#include <objidl.h>
#include <shlobj.h>
#include <shobjidl.h>
#include <winnetwk.h>

#ifdef _MSC_VER
#pragma comment(lib, "ole32.lib")
#pragma comment(lib, "uuid.lib")
#pragma comment(lib, "mpr.lib")
#endif


namespace {

const char kFolder[] = "文件夹";
const char kShortcut[] = "快捷方式";
const char kLocalDisk[] = "本地磁盘";
const char kNetworkDrive[] = "网络驱动";
const char kRemovableDisk[] = "移动硬盘";
const char kRamDisk[] = "RAM磁盘";
const char kCdRom[] = "CD-ROM";

std::string_view view(const QByteArray& bytes)
{
    return std::string_view(bytes.constData(), std::size_t(bytes.size()));
}

QString fromWide(const wchar_t* text)
{
    return QString::fromWCharArray(text);
}

// Reads the stored target of .lnk files. Only the path kept in the link is
// read (no IShellLink::Resolve), so a link to a vanished network share
// cannot stall the listing with a search.
class ShortcutReader
{
public:
    ShortcutReader()
    {
        const HRESULT hr = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        // S_FALSE: already initialised on this thread, still to be balanced.
        // RPC_E_CHANGED_MODE: the thread runs another apartment; COM is usable.
        m_uninitialize = SUCCEEDED(hr);
        if (FAILED(hr) && hr != RPC_E_CHANGED_MODE)
            return;
        if (FAILED(::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER,
                                      IID_IShellLinkW, reinterpret_cast<void**>(&m_link)))) {
            m_link = nullptr;
            return;
        }
        if (FAILED(m_link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&m_file))))
            m_file = nullptr;
    }

    ~ShortcutReader()
    {
        if (m_file)
            m_file->Release();
        if (m_link)
            m_link->Release();
        if (m_uninitialize)
            ::CoUninitialize();
    }

    ShortcutReader(const ShortcutReader&) = delete;
    ShortcutReader& operator=(const ShortcutReader&) = delete;

    // The target path, or empty when the link names no file-system item.
    QString target(const QString& linkPath)
    {
        if (!m_file || !m_link)
            return QString();
        const std::wstring path = QDir::toNativeSeparators(linkPath).toStdWString();
        if (FAILED(m_file->Load(path.c_str(), STGM_READ)))
            return QString();
        wchar_t buffer[MAX_PATH * 4] = {};
        if (m_link->GetPath(buffer, int(sizeof buffer / sizeof buffer[0]), nullptr, 0) != S_OK)
            return QString();
        return fromWide(buffer);
    }

private:
    IShellLinkW* m_link = nullptr;
    IPersistFile* m_file = nullptr;
    bool m_uninitialize = false;
};

int formatFileTime(char* buf, const FILETIME& written)
{
    // Through the zone rules of the file's own date, as Explorer and
    // QFileInfo::lastModified() show it, not today's daylight-saving bias.
    SYSTEMTIME utc;
    SYSTEMTIME local;
    if (!::FileTimeToSystemTime(&written, &utc)
        || !::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
        return 0;
    return dirservice::detail::formatDateTime(buf, local.wYear, local.wMonth, local.wDay,
                                              local.wHour, local.wMinute, local.wSecond);
}

QByteArray listDrives()
{
    QByteArray out("[");
    wchar_t roots[512] = {};
    const DWORD length = ::GetLogicalDriveStringsW(DWORD(sizeof roots / sizeof roots[0]), roots);
    if (length == 0 || length >= sizeof roots / sizeof roots[0])
        return QByteArrayLiteral("[]");

    // No "insert a disk" boxes for empty card readers and CD drives.
    DWORD oldMode = 0;
    ::SetThreadErrorMode(SEM_FAILCRITICALERRORS, &oldMode);
    for (const wchar_t* root = roots; *root; root += std::wcslen(root) + 1) {
        const UINT type = ::GetDriveTypeW(root);
        const char* kind = nullptr;
        switch (type) {
        case DRIVE_FIXED: kind = kLocalDisk; break;
        case DRIVE_REMOTE: kind = kNetworkDrive; break;
        case DRIVE_REMOVABLE: kind = kRemovableDisk; break;
        case DRIVE_RAMDISK: kind = kRamDisk; break;
        case DRIVE_CDROM: kind = kCdRom; break;
        default: continue; // no root directory, or unknown
        }
        const QString rootText = fromWide(root);
        const QString name = rootText.left(2); // "C:"
        QString target;
        QString label;
        if (type == DRIVE_REMOTE) {
            // The share behind the letter. The label is not asked for: the
            // server may be gone and the query would wait for its timeout.
            wchar_t remote[1024] = {};
            DWORD remoteLength = DWORD(sizeof remote / sizeof remote[0]);
            const std::wstring local = name.toStdWString();
            const DWORD rc = ::WNetGetConnectionW(local.c_str(), remote, &remoteLength);
            if (rc == NO_ERROR || rc == ERROR_CONNECTION_UNAVAIL)
                target = fromWide(remote);
        } else {
            wchar_t volumeName[MAX_PATH + 1] = {};
            if (::GetVolumeInformationW(root, volumeName, MAX_PATH + 1, nullptr, nullptr,
                                        nullptr, nullptr, 0))
                label = fromWide(volumeName);
        }
        dirservice::detail::appendRow(out, view(name.toUtf8()), {}, kind, {},
                                      view(target.toUtf8()), view(label.toUtf8()));
    }
    ::SetThreadErrorMode(oldMode, nullptr);
    out.append(']');
    return out;
}

} // namespace

namespace dirservice {

QByteArray readDirAll(const QString& dir)
{
    if (dir == QLatin1String(":"))
        return listDrives();
    if (dir.isEmpty())
        return QByteArrayLiteral("[]");

    QString folder = QDir::toNativeSeparators(dir);
    if (!folder.endsWith(QLatin1Char('\\')))
        folder += QLatin1Char('\\'); // "C:" must become "C:\", not the current folder of C:
    QString pattern = folder + QLatin1Char('*');
    if (pattern.size() >= MAX_PATH && !pattern.startsWith(QLatin1String("\\\\?\\"))) {
        pattern = pattern.startsWith(QLatin1String("\\\\"))
            ? QLatin1String("\\\\?\\UNC\\") + pattern.mid(2)
            : QLatin1String("\\\\?\\") + pattern;
    }
    const std::wstring widePattern = pattern.toStdWString();

    WIN32_FIND_DATAW found;
    const HANDLE handle = ::FindFirstFileExW(widePattern.c_str(), FindExInfoBasic, &found,
                                             FindExSearchNameMatch, nullptr,
                                             FIND_FIRST_EX_LARGE_FETCH);
    if (handle == INVALID_HANDLE_VALUE)
        return QByteArrayLiteral("[]");

    QByteArray out;
    out.reserve(64 * 1024);
    out.append('[');
    std::unique_ptr<ShortcutReader> shortcuts; // created with the first .lnk
    std::string kind;
    char timeBuf[40];
    char sizeBuf[40];
    do {
        const QString name = fromWide(found.cFileName);
        if (name == QLatin1String(".") || name == QLatin1String(".."))
            continue;
        if (found.dwFileAttributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM))
            continue;
        const QByteArray nameBytes = name.toUtf8();
        std::string_view kindView;
        std::string_view sizeView;
        QByteArray target;
        if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            kindView = kFolder;
        } else {
            const quint64 size = (quint64(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
            sizeView = std::string_view(
                sizeBuf, std::size_t(detail::formatSizeText(sizeBuf, size)));
            if (name.endsWith(QLatin1String(".lnk"), Qt::CaseInsensitive)) {
                kindView = kShortcut;
                if (!shortcuts)
                    shortcuts = std::make_unique<ShortcutReader>();
                target = shortcuts->target(folder + name).toUtf8();
            } else {
                detail::fileKindBytes(view(nameBytes), kind);
                kindView = kind;
            }
        }
        const int timeLength = formatFileTime(timeBuf, found.ftLastWriteTime);
        detail::appendRow(out, view(nameBytes), std::string_view(timeBuf, std::size_t(timeLength)),
                          kindView, sizeView, view(target), {});
    } while (::FindNextFileW(handle, &found));
    ::FindClose(handle);
    out.append(']');
    return out;
}

} // namespace dirservice

#endif // Q_OS_WIN
