#pragma once
// The project-file dialog. A host never builds one itself: it calls the
// static entry points, which run an open or a save dialog modally and hand
// back the chosen path. What outlives one dialog is kept in the static
// members below and in the store (fileInfoJsonUtil).
#include "pfd_global.h"

#include "zBaseModal.h"

#include <QIcon>
#include <QJsonObject>
#include <QString>

class PFD_EXPORT zFileDialog : public zBaseModal
{
    Q_OBJECT

public:
    // Whether leaving a folder records it on the back-stack.
    enum TracAction { tracing = 0, no_tracing = 1 };
    Q_ENUM(TracAction)

    explicit zFileDialog(QWidget* parent = nullptr);
    ~zFileDialog() override;

    // Kept only so that old callers still link: reads nothing, returns "".
    static QString OpenFileDlg(QJsonObject object);

    // The last folder shown, remembered for the next dialog.
    static QString getCurrentPath();
    static void SetCurrentPath(const QString& path);

    static QString GetFilePath();
    static void SetFilePath(const QString& path);
    static QString GetFilePid();
    static void SetFilePid(const QString& pid);
    static QString GetQyid();
    static void SetQyid(const QString& qyid);

    // Gives the pinned-folder button that stands for oldPath its new name.
    void RenameDirBtnByPath(const QString& oldPath, const QString& newName, const QString& newPath);

    // Process-wide state, kept from one dialog to the next.
    static int iClickedBtn;      // last place used: 0 desktop ... 8 recent
    static int i_sort;           // Qt::SortOrder of the table
    static int i_Column;         // sort column of the table
    static bool isHistoryOpen;
    static bool isIopen;         // an open dialog is running
    static QString userId;
    static QString userName;
    static QString filepath;
    static QString yunpanFile;
    static QString pathFgf;      // splits display paths into segments
    static QString s_currentPath;
    static QString s_filePid;
    static QString s_fileYunPanPath;
    static QString s_qyid;

protected:
    static QString getDialogPathMsg(QJsonObject object);

private:
    QIcon fileIcon(const QString& key);
};
