#pragma once
// The suite's base dialog; adds nothing the file dialog relies on beyond the
// rounded dialog.
#include "zcontrol_global.h"
#include "RoundedDialog.h"

class ZCONTROL_EXPORT MQBaseDialog : public RoundedDialog
{
    Q_OBJECT
public:
    explicit MQBaseDialog(QWidget* parent = nullptr);
};
