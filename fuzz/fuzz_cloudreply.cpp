// Any bytes as a cloud reply, read the way the dialog reads them: the
// reply's object and "code", the personal and enterprise trees, every node's
// row, walks and existence tests down the tree, and each cloud name's local
// form. The second half of the input (after a zero byte) is a cloud path.
// Invariants: nothing crashes or hangs; a local name is never empty, never
// over 255 bytes, never holds a path separator or control character, never
// ends in "." or " ", and is the name itself when the name needed nothing;
// every envelope written with the reply's texts parses back to those texts.
#include "cloud/cloudnames.h"
#include "cloud/cloudrequests.h"
#include "cloud/cloudtree.h"
#include "fuzzsupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace pfd::cloud;

namespace {

void checkLocalName(const QString& name)
{
    const QString local = localNameForCloudName(name);
    FUZZ_CHECK(!local.isEmpty());
    FUZZ_CHECK(local.toUtf8().size() <= 255);
    for (const QChar c : local) {
        FUZZ_CHECK(c.unicode() >= 0x20 && c.unicode() != 0x7f);
        FUZZ_CHECK(!QStringLiteral("/\\:*?\"<>|").contains(c));
    }
    FUZZ_CHECK(!local.endsWith(QLatin1Char('.')) && !local.endsWith(QLatin1Char(' ')));
    bool plain = !name.isEmpty() && name.toUtf8().size() <= 255 && !name.endsWith(QLatin1Char('.'))
                 && !name.endsWith(QLatin1Char(' '));
    for (const QChar c : name)
        plain = plain && c.unicode() >= 0x20 && c.unicode() != 0x7f && !QStringLiteral("/\\:*?\"<>|").contains(c);
    if (plain)
        FUZZ_CHECK(local == name);
    FUZZ_CHECK(localNameForCloudName(local) == local);
}

void checkEnvelope(const QString& a, const QString& b)
{
    // Only texts that survive UTF-8 can come back equal.
    if (QString::fromUtf8(a.toUtf8()) != a || QString::fromUtf8(b.toUtf8()) != b)
        return;
    const QJsonObject m = QJsonDocument::fromJson(isExistDownLoadfileRequest(a, b)).object().value("data").toObject();
    FUZZ_CHECK(m.value("fileName").toString() == a);
    FUZZ_CHECK(m.value("pathPrat").toString() == b);
}

void visit(const QJsonArray& level, const QStringList& segments, int depth, int& budget)
{
    if (depth > 64)
        return;
    for (const QJsonValue& v : level) {
        if (--budget < 0)
            return;
        const QJsonObject node = v.toObject();
        FUZZ_CHECK(rowTexts(node).size() == RowColumnCount);
        const QString name = node.value(QLatin1String("wjjmc")).toString();
        checkLocalName(name);
        checkEnvelope(name, nodeText(node, QStringLiteral("wjjid")));
        if (isFolderNode(node))
            visit(node.value(QLatin1String("xjdata")).toArray(), segments, depth + 1, budget);
    }
    fileExistsInTree(segments, level);
    walkTree(level, segments);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, size_t size)
{
    QByteArray reply;
    QByteArray path;
    fuzzsupport::splitAtZero(data, size, reply, path);
    const QJsonObject object = parseReply(reply);
    replyCode(object);
    const QStringList segments = QString::fromUtf8(path).split(QLatin1Char('\\'), Qt::SkipEmptyParts);
    for (const QString& s : segments)
        checkLocalName(s);

    int budget = 20000;
    QString rootId;
    visit(unwrapPersonalRoot(personalNodes(object), &rootId), segments, 0, budget);
    visit(enterpriseNodes(object), segments, 0, budget);
    const QJsonObject ticket = object.value(QLatin1String("data")).toObject();
    checkEnvelope(ticket.value(QLatin1String("sclj")).toString(), ticket.value(QLatin1String("wjjwybs")).toString());
    return 0;
}
