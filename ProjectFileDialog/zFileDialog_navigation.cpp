// Moving between folders: the one path update every local change goes
// through, the back-stack, the places of the left column, the address bar's
// and the completer's reactions, refresh and the list/detail switch.
#include "zFileDialog.h"

#include "AddressBar.h"
#include "HostServices.h"
#include "SharedInterface.h"
#include "Users.h"
#include "fileInfoJsonUtil.h"
#include "fileModelLocal.h"
#include "knownfolderpaths.h"
#include "listing.h"
#include "pathstyle.h"
#include "pfdlog.h"
#include "zBaseButton.h"
#include "zBaseLabel.h"
#include "zBaseLineEdit.h"
#include "zFileDialogUi.h"

#include <QAction>
#include <QButtonGroup>
#include <QVBoxLayout>
#include "zBaseCombox.h"
#include <QDir>
#include <QHeaderView>
#include <QStackedWidget>
#include <QTableView>

namespace {

const QString kEnterpriseCloud = QStringLiteral("企业云盘");
const QString kPersonalCloud = QStringLiteral("个人云盘");

QStringList segments(const QString& path)
{
    return QDir::toNativeSeparators(path).split(zFileDialog::pathFgf, Qt::SkipEmptyParts);
}

bool userLoggedIn()
{
    const UserInfo* user = Users::Instance()->Mqy();
    return user && user->IsLogin();
}

} // namespace

bool zFileDialog::isCloudPath(const QString& path)
{
    const QString first = QDir::toNativeSeparators(path).split(pathFgf, Qt::SkipEmptyParts).value(0);
    return first == kEnterpriseCloud || first == kPersonalCloud;
}

QString zFileDialog::projectPlace(const QString& projectPath)
{
    // A cloud project keeps its whole display path: the place drops the
    // file part itself. A Windows-style path keeps its form wherever the
    // dialog runs ("C:\proj\a.GCFX" -> "C:\proj").
    return isCloudPath(projectPath) ? projectPath : pfd::parentDirPath(projectPath);
}

void zFileDialog::updateCurrentPath(const QString& target, TracAction action)
{
    // Callers hand in a row's own path; the rows are replaced below, so the
    // path is kept here first.
    const QString path = target;
    pfd::logInfo(QStringLiteral("文件对话框---------------开始刷新路径"));
    pfd::logInfo(QStringLiteral("文件对话框------刷新路径：%1").arg(path));
    setGreyXjwjj(path != QLatin1String(":/") && path != QLatin1String(":"));
    ui->stackedWidget->setCurrentIndex(0);

    // The first folder of a dialog pushes the empty folder it started with,
    // so Back is available from the first navigation on.
    if (action == tracing && path != m_currentDir) {
        pfd::logInfo(QStringLiteral("文件对话框------开始记录上一次路径"));
        pathTracing(m_currentDir);
        pfd::logInfo(QStringLiteral("文件对话框------结束记录上一次路径"));
    }
    m_currentDir = path;
    // The deepest segment's drop-down lists this very folder: it takes its
    // rows from the table's listing below rather than reading it again.
    ui->addressBar->setPath(path, AddressBar::DeepestFromListing);

    pfd::logInfo(QStringLiteral("文件对话框------开始调用RootPath接口获取数据"));
    fileModelLocal* model = ui->localModel;
    const QList<FileInfo> files = getFilesByPath(path);
    ui->addressBar->takeListing(path, files);
    model->setFiles(files);
    model->applyNameFilters();
    model->setCurrentDir(path);
    pfd::logInfo(QStringLiteral("文件对话框------结束调用RootPath接口获取数据"));
    pfd::logInfo(QStringLiteral("文件对话框------获取当前数据Index"));

    setTableModel(model);
    ui->tableView->sortByColumn(i_Column, Qt::SortOrder(i_sort));
    ui->tableView->setCurrentIndex(QModelIndex());
    ui->tableView->clearSelection();
    if (isIopen)
        ui->okButton->setEnabled(false);

    s_currentPath = path;
    fileInfoJsonUtil::UpdateJsonFromLastPath(SharedInterface::GetAppPath() + QStringLiteral("/filecy.json"), path);
    pfd::logInfo(QStringLiteral("文件对话框---------------结束刷新路径"));
}

void zFileDialog::pathTracing(QString& path)
{
    // The stack keeps its ten oldest entries: once full, new visits are not
    // recorded at all.
    if (m_backStack.size() >= 10)
        return;
    if (m_backStack.isEmpty())
        ui->backButton->setEnabled(true);
    m_backStack.append(qMakePair(iClickedBtn, path));
}

void zFileDialog::onBackwardsButton()
{
    if (m_backStack.isEmpty()) {
        ui->backButton->setEnabled(false);
        return;
    }
    const QPair<int, QString> entry = m_backStack.last();
    const QStringList parts = segments(entry.second);
    if (!parts.isEmpty() && parts.first() == kEnterpriseCloud)
        updateYunPanCurrentPath(entry.second, no_tracing, QStringLiteral("qy"));
    else if (!parts.isEmpty() && parts.first() == kPersonalCloud)
        updateYunPanCurrentPath(entry.second, no_tracing, QStringLiteral("gr"));
    else
        updateCurrentPath(entry.second, no_tracing);

    // An exclusive group never lets its last checked button go; lift that
    // for the moment of unchecking.
    ui->placeGroup->setExclusive(false);
    for (zBaseButton* b : {ui->desktopButton, ui->computerButton, ui->documentButton, ui->companyYunButton,
                           ui->personYunButton})
        b->setChecked(false);
    ui->placeGroup->setExclusive(true);
    switch (entry.first) {
    case 0: ui->desktopButton->setChecked(true); break;
    case 1: ui->computerButton->setChecked(true); break;
    case 2: ui->documentButton->setChecked(true); break;
    case 3: ui->companyYunButton->setChecked(true); break;
    case 4: ui->personYunButton->setChecked(true); break;
    case 6: ui->currentProjectButton->setChecked(true); break;
    default: {
        // Other path, pinned folders and recent check no place at all.
        ui->placeGroup->setExclusive(false);
        if (QAbstractButton* checked = ui->placeGroup->checkedButton())
            checked->setChecked(false);
        ui->placeGroup->setExclusive(true);
        break;
    }
    }
    iClickedBtn = entry.first;
    m_backStack.removeLast();
    if (m_backStack.isEmpty())
        ui->backButton->setEnabled(false);
}

void zFileDialog::showFileTable()
{
    const bool wasRecent = m_isRecent;
    ui->tableView->setEditTriggers(QAbstractItemView::SelectedClicked | QAbstractItemView::EditKeyPressed);
    ui->tableView->setSortingEnabled(true);
    ui->stackedWidget->setCurrentIndex(0);
    ui->localModel->setShowPathColumn(false);
    m_isRecent = false;
    if (wasRecent)
        sizeTableColumns();
}

void zFileDialog::onDesktopButton()
{
    showFileTable();
    ui->desktopButton->setChecked(true);
    updateCurrentPath(pfd::knownFolder(pfd::KnownFolder::Desktop), tracing);
    iClickedBtn = 0;
}

void zFileDialog::onMyComputerButton()
{
    showFileTable();
    ui->computerButton->setChecked(true);
    updateCurrentPath(QStringLiteral(":"), tracing);
    iClickedBtn = 1;
}

void zFileDialog::onDocumentButton()
{
    showFileTable();
    ui->documentButton->setChecked(true);
    updateCurrentPath(pfd::knownFolder(pfd::KnownFolder::Documents), tracing);
    iClickedBtn = 2;
}

void zFileDialog::onOtherPathButton()
{
    iClickedBtn = 5;
}

void zFileDialog::onNetworkButton()
{
    ui->stackedWidget->setCurrentWidget(ui->networkPage);
}

void zFileDialog::oncurrentProjectPathButton()
{
    const QString dir = m_currentProjectDir;
    if (!isCloudPath(dir)) {
        setGreyXjwjj(true);
        updateCurrentPath(dir, tracing);
        iClickedBtn = 6;
        return;
    }
    setGreyXjwjj(false);
    QStringList parts = dir.split(pathFgf, Qt::SkipEmptyParts);
    if (!parts.isEmpty())
        parts.removeLast();
    const QString folder = parts.join(pathFgf);
    const bool personal = !parts.isEmpty() && parts.first() == kPersonalCloud;
    const bool previousEnterprise = isCloudPath(m_currentDir) && segments(m_currentDir).value(0) == kEnterpriseCloud;
    if (personal && !previousEnterprise) {
        onPersonYunButton();
        updateYunPanCurrentPath(folder, no_tracing, QStringLiteral("gr"));
    } else {
        onCompanyYunButton();
        updateYunPanCurrentPath(folder, no_tracing, QStringLiteral("qy"));
    }
    iClickedBtn = 6;
}

void zFileDialog::slotCurrentPathChanged(QString path)
{
    if (isCloudPath(path) && userLoggedIn()) {
        updateYunPanCurrentPath(path, tracing, QString());
        return;
    }
    if (ui->companyYunButton->isChecked() || ui->personYunButton->isChecked())
        ui->computerButton->setChecked(true);
    updateCurrentPath(path, tracing);
}

void zFileDialog::onReturnPressed(QString path)
{
    if (path == QLatin1String(":\\") || path == QLatin1String(":/") || path == QLatin1String(":")) {
        updateCurrentPath(QStringLiteral(":"), tracing);
        return;
    }
    // Only this drive letter is completed to its root; others are taken as
    // typed, as users of the host have long been used to.
    if (path == QLatin1String("E:"))
        path += QLatin1Char('\\');
    if (pfd::isExistingDir(path))
        updateCurrentPath(pfd::absoluteDirPath(path), tracing);
}

void zFileDialog::onCompleterChoosed(QString path)
{
    // Completion offers "/" paths; the host's folders are written with "\".
    if (!path.startsWith(QLatin1Char('/')))
        path.replace(QLatin1Char('/'), QLatin1Char('\\'));
    updateCurrentPath(path, tracing);
}

void zFileDialog::slotRefresh()
{
    const QStringList parts = segments(m_currentDir);
    if (ui->companyYunButton->isChecked()) {
        refreshCloudStorageTableData(false);
        return;
    }
    if (ui->personYunButton->isChecked()) {
        refreshCloudStorageTableData(true);
        return;
    }
    if (!parts.isEmpty() && (parts.first() == kEnterpriseCloud || parts.first() == kPersonalCloud)) {
        refreshCloudStorageTableData(parts.first() == kPersonalCloud);
        return;
    }
    updateCurrentPath(m_currentDir, tracing);
}

void zFileDialog::slotSelectCurrent(QModelIndex index)
{
    const QStringList parts = segments(m_currentDir);
    if (parts.isEmpty() || !(parts.first() == kEnterpriseCloud || parts.first() == kPersonalCloud))
        return;
    const QAbstractItemModel* model = index.model();
    if (!model)
        return;
    const QString folderFlag = model->index(index.row(), 5).data().toString();
    if (folderFlag != QLatin1String("1")) {
        ui->okButton->SetText(isIopen ? QStringLiteral("确定") : QStringLiteral("保存"));
        ui->fileNameEdit->setText(model->index(index.row(), 0).data().toString());
    } else {
        ui->okButton->SetText(QStringLiteral("打开"));
        if (isIopen)
            ui->fileNameEdit->clear();
    }
}

void zFileDialog::onCurrentChanged(int index)
{
    const bool filePage = index == 0;
    for (QWidget* w : {static_cast<QWidget*>(ui->fileNameLabel), static_cast<QWidget*>(ui->fileNameEdit),
                       static_cast<QWidget*>(ui->fileTypeLabel), static_cast<QWidget*>(ui->fileTypeCombo),
                       static_cast<QWidget*>(ui->okButton), static_cast<QWidget*>(ui->cancelButton)})
        w->setVisible(filePage);
    // One table serves the plain folder page and the recent page.
    if (index == 0 && ui->tableView->parentWidget() != ui->filePage)
        ui->filePageLayout->addWidget(ui->tableView);
    else if (index == 1 && ui->tableView->parentWidget() != ui->recentPage)
        ui->recentPageLayout->addWidget(ui->tableView, 1);
}

void zFileDialog::onFigureTriggered(QAction* action)
{
    const QString text = action->text();
    if (text == QStringLiteral("列表")) {
        ui->headerView->hide();
        for (int c = 1; c < ui->tableView->model()->columnCount(); ++c)
            ui->tableView->hideColumn(c);
        ui->listAction->setChecked(true);
        ui->detailAction->setChecked(false);
    } else if (text == QStringLiteral("详细")) {
        ui->headerView->show();
        for (int c = 0; c < ui->tableView->model()->columnCount(); ++c)
            ui->tableView->showColumn(c);
        // The cloud table's ids and folder flags are never shown.
        hideCloudIdColumns();
        ui->listAction->setChecked(false);
        ui->detailAction->setChecked(true);
    }
    ui->tableView->setFocus();
}

void zFileDialog::onSortingStateChange(int logicalIndex, Qt::SortOrder order)
{
    i_Column = logicalIndex;
    i_sort = order;
}

void zFileDialog::setGreyXjwjj(bool enabled)
{
    ui->createFileButton->setEnabled(enabled);
    ui->createFileButton->setIcon(enabled ? QStringLiteral(":/Image/filedlg/icon-newfile0.svg")
                                          : QStringLiteral(":/Image/filedlg/icon-newfileNo.svg"),
                                  enabled ? QStringLiteral(":/Image/filedlg/icon-newfile1.svg") : QString());
}
