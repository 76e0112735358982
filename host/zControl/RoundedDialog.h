#pragma once
// A frameless dialog the user can move by its title area, with a close
// button ready for the subclass to place.
#include "zcontrol_global.h"
#include "FramelessDialog.h"
#include <QPoint>

class zBaseButton;

class ZCONTROL_EXPORT RoundedDialog : public FramelessDialog
{
    Q_OBJECT
public:
    explicit RoundedDialog(QWidget* parent = nullptr);

    // A child of the dialog, in no layout and hidden until a subclass places
    // and shows it; a click rejects the dialog.
    zBaseButton* GetBtnClose() const { return m_btnClose; }

    // Installed on a title widget, a left-button press there and a move drag
    // the window; such moves are consumed, every other event passes on.
    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    // Pressing in the top 40 (scaled) pixels of the body drags the window.
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void beginDrag(const QPoint& globalPos);
    bool dragTo(const QPoint& globalPos);

    zBaseButton* m_btnClose = nullptr;
    bool m_pressed = false;
    bool m_moving = false;
    QPoint m_pressGlobal;
    QPoint m_windowAtPress;
};
