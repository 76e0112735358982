#pragma once
// The host's frame; plain, so that host style sheets decide its look.
#include "zbasecontrol_global.h"
#include <QFrame>

class ZBASECONTROL_EXPORT zBaseFrame : public QFrame
{
    Q_OBJECT
public:
    explicit zBaseFrame(QWidget* parent = nullptr);

    void setControlType(int type) { m_controlType = type; }
    int controlType() const { return m_controlType; }

private:
    int m_controlType = 0;
};
