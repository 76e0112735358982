#pragma once
// The widget toolkit's own file dialogs, reached through one seam so tests
// can answer them without a window.
#include "pfd_global.h"

#include <QFileDialog>
#include <QString>

#include <functional>

namespace pfd {

struct SystemDialogs
{
    std::function<QString(const QString& caption, const QString& dir, const QString& filter)> openFile;
    std::function<QString(const QString& caption, const QString& dir)> existingDirectory;
    std::function<QString(const QString& caption, const QString& dir, const QString& filter,
                          QFileDialog::Options options)>
        saveFile;
};

// The toolkit's dialogs, unless a test installed its own answers.
PFD_EXPORT const SystemDialogs& systemDialogs();

namespace testing {
// Replaces the dialogs; an empty member keeps the toolkit's one.
PFD_EXPORT void setSystemDialogs(const SystemDialogs& dialogs);
PFD_EXPORT void resetSystemDialogs();
} // namespace testing

} // namespace pfd
