#pragma once
// The list inside an address-bar segment's drop-down: the sub-folders (and
// drives, folder shortcuts) of the segment's folder, or for the root the
// user's standard places. Each row keeps the folder it opens in role 257.
#include "pfd_global.h"
#include "folderrows.h"
#include "zBaseWidget.h"

#include <QModelIndex>
#include <QString>

class AddressItem;
class QListView;
class QStandardItemModel;
class QVBoxLayout;

class PFD_EXPORT MenuWidget : public zBaseWidget
{
    Q_OBJECT

public:
    // Role of a row's target folder.
    static constexpr int TargetRole = Qt::UserRole + 1;

    MenuWidget(bool isRoot, AddressItem* parent);

    // Fills the list with the folder's sub-folders; does nothing unless path
    // is a directory (":" counts: it is the resource root, and the drive
    // list is read from ":").
    void setFolder(QString path);
    // Fills the list with rows taken earlier (see folderrows.h).
    void setRows(const QVector<pfd::FolderRow>& rows);

    // The one model this list has: the places model for the root, the
    // folder model otherwise.
    QStandardItemModel* rowsModel() const;
    QListView* view() const { return listView; }

signals:
    void SClickPath(QString path);

public slots:
    void on_listView_clicked(QModelIndex index);

protected:
    void changeEvent(QEvent* event) override;

private:
    void fillPlaces();
    QString listStyleSheet() const;

    bool isRoot = false;
    QStandardItemModel* folderModel = nullptr;
    QStandardItemModel* placesModel = nullptr;
    QVBoxLayout* verticalLayout = nullptr;
    QListView* listView = nullptr;
};
