#include "AddressBar.h"

#include "AddressItem.h"
#include "scaled.h"
#include "addresscompletion.h"
#include "addresspath.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QButtonGroup>
#include <QCompleter>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QResizeEvent>
#include <QStandardItemModel>
#include <QTimer>

using pfd::px;

namespace {

const char kFolderIconSheet[] =
    "QLabel{background-image: url(:/Image/filedlgicon/dir.png); background-repeat: no-repeat;"
    "                                    background-position: center;"
    "                            background-attachment: fixed;}";

// Room the bar keeps for the folder icon and the root item.
constexpr double kReservedWidth = 34;

// The full path a completion row stands for; the row shows the name.
constexpr int kCompletionPathRole = Qt::UserRole + 1;

} // namespace

AddressBar::AddressBar(QWidget* parent)
    : zBaseLineEdit(parent)
{
    setContextMenuPolicy(Qt::NoContextMenu);
    setCursor(Qt::ArrowCursor);
    setMouseTracking(true);
    // Tab reaches the bar; a press on its empty part gives it the keyboard
    // in mousePressEvent. No click focus of the toolkit's own: a press on a
    // segment would pass it on to the bar, which turns into a text field and
    // takes the segment away under the pointer.
    setFocusPolicy(Qt::TabFocus);

    buttons = new QButtonGroup(this);
    buttons->setExclusive(true);

    layout = new QHBoxLayout(this);
    layout->setContentsMargins(px(1), px(1), px(1), 0);
    layout->setSpacing(0);

    connect(buttons, qOverload<QAbstractButton*>(&QButtonGroup::buttonClicked), this,
            &AddressBar::onGroupBtnClicked);

    // Completion is driven here rather than by the line edit's own
    // completer hooks: moving the highlight with the arrows shows that path
    // in the field, while the first row, highlighted for the user, leaves
    // the typed text alone.
    completions = new QStandardItemModel(this);
    completer = new QCompleter(completions, this);
    completer->setCompletionRole(kCompletionPathRole);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    completer->setModelSorting(QCompleter::UnsortedModel);
    completer->setCompletionMode(QCompleter::PopupCompletion);
    completer->setMaxVisibleItems(12);
    completer->setWidget(this);
    connect(this, &QLineEdit::textEdited, this, &AddressBar::updateCompletion);
    connect(completer, qOverload<const QString&>(&QCompleter::highlighted), this, [this](const QString& p) {
        if (!autoHighlight)
            setText(p);
    });
    connect(completer, qOverload<const QString&>(&QCompleter::activated), this,
            [this](const QString& p) { setText(p); });
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget* old, QWidget* now) {
        if (now == this && old && old != this && old->window() == window())
            focusBefore = old;
    });

    // Segments measure their text in the bar's font, which the host's style
    // sheet only sets when the bar is polished.
    ensurePolished();
}

void AddressBar::setPath(QString p, DeepestRows deepest)
{
    const bool wasRebuilding = rebuilding;
    rebuilding = true;

    setCursor(Qt::ArrowCursor);
    clearFocus();
    clearItems();
    if (completionShown())
        completer->popup()->hide();
    completionFolder.clear();
    path = pfd::addressBarPath(p);
    clear();

    auto* icon = new QLabel(this);
    icon->setFixedSize(px(17), px(20));
    icon->setStyleSheet(QLatin1String(kFolderIconSheet));
    layout->addWidget(icon);
    icon->show();

    auto* root = new AddressItem(QString(), QString(), true, this);
    connectItem(root);
    layout->addWidget(root);
    buttons->addButton(root, 0);
    root->show();

    // Deepest first, each put in front of the ones made before it, so that
    // the layout runs from the shallowest segment to the deepest.
    const QVector<pfd::AddressSegment> segments = pfd::addressSegments(p);
    QVector<AddressItem*> items(segments.size(), nullptr);
    QVector<int> widths(segments.size(), 0);
    awaitingListing = nullptr;
    awaitedPath.clear();
    for (int i = segments.size() - 1; i >= 0; --i) {
        const bool fromListing = deepest == DeepestFromListing && i == segments.size() - 1;
        auto* item = new AddressItem(segments.at(i).text, segments.at(i).path, false, this, !fromListing);
        if (fromListing) {
            awaitingListing = item;
            awaitedPath = p;
        }
        widths[i] = item->width();
        items[i] = item;
        layout->insertWidget(2, item);
        connectItem(item);
    }
    const pfd::AddressFit fit = pfd::fitAddressSegments(widths, width() - px(kReservedWidth));
    for (int i = segments.size() - 1; i >= 0; --i) {
        if (fit.visible.at(i)) {
            items.at(i)->show();
            buttons->addButton(items.at(i), i);
        } else {
            items.at(i)->hide();
        }
    }
    root->setBackArrow(fit.backArrow);
    layout->addStretch();

    rebuilding = wasRebuilding;
}

void AddressBar::takeListing(const QString& listedPath, const QList<FileInfo>& files)
{
    if (!awaitingListing || listedPath != awaitedPath)
        return;
    awaitingListing->setFolderRows(pfd::folderRowsFromListing(awaitingListing->segmentPath(), listedPath, files));
    awaitingListing = nullptr;
    awaitedPath.clear();
}

void AddressBar::setEditText(QString text)
{
    const QString t = pfd::addressEditText(text);
    if (isDirectory(t))
        path = pfd::addressEditPath(QFileInfo(t).absoluteFilePath());
    setText(t);
}

AddressItem* AddressBar::checkedItem() const
{
    return openItem;
}

void AddressBar::uncheckOpenItem()
{
    // Any checked segment, even one a resize took out of the group.
    for (int i = 0; i < layout->count(); ++i) {
        auto* item = qobject_cast<AddressItem*>(layout->itemAt(i)->widget());
        if (item && item->isChecked()) {
            buttons->setExclusive(false);
            item->setChecked(false);
            buttons->setExclusive(true);
        }
    }
    openItem = nullptr;
}

void AddressBar::onGroupBtnClicked(QAbstractButton* button)
{
    if (button == openItem) {
        // An exclusive group keeps its checked button checked; a second
        // click on the open segment must still close its menu.
        buttons->setExclusive(false);
        button->setChecked(false);
        buttons->setExclusive(true);
        openItem = nullptr;
    } else {
        openItem = qobject_cast<AddressItem*>(button);
    }
}

void AddressBar::clearItems()
{
    const QList<QAbstractButton*> grouped = buttons->buttons();
    for (QAbstractButton* button : grouped)
        buttons->removeButton(button);
    openItem = nullptr;
    while (QLayoutItem* entry = layout->takeAt(0)) {
        if (QWidget* widget = entry->widget()) {
            if (auto* item = qobject_cast<AddressItem*>(widget)) {
                item->disconnect(this);
                item->closeMenu();
            }
            widget->hide();
            // The segment may be inside its own click handler right now.
            widget->deleteLater();
        }
        delete entry;
    }
}

void AddressBar::connectItem(AddressItem* item)
{
    connect(item, &AddressItem::SClickPath, this, &AddressBar::SCurrentPathChanged);
}

bool AddressBar::isDirectory(const QString& p)
{
    // QFileInfo on purpose: ":" (the resource root) counts as a directory,
    // which is how the drive list ":" passes the test.
    return QFileInfo(p).isDir();
}

void AddressBar::updateCompletion(const QString& typed)
{
    completionUsed = true;
    const pfd::TypedPathSplit split = pfd::splitTypedPath(typed);
    if (split.folder.isEmpty()) {
        completer->popup()->hide();
        return;
    }
    if (split.folder != completionFolder) {
        completionFolder = split.folder;
        completions->clear();
        for (const QString& name : pfd::completionFolderNames(split.folder)) {
            auto* row = new QStandardItem(name);
            row->setData(split.folder + name, kCompletionPathRole);
            row->setEditable(false);
            completions->appendRow(row);
        }
    }
    completer->setCompletionPrefix(typed);
    if (completer->completionCount() == 0) {
        completer->popup()->hide();
        return;
    }
    completer->complete();
    autoHighlight = true;
    completer->popup()->setCurrentIndex(completer->completionModel()->index(0, 0));
    autoHighlight = false;
}

bool AddressBar::completionShown() const
{
    // The list is made on first use; a bar that was never typed into has none.
    return completionUsed && completer->popup()->isVisible();
}

bool AddressBar::acceptCompletion()
{
    if (!completionShown())
        return false;
    const QModelIndex current = completer->popup()->currentIndex();
    if (!current.isValid())
        return false;
    const QString chosen = current.data(kCompletionPathRole).toString();
    completer->popup()->hide();
    setText(chosen);
    return true;
}

void AddressBar::restoreFocus()
{
    QWidget* target = focusBefore;
    focusBefore = nullptr;
    if (target && target != this && target->window() == window() && target->isVisible() && target->isEnabled())
        target->setFocus(Qt::OtherFocusReason);
}

bool AddressBar::event(QEvent* event)
{
    // Tab takes the highlighted completion before the toolkit would move the
    // focus on.
    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Tab && !(key->modifiers() & (Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier))
            && acceptCompletion()) {
            event->accept();
            return true;
        }
    }
    return zBaseLineEdit::event(event);
}

void AddressBar::focusInEvent(QFocusEvent* event)
{
    // The completion list closing hands the focus back: the user goes on
    // typing where they were.
    if (event->reason() == Qt::PopupFocusReason) {
        zBaseLineEdit::focusInEvent(event);
        return;
    }
    setCursor(Qt::IBeamCursor);
    clearItems();
    completionFolder.clear();
    setEditText(path);
    QTimer::singleShot(0, this, &QLineEdit::selectAll);
    zBaseLineEdit::focusInEvent(event);
}

void AddressBar::focusOutEvent(QFocusEvent* event)
{
    zBaseLineEdit::focusOutEvent(event);
    // A pop-up (the completion list) only borrows the keyboard.
    if (event->reason() == Qt::PopupFocusReason)
        return;
    // A window going away (closed or deleted with the field still in use)
    // takes the focus while it hides; building segments into it then would
    // work on widgets that are being torn down.
    if (rebuilding || window()->isHidden())
        return;
    // Leaving the field shows the typed folder (if it is one) without
    // navigating: no signal.
    const QString typed = pfd::addressTypedPath(text());
    if (isDirectory(typed))
        path = QFileInfo(typed).absoluteFilePath();
    setPath(path);
}

void AddressBar::keyPressEvent(QKeyEvent* event)
{
    const bool plain = !(event->modifiers() & ~Qt::KeypadModifier);
    if (event->key() == Qt::Key_Escape && plain) {
        event->accept();
        if (completionShown()) {
            completer->popup()->hide();
            return;
        }
        // Back to the segments of the folder shown, without navigating.
        setPath(path);
        restoreFocus();
        return;
    }
    if (event->key() == Qt::Key_Right && plain && cursorPosition() == text().size() && acceptCompletion()) {
        event->accept();
        return;
    }
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter) {
        zBaseLineEdit::keyPressEvent(event);
        return;
    }
    if (completionShown())
        completer->popup()->hide();
    const QString typed = text();
    const QString folder = pfd::addressTypedPath(typed);
    if (isDirectory(folder))
        path = QFileInfo(folder).absoluteFilePath();
    setPath(path);
    restoreFocus();
    // The dialog decides what a typed text that is no folder means.
    emit returnKeyPressed(typed);
}

void AddressBar::mouseMoveEvent(QMouseEvent* event)
{
    // Menu-bar behaviour: with one segment's menu open, pointing at another
    // segment opens that one instead (the exclusive group closes the first).
    if (QAbstractButton* checked = buttons->checkedButton()) {
        const QList<QAbstractButton*> grouped = buttons->buttons();
        for (QAbstractButton* button : grouped) {
            if (button != checked && button->geometry().contains(event->pos())) {
                button->setChecked(true);
                openItem = qobject_cast<AddressItem*>(button);
                break;
            }
        }
    }
    zBaseLineEdit::mouseMoveEvent(event);
}

void AddressBar::mousePressEvent(QMouseEvent* event)
{
    // The press that turns the bar into a text field puts the folder's path
    // there and gives the bar the keyboard; once the user is editing, a
    // press moves the caret as in any text field.
    if (event->button() == Qt::LeftButton && !hasFocus()) {
        pressing = true;
        setCursor(Qt::IBeamCursor);
        pressing = false;
        clearItems();
        setEditText(path);
        setFocus(Qt::MouseFocusReason);
    }
    zBaseLineEdit::mousePressEvent(event);
}

void AddressBar::mouseReleaseEvent(QMouseEvent* event)
{
    // pressing is already down again when a release arrives, so this toggle
    // never fires after a plain press; the host's bar has always been so.
    if (event->button() == Qt::LeftButton && pressing) {
        if (selectAllToggle)
            selectAll();
        else
            deselect();
        selectAllToggle = !selectAllToggle;
    }
    zBaseLineEdit::mouseReleaseEvent(event);
}

void AddressBar::resizeEvent(QResizeEvent* event)
{
    if (layout->count() < 2) {
        clearFocus();
        zBaseLineEdit::resizeEvent(event);
        return;
    }
    const QList<QAbstractButton*> grouped = buttons->buttons();
    for (QAbstractButton* button : grouped)
        buttons->removeButton(button);
    openItem = nullptr;

    QVector<QWidget*> segments;
    QVector<int> widths;
    for (int i = 2; i <= layout->count() - 2; ++i) {
        QWidget* segment = layout->itemAt(i)->widget();
        segments.append(segment);
        widths.append(segment ? segment->width() : 0);
    }
    const pfd::AddressFit fit =
        pfd::fitAddressSegments(widths, event->size().width() - px(kReservedWidth));
    for (int k = segments.size() - 1; k >= 0; --k) {
        QWidget* segment = segments.at(k);
        if (!segment)
            continue;
        segment->setVisible(fit.visible.at(k));
        if (fit.visible.at(k))
            buttons->addButton(qobject_cast<AddressItem*>(segment), k + 2);
    }
    if (auto* root = qobject_cast<AddressItem*>(layout->itemAt(1)->widget())) {
        root->setBackArrow(fit.backArrow);
        buttons->addButton(root, 0);
    }
    clearFocus();
    zBaseLineEdit::resizeEvent(event);
}
