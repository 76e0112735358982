// The dialog's window on a real X server with a window manager: it opens
// inside the screen at every scale, is resized by each edge and corner with
// the pointer, fills the free area when maximised with the names taking the
// width, pop-ups open at their widgets, and the geometry rules behind all
// this.
#include "xserversupport.h"
#include "testsupport.h"

#include "AddressBar.h"
#include "AddressItem.h"
#include "MenuWidget.h"
#include "WindowGeometry.h"
#include "zBaseMenu.h"
#include "zBaseButton.h"
#include "zBaseControlTesting.h"
#include "zControlTesting.h"
#include "zFileDialog.h"

#include <QCompleter>
#include <QHeaderView>
#include <QListView>
#include <QProcess>
#include <QScreen>
#include <QTableView>
#include <QtTest>

#include <cstdio>

using namespace zControlGeometry;

namespace {

constexpr int kScreenWidth = 1600;
constexpr int kScreenHeight = 1000;

// Runs a program without blocking the event loop, which has to answer the
// X server while the pointer drags.
int run(const QString& program, const QStringList& args, QByteArray* out = nullptr,
        const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment())
{
    QProcess p;
    p.setProcessEnvironment(env);
    QEventLoop loop;
    QObject::connect(&p, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), &loop, &QEventLoop::quit);
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    p.start(program, args);
    if (!p.waitForStarted(5000))
        return -1;
    if (p.state() != QProcess::NotRunning)
        loop.exec();
    if (p.state() != QProcess::NotRunning)
        return -2;
    if (out)
        *out = p.readAllStandardOutput();
    return p.exitCode();
}

// Where the X server has the window: the toolkit may learn of a window
// manager's placement late.
QRect xGeometry(QWidget* w)
{
    QByteArray out;
    run(QStringLiteral("xdotool"), {"getwindowgeometry", "--shell", QString::number(w->winId())}, &out);
    QHash<QByteArray, int> v;
    for (const QByteArray& line : out.split('\n')) {
        const int eq = line.indexOf('=');
        if (eq > 0)
            v.insert(line.left(eq), line.mid(eq + 1).toInt());
    }
    return QRect(v.value("X"), v.value("Y"), v.value("WIDTH"), v.value("HEIGHT"));
}

int xdotool(const QStringList& args)
{
    return run(QStringLiteral("xdotool"), args);
}

// Pointer and button through the X server, as a user's hand would.
void drag(const QPoint& from, const QPoint& to)
{
    QCOMPARE(xdotool({"mousemove", QString::number(from.x()), QString::number(from.y())}), 0);
    QTest::qWait(100);
    QCOMPARE(xdotool({"mousedown", "1"}), 0);
    QTest::qWait(100);
    const QPoint half = (from + to) / 2;
    QCOMPARE(xdotool({"mousemove", QString::number(half.x()), QString::number(half.y())}), 0);
    QTest::qWait(100);
    QCOMPARE(xdotool({"mousemove", QString::number(to.x()), QString::number(to.y())}), 0);
    QTest::qWait(150);
    QCOMPARE(xdotool({"mouseup", "1"}), 0);
    QTest::qWait(200);
}

class Probe : public zFileDialog
{
public:
    using zFileDialog::ui;
};

bool isChildProcess(int argc, char** argv)
{
    return argc > 1 && qstrcmp(argv[1], "--print-opening-geometry") == 0;
}

// The child: opens a dialog at the scale its environment gives and prints
// the window's and the screen's geometry in device pixels, then whether
// every control lies on the screen.
int printOpeningGeometry(int argc, char** argv)
{
    QApplication app(argc, argv);
    testsupport::AppDir dir;
    zControlTesting::setMessageBoxScripted(true);
    zFileDialog d;
    d.show();
    if (!QTest::qWaitForWindowExposed(&d))
        return 1;
    QTest::qWait(200);
    const qreal ratio = d.devicePixelRatioF();
    const QRect x = xGeometry(&d);
    const QRect g(x.topLeft() / ratio, x.size() / ratio);
    const QRect area = d.screen()->availableGeometry();
    bool controlsOnScreen = true;
    for (const char* name : {"ok_button", "cancel_button", "close_button", "maximize_button", "fileName_lineEdit",
                             "fileType_comboBox", "other_path_button", "FileDialog"}) {
        auto* w = d.findChild<QWidget*>(QLatin1String(name));
        const QRect r(w->mapToGlobal(QPoint(0, 0)), w->size());
        if (!area.contains(r) || w->width() <= 0 || w->height() <= 0)
            controlsOnScreen = false;
    }
    std::printf("%d %d %d %d %d %d %d %d %d\n", int(g.x() * ratio), int(g.y() * ratio), int(g.width() * ratio),
                int(g.height() * ratio), int(area.x() * ratio), int(area.y() * ratio), int(area.width() * ratio),
                int(area.height() * ratio), controlsOnScreen ? 1 : 0);
    return 0;
}

} // namespace

class TestDialogWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    // the rules
    void fittedGeometryStaysInsideTheArea();
    void fittedGeometryKeepsTheMinimumWhereItFits();
    void edgesAndCornersAreFound();
    void fixedDimensionsHaveNoEdges();
    void resizingKeepsTheOppositeEdgesAndTheMinimum();
    void cursorsMatchTheEdges();

    // a real window
    void openingSizeFitsTheScreenAtEveryScale_data();
    void openingSizeFitsTheScreenAtEveryScale();
    void resizedByEachEdgeAndCorner_data();
    void resizedByEachEdgeAndCorner();
    void pointerOverAnEdgeShowsItsCursor();
    void minimumSizeKeepsEveryControlUsable();
    void maximisedFillsTheAreaAndNamesTakeTheWidth();
    void popupsOpenUnderTheirWidgets();
    void escapeClosesOnlyTheSegmentDropDown();

private:
    QTemporaryDir m_home;
    QScopedPointer<testsupport::AppDir> m_app;
    QProcess m_wm;
};

void TestDialogWindow::initTestCase()
{
    QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
    qputenv("HOME", QFile::encodeName(m_home.path()));
    QDir(m_home.path()).mkpath(QStringLiteral("Documents"));
    m_wm.start(QStringLiteral("openbox"), {QStringLiteral("--sm-disable")});
    QVERIFY2(m_wm.waitForStarted(5000), "openbox did not start (scripts/setup-debian.sh installs it)");
    // The window manager is up once it has claimed the screen.
    QByteArray out;
    for (int i = 0; i < 100; ++i) {
        run(QStringLiteral("xprop"), {"-root", "_NET_SUPPORTING_WM_CHECK"}, &out);
        if (out.contains("window id"))
            break;
        QTest::qWait(50);
    }
    QVERIFY2(out.contains("window id"), out.constData());
}

void TestDialogWindow::cleanupTestCase()
{
    m_wm.terminate();
    m_wm.waitForFinished(5000);
}

void TestDialogWindow::init()
{
    m_app.reset(new testsupport::AppDir);
    zBaseControlTesting::setScaleFactor(1.0);
    zControlTesting::reset();
    zControlTesting::setMessageBoxScripted(true);
    zFileDialog::iClickedBtn = 2;
}

void TestDialogWindow::cleanup()
{
    zControlTesting::reset();
    m_app.reset();
}

void TestDialogWindow::fittedGeometryStaysInsideTheArea()
{
    const QRect area(0, 30, 800, 470);
    const QRect r = fittedGeometry(QSize(1974, 1284), QSize(600, 400), area);
    QCOMPARE(r, area);
    const QRect small = fittedGeometry(QSize(400, 200), QSize(100, 100), area);
    QCOMPARE(small.size(), QSize(400, 200));
    QCOMPARE(small.center(), area.center());
    // Offset screens (a second monitor) keep their origin.
    const QRect second(1600, 0, 1280, 1024);
    QVERIFY(second.contains(fittedGeometry(QSize(3000, 600), QSize(10, 10), second)));
}

void TestDialogWindow::fittedGeometryKeepsTheMinimumWhereItFits()
{
    const QRect area(0, 0, 1000, 800);
    QCOMPARE(fittedGeometry(QSize(200, 100), QSize(500, 400), area).size(), QSize(500, 400));
    // A minimum larger than the area gives way to the area.
    QCOMPARE(fittedGeometry(QSize(200, 100), QSize(1200, 400), area).size(), QSize(1000, 400));
}

void TestDialogWindow::edgesAndCornersAreFound()
{
    const QSize s(400, 300);
    QCOMPARE(edgesAt(s, QPoint(2, 150), 5), Qt::Edges(Qt::LeftEdge));
    QCOMPARE(edgesAt(s, QPoint(397, 150), 5), Qt::Edges(Qt::RightEdge));
    QCOMPARE(edgesAt(s, QPoint(200, 0), 5), Qt::Edges(Qt::TopEdge));
    QCOMPARE(edgesAt(s, QPoint(200, 299), 5), Qt::Edges(Qt::BottomEdge));
    QCOMPARE(edgesAt(s, QPoint(1, 1), 5), Qt::TopEdge | Qt::LeftEdge);
    QCOMPARE(edgesAt(s, QPoint(398, 298), 5), Qt::BottomEdge | Qt::RightEdge);
    QCOMPARE(edgesAt(s, QPoint(200, 150), 5), Qt::Edges());
    QCOMPARE(edgesAt(s, QPoint(5, 150), 5), Qt::Edges());
    QCOMPARE(edgesAt(s, QPoint(-1, 150), 5), Qt::Edges());
}

void TestDialogWindow::fixedDimensionsHaveNoEdges()
{
    const QSize s(400, 300);
    QCOMPARE(edgesAt(s, QPoint(1, 1), 5, Qt::Vertical), Qt::Edges(Qt::TopEdge));
    QCOMPARE(edgesAt(s, QPoint(1, 1), 5, Qt::Horizontal), Qt::Edges(Qt::LeftEdge));
    QCOMPARE(edgesAt(s, QPoint(1, 1), 5, Qt::Orientations()), Qt::Edges());
}

void TestDialogWindow::resizingKeepsTheOppositeEdgesAndTheMinimum()
{
    const QRect start(100, 100, 400, 300);
    const QSize min(200, 150), max(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    QCOMPARE(resizedGeometry(start, Qt::RightEdge, QPoint(50, 20), min, max), QRect(100, 100, 450, 300));
    QCOMPARE(resizedGeometry(start, Qt::LeftEdge, QPoint(-50, 20), min, max), QRect(50, 100, 450, 300));
    QCOMPARE(resizedGeometry(start, Qt::TopEdge, QPoint(0, 40), min, max), QRect(100, 140, 400, 260));
    QCOMPARE(resizedGeometry(start, Qt::BottomEdge | Qt::LeftEdge, QPoint(30, 30), min, max),
             QRect(130, 100, 370, 330));
    // Past the minimum the far edge stays put.
    const QRect squeezed = resizedGeometry(start, Qt::TopEdge | Qt::LeftEdge, QPoint(1000, 1000), min, max);
    QCOMPARE(squeezed.size(), min);
    QCOMPARE(squeezed.bottomRight(), start.bottomRight());
}

void TestDialogWindow::cursorsMatchTheEdges()
{
    QCOMPARE(cursorFor(Qt::LeftEdge), Qt::SizeHorCursor);
    QCOMPARE(cursorFor(Qt::RightEdge), Qt::SizeHorCursor);
    QCOMPARE(cursorFor(Qt::TopEdge), Qt::SizeVerCursor);
    QCOMPARE(cursorFor(Qt::BottomEdge), Qt::SizeVerCursor);
    QCOMPARE(cursorFor(Qt::TopEdge | Qt::LeftEdge), Qt::SizeFDiagCursor);
    QCOMPARE(cursorFor(Qt::BottomEdge | Qt::RightEdge), Qt::SizeFDiagCursor);
    QCOMPARE(cursorFor(Qt::TopEdge | Qt::RightEdge), Qt::SizeBDiagCursor);
    QCOMPARE(cursorFor(Qt::BottomEdge | Qt::LeftEdge), Qt::SizeBDiagCursor);
    QCOMPARE(cursorFor(Qt::Edges()), Qt::ArrowCursor);
}

void TestDialogWindow::openingSizeFitsTheScreenAtEveryScale_data()
{
    QTest::addColumn<QString>("scale");
    QTest::newRow("1") << QStringLiteral("1");
    QTest::newRow("1.5") << QStringLiteral("1.5");
    QTest::newRow("2") << QStringLiteral("2");
}

void TestDialogWindow::openingSizeFitsTheScreenAtEveryScale()
{
    QFETCH(QString, scale);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_SCALE_FACTOR"), scale);
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    QByteArray out;
    QCOMPARE(run(QCoreApplication::applicationFilePath(), {QStringLiteral("--print-opening-geometry")}, &out, env),
             0);
    const QList<QByteArray> f = out.trimmed().split(' ');
    QCOMPARE(f.size(), 9);
    const QRect window(f[0].toInt(), f[1].toInt(), f[2].toInt(), f[3].toInt());
    const QRect area(f[4].toInt(), f[5].toInt(), f[6].toInt(), f[7].toInt());
    QVERIFY2(QRect(0, 0, kScreenWidth, kScreenHeight).contains(window), out.constData());
    QVERIFY2(area.contains(window), out.constData());
    QVERIFY2(qAbs(window.center().x() - area.center().x()) <= 2, out.constData());
    QVERIFY2(qAbs(window.center().y() - area.center().y()) <= 2, out.constData());
    QVERIFY2(f[8] == "1", "OK, Cancel, Close and the other controls lie on the screen");
}

void TestDialogWindow::resizedByEachEdgeAndCorner_data()
{
    QTest::addColumn<int>("edges");
    QTest::addColumn<QPoint>("delta");
    QTest::newRow("left") << int(Qt::LeftEdge) << QPoint(-60, 0);
    QTest::newRow("right") << int(Qt::RightEdge) << QPoint(70, 0);
    QTest::newRow("top") << int(Qt::TopEdge) << QPoint(0, -50);
    QTest::newRow("bottom") << int(Qt::BottomEdge) << QPoint(0, 40);
    QTest::newRow("top-left") << int(Qt::TopEdge | Qt::LeftEdge) << QPoint(-40, -30);
    QTest::newRow("top-right") << int(Qt::TopEdge | Qt::RightEdge) << QPoint(50, -30);
    QTest::newRow("bottom-left") << int(Qt::BottomEdge | Qt::LeftEdge) << QPoint(-40, 30);
    QTest::newRow("bottom-right") << int(Qt::BottomEdge | Qt::RightEdge) << QPoint(60, 45);
}

// A point on the window's grab band of edges, in global coordinates.
static QPoint grabPoint(const QRect& g, Qt::Edges edges, int inset)
{
    int x = g.center().x(), y = g.center().y();
    if (edges & Qt::LeftEdge)
        x = g.left() + inset;
    if (edges & Qt::RightEdge)
        x = g.right() - inset;
    if (edges & Qt::TopEdge)
        y = g.top() + inset;
    if (edges & Qt::BottomEdge)
        y = g.bottom() - inset;
    return QPoint(x, y);
}

void TestDialogWindow::resizedByEachEdgeAndCorner()
{
    QFETCH(int, edges);
    QFETCH(QPoint, delta);
    Probe d;
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    QTest::qWait(300);
    const QRect before = xGeometry(&d);
    // In the shadow band, just outside the visible border.
    const QPoint from = grabPoint(before, Qt::Edges(edges), d.shadowMargin() / 2);
    drag(from, from + delta);
    QTRY_VERIFY_WITH_TIMEOUT(xGeometry(&d) != before, 3000);
    QTest::qWait(200);
    const QRect after = xGeometry(&d);
    const QRect expected = resizedGeometry(before, Qt::Edges(edges), delta, d.minimumSize(), d.maximumSize());
    // The window manager may round by a pixel; the far edges never move.
    QString seen;
    QDebug(&seen) << before << "->" << after << "expected" << expected;
    QVERIFY2(qAbs(after.width() - expected.width()) <= 2 && qAbs(after.height() - expected.height()) <= 2,
             qPrintable(seen));
    if (!(edges & Qt::LeftEdge))
        QVERIFY(qAbs(after.left() - before.left()) <= 2);
    if (!(edges & Qt::RightEdge))
        QVERIFY(qAbs(after.right() - before.right()) <= 2);
    if (!(edges & Qt::TopEdge))
        QVERIFY(qAbs(after.top() - before.top()) <= 2);
    if (!(edges & Qt::BottomEdge))
        QVERIFY(qAbs(after.bottom() - before.bottom()) <= 2);
}

void TestDialogWindow::pointerOverAnEdgeShowsItsCursor()
{
    Probe d;
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    QTest::qWait(300);
    const QRect g = xGeometry(&d);
    const struct
    {
        Qt::Edges edges;
        Qt::CursorShape shape;
    } cases[] = {{Qt::LeftEdge, Qt::SizeHorCursor},
                 {Qt::BottomEdge, Qt::SizeVerCursor},
                 {Qt::TopEdge | Qt::LeftEdge, Qt::SizeFDiagCursor},
                 {Qt::TopEdge | Qt::RightEdge, Qt::SizeBDiagCursor}};
    for (const auto& c : cases) {
        const QPoint p = grabPoint(g, c.edges, d.shadowMargin() / 2);
        QCOMPARE(xdotool({"mousemove", QString::number(p.x()), QString::number(p.y())}), 0);
        QTRY_COMPARE_WITH_TIMEOUT(d.cursor().shape(), c.shape, 3000);
    }
    // Inside, the controls' own pointers again.
    QCOMPARE(xdotool({"mousemove", QString::number(g.center().x()), QString::number(g.center().y())}), 0);
    QTRY_COMPARE_WITH_TIMEOUT(d.cursor().shape(), Qt::ArrowCursor, 3000);
}

void TestDialogWindow::minimumSizeKeepsEveryControlUsable()
{
    Probe d;
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    QTest::qWait(200);
    const QRect g = xGeometry(&d);
    // Drag the bottom-right corner far past the minimum.
    const QPoint from = grabPoint(g, Qt::BottomEdge | Qt::RightEdge, d.shadowMargin() / 2);
    drag(from, QPoint(g.left() + 50, g.top() + 50));
    QTRY_COMPARE_WITH_TIMEOUT(d.size(), d.minimumSize(), 3000);
    QVERIFY(d.minimumWidth() < 900 && d.minimumHeight() < 560);
    for (const char* name : {"ok_button", "cancel_button", "close_button", "maximize_button", "fileName_lineEdit",
                             "fileType_comboBox", "address_bar", "backwards_button", "btnRefresh",
                             "createFile_button", "figure_button", "my_document_button", "other_path_button"}) {
        auto* w = d.findChild<QWidget*>(QLatin1String(name));
        QVERIFY2(w, name);
        const QRect inDialog(w->mapTo(&d, QPoint(0, 0)), w->size());
        QVERIFY2(d.bodyRect().contains(inDialog), name);
        // Fixed-size controls keep their size, the others what they need.
        const QSize need = w->minimumSize() == w->maximumSize() ? w->minimumSize() : w->minimumSizeHint();
        QVERIFY2(w->width() >= need.width() && w->height() >= need.height(), name);
    }
    auto* table = d.findChild<QTableView*>(QStringLiteral("FileDialog"));
    QVERIFY(table->viewport()->height() >= 3 * table->verticalHeader()->defaultSectionSize());
}

void TestDialogWindow::maximisedFillsTheAreaAndNamesTakeTheWidth()
{
    Probe d;
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    QTest::qWait(200);
    auto* header = d.findChild<QTableView*>(QStringLiteral("FileDialog"))->horizontalHeader();
    const int nameBefore = header->sectionSize(0);
    const int sizeBefore = header->sectionSize(1), typeBefore = header->sectionSize(2), dateBefore = header->sectionSize(3);
    const QPoint button =
        xGeometry(&d).topLeft() + d.findChild<QWidget*>(QStringLiteral("maximize_button"))->mapTo(&d, QPoint(8, 8));
    QCOMPARE(xdotool({"mousemove", QString::number(button.x()), QString::number(button.y())}), 0);
    QCOMPARE(xdotool({"click", "1"}), 0);
    QTRY_VERIFY_WITH_TIMEOUT(d.isMaximized(), 3000);
    QTRY_COMPARE_WITH_TIMEOUT(d.geometry(), d.screen()->availableGeometry(), 3000);
    QTRY_VERIFY_WITH_TIMEOUT(header->sectionSize(0) > nameBefore + 400, 3000);
    QCOMPARE(header->sectionSize(1), sizeBefore);
    QCOMPARE(header->sectionSize(2), typeBefore);
    QCOMPARE(header->sectionSize(3), dateBefore);
    // The columns fill the table, no more.
    int total = 0;
    for (int c = 0; c < header->count(); ++c)
        total += header->isSectionHidden(c) ? 0 : header->sectionSize(c);
    QCOMPARE(total, header->viewport()->width());
}

namespace {
// A folder segment whose drop-down has rows, the one farthest right.
AddressItem* openableSegment(QWidget* dialog)
{
    AddressItem* found = nullptr;
    for (AddressItem* item : dialog->findChildren<AddressItem*>()) {
        if (item->isVisible() && !item->isRootItem()
            && !QDir(item->segmentPath()).isEmpty(QDir::Dirs | QDir::NoDotAndDotDot)
            && (!found || item->mapTo(dialog, QPoint()).x() > found->mapTo(dialog, QPoint()).x()))
            found = item;
    }
    return found;
}

// Clicks the segment's arrow through the X server.
void clickArrow(QWidget* dialog, const QRect& xDialog, AddressItem* item)
{
    const QPoint arrow = xDialog.topLeft() + item->mapTo(dialog, QPoint(item->width() - 6, item->height() / 2));
    QCOMPARE(xdotool({"mousemove", QString::number(arrow.x()), QString::number(arrow.y())}), 0);
    QCOMPARE(xdotool({"click", "1"}), 0);
}
} // namespace

void TestDialogWindow::popupsOpenUnderTheirWidgets()
{
    QDir(m_app->path()).mkpath(QStringLiteral("popupdir/inner"));
    Probe d;
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    d.updateCurrentPath(QDir(m_app->path()).filePath(QStringLiteral("popupdir")), zFileDialog::tracing);
    QTest::qWait(800);
    const QRect xDialog = xGeometry(&d);
    // What the toolkit believes is where the X server has the window.
    QCOMPARE(d.geometry(), xDialog);

    AddressItem* item = openableSegment(&d);
    QVERIFY(item);
    clickArrow(&d, xDialog, item);
    QTRY_VERIFY_WITH_TIMEOUT(item->hasPopupMenu() && item->popupMenu()->isVisible(), 3000);
    QTest::qWait(200);
    const QRect xSegment(xDialog.topLeft() + item->mapTo(&d, QPoint()), item->size());
    // A pop-up has no frame: the place the toolkit gives it is where the X
    // server puts it, so it is compared with the X server's dialog.
    const QRect xMenu = item->popupMenu()->geometry();
    QVERIFY2(xMenu.top() >= xSegment.center().y() && xMenu.top() <= xSegment.bottom() + 8,
             qPrintable(QStringLiteral("menu at %1,%2, segment %3,%4 %5x%6").arg(xMenu.x()).arg(xMenu.y())
                            .arg(xSegment.x()).arg(xSegment.y()).arg(xSegment.width()).arg(xSegment.height())));
    QVERIFY2(xMenu.left() >= xSegment.left() - 40 && xMenu.left() <= xSegment.right() + 8,
             qPrintable(QStringLiteral("menu at %1,%2, segment %3,%4").arg(xMenu.x()).arg(xMenu.y())
                            .arg(xSegment.x()).arg(xSegment.y())));
    item->closeMenu();
    item->setChecked(false);

    // The typed path's completions open just under the bar.
    auto* bar = d.findChild<AddressBar*>();
    QVERIFY(bar);
    auto* completer = bar->findChild<QCompleter*>();
    QVERIFY(completer);
    QCOMPARE(xdotool({"key", "ctrl+l"}), 0);
    QTRY_VERIFY_WITH_TIMEOUT(QApplication::focusWidget() == bar, 3000);
    const QString typed = QDir(m_app->path()).filePath(QStringLiteral("popupd"));
    QCOMPARE(xdotool({"key", "ctrl+a"}), 0);
    QCOMPARE(xdotool({"type", "--delay", "20", typed}), 0);
    QTRY_VERIFY_WITH_TIMEOUT(completer->popup()->isVisible(), 5000);
    QTest::qWait(200);
    const QRect xBar(xDialog.topLeft() + bar->mapTo(&d, QPoint()), bar->size());
    const QRect xList = completer->popup()->geometry();
    QVERIFY2(qAbs(xList.top() - (xBar.bottom() + 1)) <= 8 && qAbs(xList.left() - xBar.left()) <= 8,
             qPrintable(QStringLiteral("completions at %1,%2, bar %3,%4 %5x%6").arg(xList.x()).arg(xList.y())
                            .arg(xBar.x()).arg(xBar.y()).arg(xBar.width()).arg(xBar.height())));
    QCOMPARE(xdotool({"key", "Escape"}), 0);
}

void TestDialogWindow::escapeClosesOnlyTheSegmentDropDown()
{
    QDir(m_app->path()).mkpath(QStringLiteral("popupdir/inner"));
    Probe d;
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    d.updateCurrentPath(QDir(m_app->path()).filePath(QStringLiteral("popupdir")), zFileDialog::tracing);
    QTest::qWait(500);
    AddressItem* item = openableSegment(&d);
    QVERIFY(item);
    clickArrow(&d, xGeometry(&d), item);
    QTRY_VERIFY_WITH_TIMEOUT(item->hasPopupMenu() && item->popupMenu()->isVisible(), 3000);
    // The arrows move the highlight in the open list, as in any menu.
    QListView* list = item->listWidget()->view();
    QWidget* focus = QApplication::focusWidget();
    QVERIFY(focus);
    QTest::keyClick(focus, Qt::Key_Down);
    QCOMPARE(list->currentIndex().row(), 0);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    QTRY_VERIFY_WITH_TIMEOUT(!item->popupMenu()->isVisible(), 2000);
    QTest::qWait(200);
    QVERIFY(d.isVisible());
    QCOMPARE(d.result(), 0);
    // With the drop-down closed, Escape is the dialog's again.
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    QTRY_VERIFY_WITH_TIMEOUT(!d.isVisible(), 2000);
}

int main(int argc, char** argv)
{
    if (isChildProcess(argc, argv))
        return printOpeningGeometry(argc, argv);
    return xserversupport::execOnOwnXServer<TestDialogWindow>(
        argc, argv, QStringLiteral("%1x%2x24").arg(kScreenWidth).arg(kScreenHeight));
}

#include "tst_dialogwindow.moc"
