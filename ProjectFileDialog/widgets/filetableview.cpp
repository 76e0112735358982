#include "filetableview.h"

#include <QFocusEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPainter>
#include <QtMath>

namespace pfd {

namespace {

double luminance(const QColor& c)
{
    auto channel = [](double v) {
        return v <= 0.03928 ? v / 12.92 : qPow((v + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) + 0.0722 * channel(c.blueF());
}

} // namespace

double contrastRatio(const QColor& a, const QColor& b)
{
    const double la = luminance(a);
    const double lb = luminance(b);
    return (qMax(la, lb) + 0.05) / (qMin(la, lb) + 0.05);
}

QColor tableSelectionColour()
{
    // The theme's accent: 4.6:1 on white, and white text reads on it.
    return QColor(0x1F, 0x6F, 0xEB);
}

QColor tableSelectionTextColour()
{
    return QColor(Qt::white);
}

QColor tableFocusFrameColour()
{
    return QColor(0x1F, 0x23, 0x29);
}

} // namespace pfd

FileTableView::FileTableView(QWidget* parent)
    : QTableView(parent)
{
    // One Tab stop: Tab goes on to the next control instead of the next cell.
    setTabKeyNavigation(false);
}

void FileTableView::keyPressEvent(QKeyEvent* event)
{
    const QModelIndex before = currentIndex();
    const bool wasSelected =
        before.isValid() && selectionModel() && selectionModel()->isRowSelected(before.row(), before.parent());
    ++m_keyDepth;
    QTableView::keyPressEvent(event);
    --m_keyDepth;
    // Space selects the row the frame is on without moving: that is a
    // keyboard pick of the row as well.
    const QModelIndex now = currentIndex();
    if (now.isValid() && now == before && !wasSelected && selectionModel()
        && selectionModel()->isRowSelected(now.row(), now.parent()))
        emit currentRowMovedByKey(now);
}

void FileTableView::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    QTableView::currentChanged(current, previous);
    // The frame spans the whole row; the view itself repaints one cell.
    viewport()->update();
    if (m_keyDepth > 0 && current.isValid())
        emit currentRowMovedByKey(current);
}

void FileTableView::focusInEvent(QFocusEvent* event)
{
    QTableView::focusInEvent(event);
    // Reached by the keyboard with no row current: the frame goes on the
    // first row, which stays unselected until a key picks it.
    const Qt::FocusReason reason = event->reason();
    if (!currentIndex().isValid() && model() && model()->rowCount(rootIndex()) > 0 && selectionModel()
        && (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason))
    {
        m_placingFrame = true;
        selectionModel()->setCurrentIndex(model()->index(0, 0, rootIndex()), QItemSelectionModel::NoUpdate);
        m_placingFrame = false;
    }
    viewport()->update();
}

void FileTableView::focusOutEvent(QFocusEvent* event)
{
    QTableView::focusOutEvent(event);
    viewport()->update();
}

void FileTableView::paintEvent(QPaintEvent* event)
{
    QTableView::paintEvent(event);
    const QModelIndex current = currentIndex();
    if (!hasFocus() || !current.isValid())
        return;
    const int y = rowViewportPosition(current.row());
    const int h = rowHeight(current.row());
    if (y < 0 && y + h < 0)
        return;
    // A dark line with a white one inside: it shows on white rows and on the
    // selection's fill alike.
    QPainter painter(viewport());
    const QRect row(0, y, viewport()->width(), h);
    painter.setPen(QPen(pfd::tableFocusFrameColour(), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(row.adjusted(0, 0, -1, -1));
    painter.setPen(QPen(QColor(Qt::white), 1));
    painter.drawRect(row.adjusted(1, 1, -2, -2));
}
