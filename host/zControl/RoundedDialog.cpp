#include "RoundedDialog.h"
#include "zControl_p.h"

#include "InterfaceAdaptation.h"
#include "zBaseButton.h"
#include "zBaseTheme.h"

#include <QApplication>
#include <QIconEngine>
#include <QMouseEvent>
#include <QPainter>

namespace {

constexpr int kTitleDragHeight = 40;
constexpr int kToolButtonType = 100;

class CrossIconEngine : public QIconEngine
{
public:
    void paint(QPainter* p, const QRect& rect, QIcon::Mode mode, QIcon::State) override
    {
        const QString key = mode == QIcon::Disabled ? QStringLiteral("disabled-font-color")
                                                    : QStringLiteral("secondary-font-color");
        p->save();
        p->setRenderHint(QPainter::Antialiasing);
        p->setPen(QPen(QColor(zBaseTheme::color(key)), qMax(1.2, rect.width() / 12.0),
                       Qt::SolidLine, Qt::RoundCap));
        const QRectF r = QRectF(rect).adjusted(rect.width() * 0.22, rect.height() * 0.22,
                                               -rect.width() * 0.22, -rect.height() * 0.22);
        p->drawLine(r.topLeft(), r.bottomRight());
        p->drawLine(r.topRight(), r.bottomLeft());
        p->restore();
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        // The base class leaves the pixmap uninitialised around the strokes.
        QPixmap pm(size);
        pm.fill(Qt::transparent);
        QPainter p(&pm);
        paint(&p, QRect(QPoint(0, 0), size), mode, state);
        return pm;
    }
    QIconEngine* clone() const override { return new CrossIconEngine; }
};

} // namespace

QIcon zControlPrivate::crossIcon()
{
    return QIcon(new CrossIconEngine);
}

int zControlPrivate::scaled(double designPixels)
{
    return InterfaceAdaptation::getInstance()->getResolutionRatioH(designPixels);
}

RoundedDialog::RoundedDialog(QWidget* parent)
    : FramelessDialog(parent)
{
    m_btnClose = new zBaseButton(this);
    m_btnClose->setObjectName(QStringLiteral("RoundedDialogClose"));
    m_btnClose->setControlType(kToolButtonType);
    m_btnClose->setFixedSize(zControlPrivate::scaled(36), zControlPrivate::scaled(36));
    m_btnClose->setIconSize(QSize(zControlPrivate::scaled(16), zControlPrivate::scaled(16)));
    m_btnClose->setIcon(zControlPrivate::crossIcon());
    m_btnClose->setToolTip(QStringLiteral("关闭"));
    m_btnClose->setFocusPolicy(Qt::NoFocus);
    m_btnClose->hide();
    connect(m_btnClose, &QAbstractButton::clicked, this, &QDialog::reject);
}

void RoundedDialog::beginDrag(const QPoint& globalPos)
{
    m_pressed = true;
    m_moving = false;
    m_pressGlobal = globalPos;
    m_windowAtPress = pos();
}

bool RoundedDialog::dragTo(const QPoint& globalPos)
{
    if (!m_pressed || isMaximized() || isFullScreen())
        return false;
    const QPoint delta = globalPos - m_pressGlobal;
    if (!m_moving && delta.manhattanLength() < QApplication::startDragDistance())
        return false;
    m_moving = true;
    // Absolute from the press, so a subclass that moves too lands on the same spot.
    move(m_windowAtPress + delta);
    return true;
}

bool RoundedDialog::eventFilter(QObject* watched, QEvent* event)
{
    // The dialog's own mouse handlers cover presses on the dialog itself.
    if (watched == this || !watched->isWidgetType())
        return FramelessDialog::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::MouseButtonPress: {
        auto* me = static_cast<QMouseEvent*>(event);
        if (me->button() == Qt::LeftButton)
            beginDrag(me->globalPos());
        break;
    }
    case QEvent::MouseMove: {
        auto* me = static_cast<QMouseEvent*>(event);
        if ((me->buttons() & Qt::LeftButton) && dragTo(me->globalPos()))
            return true;
        break;
    }
    case QEvent::MouseButtonRelease:
        m_pressed = m_moving = false;
        break;
    default:
        break;
    }
    return FramelessDialog::eventFilter(watched, event);
}

void RoundedDialog::mousePressEvent(QMouseEvent* event)
{
    const int y = event->pos().y() - bodyRect().top();
    // A subclass may keep the release to itself: every press starts afresh.
    if (event->button() == Qt::LeftButton)
        m_pressed = m_moving = false;
    if (event->button() == Qt::LeftButton && y >= 0
        && y < zControlPrivate::scaled(kTitleDragHeight))
        beginDrag(event->globalPos());
    FramelessDialog::mousePressEvent(event);
}

void RoundedDialog::mouseMoveEvent(QMouseEvent* event)
{
    if (!(event->buttons() & Qt::LeftButton))
        m_pressed = m_moving = false;
    else
        dragTo(event->globalPos());
    FramelessDialog::mouseMoveEvent(event);
}

void RoundedDialog::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        m_pressed = m_moving = false;
    FramelessDialog::mouseReleaseEvent(event);
}
