#pragma once
// Test seam of the control stand-in: script the message boxes and read back
// every box and progress window the library asked for.
#include "zcontrol_global.h"
#include <QList>
#include <QString>
#include <QStringList>

class QWidget;

namespace zControlTesting {

struct MessageBoxCall
{
    QString kind;        // "question", "warning", "critical", "information", "inforByOneBtn"
    QString text;
    QString title;       // as shown: "提示" when the caller gave none
    QWidget* parent;     // as passed; may be null or already gone
    QStringList buttons; // captions left to right
    int type;            // icon: 0 information, 1 warning, 2 error, 3 question
    int buttonSet = 0;   // the set the caller passed; 0 when it passed none
};

// Scripted boxes show no window: each call takes the next answer, or 0 once
// the list is empty. Setting answers turns scripting on.
ZCONTROL_EXPORT void setMessageBoxAnswers(const QList<int>& answers);
ZCONTROL_EXPORT void setMessageBoxScripted(bool scripted);

// Every box asked for, scripted or shown, oldest first.
ZCONTROL_EXPORT QList<MessageBoxCall> messageBoxCalls();
ZCONTROL_EXPORT void clearMessageBoxCalls();

// Scripted progress shows no window; values and titles are recorded either way.
ZCONTROL_EXPORT void setProgressScripted(bool scripted);
// Every value passed to a CreateEasy setter, and every CreateEasy title.
ZCONTROL_EXPORT QList<int> progressValues();
ZCONTROL_EXPORT QStringList progressTitles();

// Real windows again, no answers, no record.
ZCONTROL_EXPORT void reset();

} // namespace zControlTesting
