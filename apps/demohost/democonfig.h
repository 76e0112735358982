#pragma once
// The demo host's own settings: who is logged in, which rights they hold,
// the regional edition, the values the host publishes and where the
// application directory is. Kept as JSON next to the workspace so a user can
// edit it and see the dialog react.
#include <QJsonObject>
#include <QString>

struct DemoConfig
{
    QString appDir;
    QJsonObject raw;

    // Reads the file, writing the defaults first when it does not exist.
    static DemoConfig loadOrCreate(const QString& file, const QString& defaultAppDir);
    // Hands the settings to the host libraries.
    void apply() const;
};
