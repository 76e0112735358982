#pragma once
// Shared set-up of the tests: a private application directory and home,
// every host service back at its default, and helpers to script the
// directory service.
#include "SharedInterfaceTesting.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStandardPaths>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

namespace testsupport {

// One row of the directory service: name, time, kind, size, target, label.
inline QJsonArray row(const QString& name, const QString& kind, const QString& size = QString(),
                      const QString& target = QString(), const QString& label = QString(),
                      const QString& time = QStringLiteral("2024-03-05 08:09:10"))
{
    return QJsonArray{name, time, kind, size, target, label};
}

inline QByteArray rows(const QVector<QJsonArray>& list)
{
    QJsonArray a;
    for (const QJsonArray& r : list)
        a.append(r);
    return QJsonDocument(a).toJson(QJsonDocument::Compact);
}

// Answers every directory request with the same bytes.
inline void answerDirRequests(const QByteArray& bytes)
{
    SharedInterfaceTesting::setDirService([bytes](const QString&) { return bytes; });
}

// Points the application directory at a fresh folder for one test.
struct AppDir
{
    QTemporaryDir dir;
    AppDir()
    {
        SharedInterfaceTesting::reset();
        SharedInterfaceTesting::setAppPath(dir.path());
    }
    ~AppDir() { SharedInterfaceTesting::reset(); }
    QString path() const { return dir.path(); }
    QString store() const { return dir.path() + QStringLiteral("/filecy.json"); }
};

} // namespace testsupport
