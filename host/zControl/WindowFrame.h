#pragma once
// The frame of the suite's frameless windows, drawn over their content:
// what lies outside the rounded body is cleared, then the shadow rings and
// the border are drawn. Free of any widget, so both ways of drawing it can
// be compared pixel by pixel.
#include "zcontrol_global.h"

#include <QColor>
#include <QImage>
#include <QRect>

class QPainter;

namespace zControlFrame {

struct Shape
{
    QRect whole;   // the window, in its own coordinates
    QRect body;    // the rounded body inside the shadow margin
    qreal radius = 0;
    int margin = 0; // width of the shadow band
    QColor border;
};

// Draws the frame stroke by stroke over the whole window: eleven
// antialiased rounded rectangles the size of the window.
ZCONTROL_EXPORT void paintDirect(QPainter& p, const Shape& shape);

// Draws the same frame from two small images made once per shape (a
// window of the least size with that frame, drawn by paintDirect): its
// corners are put at the window's corners and a one-pixel slice of each
// edge is stretched along the window's edges. A window too small for the
// corners is drawn directly.
class ZCONTROL_EXPORT Painter
{
public:
    void paint(QPainter& p, const Shape& shape, qreal devicePixelRatio);

private:
    bool prepare(const Shape& shape, qreal devicePixelRatio);

    int m_extent = 0;   // how far from each window edge the frame reaches
    qreal m_ratio = 0;
    qreal m_radius = -1;
    int m_margin = -1;
    QColor m_border;
    QImage m_keep;  // alpha: how much of the content stays
    QImage m_rings; // the shadow rings and the border
};

} // namespace zControlFrame
