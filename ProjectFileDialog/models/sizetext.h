#pragma once
// Size texts: the directory service writes sizes as "<kilobytes>KB"; the
// table shows them in the largest fitting unit.
#include "pfd_global.h"

#include <QString>

struct FileInfo;

namespace pfd {

// "1536KB" -> "1.50 MB", "0.5KB" -> "512 B", "abc" -> "0 B", "" -> "".
PFD_EXPORT QString sizeDisplayText(const QString& size);

// The size in kilobytes for sorting; -1 for folders, drives, an empty size
// or one that is not "<number>KB".
PFD_EXPORT double sizeKilobytes(const FileInfo& info);

} // namespace pfd
