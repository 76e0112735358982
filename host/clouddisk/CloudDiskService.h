#pragma once
// The host's cloud-disk service: users, a personal tree per user, enterprises
// with members and rights, and the contents of uploaded files. Records live in
// SQLite (Qt SQL) beside the contents, or in PostgreSQL shared by several
// servers; contents are files in the data folder. One Service object
// per data folder; every member is safe to call from several threads at once
// and every change is one transaction.
//
// The service knows nothing of the host's disk: the staging folder, writing a
// downloaded file and reading a file to upload belong to the host's side of
// the channel (CloudTransport), which uses prepareDownload and beginUpload.
#include "clouddisk_global.h"
#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <memory>

class QFile;
class QIODevice;

namespace clouddisk {

class CLOUDDISK_EXPORT Service
{
public:
    // What to do with a data folder that other accounts can reach (made by
    // an earlier version under a permissive umask): a server refuses it and
    // says why; a host's own folder under its application directory is
    // made owner-only.
    enum class OthersAccess { Refuse, Withdraw };
    // Opens the store in dataDir, creating it owner-only when missing, and
    // removes what an interrupted write left behind. Null (and *error set)
    // when it cannot.
    static std::unique_ptr<Service> open(const QString& dataDir, QString* error = nullptr,
                                         OthersAccess othersAccess = OthersAccess::Refuse);
    // The same with the records in the database `database` names: empty for
    // SQLite in dataDir, or postgresql://USER@HOST:PORT/DBNAME for a
    // PostgreSQL database that several servers share (dataDir then holds
    // the contents only, and must be the same folder for all of them).
    static std::unique_ptr<Service> open(const QString& dataDir, const QString& database, QString* error,
                                         OthersAccess othersAccess = OthersAccess::Refuse);
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
    // The same reply as compact JSON bytes, ready to send.
    QByteArray handleBytes(qint64 userId, const QJsonObject& envelope);

    // The download method: checks the envelope and the user's right to the
    // node named by "xzlj". On success `refusal` is empty and `contents` is
    // the stored contents, open for reading: one whole version, even when
    // an upload replaces the file or it is removed while it is read.
    // contentsPath names where that version lay (read-only). Else `refusal`
    // is the reply to give.
    struct Download
    {
        QJsonObject refusal;
        QString contentsPath;
        qint64 size = 0;
        std::shared_ptr<QFile> contents;
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
        // Writes everything `source` still holds, to its end; a local file
        // is copied inside the kernel where it can be.
        virtual bool writeFrom(QIODevice* source);
        virtual QJsonObject commit() = 0;
        virtual void abort() = 0;
    };
    // Null with *refusal set when the envelope or ticket is refused.
    std::unique_ptr<Upload> beginUpload(qint64 userId, const QJsonObject& envelope,
                                        QJsonObject* refusal);

    // ---- sessions, for transports that hand a token to a signed-in user
    // They live in the store (only a hash of each token), so any process
    // on the data folder accepts them and a restart ends none. A session
    // ends when its token is ended, when the user's password changes,
    // when the admin tool ends the user's sessions, or after a day unused.
    // A new random token for userId (64 hex characters), or empty on failure.
    QString createSession(qint64 userId);
    // The token's user, or -1 for an unknown or ended session; *failed is
    // set when the store could not be asked (the service's failure, not a
    // reason to sign in again).
    qint64 sessionUser(const QString& token, bool* failed = nullptr) const;
    void endSession(const QString& token);
    // Ends every session of the user; how many there were, or -1.
    int endSessions(qint64 userId, QString* error = nullptr);

    // The token kind ("mq_token_user" or "mq_token_ltd") a method must name
    // in "orgin_token"; empty for a method the service does not know.
    static QString tokenKindFor(const QString& method);

    // ---- administration (the admin tool, the demo host's first run)
    struct Account
    {
        qint64 id = -1;
        QString name;
    };
    enum class Right { Enter, Open, Download };

    qint64 userId(const QString& name) const; // -1 when unknown
    QList<Account> users() const;
    // Sets the password and ends the user's sessions.
    bool setPassword(qint64 userId, const QString& password, QString* error = nullptr);

    // The new enterprise's id; its tree's top folder carries its name.
    qint64 addEnterprise(const QString& name, QString* error = nullptr);
    qint64 enterpriseId(const QString& name) const;
    QString enterpriseName(qint64 enterpriseId) const;
    QList<Account> enterprises() const;
    QList<Account> members(qint64 enterpriseId) const;
    bool addMember(qint64 enterpriseId, qint64 userId, QString* error = nullptr);
    bool removeMember(qint64 enterpriseId, qint64 userId, QString* error = nullptr);

    // Members hold every right on every folder and file of their enterprise
    // until one is withdrawn for them; granting it again lifts that.
    // Withdrawing Enter on a folder closes everything below it.
    bool setRight(qint64 nodeId, qint64 userId, Right right, bool granted, QString* error = nullptr);

    // Top folders: the user's "根目录", the enterprise's own folder. -1 if none.
    qint64 personalRoot(qint64 userId) const;
    qint64 enterpriseRoot(qint64 enterpriseId) const;
    // The child of a folder with that name, or -1.
    qint64 childId(qint64 folderId, const QString& name) const;
    // A folder under parentId (the existing one when the name is taken by a
    // folder); -1 with *error when the name is not allowed or taken by a file.
    qint64 makeFolder(qint64 parentId, const QString& name, QString* error = nullptr);
    // Stores the contents read from `source` as the file `name` in the
    // folder, replacing a file of that name. The node's id, or -1.
    qint64 storeFile(qint64 parentId, const QString& name, QIODevice* source, QString* error = nullptr);
    // Imports the files and folders inside localDir (links are not
    // followed) into the folder; the number of files stored, or -1.
    qint64 importFolder(qint64 parentId, const QString& localDir, QString* error = nullptr);
    // The node at a path of names below a top folder ("设计/图纸", "/" or
    // "\\" between names; empty for the top folder itself), or -1.
    qint64 nodeAt(qint64 topId, const QString& path) const;
    // Removes a node with everything below it (not a top folder).
    bool removeNode(qint64 nodeId, QString* error = nullptr);
    // The node with everything below it, as reply nodes, unfiltered by rights.
    QJsonObject subtree(qint64 nodeId) const;
    // Withdrawn rights as "node user right" lines ("enter", "open", "download").
    QList<QJsonObject> withdrawnRights(qint64 enterpriseId) const;

    // ---- serving
    // At most this many database connections at once; each thread that
    // uses the service holds one until it ends. A server with a fixed set
    // of threads sets it to their number plus one for the thread that
    // opened the service. 16 until set.
    void setConnectionLimit(int limit);
    // Gives the calling thread's database connection back to the pool. A
    // server calls it when it has answered a request, so that a thread
    // that waits on an idle client holds none; the thread's next call
    // takes one again.
    void releaseConnection();
    // Database connections open now.
    int openConnections() const;

    // Where contents live, for checks: the folder beside the database.
    QString contentsDir() const;

    struct Private;

private:
    Service();
    std::unique_ptr<Private> d;
};

} // namespace clouddisk
