#pragma once
// A scripted cloud behind the host channel: a personal tree, one enterprise
// with folders and files, refusals where a test asks for them, downloads
// written into the staging tree and uploads read from the staged file. Every
// reply can be replaced per method, so tests assert exact texts.
#include "SharedInterfaceTesting.h"
#include "cloud/cloudnames.h"
#include "mqcoreTesting.h"
#include "osgiTesting.h"
#include "zBaseControlTesting.h"
#include "zControlTesting.h"
#include "zFileDialog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QTemporaryDir>
#include <QTableView>
#include <QThread>
#include <QtTest>

#include <memory>

namespace cloudscript {

inline QJsonObject file(const QString& name, const QString& id, double size, const QString& qyid = QString())
{
    return QJsonObject{{"wjjmc", name}, {"wjjid", id}, {"wjjpid", "p"}, {"wjlx", "2"}, {"wjdx", size},
                       {"xgsj", "2024-05-06 07:08"}, {"wjjgsqyid", qyid}, {"xzlj", "dl/" + id}};
}

inline QJsonObject folder(const QString& name, const QString& id, const QJsonArray& children,
                          const QString& qyid = QString())
{
    return QJsonObject{{"wjjmc", name}, {"wjjid", id}, {"wjjpid", "p"}, {"wjlx", "1"}, {"wjdx", 0},
                       {"xgsj", "2024-05-06 07:08"}, {"wjjgsqyid", qyid}, {"xjdata", children}};
}

struct State
{
    QMutex mutex;
    QString appPath;
    QString userId;
    QJsonArray personal;   // the root's children
    QJsonArray enterprise; // the enterprises
    QHash<QString, QJsonObject> replies;     // by method: replaces the default answer
    QHash<QString, QJsonObject> folderReplies; // "getfiledirinenterpriseforclouddisk" by "wjjid"
    QHash<QString, QJsonObject> openReplies;   // "enterprisejudgmentauthopenfileforclouddisk" by "wjjid"
    QHash<QString, QByteArray> contents;       // by "xzlj"
    int downloadDelayMs = 0;
    QString filPathOverride;                   // answered by "isexistlocalsamenamefile" when set
    QStringList methods;
    QByteArray uploaded;                       // the bytes of the last upload-file request
    QJsonObject lastUpload;                    // its method object
};

inline QString method(const QJsonObject& envelope)
{
    return envelope.value("data").toObject().value("method").toString();
}

class Cloud
{
public:
    Cloud(const QString& appPath, const QString& userId)
        : s(std::make_shared<State>())
    {
        s->appPath = appPath;
        s->userId = userId;
        s->personal = QJsonArray{
            folder("工程", "f1", QJsonArray{file("楼.GCFX", "a1", 1024), file("小.GCFX", "a2", 1023)}),
            file("根.GCFX", "a3", 2048)};
        s->enterprise = QJsonArray{folder(
            "甲公司", "e1",
            QJsonArray{folder("设计部", "e2", QJsonArray{file("图.GCFZ", "b1", 10, "q1")}, "q1"),
                       folder("机密", "e3", QJsonArray{}, "q1"), file("只读.GCFZ", "b2", 10, "q1"),
                       file("禁看.GCFZ", "b3", 10, "q1")},
            "q1")};
        s->contents.insert("dl/a1", QByteArray("personal project bytes"));
        s->contents.insert("dl/b1", QByteArray("enterprise project bytes"));
        s->folderReplies.insert("e3", QJsonObject{{"code", 1}, {"msg", "您没有进入该文件夹的权限"}});
        s->openReplies.insert("b2", QJsonObject{{"code", 1}, {"msg", "该文件只能查看，无法下载"}});
        s->openReplies.insert("b3", QJsonObject{{"code", 1}, {"msg", "您没有查看该文件的权限"}});
        install();
    }

    void install()
    {
        std::shared_ptr<State> state = s;
        SharedInterfaceTesting::setCloudChannel([state](const QByteArray& bytes) { return answer(*state, bytes); });
    }

    State& state() { return *s; }
    QStringList methods()
    {
        QMutexLocker lock(&s->mutex);
        return s->methods;
    }
    void clearMethods()
    {
        QMutexLocker lock(&s->mutex);
        s->methods.clear();
    }
    QString stagingRoot() const { return pfd::cloud::stagingUserFolder(s->appPath, s->userId); }

    static QByteArray answer(State& st, const QByteArray& bytes)
    {
        const QJsonObject envelope = QJsonDocument::fromJson(bytes).object();
        const QJsonObject m = envelope.value("data").toObject();
        const QString name = m.value("method").toString();
        int delay = 0;
        QJsonObject reply;
        {
            QMutexLocker lock(&st.mutex);
            st.methods << name;
            delay = name == "personclouddownloadfileforclouddisk" ? st.downloadDelayMs : 0;
            if (st.replies.contains(name)) {
                reply = st.replies.value(name);
            } else if (name == "personcloudgetfiledirforclouddisk") {
                reply = QJsonObject{{"code", 0}, {"msg", "ok"},
                                    {"data", QJsonObject{{"data", QJsonArray{folder("根目录", "r0", st.personal)}}}}};
            } else if (name == "getenterpriselistforclouddisk") {
                reply = QJsonObject{{"code", 0}, {"msg", "ok"}, {"data", st.enterprise}};
            } else if (name == "getfiledirinenterpriseforclouddisk") {
                reply = st.folderReplies.value(m.value("wjjid").toString(), QJsonObject{{"code", 0}, {"msg", "ok"}});
            } else if (name == "enterprisejudgmentauthopenfileforclouddisk") {
                reply = st.openReplies.value(m.value("wjjid").toString(), QJsonObject{{"code", 0}, {"msg", "ok"}});
            } else if (name == "isexistlocalsamenamefile") {
                const QString path = st.filPathOverride.isEmpty()
                                         ? pfd::cloud::stagingFolder(st.appPath, st.userId,
                                                                     m.value("pathPrat").toString().split('\\', Qt::SkipEmptyParts))
                                               + '/' + pfd::cloud::localNameForCloudName(m.value("fileName").toString())
                                         : st.filPathOverride;
                reply = QJsonObject{{"data", QJsonObject{{"filPath", path}, {"isExist", QFileInfo::exists(path)}}}};
            } else if (name == "personclouddownloadfileforclouddisk") {
                const QString path = m.value("filePath").toString();
                const QString key = m.value("xzlj").toString();
                if (!st.contents.contains(key)) {
                    reply = QJsonObject{{"code", 1}, {"msg", "没有该文件"}};
                } else {
                    QDir().mkpath(QFileInfo(path).absolutePath());
                    QFile f(path);
                    if (f.open(QIODevice::WriteOnly))
                        f.write(st.contents.value(key));
                    reply = QJsonObject{{"code", 0}, {"data", path}};
                }
            } else if (name == "personclouduploadinfoforclouddisk" || name == "getuploadinfoenterpriseforclouddisk") {
                const QJsonObject info = m.value("data").toArray().at(0).toObject();
                reply = QJsonObject{{"code", 0}, {"msg", "ok"},
                                    {"data", QJsonObject{{"wjm", info.value("wjm")}, {"ext", info.value("ext")},
                                                         {"wjdx", info.value("wjdx")}, {"pid", info.value("pid")},
                                                         {"wjjwybs", "ticket-1"}, {"sclj", "up/1"}}}};
            } else if (name == "personclouduploadfileinfoforclouddisk"
                       || name == "enterpriseclouduploadfileinfoforclouddisk") {
                QFile f(m.value("filePath").toString());
                st.uploaded = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
                st.lastUpload = m;
                reply = QJsonObject{{"code", 0}, {"msg", "上传成功"}};
            }
        }
        if (delay > 0)
            QThread::msleep(delay);
        return QJsonDocument(reply).toJson(QJsonDocument::Compact);
    }

private:
    std::shared_ptr<State> s;
};

inline QByteArray contentOf(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

inline zControlTesting::MessageBoxCall lastBox()
{
    const auto calls = zControlTesting::messageBoxCalls();
    return calls.isEmpty() ? zControlTesting::MessageBoxCall{} : calls.last();
}

// The names the table shows, sorted.
inline QStringList names(QTableView* table)
{
    QStringList out;
    for (int r = 0; r < table->model()->rowCount(); ++r)
        out << table->model()->index(r, 0).data().toString();
    out.sort();
    return out;
}

inline int rowOf(QTableView* table, const QString& name)
{
    const QModelIndexList hits =
        table->model()->match(table->model()->index(0, 0), Qt::DisplayRole, name, 1, Qt::MatchExactly);
    return hits.isEmpty() ? -1 : hits.first().row();
}

// Selects a row as a press on it does.
inline void selectRow(QTableView* table, const QString& name)
{
    const int row = rowOf(table, name);
    QVERIFY2(row >= 0, qPrintable(name));
    table->selectRow(row);
    emit table->pressed(table->model()->index(row, 0));
}

// Selects each row in turn and accepts it, as a user walking down does.
template <typename Dialog>
void choose(Dialog& d, const QStringList& rows)
{
    for (const QString& row : rows) {
        selectRow(d.ui->tableView, row);
        d.onOkButton();
    }
}

// The host as every cloud test starts it: user 1024 signed in, scripted
// boxes and progress, the dialog's cloud statics empty.
inline void resetHost(bool openDialog)
{
    zBaseControlTesting::setScaleFactor(1.0);
    zControlTesting::reset();
    zControlTesting::setMessageBoxScripted(true);
    zControlTesting::setProgressScripted(true);
    mqcoreTesting::reset();
    osgiTesting::reset();
    mqcoreTesting::setUser(QStringLiteral("1024"), QStringLiteral("wang"), QStringLiteral("王工"));
    mqcoreTesting::setLoggedIn(true);
    zFileDialog::iClickedBtn = 2;
    zFileDialog::SetCurrentPath(QString());
    zFileDialog::SetFilePid(QString());
    zFileDialog::SetQyid(QString());
    zFileDialog::SetFilePath(QString());
    zFileDialog::mapYunPanData.clear();
    zFileDialog::isIopen = openDialog;
}

inline void releaseHost()
{
    osgiTesting::reset();
    mqcoreTesting::reset();
    zControlTesting::reset();
    zBaseControlTesting::reset();
}

// A private home with the folders the places open.
inline void useHome(const QTemporaryDir& home)
{
    qputenv("HOME", QFile::encodeName(home.path()));
    qunsetenv("XDG_CONFIG_HOME");
    for (const char* folder : {"Documents", "Desktop"})
        QDir(home.path()).mkpath(QString::fromLatin1(folder));
}

} // namespace cloudscript
