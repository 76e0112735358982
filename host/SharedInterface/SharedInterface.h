#pragma once
// Host shared-interface library: application paths, file descriptions and
// usage counters.
#include "sharedinterface_global.h"
#include <QString>

class SHAREDINTERFACE_EXPORT SharedInterface
{
public:
    static SharedInterface* getInstance();

    // The host application's directory (where the dialog keeps its store,
    // icon folder and history file). Defaults to the executable's folder.
    static QString GetAppPath();

    // The host's description of a file in four strings: its name, its
    // modification time ("yyyy-MM-dd hh:mm:ss"), its kind text and its size
    // text ("<kilobytes>KB"). All four are empty when the file is missing.
    static void GetFileInfo(const QString& path, QString& name, QString& datetime,
                            QString& type, QString& size);

    // Usage counters of the host: a feature starts and stops being used.
    static void UseFunc(int funcId, const QString& detail);
    static void EndUseFun(int funcId, const QString& detail);
};
