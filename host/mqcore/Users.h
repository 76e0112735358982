#pragma once
// The suite's user registry; Mqy() is the user signed in to this session.
#include "mqcore_global.h"
#include "UserInfo.h"

class MQCORE_EXPORT Users
{
public:
    static Users* Instance();
    // Never null; not logged in and with an empty id until a login succeeds.
    UserInfo* Mqy();

private:
    Users() = default;
    UserInfo m_current;
};
