// The dialog's shell and entry points: layout, the place restored at start,
// keyboard, and what the entry points hand back.
#include "dialogsupport.h"
#include "dialogfixture.h"
#include "testsupport.h"

#include "dialogs/OpenProject.h"
#include "dialogs/SaveProject.h"
#include "knownfolderpaths.h"
#include "mqcoreTesting.h"
#include "zBaseButton.h"
#include "zBaseControlTesting.h"
#include "zBaseLabel.h"
#include "zBaseLineEdit.h"
#include "zControlTesting.h"

#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMetaEnum>
#include <QMouseEvent>
#include <QStackedWidget>
#include <QTableView>
#include <QtTest>

using namespace dialogsupport;
using namespace testsupport;

class TestDialogShell : public QObject, dialogfixture::DialogFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void openFileDlgReturnsEmptyForAnyObject();
    void layoutCarriesNamedWidgets();
    void addressFieldStartsOnTheFirstDrive();
    void hostSwitchChoosesRecentOrCurrentProject();
    void windowUsesScaledDesignSize();
    void cloudPlaceRememberedWhileCloudDisabledShowsDocuments();
    void escapeInSaveDialogReturnsEmpty();
    void cancelReturnsEmpty();
    void doubleClickRunsSubclassOkButton();
    void returnKeyAcceptsTypedName();
    void usageCounterOnlyAfterCloudPlaces();
    void maximiseSwapsIcons();
    void openFileNameTestHandsBackTheDialog();
    void missingStartFolderShowsDocuments();
    void withoutTypeGroupsOnlyFoldersAreListed();
    void tracActionIsKnownToTheMetaObjectSystem();
    void titleBarDragsTheWindow();
    void pressOnEmptyTableDisablesOkInOpenDialog();

private:
    QString m_projects;
};

void TestDialogShell::initTestCase()
{
    useHome({QStringLiteral("Documents"), QStringLiteral("Desktop")});
    qunsetenv("XDG_CONFIG_HOME");
    m_projects = m_home.path() + QStringLiteral("/工程");
    QVERIFY(QDir().mkpath(m_projects + QStringLiteral("/子目录")));
    for (const char* n : {"预算一.GCFX", "概算.GCFG", "说明.txt"}) {
        QFile f(m_projects + QLatin1Char('/') + QString::fromUtf8(n));
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("x");
    }
}

void TestDialogShell::init()
{
    zControlTesting::reset();
    startHost();
    mqcoreTesting::reset();
    zFileDialog::SetCurrentPath(QString());
}

void TestDialogShell::cleanup()
{
    stopHost();
}

void TestDialogShell::openFileDlgReturnsEmptyForAnyObject()
{
    QCOMPARE(zFileDialog::OpenFileDlg(QJsonObject()), QString());
    QCOMPARE(zFileDialog::OpenFileDlg(QJsonObject{{"path", "/tmp"}, {"type", 1}}), QString());
}

void TestDialogShell::layoutCarriesNamedWidgets()
{
    OpenProject dialog;
    for (const char* name : {"left_frame", "right_frame", "right_widget", "widgetTitleBar", "hengXianLabel",
                             "topPart_widget", "backwards_button", "btnRefresh", "createFile_button",
                             "figure_button", "FileDialog", "FileDialogHeaderView", "longline_label",
                             "XuanZeXiaoJieTree", "currentProjectPath_button", "companyYun_button",
                             "personYun_button", "line_label", "desktop_button", "computer_button",
                             "my_document_button", "other_path_button", "recent_button", "WgtRecentBar"})
        QVERIFY2(dialog.findChild<QWidget*>(QLatin1String(name)), name);

    auto* back = child<zBaseButton>(&dialog, "backwards_button");
    QCOMPARE(back->toolTip(), QStringLiteral("返回"));
    QVERIFY(!back->isEnabled());
    QCOMPARE(back->normalIcon(), QStringLiteral(":/Image/filedlg/icon-prepage0.svg"));
    QCOMPARE(back->hoverIcon(), QStringLiteral(":/Image/filedlg/icon-prepage1.svg"));
    QCOMPARE(child<zBaseButton>(&dialog, "btnRefresh")->toolTip(), QStringLiteral("刷新"));
    QCOMPARE(child<zBaseButton>(&dialog, "createFile_button")->toolTip(), QStringLiteral("新建文件夹"));
    QCOMPARE(child<zBaseButton>(&dialog, "desktop_button")->text(), QStringLiteral("桌面"));
    QCOMPARE(child<zBaseButton>(&dialog, "desktop_button")->normalIcon(), QStringLiteral(":/Image/filedlg/icon-desk1.svg"));
    QCOMPARE(child<zBaseButton>(&dialog, "desktop_button")->hoverIcon(), QStringLiteral(":/Image/filedlg/icon-desk0.svg"));
    QCOMPARE(child<zBaseButton>(&dialog, "computer_button")->text(), QStringLiteral("电脑"));
    QCOMPARE(child<zBaseButton>(&dialog, "my_document_button")->text(), QStringLiteral("我的文档"));
    QCOMPARE(child<zBaseButton>(&dialog, "other_path_button")->text(), QStringLiteral("其它路径"));
    QCOMPARE(child<zBaseButton>(&dialog, "companyYun_button")->text(), QStringLiteral("企业云盘"));
    QCOMPARE(child<zBaseButton>(&dialog, "personYun_button")->text(), QStringLiteral("个人云盘"));
    QVERIFY(child<zBaseButton>(&dialog, "desktop_button")->isCheckable());
    QCOMPARE(child<QWidget>(&dialog, "widgetTitleBar")->height(), 36);
    QCOMPARE(child<QWidget>(&dialog, "right_widget")->styleSheet(),
             QStringLiteral("QWidget#right_widget{background:rgb(255,255,255);}"));
    QCOMPARE(dialog.styleSheet(), QStringLiteral("QLineEdit{background:white;}"));
    QVERIFY(child<QListWidget>(&dialog, "XuanZeXiaoJieTree")
                ->styleSheet()
                .startsWith(QStringLiteral("QListView{border:0px solid ")));
    QStringList labels;
    for (QLabel* l : dialog.findChildren<QLabel*>())
        labels << l->text();
    QVERIFY(labels.contains(QStringLiteral("位置：")));
    QVERIFY(labels.contains(QStringLiteral("   文件名")));
    QVERIFY(labels.contains(QStringLiteral("文件类型")));
    QVERIFY(labels.contains(QStringLiteral("打开工程")));
    QStringList buttons;
    for (QAbstractButton* b : dialog.findChildren<QAbstractButton*>())
        buttons << b->text();
    QVERIFY(buttons.contains(QStringLiteral("确定")));
    QVERIFY(buttons.contains(QStringLiteral("取消")));
    QVERIFY(buttons.contains(QStringLiteral("选择文件夹")));
    auto* figure = child<zBaseButton>(&dialog, "figure_button");
    QVERIFY(figure->menu());
    QStringList actions;
    for (QAction* a : figure->menu()->actions())
        actions << a->text();
    QCOMPARE(actions, (QStringList{"列表", "详细"}));
}

void TestDialogShell::addressFieldStartsOnTheFirstDrive()
{
    zFileDialog d;
    auto* bar = child<QLineEdit>(&d, "address_bar");
    // Put there once while the dialog is built; "C:" gets its backslash.
    QCOMPARE(bar->text(), QStringLiteral("C:\\"));
    // The first folder shown replaces the text with its segments.
    d.updateCurrentPath(m_home.path(), zFileDialog::tracing);
    QCOMPARE(bar->text(), QString());
}

void TestDialogShell::hostSwitchChoosesRecentOrCurrentProject()
{
    {
        OpenProject dialog;
        QVERIFY(child<QWidget>(&dialog, "recent_button")->isHidden());
        QVERIFY(!child<QWidget>(&dialog, "currentProjectPath_button")->isHidden());
    }
    SharedInterfaceTesting::setHostValue(QStringLiteral("文件对话框-当前工程位置"), QStringLiteral("1"));
    OpenProject dialog;
    QVERIFY(!child<QWidget>(&dialog, "recent_button")->isHidden());
    QVERIFY(child<QWidget>(&dialog, "currentProjectPath_button")->isHidden());
}

void TestDialogShell::windowUsesScaledDesignSize()
{
    OpenProject one;
    const QSize body = one.bodyRect().size();
    QCOMPARE(body, QSize(928, 597));
    zBaseControlTesting::setScaleFactor(1.5);
    OpenProject scaled;
    QCOMPARE(scaled.bodyRect().size(), QSize(1392, 896));
    QCOMPARE(child<QWidget>(&scaled, "widgetTitleBar")->height(), 54);
}

void TestDialogShell::cloudPlaceRememberedWhileCloudDisabledShowsDocuments()
{
    zFileDialog::iClickedBtn = 4;
    QString shown;
    bool documentsChecked = false;
    whenDialogShows([&](zFileDialog* d) {
        shown = d->currentDirectory();
        documentsChecked = child<QAbstractButton>(d, "my_document_button")->isChecked();
        QVERIFY(!child<QAbstractButton>(d, "personYun_button")->isEnabled());
        d->onCancelButton();
    });
    QStringList groups{QStringLiteral("预算"), QStringLiteral("GCFX")};
    const QString result = zFileDialog::getOpenFileName(nullptr, m_projects, &groups, 1, QString(), false,
                                                        QString(), false);
    QCOMPARE(result, QString());
    QCOMPARE(shown, pfd::knownFolder(pfd::KnownFolder::Documents));
    QVERIFY(documentsChecked);
    QCOMPARE(zFileDialog::iClickedBtn, 2);
}

void TestDialogShell::escapeInSaveDialogReturnsEmpty()
{
    whenDialogShows([](zFileDialog* d) {
        auto* name = child<zBaseLineEdit>(d, "fileName_lineEdit");
        name->setText(QStringLiteral("新工程"));
        QTest::keyClick(d, Qt::Key_Escape);
    });
    QStringList groups{QStringLiteral("预算"), QStringLiteral("GCFX")};
    const QString result = zFileDialog::getSaveFileName(nullptr, m_projects, QStringLiteral("默认"), &groups, 1);
    QCOMPARE(result, QString());
}

void TestDialogShell::cancelReturnsEmpty()
{
    whenDialogShows([](zFileDialog* d) { QTest::mouseClick(child<QAbstractButton>(d, "cancel_button"), Qt::LeftButton); });
    QStringList groups{QStringLiteral("预算"), QStringLiteral("GCFX")};
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_projects, &groups, 1), QString());
    whenDialogShows([](zFileDialog* d) { QTest::mouseClick(child<QAbstractButton>(d, "close_button"), Qt::LeftButton); });
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_projects, &groups, 1), QString());
}

void TestDialogShell::doubleClickRunsSubclassOkButton()
{
    whenDialogShows([](zFileDialog* d) {
        auto* table = child<QTableView>(d, "FileDialog");
        const QAbstractItemModel* model = table->model();
        int row = -1;
        for (int r = 0; r < model->rowCount(); ++r) {
            if (model->index(r, 0).data().toString() == QStringLiteral("预算一.GCFX"))
                row = r;
        }
        QVERIFY(row >= 0);
        const QRect cell = table->visualRect(model->index(row, 0));
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, cell.center());
        QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, cell.center());
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups{QStringLiteral("预算"), QStringLiteral("GCFX")};
    const QString result = zFileDialog::getOpenFileName(nullptr, m_projects, &groups, 1);
    QCOMPARE(result, QDir::toNativeSeparators(m_projects + QStringLiteral("/预算一.GCFX")));
}

void TestDialogShell::returnKeyAcceptsTypedName()
{
    whenDialogShows([](zFileDialog* d) {
        auto* name = child<zBaseLineEdit>(d, "fileName_lineEdit");
        name->setText(QStringLiteral("概算.GCFG"));
        QTest::keyClick(d, Qt::Key_Return);
        if (d->isVisible())
            d->onCancelButton();
    });
    QStringList groups{QStringLiteral("概算"), QStringLiteral("GCFG")};
    QCOMPARE(zFileDialog::getOpenFileName(nullptr, m_projects, &groups, 1),
             QDir::toNativeSeparators(m_projects + QStringLiteral("/概算.GCFG")));
}

void TestDialogShell::usageCounterOnlyAfterCloudPlaces()
{
    whenDialogShows([](zFileDialog* d) { d->onCancelButton(); });
    zFileDialog::getOpenFileName(nullptr, m_projects, nullptr, 0);
    QVERIFY(SharedInterfaceTesting::usageCalls().isEmpty());

    // The personal cloud answers with an empty tree.
    SharedInterfaceTesting::setCloudChannel([](const QByteArray&) { return QByteArray("{\"code\":0}"); });
    whenDialogShows([](zFileDialog* d) {
        d->onPersonYunButton();
        d->onCancelButton();
    });
    zFileDialog::getOpenFileName(nullptr, m_projects, nullptr, 0, QString(), false, QString(), true);
    QCOMPARE(SharedInterfaceTesting::usageCalls(), (QStringList{"UseFunc 11001 ", "EndUseFun 11001 "}));

    whenDialogShows([](zFileDialog* d) { d->onCancelButton(); });
    zFileDialog::iClickedBtn = 4;
    zFileDialog::getSaveFileName(nullptr, m_projects, QString(), nullptr, 0);
    QCOMPARE(SharedInterfaceTesting::usageCalls().size(), 2);
}

void TestDialogShell::maximiseSwapsIcons()
{
    OpenProject dialog;
    dialog.show();
    auto* max = child<zBaseButton>(&dialog, "maximize_button");
    QCOMPARE(max->normalIcon(), QStringLiteral(":/Image/Home/FangDa1zTitleModelHover.svg"));
    max->click();
    QVERIFY(dialog.isMaximized());
    QCOMPARE(max->normalIcon(), QStringLiteral(":/Image/Home/FangDa2zTitleModel.svg"));
    QCOMPARE(max->hoverIcon(), QStringLiteral(":/Image/Home/FangDa2zTitleModelHover.svg"));
    max->click();
    QVERIFY(!dialog.isMaximized());
    QCOMPARE(max->normalIcon(), QStringLiteral(":/Image/Home/FangDa1zTitleModelHover.svg"));
    QCOMPARE(max->hoverIcon(), QStringLiteral(":/Image/Home/FangDa1zTitleModel.svg"));
}

void TestDialogShell::openFileNameTestHandsBackTheDialog()
{
    whenDialogShows([](zFileDialog* d) { d->onCancelButton(); });
    QObject* object = zFileDialog::getOpenFileNameTest(nullptr, m_projects, nullptr, 0);
    QVERIFY(qobject_cast<OpenProject*>(object));
    QVERIFY(zFileDialog::isIopen);
    QCOMPARE(static_cast<zFileDialog*>(object)->currentDirectory(), m_projects);
    delete object;
}

void TestDialogShell::missingStartFolderShowsDocuments()
{
    QString shown;
    whenDialogShows([&](zFileDialog* d) {
        shown = d->currentDirectory();
        d->onCancelButton();
    });
    zFileDialog::getOpenFileName(nullptr, m_home.path() + QStringLiteral("/不存在"), nullptr, 0);
    QCOMPARE(shown, pfd::knownFolder(pfd::KnownFolder::Documents));
}

void TestDialogShell::withoutTypeGroupsOnlyFoldersAreListed()
{
    // A dialog given no type groups chooses a folder: folders and shortcuts
    // to folders are listed, files and shortcuts to files are not.
    QTemporaryDir tree;
    QVERIFY(QDir(tree.path()).mkpath(QStringLiteral("子目录")));
    QFile file(tree.path() + QStringLiteral("/预算.GCFX"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    QVERIFY(QFile::link(tree.path() + QStringLiteral("/子目录"), tree.path() + QStringLiteral("/到子目录")));
    QVERIFY(QFile::link(file.fileName(), tree.path() + QStringLiteral("/到预算.GCFX")));
    auto listed = [](zFileDialog* d) {
        auto* table = child<QTableView>(d, "FileDialog");
        QStringList names;
        for (int r = 0; r < table->model()->rowCount(); ++r)
            names << table->model()->index(r, 0).data().toString();
        names.sort();
        return names;
    };
    const QStringList folders{QStringLiteral("到子目录"), QStringLiteral("子目录")};
    QStringList shown;
    whenDialogShows([&](zFileDialog* d) {
        shown = listed(d);
        d->onCancelButton();
    });
    zFileDialog::getOpenFileName(nullptr, tree.path(), nullptr, 0, QString(), false, QString(), false, ChooseFolder);
    QCOMPARE(shown, folders);

    shown.clear();
    whenDialogShows([&](zFileDialog* d) {
        shown = listed(d);
        d->onCancelButton();
    });
    zFileDialog::getSaveFileName(nullptr, tree.path(), QString(), nullptr, 0);
    QCOMPARE(shown, folders);

    // A list of no groups is no groups either.
    QStringList none;
    shown.clear();
    whenDialogShows([&](zFileDialog* d) {
        shown = listed(d);
        d->onCancelButton();
    });
    zFileDialog::getOpenFileName(nullptr, tree.path(), &none, 0);
    QCOMPARE(shown, folders);
}

void TestDialogShell::tracActionIsKnownToTheMetaObjectSystem()
{
    const QMetaEnum e = QMetaEnum::fromType<zFileDialog::TracAction>();
    QCOMPARE(QByteArray(e.valueToKey(0)), QByteArray("tracing"));
    QCOMPARE(QByteArray(e.valueToKey(1)), QByteArray("no_tracing"));
    QVERIFY(QMetaType::type("zFileDialog::TracAction") != QMetaType::UnknownType);
}

void TestDialogShell::titleBarDragsTheWindow()
{
    OpenProject d;
    d.move(100, 100);
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    QWidget* bar = child<QWidget>(&d, "widgetTitleBar");
    const QPoint local(60, 12);
    const QPoint global = bar->mapToGlobal(local);
    const QPoint before = d.pos();
    QMouseEvent press(QEvent::MouseButtonPress, local, global, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(bar, &press);
    QMouseEvent move(QEvent::MouseMove, local + QPoint(40, 25), global + QPoint(40, 25), Qt::NoButton,
                     Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(bar, &move);
    QCOMPARE(d.pos(), before + QPoint(40, 25));
    QMouseEvent release(QEvent::MouseButtonRelease, local, global, Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(&d, &release);
    // Presses below the title band do not drag.
    const QPoint lowLocal(300, 400);
    QMouseEvent lowPress(QEvent::MouseButtonPress, lowLocal, d.mapToGlobal(lowLocal), Qt::LeftButton, Qt::LeftButton,
                         Qt::NoModifier);
    QApplication::sendEvent(&d, &lowPress);
    const QPoint after = d.pos();
    QMouseEvent lowMove(QEvent::MouseMove, lowLocal + QPoint(40, 25), d.mapToGlobal(lowLocal) + QPoint(40, 25),
                        Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&d, &lowMove);
    QCOMPARE(d.pos(), after);
}

void TestDialogShell::pressOnEmptyTableDisablesOkInOpenDialog()
{
    zFileDialog::isIopen = true;
    OpenProject d;
    d.resize(928, 597);
    d.show();
    d.updateCurrentPath(m_projects, zFileDialog::tracing);
    auto* table = child<QTableView>(&d, "FileDialog");
    auto* ok = child<QAbstractButton>(&d, "ok_button");
    const QRect first = table->visualRect(table->model()->index(0, 0));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, first.center());
    QVERIFY(ok->isEnabled());
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, QPoint(first.center().x(), table->viewport()->height() - 5));
    QVERIFY(!ok->isEnabled());
    QVERIFY(!table->currentIndex().isValid());
}

QTEST_MAIN(TestDialogShell)
#include "tst_dialogshell.moc"
