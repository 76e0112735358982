// The host stand-ins: their default behaviour as the dialog and the demo host
// see it, and the test seams the other tests script them with.
#include "CpfMain.h"
#include "FirstPageService.h"
#include "InterfaceAdaptation.h"
#include "MQProgressBar.h"
#include "ObjectHelper.h"
#include "QXManager.h"
#include "Users.h"
#include "mqcoreTesting.h"
#include "osgiTesting.h"
#include "zBaseButton.h"
#include "zBaseControlTesting.h"
#include "zBaseLineEdit.h"
#include "zBaseModal.h"
#include "zBaseTab.h"
#include "zBaseTheme.h"
#include "zBaseWidget.h"
#include "zControlTesting.h"
#include "zCpfTesting.h"
#include "zMessageBox.h"
#include "WindowFrame.h"

#include <QApplication>
#include <QFile>
#include <QJsonObject>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QProgressBar>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QVBoxLayout>
#include <QtTest>

namespace {

QWidget* visibleTopLevel(const QString& objectName)
{
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w->objectName() == objectName && w->isVisible())
            return w;
    }
    return nullptr;
}

// Answers the next real message box from inside its event loop. If no box
// shows up within five seconds the modal widget is closed so the test fails
// instead of hanging.
struct BoxAnswerer
{
    QString seenText;
    QStringList seenButtons;
    QRect seenGeometry;
    bool seenModal = false;
    bool found = false;

    void answerWith(const QString& buttonName)
    {
        auto* timer = new QTimer;
        auto* elapsed = new QElapsedTimer;
        elapsed->start();
        timer->setInterval(20);
        QObject::connect(timer, &QTimer::timeout, [this, timer, elapsed, buttonName] {
            QWidget* box = visibleTopLevel(QStringLiteral("zMessageBox"));
            if (!box) {
                if (elapsed->elapsed() > 5000) {
                    if (QWidget* modal = QApplication::activeModalWidget())
                        modal->close();
                    timer->deleteLater();
                    delete elapsed;
                }
                return;
            }
            found = true;
            if (auto* label = box->findChild<QLabel*>(QStringLiteral("zMessageBoxText")))
                seenText = label->text();
            for (const char* name : {"zMessageBoxYes", "zMessageBoxNo"}) {
                if (auto* b = box->findChild<QAbstractButton*>(QLatin1String(name)))
                    seenButtons << b->text();
            }
            seenGeometry = box->geometry();
            seenModal = box->isModal();
            if (buttonName == QLatin1String("Escape"))
                QTest::keyClick(box, Qt::Key_Escape);
            else if (auto* b = box->findChild<QAbstractButton*>(buttonName))
                b->click();
            else
                box->close();
            timer->deleteLater();
            delete elapsed;
        });
        timer->start();
    }
};

void writeSvg(const QString& path, const char* colour)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(QByteArray("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"16\" height=\"16\">"
                       "<rect x=\"2\" y=\"2\" width=\"12\" height=\"12\" fill=\"")
            + colour + "\"/></svg>");
}

QMouseEvent mouse(QEvent::Type type, QWidget* w, const QPoint& local, Qt::MouseButtons buttons)
{
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    return QMouseEvent(type, local, w->mapToGlobal(local), button, buttons, Qt::NoModifier);
}

class CountingService : public osgi::FirstPageService
{
public:
    int logins = 0;
    void Login(const QJsonObject&) override { ++logins; }
};

} // namespace

class StyledPanel : public zBaseWidget
{
    Q_OBJECT
public:
    using zBaseWidget::zBaseWidget;
};

class TestHostStandIns : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void scaling_data();
    void scaling();
    void scalingFollowsScreen();
    void themeColours();

    void buttonHoverAndCheckedIcons();
    void buttonPressedIcon();
    void buttonEmptyHoverKeepsNormal();
    void buttonPlainIconForgetsPaths();
    void buttonTypesPaint();
    void userSheetReplacesTheThemeWhateverTheType();
    void widgetPaintsStyleSheet();
    void tabClickSelectsAndEmits();
    void lineEditFocusInSignal();

    void roundedDialogCloseButton();
    void roundedDialogBodySize();
    void roundedDialogKeepsCornersOverChildren();
    void windowFrameFromTilesMatchesTheStrokes_data();
    void windowFrameFromTilesMatchesTheStrokes();
    void roundedDialogDragByTitleWidget();
    void roundedDialogDragByTopStrip();

    void messageBoxScripted();
    void messageBoxScriptedDefaultsToZero();
    void messageBoxRealNo();
    void messageBoxRealYesAndEscape();
    void messageBoxCentresOnParent();

    void progressScripted();
    void progressRealWindowClosesPastMaximum();

    void usersAndLogin();
    void rights();
    void edition();
    void osgiService();
    void osgiOpenProjects();
};

void TestHostStandIns::init()
{
    zBaseControlTesting::reset();
    zBaseControlTesting::setScaleFactor(1.0);
    zControlTesting::reset();
    mqcoreTesting::reset();
    zCpfTesting::reset();
    osgiTesting::reset();
}

void TestHostStandIns::cleanup()
{
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w->objectName() == QLatin1String("zMessageBox")
            || w->objectName() == QLatin1String("MQProgressBar"))
            delete w;
    }
    init();
}

void TestHostStandIns::scaling_data()
{
    QTest::addColumn<double>("factor");
    QTest::addColumn<double>("design");
    QTest::addColumn<int>("expected");
    QTest::newRow("1.0 width") << 1.0 << 928.0 << 928;
    QTest::newRow("1.0 half rounds up") << 1.0 << 10.5 << 11;
    QTest::newRow("1.0 below half") << 1.0 << 10.49 << 10;
    QTest::newRow("2.0 height") << 2.0 << 597.0 << 1194;
    QTest::newRow("2.0 quarter to half") << 2.0 << 5.25 << 11;
    QTest::newRow("2.0 tiny half") << 2.0 << 0.25 << 1;
    QTest::newRow("1.25 to a half") << 1.25 << 2.0 << 3;
    QTest::newRow("1.25 height") << 1.25 << 597.0 << 746;
    QTest::newRow("1.5 button") << 1.5 << 36.0 << 54;
}

void TestHostStandIns::scaling()
{
    QFETCH(double, factor);
    QFETCH(double, design);
    QFETCH(int, expected);
    zBaseControlTesting::setScaleFactor(factor);
    QCOMPARE(InterfaceAdaptation::getInstance()->getResolutionRatioH(design), expected);
    QCOMPARE(InterfaceAdaptation::getInstance(), InterfaceAdaptation::getInstance());
}

void TestHostStandIns::scalingFollowsScreen()
{
    zBaseControlTesting::setScaleFactor(0);
    QScreen* screen = QGuiApplication::primaryScreen();
    QVERIFY(screen);
    const double factor = screen->logicalDotsPerInch() / 96.0;
    QCOMPARE(InterfaceAdaptation::getInstance()->scaleFactor(), factor);
    QCOMPARE(InterfaceAdaptation::getInstance()->getResolutionRatioH(928), qRound(928 * factor));
}

void TestHostStandIns::themeColours()
{
    QCOMPARE(zBaseTheme::color("border-color"), QStringLiteral("#E3E6EB"));
    QCOMPARE(zBaseTheme::color("item-font-color"), QStringLiteral("#1F2329"));
    QCOMPARE(zBaseTheme::color("item-select-font-color"), QStringLiteral("#1F6FEB"));
    QCOMPARE(zBaseTheme::color("hover-color"), QStringLiteral("#EEF3FD"));
    QCOMPARE(zBaseTheme::color("font-color"), QStringLiteral("#1F2329"));
    QCOMPARE(zBaseTheme::color("disabled-font-color"), QStringLiteral("#B0B6BF"));
    QVERIFY(QColor(zBaseTheme::color("select-color")).isValid());
    QCOMPARE(zBaseTheme::color("no-such-key"), QString());

    zBaseControlTesting::setThemeColor("border-color", "#010203");
    QCOMPARE(zBaseTheme::color("border-color"), QStringLiteral("#010203"));
    zBaseControlTesting::setThemeColor("border-color", QString());
    QCOMPARE(zBaseTheme::color("border-color"), QStringLiteral("#E3E6EB"));
    zBaseControlTesting::setThemeColor("font-color", "#000000");
    zBaseControlTesting::reset();
    QCOMPARE(zBaseTheme::color("font-color"), QStringLiteral("#1F2329"));
}

void TestHostStandIns::buttonHoverAndCheckedIcons()
{
    QTemporaryDir dir;
    const QString normal = dir.filePath("normal.svg");
    const QString hover = dir.filePath("hover.svg");
    writeSvg(normal, "#5B6472");
    writeSvg(hover, "#1F6FEB");

    zBaseButton button(QStringLiteral("桌面"));
    button.setCheckable(true);
    button.setIcon(normal, hover);
    QCOMPARE(button.normalIcon(), normal);
    QCOMPARE(button.hoverIcon(), hover);
    QCOMPARE(button.pressedIcon(), QString());
    QCOMPARE(button.currentIconPath(), normal);
    QVERIFY(!button.icon().isNull());
    const qint64 normalKey = button.icon().cacheKey();

    QEvent enter(QEvent::Enter);
    QApplication::sendEvent(&button, &enter);
    QCOMPARE(button.currentIconPath(), hover);
    QVERIFY(button.icon().cacheKey() != normalKey);

    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(&button, &leave);
    QCOMPARE(button.currentIconPath(), normal);
    QCOMPARE(button.icon().cacheKey(), normalKey);

    button.setChecked(true);
    QCOMPARE(button.currentIconPath(), hover);
    QApplication::sendEvent(&button, &enter);
    QApplication::sendEvent(&button, &leave);
    QCOMPARE(button.currentIconPath(), hover);
    button.setChecked(false);
    QCOMPARE(button.currentIconPath(), normal);

    QApplication::sendEvent(&button, &enter);
    button.setEnabled(false);
    QCOMPARE(button.currentIconPath(), normal);
}

void TestHostStandIns::buttonPressedIcon()
{
    QTemporaryDir dir;
    const QString normal = dir.filePath("n.svg");
    const QString hover = dir.filePath("h.svg");
    const QString pressed = dir.filePath("p.svg");
    writeSvg(normal, "#5B6472");
    writeSvg(hover, "#1F6FEB");
    writeSvg(pressed, "#1A5FCC");

    zBaseButton button;
    button.resize(40, 30);
    button.setIcon(normal, hover, pressed);
    QCOMPARE(button.pressedIcon(), pressed);
    QTest::mousePress(&button, Qt::LeftButton);
    QCOMPARE(button.currentIconPath(), pressed);
    QTest::mouseRelease(&button, Qt::LeftButton);
    QVERIFY(button.currentIconPath() != pressed);
}

void TestHostStandIns::buttonEmptyHoverKeepsNormal()
{
    QTemporaryDir dir;
    const QString normal = dir.filePath("only.svg");
    writeSvg(normal, "#5B6472");
    zBaseButton button;
    button.setCheckable(true);
    button.setIcon(normal);
    QEvent enter(QEvent::Enter);
    QApplication::sendEvent(&button, &enter);
    QCOMPARE(button.currentIconPath(), normal);
    button.setChecked(true);
    QCOMPARE(button.currentIconPath(), normal);
    QVERIFY(!button.icon().isNull());
}

void TestHostStandIns::buttonPlainIconForgetsPaths()
{
    QTemporaryDir dir;
    const QString normal = dir.filePath("a.svg");
    const QString hover = dir.filePath("b.svg");
    writeSvg(normal, "#5B6472");
    writeSvg(hover, "#1F6FEB");
    zBaseButton button;
    button.setIcon(normal, hover);
    QPixmap pm(8, 8);
    pm.fill(Qt::red);
    const QIcon plain(pm);
    button.setIcon(plain);
    QCOMPARE(button.normalIcon(), QString());
    QCOMPARE(button.icon().cacheKey(), plain.cacheKey());
    QEvent enter(QEvent::Enter);
    QApplication::sendEvent(&button, &enter);
    QCOMPARE(button.icon().cacheKey(), plain.cacheKey());
}

void TestHostStandIns::buttonTypesPaint()
{
    QWidget host;
    host.setStyleSheet(QStringLiteral("background:#FFFFFF;"));
    host.resize(300, 200);
    auto* place = new zBaseButton(QStringLiteral("桌面"), &host);
    QCOMPARE(place->controlType(), 0);
    place->setControlType(zBaseButton::PlaceButton);
    QCOMPARE(place->controlType(), 56);
    place->setCheckable(true);
    place->setGeometry(0, 0, 150, 32);
    auto* ok = new zBaseButton(QStringLiteral("确定"), &host);
    ok->setControlType(zBaseButton::PrimaryButton);
    ok->setGeometry(0, 50, 80, 30);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));

    // Sampled from the whole window: a flat button only tints what is under it.
    const auto pixel = [&host](QWidget* w, int x, int y) {
        return host.grab().toImage().pixelColor(w->geometry().topLeft() + QPoint(x, y));
    };
    QCOMPARE(pixel(place, 4, 16), QColor("#FFFFFF"));
    place->setChecked(true);
    QCOMPARE(pixel(place, 4, 16), QColor("#E8F0FE"));
    QCOMPARE(pixel(ok, 4, 15), QColor("#1F6FEB"));

    place->setControlType(zBaseButton::CrumbButton);
    QCOMPARE(place->controlType(), 63);
    QCOMPARE(pixel(place, 4, 16), QColor(zBaseTheme::color("pressed-color")));
}

void TestHostStandIns::userSheetReplacesTheThemeWhateverTheType()
{
    QWidget host;
    host.setStyleSheet(QStringLiteral("background:#FFFFFF;"));
    host.resize(300, 120);
    // The theme's sheet is the control's from the start.
    auto* themed = new zBaseButton(QStringLiteral("确定"), &host);
    QVERIFY(themed->styleSheet().contains(QStringLiteral("QPushButton")));
    themed->setControlType(zBaseButton::PrimaryButton);
    themed->setGeometry(0, 0, 80, 30);
    // A sheet its user sets replaces the theme's, before the control shows
    // and after a change of type alike.
    const QString own = QStringLiteral("QPushButton{background:#123456;border:none;}");
    auto* mine = new zBaseButton(QStringLiteral("取消"), &host);
    mine->setStyleSheet(own);
    mine->setControlType(zBaseButton::PrimaryButton);
    mine->setGeometry(0, 50, 80, 30);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));
    const auto pixel = [&host](QWidget* w) {
        return host.grab().toImage().pixelColor(w->geometry().topLeft() + QPoint(4, 15));
    };
    QCOMPARE(pixel(themed), QColor("#1F6FEB"));
    QCOMPARE(mine->styleSheet(), own);
    QCOMPARE(pixel(mine), QColor("#123456"));
    mine->setControlType(zBaseButton::SecondaryButton);
    QCOMPARE(mine->styleSheet(), own);
    QCOMPARE(pixel(mine), QColor("#123456"));
    // The theme's own sheet follows the type.
    themed->setControlType(zBaseButton::SecondaryButton);
    QCOMPARE(pixel(themed), QColor(zBaseTheme::color("background-color")));
}

void TestHostStandIns::widgetPaintsStyleSheet()
{
    // A child, because a window fills its background whatever the subclass does.
    QWidget window;
    window.setStyleSheet(QStringLiteral("QWidget{background:#FFFFFF;}"
                                        "StyledPanel#panel{background:#123456;}"));
    window.resize(60, 60);
    auto* panel = new StyledPanel(&window);
    panel->setObjectName(QStringLiteral("panel"));
    panel->setGeometry(10, 10, 40, 40);
    panel->setControlType(7);
    QCOMPARE(panel->controlType(), 7);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCOMPARE(window.grab().toImage().pixelColor(30, 30), QColor("#123456"));
}

void TestHostStandIns::tabClickSelectsAndEmits()
{
    zBaseTab tab(QStringLiteral("最近工程"));
    tab.resize(100, 32);
    QCOMPARE(tab.tabState(), 1);
    QSignalSpy spy(&tab, &zBaseTab::sigTabClick);
    QSignalSpy toggled(&tab, &QAbstractButton::toggled);
    QTest::mouseClick(&tab, Qt::LeftButton);
    QCOMPARE(tab.tabState(), 4);
    QVERIFY(tab.isChecked());
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<zBaseTab*>(), &tab);

    // A second click keeps it selected instead of toggling it off.
    QTest::mouseClick(&tab, Qt::LeftButton);
    QCOMPARE(tab.tabState(), 4);
    QVERIFY(tab.isChecked());
    QCOMPARE(spy.count(), 2);
    QCOMPARE(toggled.count(), 1);

    tab.setTabState(1);
    QVERIFY(!tab.isChecked());
    QCOMPARE(spy.count(), 2);
    tab.tabClick();
    QCOMPARE(tab.tabState(), 4);
    QCOMPARE(spy.count(), 3);
}

void TestHostStandIns::lineEditFocusInSignal()
{
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    auto* other = new QLineEdit(&window);
    auto* edit = new zBaseLineEdit(&window);
    layout->addWidget(other);
    layout->addWidget(edit);
    window.show();
    QApplication::setActiveWindow(&window);
    QVERIFY(QTest::qWaitForWindowActive(&window));
    other->setFocus();
    QTRY_VERIFY(other->hasFocus());

    QSignalSpy spy(edit, &zBaseLineEdit::signalFocusIn);
    bool focusedWhenSignalled = false;
    connect(edit, &zBaseLineEdit::signalFocusIn, this,
            [&] { focusedWhenSignalled = edit->hasFocus(); });
    edit->setFocus(Qt::MouseFocusReason);
    QTRY_COMPARE(spy.count(), 1);
    QVERIFY(focusedWhenSignalled);
    other->setFocus();
    QTRY_VERIFY(other->hasFocus());
    QCOMPARE(spy.count(), 1);
}

void TestHostStandIns::roundedDialogCloseButton()
{
    zBaseModal dialog;
    QVERIFY(dialog.isModal());
    QVERIFY(dialog.windowFlags() & Qt::FramelessWindowHint);
    QVERIFY(dialog.testAttribute(Qt::WA_TranslucentBackground));
    zBaseButton* close = dialog.GetBtnClose();
    QVERIFY(close);
    QCOMPARE(close->parentWidget(), &dialog);
    QVERIFY(close->isHidden());
    QCOMPARE(close->size(), QSize(36, 36));
    QVERIFY(!close->icon().isNull());

    zBaseControlTesting::setScaleFactor(2.0);
    zBaseModal scaled;
    QCOMPARE(scaled.GetBtnClose()->size(), QSize(72, 72));

    QSignalSpy rejected(&dialog, &QDialog::rejected);
    dialog.show();
    close->click();
    QCOMPARE(rejected.count(), 1);
    QVERIFY(!dialog.isVisible());
}

void TestHostStandIns::roundedDialogBodySize()
{
    zBaseModal dialog;
    dialog.resize(400, 300);
    QCOMPARE(dialog.bodyRect().size(), QSize(400, 300));
    QCOMPARE(dialog.contentsRect(), dialog.bodyRect());
}

void TestHostStandIns::roundedDialogKeepsCornersOverChildren()
{
    zBaseModal dialog;
    dialog.resize(200, 100);
    auto* layout = new QVBoxLayout(&dialog);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* fill = new QWidget;
    fill->setStyleSheet(QStringLiteral("background:#123456;"));
    layout->addWidget(fill);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    const QImage image = dialog.grab().toImage();
    const QRect body = dialog.bodyRect();
    QCOMPARE(fill->geometry(), body);
    // A square child must not fill the rounded corner (only the faint shadow
    // that wraps the corner shows there), the centre is the child's and the
    // shadow lies just outside the body.
    QVERIFY(image.pixelColor(body.topLeft()).alpha() < 64);
    QVERIFY(image.pixelColor(body.bottomRight()).alpha() < 64);
    QCOMPARE(image.pixelColor(body.center()), QColor("#123456"));
    const int shadow = image.pixelColor(body.left() - 2, body.center().y()).alpha();
    QVERIFY2(shadow > 0 && shadow < 64, qPrintable(QString::number(shadow)));
}

void TestHostStandIns::windowFrameFromTilesMatchesTheStrokes_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("margin");
    QTest::addColumn<qreal>("radius");
    QTest::addColumn<qreal>("ratio");
    QTest::newRow("dialog") << QSize(1020, 700) << 10 << 8.0 << 1.0;
    QTest::newRow("odd sizes") << QSize(333, 257) << 10 << 8.0 << 1.0;
    QTest::newRow("scale 2") << QSize(420, 300) << 10 << 8.0 << 2.0;
    QTest::newRow("scale 1.5") << QSize(421, 301) << 10 << 8.0 << 1.5;
    QTest::newRow("maximised") << QSize(800, 600) << 0 << 0.0 << 1.0;
    QTest::newRow("smallest with tiles") << QSize(43, 43) << 10 << 8.0 << 1.0;
    QTest::newRow("too small for tiles") << QSize(30, 60) << 10 << 8.0 << 1.0;
}

void TestHostStandIns::windowFrameFromTilesMatchesTheStrokes()
{
    // The frame is drawn from small images made once per shape; over any
    // content it must give what stroking the whole frame gives.
    QFETCH(QSize, size);
    QFETCH(int, margin);
    QFETCH(qreal, radius);
    QFETCH(qreal, ratio);
    zControlFrame::Shape shape;
    shape.whole = QRect(QPoint(0, 0), size);
    shape.body = shape.whole.marginsRemoved(QMargins(margin, margin, margin, margin));
    shape.radius = radius;
    shape.margin = margin;
    shape.border = QColor("#D9DDE3");
    const auto content = [&] {
        QImage image(QSize(qCeil(size.width() * ratio), qCeil(size.height() * ratio)),
                     QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(ratio);
        image.fill(Qt::transparent);
        QPainter p(&image);
        // Children painted square over the body, in a pattern that shows
        // any piece put in the wrong place.
        QLinearGradient g(0, 0, size.width(), size.height());
        g.setColorAt(0, QColor(200, 40, 40));
        g.setColorAt(1, QColor(40, 40, 200));
        p.fillRect(QRect(QPoint(0, 0), size), g);
        return image;
    };
    QImage direct = content();
    {
        QPainter p(&direct);
        zControlFrame::paintDirect(p, shape);
    }
    QImage tiled = content();
    zControlFrame::Painter painter;
    for (int pass = 0; pass < 2; ++pass) { // the second paint takes the kept images
        tiled = content();
        QPainter p(&tiled);
        painter.paint(p, shape, ratio);
    }
    QCOMPARE(tiled.size(), direct.size());
    int worst = 0;
    QPoint where;
    for (int y = 0; y < direct.height(); ++y) {
        const QRgb* a = reinterpret_cast<const QRgb*>(direct.constScanLine(y));
        const QRgb* b = reinterpret_cast<const QRgb*>(tiled.constScanLine(y));
        for (int x = 0; x < direct.width(); ++x) {
            const int d = qMax(qMax(qAbs(qRed(a[x]) - qRed(b[x])), qAbs(qGreen(a[x]) - qGreen(b[x]))),
                               qMax(qAbs(qBlue(a[x]) - qBlue(b[x])), qAbs(qAlpha(a[x]) - qAlpha(b[x]))));
            if (d > worst) {
                worst = d;
                where = QPoint(x, y);
            }
        }
    }
    QVERIFY2(worst <= 3, qPrintable(QStringLiteral("differs by %1 at %2,%3").arg(worst).arg(where.x()).arg(where.y())));
    // The frame is there at all: outside the body is cleared to the shadow,
    // inside it the content shows.
    const QPoint mid(qFloor(size.width() * ratio / 2), qFloor(size.height() * ratio / 2));
    QCOMPARE(qAlpha(tiled.pixel(mid)), 255);
    if (margin > 0)
        QVERIFY(qAlpha(tiled.pixel(0, 0)) < 20);
}

void TestHostStandIns::roundedDialogDragByTitleWidget()
{
    zBaseModal dialog;
    dialog.resize(300, 200);
    auto* title = new QWidget(&dialog);
    title->setGeometry(dialog.bodyRect().left(), dialog.bodyRect().top() + 100, 300, 36);
    title->installEventFilter(&dialog);
    dialog.move(100, 100);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    const QPoint start = dialog.pos();

    QMouseEvent press = mouse(QEvent::MouseButtonPress, title, QPoint(10, 10), Qt::LeftButton);
    QVERIFY(!dialog.eventFilter(title, &press));
    QMouseEvent move = mouse(QEvent::MouseMove, title, QPoint(50, 40), Qt::LeftButton);
    QVERIFY(dialog.eventFilter(title, &move));
    QCOMPARE(dialog.pos(), start + QPoint(40, 30));
    QMouseEvent release = mouse(QEvent::MouseButtonRelease, title, QPoint(50, 40), Qt::NoButton);
    QVERIFY(!dialog.eventFilter(title, &release));

    // Once released, moving the mouse no longer drags.
    const QPoint afterDrag = dialog.pos();
    QMouseEvent hover = mouse(QEvent::MouseMove, title, QPoint(90, 20), Qt::NoButton);
    QVERIFY(!dialog.eventFilter(title, &hover));
    QCOMPARE(dialog.pos(), afterDrag);
    QEvent other(QEvent::Enter);
    QVERIFY(!dialog.eventFilter(title, &other));
}

void TestHostStandIns::roundedDialogDragByTopStrip()
{
    zBaseModal dialog;
    dialog.resize(300, 200);
    dialog.move(100, 100);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    const QPoint top = dialog.bodyRect().topLeft();

    // Below the 40-pixel strip: no drag.
    const QPoint start = dialog.pos();
    QMouseEvent lowPress = mouse(QEvent::MouseButtonPress, &dialog, top + QPoint(50, 80), Qt::LeftButton);
    QApplication::sendEvent(&dialog, &lowPress);
    QMouseEvent lowMove = mouse(QEvent::MouseMove, &dialog, top + QPoint(90, 120), Qt::LeftButton);
    QApplication::sendEvent(&dialog, &lowMove);
    QCOMPARE(dialog.pos(), start);
    QMouseEvent lowRelease = mouse(QEvent::MouseButtonRelease, &dialog, top + QPoint(90, 120), Qt::NoButton);
    QApplication::sendEvent(&dialog, &lowRelease);

    // Inside it: the window follows the mouse.
    QMouseEvent press = mouse(QEvent::MouseButtonPress, &dialog, top + QPoint(50, 20), Qt::LeftButton);
    QApplication::sendEvent(&dialog, &press);
    const QPoint globalPress = press.globalPos();
    QMouseEvent move(QEvent::MouseMove, top + QPoint(50, 20), globalPress + QPoint(-25, 60),
                     Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&dialog, &move);
    QCOMPARE(dialog.pos(), start + QPoint(-25, 60));
}

void TestHostStandIns::messageBoxScripted()
{
    QWidget parent;
    zControlTesting::setMessageBoxAnswers({1, 0, 1});
    QCOMPARE(showQuestion(QStringLiteral("是否覆盖？"), &parent), 1);
    QCOMPARE(showWarning(QStringLiteral("确定删除？"), nullptr, QStringLiteral("删除")), 0);
    QCOMPARE(showInforByOneBtn(QStringLiteral("出错了"), &parent, 2), 1);
    QVERIFY(!visibleTopLevel(QStringLiteral("zMessageBox")));

    const QList<zControlTesting::MessageBoxCall> calls = zControlTesting::messageBoxCalls();
    QCOMPARE(calls.size(), 3);
    QCOMPARE(calls[0].kind, QStringLiteral("question"));
    QCOMPARE(calls[0].text, QStringLiteral("是否覆盖？"));
    QCOMPARE(calls[0].title, QStringLiteral("提示"));
    QCOMPARE(calls[0].parent, &parent);
    QCOMPARE(calls[0].buttons, QStringList({QStringLiteral("是"), QStringLiteral("否")}));
    QCOMPARE(calls[0].type, 3);
    QCOMPARE(calls[1].kind, QStringLiteral("warning"));
    QCOMPARE(calls[1].title, QStringLiteral("删除"));
    QCOMPARE(calls[1].parent, static_cast<QWidget*>(nullptr));
    QCOMPARE(calls[1].buttons, QStringList({QStringLiteral("确定"), QStringLiteral("取消")}));
    QCOMPARE(calls[1].type, 1);
    QCOMPARE(calls[2].kind, QStringLiteral("inforByOneBtn"));
    QCOMPARE(calls[2].title, QStringLiteral("提示"));
    QCOMPARE(calls[2].buttons, QStringList({QStringLiteral("确定")}));
    QCOMPARE(calls[2].type, 2);

    zControlTesting::clearMessageBoxCalls();
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
}

void TestHostStandIns::messageBoxScriptedDefaultsToZero()
{
    zControlTesting::setMessageBoxScripted(true);
    QCOMPARE(showCritical(QStringLiteral("a")), 0);
    QCOMPARE(showInformation(QStringLiteral("b"), nullptr, QStringLiteral("信息")), 0);
    const auto calls = zControlTesting::messageBoxCalls();
    QCOMPARE(calls.size(), 2);
    QCOMPARE(calls[0].kind, QStringLiteral("critical"));
    QCOMPARE(calls[0].buttons, QStringList({QStringLiteral("确定"), QStringLiteral("取消")}));
    QCOMPARE(calls[1].kind, QStringLiteral("information"));
    QCOMPARE(calls[1].title, QStringLiteral("信息"));
}

void TestHostStandIns::messageBoxRealNo()
{
    BoxAnswerer answerer;
    answerer.answerWith(QStringLiteral("zMessageBoxNo"));
    QCOMPARE(showQuestion(QStringLiteral("文件已存在，是否覆盖？")), 1);
    QVERIFY(answerer.found);
    QVERIFY(answerer.seenModal);
    QCOMPARE(answerer.seenText, QStringLiteral("文件已存在，是否覆盖？"));
    QCOMPARE(answerer.seenButtons, QStringList({QStringLiteral("是"), QStringLiteral("否")}));
    // Recorded even though a real window answered.
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QTRY_VERIFY(!visibleTopLevel(QStringLiteral("zMessageBox")));
}

void TestHostStandIns::messageBoxRealYesAndEscape()
{
    BoxAnswerer yes;
    yes.answerWith(QStringLiteral("zMessageBoxYes"));
    QCOMPARE(showWarning(QStringLiteral("确定删除？")), 0);
    QVERIFY(yes.found);
    QCOMPARE(yes.seenButtons, QStringList({QStringLiteral("确定"), QStringLiteral("取消")}));

    BoxAnswerer escape;
    escape.answerWith(QStringLiteral("Escape"));
    QCOMPARE(showCritical(QStringLiteral("无法打开")), 1);
    QVERIFY(escape.found);
    QCOMPARE(escape.seenButtons, QStringList({QStringLiteral("确定"), QStringLiteral("取消")}));

    BoxAnswerer one;
    one.answerWith(QStringLiteral("zMessageBoxYes"));
    QCOMPARE(showInforByOneBtn(QStringLiteral("完成"), nullptr, 0), 0);
    QVERIFY(one.found);
}

void TestHostStandIns::messageBoxCentresOnParent()
{
    QWidget parent;
    parent.setGeometry(200, 150, 800, 600);
    parent.show();
    QVERIFY(QTest::qWaitForWindowExposed(&parent));
    BoxAnswerer answerer;
    answerer.answerWith(QStringLiteral("zMessageBoxNo"));
    QCOMPARE(showQuestion(QStringLiteral("居中？"), &parent), 1);
    QVERIFY(answerer.found);
    const QPoint delta = answerer.seenGeometry.center() - parent.frameGeometry().center();
    QVERIFY2(delta.manhattanLength() <= 2, qPrintable(QStringLiteral("off by %1,%2")
                                                          .arg(delta.x()).arg(delta.y())));
}

void TestHostStandIns::progressScripted()
{
    zControlTesting::setProgressScripted(true);
    auto set = MQProgressBar::CreateEasy(QStringLiteral("正在复制"), QStringLiteral("3 个文件"), 10);
    QVERIFY(!visibleTopLevel(QStringLiteral("MQProgressBar")));
    set(1);
    set(10);
    set(11);
    QCOMPARE(zControlTesting::progressValues(), QList<int>({1, 10, 11}));
    QCOMPARE(zControlTesting::progressTitles(), QStringList({QStringLiteral("正在复制")}));
}

void TestHostStandIns::progressRealWindowClosesPastMaximum()
{
    auto set = MQProgressBar::CreateEasy(QStringLiteral("正在粘贴"), QStringLiteral("请稍候"), 4);
    QPointer<QWidget> window = visibleTopLevel(QStringLiteral("MQProgressBar"));
    QVERIFY(window);
    auto* text = window->findChild<QLabel*>(QStringLiteral("MQProgressBarText"));
    QVERIFY(text);
    QCOMPARE(text->text(), QStringLiteral("请稍候"));
    auto* bar = window->findChild<QProgressBar*>(QStringLiteral("MQProgressBarBar"));
    QVERIFY(bar);
    QCOMPARE(bar->maximum(), 4);

    set(2);
    QCOMPARE(bar->value(), 2);
    set(4);
    QVERIFY(window->isVisible());
    set(5);
    QTRY_VERIFY(!window);
    set(6); // the window is gone; the setter must stay harmless
    QCOMPARE(zControlTesting::progressValues(), QList<int>({2, 4, 5, 6}));
    QCOMPARE(zControlTesting::progressTitles(), QStringList({QStringLiteral("正在粘贴")}));
}

void TestHostStandIns::usersAndLogin()
{
    UserInfo* user = Users::Instance()->Mqy();
    QVERIFY(user);
    QCOMPARE(user, Users::Instance()->Mqy());
    QVERIFY(!user->IsLogin());
    QVERIFY(user->UserID.isEmpty());

    mqcoreTesting::setUser(QStringLiteral("42"), QStringLiteral("zhang"), QStringLiteral("张三"));
    mqcoreTesting::setLoggedIn(true);
    QVERIFY(user->IsLogin());
    QCOMPARE(user->UserID, QStringLiteral("42"));
    QCOMPARE(user->UserName, QStringLiteral("zhang"));
    QCOMPARE(user->RealName, QStringLiteral("张三"));

    QVERIFY(mqcoreTesting::loginOutcome());
    mqcoreTesting::setLoginOutcome(false);
    QVERIFY(!mqcoreTesting::loginOutcome());

    mqcoreTesting::reset();
    QVERIFY(!user->IsLogin());
    QVERIFY(user->UserID.isEmpty());
    QVERIFY(mqcoreTesting::loginOutcome());
}

void TestHostStandIns::rights()
{
    QXManager* qx = QXManager::GetInstance();
    QVERIFY(qx->CheckQx(101));
    QVERIFY(qx->CheckQx(202, QVariant(QStringLiteral("x"))));
    mqcoreTesting::withdrawRight(101);
    QVERIFY(!qx->CheckQx(101));
    QVERIFY(qx->CheckQx(202));
    mqcoreTesting::grantRight(101);
    QVERIFY(qx->CheckQx(101));

    mqcoreTesting::withdrawAllRights();
    QVERIFY(!qx->CheckQx(101));
    mqcoreTesting::grantRight(303);
    QVERIFY(qx->CheckQx(303));
    QVERIFY(!qx->CheckQx(202));
    mqcoreTesting::grantAllRights();
    QVERIFY(qx->CheckQx(202));

    QCOMPARE(mqcoreTesting::checkedRights(), QList<int>({101, 202, 101, 202, 101, 101, 303, 202, 202}));
    mqcoreTesting::withdrawAllRights();
    mqcoreTesting::reset();
    QVERIFY(mqcoreTesting::checkedRights().isEmpty());
    QVERIFY(qx->CheckQx(101));
}

void TestHostStandIns::edition()
{
    CpfMain* cpf = CpfMain::GetInstance();
    QVERIFY(!cpf->IsProdAreaRA());
    QVERIFY(!cpf->IsProdAreaRB());
    zCpfTesting::setProdArea(true, false);
    QVERIFY(cpf->IsProdAreaRA());
    QVERIFY(!cpf->IsProdAreaRB());
    zCpfTesting::setProdArea(false, true);
    QVERIFY(!cpf->IsProdAreaRA());
    QVERIFY(cpf->IsProdAreaRB());
    zCpfTesting::reset();
    QVERIFY(!cpf->IsProdAreaRB());
}

void TestHostStandIns::osgiService()
{
    osgi::FirstPageService* service = osgi::ObjectHelper::GetService("firstPagePlugin");
    QVERIFY(service);
    QCOMPARE(osgi::ObjectHelper::GetService("otherPlugin"), static_cast<osgi::FirstPageService*>(nullptr));

    UserInfo* user = Users::Instance()->Mqy();
    mqcoreTesting::setLoginOutcome(false);
    service->Login(QJsonObject());
    QCOMPARE(osgiTesting::loginCalls(), 1);
    QVERIFY(!user->IsLogin());

    mqcoreTesting::setLoginOutcome(true);
    service->Login(QJsonObject{{QStringLiteral("from"), QStringLiteral("fileDialog")}});
    QCOMPARE(osgiTesting::loginCalls(), 2);
    QVERIFY(user->IsLogin());
    QCOMPARE(user->UserID, QStringLiteral("10001"));
    QCOMPARE(user->UserName, QStringLiteral("demo"));

    osgiTesting::setServiceAvailable(false);
    QVERIFY(!osgi::ObjectHelper::GetService("firstPagePlugin"));
    osgiTesting::setServiceAvailable(true);
    QCOMPARE(osgi::ObjectHelper::GetService("firstPagePlugin"), service);

    CountingService custom;
    osgiTesting::setService(&custom);
    QCOMPARE(osgi::ObjectHelper::GetService("firstPagePlugin"), &custom);
    osgi::ObjectHelper::GetService("firstPagePlugin")->Login(QJsonObject());
    QCOMPARE(custom.logins, 1);
    QCOMPARE(osgiTesting::loginCalls(), 2);
    osgiTesting::setService(nullptr);
    QVERIFY(!osgi::ObjectHelper::GetService("firstPagePlugin"));

    osgiTesting::reset();
    QCOMPARE(osgi::ObjectHelper::GetService("firstPagePlugin"), service);
    QCOMPARE(osgiTesting::loginCalls(), 0);
}

void TestHostStandIns::osgiOpenProjects()
{
    osgi::FirstPageService* service = osgi::ObjectHelper::GetService("firstPagePlugin");
    QVERIFY(service);
    const QString open = QDir::toNativeSeparators(QStringLiteral("/work/工程 A/预算书.GBQ6"));
    QVERIFY(!service->IsProjectOpen(open));
    osgiTesting::setOpenProjects({open});
    QVERIFY(service->IsProjectOpen(open));
    QVERIFY(service->IsProjectOpen(QStringLiteral("/work/工程 A/./预算书.GBQ6")));
    QVERIFY(!service->IsProjectOpen(QStringLiteral("/work/工程 A/其它.GBQ6")));
    QCOMPARE(osgiTesting::openQuestions().size(), 4);
    QCOMPARE(osgiTesting::openQuestions().first(), open);
    osgiTesting::reset();
    QVERIFY(osgiTesting::openQuestions().isEmpty());
    QVERIFY(!service->IsProjectOpen(open));
}

QTEST_MAIN(TestHostStandIns)
#include "tst_hoststandins.moc"
