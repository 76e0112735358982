// Saving to the cloud, second stage: the host has written the project at the
// staging path the dialog handed out and asks for the upload.
#include "zFileDialog.h"

#include "HostServices.h"
#include "MQProgressBar.h"
#include "SharedInterface.h"
#include "Users.h"
#include "cloudnames.h"
#include "cloudrequests.h"
#include "cloudtask.h"
#include "pfdlog.h"
#include "zMessageBox.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QtConcurrent>

#include <memory>

namespace {

struct UploadOutcome
{
    bool success = false;   // the first request's "code" was 0
    bool confirmed = false; // and the service answered the contents with "code" 0
    QString message;        // "msg" of the last reply
};

// The name the cloud gets: the real cloud name the dialog remembered when
// the staged file carries its local form, else the staged file's own name.
QString cloudFileName(const QString& stagedName)
{
    const QStringList parts = zFileDialog::GetFilePath().split(zFileDialog::pathFgf, Qt::SkipEmptyParts);
    const QString real = parts.isEmpty() ? QString() : parts.last();
    return !real.isEmpty() && pfd::cloud::localNameForCloudName(real) == stagedName ? real : stagedName;
}

UploadOutcome upload(const QString& filePath, const QString& wjm, qint64 size, const QString& suffix,
                     const QString& pid, const QString& mqid, const QString& qyid)
{
    const QString ext = QLatin1Char('.') + suffix;
    const int wjdx = static_cast<int>(static_cast<quint32>(size)); // the service takes 32 bits
    QJsonObject reply = qyid.isEmpty() ? zFileDialog::UploadGryData(wjm, pid, wjdx, ext, mqid)
                                       : zFileDialog::UploadQyyData(wjm, pid, wjdx, ext, mqid, qyid);
    UploadOutcome out;
    out.success = pfd::cloud::replyCode(reply) == 0;
    if (out.success) {
        const QJsonObject t = reply.value(QLatin1String("data")).toObject();
        const QString tWjm = t.value(QLatin1String("wjm")).toString();
        const QString tExt = t.value(QLatin1String("ext")).toString();
        const int tWjdx = t.value(QLatin1String("wjdx")).toInt();
        const QString tPid = t.value(QLatin1String("pid")).toString();
        const QString wjjwybs = t.value(QLatin1String("wjjwybs")).toString();
        const QString sclj = t.value(QLatin1String("sclj")).toString();
        reply = qyid.isEmpty()
                    ? zFileDialog::UploadGryFile(sclj, wjjwybs, tPid, tWjdx, tExt, tWjm, filePath, mqid)
                    : zFileDialog::UploadQyyFile(sclj, wjjwybs, tPid, tWjdx, tExt, tWjm, filePath, mqid, qyid);
        // A second-stage failure is reported through "msg" and still counts
        // as success; the staged file is only let go when the service
        // answered the contents plainly.
        out.confirmed = !reply.isEmpty() && pfd::cloud::replyCode(reply) == 0;
    }
    out.message = reply.value(QLatin1String("msg")).toString();
    return out;
}

// The done flag of the upload whose progress loop is running, if any. Its
// loop lets events run, and a host timer may ask for a second upload then.
std::shared_ptr<pfd::cloud::DoneFlag> s_running;

} // namespace

bool zFileDialog::SaveToYunPanData(QString filePath)
{
    // Uploads go one after the other: a call made while an earlier upload's
    // loop lets events run waits here for that upload's worker, then does
    // its own, so every call blocks until its own upload is done.
    if (s_running) {
        pfd::logInfo(QStringLiteral("文件对话框------等待上一次云盘保存结束：%1").arg(filePath));
        while (!s_running->isSet())
            QThread::msleep(10);
    }
    filePath = QDir::toNativeSeparators(filePath);
    const UserInfo* user = Users::Instance()->Mqy();
    const QString mqid = user ? user->UserID : QString();
    const QString pid = s_filePid;
    const QString qyid = s_qyid;
    const QFileInfo info(filePath);
    const QString wjm = cloudFileName(info.fileName());

    SystemHelper::markVeto(QString());
    auto flag = std::make_shared<pfd::cloud::DoneFlag>();
    const std::shared_ptr<pfd::cloud::DoneFlag> earlier = s_running;
    s_running = flag;
    const qint64 size = info.size();
    const QString suffix = info.suffix();
    QFuture<UploadOutcome> work = QtConcurrent::run([=] {
        const UploadOutcome out = upload(filePath, wjm, size, suffix, pid, mqid, qyid);
        QThread::msleep(1000);
        flag->set();
        return out;
    });

    const auto progress =
        MQProgressBar::CreateEasy(QStringLiteral("提示"), QStringLiteral("正在保存工程到云盘..."), 100, nullptr);
    // The bar climbs for the first second with events let through between
    // steps; after that the thread only sleeps until the worker is done.
    int counter = 0;
    while (!flag->isSet()) {
        if (counter < 100)
            ++counter;
        if (counter < 100) {
            progress(counter);
            QCoreApplication::processEvents();
        }
        QThread::msleep(10);
    }
    progress(100);
    QCoreApplication::processEvents();
    progress(101);

    const UploadOutcome out = work.result();
    const QString appPath = SharedInterface::GetAppPath();
    const QString stagingRoot = pfd::cloud::stagingUserFolder(appPath, mqid);
    // Only a file inside the user's staging tree is ever removed or moved.
    if (!pfd::cloud::isInsideFolder(filePath, stagingRoot)) {
        pfd::logInfo(QStringLiteral("文件对话框------文件不在云盘暂存目录内，未删除：%1").arg(filePath));
    } else if (out.confirmed) {
        QFile::remove(filePath);
    } else if (QFileInfo::exists(filePath)) {
        // Never lose the project: what the cloud did not take is kept.
        const QString kept = pfd::cloud::moveToRecovery(filePath, stagingRoot,
                                                        pfd::cloud::recoveryFolder(appPath, mqid),
                                                        QDateTime::currentDateTime());
        pfd::logInfo(kept.isEmpty()
                         ? QStringLiteral("文件对话框------云盘保存未完成，工程留在：%1").arg(filePath)
                         : QStringLiteral("文件对话框------云盘保存未完成，工程已移至：%1").arg(kept));
    }
    s_fileYunPanPath.clear();

    QWidget* mainWindow = Communication::GetInstance()->GetMainWindow();
    if (out.success)
        showInforByOneBtn(QStringLiteral("保存云文件成功！"), mainWindow, 1);
    else
        showInforByOneBtn(out.message, mainWindow, 1);
    SystemHelper::markUse(QString());
    s_running = earlier;
    return out.success;
}
