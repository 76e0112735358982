#include "YunPanModel.h"

YunPanModel::YunPanModel(QObject* parent)
    : QStandardItemModel(parent)
{
}

YunPanModel::YunPanModel(int rows, int columns, QObject* parent)
    : QStandardItemModel(rows, columns, parent)
{
}

bool YunPanModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    // A refused hook leaves the row as it was: the cloud keeps the old name.
    if (setDataHook && !setDataHook(index, value, role))
        return false;
    return QStandardItemModel::setData(index, value, role);
}

void YunPanModel::setSetDataHook(SetDataHook hook)
{
    setDataHook = std::move(hook);
}
