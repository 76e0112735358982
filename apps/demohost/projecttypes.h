#pragma once
// The project-type groups a cost-estimating suite passes to the dialog:
// element 0 is the title, then bare extensions.
#include <QStringList>
#include <QVector>

namespace demo {

inline QVector<QStringList> openGroups()
{
    return {
        {QStringLiteral("预算文件"), QStringLiteral("GCFX"), QStringLiteral("SGCFX")},
        {QStringLiteral("概算文件"), QStringLiteral("GCFG"), QStringLiteral("SGCFG")},
        {QStringLiteral("结算文件"), QStringLiteral("GCFJ"), QStringLiteral("SGCFJ")},
        {QStringLiteral("总承包文件"), QStringLiteral("GCFZ"), QStringLiteral("SGCFZ")},
        {QStringLiteral("全过程文件"), QStringLiteral("GCFQ"), QStringLiteral("SGCFQ")},
        {QStringLiteral("审核文件"), QStringLiteral("GNQS"), QStringLiteral("SGNQS"), QStringLiteral("GZNQS"),
         QStringLiteral("SGZNQS"), QStringLiteral("SNQS"), QStringLiteral("SZNQS")},
        {QStringLiteral("Excel文件"), QStringLiteral("xls"), QStringLiteral("xlsx")},
        {QStringLiteral("CJZ文件"), QStringLiteral("CJZ")},
    };
}

inline QVector<QStringList> saveGroups()
{
    return {
        {QStringLiteral("预算文件"), QStringLiteral("GCFX")},
        {QStringLiteral("审核预算文件"), QStringLiteral("SGCFX")},
        {QStringLiteral("Excel文件"), QStringLiteral("xlsx"), QStringLiteral("xls")},
    };
}

} // namespace demo
