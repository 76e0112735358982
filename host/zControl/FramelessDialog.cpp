#include "FramelessDialog.h"
#include "WindowFrame.h"
#include "WindowGeometry.h"
#include "zBaseTheme.h"
#include "zControl_p.h"

#include <QApplication>
#include <QCursor>
#include <QEvent>
#include <QMouseEvent>
#include <QMoveEvent>
#include <QPointer>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QTimer>

namespace {
constexpr int kShadow = 10;
constexpr qreal kRadius = 8.0;
// How far into the body the edges can be grabbed, beyond the shadow.
constexpr int kGrabInside = 4;

qreal radiusFor(const FramelessDialog* dialog)
{
    return dialog->shadowMargin() > 0 ? kRadius : 0.0;
}
} // namespace

// Children are painted square; this transparent sheet on top of them cuts the
// body's corners out again and draws the border and shadow last, so the
// window keeps its rounded edge whatever the subclass puts inside.
class FramelessFrameOverlay : public QWidget
{
public:
    explicit FramelessFrameOverlay(FramelessDialog* dialog)
        : QWidget(dialog), m_dialog(dialog)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setFocusPolicy(Qt::NoFocus);
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter p(this);
        zControlFrame::Shape shape;
        shape.whole = rect();
        shape.body = m_dialog->bodyRect();
        shape.radius = radiusFor(m_dialog);
        shape.margin = m_dialog->shadowMargin();
        shape.border = QColor(zBaseTheme::color(QStringLiteral("window-border-color")));
        m_frame.paint(p, shape, devicePixelRatioF());
    }

private:
    FramelessDialog* m_dialog;
    zControlFrame::Painter m_frame;
};

// Resizing by the edges. The edges are mostly covered by children, so the
// pointer is watched for the whole application while the window lives;
// only events of widgets in this window are looked at.
class FramelessEdgeResizer : public QObject
{
public:
    explicit FramelessEdgeResizer(FramelessDialog* dialog)
        : QObject(dialog), m_dialog(dialog)
    {
        qApp->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        switch (event->type()) {
        case QEvent::MouseMove:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonRelease:
        case QEvent::Leave:
            break;
        default:
            return false;
        }
        if (!watched->isWidgetType() || static_cast<QWidget*>(watched)->window() != m_dialog)
            return false;
        if (event->type() == QEvent::Leave) {
            if (watched == m_dialog && !m_dragEdges)
                showCursorFor({});
            return false;
        }
        auto* me = static_cast<QMouseEvent*>(event);
        switch (event->type()) {
        case QEvent::MouseMove:
            if (m_dragEdges) {
                if (!(me->buttons() & Qt::LeftButton)) {
                    m_dragEdges = {};
                    return false;
                }
                m_dialog->setGeometry(zControlGeometry::resizedGeometry(
                    m_start, m_dragEdges, me->globalPos() - m_pressGlobal, m_dialog->minimumSize(),
                    m_dialog->maximumSize()));
                return true;
            }
            if (me->buttons() == Qt::NoButton)
                showCursorFor(edgesUnder(inDialog(watched, me)));
            return false;
        case QEvent::MouseButtonPress: {
            if (me->button() != Qt::LeftButton)
                return false;
            const QPoint pos = inDialog(watched, me);
            const Qt::Edges edges = edgesUnder(pos);
            if (!edges)
                return false;
            m_dragEdges = edges;
            // Where the window really is, from the press itself: a window
            // manager that reparents may not have told the toolkit yet.
            m_start = QRect(me->globalPos() - pos, m_dialog->size());
            m_pressGlobal = me->globalPos();
            showCursorFor(edges);
            return true;
        }
        case QEvent::MouseButtonRelease:
            if (!m_dragEdges || me->button() != Qt::LeftButton)
                return false;
            m_dragEdges = {};
            showCursorFor(edgesUnder(inDialog(watched, me)));
            return true;
        default:
            return false;
        }
    }

private:
    // The event's point in the dialog's coordinates, from the widgets'
    // offsets alone.
    QPoint inDialog(QObject* watched, const QMouseEvent* event) const
    {
        return static_cast<QWidget*>(watched)->mapTo(m_dialog, event->pos());
    }

    Qt::Edges edgesUnder(const QPoint& pos) const
    {
        if (!m_dialog->isVisible() || m_dialog->isMaximized() || m_dialog->isFullScreen())
            return {};
        Qt::Orientations resizable;
        if (m_dialog->minimumWidth() < m_dialog->maximumWidth())
            resizable |= Qt::Horizontal;
        if (m_dialog->minimumHeight() < m_dialog->maximumHeight())
            resizable |= Qt::Vertical;
        const int zone = m_dialog->shadowMargin() + zControlPrivate::scaled(kGrabInside);
        return zControlGeometry::edgesAt(m_dialog->size(), pos, zone, resizable);
    }

    void showCursorFor(Qt::Edges edges)
    {
        if (edges == m_cursorEdges)
            return;
        m_cursorEdges = edges;
        if (edges)
            m_dialog->setCursor(zControlGeometry::cursorFor(edges));
        else
            m_dialog->unsetCursor();
    }

    FramelessDialog* m_dialog;
    Qt::Edges m_dragEdges;
    Qt::Edges m_cursorEdges;
    QRect m_start;
    QPoint m_pressGlobal;
};

FramelessDialog::FramelessDialog(QWidget* parent)
    : QDialog(parent, Qt::FramelessWindowHint | Qt::Dialog)
{
    setAttribute(Qt::WA_TranslucentBackground);
    m_margin = kShadow;
    setContentsMargins(m_margin, m_margin, m_margin, m_margin);
    m_overlay = new FramelessFrameOverlay(this);
    m_overlay->setGeometry(rect());
    m_resizer = new FramelessEdgeResizer(this);
}

void FramelessDialog::resize(int w, int h)
{
    QDialog::resize(w + 2 * m_margin, h + 2 * m_margin);
}

QRect FramelessDialog::bodyRect() const
{
    return rect().marginsRemoved(QMargins(m_margin, m_margin, m_margin, m_margin));
}

QSize FramelessDialog::normalBodySize() const
{
    if ((isMaximized() || isFullScreen()) && normalGeometry().isValid())
        return normalGeometry().size() - QSize(2 * kShadow, 2 * kShadow);
    return bodyRect().size();
}

QRect FramelessDialog::availableArea() const
{
    QScreen* screen = nullptr;
    if (parentWidget())
        screen = parentWidget()->window()->screen();
    if (!screen)
        screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    return screen ? screen->availableGeometry() : QRect(QPoint(0, 0), size());
}

void FramelessDialog::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    if (m_placed || isMaximized() || isFullScreen())
        return;
    m_placed = true;
    // A size asked for on a bigger screen, or at a larger scale, is fitted
    // to this one: every button stays on the screen.
    const QRect area = availableArea();
    if (minimumWidth() > area.width() || minimumHeight() > area.height())
        setMinimumSize(minimumSize().boundedTo(area.size()));
    QRect placed = zControlGeometry::fittedGeometry(size(), minimumSize(), area);
    // A window its owner moved (a message over its parent) stays there, as
    // far as the area allows.
    if (testAttribute(Qt::WA_Moved)) {
        placed.moveTopLeft(pos());
        placed = zControlGeometry::keptInside(placed, area);
    }
    setGeometry(placed);
    m_placedAt = placed;
    m_settling.start();
    m_replacements = 0;
}

void FramelessDialog::answerSettlingMove(QMoveEvent* event)
{
    // Some window managers place a new window by their own rules, and a
    // reparenting one can report the window where its frame stood before it
    // was moved into place, with no word after: the toolkit then keeps a
    // stale position and every pop-up (menus, completions, lists) opens that
    // far off its widget. Only what the window system reports counts here;
    // a few replies within the first moments are enough, and a window the
    // user moves later is left where it is put.
    constexpr qint64 kSettleMs = 2000;
    constexpr int kMaxReplacements = 4;
    if (!event->spontaneous() || !m_placedAt.isValid() || m_settling.elapsed() > kSettleMs
        || m_replacements >= kMaxReplacements || isMaximized() || isFullScreen()
        || size() != m_placedAt.size() || event->pos() == m_placedAt.topLeft())
        return;
    ++m_replacements;
    const QPointer<FramelessDialog> self(this);
    QTimer::singleShot(0, this, [self] {
        if (self && self->isVisible() && self->pos() != self->m_placedAt.topLeft())
            self->move(self->m_placedAt.topLeft());
    });
}

void FramelessDialog::paintEvent(QPaintEvent* event)
{
    Q_UNUSED(event)
    // Square: the frame drawn over every child rounds the corners off, as
    // it does for children that reach into them.
    QPainter p(this);
    p.fillRect(bodyRect(), QColor(zBaseTheme::color(QStringLiteral("background-color"))));
}

void FramelessDialog::resizeEvent(QResizeEvent* event)
{
    QDialog::resizeEvent(event);
    if (m_overlay)
        m_overlay->setGeometry(rect());
}

void FramelessDialog::changeEvent(QEvent* event)
{
    QDialog::changeEvent(event);
    if (event->type() != QEvent::WindowStateChange)
        return;
    // A maximised window touches the screen edges: no shadow, square corners.
    const int margin = (isMaximized() || isFullScreen()) ? 0 : kShadow;
    if (margin == m_margin)
        return;
    m_margin = margin;
    setContentsMargins(margin, margin, margin, margin);
    update();
}

bool FramelessDialog::event(QEvent* event)
{
    // Whatever a subclass adds must stay under the corner overlay.
    if (event->type() == QEvent::Move)
        answerSettlingMove(static_cast<QMoveEvent*>(event));
    if ((event->type() == QEvent::ChildAdded || event->type() == QEvent::Show) && m_overlay)
        m_overlay->raise();
    return QDialog::event(event);
}
