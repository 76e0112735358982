// Replacing a file by a pasted copy: the old file is swapped out whole only
// once the new content is complete, and then goes; nothing is written into
// the old file, nothing is left beside it.
#include "fileops.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

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

private:
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

QTEST_MAIN(TestReplaceCopy)
#include "tst_replacecopy.moc"
