#include "oftenUseDirButton.h"

#include "zBaseMenu.h"

#include <QContextMenuEvent>
#include <QPointer>

oftenUseDirButton::oftenUseDirButton(QWidget* parent)
    : zBaseButton(parent)
{
}

oftenUseDirButton::~oftenUseDirButton()
{
    delete m_menu;
}

void oftenUseDirButton::setContextMenu(zBaseMenu* menu)
{
    if (m_menu != menu)
        delete m_menu;
    m_menu = menu;
}

void oftenUseDirButton::contextMenuEvent(QContextMenuEvent* event)
{
    if (!m_menu)
        return;
    // "移除" may delete this very button while the menu runs.
    QPointer<zBaseMenu> menu = m_menu;
    menu->exec(event->globalPos());
}
