#pragma once
// The dialog's file table. Tab leaves it (the arrows move inside), the row
// that has the keyboard carries a frame of its own, and a row reached by a
// key is announced, so that the dialog treats it as a pressed row.
#include "pfd_global.h"

#include <QColor>
#include <QTableView>

namespace pfd {

// WCAG contrast ratio of two colours, from 1 (same) to 21 (black on white).
PFD_EXPORT double contrastRatio(const QColor& a, const QColor& b);

// The selected row's fill and text, and the frame of the row that has the
// keyboard. The fill keeps at least 3:1 against the white rows around it.
PFD_EXPORT QColor tableSelectionColour();
PFD_EXPORT QColor tableSelectionTextColour();
PFD_EXPORT QColor tableFocusFrameColour();

} // namespace pfd

class PFD_EXPORT FileTableView : public QTableView
{
    Q_OBJECT

public:
    explicit FileTableView(QWidget* parent = nullptr);

    // True while focus-in puts the frame on the first row: no row was
    // picked, so nothing that follows the current row should act.
    bool placingFrame() const { return m_placingFrame; }

signals:
    // The current row changed while a key was being handled (arrows, Page
    // Up/Down, Home/End, typing a name's first letters).
    void currentRowMovedByKey(const QModelIndex& current);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    int m_keyDepth = 0; // inside keyPressEvent
    bool m_placingFrame = false;
};
