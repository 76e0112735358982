#include "systemdialogs.h"

namespace pfd {

namespace {

SystemDialogs toolkitDialogs()
{
    SystemDialogs d;
    d.openFile = [](const QString& caption, const QString& dir, const QString& filter) {
        return QFileDialog::getOpenFileName(nullptr, caption, dir, filter);
    };
    d.existingDirectory = [](const QString& caption, const QString& dir) {
        return QFileDialog::getExistingDirectory(nullptr, caption, dir, QFileDialog::ShowDirsOnly);
    };
    d.saveFile = [](const QString& caption, const QString& dir, const QString& filter,
                    QFileDialog::Options options) {
        return QFileDialog::getSaveFileName(nullptr, caption, dir, filter, nullptr, options);
    };
    return d;
}

SystemDialogs& current()
{
    static SystemDialogs dialogs = toolkitDialogs();
    return dialogs;
}

} // namespace

const SystemDialogs& systemDialogs()
{
    return current();
}

namespace testing {

void setSystemDialogs(const SystemDialogs& dialogs)
{
    const SystemDialogs toolkit = toolkitDialogs();
    current().openFile = dialogs.openFile ? dialogs.openFile : toolkit.openFile;
    current().existingDirectory = dialogs.existingDirectory ? dialogs.existingDirectory : toolkit.existingDirectory;
    current().saveFile = dialogs.saveFile ? dialogs.saveFile : toolkit.saveFile;
}

void resetSystemDialogs()
{
    current() = toolkitDialogs();
}

} // namespace testing

} // namespace pfd
