#pragma once
// The suite's message boxes. Each runs modally and returns 0 for the first
// button; 1 for the second button or when the user closes the box.
#include "zcontrol_global.h"
#include <QString>

class QWidget;

// "是" / "否".
ZCONTROL_EXPORT int showQuestion(const QString& text, QWidget* parent = nullptr,
                                 const QString& title = QString());
// "确定" / "取消".
ZCONTROL_EXPORT int showWarning(const QString& text, QWidget* parent = nullptr,
                                const QString& title = QString());
// "确定" alone.
ZCONTROL_EXPORT int showCritical(const QString& text, QWidget* parent = nullptr,
                                 const QString& title = QString());
ZCONTROL_EXPORT int showInformation(const QString& text, QWidget* parent = nullptr,
                                    const QString& title = QString());
// "确定" alone, titled "提示"; type picks the icon: 0 information,
// 1 notice (warning sign), 2 error.
ZCONTROL_EXPORT int showInforByOneBtn(const QString& text, QWidget* parent = nullptr,
                                      int type = 1);
