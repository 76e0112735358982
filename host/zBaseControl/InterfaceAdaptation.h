#pragma once
// Turns the host's design sizes (drawn for a 96 dpi screen) into pixels for
// the screen the suite runs on.
#include "zbasecontrol_global.h"

class ZBASECONTROL_EXPORT InterfaceAdaptation
{
public:
    static InterfaceAdaptation* getInstance();

    // designPixels times the primary screen's logical dpi over 96, rounded
    // half up; factor 1 while no screen exists.
    int getResolutionRatioH(double designPixels) const;

    // The factor getResolutionRatioH applies right now.
    double scaleFactor() const;

private:
    InterfaceAdaptation() = default;
};
