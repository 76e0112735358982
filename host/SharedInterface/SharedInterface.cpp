#include "SharedInterface.h"
#include "HostServices.h"
#include "SharedInterfaceTesting.h"
#include "TranMiUtilAction.h"
#include "dirservice_p.h"

#include "CloudChannel.h"
#include "CloudTransport.h"
#include "TransportChoice.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QPointer>
#include <QWidget>

#include <memory>

namespace {

// Everything a host would hold in its own process; one instance, reset by
// tests through SharedInterfaceTesting::reset().
struct HostState
{
    QString appPath;
    SharedInterfaceTesting::DirService dirService;
    QStringList dirRequests;
    QHash<QString, QString> hostValues;
    // Guards the cloud members: the channel is used from pool threads.
    QMutex cloudMutex;
    SharedInterfaceTesting::CloudChannel cloudChannel;
    QList<QByteArray> cloudRequests;
    std::shared_ptr<clouddisk::Channel> channel;
    QString channelKey; // where the channel leads; a change opens a new one
    QStringList usageCalls;
    QStringList busyMarks;
    QPointer<QWidget> mainWindow;
    QPointer<QObject> cloudSource;
    QString projectDir;
    bool logEnabled = true;
    QMutex logMutex;
    QStringList logLines;
};

HostState& state()
{
    static HostState s;
    return s;
}

} // namespace

// --- SharedInterface -------------------------------------------------------

SharedInterface* SharedInterface::getInstance()
{
    static SharedInterface instance;
    return &instance;
}

QString SharedInterface::GetAppPath()
{
    const QString& set = state().appPath;
    if (!set.isEmpty())
        return set;
    return QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QDir::currentPath();
}

void SharedInterface::GetFileInfo(const QString& path, QString& name, QString& datetime,
                                  QString& type, QString& size)
{
    const QFileInfo fi(path);
    if (!fi.exists()) {
        name.clear();
        datetime.clear();
        type.clear();
        size.clear();
        return;
    }
    name = fi.fileName();
    datetime = fi.lastModified().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    type = fi.isDir() ? QStringLiteral("文件夹") : dirservice::fileKindText(fi.fileName());
    char buf[64];
    size = fi.isDir() ? QString()
                      : QString::fromLatin1(buf, dirservice::detail::formatSizeText(buf, quint64(fi.size())));
}

void SharedInterface::UseFunc(int funcId, const QString& detail)
{
    state().usageCalls << QStringLiteral("UseFunc %1 %2").arg(funcId).arg(detail);
}

void SharedInterface::EndUseFun(int funcId, const QString& detail)
{
    state().usageCalls << QStringLiteral("EndUseFun %1 %2").arg(funcId).arg(detail);
}

// --- TranMiUtilAction / zHttpUtil --------------------------------------------

TranMiUtilAction* TranMiUtilAction::Instance()
{
    static TranMiUtilAction instance;
    return &instance;
}

QByteArray TranMiUtilAction::ReadDirAll(const QString& dir)
{
    HostState& s = state();
    s.dirRequests << dir;
    if (s.dirService)
        return s.dirService(dir);
    return dirservice::readDirAll(dir);
}

QString TranMiUtilAction::JudageValue(const QString& key, const QString& defaultValue)
{
    const auto it = state().hostValues.constFind(key);
    return it == state().hostValues.constEnd() ? defaultValue : it.value();
}

zHttpUtil* zHttpUtil::Instance()
{
    static zHttpUtil instance;
    return &instance;
}

TranMiUtilAction* zHttpUtil::TranMiUtil()
{
    return TranMiUtilAction::Instance();
}

// --- smaller services ----------------------------------------------------------

namespace {

// Where the cloud-disk service is: a server's URL, or empty for the service
// embedded in this process.
QString cloudServiceUrl()
{
    return clouddisk::chooseServiceUrl(
        TranMiUtilAction::Instance()->JudageValue(QString::fromUtf8(clouddisk::kServiceUrlKey), QString()));
}

// How the transport trusts a server: the CA file and the plain-http switch
// from the host's values; its log lines go to the host's log.
clouddisk::HttpSettings cloudHttpSettings()
{
    TranMiUtilAction* values = TranMiUtilAction::Instance();
    clouddisk::HttpSettings settings = clouddisk::chooseHttpSettings(
        values->JudageValue(QString::fromUtf8(clouddisk::kServiceCaKey), QString()),
        values->JudageValue(QString::fromUtf8(clouddisk::kAllowPlainHttpKey), QString()));
    settings.log = [](const QString& message) {
        LogManagement* log = LogManagement::getInstance();
        if (!log->isEnabled())
            return;
        QMutexLocker lock(&log->mutex());
        log->writeLine(QLatin1Char('[') +
                       QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")) +
                       QStringLiteral("] ") + message);
    };
    return settings;
}

// The one place that chooses how the host reaches the cloud-disk service.
std::unique_ptr<clouddisk::CloudTransport> createCloudTransport(const QString& appPath, const QString& url,
                                                                const clouddisk::HttpSettings& settings)
{
    return clouddisk::makeTransport(url, appPath + QStringLiteral("/clouddisk"), settings);
}

// The channel for the current application directory and service address.
std::shared_ptr<clouddisk::Channel> cloudChannel()
{
    HostState& s = state();
    const QString appPath = SharedInterface::GetAppPath();
    const QString url = cloudServiceUrl();
    const clouddisk::HttpSettings settings = cloudHttpSettings();
    const QString key = appPath + QLatin1Char('\n') + url + QLatin1Char('\n') + settings.caFile +
                        QLatin1Char('\n') + QString::number(settings.allowPlainHttp);
    QMutexLocker lock(&s.cloudMutex);
    static const bool closesWithApplication = [] {
        // The cloud's database is closed while Qt is still whole.
        qAddPostRoutine([] {
            HostState& st = state();
            QMutexLocker l(&st.cloudMutex);
            st.channel.reset();
            st.channelKey.clear();
        });
        return true;
    }();
    Q_UNUSED(closesWithApplication)
    if (!s.channel || s.channelKey != key) {
        s.channel = std::make_shared<clouddisk::Channel>(createCloudTransport(appPath, url, settings), appPath);
        s.channelKey = key;
    }
    return s.channel;
}

} // namespace

QByteArray ServicesUtil::AsyncReplyLoop(const QByteArray& envelope)
{
    HostState& s = state();
    SharedInterfaceTesting::CloudChannel scripted;
    {
        QMutexLocker lock(&s.cloudMutex);
        s.cloudRequests << envelope;
        scripted = s.cloudChannel;
    }
    if (scripted)
        return scripted(envelope);
    return cloudChannel()->exchange(envelope);
}

bool ServicesUtil::CloudLogin(const QString& name, const QString& password, QString* userId, QString* message)
{
    const clouddisk::LoginResult r = cloudChannel()->login(name, password);
    if (userId)
        *userId = r.ok ? QString::number(r.userId) : QString();
    if (message)
        *message = r.message;
    return r.ok;
}

void ServicesUtil::CloudLogout()
{
    cloudChannel()->logout();
}

QString ServicesUtil::CloudUserId()
{
    const qint64 id = cloudChannel()->userId();
    return id < 0 ? QString() : QString::number(id);
}

void SystemHelper::markVeto(const QString& reason)
{
    state().busyMarks << QStringLiteral("veto ") + reason;
}

void SystemHelper::markUse(const QString& reason)
{
    state().busyMarks << QStringLiteral("use ") + reason;
}

Communication* Communication::GetInstance()
{
    static Communication instance;
    return &instance;
}

QWidget* Communication::GetMainWindow() const
{
    return state().mainWindow.data();
}

QObject* Communication::CloudMessageSource() const
{
    return state().cloudSource.data();
}

ProjectSettingHelper* ProjectSettingHelper::GetProjectSettingHelper()
{
    static ProjectSettingHelper instance;
    return &instance;
}

BasicSettings ProjectSettingHelper::getCurModeBasicSettings() const
{
    return BasicSettings{state().projectDir};
}

LogManagement* LogManagement::getInstance()
{
    static LogManagement instance;
    return &instance;
}

bool LogManagement::isEnabled() const
{
    return state().logEnabled;
}

void LogManagement::setEnabled(bool on)
{
    state().logEnabled = on;
}

QMutex& LogManagement::mutex()
{
    return state().logMutex;
}

QString LogManagement::logFilePath() const
{
    return SharedInterface::GetAppPath() + QStringLiteral("/log/host.log");
}

void LogManagement::writeLine(const QString& line)
{
    HostState& s = state();
    s.logLines << line;
    const QString file = logFilePath();
    QDir().mkpath(QFileInfo(file).absolutePath());
    QFile f(file);
    // A log that cannot be written must never disturb the dialog.
    if (f.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
        f.write(line.toUtf8());
        f.write("\n");
    }
}

// --- test seam -------------------------------------------------------------------

namespace SharedInterfaceTesting {

void setAppPath(const QString& dir) { state().appPath = dir; }
void setDirService(DirService service) { state().dirService = std::move(service); }
QStringList dirRequests() { return state().dirRequests; }
void setHostValue(const QString& key, const QString& value) { state().hostValues.insert(key, value); }
void clearHostValues() { state().hostValues.clear(); }
void setCloudChannel(CloudChannel channel)
{
    QMutexLocker lock(&state().cloudMutex);
    state().cloudChannel = std::move(channel);
}

QList<QByteArray> cloudRequests()
{
    QMutexLocker lock(&state().cloudMutex);
    return state().cloudRequests;
}
QStringList usageCalls() { return state().usageCalls; }
QStringList busyMarks() { return state().busyMarks; }
void setMainWindow(QWidget* window) { state().mainWindow = window; }
void setCloudMessageSource(QObject* source) { state().cloudSource = source; }
void setProjectDir(const QString& dir) { state().projectDir = dir; }
QStringList logLines() { return state().logLines; }
void clearLog() { state().logLines.clear(); }

void reset()
{
    HostState& s = state();
    s.appPath.clear();
    s.dirService = nullptr;
    s.dirRequests.clear();
    s.hostValues.clear();
    {
        QMutexLocker lock(&s.cloudMutex);
        s.cloudChannel = nullptr;
        s.cloudRequests.clear();
        s.channel.reset(); // signs out of the cloud
        s.channelKey.clear();
    }
    s.usageCalls.clear();
    s.busyMarks.clear();
    s.mainWindow = nullptr;
    s.cloudSource = nullptr;
    s.projectDir.clear();
    s.logEnabled = true;
    s.logLines.clear();
}

} // namespace SharedInterfaceTesting
