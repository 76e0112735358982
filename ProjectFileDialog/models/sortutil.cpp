#include "sortutil.h"

#include <QDate>
#include <QDateTime>

#include <limits>

namespace pfd {

namespace {

qint64 composeKey(int y, int mo, int d, int h, int mi, int s)
{
    return ((((qint64(y) * 100 + mo) * 100 + d) * 100 + h) * 100 + mi) * 100 + s;
}

} // namespace

qint64 dateTimeSortKey(const QString& text)
{
    // The common, well-formed case is read by hand: parsing 100,000 dates
    // through QDateTime costs more than listing the folder.
    if (text.size() == 19) {
        const QChar* c = text.constData();
        auto digits = [c](int at, int n, int& out) {
            int v = 0;
            for (int i = at; i < at + n; ++i) {
                const ushort u = c[i].unicode();
                if (u < '0' || u > '9')
                    return false;
                v = v * 10 + (u - '0');
            }
            out = v;
            return true;
        };
        int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
        if (c[4] == QLatin1Char('-') && c[7] == QLatin1Char('-') && c[10] == QLatin1Char(' ')
            && c[13] == QLatin1Char(':') && c[16] == QLatin1Char(':') && digits(0, 4, y)
            && digits(5, 2, mo) && digits(8, 2, d) && digits(11, 2, h) && digits(14, 2, mi)
            && digits(17, 2, s)) {
            if (QDate::isValid(y, mo, d) && h < 24 && mi < 60 && s < 60)
                return composeKey(y, mo, d, h, mi, s);
            return std::numeric_limits<qint64>::min();
        }
    }
    const QDateTime dt = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    if (!dt.isValid())
        return std::numeric_limits<qint64>::min();
    const QDate date = dt.date();
    const QTime time = dt.time();
    return composeKey(date.year(), date.month(), date.day(), time.hour(), time.minute(), time.second());
}

} // namespace pfd
