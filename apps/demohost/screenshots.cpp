#include "screenshots.h"

#include "projecttypes.h"

#include "AddressBar.h"
#include "AddressItem.h"
#include "InterfaceAdaptation.h"
#include "logindialog.h"
#include "SharedInterfaceTesting.h"
#include "mqcoreTesting.h"
#include "oftenUseDirButton.h"
#include "zBaseCombox.h"
#include "zBaseMenu.h"
#include "zFileDialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QCursor>
#include <QDir>
#include <QFile>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMimeData>
#include <QPointer>
#include <QPainter>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUrl>

#include <functional>

namespace demo {

namespace {

// Runs one entry point and, once its dialog is up, lets step act on it and
// take its pictures; step must close the dialog.
void whileDialogRuns(const std::function<void()>& entryPoint, const std::function<void(zFileDialog*)>& step)
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [poll, step] {
        auto* dialog = qobject_cast<zFileDialog*>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        poll->stop();
        poll->deleteLater();
        // The offscreen screen is small; show the dialog at its design size,
        // as a desktop screen would.
        dialog->resize(InterfaceAdaptation::getInstance()->getResolutionRatioH(928),
                       InterfaceAdaptation::getInstance()->getResolutionRatioH(597));
        QApplication::processEvents();
        step(dialog);
    });
    poll->start(10);
    entryPoint();
}

QString save(const QPixmap& pixmap, const QString& dir, const QString& name, QStringList& written)
{
    const QString file = dir + QLatin1Char('/') + name;
    // The window's corners and shadow are see-through; show them on a
    // desktop-like backdrop.
    QPixmap shot(pixmap.size());
    shot.setDevicePixelRatio(pixmap.devicePixelRatio());
    shot.fill(QColor(0xE4, 0xE8, 0xEE));
    QPainter p(&shot);
    p.drawPixmap(0, 0, pixmap);
    p.end();
    shot.save(file);
    written << file;
    return file;
}

// The dialog with its open pop-up drawn where the screen would show it.
QPixmap withPopup(QWidget* dialog, QWidget* popup)
{
    QPixmap base = dialog->grab();
    if (!popup || !popup->isVisible())
        return base;
    QPainter p(&base);
    p.drawPixmap(dialog->mapFromGlobal(popup->mapToGlobal(QPoint(0, 0))), popup->grab());
    return base;
}

AddressItem* lastSegment(AddressBar* bar)
{
    AddressItem* last = nullptr;
    for (int i = 0; i < bar->itemLayout()->count(); ++i) {
        if (auto* item = qobject_cast<AddressItem*>(bar->itemLayout()->itemAt(i)->widget())) {
            if (!item->isRootItem() && item->isVisible())
                last = item;
        }
    }
    return last;
}

void clickArrow(AddressItem* item)
{
    const QPoint arrow(item->segmentTextWidth() + item->height() / 2, item->height() / 2);
    QTest::mouseClick(item, Qt::LeftButton, {}, arrow);
}

// The table's file menu over a folder row, a file row, empty space and the
// recent list, and the paste's replace question.
void fileMenuShots(const QString& dir, const QString& workspace, QStringList& written)
{
    QVector<QStringList> open = openGroups();
    whileDialogRuns(
        [&] { zFileDialog::getOpenFileName(nullptr, workspace + QStringLiteral("/预算"), open.data(), open.size()); },
        [&](zFileDialog* d) {
            auto* table = d->findChild<QTableView*>(QStringLiteral("FileDialog"));
            auto rowOf = [table](const QString& name) {
                for (int r = 0; r < table->model()->rowCount(); ++r) {
                    if (table->model()->index(r, 0).data().toString() == name)
                        return table->model()->index(r, 0);
                }
                return table->model()->index(0, 0);
            };
            // Right-clicks at point (viewport), pictures the menu, closes it.
            auto menuShot = [&](const QPoint& point, const QString& name) {
                QCursor::setPos(table->viewport()->mapToGlobal(point));
                auto* poll = new QTimer;
                QObject::connect(poll, &QTimer::timeout, [&, poll] {
                    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
                    if (!menu)
                        return;
                    poll->stop();
                    poll->deleteLater();
                    // Offscreen there is no real cursor: put the menu where
                    // the click was, opening upwards where it would leave
                    // the window, as it does near a screen's edge.
                    QPoint at = table->viewport()->mapToGlobal(point);
                    const int bottom = d->mapToGlobal(QPoint(0, d->height() - 14)).y();
                    if (at.y() + menu->height() > bottom)
                        at.setY(at.y() - menu->height());
                    menu->move(at);
                    QApplication::processEvents();
                    save(withPopup(d, menu), dir, name, written);
                    menu->close();
                });
                poll->start(10);
                QContextMenuEvent event(QContextMenuEvent::Mouse, point, table->viewport()->mapToGlobal(point));
                QApplication::sendEvent(table->viewport(), &event);
            };
            auto rowPoint = [table](const QModelIndex& index) {
                return table->visualRect(index).center() - QPoint(table->visualRect(index).width() / 4, 0);
            };

            d->updateCurrentPath(workspace, zFileDialog::tracing);
            QApplication::processEvents();
            QModelIndex row = rowOf(QStringLiteral("预算"));
            table->setCurrentIndex(row);
            menuShot(rowPoint(row), QStringLiteral("file-menu-folder-row.png"));

            d->updateCurrentPath(workspace + QStringLiteral("/预算"), zFileDialog::tracing);
            QApplication::processEvents();
            row = table->model()->index(0, 0);
            for (int r = 0; r < table->model()->rowCount(); ++r) {
                if (table->model()->index(r, 2).data().toString() != QStringLiteral("文件夹")) {
                    row = table->model()->index(r, 0);
                    break;
                }
            }
            table->setCurrentIndex(row);
            menuShot(rowPoint(row), QStringLiteral("file-menu-file-row.png"));

            table->setCurrentIndex(QModelIndex());
            menuShot(QPoint(table->viewport()->width() / 2, table->viewport()->height() - 60),
                     QStringLiteral("file-menu-empty-space.png"));

            d->slotBtnRecentClicked();
            QApplication::processEvents();
            if (table->model()->rowCount() > 0) {
                row = table->model()->index(0, 0);
                table->setCurrentIndex(row);
                menuShot(rowPoint(row), QStringLiteral("file-menu-recent.png"));
            }
            d->onDesktopButton();

            // Paste a project onto itself from another folder: the replace
            // question, declined.
            d->updateCurrentPath(workspace + QStringLiteral("/预算"), zFileDialog::tracing);
            QApplication::processEvents();
            QString existing;
            for (int r = 0; r < table->model()->rowCount() && existing.isEmpty(); ++r) {
                if (table->model()->index(r, 2).data().toString() != QStringLiteral("文件夹"))
                    existing = table->model()->index(r, 0).data().toString();
            }
            if (!existing.isEmpty()) {
                QTemporaryDir other;
                const QString copy = other.path() + QLatin1Char('/') + existing;
                QFile::copy(workspace + QStringLiteral("/预算/") + existing, copy);
                auto* data = new QMimeData;
                data->setUrls({QUrl::fromLocalFile(copy)});
                QApplication::clipboard()->setMimeData(data);
                table->setCurrentIndex(QModelIndex());
                auto* boxPoll = new QTimer;
                QObject::connect(boxPoll, &QTimer::timeout, [boxPoll, &dir, &written] {
                    QWidget* box = QApplication::activeModalWidget();
                    if (!box || box->objectName() != QLatin1String("zMessageBox"))
                        return;
                    boxPoll->stop();
                    boxPoll->deleteLater();
                    save(box->grab(), dir, QStringLiteral("replace-question.png"), written);
                    if (auto* no = box->findChild<QAbstractButton*>(QStringLiteral("zMessageBoxNo")))
                        no->click();
                });
                boxPoll->start(10);
                d->slotPaste();
                QApplication::clipboard()->clear();
            }
            d->onCancelButton();
        });
}

// The first visible top-level window with this object name, or null.
QWidget* topLevel(const QString& objectName)
{
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w->objectName() == objectName && w->isVisible())
            return w;
    }
    return nullptr;
}

// Grabs the first window of that name to appear, delayMs after it appeared,
// then runs done with it.
void grabWhenShown(const QString& objectName, const QString& dir, const QString& name, QStringList& written,
                   int delayMs, const std::function<void(QWidget*)>& done)
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [=, &written] {
        QPointer<QWidget> w = topLevel(objectName);
        if (!w)
            return;
        poll->stop();
        poll->deleteLater();
        QTimer::singleShot(delayMs, [=, &written] {
            if (!w)
                return;
            QApplication::processEvents();
            save(w->grab(), dir, name, written);
            if (done)
                done(w);
        });
    });
    poll->start(10);
}

// Selects the row named name (or the first file row when name is empty).
bool selectCloudRow(QTableView* table, const QString& name)
{
    for (int r = 0; r < table->model()->rowCount(); ++r) {
        const QString rowName = table->model()->index(r, 0).data().toString();
        const bool folder = table->model()->index(r, 2).data().toString() == QStringLiteral("文件夹");
        if (name.isEmpty() ? !folder : rowName == name) {
            table->selectRow(r);
            emit table->pressed(table->model()->index(r, 0));
            return true;
        }
    }
    return false;
}

void cloudShots(const QString& dir, QStringList& written)
{
    LoginDialog login(nullptr, QStringLiteral("demo"));
    login.show();
    QApplication::processEvents();
    save(login.grab(), dir, QStringLiteral("cloud-login-window.png"), written);
    login.hide();

    QVector<QStringList> open = openGroups();
    whileDialogRuns(
        [&] {
            zFileDialog::getOpenFileName(nullptr, QDir::homePath(), open.data(), open.size(), QString(), false,
                                         QString(), true);
        },
        [&](zFileDialog* d) {
            auto* table = d->findChild<QTableView*>(QStringLiteral("FileDialog"));
            d->findChild<QAbstractButton*>(QStringLiteral("companyYun_button"))->click();
            for (const QString& step : {QStringLiteral("华城建设集团"), QStringLiteral("结算")}) {
                if (selectCloudRow(table, step))
                    d->onOkButton();
            }
            QApplication::processEvents();
            save(d->grab(), dir, QStringLiteral("cloud-enterprise-folder.png"), written);

            d->findChild<QAbstractButton*>(QStringLiteral("personYun_button"))->click();
            QApplication::processEvents();
            save(d->grab(), dir, QStringLiteral("cloud-personal-root.png"), written);
            if (selectCloudRow(table, QStringLiteral("预算")))
                d->onOkButton();
            if (!selectCloudRow(table, QString())) {
                d->onCancelButton();
                return;
            }
            // The progress window shows while the project comes down; the
            // dialog then closes with its local path.
            grabWhenShown(QStringLiteral("MQProgressBar"), dir, QStringLiteral("cloud-download-progress.png"), written,
                          600, nullptr);
            d->onOkButton();
            if (d->isVisible())
                d->onCancelButton();
        });

    QVector<QStringList> groups = saveGroups();
    QString staged;
    whileDialogRuns(
        [&] {
            staged = zFileDialog::getSaveFileName(nullptr, QDir::homePath(), QStringLiteral("新建住宅楼预算"),
                                                  groups.data(), groups.size(), true, QString(), QString(), true);
        },
        [&](zFileDialog* d) {
            auto* table = d->findChild<QTableView*>(QStringLiteral("FileDialog"));
            d->findChild<QAbstractButton*>(QStringLiteral("personYun_button"))->click();
            if (selectCloudRow(table, QStringLiteral("预算")))
                d->onOkButton();
            table->clearSelection();
            // Entering a cloud clears the name field; the user types one.
            d->findChild<QLineEdit*>(QStringLiteral("fileName_lineEdit"))->setText(QStringLiteral("新建住宅楼预算"));
            // Saved by an earlier run: the overwrite question is answered yes.
            QTimer yes;
            QObject::connect(&yes, &QTimer::timeout, [] {
                if (QWidget* box = topLevel(QStringLiteral("zMessageBox"))) {
                    if (auto* ok = box->findChild<QAbstractButton*>(QStringLiteral("zMessageBoxYes")))
                        ok->click();
                }
            });
            yes.start(10);
            d->onOkButton();
            yes.stop();
            if (d->isVisible())
                d->onCancelButton();
        });
    if (staged.isEmpty())
        return;
    QFile project(staged);
    if (project.open(QIODevice::WriteOnly))
        project.write("demo project saved to the cloud");
    project.close();
    grabWhenShown(QStringLiteral("zMessageBox"), dir, QStringLiteral("cloud-save-success.png"), written, 0,
                  [](QWidget* box) {
                      if (auto* ok = box->findChild<QAbstractButton*>(QStringLiteral("zMessageBoxYes")))
                          ok->click();
                  });
    zFileDialog::SaveToYunPanData(staged);
    // Close the cloud channel while the application still runs: the embedded
    // service's database must not be left to the end of the process.
    SharedInterfaceTesting::reset();
}

} // namespace

QStringList takeScreenshots(const QString& dir, const QString& workspace)
{
    QDir().mkpath(dir);
    QStringList written;
    QVector<QStringList> open = openGroups();

    whileDialogRuns(
        [&] {
            // Both clouds offered, as the demo's own calls do.
            zFileDialog::getOpenFileName(nullptr, workspace + QStringLiteral("/预算"), open.data(), open.size(),
                                         QString(), false, QString(), true);
        },
        [&](zFileDialog* d) {
            d->updateCurrentPath(workspace + QStringLiteral("/预算"), zFileDialog::tracing);
            QApplication::processEvents();
            save(d->grab(), dir, QStringLiteral("open-dialog.png"), written);

            if (auto* pinned = d->findChild<oftenUseDirButton*>()) {
                zBaseMenu* menu = pinned->contextMenu();
                menu->popup(pinned->mapToGlobal(QPoint(pinned->width() / 3, pinned->height() / 2)));
                QApplication::processEvents();
                save(withPopup(d, menu), dir, QStringLiteral("pinned-remove-menu.png"), written);
                menu->hide();
            }

            d->updateCurrentPath(workspace + QStringLiteral("/概算"), zFileDialog::tracing);
            d->findChild<zBaseCombox*>(QStringLiteral("fileType_comboBox"))->setCurrentIndex(1);
            QApplication::processEvents();
            save(d->grab(), dir, QStringLiteral("open-type-chosen.png"), written);

            // A refusal: without the estimate right an estimate project
            // cannot be opened.
            mqcoreTesting::withdrawRight(2);
            auto* boxPoll = new QTimer;
            QObject::connect(boxPoll, &QTimer::timeout, [boxPoll, &dir, &written] {
                QWidget* box = nullptr;
                for (QWidget* w : QApplication::topLevelWidgets()) {
                    if (w->objectName() == QLatin1String("zMessageBox") && w->isVisible())
                        box = w;
                }
                if (!box)
                    return;
                boxPoll->stop();
                boxPoll->deleteLater();
                save(box->grab(), dir, QStringLiteral("refusal-message.png"), written);
                if (auto* yes = box->findChild<QAbstractButton*>(QStringLiteral("zMessageBoxYes")))
                    yes->click();
            });
            boxPoll->start(10);
            d->findChild<QLineEdit*>(QStringLiteral("fileName_lineEdit"))->setText(QStringLiteral("人民医院门诊楼概算.GCFG"));
            d->onOkButton();
            mqcoreTesting::grantRight(2);

            d->slotBtnRecentClicked();
            QApplication::processEvents();
            save(d->grab(), dir, QStringLiteral("recent-page.png"), written);
            d->onDesktopButton();

            d->onMyComputerButton();
            QApplication::processEvents();
            save(d->grab(), dir, QStringLiteral("computer-view.png"), written);

            d->updateCurrentPath(workspace, zFileDialog::tracing);
            auto* bar = d->findChild<AddressBar*>(QStringLiteral("address_bar"));
            if (AddressItem* item = lastSegment(bar)) {
                const int index = bar->itemLayout()->indexOf(item);
                AddressItem* parent = index > 2 ? qobject_cast<AddressItem*>(bar->itemLayout()->itemAt(index - 1)->widget()) : item;
                clickArrow(parent);
                QApplication::processEvents();
                save(withPopup(d, parent->popupMenu()), dir, QStringLiteral("segment-dropdown.png"), written);
                parent->closeMenu();
            }

            QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(bar->width() - 12, bar->height() / 2));
            QApplication::processEvents();
            save(d->grab(), dir, QStringLiteral("address-edit.png"), written);
            d->updateCurrentPath(workspace + QStringLiteral("/常用资料/定额库"), zFileDialog::tracing);

            // A narrow window shows the back arrow in front of the segments.
            d->setMinimumWidth(0);
            d->resize(560, d->height());
            QApplication::processEvents();
            save(d->grab(), dir, QStringLiteral("narrow-bar.png"), written);
            d->onCancelButton();
        });

    QVector<QStringList> saveAs = saveGroups();
    whileDialogRuns(
        [&] {
            zFileDialog::getSaveFileName(nullptr, workspace, QStringLiteral("滨江花园/三期土建"), saveAs.data(),
                                         saveAs.size(), true, QString(), QString(), true);
        },
        [&](zFileDialog* d) {
            QApplication::processEvents();
            save(d->grab(), dir, QStringLiteral("save-dialog.png"), written);
            d->findChild<QLineEdit*>(QStringLiteral("fileName_lineEdit"))->setText(QStringLiteral("滨江花园三期 安装工程"));
            d->findChild<zBaseCombox*>(QStringLiteral("fileType_comboBox"))->setCurrentIndex(1);
            QApplication::processEvents();
            save(d->grab(), dir, QStringLiteral("save-typed-name.png"), written);
            d->onCancelButton();
        });
    fileMenuShots(dir, workspace, written);
    cloudShots(dir, written);
    return written;
}

} // namespace demo
