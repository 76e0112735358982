#include "AddressItem.h"

#include <QApplication>
#include <QHash>

#include "AddressBar.h"
#include "scaled.h"
#include "MenuWidget.h"
#include "addresspath.h"
#include "zBaseMenu.h"
#include "zBaseTheme.h"

#include <QAction>
#include <QDir>
#include <QIcon>
#include <QKeyEvent>
#include <QListView>
#include <QMouseEvent>
#include <QPainter>
#include <QWidgetAction>
#include <QWindow>

using pfd::px;

namespace {

const char kArrowRight[] = ":/Image/filedlgicon/arrow_right.svg";
const char kArrowDown[] = ":/Image/filedlgicon/arrow_down.svg";
const char kArrowBack[] = ":/Image/filedlgicon/arrow_back.svg";

// The outline of a hovered or open segment; a shade of the theme's hover
// colour that the host theme has no key for.
const char kOutlineColour[] = "#C9D8F5";

// Palette role 17 carries the segment outline, as the host's breadcrumb has
// always read it.
constexpr QPalette::ColorRole kOutlineRole = QPalette::ColorRole(17);

// Renders an SVG arrow for the window the item is on, so it stays crisp at
// any device-pixel ratio.
QPixmap arrowFor(const char* file, const QWidget* widget)
{
    const int side = px(12);
    const QWidget* top = widget->window();
    QWindow* handle = top ? top->windowHandle() : nullptr;
    // Every segment draws the same arrows: render each once per size and
    // pixel ratio.
    const qreal ratio = handle ? handle->devicePixelRatio() : qApp->devicePixelRatio();
    static QHash<QString, QPixmap> rendered;
    const QString key = QStringLiteral("%1@%2x%3").arg(QLatin1String(file)).arg(side).arg(ratio);
    auto it = rendered.constFind(key);
    if (it != rendered.constEnd())
        return it.value();
    QPixmap pixmap = QIcon(QLatin1String(file)).pixmap(handle, QSize(side, side));
    if (!pixmap.isNull())
        pixmap.setDevicePixelRatio(qreal(pixmap.width()) / side);
    rendered.insert(key, pixmap);
    return pixmap;
}

void drawCentred(QPainter& painter, const QRect& area, const QPixmap& pixmap)
{
    if (pixmap.isNull())
        return;
    const QSizeF logical = QSizeF(pixmap.size()) / pixmap.devicePixelRatioF();
    const QPointF at(area.x() + (area.width() - logical.width()) / 2.0,
                     area.y() + (area.height() - logical.height()) / 2.0);
    // Whole logical pixels keep the 1.25-pixel strokes of the arrows sharp.
    painter.drawPixmap(QPointF(qRound(at.x()), qRound(at.y())), pixmap);
}

} // namespace

AddressItem::AddressItem(QString text, QString path_, bool isRoot_, AddressBar* parent, bool readFolder)
    : zBaseButton(parent)
    , isRoot(isRoot_)
    , path(std::move(path_))
{
    setControlType(CrumbButton);
    setCheckable(true);
    setMouseTracking(true);
    if (parent)
        font = parent->font();
    applyPalette();

    shownText = pfd::addressShownText(text);
    // Read out by its whole folder name, even when the text is cut short;
    // the root opens the standard places. Segments take no focus: the bar's
    // text field and the dialog's keys reach every folder.
    setAccessibleName(isRoot ? QStringLiteral("标准位置") : shownText);
    setFocusPolicy(Qt::NoFocus);
    if (!shownText.isEmpty()) {
        const QFontMetrics metrics(font);
        textWidth = px(8) + metrics.horizontalAdvance(shownText);
        if (textWidth > px(155)) {
            setToolTip(text);
            shownText = pfd::addressShortText(shownText);
            textWidth = px(8) + metrics.horizontalAdvance(shownText);
        }
        setFixedSize(px(17) + textWidth, px(21));
    } else {
        textWidth = 0;
        setFixedSize(px(17), px(21));
    }

    loadArrows();
    // A folder's list is taken with the segment, so it shows the folder as
    // it was when the bar was built; the root's places are fixed. The menu
    // and its list widget wait until the drop-down is first opened: most
    // segments are never opened, and those widgets are the costly part.
    if (!isRoot && readFolder)
        rows = pfd::readFolderRows(path);

    connect(this, &QAbstractButton::toggled, this, &AddressItem::onCheckChanged);
}

void AddressItem::buildMenu()
{
    menu = new zBaseMenu(this);
    // A tool-tip window instead of a popup: it grabs neither mouse nor
    // keyboard, so the bar keeps seeing the pointer and the open menu can
    // follow it from segment to segment like a menu bar.
    menu->setWindowFlags(menu->windowFlags() | Qt::ToolTip);
    menuWidget = new MenuWidget(isRoot, this);
    // The host's style sheets set the bar's font, and such fonts are not
    // inherited; the list reads best in the bar's own.
    menuWidget->setFont(font);
    auto* action = new QWidgetAction(menu);
    action->setDefaultWidget(menuWidget);
    menu->addAction(action);
    connect(menuWidget, &MenuWidget::SClickPath, this, &AddressItem::SClickPath);
    connect(menu, &QMenu::aboutToHide, this, &AddressItem::menuAboutToHide);
    if (!isRoot)
        menuWidget->setRows(rows);
}

void AddressItem::ensureMenu()
{
    if (!menu)
        buildMenu();
}

void AddressItem::setFolderRows(QVector<pfd::FolderRow> taken)
{
    rows = std::move(taken);
    if (menuWidget && !isRoot)
        menuWidget->setRows(rows);
}

AddressItem::~AddressItem()
{
    // The menu is a child and would hide (and so call back into this item)
    // only after this destructor has run; take it down while the item is
    // still whole.
    if (menu) {
        menu->disconnect(this);
        delete menu;
    }
}

zBaseMenu* AddressItem::popupMenu()
{
    ensureMenu();
    return menu;
}

MenuWidget* AddressItem::listWidget()
{
    ensureMenu();
    return menuWidget;
}

void AddressItem::setBackArrow(bool back)
{
    if (back == backArrow)
        return;
    backArrow = back;
    arrowPixmap = arrowFor(backArrow ? kArrowBack : kArrowRight, this);
    update();
}

void AddressItem::closeMenu()
{
    if (menu && menu->isVisible())
        menu->close();
}

void AddressItem::menuAboutToHide()
{
    qApp->removeEventFilter(this);
    hovered = false;
    pressed = false;
    update();
}

void AddressItem::onClickMenuItem()
{
    // The slot's signature is fixed by the host's design, so the action can
    // only be known as the sender.
    if (const auto* action = qobject_cast<QAction*>(sender()))
        emit SClickPath(path + action->text());
}

void AddressItem::onCheckChanged(bool checked)
{
    update();
    if (checked) {
        if (hasSubFolders() && !(menu && menu->isVisible())) {
            ensureMenu();
            const QPoint at = mapToGlobal(QPoint(0, 0))
                              + QPoint(textWidth - px(30) + px(17), px(20));
            menu->move(at);
            menu->show();
            // The drop-down takes no keys of its own (it must not grab
            // them), so while it is open the keys of this window are
            // answered here, as an open menu would.
            qApp->installEventFilter(this);
        }
    } else if (menu) {
        menu->close();
    }
}

bool AddressItem::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::ShortcutOverride)
        return false;
    if (!menu || !menu->isVisible() || !watched->isWidgetType()
        || static_cast<QWidget*>(watched)->window() != window())
        return false;
    auto* key = static_cast<QKeyEvent*>(event);
    QListView* view = menuWidget->view();
    const QModelIndex current = view->currentIndex();
    const int rowCount = view->model() ? view->model()->rowCount() : 0;
    switch (key->key()) {
    case Qt::Key_Escape:
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        break;
    default:
        return false;
    }
    // Taken before any shortcut of the window (Escape would close it).
    if (event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    switch (key->key()) {
    case Qt::Key_Escape:
        closeMenu();
        setChecked(false);
        break;
    case Qt::Key_Up:
    case Qt::Key_Down:
        if (rowCount > 0) {
            const int step = key->key() == Qt::Key_Down ? 1 : -1;
            const int row = current.isValid() ? qBound(0, current.row() + step, rowCount - 1)
                                              : (step > 0 ? 0 : rowCount - 1);
            view->selectionModel()->setCurrentIndex(view->model()->index(row, 0),
                                                    QItemSelectionModel::ClearAndSelect);
        }
        break;
    default:
        if (current.isValid())
            emit view->clicked(current);
        break;
    }
    return true;
}

bool AddressItem::hasSubFolders() const
{
    // The root's menu lists the standard places, which are always there;
    // its empty path names no folder to ask.
    if (isRoot)
        return true;
    return !QDir(path).isEmpty(QDir::Dirs | QDir::NoDotAndDotDot);
}

void AddressItem::applyPalette()
{
    QPalette p = palette();
    const QColor text(zBaseTheme::color(QStringLiteral("font-color")));
    p.setColor(QPalette::Active, QPalette::Window, QColor(zBaseTheme::color(QStringLiteral("hover-color"))));
    p.setColor(QPalette::Active, kOutlineRole, QColor(QLatin1String(kOutlineColour)));
    p.setColor(QPalette::Active, QPalette::WindowText, text);
    p.setColor(QPalette::Inactive, QPalette::WindowText, text);
    setPalette(p);
}

void AddressItem::loadArrows()
{
    arrowPixmap = arrowFor(backArrow ? kArrowBack : kArrowRight, this);
    arrowDownPixmap = arrowFor(kArrowDown, this);
}

bool AddressItem::event(QEvent* event)
{
    const bool result = zBaseButton::event(event);
    // The host's button style sheet sets the window role when it polishes
    // the button; the segment's own colours go back on afterwards.
    if (event->type() == QEvent::Polish)
        applyPalette();
    return result;
}

void AddressItem::changeEvent(QEvent* event)
{
    zBaseButton::changeEvent(event);
    if (event->type() == QEvent::StyleChange)
        applyPalette();
}

void AddressItem::enterEvent(QEvent* event)
{
    hovered = true;
    update();
    zBaseButton::enterEvent(event);
}

void AddressItem::leaveEvent(QEvent* event)
{
    hovered = false;
    update();
    zBaseButton::leaveEvent(event);
}

void AddressItem::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !rect().contains(event->pos())) {
        zBaseButton::mousePressEvent(event);
        return;
    }
    pressed = true;
    const int height = px(20);
    if (QRect(0, 0, textWidth, height).contains(event->pos())) {
        // The text part navigates on release; the button must not toggle.
        textPressed = true;
        update();
        return;
    }
    if (QRect(textWidth, 0, px(17), height).contains(event->pos())) {
        update();
        zBaseButton::mousePressEvent(event);
    }
}

void AddressItem::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        if (textPressed)
            emit SClickPath(pfd::addressClickedPath(path));
        pressed = false;
        textPressed = false;
        update();
    }
    zBaseButton::mouseReleaseEvent(event);
}

void AddressItem::paintEvent(QPaintEvent* event)
{
    Q_UNUSED(event)
    // Moved to a screen of another pixel ratio: render the arrows afresh.
    if (!arrowPixmap.isNull() && !qFuzzyCompare(arrowPixmap.devicePixelRatioF(), devicePixelRatioF()))
        loadArrows();

    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette& pal = palette();
    const int arrowWidth = px(17);
    const QRect textPart(0, 0, textWidth, px(20));
    const QRect arrowPart(textWidth, 0, arrowWidth, px(20));
    const bool down = pressed || isChecked();

    if (hovered || down) {
        // The whole item in the window colour, the text part and the arrow
        // part each outlined; an open or pressed segment is filled as a
        // hovered one, its text shifted and its arrow turned down below.
        painter.fillRect(rect(), pal.color(QPalette::Active, QPalette::Window));
        painter.setRenderHint(QPainter::Antialiasing, false);
        painter.setPen(QPen(pal.color(QPalette::Active, kOutlineRole), 0));
        painter.setBrush(Qt::NoBrush);
        for (const QRect& part : {textPart, arrowPart}) {
            if (part.width() > 0)
                painter.drawRect(part.adjusted(0, 0, -1, -1));
        }
        painter.setRenderHint(QPainter::Antialiasing);
    }

    painter.setFont(font);
    if (!down) {
        painter.setPen(pal.color(QPalette::Inactive, QPalette::WindowText));
        painter.drawText(textPart, Qt::AlignCenter, shownText);
        drawCentred(painter, arrowPart, arrowPixmap);
    } else {
        painter.setPen(pal.color(QPalette::Active, QPalette::WindowText));
        painter.drawText(textPart.translated(1, 1), Qt::AlignCenter, shownText);
        drawCentred(painter, arrowPart, arrowDownPixmap);
    }
}
