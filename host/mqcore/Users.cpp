#include "Users.h"

bool UserInfo::IsLogin() const
{
    return m_login;
}

void UserInfo::SetLogin(bool loggedIn)
{
    m_login = loggedIn;
}

Users* Users::Instance()
{
    static Users instance;
    return &instance;
}

UserInfo* Users::Mqy()
{
    return &m_current;
}
