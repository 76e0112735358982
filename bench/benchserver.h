#pragma once
// What the cloud benchmarks share: clouddiskd started beside them on
// 127.0.0.1, and what /proc says about a process.
#include <QByteArray>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStringList>

namespace benchserver {

// A value in kB from /proc/<pid>/status ("VmRSS", "VmHWM").
inline qint64 procStatusKb(const QString& pid, const char* key)
{
    QFile f(QStringLiteral("/proc/%1/status").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : f.readAll().split('\n')) {
        if (line.startsWith(key)) {
            const QList<QByteArray> parts = line.simplified().split(' ');
            return parts.size() >= 2 ? parts[1].toLongLong() : -1;
        }
    }
    return -1;
}

// Descriptors the process holds open.
inline int openFiles(const QString& pid)
{
    return QDir(QStringLiteral("/proc/%1/fd").arg(pid)).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).size();
}

class ServerProcess
{
public:
    bool start(const QString& dataDir, const QStringList& extraArgs = {})
    {
        m_process.setProgram(QCoreApplication::applicationDirPath() + QStringLiteral("/clouddiskd"));
        m_process.setArguments(QStringList{QStringLiteral("--data"), dataDir, QStringLiteral("--listen"),
                                           QStringLiteral("127.0.0.1:0")} +
                               extraArgs);
        m_process.start();
        if (!m_process.waitForStarted(10000))
            return false;
        QByteArray out;
        static const QRegularExpression ready(QStringLiteral("listening on (\\S+)"));
        QDeadlineTimer deadline(20000);
        while (!deadline.hasExpired() && m_process.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime())))) {
            out += m_process.readAllStandardOutput();
            const auto m = ready.match(QString::fromUtf8(out));
            if (m.hasMatch()) {
                m_url = m.captured(1);
                return true;
            }
        }
        return false;
    }
    ~ServerProcess()
    {
        m_process.terminate();
        m_process.waitForFinished(20000);
    }
    QString url() const { return m_url; }
    QString pid() const { return QString::number(m_process.processId()); }

private:
    QProcess m_process;
    QString m_url;
};

} // namespace benchserver
