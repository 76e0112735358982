#pragma once
// One segment of the address bar: a text part that goes to the segment's
// folder and an arrow part that drops down its sub-folders. The root item
// has no text; its menu lists the user's standard places, and its arrow
// turns into a "back" arrow while shallow segments are hidden.
#include "folderrows.h"
#include "pfd_global.h"
#include "zBaseButton.h"

#include <QFont>
#include <QPixmap>
#include <QPointer>
#include <QString>

class AddressBar;
class MenuWidget;
class zBaseMenu;

class PFD_EXPORT AddressItem : public zBaseButton
{
    Q_OBJECT

public:
    // A folder segment takes its drop-down's rows when it is made: it reads
    // its folder, unless readFolder is false and the rows are handed over
    // with setFolderRows (the bar does so for the folder the dialog has just
    // listed). The pop-up and its list are made when first wanted.
    AddressItem(QString text, QString path, bool isRoot, AddressBar* parent, bool readFolder = true);
    ~AddressItem() override;

    void setFolderRows(QVector<pfd::FolderRow> rows);
    const QVector<pfd::FolderRow>& folderRows() const { return rows; }
    // Whether the pop-up has been made yet.
    bool hasPopupMenu() const { return !menu.isNull(); }

    QString segmentPath() const { return path; }
    QString segmentText() const { return shownText; }
    int segmentTextWidth() const { return textWidth; }
    bool isRootItem() const { return isRoot; }
    bool showsBackArrow() const { return backArrow; }
    // Both make the pop-up when it does not exist yet.
    zBaseMenu* popupMenu();
    MenuWidget* listWidget();

    // The root shows the back arrow while segments are hidden.
    void setBackArrow(bool back);
    // Closes the drop-down at once; the bar calls it before it lets the
    // item go, since the menu is a window of its own and outlives a hide.
    void closeMenu();

signals:
    void SClickPath(QString path);

public slots:
    void menuAboutToHide();
    void onClickMenuItem();
    void onCheckChanged(bool checked);

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void enterEvent(QEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void applyPalette();
    void loadArrows();
    bool hasSubFolders() const;
    void buildMenu();
    void ensureMenu();

    bool pressed = false;
    bool textPressed = false;
    bool hovered = false;
    bool isRoot = false;
    QPointer<zBaseMenu> menu;
    QPointer<MenuWidget> menuWidget;
    int textWidth = 0;
    QFont font;
    QString path;
    QString shownText;
    QPixmap arrowPixmap;
    QPixmap arrowDownPixmap;
    bool backArrow = false;
    QVector<pfd::FolderRow> rows;
};
