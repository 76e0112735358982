// The demo host: sets up the host libraries the way the suite would, makes a
// sample workspace and shows what the dialog library lists there.
#include "democonfig.h"
#include "workspace.h"

#include "fileModelLocal.h"
#include "listing.h"
#include "shellicon.h"
#include "zFileDialog.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QGuiApplication>
#include <QHeaderView>
#include <QStandardPaths>
#include <QTableView>
#include <QTextStream>

namespace {

bool hasDisplay()
{
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

// The folder as the dialog's table shows it: listed through the host's
// directory service, filtered to project files and sorted by name.
QTableView* makeTable(fileModelLocal* model, const QString& folder)
{
    model->setIconSource([](const QString& key) { return pfd::fileIconForKey(key); });
    model->setNameFilters({QStringLiteral("*.*")});
    model->setFiles(getFilesByPath(folder));
    model->applyNameFilters();
    model->setCurrentDir(folder);
    zFileDialog::SetCurrentPath(folder);

    auto* view = new QTableView;
    view->setModel(model);
    view->setSortingEnabled(true);
    view->sortByColumn(0, Qt::AscendingOrder);
    view->verticalHeader()->hide();
    view->setShowGrid(false);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->horizontalHeader()->setStretchLastSection(true);
    view->setColumnWidth(0, 320);
    view->setColumnWidth(1, 90);
    view->setColumnWidth(2, 110);
    view->setWindowTitle(QStringLiteral("ProjectFileDialog 演示 — ") + folder);
    view->resize(720, 520);
    return view;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("pfd-demohost"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Demo host of the project-file dialog"));
    parser.addHelpOption();
    const QCommandLineOption dataOpt(QStringLiteral("data"), QStringLiteral("Folder for the workspace, "
                                     "the configuration and the application directory."),
                                     QStringLiteral("dir"));
    const QCommandLineOption shotsOpt(QStringLiteral("screenshots"),
                                      QStringLiteral("Where offscreen screenshots go."), QStringLiteral("dir"));
    parser.addOption(dataOpt);
    parser.addOption(shotsOpt);
    parser.process(app);

    QTextStream out(stdout);
    const QString data = parser.isSet(dataOpt)
                             ? QDir(parser.value(dataOpt)).absolutePath()
                             : QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                                   + QStringLiteral("/pfd-demohost");
    const QString configFile = data + QStringLiteral("/demohost.json");
    const DemoConfig config = DemoConfig::loadOrCreate(configFile, data + QStringLiteral("/app"));
    config.apply();
    const QString projects = demo::ensureWorkspace(data);
    out << "configuration: " << configFile << "\n"
        << "application directory: " << config.appDir << "\n"
        << "workspace: " << projects << "\n";

    fileModelLocal model;
    QTableView* view = makeTable(&model, projects);

    if (!hasDisplay()) {
        const QString shots = parser.isSet(shotsOpt) ? parser.value(shotsOpt) : data + QStringLiteral("/screenshots");
        QDir().mkpath(shots);
        view->show();
        QApplication::processEvents();
        const QString file = shots + QStringLiteral("/listing.png");
        view->grab().save(file);
        out << "no display: screenshot written to " << file << "\n";
        delete view;
        return 0;
    }
    view->setAttribute(Qt::WA_DeleteOnClose);
    view->show();
    return app.exec();
}
