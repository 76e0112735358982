#include "revealfile.h"

#include <QProcess>
#include <QStringList>

void pfd::detail::showInFileManagerNative(const QString& path)
{
    QProcess::startDetached(QStringLiteral("explorer"), {QStringLiteral("/select,"), path});
}
