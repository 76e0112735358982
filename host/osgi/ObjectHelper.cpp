#include "ObjectHelper.h"
#include "FirstPageService.h"
#include "osgiTesting.h"

#include "HostServices.h"
#include "Users.h"
#include "mqcoreTesting.h"

#include <QDir>
#include <QJsonObject>

namespace {

struct Registry
{
    osgi::FirstPageService* replacement = nullptr;
    bool available = true;
    QStringList openProjects;
    int loginCalls = 0;
    QString loginName;
    QString loginPassword;
    QStringList openQuestions;
};

Registry& registry()
{
    static Registry r;
    return r;
}

QString comparable(const QString& nativePath)
{
    const QString clean = QDir::cleanPath(QDir::fromNativeSeparators(nativePath));
#ifdef Q_OS_WIN
    return clean.toLower();
#else
    return clean;
#endif
}

} // namespace

osgi::FirstPageService::~FirstPageService() = default;

void osgi::FirstPageService::Login(const QJsonObject& args)
{
    Q_UNUSED(args)
    ++registry().loginCalls;
    if (!registry().loginName.isEmpty()) {
        SignIn(registry().loginName, registry().loginPassword);
        return;
    }
    // A declined prompt leaves whoever was signed in signed in.
    if (!mqcoreTesting::loginOutcome())
        return;
    UserInfo* user = Users::Instance()->Mqy();
    if (user->UserID.isEmpty()) {
        user->UserID = QStringLiteral("10001");
        user->UserName = QStringLiteral("demo");
        user->RealName = QStringLiteral("demo");
    }
    user->SetLogin(true);
}

bool osgi::FirstPageService::IsProjectOpen(const QString& nativePath) const
{
    registry().openQuestions.append(nativePath);
    const QString wanted = comparable(nativePath);
    for (const QString& open : qAsConst(registry().openProjects)) {
        if (comparable(open) == wanted)
            return true;
    }
    return false;
}

bool osgi::FirstPageService::IsFileNotOpened(const QString& nativePath) const
{
    return !IsProjectOpen(nativePath);
}

bool osgi::SignIn(const QString& name, const QString& password, QString* message)
{
    QString userId;
    QString why;
    if (!ServicesUtil::CloudLogin(name, password, &userId, &why)) {
        if (message)
            *message = why;
        return false;
    }
    UserInfo* user = Users::Instance()->Mqy();
    user->UserID = userId;
    user->UserName = name;
    user->RealName = name;
    user->SetLogin(true);
    if (message)
        message->clear();
    return true;
}

osgi::FirstPageService* osgi::ObjectHelper::GetService(const std::string& name)
{
    static FirstPageService builtIn;
    const Registry& r = registry();
    if (!r.available || name != "firstPagePlugin")
        return nullptr;
    return r.replacement ? r.replacement : &builtIn;
}

void osgiTesting::setService(osgi::FirstPageService* service)
{
    registry().replacement = service;
    registry().available = service != nullptr;
}

void osgiTesting::setServiceAvailable(bool available)
{
    registry().available = available;
}

void osgiTesting::setOpenProjects(const QStringList& nativePaths)
{
    registry().openProjects = nativePaths;
}

void osgiTesting::setLoginCredentials(const QString& name, const QString& password)
{
    registry().loginName = name;
    registry().loginPassword = password;
}

int osgiTesting::loginCalls()
{
    return registry().loginCalls;
}

QStringList osgiTesting::openQuestions()
{
    return registry().openQuestions;
}

void osgiTesting::reset()
{
    registry() = Registry();
}
