#pragma once
// The host's label; the control type is kept for host code that sets it.
#include "zbasecontrol_global.h"
#include <QLabel>

class ZBASECONTROL_EXPORT zBaseLabel : public QLabel
{
    Q_OBJECT
public:
    explicit zBaseLabel(QWidget* parent = nullptr);
    explicit zBaseLabel(const QString& text, QWidget* parent = nullptr);

    void setControlType(int type) { m_controlType = type; }
    int controlType() const { return m_controlType; }

private:
    int m_controlType = 0;
};
