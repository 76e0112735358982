#include "TransportChoice.h"

#include <QUrl>

namespace clouddisk {

bool isServiceUrl(const QString& text)
{
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    return url.isValid() && (scheme == QLatin1String("http") || scheme == QLatin1String("https")) &&
           !url.host().isEmpty();
}

QString chooseServiceUrl(const QString& hostValue)
{
    if (isServiceUrl(hostValue))
        return hostValue.trimmed();
    const QString fromEnvironment = qEnvironmentVariable(kServiceUrlEnv);
    if (isServiceUrl(fromEnvironment))
        return fromEnvironment.trimmed();
    return QString();
}

std::unique_ptr<CloudTransport> makeTransport(const QString& url, const QString& embeddedDataDir)
{
    if (!url.isEmpty())
        return makeHttpTransport(url);
    return makeEmbeddedTransport(embeddedDataDir);
}

} // namespace clouddisk
