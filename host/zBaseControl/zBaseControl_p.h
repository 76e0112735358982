#pragma once
// Process-wide state behind zBaseControlTesting; not installed.
#include <QHash>
#include <QString>

namespace zBaseControlPrivate {

struct State
{
    double scaleOverride = 0.0;          // 0 = follow the screen
    QHash<QString, QString> colourOverrides;
};

State& state();

// Fills "@key@" markers of a style sheet template with zBaseTheme colours, so
// every widget's style reads from the one theme.
QString themed(const char* sheetTemplate);

} // namespace zBaseControlPrivate
