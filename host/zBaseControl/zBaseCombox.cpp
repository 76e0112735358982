#include "zBaseCombox.h"
#include "zBaseControl_p.h"

#include <QEvent>
#include "zBaseTheme.h"

#include <QAbstractItemView>
#include <QPainter>
#include <QStyledItemDelegate>

namespace {
constexpr int kArrowWidth = 24;
}

zBaseCombox::zBaseCombox(QWidget* parent)
    : QComboBox(parent)
{
    // The styled delegate lets the sheet give the popup rows their height.
    setItemDelegate(new QStyledItemDelegate(this));
    zBaseControlPrivate::setThemeSheet(this, zBaseControlPrivate::themed(
        "QComboBox{background:@background-color@;color:@font-color@;border:1px solid @border-color@;"
        "border-radius:4px;padding:3px 8px;font-size:13px;}"
        "QComboBox:hover{border-color:@accent-hover-color@;}"
        "QComboBox:on,QComboBox:focus{border-color:@accent-color@;}"
        "QComboBox:disabled{color:@disabled-font-color@;background:@disabled-background-color@;"
        "border-color:@border-color@;}"
        "QComboBox::drop-down{border:none;width:24px;}"
        "QComboBox::down-arrow{image:none;width:0px;height:0px;}"
        "QComboBox QAbstractItemView{background:@background-color@;border:1px solid @border-color@;"
        "outline:0px;padding:4px 0px;}"
        "QComboBox QAbstractItemView::item{min-height:28px;padding:0px 8px;color:@font-color@;}"
        "QComboBox QAbstractItemView::item:hover,QComboBox QAbstractItemView::item:selected"
        "{background:@hover-color@;color:@font-color@;}"));
}

void zBaseCombox::paintEvent(QPaintEvent* event)
{
    QComboBox::paintEvent(event);
    // The sheet hides the platform arrow; a thin chevron matches the theme.
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QColor colour(zBaseTheme::color(isEnabled() ? QStringLiteral("secondary-font-color")
                                                      : QStringLiteral("disabled-font-color")));
    p.setPen(QPen(colour, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    const QPointF c(width() - kArrowWidth / 2.0, height() / 2.0);
    const QPointF points[] = {c + QPointF(-4, -2), c + QPointF(0, 2), c + QPointF(4, -2)};
    p.drawPolyline(points, 3);
}

bool zBaseCombox::event(QEvent* event)
{
    zBaseControlPrivate::applyThemeSheet(this, event);
    return QComboBox::event(event);
}
