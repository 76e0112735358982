#pragma once
// A sample workspace of project files, made on first run so a new user sees
// the dialog at work at once.
#include <QString>

namespace demo {

// Creates the workspace under root unless it is already there; returns the
// folder that holds the projects.
QString ensureWorkspace(const QString& root);

// Gives a new application directory a store with pinned folders and recent
// projects, and a history file, so the left column shows them at once.
void seedApplicationDirectory(const QString& appDir, const QString& projects);

} // namespace demo
