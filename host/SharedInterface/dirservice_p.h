#pragma once
// The real directory service behind TranMiUtilAction::ReadDirAll, one
// implementation per platform (dirservice_unix.cpp, dirservice_win.cpp).
#include "sharedinterface_global.h"

#include <QByteArray>
#include <QString>

#include <string>
#include <string_view>

namespace dirservice {

// Lists one folder, or the volumes for ":", as the JSON rows ReadDirAll
// returns. Never throws; an unreadable folder gives "[]".
QByteArray readDirAll(const QString& dir);

// The kind text of an ordinary file: its suffix and " 文件", or "文件" when it
// has none. Shared so both platforms word kinds alike.
SHAREDINTERFACE_EXPORT QString fileKindText(const QString& fileName);

namespace detail {
// Row writing shared by both platforms' listings.
void appendRow(QByteArray& out, std::string_view name, std::string_view time, std::string_view kind,
               std::string_view size, std::string_view target, std::string_view label);
// "<kilobytes>KB", exact: 1536 bytes -> "1.5KB".
SHAREDINTERFACE_EXPORT int formatSizeText(char* buf, quint64 bytes);
int formatDateTime(char* buf, qint64 year, int month, int day, int hour, int minute, int second);
void fileKindBytes(std::string_view name, std::string& kind);
// Whether bytes are UTF-8 as a JSON reader accepts it (no overlong forms,
// surrogates or code points past U+10FFFF).
SHAREDINTERFACE_EXPORT bool isWellFormedUtf8(std::string_view text);
} // namespace detail

} // namespace dirservice
