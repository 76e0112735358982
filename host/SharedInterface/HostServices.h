#pragma once
// Smaller host services: the cloud request channel, busy marks, the main
// window, the current mode's settings and the log writer.
#include "sharedinterface_global.h"
#include <QByteArray>
#include <QMutex>
#include <QString>

class QObject;
class QWidget;

class SHAREDINTERFACE_EXPORT ServicesUtil
{
public:
    // Sends one request envelope to the host's cloud-disk service and waits
    // for its reply. Without a service the reply is empty.
    static QByteArray AsyncReplyLoop(const QByteArray& envelope);
};

class SHAREDINTERFACE_EXPORT SystemHelper
{
public:
    static void markVeto(const QString& reason);
    static void markUse(const QString& reason);
};

class SHAREDINTERFACE_EXPORT Communication
{
public:
    static Communication* GetInstance();
    QWidget* GetMainWindow() const;
    // The host's cloud message source (emits doGotMsg(QJsonObject)), or null.
    QObject* CloudMessageSource() const;
};

struct SHAREDINTERFACE_EXPORT BasicSettings
{
    QString projectDir;
};

class SHAREDINTERFACE_EXPORT ProjectSettingHelper
{
public:
    static ProjectSettingHelper* GetProjectSettingHelper();
    BasicSettings getCurModeBasicSettings() const;
};

// The host's log: while enabled, lines are appended to "log/host.log" under
// the application directory. Callers format the line and hold mutex() while
// writing, as the host's own modules do.
class SHAREDINTERFACE_EXPORT LogManagement
{
public:
    static LogManagement* getInstance();
    bool isEnabled() const;
    void setEnabled(bool on);
    QMutex& mutex();
    void writeLine(const QString& line);
    QString logFilePath() const;
};
