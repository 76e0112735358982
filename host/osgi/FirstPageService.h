#pragma once
// The host's start-page plug-in as the file dialog sees it: it can sign the
// user in and knows which projects the suite has open.
#include "osgi_global.h"
#include <QString>

class QJsonObject;

namespace osgi {

class OSGI_EXPORT FirstPageService
{
public:
    virtual ~FirstPageService();

    // Asks the user to sign in. The stand-in's own entry signs in with the
    // credentials osgiTesting::setLoginCredentials scripts (against the
    // cloud-disk service), else at once with the outcome
    // mqcoreTesting::setLoginOutcome sets; the demo host installs a service
    // with a real login window instead.
    virtual void Login(const QJsonObject& args);

    // Whether the suite has the project at nativePath open right now.
    virtual bool IsProjectOpen(const QString& nativePath) const;

    // The question the file dialog asks before it replaces a file: false
    // means the suite has the file at nativePath open, so it must not be
    // replaced without asking.
    virtual bool IsFileNotOpened(const QString& nativePath) const;
};

// Signs `name` in to the host's cloud-disk service and, on success, makes
// them the suite's current user: Users::Mqy() reports the service's user id
// and the name, logged in. On failure the current user is left as it was and
// *message says why.
OSGI_EXPORT bool SignIn(const QString& name, const QString& password, QString* message = nullptr);

} // namespace osgi
