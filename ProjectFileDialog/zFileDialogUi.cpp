#include "zFileDialogUi.h"

#include "AddressBar.h"
#include "accessibleplaces.h"
#include "filetableview.h"
#include "scaled.h"
#include "TranMiUtilAction.h"
#include "YunPanModel.h"
#include "fileModelLocal.h"
#include "nameFilterProxyModel.h"
#include "namecolumnfit.h"
#include "zBaseButton.h"
#include "zBaseCombox.h"
#include "zBaseFrame.h"
#include "zBaseLabel.h"
#include "zBaseLineEdit.h"
#include "zBaseMenu.h"
#include "zBaseTab.h"
#include "zBaseTheme.h"
#include "zFileDialog.h"

#include <QButtonGroup>
#include <QCompleter>
#include <QDir>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QListWidget>
#include <QStackedWidget>
#include <QTableView>
#include <QVBoxLayout>

using pfd::px;

namespace {

// One left-panel place: checkable, fixed size, icon pair.
zBaseButton* placeButton(QWidget* parent, const char* objectName, const QString& text, const char* normal,
                         const char* hover)
{
    auto* b = new zBaseButton(parent);
    // The column's keyboard (PlacesKeys) decides which place Tab reaches.
    pfd::markAsPlace(b);
    b->setObjectName(QLatin1String(objectName));
    b->SetText(text);
    b->setControlType(56);
    b->setCheckable(true);
    b->setFixedSize(px(184), px(36));
    b->setIconSize(QSize(px(20), px(20)));
    b->setIcon(QLatin1String(normal), QLatin1String(hover));
    return b;
}

// Icon-only buttons are named after their tooltip. Tab reaches them; a
// click leaves the keyboard where it was.
zBaseButton* toolButton(QWidget* parent, const char* objectName, const QString& tip, const char* normal,
                        const char* hover)
{
    auto* b = new zBaseButton(parent);
    b->setObjectName(QLatin1String(objectName));
    b->setControlType(4);
    b->setToolTip(tip);
    b->setAccessibleName(tip);
    b->setIcon(QLatin1String(normal), QLatin1String(hover));
    b->setFixedSize(px(28), px(28));
    b->setIconSize(QSize(px(20), px(20)));
    b->setFocusPolicy(Qt::TabFocus);
    return b;
}

QLabel* rule(QWidget* parent, const char* objectName)
{
    auto* l = new QLabel(parent);
    l->setObjectName(QLatin1String(objectName));
    l->setFixedHeight(1);
    l->setStyleSheet(QStringLiteral("QLabel{background:#E3E6EB;}"));
    return l;
}

} // namespace

void zFileDialogUi::setupUi(zFileDialog* dialog)
{
    dialog->resize(px(928), px(597));

    auto* root = new QVBoxLayout(dialog);
    root->setContentsMargins(0, 0, 0, 0);
    root->setSpacing(0);
    auto* body = new QWidget(dialog);
    body->setObjectName(QStringLiteral("body_widget"));
    root->addWidget(body);
    auto* columns = new QHBoxLayout(body);
    columns->setContentsMargins(0, 0, 0, 0);
    columns->setSpacing(0);

    // ---- left column: places and pinned folders ----
    leftFrame = new zBaseFrame(body);
    leftFrame->setObjectName(QStringLiteral("left_frame"));
    leftFrame->setFixedWidth(px(200));
    leftFrame->setStyleSheet(QStringLiteral("QFrame#left_frame{background:#F5F7FA;border:none;"
                                            "border-right:1px solid #E3E6EB;}"));
    auto* left = new QVBoxLayout(leftFrame);
    left->setContentsMargins(px(8), 0, px(8), px(10));
    left->setSpacing(0);

    titleLabel = new zBaseLabel(leftFrame);
    titleLabel->setObjectName(QStringLiteral("title_label"));
    titleLabel->setText(QStringLiteral("打开工程"));
    titleLabel->setFixedHeight(px(52));
    titleLabel->setIndent(px(8));
    titleLabel->setStyleSheet(QStringLiteral("QLabel{font-size:%1px;font-weight:bold;color:#1F2329;}").arg(px(15)));
    left->addWidget(titleLabel);

    placesContainer = new QWidget(leftFrame);
    placesContainer->setObjectName(QStringLiteral("places_widget"));
    auto* places = new QVBoxLayout(placesContainer);
    places->setContentsMargins(0, 0, 0, 0);
    places->setSpacing(px(9));
    left->addWidget(placesContainer);

    recentButton = placeButton(placesContainer, "recent_button", QStringLiteral("最近"),
                               ":/Image/filedlg/icon-history1.svg", ":/Image/filedlg/icon-history0.svg");
    currentProjectButton = placeButton(placesContainer, "currentProjectPath_button", QStringLiteral("当前工程位置"),
                                       ":/Image/filedlg/icon-currentproject1.svg",
                                       ":/Image/filedlg/icon-currentproject0.svg");
    companyYunButton = placeButton(placesContainer, "companyYun_button", QStringLiteral("企业云盘"),
                                   ":/Image/filedlg/icon-CompanyYun1.svg", ":/Image/filedlg/icon-CompanyYun0.svg");
    personYunButton = placeButton(placesContainer, "personYun_button", QStringLiteral("个人云盘"),
                                  ":/Image/filedlg/icon-Yupan1.svg", ":/Image/filedlg/icon-Yupan0.svg");
    lineLabel = new QLabel(placesContainer);
    lineLabel->setObjectName(QStringLiteral("line_label"));
    lineLabel->setFixedHeight(1);
    lineLabel->setStyleSheet(QStringLiteral("QLabel{background:#E3E6EB;margin-left:8px;margin-right:8px;}"));
    desktopButton = placeButton(placesContainer, "desktop_button", QStringLiteral("桌面"),
                                ":/Image/filedlg/icon-desk1.svg", ":/Image/filedlg/icon-desk0.svg");
    computerButton = placeButton(placesContainer, "computer_button", QStringLiteral("电脑"),
                                 ":/Image/filedlg/icon-computer1.svg", ":/Image/filedlg/icon-computer0.svg");
    documentButton = placeButton(placesContainer, "my_document_button", QStringLiteral("我的文档"),
                                 ":/Image/filedlg/icon-document1.svg", ":/Image/filedlg/icon-document0.svg");
    otherPathButton = placeButton(placesContainer, "other_path_button", QStringLiteral("其它路径"),
                                  ":/Image/filedlg/icon-otherpath1.svg", ":/Image/filedlg/icon-otherpath0.svg");

    // The host decides whether its users reach recent projects here or the
    // current project's folder directly.
    const bool recentInPanel =
        !zHttpUtil::TranMiUtil()->JudageValue(QStringLiteral("文件对话框-当前工程位置"), QString()).isEmpty();
    if (recentInPanel) {
        places->addWidget(recentButton);
        currentProjectButton->hide();
    } else {
        recentButton->hide();
    }
    places->addWidget(currentProjectButton);
    places->addWidget(companyYunButton);
    places->addWidget(personYunButton);
    places->addWidget(lineLabel);
    places->addWidget(desktopButton);
    places->addWidget(computerButton);
    places->addWidget(documentButton);
    places->addWidget(otherPathButton);

    placeGroup = new QButtonGroup(dialog);
    placeGroup->setExclusive(true);
    int id = 0;
    for (zBaseButton* b : {recentButton, currentProjectButton, companyYunButton, personYunButton, desktopButton,
                           computerButton, documentButton, otherPathButton})
        placeGroup->addButton(b, id++);

    oftenUseHeader = new zBaseLabel(leftFrame);
    oftenUseHeader->setObjectName(QStringLiteral("oftenUse_header"));
    oftenUseHeader->setText(QStringLiteral("常用目录"));
    oftenUseHeader->setFixedHeight(px(34));
    oftenUseHeader->setIndent(px(10));
    oftenUseHeader->setAlignment(Qt::AlignLeft | Qt::AlignBottom);
    oftenUseHeader->setStyleSheet(QStringLiteral("QLabel{color:#8A919C;font-size:%1px;padding-bottom:4px;}").arg(px(12)));
    oftenUseHeader->hide();
    left->addWidget(oftenUseHeader);

    oftenUseList = new WidgetRowList(leftFrame);
    oftenUseList->setObjectName(QStringLiteral("XuanZeXiaoJieTree"));
    oftenUseList->setProperty("class", QStringLiteral("Qt_TreeView"));
    oftenUseList->setStyleSheet(
        QStringLiteral("QListView{border:0px solid %1;background:transparent}"
                       "QListView::item{color:%2;border:none;}"
                       "QListView::item:selected{color:%3;background:transparent;}")
            .arg(zBaseTheme::color(QStringLiteral("border-color")),
                 zBaseTheme::color(QStringLiteral("item-font-color")),
                 zBaseTheme::color(QStringLiteral("item-select-font-color"))));
    oftenUseList->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // The pinned buttons in its rows take the focus, not the list.
    oftenUseList->setFocusPolicy(Qt::NoFocus);
    oftenUseList->setAccessibleName(QStringLiteral("常用目录"));
    oftenUseList->setFrameShape(QFrame::NoFrame);
    left->addWidget(oftenUseList, 1);
    columns->addWidget(leftFrame);

    // ---- right column ----
    rightFrame = new zBaseFrame(body);
    rightFrame->setObjectName(QStringLiteral("right_frame"));
    rightFrame->setStyleSheet(QStringLiteral("QFrame#right_frame{border:none;}"));
    auto* rightFrameLayout = new QVBoxLayout(rightFrame);
    rightFrameLayout->setContentsMargins(0, 0, 0, 0);
    rightWidget = new QWidget(rightFrame);
    rightWidget->setObjectName(QStringLiteral("right_widget"));
    rightWidget->setStyleSheet(QStringLiteral("QWidget#right_widget{background:rgb(255,255,255);}"));
    rightWidget->setAttribute(Qt::WA_StyledBackground);
    rightFrameLayout->addWidget(rightWidget);
    auto* right = new QVBoxLayout(rightWidget);
    right->setContentsMargins(px(16), 0, px(16), px(14));
    right->setSpacing(0);

    titleBar = new QWidget(rightWidget);
    titleBar->setObjectName(QStringLiteral("widgetTitleBar"));
    titleBar->setFixedHeight(px(36));
    auto* titleRow = new QHBoxLayout(titleBar);
    titleRow->setContentsMargins(0, 0, -px(8), 0);
    titleRow->setSpacing(px(2));
    titleRow->addStretch();
    maximizeButton = new zBaseButton(titleBar);
    maximizeButton->setObjectName(QStringLiteral("maximize_button"));
    maximizeButton->setControlType(4);
    maximizeButton->setIcon(QStringLiteral(":/Image/Home/FangDa1zTitleModelHover.svg"),
                            QStringLiteral(":/Image/Home/FangDa1zTitleModel.svg"));
    maximizeButton->setFixedSize(px(32), px(28));
    maximizeButton->setIconSize(QSize(px(16), px(16)));
    maximizeButton->setToolTip(QStringLiteral("最大化"));
    maximizeButton->setAccessibleName(QStringLiteral("最大化"));
    maximizeButton->setFocusPolicy(Qt::TabFocus);
    closeButton = dialog->GetBtnClose();
    closeButton->setParent(titleBar);
    closeButton->setObjectName(QStringLiteral("close_button"));
    closeButton->setIcon(QStringLiteral(":/Image/Home/GuanBiTitleModel.svg"),
                         QStringLiteral(":/Image/Home/GuanBiTitleModel_hover.svg"));
    closeButton->setFixedSize(px(32), px(28));
    closeButton->setIconSize(QSize(px(16), px(16)));
    closeButton->setToolTip(QStringLiteral("关闭"));
    closeButton->setAccessibleName(QStringLiteral("关闭"));
    closeButton->setFocusPolicy(Qt::TabFocus);
    closeButton->show();
    titleRow->addWidget(maximizeButton);
    titleRow->addWidget(closeButton);
    right->addWidget(titleBar);
    hengXianLabel = rule(rightWidget, "hengXianLabel");
    hengXianLabel->setStyleSheet(QStringLiteral("QLabel{background:transparent;}"));
    right->addWidget(hengXianLabel);

    // tool row
    topPart = new QWidget(rightWidget);
    topPart->setObjectName(QStringLiteral("topPart_widget"));
    auto* tools = new QHBoxLayout(topPart);
    tools->setContentsMargins(0, px(4), 0, px(10));
    tools->setSpacing(px(6));
    locationLabel = new zBaseLabel(topPart);
    locationLabel->setObjectName(QStringLiteral("location_label"));
    locationLabel->setText(QStringLiteral("位置："));
    backButton = toolButton(topPart, "backwards_button", QStringLiteral("返回"), ":/Image/filedlg/icon-prepage0.svg",
                            ":/Image/filedlg/icon-prepage1.svg");
    backButton->setEnabled(false);
    addressBar = new AddressBar(topPart);
    addressBar->setObjectName(QStringLiteral("address_bar"));
    addressBar->setFixedHeight(px(28));
    addressBar->setAccessibleName(QStringLiteral("位置"));
    locationLabel->setBuddy(addressBar);
    refreshButton = toolButton(topPart, "btnRefresh", QStringLiteral("刷新"), ":/Image/filedlg/refresh.svg",
                               ":/Image/filedlg/refresh-hover.svg");
    createFileButton = toolButton(topPart, "createFile_button", QStringLiteral("新建文件夹"),
                                  ":/Image/filedlg/icon-newfile0.svg", ":/Image/filedlg/icon-newfile1.svg");
    figureButton = toolButton(topPart, "figure_button", QStringLiteral("视图"), ":/Image/filedlg/icon-simplelist.svg",
                              "");
    figureMenu = new zBaseMenu(figureButton);
    listAction = figureMenu->addAction(QStringLiteral("列表"));
    detailAction = figureMenu->addAction(QStringLiteral("详细"));
    listAction->setCheckable(true);
    detailAction->setCheckable(true);
    detailAction->setChecked(true);
    figureButton->setMenu(figureMenu);
    figureButton->setStyleSheet(QStringLiteral("QPushButton::menu-indicator{image:none;width:0px;}"));
    tools->addWidget(locationLabel);
    tools->addWidget(backButton);
    tools->addWidget(addressBar, 1);
    tools->addWidget(refreshButton);
    tools->addWidget(createFileButton);
    tools->addWidget(figureButton);
    right->addWidget(topPart);

    // the table and the pages around it
    stackedWidget = new QStackedWidget(rightWidget);
    stackedWidget->setObjectName(QStringLiteral("stackedWidget"));
    filePage = new QWidget(stackedWidget);
    filePage->setObjectName(QStringLiteral("file_page"));
    filePageLayout = new QVBoxLayout(filePage);
    filePageLayout->setContentsMargins(0, 0, 0, 0);
    recentPage = new QWidget(stackedWidget);
    recentPage->setObjectName(QStringLiteral("recent_page"));
    recentPageLayout = new QVBoxLayout(recentPage);
    recentPageLayout->setContentsMargins(0, 0, 0, 0);
    recentPageLayout->setSpacing(px(6));
    recentBar = new QWidget(recentPage);
    recentBar->setObjectName(QStringLiteral("WgtRecentBar"));
    auto* tabs = new QHBoxLayout(recentBar);
    tabs->setContentsMargins(0, 0, 0, 0);
    tabs->setSpacing(px(4));
    const QStringList tabTexts{QStringLiteral("全部"), QStringLiteral("当前工程位置"), QStringLiteral("预算"),
                               QStringLiteral("总承包"), QStringLiteral("概算"), QStringLiteral("结算"),
                               QStringLiteral("全过程"), QStringLiteral("EXCEL"), QStringLiteral("CJZ")};
    for (const QString& text : tabTexts) {
        auto* tab = new zBaseTab(text, recentBar);
        tab->setObjectName(QStringLiteral("recentTab_") + text);
        tab->setFixedHeight(px(30));
        tabs->addWidget(tab);
        recentTabs << tab;
    }
    tabs->addStretch();
    recentAllTab = recentTabs.at(0);
    recentProjectTab = recentTabs.at(1);
    recentDefaultTab = recentTabs.at(2);
    if (!recentInPanel)
        recentProjectTab->hide();
    recentPageLayout->addWidget(recentBar);
    networkPage = new QWidget(stackedWidget);
    networkPage->setObjectName(QStringLiteral("network_page"));
    stackedWidget->addWidget(filePage);
    stackedWidget->addWidget(recentPage);
    stackedWidget->addWidget(networkPage);

    tableView = new FileTableView(filePage);
    tableView->setObjectName(QStringLiteral("FileDialog"));
    tableView->setAccessibleName(QStringLiteral("文件列表"));
    headerView = new QHeaderView(Qt::Horizontal, tableView);
    headerView->setObjectName(QStringLiteral("FileDialogHeaderView"));
    tableView->setHorizontalHeader(headerView);
    headerView->setSectionsClickable(true);
    headerView->setHighlightSections(false);
    headerView->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    nameColumnFit = new NameColumnFit(headerView);
    headerView->setMinimumSectionSize(px(60));
    headerView->setFixedHeight(px(32));
    tableView->verticalHeader()->hide();
    tableView->verticalHeader()->setDefaultSectionSize(px(30));
    tableView->setShowGrid(false);
    tableView->setWordWrap(false);
    tableView->setTextElideMode(Qt::ElideMiddle);
    tableView->setSelectionBehavior(QAbstractItemView::SelectRows);
    tableView->setSelectionMode(QAbstractItemView::SingleSelection);
    tableView->setEditTriggers(QAbstractItemView::SelectedClicked | QAbstractItemView::EditKeyPressed);
    tableView->setContextMenuPolicy(Qt::CustomContextMenu);
    tableView->setSortingEnabled(true);
    tableView->setIconSize(QSize(px(18), px(18)));
    tableView->setFrameShape(QFrame::NoFrame);
    // The selected row stands out at 3:1 or more against the white rows;
    // the row with the keyboard gets its frame from FileTableView, in place
    // of the toolkit's per-cell focus rectangle.
    tableView->setStyleSheet(QStringLiteral(
        "QTableView#FileDialog{border:1px solid #E3E6EB;border-radius:4px;outline:0;font-size:%1px;"
        "selection-background-color:%2;selection-color:%3;}"
        "QTableView#FileDialog::item{padding-left:6px;border:none;}"
        "QTableView#FileDialog::item:hover{background:#F2F5FA;}"
        "QTableView#FileDialog::item:selected{background:%2;color:%3;}"
        "QHeaderView#FileDialogHeaderView{background:#FFFFFF;border:none;border-bottom:1px solid #E3E6EB;}"
        "QHeaderView#FileDialogHeaderView::section{background:#FFFFFF;color:#5B6472;border:none;"
        "padding-left:10px;border-right:1px solid #EEF0F3;font-size:%1px;}")
                                 .arg(px(13))
                                 .arg(pfd::tableSelectionColour().name(), pfd::tableSelectionTextColour().name()));
    filePageLayout->addWidget(tableView);
    right->addWidget(stackedWidget, 1);

    localModel = new fileModelLocal(dialog);
    yunPanModel = new YunPanModel(0, 4, dialog);
    yunPanModel->setHorizontalHeaderLabels({QStringLiteral("     名称"), QStringLiteral("大小"),
                                            QStringLiteral("项目类型"), QStringLiteral("修改日期")});
    yunPanProxy = new nameFilterProxyModel(dialog);
    yunPanProxy->setSourceModel(yunPanModel);

    longLine = rule(rightWidget, "longline_label");
    longLine->setStyleSheet(QStringLiteral("QLabel{background:transparent;}"));
    longLine->setFixedHeight(px(12));
    right->addWidget(longLine);

    // name and type rows with the buttons
    auto* fields = new QGridLayout;
    fields->setContentsMargins(0, 0, 0, 0);
    fields->setHorizontalSpacing(px(10));
    fields->setVerticalSpacing(px(10));
    fileNameLabel = new zBaseLabel(rightWidget);
    fileNameLabel->setObjectName(QStringLiteral("fileName_label"));
    fileNameLabel->setText(QStringLiteral("   文件名"));
    fileNameEdit = new zBaseLineEdit(rightWidget);
    fileNameEdit->setObjectName(QStringLiteral("fileName_lineEdit"));
    fileNameEdit->setFixedHeight(px(30));
    // The folder model behind completion starts a watcher thread; it is made
    // when the field first gets the focus (zFileDialog), not with the window.
    completer = new QCompleter(fileNameEdit);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    fileNameEdit->setCompleter(completer);
    fileTypeLabel = new zBaseLabel(rightWidget);
    fileTypeLabel->setObjectName(QStringLiteral("fileType_label"));
    fileTypeLabel->setText(QStringLiteral("文件类型"));
    fileTypeCombo = new zBaseCombox(rightWidget);
    pfd::markAsNamedCombo(fileTypeCombo);
    fileTypeCombo->setObjectName(QStringLiteral("fileType_comboBox"));
    fileTypeCombo->setFixedHeight(px(30));
    fileTypeCombo->setAccessibleName(QStringLiteral("文件类型"));
    // Screen readers name each field after the label in front of it.
    fileNameLabel->setBuddy(fileNameEdit);
    fileTypeLabel->setBuddy(fileTypeCombo);
    chooseDirButton = new zBaseButton(QStringLiteral("选择文件夹"), rightWidget);
    chooseDirButton->setObjectName(QStringLiteral("chooseDir_button"));
    chooseDirButton->setControlType(2);
    chooseDirButton->setFixedSize(px(96), px(30));
    chooseDirButton->hide();
    okButton = new zBaseButton(QStringLiteral("确定"), rightWidget);
    okButton->setObjectName(QStringLiteral("ok_button"));
    okButton->setControlType(1);
    okButton->setFixedSize(px(88), px(30));
    okButton->setDefault(false);
    okButton->setAutoDefault(false);
    cancelButton = new zBaseButton(QStringLiteral("取消"), rightWidget);
    cancelButton->setObjectName(QStringLiteral("cancel_button"));
    cancelButton->setControlType(2);
    cancelButton->setFixedSize(px(88), px(30));
    cancelButton->setAutoDefault(false);
    fileNameLabel->setFixedWidth(px(64));
    fileTypeLabel->setFixedWidth(px(64));
    fileTypeLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    fileNameLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    fields->addWidget(fileNameLabel, 0, 0);
    fields->addWidget(fileNameEdit, 0, 1);
    fields->addWidget(fileTypeLabel, 1, 0);
    fields->addWidget(fileTypeCombo, 1, 1);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(px(10));
    buttons->addWidget(chooseDirButton);
    buttons->addWidget(okButton);
    fields->addLayout(buttons, 0, 2);
    fields->addWidget(cancelButton, 1, 2, Qt::AlignRight);
    right->addLayout(fields);

    columns->addWidget(rightFrame, 1);
}
