#include "pfdlog.h"

#include "HostServices.h"

#include <QDateTime>
#include <QMutexLocker>

namespace pfd {

void logInfo(const QString& message)
{
    LogManagement* log = LogManagement::getInstance();
    if (!log->isEnabled())
        return;
    QMutexLocker lock(&log->mutex());
    log->writeLine(QLatin1Char('[')
                   + QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"))
                   + QStringLiteral("] ") + message);
}

} // namespace pfd
