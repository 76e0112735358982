#include "democloud.h"

#include "CloudDiskService.h"

#include <QDir>
#include <QTextStream>

namespace demo {

QString cloudPassword()
{
    return QStringLiteral("123456");
}

namespace {

// The files of one workspace folder into a new cloud folder.
void importInto(clouddisk::Service& s, qint64 parent, const QString& cloudName, const QString& localDir)
{
    QString error;
    const qint64 folder = s.makeFolder(parent, cloudName, &error);
    if (folder < 0 || s.importFolder(folder, localDir, &error) < 0)
        QTextStream(stderr) << "demohost: cloud import of " << localDir << ": " << error << "\n";
}

} // namespace

void ensureCloud(const QString& dataDir, const QString& projects, const QString& userName)
{
    QString error;
    std::unique_ptr<clouddisk::Service> s =
        clouddisk::Service::open(dataDir, &error, clouddisk::Service::OthersAccess::Withdraw);
    if (!s) {
        QTextStream(stderr) << "demohost: cloud disk unavailable: " << error << "\n";
        return;
    }
    if (!s->users().isEmpty())
        return;
    const QString name = userName.isEmpty() ? QStringLiteral("zhangsan") : userName;
    const qint64 me = s->addUser(name, cloudPassword(), &error);
    const qint64 colleague = s->addUser(QStringLiteral("lisi"), cloudPassword(), &error);
    if (me < 0 || colleague < 0) {
        QTextStream(stderr) << "demohost: cloud users: " << error << "\n";
        return;
    }
    auto local = [&projects](const char* folder) { return projects + QLatin1Char('/') + QString::fromUtf8(folder); };

    // Personal clouds.
    const qint64 myRoot = s->personalRoot(me);
    importInto(*s, myRoot, QStringLiteral("预算"), local("预算"));
    importInto(*s, myRoot, QStringLiteral("概算"), local("概算"));
    const qint64 templates = s->makeFolder(myRoot, QStringLiteral("模板"), &error);
    QDir src(projects);
    for (const QString& file : {QStringLiteral("预算模板.GCFG"), QStringLiteral("造价指标.CJZ")}) {
        QFile f(src.filePath(file));
        if (f.open(QIODevice::ReadOnly))
            s->storeFile(templates, file, &f, &error);
    }
    importInto(*s, s->personalRoot(colleague), QStringLiteral("审计"), local("审计"));

    // Two enterprises.
    const qint64 huacheng = s->addEnterprise(QStringLiteral("华城建设集团"), &error);
    const qint64 yuanjing = s->addEnterprise(QStringLiteral("远景造价咨询"), &error);
    s->addMember(huacheng, me);
    s->addMember(huacheng, colleague);
    s->addMember(yuanjing, me);
    const qint64 hcRoot = s->enterpriseRoot(huacheng);
    importInto(*s, hcRoot, QStringLiteral("结算"), local("结算"));
    importInto(*s, hcRoot, QStringLiteral("总承包"), local("总承包"));
    importInto(*s, hcRoot, QStringLiteral("财务资料"), local("审计"));
    const qint64 yjRoot = s->enterpriseRoot(yuanjing);
    importInto(*s, yjRoot, QStringLiteral("全过程"), local("全过程"));
    importInto(*s, yjRoot, QStringLiteral("概算"), local("概算"));

    s->setRight(s->nodeAt(hcRoot, QStringLiteral("财务资料")), me, clouddisk::Service::Right::Enter, false, &error);
    s->setRight(s->nodeAt(hcRoot, QStringLiteral("结算/体育馆钢结构结算.GCFJ")), me,
                clouddisk::Service::Right::Download, false, &error);
    QTextStream(stdout) << "cloud disk: " << dataDir << " filled; sign in as " << name << " / " << cloudPassword()
                        << "\n";
}

} // namespace demo
