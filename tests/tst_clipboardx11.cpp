// The clipboard as the desktop uses it, in a real X server started by this
// program: files put there by another program are pasted, and what the
// dialog copies is read back by another program (xclip).
#include "daemonsupport.h"
#include "casefixture.h"
#include "xserversupport.h"
#include "filemenusupport.h"
#include "testsupport.h"

#include "zBaseControlTesting.h"
#include "zControlTesting.h"

#include <QClipboard>
#include <QMimeData>
#include <QProcess>
#include <QSignalSpy>
#include <QUrl>

#include <cstdlib>

using namespace filemenusupport;
using namespace testsupport;

namespace {

// Runs xclip without blocking the event loop, which has to answer xclip's
// requests while the dialog owns the clipboard.
QByteArray xclip(const QStringList& args, const QByteArray& input = QByteArray(), int* exitCode = nullptr)
{
    QProcess p;
    QSignalSpy done(&p, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished));
    p.start(QStringLiteral("xclip"), args);
    if (!p.waitForStarted(5000))
        return QByteArray("<xclip did not start>");
    if (!input.isNull()) {
        p.write(input);
        p.closeWriteChannel();
    }
    if (p.state() != QProcess::NotRunning && !done.wait(10000))
        return QByteArray("<xclip did not finish>");
    if (exitCode)
        *exitCode = p.exitCode();
    return p.readAllStandardOutput();
}

} // namespace

class TestClipboardX11 : public QObject, filemenusupport::CaseFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void filesCopiedByAnotherProgramArePasted();
    void copiedFileIsReadByAnotherProgramAsUrlList();
    void copiedNameAndPathAreReadAsText();
};

void TestClipboardX11::initTestCase()
{
    QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
    useHome();
}

void TestClipboardX11::init()
{
    startCase();
}

void TestClipboardX11::cleanup()
{
    stopCase();
}

void TestClipboardX11::filesCopiedByAnotherProgramArePasted()
{
    writeFile(m_case.root + QStringLiteral("/src/预算 一.GCFX"), "one");
    writeFile(m_case.root + QStringLiteral("/src/tree/two.xlsx"), "two");
    QVERIFY(QDir().mkpath(m_case.root + QStringLiteral("/dst")));
    const QByteArray list = QUrl::fromLocalFile(m_case.root + QStringLiteral("/src/预算 一.GCFX")).toEncoded() + "\r\n"
                            + QUrl::fromLocalFile(m_case.root + QStringLiteral("/src/tree")).toEncoded() + "\r\n";
    int code = -1;
    xclip({"-selection", "clipboard", "-t", "text/uri-list", "-i"}, list, &code);
    QCOMPARE(code, 0);
    QTRY_VERIFY(QApplication::clipboard()->mimeData() && QApplication::clipboard()->mimeData()->hasUrls());

    Probe d;
    d.show();
    showFolder(d, m_case.root + QStringLiteral("/dst"));
    rightClick(d, rowPoint(d, QString()), QStringLiteral("粘贴"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/预算 一.GCFX")), QByteArray("one"));
    QCOMPARE(readFile(m_case.root + QStringLiteral("/dst/tree/two.xlsx")), QByteArray("two"));
    // The folder keeps the name the file set first.
    QCOMPARE(currentName(d), QStringLiteral("预算 一.GCFX"));
}

void TestClipboardX11::copiedFileIsReadByAnotherProgramAsUrlList()
{
    writeFile(m_case.root + QStringLiteral("/结算 书.GCFX"), "x");
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("结算 书.GCFX"));
    rightClick(d, rowPoint(d, QStringLiteral("结算 书.GCFX")), QStringLiteral("复制"));
    const QByteArray uris = xclip({"-selection", "clipboard", "-t", "text/uri-list", "-o"});
    QCOMPARE(QUrl::fromEncoded(uris.trimmed()).toLocalFile(), m_case.root + QStringLiteral("/结算 书.GCFX"));
    const QByteArray targets = xclip({"-selection", "clipboard", "-t", "TARGETS", "-o"});
    QVERIFY2(targets.contains("text/uri-list"), targets.constData());
}

void TestClipboardX11::copiedNameAndPathAreReadAsText()
{
    writeFile(m_case.root + QStringLiteral("/审核.GCFX"), "x");
    Probe d;
    d.show();
    showFolder(d, m_case.root);
    makeCurrent(d, QStringLiteral("审核.GCFX"));
    rightClick(d, rowPoint(d, QStringLiteral("审核.GCFX")), QStringLiteral("复制文件名称"));
    QCOMPARE(QString::fromUtf8(xclip({"-selection", "clipboard", "-o"})), QStringLiteral("审核.GCFX"));
    rightClick(d, rowPoint(d, QStringLiteral("审核.GCFX")), QStringLiteral("复制完整路径"));
    QCOMPARE(QString::fromUtf8(xclip({"-selection", "clipboard", "-o"})),
             QDir::toNativeSeparators(m_case.root + QStringLiteral("/审核.GCFX")));
}

int main(int argc, char** argv)
{
    return xserversupport::execOnOwnXServer<TestClipboardX11>(argc, argv, QStringLiteral("1280x1024x24"));
}

#include "tst_clipboardx11.moc"
