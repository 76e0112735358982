// The demo host: sets up the host libraries the way the suite would, makes a
// sample workspace, and calls the dialog's entry points like the suite does,
// printing what they return.
#include "democalls.h"
#include "democloud.h"
#include "democonfig.h"
#include "logindialog.h"
#include "projecttypes.h"
#include "osgiTesting.h"
#include "screenshots.h"
#include "workspace.h"

#include "FirstPageService.h"
#include "zFileDialog.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStandardPaths>
#include <QTextStream>
#include <QVBoxLayout>

namespace {

bool hasDisplay()
{
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

// A small stand-in for the suite's main window: one button per entry point
// and a log of what came back.
QWidget* makeHostWindow(const QString& workspace)
{
    auto* window = new QWidget;
    window->setWindowTitle(QStringLiteral("工程文件对话框 演示宿主"));
    auto* layout = new QVBoxLayout(window);
    auto* intro = new QLabel(QStringLiteral("示例工作区：%1").arg(workspace), window);
    intro->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* log = new QPlainTextEdit(window);
    log->setReadOnly(true);
    auto addButton = [&](const QString& text, std::function<QString()> call, const QString& what) {
        auto* b = new QPushButton(text, window);
        QObject::connect(b, &QPushButton::clicked, window, [log, call, what] {
            const QString result = call();
            const QString line = what + QStringLiteral(" → ") + (result.isEmpty() ? QStringLiteral("（已取消）") : result);
            log->appendPlainText(line);
            QTextStream(stdout) << line << "\n";
        });
        layout->addWidget(b);
    };
    layout->addWidget(intro);
    addButton(QStringLiteral("打开工程…"), [window, workspace] { return demo::runOpen(window, workspace); },
              QStringLiteral("getOpenFileName"));
    addButton(QStringLiteral("选择文件夹…"),
              [window, workspace] { return demo::runOpen(window, workspace, ChooseFolder); },
              QStringLiteral("getOpenFileName(文件夹)"));
    // As the suite does: the project is written where the dialog said, and
    // a project saved into a cloud is uploaded from there.
    addButton(QStringLiteral("保存工程…"),
              [window, workspace] {
                  const QString path = demo::runSave(window, workspace);
                  const QString saved = demo::saveProject(path);
                  return saved.isEmpty() ? path : path + QStringLiteral("（") + saved + QStringLiteral("）");
              },
              QStringLiteral("getSaveFileName"));
    layout->addWidget(log, 1);
    window->resize(560, 360);
    return window;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("pfd-demohost"));
    // The suite speaks Chinese; so do the toolkit's own dialogs it opens.
    if (!demo::loadToolkitTranslations(&app))
        QTextStream(stderr) << "Qt's Chinese translations (qttranslations5-l10n) are not installed\n";

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Demo host of the project-file dialog"));
    parser.addHelpOption();
    const QCommandLineOption dataOpt(QStringLiteral("data"),
                                     QStringLiteral("Folder for the workspace, the configuration and the "
                                                    "application directory."),
                                     QStringLiteral("dir"));
    const QCommandLineOption shotsOpt(QStringLiteral("screenshots"),
                                      QStringLiteral("Render screenshots into this folder and exit."),
                                      QStringLiteral("dir"));
    const QCommandLineOption openOpt(QStringLiteral("open"), QStringLiteral("Run the open dialog once and exit."));
    const QCommandLineOption saveOpt(QStringLiteral("save"), QStringLiteral("Run the save dialog once and exit."));
    const QCommandLineOption openProjectOpt(
        QStringLiteral("open-project"),
        QStringLiteral("Play the suite with this project file open: pasting over it asks first. Repeatable."),
        QStringLiteral("file"));
    parser.addOptions({dataOpt, shotsOpt, openOpt, saveOpt, openProjectOpt});
    parser.process(app);
    QStringList openProjects;
    for (const QString& file : parser.values(openProjectOpt))
        openProjects << QDir::toNativeSeparators(QFileInfo(file).absoluteFilePath());
    osgiTesting::setOpenProjects(openProjects);

    QTextStream out(stdout);
    const QString data = parser.isSet(dataOpt)
                             ? QDir(parser.value(dataOpt)).absolutePath()
                             : QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                                   + QStringLiteral("/pfd-demohost");
    const QString configFile = data + QStringLiteral("/demohost.json");
    const DemoConfig config = DemoConfig::loadOrCreate(configFile, data + QStringLiteral("/app"));
    config.apply();
    const QString workspace = demo::ensureWorkspace(data);
    demo::seedApplicationDirectory(config.appDir, workspace);
    // The cloud: filled on first run; a configured login signs in at once,
    // otherwise the dialog asks through the start page's login window.
    const QJsonObject user = config.raw.value("user").toObject();
    const QString userName = user.value("name").toString();
    const QString password = user.value("password").toString(demo::cloudPassword());
    demo::ensureCloud(config.appDir + QStringLiteral("/clouddisk"), workspace, userName);
    static DemoFirstPage firstPage;
    if (hasDisplay() && !parser.isSet(shotsOpt))
        osgiTesting::setService(&firstPage);
    else
        osgiTesting::setLoginCredentials(userName, password);
    if (user.value("loggedIn").toBool()) {
        QString why;
        if (!osgi::SignIn(userName, password, &why))
            out << "cloud login of " << userName << " failed: " << why << "\n";
    }
    out << "configuration: " << configFile << "\n"
        << "application directory: " << config.appDir << "\n"
        << "workspace: " << workspace << "\n";
    out.flush();

    if (parser.isSet(shotsOpt) || !hasDisplay()) {
        const QString dir = parser.isSet(shotsOpt) ? parser.value(shotsOpt) : data + QStringLiteral("/screenshots");
        QStringList files = demo::takeScreenshots(dir, workspace);
        files << saveLoginScreenshot(dir);
        out << (hasDisplay() ? "" : "no display: ") << "screenshots written to " << QDir(dir).absolutePath() << "\n";
        for (const QString& f : files)
            out << "  " << f << "\n";
        return 0;
    }
    if (parser.isSet(openOpt)) {
        out << "getOpenFileName returned: \"" << demo::runOpen(nullptr, workspace) << "\"\n";
        return 0;
    }
    if (parser.isSet(saveOpt)) {
        out << "getSaveFileName returned: \"" << demo::runSave(nullptr, workspace) << "\"\n";
        return 0;
    }
    QWidget* window = makeHostWindow(workspace);
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->show();
    return app.exec();
}
