#include "clouddisk_replies_p.h"

#include <QHash>

namespace clouddisk {
namespace replies {

using store::Node;

namespace {

// Everything of a node but its children or link, in the order of the
// node's keys; the object is left open.
void writeHead(JsonWriter& w, const Node& n, const QString& name)
{
    w.raw("{\"wjjmc\":").string(name);
    w.raw(",\"wjjid\":\"").number(n.id);
    if (n.parent < 0)
        w.raw("\",\"wjjpid\":\"0");
    else
        w.raw("\",\"wjjpid\":\"").number(n.parent);
    w.raw(n.folder ? "\",\"wjlx\":\"1\",\"wjdx\":" : "\",\"wjlx\":\"2\",\"wjdx\":").number(n.size);
    w.raw(",\"xgsj\":").string(n.mtime);
    if (n.enterprise < 0)
        w.raw(",\"wjjgsqyid\":\"\"");
    else
        w.raw(",\"wjjgsqyid\":\"").number(n.enterprise).raw("\"");
}

void writeFile(JsonWriter& w, const Node& n, const QString& name)
{
    writeHead(w, n, name);
    w.raw(",\"xzlj\":\"").raw(kXzljPrefix).number(n.id).raw("\"}");
}

} // namespace

void beginSuccess(JsonWriter& w, const QString& msg)
{
    w.raw("{\"code\":0,\"msg\":").string(msg).raw(",\"data\":");
}

void endReply(JsonWriter& w)
{
    w.raw("}");
}

void writeNode(JsonWriter& w, const Node& n)
{
    if (n.folder) {
        writeHead(w, n, n.name);
        w.raw(",\"xjdata\":[]}");
    } else {
        writeFile(w, n, n.name);
    }
}

bool writeTree(JsonWriter& w, const QVector<Node>& rows, qint64 rootId, const QSet<qint64>& closed,
               const QString& rootName)
{
    // Each parent's children are one run of rows: [first, end).
    struct Run
    {
        int first = 0;
        int end = 0;
    };
    QHash<qint64, Run> runs;
    runs.reserve(rows.size() / 8 + 1);
    int root = -1;
    for (int i = 0; i < rows.size(); ++i) {
        const Node& n = rows[i];
        if (n.id == rootId)
            root = i;
        if (n.parent < 0)
            continue;
        if (i == 0 || rows[i - 1].parent != n.parent)
            runs[n.parent].first = i;
        runs[n.parent].end = i + 1;
    }
    if (root < 0)
        return false;
    const Node& top = rows[root];
    const QString& topName = rootName.isEmpty() ? top.name : rootName;
    if (!top.folder) {
        writeFile(w, top, topName);
        return true;
    }

    struct Frame
    {
        int next;
        int end;
        bool first;
    };
    auto open = [&](const Node& n) {
        const Run run = closed.contains(n.id) ? Run() : runs.value(n.id);
        return Frame{run.first, run.end, true};
    };
    // Every row is written once at most, whatever the stored parents say.
    QVector<bool> written(rows.size(), false);
    written[root] = true;
    QVector<Frame> stack;
    writeHead(w, top, topName);
    w.raw(",\"xjdata\":[");
    stack.push_back(open(top));
    while (!stack.isEmpty()) {
        Frame& f = stack.last();
        if (f.next >= f.end) {
            w.raw("]}");
            stack.removeLast();
            continue;
        }
        const int k = f.next++;
        if (written[k])
            continue;
        written[k] = true;
        w.separator(f.first);
        const Node& n = rows[k];
        if (!n.folder) {
            writeFile(w, n, n.name);
            continue;
        }
        writeHead(w, n, n.name);
        w.raw(",\"xjdata\":[");
        stack.push_back(open(n)); // `f` is not used after this
    }
    return true;
}

QByteArray treeReply(const QVector<Node>& rows, qint64 rootId, const QSet<qint64>& closed, const QString& rootName,
                     const char* open, const char* close)
{
    // Room for the whole reply, so that it is written without growing.
    constexpr int kBytesPerNode = 192;
    JsonWriter w(rows.size() * kBytesPerNode);
    beginSuccess(w);
    w.raw(open);
    if (!writeTree(w, rows, rootId, closed, rootName))
        w.raw("{}");
    w.raw(close);
    endReply(w);
    return w.take();
}

} // namespace replies
} // namespace clouddisk
