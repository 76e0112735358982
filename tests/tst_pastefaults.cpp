// Paste and delete when the file system says no: a source that vanishes
// while the replace question is open, a read-only target, a full target, a
// file pasted onto a folder of its name; and a paste of 2,000 files. In no
// case is a file lost or left half-written.
#include "casefixture.h"
#include "filemenusupport.h"
#include "testsupport.h"

#include "zBaseControlTesting.h"
#include "zControlTesting.h"

#include <QAbstractButton>
#include <QClipboard>
#include <QMimeData>
#include <QProcess>
#include <QRandomGenerator>
#include <QUrl>

#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

using namespace filemenusupport;
using namespace testsupport;

namespace {

const QString kPaste = QStringLiteral("粘贴");


bool run(const QString& program, const QStringList& args)
{
    return QProcess::execute(program, args) == 0;
}

// A small tmpfs mounted on dir for one test, where this process may mount.
struct TmpfsMount
{
    QString dir;
    bool mounted = false;
    TmpfsMount(const QString& at, const QString& size) : dir(at)
    {
        QDir().mkpath(dir);
        mounted = geteuid() == 0
                  && run(QStringLiteral("mount"), {"-t", "tmpfs", "-o", "size=" + size, "tmpfs", dir});
    }
    bool makeReadOnly() { return run(QStringLiteral("mount"), {"-o", "remount,ro", dir}); }
    ~TmpfsMount()
    {
        if (mounted)
            run(QStringLiteral("umount"), {dir});
    }
};

// Writes beyond limit bytes fail with EFBIG instead of killing the process.
struct FileSizeLimit
{
    rlimit old{};
    FileSizeLimit(rlim_t limit)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &old);
        rlimit now = old;
        now.rlim_cur = limit;
        setrlimit(RLIMIT_FSIZE, &now);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &old); }
};

QByteArray randomBytes(int size)
{
    QByteArray b(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        b[i] = char(QRandomGenerator::global()->bounded(256));
    return b;
}

// Answers the next real message box with its first button, after step.
void whenBoxShows(std::function<void()> step)
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [poll, step] {
        QWidget* box = QApplication::activeModalWidget();
        if (!box || box->objectName() != QLatin1String("zMessageBox"))
            return;
        poll->stop();
        poll->deleteLater();
        step();
        if (auto* yes = box->findChild<QAbstractButton*>(QStringLiteral("zMessageBoxYes")))
            yes->click();
    });
    poll->start(5);
}

} // namespace

class TestPasteFaults : public QObject, filemenusupport::CaseFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void sourceVanishesWhileReplaceQuestionIsOpen();
    void readOnlyTargetKeepsOldFile();
    void fullTargetKeepsOldFile_data();
    void fullTargetKeepsOldFile();
    void fileOntoFolderOfItsNameKeepsFolder();
    void folderWithUndeletableFileSaysWhichFile();
    void twoThousandFilesWithTwoHundredConflicts();
};

void TestPasteFaults::initTestCase()
{
    useHome();
}

void TestPasteFaults::init()
{
    startCase();
}

void TestPasteFaults::cleanup()
{
    stopCase();
}

void TestPasteFaults::sourceVanishesWhileReplaceQuestionIsOpen()
{
    writeFile(m_case.root + QStringLiteral("/src/tree/t1.txt"), "new t1");
    writeFile(m_case.root + QStringLiteral("/src/tree/t2.txt"), "new t2");
    writeFile(m_case.root + QStringLiteral("/src/v.GCFX"), "new v");
    writeFile(m_case.root + QStringLiteral("/dst/tree/t1.txt"), "old t1");
    writeFile(m_case.root + QStringLiteral("/dst/tree/t2.txt"), "old t2");
    writeFile(m_case.root + QStringLiteral("/dst/v.GCFX"), "old v");
    putOnClipboard({m_case.root + QStringLiteral("/src/tree"), m_case.root + QStringLiteral("/src/v.GCFX")});
    Probe d;
    d.show();
    showFolder(d, m_case.root + QStringLiteral("/dst"));
    zControlTesting::setMessageBoxScripted(false);
    bool vanished = false;
    whenBoxShows([&] {
        vanished = QFile::remove(m_case.root + QStringLiteral("/src/v.GCFX"))
                   && QFile::remove(m_case.root + QStringLiteral("/src/tree/t2.txt"));
    });
    rightClick(d, rowPoint(d, QString()), kPaste);
    QVERIFY(vanished);
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QCOMPARE(zControlTesting::messageBoxCalls().at(0).text, QStringLiteral("目标包含3个同名文件，是否替换这些文件？"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/tree/t1.txt")), QByteArray("new t1"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/tree/t2.txt")), QByteArray("old t2"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/v.GCFX")), QByteArray("old v"));
    QCOMPARE(entries(m_case.root + QStringLiteral("/dst")), (QStringList{"tree", "v.GCFX"}));
    QCOMPARE(entries(m_case.root + QStringLiteral("/dst/tree")), (QStringList{"t1.txt", "t2.txt"}));
}

void TestPasteFaults::readOnlyTargetKeepsOldFile()
{
    writeFile(m_case.root + QStringLiteral("/src/a.GCFX"), "new a");
    writeFile(m_case.root + QStringLiteral("/src/b.GCFX"), "new b");
    const QString dst = m_case.root + QStringLiteral("/dst");
    TmpfsMount mount(dst, QStringLiteral("1m"));
    writeFile(dst + QStringLiteral("/a.GCFX"), "old a");
    if (mount.mounted) {
        QVERIFY(mount.makeReadOnly());
    } else if (geteuid() != 0) {
        QVERIFY(QFile::setPermissions(dst, QFile::ReadOwner | QFile::ExeOwner));
    } else {
        QSKIP("running as root without the right to mount: a read-only folder cannot be made");
    }
    putOnClipboard({m_case.root + QStringLiteral("/src/a.GCFX"), m_case.root + QStringLiteral("/src/b.GCFX")});
    Probe d;
    d.show();
    showFolder(d, dst);
    zControlTesting::setMessageBoxAnswers({0});
    rightClick(d, rowPoint(d, QString()), kPaste);
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QCOMPARE(readFile(dst + QStringLiteral("/a.GCFX")), QByteArray("old a"));
    QCOMPARE(entries(dst), QStringList{"a.GCFX"});
    QFile::setPermissions(dst, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void TestPasteFaults::fullTargetKeepsOldFile_data()
{
    QTest::addColumn<bool>("tmpfs");
    QTest::newRow("small tmpfs") << true;
    QTest::newRow("file-size limit") << false;
}

void TestPasteFaults::fullTargetKeepsOldFile()
{
    QFETCH(bool, tmpfs);
    const QByteArray big = randomBytes(3 << 20);
    writeFile(m_case.root + QStringLiteral("/src/big.GCFX"), big);
    writeFile(m_case.root + QStringLiteral("/src/fresh.GCFX"), big);
    const QString dst = m_case.root + QStringLiteral("/dst");
    std::unique_ptr<TmpfsMount> mount;
    std::unique_ptr<FileSizeLimit> limit;
    if (tmpfs) {
        mount.reset(new TmpfsMount(dst, QStringLiteral("1m")));
        if (!mount->mounted)
            QSKIP("this process may not mount a tmpfs");
    }
    writeFile(dst + QStringLiteral("/big.GCFX"), "old content");
    putOnClipboard({m_case.root + QStringLiteral("/src/fresh.GCFX"), m_case.root + QStringLiteral("/src/big.GCFX")});
    Probe d;
    d.show();
    showFolder(d, dst);
    zControlTesting::setMessageBoxAnswers({0});
    if (!tmpfs)
        limit.reset(new FileSizeLimit(1 << 20));
    rightClick(d, rowPoint(d, QString()), kPaste);
    limit.reset();
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QCOMPARE(zControlTesting::messageBoxCalls().at(0).text,
             QStringLiteral("目标已包含一个名为“big.GCFX”的文件，是否替换该文件？"));
    QCOMPARE(readFile(dst + QStringLiteral("/big.GCFX")), QByteArray("old content"));
    // Neither a half-written new file nor a temporary one is left behind.
    QCOMPARE(entries(dst), QStringList{"big.GCFX"});
}

void TestPasteFaults::fileOntoFolderOfItsNameKeepsFolder()
{
    writeFile(m_case.root + QStringLiteral("/src/x.GCFX"), "a file");
    writeFile(m_case.root + QStringLiteral("/dst/x.GCFX/inside.txt"), "inside");
    putOnClipboard({m_case.root + QStringLiteral("/src/x.GCFX")});
    Probe d;
    d.show();
    showFolder(d, m_case.root + QStringLiteral("/dst"));
    zControlTesting::setMessageBoxAnswers({0});
    rightClick(d, rowPoint(d, QString()), kPaste);
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QVERIFY(QFileInfo(m_case.root + QStringLiteral("/dst/x.GCFX")).isDir());
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/x.GCFX/inside.txt")), QByteArray("inside"));
    QCOMPARE(entries(m_case.root + QStringLiteral("/dst")), QStringList{"x.GCFX"});
    QCOMPARE(entries(m_case.root + QStringLiteral("/dst/x.GCFX")), QStringList{"inside.txt"});
}

void TestPasteFaults::folderWithUndeletableFileSaysWhichFile()
{
    const QString view = m_case.root + QStringLiteral("/view");
    TmpfsMount mount(view, QStringLiteral("1m"));
    writeFile(view + QStringLiteral("/t/报表.xlsx"), "r");
    if (mount.mounted) {
        QVERIFY(mount.makeReadOnly());
    } else if (geteuid() != 0) {
        QVERIFY(QFile::setPermissions(view + QStringLiteral("/t"), QFile::ReadOwner | QFile::ExeOwner));
    } else {
        QSKIP("running as root without the right to mount: an undeletable file cannot be made");
    }
    Probe d;
    d.show();
    showFolder(d, view);
    makeCurrent(d, QStringLiteral("t"));
    zControlTesting::setMessageBoxAnswers({0});
    rightClick(d, rowPoint(d, QStringLiteral("t")), QStringLiteral("删除"));
    const auto calls = zControlTesting::messageBoxCalls();
    QCOMPARE(calls.size(), 3);
    QCOMPARE(calls.at(1).kind, QStringLiteral("information"));
    QCOMPARE(calls.at(1).text, QStringLiteral("删除“报表”文件失败"));
    QCOMPARE(calls.at(2).text, QStringLiteral("删除失败"));
    QCOMPARE(readFile(view + QStringLiteral("/t/报表.xlsx")), QByteArray("r"));
    QFile::setPermissions(view + QStringLiteral("/t"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void TestPasteFaults::twoThousandFilesWithTwoHundredConflicts()
{
    const QString src = m_case.root + QStringLiteral("/src/工程库");
    const QString dst = m_case.root + QStringLiteral("/dst");
    QStringList names;
    for (int f = 0; f < 20; ++f) {
        for (int i = 0; i < 100; ++i) {
            const QString rel = QStringLiteral("分部%1/清单%2.GCFX").arg(f, 2, 10, QLatin1Char('0')).arg(i, 3, 10, QLatin1Char('0'));
            writeFile(src + QLatin1Char('/') + rel, randomBytes(1 + int(QRandomGenerator::global()->bounded(4096))));
            names << rel;
        }
    }
    for (int k = 0; k < 200; ++k)
        writeFile(dst + QStringLiteral("/工程库/") + names.at(k * 10), "an older version");
    putOnClipboard({src});
    Probe d;
    d.show();
    showFolder(d, dst);
    d.ui->tableView->setCurrentIndex(QModelIndex());
    zControlTesting::setMessageBoxAnswers({0});
    rightClick(d, rowPoint(d, QString()), kPaste);
    QCOMPARE(zControlTesting::messageBoxCalls().size(), 1);
    QCOMPARE(zControlTesting::messageBoxCalls().at(0).text, QStringLiteral("目标包含200个同名文件，是否替换这些文件？"));
    int same = 0;
    for (const QString& rel : qAsConst(names))
        same += readFile(dst + QStringLiteral("/工程库/") + rel) == readFile(src + QLatin1Char('/') + rel) ? 1 : 0;
    QCOMPARE(same, 2000);
    int count = 0;
    for (int f = 0; f < 20; ++f)
        count += entries(dst + QStringLiteral("/工程库/分部%1").arg(f, 2, 10, QLatin1Char('0'))).size();
    QCOMPARE(count, 2000);
}

QTEST_MAIN(TestPasteFaults)
#include "tst_pastefaults.moc"
