#include "AddressBar.h"

#include "AddressItem.h"
#include "scaled.h"
#include "addresspath.h"

#include <QButtonGroup>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QResizeEvent>
#include <QTimer>

using pfd::px;

namespace {

const char kFolderIconSheet[] =
    "QLabel{background-image: url(:/Image/filedlgicon/dir.png); background-repeat: no-repeat;"
    "                                    background-position: center;"
    "                            background-attachment: fixed;}";

// Room the bar keeps for the folder icon and the root item.
constexpr double kReservedWidth = 34;

} // namespace

AddressBar::AddressBar(QWidget* parent)
    : zBaseLineEdit(parent)
{
    setContextMenuPolicy(Qt::NoContextMenu);
    setCursor(Qt::ArrowCursor);
    setMouseTracking(true);
    // Neither Tab nor a click focuses the bar: a press only puts the path
    // into the field. The edit mode's keys reach it once code gives it focus.
    setFocusPolicy(Qt::NoFocus);

    buttons = new QButtonGroup(this);
    buttons->setExclusive(true);

    layout = new QHBoxLayout(this);
    layout->setContentsMargins(px(1), px(1), px(1), 0);
    layout->setSpacing(0);

    connect(buttons, qOverload<QAbstractButton*>(&QButtonGroup::buttonClicked), this,
            &AddressBar::onGroupBtnClicked);

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

void AddressBar::focusInEvent(QFocusEvent* event)
{
    setCursor(Qt::IBeamCursor);
    clearItems();
    setEditText(path);
    QTimer::singleShot(0, this, &QLineEdit::selectAll);
    zBaseLineEdit::focusInEvent(event);
}

void AddressBar::focusOutEvent(QFocusEvent* event)
{
    zBaseLineEdit::focusOutEvent(event);
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
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter) {
        zBaseLineEdit::keyPressEvent(event);
        return;
    }
    const QString typed = text();
    const QString folder = pfd::addressTypedPath(typed);
    if (isDirectory(folder))
        path = QFileInfo(folder).absoluteFilePath();
    setPath(path);
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
    // Every press puts the folder shown back into the field, also while the
    // user is typing: the host's bar has always dropped a typed text so.
    if (event->button() == Qt::LeftButton) {
        pressing = true;
        setCursor(Qt::IBeamCursor);
        pressing = false;
        clearItems();
        setEditText(path);
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
