#pragma once
// Process-wide state behind zBaseControlTesting; not installed.
#include <QHash>
#include <QString>

class QEvent;
class QWidget;

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

// The theme's sheet is set when the widget is made, before anything polishes
// it: a sheet set then is only kept (it is read when the widget is first
// polished), where one set at the first polish makes Qt polish the widget
// and its children a second time. Call setThemeSheet in the constructor and
// applyThemeSheet from the widget's event().
void setThemeSheet(QWidget* widget, const QString& sheet);
void applyThemeSheet(QWidget* widget, QEvent* event);

} // namespace zBaseControlPrivate
