#pragma once
// The dialog's address bar. It shows the current folder as breadcrumb
// segments (a folder icon, the root item, one AddressItem per folder); a
// click on its empty area turns it into a plain text field holding the path,
// and Return accepts a typed folder. Navigation is reported through signals;
// the dialog calls setPath after every change of folder.
//
// The bar takes the keyboard from a click on its empty part, from Tab, or
// when the dialog focuses it (Ctrl+L); it never starts with the focus.
// While a path is typed it offers the typed folder's sub-folders; Tab, or
// Right at the end of the text, takes the highlighted one. Escape restores
// the segments without navigating.
#include "FileInfo.h"
#include "pfd_global.h"
#include "zBaseLineEdit.h"

#include <QPointer>
#include <QString>

class AddressItem;
class QAbstractButton;
class QButtonGroup;
class QCompleter;
class QHBoxLayout;
class QStandardItemModel;

class PFD_EXPORT AddressBar : public zBaseLineEdit
{
    Q_OBJECT

public:
    explicit AddressBar(QWidget* parent = nullptr);

    // Where the deepest segment's drop-down takes its rows from: its own
    // read of the folder, or the listing the dialog reads for its table right
    // after, handed over with takeListing (a folder is then read once).
    enum DeepestRows { ReadDeepest, DeepestFromListing };
    // Shows a folder as segments (breadcrumb mode).
    void setPath(QString path, DeepestRows deepest = ReadDeepest);
    // The dialog's listing of listedPath; fills the deepest segment's rows
    // when the bar shows that folder and waits for them.
    void takeListing(const QString& listedPath, const QList<FileInfo>& files);
    // Puts a path into the text field (edit mode).
    void setEditText(QString text);

    // The folder shown, with "/" separators (POSIX paths as they are).
    QString currentPath() const { return path; }
    // The folder icon at 0, the root item at 1, the segments from the
    // shallowest, a stretch last; empty in edit mode.
    QHBoxLayout* itemLayout() const { return layout; }
    // The segment whose menu the bar knows to be open, if any.
    AddressItem* checkedItem() const;
    // Closes whichever segment menu is open (the dialog calls it when the
    // user turns to the table, presses elsewhere or leaves the window).
    void uncheckOpenItem();
    // The drop-down of sub-folders offered while a path is typed.
    QCompleter* pathCompleter() const { return completer; }

signals:
    void SCurrentPathChanged(QString path);
    void returnKeyPressed(QString text);

public slots:
    void onGroupBtnClicked(QAbstractButton* button);

protected:
    bool event(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void clearItems();
    void connectItem(AddressItem* item);
    static bool isDirectory(const QString& path);
    // Offers the sub-folders that complete the text typed so far.
    void updateCompletion(const QString& text);
    // Puts the highlighted completion into the field; false when none is.
    bool acceptCompletion();
    bool completionShown() const;
    // Gives the keyboard back to the control that had it before the bar.
    void restoreFocus();

    bool pressing = false;
    bool selectAllToggle = false;
    QString path;
    QButtonGroup* buttons = nullptr;
    QPointer<AddressItem> openItem;
    QPointer<AddressItem> awaitingListing; // the deepest segment, while its rows are to come
    QString awaitedPath;                   // the folder setPath was given for it
    QHBoxLayout* layout = nullptr;
    // setPath drops the focus; the focus-out that causes must not redraw
    // the bar a second time from the half-cleared field.
    bool rebuilding = false;

    QCompleter* completer = nullptr;
    QStandardItemModel* completions = nullptr;
    QString completionFolder;  // the folder the completions were read from
    bool autoHighlight = false; // the first row is being highlighted for the user
    bool completionUsed = false;
    QPointer<QWidget> focusBefore;
};
