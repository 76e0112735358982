#pragma once
// Envelopes of the ten cloud requests, written out as JSON the way the
// dialog sends them, and a small cloud to run them against: two users with
// personal files, one enterprise each, and one enterprise they share.
#include "CloudDiskService.h"
#include "clustersupport.h"

#include <QBuffer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QTemporaryDir>
#include <QtTest>

namespace cloudsupport {

inline QJsonObject envelope(const QString& token, const QJsonObject& method)
{
    return QJsonObject{{"cmd", "cloudDisk"}, {"orgin_token", token}, {"data", method}};
}

inline QByteArray bytes(const QJsonObject& o)
{
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

inline QJsonObject parse(const QByteArray& reply)
{
    return QJsonDocument::fromJson(reply).object();
}

inline QJsonObject personTree(const QJsonValue& mqid)
{
    return envelope("mq_token_user", {{"method", "personcloudgetfiledirforclouddisk"}, {"mqid", mqid}, {"data", QJsonObject()}});
}

inline QJsonObject enterpriseList(const QJsonValue& mqid)
{
    return envelope("mq_token_ltd", {{"method", "getenterpriselistforclouddisk"}, {"mqid", mqid}, {"data", QJsonObject()}});
}

inline QJsonObject enterpriseDir(const QJsonValue& mqid, const QString& wjjid, const QString& qyid)
{
    return envelope("mq_token_ltd", {{"method", "getfiledirinenterpriseforclouddisk"}, {"mqid", mqid}, {"wjjid", wjjid},
                                     {"qyid", qyid}, {"data", QJsonObject()}});
}

inline QJsonObject enterpriseAuth(const QJsonValue& mqid, const QString& qyid, const QString& wjjid)
{
    return envelope("mq_token_ltd", {{"method", "enterprisejudgmentauthopenfileforclouddisk"}, {"mqid", mqid},
                                     {"qyid", qyid}, {"wjjid", wjjid}, {"data", QJsonObject()}});
}

inline QJsonObject uploadInfo(const QString& mqid, const QString& wjm, const QString& pid, double wjdx,
                              const QString& ext, const QString& qyid = QString())
{
    QJsonObject m{{"method", qyid.isEmpty() ? "personclouduploadinfoforclouddisk" : "getuploadinfoenterpriseforclouddisk"},
                  {"mqid", mqid},
                  {"pid", pid},
                  {"data", QJsonArray{QJsonObject{{"wjm", wjm}, {"pid", pid}, {"wjdx", wjdx}, {"ext", ext}}}}};
    if (!qyid.isEmpty())
        m.insert("qyid", qyid);
    return envelope("mq_token_user", m);
}

// The file request that presents the ticket of an info reply.
inline QJsonObject uploadFile(const QJsonObject& ticket, const QString& filePath, const QString& mqid,
                              const QString& qyid = QString())
{
    QJsonObject m{{"method", qyid.isEmpty() ? "personclouduploadfileinfoforclouddisk"
                                            : "enterpriseclouduploadfileinfoforclouddisk"},
                  {"sclj", ticket.value("sclj")},
                  {"filePath", filePath},
                  {"wjjwybs", ticket.value("wjjwybs")},
                  {"pid", ticket.value("pid")},
                  {"wjdx", ticket.value("wjdx")},
                  {"ext", ticket.value("ext")},
                  {"mqid", mqid},
                  {"SFFG", "1"},
                  {"SFFX", "1"},
                  {"wjm", ticket.value("wjm")},
                  {"data", QJsonObject()}};
    if (!qyid.isEmpty())
        m.insert("qyid", qyid);
    return envelope("mq_token_user", m);
}

inline QJsonObject isExistLocal(const QString& fileName, const QString& pathPrat)
{
    return envelope("mq_token_user", {{"method", "isexistlocalsamenamefile"}, {"fileName", fileName},
                                      {"pathPrat", pathPrat}, {"data", QJsonObject()}});
}

inline QJsonObject download(const QString& fileName, const QString& filePath, const QString& xzlj)
{
    return envelope("mq_token_user", {{"method", "personclouddownloadfileforclouddisk"}, {"fileName", fileName},
                                      {"filePath", filePath}, {"Iscover", "0"}, {"xzlj", xzlj}, {"data", QJsonObject()}});
}

// The first node named `name` anywhere below `nodes`.
inline QJsonObject find(const QJsonArray& nodes, const QString& name)
{
    for (const QJsonValue& v : nodes) {
        const QJsonObject n = v.toObject();
        if (n.value("wjjmc").toString() == name)
            return n;
        const QJsonObject below = find(n.value("xjdata").toArray(), name);
        if (!below.isEmpty())
            return below;
    }
    return QJsonObject();
}

inline QString idOf(const QJsonObject& node)
{
    return node.value("wjjid").toString();
}

// The cloud used by the service, channel and storage tests:
//   alice: 根目录/设计/a.GCFG ("alice's a"), 根目录/readme.txt
//   bob:   根目录/b.GCFG
//   甲公司 (alice, bob): 工程/g.GCFG, 工程/only-view.GCFG, 保密/s.GCFG
//   乙公司 (bob only):   内部/x.GCFG
// bob may not enter 保密 and may only view only-view.GCFG in 甲公司.
struct Cloud
{
    QTemporaryDir dir;
    std::unique_ptr<clouddisk::Service> service;
    qint64 alice = -1, bob = -1, jia = -1, yi = -1;
    qint64 aliceRoot = -1, bobRoot = -1, design = -1, jiaRoot = -1, project = -1, secret = -1, yiRoot = -1, inner = -1;
    qint64 aliceFile = -1, bobFile = -1, jiaFile = -1, viewOnly = -1, secretFile = -1, yiFile = -1;

    explicit Cloud(const QString& dataDir = QString())
    {
        QString error;
        const QString data = dataDir.isEmpty() ? dir.path() + "/data" : dataDir;
        service = clustersupport::openStore(data, &error);
        QVERIFY2(service, qPrintable(error));
        alice = service->addUser("alice", "alice-pw");
        bob = service->addUser("bob", "bob-pw");
        aliceRoot = service->personalRoot(alice);
        bobRoot = service->personalRoot(bob);
        design = service->makeFolder(aliceRoot, "设计");
        aliceFile = put(design, "a.GCFG", "alice's a");
        put(aliceRoot, "readme.txt", "hello");
        bobFile = put(bobRoot, "b.GCFG", "bob's b");
        jia = service->addEnterprise("甲公司");
        yi = service->addEnterprise("乙公司");
        service->addMember(jia, alice);
        service->addMember(jia, bob);
        service->addMember(yi, bob);
        jiaRoot = service->enterpriseRoot(jia);
        yiRoot = service->enterpriseRoot(yi);
        project = service->makeFolder(jiaRoot, "工程");
        secret = service->makeFolder(jiaRoot, "保密");
        inner = service->makeFolder(yiRoot, "内部");
        jiaFile = put(project, "g.GCFG", "jia g");
        viewOnly = put(project, "only-view.GCFG", "view only");
        secretFile = put(secret, "s.GCFG", "secret s");
        yiFile = put(inner, "x.GCFG", "yi x");
        service->setRight(secret, bob, clouddisk::Service::Right::Enter, false);
        service->setRight(viewOnly, bob, clouddisk::Service::Right::Download, false);
    }

    qint64 put(qint64 folder, const QString& name, const QByteArray& contents)
    {
        QBuffer buf;
        buf.setData(contents);
        buf.open(QIODevice::ReadOnly);
        QString error;
        const qint64 id = service->storeFile(folder, name, &buf, &error);
        if (id < 0)
            qWarning("storeFile %s: %s", qPrintable(name), qPrintable(error));
        return id;
    }

    QString dataDir() const { return dir.path() + "/data"; }
};

inline QString xzljOf(clouddisk::Service& s, qint64 fileId)
{
    return s.subtree(fileId).value("xzlj").toString();
}

} // namespace cloudsupport
