#pragma once
// The table model of a cloud folder. The cloud code fills its rows and hooks
// renaming so a new name reaches its own records first.
#include "pfd_global.h"

#include <QStandardItemModel>

#include <functional>

class PFD_EXPORT YunPanModel : public QStandardItemModel
{
    Q_OBJECT

public:
    using SetDataHook = std::function<bool(const QModelIndex& index, const QVariant& value, int role)>;

    explicit YunPanModel(QObject* parent = nullptr);
    YunPanModel(int rows, int columns, QObject* parent = nullptr);

    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    void setSetDataHook(SetDataHook hook);

private:
    SetDataHook setDataHook;
};
