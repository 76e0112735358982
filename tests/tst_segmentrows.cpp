// The drop-down rows of the address bar's segments: taken once when the bar
// is built, the deepest from the listing the table has just received, and
// turned into a pop-up only when a drop-down is first opened.
#include "dialogsupport.h"
#include "testsupport.h"

#include "AddressBar.h"
#include "AddressItem.h"
#include "MenuWidget.h"
#include "dialogs/OpenProject.h"
#include "folderrows.h"
#include "listing.h"
#include "zBaseControlTesting.h"
#include "zBaseMenu.h"
#include "zControlTesting.h"

#include <QDir>
#include <QHBoxLayout>
#include <QStandardItemModel>
#include <QtTest>

using dialogsupport::child;
using namespace testsupport;

namespace {

QList<AddressItem*> segmentsOf(AddressBar* bar)
{
    QList<AddressItem*> items;
    for (int i = 0; i < bar->itemLayout()->count(); ++i) {
        if (auto* item = qobject_cast<AddressItem*>(bar->itemLayout()->itemAt(i)->widget())) {
            if (!item->isRootItem())
                items << item;
        }
    }
    return items;
}

QStringList column(const QStandardItemModel* model, int role)
{
    QStringList values;
    for (int r = 0; r < model->rowCount(); ++r)
        values << model->index(r, 0).data(role).toString();
    return values;
}

// The same, sorted: readdir gives no particular order.
QStringList sortedColumn(const QStandardItemModel* model, int role)
{
    QStringList values = column(model, role);
    values.sort();
    return values;
}

// A bar wide enough for every segment, in a shown window.
AddressBar* shownBar(QWidget& window)
{
    window.resize(900, 60);
    auto* bar = new AddressBar(&window);
    bar->setGeometry(0, 0, 880, 28);
    window.show();
    return bar;
}

QPoint arrowPoint(const AddressItem* item)
{
    return QPoint(item->segmentTextWidth() + 8, 10);
}

// Every folder from "/" down to path, as the bar's segments name them.
QStringList foldersDownTo(const QString& path)
{
    QStringList folders{QStringLiteral("/")};
    QString at;
    for (const QString& part : path.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        at += QLatin1Char('/') + part;
        folders << at;
    }
    return folders;
}

} // namespace

class TestSegmentRows : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void navigationReadsEachFolderOnce();
    void refreshReadsTheFolderOnce();
    void deepestRowsEqualThoseOfItsOwnRead();
    void deepestRowsFollowTheSegmentsSpelling();
    void aListingOfAnotherFolderIsNotTaken();
    void segmentsMakeNoPopupUntilOpened();
    void dropDownOpenedAfterAChangeShowsRowsOfConstruction();
    void deepestDropDownOpenedAfterAChangeShowsRowsOfTheListing();

private:
    QTemporaryDir m_home;
    std::unique_ptr<AppDir> m_app;
    std::unique_ptr<QTemporaryDir> m_tree;
    QString m_deep; // <tree>/工程 A/季度 1, with sub-folders at every level
};

void TestSegmentRows::initTestCase()
{
    qputenv("HOME", QFile::encodeName(m_home.path()));
    QVERIFY(QDir(m_home.path()).mkpath(QStringLiteral("Documents")));
    zBaseControlTesting::setScaleFactor(1.0);
}

void TestSegmentRows::init()
{
    m_app = std::make_unique<AppDir>();
    zControlTesting::setMessageBoxScripted(true);
    m_tree = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/segrows-XXXXXX"));
    QVERIFY(m_tree->isValid());
    m_deep = m_tree->path() + QStringLiteral("/工程 A/季度 1");
    QVERIFY(QDir().mkpath(m_deep + QStringLiteral("/子目录 1")));
    QVERIFY(QDir().mkpath(m_deep + QStringLiteral("/子目录 2")));
    QFile file(m_deep + QStringLiteral("/预算.GCFG"));
    QVERIFY(file.open(QIODevice::WriteOnly));
}

void TestSegmentRows::cleanup()
{
    m_tree.reset();
    m_app.reset();
}

void TestSegmentRows::navigationReadsEachFolderOnce()
{
    OpenProject d;
    const int before = SharedInterfaceTesting::dirRequests().size();
    d.updateCurrentPath(m_deep, zFileDialog::tracing);
    const QStringList asked = SharedInterfaceTesting::dirRequests().mid(before);
    // Every folder of the path once: the table's, whose rows the deepest
    // segment takes, and each folder above it for its own segment.
    QStringList expected = foldersDownTo(m_deep);
    QStringList sortedAsked = asked;
    sortedAsked.sort();
    expected.sort();
    QCOMPARE(sortedAsked, expected);
    QCOMPARE(asked.count(m_deep), 1);

    // The deepest segment still lists the folder's sub-folders.
    AddressItem* deepest = segmentsOf(child<AddressBar>(&d, "address_bar")).last();
    QCOMPARE(deepest->segmentPath(), m_deep);
    QCOMPARE(sortedColumn(deepest->listWidget()->rowsModel(), Qt::DisplayRole),
             (QStringList{QStringLiteral("子目录 1"), QStringLiteral("子目录 2")}));
}

void TestSegmentRows::refreshReadsTheFolderOnce()
{
    OpenProject d;
    d.updateCurrentPath(m_deep, zFileDialog::tracing);
    const int before = SharedInterfaceTesting::dirRequests().size();
    d.updateCurrentPath(m_deep, zFileDialog::no_tracing);
    QCOMPARE(SharedInterfaceTesting::dirRequests().mid(before).count(m_deep), 1);
    QCOMPARE(SharedInterfaceTesting::dirRequests().size() - before, foldersDownTo(m_deep).size());
}

void TestSegmentRows::deepestRowsEqualThoseOfItsOwnRead()
{
    // A shortcut to a folder and one to a file, next to the folders: the
    // same filter applies to the listing as to a read of the folder.
    QVERIFY(QFile::link(m_tree->path(), m_deep + QStringLiteral("/到上层")));
    QVERIFY(QFile::link(m_deep + QStringLiteral("/预算.GCFG"), m_deep + QStringLiteral("/到文件")));
    const QVector<pfd::FolderRow> read = pfd::readFolderRows(m_deep);
    const QVector<pfd::FolderRow> taken = pfd::folderRowsFromListing(m_deep, m_deep, getFilesByPath(m_deep));
    QCOMPARE(taken.size(), 3);
    QCOMPARE(taken.size(), read.size());
    for (int i = 0; i < read.size(); ++i) {
        QCOMPARE(taken.at(i).text, read.at(i).text);
        QCOMPARE(taken.at(i).target, read.at(i).target);
        QCOMPARE(taken.at(i).icon, read.at(i).icon);
        QCOMPARE(taken.at(i).iconPath, read.at(i).iconPath);
    }

    OpenProject d;
    d.updateCurrentPath(m_deep, zFileDialog::tracing);
    MenuWidget own(false, nullptr);
    own.setFolder(m_deep);
    AddressItem* deepest = segmentsOf(child<AddressBar>(&d, "address_bar")).last();
    for (int role : {int(Qt::DisplayRole), MenuWidget::TargetRole})
        QCOMPARE(column(deepest->listWidget()->rowsModel(), role), column(own.rowsModel(), role));
}

void TestSegmentRows::deepestRowsFollowTheSegmentsSpelling()
{
    // The table listed the folder written one way; the segment writes it
    // another: its rows carry its own spelling, as its own read would.
    const QString other = m_tree->path() + QStringLiteral("/工程 A/./季度 1");
    const QVector<pfd::FolderRow> taken = pfd::folderRowsFromListing(m_deep, other, getFilesByPath(other));
    const QVector<pfd::FolderRow> read = pfd::readFolderRows(m_deep);
    QCOMPARE(taken.size(), 2);
    for (int i = 0; i < read.size(); ++i) {
        QCOMPARE(taken.at(i).target, read.at(i).target);
        QCOMPARE(taken.at(i).iconPath, read.at(i).iconPath);
        QVERIFY(taken.at(i).target.startsWith(m_deep + QLatin1Char('/')));
    }
    // A folder that is not a directory gets no rows, as setFolder gives none.
    QVERIFY(pfd::folderRowsFromListing(QStringLiteral("D:\\工程"), QStringLiteral("D:\\工程"),
                                       getFilesByPath(m_deep))
                .isEmpty());
}

void TestSegmentRows::aListingOfAnotherFolderIsNotTaken()
{
    QWidget window;
    auto* bar = new AddressBar(&window);
    bar->setGeometry(0, 0, 2000, 28);
    bar->setPath(m_deep, AddressBar::DeepestFromListing);
    AddressItem* deepest = segmentsOf(bar).last();
    QVERIFY(deepest->folderRows().isEmpty());
    bar->takeListing(m_tree->path(), getFilesByPath(m_tree->path()));
    QVERIFY(deepest->folderRows().isEmpty());
    bar->takeListing(m_deep, getFilesByPath(m_deep));
    QCOMPARE(deepest->folderRows().size(), 2);
    // Taken once: a later listing of the same folder changes nothing.
    bar->takeListing(m_deep, QList<FileInfo>());
    QCOMPARE(deepest->folderRows().size(), 2);
}

void TestSegmentRows::segmentsMakeNoPopupUntilOpened()
{
    QWidget window;
    AddressBar* bar = shownBar(window);
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    bar->setPath(m_deep);
    const QList<AddressItem*> items = segmentsOf(bar);
    QVERIFY(items.size() >= 3);
    for (AddressItem* item : items) {
        QVERIFY(!item->hasPopupMenu());
        QVERIFY(!item->findChild<MenuWidget*>());
    }
    AddressItem* last = items.last();
    QTest::mouseClick(last, Qt::LeftButton, Qt::NoModifier, arrowPoint(last));
    QVERIFY(last->hasPopupMenu());
    QTRY_VERIFY(last->popupMenu()->isVisible());
    for (AddressItem* item : items.mid(0, items.size() - 1))
        QVERIFY(!item->hasPopupMenu());
    bar->uncheckOpenItem();
}

void TestSegmentRows::dropDownOpenedAfterAChangeShowsRowsOfConstruction()
{
    QWidget window;
    AddressBar* bar = shownBar(window);
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    bar->setPath(m_deep);
    // The folder changes on disk after the bar was built: a sub-folder goes,
    // another comes.
    QVERIFY(QDir(m_deep).rmdir(QStringLiteral("子目录 2")));
    QVERIFY(QDir(m_deep).mkdir(QStringLiteral("新目录")));
    AddressItem* last = segmentsOf(bar).last();
    QVERIFY(!last->hasPopupMenu());
    const int asked = SharedInterfaceTesting::dirRequests().size();
    QTest::mouseClick(last, Qt::LeftButton, Qt::NoModifier, arrowPoint(last));
    QTRY_VERIFY(last->popupMenu()->isVisible());
    QCOMPARE(SharedInterfaceTesting::dirRequests().size(), asked);
    QCOMPARE(sortedColumn(last->listWidget()->rowsModel(), Qt::DisplayRole),
             (QStringList{QStringLiteral("子目录 1"), QStringLiteral("子目录 2")}));
    bar->uncheckOpenItem();
}

void TestSegmentRows::deepestDropDownOpenedAfterAChangeShowsRowsOfTheListing()
{
    OpenProject d;
    d.resize(1200, 700);
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    d.updateCurrentPath(m_deep, zFileDialog::tracing);
    QVERIFY(QDir(m_deep).mkdir(QStringLiteral("新目录")));
    QVERIFY(QDir(m_tree->path() + QStringLiteral("/工程 A")).mkdir(QStringLiteral("季度 2")));
    const QList<AddressItem*> items = segmentsOf(child<AddressBar>(&d, "address_bar"));
    AddressItem* deepest = items.last();
    AddressItem* parent = items.value(items.size() - 2);
    QVERIFY(!deepest->hasPopupMenu() && !parent->hasPopupMenu());
    const int asked = SharedInterfaceTesting::dirRequests().size();
    QTest::mouseClick(deepest, Qt::LeftButton, Qt::NoModifier, arrowPoint(deepest));
    QTRY_VERIFY(deepest->popupMenu()->isVisible());
    QCOMPARE(sortedColumn(deepest->listWidget()->rowsModel(), Qt::DisplayRole),
             (QStringList{QStringLiteral("子目录 1"), QStringLiteral("子目录 2")}));
    QCOMPARE(column(parent->listWidget()->rowsModel(), Qt::DisplayRole), QStringList{QStringLiteral("季度 1")});
    QCOMPARE(SharedInterfaceTesting::dirRequests().size(), asked);
    child<AddressBar>(&d, "address_bar")->uncheckOpenItem();
}

QTEST_MAIN(TestSegmentRows)
#include "tst_segmentrows.moc"
