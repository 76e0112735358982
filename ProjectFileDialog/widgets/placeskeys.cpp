#include "placeskeys.h"

#include <QAbstractButton>
#include <QKeyEvent>

namespace pfd {

int stepPlace(const QVector<bool>& usable, int from, int step)
{
    for (int i = from + step; i >= 0 && i < usable.size(); i += step) {
        if (usable.at(i))
            return i;
    }
    return -1;
}

int placeTabStop(const QVector<bool>& usable, int focused, int checked, int previous)
{
    for (int candidate : {focused, checked, previous}) {
        if (candidate >= 0 && candidate < usable.size() && usable.at(candidate))
            return candidate;
    }
    return stepPlace(usable, -1, 1);
}

} // namespace pfd

PlacesKeys::PlacesKeys(QObject* parent)
    : QObject(parent)
{
}

void PlacesKeys::setButtons(const QList<QAbstractButton*>& buttons)
{
    for (const QPointer<QObject>& b : qAsConst(m_buttons)) {
        if (b)
            b->removeEventFilter(this);
    }
    m_buttons.clear();
    for (QAbstractButton* b : buttons) {
        m_buttons << b;
        b->installEventFilter(this);
    }
    refresh();
}

QAbstractButton* PlacesKeys::button(int index) const
{
    return qobject_cast<QAbstractButton*>(m_buttons.at(index).data());
}

QAbstractButton* PlacesKeys::tabStop() const
{
    return qobject_cast<QAbstractButton*>(m_stop.data());
}

QVector<bool> PlacesKeys::usable() const
{
    QVector<bool> result;
    result.reserve(m_buttons.size());
    for (int i = 0; i < m_buttons.size(); ++i) {
        const QAbstractButton* b = button(i);
        result << (b && b->isEnabled() && b->isVisibleTo(b->window()));
    }
    return result;
}

int PlacesKeys::indexOf(const QObject* place) const
{
    if (!place)
        return -1;
    for (int i = 0; i < m_buttons.size(); ++i) {
        if (m_buttons.at(i).data() == place)
            return i;
    }
    return -1;
}

void PlacesKeys::refresh()
{
    if (m_refreshing)
        return;
    m_refreshing = true;
    int focused = -1;
    int checked = -1;
    for (int i = 0; i < m_buttons.size(); ++i) {
        const QAbstractButton* b = button(i);
        if (!b)
            continue;
        if (b->hasFocus())
            focused = i;
        if (b->isChecked() && checked < 0)
            checked = i;
    }
    const int stop = pfd::placeTabStop(usable(), focused, checked, indexOf(m_stop.data()));
    m_stop = stop >= 0 ? m_buttons.at(stop).data() : nullptr;
    // Every place keeps the click focus, so it reports itself as focusable;
    // only the stop is also reached by Tab.
    for (int i = 0; i < m_buttons.size(); ++i) {
        if (QAbstractButton* b = button(i))
            b->setFocusPolicy(i == stop ? Qt::StrongFocus : Qt::ClickFocus);
    }
    m_refreshing = false;
}

void PlacesKeys::moveFocus(int from, int step)
{
    const int to = pfd::stepPlace(usable(), from, step);
    if (to < 0)
        return;
    QAbstractButton* target = button(to);
    if (m_reveal)
        m_reveal(target);
    target->setFocus(step < 0 ? Qt::BacktabFocusReason : Qt::TabFocusReason);
}

bool PlacesKeys::eventFilter(QObject* watched, QEvent* event)
{
    const int index = indexOf(watched);
    if (index < 0 || !button(index))
        return QObject::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::KeyPress: {
        auto* key = static_cast<QKeyEvent*>(event);
        if (key->modifiers() & ~Qt::KeypadModifier)
            break;
        switch (key->key()) {
        case Qt::Key_Up:
            moveFocus(index, -1);
            return true;
        case Qt::Key_Down:
            moveFocus(index, 1);
            return true;
        case Qt::Key_Home:
            moveFocus(-1, 1);
            return true;
        case Qt::Key_End:
            moveFocus(m_buttons.size(), -1);
            return true;
        case Qt::Key_Left:
        case Qt::Key_Right:
            // A button of an exclusive group would move and click on its
            // own; the column moves only up and down.
            return true;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            button(index)->click();
            return true;
        default:
            break;
        }
        break;
    }
    case QEvent::FocusIn:
        if (m_reveal)
            m_reveal(button(index));
        m_stop = watched;
        refresh();
        break;
    case QEvent::EnabledChange:
    case QEvent::ShowToParent:
    case QEvent::HideToParent:
        refresh();
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}
