// Recent projects: the recent page and its tabs, the history file lines and
// the records made from them.
#include "dialogsupport.h"
#include "dialogfixture.h"
#include "testsupport.h"

#include "dialogs/OpenProject.h"
#include "fileInfoJsonUtil.h"
#include "fileModelLocal.h"
#include "lsjl.h"
#include "zBaseControlTesting.h"
#include "zBaseTab.h"
#include "zControlTesting.h"
#include "zFileDialogUi.h"

#include <QDir>
#include <QLineEdit>
#include <QStackedWidget>
#include <QTableView>
#include <QtTest>

using namespace dialogsupport;
using namespace testsupport;

namespace {

// The dialogs the entry points make are no Probe: reach their protected
// parts through member pointers (dialog->*(&Probe::ui)), never by a cast.
class Probe : public OpenProject
{
public:
    using zFileDialog::convertLsjlFileToFileInfoList;
    using zFileDialog::m_isCurrentProjectTab;
    using zFileDialog::m_isRecent;
    using zFileDialog::m_lsjlLines;
    using zFileDialog::parseOneRowLsjl;
    using zFileDialog::readLsjlFile;
    using zFileDialog::ui;
};

const QChar US(0x1F);

QString unitLine(const QStringList& fields)
{
    return fields.join(US);
}

FileInfo project(const QString& path)
{
    FileInfo f;
    f.name = QFileInfo(path).fileName();
    f.path = path;
    f.type = QFileInfo(path).suffix().toUpper() + QStringLiteral(" 文件");
    return f;
}

zBaseTab* checkedTab(zFileDialog& d)
{
    // A member pointer taken through Probe reaches the protected parts of
    // any dialog, including the entry point's own, which is no Probe.
    for (zBaseTab* t : (d.*(&Probe::ui))->recentTabs) {
        if (t->tabState() == 4)
            return t;
    }
    return nullptr;
}

} // namespace

class TestRecent : public QObject, dialogfixture::DialogFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void unitSeparatorWinsWithNineParts();
    void eightUnitPartsFallBackToHashes();
    void sevenHashFieldsWithBdArePlain();
    void markedRowsReadPathAndDate_data();
    void markedRowsReadPathAndDate();
    void dates_data();
    void dates();
    void rejectedLines_data();
    void rejectedLines();
    void historyFileKeepsFirstLineOfEachPath();
    void historyFileWithCrlfAndBadUtf8();
    void missingHistoryFileGivesNothing();
    void onlyLongBdRowsBecomeRecords();

    void recentPlaceOpensOnDefaultTab();
    void hiddenProjectTabMeansDefaultTab();
    void hostValueOpensCurrentProjectTab();
    void tabsFilterTheStoredProjects();
    void lastPlaceRecentReopensRecentPage();
    void recentReopenedBeforeShowOpensDefaultTab();
    void acceptedProjectIsRecordedOnce();

private:
    QString m_projects;
};

void TestRecent::initTestCase()
{
    useHome({QStringLiteral("Documents")});
    m_projects = m_home.path() + QStringLiteral("/工程");
    QVERIFY(QDir().mkpath(m_projects));
    for (const char* n : {"甲.GCFX", "乙.SGCFX", "丙.GCFZ", "丁.xlsx", "戊.CJZ"}) {
        QFile f(m_projects + QLatin1Char('/') + QString::fromUtf8(n));
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("1234");
    }
}

void TestRecent::init()
{
    startHost();
}

void TestRecent::cleanup()
{
    stopHost();
}

void TestRecent::unitSeparatorWinsWithNineParts()
{
    const QString line = unitLine({"bd", "C:\\a##b.GCFX", "2023-05-06 10:30", "3", "4", "5", "6", "7", "8"});
    QCOMPARE(pfd::splitHistoryLine(line).size(), 9);
    QString path;
    QPair<QDateTime, QString> row;
    QVERIFY(pfd::parseHistoryLine(path, row, line));
    QCOMPARE(path, QStringLiteral("C:\\a##b.GCFX"));
    QCOMPARE(row.second, line);
}

void TestRecent::eightUnitPartsFallBackToHashes()
{
    const QString line = unitLine({"x", "1", "2", "3", "4", "5", "6", "7"}) + QStringLiteral("##tail");
    QCOMPARE(pfd::splitHistoryLine(line).size(), 2);
}

void TestRecent::sevenHashFieldsWithBdArePlain()
{
    QString path;
    QPair<QDateTime, QString> row;
    QVERIFY(pfd::parseHistoryLine(path, row, QStringLiteral("bd##2023-05-06##c##d##e##f##g")));
    QCOMPARE(path, QStringLiteral("bd"));
    QCOMPARE(row.first, QDateTime(QDate(2023, 5, 6), QTime(0, 0)));
}

void TestRecent::markedRowsReadPathAndDate_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("path");
    QTest::newRow("bd with hashes") << "bd##D:\\工程\\甲.GCFX##(2023-05-06 10:30)##x" << "D:\\工程\\甲.GCFX";
    QTest::newRow("yp with hashes") << "yp##个人云盘\\甲.GCFX##2023-05-06" << "个人云盘\\甲.GCFX";
    QTest::newRow("15 plain fields") << "p##2023-01-01##2##3##4##5##6##7##8##9##10##11##12##13##14" << "p";
    QTest::newRow("empty fields kept") << "bd####2023-01-01" << "";
}

void TestRecent::markedRowsReadPathAndDate()
{
    QFETCH(QString, line);
    QFETCH(QString, path);
    QString got;
    QPair<QDateTime, QString> row;
    QVERIFY(pfd::parseHistoryLine(got, row, line));
    QCOMPARE(got, path);
}

void TestRecent::dates_data()
{
    QTest::addColumn<QString>("field");
    QTest::addColumn<QDateTime>("date");
    QTest::newRow("(2023-05-06 10:30)") << "(2023-05-06 10:30)" << QDateTime(QDate(2023, 5, 6), QTime(10, 30));
    QTest::newRow("2023-05-06") << "2023-05-06" << QDateTime(QDate(2023, 5, 6), QTime(0, 0));
    QTest::newRow("blanks around") << "  ( 2023-05-06 ) " << QDateTime(QDate(2023, 5, 6), QTime(0, 0));
    QTest::newRow("2023/05/06") << "2023/05/06" << QDateTime();
    QTest::newRow("seconds") << "2023-05-06 10:30:15" << QDateTime();
}

void TestRecent::dates()
{
    QFETCH(QString, field);
    QFETCH(QDateTime, date);
    QCOMPARE(pfd::historyDate(field), date);
    // An unreadable date does not reject the row.
    QString path;
    QPair<QDateTime, QString> row;
    QVERIFY(pfd::parseHistoryLine(path, row, QStringLiteral("bd##p##") + field));
    QCOMPARE(row.first, date);
}

void TestRecent::rejectedLines_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("empty") << "";
    QTest::newRow("six plain fields") << "a##b##c##d##e##f";
    QTest::newRow("other marker") << "xx##p##2023-01-01";
    QTest::newRow("marker in other case") << "BD##p##2023-01-01";
    QTest::newRow("marked but too short") << "yp##p";
    QTest::newRow("marker alone") << "bd";
}

void TestRecent::rejectedLines()
{
    QFETCH(QString, line);
    Probe d;
    QString path;
    QPair<QDateTime, QString> row;
    QVERIFY(!d.parseOneRowLsjl(path, row, line));
}

void TestRecent::historyFileKeepsFirstLineOfEachPath()
{
    QFile f(m_app->path() + QStringLiteral("/FileList.Ini"));
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write("bd##/p/a.GCFX##2024-01-01\n");
    f.write("junk line\n");
    f.write("bd##/p/b.GCFX##2022-01-01\n");
    f.write("yp##/p/a.GCFX##2025-01-01\n");
    f.write("\n");
    f.close();
    Probe d;
    d.readLsjlFile();
    QCOMPARE(d.m_lsjlLines, (QStringList{"bd##/p/a.GCFX##2024-01-01\n", "bd##/p/b.GCFX##2022-01-01\n"}));
}

void TestRecent::historyFileWithCrlfAndBadUtf8()
{
    QFile f(m_app->path() + QStringLiteral("/FileList.Ini"));
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write("bd##/p/\xe5\xb7\xa5.GCFX##2024-01-01\r\n");
    f.write("bd##/p/bad\xff\xfe.GCFX##2024-01-01\r\n");
    f.write(QString(QStringList{"bd", "/p/u.GCFX", "2024-01-02 08:00", "", "", "", "", "", ""}.join(US)).toUtf8());
    f.close();
    Probe d;
    d.readLsjlFile();
    QCOMPARE(d.m_lsjlLines.size(), 3);
    QCOMPARE(d.m_lsjlLines.at(0), QStringLiteral("bd##/p/工.GCFX##2024-01-01\n"));
    QVERIFY(d.m_lsjlLines.at(1).contains(QChar(QChar::ReplacementCharacter)));
}

void TestRecent::missingHistoryFileGivesNothing()
{
    Probe d;
    d.m_lsjlLines << QStringLiteral("left over");
    d.readLsjlFile();
    QVERIFY(d.m_lsjlLines.isEmpty());
    QVERIFY(d.convertLsjlFileToFileInfoList().isEmpty());
}

void TestRecent::onlyLongBdRowsBecomeRecords()
{
    const QString file = m_projects + QStringLiteral("/甲.GCFX");
    Probe d;
    d.m_lsjlLines = QStringList{
        unitLine({"bd", file, "(2023-05-06 10:30)", "3", "4", "5", "6", "7", "8"}),
        unitLine({"yp", "个人云盘\\x.GCFX", "2023-05-06", "3", "4", "5", "6", "7", "8"}),
        QStringLiteral("bd##") + file + QStringLiteral("##2023-05-06"),
        file + QStringLiteral("##2023-05-06##2##3##4##5##6"),
    };
    const QList<FileInfo> records = d.convertLsjlFileToFileInfoList();
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.at(0).path, file);
    QCOMPARE(records.at(0).name, QStringLiteral("甲.GCFX"));
    QCOMPARE(records.at(0).datetime, QStringLiteral("2023-05-06 10:30"));
    QCOMPARE(records.at(0).size, QStringLiteral("0.00390625KB"));
    QCOMPARE(records.at(0).type, QStringLiteral("GCFX 文件"));
    QVERIFY(records.at(0).symLinkTarget.isEmpty());
}

void TestRecent::recentPlaceOpensOnDefaultTab()
{
    for (const char* n : {"甲.GCFX", "乙.SGCFX", "丙.GCFZ"})
        fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("RecentFile"),
                                                project(m_projects + QLatin1Char('/') + QString::fromUtf8(n)));
    SharedInterfaceTesting::setHostValue(QStringLiteral("文件对话框-当前工程位置"), QString());
    Probe d;
    d.slotBtnRecentClicked();
    QCOMPARE(checkedTab(d)->text(), QStringLiteral("预算"));
    QCOMPARE(d.ui->stackedWidget->currentIndex(), 1);
    QCOMPARE(d.ui->tableView->parentWidget(), d.ui->recentPage);
    QVERIFY(!d.ui->tableView->isSortingEnabled());
    QVERIFY(d.ui->localModel->showPathColumn());
    QVERIFY(d.m_isRecent);
    QCOMPARE(zFileDialog::iClickedBtn, 8);
    QStringList names;
    for (int r = 0; r < d.ui->localModel->rowCount(); ++r)
        names << d.ui->localModel->fileAt(r)->name;
    QCOMPARE(names, (QStringList{"甲.GCFX", "乙.SGCFX"}));
    QCOMPARE(d.ui->tableView->model()->headerData(1, Qt::Horizontal).toString(), QStringLiteral("路径"));
    // Leaving for a plain place clears the recent state.
    d.onDesktopButton();
    QVERIFY(!d.m_isRecent);
    QVERIFY(!d.ui->localModel->showPathColumn());
    QCOMPARE(d.ui->tableView->parentWidget(), d.ui->filePage);
}

void TestRecent::hiddenProjectTabMeansDefaultTab()
{
    // The host value is set, but this dialog was built without the switch,
    // so its current-project tab is hidden.
    Probe d;
    SharedInterfaceTesting::setHostValue(QStringLiteral("文件对话框-当前工程位置"), m_projects);
    QVERIFY(d.ui->recentProjectTab->isHidden());
    d.slotBtnRecentClicked();
    QCOMPARE(checkedTab(d)->text(), QStringLiteral("预算"));
    QVERIFY(!d.m_isCurrentProjectTab);
}

void TestRecent::hostValueOpensCurrentProjectTab()
{
    SharedInterfaceTesting::setHostValue(QStringLiteral("文件对话框-当前工程位置"), m_projects);
    QString shown;
    whenDialogShows([&](zFileDialog* dialog) {
        dialog->slotBtnRecentClicked();
        QCOMPARE(checkedTab(*dialog)->text(), QStringLiteral("当前工程位置"));
        QVERIFY(dialog->*(&Probe::m_isCurrentProjectTab));
        shown = dialog->currentDirectory();
        dialog->onCancelButton();
    });
    zFileDialog::getOpenFileName(nullptr, m_home.path(), nullptr, 0);
    QCOMPARE(shown, m_projects);
}

void TestRecent::tabsFilterTheStoredProjects()
{
    for (const char* n : {"甲.GCFX", "乙.SGCFX", "丙.GCFZ", "丁.xlsx", "戊.CJZ"})
        fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("RecentFile"),
                                                project(m_projects + QLatin1Char('/') + QString::fromUtf8(n)));
    Probe d;
    d.slotBtnRecentClicked();
    auto rowsFor = [&](const QString& text) {
        for (zBaseTab* t : d.ui->recentTabs) {
            if (t->text() == text)
                QTest::mouseClick(t, Qt::LeftButton);
        }
        QStringList names;
        for (int r = 0; r < d.ui->localModel->rowCount(); ++r)
            names << d.ui->localModel->fileAt(r)->name;
        return names;
    };
    QCOMPARE(rowsFor(QStringLiteral("总承包")), QStringList{"丙.GCFZ"});
    QCOMPARE(checkedTab(d)->text(), QStringLiteral("总承包"));
    QCOMPARE(rowsFor(QStringLiteral("EXCEL")), QStringList{"丁.xlsx"});
    QCOMPARE(rowsFor(QStringLiteral("CJZ")), QStringList{"戊.CJZ"});
    QCOMPARE(rowsFor(QStringLiteral("全部")), (QStringList{"甲.GCFX", "乙.SGCFX", "丙.GCFZ", "丁.xlsx", "戊.CJZ"}));
    QCOMPARE(rowsFor(QStringLiteral("概算")), QStringList());
}

void TestRecent::lastPlaceRecentReopensRecentPage()
{
    zFileDialog::iClickedBtn = 8;
    int page = -1;
    whenDialogShows([&](zFileDialog* d) {
        page = child<QStackedWidget>(d, "stackedWidget")->currentIndex();
        d->onCancelButton();
    });
    zFileDialog::getOpenFileName(nullptr, m_projects, nullptr, 0);
    QCOMPARE(page, 1);
    QCOMPARE(zFileDialog::iClickedBtn, 8);
}

void TestRecent::recentReopenedBeforeShowOpensDefaultTab()
{
    // The dialog reopens the recent place while it is built, before it is
    // shown: its current-project tab is not visible yet, so the default tab
    // opens even though the host names a project folder.
    SharedInterfaceTesting::setHostValue(QStringLiteral("文件对话框-当前工程位置"), m_projects);
    zFileDialog::iClickedBtn = 8;
    QString tab;
    bool projectTab = true;
    bool projectTabShown = false;
    whenDialogShows([&](zFileDialog* dialog) {
        projectTabShown = (dialog->*(&Probe::ui))->recentProjectTab->isVisible();
        if (zBaseTab* t = checkedTab(*dialog))
            tab = t->text();
        projectTab = dialog->*(&Probe::m_isCurrentProjectTab);
        dialog->onCancelButton();
    });
    zFileDialog::getOpenFileName(nullptr, m_home.path(), nullptr, 0);
    QCOMPARE(tab, QStringLiteral("预算"));
    QVERIFY(!projectTab);
    QVERIFY(projectTabShown);
    QCOMPARE(zFileDialog::iClickedBtn, 8);
}

void TestRecent::acceptedProjectIsRecordedOnce()
{
    for (int round = 0; round < 2; ++round) {
        whenDialogShows([](zFileDialog* d) {
            child<QLineEdit>(d, "fileName_lineEdit")->setText(QStringLiteral("甲.GCFX"));
            d->onOkButton();
            if (d->isVisible())
                d->onCancelButton();
        });
        QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_projects, nullptr, 0), m_projects + QStringLiteral("/甲.GCFX"));
    }
    QList<FileInfo> recent;
    fileInfoJsonUtil::ReadFileInfoListFromJson(m_app->store(), QStringLiteral("RecentFile"), recent);
    QCOMPARE(recent.size(), 1);
    QCOMPARE(recent.at(0).path, m_projects + QStringLiteral("/甲.GCFX"));
    QCOMPARE(recent.at(0).name, QStringLiteral("甲.GCFX"));
    QCOMPARE(recent.at(0).type, QStringLiteral("GCFX 文件"));
    QCOMPARE(recent.at(0).size, QStringLiteral("0.00390625KB"));
}

QTEST_MAIN(TestRecent)
#include "tst_recent.moc"
