#include "zCommonSplitter.h"
#include "zBaseControl_p.h"

zCommonSplitter::zCommonSplitter(QWidget* parent)
    : zCommonSplitter(Qt::Horizontal, parent)
{
}

zCommonSplitter::zCommonSplitter(Qt::Orientation orientation, QWidget* parent)
    : QSplitter(orientation, parent)
{
    setHandleWidth(1);
    setChildrenCollapsible(false);
    setStyleSheet(zBaseControlPrivate::themed("QSplitter::handle{background:@border-color@;}"));
}
