// Saving a project to the cloud through a scripted cloud: the save branch
// of the accept handler, the staging path, the upload with its progress
// window, busy marks and messages, recovery of a project the cloud did not
// take, hostile names, and the sync snapshot.
#include "cloudfixture.h"
#include "cloudscript.h"
#include "dialogsupport.h"
#include "testsupport.h"

#include "HostServices.h"
#include "dialogs/SaveProject.h"
#include "mqcoreTesting.h"
#include "osgiTesting.h"
#include "zBaseButton.h"
#include "zBaseControlTesting.h"
#include "zBaseLineEdit.h"
#include "zControlTesting.h"
#include "zFileDialogUi.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QTableView>
#include <QtTest>

#include "cloud/cloudtask.h"

#include <atomic>
#include <thread>

using namespace dialogsupport;
using namespace testsupport;
using namespace cloudscript;

namespace {

class Probe : public SaveProject
{
public:
    using zFileDialog::m_currentDir;
    using zFileDialog::ui;
};

void write(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

// Every file under a folder, relative, with its bytes.
QMap<QString, QByteArray> snapshot(const QString& root)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString relative = QDir(root).relativeFilePath(path);
        if (!relative.startsWith(QLatin1String("log/"))) // the host's log grows on its own
            files.insert(relative, contentOf(path));
    }
    return files;
}

} // namespace

class TestCloudSave : public QObject, cloudfixture::ScriptedCloudFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    // the save branch
    void stagingPathMirrorsTheCloudPath();
    void nameOfOnlyAnExtensionIsRefused();
    void overwriteQuestionAnsweredNoStays();
    void overwriteQuestionAnsweredYesStages();
    void enterpriseRootRunsTheOverwriteTestThenAsksForAnEnterprise();
    void enterpriseFolderStagesWithItsEnterprise();
    void listRefusalStopsTheSave();
    void hostileNameStaysInsideTheStagingTree();
    void stagingRefusalLeavesTheDialogAsItWas();
    void stagingFolderThatCannotBeMadeIsLeftToTheHost();

    // the upload
    void uploadSendsBothRequestsAndRemovesTheStagedFile();
    void uploadMarksBusyAndShowsProgress();
    void uploadLetsEventsRunOnlyWhileTheBarClimbs();
    void uploadAskedForDuringAnotherWaitsThenRuns();
    void doneFlagIsReadWithoutItsLock();
    void uploadRefusedShowsTheMessageAndRecoversTheProject();
    void secondStageFailureCountsAsSuccessButKeepsTheProject();
    void emptyRepliesCountAsSuccess();
    void emptyEnterpriseIdUsesThePersonalMethods();
    void enterpriseUploadUsesTheEnterpriseMethods();
    void largeFileSizeIsTruncatedTo32Bits();
    void fileOutsideTheStagingTreeIsNeverRemoved();
    void hostileCloudNameKeepsItsRealNameInTheCloud();
    void filePathAccessorsUseTheCloudPath();
    void snapshotWithEmptyMapHasEmptyObject();

    // end to end
    void saveNewProjectThenUpload();
};

void TestCloudSave::initTestCase()
{
    useHome();
}

void TestCloudSave::init()
{
    startCloud(false);
}

void TestCloudSave::cleanup()
{
    stopCloud();
}

// ---- the save branch ------------------------------------------------------------------------

void TestCloudSave::stagingPathMirrorsTheCloudPath()
{
    Probe d;
    d.onPersonYunButton();
    choose(d, {"工程"});
    d.ui->fileNameEdit->setText("新工程.GCFX");
    d.onOkButton();
    const QString folder = m_app->path() + QStringLiteral("/cfg/DownloadCloudDiskFile/1024/个人云盘/工程");
    QVERIFY(QFileInfo(folder).isDir());
    QCOMPARE(d.resultPath(), folder + QStringLiteral("/新工程.GCFX"));
    QCOMPARE(zFileDialog::GetFilePath(), QStringLiteral("个人云盘\\工程\\新工程.GCFX"));
    QCOMPARE(zFileDialog::iClickedBtn, 4);
    QCOMPARE(zFileDialog::GetFilePid(), QStringLiteral("f1"));
}

void TestCloudSave::nameOfOnlyAnExtensionIsRefused()
{
    Probe d;
    d.onPersonYunButton();
    m_cloud->clearMethods();
    d.ui->fileNameEdit->setText(".GCFG");
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, QStringLiteral("文件名不能为空"));
    QVERIFY(m_cloud->methods().isEmpty());
    QCOMPARE(d.resultPath(), QString());
}

void TestCloudSave::overwriteQuestionAnsweredNoStays()
{
    zControlTesting::setMessageBoxAnswers({1});
    Probe d;
    d.onPersonYunButton();
    d.ui->fileNameEdit->setText("根.GCFX");
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("question"));
    QCOMPARE(lastBox().text, QStringLiteral("同名工程文件已经存在，是否覆盖？"));
    QCOMPARE(d.resultPath(), QString());
    QCOMPARE(zFileDialog::GetFilePath(), QString());
}

void TestCloudSave::overwriteQuestionAnsweredYesStages()
{
    zControlTesting::setMessageBoxAnswers({0});
    Probe d;
    d.onPersonYunButton();
    d.ui->fileNameEdit->setText("根.GCFX");
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("question"));
    QCOMPARE(d.resultPath(), m_cloud->stagingRoot() + QStringLiteral("/个人云盘/根.GCFX"));
}

void TestCloudSave::enterpriseRootRunsTheOverwriteTestThenAsksForAnEnterprise()
{
    m_cloud->state().enterprise.append(cloudscript::file("根.GCFZ", "z", 1));
    zControlTesting::setMessageBoxAnswers({0});
    Probe d;
    d.onCompanyYunButton();
    m_cloud->clearMethods();
    d.ui->fileNameEdit->setText("根.GCFZ");
    d.onOkButton();
    QCOMPARE(m_cloud->methods(), (QStringList{"getenterpriselistforclouddisk", "getenterpriselistforclouddisk"}));
    const auto calls = zControlTesting::messageBoxCalls();
    QCOMPARE(calls.size(), 2);
    QCOMPARE(calls.at(0).kind, QStringLiteral("question"));
    QCOMPARE(calls.at(1).kind, QStringLiteral("information"));
    QCOMPARE(calls.at(1).text, QStringLiteral("请选择企业"));
    QCOMPARE(d.resultPath(), QString());
}

void TestCloudSave::enterpriseFolderStagesWithItsEnterprise()
{
    Probe d;
    d.onCompanyYunButton();
    choose(d, {"甲公司", "设计部"});
    d.ui->fileNameEdit->setText("新.GCFZ");
    d.onOkButton();
    QCOMPARE(d.resultPath(), m_cloud->stagingRoot() + QStringLiteral("/企业云盘/甲公司/设计部/新.GCFZ"));
    QCOMPARE(zFileDialog::iClickedBtn, 3);
    QCOMPARE(zFileDialog::GetQyid(), QStringLiteral("q1"));
}

void TestCloudSave::listRefusalStopsTheSave()
{
    Probe d;
    d.onPersonYunButton();
    m_cloud->state().replies.insert("personcloudgetfiledirforclouddisk", QJsonObject{{"code", 2}, {"msg", "未授权"}});
    d.ui->fileNameEdit->setText("x.GCFX");
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, QStringLiteral("未授权"));
    QCOMPARE(d.resultPath(), QString());
}

void TestCloudSave::hostileNameStaysInsideTheStagingTree()
{
    m_cloud->state().personal.append(cloudscript::folder("..", "h1", QJsonArray{}));
    const QMap<QString, QByteArray> before = snapshot(m_app->path());
    Probe d;
    d.onPersonYunButton();
    choose(d, {".."});
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘\\.."));
    d.ui->fileNameEdit->setText("../../../逃.GCFX");
    d.onOkButton();
    const QString result = d.resultPath();
    QCOMPARE(result, m_cloud->stagingRoot() + QStringLiteral("/个人云盘/__/.._.._.._逃.GCFX"));
    QCOMPARE(zFileDialog::GetFilePath(), QStringLiteral("个人云盘\\..\\../../../逃.GCFX"));
    QVERIFY(pfd::cloud::isInsideFolder(result, m_cloud->stagingRoot()));
    // Nothing but the staging folders came into being.
    QCOMPARE(snapshot(m_app->path()), before);
}

void TestCloudSave::stagingRefusalLeavesTheDialogAsItWas()
{
    // The personal cloud's staging folder is a link that leads out of the
    // user's staging tree: nothing is staged, nothing changes.
    QTemporaryDir elsewhere;
    QVERIFY(QDir().mkpath(m_cloud->stagingRoot()));
    QVERIFY(QFile::link(elsewhere.path(), m_cloud->stagingRoot() + QStringLiteral("/个人云盘")));
    Probe d;
    d.onPersonYunButton();
    choose(d, {"工程"});
    zFileDialog::iClickedBtn = 6; // as when the current-project place led here
    d.ui->fileNameEdit->setText("新.GCFX");
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, QStringLiteral("文件操作失败"));
    QCOMPARE(zFileDialog::iClickedBtn, 6);
    QCOMPARE(zFileDialog::GetFilePath(), QString());
    QCOMPARE(zFileDialog::GetFilePid(), QStringLiteral("f1"));
    QCOMPARE(d.resultPath(), QString());
    QCOMPARE(d.m_currentDir, QStringLiteral("个人云盘\\工程"));
    QVERIFY(QDir(elsewhere.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).isEmpty());
}

void TestCloudSave::stagingFolderThatCannotBeMadeIsLeftToTheHost()
{
    // A file stands where the staging folder belongs: the path is handed
    // out all the same, and the host reports the write it cannot make.
    write(m_cloud->stagingRoot() + QStringLiteral("/个人云盘/工程"), "in the way");
    Probe d;
    d.onPersonYunButton();
    choose(d, {"工程"});
    d.ui->fileNameEdit->setText("新.GCFX");
    d.onOkButton();
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
    QCOMPARE(d.resultPath(), m_cloud->stagingRoot() + QStringLiteral("/个人云盘/工程/新.GCFX"));
    QCOMPARE(zFileDialog::GetFilePath(), QStringLiteral("个人云盘\\工程\\新.GCFX"));
    QCOMPARE(zFileDialog::iClickedBtn, 4);
    QCOMPARE(contentOf(m_cloud->stagingRoot() + QStringLiteral("/个人云盘/工程")), QByteArray("in the way"));
}

// ---- the upload --------------------------------------------------------------------------------------

void TestCloudSave::uploadSendsBothRequestsAndRemovesTheStagedFile()
{
    zFileDialog::SetFilePid(QStringLiteral("f1"));
    zFileDialog::SetFilePath(QStringLiteral("个人云盘\\工程\\新.GCFX"));
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/工程/新.GCFX");
    write(staged, "new project");
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(m_cloud->methods(),
             (QStringList{"personclouduploadinfoforclouddisk", "personclouduploadfileinfoforclouddisk"}));
    QCOMPARE(m_cloud->state().uploaded, QByteArray("new project"));
    const QJsonObject file = m_cloud->state().lastUpload;
    QCOMPARE(file.value("sclj").toString(), QStringLiteral("up/1"));
    QCOMPARE(file.value("wjjwybs").toString(), QStringLiteral("ticket-1"));
    QCOMPARE(file.value("pid").toString(), QStringLiteral("f1"));
    QCOMPARE(file.value("wjm").toString(), QStringLiteral("新.GCFX"));
    QCOMPARE(file.value("ext").toString(), QStringLiteral(".GCFX"));
    QCOMPARE(file.value("wjdx").toInt(), 11);
    QCOMPARE(file.value("mqid").toString(), QStringLiteral("1024"));
    QVERIFY(!QFile::exists(staged));
    QCOMPARE(zFileDialog::GetFilePath(), QString());
    QCOMPARE(zFileDialog::GetFilePid(), QStringLiteral("f1"));
    QCOMPARE(lastBox().kind, QStringLiteral("inforByOneBtn"));
    QCOMPARE(lastBox().text, QStringLiteral("保存云文件成功！"));
    QVERIFY(!QDir(m_app->path() + QStringLiteral("/cfg/CloudUploadRecovery")).exists());
}

void TestCloudSave::uploadMarksBusyAndShowsProgress()
{
    QWidget mainWindow;
    SharedInterfaceTesting::setMainWindow(&mainWindow);
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/a.GCFX");
    write(staged, "a");
    zFileDialog::SaveToYunPanData(staged);
    QCOMPARE(SharedInterfaceTesting::busyMarks(), (QStringList{"veto ", "use "}));
    QCOMPARE(zControlTesting::progressTitles(), QStringList{"提示"});
    const QList<int> values = zControlTesting::progressValues();
    QVERIFY(values.size() > 10);
    QCOMPARE(values.first(), 1);
    QCOMPARE(values.at(values.size() - 2), 100);
    QCOMPARE(values.last(), 101);
    QCOMPARE(lastBox().parent, &mainWindow);
    QCOMPARE(lastBox().type, 1);
}

void TestCloudSave::uploadLetsEventsRunOnlyWhileTheBarClimbs()
{
    // The contents take 1.5 s to arrive: the bar reaches 99 well before.
    cloudscript::State& st = m_cloud->state();
    SharedInterfaceTesting::setCloudChannel([&st](const QByteArray& bytes) {
        if (bytes.contains("\"personclouduploadfileinfoforclouddisk\""))
            QThread::msleep(1500);
        return cloudscript::Cloud::answer(st, bytes);
    });
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/慢.GCFX");
    write(staged, "slow");
    int beats = 0;
    int beatsAt99 = 0;
    QTimer beat;
    QObject::connect(&beat, &QTimer::timeout, [&] {
        ++beats;
        const QList<int> values = zControlTesting::progressValues();
        if (!values.isEmpty() && values.last() == 99)
            ++beatsAt99;
    });
    beat.start(10);
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    beat.stop();
    // Events run between the steps of the climb; at 99 the loop only
    // sleeps until the worker is done, so no timer fires there.
    QVERIFY(beats > 0);
    QVERIFY2(beatsAt99 <= 2, qPrintable(QString::number(beatsAt99)));
    QList<int> expected;
    for (int v = 1; v <= 99; ++v)
        expected << v;
    expected << 100 << 101;
    QCOMPARE(zControlTesting::progressValues(), expected);
}

void TestCloudSave::uploadAskedForDuringAnotherWaitsThenRuns()
{
    zFileDialog::SetFilePid(QStringLiteral("f1"));
    const QString first = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/工程/一.GCFX");
    const QString second = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/工程/二.GCFX");
    write(first, "one");
    write(second, "two");
    bool secondRan = false;
    bool secondResult = false;
    QStringList methodsBeforeSecondReturned;
    // A host timer asks for the second while the first one's bar climbs.
    QTimer::singleShot(100, [&] {
        secondRan = true;
        secondResult = zFileDialog::SaveToYunPanData(second);
        methodsBeforeSecondReturned = m_cloud->methods();
    });
    QVERIFY(zFileDialog::SaveToYunPanData(first));
    QVERIFY(secondRan);
    QVERIFY(secondResult);
    // The second waited for the first upload, then made its own, whole.
    const QStringList both{"personclouduploadinfoforclouddisk", "personclouduploadfileinfoforclouddisk",
                           "personclouduploadinfoforclouddisk", "personclouduploadfileinfoforclouddisk"};
    QCOMPARE(methodsBeforeSecondReturned, both);
    QCOMPARE(m_cloud->methods(), both);
    QCOMPARE(m_cloud->state().uploaded, QByteArray("two"));
    QCOMPARE(m_cloud->state().lastUpload.value("wjm").toString(), QStringLiteral("二.GCFX"));
    QVERIFY(!QFile::exists(first));
    QVERIFY(!QFile::exists(second));
    QCOMPARE(SharedInterfaceTesting::busyMarks(), (QStringList{"veto ", "veto ", "use ", "use "}));
    QCOMPARE(zControlTesting::progressTitles().size(), 2);
    const auto calls = zControlTesting::messageBoxCalls();
    QCOMPARE(calls.size(), 2);
    for (const auto& call : calls)
        QCOMPARE(call.text, QStringLiteral("保存云文件成功！"));
    QCOMPARE(zFileDialog::GetFilePath(), QString());
}

void TestCloudSave::doneFlagIsReadWithoutItsLock()
{
    // The worker writes the flag under its lock; the user-interface thread
    // reads it without, so a held lock never stalls the progress loop.
    auto flag = std::make_shared<pfd::cloud::DoneFlag>();
    QMutexLocker held(flag->mutex());
    std::atomic<bool> looked{false};
    std::atomic<bool> seen{true};
    std::thread look([&] {
        seen = flag->isSet();
        looked = true;
    });
    QElapsedTimer clock;
    clock.start();
    while (!looked && clock.elapsed() < 2000)
        QThread::msleep(5);
    const bool lookedWhileHeld = looked;
    held.unlock();
    look.join();
    QVERIFY(lookedWhileHeld);
    QVERIFY(!seen);
    flag->set();
    QVERIFY(flag->isSet());
}

void TestCloudSave::uploadRefusedShowsTheMessageAndRecoversTheProject()
{
    m_cloud->state().replies.insert("personclouduploadinfoforclouddisk",
                                    QJsonObject{{"code", 5}, {"msg", "云盘空间不足"}});
    zFileDialog::SetFilePath(QStringLiteral("个人云盘\\新.GCFX"));
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/新.GCFX");
    write(staged, "precious");
    SharedInterfaceTesting::clearLog();
    QVERIFY(!zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(m_cloud->methods(), QStringList{"personclouduploadinfoforclouddisk"});
    QCOMPARE(lastBox().text, QStringLiteral("云盘空间不足"));
    QVERIFY(!QFile::exists(staged));
    QCOMPARE(zFileDialog::GetFilePath(), QString());
    const QMap<QString, QByteArray> kept = snapshot(m_app->path() + QStringLiteral("/cfg/CloudUploadRecovery/1024"));
    QCOMPARE(kept.size(), 1);
    QVERIFY(kept.firstKey().endsWith(QStringLiteral("-新.GCFX")));
    QCOMPARE(kept.first(), QByteArray("precious"));
    const QString line = SharedInterfaceTesting::logLines().filter(QStringLiteral("CloudUploadRecovery")).value(0);
    QVERIFY2(line.contains(QStringLiteral("文件对话框------云盘保存未完成，工程已移至：")), qPrintable(line));
}

void TestCloudSave::secondStageFailureCountsAsSuccessButKeepsTheProject()
{
    m_cloud->state().replies.insert("personclouduploadfileinfoforclouddisk",
                                    QJsonObject{{"code", 1}, {"msg", "上传凭证已失效"}});
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/b.GCFX");
    write(staged, "b");
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(lastBox().text, QStringLiteral("保存云文件成功！"));
    QVERIFY(!QFile::exists(staged));
    QCOMPARE(snapshot(m_app->path() + QStringLiteral("/cfg/CloudUploadRecovery/1024")).size(), 1);
}

void TestCloudSave::emptyRepliesCountAsSuccess()
{
    SharedInterfaceTesting::setCloudChannel([](const QByteArray&) { return QByteArray(); });
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/c.GCFX");
    write(staged, "c");
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(lastBox().text, QStringLiteral("保存云文件成功！"));
    QCOMPARE(SharedInterfaceTesting::cloudRequests().size(), 2);
    QVERIFY(!QFile::exists(staged));
    QCOMPARE(zFileDialog::GetFilePath(), QString());
}

void TestCloudSave::emptyEnterpriseIdUsesThePersonalMethods()
{
    zFileDialog::SetQyid(QString());
    zFileDialog::SetFilePath(QStringLiteral("企业云盘\\甲公司\\d.GCFZ"));
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/企业云盘/甲公司/d.GCFZ");
    write(staged, "d");
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(m_cloud->methods(),
             (QStringList{"personclouduploadinfoforclouddisk", "personclouduploadfileinfoforclouddisk"}));
}

void TestCloudSave::enterpriseUploadUsesTheEnterpriseMethods()
{
    zFileDialog::SetQyid(QStringLiteral("q1"));
    zFileDialog::SetFilePid(QStringLiteral("e2"));
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/企业云盘/甲公司/设计部/e.GCFZ");
    write(staged, "e");
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(m_cloud->methods(),
             (QStringList{"getuploadinfoenterpriseforclouddisk", "enterpriseclouduploadfileinfoforclouddisk"}));
    QCOMPARE(m_cloud->state().lastUpload.value("qyid").toString(), QStringLiteral("q1"));
    QCOMPARE(zFileDialog::GetQyid(), QStringLiteral("q1"));
}

void TestCloudSave::largeFileSizeIsTruncatedTo32Bits()
{
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/大.GCFX");
    write(staged, "");
    {
        QFile f(staged);
        QVERIFY(f.open(QIODevice::ReadWrite));
        // A sparse file: 3 GiB + 5 bytes that take no room on disk.
        QVERIFY(f.resize(qint64(3) * 1024 * 1024 * 1024 + 5));
    }
    // The scripted service would read it whole; answer the file request plainly.
    m_cloud->state().replies.insert("personclouduploadfileinfoforclouddisk", QJsonObject{{"code", 0}, {"msg", "ok"}});
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    const QByteArray info = SharedInterfaceTesting::cloudRequests().first();
    const int expected = static_cast<int>(static_cast<quint32>(qint64(3) * 1024 * 1024 * 1024 + 5));
    QCOMPARE(expected, -1073741819);
    QVERIFY2(info.contains("\"wjdx\":-1073741819"), info.constData());
}

void TestCloudSave::fileOutsideTheStagingTreeIsNeverRemoved()
{
    const QString outside = m_app->path() + QStringLiteral("/我的工程.GCFX");
    write(outside, "mine");
    m_cloud->state().replies.insert("personclouduploadinfoforclouddisk", QJsonObject{{"code", 5}, {"msg", "拒绝"}});
    QVERIFY(!zFileDialog::SaveToYunPanData(outside));
    QCOMPARE(contentOf(outside), QByteArray("mine"));
    m_cloud->state().replies.clear();
    QVERIFY(zFileDialog::SaveToYunPanData(m_cloud->stagingRoot() + QStringLiteral("/../../../../我的工程.GCFX")));
    QCOMPARE(contentOf(outside), QByteArray("mine"));
}

void TestCloudSave::hostileCloudNameKeepsItsRealNameInTheCloud()
{
    zFileDialog::SetFilePath(QStringLiteral("个人云盘\\a:b*c.GCFX"));
    const QString staged = m_cloud->stagingRoot() + QStringLiteral("/个人云盘/a_b_c.GCFX");
    write(staged, "x");
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(m_cloud->state().lastUpload.value("wjm").toString(), QStringLiteral("a:b*c.GCFX"));
}

void TestCloudSave::filePathAccessorsUseTheCloudPath()
{
    zFileDialog::filepath = QStringLiteral("host bookkeeping");
    zFileDialog::SetFilePath(QStringLiteral("个人云盘\\x.GCFX"));
    QCOMPARE(zFileDialog::s_fileYunPanPath, QStringLiteral("个人云盘\\x.GCFX"));
    QCOMPARE(zFileDialog::GetFilePath(), QStringLiteral("个人云盘\\x.GCFX"));
    QCOMPARE(zFileDialog::filepath, QStringLiteral("host bookkeeping"));
    zFileDialog::filepath.clear();
}

void TestCloudSave::snapshotWithEmptyMapHasEmptyObject()
{
    zFileDialog::mapYunPanData.clear();
    const QJsonObject snap = zFileDialog::TbServerSnapshot(QStringLiteral("/p"));
    QCOMPARE(snap.value("mapYunPanData"), QJsonValue(QJsonObject()));
    QCOMPARE(snap.value("path").toString(), QStringLiteral("/p"));
    SaveYunpanData d;
    d.strFilePath = QStringLiteral("/a");
    d.iType = 2;
    zFileDialog::mapYunPanData.insert(7, d);
    const QJsonObject entry = zFileDialog::TbServerSnapshot(QString()).value("mapYunPanData").toObject().value("7").toObject();
    QCOMPARE(entry.value("strFilePath").toString(), QStringLiteral("/a"));
    QCOMPARE(entry.value("iType").toInt(), 2);
    QCOMPARE(entry.keys().size(), 7);
}

// ---- end to end ---------------------------------------------------------------------------------------

void TestCloudSave::saveNewProjectThenUpload()
{
    whenDialogShows([](zFileDialog* d) {
        child<zBaseButton>(d, "personYun_button")->click();
        auto* table = child<QTableView>(d, "FileDialog");
        selectRow(table, "工程");
        d->onOkButton();
        table->clearSelection();
        child<QLineEdit>(d, "fileName_lineEdit")->setText(QStringLiteral("住宅楼"));
        QTest::mouseClick(child<QWidget>(d, "ok_button"), Qt::LeftButton);
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups{"预算文件", "GCFX"};
    const QString staged = zFileDialog::getSaveFileName(nullptr, m_home.path(), QString(), &groups, 1, true,
                                                        QString(), QString(), true);
    QCOMPARE(staged, m_cloud->stagingRoot() + QStringLiteral("/个人云盘/工程/住宅楼.GCFX"));
    write(staged, "the host's project");
    QVERIFY(zFileDialog::SaveToYunPanData(staged));
    QCOMPARE(m_cloud->state().uploaded, QByteArray("the host's project"));
    QCOMPARE(m_cloud->state().lastUpload.value("pid").toString(), QStringLiteral("f1"));
    QVERIFY(!QFile::exists(staged));
    QCOMPARE(zFileDialog::GetFilePath(), QString());
}

QTEST_MAIN(TestCloudSave)
#include "tst_cloudsave.moc"
