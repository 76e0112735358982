// The window as the user left it, across runs: size, maximised, list or
// detail view and column widths come back in the next process; a damaged
// or missing settings file gives the defaults without a word; the sort and
// the store stay out of it.
#include "testsupport.h"

#include "dialogs/dialoglayout.h"
#include "zBaseControlTesting.h"
#include "zControlTesting.h"
#include "zFileDialog.h"
#include "zFileDialogUi.h"

#include <QAction>
#include <QHeaderView>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QScreen>
#include <QTableView>
#include <QtTest>

namespace {

class Probe : public zFileDialog
{
public:
    using zFileDialog::ui;
};

const QSize kFirstRunSize(770, 540); // the body; with its shadow it fits the offscreen 800x600
const QVector<int> kFirstRunWidths{0, 140, 150, 170}; // the name column takes the rest

bool isFirstRun(int argc, char** argv)
{
    return argc > 2 && qstrcmp(argv[1], "--first-run") == 0;
}

// The first process: the user enlarges the window, widens the columns,
// picks the list view and closes the dialog.
int firstRun(int argc, char** argv)
{
    QApplication app(argc, argv);
    SharedInterfaceTesting::setAppPath(QString::fromLocal8Bit(argv[2]));
    zControlTesting::setMessageBoxScripted(true);
    Probe d;
    d.show();
    d.resize(kFirstRunSize);
    QCoreApplication::processEvents();
    for (int c = 1; c < 4; ++c)
        d.ui->headerView->resizeSection(c, kFirstRunWidths.at(c));
    d.ui->headerView->setSortIndicator(2, Qt::DescendingOrder);
    d.ui->listAction->trigger();
    d.onCancelButton();
    return 0;
}

} // namespace

class TestDialogLayout : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void secondProcessOpensAsTheFirstLeftIt();
    void maximisedIsRemembered();
    void missingFileGivesTheDefaults();
    void corruptFileGivesTheDefaultsSilently();
    void valuesOutOfReasonAreIgnored();
    void sizeFromABiggerScreenIsFitted();
    void maximisedFromABiggerScreenReturnsToAFittingSize();
    void sortAndStoreStayOut();

private:
    QScopedPointer<testsupport::AppDir> m_app;
    QTemporaryDir m_home;
};

void TestDialogLayout::init()
{
    qputenv("HOME", QFile::encodeName(m_home.path()));
    m_app.reset(new testsupport::AppDir);
    zBaseControlTesting::setScaleFactor(1.0);
    zControlTesting::reset();
    zControlTesting::setMessageBoxScripted(true);
}

void TestDialogLayout::cleanup()
{
    zControlTesting::reset();
    m_app.reset();
}

void TestDialogLayout::secondProcessOpensAsTheFirstLeftIt()
{
    QProcess first;
    first.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--first-run"), m_app->path()});
    QVERIFY(first.waitForFinished(60000));
    QCOMPARE(first.exitCode(), 0);
    QVERIFY(QFileInfo::exists(m_app->path() + QStringLiteral("/filedialog.ini")));

    Probe d;
    d.show();
    QCOMPARE(d.bodyRect().size(), kFirstRunSize);
    QVERIFY(d.ui->listAction->isChecked());
    QVERIFY(d.ui->tableView->isColumnHidden(1));
    d.ui->detailAction->trigger();
    for (int c = 1; c < 4; ++c)
        QCOMPARE(d.ui->headerView->sectionSize(c), kFirstRunWidths.at(c));
    d.onCancelButton();
}

void TestDialogLayout::maximisedIsRemembered()
{
    {
        Probe d;
        d.show();
        d.showMaximized();
        QTRY_VERIFY(d.isMaximized());
        d.onCancelButton();
    }
    QVERIFY(pfd::loadDialogLayout(pfd::dialogLayoutFile(m_app->path())).maximized);
    Probe d;
    d.show();
    QVERIFY(d.isMaximized());
    d.onCancelButton();
}

void TestDialogLayout::missingFileGivesTheDefaults()
{
    const pfd::DialogLayout layout = pfd::loadDialogLayout(m_app->path() + QStringLiteral("/nothing.ini"));
    QVERIFY(!layout.size.isValid());
    QVERIFY(!layout.maximized);
    QVERIFY(!layout.listView);
    QVERIFY(layout.columnWidths.isEmpty());
}

void TestDialogLayout::corruptFileGivesTheDefaultsSilently()
{
    QFile f(pfd::dialogLayoutFile(m_app->path()));
    QVERIFY(f.open(QIODevice::WriteOnly));
    // Not UTF-8, a control character, an unclosed value and a NUL byte.
    static const char garbage[] = "\xff\xfe[window\nsize=@Size(\x01\nmaximized=\"\n[[[table]\x00view=list\n";
    QCOMPARE(f.write(garbage, sizeof garbage - 1), qint64(sizeof garbage - 1));
    f.close();
    Probe d;
    d.show();
    QVERIFY(!d.isMaximized());
    QVERIFY(d.ui->detailAction->isChecked());
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
    d.onCancelButton();
    // Closing writes a sound file again.
    const pfd::DialogLayout after = pfd::loadDialogLayout(pfd::dialogLayoutFile(m_app->path()));
    QVERIFY(after.size.isValid());
}

void TestDialogLayout::valuesOutOfReasonAreIgnored()
{
    QFile f(pfd::dialogLayoutFile(m_app->path()));
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write("[window]\nsize=@Size(-5 99999999)\nmaximized=perhaps\n[table]\nview=tiles\n"
            "columnWidths=300, -1, abc, 100\n");
    f.close();
    const pfd::DialogLayout layout = pfd::loadDialogLayout(f.fileName());
    QVERIFY(!layout.size.isValid());
    QVERIFY(!layout.maximized);
    QVERIFY(!layout.listView);
    QVERIFY(layout.columnWidths.isEmpty());
}

void TestDialogLayout::sizeFromABiggerScreenIsFitted()
{
    pfd::DialogLayout big;
    big.size = QSize(5000, 4000);
    QVERIFY(pfd::saveDialogLayout(pfd::dialogLayoutFile(m_app->path()), big));
    Probe d;
    d.show();
    const QRect area = d.screen()->availableGeometry();
    QVERIFY(area.contains(d.geometry()));
    d.onCancelButton();
}

void TestDialogLayout::maximisedFromABiggerScreenReturnsToAFittingSize()
{
    pfd::DialogLayout big;
    big.size = QSize(5000, 4000);
    big.maximized = true;
    QVERIFY(pfd::saveDialogLayout(pfd::dialogLayoutFile(m_app->path()), big));
    Probe d;
    d.show();
    QVERIFY(d.isMaximized());
    d.showNormal();
    QTRY_VERIFY(!d.isMaximized());
    const QSize area = d.screen()->availableGeometry().size();
    QVERIFY(d.width() <= area.width() && d.height() <= area.height());
    d.onCancelButton();
}

void TestDialogLayout::sortAndStoreStayOut()
{
    QFile store(m_app->store());
    {
        Probe d;
        d.show();
        d.ui->headerView->setSortIndicator(3, Qt::DescendingOrder);
        d.onCancelButton();
    }
    QFile ini(pfd::dialogLayoutFile(m_app->path()));
    QVERIFY(ini.open(QIODevice::ReadOnly));
    const QByteArray text = ini.readAll().toLower();
    QVERIFY2(!text.contains("sort") && !text.contains("order") && !text.contains("column="), text.constData());
    if (store.open(QIODevice::ReadOnly)) {
        const QJsonObject o = QJsonDocument::fromJson(store.readAll()).object();
        for (const QString& key : o.keys())
            QVERIFY2(key == QLatin1String("LastPath") || key == QLatin1String("OftenUse")
                         || key == QLatin1String("RecentFile"),
                     qPrintable(key));
    }
}

int main(int argc, char** argv)
{
    if (isFirstRun(argc, argv))
        return firstRun(argc, argv);
    QApplication app(argc, argv);
    TestDialogLayout test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_dialoglayout.moc"
