#include "cloudtree.h"

#include <QJsonValue>

namespace pfd {
namespace cloud {

const QString kRootNodeName = QStringLiteral("根目录");
const QString kPersonalLabel = QStringLiteral("个人云盘");
const QString kEnterpriseLabel = QStringLiteral("企业云盘");

QString nodeText(const QJsonObject& node, const QString& key)
{
    const QJsonValue v = node.value(key);
    if (v.isString())
        return v.toString();
    if (v.isDouble()) {
        const double d = v.toDouble();
        // Only a whole number inside a 64-bit integer's range is written as
        // one; a larger id from a hostile or broken reply keeps its double
        // text rather than being converted (an overflowing conversion is
        // undefined behaviour).
        if (d >= -9223372036854775808.0 && d < 9223372036854775808.0) {
            const qint64 whole = static_cast<qint64>(d);
            if (double(whole) == d)
                return QString::number(whole);
        }
        return QString::number(d);
    }
    return QString();
}

bool isFolderNode(const QJsonObject& node)
{
    return nodeText(node, QStringLiteral("wjlx")) == QLatin1String("1");
}

QString nodeSuffix(const QJsonObject& node)
{
    const QString name = node.value(QLatin1String("wjjmc")).toString();
    // The text after the last dot of the name, with no path rules: a cloud
    // name may hold "/" or "\" as plain characters.
    const int dot = name.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? QString() : name.mid(dot + 1);
}

QString cloudSizeText(double bytes)
{
    if (bytes < 1024.0)
        return QString::number(bytes, 'f', 2) + QStringLiteral(" B");
    if (bytes < 1048576.0)
        return QString::number(bytes * (1.0 / 1024.0), 'f', 2) + QStringLiteral(" KB");
    if (bytes < 1073741824.0)
        return QString::number(bytes * (1.0 / 1048576.0), 'f', 2) + QStringLiteral(" M");
    return QString::number(bytes * (1.0 / 1073741824.0), 'f', 2) + QStringLiteral(" G");
}

QStringList rowTexts(const QJsonObject& node)
{
    const bool folder = isFolderNode(node);
    QStringList row;
    row << node.value(QLatin1String("wjjmc")).toString();
    row << (folder ? QString() : cloudSizeText(node.value(QLatin1String("wjdx")).toDouble()));
    row << (folder ? QStringLiteral("文件夹") : nodeSuffix(node) + QStringLiteral(" 文件"));
    row << node.value(QLatin1String("xgsj")).toString();
    row << nodeText(node, QStringLiteral("wjjid"));
    row << nodeText(node, QStringLiteral("wjlx"));
    row << nodeText(node, QStringLiteral("wjjpid"));
    row << nodeText(node, QStringLiteral("wjjgsqyid"));
    return row;
}

QJsonArray unwrapPersonalRoot(const QJsonArray& nodes, QString* rootId)
{
    const QJsonObject first = nodes.at(0).toObject();
    if (nodes.isEmpty() || first.value(QLatin1String("wjjmc")).toString() != kRootNodeName)
        return nodes;
    if (rootId)
        *rootId = nodeText(first, QStringLiteral("wjjid"));
    return first.value(QLatin1String("xjdata")).toArray();
}

QJsonArray personalNodes(const QJsonObject& reply)
{
    return reply.value(QLatin1String("data")).toObject().value(QLatin1String("data")).toArray();
}

QJsonArray enterpriseNodes(const QJsonObject& reply)
{
    return reply.value(QLatin1String("data")).toArray();
}

QJsonObject findNode(const QJsonArray& level, const QString& key, const QString& value)
{
    for (const QJsonValue& v : level) {
        const QJsonObject node = v.toObject();
        if (node.contains(key) && nodeText(node, key) == value)
            return node;
    }
    return QJsonObject();
}

QJsonArray walkTree(const QJsonArray& tree, const QStringList& segments, QJsonObject* folder, int* matched)
{
    QJsonArray level = tree;
    QJsonObject last;
    int walked = 0;
    for (int i = 1; i < segments.size(); ++i) {
        QJsonObject next;
        for (const QJsonValue& v : qAsConst(level)) {
            const QJsonObject node = v.toObject();
            if (isFolderNode(node) && node.value(QLatin1String("wjjmc")).toString() == segments.at(i)) {
                next = node;
                break;
            }
        }
        if (next.isEmpty())
            break;
        last = next;
        level = next.value(QLatin1String("xjdata")).toArray();
        ++walked;
    }
    if (folder)
        *folder = last;
    if (matched)
        *matched = walked;
    return level;
}

bool fileExistsInTree(const QStringList& segments, const QJsonArray& tree)
{
    if (segments.size() < 2)
        return false;
    QJsonArray level = tree;
    for (int i = 1; i < segments.size(); ++i) {
        QJsonArray below;
        bool descend = false;
        for (const QJsonValue& v : qAsConst(level)) {
            const QJsonObject node = v.toObject();
            if (node.value(QLatin1String("wjjmc")).toString() != segments.at(i))
                continue;
            if (!isFolderNode(node))
                return true;
            below = node.value(QLatin1String("xjdata")).toArray();
            descend = true;
            break;
        }
        if (descend)
            level = below;
    }
    return false;
}

} // namespace cloud
} // namespace pfd
