#include "cloudrequests.h"

#include <QJsonDocument>
#include <QJsonValue>

#include <initializer_list>
#include <utility>

namespace pfd {
namespace cloud {

namespace {

// QJsonObject keeps its keys sorted; the envelopes keep the order the
// service's own documentation lists them in, so they are written here.
using Member = std::pair<const char*, QByteArray>;

QByteArray str(const QString& text)
{
    static const char hex[] = "0123456789abcdef";
    const QByteArray utf8 = text.toUtf8();
    QByteArray out;
    out.reserve(utf8.size() + 2);
    out += '"';
    for (const char c : utf8) {
        const auto u = static_cast<unsigned char>(c);
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\b': out += "\\b"; break;
        case '\f': out += "\\f"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (u < 0x20) {
                out += "\\u00";
                out += hex[u >> 4];
                out += hex[u & 0xf];
            } else {
                out += c;
            }
        }
    }
    out += '"';
    return out;
}

QByteArray num(int value)
{
    return QByteArray::number(value);
}

QByteArray obj(std::initializer_list<Member> members)
{
    QByteArray out("{");
    bool first = true;
    for (const Member& m : members) {
        if (!first)
            out += ',';
        first = false;
        out += '"';
        out += m.first;
        out += "\":";
        out += m.second;
    }
    out += '}';
    return out;
}

const QByteArray kEmpty("{}");

QByteArray envelope(const char* token, const QByteArray& method)
{
    return obj({{"cmd", str(QStringLiteral("cloudDisk"))}, {"orgin_token", str(QLatin1String(token))},
                {"data", method}});
}

const char* const kUserToken = "mq_token_user";
const char* const kEnterpriseToken = "mq_token_ltd";

QByteArray uploadInfoArray(const QString& wjm, const QString& pid, int wjdx, const QString& ext)
{
    return '[' + obj({{"wjm", str(wjm)}, {"pid", str(pid)}, {"wjdx", num(wjdx)}, {"ext", str(ext)}}) + ']';
}

} // namespace

int mqidNumber(const QString& userId)
{
    return userId.toInt(nullptr, 10);
}

QByteArray loadGrypRequest(const QString& userId)
{
    return envelope(kUserToken, obj({{"method", str(QStringLiteral("personcloudgetfiledirforclouddisk"))},
                                     {"mqid", num(mqidNumber(userId))},
                                     {"data", kEmpty}}));
}

QByteArray loadQyypRequest(const QString& userId)
{
    return envelope(kEnterpriseToken, obj({{"method", str(QStringLiteral("getenterpriselistforclouddisk"))},
                                           {"mqid", num(mqidNumber(userId))},
                                           {"data", kEmpty}}));
}

QByteArray loadQyypMlRequest(const QString& userId, const QString& wjjid, const QString& qyid)
{
    return envelope(kEnterpriseToken, obj({{"method", str(QStringLiteral("getfiledirinenterpriseforclouddisk"))},
                                           {"mqid", num(mqidNumber(userId))},
                                           {"wjjid", str(wjjid)},
                                           {"qyid", str(qyid)},
                                           {"data", kEmpty}}));
}

QByteArray loadQyypFileQxRequest(const QString& userId, const QString& qyid, const QString& wjjid)
{
    return envelope(kEnterpriseToken,
                    obj({{"method", str(QStringLiteral("enterprisejudgmentauthopenfileforclouddisk"))},
                         {"mqid", num(mqidNumber(userId))},
                         {"qyid", str(qyid)},
                         {"wjjid", str(wjjid)},
                         {"data", kEmpty}}));
}

QByteArray uploadGryDataRequest(const QString& wjm, const QString& pid, int wjdx, const QString& ext,
                                const QString& mqid)
{
    return envelope(kUserToken, obj({{"method", str(QStringLiteral("personclouduploadinfoforclouddisk"))},
                                     {"mqid", str(mqid)},
                                     {"pid", str(pid)},
                                     {"data", uploadInfoArray(wjm, pid, wjdx, ext)}}));
}

QByteArray uploadQyyDataRequest(const QString& wjm, const QString& pid, int wjdx, const QString& ext,
                                const QString& mqid, const QString& qyid)
{
    return envelope(kUserToken, obj({{"method", str(QStringLiteral("getuploadinfoenterpriseforclouddisk"))},
                                     {"mqid", str(mqid)},
                                     {"qyid", str(qyid)},
                                     {"pid", str(pid)},
                                     {"data", uploadInfoArray(wjm, pid, wjdx, ext)}}));
}

namespace {

// The two upload-file methods differ in their name and in "qyid", which
// only the enterprise one carries, after "wjm".
QByteArray uploadFileRequest(const char* method, const QString& sclj, const QString& wjjwybs, const QString& pid,
                             int wjdx, const QString& ext, const QString& wjm, const QString& filePath,
                             const QString& mqid, const QString* qyid)
{
    QByteArray members = obj({{"method", str(QLatin1String(method))},
                              {"sclj", str(sclj)},
                              {"filePath", str(filePath)},
                              {"wjjwybs", str(wjjwybs)},
                              {"pid", str(pid)},
                              {"wjdx", num(wjdx)},
                              {"ext", str(ext)},
                              {"mqid", str(mqid)},
                              {"SFFG", str(QStringLiteral("1"))},
                              {"SFFX", str(QStringLiteral("1"))},
                              {"wjm", str(wjm)}});
    members.chop(1);
    if (qyid)
        members += ",\"qyid\":" + str(*qyid);
    members += ",\"data\":{}}";
    return envelope(kUserToken, members);
}

} // namespace

QByteArray uploadGryFileRequest(const QString& sclj, const QString& wjjwybs, const QString& pid, int wjdx,
                                const QString& ext, const QString& wjm, const QString& filePath,
                                const QString& mqid)
{
    return uploadFileRequest("personclouduploadfileinfoforclouddisk", sclj, wjjwybs, pid, wjdx, ext, wjm, filePath,
                             mqid, nullptr);
}

QByteArray uploadQyyFileRequest(const QString& sclj, const QString& wjjwybs, const QString& pid, int wjdx,
                                const QString& ext, const QString& wjm, const QString& filePath,
                                const QString& mqid, const QString& qyid)
{
    return uploadFileRequest("enterpriseclouduploadfileinfoforclouddisk", sclj, wjjwybs, pid, wjdx, ext, wjm,
                             filePath, mqid, &qyid);
}

QByteArray isExistDownLoadfileRequest(const QString& fileName, const QString& pathPrat)
{
    return envelope(kUserToken, obj({{"method", str(QStringLiteral("isexistlocalsamenamefile"))},
                                     {"fileName", str(fileName)},
                                     {"pathPrat", str(pathPrat)},
                                     {"data", kEmpty}}));
}

QByteArray downLoadYunpanFileRequest(const QString& fileName, const QString& filePath, const QString& iscover,
                                     const QString& xzlj)
{
    return envelope(kUserToken, obj({{"method", str(QStringLiteral("personclouddownloadfileforclouddisk"))},
                                     {"fileName", str(fileName)},
                                     {"filePath", str(filePath)},
                                     {"Iscover", str(iscover)},
                                     {"xzlj", str(xzlj)},
                                     {"data", kEmpty}}));
}

QJsonObject parseReply(const QByteArray& reply)
{
    // QJsonDocument::object() is empty for arrays, scalars and parse errors.
    return QJsonDocument::fromJson(reply).object();
}

int replyCode(const QJsonObject& reply)
{
    return reply.value(QLatin1String("code")).toInt(0);
}

} // namespace cloud
} // namespace pfd
