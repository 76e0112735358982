#include "nameFilterProxyModel.h"

#include "collation.h"
#include "FileInfo.h"

#include <QCollator>
#include <QRegularExpression>

#include <limits>

namespace {

QCollator& proxyCollator()
{
    static QCollator shared;
    return shared;
}

} // namespace

nameFilterProxyModel::nameFilterProxyModel(QObject* parent)
    : QSortFilterProxyModel(parent)
{
    pfd::configureChineseCollator(proxyCollator());
}

qint64 nameFilterProxyModel::sizeTextToBytes(const QString& text)
{
    static const QRegularExpression pattern(
        QStringLiteral("^(\\d+(?:\\.\\d+)?)\\s*(B|KB|K|MB|M|GB|G|TB|T)?$"));
    const QRegularExpressionMatch m = pattern.match(text.trimmed().toUpper());
    if (!m.hasMatch())
        return -1;
    const double number = m.captured(1).toDouble();
    const QString unit = m.captured(2).toUpper();
    double factor = 1;
    if (unit == QLatin1String("K") || unit == QLatin1String("KB"))
        factor = 1024.0;
    else if (unit == QLatin1String("M") || unit == QLatin1String("MB"))
        factor = 1024.0 * 1024;
    else if (unit == QLatin1String("G") || unit == QLatin1String("GB"))
        factor = 1024.0 * 1024 * 1024;
    else if (unit == QLatin1String("T") || unit == QLatin1String("TB"))
        factor = 1024.0 * 1024 * 1024 * 1024;
    // Sizes of 2^63 bytes and more (or digits past a double's range) are
    // held at the largest size there is, so they still sort last.
    const double bytes = number * factor;
    if (!(bytes < 9223372036854775808.0))
        return std::numeric_limits<qint64>::max();
    return static_cast<qint64>(bytes);
}

bool nameFilterProxyModel::lessThan(const QModelIndex& left, const QModelIndex& right) const
{
    const int column = left.column();
    if (column == 0 || column == 1) {
        const bool leftFolder = left.sibling(left.row(), 2).data(Qt::DisplayRole).toString() == kindword::folder();
        const bool rightFolder = right.sibling(right.row(), 2).data(Qt::DisplayRole).toString() == kindword::folder();
        if (leftFolder && !rightFolder)
            return true;
        if (!leftFolder && rightFolder)
            return false;
        const QString l = left.data(Qt::DisplayRole).toString();
        const QString r = right.data(Qt::DisplayRole).toString();
        if (column == 0)
            return proxyCollator().compare(l, r) < 0;
        return sizeTextToBytes(l) < sizeTextToBytes(r);
    }
    return QSortFilterProxyModel::lessThan(left, right);
}
