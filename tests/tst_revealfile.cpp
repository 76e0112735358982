// "打开文件所在位置" against a real session bus started by this program: a
// small file-manager service registered here receives the item's URL;
// without it, the item's folder is opened instead.
#include "daemonsupport.h"
#include "filemenusupport.h"
#include "testsupport.h"

#include "revealfile.h"
#include "zBaseControlTesting.h"
#include "zControlTesting.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDesktopServices>
#include <QUrl>

#include <cstdio>

using namespace filemenusupport;
using namespace testsupport;

namespace {

const QString kService = QStringLiteral("org.freedesktop.FileManager1");
const QString kPath = QStringLiteral("/org/freedesktop/FileManager1");

} // namespace

// The file manager as the bus sees it: it only records what it is asked.
class FakeFileManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    QList<QStringList> shown;
    QStringList startupIds;

public slots:
    void ShowItems(const QStringList& uris, const QString& startupId)
    {
        shown << uris;
        startupIds << startupId;
    }
};

// Stands in for whatever the desktop opens folders with.
class UrlOpener : public QObject
{
    Q_OBJECT

public:
    QList<QUrl> opened;

public slots:
    void open(const QUrl& url) { opened << url; }
};

class TestRevealFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void fileManagerGetsTheFileUrl();
    void noRowShowsTheCurrentFolder();
    void withoutFileManagerTheFolderIsOpened();

private:
    void startFileManager();
    void stopFileManager();

    QTemporaryDir m_home;
    Case m_case;
    FakeFileManager m_manager;
    UrlOpener m_opener;
};

void TestRevealFile::initTestCase()
{
    qputenv("HOME", QFile::encodeName(m_home.path()));
    QVERIFY(QDBusConnection::sessionBus().isConnected());
    QDesktopServices::setUrlHandler(QStringLiteral("file"), &m_opener, "open");
}

void TestRevealFile::init()
{
    m_case.start(m_home.path());
    writeFile(m_case.root + QStringLiteral("/概算 书.GCFX"), "x");
    m_manager.shown.clear();
    m_manager.startupIds.clear();
    m_opener.opened.clear();
}

void TestRevealFile::cleanup()
{
    stopFileManager();
    m_case.stop();
    zControlTesting::reset();
}

void TestRevealFile::startFileManager()
{
    // A connection of its own, as another program on the bus would have.
    QDBusConnection bus = QDBusConnection::connectToBus(QString::fromLocal8Bit(qgetenv("DBUS_SESSION_BUS_ADDRESS")),
                                                        QStringLiteral("filemanager"));
    QVERIFY(bus.isConnected());
    QVERIFY(bus.registerObject(kPath, &m_manager, QDBusConnection::ExportAllSlots));
    QVERIFY(bus.registerService(kService));
    QTRY_VERIFY(QDBusConnection::sessionBus().interface()->isServiceRegistered(kService));
}

void TestRevealFile::stopFileManager()
{
    QDBusConnection bus(QStringLiteral("filemanager"));
    if (bus.isConnected()) {
        bus.unregisterService(kService);
        bus.unregisterObject(kPath);
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("filemanager"));
    QTRY_VERIFY(!QDBusConnection::sessionBus().interface()->isServiceRegistered(kService));
}

void TestRevealFile::fileManagerGetsTheFileUrl()
{
    startFileManager();
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("概算 书.GCFX"));
    rightClick(d, rowPoint(d, QStringLiteral("概算 书.GCFX")), QStringLiteral("打开文件所在位置"));
    QTRY_COMPARE(m_manager.shown.size(), 1);
    QCOMPARE(m_manager.shown.at(0).size(), 1);
    QCOMPARE(QUrl(m_manager.shown.at(0).at(0)).toLocalFile(), m_case.root + QStringLiteral("/概算 书.GCFX"));
    QCOMPARE(m_manager.shown.at(0).at(0), QString::fromLatin1(QUrl::fromLocalFile(m_case.root + QStringLiteral("/概算 书.GCFX")).toEncoded()));
    QCOMPARE(m_manager.startupIds, QStringList{QString()});
    QVERIFY(m_opener.opened.isEmpty());
}

void TestRevealFile::noRowShowsTheCurrentFolder()
{
    startFileManager();
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    rightClick(d, rowPoint(d, QString()), QStringLiteral("打开文件所在位置"));
    QTRY_COMPARE(m_manager.shown.size(), 1);
    QCOMPARE(QUrl(m_manager.shown.at(0).value(0)).toLocalFile(), m_case.root);
}

void TestRevealFile::withoutFileManagerTheFolderIsOpened()
{
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("概算 书.GCFX"));
    rightClick(d, rowPoint(d, QStringLiteral("概算 书.GCFX")), QStringLiteral("打开文件所在位置"));
    QTRY_COMPARE(m_opener.opened.size(), 1);
    QCOMPARE(m_opener.opened.at(0), QUrl::fromLocalFile(m_case.root));
    QVERIFY(m_manager.shown.isEmpty());
}

int main(int argc, char** argv)
{
    // A bus of our own that starts nothing by itself: the only file manager
    // on it is the one the test registers.
    QTemporaryDir dir;
    const QString services = dir.path() + QStringLiteral("/services");
    QDir().mkpath(services);
    const QString config = dir.path() + QStringLiteral("/session.conf");
    {
        QFile f(config);
        if (!f.open(QIODevice::WriteOnly))
            return 1;
        f.write(QStringLiteral("<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
                               " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                               "<busconfig><type>session</type><listen>unix:tmpdir=%1</listen>"
                               "<auth>EXTERNAL</auth><servicedir>%2</servicedir>"
                               "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                               "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n")
                    .arg(dir.path(), services)
                    .toUtf8());
    }
    daemonsupport::Daemon bus(QStringLiteral("dbus-daemon"),
                              {"--config-file=" + config, "--nofork", "--print-address=%FD%"});
    if (bus.line().isEmpty()) {
        std::fprintf(stderr, "dbus-daemon did not start (scripts/setup-debian.sh installs it)\n");
        return 1;
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus.line());
    int rc = 0;
    {
        QApplication app(argc, argv);
        TestRevealFile test;
        rc = QTest::qExec(&test, argc, argv);
    }
    return rc;
}

#include "tst_revealfile.moc"
