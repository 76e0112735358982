#pragma once
// Every child widget of the dialog, built in one go before the dialog makes
// its connections. Object names are the ones tests and style sheets use.
#include <QHash>
#include <QMap>
#include <QStringList>

class AddressBar;
class QAction;
class QButtonGroup;
class QCompleter;
class QHBoxLayout;
class QHeaderView;
class QLabel;
class QListWidget;
class QMenu;
class QStackedWidget;
class QTableView;
class QVBoxLayout;
class QWidget;
class YunPanModel;
class fileModelLocal;
class nameFilterProxyModel;
class zBaseButton;
class zBaseCombox;
class zBaseFrame;
class zBaseLabel;
class zBaseLineEdit;
class zBaseMenu;
class zBaseTab;
class zFileDialog;
class NameColumnFit;

struct zFileDialogUi
{
    // left column
    zBaseFrame* leftFrame = nullptr;          // "left_frame"
    zBaseLabel* titleLabel = nullptr;         // "title_label"
    QWidget* placesContainer = nullptr;       // parent of the place and pinned buttons
    zBaseButton* recentButton = nullptr;      // "recent_button"
    zBaseButton* currentProjectButton = nullptr; // "currentProjectPath_button"
    zBaseButton* companyYunButton = nullptr;  // "companyYun_button"
    zBaseButton* personYunButton = nullptr;   // "personYun_button"
    QLabel* lineLabel = nullptr;              // "line_label"
    zBaseButton* desktopButton = nullptr;     // "desktop_button"
    zBaseButton* computerButton = nullptr;    // "computer_button"
    zBaseButton* documentButton = nullptr;    // "my_document_button"
    zBaseButton* otherPathButton = nullptr;   // "other_path_button"
    zBaseLabel* oftenUseHeader = nullptr;     // "oftenUse_header"
    QListWidget* oftenUseList = nullptr;      // "XuanZeXiaoJieTree"
    QButtonGroup* placeGroup = nullptr;

    // right column
    zBaseFrame* rightFrame = nullptr;         // "right_frame"
    QWidget* rightWidget = nullptr;           // "right_widget"
    QWidget* titleBar = nullptr;              // "widgetTitleBar"
    zBaseButton* maximizeButton = nullptr;    // "maximize_button"
    zBaseButton* closeButton = nullptr;       // the base dialog's close button
    QLabel* hengXianLabel = nullptr;          // "hengXianLabel"
    QWidget* topPart = nullptr;               // "topPart_widget"
    zBaseLabel* locationLabel = nullptr;      // "location_label": "位置："
    zBaseButton* backButton = nullptr;        // "backwards_button"
    AddressBar* addressBar = nullptr;         // "address_bar"
    zBaseButton* refreshButton = nullptr;     // "btnRefresh"
    zBaseButton* createFileButton = nullptr;  // "createFile_button"
    zBaseButton* figureButton = nullptr;      // "figure_button"
    zBaseMenu* figureMenu = nullptr;
    QAction* listAction = nullptr;            // "列表"
    QAction* detailAction = nullptr;          // "详细"
    QStackedWidget* stackedWidget = nullptr;  // "stackedWidget"
    QWidget* filePage = nullptr;              // page 0
    QVBoxLayout* filePageLayout = nullptr;
    QWidget* recentPage = nullptr;            // page 1
    QVBoxLayout* recentPageLayout = nullptr;
    QWidget* recentBar = nullptr;             // "WgtRecentBar"
    QList<zBaseTab*> recentTabs;              // in bar order
    zBaseTab* recentAllTab = nullptr;         // "全部"
    zBaseTab* recentProjectTab = nullptr;     // "当前工程位置"
    zBaseTab* recentDefaultTab = nullptr;     // "预算"
    QWidget* networkPage = nullptr;           // page 2
    QTableView* tableView = nullptr;          // "FileDialog"
    QHeaderView* headerView = nullptr;        // "FileDialogHeaderView"
    NameColumnFit* nameColumnFit = nullptr;   // the name column takes the table's spare width
    QLabel* longLine = nullptr;               // "longline_label"
    zBaseLabel* fileNameLabel = nullptr;      // "fileName_label": "   文件名"
    zBaseLineEdit* fileNameEdit = nullptr;    // "fileName_lineEdit"
    QCompleter* completer = nullptr;
    zBaseLabel* fileTypeLabel = nullptr;      // "fileType_label": "文件类型"
    zBaseCombox* fileTypeCombo = nullptr;     // "fileType_comboBox"
    zBaseButton* chooseDirButton = nullptr;   // "chooseDir_button": "选择文件夹"
    zBaseButton* okButton = nullptr;          // "ok_button": "确定"
    zBaseButton* cancelButton = nullptr;      // "cancel_button": "取消"

    // models
    fileModelLocal* localModel = nullptr;
    YunPanModel* yunPanModel = nullptr;
    nameFilterProxyModel* yunPanProxy = nullptr;

    // type filters by combo index
    QMap<int, QStringList> patternMap;   // "*.GCFX", ...
    QMap<int, QStringList> suffixMap;    // "GCFX", ...
    QMap<int, QStringList> suffixMap2;   // read by the project dialogs

    zBaseMenu* fileMenu = nullptr;       // the table's context menu, made on first use
    QAction* acOpen = nullptr;           // "ac_open": "打开"
    QAction* acShowInFolder = nullptr;   // "打开文件所在位置"
    QAction* acDel = nullptr;            // "ac_del": "删除" / "删除记录"
    QAction* acRename = nullptr;         // "ac_rename": "重命名"
    QAction* acNewFolder = nullptr;      // "ac_newWjj": "新建文件夹"
    QAction* acCopyName = nullptr;       // "复制文件名称"
    QAction* acCopyPath = nullptr;       // "复制完整路径"
    QAction* acCopy = nullptr;           // "复制"
    QAction* acPaste = nullptr;          // "粘贴"
    QAction* acRefresh = nullptr;        // "刷新"
    QAction* acFix = nullptr;            // "固定到“常用”" / "从“常用”移除"

    void setupUi(zFileDialog* dialog);
};
