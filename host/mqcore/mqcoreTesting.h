#pragma once
// Test seam of the core stand-in: who is signed in, what a login prompt
// results in, and which rights the user holds.
#include "mqcore_global.h"
#include <QList>
#include <QString>

namespace mqcoreTesting {

// Login state and identity of Users::Instance()->Mqy().
MQCORE_EXPORT void setLoggedIn(bool loggedIn);
MQCORE_EXPORT void setUser(const QString& id, const QString& name, const QString& realName);

// What the next login prompt results in (true: the user signs in). The
// default login entry of the osgi stand-in reads it through loginOutcome().
MQCORE_EXPORT void setLoginOutcome(bool success);
MQCORE_EXPORT bool loginOutcome();

// Rights answered by QXManager::CheckQx. A single grant or withdrawal wins
// over the all-rights switch.
MQCORE_EXPORT void grantRight(int right);
MQCORE_EXPORT void withdrawRight(int right);
MQCORE_EXPORT void withdrawAllRights();
MQCORE_EXPORT void grantAllRights();

// Every right CheckQx was asked about, in call order.
MQCORE_EXPORT QList<int> checkedRights();

// Signed out, empty identity, all rights granted, logins succeed, no record.
MQCORE_EXPORT void reset();

} // namespace mqcoreTesting
