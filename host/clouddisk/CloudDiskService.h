#pragma once
// The host's cloud-disk service: users, a personal tree per user, enterprises
// with members and rights, and the contents of uploaded files. Records live in
// SQLite (Qt SQL), contents as files beside the database. One Service object
// per data folder; every member is safe to call from several threads at once
// and every change is one transaction.
//
// The service knows nothing of the host's disk: the staging folder, writing a
// downloaded file and reading a file to upload belong to the host's side of
// the channel (CloudTransport), which uses prepareDownload and beginUpload.
#include "clouddisk_global.h"
#include <QJsonObject>
#include <QString>
#include <memory>

namespace clouddisk {

class CLOUDDISK_EXPORT Service
{
public:
    // Opens the store in dataDir, creating it when missing, and removes what
    // an interrupted write left behind. Null (and *error set) when it cannot.
    static std::unique_ptr<Service> open(const QString& dataDir, QString* error = nullptr);
    ~Service();

    // ---- accounts (login, the admin tool)
    // The new user's id (> 0), or -1 when the name is taken or invalid.
    qint64 addUser(const QString& name, const QString& password, QString* error = nullptr);
    // The user's id when name and password match, else -1.
    qint64 checkPassword(const QString& name, const QString& password) const;
    QString userName(qint64 userId) const;

    // ---- requests
    // Answers one request envelope ("cmd", "orgin_token", "data") for the
    // authenticated user `userId`: the browse, permission and upload-info
    // methods. The download and upload-file methods are answered by
    // prepareDownload and beginUpload; "isexistlocalsamenamefile" never
    // reaches the service. Anything malformed gets a "code"/"msg" refusal.
    QJsonObject handle(qint64 userId, const QJsonObject& envelope);

    // The download method: checks the envelope and the user's right to the
    // node named by "xzlj". On success `refusal` is empty and contentsPath
    // names the stored contents (read-only, complete), else `refusal` is the
    // reply to give.
    struct Download
    {
        QJsonObject refusal;
        QString contentsPath;
        qint64 size = 0;
    };
    Download prepareDownload(qint64 userId, const QJsonObject& envelope);

    // The upload-file methods: the envelope must present a valid, unused
    // ticket. The caller streams the bytes with write() and ends with
    // commit() (the reply: the node is created or replaced) or abort();
    // destroying an Upload that was not committed aborts it. Contents become
    // visible only at commit, after they are complete on disk.
    class CLOUDDISK_EXPORT Upload
    {
    public:
        virtual ~Upload();
        virtual bool write(const char* data, qint64 size) = 0;
        virtual QJsonObject commit() = 0;
        virtual void abort() = 0;
    };
    // Null with *refusal set when the envelope or ticket is refused.
    std::unique_ptr<Upload> beginUpload(qint64 userId, const QJsonObject& envelope,
                                        QJsonObject* refusal);

    // The admin tool's operations (enterprises, members, rights, imports,
    // listing) are members added beside these.

private:
    Service();
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace clouddisk
