#include "addresspath.h"

#include "pathstyle.h"

#include <QDir>
#include <QStringList>

namespace pfd {

QString addressBarPath(const QString& path)
{
    if (isPosixStylePath(path))
        return path;
    QString p = path;
    p.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return p;
}

QVector<AddressSegment> addressSegments(const QString& path)
{
    QVector<AddressSegment> segments;
    if (isPosixStylePath(path)) {
        // The file-system root is a segment of its own, so the user can go
        // back to "/" like to a drive.
        const QStringList parts = path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
        segments.append({QStringLiteral("/"), QStringLiteral("/")});
        QString joined;
        for (const QString& part : parts) {
            joined += QLatin1Char('/') + part;
            segments.append({part, joined});
        }
        return segments;
    }

    const bool unc = path.startsWith(QLatin1String("\\\\")) || path.startsWith(QLatin1String("//"));
    QStringList parts = addressBarPath(path).split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (!parts.isEmpty() && unc)
        parts[0].prepend(QLatin1String("//"));
    QString joined;
    for (int i = 0; i < parts.size(); ++i) {
        if (i > 0)
            joined += QLatin1Char('\\');
        joined += parts.at(i);
        segments.append({parts.at(i), joined});
    }
    return segments;
}

QString addressShownText(const QString& text)
{
    if (text == QLatin1String(":") || text == QLatin1String(":/"))
        return QStringLiteral("此电脑");
    return text;
}

QString addressShortText(const QString& text)
{
    return text.left(12) + QLatin1String("...");
}

QString addressClickedPath(const QString& segmentPath)
{
    if (isPosixStylePath(segmentPath))
        return segmentPath;
    QString p = QDir::toNativeSeparators(segmentPath);
    p.replace(QLatin1Char('/'), QLatin1Char('\\'));
    return p;
}

QString addressEditText(const QString& text)
{
    if (text.size() == 2 && text.at(1) == QLatin1Char(':'))
        return text + QLatin1Char('\\');
    return text;
}

QString addressEditPath(const QString& absolutePath)
{
    if (isPosixStylePath(absolutePath))
        return absolutePath;
    QString p = absolutePath;
    p.replace(QLatin1Char('/'), QLatin1Char('\\'));
    return p;
}

QString addressTypedPath(const QString& typed)
{
    QString t = typed;
    if (t == QLatin1String("E:"))
        t += QLatin1Char('\\');
    return addressBarPath(t);
}

AddressFit fitAddressSegments(const QVector<int>& widths, int available)
{
    AddressFit fit;
    fit.visible.resize(widths.size());
    int total = 0;
    for (int i = widths.size() - 1; i >= 0; --i) {
        total += widths.at(i);
        fit.visible[i] = total < available;
    }
    fit.backArrow = total > available;
    return fit;
}

} // namespace pfd
