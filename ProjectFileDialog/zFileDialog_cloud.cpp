// The cloud places of the left column. The cloud disk itself is reached
// through the host's request channel, which this build does not wire yet:
// the places show an empty cloud table and invent nothing.
#include "zFileDialog.h"

#include "AddressBar.h"
#include "YunPanModel.h"
#include "nameFilterProxyModel.h"
#include "zBaseButton.h"
#include "zFileDialogUi.h"

#include <QStackedWidget>
#include <QTableView>


void zFileDialog::showEmptyCloud(const QString& root)
{
    ui->stackedWidget->setCurrentIndex(0);
    ui->yunPanModel->removeRows(0, ui->yunPanModel->rowCount());
    setTableModel(ui->yunPanProxy);
    ui->addressBar->setPath(root);
}

void zFileDialog::onCompanyYunButton()
{
    ui->companyYunButton->setChecked(true);
    showEmptyCloud(QStringLiteral("企业云盘"));
    iClickedBtn = 3;
}

void zFileDialog::onPersonYunButton()
{
    ui->personYunButton->setChecked(true);
    showEmptyCloud(QStringLiteral("个人云盘"));
    iClickedBtn = 4;
}

void zFileDialog::updateYunPanCurrentPath(const QString& path, TracAction, const QString&)
{
    showEmptyCloud(path);
}

void zFileDialog::loadYunPanData(QJsonObject)
{
}
