#pragma once
// The project-file dialog. A host never builds one itself: it calls the
// static entry points, which run an open or a save dialog modally and hand
// back the chosen path. What outlives one dialog is kept in the static
// members below and in the store (fileInfoJsonUtil).
#include "pfd_global.h"

#include "models/FileInfo.h"
#include "zBaseModal.h"

#include <QDateTime>
#include <QHash>
#include <QIcon>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QModelIndex>
#include <QPair>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <QVector>

class QAbstractButton;
class QAbstractItemModel;
class QAction;
class zBaseTab;
class oftenUseDirButton;
class PlacesKeys;

struct zFileDialogUi;

// What an open dialog is asked to choose, and how it starts.
enum OpenFileType {
    OpenProjectFile = 1, // a project file, starting in the caller's folder
    ChooseFolder = 2,    // a folder: the extra button reads "确定"
    FileOrFolder = 3,    // a file, or the shown folder through "选择文件夹";
                         // starts where the user last was
    OpenFileHere = 4,    // a project file, starting where the user last was
    PickListedFile = 8   // the selected row as listed, file or folder
};

// A cloud upload waiting for the host to write the staged file.
struct SaveYunpanData
{
    QString strFilePath;   // the staged local file
    QString strYunPanPath; // where it goes in the cloud
    int iType = 0;         // which cloud
    QString strUserId;
    QString strUserName;
    QString strQyId;
    QString strWjjId;
};

class PFD_EXPORT zFileDialog : public zBaseModal
{
    Q_OBJECT

public:
    // Whether leaving a folder records it on the back-stack.
    enum TracAction { tracing = 0, no_tracing = 1 };
    Q_ENUM(TracAction)

    explicit zFileDialog(QWidget* parent = nullptr);
    ~zFileDialog() override;

    // ---- entry points of the host ------------------------------------------
    static QString getOpenFileName(QWidget* parent, QString dir, QStringList* filters, int filterCount,
                                   QString projectPath = QString(), bool option = false,
                                   QString caption = QString(), bool enterpriseCloud = false,
                                   OpenFileType type = OpenProjectFile);
    // dir: folder to show first; defaultName: the name offered; confirmOverwrite:
    // ask before replacing a file; projectPath: the host's open project.
    static QString getSaveFileName(QWidget* parent, QString dir, QString defaultName, QStringList* filters,
                                   int filterCount, bool confirmOverwrite = true, QString caption = QString(),
                                   QString projectPath = QString(), bool enterpriseCloud = false);
    // Runs an open dialog and hands the dialog itself back; the caller owns it.
    static QObject* getOpenFileNameTest(QWidget* parent, QString dir, QStringList* filters, int filterCount,
                                        QString projectPath = QString(), bool option = false,
                                        QString caption = QString(), bool enterpriseCloud = false);
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

    // Sync snapshot of the dialog's state for the host, after each call.
    static void TbServerMsg(QString path);
    // The snapshot TbServerMsg builds (and drops).
    static QJsonObject TbServerSnapshot(const QString& path);

    // ---- the cloud disk, through the host's request channel ----------------
    // Each sends one request, blocks until the host answers and returns the
    // reply's top-level object (empty for anything else).
    static QJsonObject LoadGrypData();
    static QJsonObject LoadQyypData();
    static QJsonObject LoadQyypMlData(const QString& wjjid, const QString& qyid);
    static QJsonObject LoadQyypFileQx(const QString& qyid, const QString& wjjid);
    static QJsonObject UploadGryData(const QString& wjm, const QString& pid, int wjdx, const QString& ext,
                                     const QString& mqid);
    static QJsonObject UploadGryFile(const QString& sclj, const QString& wjjwybs, const QString& pid, int wjdx,
                                     const QString& ext, const QString& wjm, QString filePath, QString mqid);
    static QJsonObject UploadQyyData(const QString& wjm, const QString& pid, int wjdx, const QString& ext,
                                     const QString& mqid, const QString& qyid);
    static QJsonObject UploadQyyFile(const QString& sclj, const QString& wjjwybs, const QString& pid, int wjdx,
                                     const QString& ext, const QString& wjm, QString filePath, QString mqid,
                                     const QString& qyid);
    static QJsonObject IsExistDownLoadfile(const QString& fileName, const QString& pathPrat);
    static QJsonObject downLoadYunpanFile(const QString& fileName, const QString& filePath, const QString& Iscover,
                                          const QString& xzlj);

    // Whether a display path lies in the personal / enterprise cloud.
    static bool IsGrYunPanFile(QString path);
    static bool IsQyYunPanFile(QString path);
    // Whether the file a cloud path names (label first) is in the tree.
    static bool getYunPanFileIsExit(const QStringList& segments, QJsonArray tree);
    // Uploads the project the host saved at the staging path the dialog
    // handed out; true on success. Blocks under a progress window.
    static bool SaveToYunPanData(QString filePath);

    // Gives the pinned-folder button that stands for oldPath its new name.
    void RenameDirBtnByPath(const QString& oldPath, const QString& newName, const QString& newPath);

    // The chosen path; empty while nothing was chosen.
    QString resultPath() const { return m_resultPath; }
    // The folder the table shows.
    QString currentDirectory() const { return m_currentDir; }

    // ---- process-wide state, kept from one dialog to the next ----------------
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
    static QMap<int, SaveYunpanData> mapYunPanData;

public slots:
    virtual void slotDoubleClicked(QModelIndex index);
    void slotCurrentPathChanged(QString path);
    void slotTextChanged(QString path);
    void onCompleterChoosed(QString path);
    void onReturnPressed(QString path);
    virtual void TextEdited(QString text);
    virtual void onOkButton();
    virtual void onCancelButton();
    virtual void slotChooseDir();
    virtual void slotSelectCurrent(QModelIndex index);
    virtual void currentFilterIndexChanged(int index);
    virtual void onUsedPathButton();
    void oncurrentProjectPathButton();
    void onMyComputerButton();
    void onDesktopButton();
    void onDocumentButton();
    void slotBtnRecentClicked();
    virtual void onOtherPathButton();
    void onNetworkButton();
    virtual void onCompanyYunButton();
    virtual void onPersonYunButton();
    void onBackwardsButton();
    void onCreateFileButton();
    void onFigureTriggered(QAction* action);
    void onCurrentChanged(int index);
    void onSortingStateChange(int logicalIndex, Qt::SortOrder order);
    void onTableViewContextMenu(QPoint pos);
    void openField();
    void delField();
    void renameField();
    void slotOpenInExplorer();
    void slotCopyName();
    void slotCopyPath();
    void slotCopy();
    void slotPaste();
    virtual bool fileSuffixIsHave(QString& strFilePath, int index);
    void slotFixToOftenUse();
    void slotRefresh();
    virtual void updateCurrentPath(const QString& path, TracAction action);
    virtual void updateYunPanCurrentPath(const QString& path, TracAction action, const QString& kind);
    virtual void setFilterSuffix(int index);
    virtual void setForMenu();

private slots:
    void loadYunPanData(QJsonObject data);
    void aboutToShow();

protected:
    static QString getDialogPathMsg(QJsonObject object);
    // No folder is shown (the empty one a dialog starts with): nothing may
    // be written from there.
    bool noFolderShown() const;

    // ---- cloud views ----------------------------------------------------------
    // Fills the cloud model with one level and shows the display path in the
    // address bar; callers that show the cloud switch the table to it.
    void updateYunpanData(QJsonArray nodes, const QString& path, TracAction action);
    // Reloads the tree and shows the current cloud path again.
    void refreshCloudStorageTableData(bool personal);
    // The login gate of the cloud places.
    bool getIsLogin();
    // The level a cloud path reaches in tree; sets the folder and enterprise
    // ids of the last folder entered. *reached: the path actually reached.
    QJsonArray loadCurrentPath(const QStringList& segments, const QJsonArray& tree, QString* reached);

    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool event(QEvent* event) override;

    // Type filters of the caller's groups (element 0 the title, then bare
    // extensions), with the permission passes of the host's rights.
    void initFilterSuffix(QStringList* filters, int filterCount);
    void initFilterEdit(QStringList* filters, int filterCount);
    void initBtnStateLastClose();
    void pathTracing(QString& path);
    void setGreyXjwjj(bool enabled);
    // Puts the table into file mode (the local places' common first step).
    void showFileTable();
    // The record behind the table's row, or null.
    const FileInfo* fileInfoAt(const QModelIndex& index) const;
    void finish(const QString& result);
    // Shows a model in the table and keeps the row-change hook attached.
    void setTableModel(QAbstractItemModel* model);
    // Run when the table's current row changes; the project dialogs use it.
    virtual void onTableRowChanged(const QModelIndex& current);
    // The current folder joined with a name, by the folder's path style.
    QString childPath(const QString& name) const;
    // A display path whose first segment is "企业云盘" or "个人云盘".
    static bool isCloudPath(const QString& path);
    // Selects type filter index for the table (every file without groups).
    void selectFilter(int index);
    // The combo's type texts joined with ";;", for the system's dialogs.
    QString comboFilterString() const;
    // Column widths for the plain table or, with the path column, the
    // recent list.
    void sizeTableColumns();
    // The folder of the host's open project as the current-project place.
    static QString projectPlace(const QString& projectPath);

    zFileDialogUi* ui = nullptr;

    QString m_currentDir;         // the folder being shown
    QString m_initialDir;         // the folder the caller asked for
    QString m_spare;
    QString m_currentProjectDir;  // folder of the host's open project
    QString m_resultPath;         // empty: cancelled

    QJsonArray m_yunpanLevel;     // the cloud level the table shows
    QJsonArray m_yunpanRoot;      // the tree the last list request returned
    QJsonArray m_yunpanGrData;    // the personal tree, its root unwrapped
    QJsonArray m_yunpanQyData;    // the enterprises and their trees
    QString m_yunpanGrRootId;     // "wjjid" of the personal root
    bool m_cloudBusy = false;         // onOkButton waits for a download

    QList<QPair<int, QString>> m_backStack; // (place code, path), newest last
    QHash<zBaseTab*, QStringList> m_recentTabMap;
    bool m_isRecent = false;          // the recent list is showing
    bool m_isCurrentProjectTab = false;

    bool m_dragging = false;
    QPoint m_pressPos;
    QPoint m_pressGlobal;
    QPoint m_windowAtPress;

    QWidget* m_parentWidget = nullptr;
    bool m_option = false;
    int m_openFileType = OpenProjectFile;

    QHash<oftenUseDirButton*, FileInfo> m_oftenUse; // pinned button -> its folder
    QStringList m_lsjlLines; // accepted lines of the history file, in file order

    // Pinned folders and recent projects.
    void loadOftenUseFromJson();
    void buildAndAddOftenUseDirBtn(const FileInfo& info);
    bool isExistInDirBtns(const QString& path) const;
    void removeDirBtnByPath(const QString& path);
    void readLsjlFile();
    bool parseOneRowLsjl(QString& path, QPair<QDateTime, QString>& row, const QString& line);
    QList<FileInfo> convertLsjlFileToFileInfoList();
    // The store file in the host's application directory.
    static QString storeFile();

    // The file menu and the file operations behind it.
    QString createNewFloder(QString base, int n);

private:
    void buildFileMenu();
    void copyPathToClipboard(const QString& path);
    QStringList getPathsFromClipboard() const;
    bool checkPastePath(const QStringList& sources, QString& targetDir);
    bool deleteDir(const QString& path);
    // Makes the row of that name current; invalid when there is none.
    QModelIndex selectRowNamed(const QString& name);
    bool m_fileOpBusy = false; // a paste or delete question is open

private:
    // The window's size, maximised state, view and column widths from the
    // last run, and back into the dialog's settings file when it closes.
    void restoreLayout();
    void keepLayout();
    void showMaximizedState(bool maximized);
    void captureColumnWidths();
    QVector<int> m_columnWidths; // the file table's, as remembered
    bool m_sizingColumns = false; // a new model's columns are being laid out

private:
    void buildConnections();
    // Cloud places: the table in cloud mode, entering a cloud, the accept
    // branches, the download.
    void showCloudTable();
    bool loadCloudTree(bool personal);
    void enterCloud(bool personal);
    void openCloudChoice(const QStringList& parts, const QString& name);
    void saveCloudChoice(const QStringList& parts, const QString& name);
    bool cloudFileExists(bool personal, const QStringList& segments);
    void downloadCloudFile(const QJsonObject& node, const QStringList& parts);
    void hideCloudIdColumns();
    void initTabToSuffixMap();
    void initRecentTab();
    void onRecentTab(zBaseTab* tab);
    void onOftenUseClicked(oftenUseDirButton* button);
    void removeOftenUseByMenu(oftenUseDirButton* button);
    QIcon fileIcon(const QString& key);

    // The keyboard: Tab order, shortcuts, the column of places as one Tab
    // stop (zFileDialog_keyboard.cpp).
    void setupKeyboard();
    // The places again, after pinned folders came or went.
    void updatePlacesKeys();
    // Whether the file menu, opened now, would show and enable that entry.
    bool fileMenuAllows(QAction* zFileDialogUi::*entry);
    void goToParentFolder();
    void focusAddressBar();
    PlacesKeys* m_placesKeys = nullptr;

    friend struct zFileDialogUi;
};
