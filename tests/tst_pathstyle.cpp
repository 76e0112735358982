// Path rules that hold on every platform: the last element, the base name
// and the folder of a Windows-style or a POSIX path.
#include "pathstyle.h"

#include <QDir>
#include <QFileInfo>
#include <QtTest>

class TestPathStyle : public QObject
{
    Q_OBJECT

private slots:
    void baseNameIsTextBeforeFirstDot_data();
    void baseNameIsTextBeforeFirstDot();
    void backslashIsANameCharacterInPosixPaths();
    void windowsParentKeepsItsForm_data();
    void windowsParentKeepsItsForm();
    void posixParentIsAbsolute();
};

void TestPathStyle::baseNameIsTextBeforeFirstDot_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("base");
    QTest::newRow("posix") << "/p/a.b.GCFX" << "a.b.GCFX" << "a";
    QTest::newRow("leading dot") << "/p/.x.GCFX" << ".x.GCFX" << "";
    QTest::newRow("hidden folder") << "/home/u/.config" << ".config" << "";
    QTest::newRow("dot dot") << "/p/.." << ".." << "";
    QTest::newRow("no dot") << "/p/工程" << "工程" << "工程";
    QTest::newRow("posix root") << "/" << "" << "";
    QTest::newRow("windows") << "C:\\proj\\.x.GCFX" << ".x.GCFX" << "";
    QTest::newRow("windows slashes") << "C:/proj/a.GCFX" << "a.GCFX" << "a";
    QTest::newRow("drive root") << "C:\\" << "" << "";
    QTest::newRow("drive relative") << "C:a.GCFX" << "a.GCFX" << "a";
    QTest::newRow("unc") << "\\\\srv\\share\\b.c" << "b.c" << "b";
}

void TestPathStyle::baseNameIsTextBeforeFirstDot()
{
    QFETCH(QString, path);
    QFETCH(QString, name);
    QFETCH(QString, base);
    QCOMPARE(pfd::fileNamePart(path), name);
    QCOMPARE(pfd::baseName(path), base);
    if (pfd::isPosixStylePath(path))
        QCOMPARE(pfd::baseName(path), QFileInfo(path).baseName());
}

void TestPathStyle::backslashIsANameCharacterInPosixPaths()
{
#ifdef Q_OS_WIN
    QSKIP("a backslash separates on Windows");
#endif
    QCOMPARE(pfd::fileNamePart(QStringLiteral("/p/a\\.b")), QStringLiteral("a\\.b"));
    QCOMPARE(pfd::baseName(QStringLiteral("/p/a\\.b")), QStringLiteral("a\\"));
}

void TestPathStyle::windowsParentKeepsItsForm_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("parent");
    QTest::newRow("project") << "C:\\proj\\a.GCFX" << "C:\\proj";
    QTest::newRow("slashes") << "C:/proj/sub/a.GCFX" << "C:\\proj\\sub";
    QTest::newRow("at the root") << "C:\\a.GCFX" << "C:\\";
    QTest::newRow("root itself") << "D:\\" << "D:\\";
    QTest::newRow("drive relative") << "C:a.GCFX" << "C:\\";
    QTest::newRow("unc") << "\\\\srv\\share\\d\\a.GCFX" << "\\\\srv\\share\\d";
    QTest::newRow("unc share root") << "\\\\srv\\share\\a.GCFX" << "\\\\srv\\share";
}

void TestPathStyle::windowsParentKeepsItsForm()
{
    QFETCH(QString, path);
    QFETCH(QString, parent);
    QCOMPARE(pfd::parentDirPath(path), parent);
}

void TestPathStyle::posixParentIsAbsolute()
{
    QCOMPARE(pfd::parentDirPath(QStringLiteral("/p/q/a.GCFX")), QStringLiteral("/p/q"));
    QCOMPARE(pfd::parentDirPath(QStringLiteral("/a.GCFX")), QStringLiteral("/"));
    QCOMPARE(pfd::parentDirPath(QStringLiteral("rel/a.GCFX")), QDir::currentPath() + QStringLiteral("/rel"));
}

QTEST_MAIN(TestPathStyle)
#include "tst_pathstyle.moc"
