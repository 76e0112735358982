#pragma once
// The two steps of a copy that each platform does its own way.
#include <QString>

class QFile;

namespace fileops {
namespace detail {

// Copies the rest of in to out, both open; false on any read or write error.
bool copyData(QFile& in, QFile& out);
// The portable block-by-block copy that copyData falls back on.
bool copyDataByBlocks(QFile& in, QFile& out);
// How writeUnnamed ended: the copy is under its name, it failed (nothing
// is left behind), or the platform cannot write a file before naming it.
enum class UnnamedCopy { Written, Failed, Unsupported };
// Writes the rest of in into a file without a name in to's folder and, once
// complete, gives it the name to, which must be free (a name taken
// meanwhile fails). A failure leaves nothing behind.
UnnamedCopy writeUnnamed(QFile& in, const QString& to);
// Moves the complete file from over to, replacing an existing file at to in
// one step; a folder at to is never replaced.
bool renameOver(const QString& from, const QString& to);

} // namespace detail
} // namespace fileops
