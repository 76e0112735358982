#pragma once
// How the user left the dialog's window, kept across runs of the host in a
// settings file of the dialog's own in the application directory. The store
// (filecy.json) keeps its own three keys and nothing of this; the table's
// sort is never kept here, it lasts for the process only.
#include "pfd_global.h"

#include <QSize>
#include <QString>
#include <QVector>

namespace pfd {

struct DialogLayout
{
    QSize size;                // the body's size; invalid: the design size
    bool maximized = false;
    bool listView = false;     // "列表" rather than "详细"
    QVector<int> columnWidths; // the file table's columns left to right; empty: the defaults
};

// appPath + "/filedialog.ini".
PFD_EXPORT QString dialogLayoutFile(const QString& appPath);

// What the file holds; a missing, unreadable or damaged file, or any value
// out of reason, gives the defaults for that value and no message.
PFD_EXPORT DialogLayout loadDialogLayout(const QString& file);
// Rewrites the file whole; false when it could not be written.
PFD_EXPORT bool saveDialogLayout(const QString& file, const DialogLayout& layout);

} // namespace pfd
