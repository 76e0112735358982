// Replacing a project on save: after the user agrees, the path is free and
// the old project waits in the trash, else in the application directory's
// backup folder; when neither takes it, the user is told and nothing moved.
#include "testsupport.h"

#include "dialogs/SaveProject.h"
#include "dialogs/overwrite.h"
#include "zBaseControlTesting.h"
#include "zBaseLineEdit.h"
#include "zControlTesting.h"
#include "zFileDialogUi.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QtTest>

#include <unistd.h>

using namespace testsupport;

namespace {

class Probe : public SaveProject
{
public:
    using zFileDialog::ui;
};

void writeFile(const QString& path, const QByteArray& content)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(content);
}

QByteArray contentOf(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Every file under folder, by content.
QStringList filesHolding(const QString& folder, const QByteArray& content)
{
    QStringList found;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString f = it.next();
        if (contentOf(f) == content)
            found << f;
    }
    return found;
}

// A folder nothing can be put into: read-only for a user; for the
// super-user, whom permissions do not stop, a file in its place.
void blockFolder(const QString& path)
{
    if (geteuid() == 0) {
        writeFile(path, "in the way");
        return;
    }
    QVERIFY(QDir().mkpath(path));
    QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::ExeOwner));
}

void unblock(const QString& path)
{
    QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

} // namespace

class TestOverwrite : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void replacedProjectGoesToTheTrash();
    void withoutTrashItGoesToTheBackupFolder();
    void backupsOfTheSameNameNeverOverwriteEachOther();
    void withNeitherTheUserIsToldAndTheFileStays();
    void folderUnderTheNameIsNotSetAside();
    void answeringNoMovesNothing();

private:
    // Saves name in m_dir, answering the overwrite question with answer.
    QString saveOver(const QString& name, int answer = 0);

    QScopedPointer<QTemporaryDir> m_root;
    QScopedPointer<AppDir> m_app;
    QString m_dir;
    QString m_trash;
};

void TestOverwrite::init()
{
    // Home, trash and projects on one volume: the home trash is the one used.
    m_root.reset(new QTemporaryDir);
    QVERIFY(m_root->isValid());
    qputenv("HOME", QFile::encodeName(m_root->path()));
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_root->path() + QStringLiteral("/data")));
    m_trash = m_root->path() + QStringLiteral("/data/Trash");
    m_dir = m_root->path() + QStringLiteral("/工程");
    QVERIFY(QDir().mkpath(m_dir));
    QVERIFY(QDir().mkpath(m_root->path() + QStringLiteral("/data")));
    m_app.reset(new AppDir);
    zBaseControlTesting::setScaleFactor(1.0);
    zControlTesting::reset();
    zControlTesting::setMessageBoxScripted(true);
    zFileDialog::iClickedBtn = 2;
    writeFile(m_dir + QStringLiteral("/预算.GCFX"), "old project");
}

void TestOverwrite::cleanup()
{
    unblock(m_trash);
    unblock(m_app->path() + QStringLiteral("/cfg/OverwrittenProjects"));
    zControlTesting::reset();
    m_app.reset();
    m_root.reset();
}

QString TestOverwrite::saveOver(const QString& name, int answer)
{
    zControlTesting::setMessageBoxAnswers({answer});
    Probe d;
    QStringList groups[] = {{"预算", "GCFX"}};
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    d.ui->fileNameEdit->setText(name);
    d.onOkButton();
    Q_UNUSED(groups)
    return d.resultPath();
}

void TestOverwrite::replacedProjectGoesToTheTrash()
{
    const QString path = m_dir + QStringLiteral("/预算.GCFX");
    QCOMPARE(saveOver(QStringLiteral("预算.GCFX")), path);
    QCOMPARE(zControlTesting::messageBoxCalls().first().text, QStringLiteral("文件已经存在，是否需要覆盖？"));
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QVERIFY(!QFileInfo::exists(path));
    const QStringList trashed = filesHolding(m_trash + QStringLiteral("/files"), "old project");
    QCOMPARE(trashed.size(), 1);
    QCOMPARE(QFileInfo(trashed.first()).fileName(), QStringLiteral("预算.GCFX"));
    // The trash knows where it came from, so the desktop can restore it.
    QVERIFY(QFileInfo::exists(m_trash + QStringLiteral("/info/预算.GCFX.trashinfo")));
    QVERIFY(!QFileInfo::exists(m_app->path() + QStringLiteral("/cfg/OverwrittenProjects")));
}

void TestOverwrite::withoutTrashItGoesToTheBackupFolder()
{
    blockFolder(m_trash);
    const QString path = m_dir + QStringLiteral("/预算.GCFX");
    QCOMPARE(saveOver(QStringLiteral("预算.GCFX")), path);
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QVERIFY(!QFileInfo::exists(path));
    const QString backups = m_app->path() + QStringLiteral("/cfg/OverwrittenProjects");
    const QStringList kept = filesHolding(backups, "old project");
    QCOMPARE(kept.size(), 1);
    // Dated, the project's name kept at the end.
    QVERIFY2(QFileInfo(kept.first()).fileName().endsWith(QStringLiteral("-预算.GCFX")), qPrintable(kept.first()));
    QVERIFY(QFileInfo(kept.first()).fileName().startsWith(QDate::currentDate().toString(QStringLiteral("yyyyMMdd"))));
}

void TestOverwrite::backupsOfTheSameNameNeverOverwriteEachOther()
{
    const QString path = m_dir + QStringLiteral("/预算.GCFX");
    const QDateTime when(QDate(2026, 3, 5), QTime(8, 9, 10));
    blockFolder(m_trash);
    QString first, second;
    QCOMPARE(pfd::setAsideReplacedFile(path, m_app->path(), when, &first), pfd::SetAside::Backup);
    writeFile(path, "newer project");
    QCOMPARE(pfd::setAsideReplacedFile(path, m_app->path(), when, &second), pfd::SetAside::Backup);
    QVERIFY(first != second);
    QCOMPARE(contentOf(first), QByteArray("old project"));
    QCOMPARE(contentOf(second), QByteArray("newer project"));
}

void TestOverwrite::withNeitherTheUserIsToldAndTheFileStays()
{
    blockFolder(m_trash);
    QVERIFY(QDir().mkpath(m_app->path() + QStringLiteral("/cfg")));
    blockFolder(m_app->path() + QStringLiteral("/cfg/OverwrittenProjects"));
    QCOMPARE(saveOver(QStringLiteral("预算.GCFX")), QString());
    const auto calls = zControlTesting::messageBoxCalls();
    QCOMPARE(calls.size(), 2);
    QCOMPARE(calls.last().kind, QStringLiteral("information"));
    QCOMPARE(calls.last().text, QStringLiteral("文件操作失败"));
    QCOMPARE(contentOf(m_dir + QStringLiteral("/预算.GCFX")), QByteArray("old project"));
}

void TestOverwrite::folderUnderTheNameIsNotSetAside()
{
    QVERIFY(QDir().mkpath(m_dir + QStringLiteral("/占用.GCFX/内容")));
    QCOMPARE(saveOver(QStringLiteral("占用.GCFX")), QString());
    QCOMPARE(zControlTesting::messageBoxCalls().last().text, QStringLiteral("文件操作失败"));
    QVERIFY(QFileInfo(m_dir + QStringLiteral("/占用.GCFX/内容")).isDir());
    QVERIFY(!QFileInfo::exists(m_trash + QStringLiteral("/files/占用.GCFX")));
}

void TestOverwrite::answeringNoMovesNothing()
{
    QCOMPARE(saveOver(QStringLiteral("预算.GCFX"), 1), QString());
    QCOMPARE(contentOf(m_dir + QStringLiteral("/预算.GCFX")), QByteArray("old project"));
    QVERIFY(!QFileInfo::exists(m_trash + QStringLiteral("/files")));
}

QTEST_MAIN(TestOverwrite)
#include "tst_overwrite.moc"
