#pragma once
// Test seam of the plug-in stand-in.
#include "osgi_global.h"
#include <QString>
#include <QStringList>

namespace osgi { class FirstPageService; }

namespace osgiTesting {

// Serves `service` (not owned) for "firstPagePlugin" instead of the built-in
// one. Null means no service is registered at all; setServiceAvailable(true)
// then brings the built-in service back.
OSGI_EXPORT void setService(osgi::FirstPageService* service);
// False: GetService answers null for every name.
OSGI_EXPORT void setServiceAvailable(bool available);

// Native paths the built-in service reports as open in the suite.
OSGI_EXPORT void setOpenProjects(const QStringList& nativePaths);

// The built-in Login signs in with these credentials against the cloud-disk
// service (as a user typing them into the login window would). An empty name
// goes back to the outcome of mqcoreTesting::setLoginOutcome.
OSGI_EXPORT void setLoginCredentials(const QString& name, const QString& password);

// How often the built-in Login ran, and every path the built-in
// IsProjectOpen was asked about, in call order.
OSGI_EXPORT int loginCalls();
OSGI_EXPORT QStringList openQuestions();

// The built-in service, registered, no open projects, no credentials, no
// record.
OSGI_EXPORT void reset();

} // namespace osgiTesting
