// Size and path texts as any text: every size reads to a defined value
// (no conversion out of range), a suffix is what QFileInfo calls it, and a
// date text orders as the date-time it names.
#include "fuzzsupport.h"

#include "FileInfo.h"
#include "nameFilterProxyModel.h"
#include "pathstyle.h"
#include "sizetext.h"
#include "sortutil.h"

#include <QDateTime>
#include <QFileInfo>

#include <cmath>
#include <limits>

namespace {

void checkSizes(const QString& text)
{
    const QString shown = pfd::sizeDisplayText(text);
    FUZZ_CHECK(shown.isEmpty() == text.trimmed().isEmpty());
    if (!shown.isEmpty()) {
        static const QStringList units{QStringLiteral(" B"), QStringLiteral(" KB"), QStringLiteral(" MB"),
                                       QStringLiteral(" GB"), QStringLiteral(" TB")};
        bool unitFound = false;
        for (const QString& u : units)
            unitFound = unitFound || shown.endsWith(u);
        FUZZ_CHECK(unitFound);
        // A size never shows as "nan"; an infinity only as "inf TB" or "-inf B".
        FUZZ_CHECK(!shown.contains(QLatin1String("nan")));
        if (shown.contains(QLatin1String("inf")))
            FUZZ_CHECK(shown == QLatin1String("inf TB") || shown == QLatin1String("-inf B"));
    }

    FileInfo f;
    f.type = QStringLiteral("GCFG 文件");
    f.size = text;
    const double kb = pfd::sizeKilobytes(f);
    FUZZ_CHECK(!std::isnan(kb));
    if (!text.endsWith(QLatin1String("KB")))
        FUZZ_CHECK(kb == -1);

    const qint64 bytes = nameFilterProxyModel::sizeTextToBytes(text);
    FUZZ_CHECK(bytes >= -1);
}

void checkPath(const QString& path)
{
    FUZZ_CHECK(pfd::suffixRef(path).toString() == QFileInfo(path).suffix());
    FUZZ_CHECK(!(pfd::isWindowsStylePath(path) && pfd::isPosixStylePath(path)));
    FUZZ_CHECK(pfd::localSeparator(path) == (pfd::isWindowsStylePath(path) ? QLatin1Char('\\') : QLatin1Char('/')));
    const QString root = pfd::driveRootPath(path);
    FUZZ_CHECK(root == path || root == path + QLatin1Char('\\'));
}

void checkDate(const QString& text)
{
    const qint64 key = pfd::dateTimeSortKey(text);
    const QDateTime dt = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    if (!dt.isValid()) {
        FUZZ_CHECK(key == std::numeric_limits<qint64>::min());
        return;
    }
    const QDate d = dt.date();
    const QTime t = dt.time();
    FUZZ_CHECK(key == ((((qint64(d.year()) * 100 + d.month()) * 100 + d.day()) * 100 + t.hour()) * 100 + t.minute()) * 100 + t.second());
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // Local times that do not exist (a clock put forward) are invalid for
    // QDateTime; one fixed zone makes every run judge dates alike.
    qputenv("TZ", "UTC");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    for (const QString& text : {QString::fromUtf8(bytes), QString::fromLatin1(bytes)}) {
        checkSizes(text);
        checkPath(text);
        checkDate(text);
    }
    return 0;
}
