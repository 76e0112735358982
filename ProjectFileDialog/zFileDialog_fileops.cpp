// The table's context menu and the file operations behind it. What touches
// the file system is in fileops; this file asks the user and refreshes.
#include "zFileDialog.h"

#include "FirstPageService.h"
#include "ObjectHelper.h"
#include "fileInfoJsonUtil.h"
#include "fileModelLocal.h"
#include "fileops.h"
#include "pfdlog.h"
#include "revealfile.h"
#include "zBaseButton.h"
#include "zBaseMenu.h"
#include "zFileDialogUi.h"
#include "zMessageBox.h"

#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QDir>
#include <QFileInfo>
#include <QMimeData>
#include <QPointer>
#include <QTableView>
#include <QUrl>

namespace {

const QString kFolder = QStringLiteral("文件夹");
const QString kShortcut = QStringLiteral("快捷方式");
const QString kPin = QStringLiteral("固定到“常用”");
const QString kUnpin = QStringLiteral("从“常用”移除");

// The paste questions show the box's own button texts and both buttons.
constexpr int kBothButtons = 3;

} // namespace

// ---- the menu --------------------------------------------------------------------

void zFileDialog::buildFileMenu()
{
    auto* menu = new zBaseMenu; // no parent: it lives as long as the dialog
    ui->fileMenu = menu;
    connect(this, &QObject::destroyed, menu, &QObject::deleteLater);
    auto add = [menu](const QString& text, const char* objectName) {
        QAction* action = menu->addAction(text);
        if (objectName)
            action->setObjectName(QLatin1String(objectName));
        return action;
    };
    ui->acOpen = add(QStringLiteral("打开"), "ac_open");
    ui->acShowInFolder = add(QStringLiteral("打开文件所在位置"), nullptr);
    menu->addSeparator();
    ui->acDel = add(QStringLiteral("删除"), "ac_del");
    ui->acRename = add(QStringLiteral("重命名"), "ac_rename");
    ui->acNewFolder = add(QStringLiteral("新建文件夹"), "ac_newWjj");
    ui->acCopyName = add(QStringLiteral("复制文件名称"), nullptr);
    ui->acCopyPath = add(QStringLiteral("复制完整路径"), nullptr);
    menu->addSeparator();
    ui->acCopy = add(QStringLiteral("复制"), nullptr);
    ui->acPaste = add(QStringLiteral("粘贴"), nullptr);
    menu->addSeparator();
    ui->acRefresh = add(QStringLiteral("刷新"), nullptr);
    ui->acRefresh->setShortcut(QKeySequence());
    menu->addSeparator();
    ui->acFix = add(kPin, nullptr);

    connect(ui->acOpen, &QAction::triggered, this, &zFileDialog::openField);
    connect(ui->acShowInFolder, &QAction::triggered, this, &zFileDialog::slotOpenInExplorer);
    connect(ui->acDel, &QAction::triggered, this, &zFileDialog::delField);
    connect(ui->acRename, &QAction::triggered, this, &zFileDialog::renameField);
    connect(ui->acNewFolder, &QAction::triggered, this, &zFileDialog::onCreateFileButton);
    connect(ui->acCopyName, &QAction::triggered, this, &zFileDialog::slotCopyName);
    connect(ui->acCopyPath, &QAction::triggered, this, &zFileDialog::slotCopyPath);
    connect(ui->acCopy, &QAction::triggered, this, &zFileDialog::slotCopy);
    connect(ui->acPaste, &QAction::triggered, this, &zFileDialog::slotPaste);
    connect(ui->acRefresh, &QAction::triggered, this, [this] { updateCurrentPath(m_currentDir, tracing); });
    connect(ui->acFix, &QAction::triggered, this, &zFileDialog::slotFixToOftenUse);
    connect(menu, &QMenu::aboutToShow, this, &zFileDialog::aboutToShow);
}

void zFileDialog::onTableViewContextMenu(QPoint pos)
{
    if (!ui->fileMenu)
        buildFileMenu();
    m_currentDir = QDir::toNativeSeparators(m_currentDir);
    if (isCloudPath(m_currentDir))
        return;
    if (ui->tableView->indexAt(pos).isValid())
        setForMenu();
    // The dialog may close while the menu runs; the menu outlives it only
    // until the event loop deletes it.
    QPointer<zBaseMenu> menu = ui->fileMenu;
    menu->exec(QCursor::pos());
}

void zFileDialog::aboutToShow()
{
    const bool anyFolder = m_currentDir != QLatin1String(":/") && m_currentDir != QLatin1String(":")
                           && !noFolderShown();
    auto pathRule = [&] {
        ui->acNewFolder->setEnabled(anyFolder && !m_isRecent);
        ui->acRename->setEnabled(anyFolder && !m_isRecent);
        ui->acDel->setEnabled(anyFolder);
        ui->acPaste->setEnabled(!noFolderShown());
    };
    auto showEntries = [this](bool visible, std::initializer_list<QAction*> actions) {
        for (QAction* a : actions)
            a->setVisible(visible);
    };

    ui->acDel->setText(!m_isRecent || m_isCurrentProjectTab ? QStringLiteral("删除") : QStringLiteral("删除记录"));
    pathRule();

    const QModelIndex idx = ui->tableView->currentIndex();
    const FileInfo* row = fileInfoAt(idx);
    if (!idx.isValid()) {
        ui->acOpen->setEnabled(false);
        ui->acDel->setEnabled(false);
        ui->acRename->setEnabled(false);
    } else {
        ui->acOpen->setEnabled(true);
        ui->acDel->setEnabled(true);
        ui->acRename->setEnabled(!m_isRecent && !(row && row->type == kShortcut));
        pathRule();
    }

    if (!idx.isValid()) {
        if (m_isRecent) {
            showEntries(false, {ui->acShowInFolder, ui->acCopyName, ui->acCopyPath, ui->acCopy, ui->acPaste,
                                ui->acFix, ui->acRefresh});
        } else {
            const bool notComputer = m_currentDir != QLatin1String(":");
            showEntries(notComputer, {ui->acShowInFolder, ui->acPaste});
            showEntries(false, {ui->acCopyName, ui->acCopyPath, ui->acCopy, ui->acFix});
            ui->acRefresh->setVisible(true);
        }
        return;
    }
    if (idx.column() < 0 || idx.column() >= idx.model()->columnCount() || !row)
        return;

    if (!m_isRecent) {
        if (row->type == kFolder || row->type == kShortcut) {
            showEntries(true, {ui->acShowInFolder, ui->acCopyName, ui->acCopyPath, ui->acCopy, ui->acPaste,
                               ui->acFix});
            ui->acFix->setText(isExistInDirBtns(row->path) ? kUnpin : kPin);
        } else if (row->isDrive()) {
            showEntries(false, {ui->acShowInFolder, ui->acCopyName, ui->acCopyPath, ui->acCopy, ui->acPaste,
                                ui->acFix});
        } else {
            showEntries(true, {ui->acShowInFolder, ui->acCopyName, ui->acCopyPath, ui->acCopy, ui->acPaste});
            ui->acFix->setVisible(false);
        }
    } else if (row->type == kFolder || row->type == kShortcut || row->isDrive()) {
        showEntries(false, {ui->acShowInFolder, ui->acCopyName, ui->acCopyPath, ui->acCopy, ui->acPaste, ui->acFix});
    } else {
        showEntries(true, {ui->acShowInFolder, ui->acCopyName, ui->acCopyPath});
        showEntries(false, {ui->acCopy, ui->acPaste, ui->acFix});
    }
    ui->acRefresh->setVisible(false);
}

bool zFileDialog::noFolderShown() const
{
    // The empty folder a dialog starts with (and that Back can return to) is
    // no place on disk: a name written from there would land in the
    // process's working folder or at the root of the file system.
    return m_currentDir.isEmpty();
}

void zFileDialog::renameField()
{
    if (noFolderShown())
        return;
    const QModelIndex current = ui->tableView->currentIndex();
    if (current.isValid())
        ui->tableView->edit(current.sibling(current.row(), 0));
}

// ---- clipboard and the file manager ----------------------------------------------------

void zFileDialog::slotOpenInExplorer()
{
    const FileInfo* row = fileInfoAt(ui->tableView->currentIndex());
    const QString path = row ? row->path : m_currentDir;
    pfd::showInFileManager(QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath()));
}

void zFileDialog::slotCopyName()
{
    if (const FileInfo* row = fileInfoAt(ui->tableView->currentIndex()))
        QApplication::clipboard()->setText(row->name);
}

void zFileDialog::slotCopyPath()
{
    if (const FileInfo* row = fileInfoAt(ui->tableView->currentIndex()))
        QApplication::clipboard()->setText(QDir::toNativeSeparators(row->path));
}

void zFileDialog::slotCopy()
{
    if (const FileInfo* row = fileInfoAt(ui->tableView->currentIndex()))
        copyPathToClipboard(row->path);
}

void zFileDialog::copyPathToClipboard(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return;
    auto* data = new QMimeData;
    data->setUrls({QUrl::fromLocalFile(info.absoluteFilePath())});
    QApplication::clipboard()->setMimeData(data);
}

QStringList zFileDialog::getPathsFromClipboard() const
{
    QStringList paths;
    const QMimeData* data = QApplication::clipboard()->mimeData();
    if (!data || !data->hasUrls())
        return paths;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile())
            paths << url.toLocalFile();
    }
    return paths;
}

// ---- paste -------------------------------------------------------------------------

void zFileDialog::slotPaste()
{
    // A question box runs its own event loop: a second paste waits its turn,
    // and a dialog closed meanwhile is left alone.
    if (m_fileOpBusy || noFolderShown())
        return;
    const QStringList sources = getPathsFromClipboard();
    if (sources.isEmpty())
        return;
    QPointer<zFileDialog> self(this);
    m_fileOpBusy = true;
    QString targetDir;
    const bool go = checkPastePath(sources, targetDir);
    if (!self)
        return;
    m_fileOpBusy = false;
    if (!go)
        return;

    QString lastName;
    bool lastOk = false;
    fileops::ReplaceSpare spare;
    for (const QString& source : sources) {
        const QFileInfo info(source);
        const QString dest = QDir(targetDir).filePath(info.fileName());
        lastOk = info.isDir() ? fileops::copyDirectoryRecursively(source, dest, lastName, spare)
                              : fileops::copyFile(source, dest, lastName, false, spare);
    }
    if (!lastOk)
        return;
    if (const FileInfo* row = fileInfoAt(ui->tableView->currentIndex())) {
        if (row->type == kFolder)
            lastName = row->name;
    }
    updateCurrentPath(m_currentDir, tracing);
    selectRowNamed(lastName);
}

bool zFileDialog::checkPastePath(const QStringList& sources, QString& targetDir)
{
    const QModelIndex current = ui->tableView->currentIndex();
    const FileInfo* row = fileInfoAt(current);
    const bool fromFolderRow = current.isValid() && row && row->type == kFolder;
    const QString target = fromFolderRow ? row->path : m_currentDir;

    const fileops::PastePlan plan = fileops::planPaste(sources, target, fromFolderRow || !current.isValid());
    if (!plan.refusedSource.isEmpty()) {
        showInforByOneBtn(QStringLiteral("目标文件夹是源文件夹的子文件夹。"), this, 1);
        return false;
    }
    targetDir = plan.targetDir;

    QPointer<zFileDialog> self(this);
    if (osgi::FirstPageService* service = osgi::ObjectHelper::GetService(std::string("firstPagePlugin"))) {
        for (const QString& file : plan.duplicates) {
            if (service->IsFileNotOpened(file))
                continue;
            const int answer = showWarning(QStringLiteral("该工程文件: {%1}已打开，是否要替换？")
                                               .arg(QFileInfo(QDir::fromNativeSeparators(file)).fileName()),
                                           this, QStringLiteral("替换文件"), QString(), QString(), kBothButtons);
            if (answer == 1 || !self)
                return false;
            break;
        }
    } else {
        pfd::logInfo(QStringLiteral("-----无法判断要被替换的文件是否已打开！-----"));
    }

    if (plan.duplicates.isEmpty())
        return true;
    const QString text =
        plan.duplicates.size() == 1
            ? QStringLiteral("目标已包含一个名为“%1”的文件，是否替换该文件？")
                  .arg(QFileInfo(QDir::fromNativeSeparators(plan.duplicates.first())).fileName())
            : QStringLiteral("目标包含%1个同名文件，是否替换这些文件？").arg(plan.duplicates.size());
    const int answer = showQuestion(text, this, QStringLiteral("替换文件"), QString(), QString(), kBothButtons);
    return answer != 1 && self;
}

QModelIndex zFileDialog::selectRowNamed(const QString& name)
{
    if (name.isEmpty())
        return QModelIndex();
    const fileModelLocal* model = ui->localModel;
    for (int r = 0; r < model->rowCount(); ++r) {
        const FileInfo* f = model->fileAt(r);
        if (f && f->name == name) {
            const QModelIndex index = model->index(r, 0);
            ui->tableView->setCurrentIndex(index);
            return index;
        }
    }
    return QModelIndex();
}

// ---- delete and new folder -------------------------------------------------------------

void zFileDialog::delField()
{
    if (m_fileOpBusy)
        return;
    const QModelIndex current = ui->tableView->currentIndex();
    if (m_isRecent && !m_isCurrentProjectTab) {
        // The recent list proper: only the record goes.
        const FileInfo* row = fileInfoAt(current);
        if (!row)
            return;
        fileInfoJsonUtil::RemoveFileInfoFromJson(storeFile(), QStringLiteral("RecentFile"), row->path);
        QList<FileInfo> recent;
        fileInfoJsonUtil::ReadFileInfoListFromJson(storeFile(), QStringLiteral("RecentFile"), recent);
        ui->localModel->setFiles(recent);
        ui->localModel->applyNameFilters();
        return;
    }
    if (noFolderShown())
        return;

    QPointer<zFileDialog> self(this);
    m_fileOpBusy = true;
    const int answer =
        showCritical(QStringLiteral("当前操作将彻底删除无法找回，确定删除文件/文件夹吗？"), this, QStringLiteral("删除"));
    if (!self)
        return;
    m_fileOpBusy = false;
    if (answer == 1)
        return;
    // The row is taken after the question: the listing may have changed
    // while it was open.
    const FileInfo* row = fileInfoAt(ui->tableView->currentIndex());
    if (!row)
        return;
    const FileInfo info = *row;
    if (info.type != kFolder && !info.isDrive()) {
        if (!QFile::remove(info.path)) {
            showInformation(QStringLiteral("删除失败"), this);
            return;
        }
        if (info.type == kShortcut) {
            removeDirBtnByPath(info.path);
            fileInfoJsonUtil::RemoveFileInfoFromJson(storeFile(), QStringLiteral("OftenUse"), info.path);
        }
    } else if (info.type == kFolder) {
        const bool removed = deleteDir(info.path);
        if (!self)
            return;
        if (!removed) {
            showInformation(QStringLiteral("删除失败"), this);
            return;
        }
        removeDirBtnByPath(info.path);
        fileInfoJsonUtil::RemoveFileInfoFromJson(storeFile(), QStringLiteral("OftenUse"), info.path);
    }
    if (!self)
        return;
    ui->localModel->setCurrentDir(QStringLiteral(":"));
    updateCurrentPath(m_currentDir, tracing);
}

bool zFileDialog::deleteDir(const QString& path)
{
    QPointer<zFileDialog> self(this);
    return fileops::deleteDir(path, [self](const QString& file) {
        if (self)
            showInformation(QStringLiteral("删除“%1”文件失败").arg(QFileInfo(file).completeBaseName()), self);
    });
}

QString zFileDialog::createNewFloder(QString base, int n)
{
    return fileops::createNewFloder(base, n);
}

void zFileDialog::onCreateFileButton()
{
    if (noFolderShown())
        return;
    const QString path = createNewFloder(m_currentDir + QStringLiteral("/"), 0);
    QDir().mkdir(path);
    updateCurrentPath(m_currentDir, tracing);
    const QModelIndex index = selectRowNamed(QFileInfo(path).fileName());
    if (!index.isValid())
        return;
    ui->tableView->edit(index);
    ui->tableView->setCurrentIndex(index);
    ui->okButton->SetText(QStringLiteral("打开"));
}
