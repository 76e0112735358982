#pragma once
// The two steps of a copy that each platform does its own way.
#include <QString>

class QFile;

namespace fileops {
namespace detail {

// Copies the rest of in to out, both open; false on any read or write error.
bool copyData(QFile& in, QFile& out);
// Gives out the permissions of in, both open; false when they cannot be set.
bool copyPermissions(QFile& in, QFile& out);
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
// Swaps the names a and b in one step; both must exist. False when they
// could not be swapped (the platform or file system cannot, or a name is
// gone), and nothing changed.
bool swapNames(const QString& a, const QString& b);
// Opens the file at path for writing, emptied, when it may take a new
// content: a plain file of one name, with the owner and group of the file
// at like, no extended attributes, and open in no other program. -1 when
// not (the file is then as it was); the caller closes the handle.
int takeEmptied(const QString& path, const QString& like);
// Closes a handle takeEmptied gave.
void closeHandle(int handle);

} // namespace detail
} // namespace fileops
