#pragma once
// Offscreen screenshots of the dialog at work, for a machine without a
// display and for the project's documentation.
#include <QString>
#include <QStringList>

namespace demo {

// Writes the PNGs into dir and returns their paths.
QStringList takeScreenshots(const QString& dir, const QString& workspace);

} // namespace demo
