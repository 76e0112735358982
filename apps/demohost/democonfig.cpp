#include "democonfig.h"

#include "CpfMain.h"
#include "SharedInterfaceTesting.h"
#include "mqcoreTesting.h"
#include "zCpfTesting.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QTextStream>

namespace {

QJsonObject defaults(const QString& appDir)
{
    return QJsonObject{
        {"appDir", appDir},
        {"user", QJsonObject{{"loggedIn", false}, {"id", "10001"}, {"name", "zhangsan"}, {"realName", "张三"}}},
        {"loginSucceeds", true},
        {"withdrawnRights", QJsonArray{}},
        {"edition", ""},
        {"hostValues", QJsonObject{{"文件对话框-当前工程位置", ""}}},
    };
}

} // namespace

DemoConfig DemoConfig::loadOrCreate(const QString& file, const QString& defaultAppDir)
{
    DemoConfig config;
    QFile in(file);
    if (in.open(QIODevice::ReadOnly)) {
        const QJsonDocument doc = QJsonDocument::fromJson(in.readAll());
        if (doc.isObject())
            config.raw = doc.object();
        else
            QTextStream(stderr) << "demohost: " << file << " is not a JSON object; using defaults\n";
    }
    if (config.raw.isEmpty()) {
        config.raw = defaults(defaultAppDir);
        QDir().mkpath(QFileInfo(file).absolutePath());
        QSaveFile out(file);
        if (out.open(QIODevice::WriteOnly)) {
            out.write(QJsonDocument(config.raw).toJson(QJsonDocument::Indented));
            out.commit();
        }
    }
    config.appDir = config.raw.value("appDir").toString(defaultAppDir);
    return config;
}

void DemoConfig::apply() const
{
    QDir().mkpath(appDir);
    SharedInterfaceTesting::setAppPath(appDir);

    const QJsonObject user = raw.value("user").toObject();
    mqcoreTesting::setUser(user.value("id").toString(), user.value("name").toString(),
                           user.value("realName").toString());
    mqcoreTesting::setLoggedIn(user.value("loggedIn").toBool());
    mqcoreTesting::setLoginOutcome(raw.value("loginSucceeds").toBool(true));
    for (const QJsonValue& right : raw.value("withdrawnRights").toArray())
        mqcoreTesting::withdrawRight(right.toInt());

    const QString edition = raw.value("edition").toString();
    zCpfTesting::setProdArea(edition == QLatin1String("A"), edition == QLatin1String("B"));

    const QJsonObject values = raw.value("hostValues").toObject();
    for (auto it = values.begin(); it != values.end(); ++it)
        SharedInterfaceTesting::setHostValue(it.key(), it.value().toString());
}
