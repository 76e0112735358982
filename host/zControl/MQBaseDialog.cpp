#include "MQBaseDialog.h"

MQBaseDialog::MQBaseDialog(QWidget* parent)
    : RoundedDialog(parent)
{
}
