#pragma once
// Runs a QtTest object in an X server of the test program's own, so nothing
// of the user's desktop is touched.
#include "daemonsupport.h"

#include <QApplication>
#include <QtTest>

#include <cstdio>

namespace xserversupport {

// screen: the screen's size and depth, "1280x1024x24".
template <typename Test>
int execOnOwnXServer(int argc, char** argv, const QString& screen)
{
    daemonsupport::Daemon xvfb(QStringLiteral("Xvfb"),
                               {"-displayfd", "%FD%", "-screen", "0", screen, "-nolisten", "tcp"});
    if (xvfb.line().isEmpty()) {
        std::fprintf(stderr, "Xvfb did not start (scripts/setup-debian.sh installs it)\n");
        return 1;
    }
    qputenv("DISPLAY", ":" + xvfb.line());
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

} // namespace xserversupport
