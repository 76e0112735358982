#pragma once
// The suite's message boxes. Each runs modally and returns 0 for the first
// button; 1 for the second button or when the user closes the box.
//
// yesText and noText replace the captions of the first and second button
// when not empty. buttons picks which buttons show: 1 the first, 2 the
// second, 3 both; 0 or a negative value keeps the box's own set.
#include "zcontrol_global.h"
#include <QString>

class QWidget;

// "是" / "否".
ZCONTROL_EXPORT int showQuestion(const QString& text, QWidget* parent = nullptr, const QString& title = QString(),
                                 const QString& yesText = QString(), const QString& noText = QString(),
                                 int buttons = 0);
// "确定" / "取消".
ZCONTROL_EXPORT int showWarning(const QString& text, QWidget* parent = nullptr, const QString& title = QString(),
                                const QString& yesText = QString(), const QString& noText = QString(),
                                int buttons = 0);
// "确定" / "取消", as the host's critical box asks (the suite asks its
// permanent-delete question with it).
ZCONTROL_EXPORT int showCritical(const QString& text, QWidget* parent = nullptr, const QString& title = QString(),
                                 const QString& yesText = QString(), const QString& noText = QString(),
                                 int buttons = 0);
ZCONTROL_EXPORT int showInformation(const QString& text, QWidget* parent = nullptr, const QString& title = QString(),
                                    const QString& yesText = QString(), const QString& noText = QString(),
                                    int buttons = 0);
// "确定" alone, titled "提示"; type picks the icon: 0 information,
// 1 notice (warning sign), 2 error.
ZCONTROL_EXPORT int showInforByOneBtn(const QString& text, QWidget* parent = nullptr,
                                      int type = 1);
