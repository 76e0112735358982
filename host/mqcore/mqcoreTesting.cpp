#include "mqcoreTesting.h"
#include "Users.h"
#include "mqcore_p.h"

void mqcoreTesting::setLoggedIn(bool loggedIn)
{
    Users::Instance()->Mqy()->SetLogin(loggedIn);
}

void mqcoreTesting::setUser(const QString& id, const QString& name, const QString& realName)
{
    UserInfo* user = Users::Instance()->Mqy();
    user->UserID = id;
    user->UserName = name;
    user->RealName = realName;
}

void mqcoreTesting::setLoginOutcome(bool success)
{
    mqcorePrivate::rights().loginOutcome = success;
}

bool mqcoreTesting::loginOutcome()
{
    return mqcorePrivate::rights().loginOutcome;
}

void mqcoreTesting::grantRight(int right)
{
    auto& r = mqcorePrivate::rights();
    r.withdrawn.remove(right);
    r.granted.insert(right);
}

void mqcoreTesting::withdrawRight(int right)
{
    auto& r = mqcorePrivate::rights();
    r.granted.remove(right);
    r.withdrawn.insert(right);
}

void mqcoreTesting::withdrawAllRights()
{
    auto& r = mqcorePrivate::rights();
    r.allGranted = false;
    r.granted.clear();
    r.withdrawn.clear();
}

void mqcoreTesting::grantAllRights()
{
    auto& r = mqcorePrivate::rights();
    r.allGranted = true;
    r.granted.clear();
    r.withdrawn.clear();
}

QList<int> mqcoreTesting::checkedRights()
{
    return mqcorePrivate::rights().checked;
}

void mqcoreTesting::reset()
{
    mqcorePrivate::rights() = mqcorePrivate::Rights();
    *Users::Instance()->Mqy() = UserInfo();
}
