#pragma once
// "打开文件所在位置": shows a file or folder selected in the system's file
// manager. Each platform has its own way (revealfile_win.cpp,
// revealfile_unix.cpp); tests replace it through the handler below.
#include "pfd_global.h"

#include <QString>

#include <functional>

namespace pfd {

// path: absolute, native separators.
PFD_EXPORT void showInFileManager(const QString& path);

// While set, showInFileManager hands the path to handler and does nothing
// else; an empty handler restores the platform's way.
PFD_EXPORT void setShowInFileManagerHandler(std::function<void(const QString& path)> handler);

namespace detail {
// The platform's way; defined once per platform.
void showInFileManagerNative(const QString& path);
} // namespace detail

} // namespace pfd
