#include "namecolumnfit.h"

#include <QAbstractScrollArea>
#include <QEvent>
#include <QHeaderView>

namespace {

// The table's viewport: its width is what the columns fill, also while the
// header is hidden (the list view).
QWidget* viewportOf(QHeaderView* header)
{
    auto* view = qobject_cast<QAbstractScrollArea*>(header->parentWidget());
    return view ? view->viewport() : header;
}

} // namespace

NameColumnFit::NameColumnFit(QHeaderView* header)
    : QObject(header), m_header(header)
{
    header->setStretchLastSection(false);
    viewportOf(header)->installEventFilter(this);
    connect(header, &QHeaderView::sectionResized, this, &NameColumnFit::onSectionResized);
}

int NameColumnFit::othersWidth(int except) const
{
    int width = 0;
    for (int i = 1; i < m_header->count(); ++i) {
        if (i != except && !m_header->isSectionHidden(i))
            width += m_header->sectionSize(i);
    }
    return width;
}

void NameColumnFit::fit()
{
    const int width = viewportOf(m_header)->width();
    if (m_header->count() == 0 || width <= 0)
        return;
    m_fitting = true;
    m_header->resizeSection(0, qMax(m_header->minimumSectionSize(), width - othersWidth(-1)));
    m_fitting = false;
}

void NameColumnFit::onSectionResized(int logicalIndex, int, int)
{
    if (m_fitting)
        return;
    if (logicalIndex != 0) {
        fit();
        return;
    }
    // The user widened or narrowed the names: the last visible column gives
    // or takes the difference.
    int last = -1;
    for (int i = m_header->count() - 1; i > 0 && last < 0; --i) {
        if (!m_header->isSectionHidden(i))
            last = i;
    }
    if (last < 0)
        return;
    m_fitting = true;
    const int rest = viewportOf(m_header)->width() - m_header->sectionSize(0) - othersWidth(last);
    m_header->resizeSection(last, qMax(m_header->minimumSectionSize(), rest));
    m_fitting = false;
}

bool NameColumnFit::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == viewportOf(m_header) && event->type() == QEvent::Resize)
        fit();
    return QObject::eventFilter(watched, event);
}
