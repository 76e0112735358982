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
    // for its reply. Safe from any thread. The service runs in this process
    // with its data under the application directory, unless the host value
    // "云盘服务地址" or the environment variable PFD_CLOUD_URL names a
    // server; a test channel (SharedInterfaceTesting) replaces both.
    static QByteArray AsyncReplyLoop(const QByteArray& envelope);

    // Signs a user in to the cloud-disk service; later requests travel as
    // that user. On success userId gets the service's numeric id, else
    // message says why.
    static bool CloudLogin(const QString& name, const QString& password, QString* userId = nullptr,
                           QString* message = nullptr);
    static void CloudLogout();
    // The user signed in to the cloud-disk service, or empty.
    static QString CloudUserId();
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
