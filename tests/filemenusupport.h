#pragma once
// Driving the table's file menu from a test: a right click on the table's
// viewport opens the real menu; what it shows is read while it is open, and
// the chosen entry runs once it has closed, as after a user's click.
#include "dialogfixture.h"
#include "testsupport.h"

#include "dialogs/OpenProject.h"
#include "fileModelLocal.h"
#include "zBaseControlTesting.h"
#include "zControlTesting.h"
#include "zFileDialogUi.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QMenu>
#include <QMimeData>
#include <QPointer>
#include <QTableView>
#include <QTimer>
#include <QUrl>
#include <QtTest>

namespace filemenusupport {

class Probe : public OpenProject
{
public:
    using zFileDialog::m_currentDir;
    using zFileDialog::m_isCurrentProjectTab;
    using zFileDialog::m_isRecent;
    using zFileDialog::m_oftenUse;
    using zFileDialog::ui;

    int forMenuCalls = 0;

protected:
    void setForMenu() override { ++forMenuCalls; }
};

struct MenuSeen
{
    bool shown = false;
    QStringList texts;          // every entry, separators as "-", in order
    QHash<QString, bool> visible; // by text
    QHash<QString, bool> enabled; // by text
    QHash<QString, QString> objectNames;
    QPoint popupPos;
    QObject* menuParent = reinterpret_cast<QObject*>(1);
    QMenu* menu = nullptr;
};

// Right-clicks the table's viewport at pos and, if the menu opens, picks the
// entry whose text is choose (none when empty).
inline MenuSeen rightClick(Probe& d, const QPoint& pos, const QString& choose = QString())
{
    MenuSeen seen;
    QPointer<QAction> chosen;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (!menu)
            return;
        poll.stop();
        seen.shown = true;
        seen.menu = menu;
        seen.popupPos = menu->pos();
        seen.menuParent = menu->parent();
        for (QAction* a : menu->actions()) {
            seen.texts << (a->isSeparator() ? QStringLiteral("-") : a->text());
            if (a->isSeparator())
                continue;
            seen.visible.insert(a->text(), a->isVisible());
            seen.enabled.insert(a->text(), a->isEnabled());
            seen.objectNames.insert(a->text(), a->objectName());
            if (!choose.isEmpty() && a->text() == choose)
                chosen = a;
        }
        menu->close();
    });
    poll.start(1);
    QWidget* viewport = d.ui->tableView->viewport();
    QContextMenuEvent event(QContextMenuEvent::Mouse, pos, viewport->mapToGlobal(pos));
    QApplication::sendEvent(viewport, &event);
    poll.stop();
    if (!choose.isEmpty()) {
        if (chosen)
            chosen->trigger();
        else
            qWarning("no menu entry %s", qPrintable(choose));
    }
    return seen;
}

// A point on the table's row of that name; a point below every row when
// there is none.
inline QPoint rowPoint(Probe& d, const QString& name)
{
    QAbstractItemModel* model = d.ui->tableView->model();
    for (int r = 0; r < model->rowCount(); ++r) {
        const QModelIndex index = model->index(r, 0);
        if (index.data().toString() == name)
            return d.ui->tableView->visualRect(index).center();
    }
    return QPoint(5, d.ui->tableView->viewport()->height() - 3);
}

inline QModelIndex rowIndex(Probe& d, const QString& name)
{
    QAbstractItemModel* model = d.ui->tableView->model();
    for (int r = 0; r < model->rowCount(); ++r) {
        const QModelIndex index = model->index(r, 0);
        if (index.data().toString() == name)
            return index;
    }
    return QModelIndex();
}

inline void makeCurrent(Probe& d, const QString& name)
{
    const QModelIndex index = rowIndex(d, name);
    QVERIFY2(index.isValid(), qPrintable(QStringLiteral("no row ") + name));
    d.ui->tableView->setCurrentIndex(index);
}

inline QString currentName(Probe& d)
{
    return d.ui->tableView->currentIndex().sibling(d.ui->tableView->currentIndex().row(), 0).data().toString();
}

// Shows folder in a dialog that lists every file.
inline void showFolder(Probe& d, const QString& folder)
{
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.updateCurrentPath(folder, zFileDialog::tracing);
}

inline void writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    QCOMPARE(f.write(bytes), qint64(bytes.size()));
}

inline QByteArray readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

inline QStringList entries(const QString& dir)
{
    return QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System, QDir::Name);
}

// One test's own folder under home, a private application directory and
// scripted message boxes.
struct Case
{
    QString root;
    testsupport::AppDir* app = nullptr;

    void start(const QString& home)
    {
        static int n = 0;
        root = home + QStringLiteral("/case%1").arg(++n);
        QDir().mkpath(root);
        app = dialogfixture::startDialogHost();
        zControlTesting::clearMessageBoxCalls();
    }
    void stop() { dialogfixture::stopDialogHost(app); }
};

// Local files on the clipboard as a URL list, as a file manager puts them.
inline void putOnClipboard(const QStringList& paths)
{
    QList<QUrl> urls;
    for (const QString& p : paths)
        urls << QUrl::fromLocalFile(p);
    auto* data = new QMimeData;
    data->setUrls(urls);
    QApplication::clipboard()->setMimeData(data);
}

inline FileInfo record(const QString& path, const QString& type)
{
    FileInfo f;
    f.name = QFileInfo(path).fileName();
    f.type = type;
    f.path = path;
    return f;
}

} // namespace filemenusupport
