#pragma once
// The dialog that picks a project file to open.
#include "zFileDialog.h"

class PFD_EXPORT OpenProject : public zFileDialog
{
    Q_OBJECT

public:
    explicit OpenProject(QWidget* parent = nullptr);

    // Sets the dialog up for the caller's request and runs it modally.
    void openProject(const QString& dir, QStringList* filters, int filterCount, const QString& projectPath,
                     bool option, const QString& caption, bool enterpriseCloud, OpenFileType type);

    // True when the file may be opened; a refusal has shown its message.
    bool checkProjectFile(const QString& file);

    // The open mode the caller asked for (OpenFileType).
    int viewMode() const { return m_viewMode; }

public slots:
    void onOkButton() override;
    void slotSelectCurrent(QModelIndex index) override;
    void onOtherPathButton() override;
    void slotChooseDir() override;
    void setFilterSuffix(int index) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Opens the candidate when it exists and passes the rights check.
    void acceptFile(const QString& typedName);
    // Adds an accepted project to the store's recent list, once.
    void rememberRecent(const QString& file);
    void onTableRowChanged(const QModelIndex& current) override;

    int m_viewMode = OpenProjectFile;
};
