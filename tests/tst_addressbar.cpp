// The address bar: breadcrumb segments and their paths, the drop-down lists,
// fitting into a narrow bar, the menu-bar behaviour of open menus and the
// text field of edit mode. Widgets are driven with real mouse and key events
// in a shown window; the directory service is scripted.
#include "knownfolderpaths.h"
#include "testsupport.h"
#include "widgets/AddressBar.h"
#include "widgets/AddressItem.h"
#include "widgets/MenuWidget.h"
#include "widgets/addresspath.h"
#include "zBaseButton.h"
#include "zBaseControlTesting.h"
#include "zBaseMenu.h"
#include "zBaseTheme.h"

#include <QDir>
#include <QFile>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QtTest>

#include <memory>

using namespace testsupport;

namespace {

const QString kLongName = QStringLiteral("工程造价预算审核资料汇编二零二四年度终稿");

// Types text the way a keyboard would, one key event per character
// (QTest::keyClicks only manages Latin-1).
void typeText(QWidget* widget, const QString& text)
{
    for (const QChar ch : text) {
        QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(ch));
        QCoreApplication::sendEvent(widget, &press);
        QKeyEvent release(QEvent::KeyRelease, 0, Qt::NoModifier, QString(ch));
        QCoreApplication::sendEvent(widget, &release);
    }
}

QPoint textPoint(const AddressItem* item)
{
    return QPoint(qMax(1, item->segmentTextWidth() / 2), 10);
}

QPoint arrowPoint(const AddressItem* item)
{
    return QPoint(item->segmentTextWidth() + 8, 10);
}

QStringList column(const QStandardItemModel* model, int role)
{
    QStringList values;
    for (int r = 0; r < model->rowCount(); ++r)
        values << model->index(r, 0).data(role).toString();
    return values;
}

} // namespace

class TestAddressBar : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void segmentRules_data();
    void segmentRules();
    void typedTextRules();
    void fitHidesShallowFirstAndKeepsBoundary();

    void segmentsReadFromLayout_data();
    void segmentsReadFromLayout();
    void layoutHoldsIconRootSegmentsAndStretch();
    void thisPcListsDrivesWithLabels();
    void longTextIsShortenedWithFullTooltip();
    void narrowingHidesShallowSegmentsAndWideningShowsThem();
    void secondArrowClickClosesMenu();
    void clickingTextEmitsSegmentPath_data();
    void clickingTextEmitsSegmentPath();
    void folderListKeepsFoldersShortcutsAndDrives();
    void clickingListRowEmitsTarget();
    void rootListsStandardPlaces();
    void rootArrowOpensThePlacesWhateverTheWorkingFolder();
    void openSegmentIsFilledAsHovered();
    void hoveredSegmentOutlinesItsTextAndArrowParts();
    void listScrollBarsUseThePlainButtonColours();
    void segmentListsAreReadWhenTheBarIsBuilt();
    void movingOverAnotherSegmentSwitchesMenu();
    void uncheckOpenItemClosesMenu();

    void pressOnEmptyAreaShowsPathAsText();
    void pressWhileEditingMovesTheCaret();
    void returnWithFolderRedrawsAndEmits();
    void returnWithBareEKeepsPath();
    void focusOutWithFolderRedrawsWithoutSignal();
    void clickOnEmptyPartFocusesTheBar();
    void pressOnSegmentLeavesTheFocus();
    void tabReachesTheBarInEditMode();
    void escapeRestoresSegmentsWithoutNavigating();
    void returnGivesTheKeyboardBack();

private:
    QList<AddressItem*> segments() const;
    AddressItem* root() const;
    void enterEditMode();
    void answerFolders(const QMap<QString, QByteArray>& answers);

    std::unique_ptr<AppDir> m_app;
    std::unique_ptr<QTemporaryDir> m_tree;
    std::unique_ptr<QWidget> m_window;
    AddressBar* m_bar = nullptr;
    QLineEdit* m_other = nullptr;
    QString m_a, m_b; // two folders with sub-folders: "<tree>/工程 A", "<tree>/工程&B"
};

void TestAddressBar::initTestCase()
{
    zBaseControlTesting::setScaleFactor(1.0);
}

void TestAddressBar::init()
{
    m_app = std::make_unique<AppDir>();
    m_tree = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/abt-XXXXXX"));
    QVERIFY(m_tree->isValid());
    m_a = m_tree->path() + QStringLiteral("/工程 A");
    m_b = m_tree->path() + QStringLiteral("/工程&B");
    QVERIFY(QDir().mkpath(m_a + QStringLiteral("/子目录 1")));
    QVERIFY(QDir().mkpath(m_b + QStringLiteral("/子目录 #2")));
    answerDirRequests(rows({row(QStringLiteral("子目录 1"), QStringLiteral("文件夹"))}));

    m_window = std::make_unique<QWidget>();
    m_window->resize(640, 80);
    m_bar = new AddressBar(m_window.get());
    m_bar->setGeometry(10, 10, 600, 28);
    m_other = new QLineEdit(m_window.get());
    m_other->setGeometry(10, 45, 200, 24);
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
}

void TestAddressBar::cleanup()
{
    m_window.reset(); // owns the bar and the other field
    m_tree.reset();
    m_app.reset();
}

QList<AddressItem*> TestAddressBar::segments() const
{
    QList<AddressItem*> items;
    QHBoxLayout* layout = m_bar->itemLayout();
    for (int i = 2; i < layout->count() - 1; ++i)
        items << qobject_cast<AddressItem*>(layout->itemAt(i)->widget());
    return items;
}

AddressItem* TestAddressBar::root() const
{
    QHBoxLayout* layout = m_bar->itemLayout();
    return layout->count() > 1 ? qobject_cast<AddressItem*>(layout->itemAt(1)->widget()) : nullptr;
}

void TestAddressBar::enterEditMode()
{
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    // A press on the empty part shows the path in the field and gives the
    // bar the keyboard.
    QTest::mouseClick(m_bar, Qt::LeftButton, Qt::NoModifier, QPoint(m_bar->width() - 8, 14));
    QVERIFY(m_bar->hasFocus());
    QCOMPARE(m_bar->itemLayout()->count(), 0);
    // Focus-in selects the whole path on the next turn of the event loop.
    QTRY_VERIFY(!m_bar->text().isEmpty() && m_bar->selectedText() == m_bar->text());
}

void TestAddressBar::answerFolders(const QMap<QString, QByteArray>& answers)
{
    SharedInterfaceTesting::setDirService([answers](const QString& dir) {
        return answers.value(dir, QByteArray("[]"));
    });
}

// ---- the string rules ------------------------------------------------------

void TestAddressBar::segmentRules_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QStringList>("paths");
    QTest::newRow("drive, backslashes") << "C:\\a\\b\\" << QStringList{"C:", "a", "b"}
                                        << QStringList{"C:", "C:\\a", "C:\\a\\b"};
    QTest::newRow("drive list, slash") << ":/" << QStringList{":"} << QStringList{":"};
    QTest::newRow("posix root") << "/" << QStringList{"/"} << QStringList{"/"};
    QTest::newRow("posix backslash name") << "/srv/a\\b" << QStringList{"/", "srv", "a\\b"}
                                          << QStringList{"/", "/srv", "/srv/a\\b"};
    QTest::newRow("cloud") << "个人云盘\\a" << QStringList{"个人云盘", "a"}
                           << QStringList{"个人云盘", "个人云盘\\a"};
    QTest::newRow("empty") << "" << QStringList{} << QStringList{};
}

void TestAddressBar::segmentRules()
{
    QFETCH(QString, path);
    QFETCH(QStringList, texts);
    QFETCH(QStringList, paths);
    QStringList gotTexts, gotPaths;
    for (const pfd::AddressSegment& s : pfd::addressSegments(path)) {
        gotTexts << s.text;
        gotPaths << s.path;
    }
    QCOMPARE(gotTexts, texts);
    QCOMPARE(gotPaths, paths);
}

void TestAddressBar::typedTextRules()
{
    QCOMPARE(pfd::addressShownText(":"), QStringLiteral("此电脑"));
    QCOMPARE(pfd::addressShownText(":/"), QStringLiteral("此电脑"));
    QCOMPARE(pfd::addressShownText("C:"), QStringLiteral("C:"));
    QCOMPARE(pfd::addressShortText(kLongName), kLongName.left(12) + "...");
    QCOMPARE(pfd::addressEditText("D:"), QStringLiteral("D:\\"));
    QCOMPARE(pfd::addressEditText("D:\\x"), QStringLiteral("D:\\x"));
    // Only "E:" gets its backslash on Return: the host's dialog does so.
    QCOMPARE(pfd::addressTypedPath("E:"), QStringLiteral("E:/"));
    QCOMPARE(pfd::addressTypedPath("D:"), QStringLiteral("D:"));
    QCOMPARE(pfd::addressTypedPath("C:\\a\\b"), QStringLiteral("C:/a/b"));
    QCOMPARE(pfd::addressTypedPath("/srv/a\\b"), QStringLiteral("/srv/a\\b"));
    QCOMPARE(pfd::addressEditPath("C:/a"), QStringLiteral("C:\\a"));
    QCOMPARE(pfd::addressEditPath("/home/a"), QStringLiteral("/home/a"));
    QCOMPARE(pfd::addressClickedPath("//srv\\share"), QStringLiteral("\\\\srv\\share"));
    QCOMPARE(pfd::addressClickedPath("/srv/a\\b"), QStringLiteral("/srv/a\\b"));
}

void TestAddressBar::fitHidesShallowFirstAndKeepsBoundary()
{
    pfd::AddressFit fit = pfd::fitAddressSegments({30, 40, 50}, 200);
    QCOMPARE(fit.visible, (QVector<bool>{true, true, true}));
    QVERIFY(!fit.backArrow);

    fit = pfd::fitAddressSegments({30, 40, 50}, 100);
    QCOMPARE(fit.visible, (QVector<bool>{false, true, true}));
    QVERIFY(fit.backArrow);

    // A total exactly equal to the room hides the shallowest segment but
    // keeps the normal arrow.
    fit = pfd::fitAddressSegments({30, 40, 50}, 120);
    QCOMPARE(fit.visible, (QVector<bool>{false, true, true}));
    QVERIFY(!fit.backArrow);
}

// ---- segments --------------------------------------------------------------

void TestAddressBar::segmentsReadFromLayout_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QStringList>("paths");
    QTest::newRow("windows") << "C:/a/b" << QStringList{"C:", "a", "b"}
                             << QStringList{"C:", "C:\\a", "C:\\a\\b"};
    QTest::newRow("unc") << "\\\\srv\\share\\x" << QStringList{"//srv", "share", "x"}
                         << QStringList{"//srv", "//srv\\share", "//srv\\share\\x"};
    QTest::newRow("posix") << "/home/user/工程" << QStringList{"/", "home", "user", "工程"}
                           << QStringList{"/", "/home", "/home/user", "/home/user/工程"};
    QTest::newRow("this pc") << ":" << QStringList{"此电脑"} << QStringList{":"};
}

void TestAddressBar::segmentsReadFromLayout()
{
    QFETCH(QString, path);
    QFETCH(QStringList, texts);
    QFETCH(QStringList, paths);
    m_bar->setPath(path);
    QStringList gotTexts, gotPaths;
    for (AddressItem* item : segments()) {
        gotTexts << item->segmentText();
        gotPaths << item->segmentPath();
        QVERIFY(!item->isHidden());
    }
    QCOMPARE(gotTexts, texts);
    QCOMPARE(gotPaths, paths);
}

void TestAddressBar::layoutHoldsIconRootSegmentsAndStretch()
{
    m_bar->setPath(QStringLiteral("C:\\a\\b"));
    QCOMPARE(m_bar->currentPath(), QStringLiteral("C:/a/b"));
    QHBoxLayout* layout = m_bar->itemLayout();
    QCOMPARE(layout->count(), 6);
    QVERIFY(qobject_cast<QLabel*>(layout->itemAt(0)->widget()));
    QCOMPARE(layout->itemAt(0)->widget()->size(), QSize(17, 20));
    QVERIFY(root()->isRootItem());
    QCOMPARE(root()->size(), QSize(17, 21));
    QVERIFY(layout->itemAt(5)->spacerItem());
    for (AddressItem* item : segments()) {
        QCOMPARE(item->controlType(), 63);
        QVERIFY(item->isCheckable());
        QCOMPARE(item->size(), QSize(17 + item->segmentTextWidth(), 21));
        // Hover fill, outline (role 17) and text colours survive the host's
        // button style sheet.
        const QPalette pal = item->palette();
        QCOMPARE(pal.color(QPalette::Active, QPalette::Window), QColor("#EEF3FD"));
        QCOMPARE(pal.color(QPalette::Active, QPalette::ColorRole(17)), QColor("#C9D8F5"));
        QCOMPARE(pal.color(QPalette::Inactive, QPalette::WindowText), QColor("#1F2329"));
    }
}

void TestAddressBar::thisPcListsDrivesWithLabels()
{
    answerFolders({{":", rows({row("C:", "本地磁盘", "", "", "系统"), row("D:", "本地磁盘", "", "", "数据"),
                               row("Z:", "网络驱动", "", "\\\\nas\\share", "共享")})}});
    m_bar->setPath(QStringLiteral(":"));
    const QList<AddressItem*> items = segments();
    QCOMPARE(items.size(), 1);
    AddressItem* pc = items.at(0);
    QCOMPARE(pc->segmentText(), QStringLiteral("此电脑"));
    QCOMPARE(pc->segmentPath(), QStringLiteral(":"));
    // The segment reads the drives when it is made; opening it reads nothing.
    QCOMPARE(SharedInterfaceTesting::dirRequests().count(QStringLiteral(":")), 1);

    QTest::mouseClick(pc, Qt::LeftButton, Qt::NoModifier, arrowPoint(pc));
    QTRY_VERIFY(pc->popupMenu()->isVisible());
    QCOMPARE(SharedInterfaceTesting::dirRequests().count(QStringLiteral(":")), 1);
    auto* view = pc->popupMenu()->findChild<QListView*>(QStringLiteral("listView"));
    QVERIFY(view);
    QVERIFY(view->isVisible());
    auto* model = qobject_cast<QStandardItemModel*>(view->model());
    QVERIFY(model);
    QCOMPARE(column(model, Qt::DisplayRole), (QStringList{"系统 (C:)", "数据 (D:)", "共享 (Z:)"}));
    QCOMPARE(column(model, 257), (QStringList{"C:\\", "D:\\", "\\\\nas\\share"}));
}

void TestAddressBar::longTextIsShortenedWithFullTooltip()
{
    QCOMPARE(kLongName.size(), 20);
    const QFontMetrics metrics(m_bar->font());
    QVERIFY(8 + metrics.horizontalAdvance(kLongName) > 155);

    m_bar->setPath(QStringLiteral("C:\\") + kLongName);
    AddressItem* item = segments().value(1);
    QVERIFY(item);
    QCOMPARE(item->segmentText(), kLongName.left(12) + QStringLiteral("..."));
    QCOMPARE(item->toolTip(), kLongName);
    QCOMPARE(item->segmentTextWidth(), 8 + metrics.horizontalAdvance(item->segmentText()));
    QCOMPARE(item->width(), 17 + item->segmentTextWidth());

    // A short text keeps no tooltip.
    QVERIFY(segments().value(0)->toolTip().isEmpty());
}

void TestAddressBar::narrowingHidesShallowSegmentsAndWideningShowsThem()
{
    m_bar->setPath(QStringLiteral("C:\\工程文件\\二级目录\\三级目录\\四级目录"));
    QList<AddressItem*> items = segments();
    QCOMPARE(items.size(), 5);
    for (AddressItem* item : items)
        QVERIFY(!item->isHidden());
    QVERIFY(!root()->showsBackArrow());

    m_bar->resize(250, 28);
    const int available = 250 - 34;
    int total = 0;
    int shown = 0;
    for (int i = items.size() - 1; i >= 0; --i) {
        total += items.at(i)->width();
        QCOMPARE(items.at(i)->isHidden(), !(total < available));
        shown += items.at(i)->isHidden() ? 0 : 1;
    }
    QVERIFY(shown >= 1 && shown < items.size());
    QVERIFY(items.first()->isHidden());
    QVERIFY(!items.last()->isHidden());
    QVERIFY(root()->showsBackArrow());

    m_bar->resize(600, 28);
    for (AddressItem* item : items)
        QVERIFY(!item->isHidden());
    QVERIFY(!root()->showsBackArrow());

    // A bar too narrow from the start builds its segments hidden already.
    m_bar->resize(250, 28);
    m_bar->setPath(QStringLiteral("C:\\工程文件\\二级目录\\三级目录\\四级目录"));
    items = segments();
    QVERIFY(items.first()->isHidden());
    QVERIFY(!items.last()->isHidden());
    QVERIFY(root()->showsBackArrow());
}

void TestAddressBar::secondArrowClickClosesMenu()
{
    m_bar->setPath(m_a);
    AddressItem* item = segments().last();
    QCOMPARE(item->segmentText(), QStringLiteral("工程 A"));
    zBaseMenu* menu = item->popupMenu();
    QVERIFY(menu);
    QVERIFY(menu->windowFlags().testFlag(Qt::ToolTip));

    QTest::mouseClick(item, Qt::LeftButton, Qt::NoModifier, arrowPoint(item));
    QVERIFY(item->isChecked());
    QTRY_VERIFY(menu->isVisible());
    QCOMPARE(m_bar->checkedItem(), item);
    // Under the arrow, just below the segment.
    const QPoint corner = item->mapToGlobal(QPoint(0, 0));
    QCOMPARE(menu->pos(), corner + QPoint(item->segmentTextWidth() - 30 + 17, 20));

    QTest::mouseClick(item, Qt::LeftButton, Qt::NoModifier, arrowPoint(item));
    QVERIFY(!item->isChecked());
    QTRY_VERIFY(!menu->isVisible());
    QVERIFY(!m_bar->checkedItem());

    // And a third click opens it again.
    QTest::mouseClick(item, Qt::LeftButton, Qt::NoModifier, arrowPoint(item));
    QTRY_VERIFY(menu->isVisible());
}

void TestAddressBar::clickingTextEmitsSegmentPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("expected");
    QTest::newRow("windows") << "C:/a/b" << 1 << "C:\\a";
    QTest::newRow("windows drive") << "C:/a/b" << 0 << "C:";
    QTest::newRow("unc") << "\\\\srv\\share\\x" << 1 << "\\\\srv\\share";
    QTest::newRow("drive list") << ":" << 0 << ":";
    QTest::newRow("posix") << "/home/user/工程" << 2 << "/home/user";
    QTest::newRow("posix root") << "/home/user/工程" << 0 << "/";
}

void TestAddressBar::clickingTextEmitsSegmentPath()
{
    QFETCH(QString, path);
    QFETCH(int, index);
    QFETCH(QString, expected);
    m_bar->setPath(path);
    AddressItem* item = segments().value(index);
    QVERIFY(item);
    QSignalSpy changed(m_bar, &AddressBar::SCurrentPathChanged);
    QTest::mouseClick(item, Qt::LeftButton, Qt::NoModifier, textPoint(item));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.at(0).at(0).toString(), expected);
    // The text part navigates; it does not open the menu.
    QVERIFY(!item->isChecked());
    QVERIFY(!item->popupMenu()->isVisible());
}

void TestAddressBar::folderListKeepsFoldersShortcutsAndDrives()
{
    const QString dir = m_tree->path();
    const QString file = dir + QStringLiteral("/说明.txt");
    {
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
    }
    answerFolders({{dir, rows({row("子目录", "文件夹"), row("报表 #1.GCFX", "GCFX 文件", "12KB"),
                               row("到工程.lnk", "快捷方式", "", m_a),
                               row("网络.lnk", "快捷方式", "", "\\\\srv\\共享"),
                               row("文件.lnk", "快捷方式", "", file),
                               row("D:", "本地磁盘"), row("Z:", "网络驱动", "", "\\\\nas\\share"),
                               row("F:", "移动硬盘"), row("R:", "RAM磁盘"), row("G:", "CD-ROM")})}});
    MenuWidget list(false, nullptr);
    QCOMPARE(list.objectName(), QStringLiteral("MenuWidget"));
    QCOMPARE(list.windowTitle(), QStringLiteral("Form"));
    QCOMPARE(list.controlType(), 3);
    QCOMPARE(list.size(), QSize(217, 289));
    QVERIFY(list.view());
    QCOMPARE(list.view()->objectName(), QStringLiteral("listView"));

    list.setFolder(dir);
    const QStandardItemModel* model = list.rowsModel();
    QCOMPARE(column(model, Qt::DisplayRole),
             (QStringList{"子目录", "到工程.lnk", "网络.lnk", "D:", "Z:", "F:", "R:", "G:"}));
    QCOMPARE(column(model, 257), (QStringList{dir + "/子目录", m_a, "\\\\srv\\共享", "D:\\",
                                             "\\\\nas\\share", "F:\\", "R:\\", "G:\\"}));
    for (int r = 0; r < model->rowCount(); ++r)
        QVERIFY(!model->item(r)->icon().isNull());

    // Filling again replaces the rows; a path that is no folder changes nothing.
    list.setFolder(dir);
    QCOMPARE(model->rowCount(), 8);
    list.setFolder(dir + QStringLiteral("/不存在"));
    QCOMPARE(model->rowCount(), 8);
}

void TestAddressBar::clickingListRowEmitsTarget()
{
    answerFolders({{m_a, rows({row("子目录 1", "文件夹")})}});
    m_bar->setPath(m_a);
    AddressItem* item = segments().last();
    QSignalSpy itemClicked(item, &AddressItem::SClickPath);
    QSignalSpy changed(m_bar, &AddressBar::SCurrentPathChanged);

    QTest::mouseClick(item, Qt::LeftButton, Qt::NoModifier, arrowPoint(item));
    QTRY_VERIFY(item->popupMenu()->isVisible());
    QListView* view = item->listWidget()->view();
    QVERIFY(view->isVisible());
    const QModelIndex first = view->model()->index(0, 0);
    const QRect rect = view->visualRect(first);
    QVERIFY(rect.isValid());
    QCOMPARE(rect.height(), 28);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, Qt::NoModifier, rect.center());

    const QString target = m_a + QStringLiteral("/子目录 1");
    QCOMPARE(itemClicked.count(), 1);
    QCOMPARE(itemClicked.at(0).at(0).toString(), target);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.at(0).at(0).toString(), target);
}

void TestAddressBar::rootListsStandardPlaces()
{
    m_bar->setPath(QStringLiteral("C:/a"));
    AddressItem* r = root();
    QVERIFY(r);
    QVERIFY(r->segmentText().isEmpty());
    QCOMPARE(r->segmentTextWidth(), 0);
    const QStandardItemModel* model = r->listWidget()->rowsModel();
    QCOMPARE(column(model, Qt::DisplayRole), (QStringList{"桌面", "我的文档", "图片"}));
    QCOMPARE(column(model, 257), (QStringList{pfd::knownFolder(pfd::KnownFolder::Desktop),
                                             pfd::knownFolder(pfd::KnownFolder::Documents),
                                             pfd::knownFolder(pfd::KnownFolder::Pictures)}));
    for (int i = 0; i < 3; ++i)
        QVERIFY(!model->item(i)->icon().isNull());

}

void TestAddressBar::rootArrowOpensThePlacesWhateverTheWorkingFolder()
{
    // The root stands for the standard places, not for a folder: its empty
    // path must not make it ask the working folder for sub-folders.
    const QString before = QDir::currentPath();
    QTemporaryDir bare;
    QVERIFY(QDir::setCurrent(bare.path()));
    m_bar->setPath(QStringLiteral("C:/a"));
    AddressItem* r = root();
    QVERIFY(r);
    QCOMPARE(r->segmentPath(), QString());
    QTest::mouseClick(r, Qt::LeftButton, Qt::NoModifier, QPoint(8, 10));
    QVERIFY(r->isChecked());
    QTRY_VERIFY(r->popupMenu()->isVisible());
    QCOMPARE(r->listWidget()->rowsModel()->rowCount(), 3);
    QTest::mouseClick(r, Qt::LeftButton, Qt::NoModifier, QPoint(8, 10));
    QVERIFY(!r->isChecked());
    QTRY_VERIFY(!r->popupMenu()->isVisible());
    QVERIFY(QDir::setCurrent(before));
}

void TestAddressBar::openSegmentIsFilledAsHovered()
{
    // "C:\a" is no folder here, so checking the segment opens no menu.
    m_bar->setPath(QStringLiteral("C:/a"));
    AddressItem* item = segments().last();
    QVERIFY(item);
    const QPoint inside(3, 10); // in the text part's margin, clear of text and outline
    QEvent enter(QEvent::Enter);
    QCoreApplication::sendEvent(item, &enter);
    const QColor hovered = item->grab().toImage().pixelColor(inside);
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(item, &leave);
    item->setChecked(true);
    QVERIFY(item->isChecked());
    const QColor checked = item->grab().toImage().pixelColor(inside);
    QCOMPARE(hovered, item->palette().color(QPalette::Active, QPalette::Window));
    QCOMPARE(checked, hovered);
    m_bar->uncheckOpenItem();
}

void TestAddressBar::hoveredSegmentOutlinesItsTextAndArrowParts()
{
    m_bar->setPath(QStringLiteral("C:/a"));
    AddressItem* item = segments().last();
    QVERIFY(item);
    QEvent enter(QEvent::Enter);
    QCoreApplication::sendEvent(item, &enter);
    const QImage image = item->grab().toImage();
    const QPalette pal = item->palette();
    const QColor outline = pal.color(QPalette::Active, QPalette::ColorRole(17));
    const QColor fill = pal.color(QPalette::Active, QPalette::Window);
    const int text = item->segmentTextWidth();
    // Two rectangles side by side: the text part's corners, the rule where
    // the arrow part starts, and the arrow part's far corners.
    QCOMPARE(image.pixelColor(0, 0), outline);
    QCOMPARE(image.pixelColor(0, 19), outline);
    QCOMPARE(image.pixelColor(text - 1, 10), outline);
    QCOMPARE(image.pixelColor(text, 10), outline);
    QCOMPARE(image.pixelColor(text + 16, 0), outline);
    QCOMPARE(image.pixelColor(text + 16, 19), outline);
    // The whole item is filled, below the 20-pixel parts too.
    QCOMPARE(image.pixelColor(text + 8, 20), fill);
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(item, &leave);
}

void TestAddressBar::listScrollBarsUseThePlainButtonColours()
{
    zBaseControlTesting::setThemeColor(QStringLiteral("button-color"), QStringLiteral("#101010"));
    zBaseControlTesting::setThemeColor(QStringLiteral("button-hover-color"), QStringLiteral("#202020"));
    zBaseControlTesting::setThemeColor(QStringLiteral("button-disabled-color"), QStringLiteral("#303030"));
    zBaseControlTesting::setThemeColor(QStringLiteral("font-color"), QStringLiteral("#404040"));
    const zBaseTheme::ButtonColours plain = zBaseTheme::plainButton();
    const QString sheet = MenuWidget(false, nullptr).findChild<QListView*>(QStringLiteral("listView"))->styleSheet();
    zBaseButton button;
    button.ensurePolished();
    const QString buttonSheet = button.styleSheet();
    zBaseControlTesting::reset();
    zBaseControlTesting::setScaleFactor(1.0);

    // The plain button's own sheet is painted in these colours...
    QCOMPARE(plain.normal, QStringLiteral("#101010"));
    QCOMPARE(plain.hover, QStringLiteral("#202020"));
    QCOMPARE(plain.disabled, QStringLiteral("#303030"));
    QCOMPARE(plain.font, QStringLiteral("#404040"));
    QVERIFY2(buttonSheet.contains(QStringLiteral("QPushButton{background:#101010;color:#404040;")), qPrintable(buttonSheet));
    QVERIFY(buttonSheet.contains(QStringLiteral("QPushButton:hover{background:#202020;}")));
    QVERIFY(buttonSheet.contains(QStringLiteral("QPushButton:disabled{color:#B0B6BF;background:#303030;}")));
    // ...and the list takes them in their roles: bar normal, handle hover,
    // handle under the pointer disabled.
    QVERIFY2(sheet.startsWith(QStringLiteral("#listView{border:none;\nbackground-color:#101010;color:#404040}")),
             qPrintable(sheet));
    for (const char* o : {"vertical", "horizontal"}) {
        const QString orientation = QLatin1String(o);
        QVERIFY(sheet.contains(QStringLiteral("QScrollBar:%1{background:#101010;").arg(orientation)));
        QVERIFY(sheet.contains(QStringLiteral("QScrollBar::handle:%1{background:#202020;").arg(orientation)));
        QVERIFY(sheet.contains(QStringLiteral("QScrollBar::handle:%1:hover{background:#303030;}").arg(orientation)));
        QVERIFY(sheet.contains(
            QStringLiteral("QScrollBar::sub-page:%1,QScrollBar::add-page:%1{background:#101010;}").arg(orientation)));
    }
}

void TestAddressBar::segmentListsAreReadWhenTheBarIsBuilt()
{
    m_bar->setPath(m_a);
    const QList<AddressItem*> items = segments();
    QVERIFY(items.size() >= 2);
    // Every segment has its pop-up and has asked for its folder, before any
    // arrow was opened.
    for (AddressItem* item : items) {
        QVERIFY(item->popupMenu());
        QVERIFY2(SharedInterfaceTesting::dirRequests().contains(item->segmentPath()),
                 qPrintable(item->segmentPath()));
    }
    QCOMPARE(column(items.last()->listWidget()->rowsModel(), Qt::DisplayRole), QStringList{"子目录 1"});
    // A folder that changes afterwards: the list shows it as it was.
    answerFolders({{m_a, rows({row("子目录 1", "文件夹"), row("新目录", "文件夹")})}});
    const int asked = SharedInterfaceTesting::dirRequests().size();
    AddressItem* last = items.last();
    QTest::mouseClick(last, Qt::LeftButton, Qt::NoModifier, arrowPoint(last));
    QTRY_VERIFY(last->popupMenu()->isVisible());
    QCOMPARE(SharedInterfaceTesting::dirRequests().size(), asked);
    QCOMPARE(column(last->listWidget()->rowsModel(), Qt::DisplayRole), QStringList{"子目录 1"});
}

void TestAddressBar::movingOverAnotherSegmentSwitchesMenu()
{
    m_bar->setPath(m_a);
    AddressItem* first = segments().last();
    AddressItem* second = segments().value(segments().size() - 2);
    QVERIFY(first && second);
    QTest::mouseClick(first, Qt::LeftButton, Qt::NoModifier, arrowPoint(first));
    QTRY_VERIFY(first->popupMenu()->isVisible());

    // A plain move over the other segment: the segment passes it on to the
    // bar, which opens that segment's menu and closes the first.
    QMouseEvent move(QEvent::MouseMove, arrowPoint(second), second->mapToGlobal(arrowPoint(second)),
                     Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(second, &move);
    QVERIFY(second->isChecked());
    QVERIFY(!first->isChecked());
    QCOMPARE(m_bar->checkedItem(), second);
    QTRY_VERIFY(second->popupMenu()->isVisible());
    QTRY_VERIFY(!first->popupMenu()->isVisible());

    // Without an open menu a move changes nothing.
    m_bar->uncheckOpenItem();
    QMouseEvent back(QEvent::MouseMove, arrowPoint(first), first->mapToGlobal(arrowPoint(first)),
                     Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(first, &back);
    QVERIFY(!first->isChecked());
    QVERIFY(!first->popupMenu()->isVisible());
}

void TestAddressBar::uncheckOpenItemClosesMenu()
{
    m_bar->setPath(m_b);
    AddressItem* item = segments().last();
    QTest::mouseClick(item, Qt::LeftButton, Qt::NoModifier, arrowPoint(item));
    QTRY_VERIFY(item->popupMenu()->isVisible());
    m_bar->uncheckOpenItem();
    QVERIFY(!item->isChecked());
    QTRY_VERIFY(!item->popupMenu()->isVisible());
    QVERIFY(!m_bar->checkedItem());

    // Going elsewhere closes an open menu too.
    QTest::mouseClick(item, Qt::LeftButton, Qt::NoModifier, arrowPoint(item));
    QPointer<zBaseMenu> menu = item->popupMenu();
    QTRY_VERIFY(menu->isVisible());
    m_bar->setPath(m_a);
    QVERIFY(!menu || !menu->isVisible());
}

// ---- edit mode -------------------------------------------------------------

void TestAddressBar::pressOnEmptyAreaShowsPathAsText()
{
    m_bar->setPath(m_a);
    enterEditMode();
    QCOMPARE(m_bar->text(), m_a);
    QCOMPARE(m_bar->currentPath(), m_a);
}

void TestAddressBar::pressWhileEditingMovesTheCaret()
{
    // Only the press that enters edit mode puts the folder's path in the
    // field; once the user edits, a press moves the caret as in any field.
    m_bar->setPath(m_a);
    enterEditMode();
    typeText(m_bar, QStringLiteral("半截路径"));
    QCOMPARE(m_bar->text(), QStringLiteral("半截路径"));
    QCOMPARE(m_bar->cursorPosition(), 4);
    QTest::mouseClick(m_bar, Qt::LeftButton, Qt::NoModifier, QPoint(3, 14));
    QCOMPARE(m_bar->text(), QStringLiteral("半截路径"));
    QCOMPARE(m_bar->cursorPosition(), 0);
    QCOMPARE(m_bar->currentPath(), m_a);
    QVERIFY(m_bar->hasFocus());
    QCOMPARE(m_bar->itemLayout()->count(), 0);
}

void TestAddressBar::returnWithFolderRedrawsAndEmits()
{
    m_bar->setPath(m_a);
    enterEditMode();
    QSignalSpy returned(m_bar, &AddressBar::returnKeyPressed);
    QSignalSpy changed(m_bar, &AddressBar::SCurrentPathChanged);
    typeText(m_bar, m_b);
    QCOMPARE(m_bar->text(), m_b);
    QTest::keyClick(m_bar, Qt::Key_Return);

    QCOMPARE(returned.count(), 1);
    QCOMPARE(returned.at(0).at(0).toString(), m_b);
    QCOMPARE(changed.count(), 0);
    QCOMPARE(m_bar->currentPath(), m_b);
    QVERIFY(m_bar->text().isEmpty());
    QVERIFY(!m_bar->hasFocus());
    QCOMPARE(segments().last()->segmentText(), QStringLiteral("工程&B"));
}

void TestAddressBar::returnWithBareEKeepsPath()
{
    m_bar->setPath(m_a);
    enterEditMode();
    QSignalSpy returned(m_bar, &AddressBar::returnKeyPressed);
    typeText(m_bar, QStringLiteral("E:"));
    QTest::keyClick(m_bar, Qt::Key_Return);

    QCOMPARE(returned.count(), 1);
    QCOMPARE(returned.at(0).at(0).toString(), QStringLiteral("E:"));
    QCOMPARE(m_bar->currentPath(), m_a);
    QCOMPARE(segments().last()->segmentText(), QStringLiteral("工程 A"));
}

void TestAddressBar::focusOutWithFolderRedrawsWithoutSignal()
{
    m_bar->setPath(m_a);
    enterEditMode();
    QSignalSpy returned(m_bar, &AddressBar::returnKeyPressed);
    QSignalSpy changed(m_bar, &AddressBar::SCurrentPathChanged);
    typeText(m_bar, m_b);
    m_other->setFocus(Qt::MouseFocusReason);
    QVERIFY(!m_bar->hasFocus());

    QCOMPARE(m_bar->currentPath(), m_b);
    QVERIFY(m_bar->itemLayout()->count() > 2);
    QCOMPARE(segments().last()->segmentText(), QStringLiteral("工程&B"));
    QCOMPARE(returned.count(), 0);
    QCOMPARE(changed.count(), 0);

    // A text that is no folder leaves the path as it was.
    enterEditMode();
    typeText(m_bar, QStringLiteral("不是文件夹"));
    m_other->setFocus(Qt::MouseFocusReason);
    QCOMPARE(m_bar->currentPath(), m_b);
}

void TestAddressBar::clickOnEmptyPartFocusesTheBar()
{
    m_bar->setPath(m_a);
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    m_other->setFocus(Qt::OtherFocusReason);
    QVERIFY(!m_bar->hasFocus());
    QTest::mouseClick(m_bar, Qt::LeftButton, Qt::NoModifier, QPoint(m_bar->width() - 8, 14));
    QVERIFY(m_bar->hasFocus());
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(m_bar));
    QCOMPARE(m_bar->itemLayout()->count(), 0);
    QCOMPARE(m_bar->text(), m_a);
    // What is typed now lands in the bar, not in the other field.
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_End);
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("/x"));
    QCOMPARE(m_bar->text(), m_a + QStringLiteral("/x"));
    QVERIFY(m_other->text().isEmpty());
}

void TestAddressBar::pressOnSegmentLeavesTheFocus()
{
    // A segment takes no focus and hands none to the bar: the bar stays a
    // breadcrumb and the keyboard stays where it was.
    m_bar->setPath(m_a);
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    m_other->setFocus(Qt::OtherFocusReason);
    AddressItem* last = segments().last();
    QCOMPARE(last->focusPolicy(), Qt::NoFocus);
    QTest::mousePress(last, Qt::LeftButton, Qt::NoModifier, textPoint(last));
    QVERIFY(m_other->hasFocus());
    QVERIFY(m_bar->itemLayout()->count() > 2);
    QTest::mouseRelease(last, Qt::LeftButton, Qt::NoModifier, textPoint(last));
}

void TestAddressBar::tabReachesTheBarInEditMode()
{
    m_bar->setPath(m_a);
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    m_other->setFocus(Qt::OtherFocusReason);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QVERIFY(m_bar->hasFocus());
    QCOMPARE(m_bar->itemLayout()->count(), 0);
    QCOMPARE(m_bar->text(), m_a);
    QTRY_COMPARE(m_bar->selectedText(), m_a);
    // Tab on leaves it, and the segments come back.
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QVERIFY(m_other->hasFocus());
    QVERIFY(m_bar->itemLayout()->count() > 2);
}

void TestAddressBar::escapeRestoresSegmentsWithoutNavigating()
{
    m_bar->setPath(m_a);
    m_other->setFocus(Qt::OtherFocusReason);
    enterEditMode();
    QSignalSpy returned(m_bar, &AddressBar::returnKeyPressed);
    QSignalSpy changed(m_bar, &AddressBar::SCurrentPathChanged);
    typeText(m_bar, m_b);
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(QApplication::focusWidget(), &escape);
    QVERIFY(escape.isAccepted()); // a dialog around the bar does not close
    QCOMPARE(returned.count(), 0);
    QCOMPARE(changed.count(), 0);
    QCOMPARE(m_bar->currentPath(), m_a);
    QVERIFY(m_bar->text().isEmpty());
    QCOMPARE(segments().last()->segmentText(), QStringLiteral("工程 A"));
    // The keyboard goes back to where it was before the bar.
    QVERIFY(m_other->hasFocus());
}

void TestAddressBar::returnGivesTheKeyboardBack()
{
    m_bar->setPath(m_a);
    m_other->setFocus(Qt::OtherFocusReason);
    enterEditMode();
    typeText(m_bar, m_b);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QCOMPARE(m_bar->currentPath(), m_b);
    QVERIFY(m_other->hasFocus());
}

QTEST_MAIN(TestAddressBar)
#include "tst_addressbar.moc"
