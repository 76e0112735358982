// Signing in to the cloud disk: the start page's login entry (scripted
// through the seam, and the demo host's login window) signs in against the
// service, and Users / UserInfo then report that user.
#include "FirstPageService.h"
#include "HostServices.h"
#include "ObjectHelper.h"
#include "SharedInterfaceTesting.h"
#include "Users.h"
#include "clouddisksupport.h"
#include "logindialog.h"
#include "mqcoreTesting.h"
#include "osgiTesting.h"
#include "testsupport.h"
#include "zBaseButton.h"
#include "zBaseLineEdit.h"

#include <QLabel>
#include <QPointer>
#include <QtTest>

using namespace cloudsupport;

class tst_clouddisk_login : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        mqcoreTesting::reset();
        osgiTesting::reset();
    }
    void cleanup()
    {
        mqcoreTesting::reset();
        osgiTesting::reset();
    }

    void loginEntrySignsInAgainstTheService()
    {
        testsupport::AppDir app;
        Cloud cloud(app.path() + "/clouddisk");
        osgiTesting::setLoginCredentials("bob", "bob-pw");
        UserInfo* user = Users::Instance()->Mqy();
        QVERIFY(!user->IsLogin());
        osgi::ObjectHelper::GetService("firstPagePlugin")->Login(QJsonObject());
        QCOMPARE(osgiTesting::loginCalls(), 1);
        QVERIFY(user->IsLogin());
        QCOMPARE(user->UserID, QString::number(cloud.bob));
        QCOMPARE(user->UserName, QStringLiteral("bob"));
        QCOMPARE(ServicesUtil::CloudUserId(), user->UserID);
        // The dialog's requests now travel as bob.
        const QJsonObject r = parse(ServicesUtil::AsyncReplyLoop(bytes(personTree(user->UserID.toInt()))));
        QCOMPARE(r.value("code").toInt(-1), 0);
        QVERIFY(!find(r.value("data").toObject().value("data").toArray(), "b.GCFG").isEmpty());
    }

    void wrongPasswordLeavesTheUserOut()
    {
        testsupport::AppDir app;
        Cloud cloud(app.path() + "/clouddisk");
        osgiTesting::setLoginCredentials("bob", "not bob's");
        osgi::ObjectHelper::GetService("firstPagePlugin")->Login(QJsonObject());
        QVERIFY(!Users::Instance()->Mqy()->IsLogin());
        QVERIFY(Users::Instance()->Mqy()->UserID.isEmpty());
        QVERIFY(ServicesUtil::CloudUserId().isEmpty());
        QString message;
        QVERIFY(!osgi::SignIn("nobody", "x", &message));
        QCOMPARE(message, QStringLiteral("用户名或密码错误"));
    }

    void withoutCredentialsTheScriptedOutcomeStays()
    {
        testsupport::AppDir app;
        mqcoreTesting::setLoginOutcome(true);
        osgi::ObjectHelper::GetService("firstPagePlugin")->Login(QJsonObject());
        QVERIFY(Users::Instance()->Mqy()->IsLogin());
        QVERIFY(ServicesUtil::CloudUserId().isEmpty());
    }

    void loginWindowSignsIn()
    {
        testsupport::AppDir app;
        Cloud cloud(app.path() + "/clouddisk");
        LoginDialog dialog(nullptr, "alice");
        dialog.show();
        auto* name = dialog.findChild<zBaseLineEdit*>("loginName");
        auto* password = dialog.findChild<zBaseLineEdit*>("loginPassword");
        auto* message = dialog.findChild<QLabel*>("loginMessage");
        auto* login = dialog.findChild<zBaseButton*>("loginButton");
        QVERIFY(name && password && message && login);
        QCOMPARE(name->text(), QStringLiteral("alice"));
        QCOMPARE(password->echoMode(), QLineEdit::Password);

        // Nothing typed: told so, still open.
        login->click();
        QCOMPARE(message->text(), QStringLiteral("请输入用户名和密码"));
        QVERIFY(dialog.isVisible());
        // A wrong password: the service's message, the password cleared.
        password->setText("wrong");
        login->click();
        QCOMPARE(message->text(), QStringLiteral("用户名或密码错误"));
        QVERIFY(password->text().isEmpty());
        QVERIFY(dialog.isVisible());
        QVERIFY(!Users::Instance()->Mqy()->IsLogin());
        // The right one: accepted and signed in.
        password->setText("alice-pw");
        login->click();
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QVERIFY(!dialog.isVisible());
        QVERIFY(Users::Instance()->Mqy()->IsLogin());
        QCOMPARE(Users::Instance()->Mqy()->UserID, QString::number(cloud.alice));
    }

    void demoStartPageShowsTheWindow()
    {
        testsupport::AppDir app;
        Cloud cloud(app.path() + "/clouddisk");
        DemoFirstPage page;
        osgiTesting::setService(&page);
        bool seen = false;
        QTimer::singleShot(0, [&seen] {
            auto* dialog = qobject_cast<LoginDialog*>(QApplication::activeModalWidget());
            if (!dialog)
                return;
            seen = true;
            dialog->findChild<zBaseLineEdit*>("loginName")->setText("bob");
            dialog->findChild<zBaseLineEdit*>("loginPassword")->setText("bob-pw");
            dialog->findChild<zBaseButton*>("loginButton")->click();
        });
        osgi::ObjectHelper::GetService("firstPagePlugin")->Login(QJsonObject());
        QVERIFY(seen);
        QVERIFY(Users::Instance()->Mqy()->IsLogin());
        QCOMPARE(Users::Instance()->Mqy()->UserName, QStringLiteral("bob"));
    }
};

QTEST_MAIN(tst_clouddisk_login)
#include "tst_clouddisk_login.moc"
