// Type filters: the combo's entries, the rights that remove project types,
// and a typed name kept in step with the chosen type.
#include "testsupport.h"

#include "dialogs/OpenProject.h"
#include "dialogs/SaveProject.h"
#include "fileModelLocal.h"
#include "mqcoreTesting.h"
#include "zBaseButton.h"
#include "zBaseCombox.h"
#include "zBaseControlTesting.h"
#include "zBaseLineEdit.h"
#include "zBaseTab.h"
#include "zControlTesting.h"
#include "zFileDialogUi.h"

#include <QDir>
#include <QFile>
#include <QTableView>
#include <QtTest>

using namespace testsupport;

namespace {

template <typename Base>
class Probe : public Base
{
public:
    using zFileDialog::fileSuffixIsHave;
    using zFileDialog::initFilterEdit;
    using zFileDialog::initFilterSuffix;
    using zFileDialog::m_recentTabMap;
    using zFileDialog::ui;
};

QStringList comboTexts(zFileDialogUi* ui)
{
    QStringList out;
    for (int i = 0; i < ui->fileTypeCombo->count(); ++i)
        out << ui->fileTypeCombo->itemText(i);
    return out;
}

} // namespace

class TestFilters : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void comboTextsKeepBlankBeforeParenthesis();
    void withoutRight2EmptiedGroupStaysAndLastGroupGoes();
    void withoutRight35GcfzIsRemovedTheSameWay();
    void withAllRightsNothingIsRemoved();
    void noGroupsDisablesCombo();
    void nullFiltersSkipSetUp();
    void initFilterEditStripsTitlesWithoutRightsPass();
    void nameWithoutExtensionGetsFirstSuffix();
    void xlsNameKeptUnderXlsxFilterInSave();
    void otherExtensionIsReplaced();
    void matchingExtensionIsKeptWhateverItsCase();
    void saveComboChangeRewritesTypedExtension();
    void openComboChangeLeavesNameUntouched();
    void choosingTypeFiltersTheTable();
    void recentTabsMapToTheirPatterns();

private:
    AppDir* m_app = nullptr;
};

void TestFilters::init()
{
    m_app = new AppDir;
    zBaseControlTesting::setScaleFactor(1.0);
    zControlTesting::setMessageBoxScripted(true);
    mqcoreTesting::reset();
}

void TestFilters::cleanup()
{
    delete m_app;
    m_app = nullptr;
    mqcoreTesting::reset();
    zControlTesting::reset();
    zBaseControlTesting::reset();
}

void TestFilters::comboTextsKeepBlankBeforeParenthesis()
{
    Probe<OpenProject> d;
    QStringList groups[] = {{"预算", "GCFX", "SGCFX"}, {"Excel文件", "xls", "xlsx"}, {"标题"}};
    d.initFilterSuffix(groups, 3);
    QCOMPARE(comboTexts(d.ui), (QStringList{"预算(*.GCFX *.SGCFX )", "Excel文件(*.xls *.xlsx )", "标题()"}));
    QCOMPARE(d.ui->patternMap.value(0), (QStringList{"*.GCFX", "*.SGCFX"}));
    QCOMPARE(d.ui->suffixMap.value(1), (QStringList{"xls", "xlsx"}));
    QCOMPARE(d.ui->suffixMap2.value(1), (QStringList{"xls", "xlsx"}));
    QVERIFY(d.ui->suffixMap.value(2).isEmpty());
    // The caller's array holds bare extensions afterwards.
    QCOMPARE(groups[0], (QStringList{"GCFX", "SGCFX"}));
    QCOMPARE(d.ui->fileTypeCombo->currentIndex(), 0);
}

void TestFilters::withoutRight2EmptiedGroupStaysAndLastGroupGoes()
{
    mqcoreTesting::withdrawRight(2);
    Probe<OpenProject> d;
    QStringList groups[] = {{"预算", "GCFX", "SGCFX"}, {"概算", "GCFG", "SGCFG"}, {"结算", "GCFJ"}};
    d.initFilterSuffix(groups, 3);
    QCOMPARE(comboTexts(d.ui), (QStringList{"预算(*.SGCFX )", "概算()"}));
    QCOMPARE(d.ui->patternMap.value(0), QStringList{"*.SGCFX"});
    QVERIFY(!d.ui->patternMap.contains(2));
    QVERIFY(mqcoreTesting::checkedRights().contains(2));
}

void TestFilters::withoutRight35GcfzIsRemovedTheSameWay()
{
    mqcoreTesting::withdrawRight(35);
    Probe<OpenProject> d;
    QStringList groups[] = {{"总承包", "GCFZ", "SGCFZ"}, {"预算", "GCFX"}, {"结算", "GCFJ"}};
    d.initFilterSuffix(groups, 3);
    // Group 0 empties at position 0: element 0 of group 0 (its title) goes.
    QCOMPARE(comboTexts(d.ui), (QStringList{"()", "预算(*.GCFX )"}));
}

void TestFilters::withAllRightsNothingIsRemoved()
{
    Probe<OpenProject> d;
    QStringList groups[] = {{"概算", "GCFG", "SGCFG"}, {"总承包", "GCFZ"}};
    d.initFilterSuffix(groups, 2);
    QCOMPARE(comboTexts(d.ui), (QStringList{"概算(*.GCFG *.SGCFG )", "总承包(*.GCFZ )"}));
}

void TestFilters::noGroupsDisablesCombo()
{
    Probe<OpenProject> d;
    QStringList groups[] = {{"概算", "GCFG"}};
    d.initFilterSuffix(groups, 0);
    QVERIFY(!d.ui->fileTypeCombo->isEnabled());
    QCOMPARE(d.ui->fileTypeCombo->count(), 0);
    QCOMPARE(groups[0], (QStringList{"概算", "GCFG"}));
}

void TestFilters::nullFiltersSkipSetUp()
{
    Probe<OpenProject> d;
    d.initFilterSuffix(nullptr, 3);
    QVERIFY(d.ui->fileTypeCombo->isEnabled());
    QCOMPARE(d.ui->fileTypeCombo->count(), 0);
}

void TestFilters::initFilterEditStripsTitlesWithoutRightsPass()
{
    mqcoreTesting::withdrawAllRights();
    Probe<OpenProject> d;
    QStringList groups[] = {{"概算", "GCFG", "SGCFG"}, {"总承包", "GCFZ"}};
    d.initFilterEdit(groups, 2);
    QCOMPARE(comboTexts(d.ui), (QStringList{"概算(*.GCFG *.SGCFG )", "总承包(*.GCFZ )"}));
    QCOMPARE(groups[0], (QStringList{"GCFG", "SGCFG"}));
    QCOMPARE(groups[1], QStringList{"GCFZ"});
    QCOMPARE(d.ui->suffixMap.value(1), QStringList{"GCFZ"});
    QVERIFY(mqcoreTesting::checkedRights().isEmpty());
    Probe<OpenProject> none;
    none.initFilterEdit(groups, 0);
    QVERIFY(none.ui->fileTypeCombo->isEnabled());
}

void TestFilters::nameWithoutExtensionGetsFirstSuffix()
{
    Probe<SaveProject> d;
    QStringList groups[] = {{"预算", "GCFX", "SGCFX"}};
    d.initFilterSuffix(groups, 1);
    QString name = QStringLiteral("新工程");
    QVERIFY(d.fileSuffixIsHave(name, 0));
    QCOMPARE(name, QStringLiteral("新工程.GCFX"));
}

void TestFilters::xlsNameKeptUnderXlsxFilterInSave()
{
    Probe<SaveProject> d;
    QStringList groups[] = {{"Excel", "xlsx"}};
    d.initFilterSuffix(groups, 1);
    QString name = QStringLiteral("报表.XLS");
    QVERIFY(d.fileSuffixIsHave(name, 0));
    QCOMPARE(name, QStringLiteral("报表.XLS"));
    // Outside a save (the button does not read "保存") the Excel kinship
    // does not hold.
    Probe<OpenProject> open;
    QStringList again[] = {{"Excel", "xlsx"}};
    open.initFilterSuffix(again, 1);
    QString other = QStringLiteral("报表.XLS");
    QVERIFY(!open.fileSuffixIsHave(other, 0));
    QCOMPARE(other, QStringLiteral("报表.xlsx"));
}

void TestFilters::otherExtensionIsReplaced()
{
    Probe<SaveProject> d;
    QStringList groups[] = {{"预算", "GCFX"}};
    d.initFilterSuffix(groups, 1);
    QString name = QStringLiteral("/d/滨江.v2.SGCFX");
    QVERIFY(!d.fileSuffixIsHave(name, 0));
    QCOMPARE(name, QStringLiteral("/d/滨江.v2.GCFX"));
}

void TestFilters::matchingExtensionIsKeptWhateverItsCase()
{
    Probe<SaveProject> d;
    QStringList groups[] = {{"预算", "GCFX", "SGCFX"}};
    d.initFilterSuffix(groups, 1);
    QString name = QStringLiteral("a.sgcfx");
    QVERIFY(d.fileSuffixIsHave(name, 0));
    QCOMPARE(name, QStringLiteral("a.sgcfx"));
}

void TestFilters::saveComboChangeRewritesTypedExtension()
{
    Probe<SaveProject> d;
    QStringList groups[] = {{"预算", "GCFX"}, {"审核", "SGCFX"}};
    d.initFilterSuffix(groups, 2);
    d.ui->fileNameEdit->setText(QStringLiteral("滨江花园.GCFX"));
    d.ui->fileTypeCombo->setCurrentIndex(1);
    QCOMPARE(d.ui->fileNameEdit->text(), QStringLiteral("滨江花园.SGCFX"));
    d.ui->fileNameEdit->clear();
    d.ui->fileTypeCombo->setCurrentIndex(0);
    QCOMPARE(d.ui->fileNameEdit->text(), QString());
}

void TestFilters::openComboChangeLeavesNameUntouched()
{
    zFileDialog::isIopen = true;
    Probe<OpenProject> d;
    QStringList groups[] = {{"预算", "GCFX"}, {"审核", "SGCFX"}};
    d.initFilterSuffix(groups, 2);
    d.ui->fileNameEdit->setText(QStringLiteral("滨江花园.GCFX"));
    d.ui->fileTypeCombo->setCurrentIndex(1);
    QCOMPARE(d.ui->fileNameEdit->text(), QStringLiteral("滨江花园.GCFX"));
}

void TestFilters::choosingTypeFiltersTheTable()
{
    QTemporaryDir tree;
    for (const char* n : {"a.GCFX", "b.SGCFX", "c.txt"}) {
        QFile f(tree.path() + QLatin1Char('/') + QLatin1String(n));
        QVERIFY(f.open(QIODevice::WriteOnly));
    }
    QVERIFY(QDir(tree.path()).mkdir(QStringLiteral("目录")));
    zFileDialog::isIopen = true;
    Probe<OpenProject> d;
    QStringList groups[] = {{"预算", "GCFX"}, {"审核", "SGCFX"}};
    d.initFilterSuffix(groups, 2);
    d.updateCurrentPath(tree.path(), zFileDialog::tracing);
    auto names = [&] {
        QStringList out;
        for (int r = 0; r < d.ui->localModel->rowCount(); ++r)
            out << d.ui->localModel->fileAt(r)->name;
        return out;
    };
    QCOMPARE(names(), (QStringList{"目录", "a.GCFX"}));
    d.ui->fileTypeCombo->setCurrentIndex(1);
    QCOMPARE(names(), (QStringList{"目录", "b.SGCFX"}));
}

void TestFilters::recentTabsMapToTheirPatterns()
{
    Probe<OpenProject> d;
    QHash<QString, QStringList> byText;
    for (auto it = d.m_recentTabMap.constBegin(); it != d.m_recentTabMap.constEnd(); ++it)
        byText.insert(it.key()->text(), it.value());
    QCOMPARE(byText.value("预算"), (QStringList{"*.GCFX", "*.SGCFX"}));
    QCOMPARE(byText.value("总承包"), (QStringList{"*.GCFZ", "*.SGCFZ"}));
    QCOMPARE(byText.value("EXCEL"), (QStringList{"*.xls", "*.xlsx"}));
    QCOMPARE(byText.value("CJZ"), QStringList{"*.CJZ"});
    QCOMPARE(byText.value("全部"),
             (QStringList{"*.GCFX", "*.SGCFX", "*.GCFZ", "*.SGCFZ", "*.GCFG", "*.SGCFG", "*.GCFJ", "*.SGCFJ",
                          "*.GCFQ", "*.SGCFQ", "*.xls", "*.xlsx", "*.CJZ"}));
    QVERIFY(!byText.contains("当前工程位置"));
}

QTEST_MAIN(TestFilters)
#include "tst_filters.moc"
