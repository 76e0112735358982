#pragma once
// The set-up the local dialog tests share: one private HOME for the program
// and, per test function, a fresh application directory with the host's
// scaling at 1.0, scripted message boxes and the place code at "my
// documents". A test class derives from DialogFixture beside QObject and
// calls its steps from its own initTestCase, init and cleanup slots, adding
// what it needs besides.
#include "testsupport.h"
#include "zBaseControlTesting.h"
#include "zControlTesting.h"
#include "zFileDialog.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace dialogfixture {

// The host as a local dialog test starts it; the new application directory
// is the caller's to stop.
inline testsupport::AppDir* startDialogHost()
{
    auto* app = new testsupport::AppDir;
    zBaseControlTesting::setScaleFactor(1.0);
    zControlTesting::setMessageBoxScripted(true);
    zFileDialog::iClickedBtn = 2;
    return app;
}

inline void stopDialogHost(testsupport::AppDir*& app)
{
    delete app;
    app = nullptr;
    zBaseControlTesting::reset();
    zControlTesting::reset();
}

class DialogFixture
{
protected:
    // initTestCase: HOME is the private folder, with these sub-folders made
    // (the places' known folders, for example "Documents").
    void useHome(const QStringList& folders = {})
    {
        qputenv("HOME", QFile::encodeName(m_home.path()));
        for (const QString& f : folders)
            QVERIFY(QDir(m_home.path()).mkpath(f));
    }
    // init
    void startHost() { m_app = startDialogHost(); }
    // cleanup
    void stopHost() { stopDialogHost(m_app); }

    QTemporaryDir m_home;
    testsupport::AppDir* m_app = nullptr;
};

} // namespace dialogfixture
