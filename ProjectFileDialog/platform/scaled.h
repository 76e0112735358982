#pragma once
// Design pixels to screen pixels, through the host's resolution scaling.
#include "InterfaceAdaptation.h"

namespace pfd {

inline int px(double designPixels)
{
    return InterfaceAdaptation::getInstance()->getResolutionRatioH(designPixels);
}

} // namespace pfd
