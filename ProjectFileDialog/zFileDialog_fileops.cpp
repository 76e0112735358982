// The table's context menu and the file operations behind it.
#include "zFileDialog.h"

#include "zFileDialogUi.h"

void zFileDialog::onTableViewContextMenu(QPoint) {}
void zFileDialog::aboutToShow() {}
void zFileDialog::onCreateFileButton() {}
void zFileDialog::delField() {}
void zFileDialog::renameField() {}
void zFileDialog::slotOpenInExplorer() {}
void zFileDialog::slotCopyName() {}
void zFileDialog::slotCopyPath() {}
void zFileDialog::slotCopy() {}
void zFileDialog::slotPaste() {}
