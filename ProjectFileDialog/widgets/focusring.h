#pragma once
// A ring round the button or list box that has the keyboard. The host's
// flat buttons draw no focus of their own, so a keyboard user would not
// see where Tab went.
#include "pfd_global.h"

#include <QObject>
#include <QPointer>

class QFocusFrame;
class QWidget;

class PFD_EXPORT FocusRing : public QObject
{
    Q_OBJECT

public:
    // Follows the focus inside window for as long as window exists.
    explicit FocusRing(QWidget* window);

    // Whether the ring is drawn round this kind of control.
    static bool wantsRing(const QWidget* widget);
    // The control the ring is on now, if any.
    QWidget* ringed() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void follow(QWidget* now);

    QWidget* m_window = nullptr;
    // Drawn inside the control, so that no layout around it clips the ring;
    // it goes with the control when the control goes.
    QPointer<QFocusFrame> m_frame;
};
