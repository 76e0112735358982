#pragma once
// The host's plain widget. It paints its style-sheet background itself so that
// "background" and "border" rules work on it and on its subclasses.
#include "zbasecontrol_global.h"
#include <QWidget>

class ZBASECONTROL_EXPORT zBaseWidget : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(int controlType READ controlType WRITE setControlType)
public:
    explicit zBaseWidget(QWidget* parent = nullptr);

    void setControlType(int type) { m_controlType = type; }
    int controlType() const { return m_controlType; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int m_controlType = 0;
};
