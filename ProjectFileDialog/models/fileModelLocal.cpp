#include "fileModelLocal.h"

#include "collation.h"
#include "fileInfoJsonUtil.h"
#include "pathstyle.h"
#include "shellicon.h"
#include "sizetext.h"
#include "sortutil.h"
#include "SharedInterface.h"
#include "zFileDialog.h"

#include <QCollator>
#include <QCollatorSortKey>
#include <QDateTime>
#include <QFile>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QSet>

#include <algorithm>

namespace {

QString suffixOf(const QString& path)
{
    return pfd::suffixRef(path).toString();
}

// "*.<suffix>" among the patterns, compared case-insensitively, without
// building the pattern text for every row.
bool matchesSuffixPattern(const QStringList& patterns, const QStringRef& suffix)
{
    for (const QString& p : patterns) {
        if (p.size() == suffix.size() + 2 && p.startsWith(QLatin1String("*."))
            && p.midRef(2).compare(suffix, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

// Whether the folder holds an entry of that name, whatever it is: a shortcut
// whose target has gone is still there (QFileInfo::exists follows it).
bool entryExists(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

const QStringList& headers(bool pathColumn)
{
    static const QStringList normal{QStringLiteral("名称"), QStringLiteral("大小"),
                                    QStringLiteral("项目类型"), QStringLiteral("修改日期")};
    static const QStringList withPath{QStringLiteral("名称"), QStringLiteral("路径"),
                                      QStringLiteral("大小"), QStringLiteral("修改日期")};
    return pathColumn ? withPath : normal;
}

} // namespace

fileModelLocal::fileModelLocal(QObject* parent)
    : QAbstractTableModel(parent)
{
    pfd::configureChineseCollator(collator());
}

QCollator& fileModelLocal::collator()
{
    static QCollator shared;
    return shared;
}

int fileModelLocal::rowCount(const QModelIndex&) const
{
    return visibleFiles.size();
}

int fileModelLocal::columnCount(const QModelIndex&) const
{
    return 4;
}

const FileInfo* fileModelLocal::fileAt(int row) const
{
    if (row < 0 || row >= visibleFiles.size())
        return nullptr;
    return &allFiles.at(visibleFiles.at(row));
}

QVariant fileModelLocal::data(const QModelIndex& index, int role) const
{
    const FileInfo* info = index.isValid() ? fileAt(index.row()) : nullptr;
    if (!info)
        return QVariant();
    const int column = index.column();

    if (role == Qt::DisplayRole || role == Qt::EditRole) {
        auto sizeText = [info] {
            if (info->isShortcutToNetworkPath() || info->isShortcutToFolder())
                return QString();
            return pfd::sizeDisplayText(info->size);
        };
        switch (column) {
        case 0:
            if (info->isShortcut())
                return QString(info->name).remove(QStringLiteral(".lnk"), Qt::CaseSensitive);
            if (zFileDialog::getCurrentPath() == QLatin1String(":"))
                return info->displayName;
            return info->name;
        case 1:
            return m_showPathColumn ? info->path : sizeText();
        case 2:
            return m_showPathColumn ? sizeText() : info->type;
        case 3:
            return pfd::dateDisplayText(info->datetime);
        default:
            return QVariant();
        }
    }

    if (role == Qt::DecorationRole && column == 0) {
        if (info->isFolder()) {
            return pfd::systemIconProvider().icon(QFileInfo(info->path));
        }
        if (info->isLocalDisk() || info->isRemovableDisk() || info->isRamDisk() || info->isCdRom())
            return pfd::shellIcon(info->path);
        if (info->isNetDrive())
            return iconSource(QStringLiteral("netDriver"));
        if (info->isShortcut())
            return pfd::shellIcon(info->path);
        return iconSource(suffixOf(info->path));
    }
    return QVariant();
}

bool fileModelLocal::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!index.isValid() || role != Qt::EditRole || index.row() >= visibleFiles.size())
        return false;
    FileInfo& info = allFiles[visibleFiles.at(index.row())];
    const QString newName = value.toString();
    if (newName == info.name)
        return false;
    const QString oldPath = info.path;
    // The file went away since the folder was read: there is nothing to
    // rename, and the caller refreshes the table anyway.
    if (!entryExists(oldPath))
        return true;
    const QString newPath = QFileInfo(oldPath).absolutePath() + QLatin1Char('/') + newName;
    // Renaming onto a shortcut would write the file through it to its target.
    if (entryExists(newPath))
        return false;

    info.name = newName;
    info.path = newPath;
    // A new suffix may pass the filters differently.
    forgetFilterPass();
    emit dataChanged(index, index, {Qt::DisplayRole, Qt::EditRole});

    if (info.isFolder() || info.isShortcut()) {
        if (auto* dialog = qobject_cast<zFileDialog*>(QObject::parent()))
            dialog->RenameDirBtnByPath(oldPath, newName, newPath);
        fileInfoJsonUtil::RenameFileInfoInJson(SharedInterface::GetAppPath() + QStringLiteral("/filecy.json"),
                                               QStringLiteral("OftenUse"), oldPath, newName, newPath);
    }
    return QFile::rename(oldPath, newPath);
}

QVariant fileModelLocal::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return QVariant();
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignLeft | Qt::AlignVCenter);
    if (role != Qt::DisplayRole)
        return QVariant();
    const QStringList& list = headers(m_showPathColumn);
    if (section < 0 || section >= list.size())
        return QVariant();
    return list.at(section);
}

Qt::ItemFlags fileModelLocal::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    const Qt::ItemFlags base = QAbstractTableModel::flags(index);
    return index.column() == 0 ? base | Qt::ItemIsEditable : base;
}

void fileModelLocal::setFiles(const QList<FileInfo>& files)
{
    if (allFiles.isSharedWith(files))
        return;
    allFiles = files;
    forgetFilterPass();
}

bool fileModelLocal::passesFilter(const FileInfo& info) const
{
    if (m_nameFilters.size() == 1
        && (m_nameFilters.at(0) == QLatin1String("**") || m_nameFilters.at(0) == QLatin1String("*.*")))
        return true;
    if (info.isFolder() || info.isDrive())
        return true;
    if (!info.isShortcut())
        return matchesSuffixPattern(m_nameFilters, pfd::suffixRef(info.path));
    return info.isShortcutToNetworkPath() || info.isShortcutToFolder();
}

void fileModelLocal::rebuildVisible()
{
    if (m_lastFilterPassValid) {
        visibleFiles = m_lastFilterPass;
        return;
    }
    visibleFiles.clear();
    visibleFiles.reserve(allFiles.size());
    // "*.*" or "**" alone lets every record through: no need to ask each.
    const bool everything = m_nameFilters.size() == 1
                            && (m_nameFilters.at(0) == QLatin1String("**") || m_nameFilters.at(0) == QLatin1String("*.*"));
    bool askedFileSystem = false;
    for (int i = 0; i < allFiles.size(); ++i) {
        const FileInfo& info = allFiles.at(i);
        if (!everything && info.isShortcut())
            askedFileSystem = true;
        if (everything || passesFilter(info))
            visibleFiles.append(i);
    }
    // Every other answer follows from the record's own texts, so the same
    // records under the same filters give the same rows.
    m_lastFilterPassValid = !askedFileSystem;
    if (m_lastFilterPassValid)
        m_lastFilterPass = visibleFiles;
}

void fileModelLocal::applyNameFilters()
{
    beginResetModel();
    rebuildVisible();
    endResetModel();
}

void fileModelLocal::forgetFilterPass()
{
    m_lastFilterPassValid = false;
    m_lastFilterPass = QVector<int>();
}

void fileModelLocal::setNameFilters(const QStringList& filters)
{
    if (filters != m_nameFilters)
        forgetFilterPass();
    m_nameFilters = filters;
}

void fileModelLocal::setShowPathColumn(bool show)
{
    m_showPathColumn = show;
}

void fileModelLocal::setCurrentDir(const QString& dir)
{
    m_currentDir = dir;
}

void fileModelLocal::setIconSource(IconSource source)
{
    iconSource = std::move(source);
}

void fileModelLocal::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column > 3)
        return;
    beginResetModel();
    rebuildVisible();
    endResetModel();

    beginResetModel();
    sortVisible(column, order);
    endResetModel();
}

void fileModelLocal::sortVisible(int column, Qt::SortOrder order)
{
    // Each row's key is worked out once (a collator sort key, a number), so
    // the sort itself only compares plain values.
    const int n = visibleFiles.size();
    std::vector<int> rows(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
        rows[size_t(i)] = i;

    auto record = [this](int row) -> const FileInfo& { return allFiles.at(visibleFiles.at(row)); };

    switch (column) {
    case 0: {
        // Group 0: folders and shortcuts that open as folders; 1: neither a
        // folder nor a shortcut; 2: shortcuts to files, which compare by name
        // with both.
        std::vector<char> group(static_cast<size_t>(n));
        const pfd::SortKeys keys = pfd::chineseSortKeys(n, [&](int i) -> const QString& { return record(i).name; });
        for (int i = 0; i < n; ++i) {
            const FileInfo& f = record(i);
            if (f.isFolder())
                group[size_t(i)] = 0;
            else if (!f.isShortcut())
                group[size_t(i)] = 1;
            else
                group[size_t(i)] = (f.isShortcutToNetworkPath() || f.isShortcutToFolder()) ? 0 : 2;
        }
        pfd::quickSort(rows, [&](int a, int b) {
            const char ga = group[size_t(a)];
            const char gb = group[size_t(b)];
            if (ga == 0 && gb == 1)
                return true;
            if (gb == 0 && ga == 1)
                return false;
            return keys.compare(a, b) < 0;
        });
        break;
    }
    case 1: {
        std::vector<double> kb(static_cast<size_t>(n));
        for (int i = 0; i < n; ++i)
            kb[size_t(i)] = pfd::sizeKilobytes(record(i));
        pfd::quickSort(rows, [&](int a, int b) { return kb[size_t(a)] < kb[size_t(b)]; });
        break;
    }
    case 2:
        pfd::quickSort(rows, [&](int a, int b) { return record(a).type < record(b).type; });
        break;
    case 3: {
        std::vector<qint64> when(static_cast<size_t>(n));
        for (int i = 0; i < n; ++i)
            when[size_t(i)] = pfd::dateTimeSortKey(record(i).datetime);
        pfd::quickSort(rows, [&](int a, int b) { return when[size_t(a)] < when[size_t(b)]; });
        break;
    }
    }

    // Descending is the ascending order turned round, folder grouping
    // included: folders come last.
    if (order == Qt::DescendingOrder)
        std::reverse(rows.begin(), rows.end());

    QVector<int> sorted;
    sorted.reserve(n);
    for (int row : rows)
        sorted.append(visibleFiles.at(row));
    visibleFiles = std::move(sorted);
}
