#include "focusring.h"

#include "filetableview.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QEvent>
#include <QFocusFrame>
#include <QPainter>

namespace {

// A focus frame is what screen readers and the toolkit's own accessibility
// skip, and it lets the mouse through.
class RingFrame : public QFocusFrame
{
public:
    using QFocusFrame::QFocusFrame;

protected:
    void paintEvent(QPaintEvent*) override
    {
        // An accent ring with a white line inside: it shows on white
        // controls and on the accent-filled OK button alike.
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(pfd::tableSelectionColour(), 2));
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 4, 4);
        painter.setPen(QPen(QColor(Qt::white), 1));
        painter.drawRoundedRect(QRectF(rect()).adjusted(2.5, 2.5, -2.5, -2.5), 3, 3);
    }
};

} // namespace

FocusRing::FocusRing(QWidget* window)
    : QObject(window)
    , m_window(window)
{
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) { follow(now); });
}

bool FocusRing::wantsRing(const QWidget* widget)
{
    return qobject_cast<const QAbstractButton*>(widget) || qobject_cast<const QComboBox*>(widget);
}

QWidget* FocusRing::ringed() const
{
    return m_frame && m_frame->isVisible() ? m_frame->parentWidget() : nullptr;
}

void FocusRing::follow(QWidget* now)
{
    if (m_frame && m_frame->parentWidget())
        m_frame->parentWidget()->removeEventFilter(this);
    if (!(now && now != m_window && m_window->isAncestorOf(now) && wantsRing(now))) {
        if (m_frame)
            m_frame->hide();
        return;
    }
    if (!m_frame) {
        m_frame = new RingFrame(now);
        m_frame->setObjectName(QStringLiteral("focus_ring"));
    } else {
        m_frame->setParent(now);
    }
    m_frame->setGeometry(now->rect());
    m_frame->raise();
    m_frame->show();
    now->installEventFilter(this);
}

bool FocusRing::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Resize && m_frame && watched == m_frame->parentWidget())
        m_frame->setGeometry(static_cast<QWidget*>(watched)->rect());
    return QObject::eventFilter(watched, event);
}
