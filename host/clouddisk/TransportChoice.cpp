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

namespace {

bool isYes(const QString& text)
{
    const QString t = text.trimmed().toLower();
    return t == QLatin1String("1") || t == QLatin1String("true") || t == QLatin1String("yes") ||
           t == QStringLiteral("是");
}

} // namespace

HttpSettings chooseHttpSettings(const QString& caHostValue, const QString& allowHostValue)
{
    HttpSettings s;
    s.caFile = caHostValue.trimmed();
    if (s.caFile.isEmpty())
        s.caFile = qEnvironmentVariable(kServiceCaEnv).trimmed();
    s.allowPlainHttp = allowHostValue.trimmed().isEmpty() ? isYes(qEnvironmentVariable(kAllowPlainHttpEnv))
                                                          : isYes(allowHostValue);
    return s;
}

std::unique_ptr<CloudTransport> makeTransport(const QString& url, const QString& embeddedDataDir,
                                              const HttpSettings& settings)
{
    if (!url.isEmpty())
        return makeHttpTransport(url, settings);
    return makeEmbeddedTransport(embeddedDataDir);
}

} // namespace clouddisk
