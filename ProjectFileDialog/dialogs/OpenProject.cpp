#include "OpenProject.h"

#include "CpfMain.h"
#include "HostServices.h"
#include "QXManager.h"
#include "SharedInterface.h"
#include "fileInfoJsonUtil.h"
#include "TranMiUtilAction.h"
#include "Users.h"
#include "fileModelLocal.h"
#include "pathstyle.h"
#include "systemdialogs.h"
#include "zBaseButton.h"
#include "zBaseCombox.h"
#include "zBaseLabel.h"
#include "zBaseLineEdit.h"
#include "zFileDialogUi.h"
#include "zMessageBox.h"

#include <QDir>
#include <QFileInfo>
#include <QItemSelectionModel>
#include <QTableView>

namespace {

bool opensAtPath(const FileInfo& f)
{
    return f.isFolder() || f.isLocalDisk() || f.isRemovableDisk() || f.isRamDisk() || f.isCdRom();
}

} // namespace

OpenProject::OpenProject(QWidget* parent)
    : zFileDialog(parent)
{
    setWindowTitle(QStringLiteral("打开工程"));
}

void OpenProject::openProject(const QString& dir, QStringList* filters, int filterCount, const QString& projectPath,
                              bool option, const QString& caption, bool enterpriseCloud, OpenFileType type)
{
    m_initialDir = dir;
    m_option = option;
    m_openFileType = type;
    m_viewMode = type;

    if (type == FileOrFolder) {
        ui->chooseDirButton->show();
    } else if (type == ChooseFolder) {
        ui->chooseDirButton->SetText(QStringLiteral("确定"));
        ui->chooseDirButton->show();
        ui->okButton->hide();
        ui->fileNameLabel->setText(QStringLiteral("   文件夹"));
        ui->fileTypeLabel->setEnabled(false);
        ui->fileTypeCombo->setEnabled(false);
    }

    if (!projectPath.isEmpty())
        m_currentProjectDir = projectPlace(projectPath);
    else
        m_currentProjectDir = zHttpUtil::TranMiUtil()->JudageValue(QStringLiteral("文件对话框-当前工程位置"), QString());

    if (enterpriseCloud) {
        ui->companyYunButton->setIcon(QStringLiteral(":/Image/filedlg/icon-CompanyYun1.svg"),
                                      QStringLiteral(":/Image/filedlg/icon-CompanyYun0.svg"));
        ui->personYunButton->setIcon(QStringLiteral(":/Image/filedlg/icon-Yupan1.svg"),
                                     QStringLiteral(":/Image/filedlg/icon-Yupan0.svg"));
    } else {
        ui->companyYunButton->setEnabled(false);
        ui->personYunButton->setEnabled(false);
        ui->companyYunButton->setIcon(QStringLiteral(":/Image/filedlg/icon-CompanyYun0.svg"));
        ui->personYunButton->setIcon(QStringLiteral(":/Image/filedlg/icon-Yupan0.svg"));
    }
    if (!m_currentProjectDir.isEmpty()) {
        ui->currentProjectButton->setIcon(QStringLiteral(":/Image/filedlg/icon-currentproject1.svg"),
                                          QStringLiteral(":/Image/filedlg/icon-currentproject0.svg"));
    } else {
        ui->currentProjectButton->setEnabled(false);
        ui->currentProjectButton->setIcon(QStringLiteral(":/Image/filedlg/icon-currentproject0.svg"));
    }

    const QString title = caption.isEmpty() ? QStringLiteral("打开工程") : caption;
    ui->titleLabel->setText(title);
    setWindowTitle(title);

    initFilterSuffix(filters, filterCount);
    if (!filters)
        selectFilter(0);
    if (m_viewMode != FileOrFolder && m_viewMode != OpenFileHere) {
        if (!dir.isEmpty() && QFileInfo(dir).isDir())
            updateCurrentPath(dir, tracing);
        else
            onDocumentButton();
    } else {
        // These modes carry on where the user last was, whatever folder the
        // caller names.
        const QString last = getCurrentPath();
        if (last == QLatin1String(":") || QFileInfo(last).isDir())
            updateCurrentPath(last, tracing);
        else
            onDocumentButton();
    }
    // Every mode then returns to a cloud or the recent page used last.
    initBtnStateLastClose();
    exec();
}

void OpenProject::setFilterSuffix(int index)
{
    selectFilter(index);
}

bool OpenProject::checkProjectFile(const QString& file)
{
    const QFileInfo info(file);
    if (!info.isFile())
        return true;
    if (pfd::baseName(file).trimmed().isEmpty()) {
        showWarning(QStringLiteral("文件名不能为空"), this);
        return false;
    }
    const QString suffix = info.suffix().toUpper();
    const QString estimate = QStringLiteral("工程文件打开失败。无法使用概算工程");
    const QString audit = QStringLiteral("工程文件打开失败。无法使用审核工程");
    const QString contract = QStringLiteral("工程文件打开失败。无法使用总承包工程");
    const QString title = QStringLiteral("出错提示");
    QXManager* rights = QXManager::GetInstance();
    auto refuse = [&](const QString& text, QWidget* parent) {
        showCritical(text, parent, title);
        return false;
    };
    auto in = [&suffix](std::initializer_list<const char*> list) {
        for (const char* s : list) {
            if (suffix == QLatin1String(s))
                return true;
        }
        return false;
    };

    CpfMain* edition = CpfMain::GetInstance();
    if (edition->IsProdAreaRB()) {
        QWidget* mainWindow = Communication::GetInstance()->GetMainWindow();
        if (!rights->CheckQx(2, QVariant()) && in({"GNQS", "SGNQS", "GZNQS", "SGZNQS"}))
            return refuse(estimate, mainWindow);
        if (!rights->CheckQx(1, QVariant()) && in({"SNQS", "SGNQS", "SZNQS", "SGZNQS"}))
            return refuse(audit, mainWindow);
        return true;
    }
    if (edition->IsProdAreaRA()) {
        if (!rights->CheckQx(1, QVariant()) && in({"SYST"}))
            return refuse(audit, this);
        return true;
    }
    if (!rights->CheckQx(2, QVariant()) && in({"GCFG", "SGCFG"}))
        return refuse(estimate, this);
    if (!rights->CheckQx(1, QVariant()) && in({"SGCFX", "SGCFG", "SGCF"}))
        return refuse(audit, this);
    if (!rights->CheckQx(35, QVariant()) && in({"SGCFZ", "GCFZ"}))
        return refuse(contract, this);
    return true;
}

void OpenProject::acceptFile(const QString& typedName)
{
    if (typedName.isEmpty())
        return;
    const QString candidate = childPath(typedName);
    if (!QFileInfo(candidate).isFile()) {
        showInformation(typedName + QStringLiteral("\n找不到该文件\n请检查文件名是否正确"), this);
        return;
    }
    if (!checkProjectFile(candidate))
        return;
    rememberRecent(QDir::toNativeSeparators(candidate));
    SetFilePath(QString());
    finish(QDir::toNativeSeparators(candidate));
}

void OpenProject::rememberRecent(const QString& file)
{
    FileInfo info;
    SharedInterface::GetFileInfo(file, info.name, info.datetime, info.type, info.size);
    info.path = file;
    QList<FileInfo> recent;
    fileInfoJsonUtil::ReadFileInfoListFromJson(storeFile(), QStringLiteral("RecentFile"), recent);
    for (const FileInfo& r : qAsConst(recent)) {
        if (r.name == info.name && r.path == info.path)
            return; // opened before: it keeps its place in the list
    }
    fileInfoJsonUtil::WriteJsonFromFileInfo(storeFile(), QStringLiteral("RecentFile"), info);
}

void OpenProject::onOkButton()
{
    const QString typed = ui->fileNameEdit->text();
    const QModelIndexList selected =
        ui->tableView->selectionModel() ? ui->tableView->selectionModel()->selectedRows() : QModelIndexList();

    if (m_viewMode == PickListedFile) {
        // With no row selected the answer is empty, and the dialog closes.
        const FileInfo* f = selected.isEmpty() ? nullptr : fileInfoAt(selected.first());
        finish(f ? QDir::toNativeSeparators(f->path) : QString());
        return;
    }
    if (isCloudPath(m_currentDir)) {
        zFileDialog::onOkButton();
        return;
    }
    // "*.xyz*" typed with the confirm button filters the table instead.
    if (ui->okButton->text() == QStringLiteral("确定") && typed.size() >= 2 && typed.startsWith(QLatin1Char('*'))
        && typed.endsWith(QLatin1Char('*'))) {
        ui->localModel->setNameFilters({typed});
        ui->localModel->applyNameFilters();
        ui->tableView->sortByColumn(i_Column, Qt::SortOrder(i_sort));
        return;
    }
    const FileInfo* row = selected.isEmpty() ? nullptr : fileInfoAt(selected.first());
    if (!row) {
        acceptFile(typed);
        return;
    }
    if (opensAtPath(*row)) {
        if (row->path != m_currentDir)
            updateCurrentPath(row->path, tracing);
    } else if (row->isShortcut() || row->isNetDrive()) {
        if (row->symLinkTarget != m_currentDir)
            updateCurrentPath(row->symLinkTarget, tracing);
    } else {
        acceptFile(typed);
    }
}

void OpenProject::slotSelectCurrent(QModelIndex index)
{
    if (isCloudPath(m_currentDir)) {
        zFileDialog::slotSelectCurrent(index);
        return;
    }
    const FileInfo* f = fileInfoAt(index);
    if (!f)
        return;
    if (f->isFolder() || f->isDrive() || f->isShortcut()) {
        ui->okButton->SetText(QStringLiteral("打开"));
        ui->fileNameEdit->clear();
        if (m_openFileType == ChooseFolder)
            ui->fileNameEdit->setText(f->name);
    } else {
        ui->okButton->SetText(QStringLiteral("确定"));
        ui->fileNameEdit->setText(f->name);
    }
}

void OpenProject::onTableRowChanged(const QModelIndex& current)
{
    const UserInfo* user = Users::Instance()->Mqy();
    if ((ui->companyYunButton->isChecked() || ui->personYunButton->isChecked()) && user && user->IsLogin())
        return;
    const FileInfo* f = fileInfoAt(current);
    if (f && !f->isFolder())
        ui->fileNameEdit->setText(f->name);
}

void OpenProject::slotChooseDir()
{
    const QModelIndex current = ui->tableView->currentIndex();
    if (current.isValid() && m_viewMode != FileOrFolder && m_viewMode != OpenFileHere) {
        const FileInfo* f = fileInfoAt(current);
        if (!f || !f->isFolder()) {
            showWarning(QStringLiteral("当前选中不是文件夹"), this);
            return;
        }
        finish(f->path);
        return;
    }
    finish(m_currentDir);
}

void OpenProject::onOtherPathButton()
{
    zFileDialog::onOtherPathButton();
    hide();
    const QString filter = comboFilterString();
    QString answer;
    if (m_openFileType == OpenProjectFile)
        answer = pfd::systemDialogs().openFile(QStringLiteral("打开"), m_currentDir, filter);
    else if (m_openFileType == ChooseFolder)
        answer = pfd::systemDialogs().existingDirectory(QStringLiteral("打开"), m_currentDir);
    if (answer.isEmpty()) {
        finish(QString());
        return;
    }
    if (pfd::baseName(answer).trimmed().isEmpty()) {
        showWarning(QStringLiteral("文件名不能为空"), this);
        finish(QString());
        return;
    }
    finish(answer);
}

bool OpenProject::eventFilter(QObject* watched, QEvent* event)
{
    return zFileDialog::eventFilter(watched, event);
}
