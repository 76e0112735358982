#pragma once
// The suite's record of one user account.
#include "mqcore_global.h"
#include <QString>

class MQCORE_EXPORT UserInfo
{
public:
    bool IsLogin() const;
    void SetLogin(bool loggedIn);

    QString UserID;
    QString UserName;
    QString RealName;

private:
    bool m_login = false;
};
