#include "zBaseMenu.h"
#include "zBaseControl_p.h"

#include <QEvent>

zBaseMenu::zBaseMenu(QWidget* parent)
    : zBaseMenu(QString(), parent)
{
}

zBaseMenu::zBaseMenu(const QString& title, QWidget* parent)
    : QMenu(title, parent)
{
    // Without a frame and with a clear background the rounded border of the
    // sheet is what the user sees as the menu's edge.
    setWindowFlags(windowFlags() | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
    setAttribute(Qt::WA_TranslucentBackground);
    zBaseControlPrivate::setThemeSheet(this, zBaseControlPrivate::themed(
        "QMenu{background:@background-color@;border:1px solid @border-color@;border-radius:6px;"
        "padding:4px 0px;font-size:13px;color:@font-color@;}"
        "QMenu::item{padding:6px 28px 6px 16px;background:transparent;color:@font-color@;}"
        "QMenu::item:selected{background:@hover-color@;}"
        "QMenu::item:disabled{color:@disabled-font-color@;}"
        "QMenu::icon{padding-left:10px;}"
        "QMenu::separator{height:1px;background:@border-color@;margin:4px 8px;}"));
}

bool zBaseMenu::event(QEvent* event)
{
    zBaseControlPrivate::applyThemeSheet(this, event);
    return QMenu::event(event);
}
