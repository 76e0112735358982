#pragma once
// The geometry rules of the suite's frameless windows, free of any widget:
// where a window opens, which edges a point grabs, and what a drag of those
// edges makes of the window.
#include "zcontrol_global.h"

#include <QRect>
#include <QSize>
#include <Qt>

namespace zControlGeometry {

// A window that wants size opens no larger than available, no smaller
// than minimum where that fits, centred in available.
ZCONTROL_EXPORT QRect fittedGeometry(const QSize& size, const QSize& minimum, const QRect& available);

// window moved as little as it takes to lie inside available (its top-left
// corner wins when it is larger).
ZCONTROL_EXPORT QRect keptInside(const QRect& window, const QRect& available);

// The edges a point (window coordinates) grabs in a window of size: the
// bands of zone pixels along each border; a corner grabs two. Only edges
// in resizable are reported.
ZCONTROL_EXPORT Qt::Edges edgesAt(const QSize& size, const QPoint& pos, int zone,
                                  Qt::Orientations resizable = Qt::Horizontal | Qt::Vertical);

// start moved by dragging edges by delta, the opposite edges staying where
// they are, the size kept within minimum and maximum.
ZCONTROL_EXPORT QRect resizedGeometry(const QRect& start, Qt::Edges edges, const QPoint& delta, const QSize& minimum,
                                      const QSize& maximum);

// The pointer shape that tells the user what a press at those edges drags.
ZCONTROL_EXPORT Qt::CursorShape cursorFor(Qt::Edges edges);

} // namespace zControlGeometry
