#include "zBaseTab.h"
#include "zBaseControl_p.h"

#include <QEvent>

zBaseTab::zBaseTab(QWidget* parent)
    : zBaseTab(QString(), parent)
{
}

zBaseTab::zBaseTab(const QString& text, QWidget* parent)
    : QPushButton(text, parent)
{
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    zBaseControlPrivate::setThemeSheet(this, zBaseControlPrivate::themed(
        "QPushButton{background:transparent;color:@secondary-font-color@;border:none;"
        "border-bottom:2px solid transparent;border-radius:0px;padding:6px 12px;font-size:13px;}"
        "QPushButton:hover{color:@font-color@;}"
        "QPushButton:checked{color:@accent-color@;border-bottom:2px solid @accent-color@;}"
        "QPushButton:disabled{color:@disabled-font-color@;}"));
    connect(this, &QAbstractButton::clicked, this, &zBaseTab::tabClick);
}

void zBaseTab::setTabState(int state)
{
    m_state = state;
    setChecked(state == Selected);
}

void zBaseTab::tabClick()
{
    setTabState(Selected);
    emit sigTabClick(this);
}

bool zBaseTab::event(QEvent* event)
{
    zBaseControlPrivate::applyThemeSheet(this, event);
    return QPushButton::event(event);
}
