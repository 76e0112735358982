#pragma once
// The set-up the file-menu tests share: one private HOME for the program
// and, per test function, a fresh case folder in it (filemenusupport::Case:
// its own application directory, scripted message boxes). A test class
// derives from CaseFixture beside QObject and calls its steps from its own
// initTestCase, init and cleanup slots.
#include "filemenusupport.h"

#include <QFile>
#include <QTemporaryDir>

namespace filemenusupport {

class CaseFixture
{
protected:
    // initTestCase
    void useHome() { qputenv("HOME", QFile::encodeName(m_home.path())); }
    // init
    void startCase() { m_case.start(m_home.path()); }
    // cleanup
    void stopCase() { m_case.stop(); }

    QTemporaryDir m_home;
    Case m_case;
};

} // namespace filemenusupport
