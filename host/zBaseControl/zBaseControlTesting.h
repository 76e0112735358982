#pragma once
// Test seam of the base-control stand-in: pins the screen scaling and the
// theme so that sizes and colours are the same on every test machine.
#include "zbasecontrol_global.h"
#include <QString>

namespace zBaseControlTesting {

// Factor used by InterfaceAdaptation::getResolutionRatioH; 0 follows the
// primary screen again.
ZBASECONTROL_EXPORT void setScaleFactor(double factor);

// zBaseTheme::color(key) answers value; an empty value drops the override.
// Widgets built afterwards pick the colour up; existing ones keep theirs.
ZBASECONTROL_EXPORT void setThemeColor(const QString& key, const QString& value);

// Automatic scaling and the stock theme.
ZBASECONTROL_EXPORT void reset();

} // namespace zBaseControlTesting
