#pragma once
// Certificates for the TLS tests, made at run time with the openssl
// command: a certificate authority of the test's own, and server
// certificates it signs for a chosen name, valid or already expired.
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace tlstest {

class Pki
{
public:
    // Whether the openssl command is there and the folder could be made.
    bool usable() const { return m_dir.isValid() && !QStandardPaths::findExecutable(QStringLiteral("openssl")).isEmpty(); }

    QString pem(const QString& name) const { return m_dir.filePath(name + QStringLiteral(".pem")); }
    QString key(const QString& name) const { return m_dir.filePath(name + QStringLiteral(".key")); }

    // A self-signed authority `name`.
    bool makeAuthority(const QString& name)
    {
        return run({QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"), QStringLiteral("ec"),
                    QStringLiteral("-pkeyopt"), QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes"),
                    QStringLiteral("-keyout"), key(name), QStringLiteral("-out"), pem(name), QStringLiteral("-days"),
                    QStringLiteral("30"), QStringLiteral("-subj"), QStringLiteral("/CN=") + name});
    }

    // A server certificate `name` for subjectAltName `altNames` (for
    // example "IP:127.0.0.1,DNS:localhost"), signed by `authority`, valid
    // for `days` (negative: it expired before it was made).
    bool makeServer(const QString& name, const QString& authority, const QString& altNames, int days = 30)
    {
        const QString request = m_dir.filePath(name + QStringLiteral(".csr"));
        const QString extensions = m_dir.filePath(name + QStringLiteral(".ext"));
        QFile ext(extensions);
        if (!ext.open(QIODevice::WriteOnly))
            return false;
        ext.write("subjectAltName=" + altNames.toLatin1() + "\nextendedKeyUsage=serverAuth\n");
        ext.close();
        return run({QStringLiteral("req"), QStringLiteral("-newkey"), QStringLiteral("ec"), QStringLiteral("-pkeyopt"),
                    QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes"), QStringLiteral("-keyout"),
                    key(name), QStringLiteral("-out"), request, QStringLiteral("-subj"),
                    QStringLiteral("/CN=") + name}) &&
               run({QStringLiteral("x509"), QStringLiteral("-req"), QStringLiteral("-in"), request,
                    QStringLiteral("-CA"), pem(authority), QStringLiteral("-CAkey"), key(authority),
                    QStringLiteral("-CAcreateserial"), QStringLiteral("-out"), pem(name), QStringLiteral("-days"),
                    QString::number(days), QStringLiteral("-extfile"), extensions});
    }

    // The arguments that make clouddiskd serve with certificate `name`.
    QStringList serverArgs(const QString& name) const
    {
        return {QStringLiteral("--tls-cert"), pem(name), QStringLiteral("--tls-key"), key(name)};
    }

    QString lastError() const { return m_error; }

private:
    bool run(const QStringList& args)
    {
        QProcess p;
        p.setProcessChannelMode(QProcess::MergedChannels);
        p.start(QStringLiteral("openssl"), args);
        if (!p.waitForFinished(30000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
            m_error = QString::fromLocal8Bit(p.readAll());
            return false;
        }
        return true;
    }

    QTemporaryDir m_dir;
    QString m_error;
};

} // namespace tlstest
