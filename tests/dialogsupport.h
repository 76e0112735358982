#pragma once
// Driving the modal dialog from a test: the entry points run the dialog in
// their own event loop, so the test's steps are queued to run once the
// dialog is up.
#include "zFileDialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <functional>

namespace dialogsupport {

// Runs step with the dialog as soon as a zFileDialog is the active modal
// window; gives up (and lets the test fail on its own checks) after 10 s.
inline void whenDialogShows(std::function<void(zFileDialog*)> step)
{
    auto* poll = new QTimer;
    auto* clock = new QElapsedTimer;
    clock->start();
    QObject::connect(poll, &QTimer::timeout, [poll, clock, step] {
        auto* dialog = qobject_cast<zFileDialog*>(QApplication::activeModalWidget());
        if (!dialog && clock->elapsed() < 10000)
            return;
        poll->stop();
        poll->deleteLater();
        delete clock;
        if (dialog)
            step(dialog);
    });
    poll->start(5);
}

template <typename T>
T* child(QWidget* dialog, const char* name)
{
    return dialog->findChild<T*>(QLatin1String(name));
}

} // namespace dialogsupport
