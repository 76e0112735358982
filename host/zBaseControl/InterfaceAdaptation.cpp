#include "InterfaceAdaptation.h"
#include "zBaseControl_p.h"

#include <QGuiApplication>
#include <QScreen>

InterfaceAdaptation* InterfaceAdaptation::getInstance()
{
    static InterfaceAdaptation instance;
    return &instance;
}

double InterfaceAdaptation::scaleFactor() const
{
    const double forced = zBaseControlPrivate::state().scaleOverride;
    if (forced > 0.0)
        return forced;
    // primaryScreen() is safe before a QGuiApplication exists: it is null then.
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen)
        return 1.0;
    return screen->logicalDotsPerInch() / 96.0;
}

int InterfaceAdaptation::getResolutionRatioH(double designPixels) const
{
    return qRound(designPixels * scaleFactor());
}
