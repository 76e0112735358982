#pragma once
// The cloud-disk requests as bytes, and their replies as objects. Pure data:
// no widgets, no host calls. zFileDialog's static cloud operations read the
// signed-in user, build here, send through the host channel and parse here.
//
// Every envelope is written compactly (no blank anywhere), UTF-8, with its
// members in one fixed order: "cmd", "orgin_token", "data"; inside the
// method object "method" first, then the method's own members in the order
// listed beside each builder, the inner "data" last (in the upload-file
// methods "qyid" comes after "wjm", before "data"). Strings are escaped as
// JSON requires: \" \\ \b \f \n \r \t, other control characters as \u00xx
// (lower-case hex); everything else is written as it is.
#include "pfd_global.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

namespace pfd {
namespace cloud {

// The user id as the browse and permission requests send it: base-10
// toInt, so an id that is not a number becomes 0.
PFD_EXPORT int mqidNumber(const QString& userId);

// "mqid" (number), "data" {}.
PFD_EXPORT QByteArray loadGrypRequest(const QString& userId);
// "mqid" (number), "data" {}.
PFD_EXPORT QByteArray loadQyypRequest(const QString& userId);
// "mqid" (number), "wjjid", "qyid", "data" {}. Folder id first.
PFD_EXPORT QByteArray loadQyypMlRequest(const QString& userId, const QString& wjjid, const QString& qyid);
// "mqid" (number), "qyid", "wjjid", "data" {}. Enterprise id first.
PFD_EXPORT QByteArray loadQyypFileQxRequest(const QString& userId, const QString& qyid, const QString& wjjid);
// "mqid" (string), "pid", "data": [{"wjm", "pid", "wjdx" (number), "ext"}].
PFD_EXPORT QByteArray uploadGryDataRequest(const QString& wjm, const QString& pid, int wjdx, const QString& ext,
                                           const QString& mqid);
// "sclj", "filePath", "wjjwybs", "pid", "wjdx" (number), "ext", "mqid"
// (string), "SFFG" "1", "SFFX" "1", "wjm", "data" {}.
PFD_EXPORT QByteArray uploadGryFileRequest(const QString& sclj, const QString& wjjwybs, const QString& pid, int wjdx,
                                           const QString& ext, const QString& wjm, const QString& filePath,
                                           const QString& mqid);
// "mqid" (string), "qyid", "pid", "data": [{"wjm", "pid", "wjdx", "ext"}].
PFD_EXPORT QByteArray uploadQyyDataRequest(const QString& wjm, const QString& pid, int wjdx, const QString& ext,
                                           const QString& mqid, const QString& qyid);
// As uploadGryFileRequest, "qyid" after "wjm".
PFD_EXPORT QByteArray uploadQyyFileRequest(const QString& sclj, const QString& wjjwybs, const QString& pid, int wjdx,
                                           const QString& ext, const QString& wjm, const QString& filePath,
                                           const QString& mqid, const QString& qyid);
// "fileName", "pathPrat", "data" {}.
PFD_EXPORT QByteArray isExistDownLoadfileRequest(const QString& fileName, const QString& pathPrat);
// "fileName", "filePath", "Iscover", "xzlj", "data" {}.
PFD_EXPORT QByteArray downLoadYunpanFileRequest(const QString& fileName, const QString& filePath,
                                                const QString& iscover, const QString& xzlj);

// The reply's top-level object; empty bytes, bytes that are not JSON and
// any JSON that is not an object give an empty object.
PFD_EXPORT QJsonObject parseReply(const QByteArray& reply);

// "code" read as an integer with default 0: a reply without it, or an
// empty one, counts as success.
PFD_EXPORT int replyCode(const QJsonObject& reply);

} // namespace cloud
} // namespace pfd
