#pragma once
// A pinned folder in the left column: a place button with its own
// right-click menu ("移除").
#include "pfd_global.h"

#include "zBaseButton.h"

class zBaseMenu;

class PFD_EXPORT oftenUseDirButton : public zBaseButton
{
    Q_OBJECT

public:
    explicit oftenUseDirButton(QWidget* parent = nullptr);
    ~oftenUseDirButton() override;

    // The button owns the menu, which has no Qt parent of its own.
    void setContextMenu(zBaseMenu* menu);
    zBaseMenu* contextMenu() const { return m_menu; }

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    zBaseMenu* m_menu = nullptr;
};
