// The open- and save-project dialogs end to end: what OK, Return and a double
// click do with local paths, every refusal with its text, title and parent,
// and the hand-over to the toolkit's own dialogs.
#include "dialogsupport.h"
#include "dialogfixture.h"
#include "testsupport.h"

#include "CpfMain.h"
#include "HostServices.h"
#include "dialogs/OpenProject.h"
#include "dialogs/SaveProject.h"
#include "dialogs/systemdialogs.h"
#include "fileModelLocal.h"
#include "mqcoreTesting.h"
#include "zBaseButton.h"
#include "zBaseCombox.h"
#include "zBaseControlTesting.h"
#include "zBaseLabel.h"
#include "zBaseLineEdit.h"
#include "zCpfTesting.h"
#include "zControlTesting.h"
#include "zFileDialogUi.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTableView>
#include <QtTest>

using namespace dialogsupport;
using namespace testsupport;

namespace {

template <typename Base>
class Probe : public Base
{
public:
    using zFileDialog::ui;
};

void touch(const QString& path, const QByteArray& content = "x")
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

int rowOf(QTableView* table, const QString& name)
{
    for (int r = 0; r < table->model()->rowCount(); ++r) {
        if (table->model()->index(r, 0).data().toString() == name)
            return r;
    }
    return -1;
}

void selectRow(QTableView* table, const QString& name)
{
    const int row = rowOf(table, name);
    QVERIFY2(row >= 0, qPrintable(name));
    const QRect cell = table->visualRect(table->model()->index(row, 0));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, cell.center());
}

zControlTesting::MessageBoxCall lastBox()
{
    const auto calls = zControlTesting::messageBoxCalls();
    return calls.isEmpty() ? zControlTesting::MessageBoxCall{} : calls.last();
}

} // namespace

class TestProjectDialogs : public QObject, dialogfixture::DialogFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    // open
    void openByDoubleClick();
    void openByReturnWithTypedName();
    void openByTypedNameWithoutExtensionIsNotFound();
    void missingNameGetsNotFoundMessage();
    void folderTypedAsNameIsNotAFile();
    void starPatternTypedFiltersTheTable();
    void okOnFolderRowEntersIt();
    void selectingRowsSetsButtonAndName();
    void refusals_data();
    void refusals();
    void sgcfzInAnyCaseNeedsRight35();
    void chooseFolderMode();
    void folderAcceptRefusesFileRow();
    void otherPathAnsweredAndCancelled();
    void leadingDotNameIsRefusedWhenOpening();
    void otherPathAnswerWithEmptyBaseNameIsRefused();
    void pickListedModeWithoutRowClosesEmpty();
    void windowsProjectPathGivesItsFolderOnEveryPlatform();

    // save
    void defaultNameWithSlashShowsFullWidthSolidus();
    void saveCompletesExtensionAndReturnsPath();
    void forbiddenCharactersAreRefused_data();
    void forbiddenCharactersAreRefused();
    void savingInComputerIsRefusedBeforeTheName();
    void overwriteAnsweredYesReplaces();
    void overwriteAnsweredNoKeepsDialogOpen();
    void overwriteWhoseDeletionFailsKeepsOldFile();
    void overwriteOfImmutableFileKeepsOldFile();
    void noOverwriteQuestionWhenNotAsked();
    void cloudFolderRunsNoLocalChecks();
    void folderModeSavesChosenFolder();
    void editionsHideCloudPlacesInSave();
    void saveOtherPathAnsweredAndCancelled();
    void leadingDotNameIsRefusedWhenSaving();
    void folderModeRefusesEmptyBaseNames();

private:
    QString m_dir;
};

void TestProjectDialogs::initTestCase()
{
    useHome({QStringLiteral("Documents")});
    qunsetenv("XDG_CONFIG_HOME");
}

void TestProjectDialogs::init()
{
    zControlTesting::reset();
    startHost();
    mqcoreTesting::reset();
    zCpfTesting::reset();
    pfd::testing::resetSystemDialogs();
    zFileDialog::SetCurrentPath(QString());
    m_dir = m_home.path() + QStringLiteral("/工程 %1").arg(QDateTime::currentMSecsSinceEpoch());
    QVERIFY(QDir().mkpath(m_dir + QStringLiteral("/子目录")));
    for (const char* n : {"预算.GCFX", "概算.GCFG", "审核.SGCFG", "总包.sgcfz", "审计.GNQS", "系统.SYST",
                          "说明 & #1.txt"})
        touch(m_dir + QLatin1Char('/') + QString::fromUtf8(n));
}

void TestProjectDialogs::cleanup()
{
    QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("-i"), m_dir + QStringLiteral("/锁定.GCFX")});
    stopHost();
    mqcoreTesting::reset();
    zCpfTesting::reset();
    pfd::testing::resetSystemDialogs();
}

static QStringList allGroups()
{
    return {QStringLiteral("全部工程"), QStringLiteral("GCFX"), QStringLiteral("GCFG"), QStringLiteral("SGCFG"),
            QStringLiteral("SGCFZ"), QStringLiteral("GNQS"), QStringLiteral("SYST")};
}

void TestProjectDialogs::openByDoubleClick()
{
    whenDialogShows([](zFileDialog* d) {
        auto* table = child<QTableView>(d, "FileDialog");
        const QRect cell = table->visualRect(table->model()->index(rowOf(table, QStringLiteral("概算.GCFG")), 0));
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, cell.center());
        QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, cell.center());
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups = allGroups();
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_dir, &groups, 1), m_dir + QStringLiteral("/概算.GCFG"));
}

void TestProjectDialogs::openByReturnWithTypedName()
{
    whenDialogShows([](zFileDialog* d) {
        // keyClicks types Latin-1 only; the field takes the Chinese name as text.
        child<QLineEdit>(d, "fileName_lineEdit")->setText(QStringLiteral("预算.GCFX"));
        QTest::keyClick(child<QLineEdit>(d, "fileName_lineEdit"), Qt::Key_Return);
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups = allGroups();
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_dir, &groups, 1), m_dir + QStringLiteral("/预算.GCFX"));
}

void TestProjectDialogs::openByTypedNameWithoutExtensionIsNotFound()
{
    Probe<OpenProject> d;
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    d.ui->fileNameEdit->setText(QStringLiteral("预算"));
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("information"));
    QCOMPARE(lastBox().text, QStringLiteral("预算\n找不到该文件\n请检查文件名是否正确"));
    QCOMPARE(lastBox().parent, &d);
    QCOMPARE(d.resultPath(), QString());
}

void TestProjectDialogs::missingNameGetsNotFoundMessage()
{
    Probe<OpenProject> d;
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    d.ui->fileNameEdit->setText(QStringLiteral("不存在.GCFX"));
    d.onOkButton();
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QCOMPARE(lastBox().text, QStringLiteral("不存在.GCFX\n找不到该文件\n请检查文件名是否正确"));
    // An empty name does nothing at all.
    d.ui->fileNameEdit->clear();
    d.onOkButton();
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
}

void TestProjectDialogs::folderTypedAsNameIsNotAFile()
{
    Probe<OpenProject> d;
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    d.ui->fileNameEdit->setText(QStringLiteral("子目录"));
    d.onOkButton();
    QCOMPARE(lastBox().text, QStringLiteral("子目录\n找不到该文件\n请检查文件名是否正确"));
    QCOMPARE(d.currentDirectory(), m_dir);
}

void TestProjectDialogs::starPatternTypedFiltersTheTable()
{
    Probe<OpenProject> d;
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    QVERIFY(d.ui->localModel->rowCount() > 2);
    QCOMPARE(d.ui->okButton->text(), QStringLiteral("确定"));
    d.ui->fileNameEdit->setText(QStringLiteral("*.xyz*"));
    d.onOkButton();
    // The typed text is the model's only name filter now: it names no
    // suffix, so only folders stay.
    QCOMPARE(d.ui->localModel->nameFilters(), QStringList{QStringLiteral("*.xyz*")});
    QCOMPARE(d.ui->localModel->rowCount(), 1);
    QCOMPARE(d.ui->localModel->fileAt(0)->name, QStringLiteral("子目录"));
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
    QCOMPARE(d.resultPath(), QString());
    // With the button reading "打开" the same text is a name like any other.
    d.ui->okButton->SetText(QStringLiteral("打开"));
    d.ui->fileNameEdit->setText(QStringLiteral("*.GCFX*"));
    d.onOkButton();
    QCOMPARE(lastBox().text, QStringLiteral("*.GCFX*\n找不到该文件\n请检查文件名是否正确"));
}

void TestProjectDialogs::okOnFolderRowEntersIt()
{
    zFileDialog::isIopen = true;
    Probe<OpenProject> d;
    d.show();
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    selectRow(d.ui->tableView, QStringLiteral("子目录"));
    QCOMPARE(d.ui->okButton->text(), QStringLiteral("打开"));
    d.onOkButton();
    QCOMPARE(d.currentDirectory(), m_dir + QStringLiteral("/子目录"));
}

void TestProjectDialogs::selectingRowsSetsButtonAndName()
{
    zFileDialog::isIopen = true;
    Probe<OpenProject> d;
    d.show();
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    selectRow(d.ui->tableView, QStringLiteral("预算.GCFX"));
    QCOMPARE(d.ui->okButton->text(), QStringLiteral("确定"));
    QCOMPARE(d.ui->fileNameEdit->text(), QStringLiteral("预算.GCFX"));
    selectRow(d.ui->tableView, QStringLiteral("子目录"));
    QCOMPARE(d.ui->okButton->text(), QStringLiteral("打开"));
    QCOMPARE(d.ui->fileNameEdit->text(), QString());
}

void TestProjectDialogs::refusals_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("right");
    QTest::addColumn<QString>("edition");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("mainWindowParent");
    const QString estimate = QStringLiteral("工程文件打开失败。无法使用概算工程");
    const QString audit = QStringLiteral("工程文件打开失败。无法使用审核工程");
    const QString contract = QStringLiteral("工程文件打开失败。无法使用总承包工程");
    QTest::newRow("GCFG without right 2") << "概算.GCFG" << 2 << "" << estimate << false;
    QTest::newRow("SGCFG without right 1") << "审核.SGCFG" << 1 << "" << audit << false;
    QTest::newRow("SGCFZ without right 35") << "总包.sgcfz" << 35 << "" << contract << false;
    QTest::newRow("edition B, GNQS without right 2") << "审计.GNQS" << 2 << "B" << estimate << true;
    QTest::newRow("edition A, SYST without right 1") << "系统.SYST" << 1 << "A" << audit << false;
}

void TestProjectDialogs::refusals()
{
    QFETCH(QString, file);
    QFETCH(int, right);
    QFETCH(QString, edition);
    QFETCH(QString, text);
    QFETCH(bool, mainWindowParent);
    QWidget mainWindow;
    SharedInterfaceTesting::setMainWindow(&mainWindow);
    zCpfTesting::setProdArea(edition == QLatin1String("A"), edition == QLatin1String("B"));
    mqcoreTesting::withdrawRight(right);
    Probe<OpenProject> d;
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    d.ui->fileNameEdit->setText(file);
    d.onOkButton();
    const auto box = lastBox();
    QCOMPARE(box.kind, QStringLiteral("critical"));
    QCOMPARE(box.text, text);
    QCOMPARE(box.title, QStringLiteral("出错提示"));
    QCOMPARE(box.buttons, (QStringList{QStringLiteral("确定"), QStringLiteral("取消")}));
    QCOMPARE(box.parent, mainWindowParent ? &mainWindow : static_cast<QWidget*>(&d));
    QCOMPARE(d.resultPath(), QString());
    // With the right the same file opens.
    mqcoreTesting::grantRight(right);
    zControlTesting::clearMessageBoxCalls();
    d.onOkButton();
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
    QCOMPARE(d.resultPath(), m_dir + QLatin1Char('/') + file);
}

void TestProjectDialogs::sgcfzInAnyCaseNeedsRight35()
{
    mqcoreTesting::withdrawRight(35);
    Probe<OpenProject> d;
    QVERIFY(!d.checkProjectFile(m_dir + QStringLiteral("/总包.sgcfz")));
    QCOMPARE(lastBox().text, QStringLiteral("工程文件打开失败。无法使用总承包工程"));
    touch(m_dir + QStringLiteral("/总包2.SgCfZ"));
    QVERIFY(!d.checkProjectFile(m_dir + QStringLiteral("/总包2.SgCfZ")));
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 2);
    // Files that are not there are not this check's business.
    QVERIFY(d.checkProjectFile(m_dir + QStringLiteral("/无.SGCFZ")));
    QVERIFY(d.checkProjectFile(m_dir + QStringLiteral("/预算.GCFX")));
}

void TestProjectDialogs::chooseFolderMode()
{
    whenDialogShows([this](zFileDialog* d) {
        QVERIFY(child<QWidget>(d, "ok_button")->isHidden());
        auto* choose = child<zBaseButton>(d, "chooseDir_button");
        QVERIFY(!choose->isHidden());
        QCOMPARE(choose->text(), QStringLiteral("确定"));
        QCOMPARE(child<QLabel>(d, "fileName_label")->text(), QStringLiteral("   文件夹"));
        auto* table = child<QTableView>(d, "FileDialog");
        table->setCurrentIndex(table->model()->index(rowOf(table, QStringLiteral("子目录")), 0));
        QTest::mouseClick(choose, Qt::LeftButton);
        if (d->isVisible())
            d->onCancelButton();
        Q_UNUSED(this)
    });
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_dir, nullptr, 0, QString(), false, QString(), false, ChooseFolder),
             m_dir + QStringLiteral("/子目录"));
    // With no row current, the folder shown is the answer.
    whenDialogShows([](zFileDialog* d) { QTest::mouseClick(child<QWidget>(d, "chooseDir_button"), Qt::LeftButton); });
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_dir, nullptr, 0, QString(), false, QString(), false, ChooseFolder),
             m_dir);
}

void TestProjectDialogs::folderAcceptRefusesFileRow()
{
    Probe<OpenProject> d;
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    d.ui->tableView->setCurrentIndex(d.ui->tableView->model()->index(rowOf(d.ui->tableView, QStringLiteral("预算.GCFX")), 0));
    d.slotChooseDir();
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, QStringLiteral("当前选中不是文件夹"));
    QCOMPARE(d.resultPath(), QString());
}

void TestProjectDialogs::otherPathAnsweredAndCancelled()
{
    QString seenCaption, seenDir, seenFilter;
    pfd::SystemDialogs answer;
    answer.openFile = [&](const QString& caption, const QString& dir, const QString& filter) {
        seenCaption = caption;
        seenDir = dir;
        seenFilter = filter;
        return QStringLiteral("/elsewhere/别处.GCFX");
    };
    pfd::testing::setSystemDialogs(answer);
    whenDialogShows([](zFileDialog* d) { QTest::mouseClick(child<QWidget>(d, "other_path_button"), Qt::LeftButton); });
    QStringList groups[] = {{"预算", "GCFX"}, {"概算", "GCFG"}};
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_dir, groups, 2), QStringLiteral("/elsewhere/别处.GCFX"));
    QCOMPARE(seenCaption, QStringLiteral("打开"));
    QCOMPARE(seenDir, m_dir);
    QCOMPARE(seenFilter, QStringLiteral("预算(*.GCFX );;概算(*.GCFG )"));
    QCOMPARE(zFileDialog::iClickedBtn, 5);

    answer.openFile = [](const QString&, const QString&, const QString&) { return QString(); };
    pfd::testing::setSystemDialogs(answer);
    whenDialogShows([](zFileDialog* d) { QTest::mouseClick(child<QWidget>(d, "other_path_button"), Qt::LeftButton); });
    QStringList again[] = {{"预算", "GCFX"}};
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_dir, again, 1), QString());

    // A blank base name is refused with its message.
    answer.openFile = [](const QString&, const QString&, const QString&) { return QStringLiteral("/x/ .GCFX"); };
    pfd::testing::setSystemDialogs(answer);
    whenDialogShows([](zFileDialog* d) { QTest::mouseClick(child<QWidget>(d, "other_path_button"), Qt::LeftButton); });
    QStringList third[] = {{"预算", "GCFX"}};
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_dir, third, 1), QString());
    QCOMPARE(lastBox().text, QStringLiteral("文件名不能为空"));
}

void TestProjectDialogs::leadingDotNameIsRefusedWhenOpening()
{
    // ".x.GCFX" has no base name: the text before its first dot is empty.
    touch(m_dir + QStringLiteral("/.x.GCFX"));
    bool stillOpen = false;
    whenDialogShows([&](zFileDialog* d) {
        child<QLineEdit>(d, "fileName_lineEdit")->setText(QStringLiteral(".x.GCFX"));
        QTest::keyClick(child<QLineEdit>(d, "fileName_lineEdit"), Qt::Key_Return);
        stillOpen = d->isVisible();
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups = allGroups();
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_dir, &groups, 1), QString());
    QVERIFY(stillOpen);
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, QStringLiteral("文件名不能为空"));
}

void TestProjectDialogs::otherPathAnswerWithEmptyBaseNameIsRefused()
{
    pfd::SystemDialogs answer;
    answer.openFile = [](const QString&, const QString&, const QString&) { return QStringLiteral("/别处/.x.GCFX"); };
    answer.saveFile = [](const QString&, const QString&, const QString&, QFileDialog::Options) {
        return QStringLiteral("/别处/.y.GCFX");
    };
    pfd::testing::setSystemDialogs(answer);
    whenDialogShows([](zFileDialog* d) { QTest::mouseClick(child<QWidget>(d, "other_path_button"), Qt::LeftButton); });
    QStringList open[] = {{"预算", "GCFX"}};
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_dir, open, 1), QString());
    QCOMPARE(lastBox().text, QStringLiteral("文件名不能为空"));

    zControlTesting::clearMessageBoxCalls();
    whenDialogShows([](zFileDialog* d) { QTest::mouseClick(child<QWidget>(d, "other_path_button"), Qt::LeftButton); });
    QStringList save[] = {{"预算", "GCFX"}};
    QCOMPARE(zFileDialog::getSaveFileName(nullptr, m_dir, QString(), save, 1), QString());
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QCOMPARE(lastBox().text, QStringLiteral("文件名不能为空"));
}

void TestProjectDialogs::pickListedModeWithoutRowClosesEmpty()
{
    bool stillOpen = true;
    whenDialogShows([&](zFileDialog* d) {
        // OK stays greyed until a row is pressed; Return accepts all the same.
        QVERIFY(child<QTableView>(d, "FileDialog")->selectionModel()->selectedRows().isEmpty());
        QTest::keyClick(d, Qt::Key_Return);
        stillOpen = d->isVisible();
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups = allGroups();
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_dir, &groups, 1, QString(), false, QString(), false,
                                          PickListedFile),
             QString());
    QVERIFY(!stillOpen);
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());

    // With a row selected, that row's path is the answer.
    whenDialogShows([](zFileDialog* d) {
        selectRow(child<QTableView>(d, "FileDialog"), QStringLiteral("预算.GCFX"));
        QTest::mouseClick(child<QWidget>(d, "ok_button"), Qt::LeftButton);
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList again = allGroups();
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_dir, &again, 1, QString(), false, QString(), false,
                                          PickListedFile),
             m_dir + QStringLiteral("/预算.GCFX"));
}

void TestProjectDialogs::windowsProjectPathGivesItsFolderOnEveryPlatform()
{
    answerDirRequests(rows({row(QStringLiteral("a.GCFX"), QStringLiteral("GCFX 文件"), QStringLiteral("1KB"))}));
    const QString project = QStringLiteral("C:\\proj\\a.GCFX");
    QString shown;
    bool enabled = false;
    auto visitProjectPlace = [&](zFileDialog* d) {
        auto* button = child<QAbstractButton>(d, "currentProjectPath_button");
        enabled = button->isEnabled();
        QTest::mouseClick(button, Qt::LeftButton);
        shown = d->currentDirectory();
        d->onCancelButton();
    };
    whenDialogShows(visitProjectPlace);
    QStringList groups = allGroups();
    zFileDialog::getOpenFileName(nullptr, m_dir, &groups, 1, project);
    QVERIFY(enabled);
    QCOMPARE(shown, QStringLiteral("C:\\proj"));
    QCOMPARE(zFileDialog::iClickedBtn, 6);

    shown.clear();
    whenDialogShows(visitProjectPlace);
    QStringList save[] = {{"预算", "GCFX"}};
    zFileDialog::getSaveFileName(nullptr, m_dir, QString(), save, 1, true, QString(), project);
    QCOMPARE(shown, QStringLiteral("C:\\proj"));
}

void TestProjectDialogs::defaultNameWithSlashShowsFullWidthSolidus()
{
    QString shown, title;
    whenDialogShows([&](zFileDialog* d) {
        shown = child<QLineEdit>(d, "fileName_lineEdit")->text();
        title = child<QLabel>(d, "title_label")->text();
        d->onCancelButton();
    });
    QStringList groups[] = {{"预算", "GCFX"}};
    zFileDialog::getSaveFileName(nullptr, m_dir, QStringLiteral("A/B"), groups, 1);
    QCOMPARE(shown, QStringLiteral("A／B"));
    QCOMPARE(title, QStringLiteral("保存工程"));
}

void TestProjectDialogs::saveCompletesExtensionAndReturnsPath()
{
    whenDialogShows([](zFileDialog* d) {
        auto* name = child<QLineEdit>(d, "fileName_lineEdit");
        name->setText(QStringLiteral("新工程"));
        QTest::mouseClick(child<QWidget>(d, "ok_button"), Qt::LeftButton);
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups[] = {{"预算", "GCFX"}};
    QCOMPARE(zFileDialog::getSaveFileName(nullptr, m_dir, QString(), groups, 1), m_dir + QStringLiteral("/新工程.GCFX"));
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
}

void TestProjectDialogs::forbiddenCharactersAreRefused_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("backslash") << "a\\b";
    QTest::newRow("slash") << "a/b";
    QTest::newRow("colon") << "a:b";
    QTest::newRow("star") << "a*b";
    QTest::newRow("question") << "a?b";
    QTest::newRow("quote") << "a\"b";
    QTest::newRow("less") << "a<b";
    QTest::newRow("line feed") << "a\nb";
    QTest::newRow("carriage return") << "a\rb";
    QTest::newRow("greater") << "a>b";
    QTest::newRow("bar") << "a|b";
}

void TestProjectDialogs::forbiddenCharactersAreRefused()
{
    QFETCH(QString, name);
    zFileDialog::isIopen = false;
    Probe<SaveProject> d;
    QStringList groups[] = {{"预算", "GCFX"}};
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    d.ui->fileNameEdit->setText(name);
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, name + QStringLiteral("\n文件名无效"));
    QCOMPARE(d.resultPath(), QString());
    Q_UNUSED(groups)
}

void TestProjectDialogs::savingInComputerIsRefusedBeforeTheName()
{
    answerDirRequests("[]");
    Probe<SaveProject> d;
    d.updateCurrentPath(QStringLiteral(":"), zFileDialog::tracing);
    d.ui->fileNameEdit->setText(QStringLiteral("bad|name"));
    d.onOkButton();
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QCOMPARE(lastBox().text, QStringLiteral("你不能保存到“电脑”。请选择其他位置。"));
}

void TestProjectDialogs::overwriteAnsweredYesReplaces()
{
    zControlTesting::setMessageBoxAnswers({0});
    Probe<SaveProject> d;
    QStringList groups[] = {{"预算", "GCFX"}};
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    d.ui->fileNameEdit->setText(QStringLiteral("预算.GCFX"));
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("question"));
    QCOMPARE(lastBox().text, QStringLiteral("文件已经存在，是否需要覆盖？"));
    QCOMPARE(d.resultPath(), m_dir + QStringLiteral("/预算.GCFX"));
    Q_UNUSED(groups)
}

void TestProjectDialogs::overwriteAnsweredNoKeepsDialogOpen()
{
    zControlTesting::setMessageBoxAnswers({1});
    Probe<SaveProject> d;
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    d.ui->fileNameEdit->setText(QStringLiteral("预算.GCFX"));
    d.onOkButton();
    QCOMPARE(lastBox().kind, QStringLiteral("question"));
    QCOMPARE(d.resultPath(), QString());
    QCOMPARE(contentOf(m_dir + QStringLiteral("/预算.GCFX")), QByteArray("x"));
}

void TestProjectDialogs::overwriteWhoseDeletionFailsKeepsOldFile()
{
    // A folder under the chosen name cannot be removed as a file.
    QVERIFY(QDir().mkpath(m_dir + QStringLiteral("/占用.GCFX/内容")));
    zControlTesting::setMessageBoxAnswers({0});
    Probe<SaveProject> d;
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    d.ui->fileNameEdit->setText(QStringLiteral("占用.GCFX"));
    d.onOkButton();
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 2);
    QCOMPARE(lastBox().kind, QStringLiteral("information"));
    QCOMPARE(lastBox().text, QStringLiteral("文件操作失败"));
    QCOMPARE(d.resultPath(), QString());
    QVERIFY(QFileInfo(m_dir + QStringLiteral("/占用.GCFX/内容")).isDir());
}

void TestProjectDialogs::overwriteOfImmutableFileKeepsOldFile()
{
    const QString locked = m_dir + QStringLiteral("/锁定.GCFX");
    touch(locked, "old project");
    // Read-only folders do not stop the super-user; an immutable file does.
    if (QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("+i"), locked}) != 0) {
        QFile::setPermissions(m_dir, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
        if (QFile::remove(locked) || !QFile::exists(locked)) {
            QFile::setPermissions(m_dir, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
            QSKIP("neither an immutable file nor a read-only folder can be made here");
        }
    }
    zControlTesting::setMessageBoxAnswers({0});
    Probe<SaveProject> d;
    d.updateCurrentPath(m_dir, zFileDialog::tracing);
    d.ui->fileNameEdit->setText(QStringLiteral("锁定.GCFX"));
    d.onOkButton();
    QCOMPARE(lastBox().text, QStringLiteral("文件操作失败"));
    QCOMPARE(d.resultPath(), QString());
    QCOMPARE(contentOf(locked), QByteArray("old project"));
    QFile::setPermissions(m_dir, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

void TestProjectDialogs::noOverwriteQuestionWhenNotAsked()
{
    whenDialogShows([](zFileDialog* d) {
        child<QLineEdit>(d, "fileName_lineEdit")->setText(QStringLiteral("预算.GCFX"));
        QTest::mouseClick(child<QWidget>(d, "ok_button"), Qt::LeftButton);
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups[] = {{"预算", "GCFX"}};
    QCOMPARE(zFileDialog::getSaveFileName(nullptr, m_dir, QString(), groups, 1, false),
             m_dir + QStringLiteral("/预算.GCFX"));
    QVERIFY(zControlTesting::messageBoxCalls().isEmpty());
    QCOMPARE(contentOf(m_dir + QStringLiteral("/预算.GCFX")), QByteArray("x"));
}

void TestProjectDialogs::cloudFolderRunsNoLocalChecks()
{
    Probe<SaveProject> d;
    d.updateYunPanCurrentPath(QStringLiteral("个人云盘\\项目"), zFileDialog::tracing, QStringLiteral("gr"));
    d.updateCurrentPath(QStringLiteral("个人云盘\\项目"), zFileDialog::no_tracing);
    d.ui->fileNameEdit->setText(QStringLiteral("a|b"));
    d.onOkButton();
    // The cloud's own accept runs instead: no local name check is made.
    for (const auto& box : zControlTesting::messageBoxCalls())
        QVERIFY2(!box.text.contains(QStringLiteral("文件名无效")), qPrintable(box.text));
    QCOMPARE(d.resultPath(), QString());
}

void TestProjectDialogs::folderModeSavesChosenFolder()
{
    QString typeLabel;
    bool comboHidden = false;
    bool readOnly = false;
    whenDialogShows([&](zFileDialog* d) {
        typeLabel = child<QLabel>(d, "fileType_label")->text();
        comboHidden = child<QWidget>(d, "fileType_comboBox")->isHidden();
        readOnly = child<QLineEdit>(d, "fileName_lineEdit")->isReadOnly();
        auto* table = child<QTableView>(d, "FileDialog");
        selectRow(table, QStringLiteral("子目录"));
        QCOMPARE(child<QLineEdit>(d, "fileName_lineEdit")->text(), QStringLiteral("子目录"));
        QCOMPARE(child<QAbstractButton>(d, "ok_button")->text(), QStringLiteral("保存"));
        QTest::mouseClick(child<QWidget>(d, "ok_button"), Qt::LeftButton);
        if (d->isVisible())
            d->onCancelButton();
    });
    QCOMPARE(zFileDialog::getSaveFileName(nullptr, m_dir, QString(), nullptr, 0), m_dir + QStringLiteral("/子目录"));
    QCOMPARE(typeLabel, QStringLiteral("文件夹"));
    QVERIFY(comboHidden);
    QVERIFY(readOnly);
}

void TestProjectDialogs::editionsHideCloudPlacesInSave()
{
    for (const QString& edition : {QStringLiteral("A"), QStringLiteral("B"), QString()}) {
        zCpfTesting::setProdArea(edition == QLatin1String("A"), edition == QLatin1String("B"));
        bool hidden = false;
        whenDialogShows([&](zFileDialog* d) {
            hidden = child<QWidget>(d, "companyYun_button")->isHidden() && child<QWidget>(d, "personYun_button")->isHidden();
            d->onCancelButton();
        });
        QStringList groups[] = {{"预算", "GCFX"}};
        zFileDialog::getSaveFileName(nullptr, m_dir, QString(), groups, 1, true, QString(), QString(), true);
        QCOMPARE(hidden, !edition.isEmpty());
    }
}

void TestProjectDialogs::saveOtherPathAnsweredAndCancelled()
{
    QFileDialog::Options seenOptions;
    QString seenCaption;
    pfd::SystemDialogs answer;
    answer.saveFile = [&](const QString& caption, const QString&, const QString&, QFileDialog::Options options) {
        seenCaption = caption;
        seenOptions = options;
        return QStringLiteral("/elsewhere/新.GCFX");
    };
    pfd::testing::setSystemDialogs(answer);
    whenDialogShows([](zFileDialog* d) { QTest::mouseClick(child<QWidget>(d, "other_path_button"), Qt::LeftButton); });
    QStringList groups[] = {{"预算", "GCFX"}};
    QCOMPARE(zFileDialog::getSaveFileName(nullptr, m_dir, QString(), groups, 1, false), QStringLiteral("/elsewhere/新.GCFX"));
    QCOMPARE(seenCaption, QStringLiteral("选择工程保存路径"));
    QCOMPARE(seenOptions, QFileDialog::Options(QFileDialog::DontConfirmOverwrite));

    answer.saveFile = [&](const QString&, const QString&, const QString&, QFileDialog::Options options) {
        seenOptions = options;
        return QString();
    };
    pfd::testing::setSystemDialogs(answer);
    whenDialogShows([](zFileDialog* d) { QTest::mouseClick(child<QWidget>(d, "other_path_button"), Qt::LeftButton); });
    QStringList again[] = {{"预算", "GCFX"}};
    QCOMPARE(zFileDialog::getSaveFileName(nullptr, m_dir, QString(), again, 1, true), QString());
    QCOMPARE(seenOptions, QFileDialog::Options());
}

void TestProjectDialogs::leadingDotNameIsRefusedWhenSaving()
{
    bool stillOpen = false;
    whenDialogShows([&](zFileDialog* d) {
        child<QLineEdit>(d, "fileName_lineEdit")->setText(QStringLiteral(".x.GCFX"));
        QTest::mouseClick(child<QWidget>(d, "ok_button"), Qt::LeftButton);
        stillOpen = d->isVisible();
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups[] = {{"预算", "GCFX"}};
    QCOMPARE(zFileDialog::getSaveFileName(nullptr, m_dir, QString(), groups, 1), QString());
    QVERIFY(stillOpen);
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QCOMPARE(lastBox().kind, QStringLiteral("warning"));
    QCOMPARE(lastBox().text, QStringLiteral("文件名不能为空"));
    QVERIFY(!QFile::exists(m_dir + QStringLiteral("/.x.GCFX")));
}

void TestProjectDialogs::folderModeRefusesEmptyBaseNames()
{
    QVERIFY(QDir(m_dir).mkdir(QStringLiteral(".config")));
    // Typed names, with a default name so that the field takes them.
    QList<zControlTesting::MessageBoxCall> boxes;
    bool stillOpen = true;
    whenDialogShows([&](zFileDialog* d) {
        auto* name = child<QLineEdit>(d, "fileName_lineEdit");
        auto* ok = child<QWidget>(d, "ok_button");
        for (const QString& typed : {QStringLiteral("."), QStringLiteral(".."), QStringLiteral(".config")}) {
            zControlTesting::clearMessageBoxCalls();
            name->setText(typed);
            QTest::mouseClick(ok, Qt::LeftButton);
            boxes << lastBox();
            stillOpen = stillOpen && d->isVisible();
        }
        if (d->isVisible())
            d->onCancelButton();
    });
    QCOMPARE(zFileDialog::getSaveFileName(nullptr, m_dir, QStringLiteral("目录"), nullptr, 0), QString());
    QVERIFY(stillOpen);
    QCOMPARE(boxes.size(), 3);
    QCOMPARE(boxes.at(0).text, QStringLiteral(".\n文件夹名无效"));
    QCOMPARE(boxes.at(1).text, QStringLiteral("文件名不能为空"));
    QCOMPARE(boxes.at(2).text, QStringLiteral("文件名不能为空"));
    for (const auto& box : boxes)
        QCOMPARE(box.kind, QStringLiteral("warning"));

    // With nothing typed or selected the folder shown is being chosen, and
    // the same check holds for it.
    zControlTesting::clearMessageBoxCalls();
    stillOpen = false;
    whenDialogShows([&](zFileDialog* d) {
        QTest::mouseClick(child<QWidget>(d, "ok_button"), Qt::LeftButton);
        stillOpen = d->isVisible();
        if (d->isVisible())
            d->onCancelButton();
    });
    QCOMPARE(zFileDialog::getSaveFileName(nullptr, m_dir + QStringLiteral("/.config"), QString(), nullptr, 0),
             QString());
    QVERIFY(stillOpen);
    QCOMPARE(lastBox().text, QStringLiteral("文件名不能为空"));

    // An ordinary folder shown is still the answer.
    whenDialogShows([](zFileDialog* d) {
        QTest::mouseClick(child<QWidget>(d, "ok_button"), Qt::LeftButton);
        if (d->isVisible())
            d->onCancelButton();
    });
    QCOMPARE(zFileDialog::getSaveFileName(nullptr, m_dir, QString(), nullptr, 0), m_dir);
}

QTEST_MAIN(TestProjectDialogs)
#include "tst_projectdialogs.moc"
