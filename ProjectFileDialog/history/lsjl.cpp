#include "lsjl.h"

#include <QSet>

namespace pfd {

QStringList splitHistoryLine(const QString& line)
{
    const QStringList unit = line.split(QChar(0x1F), Qt::KeepEmptyParts, Qt::CaseSensitive);
    if (unit.size() > 8)
        return unit;
    return line.split(QStringLiteral("##"), Qt::KeepEmptyParts, Qt::CaseSensitive);
}

QDateTime historyDate(const QString& field)
{
    QString text = field;
    text.remove(QLatin1Char('(')).remove(QLatin1Char(')'));
    text = text.trimmed();
    if (text.contains(QLatin1Char(':')))
        return QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd hh:mm"));
    return QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd"));
}

bool parseHistoryLine(QString& path, QPair<QDateTime, QString>& row, const QString& line)
{
    if (line.isEmpty())
        return false;
    const QStringList fields = splitHistoryLine(line);
    QString dateField;
    if (fields.size() == 7 || fields.size() == 15) {
        path = fields.at(0);
        dateField = fields.at(1);
    } else if (!fields.isEmpty() && (fields.at(0) == QLatin1String("bd") || fields.at(0) == QLatin1String("yp"))) {
        // A marked row too short to hold its path and date is no record.
        if (fields.size() < 3)
            return false;
        path = fields.at(1);
        dateField = fields.at(2);
    } else {
        return false;
    }
    row.first = historyDate(dateField);
    row.second = line;
    return true;
}

QStringList readHistoryLines(QIODevice& file)
{
    QStringList lines;
    QSet<QString> seen;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine());
        QString path;
        QPair<QDateTime, QString> row;
        // The first line of each project wins; dates do not reorder.
        if (parseHistoryLine(path, row, line) && !seen.contains(path)) {
            seen.insert(path);
            lines << row.second;
        }
    }
    return lines;
}

} // namespace pfd
