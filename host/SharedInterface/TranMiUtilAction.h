#pragma once
// The host's directory service and value service.
#include "sharedinterface_global.h"
#include <QByteArray>
#include <QString>

class SHAREDINTERFACE_EXPORT TranMiUtilAction
{
public:
    static TranMiUtilAction* Instance();

    // Lists one folder, a drive root ("C:\") or the computer (":") as a
    // UTF-8 JSON array of rows; each row is an array of six strings:
    // name, modified time ("yyyy-MM-dd hh:mm:ss"), kind word, size text
    // ("<kilobytes>KB", empty for folders and drives), shortcut target and
    // volume label. An unreadable folder gives "[]".
    QByteArray ReadDirAll(const QString& dir);

    // The value the host publishes under key, or defaultValue.
    QString JudageValue(const QString& key, const QString& defaultValue);
};

// Gateway object through which host services are reached.
class SHAREDINTERFACE_EXPORT zHttpUtil
{
public:
    static zHttpUtil* Instance();
    static TranMiUtilAction* TranMiUtil();
};
