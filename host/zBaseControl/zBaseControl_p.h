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

// A widget's style sheet costs a style of its own; it is kept aside and set
// when the widget is first polished (about to show), so widgets that never
// show never pay for it. Call setThemeSheet in the constructor and
// applyThemeSheet from the widget's event().
void setThemeSheet(QWidget* widget, const QString& sheet);
void applyThemeSheet(QWidget* widget, QEvent* event);

} // namespace zBaseControlPrivate
