#pragma once
// The host's combo box: flat, bordered, with its own chevron.
#include "zbasecontrol_global.h"
#include <QComboBox>

class ZBASECONTROL_EXPORT zBaseCombox : public QComboBox
{
    Q_OBJECT
public:
    explicit zBaseCombox(QWidget* parent = nullptr);

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
};
