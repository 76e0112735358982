#pragma once
// The demo host's calls of the dialog's entry points, as the suite makes
// them: its project-type groups, both clouds allowed.
#include "zFileDialog.h"

class QCoreApplication;

namespace demo {

// getOpenFileName on the workspace; a folder chooser is captioned "选择文件夹".
QString runOpen(QWidget* parent, const QString& workspace, OpenFileType type = OpenProjectFile);
// getSaveFileName on the workspace with a default project name.
QString runSave(QWidget* parent, const QString& workspace);
// What the suite does with the path a save returned: writes the project
// there (whole or not at all) and, when the path lies in a cloud's staging
// folder, uploads it to that cloud. The line the demo's log shows; empty
// for an empty path.
QString saveProject(const QString& path);

// Installs Qt's own Chinese texts (qtbase_zh_CN.qm), so the toolkit's file
// dialogs that "其它路径" opens speak the dialog's language. False when the
// translations are not installed.
bool loadToolkitTranslations(QCoreApplication* app);

} // namespace demo
