// The demo host's own calls of the entry points: both clouds are offered,
// and the first use of either shows the demo's login window, after which
// the cloud's folders are listed.
#include "clouddisksupport.h"
#include "democalls.h"
#include "dialogsupport.h"
#include "logindialog.h"
#include "testsupport.h"

#include "Users.h"
#include "mqcoreTesting.h"
#include "osgiTesting.h"
#include "zBaseButton.h"
#include "zBaseControlTesting.h"
#include "zBaseLineEdit.h"
#include "zControlTesting.h"

#include <QFileDialog>
#include <QJsonArray>
#include <QLineEdit>
#include <QTableView>
#include <QtTest>

using namespace dialogsupport;

namespace {

struct Seen
{
    bool bothEnabled = false;
    bool loginShown = false;
    int rows = -1;
};

// Once a login window is up: sign in as bob, or give up.
void answerLogin(Seen* seen, bool signIn)
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [poll, seen, signIn] {
        auto* login = qobject_cast<LoginDialog*>(QApplication::activeModalWidget());
        if (!login)
            return;
        poll->stop();
        poll->deleteLater();
        seen->loginShown = true;
        if (!signIn) {
            login->reject();
            return;
        }
        login->findChild<zBaseLineEdit*>(QStringLiteral("loginName"))->setText(QStringLiteral("bob"));
        login->findChild<zBaseLineEdit*>(QStringLiteral("loginPassword"))->setText(QStringLiteral("bob-pw"));
        login->findChild<zBaseButton*>(QStringLiteral("loginButton"))->click();
    });
    poll->start(5);
}

// Clicks the cloud place in the dialog the demo's call shows, then cancels.
void useCloud(Seen* seen, const char* place, bool signIn)
{
    whenDialogShows([seen, place, signIn](zFileDialog* d) {
        seen->bothEnabled = child<QWidget>(d, "companyYun_button")->isEnabled()
                            && child<QWidget>(d, "personYun_button")->isEnabled();
        answerLogin(seen, signIn);
        child<zBaseButton>(d, place)->click();
        seen->rows = child<QTableView>(d, "FileDialog")->model()->rowCount();
        d->onCancelButton();
    });
}

} // namespace

class TestDemoHost : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void openOffersBothCloudsAndAsksForLogin_data();
    void openOffersBothCloudsAndAsksForLogin();
    void saveOffersBothCloudsAndAsksForLogin_data();
    void saveOffersBothCloudsAndAsksForLogin();
    void loginGivenUpReturnsToDocuments();
    void projectSavedIntoThePersonalCloudIsUploaded();
    void projectSavedLocallyIsWrittenWhole();
    void toolkitDialogsSpeakChinese();

private:
    QScopedPointer<testsupport::AppDir> m_app;
    QScopedPointer<cloudsupport::Cloud> m_cloud;
    QTemporaryDir m_home;
    DemoFirstPage m_page;
};

void TestDemoHost::init()
{
    qputenv("HOME", QFile::encodeName(m_home.path()));
    QDir(m_home.path()).mkpath(QStringLiteral("Documents"));
    m_app.reset(new testsupport::AppDir);
    m_cloud.reset(new cloudsupport::Cloud(m_app->path() + QStringLiteral("/clouddisk")));
    mqcoreTesting::reset();
    osgiTesting::reset();
    osgiTesting::setService(&m_page);
    zBaseControlTesting::setScaleFactor(1.0);
    zControlTesting::reset();
    zControlTesting::setMessageBoxScripted(true);
    zFileDialog::iClickedBtn = 2;
}

void TestDemoHost::cleanup()
{
    osgiTesting::reset();
    mqcoreTesting::reset();
    zControlTesting::reset();
    m_cloud.reset();
    m_app.reset();
}

void TestDemoHost::openOffersBothCloudsAndAsksForLogin_data()
{
    QTest::addColumn<QString>("place");
    QTest::newRow("personal") << QStringLiteral("personYun_button");
    QTest::newRow("enterprise") << QStringLiteral("companyYun_button");
}

void TestDemoHost::openOffersBothCloudsAndAsksForLogin()
{
    QFETCH(QString, place);
    Seen seen;
    const QByteArray name = place.toLatin1();
    useCloud(&seen, name.constData(), true);
    QCOMPARE(demo::runOpen(nullptr, m_home.path()), QString());
    QVERIFY(seen.bothEnabled);
    QVERIFY(seen.loginShown);
    QVERIFY(Users::Instance()->Mqy()->IsLogin());
    QCOMPARE(Users::Instance()->Mqy()->UserName, QStringLiteral("bob"));
    QVERIFY2(seen.rows > 0, "the cloud's folders are listed after the login");
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
}

void TestDemoHost::saveOffersBothCloudsAndAsksForLogin_data()
{
    openOffersBothCloudsAndAsksForLogin_data();
}

void TestDemoHost::saveOffersBothCloudsAndAsksForLogin()
{
    QFETCH(QString, place);
    Seen seen;
    const QByteArray name = place.toLatin1();
    useCloud(&seen, name.constData(), true);
    QCOMPARE(demo::runSave(nullptr, m_home.path()), QString());
    QVERIFY(seen.bothEnabled);
    QVERIFY(seen.loginShown);
    QVERIFY(Users::Instance()->Mqy()->IsLogin());
    QVERIFY2(seen.rows > 0, "the cloud's folders are listed after the login");
}

void TestDemoHost::loginGivenUpReturnsToDocuments()
{
    Seen seen;
    useCloud(&seen, "personYun_button", false);
    QCOMPARE(demo::runOpen(nullptr, m_home.path()), QString());
    QVERIFY(seen.loginShown);
    QVERIFY(!Users::Instance()->Mqy()->IsLogin());
    QCOMPARE(zFileDialog::iClickedBtn, 2);
}

// The demo does with a saved path what the suite does: writes the project
// and, in a cloud, uploads it, so the project lands in the signed-in user's
// cloud folder.
void TestDemoHost::projectSavedIntoThePersonalCloudIsUploaded()
{
    Seen seen;
    whenDialogShows([&seen](zFileDialog* d) {
        answerLogin(&seen, true);
        child<zBaseButton>(d, "personYun_button")->click();
        child<QLineEdit>(d, "fileName_lineEdit")->setText(QStringLiteral("演示上传"));
        d->onOkButton();
        if (d->isVisible())
            d->onCancelButton();
    });
    const QString path = demo::runSave(nullptr, m_home.path());
    QVERIFY(seen.loginShown);
    QVERIFY2(path.contains(QStringLiteral("/个人云盘/")), qPrintable(path));
    QCOMPARE(demo::saveProject(path), QStringLiteral("已写入工程并上传到云盘"));
    QStringList names;
    const QJsonArray children = m_cloud->service->subtree(m_cloud->bobRoot).value("xjdata").toArray();
    for (const QJsonValue& c : children)
        names << c.toObject().value("wjjmc").toString() + c.toObject().value("wjm").toString();
    QVERIFY2(names.contains(QStringLiteral("演示上传.GCFX")), qPrintable(names.join(QLatin1Char('|'))));
}

void TestDemoHost::projectSavedLocallyIsWrittenWhole()
{
    const QString path = m_home.path() + QStringLiteral("/Documents/本地工程.GCFX");
    QCOMPARE(demo::saveProject(path), QStringLiteral("已写入工程"));
    QFile f(path);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QVERIFY(f.readAll().startsWith(QStringLiteral("演示宿主保存的工程").toUtf8()));
    QCOMPARE(demo::saveProject(QString()), QString());
}

void TestDemoHost::toolkitDialogsSpeakChinese()
{
    QVERIFY2(demo::loadToolkitTranslations(qApp), "qttranslations5-l10n is not installed");
    // The toolkit's own dialog, as "其它路径" opens it for a folder.
    QFileDialog chooser(nullptr, QStringLiteral("打开"), m_home.path());
    chooser.setOption(QFileDialog::DontUseNativeDialog);
    chooser.setFileMode(QFileDialog::Directory);
    chooser.show();
    QStringList texts;
    for (QAbstractButton* b : chooser.findChildren<QAbstractButton*>()) {
        if (!b->text().isEmpty())
            texts << b->text();
    }
    QVERIFY2(texts.contains(QStringLiteral("取消")), qPrintable(texts.join(QLatin1Char('|'))));
    QVERIFY2(texts.contains(QStringLiteral("选择(&C)")), qPrintable(texts.join(QLatin1Char('|'))));
    QCOMPARE(QDir(chooser.directory()).absolutePath(), QDir(m_home.path()).absolutePath());
}

QTEST_MAIN(TestDemoHost)
#include "tst_clouddisk_demohost.moc"
