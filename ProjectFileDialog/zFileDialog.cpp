// The dialog's shell: construction, connections, entry points, keyboard,
// window dragging and the last place restored at start.
#include "zFileDialog.h"

#include "AddressBar.h"
#include "HostServices.h"
#include "accessibleplaces.h"
#include "filetableview.h"
#include "scaled.h"
#include "SharedInterface.h"
#include "YunPanModel.h"
#include "dialogs/OpenProject.h"
#include "dialogs/SaveProject.h"
#include "fileModelLocal.h"
#include "models/pathstyle.h"
#include "models/shellicon.h"
#include "namecolumnfit.h"
#include "zBaseButton.h"
#include "zBaseCombox.h"
#include "zBaseLabel.h"
#include "zBaseLineEdit.h"
#include "zBaseMenu.h"
#include "zFileDialogUi.h"

#include <QApplication>
#include <QCompleter>
#include <QDir>
#include <QFileSystemModel>
#include <QItemSelectionModel>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QStackedWidget>
#include <QTableView>
#include <QtDebug>

zFileDialog::zFileDialog(QWidget* parent)
    : zBaseModal(parent)
    , ui(new zFileDialogUi)
    , m_parentWidget(parent)
{
    // Queued connections and QVariant carry the back-stack action too.
    qRegisterMetaType<zFileDialog::TracAction>("zFileDialog::TracAction");
    // Before any child exists: a screen reader listening from the start
    // asks about each widget as it is made.
    pfd::installAccessibleInterfaces();
    // Set before the children exist: set afterwards, it would re-polish every
    // widget of the window once more.
    setStyleSheet(QStringLiteral("QLineEdit{background:white;}"));
    ui->setupUi(this);
    // The bar's field starts on the first drive, as the host's dialogs
    // always did; the first folder shown replaces it with its segments.
    ui->addressBar->setEditText(QStringLiteral("C:"));
    ui->localModel->setIconSource([this](const QString& key) { return fileIcon(key); });
    ui->tableView->setModel(nullptr);
    restoreLayout();
    setTableModel(ui->localModel);
    m_currentDir = ui->localModel->currentDir();
    initTabToSuffixMap();
    initRecentTab();
    loadOftenUseFromJson();
    buildConnections();
    setupKeyboard();
    installEventFilter(this);
    ui->titleBar->installEventFilter(this);
    ui->titleLabel->installEventFilter(this);
    ui->tableView->installEventFilter(this);
    ui->tableView->viewport()->installEventFilter(this);
}

zFileDialog::~zFileDialog()
{
    delete ui;
}

void zFileDialog::buildConnections()
{
    connect(ui->companyYunButton, &QAbstractButton::clicked, this, &zFileDialog::onCompanyYunButton);
    connect(ui->personYunButton, &QAbstractButton::clicked, this, &zFileDialog::onPersonYunButton);
    connect(ui->stackedWidget, &QStackedWidget::currentChanged, this, &zFileDialog::onCurrentChanged);
    connect(ui->completer, QOverload<const QString&>::of(&QCompleter::activated), this,
            &zFileDialog::onCompleterChoosed);
    connect(ui->addressBar, &AddressBar::returnKeyPressed, this, &zFileDialog::onReturnPressed);
    connect(ui->addressBar, &AddressBar::SCurrentPathChanged, this, &zFileDialog::slotCurrentPathChanged);
    connect(ui->addressBar, &QLineEdit::textChanged, this, &zFileDialog::slotTextChanged);
    connect(ui->tableView, &QAbstractItemView::pressed, this, &zFileDialog::slotSelectCurrent);
    connect(ui->tableView, &QAbstractItemView::doubleClicked, this, &zFileDialog::slotDoubleClicked);
    connect(ui->okButton, &QAbstractButton::clicked, this, &zFileDialog::onOkButton);
    connect(ui->chooseDirButton, &QAbstractButton::clicked, this, &zFileDialog::slotChooseDir);
    connect(ui->cancelButton, &QAbstractButton::clicked, this, &zFileDialog::onCancelButton);
    // The title bar's close button is the second way to cancel.
    connect(ui->closeButton, &QAbstractButton::clicked, this, &zFileDialog::onCancelButton);
    connect(ui->desktopButton, &QAbstractButton::clicked, this, &zFileDialog::onDesktopButton);
    connect(ui->computerButton, &QAbstractButton::clicked, this, &zFileDialog::onMyComputerButton);
    connect(ui->documentButton, &QAbstractButton::clicked, this, &zFileDialog::onDocumentButton);
    connect(ui->otherPathButton, &QAbstractButton::clicked, this, &zFileDialog::onOtherPathButton);
    connect(ui->currentProjectButton, &QAbstractButton::clicked, this, &zFileDialog::oncurrentProjectPathButton);
    connect(ui->currentProjectButton, &QAbstractButton::clicked, this, [this] {
        ui->stackedWidget->setCurrentIndex(0);
        // A cloud project's place is a cloud folder, shown by the cloud table.
        if (!isCloudPath(m_currentDir))
            setTableModel(ui->localModel);
        m_isRecent = false;
    });
    connect(ui->backButton, &QAbstractButton::clicked, this, &zFileDialog::onBackwardsButton);
    connect(ui->createFileButton, &QAbstractButton::clicked, this, &zFileDialog::onCreateFileButton);
    connect(ui->figureMenu, &QMenu::triggered, this, &zFileDialog::onFigureTriggered);
    connect(ui->fileTypeCombo, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &zFileDialog::currentFilterIndexChanged);
    connect(ui->fileNameEdit, &QLineEdit::textEdited, this, &zFileDialog::TextEdited);
    connect(ui->fileNameEdit, &zBaseLineEdit::signalFocusIn, this, [this] { ui->okButton->setEnabled(true); });
    connect(ui->fileNameEdit, &zBaseLineEdit::signalFocusIn, this, [this] {
        if (ui->completer->model())
            return;
        auto* folders = new QFileSystemModel(ui->completer);
        folders->setFilter(QDir::AllDirs | QDir::NoDotAndDotDot | QDir::Drives);
        folders->setRootPath(QString());
        ui->completer->setModel(folders);
    });
    connect(ui->tableView, &QWidget::customContextMenuRequested, this, &zFileDialog::onTableViewContextMenu);
    if (QObject* source = Communication::GetInstance()->CloudMessageSource()) {
        const int index = source->metaObject()->indexOfSignal("doGotMsg(QJsonObject)");
        if (index >= 0)
            connect(source, SIGNAL(doGotMsg(QJsonObject)), this, SLOT(loadYunPanData(QJsonObject)));
    }
    connect(ui->headerView, &QHeaderView::sortIndicatorChanged, this, &zFileDialog::onSortingStateChange);
    // After a re-sort keep the row the user was on in sight.
    connect(ui->headerView, &QHeaderView::sortIndicatorChanged, this, [this](int, Qt::SortOrder) {
        const QModelIndex current = ui->tableView->currentIndex();
        if (current.isValid())
            ui->tableView->scrollTo(current);
    });
    connect(ui->recentButton, &QAbstractButton::clicked, this, &zFileDialog::slotBtnRecentClicked);
    connect(ui->refreshButton, &QAbstractButton::clicked, this, &zFileDialog::slotRefresh);
    connect(ui->maximizeButton, &QAbstractButton::clicked, this, [this] {
        if (!isMaximized())
            showMaximized();
        else
            showNormal();
        showMaximizedState(isMaximized());
    });
    connect(ui->closeButton, &QAbstractButton::clicked, this, &QWidget::close);
}

// ---- entry points -------------------------------------------------------------

QString zFileDialog::getOpenFileName(QWidget* parent, QString dir, QStringList* filters, int filterCount,
                                     QString projectPath, bool option, QString caption, bool enterpriseCloud,
                                     OpenFileType type)
{
    QString result;
    isIopen = true;
    auto* dialog = new OpenProject(parent);
    dialog->openProject(dir, filters, filterCount, projectPath, option, caption, enterpriseCloud, type);
    result = dialog->resultPath();
    delete dialog;
    TbServerMsg(result);
    if (iClickedBtn == 3 || iClickedBtn == 4) {
        SharedInterface::UseFunc(11001, QString());
        SharedInterface::EndUseFun(11001, QString());
    }
    return result;
}

QString zFileDialog::getSaveFileName(QWidget* parent, QString dir, QString defaultName, QStringList* filters,
                                     int filterCount, bool confirmOverwrite, QString caption, QString projectPath,
                                     bool enterpriseCloud)
{
    QString result;
    isIopen = false;
    auto* dialog = new SaveProject(parent);
    dialog->saveProject(dir, defaultName, filters, filterCount, confirmOverwrite, caption, projectPath,
                        enterpriseCloud);
    result = dialog->resultPath();
    delete dialog;
    TbServerMsg(result);
    return result;
}

QObject* zFileDialog::getOpenFileNameTest(QWidget* parent, QString dir, QStringList* filters, int filterCount,
                                          QString projectPath, bool option, QString caption, bool enterpriseCloud)
{
    isIopen = true;
    auto* dialog = new OpenProject(parent);
    dialog->openProject(dir, filters, filterCount, projectPath, option, caption, enterpriseCloud, OpenProjectFile);
    return dialog;
}

void zFileDialog::setTableModel(QAbstractItemModel* model)
{
    if (ui->tableView->model() == model)
        return;
    // A new model resets the header: give the name column the room it
    // needs, the others the widths the user gave them.
    m_sizingColumns = true;
    ui->tableView->setModel(model);
    connect(ui->tableView->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) {
                // Tab into the table frames its first row without picking it:
                // a name the user typed stays.
                if (!static_cast<FileTableView*>(ui->tableView)->placingFrame())
                    onTableRowChanged(current);
            });
    // A new model resets the header: give the name column the room it needs.
    sizeTableColumns();
    m_sizingColumns = false;
    captureColumnWidths();
    // ... and shows every column: the list view stays a list.
    if (ui->listAction->isChecked())
        onFigureTriggered(ui->listAction);
}

void zFileDialog::sizeTableColumns()
{
    // The cloud table has no path column, whatever the local model shows.
    const bool pathColumn = ui->tableView->model() == ui->localModel && ui->localModel->showPathColumn();
    QVector<int> widths{pfd::px(pathColumn ? 220 : 330), pfd::px(pathColumn ? 250 : 96),
                        pfd::px(pathColumn ? 90 : 110), pfd::px(170)};
    if (!pathColumn && m_columnWidths.size() == widths.size())
        widths = m_columnWidths;
    for (int c = 0; c < widths.size() && c < ui->headerView->count(); ++c)
        ui->headerView->resizeSection(c, widths.at(c));
    ui->nameColumnFit->fit();
}

void zFileDialog::onTableRowChanged(const QModelIndex&)
{
}

QString zFileDialog::childPath(const QString& name) const
{
    const QString dir = QDir::toNativeSeparators(m_currentDir);
    const QChar sep = pfd::localSeparator(dir);
    return dir.endsWith(sep) ? dir + name : dir + sep + name;
}

void zFileDialog::finish(const QString& result)
{
    m_resultPath = result;
    accept();
}

// ---- keyboard, mouse and window ---------------------------------------------------

void zFileDialog::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // A button that has the keyboard is pressed by Return, as in any
        // dialog; everywhere else Return accepts.
        if (auto* button = qobject_cast<QAbstractButton*>(QApplication::focusWidget());
            button && button != ui->okButton && isAncestorOf(button)) {
            button->click();
            return;
        }
        onOkButton();
        return;
    case Qt::Key_Backspace:
        onBackwardsButton();
        return;
    case Qt::Key_Escape:
        m_resultPath.clear();
        close();
        return;
    default:
        zBaseModal::keyPressEvent(event);
    }
}

bool zFileDialog::eventFilter(QObject* watched, QEvent* event)
{
    const int dragBand = pfd::px(60);
    switch (event->type()) {
    case QEvent::FocusIn:
        if (watched == ui->tableView)
            ui->addressBar->uncheckOpenItem();
        break;
    case QEvent::MouseButtonPress:
        if (watched == ui->tableView->viewport()) {
            auto* me = static_cast<QMouseEvent*>(event);
            const QModelIndex index = ui->tableView->indexAt(me->pos());
            if (!index.isValid()) {
                ui->tableView->clearSelection();
                ui->tableView->setCurrentIndex(QModelIndex());
                if (isIopen)
                    ui->okButton->setEnabled(false);
            } else {
                ui->okButton->setEnabled(true);
            }
        }
        break;
    case QEvent::MouseButtonDblClick:
        if (watched == ui->titleBar || watched == ui->titleLabel) {
            auto* me = static_cast<QMouseEvent*>(event);
            if (me->pos().y() < pfd::px(40)) {
                ui->maximizeButton->click();
                return true;
            }
        }
        break;
    case QEvent::MouseMove:
        if (m_dragging && (watched == this || watched == ui->titleBar || watched == ui->titleLabel)) {
            auto* me = static_cast<QMouseEvent*>(event);
            const QPoint moved = me->globalPos() - m_pressGlobal;
            const QPoint pressInDialog = m_pressPos;
            const bool onButtons = ui->closeButton->geometry().contains(ui->closeButton->parentWidget()->mapFrom(this, pressInDialog))
                                   || ui->maximizeButton->geometry().contains(
                                       ui->maximizeButton->parentWidget()->mapFrom(this, pressInDialog));
            if (moved.manhattanLength() > QApplication::startDragDistance() && pressInDialog.y() <= dragBand
                && !onButtons && !isMaximized()) {
                move(m_windowAtPress + moved);
                return true;
            }
        }
        break;
    default:
        break;
    }
    return zBaseModal::eventFilter(watched, event);
}

void zFileDialog::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        m_dragging = true;
        m_pressPos = event->pos();
        m_pressGlobal = event->globalPos();
        m_windowAtPress = frameGeometry().topLeft();
    }
    zBaseModal::mousePressEvent(event);
}

void zFileDialog::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        m_dragging = false;
}

bool zFileDialog::event(QEvent* event)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::NonClientAreaMouseButtonPress:
    case QEvent::WindowDeactivate:
        if (ui && ui->addressBar)
            ui->addressBar->uncheckOpenItem();
        break;
    default:
        break;
    }
    return zBaseModal::event(event);
}

void zFileDialog::closeEvent(QCloseEvent* event)
{
    qDebug().noquote() << QStringLiteral("----=================filedialogClose") + getCurrentPath();
    zBaseModal::closeEvent(event);
}

void zFileDialog::hideEvent(QHideEvent* event)
{
    keepLayout();
    zBaseModal::hideEvent(event);
}

void zFileDialog::initBtnStateLastClose()
{
    switch (iClickedBtn) {
    case 3:
        if (ui->companyYunButton->isEnabled())
            onCompanyYunButton();
        else
            onDocumentButton();
        break;
    case 4:
        if (ui->personYunButton->isEnabled())
            onPersonYunButton();
        else
            onDocumentButton();
        break;
    case 8:
        slotBtnRecentClicked();
        break;
    default:
        break;
    }
}

// ---- accept and cancel ----------------------------------------------------------------

void zFileDialog::slotDoubleClicked(QModelIndex)
{
    onOkButton();
}

void zFileDialog::openField()
{
    onOkButton();
}

void zFileDialog::onCancelButton()
{
    m_resultPath.clear();
    reject();
}

QIcon zFileDialog::fileIcon(const QString& key)
{
    return pfd::fileIconForKey(key);
}

const FileInfo* zFileDialog::fileInfoAt(const QModelIndex& index) const
{
    if (!index.isValid() || index.model() != ui->localModel)
        return nullptr;
    return ui->localModel->fileAt(index.row());
}

// ---- hooks the subclasses fill ----------------------------------------------------------

void zFileDialog::TextEdited(QString) {}
void zFileDialog::onUsedPathButton() {}
void zFileDialog::setFilterSuffix(int) {}
void zFileDialog::setForMenu() {}
void zFileDialog::slotChooseDir() {}
void zFileDialog::slotTextChanged(QString) {}
