#pragma once
// A window without the system frame: a white body with rounded corners, a
// thin border and a soft shadow around it. The shadow lives in the widget's
// contents margins, so layouts set on the dialog fill the body only.
// Unless its size is fixed, the user resizes it by its edges and corners;
// it opens no larger than the free area of its screen, centred there.
#include "zcontrol_global.h"
#include <QDialog>
#include <QElapsedTimer>

class ZCONTROL_EXPORT FramelessDialog : public QDialog
{
    Q_OBJECT
public:
    explicit FramelessDialog(QWidget* parent = nullptr);

    // Size of the body; the shadow margin is added around it.
    void resize(int w, int h);
    void resize(const QSize& size) { resize(size.width(), size.height()); }

    // Width of the shadow band on each side (0 while maximised).
    int shadowMargin() const { return m_margin; }
    // The body's rectangle in widget coordinates.
    QRect bodyRect() const;
    // The body's size the window has, or returns to from maximised.
    QSize normalBodySize() const;

    // The free area (without panels) of the parent's screen, or of the
    // screen under the pointer when there is no parent.
    QRect availableArea() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool event(QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void answerSettlingMove(class QMoveEvent* event);

    friend class FramelessFrameOverlay;
    friend class FramelessEdgeResizer;
    QWidget* m_overlay = nullptr;
    QObject* m_resizer = nullptr;
    bool m_placed = false;
    // Where the window was put when it opened, and how long ago: reports of
    // another place that come in while the window manager settles it are
    // answered by putting it there again.
    QRect m_placedAt;
    QElapsedTimer m_settling;
    int m_replacements = 0;
    int m_margin = 0;
};
