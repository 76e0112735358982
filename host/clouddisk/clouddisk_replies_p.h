#pragma once
// The service's replies that carry cloud folder nodes, written as bytes from
// the store's rows. Private to the clouddisk library.
#include "JsonWriter.h"
#include "clouddisk_store_p.h"

#include <QSet>
#include <QVector>

namespace clouddisk {
namespace replies {

// A file node's "xzlj" is this prefix and the node's id.
inline constexpr char kXzljPrefix[] = "clouddisk:file/";

// {"code":0,"msg":MSG,"data": ... the caller writes the data, then endReply.
void beginSuccess(JsonWriter& w, const QString& msg = QString());
void endReply(JsonWriter& w);

// One node; a folder with an empty "xjdata".
void writeNode(JsonWriter& w, const store::Node& n);

// The tree under rootId, from the rows of its tree as the store lists them
// (grouped by parent, each folder's children in listing order). Folders in
// `closed` are shown without their contents; the top node is named rootName
// when that is not empty. False, with nothing written, when rootId is not
// among the rows.
bool writeTree(JsonWriter& w, const QVector<store::Node>& rows, qint64 rootId, const QSet<qint64>& closed,
               const QString& rootName = QString());

// A whole success reply whose "data" is the tree under rootId (as
// writeTree; "{}" when rootId is not among the rows), between `open` and
// `close`.
QByteArray treeReply(const QVector<store::Node>& rows, qint64 rootId, const QSet<qint64>& closed,
                     const QString& rootName = QString(), const char* open = "", const char* close = "");

} // namespace replies
} // namespace clouddisk
