#pragma once
// The host's side of the cloud channel: what ServicesUtil::AsyncReplyLoop
// does with an envelope. It answers "isexistlocalsamenamefile" itself, writes
// downloads into the signed-in user's staging folder and reads the files that
// are uploaded, and hands everything else to the transport (embedded or over
// HTTP). Safe to call from several threads at once.
#include "CloudTransport.h"
#include "clouddisk_global.h"

#include <QByteArray>
#include <QJsonObject>
#include <QMutex>
#include <QString>
#include <memory>

namespace clouddisk {

// The local name a cloud name gets as one component of a path in the
// staging tree: separators, reserved and control characters become "_",
// a trailing run of "." or " " becomes "_" each, an empty name "_", and a
// name longer than 255 bytes in UTF-8 is cut and marked with a hash of the
// original ("~" + 8 hex digits), keeping a short suffix.
CLOUDDISK_EXPORT QString localNameForCloudName(const QString& name);

// Whether `path`, made absolute and cleaned, lies strictly inside `folder`.
CLOUDDISK_EXPORT bool pathIsInside(const QString& folder, const QString& path);

class CLOUDDISK_EXPORT Channel
{
public:
    // appPath is the host's application directory; the staging tree lies
    // under appPath + "/cfg/DownloadCloudDiskFile".
    Channel(std::unique_ptr<CloudTransport> transport, const QString& appPath);
    ~Channel();

    LoginResult login(const QString& name, const QString& password);
    void logout();
    // The signed-in user, or -1.
    qint64 userId() const;
    QString userName() const;

    // appPath + "/cfg/DownloadCloudDiskFile/" + the signed-in user's id.
    QString stagingRoot() const;
    // Where a cloud file of that name in that cloud folder ("个人云盘\\a\\b")
    // is staged: one local folder per cloud path segment.
    QString stagingPathFor(const QString& fileName, const QString& cloudPath) const;

    // One request envelope in, the reply bytes out (compact JSON).
    QByteArray exchange(const QByteArray& envelope);
    QJsonObject exchange(const QJsonObject& envelope);

private:
    QJsonObject localSameName(const QJsonObject& method) const;
    QJsonObject download(const QJsonObject& envelope, const QJsonObject& method);
    QJsonObject upload(const QJsonObject& envelope, const QJsonObject& method);

    std::unique_ptr<CloudTransport> m_transport;
    QString m_appPath;
    mutable QMutex m_mutex;
    qint64 m_userId = -1;
    QString m_userName;
};

} // namespace clouddisk
