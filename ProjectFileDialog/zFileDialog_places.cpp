// Recent projects and pinned folders of the left column.
#include "zFileDialog.h"

#include "scaled.h"
#include "SharedInterface.h"
#include "TranMiUtilAction.h"
#include "fileInfoJsonUtil.h"
#include "accessibleplaces.h"
#include "fileModelLocal.h"
#include "lsjl.h"
#include "oftenUseDirButton.h"
#include "zBaseLabel.h"
#include "zBaseMenu.h"
#include "zBaseTab.h"
#include "zFileDialogUi.h"

#include <QButtonGroup>
#include <QHeaderView>
#include <QFile>
#include <QListWidget>
#include <QStackedWidget>
#include <QTableView>

using pfd::px;

QString zFileDialog::storeFile()
{
    return SharedInterface::GetAppPath() + QStringLiteral("/filecy.json");
}

// ---- pinned folders --------------------------------------------------------------

void zFileDialog::loadOftenUseFromJson()
{
    QList<FileInfo> pinned;
    fileInfoJsonUtil::ReadFileInfoListFromJson(storeFile(), QStringLiteral("OftenUse"), pinned);
    if (pinned.isEmpty())
        return;
    ui->oftenUseHeader->show();
    // A pinned folder that has gone still gets its button; a click on it is
    // handled like any unreachable path.
    for (const FileInfo& info : pinned)
        buildAndAddOftenUseDirBtn(info);
}

void zFileDialog::buildAndAddOftenUseDirBtn(const FileInfo& info)
{
    auto* button = new oftenUseDirButton(ui->placesContainer);
    pfd::markAsPlace(button);
    button->SetText(info.name);
    button->setToolTip(info.path);
    button->setFixedSize(px(300.0), px(38.0));
    button->setCheckable(true);
    button->setControlType(56);
    button->setIcon(QStringLiteral(":/Image/filedlgicon/dir.png"), QString(), QString());
    button->setIconSize(QSize(px(16), px(16)));
    button->setAutoDefault(false);

    auto* item = new QListWidgetItem;
    item->setSizeHint(QSize(0, px(44.0)));
    ui->oftenUseList->addItem(item);
    ui->oftenUseList->setItemWidget(item, button);

    auto* menu = new zBaseMenu;
    QAction* remove = menu->addAction(QStringLiteral("移除"));
    remove->setShortcut(QKeySequence());
    connect(remove, &QAction::triggered, this, [this, button] { removeOftenUseByMenu(button); });
    button->setContextMenu(menu);

    connect(button, &QAbstractButton::clicked, this, [this, button] { onOftenUseClicked(button); });
    ui->placeGroup->addButton(button, -1);
    m_oftenUse.insert(button, info);
    if (m_placesKeys)
        updatePlacesKeys();
}

void zFileDialog::onOftenUseClicked(oftenUseDirButton* button)
{
    const auto it = m_oftenUse.constFind(button);
    if (it == m_oftenUse.constEnd())
        return;
    const FileInfo info = it.value();
    showFileTable();
    const QString target = (info.isShortcut() || info.isNetDrive()) ? info.symLinkTarget : info.path;
    updateCurrentPath(target, tracing);
    iClickedBtn = 7;
}

void zFileDialog::removeOftenUseByMenu(oftenUseDirButton* button)
{
    // The count is read before anything is removed, so removing the last pin
    // leaves the header up until the next dialog; users know it this way.
    if (fileInfoJsonUtil::GetArraySizeFromJson(storeFile(), QStringLiteral("OftenUse")) == 0)
        ui->oftenUseHeader->hide();
    // The list's current row goes, which need not be this button's row.
    delete ui->oftenUseList->takeItem(ui->oftenUseList->currentRow());
    const auto it = m_oftenUse.constFind(button);
    if (it != m_oftenUse.constEnd())
        fileInfoJsonUtil::RemoveFileInfoFromJson(storeFile(), QStringLiteral("OftenUse"), it.value().path);
    m_oftenUse.remove(button);
    updatePlacesKeys();
}

bool zFileDialog::isExistInDirBtns(const QString& path) const
{
    for (auto it = m_oftenUse.constBegin(); it != m_oftenUse.constEnd(); ++it) {
        if (it.value().path == path)
            return true;
    }
    return false;
}

void zFileDialog::removeDirBtnByPath(const QString& path)
{
    for (auto it = m_oftenUse.begin(); it != m_oftenUse.end(); ++it) {
        if (it.value().path != path || ui->oftenUseList->count() == 0)
            continue;
        for (int row = 0; row < ui->oftenUseList->count(); ++row) {
            QListWidgetItem* item = ui->oftenUseList->item(row);
            if (ui->oftenUseList->itemWidget(item) == it.key()) {
                delete ui->oftenUseList->takeItem(row);
                m_oftenUse.erase(it);
                updatePlacesKeys();
                return;
            }
        }
    }
}

void zFileDialog::RenameDirBtnByPath(const QString& oldPath, const QString& newName, const QString& newPath)
{
    for (auto it = m_oftenUse.begin(); it != m_oftenUse.end(); ++it) {
        if (it.value().path != oldPath)
            continue;
        it.value().path = newPath;
        it.value().name = newName;
        // A button whose row was removed through another button's menu may
        // be gone; only a button still in the list is touched.
        for (int row = 0; row < ui->oftenUseList->count(); ++row) {
            if (ui->oftenUseList->itemWidget(ui->oftenUseList->item(row)) == it.key()) {
                it.key()->SetText(newName);
                it.key()->setToolTip(newPath);
            }
        }
        return;
    }
}

void zFileDialog::slotFixToOftenUse()
{
    const QModelIndex index = ui->tableView->currentIndex();
    const FileInfo* row = fileInfoAt(index);
    if (!row)
        return;
    const FileInfo info = *row;
    if (isExistInDirBtns(info.path)) {
        removeDirBtnByPath(info.path);
        fileInfoJsonUtil::RemoveFileInfoFromJson(storeFile(), QStringLiteral("OftenUse"), info.path);
        return;
    }
    buildAndAddOftenUseDirBtn(info);
    const int before = fileInfoJsonUtil::GetArraySizeFromJson(storeFile(), QStringLiteral("OftenUse"));
    fileInfoJsonUtil::WriteJsonFromFileInfo(storeFile(), QStringLiteral("OftenUse"), info);
    if (before == 0)
        ui->oftenUseHeader->show();
}

// ---- recent projects ----------------------------------------------------------------

void zFileDialog::initRecentTab()
{
    for (zBaseTab* tab : ui->recentTabs)
        connect(tab, &zBaseTab::sigTabClick, this, &zFileDialog::onRecentTab);
}

void zFileDialog::slotBtnRecentClicked()
{
    ui->tableView->setEditTriggers(QAbstractItemView::SelectedClicked | QAbstractItemView::EditKeyPressed);
    // The recent list keeps the order in which projects were opened.
    ui->tableView->setSortingEnabled(false);
    ui->stackedWidget->setCurrentIndex(1);
    const QString hostValue =
        zHttpUtil::TranMiUtil()->JudageValue(QStringLiteral("文件对话框-当前工程位置"), QString());
    // Visible as the toolkit means it: while the dialog reopens the recent
    // place before it is shown, the default tab opens.
    if (!hostValue.isEmpty() && ui->recentProjectTab->isVisible())
        ui->recentProjectTab->tabClick();
    else
        ui->recentDefaultTab->tabClick();
    ui->localModel->setShowPathColumn(true);
    // The path column needs the room the size column had.
    sizeTableColumns();
    m_isRecent = true;
    ui->recentButton->setChecked(true);
    iClickedBtn = 8;
}

void zFileDialog::onRecentTab(zBaseTab* tab)
{
    for (zBaseTab* other : ui->recentTabs)
        other->setTabState(other == tab ? 4 : 1);
    if (tab != ui->recentProjectTab) {
        QList<FileInfo> recent;
        fileInfoJsonUtil::ReadFileInfoListFromJson(storeFile(), QStringLiteral("RecentFile"), recent);
        ui->localModel->setFiles(recent);
        ui->localModel->setNameFilters(m_recentTabMap.value(tab));
        ui->localModel->applyNameFilters();
        setTableModel(ui->localModel);
        m_isCurrentProjectTab = false;
        return;
    }
    ui->localModel->setNameFilters(m_recentTabMap.value(ui->recentAllTab));
    oncurrentProjectPathButton();
    m_isCurrentProjectTab = true;
}

void zFileDialog::readLsjlFile()
{
    m_lsjlLines.clear();
    QFile file(SharedInterface::GetAppPath() + QStringLiteral("/FileList.Ini"));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return;
    m_lsjlLines = pfd::readHistoryLines(file);
}

bool zFileDialog::parseOneRowLsjl(QString& path, QPair<QDateTime, QString>& row, const QString& line)
{
    return pfd::parseHistoryLine(path, row, line);
}

QList<FileInfo> zFileDialog::convertLsjlFileToFileInfoList()
{
    QList<FileInfo> list;
    for (const QString& line : qAsConst(m_lsjlLines)) {
        const QStringList fields = pfd::splitHistoryLine(line);
        if (fields.size() <= 8 || fields.at(0) != QLatin1String("bd"))
            continue;
        QString date = fields.at(2);
        date.remove(QLatin1Char('(')).remove(QLatin1Char(')'));
        FileInfo info;
        QString unused;
        SharedInterface::GetFileInfo(fields.at(1), info.name, unused, info.type, info.size);
        info.datetime = date.trimmed();
        info.path = fields.at(1);
        list << info;
    }
    return list;
}
