// The dialog's process-wide state and its plain static accessors.
#include "zFileDialog.h"

#include "fileInfoJsonUtil.h"
#include "HostServices.h"
#include "SharedInterface.h"
#include "knownfolderpaths.h"
#include "dialoglayout.h"
#include "fileModelLocal.h"
#include "zBaseButton.h"
#include "zFileDialogUi.h"

#include <QAction>
#include <QHeaderView>
#include <QJsonObject>

int zFileDialog::iClickedBtn = 2;
int zFileDialog::i_sort = 0;
int zFileDialog::i_Column = 0;
bool zFileDialog::isHistoryOpen = false;
bool zFileDialog::isIopen = false;
QString zFileDialog::userId;
QString zFileDialog::userName;
QString zFileDialog::filepath;
QString zFileDialog::yunpanFile;
QString zFileDialog::pathFgf = QStringLiteral("\\");
QString zFileDialog::s_currentPath;
QString zFileDialog::s_filePid;
QString zFileDialog::s_fileYunPanPath;
QString zFileDialog::s_qyid;
QMap<int, SaveYunpanData> zFileDialog::mapYunPanData;

QString zFileDialog::OpenFileDlg(QJsonObject)
{
    return QString();
}

QString zFileDialog::getDialogPathMsg(QJsonObject object)
{
    return OpenFileDlg(object);
}

QString zFileDialog::getCurrentPath()
{
    if (!s_currentPath.isEmpty())
        return s_currentPath;
    const QString projectDir = ProjectSettingHelper::GetProjectSettingHelper()->getCurModeBasicSettings().projectDir;
    if (!projectDir.isEmpty()) {
        s_currentPath = projectDir;
    } else {
        const QString last = fileInfoJsonUtil::GetLastPathFromJson(SharedInterface::GetAppPath()
                                                                   + QStringLiteral("/filecy.json"));
        s_currentPath = last.isEmpty() ? pfd::knownFolder(pfd::KnownFolder::Documents) : last;
    }
    return s_currentPath;
}

void zFileDialog::SetCurrentPath(const QString& path) { s_currentPath = path; }
QString zFileDialog::GetFilePath() { return s_fileYunPanPath; }
void zFileDialog::SetFilePath(const QString& path) { s_fileYunPanPath = path; }
QString zFileDialog::GetFilePid() { return s_filePid; }
void zFileDialog::SetFilePid(const QString& pid) { s_filePid = pid; }
QString zFileDialog::GetQyid() { return s_qyid; }
void zFileDialog::SetQyid(const QString& qyid) { s_qyid = qyid; }

void zFileDialog::TbServerMsg(QString path)
{
    // The host's sync service reads this snapshot in other builds; here it is
    // made and dropped, which keeps the call harmless for every caller.
    const QJsonObject snapshot = TbServerSnapshot(path);
    Q_UNUSED(snapshot)
}

QJsonObject zFileDialog::TbServerSnapshot(const QString& path)
{
    QJsonObject pending;
    for (auto it = mapYunPanData.constBegin(); it != mapYunPanData.constEnd(); ++it) {
        const SaveYunpanData& d = it.value();
        pending.insert(QString::number(it.key()),
                       QJsonObject{{"strFilePath", d.strFilePath}, {"strYunPanPath", d.strYunPanPath},
                                   {"iType", d.iType}, {"strUserId", d.strUserId},
                                   {"strUserName", d.strUserName}, {"strQyId", d.strQyId},
                                   {"strWjjId", d.strWjjId}});
    }
    return QJsonObject{{"path", path},
                       {"clickedBtn", iClickedBtn},
                       {"sort", i_sort},
                       {"sortCol", i_Column},
                       {"userName", userName},
                       {"yunpanFile", yunpanFile},
                       {"userId", userId},
                       {"filepath", filepath},
                       {"isHistoryOpen", isHistoryOpen},
                       {"fileYunPanPath", s_fileYunPanPath},
                       {"filePid", s_filePid},
                       {"qyid", s_qyid},
                       {"currentPath", getCurrentPath()},
                       {"mapYunPanData", pending}};
}

// ---- the window as the user left it, across runs ----------------------------------

void zFileDialog::restoreLayout()
{
    const pfd::DialogLayout layout = pfd::loadDialogLayout(pfd::dialogLayoutFile(SharedInterface::GetAppPath()));
    // A size from a bigger screen is fitted to this one, also as the size
    // a window opened maximised returns to.
    const int shadow = 2 * shadowMargin();
    if (layout.size.isValid())
        resize(layout.size.boundedTo(availableArea().size() - QSize(shadow, shadow)));
    if (layout.columnWidths.size() == 4)
        m_columnWidths = layout.columnWidths;
    // Applied with the table's first model.
    ui->listAction->setChecked(layout.listView);
    ui->detailAction->setChecked(!layout.listView);
    if (layout.maximized) {
        setWindowState(windowState() | Qt::WindowMaximized);
        showMaximizedState(true);
    }
    // The widths as the user leaves them: the plain table's, with every
    // column shown; the recent list's path column and the list view's
    // hidden columns say nothing about them.
    connect(ui->headerView, &QHeaderView::sectionResized, this, [this] {
        if (!m_sizingColumns)
            captureColumnWidths();
    });
}

void zFileDialog::captureColumnWidths()
{
    if (ui->localModel->showPathColumn() || ui->headerView->count() < 4)
        return;
    QVector<int> widths;
    for (int c = 0; c < 4; ++c) {
        // A section being hidden reads 0 before it counts as hidden.
        if (ui->headerView->isSectionHidden(c) || ui->headerView->sectionSize(c) <= 0)
            return;
        widths << ui->headerView->sectionSize(c);
    }
    m_columnWidths = widths;
}

void zFileDialog::keepLayout()
{
    pfd::DialogLayout layout;
    layout.size = normalBodySize();
    layout.maximized = isMaximized();
    layout.listView = ui->listAction->isChecked();
    layout.columnWidths = m_columnWidths;
    pfd::saveDialogLayout(pfd::dialogLayoutFile(SharedInterface::GetAppPath()), layout);
}

void zFileDialog::showMaximizedState(bool maximized)
{
    if (maximized)
        ui->maximizeButton->setIcon(QStringLiteral(":/Image/Home/FangDa2zTitleModel.svg"),
                                    QStringLiteral(":/Image/Home/FangDa2zTitleModelHover.svg"));
    else
        ui->maximizeButton->setIcon(QStringLiteral(":/Image/Home/FangDa1zTitleModelHover.svg"),
                                    QStringLiteral(":/Image/Home/FangDa1zTitleModel.svg"));
}
