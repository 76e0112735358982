#pragma once
// Lines of the suite's history file "FileList.Ini": one project per line,
// fields separated by U+001F or by "##".
#include "pfd_global.h"

#include <QDateTime>
#include <QIODevice>
#include <QPair>
#include <QString>
#include <QStringList>

namespace pfd {

// The fields of one history line, split at U+001F when that gives more
// than eight parts, else at "##"; empty fields are kept.
PFD_EXPORT QStringList splitHistoryLine(const QString& line);

// A date field: parentheses removed, trimmed; "yyyy-MM-dd hh:mm" when it
// holds a ":", else "yyyy-MM-dd". Unreadable text gives an invalid value.
PFD_EXPORT QDateTime historyDate(const QString& field);

// Reads one line: a plain row (exactly 7 or 15 fields: path, date, ...) or
// a marked row (field 0 "bd" or "yp": marker, path, date, ...). On success
// path and row (date, the whole line) are set.
PFD_EXPORT bool parseHistoryLine(QString& path, QPair<QDateTime, QString>& row, const QString& line);

// The accepted lines of an open history file, in file order, each with its
// line terminator; of several lines for one path only the first is kept.
PFD_EXPORT QStringList readHistoryLines(QIODevice& file);

} // namespace pfd
