// Recent projects and pinned folders of the left column.
#include "zFileDialog.h"

#include "zBaseTab.h"
#include "zFileDialogUi.h"

void zFileDialog::initRecentTab()
{
    for (zBaseTab* tab : ui->recentTabs)
        connect(tab, &zBaseTab::sigTabClick, this, [this](zBaseTab* clicked) {
            for (zBaseTab* other : ui->recentTabs)
                other->setTabState(other == clicked ? 4 : 1);
        });
}

void zFileDialog::slotBtnRecentClicked()
{
    // The recent page fills itself from the store once pinned and recent
    // places are built; until then the place only shows its tabs.
    iClickedBtn = 8;
}

void zFileDialog::slotFixToOftenUse()
{
}

void zFileDialog::RenameDirBtnByPath(const QString&, const QString&, const QString&)
{
}
