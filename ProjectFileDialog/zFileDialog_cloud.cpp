// The cloud places of the left column: the login gate, entering both
// clouds, showing a level, refresh, moving through cloud paths, and the base
// accept handler that descends into cloud folders, downloads a chosen cloud
// project, or turns a save target in a cloud folder into a staging path.
#include "zFileDialog.h"

#include "AddressBar.h"
#include "FirstPageService.h"
#include "ObjectHelper.h"
#include "SharedInterface.h"
#include "Users.h"
#include "YunPanModel.h"
#include "fileModelLocal.h"
#include "cloud/cloudnames.h"
#include "cloud/cloudrequests.h"
#include "cloud/cloudtask.h"
#include "cloud/cloudtree.h"
#include "MQProgressBar.h"
#include "nameFilterProxyModel.h"
#include "pfdlog.h"
#include "zBaseButton.h"
#include "zBaseCombox.h"
#include "zBaseLineEdit.h"
#include "zFileDialogUi.h"
#include "zMessageBox.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QJsonDocument>
#include <QPointer>
#include <QStackedWidget>
#include <QTableView>
#include <QThread>
#include <QtConcurrent>

#include <memory>

using namespace pfd::cloud;

namespace {

QString replyMessage(const QJsonObject& reply)
{
    return QStringLiteral("%1").arg(reply.value(QLatin1String("msg")).toString());
}

QString currentUserId()
{
    const UserInfo* user = Users::Instance()->Mqy();
    return user ? user->UserID : QString();
}

// A display path's segments, "\" being the separator of cloud paths.
QStringList cloudSegments(const QString& path)
{
    return QDir::toNativeSeparators(path).split(zFileDialog::pathFgf, Qt::SkipEmptyParts);
}

} // namespace

// ---- recognising cloud paths ---------------------------------------------------------

bool zFileDialog::IsGrYunPanFile(QString path)
{
    return cloudSegments(path).value(0) == kPersonalLabel;
}

bool zFileDialog::IsQyYunPanFile(QString path)
{
    return cloudSegments(path).value(0) == kEnterpriseLabel;
}

bool zFileDialog::getYunPanFileIsExit(const QStringList& segments, QJsonArray tree)
{
    return fileExistsInTree(segments, tree);
}

// ---- the login gate and the two places -------------------------------------------------

bool zFileDialog::getIsLogin()
{
    UserInfo* user = Users::Instance()->Mqy();
    if (user->IsLogin())
        return true;
    osgi::FirstPageService* service = osgi::ObjectHelper::GetService("firstPagePlugin");
    if (!service)
        return false;
    // The login window runs its own event loop; the dialog may be gone after.
    QPointer<zFileDialog> self(this);
    service->Login(QJsonObject());
    if (Users::Instance()->Mqy()->IsLogin())
        return true;
    if (!self)
        return false;
    if (iClickedBtn == 0)
        ui->desktopButton->setChecked(true);
    else if (iClickedBtn == 1)
        ui->computerButton->setChecked(true);
    else
        onDocumentButton();
    return false;
}

void zFileDialog::showCloudTable()
{
    ui->stackedWidget->setCurrentIndex(0);
    ui->tableView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    ui->tableView->setSortingEnabled(true);
    // The recent flag and the path column stay as they are: only the local
    // places, a pinned folder and the current-project place clear them.
    ui->yunPanModel->setSetDataHook([this](const QModelIndex& index, const QVariant& value, int role) {
        // A renamed row carries its new name into the level's own node.
        if (role != Qt::EditRole || index.column() != NameColumn)
            return true;
        const QString id = ui->yunPanModel->index(index.row(), IdColumn).data().toString();
        for (int i = 0; i < m_yunpanLevel.size(); ++i) {
            QJsonObject node = m_yunpanLevel.at(i).toObject();
            if (nodeText(node, QStringLiteral("wjjid")) == id) {
                node.insert(QStringLiteral("wjjmc"), value.toString());
                m_yunpanLevel.replace(i, node);
                break;
            }
        }
        return true;
    });
    setTableModel(ui->yunPanProxy);
    hideCloudIdColumns();
    ui->tableView->sortByColumn(i_Column, Qt::SortOrder(i_sort));
    ui->tableView->setCurrentIndex(QModelIndex());
    ui->tableView->clearSelection();
}

void zFileDialog::hideCloudIdColumns()
{
    if (ui->tableView->model() != ui->yunPanProxy)
        return;
    for (int c = IdColumn; c < ui->yunPanProxy->columnCount(); ++c)
        ui->tableView->hideColumn(c);
}

bool zFileDialog::loadCloudTree(bool personal)
{
    const QJsonObject reply = personal ? LoadGrypData() : LoadQyypData();
    if (replyCode(reply) != 0) {
        showWarning(replyMessage(reply), this);
        return false;
    }
    if (personal) {
        QString rootId;
        m_yunpanGrData = unwrapPersonalRoot(personalNodes(reply), &rootId);
        m_yunpanGrRootId = rootId;
        m_yunpanRoot = m_yunpanGrData;
    } else {
        m_yunpanQyData = enterpriseNodes(reply);
        m_yunpanRoot = m_yunpanQyData;
    }
    return true;
}

void zFileDialog::enterCloud(bool personal)
{
    ui->stackedWidget->setCurrentIndex(0);
    if (!getIsLogin())
        return;
    // Read-only and on screen before the list is asked for; a refused list
    // then leaves the rows that were there.
    s_filePid.clear();
    s_qyid.clear();
    ui->tableView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    ui->tableView->show();
    pfd::logInfo(QStringLiteral("文件对话框------调用Go接口获取数据开始"));
    const bool loaded = loadCloudTree(personal);
    pfd::logInfo(QStringLiteral("文件对话框------调用Go接口获取数据结束"));
    if (!loaded)
        return;
    (personal ? ui->personYunButton : ui->companyYunButton)->setChecked(true);
    setGreyXjwjj(false);
    if (personal)
        s_filePid = m_yunpanGrRootId;
    updateYunpanData(m_yunpanRoot, personal ? kPersonalLabel : kEnterpriseLabel, tracing);
    showCloudTable();
    iClickedBtn = personal ? 4 : 3;
    ui->fileNameEdit->clear();
    ui->addressBar->setPath(personal ? kPersonalLabel : kEnterpriseLabel);
    if (!isIopen)
        ui->okButton->SetText(QStringLiteral("保存"));
}

void zFileDialog::onCompanyYunButton()
{
    enterCloud(false);
}

void zFileDialog::onPersonYunButton()
{
    enterCloud(true);
}

// ---- showing a level, refresh and cloud paths ---------------------------------------------

void zFileDialog::updateYunpanData(QJsonArray nodes, const QString& path, TracAction action)
{
    if (path != m_currentDir && action == tracing)
        pathTracing(m_currentDir);
    if (path == kPersonalLabel && nodes.at(0).toObject().value(QLatin1String("wjjmc")).toString() == kRootNodeName) {
        QString rootId;
        nodes = unwrapPersonalRoot(nodes, &rootId);
        s_filePid = rootId;
    }
    m_yunpanLevel = nodes;

    YunPanModel* model = ui->yunPanModel;
    model->removeRows(0, model->rowCount());
    QHash<QString, QIcon> icons;
    for (const QJsonValue& v : qAsConst(nodes)) {
        const QJsonObject node = v.toObject();
        const QStringList texts = rowTexts(node);
        QList<QStandardItem*> row;
        for (const QString& text : texts)
            row << new QStandardItem(text);
        const QString key = isFolderNode(node) ? QStringLiteral("文件夹") : nodeSuffix(node);
        auto icon = icons.find(key);
        if (icon == icons.end())
            icon = icons.insert(key, fileIcon(key));
        row.first()->setIcon(icon.value());
        model->appendRow(row);
    }
    m_currentDir = path;
    ui->addressBar->setPath(path);
}

QJsonArray zFileDialog::loadCurrentPath(const QStringList& segments, const QJsonArray& tree, QString* reached)
{
    const bool personal = segments.value(0) == kPersonalLabel;
    QJsonObject folder;
    int matched = 0;
    const QJsonArray level = walkTree(tree, segments, &folder, &matched);
    if (folder.isEmpty()) {
        s_filePid = personal ? m_yunpanGrRootId : QString();
        s_qyid.clear();
    } else {
        s_filePid = nodeText(folder, QStringLiteral("wjjid"));
        s_qyid = personal ? QString() : nodeText(folder, QStringLiteral("wjjgsqyid"));
    }
    if (reached)
        *reached = QStringList(segments.mid(0, matched + 1)).join(pathFgf);
    return level;
}

void zFileDialog::refreshCloudStorageTableData(bool personal)
{
    s_filePid.clear();
    s_qyid.clear();
    const QStringList parts = cloudSegments(m_currentDir);
    if (!loadCloudTree(personal))
        return;
    const QJsonArray level = loadCurrentPath(parts, m_yunpanRoot, nullptr);
    // The path stays as it is, so no history entry is made; a folder removed
    // meanwhile shows the level of the deepest folder still there.
    updateYunpanData(level, m_currentDir, tracing);
    showCloudTable();
}

void zFileDialog::updateYunPanCurrentPath(const QString& path, TracAction action, const QString& kind)
{
    Q_UNUSED(kind)
    const QStringList parts = cloudSegments(path);
    if (parts.isEmpty())
        return;
    const bool personal = parts.first() == kPersonalLabel;
    // Resolved against the tree this dialog already loaded, without asking
    // the cloud: a cloud never entered here has an empty tree.
    const QJsonArray tree = personal ? m_yunpanGrData : m_yunpanQyData;
    m_yunpanRoot = tree;
    QString reached;
    const QJsonArray level = loadCurrentPath(parts, tree, &reached);
    (personal ? ui->personYunButton : ui->companyYunButton)->setChecked(true);
    setGreyXjwjj(false);
    updateYunpanData(level, reached, action);
    showCloudTable();
    iClickedBtn = personal ? 4 : 3;
    ui->okButton->SetText(isIopen ? QStringLiteral("确定") : QStringLiteral("保存"));
}

void zFileDialog::loadYunPanData(QJsonObject)
{
}

// ---- accepting a cloud choice ---------------------------------------------------------------

void zFileDialog::onOkButton()
{
    // The progress loop below lets events run: a second Return or double
    // click must not start a second accept while the first one waits.
    if (m_cloudBusy)
        return;
    const QStringList parts = cloudSegments(m_currentDir);
    if (parts.isEmpty() || (parts.first() != kEnterpriseLabel && parts.first() != kPersonalLabel))
        return;
    QString name = ui->fileNameEdit->text();
    if (!name.isEmpty())
        fileSuffixIsHave(name, ui->fileTypeCombo->currentIndex());
    const QString text = ui->okButton->text();
    if (text == QStringLiteral("确定") || text == QStringLiteral("打开"))
        openCloudChoice(parts, name);
    else if (text == QStringLiteral("保存"))
        saveCloudChoice(parts, name);
}

bool zFileDialog::cloudFileExists(bool personal, const QStringList& segments)
{
    // The status is read from one list request and the tree from a second
    // one, as the service's other clients do it.
    const QJsonObject status = personal ? LoadGrypData() : LoadQyypData();
    if (replyCode(status) != 0) {
        showWarning(replyMessage(status), this);
        return false;
    }
    const QJsonObject again = personal ? LoadGrypData() : LoadQyypData();
    const QJsonArray tree = personal ? unwrapPersonalRoot(personalNodes(again), nullptr) : enterpriseNodes(again);
    if (!getYunPanFileIsExit(QStringList(segments), tree)) {
        showWarning(QStringLiteral("工程文件不存在"), this);
        return false;
    }
    return true;
}

void zFileDialog::openCloudChoice(const QStringList& parts, const QString& name)
{
    const bool enterprise = parts.first() == kEnterpriseLabel;
    if (enterprise && m_yunpanLevel.isEmpty()) {
        showInformation(QStringLiteral("请选择企业"), this);
        return;
    }
    const QModelIndexList selected =
        ui->tableView->selectionModel() ? ui->tableView->selectionModel()->selectedRows() : QModelIndexList();
    QJsonObject node;
    if (selected.isEmpty()) {
        node = findNode(m_yunpanLevel, QStringLiteral("wjjmc"), name);
    } else {
        const QModelIndex row = selected.first();
        node = findNode(m_yunpanLevel, QStringLiteral("wjjid"), row.sibling(row.row(), IdColumn).data().toString());
    }
    if (node.isEmpty()) {
        showWarning(QStringLiteral("工程文件不存在"), this);
        return;
    }

    if (isFolderNode(node)) {
        if (enterprise) {
            const QJsonObject reply = LoadQyypMlData(nodeText(node, QStringLiteral("wjjid")),
                                                     nodeText(node, QStringLiteral("wjjgsqyid")));
            if (replyCode(reply) == 1) {
                showWarning(replyMessage(reply), this);
                return;
            }
        }
        const QString path = m_currentDir + pathFgf + node.value(QLatin1String("wjjmc")).toString();
        updateYunpanData(node.value(QLatin1String("xjdata")).toArray(), path, tracing);
        showCloudTable();
        s_filePid = nodeText(node, QStringLiteral("wjjid"));
        s_qyid = enterprise ? nodeText(node, QStringLiteral("wjjgsqyid")) : QString();
        ui->okButton->SetText(isIopen ? QStringLiteral("确定") : QStringLiteral("保存"));
        return;
    }

    // One name throughout: the chosen node's. It equals the typed name
    // unless a row is selected and the field was edited since; then the
    // existence test, the download and the cloud path all follow the row.
    const QStringList segments = QStringList(parts) << node.value(QLatin1String("wjjmc")).toString();
    if (!cloudFileExists(!enterprise, segments))
        return;
    if (enterprise) {
        const QJsonObject reply = LoadQyypFileQx(nodeText(node, QStringLiteral("wjjgsqyid")),
                                                 nodeText(node, QStringLiteral("wjjid")));
        if (replyCode(reply) == 1) {
            const QString msg = reply.value(QLatin1String("msg")).toString();
            if (msg.contains(QStringLiteral("无法下载")))
                showWarning(replyMessage(reply), this);
            else
                showInformation(replyMessage(reply), this);
            return;
        }
    }
    downloadCloudFile(node, parts);
}

void zFileDialog::downloadCloudFile(const QJsonObject& node, const QStringList& parts)
{
    const QString fileName = node.value(QLatin1String("wjjmc")).toString();
    const QString cloudFolder = m_currentDir;
    const QJsonObject data = IsExistDownLoadfile(fileName, cloudFolder).value(QLatin1String("data")).toObject();
    const QString filPath = data.value(QLatin1String("filPath")).toString();
    const bool existed = data.value(QLatin1String("isExist")).toBool();
    if (QFileInfo(filPath).baseName().trimmed().isEmpty()) {
        showWarning(QStringLiteral("文件名不能为空"), this);
        return;
    }
    // The host decides where the copy goes; the dialog only lets it land
    // inside the user's staging folder.
    const QString stagingRoot = stagingUserFolder(SharedInterface::GetAppPath(), currentUserId());
    if (!isInsideFolder(filPath, stagingRoot)) {
        pfd::logInfo(QStringLiteral("文件对话框------下载路径不在暂存目录内：%1").arg(filPath));
        showInformation(QStringLiteral("下载失败"), this);
        return;
    }
    QString iscover = QStringLiteral("0");
    if (existed)
        iscover = QStringLiteral("0");
    const QString xzlj = nodeText(node, QStringLiteral("xzlj"));

    auto flag = std::make_shared<DoneFlag>();
    QFuture<QPair<bool, QString>> work = QtConcurrent::run([fileName, filPath, iscover, xzlj, flag] {
        const QJsonObject reply = downLoadYunpanFile(fileName, filPath, iscover, xzlj);
        const QPair<bool, QString> result(replyCode(reply) == 0, reply.value(QLatin1String("data")).toString());
        QThread::msleep(1000);
        flag->set();
        return result;
    });

    QPointer<zFileDialog> self(this);
    m_cloudBusy = true;
    const auto progress = MQProgressBar::CreateEasy(QStringLiteral("提示"), QStringLiteral("正在从云盘下载数据..."),
                                                    100, nullptr);
    int value = 0;
    while (!flag->isSet()) {
        letEventsRun(50);
        if (value < 99)
            progress(++value);
    }
    progress(100);
    progress(101);
    const QPair<bool, QString> result = work.result();
    // The dialog went while the copy came in (its owner deleted it): nothing
    // is left to report to.
    if (!self)
        return;
    m_cloudBusy = false;

    // The download cannot be cancelled: closing the dialog meanwhile hid it,
    // and the copy that arrived is still the answer.
    if (!result.first || (!result.second.isEmpty() && !isInsideFolder(result.second, stagingRoot))) {
        showInformation(QStringLiteral("下载失败"), this);
        return;
    }
    s_fileYunPanPath = cloudFolder + pathFgf + fileName;
    iClickedBtn = parts.first() == kEnterpriseLabel ? 3 : 4;
    finish(result.second);
}

void zFileDialog::saveCloudChoice(const QStringList& parts, const QString& name)
{
    QStringList pieces = name.split(QLatin1Char('.'));
    pieces.removeLast();
    if (pieces.join(QLatin1Char('.')).trimmed().isEmpty()) {
        showWarning(QStringLiteral("文件名不能为空"), this);
        return;
    }
    const bool enterprise = parts.first() == kEnterpriseLabel;
    const QJsonObject status = enterprise ? LoadQyypData() : LoadGrypData();
    if (replyCode(status) != 0) {
        showWarning(replyMessage(status), this);
        return;
    }
    const QJsonObject again = enterprise ? LoadQyypData() : LoadGrypData();
    const QJsonArray tree = enterprise ? enterpriseNodes(again) : unwrapPersonalRoot(personalNodes(again), nullptr);
    if (getYunPanFileIsExit(QStringList(parts) << name, tree)
        && showQuestion(QStringLiteral("同名工程文件已经存在，是否覆盖？"), this) == 1)
        return;
    if (enterprise && s_qyid.isEmpty()) {
        showInformation(QStringLiteral("请选择企业"), this);
        return;
    }

    const QString appPath = SharedInterface::GetAppPath();
    const QString userId = currentUserId();
    const QString folder = stagingFolder(appPath, userId, parts);
    const QString file = folder + QLatin1Char('/') + localNameForCloudName(name);
    // A staged path that would leave the user's staging folder (a link in
    // the staging tree) is refused before anything changes.
    if (!isInsideFolder(file, stagingUserFolder(appPath, userId))) {
        showWarning(QStringLiteral("文件操作失败"), this);
        return;
    }
    iClickedBtn = enterprise ? 3 : 4;
    // A folder that cannot be made is the host's to report when it writes
    // the project there.
    QDir().mkpath(folder);
    s_fileYunPanPath = m_currentDir + pathFgf + name;
    finish(QDir::toNativeSeparators(file));
}
