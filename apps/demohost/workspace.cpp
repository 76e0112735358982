#include "workspace.h"

#include <QDateTime>
#include <QFileInfo>

#include "SharedInterface.h"
#include "fileInfoJsonUtil.h"
#include <QDir>
#include <QFile>

#include <utime.h>

namespace demo {

namespace {

struct SampleFile
{
    const char* folder;
    const char* name;
    int bytes;
    int daysAgo;
};

// Every project type the suite works with, a spreadsheet and a CJZ file.
const SampleFile kFiles[] = {
    {"预算", "某市第一中学教学楼预算.GCFX", 182272, 3},
    {"预算", "滨江花园二期土建预算.SGCFX", 96512, 12},
    {"预算", "道路改造工程预算2.GCFX", 40960, 40},
    {"预算", "道路改造工程预算10.GCFX", 41984, 39},
    {"概算", "人民医院门诊楼概算.GCFG", 245760, 5},
    {"概算", "产业园区配套设施概算.SGCFG", 130048, 90},
    {"结算", "体育馆钢结构结算.GCFJ", 512000, 30},
    {"结算", "老旧小区改造结算.SGCFJ", 77824, 200},
    {"总承包", "综合管廊总承包.GCFZ", 1572864, 7},
    {"总承包", "污水处理厂总承包.SGCFZ", 655360, 61},
    {"全过程", "文化中心全过程造价.GCFQ", 348160, 14},
    {"全过程", "地铁站全过程造价.SGCFQ", 1048576, 120},
    {"审计", "财政投资项目审计.GNQS", 65536, 21},
    {"审计", "安置房工程审计.SGNQS", 73728, 75},
    {"审计", "桥梁维修审计.GZNQS", 30720, 400},
    {"审计", "市政绿化审计.SGZNQS", 28672, 380},
    {"审计", "学校改扩建审计.SZNQS", 20480, 365},
    {"审计", "街道亮化审计.SNQS", 18432, 300},
    {"", "工程量清单汇总.xlsx", 24576, 2},
    {"", "材料价格表.xls", 53248, 9},
    {"", "造价指标.CJZ", 8192, 18},
    {"", "说明 & 备注 #1.txt", 512, 1},
    {"", "配套费用.SFFX", 4096, 60},
    {"", "配套费用.SFFG", 4096, 61},
    {"", "系统设置.SYST", 2048, 600},
    {"", "预算模板.GCFG", 150000, 33},
};

void writeFile(const QString& path, int bytes, int daysAgo)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly))
        return;
    f.resize(bytes);
    f.close();
    const qint64 when = QDateTime::currentDateTime().addDays(-daysAgo).toSecsSinceEpoch();
    utimbuf times{static_cast<time_t>(when), static_cast<time_t>(when)};
    utime(QFile::encodeName(path).constData(), &times);
}

} // namespace

QString ensureWorkspace(const QString& root)
{
    const QString projects = root + QStringLiteral("/示例工程");
    const QString marker = projects + QStringLiteral("/.demo-workspace");
    if (QFile::exists(marker))
        return projects;
    QDir().mkpath(projects);
    for (const SampleFile& s : kFiles) {
        const QString folder = s.folder[0] ? projects + QLatin1Char('/') + QString::fromUtf8(s.folder) : projects;
        QDir().mkpath(folder);
        writeFile(folder + QLatin1Char('/') + QString::fromUtf8(s.name), s.bytes, s.daysAgo);
    }
    QDir().mkpath(projects + QStringLiteral("/常用资料/定额库"));
    QFile::link(projects + QStringLiteral("/常用资料"), projects + QStringLiteral("/常用资料 - 快捷方式"));
    QFile::link(projects + QStringLiteral("/预算模板.GCFG"), projects + QStringLiteral("/预算模板.GCFG - 快捷方式"));
    QFile m(marker);
    if (m.open(QIODevice::WriteOnly))
        m.write("made by the demo host\n");
    return projects;
}

void seedApplicationDirectory(const QString& appDir, const QString& projects)
{
    const QString store = appDir + QStringLiteral("/filecy.json");
    if (QFile::exists(store))
        return;
    QDir().mkpath(appDir);
    auto record = [](const QString& path) {
        FileInfo info;
        QString datetime;
        SharedInterface::GetFileInfo(path, info.name, datetime, info.type, info.size);
        info.datetime = datetime;
        info.path = path;
        return info;
    };
    for (const char* folder : {"预算", "审计", "常用资料/定额库"})
        fileInfoJsonUtil::WriteJsonFromFileInfo(store, QStringLiteral("OftenUse"),
                                                record(projects + QLatin1Char('/') + QString::fromUtf8(folder)));
    for (const char* file : {"预算/某市第一中学教学楼预算.GCFX", "总承包/综合管廊总承包.GCFZ", "预算/滨江花园二期土建预算.SGCFX",
                             "工程量清单汇总.xlsx", "概算/人民医院门诊楼概算.GCFG", "造价指标.CJZ"})
        fileInfoJsonUtil::WriteJsonFromFileInfo(store, QStringLiteral("RecentFile"),
                                                record(projects + QLatin1Char('/') + QString::fromUtf8(file)));
    QFile history(appDir + QStringLiteral("/FileList.Ini"));
    if (history.open(QIODevice::WriteOnly | QIODevice::Text)) {
        const QChar us(0x1F);
        const QStringList lines{
            QStringList{QStringLiteral("bd"), projects + QStringLiteral("/预算/某市第一中学教学楼预算.GCFX"),
                        QStringLiteral("(2026-11-18 09:30)"), QStringLiteral("1"), QString(), QString(), QString(),
                        QString(), QString()}
                .join(us),
            QStringLiteral("bd##") + projects + QStringLiteral("/结算/体育馆钢结构结算.GCFJ##2026-10-22"),
        };
        for (const QString& line : lines)
            history.write(line.toUtf8() + "\n");
    }
}

} // namespace demo
