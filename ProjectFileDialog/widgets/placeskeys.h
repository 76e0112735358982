#pragma once
// The keyboard in the column of places: the whole column, pinned folders
// included, is one Tab stop; Up and Down move between the places, Home and
// End to the first and last, Return (or Space) opens the one with the focus.
// Every place can take the focus (a click gives it), but only one of them
// is reached by Tab: the one used last, else the place shown.
#include "pfd_global.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QVector>

#include <functional>

class QAbstractButton;

namespace pfd {

// The next usable entry from `from` going by step (+1 or -1), without
// wrapping round; -1 when there is none.
PFD_EXPORT int stepPlace(const QVector<bool>& usable, int from, int step);

// Which entry is the column's Tab stop: the focused one, else the checked
// one, else the previous stop, else the first usable one (each only when it
// is usable; -1 for none given); -1 when no entry is usable.
PFD_EXPORT int placeTabStop(const QVector<bool>& usable, int focused, int checked, int previous);

} // namespace pfd

class PFD_EXPORT PlacesKeys : public QObject
{
    Q_OBJECT

public:
    explicit PlacesKeys(QObject* parent = nullptr);

    // The places in the column's order, from the top.
    void setButtons(const QList<QAbstractButton*>& buttons);
    // Brings a place that took the focus into sight (pinned folders scroll).
    void setReveal(std::function<void(QAbstractButton*)> reveal) { m_reveal = std::move(reveal); }
    // Chooses the Tab stop again; the column calls it itself whenever a
    // place is shown, hidden, enabled, disabled or focused.
    void refresh();
    QAbstractButton* tabStop() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QVector<bool> usable() const;
    // The place at `index`; null once it is gone or while it is being
    // destroyed (its QWidget destructor still sends events, when it is no
    // longer a button).
    QAbstractButton* button(int index) const;
    int indexOf(const QObject* place) const;
    void moveFocus(int from, int step);

    // Held as objects and cast on use, never downcast blindly: see button().
    QList<QPointer<QObject>> m_buttons;
    QPointer<QObject> m_stop;
    std::function<void(QAbstractButton*)> m_reveal;
    bool m_refreshing = false;
};
