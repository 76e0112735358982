#pragma once
// The host's push button: text, a normal / hover / pressed icon trio taken
// from files or resources, and a control type that picks its look.
#include "zbasecontrol_global.h"
#include <QIcon>
#include <QPushButton>

class ZBASECONTROL_EXPORT zBaseButton : public QPushButton
{
    Q_OBJECT
    Q_PROPERTY(int controlType READ controlType WRITE setControlType)
    Q_PROPERTY(QString currentIconPath READ currentIconPath)

public:
    // Control types the stand-in styles; any other value is a flat tool button.
    enum ControlType {
        PushButton = 0,     // white, bordered
        PrimaryButton = 1,  // accent background, white text
        SecondaryButton = 2,
        PlaceButton = 56,   // left-panel place: flat, left aligned, tinted when checked
        CrumbButton = 63,   // address-bar segment
    };

    explicit zBaseButton(QWidget* parent = nullptr);
    explicit zBaseButton(const QString& text, QWidget* parent = nullptr);

    void SetText(const QString& text);

    // Paths of SVG or bitmap files (":/..." resources or plain files). The
    // hover icon also shows while the button is checked; the pressed one while
    // the mouse button is down. An empty hover or pressed path keeps normal.
    void setIcon(const QString& normal, const QString& hover = QString(),
                 const QString& pressed = QString());
    // A ready icon; forgets the paths above.
    void setIcon(const QIcon& icon);

    QString normalIcon() const { return m_normalPath; }
    QString hoverIcon() const { return m_hoverPath; }
    QString pressedIcon() const { return m_pressedPath; }
    // Path of the icon on show now; empty without a path-based icon.
    QString currentIconPath() const { return m_currentPath; }

    void setControlType(int type);
    int controlType() const { return m_controlType; }

protected:
    bool event(QEvent* event) override;
    void enterEvent(QEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void applySheet();
    void updateIcon();

    QString m_normalPath, m_hoverPath, m_pressedPath, m_currentPath;
    QIcon m_normal, m_hover, m_pressed;
    int m_controlType = PushButton;
    bool m_hovered = false;
};
