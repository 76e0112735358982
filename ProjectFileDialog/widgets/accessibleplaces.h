#pragma once
// What a screen reader is told about the column of places. A place is a
// checkable button; the toolkit would report it as a check box, and the
// pinned folders, being widgets inside a list view's rows, would not be
// reported at all.
#include "pfd_global.h"

#include <QListWidget>

class QAbstractButton;
class QComboBox;

// A list view whose rows are widgets (the pinned folders). A class of its
// own, so the toolkit's interface for plain list views does not answer
// for it first.
class PFD_EXPORT WidgetRowList : public QListWidget
{
    Q_OBJECT

public:
    explicit WidgetRowList(QWidget* parent = nullptr);
};

namespace pfd {

// Reported as a button that can be pressed and take the focus, named by
// its text, with its checked state.
PFD_EXPORT void markAsPlace(QAbstractButton* button);
// Reported as a group whose children are the widgets of its rows.
PFD_EXPORT void markAsWidgetList(QListWidget* list);
// A combo box named by its accessible name, its value the current text
// (the toolkit names it by the current text on Linux).
PFD_EXPORT void markAsNamedCombo(QComboBox* combo);
// Makes the kinds above known to the accessibility framework; once per
// process, before the first widget is made (each mark calls it too, and
// drops an interface the framework made before the mark).
PFD_EXPORT void installAccessibleInterfaces();

} // namespace pfd
