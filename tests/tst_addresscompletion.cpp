// Completion while a path is typed in the address bar: the typed folder's
// sub-folders that start with the last element typed, from the directory
// service, in the table's name order; Tab or Right at the end takes the
// highlighted one, Return goes there.
#include "keyboardsupport.h"
#include "testsupport.h"

#include "AddressBar.h"
#include "addresscompletion.h"
#include "zBaseControlTesting.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QtTest>

#include <memory>
#include <unistd.h>

using namespace testsupport;

class TestAddressCompletion : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void splitRules_data();
    void splitRules();
    void namesAreSubFoldersInNameOrder();

    void firstLettersOfferTheSubFolder();
    void tabTakesTheHighlightedOne();
    void rightAtTheEndTakesIt();
    void arrowsMoveTheHighlightIntoTheField();
    void escapeClosesTheListFirst();
    void folderOfTwoThousandSubFolders();
    void folderTheUserMayNotRead();

private:
    void edit();
    void type(const QString& text);
    QStringList offered() const;

    std::unique_ptr<AppDir> m_app;
    std::unique_ptr<QTemporaryDir> m_tree;
    std::unique_ptr<QWidget> m_window;
    AddressBar* m_bar = nullptr;
    QLineEdit* m_other = nullptr;
    QString m_root;
};

void TestAddressCompletion::init()
{
    zBaseControlTesting::setScaleFactor(1.0);
    m_app = std::make_unique<AppDir>();
    m_tree = std::make_unique<QTemporaryDir>();
    m_root = m_tree->path();
    for (const char* d : {"工程B", "工程a", "工程10", "工程2", "图纸", "Project"})
        QVERIFY(QDir(m_root).mkpath(QString::fromUtf8(d)));
    QFile f(m_root + QStringLiteral("/工程文件.GCFX"));
    QVERIFY(f.open(QIODevice::WriteOnly));
    m_window = std::make_unique<QWidget>();
    m_window->resize(640, 300);
    m_bar = new AddressBar(m_window.get());
    m_bar->setGeometry(10, 10, 600, 28);
    m_other = new QLineEdit(m_window.get());
    m_other->setGeometry(10, 200, 200, 24);
    m_window->show();
    m_window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    m_bar->setPath(m_root);
}

void TestAddressCompletion::cleanup()
{
    m_window.reset();
    m_tree.reset();
    m_app.reset();
}

void TestAddressCompletion::edit()
{
    m_other->setFocus(Qt::OtherFocusReason);
    QTest::mouseClick(m_bar, Qt::LeftButton, Qt::NoModifier, QPoint(m_bar->width() - 6, 14));
    QVERIFY(m_bar->hasFocus());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_A, Qt::ControlModifier);
}

void TestAddressCompletion::type(const QString& text)
{
    keyboardsupport::typeText(text);
}

QStringList TestAddressCompletion::offered() const
{
    QStringList names;
    QCompleter* c = m_bar->pathCompleter();
    if (!c->popup()->isVisible())
        return names;
    for (int r = 0; r < c->completionModel()->rowCount(); ++r)
        names << c->completionModel()->index(r, 0).data().toString();
    return names;
}

void TestAddressCompletion::splitRules_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("prefix");
    QTest::newRow("posix") << "/home/us" << "/home/" << "us";
    QTest::newRow("posix end") << "/home/" << "/home/" << "";
    QTest::newRow("posix backslash is a name") << "/srv/a\\b" << "/srv/" << "a\\b";
    QTest::newRow("drive") << "C:\\pro\\ab" << "C:\\pro\\" << "ab";
    QTest::newRow("drive slash") << "C:/pro/ab" << "C:/pro/" << "ab";
    QTest::newRow("no separator") << "abc" << "" << "";
}

void TestAddressCompletion::splitRules()
{
    QFETCH(QString, text);
    QFETCH(QString, folder);
    QFETCH(QString, prefix);
    const pfd::TypedPathSplit split = pfd::splitTypedPath(text);
    QCOMPARE(split.folder, folder);
    QCOMPARE(split.prefix, folder.isEmpty() ? QString() : prefix);
}

void TestAddressCompletion::namesAreSubFoldersInNameOrder()
{
    // Files are left out; numbers go by value, as the table orders them.
    const QStringList names = pfd::completionFolderNames(m_root + QLatin1Char('/'));
    QCOMPARE(names.size(), 6);
    QVERIFY(!names.contains(QStringLiteral("工程文件.GCFX")));
    QVERIFY(names.indexOf(QStringLiteral("工程2")) < names.indexOf(QStringLiteral("工程10")));
    QVERIFY(pfd::completionFolderNames(QString()).isEmpty());
}

void TestAddressCompletion::firstLettersOfferTheSubFolder()
{
    edit();
    type(m_root + QStringLiteral("/工程"));
    QCOMPARE(offered(), (QStringList{"工程2", "工程10", "工程a", "工程B"}));
    // Case does not matter.
    type(QStringLiteral("b"));
    QCOMPARE(offered(), QStringList{QStringLiteral("工程B")});
    QCOMPARE(m_bar->text(), m_root + QStringLiteral("/工程b")); // the typed text stays
    type(QStringLiteral("x"));
    QVERIFY(offered().isEmpty());
}

void TestAddressCompletion::tabTakesTheHighlightedOne()
{
    QSignalSpy returned(m_bar, &AddressBar::returnKeyPressed);
    edit();
    type(m_root + QStringLiteral("/图"));
    QCOMPARE(offered(), QStringList{QStringLiteral("图纸")});
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QCOMPARE(m_bar->text(), m_root + QStringLiteral("/图纸"));
    QVERIFY(m_bar->hasFocus()); // Tab stayed in the bar
    QVERIFY(!m_bar->pathCompleter()->popup()->isVisible());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QCOMPARE(returned.count(), 1);
    QCOMPARE(returned.at(0).at(0).toString(), m_root + QStringLiteral("/图纸"));
    QCOMPARE(m_bar->currentPath(), m_root + QStringLiteral("/图纸"));
}

void TestAddressCompletion::rightAtTheEndTakesIt()
{
    edit();
    type(m_root + QStringLiteral("/pro"));
    QCOMPARE(offered(), QStringList{QStringLiteral("Project")});
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Right);
    QCOMPARE(m_bar->text(), m_root + QStringLiteral("/Project"));
    // Right inside the text only moves the caret.
    type(QStringLiteral("/"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Home);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Right);
    QCOMPARE(m_bar->cursorPosition(), 1);
    QCOMPARE(m_bar->text(), m_root + QStringLiteral("/Project/"));
}

void TestAddressCompletion::arrowsMoveTheHighlightIntoTheField()
{
    edit();
    type(m_root + QStringLiteral("/工程"));
    QAbstractItemView* list = m_bar->pathCompleter()->popup();
    QCOMPARE(list->currentIndex().row(), 0);
    QTest::keyClick(list, Qt::Key_Down);
    QCOMPARE(m_bar->text(), m_root + QStringLiteral("/工程10"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QCOMPARE(m_bar->currentPath(), m_root + QStringLiteral("/工程10"));
}

void TestAddressCompletion::escapeClosesTheListFirst()
{
    QSignalSpy returned(m_bar, &AddressBar::returnKeyPressed);
    edit();
    type(m_root + QStringLiteral("/工程"));
    QVERIFY(!offered().isEmpty());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    QVERIFY(offered().isEmpty());
    QVERIFY(m_bar->hasFocus());
    QCOMPARE(m_bar->text(), m_root + QStringLiteral("/工程"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    QVERIFY(!m_bar->hasFocus());
    QCOMPARE(m_bar->currentPath(), m_root);
    QCOMPARE(returned.count(), 0);
}

void TestAddressCompletion::folderOfTwoThousandSubFolders()
{
    const QString big = m_root + QStringLiteral("/大目录");
    for (int i = 0; i < 2000; ++i)
        QVERIFY(QDir().mkpath(big + QStringLiteral("/d%1").arg(i)));
    edit();
    QElapsedTimer clock;
    clock.start();
    type(big + QStringLiteral("/d19"));
    // d19, d190 .. d199 and d1900 .. d1999, numbers by value.
    const QStringList names = offered();
    QCOMPARE(names.size(), 111);
    QCOMPARE(names.first(), QStringLiteral("d19"));
    QCOMPARE(names.at(1), QStringLiteral("d190"));
    QCOMPARE(names.at(10), QStringLiteral("d199"));
    QCOMPARE(names.last(), QStringLiteral("d1999"));
    qInfo("typing into a folder of 2000 sub-folders took %lld ms", clock.elapsed());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QCOMPARE(m_bar->text(), big + QStringLiteral("/d19"));
}

void TestAddressCompletion::folderTheUserMayNotRead()
{
    const QString locked = m_root + QStringLiteral("/上锁");
    QVERIFY(QDir().mkpath(locked + QStringLiteral("/里面")));
    QFile::setPermissions(locked, QFileDevice::Permissions());
    const bool readable = QDir(locked).isReadable();
    if (readable) {
        // The superuser reads any folder: the directory service is made to
        // answer as it does for a folder it may not open.
        SharedInterfaceTesting::setDirService([](const QString&) { return QByteArray("[]"); });
    }
    edit();
    type(locked + QStringLiteral("/"));
    QVERIFY(offered().isEmpty());
    type(QStringLiteral("里"));
    QVERIFY(offered().isEmpty());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab); // nothing to take: the focus moves on
    QVERIFY(m_other->hasFocus());
    QFile::setPermissions(locked, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

QTEST_MAIN(TestAddressCompletion)
#include "tst_addresscompletion.moc"
