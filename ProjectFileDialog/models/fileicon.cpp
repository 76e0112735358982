#include "shellicon.h"

#include "SharedInterface.h"

#include <QApplication>
#include <QDir>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QPointer>
#include <QStyle>
#include <QTemporaryFile>

namespace pfd {

namespace {

// Holds the shared provider; a child of the application object, so the
// provider and the icons it keeps go before the application does.
class ProviderHolder : public QObject
{
public:
    using QObject::QObject;
    QFileIconProvider provider;
    QPointer<QStyle> style;
};

} // namespace

QFileIconProvider& systemIconProvider()
{
    static QPointer<ProviderHolder> holder;
    QStyle* const style = QApplication::style();
    if (holder && holder->style != style)
        delete holder;
    if (!holder) {
        holder = new ProviderHolder(QCoreApplication::instance());
        holder->style = style;
    }
    return holder->provider;
}

QIcon fileIconForKey(const QString& key)
{
    QFileIconProvider& provider = systemIconProvider();
    if (key == QStringLiteral("文件夹"))
        return provider.icon(QFileIconProvider::Folder);
    if (key == QLatin1String("diskDriver"))
        return provider.icon(QFileIconProvider::Drive);
    if (key == QLatin1String("netDriver"))
        return provider.icon(QFileIconProvider::Network);

    const QString upper = key.toUpper();
    const QString icoFile = SharedInterface::GetAppPath() + QStringLiteral("/data/") + upper + QStringLiteral(".ico");
    if (QFileInfo::exists(icoFile))
        return QIcon(icoFile);
    // The host's icon folder is asked a second time under the same name; the
    // answer cannot differ, and the second look is kept as the host does it.
    const QString again = SharedInterface::GetAppPath() + QStringLiteral("/data/") + upper + QStringLiteral(".ico");
    if (QFileInfo::exists(again))
        return QIcon(again);

    if (upper.contains(QLatin1String("LNK")))
        return QIcon(QStringLiteral(":/Image/filedlgicon/fileTy.ico"));

    // The system knows icons by file, so make an empty one with the suffix.
    QTemporaryFile probe(QDir::tempPath() + QLatin1Char('/') + QCoreApplication::applicationName()
                         + QStringLiteral("_XXXXXX.") + key);
    probe.setAutoRemove(false);
    if (!probe.open())
        return QIcon();
    const QString probePath = probe.fileName();
    probe.close();
    const QIcon icon = provider.icon(QFileInfo(probePath));
    QFile::remove(probePath);
    return icon;
}

} // namespace pfd
