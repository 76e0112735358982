#include "zBaseTheme.h"
#include "zBaseControl_p.h"

#include <QEvent>
#include <QVariant>
#include <QWidget>

namespace {

struct Entry { const char* key; const char* value; };

// Host key names first, then the extra shades the stand-in widgets use.
constexpr Entry kColours[] = {
    {"border-color", "#E3E6EB"},
    {"item-font-color", "#1F2329"},
    {"item-select-font-color", "#1F6FEB"},
    {"hover-color", "#EEF3FD"},
    {"select-color", "#DCE9FD"},
    {"font-color", "#1F2329"},
    {"disabled-font-color", "#B0B6BF"},
    {"secondary-font-color", "#5B6472"},
    {"accent-color", "#1F6FEB"},
    {"accent-hover-color", "#3D82F0"},
    {"accent-pressed-color", "#1A5FCC"},
    {"pressed-color", "#DCE9FD"},
    {"checked-color", "#E8F0FE"},
    {"place-hover-color", "#F2F5FA"},
    {"background-color", "#FFFFFF"},
    {"window-border-color", "#D9DDE3"},
    {"disabled-background-color", "#F5F6F8"},
    // The plain push button's own backgrounds.
    {"button-color", "#FFFFFF"},
    {"button-hover-color", "#E6EDFA"},
    {"button-disabled-color", "#F0F2F5"},
};

} // namespace

QString zBaseTheme::color(const QString& key)
{
    const auto& overrides = zBaseControlPrivate::state().colourOverrides;
    const auto it = overrides.constFind(key);
    if (it != overrides.constEnd())
        return it.value();
    for (const Entry& e : kColours) {
        if (key == QLatin1String(e.key))
            return QString::fromLatin1(e.value);
    }
    return QString();
}

zBaseTheme::ButtonColours zBaseTheme::plainButton()
{
    return {color(QStringLiteral("button-color")), color(QStringLiteral("button-hover-color")),
            color(QStringLiteral("button-disabled-color")), color(QStringLiteral("font-color"))};
}

QString zBaseControlPrivate::themed(const char* sheetTemplate)
{
    const QString in = QString::fromLatin1(sheetTemplate);
    QString out;
    out.reserve(in.size());
    int pos = 0;
    while (pos < in.size()) {
        const int open = in.indexOf(QLatin1Char('@'), pos);
        const int close = open < 0 ? -1 : in.indexOf(QLatin1Char('@'), open + 1);
        if (close < 0) {
            out += in.midRef(pos);
            break;
        }
        out += in.midRef(pos, open - pos);
        out += zBaseTheme::color(in.mid(open + 1, close - open - 1));
        pos = close + 1;
    }
    return out;
}

void zBaseControlPrivate::setThemeSheet(QWidget* widget, const QString& sheet)
{
    // A sheet set by the user of the widget replaces the theme's, as it
    // always did: only the theme's own earlier sheet is replaced.
    const QString current = widget->styleSheet();
    const bool themed = current.isEmpty() || current == widget->property("zThemeSheet").toString();
    widget->setProperty("zThemeSheet", sheet);
    if (themed)
        widget->setStyleSheet(sheet);
}

void zBaseControlPrivate::applyThemeSheet(QWidget* widget, QEvent* event)
{
    // A widget whose sheet was taken away before it showed gets the
    // theme's back, as one that never had a sheet of its own.
    if (event->type() == QEvent::Polish && widget->styleSheet().isEmpty())
        widget->setStyleSheet(widget->property("zThemeSheet").toString());
}
