// The empty folder a dialog starts with, which Back can return to, is no
// place on disk: paste, new folder, rename, delete and the save dialog's
// accept write nothing from there, neither in the process's working folder
// nor at the root of the file system.
#include "casefixture.h"
#include "filemenusupport.h"
#include "testsupport.h"

#include "dialogs/SaveProject.h"
#include "zBaseLineEdit.h"
#include "zControlTesting.h"

#include <QAbstractButton>
#include <QLineEdit>
#include <QTemporaryDir>

using namespace filemenusupport;
using namespace testsupport;

namespace {

class SaveProbe : public SaveProject
{
public:
    using zFileDialog::m_currentDir;
    using zFileDialog::ui;
};

// A folder shown first, then Back to the empty folder before it.
template <typename Dialog>
void backToTheEmptyFolder(Dialog& d, const QString& folder)
{
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.updateCurrentPath(folder, zFileDialog::tracing);
    QCOMPARE(d.m_currentDir, folder);
    d.onBackwardsButton();
    QCOMPARE(d.m_currentDir, QString());
    QCOMPARE(d.ui->tableView->model()->rowCount(), 0);
}

const QString kNewFolderAtRoot = QStringLiteral("/新建文件夹");

} // namespace

class TestEmptyFolder : public QObject, filemenusupport::CaseFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void menuOffersNothingThatWrites();
    void pasteWritesNothing();
    void newFolderButtonWritesNothing();
    void deleteRemovesNothing();
    void renameOpensNoEditor();
    void saveAcceptIgnoresATypedName();

private:
    QTemporaryDir* m_work = nullptr; // the process's working folder meanwhile
    QString m_oldWork;
};

void TestEmptyFolder::initTestCase()
{
    useHome();
}

void TestEmptyFolder::init()
{
    startCase();
    writeFile(m_case.root + QStringLiteral("/a.txt"), "a");
    m_oldWork = QDir::currentPath();
    m_work = new QTemporaryDir;
    QVERIFY(m_work->isValid());
    QVERIFY(QDir::setCurrent(m_work->path()));
    QApplication::clipboard()->clear();
}

void TestEmptyFolder::cleanup()
{
    QDir::setCurrent(m_oldWork);
    delete m_work;
    m_work = nullptr;
    stopCase();
}

void TestEmptyFolder::menuOffersNothingThatWrites()
{
    Probe d;
    d.show();
    backToTheEmptyFolder(d, m_case.root);
    const MenuSeen seen = rightClick(d, rowPoint(d, QString()));
    QVERIFY(seen.shown);
    for (const QString& t : {QStringLiteral("新建文件夹"), QStringLiteral("粘贴"), QStringLiteral("删除"),
                             QStringLiteral("重命名"), QStringLiteral("打开")})
        QVERIFY2(!seen.enabled.value(t), qPrintable(t));
    // The entries stay where they are; only refresh still acts.
    QVERIFY(seen.visible.value(QStringLiteral("粘贴")));
    QVERIFY(seen.visible.value(QStringLiteral("刷新")));
    QVERIFY(seen.enabled.value(QStringLiteral("刷新")));
}

void TestEmptyFolder::pasteWritesNothing()
{
    Probe d;
    d.show();
    backToTheEmptyFolder(d, m_case.root);
    putOnClipboard({m_case.root + QStringLiteral("/a.txt")});
    d.slotPaste();
    QCOMPARE(entries(m_work->path()), QStringList());
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 0);
    QCOMPARE(d.m_currentDir, QString());
    QCOMPARE(entries(m_case.root), QStringList{QStringLiteral("a.txt")});
}

void TestEmptyFolder::newFolderButtonWritesNothing()
{
    if (QFileInfo::exists(kNewFolderAtRoot))
        QSKIP("a folder of that name is already at the root");
    Probe d;
    d.show();
    backToTheEmptyFolder(d, m_case.root);
    QTest::mouseClick(d.findChild<QAbstractButton*>(QStringLiteral("createFile_button")), Qt::LeftButton);
    const bool madeAtRoot = QFileInfo::exists(kNewFolderAtRoot);
    if (madeAtRoot)
        QDir(kNewFolderAtRoot).removeRecursively();
    QVERIFY(!madeAtRoot);
    QCOMPARE(entries(m_work->path()), QStringList());
    QCOMPARE(d.m_currentDir, QString());
    QCOMPARE(d.ui->tableView->model()->rowCount(), 0);
}

void TestEmptyFolder::deleteRemovesNothing()
{
    Probe d;
    d.show();
    backToTheEmptyFolder(d, m_case.root);
    // Even a row left in the table is not deleted from there.
    const QString file = m_case.root + QStringLiteral("/a.txt");
    d.ui->localModel->setFiles({record(file, QStringLiteral("txt"))});
    d.ui->localModel->applyNameFilters();
    makeCurrent(d, QStringLiteral("a.txt"));
    zControlTesting::setMessageBoxAnswers({0});
    d.delField();
    QVERIFY(QFile::exists(file));
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 0);
}

void TestEmptyFolder::renameOpensNoEditor()
{
    Probe d;
    d.show();
    backToTheEmptyFolder(d, m_case.root);
    d.ui->localModel->setFiles({record(m_case.root + QStringLiteral("/a.txt"), QStringLiteral("txt"))});
    d.ui->localModel->applyNameFilters();
    makeCurrent(d, QStringLiteral("a.txt"));
    d.renameField();
    QVERIFY(!d.ui->tableView->findChild<QLineEdit*>());
    QVERIFY(QFile::exists(m_case.root + QStringLiteral("/a.txt")));
}

void TestEmptyFolder::saveAcceptIgnoresATypedName()
{
    zFileDialog::isIopen = false;
    SaveProbe d;
    backToTheEmptyFolder(d, m_case.root);
    d.ui->fileNameEdit->setText(QStringLiteral("预算.GCFX"));
    d.onOkButton();
    QCOMPARE(d.resultPath(), QString());
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 0);
    QVERIFY(d.result() != QDialog::Accepted);
}

QTEST_MAIN(TestEmptyFolder)
#include "tst_emptyfolder.moc"
