#pragma once
// The dialog that asks where a project is to be saved.
#include "zFileDialog.h"

class PFD_EXPORT SaveProject : public zFileDialog
{
    Q_OBJECT

public:
    explicit SaveProject(QWidget* parent = nullptr);

    // Sets the dialog up for the caller's request and runs it modally.
    void saveProject(const QString& dir, const QString& defaultName, QStringList* filters, int filterCount,
                     bool confirmOverwrite, const QString& caption, const QString& projectPath,
                     bool enterpriseCloud);

    bool folderMode() const { return m_folderMode; }

public slots:
    void onOkButton() override;
    void onOtherPathButton() override;
    void slotSelectCurrent(QModelIndex index) override;
    void updateCurrentPath(const QString& path, TracAction action) override;
    void setFilterSuffix(int index) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool m_folderMode = false;       // a folder, not a file, is chosen
    bool m_hasDefaultName = false;   // the name field is editable in folder mode
    bool m_confirmOverwrite = true;
};
