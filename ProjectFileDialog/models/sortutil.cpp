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

struct Fields
{
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
};

// Reads "yyyy-MM-dd hh:mm:ss" when every character is where it belongs;
// whether the numbers make a date is left to the caller.
bool readWellFormed(const QString& text, Fields& f)
{
    if (text.size() != 19)
        return false;
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
    return c[4] == QLatin1Char('-') && c[7] == QLatin1Char('-') && c[10] == QLatin1Char(' ')
           && c[13] == QLatin1Char(':') && c[16] == QLatin1Char(':') && digits(0, 4, f.y)
           && digits(5, 2, f.mo) && digits(8, 2, f.d) && digits(11, 2, f.h) && digits(14, 2, f.mi)
           && digits(17, 2, f.s);
}

void appendPadded(QString& out, int value, int width)
{
    const QString digits = QString::number(value);
    for (int i = digits.size(); i < width; ++i)
        out += QLatin1Char('0');
    out += digits;
}

} // namespace

qint64 dateTimeSortKey(const QString& text)
{
    // The common, well-formed case is read by hand: parsing 100,000 dates
    // through QDateTime costs more than listing the folder.
    Fields f;
    if (readWellFormed(text, f)) {
        if (QDate::isValid(f.y, f.mo, f.d) && f.h < 24 && f.mi < 60 && f.s < 60)
            return composeKey(f.y, f.mo, f.d, f.h, f.mi, f.s);
        return std::numeric_limits<qint64>::min();
    }
    const QDateTime dt = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    if (!dt.isValid())
        return std::numeric_limits<qint64>::min();
    const QDate date = dt.date();
    const QTime time = dt.time();
    return composeKey(date.year(), date.month(), date.day(), time.hour(), time.minute(), time.second());
}

QString dateDisplayText(const QString& text)
{
    // Each painted row shows its date: a well-formed text is read by hand
    // and the local date-time formatted from its fields, which is what
    // parsing and formatting with patterns give, at a fraction of the cost.
    // Anything else (and a local time the clock skips, which the date-time
    // moves or rejects) takes the general way.
    Fields f;
    if (readWellFormed(text, f) && QDate::isValid(f.y, f.mo, f.d) && f.h < 24 && f.mi < 60 && f.s < 60) {
        const QDateTime dt(QDate(f.y, f.mo, f.d), QTime(f.h, f.mi, f.s));
        if (dt.isValid() && dt.date() == QDate(f.y, f.mo, f.d) && dt.time() == QTime(f.h, f.mi, f.s)) {
            QString out;
            out.reserve(16);
            appendPadded(out, f.y, 4);
            out += QLatin1Char('/');
            appendPadded(out, f.mo, 2);
            out += QLatin1Char('/');
            appendPadded(out, f.d, 2);
            out += QLatin1Char(' ');
            appendPadded(out, f.h, 2);
            out += QLatin1Char(':');
            appendPadded(out, f.mi, 2);
            return out;
        }
    }
    return QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd hh:mm:ss"))
        .toString(QStringLiteral("yyyy/MM/dd hh:mm"));
}

} // namespace pfd
