#pragma once
// State behind zControlTesting and helpers shared inside the library; not
// installed.
#include "zControlTesting.h"
#include <QIcon>

namespace zControlPrivate {

struct State
{
    bool messageBoxScripted = false;
    QList<int> answers;
    QList<zControlTesting::MessageBoxCall> calls;
    bool progressScripted = false;
    QList<int> progressValues;
    QStringList progressTitles;
};

State& state();

// A close cross drawn at whatever size and pixel ratio it is asked for.
QIcon crossIcon();

// Design pixels to screen pixels through the host's scaling.
int scaled(double designPixels);

} // namespace zControlPrivate
