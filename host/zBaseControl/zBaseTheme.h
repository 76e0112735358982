#pragma once
// The host's one light theme. Keys are the host's colour names; widgets of
// the library build their style sheets from these answers.
#include "zbasecontrol_global.h"
#include <QString>

class ZBASECONTROL_EXPORT zBaseTheme
{
public:
    // "#RRGGBB" for a known key, empty for any other.
    static QString color(const QString& key);

    // The colours of the plain push button's style (control type 0): its
    // background at rest, under the pointer and when disabled, and its text.
    struct ButtonColours
    {
        QString normal;
        QString hover;
        QString disabled;
        QString font;
    };
    static ButtonColours plainButton();
};
