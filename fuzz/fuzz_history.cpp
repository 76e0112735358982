// The history file as any bytes: each line is split so that joining the
// fields gives the line back, read by one of its two layouts or rejected,
// and the file keeps the first accepted line of each project, in order.
#include "fuzzsupport.h"

#include "lsjl.h"

#include <QBuffer>
#include <QSet>

namespace {

void checkLine(const QString& line)
{
    const QStringList fields = pfd::splitHistoryLine(line);
    const bool unit = line.split(QChar(0x1F)).size() > 8;
    FUZZ_CHECK(fields.join(unit ? QString(QChar(0x1F)) : QStringLiteral("##")) == line);

    QString path = QStringLiteral("untouched");
    QPair<QDateTime, QString> row;
    const bool accepted = pfd::parseHistoryLine(path, row, line);
    const bool plain = fields.size() == 7 || fields.size() == 15;
    const bool marked = !plain && fields.size() >= 3
                        && (fields.at(0) == QLatin1String("bd") || fields.at(0) == QLatin1String("yp"));
    FUZZ_CHECK(accepted == (!line.isEmpty() && (plain || marked)));
    if (!accepted)
        return;
    FUZZ_CHECK(row.second == line);
    FUZZ_CHECK(path == fields.at(plain ? 0 : 1));
    const QDateTime date = pfd::historyDate(fields.at(plain ? 1 : 2));
    FUZZ_CHECK(row.first == date || (!row.first.isValid() && !date.isValid()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    QBuffer file;
    file.setData(bytes);
    FUZZ_CHECK(file.open(QIODevice::ReadOnly | QIODevice::Text));
    const QStringList kept = pfd::readHistoryLines(file);

    // The same file read line by line, as the dialog reads it.
    QBuffer again;
    again.setData(bytes);
    FUZZ_CHECK(again.open(QIODevice::ReadOnly | QIODevice::Text));
    QStringList want;
    QSet<QString> seen;
    while (!again.atEnd()) {
        const QString line = QString::fromUtf8(again.readLine());
        checkLine(line);
        QString path;
        QPair<QDateTime, QString> row;
        if (pfd::parseHistoryLine(path, row, line) && !seen.contains(path)) {
            seen.insert(path);
            want << line;
        }
    }
    FUZZ_CHECK(kept == want);
    return 0;
}
