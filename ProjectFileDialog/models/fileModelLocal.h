#pragma once
// The table model of a local folder: every record of the folder, the rows
// that pass the type filter, its own sorting and in-place renaming.
#include "FileInfo.h"

#include <QAbstractTableModel>
#include <QIcon>
#include <QStringList>
#include <QVector>

#include <functional>

class QCollator;

class PFD_EXPORT fileModelLocal : public QAbstractTableModel
{
    Q_OBJECT

public:
    using IconSource = std::function<QIcon(const QString& key)>;

    explicit fileModelLocal(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    // Replaces the records; the caller calls applyNameFilters() right after.
    void setFiles(const QList<FileInfo>& files);
    // Rebuilds the rows from the records, in record order.
    void applyNameFilters();

    void setNameFilters(const QStringList& filters);
    void setShowPathColumn(bool show);
    void setCurrentDir(const QString& dir);
    void setIconSource(IconSource source);

    QStringList nameFilters() const { return m_nameFilters; }
    bool showPathColumn() const { return m_showPathColumn; }
    QString currentDir() const { return m_currentDir; }
    const QList<FileInfo>& files() const { return allFiles; }
    // The record behind a row, or null.
    const FileInfo* fileAt(int row) const;

    // The collator every local table shares.
    static QCollator& collator();

private:
    bool passesFilter(const FileInfo& info) const;
    void rebuildVisible();
    void forgetFilterPass();
    void sortVisible(int column, Qt::SortOrder order);

    QList<FileInfo> allFiles;
    QVector<int> visibleFiles; // positions in allFiles, in display order
    // The last filter pass over allFiles, in record order. A sort right
    // after applyNameFilters takes it instead of asking every record again;
    // it is dropped whenever the records or the filters change, and not
    // kept when a row's answer depends on the file system (shortcuts).
    QVector<int> m_lastFilterPass;
    bool m_lastFilterPassValid = false;
    QString m_currentDir;
    IconSource iconSource;
    QStringList m_nameFilters;
    bool m_showPathColumn = false;
};
