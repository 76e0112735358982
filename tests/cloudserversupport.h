#pragma once
// Shared by the clouddiskd tests: a server process started and stopped by
// the test on 127.0.0.1 with a port of the system's choosing (plain or over
// TLS, optionally on a small disk of its own), users made in its data folder
// beforehand, and the request envelopes the dialog sends.
#include "CloudDiskService.h"
#include "clustersupport.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <csignal>
#include <sys/statvfs.h>

namespace cloudtest {

// clouddiskd, run from the build's bin folder beside the tests.
inline QString serverProgram()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/clouddiskd");
}

// Creates a user in dataDir's store while no server has it open.
inline qint64 addUser(const QString& dataDir, const QString& name, const QString& password)
{
    std::unique_ptr<clouddisk::Service> service = clustersupport::openStore(dataDir);
    return service ? service->addUser(name, password) : -1;
}

class Server
{
public:
    explicit Server(QString dataDir, QStringList extraArgs = {})
        : m_dataDir(std::move(dataDir))
        , m_extraArgs(std::move(extraArgs))
    {
    }
    ~Server() { kill(); }

    // Starts the server, on `port` (0: any free port), and waits until it
    // says where it listens. False when it did not come up.
    bool start(int port = 0)
    {
        m_process.setProgram(serverProgram());
        m_process.setArguments(clustersupport::databaseOptions(m_dataDir) + m_extraArgs
                               + QStringList{QStringLiteral("--data"), m_dataDir, QStringLiteral("--listen"),
                                             QStringLiteral("127.0.0.1:%1").arg(port)});
        return started();
    }

    // Starts the server on a disk of its own of `megabytes` (a tmpfs in a
    // mount namespace of its own, holding a copy of the data folder), so
    // that a test can fill it. False when the system allows no such thing
    // (then *why says so) or the server did not come up.
    bool startOnSmallDisk(int megabytes, QString* why)
    {
        if (!m_mount.isValid()) {
            *why = QStringLiteral("no folder to mount on");
            return false;
        }
        const QString script = QStringLiteral(
            "mount -t tmpfs -o size=%1m tmpfs \"$1\" && cp -a \"$2\"/. \"$1\"/ && shift 2 && exec \"$@\"")
                                   .arg(megabytes);
        m_process.setProgram(QStringLiteral("unshare"));
        m_process.setArguments(QStringList{QStringLiteral("-rm"), QStringLiteral("sh"), QStringLiteral("-c"), script,
                                           QStringLiteral("sh"), m_mount.path(), m_dataDir, serverProgram(),
                                           QStringLiteral("--data"), m_mount.path(), QStringLiteral("--listen"),
                                           QStringLiteral("127.0.0.1:0")} +
                               clustersupport::databaseOptions(m_dataDir) + m_extraArgs);
        if (started() && diskBytes() > 0 && diskBytes() <= qint64(megabytes) * 1024 * 1024)
            return true;
        *why = QStringLiteral("no tmpfs in a mount namespace here: ") + QString::fromLocal8Bit(errors());
        kill();
        return false;
    }

    // The data folder as this process sees it (through the server's own
    // view of the file system when it runs on a small disk).
    QString dataPath() const
    {
        if (m_process.program() != QLatin1String("unshare"))
            return m_dataDir;
        return QStringLiteral("/proc/%1/root%2").arg(m_process.processId()).arg(m_mount.path());
    }
    qint64 diskBytes() const { return statDisk(false); }
    qint64 freeBytes() const { return statDisk(true); }
    qint64 pid() const { return m_process.processId(); }

    bool started()
    {
        m_process.setProcessChannelMode(QProcess::SeparateChannels);
        m_process.start();
        if (!m_process.waitForStarted(10000))
            return false;
        // Gone with the test, however it ends.
        clustersupport::Watchdog::instance().watchPid(pid_t(m_process.processId()), SIGKILL);
        static const QRegularExpression ready(QStringLiteral("listening on (https?://[^\\s]+):(\\d+)"));
        QByteArray out;
        QDeadlineTimer deadline(20000);
        while (!deadline.hasExpired()) {
            if (!m_process.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime()))))
                break;
            out += m_process.readAllStandardOutput();
            const auto match = ready.match(QString::fromUtf8(out));
            if (match.hasMatch()) {
                m_url = match.captured(1) + QLatin1Char(':') + match.captured(2);
                m_port = match.captured(2).toInt();
                return true;
            }
        }
        return false;
    }

    // SIGTERM, and waits for the process to end. True for a clean exit.
    bool stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return true;
        m_process.terminate();
        return m_process.waitForFinished(20000) && m_process.exitStatus() == QProcess::NormalExit &&
               m_process.exitCode() == 0;
    }

    // SIGKILL: the server gets no chance to tidy up.
    void kill()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        ::kill(pid_t(m_process.processId()), SIGKILL);
        m_process.waitForFinished(20000);
    }

    bool isRunning() const { return m_process.state() == QProcess::Running; }
    qint64 processId() const { return m_process.processId(); }
    QString url() const { return m_url; }
    int port() const { return m_port; }
    QByteArray errors() { return m_process.readAllStandardError(); }
    // Sends what the server writes on standard error to a file instead.
    // For callers that run no event loop: a pipe nobody reads fills up
    // and the server stops at its next line there.
    void writeErrorsTo(const QString& path) { m_process.setStandardErrorFile(path); }

private:
    qint64 statDisk(bool free) const
    {
        struct statvfs s{};
        if (::statvfs(QFile::encodeName(dataPath()).constData(), &s) != 0)
            return -1;
        return qint64(free ? s.f_bavail : s.f_blocks) * qint64(s.f_frsize);
    }

    QString m_dataDir;
    QStringList m_extraArgs;
    QTemporaryDir m_mount;
    QProcess m_process;
    QString m_url;
    int m_port = 0;
};

// ---- the envelopes the dialog sends

inline QJsonObject envelope(const QString& tokenKind, const QJsonObject& method)
{
    return QJsonObject{{QStringLiteral("cmd"), QStringLiteral("cloudDisk")},
                       {QStringLiteral("orgin_token"), tokenKind},
                       {QStringLiteral("data"), method}};
}

inline QJsonObject personalTree(qint64 mqid)
{
    return envelope(QStringLiteral("mq_token_user"),
                    QJsonObject{{QStringLiteral("method"), QStringLiteral("personcloudgetfiledirforclouddisk")},
                                {QStringLiteral("mqid"), double(mqid)},
                                {QStringLiteral("data"), QJsonObject()}});
}

inline QJsonObject personalUploadInfo(const QString& wjm, const QString& pid, qint64 wjdx, const QString& ext,
                                      const QString& mqid)
{
    const QJsonObject item{{QStringLiteral("wjm"), wjm},
                           {QStringLiteral("pid"), pid},
                           {QStringLiteral("wjdx"), double(qint32(wjdx))},
                           {QStringLiteral("ext"), ext}};
    return envelope(QStringLiteral("mq_token_user"),
                    QJsonObject{{QStringLiteral("method"), QStringLiteral("personclouduploadinfoforclouddisk")},
                                {QStringLiteral("mqid"), mqid},
                                {QStringLiteral("pid"), pid},
                                {QStringLiteral("data"), QJsonArray{item}}});
}

// The file request echoing the ticket of an info reply's "data".
inline QJsonObject personalUploadFile(const QJsonObject& ticket, const QString& filePath, const QString& mqid)
{
    return envelope(
        QStringLiteral("mq_token_user"),
        QJsonObject{{QStringLiteral("method"), QStringLiteral("personclouduploadfileinfoforclouddisk")},
                    {QStringLiteral("sclj"), ticket.value(QLatin1String("sclj")).toString()},
                    {QStringLiteral("filePath"), filePath},
                    {QStringLiteral("wjjwybs"), ticket.value(QLatin1String("wjjwybs")).toString()},
                    {QStringLiteral("pid"), ticket.value(QLatin1String("pid")).toString()},
                    {QStringLiteral("wjdx"), double(ticket.value(QLatin1String("wjdx")).toInt())},
                    {QStringLiteral("ext"), ticket.value(QLatin1String("ext")).toString()},
                    {QStringLiteral("mqid"), mqid},
                    {QStringLiteral("SFFG"), QStringLiteral("1")},
                    {QStringLiteral("SFFX"), QStringLiteral("1")},
                    {QStringLiteral("wjm"), ticket.value(QLatin1String("wjm")).toString()},
                    {QStringLiteral("data"), QJsonObject()}});
}

inline QJsonObject download(const QString& fileName, const QString& filePath, const QString& xzlj)
{
    return envelope(QStringLiteral("mq_token_user"),
                    QJsonObject{{QStringLiteral("method"), QStringLiteral("personclouddownloadfileforclouddisk")},
                                {QStringLiteral("fileName"), fileName},
                                {QStringLiteral("filePath"), filePath},
                                {QStringLiteral("Iscover"), QStringLiteral("0")},
                                {QStringLiteral("xzlj"), xzlj},
                                {QStringLiteral("data"), QJsonObject()}});
}

inline QByteArray bytes(const QJsonObject& o)
{
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

// The personal tree's root node of a tree reply.
inline QJsonObject rootNode(const QJsonObject& treeReply)
{
    return treeReply.value(QLatin1String("data")).toObject().value(QLatin1String("data")).toArray().first().toObject();
}

// The node named `name` among the root's children.
inline QJsonObject childNamed(const QJsonObject& treeReply, const QString& name)
{
    for (const QJsonValue& v : rootNode(treeReply).value(QLatin1String("xjdata")).toArray()) {
        if (v.toObject().value(QLatin1String("wjjmc")).toString() == name)
            return v.toObject();
    }
    return {};
}

} // namespace cloudtest
