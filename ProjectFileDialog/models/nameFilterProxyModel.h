#pragma once
// Orders the cloud table: folders first, names by the Chinese collator,
// sizes by their value.
#include "pfd_global.h"

#include <QSortFilterProxyModel>

class PFD_EXPORT nameFilterProxyModel : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit nameFilterProxyModel(QObject* parent = nullptr);

    // "1.5 KB" -> 1536, "10 GB" -> 10 * 1024^3; -1 for anything else.
    static qint64 sizeTextToBytes(const QString& text);

protected:
    bool lessThan(const QModelIndex& left, const QModelIndex& right) const override;
};
