#pragma once
// Test seam of the shared-interface stand-in. Tests script the host here:
// where the application lives, what the directory and cloud services answer,
// which values the host publishes, and they read back what the library did.
#include "sharedinterface_global.h"
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <functional>

class QObject;
class QWidget;

namespace SharedInterfaceTesting {

SHAREDINTERFACE_EXPORT void setAppPath(const QString& dir);

// Replaces the directory service; an empty function restores the real one.
using DirService = std::function<QByteArray(const QString& dir)>;
SHAREDINTERFACE_EXPORT void setDirService(DirService service);
// Every directory string that reached ReadDirAll, oldest first.
SHAREDINTERFACE_EXPORT QStringList dirRequests();

// Host values returned by TranMiUtilAction::JudageValue.
SHAREDINTERFACE_EXPORT void setHostValue(const QString& key, const QString& value);
SHAREDINTERFACE_EXPORT void clearHostValues();

// Replaces the cloud-disk service for every caller of AsyncReplyLoop, on
// every thread; an empty function restores the real service.
using CloudChannel = std::function<QByteArray(const QByteArray& envelope)>;
SHAREDINTERFACE_EXPORT void setCloudChannel(CloudChannel channel);
SHAREDINTERFACE_EXPORT QList<QByteArray> cloudRequests();

// "UseFunc <id> <detail>" / "EndUseFun <id> <detail>", in call order.
SHAREDINTERFACE_EXPORT QStringList usageCalls();
// "veto <reason>" / "use <reason>", in call order.
SHAREDINTERFACE_EXPORT QStringList busyMarks();

SHAREDINTERFACE_EXPORT void setMainWindow(QWidget* window);
SHAREDINTERFACE_EXPORT void setCloudMessageSource(QObject* source);
SHAREDINTERFACE_EXPORT void setProjectDir(const QString& dir);

// Log lines as written (with their time prefix), kept in memory as well as
// in the file while the log is enabled.
SHAREDINTERFACE_EXPORT QStringList logLines();
SHAREDINTERFACE_EXPORT void clearLog();

// Puts every setting above back to its default.
SHAREDINTERFACE_EXPORT void reset();

} // namespace SharedInterfaceTesting
