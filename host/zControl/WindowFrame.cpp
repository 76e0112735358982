#include "WindowFrame.h"

#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace zControlFrame {

namespace {

void clearOutside(QPainter& p, const Shape& shape)
{
    QPainterPath bodyPath;
    bodyPath.addRoundedRect(QRectF(shape.body), shape.radius, shape.radius);
    QPainterPath outside;
    outside.addRect(QRectF(shape.whole));
    outside = outside.subtracted(bodyPath);
    p.save();
    p.setCompositionMode(QPainter::CompositionMode_Clear);
    p.fillPath(outside, Qt::transparent);
    p.restore();
}

void drawRings(QPainter& p, const Shape& shape)
{
    // Rings fading outwards read as a soft shadow without a blur pass.
    const QRectF body(shape.body);
    p.save();
    p.setBrush(Qt::NoBrush);
    for (int i = 1; i <= shape.margin; ++i) {
        const qreal fade = 1.0 - qreal(i) / (shape.margin + 1);
        p.setPen(QPen(QColor(15, 25, 45, int(22 * fade * fade)), 1.0));
        const qreal grow = i - 0.5;
        p.drawRoundedRect(body.adjusted(-grow, -grow + 1, grow, grow + 1), shape.radius + grow,
                          shape.radius + grow);
    }
    p.setPen(QPen(shape.border, 1.0));
    p.drawRoundedRect(body.adjusted(0.5, 0.5, -0.5, -0.5), shape.radius, shape.radius);
    p.restore();
}

} // namespace

void paintDirect(QPainter& p, const Shape& shape)
{
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    clearOutside(p, shape);
    drawRings(p, shape);
    p.restore();
}

bool Painter::prepare(const Shape& shape, qreal ratio)
{
    // The rings reach one pixel further down than up (the shadow falls
    // below the window); the corners' curves reach radius into the body.
    const int extent = shape.margin + int(std::ceil(shape.radius)) + 2;
    if (shape.body != shape.whole.marginsRemoved(QMargins(shape.margin, shape.margin, shape.margin, shape.margin))
        || shape.whole.width() < 2 * extent + 1 || shape.whole.height() < 2 * extent + 1)
        return false;
    if (extent == m_extent && ratio == m_ratio && shape.radius == m_radius && shape.margin == m_margin
        && shape.border == m_border)
        return true;
    m_extent = extent;
    m_ratio = ratio;
    m_radius = shape.radius;
    m_margin = shape.margin;
    m_border = shape.border;

    const int side = 2 * extent + 1;
    Shape small = shape;
    small.whole = QRect(0, 0, side, side);
    small.body = small.whole.marginsRemoved(QMargins(shape.margin, shape.margin, shape.margin, shape.margin));
    const QSize pixels(int(std::ceil(side * ratio)), int(std::ceil(side * ratio)));

    const auto tile = [&](const QColor& background, void (*draw)(QPainter&, const Shape&)) {
        QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(ratio);
        image.fill(background);
        {
            QPainter p(&image);
            p.setRenderHint(QPainter::Antialiasing);
            draw(p, small);
        }
        return image;
    };
    m_keep = tile(Qt::white, clearOutside);
    m_rings = tile(Qt::transparent, drawRings);
    return true;
}

void Painter::paint(QPainter& p, const Shape& shape, qreal ratio)
{
    if (!prepare(shape, ratio)) {
        paintDirect(p, shape);
        return;
    }
    const int e = m_extent;
    const int w = shape.whole.width();
    const int h = shape.whole.height();
    const int x0 = shape.whole.left();
    const int y0 = shape.whole.top();
    // Pieces of the small window (its corners, and the one-pixel row or
    // column in the middle of each edge) and where each goes.
    struct Piece
    {
        QRectF target;
        QRectF source;
    };
    const qreal r = ratio;
    const auto src = [r](qreal x, qreal y, qreal pw, qreal ph) { return QRectF(x * r, y * r, pw * r, ph * r); };
    const Piece pieces[] = {
        {QRectF(x0, y0, e, e), src(0, 0, e, e)},
        {QRectF(x0 + w - e, y0, e, e), src(e + 1, 0, e, e)},
        {QRectF(x0, y0 + h - e, e, e), src(0, e + 1, e, e)},
        {QRectF(x0 + w - e, y0 + h - e, e, e), src(e + 1, e + 1, e, e)},
        {QRectF(x0 + e, y0, w - 2 * e, e), src(e, 0, 1, e)},
        {QRectF(x0 + e, y0 + h - e, w - 2 * e, e), src(e, e + 1, 1, e)},
        {QRectF(x0, y0 + e, e, h - 2 * e), src(0, e, e, 1)},
        {QRectF(x0 + w - e, y0 + e, e, h - 2 * e), src(e + 1, e, e, 1)},
    };
    p.save();
    // Stretched slices repeat their pixels rather than blend them.
    p.setRenderHint(QPainter::SmoothPixmapTransform, false);
    p.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    for (const Piece& piece : pieces)
        p.drawImage(piece.target, m_keep, piece.source);
    p.setCompositionMode(QPainter::CompositionMode_SourceOver);
    for (const Piece& piece : pieces)
        p.drawImage(piece.target, m_rings, piece.source);
    p.restore();
}

} // namespace zControlFrame
