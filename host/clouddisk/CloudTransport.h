#pragma once
// The host's side of the cloud channel: how ServicesUtil::AsyncReplyLoop
// reaches the cloud-disk service. Embedded (the service in this process) or
// over HTTP to clouddiskd. The transport carries requests and contents; the
// channel (SharedInterface) does the work on the host's disk: it computes the
// staging path, opens the file a download is written to and the file an
// upload reads from, and hands the transport those devices.
#include "clouddisk_global.h"
#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <functional>
#include <memory>

class QIODevice;

namespace clouddisk {

struct LoginResult
{
    bool ok = false;
    qint64 userId = -1;
    QString userName;
    QString message; // why it was refused
};

class CLOUDDISK_EXPORT CloudTransport
{
public:
    virtual ~CloudTransport();

    // Signs a user in; later requests travel as that user.
    virtual LoginResult login(const QString& name, const QString& password) = 0;
    virtual void logout() = 0;

    // Any request but download, upload-file and "isexistlocalsamenamefile".
    virtual QJsonObject request(const QJsonObject& envelope) = 0;
    // The same request answered as the reply's bytes (compact JSON), as the
    // service wrote them: a large tree is then never parsed and written
    // again on its way to the dialog. By default the reply of request(),
    // written out.
    virtual QByteArray requestBytes(const QJsonObject& envelope);
    // The download method: on success the contents were written to `sink`
    // and the returned reply has "code" 0; otherwise the service's refusal
    // (or a transport failure as "code"/"msg"), and `sink` may hold a part.
    virtual QJsonObject download(const QJsonObject& envelope, QIODevice* sink) = 0;
    // The upload-file methods: the contents are read from `source` to its end.
    virtual QJsonObject upload(const QJsonObject& envelope, QIODevice* source) = 0;
};

// The service in this process, its data in dataDir.
CLOUDDISK_EXPORT std::unique_ptr<CloudTransport> makeEmbeddedTransport(const QString& dataDir);
// How the HTTP transport trusts the server it talks to.
struct HttpSettings
{
    // A PEM file of the certificate authorities to trust for https; empty:
    // the system's store.
    QString caFile;
    // Plain http carries passwords and tokens in clear text: it is refused
    // for anything but this machine's own addresses unless allowed here.
    bool allowPlainHttp = false;
    // Where the transport's log lines go (the host's log); may be empty.
    std::function<void(const QString&)> log;
};

// clouddiskd at baseUrl ("http://127.0.0.1:8765", "https://cloud.example:8765").
CLOUDDISK_EXPORT std::unique_ptr<CloudTransport> makeHttpTransport(const QString& baseUrl,
                                                                   const HttpSettings& settings = HttpSettings());
// Whether the URL names this machine (127.0.0.0/8, ::1, localhost).
CLOUDDISK_EXPORT bool isLoopbackUrl(const QString& url);

} // namespace clouddisk
