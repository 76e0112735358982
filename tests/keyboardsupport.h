#pragma once
// Keys for the widget that has the keyboard, as a user's would arrive: a
// control that cannot take the focus never sees them.
#include <QApplication>
#include <QKeyEvent>
#include <QtTest>

namespace keyboardsupport {

inline void key(int k, Qt::KeyboardModifiers mods = Qt::NoModifier)
{
    QWidget* target = QApplication::focusWidget();
    QVERIFY2(target, "nothing has the keyboard");
    QTest::keyClick(target, Qt::Key(k), mods);
}

// One key event per character (QTest's own typing knows only ASCII keys).
inline void typeText(const QString& text)
{
    for (const QChar ch : text) {
        QWidget* target = QApplication::focusWidget();
        QVERIFY2(target, "nothing has the keyboard");
        QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(ch));
        QCoreApplication::sendEvent(target, &press);
        QKeyEvent release(QEvent::KeyRelease, 0, Qt::NoModifier, QString(ch));
        QCoreApplication::sendEvent(target, &release);
    }
}

inline QString focusName()
{
    QWidget* w = QApplication::focusWidget();
    return w ? w->objectName() : QStringLiteral("<none>");
}

} // namespace keyboardsupport
