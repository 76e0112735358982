#pragma once
// The demo host's login window: what the suite's start page shows when the
// dialog asks for a login. It signs the user in to the cloud-disk service and
// stays open with the service's message until a login succeeds or the user
// gives up.
#include "FirstPageService.h"
#include "zBaseModal.h"

class QLabel;
class zBaseLineEdit;
class zBaseButton;

class LoginDialog : public zBaseModal
{
    Q_OBJECT
public:
    explicit LoginDialog(QWidget* parent = nullptr, const QString& name = QString());

private:
    void tryLogin();

    zBaseLineEdit* m_name = nullptr;
    zBaseLineEdit* m_password = nullptr;
    QLabel* m_message = nullptr;
    zBaseButton* m_login = nullptr;
};

// The start page of the demo host: its login entry shows the login window.
class DemoFirstPage : public osgi::FirstPageService
{
public:
    void Login(const QJsonObject& args) override;
};

// Renders the login window, as after a refused password, into
// dir/login-window.png; returns the file written (empty on failure).
QString saveLoginScreenshot(const QString& dir);
