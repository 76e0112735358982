// Replacing a file by a pasted copy: the old file is swapped out whole only
// once the new content is complete, and then goes; nothing is written into
// the old file while it has its name, nothing is left beside it. A paste of
// many replacements writes each into the emptied old file of the one
// before, unless that file is still of use to anyone.
#include "fileops.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

bool write(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

QByteArray read(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<unreadable>");
}

ino_t inode(const QString& path)
{
    struct stat st;
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_ino : 0;
}

QStringList everything(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

} // namespace

class TestReplaceCopy : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void replacingLeavesOnlyTheNewContent();
    void theOldFileIsNotWrittenInto();
    void aLinkAtTheNameIsReplacedNotItsTarget();
    void aFolderAtTheNameIsNeverReplaced();
    void aFreeNameIsWrittenOnce();
    void largeContentArrivesWhole();
    void aNewCopyTakesTheSourcesPermissions();

    void aTreeOverItsCopyWritesIntoTheEmptiedOldFiles();
    void filesPastedTogetherShareOneSpare();
    void aReaderOfAnOldFileKeepsItsContent();
    void anOldFileWithAnotherNameIsNotEmptied();
    void anOldFileWithExtendedAttributesIsNotReused();
    void aReusedFileTakesTheSourcesPermissions();
    void eachFolderHasItsOwnSpareAndNoneIsLeft();
    void aFolderInTheWayEndsThePasteWithoutLeftovers();
    void aSourceNamedLikeTheSpareArrivesWhole();

private:
    // Three files a, b, c in the source and older ones in the target.
    void makeThreeOverThree(const QString& src, const QString& dst);
    // The same in a folder "工程" of each.
    void makeProjectTrees(QString& src, QString& dst);
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_src, m_dst;
};

void TestReplaceCopy::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_src = m_dir->path() + QStringLiteral("/源");
    m_dst = m_dir->path() + QStringLiteral("/目标");
    QVERIFY(QDir().mkpath(m_src));
    QVERIFY(QDir().mkpath(m_dst));
}

void TestReplaceCopy::replacingLeavesOnlyTheNewContent()
{
    QVERIFY(write(m_src + QStringLiteral("/预算.GCFG"), "new content"));
    QVERIFY(write(m_dst + QStringLiteral("/预算.GCFG"), "the old, longer content"));
    QVERIFY(fileops::copyContents(m_src + QStringLiteral("/预算.GCFG"), m_dst + QStringLiteral("/预算.GCFG"), true));
    QCOMPARE(read(m_dst + QStringLiteral("/预算.GCFG")), QByteArray("new content"));
    QCOMPARE(QDir(m_dst).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("预算.GCFG")});
}

void TestReplaceCopy::theOldFileIsNotWrittenInto()
{
    // A second name of the old file keeps the old content: the new content
    // went into a file of its own, which took the name.
    QVERIFY(write(m_src + QStringLiteral("/a.GCFG"), "new"));
    QVERIFY(write(m_dst + QStringLiteral("/a.GCFG"), "old"));
    QCOMPARE(::link(QFile::encodeName(m_dst + QStringLiteral("/a.GCFG")).constData(),
                    QFile::encodeName(m_dir->path() + QStringLiteral("/hard")).constData()),
             0);
    QVERIFY(fileops::copyContents(m_src + QStringLiteral("/a.GCFG"), m_dst + QStringLiteral("/a.GCFG"), true));
    QCOMPARE(read(m_dir->path() + QStringLiteral("/hard")), QByteArray("old"));
    QCOMPARE(read(m_dst + QStringLiteral("/a.GCFG")), QByteArray("new"));
}

void TestReplaceCopy::aLinkAtTheNameIsReplacedNotItsTarget()
{
    QVERIFY(write(m_src + QStringLiteral("/b.GCFG"), "new"));
    QVERIFY(write(m_dir->path() + QStringLiteral("/elsewhere"), "kept"));
    QVERIFY(QFile::link(m_dir->path() + QStringLiteral("/elsewhere"), m_dst + QStringLiteral("/b.GCFG")));
    QVERIFY(fileops::copyContents(m_src + QStringLiteral("/b.GCFG"), m_dst + QStringLiteral("/b.GCFG"), true));
    QVERIFY(!QFileInfo(m_dst + QStringLiteral("/b.GCFG")).isSymLink());
    QCOMPARE(read(m_dst + QStringLiteral("/b.GCFG")), QByteArray("new"));
    QCOMPARE(read(m_dir->path() + QStringLiteral("/elsewhere")), QByteArray("kept"));
}

void TestReplaceCopy::aFolderAtTheNameIsNeverReplaced()
{
    QVERIFY(write(m_src + QStringLiteral("/c"), "new"));
    QVERIFY(QDir().mkpath(m_dst + QStringLiteral("/c/inside")));
    QVERIFY(!fileops::copyContents(m_src + QStringLiteral("/c"), m_dst + QStringLiteral("/c"), true));
    QVERIFY(QFileInfo(m_dst + QStringLiteral("/c/inside")).isDir());
    QCOMPARE(QDir(m_dst).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("c")});
}

void TestReplaceCopy::aFreeNameIsWrittenOnce()
{
    QVERIFY(write(m_src + QStringLiteral("/d"), "content"));
    QVERIFY(fileops::copyContents(m_src + QStringLiteral("/d"), m_dst + QStringLiteral("/d"), false));
    QCOMPARE(read(m_dst + QStringLiteral("/d")), QByteArray("content"));
    // Not replacing: an existing name is left alone.
    QVERIFY(write(m_src + QStringLiteral("/d"), "changed"));
    QVERIFY(!fileops::copyContents(m_src + QStringLiteral("/d"), m_dst + QStringLiteral("/d"), false));
    QCOMPARE(read(m_dst + QStringLiteral("/d")), QByteArray("content"));
    QCOMPARE(QDir(m_dst).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("d")});
}

void TestReplaceCopy::largeContentArrivesWhole()
{
    // Larger than one piece of the kernel's copy and of the block copy.
    QByteArray big(5 * 1024 * 1024 + 123, Qt::Uninitialized);
    for (int i = 0; i < big.size(); ++i)
        big[i] = char((i * 131) ^ (i >> 9));
    QVERIFY(write(m_src + QStringLiteral("/e"), big));
    QVERIFY(write(m_dst + QStringLiteral("/e"), "old"));
    QVERIFY(fileops::copyContents(m_src + QStringLiteral("/e"), m_dst + QStringLiteral("/e"), true));
    QCOMPARE(read(m_dst + QStringLiteral("/e")), big);
}

void TestReplaceCopy::aNewCopyTakesTheSourcesPermissions()
{
    const QString from = m_src + QStringLiteral("/run.sh");
    QVERIFY(write(from, "#!/bin/sh\n"));
    const QFile::Permissions perms = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup
                                     | QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;
    QVERIFY(QFile::setPermissions(from, perms));
    QVERIFY(fileops::copyContents(from, m_dst + QStringLiteral("/run.sh"), false));
    QCOMPARE(QFile::permissions(m_dst + QStringLiteral("/run.sh")), perms);
    QCOMPARE(read(m_dst + QStringLiteral("/run.sh")), QByteArray("#!/bin/sh\n"));
}

void TestReplaceCopy::makeThreeOverThree(const QString& src, const QString& dst)
{
    QVERIFY(QDir().mkpath(src));
    QVERIFY(QDir().mkpath(dst));
    for (const char* name : {"a", "b", "c"}) {
        QVERIFY(write(src + QLatin1Char('/') + QLatin1String(name), QByteArray("new ") + name));
        QVERIFY(write(dst + QLatin1Char('/') + QLatin1String(name), QByteArray("the older, longer ") + name));
    }
}

void TestReplaceCopy::makeProjectTrees(QString& src, QString& dst)
{
    src = m_src + QStringLiteral("/工程");
    dst = m_dst + QStringLiteral("/工程");
    makeThreeOverThree(src, dst);
}

void TestReplaceCopy::aTreeOverItsCopyWritesIntoTheEmptiedOldFiles()
{
    QString src, dst;
    makeProjectTrees(src, dst);
    const ino_t oldA = inode(dst + QStringLiteral("/a"));
    const ino_t oldB = inode(dst + QStringLiteral("/b"));
    QString lastName;
    QVERIFY(fileops::copyDirectoryRecursively(src, dst, lastName));
    for (const char* name : {"a", "b", "c"})
        QCOMPARE(read(dst + QLatin1Char('/') + QLatin1String(name)), QByteArray("new ") + name);
    // a went into a new file; b into a's old file, emptied; c into b's.
    QVERIFY(inode(dst + QStringLiteral("/a")) != oldA);
    QCOMPARE(inode(dst + QStringLiteral("/b")), oldA);
    QCOMPARE(inode(dst + QStringLiteral("/c")), oldB);
    QCOMPARE(everything(dst), (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
}

void TestReplaceCopy::filesPastedTogetherShareOneSpare()
{
    makeThreeOverThree(m_src, m_dst);
    const ino_t oldA = inode(m_dst + QStringLiteral("/a"));
    {
        fileops::ReplaceSpare spare;
        QString lastName;
        QVERIFY(fileops::copyFile(m_src + QStringLiteral("/a"), m_dst + QStringLiteral("/a"), lastName, false, spare));
        QVERIFY(fileops::copyFile(m_src + QStringLiteral("/b"), m_dst + QStringLiteral("/b"), lastName, false, spare));
        QCOMPARE(inode(m_dst + QStringLiteral("/b")), oldA);
        QCOMPARE(read(m_dst + QStringLiteral("/b")), QByteArray("new b"));
        // The old b waits, emptied, under a hidden name until the paste ends.
        const QStringList during = everything(m_dst);
        QCOMPARE(during.size(), 4);
        for (const QString& name : during) {
            if (name.startsWith(QLatin1Char('.')))
                QCOMPARE(QFileInfo(m_dst + QLatin1Char('/') + name).size(), 0);
        }
    }
    QCOMPARE(everything(m_dst), (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
    QCOMPARE(read(m_dst + QStringLiteral("/c")), QByteArray("the older, longer c"));
}

void TestReplaceCopy::aReaderOfAnOldFileKeepsItsContent()
{
    QString src, dst;
    makeProjectTrees(src, dst);
    QFile reader(dst + QStringLiteral("/a"));
    QVERIFY(reader.open(QIODevice::ReadOnly));
    const ino_t oldA = inode(dst + QStringLiteral("/a"));
    QString lastName;
    QVERIFY(fileops::copyDirectoryRecursively(src, dst, lastName));
    // Still open elsewhere, so a's old file was not emptied for b.
    QCOMPARE(reader.readAll(), QByteArray("the older, longer a"));
    QVERIFY(inode(dst + QStringLiteral("/b")) != oldA);
    for (const char* name : {"a", "b", "c"})
        QCOMPARE(read(dst + QLatin1Char('/') + QLatin1String(name)), QByteArray("new ") + name);
    QCOMPARE(everything(dst), (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
}

void TestReplaceCopy::anOldFileWithAnotherNameIsNotEmptied()
{
    QString src, dst;
    makeProjectTrees(src, dst);
    const QString other = m_dir->path() + QStringLiteral("/second-name");
    QCOMPARE(::link(QFile::encodeName(dst + QStringLiteral("/a")).constData(), QFile::encodeName(other).constData()),
             0);
    QString lastName;
    QVERIFY(fileops::copyDirectoryRecursively(src, dst, lastName));
    QCOMPARE(read(other), QByteArray("the older, longer a"));
    QVERIFY(inode(dst + QStringLiteral("/b")) != inode(other));
    QCOMPARE(read(dst + QStringLiteral("/b")), QByteArray("new b"));
    QCOMPARE(everything(dst), (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
}

void TestReplaceCopy::anOldFileWithExtendedAttributesIsNotReused()
{
    QString src, dst;
    makeProjectTrees(src, dst);
    const QByteArray oldA = QFile::encodeName(dst + QStringLiteral("/a"));
    if (::setxattr(oldA.constData(), "user.note", "kept", 4, 0) != 0)
        QSKIP("this file system keeps no user attributes");
    QString lastName;
    QVERIFY(fileops::copyDirectoryRecursively(src, dst, lastName));
    // b must not come out with a's attribute.
    QCOMPARE(::listxattr(QFile::encodeName(dst + QStringLiteral("/b")).constData(), nullptr, 0), ssize_t(0));
    QCOMPARE(read(dst + QStringLiteral("/b")), QByteArray("new b"));
    QCOMPARE(everything(dst), (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
}

void TestReplaceCopy::aReusedFileTakesTheSourcesPermissions()
{
    QString src, dst;
    makeProjectTrees(src, dst);
    const QFile::Permissions perms = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup
                                     | QFile::ExeGroup | QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;
    QVERIFY(QFile::setPermissions(src + QStringLiteral("/b"), perms));
    QVERIFY(QFile::setPermissions(dst + QStringLiteral("/a"), QFile::ReadOwner | QFile::WriteOwner
                                                                  | QFile::ReadUser | QFile::WriteUser));
    const ino_t oldA = inode(dst + QStringLiteral("/a"));
    QString lastName;
    QVERIFY(fileops::copyDirectoryRecursively(src, dst, lastName));
    QCOMPARE(inode(dst + QStringLiteral("/b")), oldA);
    QCOMPARE(QFile::permissions(dst + QStringLiteral("/b")), perms);
    QCOMPARE(QFile::permissions(dst + QStringLiteral("/c")), QFile::permissions(src + QStringLiteral("/c")));
}

void TestReplaceCopy::eachFolderHasItsOwnSpareAndNoneIsLeft()
{
    QString src, dst;
    makeProjectTrees(src, dst);
    makeThreeOverThree(src + QStringLiteral("/子"), dst + QStringLiteral("/子"));
    const ino_t oldSubA = inode(dst + QStringLiteral("/子/a"));
    QString lastName;
    QVERIFY(fileops::copyDirectoryRecursively(src, dst, lastName));
    QCOMPARE(inode(dst + QStringLiteral("/子/b")), oldSubA);
    for (const QString& folder : {dst, dst + QStringLiteral("/子")}) {
        for (const char* name : {"a", "b", "c"})
            QCOMPARE(read(folder + QLatin1Char('/') + QLatin1String(name)), QByteArray("new ") + name);
    }
    QCOMPARE(everything(dst), (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"),
                                           QStringLiteral("子")}));
    QCOMPARE(everything(dst + QStringLiteral("/子")),
             (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
}

void TestReplaceCopy::aFolderInTheWayEndsThePasteWithoutLeftovers()
{
    QString src, dst;
    makeProjectTrees(src, dst);
    QVERIFY(QFile::remove(dst + QStringLiteral("/b")));
    QVERIFY(QDir().mkpath(dst + QStringLiteral("/b/inside")));
    QString lastName;
    QVERIFY(!fileops::copyDirectoryRecursively(src, dst, lastName));
    QCOMPARE(read(dst + QStringLiteral("/a")), QByteArray("new a"));
    QVERIFY(QFileInfo(dst + QStringLiteral("/b/inside")).isDir());
    QCOMPARE(read(dst + QStringLiteral("/c")), QByteArray("the older, longer c"));
    QCOMPARE(everything(dst), (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
}

void TestReplaceCopy::aSourceNamedLikeTheSpareArrivesWhole()
{
    makeThreeOverThree(m_src, m_dst);
    fileops::ReplaceSpare spare;
    QString lastName;
    QVERIFY(fileops::copyFile(m_src + QStringLiteral("/a"), m_dst + QStringLiteral("/a"), lastName, false, spare));
    QString spareName;
    for (const QString& name : everything(m_dst)) {
        if (name.startsWith(QLatin1Char('.')))
            spareName = name;
    }
    QVERIFY(!spareName.isEmpty());
    // A file left by an earlier paste that stopped, say, under the very name.
    QVERIFY(write(m_src + QLatin1Char('/') + spareName, "left over elsewhere"));
    QVERIFY(fileops::copyFile(m_src + QLatin1Char('/') + spareName, m_dst + QLatin1Char('/') + spareName, lastName,
                              false, spare));
    QCOMPARE(read(m_dst + QLatin1Char('/') + spareName), QByteArray("left over elsewhere"));
    QVERIFY(fileops::copyFile(m_src + QStringLiteral("/b"), m_dst + QStringLiteral("/b"), lastName, false, spare));
    QCOMPARE(read(m_dst + QLatin1Char('/') + spareName), QByteArray("left over elsewhere"));
    QCOMPARE(read(m_dst + QStringLiteral("/b")), QByteArray("new b"));
}

QTEST_MAIN(TestReplaceCopy)
#include "tst_replacecopy.moc"
