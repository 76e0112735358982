#include "zBaseControlTesting.h"
#include "zBaseControl_p.h"

zBaseControlPrivate::State& zBaseControlPrivate::state()
{
    static State s;
    return s;
}

void zBaseControlTesting::setScaleFactor(double factor)
{
    zBaseControlPrivate::state().scaleOverride = factor > 0.0 ? factor : 0.0;
}

void zBaseControlTesting::setThemeColor(const QString& key, const QString& value)
{
    auto& overrides = zBaseControlPrivate::state().colourOverrides;
    if (value.isEmpty())
        overrides.remove(key);
    else
        overrides.insert(key, value);
}

void zBaseControlTesting::reset()
{
    zBaseControlPrivate::state() = zBaseControlPrivate::State();
}
