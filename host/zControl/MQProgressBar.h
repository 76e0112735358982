#pragma once
// The suite's simple progress window for work that runs on the GUI thread.
#include "zcontrol_global.h"
#include <QString>
#include <functional>

class QWidget;

class ZCONTROL_EXPORT MQProgressBar
{
public:
    // Shows a small modeless window and returns the setter of its value. Each
    // call of the setter repaints the window (user input stays blocked until
    // the caller returns to its event loop); a value above maximum closes and
    // deletes the window, and later calls do nothing but get recorded.
    static std::function<void(int)> CreateEasy(const QString& title, const QString& text,
                                               int maximum, QWidget* parent = nullptr);
};
