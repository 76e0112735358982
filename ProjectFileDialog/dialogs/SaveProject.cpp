#include "SaveProject.h"

#include "CpfMain.h"
#include "SharedInterface.h"
#include "fileModelLocal.h"
#include "overwrite.h"
#include "pfdlog.h"
#include "pathstyle.h"
#include "systemdialogs.h"
#include "zBaseButton.h"
#include "zBaseCombox.h"
#include "zBaseLabel.h"
#include "zBaseLineEdit.h"
#include "zFileDialogUi.h"
#include "zMessageBox.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QItemSelectionModel>
#include <QMouseEvent>
#include <QTableView>

namespace {

bool hasForbiddenCharacter(const QString& name)
{
    for (const QChar c : {QChar('\\'), QChar('/'), QChar(':'), QChar('*'), QChar('?'), QChar('"'), QChar('<'),
                          QChar('\n'), QChar('\r'), QChar('>'), QChar('|')}) {
        if (name.contains(c))
            return true;
    }
    return false;
}

bool isPlaceKind(const FileInfo& f)
{
    return f.isFolder() || f.isShortcut() || f.isDrive();
}

} // namespace

SaveProject::SaveProject(QWidget* parent)
    : zFileDialog(parent)
{
    setWindowTitle(QStringLiteral("保存工程"));
    ui->okButton->SetText(QStringLiteral("保存"));
}

void SaveProject::saveProject(const QString& dir, const QString& defaultName, QStringList* filters, int filterCount,
                              bool confirmOverwrite, const QString& caption, const QString& projectPath,
                              bool enterpriseCloud)
{
    m_initialDir = dir;
    m_confirmOverwrite = confirmOverwrite;
    m_option = confirmOverwrite;
    if (!projectPath.isEmpty())
        m_currentProjectDir = projectPlace(projectPath);
    else
        ui->currentProjectButton->setEnabled(false);

    const QString title = caption.isEmpty() ? QStringLiteral("保存工程") : caption;
    ui->titleLabel->setText(title);
    setWindowTitle(title);

    // A project called "A/B" stays one file name.
    QString name = defaultName;
    name.replace(QLatin1Char('/'), QStringLiteral("／"));
    ui->fileNameEdit->setText(name);

    if (!filters || filterCount == 0) {
        m_folderMode = true;
        ui->fileTypeLabel->setText(QStringLiteral("文件夹"));
        ui->fileTypeLabel->hide();
        ui->fileTypeCombo->hide();
        m_hasDefaultName = true;
        if (defaultName.isEmpty()) {
            ui->fileNameEdit->setReadOnly(true);
            m_hasDefaultName = false;
        }
    }

    CpfMain* edition = CpfMain::GetInstance();
    if (edition->IsProdAreaRA() || edition->IsProdAreaRB()) {
        ui->companyYunButton->hide();
        ui->personYunButton->hide();
    }
    if (!enterpriseCloud) {
        ui->companyYunButton->setEnabled(false);
        ui->personYunButton->setEnabled(false);
    }

    initFilterSuffix(filters, filterCount);
    if (!filters)
        selectFilter(0);
    if (!dir.isEmpty() && QFileInfo(dir).isDir())
        updateCurrentPath(dir, tracing);
    else
        onDocumentButton();
    initBtnStateLastClose();
    exec();
}

void SaveProject::setFilterSuffix(int index)
{
    selectFilter(index);
}

void SaveProject::updateCurrentPath(const QString& path, TracAction action)
{
    ui->okButton->SetText(QStringLiteral("保存"));
    zFileDialog::updateCurrentPath(path, action);
}

bool SaveProject::eventFilter(QObject* watched, QEvent* event)
{
    if (ui && watched == ui->tableView->viewport() && event->type() == QEvent::MouseButtonPress) {
        const auto* me = static_cast<QMouseEvent*>(event);
        if (!ui->tableView->indexAt(me->pos()).isValid()) {
            ui->tableView->clearSelection();
            ui->okButton->SetText(QStringLiteral("保存"));
        }
    }
    return zFileDialog::eventFilter(watched, event);
}

void SaveProject::slotSelectCurrent(QModelIndex index)
{
    if (isCloudPath(m_currentDir)) {
        zFileDialog::slotSelectCurrent(index);
        return;
    }
    const FileInfo* f = fileInfoAt(index);
    if (!f)
        return;
    if (!isPlaceKind(*f)) {
        ui->okButton->SetText(QStringLiteral("保存"));
        if (!m_folderMode)
            ui->fileNameEdit->setText(f->name);
        return;
    }
    ui->okButton->SetText(QStringLiteral("打开"));
    if (m_folderMode && ui->fileNameEdit->isReadOnly()) {
        ui->fileNameEdit->setText(f->name);
        ui->okButton->SetText(QStringLiteral("保存"));
    }
}

void SaveProject::onOkButton()
{
    if (isCloudPath(m_currentDir)) {
        zFileDialog::onOkButton();
        return;
    }
    if (ui->okButton->text() != QStringLiteral("保存")) {
        const QModelIndexList selected =
            ui->tableView->selectionModel() ? ui->tableView->selectionModel()->selectedRows() : QModelIndexList();
        const FileInfo* row = selected.isEmpty() ? nullptr : fileInfoAt(selected.first());
        if (ui->okButton->text() == QStringLiteral("打开") && row && isPlaceKind(*row))
            updateCurrentPath((row->isShortcut() || row->isNetDrive()) ? row->symLinkTarget : row->path, tracing);
        return;
    }
    // From the empty folder a typed name would become one at the root of
    // the file system.
    if (noFolderShown())
        return;
    QString name = ui->fileNameEdit->text();
    if (name.isEmpty() && !m_folderMode)
        return;
    if (m_currentDir == QLatin1String(":/") || m_currentDir == QLatin1String(":")) {
        showWarning(QStringLiteral("你不能保存到“电脑”。请选择其他位置。"), this);
        return;
    }
    if (hasForbiddenCharacter(name)) {
        showWarning(name + QStringLiteral("\n文件名无效"), this);
        return;
    }

    if (!m_folderMode) {
        fileSuffixIsHave(name, ui->fileTypeCombo->currentIndex());
        ui->fileNameEdit->setText(name);
        const QString chosen = childPath(name);
        // The base name ends at the first dot: ".x.GCFX" has none.
        if (pfd::baseName(chosen).isEmpty()) {
            showWarning(QStringLiteral("文件名不能为空"), this);
            return;
        }
        if (m_confirmOverwrite && QFileInfo::exists(chosen)) {
            if (showQuestion(QStringLiteral("文件已经存在，是否需要覆盖？"), this) == 1)
                return;
            // The old project is set aside, not deleted: the host has not
            // written the new one yet, and its save may still fail.
            QString kept;
            const pfd::SetAside outcome =
                pfd::setAsideReplacedFile(chosen, SharedInterface::GetAppPath(), QDateTime::currentDateTime(), &kept);
            if (outcome == pfd::SetAside::Failed) {
                showInformation(QStringLiteral("文件操作失败"), this);
                return;
            }
            pfd::logInfo(QStringLiteral("文件对话框------覆盖前原工程已移至：%1").arg(kept));
        }
        finish(QDir::toNativeSeparators(chosen));
        return;
    }

    // The folder being chosen: the one typed or selected, else the one shown.
    // Its checks hold whichever it is.
    const QString chosen = name.isEmpty() ? m_currentDir : childPath(name);
    if (!QFileInfo(chosen).isDir()) {
        showWarning(chosen + QStringLiteral("\n路径不存在。\n请检查路径是否正确，然后重试"), this);
        return;
    }
    const QString folderName = pfd::fileNamePart(chosen);
    if (folderName == QLatin1String(".")) {
        showWarning(folderName + QStringLiteral("\n文件夹名无效"), this);
        return;
    }
    // "..", ".config" and a root have no base name.
    if (pfd::baseName(chosen).isEmpty()) {
        showWarning(QStringLiteral("文件名不能为空"), this);
        return;
    }
    finish(QDir::toNativeSeparators(chosen));
}

void SaveProject::onOtherPathButton()
{
    zFileDialog::onOtherPathButton();
    hide();
    const QFileDialog::Options options =
        m_confirmOverwrite ? QFileDialog::Options() : QFileDialog::Options(QFileDialog::DontConfirmOverwrite);
    const QString answer =
        pfd::systemDialogs().saveFile(QStringLiteral("选择工程保存路径"), m_currentDir, comboFilterString(), options);
    if (answer.isEmpty()) {
        finish(QString());
        return;
    }
    if (pfd::baseName(answer).trimmed().isEmpty()) {
        showWarning(QStringLiteral("文件名不能为空"), this);
        finish(QString());
        return;
    }
    finish(QDir::toNativeSeparators(answer));
}
