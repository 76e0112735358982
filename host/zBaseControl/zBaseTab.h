#pragma once
// The host's tab: a flat text button with an accent bar under it while it is
// the selected tab. The owner listens to sigTabClick and sets the other tabs
// back to normal.
#include "zbasecontrol_global.h"
#include <QPushButton>

class ZBASECONTROL_EXPORT zBaseTab : public QPushButton
{
    Q_OBJECT
    Q_PROPERTY(int tabState READ tabState WRITE setTabState)

public:
    enum TabState { Normal = 1, Selected = 4 };

    explicit zBaseTab(QWidget* parent = nullptr);
    explicit zBaseTab(const QString& text, QWidget* parent = nullptr);

    // 4 selects the tab; any other state shows it unselected.
    void setTabState(int state);
    int tabState() const { return m_state; }

public slots:
    // Selects this tab and announces it; a mouse click lands here.
    void tabClick();

signals:
    void sigTabClick(zBaseTab* tab);

protected:
    bool event(QEvent* event) override;
    // Clicking never unselects: the selection moves only through tabClick.
    void nextCheckState() override {}

private:
    int m_state = Normal;
};
