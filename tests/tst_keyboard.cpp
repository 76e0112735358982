// The keyboard in the dialog, driven by key events sent to whatever has the
// focus: where the keyboard starts, the address bar's keys, the order Tab
// follows, the column of places and the table as one stop each, and a row
// reached by a key treated as a pressed one.
#include "dialogsupport.h"
#include "filemenusupport.h"
#include "keyboardsupport.h"

#include "AddressBar.h"
#include "dialogs/SaveProject.h"
#include "fileInfoJsonUtil.h"
#include "filetableview.h"
#include "placeskeys.h"
#include "zBaseButton.h"
#include "zBaseLineEdit.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QListWidget>
#include <QStackedWidget>

using namespace filemenusupport;
using namespace keyboardsupport;

namespace {

class SaveProbe : public SaveProject
{
public:
    using zFileDialog::ui;
};

} // namespace

class TestKeyboard : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    // pure rules
    void stepPlaceSkipsWhatCannotBeUsed();
    void tabStopPrefersFocusedThenChecked();

    // where the keyboard starts
    void fileNameFieldHasTheKeyboardWhenOpenDialogOpens();
    void fileNameFieldHasTheKeyboardWhenSaveDialogOpens();

    // the address bar
    void ctrlLAltDAndF4FocusTheBarInEditMode();
    void typedPathAndReturnNavigate();
    void escapeInTheBarKeepsTheDialogAndFolder();

    // Tab
    void tabVisitsEveryControlInOrder();
    void backtabRunsTheOtherWay();
    void placesColumnIsOneTabStop();
    void pinnedFoldersAreInTheColumn();
    void tableIsOneTabStop();
    void returnOnAFocusedButtonPressesIt();

    // rows reached by keys
    void arrowsToAFileDoWhatAPressDoes();
    void arrowsToAFolderDoWhatAPressDoes();
    void returnAndOkOpenTheFileReachedByArrows();
    void saveDialogRowsReachedByArrows();

private:
    void showInWindow(Probe& d, const QString& folder);

    QTemporaryDir m_home;
    Case m_case;
};

void TestKeyboard::initTestCase()
{
    qputenv("HOME", QFile::encodeName(m_home.path()));
    QDir(m_home.path()).mkpath(QStringLiteral("Documents"));
    QDir(m_home.path()).mkpath(QStringLiteral("Desktop"));
}

void TestKeyboard::init()
{
    m_case.start(m_home.path());
    zFileDialog::isIopen = true;
    zFileDialog::SetCurrentPath(QString());
}

void TestKeyboard::cleanup()
{
    m_case.stop();
}

void TestKeyboard::showInWindow(Probe& d, const QString& folder)
{
    d.show();
    d.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&d));
    showFolder(d, folder);
}

// ---- pure rules ------------------------------------------------------------

void TestKeyboard::stepPlaceSkipsWhatCannotBeUsed()
{
    const QVector<bool> usable{false, true, false, true, true};
    QCOMPARE(pfd::stepPlace(usable, 1, 1), 3);
    QCOMPARE(pfd::stepPlace(usable, 3, -1), 1);
    QCOMPARE(pfd::stepPlace(usable, 1, -1), -1); // no wrapping round
    QCOMPARE(pfd::stepPlace(usable, 4, 1), -1);
    QCOMPARE(pfd::stepPlace(usable, -1, 1), 1);
    QCOMPARE(pfd::stepPlace(usable, 5, -1), 4);
}

void TestKeyboard::tabStopPrefersFocusedThenChecked()
{
    const QVector<bool> usable{false, true, true, true};
    QCOMPARE(pfd::placeTabStop(usable, 3, 2, 1), 3);
    QCOMPARE(pfd::placeTabStop(usable, -1, 2, 1), 2);
    QCOMPARE(pfd::placeTabStop(usable, -1, 0, 1), 1);  // the checked one is disabled
    QCOMPARE(pfd::placeTabStop(usable, -1, -1, 0), 1); // nor is the old stop usable
    QCOMPARE(pfd::placeTabStop(QVector<bool>{false, false}, -1, -1, -1), -1);
}

// ---- where the keyboard starts ------------------------------------------------

void TestKeyboard::fileNameFieldHasTheKeyboardWhenOpenDialogOpens()
{
    writeFile(m_case.root + QStringLiteral("/a.GCFX"), "x");
    QString focused;
    bool barFocused = true;
    int barItems = 0;
    dialogsupport::whenDialogShows([&](zFileDialog* d) {
        QTRY_VERIFY(QApplication::focusWidget());
        focused = focusName();
        auto* bar = dialogsupport::child<AddressBar>(d, "address_bar");
        barFocused = bar->hasFocus();
        barItems = bar->itemLayout()->count();
        d->onCancelButton();
    });
    QStringList groups{QStringLiteral("预算"), QStringLiteral("GCFX")};
    zFileDialog::getOpenFileName(nullptr, m_case.root, &groups, 1);
    QCOMPARE(focused, QStringLiteral("fileName_lineEdit"));
    QVERIFY(!barFocused);
    QVERIFY(barItems > 2); // segments, not the text field
}

void TestKeyboard::fileNameFieldHasTheKeyboardWhenSaveDialogOpens()
{
    QString focused;
    bool barFocused = true;
    dialogsupport::whenDialogShows([&](zFileDialog* d) {
        QTRY_VERIFY(QApplication::focusWidget());
        focused = focusName();
        barFocused = dialogsupport::child<AddressBar>(d, "address_bar")->hasFocus();
        d->onCancelButton();
    });
    QStringList groups{QStringLiteral("预算"), QStringLiteral("GCFX")};
    zFileDialog::getSaveFileName(nullptr, m_case.root, QStringLiteral("新工程"), &groups, 1);
    QCOMPARE(focused, QStringLiteral("fileName_lineEdit"));
    QVERIFY(!barFocused);
}

// ---- the address bar ------------------------------------------------------------

void TestKeyboard::ctrlLAltDAndF4FocusTheBarInEditMode()
{
    Probe d;
    showInWindow(d, m_case.root);
    AddressBar* bar = d.ui->addressBar;
    const QList<QPair<int, Qt::KeyboardModifiers>> keys{
        {Qt::Key_L, Qt::ControlModifier}, {Qt::Key_D, Qt::AltModifier}, {Qt::Key_F4, Qt::NoModifier}};
    for (const auto& k : keys) {
        d.ui->fileNameEdit->setFocus(Qt::OtherFocusReason);
        QVERIFY(!bar->hasFocus());
        key(k.first, k.second);
        QVERIFY2(bar->hasFocus(), qPrintable(QKeySequence(k.first | int(k.second)).toString()));
        QCOMPARE(bar->itemLayout()->count(), 0);
        QCOMPARE(bar->text(), m_case.root);
        QTRY_COMPARE(bar->selectedText(), m_case.root);
        key(Qt::Key_Escape);
        QVERIFY(!bar->hasFocus());
        QCOMPARE(focusName(), QStringLiteral("fileName_lineEdit"));
    }
}

void TestKeyboard::typedPathAndReturnNavigate()
{
    QDir().mkpath(m_case.root + QStringLiteral("/子目录/更深"));
    Probe d;
    showInWindow(d, m_case.root);
    AddressBar* bar = d.ui->addressBar;
    // A click on the bar's empty part, then the keyboard.
    QTest::mouseClick(bar, Qt::LeftButton, Qt::NoModifier, QPoint(bar->width() - 6, bar->height() / 2));
    QCOMPARE(focusName(), QStringLiteral("address_bar"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_A, Qt::ControlModifier);
    typeText(m_case.root + QStringLiteral("/子目录/更深"));
    key(Qt::Key_Return);
    QCOMPARE(d.currentDirectory(), m_case.root + QStringLiteral("/子目录/更深"));
    QVERIFY(!bar->hasFocus());
    QVERIFY(d.isVisible());
}

void TestKeyboard::escapeInTheBarKeepsTheDialogAndFolder()
{
    QDir().mkpath(m_case.root + QStringLiteral("/别处"));
    Probe d;
    showInWindow(d, m_case.root);
    key(Qt::Key_L, Qt::ControlModifier);
    typeText(m_case.root + QStringLiteral("/别处"));
    // The first Escape closes the list of sub-folders, the second the field.
    key(Qt::Key_Escape);
    QVERIFY(d.ui->addressBar->hasFocus());
    key(Qt::Key_Escape);
    QVERIFY(d.isVisible());
    QCOMPARE(d.currentDirectory(), m_case.root);
    QCOMPARE(d.ui->addressBar->currentPath(), m_case.root);
    QVERIFY(d.ui->addressBar->itemLayout()->count() > 2);
}

// ---- Tab ---------------------------------------------------------------------------

void TestKeyboard::tabVisitsEveryControlInOrder()
{
    writeFile(m_case.root + QStringLiteral("/a.GCFX"), "x");
    Probe d;
    d.onDocumentButton(); // the place shown is the column's stop
    showInWindow(d, m_case.root);
    QVERIFY(d.ui->backButton->isEnabled());
    // The field taking the keyboard enables OK, which Tab then reaches.
    d.ui->tableView->setFocus(Qt::OtherFocusReason);
    d.ui->fileNameEdit->setFocus(Qt::OtherFocusReason);
    QVERIFY(d.ui->okButton->isEnabled());
    QStringList seen;
    for (int i = 0; i < 13; ++i) {
        key(Qt::Key_Tab);
        seen << focusName();
    }
    const QStringList expected{"fileType_comboBox", "ok_button",         "cancel_button",    "maximize_button",
                               "close_button",      "my_document_button", "backwards_button", "address_bar",
                               "btnRefresh",        "createFile_button", "figure_button",    "FileDialog",
                               "fileName_lineEdit"};
    QCOMPARE(seen, expected);
}

void TestKeyboard::backtabRunsTheOtherWay()
{
    Probe d;
    d.onDocumentButton();
    showInWindow(d, m_case.root);
    d.ui->fileNameEdit->setFocus(Qt::OtherFocusReason);
    QStringList seen;
    for (int i = 0; i < 7; ++i) {
        key(Qt::Key_Backtab, Qt::ShiftModifier);
        seen << focusName();
    }
    const QStringList expected{"FileDialog",  "figure_button",    "createFile_button", "btnRefresh",
                               "address_bar", "backwards_button", "my_document_button"};
    QCOMPARE(seen, expected);
}

void TestKeyboard::placesColumnIsOneTabStop()
{
    Probe d;
    d.onDocumentButton();
    showInWindow(d, m_case.root);
    d.ui->backButton->setFocus(Qt::OtherFocusReason);
    key(Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(focusName(), QStringLiteral("my_document_button"));
    key(Qt::Key_Up);
    QCOMPARE(focusName(), QStringLiteral("computer_button"));
    key(Qt::Key_Up);
    QCOMPARE(focusName(), QStringLiteral("desktop_button"));
    key(Qt::Key_Down);
    key(Qt::Key_Down);
    key(Qt::Key_Down);
    QCOMPARE(focusName(), QStringLiteral("other_path_button"));
    // The arrows only move: nothing was opened on the way.
    QCOMPARE(d.currentDirectory(), m_case.root);
    // One stop: Tab leaves the column from wherever the focus is in it, and
    // Shift+Tab comes back to that place.
    key(Qt::Key_Up);
    key(Qt::Key_Tab);
    QCOMPARE(focusName(), QStringLiteral("backwards_button"));
    key(Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(focusName(), QStringLiteral("my_document_button"));
    // Return opens the place with the focus, Space too.
    key(Qt::Key_Up);
    key(Qt::Key_Return);
    QCOMPARE(d.currentDirectory(), QStringLiteral(":"));
    QVERIFY(d.ui->computerButton->isChecked());
    key(Qt::Key_Up);
    key(Qt::Key_Space);
    QCOMPARE(d.currentDirectory(), m_home.path() + QStringLiteral("/Desktop"));
    QVERIFY(d.ui->desktopButton->isChecked());
    // Every place reports that it can take the focus.
    for (QAbstractButton* place : d.ui->placeGroup->buttons())
        QVERIFY2(place->focusPolicy() != Qt::NoFocus, qPrintable(place->objectName()));
}

void TestKeyboard::pinnedFoldersAreInTheColumn()
{
    const QString pinned = m_case.root + QStringLiteral("/常用甲");
    QDir().mkpath(pinned);
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_case.app->store(), QStringLiteral("OftenUse"),
                                            record(pinned, QStringLiteral("文件夹")));
    Probe d;
    d.onDocumentButton();
    showInWindow(d, m_case.root);
    QCOMPARE(d.ui->oftenUseList->count(), 1);
    QWidget* button = d.ui->oftenUseList->itemWidget(d.ui->oftenUseList->item(0));
    QVERIFY(button);
    d.ui->documentButton->setFocus(Qt::TabFocusReason);
    key(Qt::Key_Down);
    QCOMPARE(focusName(), QStringLiteral("other_path_button"));
    key(Qt::Key_Down);
    QCOMPARE(QApplication::focusWidget(), button);
    key(Qt::Key_Down); // the last place: the focus stays
    QCOMPARE(QApplication::focusWidget(), button);
    key(Qt::Key_Tab);
    QCOMPARE(focusName(), QStringLiteral("backwards_button"));
    key(Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(QApplication::focusWidget(), button);
    key(Qt::Key_Return);
    QCOMPARE(d.currentDirectory(), pinned);
    QCOMPARE(zFileDialog::iClickedBtn, 7);
}

void TestKeyboard::tableIsOneTabStop()
{
    for (const char* n : {"a.GCFX", "b.GCFX", "c.GCFX"})
        writeFile(m_case.root + QLatin1Char('/') + QLatin1String(n), "x");
    Probe d;
    showInWindow(d, m_case.root);
    d.ui->fileNameEdit->setText(QStringLiteral("已输入"));
    d.ui->figureButton->setFocus(Qt::OtherFocusReason);
    key(Qt::Key_Tab);
    QCOMPARE(focusName(), QStringLiteral("FileDialog"));
    // Reached by Tab, the first row carries the frame, unselected.
    QCOMPARE(currentName(d), QStringLiteral("a.GCFX"));
    QVERIFY(d.ui->tableView->selectionModel()->selectedRows().isEmpty());
    // Nothing was picked: the name typed before stays.
    QCOMPARE(d.ui->fileNameEdit->text(), QStringLiteral("已输入"));
    key(Qt::Key_Down);
    QCOMPARE(currentName(d), QStringLiteral("b.GCFX"));
    key(Qt::Key_Right); // columns are no stops either
    key(Qt::Key_Down);
    QCOMPARE(currentName(d), QStringLiteral("c.GCFX"));
    key(Qt::Key_Tab);
    QCOMPARE(focusName(), QStringLiteral("fileName_lineEdit"));
    key(Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(focusName(), QStringLiteral("FileDialog"));
    QCOMPARE(currentName(d), QStringLiteral("c.GCFX"));
}

void TestKeyboard::returnOnAFocusedButtonPressesIt()
{
    writeFile(m_case.root + QStringLiteral("/a.GCFX"), "x");
    Probe d;
    showInWindow(d, m_case.root);
    d.ui->fileNameEdit->setText(QStringLiteral("a.GCFX"));
    d.ui->cancelButton->setFocus(Qt::TabFocusReason);
    key(Qt::Key_Return);
    // Cancel, not the accept that Return runs elsewhere.
    QCOMPARE(d.result(), int(QDialog::Rejected));
    QCOMPARE(d.resultPath(), QString());
}

// ---- rows reached by keys ------------------------------------------------------

void TestKeyboard::arrowsToAFileDoWhatAPressDoes()
{
    QDir().mkpath(m_case.root + QStringLiteral("/甲目录"));
    writeFile(m_case.root + QStringLiteral("/乙.GCFX"), "x");
    Probe d;
    showInWindow(d, m_case.root);
    QVERIFY(!d.ui->okButton->isEnabled());
    d.ui->tableView->setFocus(Qt::MouseFocusReason);
    key(Qt::Key_Down); // the folder
    key(Qt::Key_Down); // the file
    QCOMPARE(currentName(d), QStringLiteral("乙.GCFX"));
    QVERIFY(d.ui->okButton->isEnabled());
    QCOMPARE(d.ui->okButton->text(), QStringLiteral("确定"));
    QCOMPARE(d.ui->fileNameEdit->text(), QStringLiteral("乙.GCFX"));
}

void TestKeyboard::arrowsToAFolderDoWhatAPressDoes()
{
    QDir().mkpath(m_case.root + QStringLiteral("/甲目录"));
    writeFile(m_case.root + QStringLiteral("/乙.GCFX"), "x");
    Probe d;
    showInWindow(d, m_case.root);
    d.ui->tableView->setFocus(Qt::MouseFocusReason);
    key(Qt::Key_Down);
    key(Qt::Key_End, Qt::ControlModifier);
    QCOMPARE(d.ui->fileNameEdit->text(), QStringLiteral("乙.GCFX"));
    key(Qt::Key_Home, Qt::ControlModifier);
    QCOMPARE(currentName(d), QStringLiteral("甲目录"));
    QCOMPARE(d.ui->okButton->text(), QStringLiteral("打开"));
    QVERIFY(d.ui->fileNameEdit->text().isEmpty());
    QVERIFY(d.ui->okButton->isEnabled());
}

void TestKeyboard::returnAndOkOpenTheFileReachedByArrows()
{
    writeFile(m_case.root + QStringLiteral("/乙.GCFX"), "x");
    {
        Probe d;
        showInWindow(d, m_case.root);
        d.ui->tableView->setFocus(Qt::MouseFocusReason);
        key(Qt::Key_Down);
        QVERIFY(d.ui->okButton->isEnabled());
        QTest::mouseClick(d.ui->okButton, Qt::LeftButton);
        QCOMPARE(d.resultPath(), QDir::toNativeSeparators(m_case.root + QStringLiteral("/乙.GCFX")));
    }
    Probe d;
    showInWindow(d, m_case.root);
    d.ui->tableView->setFocus(Qt::MouseFocusReason);
    key(Qt::Key_Down);
    key(Qt::Key_Return);
    QCOMPARE(d.resultPath(), QDir::toNativeSeparators(m_case.root + QStringLiteral("/乙.GCFX")));
}

void TestKeyboard::saveDialogRowsReachedByArrows()
{
    QDir().mkpath(m_case.root + QStringLiteral("/甲目录"));
    writeFile(m_case.root + QStringLiteral("/乙.GCFX"), "x");
    SaveProbe d;
    d.show();
    d.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&d));
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.updateCurrentPath(m_case.root, zFileDialog::tracing);
    d.ui->tableView->setFocus(Qt::MouseFocusReason);
    key(Qt::Key_Down);
    QCOMPARE(d.ui->okButton->text(), QStringLiteral("打开"));
    key(Qt::Key_Down);
    QCOMPARE(d.ui->okButton->text(), QStringLiteral("保存"));
    QCOMPARE(d.ui->fileNameEdit->text(), QStringLiteral("乙.GCFX"));
}

QTEST_MAIN(TestKeyboard)
#include "tst_keyboard.moc"
