#include "zFileDialog.h"

#include "models/shellicon.h"

zFileDialog::zFileDialog(QWidget* parent)
    : zBaseModal(parent)
{
}

zFileDialog::~zFileDialog() = default;

QIcon zFileDialog::fileIcon(const QString& key)
{
    return pfd::fileIconForKey(key);
}

void zFileDialog::RenameDirBtnByPath(const QString&, const QString&, const QString&)
{
    // Pinned-folder buttons arrive with the left panel.
}
