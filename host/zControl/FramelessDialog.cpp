#include "FramelessDialog.h"
#include "zBaseTheme.h"

#include <QEvent>
#include <QPainter>
#include <QPainterPath>

namespace {
constexpr int kShadow = 10;
constexpr qreal kRadius = 8.0;

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
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF body = QRectF(m_dialog->bodyRect());
        const qreal radius = radiusFor(m_dialog);
        QPainterPath bodyPath;
        bodyPath.addRoundedRect(body, radius, radius);
        QPainterPath outside;
        outside.addRect(QRectF(rect()));
        outside = outside.subtracted(bodyPath);

        p.setCompositionMode(QPainter::CompositionMode_Clear);
        p.fillPath(outside, Qt::transparent);
        p.setCompositionMode(QPainter::CompositionMode_SourceOver);

        // Rings fading outwards read as a soft shadow without a blur pass.
        const int margin = m_dialog->shadowMargin();
        p.setBrush(Qt::NoBrush);
        for (int i = 1; i <= margin; ++i) {
            const qreal fade = 1.0 - qreal(i) / (margin + 1);
            p.setPen(QPen(QColor(15, 25, 45, int(22 * fade * fade)), 1.0));
            const qreal grow = i - 0.5;
            p.drawRoundedRect(body.adjusted(-grow, -grow + 1, grow, grow + 1),
                              radius + grow, radius + grow);
        }
        p.setPen(QPen(QColor(zBaseTheme::color(QStringLiteral("window-border-color"))), 1.0));
        p.drawRoundedRect(body.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    }

private:
    FramelessDialog* m_dialog;
};

FramelessDialog::FramelessDialog(QWidget* parent)
    : QDialog(parent, Qt::FramelessWindowHint | Qt::Dialog)
{
    setAttribute(Qt::WA_TranslucentBackground);
    m_margin = kShadow;
    setContentsMargins(m_margin, m_margin, m_margin, m_margin);
    m_overlay = new FramelessFrameOverlay(this);
    m_overlay->setGeometry(rect());
}

void FramelessDialog::resize(int w, int h)
{
    QDialog::resize(w + 2 * m_margin, h + 2 * m_margin);
}

QRect FramelessDialog::bodyRect() const
{
    return rect().marginsRemoved(QMargins(m_margin, m_margin, m_margin, m_margin));
}

void FramelessDialog::paintEvent(QPaintEvent* event)
{
    Q_UNUSED(event)
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(zBaseTheme::color(QStringLiteral("background-color"))));
    const qreal radius = radiusFor(this);
    p.drawRoundedRect(QRectF(bodyRect()), radius, radius);
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
    if ((event->type() == QEvent::ChildAdded || event->type() == QEvent::Show) && m_overlay)
        m_overlay->raise();
    return QDialog::event(event);
}
