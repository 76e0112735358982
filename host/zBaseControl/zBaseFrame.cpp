#include "zBaseFrame.h"

zBaseFrame::zBaseFrame(QWidget* parent)
    : QFrame(parent)
{
}
