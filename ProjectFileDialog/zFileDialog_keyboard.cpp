// The keyboard everywhere in the dialog: the order Tab follows, the keys of
// the common desktops (Alt+Left, Alt+Up, F5, Ctrl+L ...), the column of
// places as one Tab stop, a row reached by a key treated as a pressed one,
// and what a screen reader is told.
#include "zFileDialog.h"

#include "AddressBar.h"
#include "accessibleplaces.h"
#include "pathstyle.h"
#include "filetableview.h"
#include "focusring.h"
#include "placeskeys.h"
#include "zBaseButton.h"
#include "zBaseCombox.h"
#include "zBaseLineEdit.h"
#include "zBaseTab.h"
#include "zFileDialogUi.h"

#include <QAction>
#include <QButtonGroup>
#include <QDir>
#include <QListWidget>
#include <QPushButton>
#include <QShortcut>
#include <QStackedWidget>
#include <QTableView>

void zFileDialog::setupKeyboard()
{
    pfd::installAccessibleInterfaces();

    m_placesKeys = new PlacesKeys(this);
    m_placesKeys->setReveal([this](QAbstractButton* place) {
        for (int row = 0; row < ui->oftenUseList->count(); ++row) {
            if (ui->oftenUseList->itemWidget(ui->oftenUseList->item(row)) == place)
                ui->oftenUseList->scrollToItem(ui->oftenUseList->item(row));
        }
    });
    // The place shown becomes the column's Tab stop.
    connect(ui->placeGroup, qOverload<QAbstractButton*, bool>(&QButtonGroup::buttonToggled), m_placesKeys,
            [this](QAbstractButton*, bool) { m_placesKeys->refresh(); });
    updatePlacesKeys();

    new FocusRing(this);
    // Return on a button that has the keyboard presses it (keyPressEvent);
    // no button is made the dialog's default behind the user's back.
    for (QPushButton* button : findChildren<QPushButton*>())
        button->setAutoDefault(false);

    auto* table = static_cast<FileTableView*>(ui->tableView);
    connect(table, &FileTableView::currentRowMovedByKey, this, [this](const QModelIndex& current) {
        // The same as pressing the row: the viewport's press enables OK,
        // then the dialog at hand reads the row.
        ui->okButton->setEnabled(true);
        slotSelectCurrent(current);
    });

    auto windowKey = [this](const QKeySequence& keys, auto slot) {
        auto* shortcut = new QShortcut(keys, this);
        shortcut->setContext(Qt::WindowShortcut);
        connect(shortcut, &QShortcut::activated, this, slot);
    };
    windowKey(QKeySequence(Qt::ALT | Qt::Key_Left), [this] {
        if (ui->backButton->isEnabled() && !ui->backButton->isHidden())
            onBackwardsButton();
    });
    windowKey(QKeySequence(Qt::ALT | Qt::Key_Up), [this] { goToParentFolder(); });
    windowKey(QKeySequence(Qt::Key_F5), [this] {
        if (ui->refreshButton->isEnabled() && !ui->refreshButton->isHidden())
            slotRefresh();
    });
    windowKey(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N), [this] {
        if (ui->createFileButton->isEnabled() && !ui->createFileButton->isHidden()
            && fileMenuAllows(&zFileDialogUi::acNewFolder))
            onCreateFileButton();
    });
    for (const QKeySequence& keys :
         {QKeySequence(Qt::CTRL | Qt::Key_L), QKeySequence(Qt::ALT | Qt::Key_D), QKeySequence(Qt::Key_F4)})
        windowKey(keys, [this] { focusAddressBar(); });

    // The file menu's entries act on the table's current row, so their keys
    // work while the table has the keyboard (a text field keeps its own
    // Delete, Ctrl+C and Ctrl+V).
    auto tableKey = [this](const QKeySequence& keys, QAction* zFileDialogUi::*entry, void (zFileDialog::*slot)()) {
        auto* shortcut = new QShortcut(keys, ui->tableView);
        shortcut->setContext(Qt::WidgetShortcut);
        connect(shortcut, &QShortcut::activated, this, [this, entry, slot] {
            if (fileMenuAllows(entry))
                (this->*slot)();
        });
    };
    tableKey(QKeySequence(Qt::Key_Delete), &zFileDialogUi::acDel, &zFileDialog::delField);
    tableKey(QKeySequence(Qt::Key_F2), &zFileDialogUi::acRename, &zFileDialog::renameField);
    tableKey(QKeySequence(Qt::CTRL | Qt::Key_C), &zFileDialogUi::acCopy, &zFileDialog::slotCopy);
    tableKey(QKeySequence(Qt::CTRL | Qt::Key_V), &zFileDialogUi::acPaste, &zFileDialog::slotPaste);

    // The keyboard starts in the file-name field, as in the system dialogs.
    ui->fileNameEdit->setFocus(Qt::OtherFocusReason);
}

bool zFileDialog::fileMenuAllows(QAction* zFileDialogUi::*entry)
{
    // The cloud views have no file menu.
    if (isCloudPath(m_currentDir))
        return false;
    if (!ui->fileMenu)
        buildFileMenu();
    // The rules the menu applies each time it opens, on the current row.
    aboutToShow();
    const QAction* action = ui->*entry;
    return action->isVisible() && action->isEnabled();
}

void zFileDialog::goToParentFolder()
{
    if (isCloudPath(m_currentDir) || m_isRecent || ui->stackedWidget->currentIndex() != 0)
        return;
    const QString up = pfd::upFolder(m_currentDir);
    if (!up.isEmpty())
        updateCurrentPath(up, tracing);
}

void zFileDialog::focusAddressBar()
{
    if (ui->addressBar->hasFocus())
        ui->addressBar->selectAll();
    else
        ui->addressBar->setFocus(Qt::ShortcutFocusReason);
}

void zFileDialog::updatePlacesKeys()
{
    QList<QAbstractButton*> places{ui->recentButton,  ui->currentProjectButton, ui->companyYunButton,
                                   ui->personYunButton, ui->desktopButton,      ui->computerButton,
                                   ui->documentButton,  ui->otherPathButton};
    for (int row = 0; row < ui->oftenUseList->count(); ++row) {
        if (auto* pinned = qobject_cast<QAbstractButton*>(ui->oftenUseList->itemWidget(ui->oftenUseList->item(row))))
            places << pinned;
    }
    m_placesKeys->setButtons(places);

    // Tab runs down the window as it reads: the places, the tool row, the
    // table, the fields and buttons, then the title bar's buttons.
    QList<QWidget*> chain;
    for (QAbstractButton* place : qAsConst(places))
        chain << place;
    chain << ui->backButton << ui->addressBar << ui->refreshButton << ui->createFileButton << ui->figureButton;
    for (zBaseTab* tab : qAsConst(ui->recentTabs))
        chain << tab;
    chain << ui->tableView << ui->fileNameEdit << ui->fileTypeCombo << ui->chooseDirButton << ui->okButton
          << ui->cancelButton << ui->maximizeButton << ui->closeButton;
    for (int i = 0; i + 1 < chain.size(); ++i)
        QWidget::setTabOrder(chain.at(i), chain.at(i + 1));
}
