// The dialog's process-wide state and its plain static accessors.
#include "zFileDialog.h"

#include "fileInfoJsonUtil.h"
#include "HostServices.h"
#include "SharedInterface.h"
#include "knownfolderpaths.h"

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
