#pragma once
// The real directory service behind TranMiUtilAction::ReadDirAll, one
// implementation per platform (dirservice_unix.cpp, dirservice_win.cpp).
#include <QByteArray>
#include <QString>

namespace dirservice {

// Lists one folder, or the volumes for ":", as the JSON rows ReadDirAll
// returns. Never throws; an unreadable folder gives "[]".
QByteArray readDirAll(const QString& dir);

// The kind text of an ordinary file: its suffix and " 文件", or "文件" when it
// has none. Shared so both platforms word kinds alike.
QString fileKindText(const QString& fileName);

} // namespace dirservice
