#include "sizetext.h"

#include "FileInfo.h"

#include <cmath>

namespace pfd {

QString sizeDisplayText(const QString& size)
{
    QString text = size.trimmed();
    if (text.isEmpty())
        return QString();
    text.remove(QStringLiteral("KB"), Qt::CaseSensitive);
    double value = text.trimmed().toDouble() * 1024.0;
    // "nan" has no place on the scale and no whole number to truncate to
    // (converting it is undefined behaviour): it shows as an unreadable text
    // does. An infinity, typed or from a number past a double's range, runs
    // up the scale like any large size and shows as "inf TB".
    if (std::isnan(value))
        value = 0;
    static const char* const units[] = {"B", "KB", "MB", "GB", "TB"};
    int unit = 0;
    while (value >= 1024.0 && unit < 4) {
        value /= 1024.0;
        ++unit;
    }
    if (unit > 0)
        return QString::number(value, 'f', 2) + QLatin1Char(' ') + QLatin1String(units[unit]);
    // Truncated to a whole number; a negative value past the range of a
    // 64-bit integer is written out in full rather than converted.
    if (value > -9.2e18)
        return QString::number(static_cast<qint64>(value)) + QStringLiteral(" B");
    return QString::number(std::trunc(value), 'f', 0) + QStringLiteral(" B");
}

double sizeKilobytes(const FileInfo& info)
{
    if (info.size.isEmpty() || info.isFolder() || info.isDrive()
        || !info.size.endsWith(QLatin1String("KB"), Qt::CaseSensitive))
        return -1;
    bool ok = false;
    const double kb = info.size.leftRef(info.size.size() - 2).trimmed().toDouble(&ok);
    // "nanKB" reads as a number but compares with nothing, which would
    // leave the sort without an order; infinities order as they are.
    return ok && !std::isnan(kb) ? kb : -1;
}

} // namespace pfd
