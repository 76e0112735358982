// File-type filters: the combo's entries from the caller's groups, the
// rights that remove project types, and a typed name kept in step with the
// chosen type.
#include "zFileDialog.h"

#include "QXManager.h"
#include "fileModelLocal.h"
#include "zBaseButton.h"
#include "zBaseCombox.h"
#include "zBaseLineEdit.h"
#include "zBaseTab.h"
#include "zFileDialogUi.h"

#include <QFileInfo>
#include <QTableView>

namespace {

// Drops every extension containing marker from the groups when the user
// lacks the right. The walk stops at the first group left with its title
// alone; then element i of the first group goes and the count shrinks by
// one, so the last group leaves the combo while the emptied one stays with
// empty parentheses. Users of the host know the combo this way; it stays.
void removeForMissingRight(QStringList* filters, int& filterCount, int right, const QString& marker)
{
    if (QXManager::GetInstance()->CheckQx(right, QVariant()) || filterCount < 1)
        return;
    for (int i = 0; i < filterCount; ++i) {
        QStringList& group = filters[i];
        for (int e = group.size() - 1; e >= 1; --e) {
            if (group.at(e).contains(marker, Qt::CaseSensitive))
                group.removeAt(e);
        }
        if (group.size() == 1) {
            if (i < filters[0].size())
                filters[0].removeAt(i);
            --filterCount;
            break;
        }
    }
}

QString comboText(const QString& title, const QStringList& patterns)
{
    QString text = title + QLatin1Char('(');
    for (const QString& p : patterns)
        text += p + QLatin1Char(' ');
    return text + QLatin1Char(')');
}

} // namespace

void zFileDialog::initFilterSuffix(QStringList* filters, int filterCount)
{
    if (!filters)
        return;
    if (filterCount == 0)
        ui->fileTypeCombo->setEnabled(false);
    removeForMissingRight(filters, filterCount, 2, QStringLiteral("GCFG"));
    removeForMissingRight(filters, filterCount, 35, QStringLiteral("GCFZ"));
    if (filterCount < 1) {
        setFilterSuffix(0);
        return;
    }
    for (int i = 0; i < filterCount; ++i) {
        QStringList& group = filters[i];
        QStringList patterns;
        for (int e = 1; e < group.size(); ++e)
            patterns << QStringLiteral("*.") + group.at(e);
        ui->patternMap[i] = patterns;
        ui->fileTypeCombo->addItem(comboText(group.value(0), patterns), QVariant());
        if (!group.isEmpty())
            group.removeFirst();
        ui->suffixMap[i] += group;
        ui->suffixMap2[i] = ui->suffixMap[i];
    }
    setFilterSuffix(0);
}

void zFileDialog::initFilterEdit(QStringList* filters, int filterCount)
{
    if (!filters)
        return;
    for (int i = 0; i < filterCount; ++i) {
        QStringList& group = filters[i];
        QStringList patterns;
        for (int e = 1; e < group.size(); ++e)
            patterns << QStringLiteral("*.") + group.at(e);
        ui->patternMap[i] += patterns;
        ui->fileTypeCombo->addItem(comboText(group.value(0), patterns), QVariant());
        if (!group.isEmpty())
            group.removeFirst();
        ui->suffixMap[i] = group;
        ui->suffixMap2[i] = group;
    }
    setFilterSuffix(0);
}

bool zFileDialog::fileSuffixIsHave(QString& strFilePath, int index)
{
    const QFileInfo info(strFilePath);
    const QString extension = info.suffix();
    const int dot = info.fileName().lastIndexOf(QLatin1Char('.'));
    const QString stem = dot >= 0 ? info.fileName().left(dot) : info.completeBaseName();
    const QStringList suffixes = ui->suffixMap.value(index);
    if (suffixes.isEmpty())
        return true; // no type to complete the name with: it stays as typed
    if (extension.isEmpty()) {
        strFilePath += QLatin1Char('.') + suffixes.first();
        return true;
    }
    const bool saving = ui->okButton->text() == QStringLiteral("保存");
    auto isExcel = [](const QString& s) {
        const QString u = s.toUpper();
        return u == QLatin1String("XLSX") || u == QLatin1String("XLS");
    };
    for (const QString& entry : suffixes) {
        if (saving && isExcel(entry) && isExcel(extension))
            return true;
        if (entry.compare(extension, Qt::CaseInsensitive) == 0)
            return true;
    }
    const QString folder = strFilePath.left(strFilePath.size() - info.fileName().size());
    strFilePath = folder + stem + QLatin1Char('.') + suffixes.first();
    return false;
}

void zFileDialog::currentFilterIndexChanged(int index)
{
    // The cloud listing is applied again wherever the dialog is: in a local
    // folder that refills only the cloud model, which is not on screen.
    updateYunpanData(QJsonArray(m_yunpanLevel), m_currentDir, tracing);
    // The local table follows the chosen type at once.
    ui->localModel->setNameFilters(ui->patternMap.value(index));
    if (ui->tableView->model() == ui->localModel && !m_isRecent) {
        ui->localModel->applyNameFilters();
        ui->tableView->sortByColumn(i_Column, Qt::SortOrder(i_sort));
    }
    if (!isIopen && !ui->fileNameEdit->text().isEmpty()) {
        QString text = ui->fileNameEdit->text();
        fileSuffixIsHave(text, index);
        ui->fileNameEdit->setText(text);
    }
}

void zFileDialog::initTabToSuffixMap()
{
    const QList<QPair<QString, QStringList>> rows{
        {QStringLiteral("预算"), {QStringLiteral("*.GCFX"), QStringLiteral("*.SGCFX")}},
        {QStringLiteral("总承包"), {QStringLiteral("*.GCFZ"), QStringLiteral("*.SGCFZ")}},
        {QStringLiteral("概算"), {QStringLiteral("*.GCFG"), QStringLiteral("*.SGCFG")}},
        {QStringLiteral("结算"), {QStringLiteral("*.GCFJ"), QStringLiteral("*.SGCFJ")}},
        {QStringLiteral("全过程"), {QStringLiteral("*.GCFQ"), QStringLiteral("*.SGCFQ")}},
        {QStringLiteral("EXCEL"), {QStringLiteral("*.xls"), QStringLiteral("*.xlsx")}},
        {QStringLiteral("CJZ"), {QStringLiteral("*.CJZ")}},
    };
    QStringList all;
    for (zBaseTab* tab : ui->recentTabs) {
        for (const auto& row : rows) {
            if (tab->text() == row.first) {
                m_recentTabMap.insert(tab, row.second);
                all += row.second;
            }
        }
    }
    m_recentTabMap.insert(ui->recentAllTab, all);
}

void zFileDialog::selectFilter(int index)
{
    if (ui->fileTypeCombo->count() > 0)
        ui->fileTypeCombo->setCurrentIndex(index);
    // Without type groups the list of patterns is empty: folders, drives and
    // shortcuts to folders are offered, no file.
    ui->localModel->setNameFilters(ui->patternMap.value(index));
}

QString zFileDialog::comboFilterString() const
{
    QStringList texts;
    for (int i = 0; i < ui->fileTypeCombo->count(); ++i)
        texts << ui->fileTypeCombo->itemText(i);
    return texts.join(QStringLiteral(";;"));
}
