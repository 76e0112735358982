#include "WindowGeometry.h"

#include <QtGlobal>

namespace zControlGeometry {

QRect fittedGeometry(const QSize& size, const QSize& minimum, const QRect& available)
{
    QSize s = size.expandedTo(minimum).boundedTo(available.size());
    s = s.expandedTo(QSize(1, 1));
    QRect r(QPoint(0, 0), s);
    r.moveCenter(available.center());
    // An odd leftover pixel must not push the window off the area.
    return keptInside(r, available);
}

QRect keptInside(const QRect& window, const QRect& available)
{
    QRect r = window;
    r.moveLeft(qMax(available.left(), qMin(r.left(), available.left() + available.width() - r.width())));
    r.moveTop(qMax(available.top(), qMin(r.top(), available.top() + available.height() - r.height())));
    return r;
}

Qt::Edges edgesAt(const QSize& size, const QPoint& pos, int zone, Qt::Orientations resizable)
{
    Qt::Edges edges;
    if (pos.x() < 0 || pos.y() < 0 || pos.x() >= size.width() || pos.y() >= size.height())
        return edges;
    if (resizable & Qt::Horizontal) {
        if (pos.x() < zone)
            edges |= Qt::LeftEdge;
        else if (pos.x() >= size.width() - zone)
            edges |= Qt::RightEdge;
    }
    if (resizable & Qt::Vertical) {
        if (pos.y() < zone)
            edges |= Qt::TopEdge;
        else if (pos.y() >= size.height() - zone)
            edges |= Qt::BottomEdge;
    }
    return edges;
}

QRect resizedGeometry(const QRect& start, Qt::Edges edges, const QPoint& delta, const QSize& minimum,
                      const QSize& maximum)
{
    QRect r = start;
    if (edges & Qt::LeftEdge) {
        const int w = qBound(minimum.width(), start.width() - delta.x(), maximum.width());
        r.setLeft(start.right() - w + 1);
    } else if (edges & Qt::RightEdge) {
        r.setWidth(qBound(minimum.width(), start.width() + delta.x(), maximum.width()));
    }
    if (edges & Qt::TopEdge) {
        const int h = qBound(minimum.height(), start.height() - delta.y(), maximum.height());
        r.setTop(start.bottom() - h + 1);
    } else if (edges & Qt::BottomEdge) {
        r.setHeight(qBound(minimum.height(), start.height() + delta.y(), maximum.height()));
    }
    return r;
}

Qt::CursorShape cursorFor(Qt::Edges edges)
{
    const bool horizontal = edges & (Qt::LeftEdge | Qt::RightEdge);
    const bool vertical = edges & (Qt::TopEdge | Qt::BottomEdge);
    if (horizontal && vertical) {
        const bool mainDiagonal = bool(edges & Qt::LeftEdge) == bool(edges & Qt::TopEdge);
        return mainDiagonal ? Qt::SizeFDiagCursor : Qt::SizeBDiagCursor;
    }
    if (horizontal)
        return Qt::SizeHorCursor;
    if (vertical)
        return Qt::SizeVerCursor;
    return Qt::ArrowCursor;
}

} // namespace zControlGeometry
