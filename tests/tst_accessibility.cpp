// The dialog as a screen reader sees it: an X server, a session bus and the
// desktop's accessibility registry of this program's own, the open and the
// save dialog read over the accessibility bus by a Python reader.
#include "daemonsupport.h"
#include "dialogsupport.h"
#include "keyboardsupport.h"
#include "testsupport.h"

#include "fileInfoJsonUtil.h"
#include "zBaseControlTesting.h"
#include "zControlTesting.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>

#include <cstdio>
#include <cstdlib>

using namespace testsupport;

namespace {

// Runs the reader without blocking the event loop, which has to answer its
// questions about our widgets.
QJsonDocument readBus(const QString& mode)
{
    QProcess p;
    QString python = QStandardPaths::findExecutable(QStringLiteral("python3"), {QStringLiteral("/usr/bin")});
    if (python.isEmpty())
        python = QStringLiteral("python3");
    p.start(python, {QStringLiteral(ATSPI_READER), QCoreApplication::applicationName(), mode});
    if (!p.waitForStarted(5000))
        return QJsonDocument();
    QElapsedTimer clock;
    clock.start();
    while (p.state() != QProcess::NotRunning && clock.elapsed() < 60000)
        QTest::qWait(20);
    const QByteArray err = p.readAllStandardError();
    if (!err.isEmpty())
        qWarning("reader: %s", err.constData());
    return QJsonDocument::fromJson(p.readAllStandardOutput());
}

bool interactive(const QJsonObject& o)
{
    if (o.value(QStringLiteral("focusable")).toBool())
        return true;
    for (const QJsonValue& a : o.value(QStringLiteral("actions")).toArray()) {
        const QString name = a.toString();
        if (name == QLatin1String("Press") || name == QLatin1String("Toggle") || name == QLatin1String("ShowMenu")
            || name == QLatin1String("Click"))
            return true;
    }
    return false;
}

} // namespace

class TestAccessibility : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void openDialogControlsAreNamed();
    void saveDialogControlsAreNamed();
    void tabVisitsTheControlsInOrder();

private:
    void checkNames(const QJsonArray& tree, bool save);

    QTemporaryDir m_home;
    AppDir* m_app = nullptr;
    QString m_folder;
};

void TestAccessibility::initTestCase()
{
    QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
    qputenv("HOME", QFile::encodeName(m_home.path()));
    QDir(m_home.path()).mkpath(QStringLiteral("Documents"));
    QDir(m_home.path()).mkpath(QStringLiteral("Desktop"));
    m_folder = m_home.path() + QStringLiteral("/工程/预算");
    QDir().mkpath(m_folder + QStringLiteral("/子目录"));
    QFile f(m_folder + QStringLiteral("/一.GCFX"));
    QVERIFY(f.open(QIODevice::WriteOnly));
    // Nothing on the bus at all is a set-up failure, not a finding.
    const QJsonDocument probe = readBus(QStringLiteral("focus"));
    QVERIFY2(probe.isObject(), "the accessibility reader gave no answer (scripts/setup-debian.sh installs it)");
}

void TestAccessibility::init()
{
    m_app = new AppDir;
    zBaseControlTesting::setScaleFactor(1.0);
    zControlTesting::setMessageBoxScripted(true);
    // A pinned folder, so the column's pinned buttons are read as well.
    QDir().mkpath(m_home.path() + QStringLiteral("/工程"));
    FileInfo pinned;
    pinned.name = QStringLiteral("工程");
    pinned.type = QStringLiteral("文件夹");
    pinned.path = m_home.path() + QStringLiteral("/工程");
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("OftenUse"), pinned);
    zFileDialog::iClickedBtn = 2;
}

void TestAccessibility::cleanup()
{
    delete m_app;
    m_app = nullptr;
    zBaseControlTesting::reset();
    zControlTesting::reset();
}

void TestAccessibility::checkNames(const QJsonArray& tree, bool save)
{
    QVERIFY2(tree.size() > 20, "the reader saw too little of the dialog");
    QStringList names;
    QStringList nameless;
    QStringList places;
    QStringList combos;
    for (const QJsonValue& v : tree) {
        const QJsonObject o = v.toObject();
        const QString name = o.value(QStringLiteral("name")).toString().trimmed();
        const QString role = o.value(QStringLiteral("role")).toString();
        names << name;
        if (interactive(o) && name.isEmpty())
            nameless << role + QLatin1Char(' ') + o.value(QStringLiteral("path")).toString();
        if (role == QLatin1String("push button") && o.value(QStringLiteral("focusable")).toBool())
            places << name;
        if (role == QLatin1String("combo box"))
            combos << name;
    }
    qInfo("%s", qPrintable(QStringLiteral("names read: ") + names.join(QStringLiteral(" | "))));
    QVERIFY2(nameless.isEmpty(), qPrintable(nameless.join(QStringLiteral(", "))));
    for (const char* expected : {"返回", "刷新", "新建文件夹", "视图", "最大化", "关闭", "文件列表", "位置", "文件类型",
                                 "文件名", "取消", "桌面", "电脑", "我的文档", "其它路径", "工程", "预算"})
        QVERIFY2(names.contains(QString::fromUtf8(expected)), expected);
    QVERIFY(names.contains(save ? QStringLiteral("保存") : QStringLiteral("确定")));
    QCOMPARE(combos, QStringList{QStringLiteral("文件类型")});
    // The places and the pinned folder are buttons that take the focus.
    for (const char* place : {"桌面", "电脑", "我的文档", "其它路径", "工程"})
        QVERIFY2(places.contains(QString::fromUtf8(place)), place);
}

void TestAccessibility::openDialogControlsAreNamed()
{
    QJsonDocument tree;
    dialogsupport::whenDialogShows([&](zFileDialog* d) {
        QTest::qWait(300);
        tree = readBus(QStringLiteral("tree"));
        d->onCancelButton();
    });
    QStringList groups{QStringLiteral("预算"), QStringLiteral("GCFX")};
    zFileDialog::getOpenFileName(nullptr, m_folder, &groups, 1);
    checkNames(tree.array(), false);
}

void TestAccessibility::saveDialogControlsAreNamed()
{
    QJsonDocument tree;
    dialogsupport::whenDialogShows([&](zFileDialog* d) {
        QTest::qWait(300);
        tree = readBus(QStringLiteral("tree"));
        d->onCancelButton();
    });
    QStringList groups{QStringLiteral("预算"), QStringLiteral("GCFX")};
    zFileDialog::getSaveFileName(nullptr, m_folder, QStringLiteral("新工程"), &groups, 1);
    checkNames(tree.array(), true);
}

void TestAccessibility::tabVisitsTheControlsInOrder()
{
    QStringList seen;
    QString first;
    dialogsupport::whenDialogShows([&](zFileDialog* d) {
        QTest::qWait(300);
        first = readBus(QStringLiteral("focus")).object().value(QStringLiteral("name")).toString().trimmed();
        for (int i = 0; i < 13; ++i) {
            keyboardsupport::key(Qt::Key_Tab);
            QTest::qWait(50);
            seen << readBus(QStringLiteral("focus")).object().value(QStringLiteral("name")).toString().trimmed();
        }
        d->onCancelButton();
    });
    QStringList groups{QStringLiteral("预算"), QStringLiteral("GCFX")};
    zFileDialog::getOpenFileName(nullptr, m_folder, &groups, 1);
    qInfo("%s", qPrintable(QStringLiteral("Tab visits: ") + first + QStringLiteral(" -> ") + seen.join(QStringLiteral(" -> "))));
    QCOMPARE(first, QStringLiteral("文件名"));
    // No place is shown (the caller named a folder), so the column's stop is
    // its first usable place; no project and no cloud here.
    const QStringList expected{"文件类型", "确定",       "取消", "最大化", "关闭",     "桌面",  "返回",
                               "位置",     "刷新",       "新建文件夹", "视图", "文件列表", "文件名"};
    QCOMPARE(seen, expected);
}

int main(int argc, char** argv)
{
    // An X server, a session bus and a runtime folder of our own: the
    // accessibility bus the session bus starts lives there, apart from any
    // desktop's.
    daemonsupport::Daemon xvfb(QStringLiteral("Xvfb"),
                               {"-displayfd", "%FD%", "-screen", "0", "1280x1024x24", "-nolisten", "tcp"});
    if (xvfb.line().isEmpty()) {
        std::fprintf(stderr, "Xvfb did not start (scripts/setup-debian.sh installs it)\n");
        return 1;
    }
    qputenv("DISPLAY", ":" + xvfb.line());
    QTemporaryDir runtime;
    QFile::setPermissions(runtime.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime.path()));
    daemonsupport::Daemon bus(QStringLiteral("dbus-daemon"),
                              {"--session", "--nofork", "--print-address=%FD%"});
    if (bus.line().isEmpty()) {
        std::fprintf(stderr, "dbus-daemon did not start (scripts/setup-debian.sh installs it)\n");
        return 1;
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus.line());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    qputenv("QT_ACCESSIBILITY", "1");
    int rc = 0;
    {
        QApplication app(argc, argv);
        TestAccessibility test;
        rc = QTest::qExec(&test, argc, argv);
    }
    return rc;
}

#include "tst_accessibility.moc"
