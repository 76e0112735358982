#include "revealfile.h"

namespace {

std::function<void(const QString&)>& handler()
{
    static std::function<void(const QString&)> h;
    return h;
}

} // namespace

void pfd::showInFileManager(const QString& path)
{
    if (handler())
        handler()(path);
    else
        detail::showInFileManagerNative(path);
}

void pfd::setShowInFileManagerHandler(std::function<void(const QString& path)> h)
{
    handler() = std::move(h);
}
