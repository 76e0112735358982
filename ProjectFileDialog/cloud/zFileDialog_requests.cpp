// zFileDialog's cloud operations: the signed-in user's id, one envelope, the
// host's channel, the reply's object.
#include "zFileDialog.h"

#include "HostServices.h"
#include "Users.h"
#include "cloudrequests.h"

namespace {

QString currentUserId()
{
    const UserInfo* user = Users::Instance()->Mqy();
    return user ? user->UserID : QString();
}

QJsonObject send(const QByteArray& envelope)
{
    return pfd::cloud::parseReply(ServicesUtil::AsyncReplyLoop(envelope));
}

} // namespace

QJsonObject zFileDialog::LoadGrypData()
{
    return send(pfd::cloud::loadGrypRequest(currentUserId()));
}

QJsonObject zFileDialog::LoadQyypData()
{
    return send(pfd::cloud::loadQyypRequest(currentUserId()));
}

QJsonObject zFileDialog::LoadQyypMlData(const QString& wjjid, const QString& qyid)
{
    return send(pfd::cloud::loadQyypMlRequest(currentUserId(), wjjid, qyid));
}

QJsonObject zFileDialog::LoadQyypFileQx(const QString& qyid, const QString& wjjid)
{
    return send(pfd::cloud::loadQyypFileQxRequest(currentUserId(), qyid, wjjid));
}

QJsonObject zFileDialog::UploadGryData(const QString& wjm, const QString& pid, int wjdx, const QString& ext,
                                       const QString& mqid)
{
    return send(pfd::cloud::uploadGryDataRequest(wjm, pid, wjdx, ext, mqid));
}

QJsonObject zFileDialog::UploadGryFile(const QString& sclj, const QString& wjjwybs, const QString& pid, int wjdx,
                                       const QString& ext, const QString& wjm, QString filePath, QString mqid)
{
    return send(pfd::cloud::uploadGryFileRequest(sclj, wjjwybs, pid, wjdx, ext, wjm, filePath, mqid));
}

QJsonObject zFileDialog::UploadQyyData(const QString& wjm, const QString& pid, int wjdx, const QString& ext,
                                       const QString& mqid, const QString& qyid)
{
    return send(pfd::cloud::uploadQyyDataRequest(wjm, pid, wjdx, ext, mqid, qyid));
}

QJsonObject zFileDialog::UploadQyyFile(const QString& sclj, const QString& wjjwybs, const QString& pid, int wjdx,
                                       const QString& ext, const QString& wjm, QString filePath, QString mqid,
                                       const QString& qyid)
{
    return send(pfd::cloud::uploadQyyFileRequest(sclj, wjjwybs, pid, wjdx, ext, wjm, filePath, mqid, qyid));
}

QJsonObject zFileDialog::IsExistDownLoadfile(const QString& fileName, const QString& pathPrat)
{
    return send(pfd::cloud::isExistDownLoadfileRequest(fileName, pathPrat));
}

QJsonObject zFileDialog::downLoadYunpanFile(const QString& fileName, const QString& filePath,
                                            const QString& Iscover, const QString& xzlj)
{
    return send(pfd::cloud::downLoadYunpanFileRequest(fileName, filePath, Iscover, xzlj));
}
