#pragma once
// The folder trees of the cloud replies: nodes ("wjjmc", "wjjid", "wjjpid",
// "wjlx", "wjdx", "xgsj", "wjjgsqyid", "xjdata") as the table shows them and
// as the dialog walks them. Pure data, QtCore only.
#include "pfd_global.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace pfd {
namespace cloud {

// The name of the personal tree's top node.
PFD_EXPORT extern const QString kRootNodeName; // "根目录"
// The first segments of the two clouds' display paths.
PFD_EXPORT extern const QString kPersonalLabel;   // "个人云盘"
PFD_EXPORT extern const QString kEnterpriseLabel; // "企业云盘"

PFD_EXPORT bool isFolderNode(const QJsonObject& node);
// "wjjid", "wjlx" and the other string keys, whatever JSON type they came
// as (numbers are written in decimal).
PFD_EXPORT QString nodeText(const QJsonObject& node, const QString& key);

// One table row of a node, in column order: name, size text, kind text,
// time, "wjjid", "wjlx", "wjjpid", "wjjgsqyid".
enum RowColumn { NameColumn, SizeColumn, KindColumn, TimeColumn, IdColumn, FolderFlagColumn, ParentIdColumn,
                 EnterpriseIdColumn, RowColumnCount };
PFD_EXPORT QStringList rowTexts(const QJsonObject& node);
// The suffix of a cloud file's name, as QFileInfo::suffix gives it.
PFD_EXPORT QString nodeSuffix(const QJsonObject& node);

// " B", " KB", " M", " G" with two decimals.
PFD_EXPORT QString cloudSizeText(double bytes);

// The personal reply's "data" -> "data" array with its "根目录" top node
// unwrapped: its children, and *rootId set to its "wjjid". An array whose
// first node is named otherwise comes back as it is and *rootId is left.
PFD_EXPORT QJsonArray unwrapPersonalRoot(const QJsonArray& nodes, QString* rootId);
// The array of a browse reply: "data" -> "data" (personal) or "data"
// (enterprise); anything else gives an empty array.
PFD_EXPORT QJsonArray personalNodes(const QJsonObject& reply);
PFD_EXPORT QJsonArray enterpriseNodes(const QJsonObject& reply);

// The first node of level whose key equals value; an empty object if none.
PFD_EXPORT QJsonObject findNode(const QJsonArray& level, const QString& key, const QString& value);

// Walks a cloud path's segments from the second on down the tree by
// "wjjmc", descending into each folder's "xjdata". Stops at a segment with
// no folder of that name. The level reached, and the last folder entered
// (empty when none) in *folder; *matched counts the segments walked.
PFD_EXPORT QJsonArray walkTree(const QJsonArray& tree, const QStringList& segments, QJsonObject* folder = nullptr,
                               int* matched = nullptr);

// Whether a file of that path exists in the tree (segments from the second
// on; a segment not found is skipped and the next tried at the same level).
PFD_EXPORT bool fileExistsInTree(const QStringList& segments, const QJsonArray& tree);

} // namespace cloud
} // namespace pfd
