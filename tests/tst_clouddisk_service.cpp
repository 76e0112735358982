// The cloud-disk service, method by method: reply shapes, every refusal, and
// that one user never reaches another user's tree or a foreign enterprise.
#include "CloudDiskService.h"
#include "clouddisksupport.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QtTest>

using namespace cloudsupport;
using clouddisk::Service;

class tst_clouddisk_service : public QObject
{
    Q_OBJECT

private:
    // Asks for a ticket and uploads `contents` with it; the file reply.
    QJsonObject upload(Service& s, qint64 user, const QString& name, qint64 folder, const QByteArray& contents,
                       const QString& qyid = QString())
    {
        const QString mqid = QString::number(user);
        const QJsonObject info = s.handle(user, uploadInfo(mqid, name, QString::number(folder), contents.size(),
                                                           name.mid(name.lastIndexOf('.')), qyid));
        if (info.value("code").toInt() != 0)
            return info;
        QJsonObject refusal;
        auto up = s.beginUpload(user, uploadFile(info.value("data").toObject(), "/unused", mqid, qyid), &refusal);
        if (!up)
            return refusal;
        up->write(contents.constData(), contents.size());
        return up->commit();
    }

    QByteArray downloaded(Service& s, qint64 user, qint64 fileId)
    {
        const Service::Download d = s.prepareDownload(user, download("f", "/x", xzljOf(s, fileId)));
        if (!d.refusal.isEmpty())
            return QByteArray("refused: ") + d.refusal.value("msg").toString().toUtf8();
        QFile f(d.contentsPath);
        f.open(QIODevice::ReadOnly);
        return f.readAll();
    }

private slots:
    void personalTreeHasRootAndNodeKeys()
    {
        Cloud c;
        const QJsonObject reply = c.service->handle(c.alice, personTree(double(c.alice)));
        QCOMPARE(reply.value("code").toInt(-1), 0);
        const QJsonArray top = reply.value("data").toObject().value("data").toArray();
        QCOMPARE(top.size(), 1);
        const QJsonObject root = top.first().toObject();
        QCOMPARE(root.value("wjjmc").toString(), QStringLiteral("根目录"));
        QCOMPARE(root.value("wjjid").toString(), QString::number(c.aliceRoot));
        QCOMPARE(root.value("wjlx").toString(), QStringLiteral("1"));
        const QJsonArray level = root.value("xjdata").toArray();
        QCOMPARE(level.size(), 2); // 设计 and readme.txt
        const QJsonObject folder = level.first().toObject();
        QCOMPARE(folder.value("wjjmc").toString(), QStringLiteral("设计"));
        QCOMPARE(folder.value("wjjpid").toString(), QString::number(c.aliceRoot));
        QVERIFY(folder.value("xjdata").isArray());
        const QJsonObject file = folder.value("xjdata").toArray().first().toObject();
        QCOMPARE(file.value("wjjmc").toString(), QStringLiteral("a.GCFG"));
        QCOMPARE(file.value("wjjid").toString(), QString::number(c.aliceFile));
        QCOMPARE(file.value("wjjpid").toString(), QString::number(c.design));
        QVERIFY(file.value("wjlx").toString() != QLatin1String("1"));
        QVERIFY(file.value("wjdx").isDouble());
        QCOMPARE(file.value("wjdx").toInt(), 9);
        QVERIFY(!file.value("xgsj").toString().isEmpty());
        QVERIFY(file.value("wjjgsqyid").isString());
        QVERIFY(!file.value("xzlj").toString().isEmpty());
        // Nothing of bob's shows.
        QVERIFY(find(top, "b.GCFG").isEmpty());
    }

    void enterpriseListShowsOnlyMembersEnterprises()
    {
        Cloud c;
        const QJsonObject reply = c.service->handle(c.alice, enterpriseList(double(c.alice)));
        QCOMPARE(reply.value("code").toInt(-1), 0);
        const QJsonArray list = reply.value("data").toArray();
        QCOMPARE(list.size(), 1);
        const QJsonObject jia = list.first().toObject();
        QCOMPARE(jia.value("wjjmc").toString(), QStringLiteral("甲公司"));
        QCOMPARE(jia.value("wjjid").toString(), QString::number(c.jiaRoot));
        QCOMPARE(jia.value("wjjgsqyid").toString(), QString::number(c.jia));
        QCOMPARE(jia.value("wjlx").toString(), QStringLiteral("1"));
        const QJsonObject g = find(list, "g.GCFG");
        QCOMPARE(g.value("wjjgsqyid").toString(), QString::number(c.jia));
        QVERIFY(find(list, "x.GCFG").isEmpty()); // 乙公司 is bob's only

        const QJsonArray bobs = c.service->handle(c.bob, enterpriseList(double(c.bob))).value("data").toArray();
        QCOMPARE(bobs.size(), 2);
    }

    void enterpriseListShowsClosedFolderWithoutContents()
    {
        Cloud c;
        const QJsonArray bobs = c.service->handle(c.bob, enterpriseList(double(c.bob))).value("data").toArray();
        const QJsonObject secret = find(bobs, "保密");
        QVERIFY(!secret.isEmpty());
        QCOMPARE(secret.value("xjdata").toArray().size(), 0);
        QVERIFY(find(bobs, "s.GCFG").isEmpty());
        // alice may enter it and sees the file.
        const QJsonArray alices = c.service->handle(c.alice, enterpriseList(double(c.alice))).value("data").toArray();
        QVERIFY(!find(alices, "s.GCFG").isEmpty());
    }

    void enterpriseFolderAccessTest()
    {
        Cloud c;
        const QString jia = QString::number(c.jia);
        QJsonObject r = c.service->handle(c.bob, enterpriseDir(double(c.bob), QString::number(c.project), jia));
        QCOMPARE(r.value("code").toInt(-1), 0);
        QCOMPARE(r.value("data").toObject().value("wjjmc").toString(), QStringLiteral("工程"));

        r = c.service->handle(c.bob, enterpriseDir(double(c.bob), QString::number(c.secret), jia));
        QCOMPARE(r.value("code").toInt(), 1);
        QCOMPARE(r.value("msg").toString(), QStringLiteral("您没有进入该文件夹的权限"));

        // Not a member of 乙公司.
        r = c.service->handle(c.alice, enterpriseDir(double(c.alice), QString::number(c.inner), QString::number(c.yi)));
        QCOMPARE(r.value("code").toInt(), 1);
        QVERIFY(!r.value("msg").toString().isEmpty());
        QVERIFY(!r.contains("data"));
        // A folder named with the wrong enterprise.
        r = c.service->handle(c.bob, enterpriseDir(double(c.bob), QString::number(c.inner), jia));
        QCOMPARE(r.value("code").toInt(), 1);
    }

    void enterpriseFolderAccessTestUnknownIds_data()
    {
        QTest::addColumn<QString>("wjjid");
        QTest::addColumn<QString>("qyid");
        QTest::newRow("unknown folder") << "999999" << "1";
        QTest::newRow("not a number") << "abc" << "1";
        QTest::newRow("empty") << "" << "";
        QTest::newRow("negative") << "-3" << "1";
        QTest::newRow("unknown enterprise") << "3" << "999";
    }
    void enterpriseFolderAccessTestUnknownIds()
    {
        QFETCH(QString, wjjid);
        QFETCH(QString, qyid);
        Cloud c;
        const QJsonObject r = c.service->handle(c.alice, enterpriseDir(double(c.alice), wjjid, qyid));
        QCOMPARE(r.value("code").toInt(), 1);
        QVERIFY(!r.value("msg").toString().isEmpty());
    }

    void enterpriseFilePermission()
    {
        Cloud c;
        const QString jia = QString::number(c.jia);
        QJsonObject r = c.service->handle(c.bob, enterpriseAuth(double(c.bob), jia, QString::number(c.jiaFile)));
        QCOMPARE(r.value("code").toInt(-1), 0);

        // May be opened but not downloaded: the message says so.
        r = c.service->handle(c.bob, enterpriseAuth(double(c.bob), jia, QString::number(c.viewOnly)));
        QCOMPARE(r.value("code").toInt(), 1);
        QVERIFY(r.value("msg").toString().contains(QStringLiteral("无法下载")));

        // Open withdrawn: refused without that phrase.
        c.service->setRight(c.jiaFile, c.bob, Service::Right::Open, false);
        r = c.service->handle(c.bob, enterpriseAuth(double(c.bob), jia, QString::number(c.jiaFile)));
        QCOMPARE(r.value("code").toInt(), 1);
        QVERIFY(!r.value("msg").toString().contains(QStringLiteral("无法下载")));

        // Inside a folder bob may not enter.
        r = c.service->handle(c.bob, enterpriseAuth(double(c.bob), jia, QString::number(c.secretFile)));
        QCOMPARE(r.value("code").toInt(), 1);
        // Granted again.
        c.service->setRight(c.jiaFile, c.bob, Service::Right::Open, true);
        r = c.service->handle(c.bob, enterpriseAuth(double(c.bob), jia, QString::number(c.jiaFile)));
        QCOMPARE(r.value("code").toInt(-1), 0);
        // A file of an enterprise alice is not a member of; a folder id; unknown.
        r = c.service->handle(c.alice, enterpriseAuth(double(c.alice), QString::number(c.yi), QString::number(c.yiFile)));
        QCOMPARE(r.value("code").toInt(), 1);
        r = c.service->handle(c.alice, enterpriseAuth(double(c.alice), jia, QString::number(c.project)));
        QCOMPARE(r.value("code").toInt(), 1);
        r = c.service->handle(c.alice, enterpriseAuth(double(c.alice), jia, "424242"));
        QCOMPARE(r.value("code").toInt(), 1);
    }

    void wrongTokenKindRefused_data()
    {
        QTest::addColumn<int>("which");
        QTest::addColumn<QString>("wrong");
        QTest::newRow("person tree with ltd") << 0 << "mq_token_ltd";
        QTest::newRow("enterprise list with user") << 1 << "mq_token_user";
        QTest::newRow("enterprise dir with user") << 2 << "mq_token_user";
        QTest::newRow("enterprise auth with user") << 3 << "mq_token_user";
        QTest::newRow("person upload info with ltd") << 4 << "mq_token_ltd";
        QTest::newRow("enterprise upload info with ltd") << 5 << "mq_token_ltd";
        QTest::newRow("unknown kind") << 0 << "mq_token_admin";
        QTest::newRow("empty kind") << 0 << "";
    }
    void wrongTokenKindRefused()
    {
        QFETCH(int, which);
        QFETCH(QString, wrong);
        Cloud c;
        const double me = double(c.alice);
        const QString mqid = QString::number(c.alice);
        const QString jia = QString::number(c.jia);
        const QJsonObject envs[] = {
            personTree(me),
            enterpriseList(me),
            enterpriseDir(me, QString::number(c.project), jia),
            enterpriseAuth(me, jia, QString::number(c.jiaFile)),
            uploadInfo(mqid, "a.GCFG", QString::number(c.aliceRoot), 1, ".GCFG"),
            uploadInfo(mqid, "a.GCFG", QString::number(c.project), 1, ".GCFG", jia),
        };
        QJsonObject env = envs[which];
        QCOMPARE(c.service->handle(c.alice, env).value("code").toInt(-1), 0); // right kind: accepted
        env.insert("orgin_token", wrong);
        const QJsonObject r = c.service->handle(c.alice, env);
        QCOMPARE(r.value("code").toInt(), 1);
        QCOMPARE(r.value("msg").toString(), QStringLiteral("请求使用的令牌类型不正确"));
    }

    void wrongTokenKindRefusedForContents()
    {
        Cloud c;
        QJsonObject env = download("a.GCFG", "/x", xzljOf(*c.service, c.aliceFile));
        env.insert("orgin_token", "mq_token_ltd");
        QCOMPARE(c.service->prepareDownload(c.alice, env).refusal.value("code").toInt(), 1);

        const QJsonObject info =
            c.service->handle(c.alice, uploadInfo("1", "n.GCFG", QString::number(c.aliceRoot), 3, ".GCFG"));
        QJsonObject file = uploadFile(info.value("data").toObject(), "/x", "1");
        file.insert("orgin_token", "mq_token_ltd");
        QJsonObject refusal;
        QVERIFY(!c.service->beginUpload(c.alice, file, &refusal));
        QCOMPARE(refusal.value("code").toInt(), 1);
    }

    void someoneElsesMqidRefused()
    {
        Cloud c;
        // bob's id on alice's session.
        for (const QJsonObject& env : {personTree(double(c.bob)), enterpriseList(double(c.bob)),
                                       enterpriseDir(double(c.bob), QString::number(c.project), QString::number(c.jia)),
                                       enterpriseAuth(double(c.bob), QString::number(c.jia), QString::number(c.jiaFile)),
                                       uploadInfo(QString::number(c.bob), "n.GCFG", QString::number(c.bobRoot), 1, ".GCFG")}) {
            const QJsonObject r = c.service->handle(c.alice, env);
            QCOMPARE(r.value("code").toInt(), 1);
            QCOMPARE(r.value("msg").toString(), QStringLiteral("用户身份与登录用户不符"));
            QVERIFY(!r.contains("data"));
        }
        // The forms are kept apart: a number where the upload wants a string,
        // a string where the browse wants a number, 0 for a non-numeric id.
        QCOMPARE(c.service->handle(c.alice, personTree(QString::number(c.alice))).value("code").toInt(), 1);
        QCOMPARE(c.service->handle(c.alice, personTree(0)).value("code").toInt(), 1);
        QJsonObject info = uploadInfo("1", "n.GCFG", QString::number(c.aliceRoot), 1, ".GCFG");
        QJsonObject m = info.value("data").toObject();
        m.insert("mqid", 1);
        info.insert("data", m);
        QCOMPARE(c.service->handle(c.alice, info).value("code").toInt(), 1);
        // An upload file request naming someone else.
        const QJsonObject ticket = c.service->handle(c.alice, uploadInfo("1", "n.GCFG", QString::number(c.aliceRoot), 1, ".GCFG"))
                                       .value("data")
                                       .toObject();
        QJsonObject refusal;
        QVERIFY(!c.service->beginUpload(c.alice, uploadFile(ticket, "/x", QString::number(c.bob)), &refusal));
        QCOMPARE(refusal.value("code").toInt(), 1);
    }

    void malformedEnvelopeRefused_data()
    {
        QTest::addColumn<QJsonObject>("env");
        const QJsonObject good = personTree(1);
        QJsonObject e = good;
        e.remove("cmd");
        QTest::newRow("no cmd") << e;
        e = good;
        e.insert("cmd", "other");
        QTest::newRow("other cmd") << e;
        e = good;
        e.insert("orgin_token", 5);
        QTest::newRow("token not a string") << e;
        e = good;
        e.insert("data", QJsonArray{1});
        QTest::newRow("data an array") << e;
        e = good;
        e.insert("data", "text");
        QTest::newRow("data a string") << e;
        QTest::newRow("empty") << QJsonObject();
        QTest::newRow("no method") << envelope("mq_token_user", {{"mqid", 1}});
        QTest::newRow("method not a string") << envelope("mq_token_user", {{"method", 7}, {"mqid", 1}});
        QTest::newRow("unknown method") << envelope("mq_token_user", {{"method", "droptables"}, {"mqid", 1}});
        QTest::newRow("info without array") << envelope("mq_token_user", {{"method", "personclouduploadinfoforclouddisk"},
                                                                           {"mqid", "1"}, {"pid", "1"}, {"data", QJsonObject()}});
        QTest::newRow("info with two") << envelope("mq_token_user", {{"method", "personclouduploadinfoforclouddisk"},
                                                                      {"mqid", "1"}, {"pid", "1"},
                                                                      {"data", QJsonArray{QJsonObject(), QJsonObject()}}});
        QTest::newRow("contents method") << download("a", "/x", "clouddisk:file/3");
    }
    void malformedEnvelopeRefused()
    {
        QFETCH(QJsonObject, env);
        Cloud c;
        const QJsonObject r = c.service->handle(c.alice, env);
        QCOMPARE(r.value("code").toInt(), 1);
        QVERIFY(!r.value("msg").toString().isEmpty());
    }

    void uploadInTwoSteps()
    {
        Cloud c;
        const QString mqid = QString::number(c.alice);
        const QString pid = QString::number(c.design);
        const QJsonObject info = c.service->handle(c.alice, uploadInfo(mqid, "新.GCFG", pid, 5, ".GCFG"));
        QCOMPARE(info.value("code").toInt(-1), 0);
        const QJsonObject ticket = info.value("data").toObject();
        QCOMPARE(ticket.value("wjm").toString(), QStringLiteral("新.GCFG"));
        QCOMPARE(ticket.value("ext").toString(), QStringLiteral(".GCFG"));
        QCOMPARE(ticket.value("pid").toString(), pid);
        QVERIFY(ticket.value("wjdx").isDouble());
        QCOMPARE(ticket.value("wjdx").toInt(), 5);
        QVERIFY(!ticket.value("wjjwybs").toString().isEmpty());
        QVERIFY(!ticket.value("sclj").toString().isEmpty());

        QJsonObject refusal;
        auto up = c.service->beginUpload(c.alice, uploadFile(ticket, "/x", mqid), &refusal);
        QVERIFY2(up, qPrintable(refusal.value("msg").toString()));
        QVERIFY(up->write("12", 2));
        QVERIFY(up->write("345", 3));
        const QJsonObject done = up->commit();
        QCOMPARE(done.value("code").toInt(-1), 0);
        QVERIFY(!done.value("msg").toString().isEmpty());
        const QJsonObject node = find(c.service->handle(c.alice, personTree(double(c.alice))).value("data").toObject().value("data").toArray(), "新.GCFG");
        QCOMPARE(node.value("wjjpid").toString(), pid);
        QCOMPARE(node.value("wjdx").toInt(), 5);
        QCOMPARE(downloaded(*c.service, c.alice, node.value("wjjid").toString().toLongLong()), QByteArray("12345"));
    }

    void enterpriseUploadInTwoSteps()
    {
        Cloud c;
        const QJsonObject r = upload(*c.service, c.bob, "新.GCFG", c.project, "bob in jia", QString::number(c.jia));
        QCOMPARE(r.value("code").toInt(-1), 0);
        const QJsonArray alices = c.service->handle(c.alice, enterpriseList(double(c.alice))).value("data").toArray();
        const QJsonObject node = find(alices, "新.GCFG");
        QCOMPARE(node.value("wjjgsqyid").toString(), QString::number(c.jia));
        QCOMPARE(downloaded(*c.service, c.alice, idOf(node).toLongLong()), QByteArray("bob in jia"));
    }

    void uploadRecordsRealSize()
    {
        // The ticket carries the 32-bit size the dialog sends; the node gets
        // the size of the bytes that arrived.
        Cloud c;
        const QString mqid = QString::number(c.alice);
        const QJsonObject info =
            c.service->handle(c.alice, uploadInfo(mqid, "big.GCFG", QString::number(c.aliceRoot), -2147483648.0, ".GCFG"));
        QCOMPARE(info.value("code").toInt(-1), 0);
        QCOMPARE(info.value("data").toObject().value("wjdx").toDouble(), -2147483648.0);
        QJsonObject refusal;
        auto up = c.service->beginUpload(c.alice, uploadFile(info.value("data").toObject(), "/x", mqid), &refusal);
        QVERIFY(up);
        const QByteArray data(70000, 'z');
        QVERIFY(up->write(data.constData(), data.size()));
        QCOMPARE(up->commit().value("code").toInt(-1), 0);
        const QJsonObject node = find(c.service->handle(c.alice, personTree(double(c.alice))).value("data").toObject().value("data").toArray(), "big.GCFG");
        QCOMPARE(node.value("wjdx").toInt(), 70000);
    }

    void replacingSameNameKeepsOneNode()
    {
        Cloud c;
        QCOMPARE(upload(*c.service, c.alice, "a.GCFG", c.design, "second version").value("code").toInt(-1), 0);
        const QJsonArray tree = c.service->handle(c.alice, personTree(double(c.alice))).value("data").toObject().value("data").toArray();
        const QJsonArray level = find(tree, "设计").value("xjdata").toArray();
        QCOMPARE(level.size(), 1);
        QCOMPARE(idOf(level.first().toObject()), QString::number(c.aliceFile)); // the same node
        QCOMPARE(level.first().toObject().value("wjdx").toInt(), 14);
        QCOMPARE(downloaded(*c.service, c.alice, c.aliceFile), QByteArray("second version"));
        // The first version's contents are gone from the disk.
        QDir contents(c.service->contentsDir());
        int files = 0;
        QDirIterator it(c.service->contentsDir(), QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            it.next();
            ++files;
        }
        QCOMPARE(files, 7); // one per file of the cloud
    }

    void uploadOverFolderNameRefused()
    {
        Cloud c;
        const QJsonObject r = upload(*c.service, c.alice, "设计", c.aliceRoot, "x");
        QCOMPARE(r.value("code").toInt(), 1);
    }

    void usedTicketRefused()
    {
        Cloud c;
        const QString mqid = QString::number(c.alice);
        const QJsonObject ticket = c.service->handle(c.alice, uploadInfo(mqid, "t.GCFG", QString::number(c.aliceRoot), 1, ".GCFG"))
                                       .value("data")
                                       .toObject();
        QJsonObject refusal;
        {
            auto up = c.service->beginUpload(c.alice, uploadFile(ticket, "/x", mqid), &refusal);
            QVERIFY(up);
            up->write("1", 1);
            QCOMPARE(up->commit().value("code").toInt(-1), 0);
        }
        QVERIFY(!c.service->beginUpload(c.alice, uploadFile(ticket, "/x", mqid), &refusal));
        QCOMPARE(refusal.value("code").toInt(), 1);
        QCOMPARE(refusal.value("msg").toString(), QStringLiteral("上传凭证已使用，请重新上传"));
    }

    void forgedTicketRefused_data()
    {
        QTest::addColumn<QString>("member");
        QTest::addColumn<QJsonValue>("value");
        QTest::newRow("made-up wjjwybs") << "wjjwybs" << QJsonValue("0123456789abcdef0123456789abcdef");
        QTest::newRow("empty wjjwybs") << "wjjwybs" << QJsonValue("");
        QTest::newRow("other sclj") << "sclj" << QJsonValue("upload/ffff");
        QTest::newRow("other name") << "wjm" << QJsonValue("other.GCFG");
        QTest::newRow("other ext") << "ext" << QJsonValue(".exe");
        QTest::newRow("other folder") << "pid" << QJsonValue("2");
    }
    void forgedTicketRefused()
    {
        QFETCH(QString, member);
        QFETCH(QJsonValue, value);
        Cloud c;
        const QString mqid = QString::number(c.alice);
        const QJsonObject ticket = c.service->handle(c.alice, uploadInfo(mqid, "t.GCFG", QString::number(c.aliceRoot), 1, ".GCFG"))
                                       .value("data")
                                       .toObject();
        QJsonObject env = uploadFile(ticket, "/x", mqid);
        QJsonObject m = env.value("data").toObject();
        m.insert(member, value);
        env.insert("data", m);
        QJsonObject refusal;
        QVERIFY(!c.service->beginUpload(c.alice, env, &refusal));
        QCOMPARE(refusal.value("code").toInt(), 1);
        QVERIFY(!refusal.value("msg").toString().isEmpty());
        // The real ticket still works.
        QVERIFY(c.service->beginUpload(c.alice, uploadFile(ticket, "/x", mqid), &refusal));
    }

    void anotherUsersTicketRefused()
    {
        Cloud c;
        const QJsonObject ticket = c.service->handle(c.alice, uploadInfo("1", "t.GCFG", QString::number(c.aliceRoot), 1, ".GCFG"))
                                       .value("data")
                                       .toObject();
        QJsonObject refusal;
        QVERIFY(!c.service->beginUpload(c.bob, uploadFile(ticket, "/x", QString::number(c.bob)), &refusal));
        QCOMPARE(refusal.value("code").toInt(), 1);
        // A personal ticket presented as an enterprise upload.
        QVERIFY(!c.service->beginUpload(c.alice, uploadFile(ticket, "/x", "1", QString::number(c.jia)), &refusal));
    }

    void neverIntoAnotherUsersTree()
    {
        Cloud c;
        const QString mqid = QString::number(c.alice);
        // Upload into bob's personal folder.
        QCOMPARE(upload(*c.service, c.alice, "n.GCFG", c.bobRoot, "x").value("code").toInt(), 1);
        // Personal upload into an enterprise folder.
        QCOMPARE(upload(*c.service, c.alice, "n.GCFG", c.project, "x").value("code").toInt(), 1);
        // Enterprise upload into a foreign enterprise, also naming it.
        QCOMPARE(upload(*c.service, c.alice, "n.GCFG", c.inner, "x", QString::number(c.yi)).value("code").toInt(), 1);
        // Naming alice's enterprise, with a folder of the other.
        QCOMPARE(upload(*c.service, c.alice, "n.GCFG", c.inner, "x", QString::number(c.jia)).value("code").toInt(), 1);
        // Enterprise upload into a personal folder.
        QCOMPARE(upload(*c.service, c.alice, "n.GCFG", c.aliceRoot, "x", QString::number(c.jia)).value("code").toInt(), 1);
        // Into a folder bob may not enter.
        QCOMPARE(upload(*c.service, c.bob, "n.GCFG", c.secret, "x", QString::number(c.jia)).value("code").toInt(), 1);
        // Unknown folder.
        QCOMPARE(upload(*c.service, c.alice, "n.GCFG", 987654, "x").value("code").toInt(), 1);
        // Downloads of other people's files.
        QVERIFY(downloaded(*c.service, c.alice, c.bobFile).startsWith("refused"));
        QVERIFY(downloaded(*c.service, c.alice, c.yiFile).startsWith("refused"));
        QVERIFY(downloaded(*c.service, c.bob, c.aliceFile).startsWith("refused"));
        // Listings never carry another user's nodes.
        const QJsonArray bobTree = c.service->handle(c.bob, personTree(double(c.bob))).value("data").toObject().value("data").toArray();
        QVERIFY(find(bobTree, "a.GCFG").isEmpty());
        QCOMPARE(c.service->handle(c.bob, personTree(double(c.alice))).value("code").toInt(), 1);
        // Nothing was stored by any refused upload.
        QVERIFY(find(bobTree, "n.GCFG").isEmpty());
        const QJsonArray yiTree = c.service->handle(c.bob, enterpriseList(double(c.bob))).value("data").toArray();
        QVERIFY(find(yiTree, "n.GCFG").isEmpty());
    }

    void downloadRefusals()
    {
        Cloud c;
        QCOMPARE(downloaded(*c.service, c.bob, c.jiaFile), QByteArray("jia g"));
        QVERIFY(downloaded(*c.service, c.bob, c.viewOnly).contains("无法下载"));
        QVERIFY(downloaded(*c.service, c.bob, c.secretFile).startsWith("refused"));
        QCOMPARE(downloaded(*c.service, c.alice, c.secretFile), QByteArray("secret s"));
        for (const QString& forged : {QString("clouddisk:file/999999"), QString("clouddisk:file/abc"), QString(""),
                                      QString("../../etc/passwd"), QString("clouddisk:file/%1").arg(c.design)}) {
            const Service::Download d = c.service->prepareDownload(c.alice, download("f", "/x", forged));
            QCOMPARE(d.refusal.value("code").toInt(), 1);
            QVERIFY(d.contentsPath.isEmpty());
        }
    }

    void abortedUploadStoresNothing()
    {
        Cloud c;
        const QString mqid = QString::number(c.alice);
        const QJsonObject ticket = c.service->handle(c.alice, uploadInfo(mqid, "half.GCFG", QString::number(c.aliceRoot), 10, ".GCFG"))
                                       .value("data")
                                       .toObject();
        QJsonObject refusal;
        {
            auto up = c.service->beginUpload(c.alice, uploadFile(ticket, "/x", mqid), &refusal);
            QVERIFY(up);
            up->write("12345", 5);
        } // dropped without commit
        const QJsonArray tree = c.service->handle(c.alice, personTree(double(c.alice))).value("data").toObject().value("data").toArray();
        QVERIFY(find(tree, "half.GCFG").isEmpty());
        QCOMPARE(QDir(c.dataDir() + "/tmp").entryList(QDir::Files).size(), 0);
    }

    void uploadNameChecked_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("empty") << "";
        QTest::newRow("blank") << "   ";
        QTest::newRow("slash") << "a/b.GCFG";
        QTest::newRow("backslash") << "a\\b.GCFG";
        QTest::newRow("dot dot") << "..";
        QTest::newRow("control") << QString("a\x01.GCFG");
    }
    void uploadNameChecked()
    {
        QFETCH(QString, name);
        Cloud c;
        const QJsonObject r = c.service->handle(c.alice, uploadInfo("1", name, QString::number(c.aliceRoot), 1, ".GCFG"));
        QCOMPARE(r.value("code").toInt(), 1);
    }

    void accountsAndPasswords()
    {
        Cloud c;
        QCOMPARE(c.service->checkPassword("alice", "alice-pw"), c.alice);
        QCOMPARE(c.service->checkPassword("alice", "bob-pw"), qint64(-1));
        QCOMPARE(c.service->checkPassword("nobody", "x"), qint64(-1));
        QString error;
        QCOMPARE(c.service->addUser("alice", "again", &error), qint64(-1));
        QVERIFY(!error.isEmpty());
        QCOMPARE(c.service->addUser("", "x"), qint64(-1));
        QCOMPARE(c.service->userName(c.bob), QStringLiteral("bob"));
        // Same password, different salted hashes; the password itself is not stored.
        const qint64 carol = c.service->addUser("carol", "alice-pw");
        QVERIFY(carol > 0);
        QSqlDatabase db = clustersupport::addPeekDatabase("peek", c.dataDir());
        QVERIFY(db.isOpen());
        {
            QSqlQuery q(db);
            QVERIFY(q.exec("SELECT pwhash FROM users WHERE name IN ('alice', 'carol')"));
            QStringList hashes;
            while (q.next())
                hashes << q.value(0).toString();
            QCOMPARE(hashes.size(), 2);
            QVERIFY(hashes[0] != hashes[1]);
            QVERIFY(!hashes[0].contains("alice-pw"));
        }
        db.close();
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase("peek");
        QVERIFY(c.service->setPassword(c.alice, "new-pw"));
        QCOMPARE(c.service->checkPassword("alice", "new-pw"), c.alice);
        QCOMPARE(c.service->checkPassword("alice", "alice-pw"), qint64(-1));
    }

    void sessions()
    {
        Cloud c;
        const QString token = c.service->createSession(c.bob);
        QVERIFY(token.size() >= 32);
        QCOMPARE(c.service->sessionUser(token), c.bob);
        QCOMPARE(c.service->sessionUser(token + "x"), qint64(-1));
        QCOMPARE(c.service->sessionUser(QString()), qint64(-1));
        c.service->endSession(token);
        QCOMPARE(c.service->sessionUser(token), qint64(-1));
        QVERIFY(c.service->createSession(4242).isEmpty());
    }

    void unknownUserRefused()
    {
        Cloud c;
        QCOMPARE(c.service->handle(4242, personTree(4242)).value("code").toInt(), 1);
        QCOMPARE(c.service->handle(-1, personTree(-1)).value("code").toInt(), 1);
    }

    void tokenKindsOfTheTenMethods()
    {
        QCOMPARE(Service::tokenKindFor("personcloudgetfiledirforclouddisk"), QStringLiteral("mq_token_user"));
        QCOMPARE(Service::tokenKindFor("getenterpriselistforclouddisk"), QStringLiteral("mq_token_ltd"));
        QCOMPARE(Service::tokenKindFor("getfiledirinenterpriseforclouddisk"), QStringLiteral("mq_token_ltd"));
        QCOMPARE(Service::tokenKindFor("enterprisejudgmentauthopenfileforclouddisk"), QStringLiteral("mq_token_ltd"));
        QCOMPARE(Service::tokenKindFor("personclouduploadinfoforclouddisk"), QStringLiteral("mq_token_user"));
        QCOMPARE(Service::tokenKindFor("personclouduploadfileinfoforclouddisk"), QStringLiteral("mq_token_user"));
        QCOMPARE(Service::tokenKindFor("getuploadinfoenterpriseforclouddisk"), QStringLiteral("mq_token_user"));
        QCOMPARE(Service::tokenKindFor("enterpriseclouduploadfileinfoforclouddisk"), QStringLiteral("mq_token_user"));
        QCOMPARE(Service::tokenKindFor("isexistlocalsamenamefile"), QStringLiteral("mq_token_user"));
        QCOMPARE(Service::tokenKindFor("personclouddownloadfileforclouddisk"), QStringLiteral("mq_token_user"));
        QVERIFY(Service::tokenKindFor("other").isEmpty());
    }

    void adminTreeOperations()
    {
        Cloud c;
        QCOMPARE(c.service->nodeAt(c.jiaRoot, "工程/g.GCFG"), c.jiaFile);
        QCOMPARE(c.service->nodeAt(c.jiaRoot, ""), c.jiaRoot);
        QCOMPARE(c.service->nodeAt(c.jiaRoot, "nope"), qint64(-1));
        QCOMPARE(c.service->makeFolder(c.jiaRoot, "工程"), c.project); // existing folder
        QString error;
        QCOMPARE(c.service->makeFolder(c.project, "g.GCFG", &error), qint64(-1)); // a file is in the way
        QVERIFY(!c.service->setRight(c.project, c.bob, Service::Right::Download, false, &error)); // folders: enter only
        QVERIFY(!c.service->setRight(c.aliceFile, c.bob, Service::Right::Open, false, &error)); // personal
        QCOMPARE(c.service->withdrawnRights(c.jia).size(), 2);
        QVERIFY(c.service->removeNode(c.project));
        QCOMPARE(c.service->nodeAt(c.jiaRoot, "工程/g.GCFG"), qint64(-1));
        QVERIFY(!c.service->removeNode(c.jiaRoot)); // top folders stay
        QVERIFY(c.service->removeMember(c.jia, c.bob));
        QCOMPARE(c.service->handle(c.bob, enterpriseList(double(c.bob))).value("data").toArray().size(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_clouddisk_service)
#include "tst_clouddisk_service.moc"
