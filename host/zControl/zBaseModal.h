#pragma once
// The suite's modal dialog: rounded, frameless, draggable, with a close button.
#include "zcontrol_global.h"
#include "MQBaseDialog.h"

class ZCONTROL_EXPORT zBaseModal : public MQBaseDialog
{
    Q_OBJECT
public:
    explicit zBaseModal(QWidget* parent = nullptr);
};
