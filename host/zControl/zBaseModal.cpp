#include "zBaseModal.h"

zBaseModal::zBaseModal(QWidget* parent)
    : MQBaseDialog(parent)
{
    setModal(true);
}
