// The cloud-disk service in the host's own process.
#include "CloudDiskService.h"
#include "CloudTransport.h"
#include "clouddisk_store_p.h"

#include <QDir>
#include <QFile>
#include <QFileDevice>
#include <QHash>
#include <QIODevice>
#include <QJsonDocument>
#include <QMutex>
#include <QWeakPointer>

#include <atomic>
#include <mutex>

namespace clouddisk {

CloudTransport::~CloudTransport() = default;

QByteArray CloudTransport::requestBytes(const QJsonObject& envelope)
{
    return QJsonDocument(request(envelope)).toJson(QJsonDocument::Compact);
}

namespace {

constexpr qint64 kChunk = 1 << 20;

QJsonObject refuse(const QString& msg)
{
    return QJsonObject{{"code", 1}, {"msg", msg}};
}

// One service per data folder in a process, shared by its transports.
std::shared_ptr<Service> sharedService(const QString& dataDir, QString* error)
{
    static QMutex mutex;
    static QHash<QString, std::weak_ptr<Service>> services;
    const QString key = QDir::cleanPath(QDir(dataDir).absolutePath());
    QMutexLocker lock(&mutex);
    if (std::shared_ptr<Service> s = services.value(key).lock())
        return s;
    // The host's own folder: one an earlier version left open to others is
    // made owner-only.
    std::shared_ptr<Service> s(Service::open(key, error, Service::OthersAccess::Withdraw).release());
    if (s)
        services.insert(key, s);
    return s;
}

class EmbeddedTransport : public CloudTransport
{
public:
    explicit EmbeddedTransport(const QString& dataDir)
        : m_dataDir(dataDir)
    {
    }

    LoginResult login(const QString& name, const QString& password) override
    {
        LoginResult r;
        Service* s = service(&r.message);
        if (!s)
            return r;
        const qint64 id = s->checkPassword(name, password);
        if (id < 0) {
            r.message = QStringLiteral("用户名或密码错误");
            return r;
        }
        m_user = id;
        r.ok = true;
        r.userId = id;
        r.userName = s->userName(id);
        return r;
    }

    void logout() override { m_user = -1; }

    // The service, when it opens and a user is signed in; otherwise null
    // with the refusal to answer.
    Service* signedInService(QJsonObject* refusal)
    {
        QString why;
        Service* s = service(&why);
        if (!s) {
            *refusal = refuse(why);
            return nullptr;
        }
        if (m_user < 0) {
            *refusal = refuse(QStringLiteral("请先登录云盘"));
            return nullptr;
        }
        return s;
    }

    QJsonObject request(const QJsonObject& envelope) override
    {
        QJsonObject refusal;
        Service* s = signedInService(&refusal);
        if (!s)
            return refusal;
        return s->handle(m_user, envelope);
    }

    QByteArray requestBytes(const QJsonObject& envelope) override
    {
        QJsonObject refusal;
        Service* s = signedInService(&refusal);
        if (!s)
            return QJsonDocument(refusal).toJson(QJsonDocument::Compact);
        return s->handleBytes(m_user, envelope);
    }

    QJsonObject download(const QJsonObject& envelope, QIODevice* sink) override
    {
        QJsonObject refusal;
        Service* s = signedInService(&refusal);
        if (!s)
            return refusal;
        const Service::Download d = s->prepareDownload(m_user, envelope);
        if (!d.refusal.isEmpty())
            return d.refusal;
        QFile& contents = *d.contents;
        // A local file is filled inside the kernel where it can be.
        auto* file = qobject_cast<QFileDevice*>(sink);
        if (file && file->handle() >= 0 && file->flush()) {
            const qint64 n = store::copyFileData(contents.handle(), file->handle());
            if (n >= 0)
                return QJsonObject{{"code", 0}, {"msg", QStringLiteral("下载成功")}};
            if (n == -2)
                return refuse(QStringLiteral("写入本地文件失败"));
        }
        QByteArray buf(int(kChunk), Qt::Uninitialized);
        for (;;) {
            const qint64 n = contents.read(buf.data(), buf.size());
            if (n < 0)
                return refuse(QStringLiteral("云盘文件暂时无法读取，请重试"));
            if (n == 0)
                break;
            if (!sink || sink->write(buf.constData(), n) != n)
                return refuse(QStringLiteral("写入本地文件失败"));
        }
        return QJsonObject{{"code", 0}, {"msg", QStringLiteral("下载成功")}};
    }

    QJsonObject upload(const QJsonObject& envelope, QIODevice* source) override
    {
        QJsonObject refusal;
        Service* s = signedInService(&refusal);
        if (!s)
            return refusal;
        std::unique_ptr<Service::Upload> up = s->beginUpload(m_user, envelope, &refusal);
        if (!up)
            return refusal;
        if (!source || !source->isReadable())
            return refuse(QStringLiteral("无法读取要上传的文件"));
        if (!up->writeFrom(source))
            return refuse(QStringLiteral("云盘保存文件失败"));
        return up->commit();
    }

private:
    Service* service(QString* why)
    {
        std::call_once(m_once, [this] { m_service = sharedService(m_dataDir, &m_openError); });
        if (!m_service && why)
            *why = QStringLiteral("云盘服务不可用：%1").arg(m_openError);
        return m_service.get();
    }

    QString m_dataDir;
    std::once_flag m_once;
    std::shared_ptr<Service> m_service;
    QString m_openError;
    std::atomic<qint64> m_user{-1};
};

} // namespace

std::unique_ptr<CloudTransport> makeEmbeddedTransport(const QString& dataDir)
{
    return std::make_unique<EmbeddedTransport>(dataDir);
}

} // namespace clouddisk
