#pragma once
// The address bar's string rules, kept apart from its widgets so that they
// are tested directly: how a folder becomes breadcrumb segments, which path a
// chosen segment reports, how typed text is read, and which segments fit.
#include "pfd_global.h"

#include <QString>
#include <QVector>

namespace pfd {

// One breadcrumb segment: the text as given (before "此电脑" or shortening)
// and the folder it stands for.
struct AddressSegment
{
    QString text;
    QString path;
};

// The folder as the bar keeps it: "/" separators. A POSIX path is kept as
// it is, since "\" is an ordinary file-name character there.
PFD_EXPORT QString addressBarPath(const QString& path);

// Segments from the shallowest to the deepest. Windows-style paths join
// their parts with "\" ("C:", "C:\a"); a UNC server keeps its leading "//";
// a POSIX path starts with the segment "/" and joins with "/".
PFD_EXPORT QVector<AddressSegment> addressSegments(const QString& path);

// "此电脑" (This PC) for the drive list ":" or ":/", else the text itself.
PFD_EXPORT QString addressShownText(const QString& text);

// A segment text too wide for the bar: its first 12 characters and "...".
PFD_EXPORT QString addressShortText(const QString& text);

// The path a segment reports when its text is clicked: native separators
// and "\" for Windows-style paths; POSIX paths keep their "/".
PFD_EXPORT QString addressClickedPath(const QString& segmentPath);

// Text put into the field in edit mode: a bare drive "X:" gets its "\".
PFD_EXPORT QString addressEditText(const QString& text);

// The folder the field's directory test leads to, written as the bar's edit
// mode keeps it: "\" separators for Windows-style paths, POSIX untouched.
PFD_EXPORT QString addressEditPath(const QString& absolutePath);

// Typed text as Return and focus-out test it: exactly "E:" becomes "E:\"
// (only this drive letter; the host's dialog has always done so), then "\"
// becomes "/" except in POSIX paths.
PFD_EXPORT QString addressTypedPath(const QString& typed);

// Which segments fit: widths from the shallowest to the deepest, summed from
// the deepest; a segment shows while the running total stays below the room
// available. The root turns into the back arrow only when the whole total
// exceeds the room, so a total exactly equal to it hides the shallowest
// segment yet keeps the normal arrow (the bar has always behaved so).
struct AddressFit
{
    QVector<bool> visible;
    bool backArrow = false;
};
PFD_EXPORT AddressFit fitAddressSegments(const QVector<int>& widths, int available);

} // namespace pfd
