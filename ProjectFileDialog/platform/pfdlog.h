#pragma once
// Information lines of the dialog in the host's log.
#include <QString>

namespace pfd {

// Writes "[yyyy-MM-dd HH:mm:ss.zzz] message" to the host log while the
// host has logging switched on, under the host log's own lock.
void logInfo(const QString& message);

} // namespace pfd
