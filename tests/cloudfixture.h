#pragma once
// The set-up the cloud dialog tests share. A test class derives from one of
// these beside QObject and calls its steps from its own initTestCase, init
// and cleanup slots:
//   CloudDialogFixture     a private HOME with the folders the places open;
//                          per test function a fresh application directory
//                          and a host reset to a signed-in user
//   ScriptedCloudFixture   the same with the scripted cloud of cloudscript.h
//                          behind the host channel
#include "cloudscript.h"
#include "testsupport.h"

#include <QTableView>
#include <QTemporaryDir>

namespace cloudfixture {

class CloudDialogFixture
{
protected:
    // initTestCase
    void useHome() { cloudscript::useHome(m_home); }
    // init; openDialog: the dialogs under test are open dialogs (isIopen)
    void startHost(bool openDialog)
    {
        m_app = new testsupport::AppDir;
        cloudscript::resetHost(openDialog);
    }
    // cleanup, once whatever keeps data in the application directory is gone
    void stopHost()
    {
        delete m_app;
        m_app = nullptr;
        cloudscript::releaseHost();
    }

    QTemporaryDir m_home;
    testsupport::AppDir* m_app = nullptr;
};

class ScriptedCloudFixture : public CloudDialogFixture
{
protected:
    // init: the host as above, user "1024" signed in to the scripted cloud
    void startCloud(bool openDialog)
    {
        startHost(openDialog);
        m_cloud = new cloudscript::Cloud(m_app->path(), QStringLiteral("1024"));
    }
    // cleanup
    void stopCloud()
    {
        delete m_cloud;
        m_cloud = nullptr;
        stopHost();
    }

    cloudscript::Cloud* m_cloud = nullptr;
};

} // namespace cloudfixture
