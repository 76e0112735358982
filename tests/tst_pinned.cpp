// Pinned folders in the left column: loading, pinning and unpinning from
// the table, the remove menu, renaming, and where a click goes.
#include "dialogfixture.h"
#include "testsupport.h"

#include "dialogs/OpenProject.h"
#include "fileInfoJsonUtil.h"
#include "fileModelLocal.h"
#include "oftenUseDirButton.h"
#include "zBaseControlTesting.h"
#include "zBaseLabel.h"
#include "zBaseMenu.h"
#include "zControlTesting.h"
#include "zFileDialogUi.h"

#include <QButtonGroup>
#include <QDir>
#include <QListWidget>
#include <QTableView>
#include <QtTest>

using namespace testsupport;

namespace {

class Probe : public OpenProject
{
public:
    using zFileDialog::m_oftenUse;
    using zFileDialog::ui;
};

FileInfo folderRecord(const QString& path, const QString& type = QStringLiteral("文件夹"),
                      const QString& target = QString())
{
    FileInfo f;
    f.name = QFileInfo(path).fileName();
    f.type = type;
    f.path = path;
    f.symLinkTarget = target;
    return f;
}

QList<oftenUseDirButton*> buttons(Probe& d)
{
    QList<oftenUseDirButton*> out;
    for (int r = 0; r < d.ui->oftenUseList->count(); ++r)
        out << qobject_cast<oftenUseDirButton*>(d.ui->oftenUseList->itemWidget(d.ui->oftenUseList->item(r)));
    return out;
}

QStringList captions(Probe& d)
{
    QStringList out;
    for (oftenUseDirButton* b : buttons(d))
        out << b->text();
    return out;
}

void pinRow(Probe& d, const QString& name)
{
    QAbstractItemModel* model = d.ui->tableView->model();
    for (int r = 0; r < model->rowCount(); ++r) {
        if (model->index(r, 0).data().toString() == name) {
            d.ui->tableView->setCurrentIndex(model->index(r, 0));
            d.slotFixToOftenUse();
            return;
        }
    }
    QFAIL(qPrintable(QStringLiteral("no row ") + name));
}

} // namespace

class TestPinned : public QObject, dialogfixture::DialogFixture
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void storedPinsBecomeButtonsInOrder();
    void emptyStoreKeepsHeaderHidden();
    void buttonsLookAndSizes();
    void eleventhPinKeepsTenRecordsButShowsElevenButtons();
    void pinningPinnedPathUnpins();
    void otherSpellingPinsAgain();
    void nonArrayStoreMemberBecomesArrayOnPin();
    void clickGoesToPathOrTarget_data();
    void clickGoesToPathOrTarget();
    void clickIsExclusiveWithPlaces();
    void removeMenuTakesCurrentRowAndButtonsRecord();
    void removingLastButtonLeavesHeaderVisible();
    void renameInTableRenamesButtonAndStore();
    void missingPinnedFolderStillGetsButton();
    void noCurrentRowPinsNothing();

private:
    QStringList m_folders;
};

void TestPinned::initTestCase()
{
    useHome();
    for (int i = 0; i < 12; ++i) {
        m_folders << m_home.path() + QStringLiteral("/常用 %1").arg(i, 2, 10, QLatin1Char('0'));
        QVERIFY(QDir().mkpath(m_folders.last()));
    }
}

void TestPinned::init()
{
    startHost();
}

void TestPinned::cleanup()
{
    stopHost();
}

void TestPinned::storedPinsBecomeButtonsInOrder()
{
    for (int i : {3, 1, 2})
        fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("OftenUse"), folderRecord(m_folders.at(i)));
    Probe d;
    QCOMPARE(captions(d), (QStringList{"常用 03", "常用 01", "常用 02"}));
    QVERIFY(!d.ui->oftenUseHeader->isHidden());
    QCOMPARE(d.m_oftenUse.size(), 3);
}

void TestPinned::emptyStoreKeepsHeaderHidden()
{
    Probe d;
    QVERIFY(d.ui->oftenUseHeader->isHidden());
    QCOMPARE(d.ui->oftenUseList->count(), 0);
}

void TestPinned::buttonsLookAndSizes()
{
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("OftenUse"), folderRecord(m_folders.at(0)));
    Probe d;
    oftenUseDirButton* b = buttons(d).value(0);
    QVERIFY(b);
    QCOMPARE(b->size(), QSize(300, 38));
    QVERIFY(b->isCheckable());
    QCOMPARE(b->controlType(), 56);
    QCOMPARE(b->normalIcon(), QStringLiteral(":/Image/filedlgicon/dir.png"));
    QVERIFY(b->hoverIcon().isEmpty());
    QCOMPARE(d.ui->oftenUseList->item(0)->sizeHint().height(), 44);
    QVERIFY(b->contextMenu());
    QVERIFY(!b->contextMenu()->parent());
    QCOMPARE(b->contextMenu()->actions().size(), 1);
    QCOMPARE(b->contextMenu()->actions().at(0)->text(), QStringLiteral("移除"));
    QVERIFY(b->contextMenu()->actions().at(0)->shortcut().isEmpty());
    QCOMPARE(d.ui->placeGroup->id(b), -1);
}

void TestPinned::eleventhPinKeepsTenRecordsButShowsElevenButtons()
{
    Probe d;
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.updateCurrentPath(m_home.path(), zFileDialog::tracing);
    for (int i = 0; i < 11; ++i)
        pinRow(d, QStringLiteral("常用 %1").arg(i, 2, 10, QLatin1Char('0')));
    QCOMPARE(d.ui->oftenUseList->count(), 11);
    QCOMPARE(fileInfoJsonUtil::GetArraySizeFromJson(m_app->store(), QStringLiteral("OftenUse")), 10);
    QList<FileInfo> stored;
    fileInfoJsonUtil::ReadFileInfoListFromJson(m_app->store(), QStringLiteral("OftenUse"), stored);
    QCOMPARE(stored.first().path, m_folders.at(1));
    QCOMPARE(stored.last().path, m_folders.at(10));
    Probe next;
    QCOMPARE(next.ui->oftenUseList->count(), 10);
    QCOMPARE(captions(next).first(), QStringLiteral("常用 01"));
}

void TestPinned::pinningPinnedPathUnpins()
{
    Probe d;
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.updateCurrentPath(m_home.path(), zFileDialog::tracing);
    pinRow(d, QStringLiteral("常用 05"));
    QVERIFY(!d.ui->oftenUseHeader->isHidden());
    QCOMPARE(d.ui->oftenUseList->count(), 1);
    pinRow(d, QStringLiteral("常用 05"));
    QCOMPARE(d.ui->oftenUseList->count(), 0);
    QCOMPARE(fileInfoJsonUtil::GetArraySizeFromJson(m_app->store(), QStringLiteral("OftenUse")), 0);
    // Unpinning does not touch the header.
    QVERIFY(!d.ui->oftenUseHeader->isHidden());
}

void TestPinned::otherSpellingPinsAgain()
{
    // Pinned earlier under other spellings of the same folder.
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("OftenUse"),
                                            folderRecord(m_folders.at(6) + QLatin1Char('/')));
    FileInfo upper = folderRecord(m_folders.at(6));
    upper.path = m_folders.at(6).toUpper();
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("OftenUse"), upper);
    Probe d;
    QCOMPARE(d.ui->oftenUseList->count(), 2);
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.updateCurrentPath(m_home.path(), zFileDialog::tracing);
    pinRow(d, QStringLiteral("常用 06"));
    QCOMPARE(d.ui->oftenUseList->count(), 3);
    QCOMPARE(fileInfoJsonUtil::GetArraySizeFromJson(m_app->store(), QStringLiteral("OftenUse")), 3);
}

void TestPinned::nonArrayStoreMemberBecomesArrayOnPin()
{
    QFile f(m_app->store());
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(R"({"OftenUse": "not a list", "LastPath": "/kept"})");
    f.close();
    Probe d;
    QCOMPARE(d.ui->oftenUseList->count(), 0);
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.updateCurrentPath(m_home.path(), zFileDialog::tracing);
    pinRow(d, QStringLiteral("常用 07"));
    QList<FileInfo> stored;
    fileInfoJsonUtil::ReadFileInfoListFromJson(m_app->store(), QStringLiteral("OftenUse"), stored);
    QCOMPARE(stored.size(), 1);
    QCOMPARE(stored.at(0).path, m_folders.at(7));
    QVERIFY(!d.ui->oftenUseHeader->isHidden());
}

void TestPinned::clickGoesToPathOrTarget_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("toTarget");
    QTest::newRow("folder") << "文件夹" << false;
    QTest::newRow("shortcut") << "快捷方式" << true;
    QTest::newRow("network drive") << "网络驱动" << true;
    QTest::newRow("local disk") << "本地磁盘" << false;
}

void TestPinned::clickGoesToPathOrTarget()
{
    QFETCH(QString, type);
    QFETCH(bool, toTarget);
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("OftenUse"),
                                            folderRecord(m_folders.at(8), type, m_folders.at(9)));
    Probe d;
    d.ui->localModel->setShowPathColumn(true);
    QTest::mouseClick(buttons(d).value(0), Qt::LeftButton);
    QCOMPARE(d.currentDirectory(), toTarget ? m_folders.at(9) : m_folders.at(8));
    QCOMPARE(zFileDialog::iClickedBtn, 7);
    QVERIFY(!d.ui->localModel->showPathColumn());
}

void TestPinned::clickIsExclusiveWithPlaces()
{
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("OftenUse"), folderRecord(m_folders.at(0)));
    Probe d;
    QTest::mouseClick(d.ui->desktopButton, Qt::LeftButton);
    QVERIFY(d.ui->desktopButton->isChecked());
    QTest::mouseClick(buttons(d).value(0), Qt::LeftButton);
    QVERIFY(buttons(d).value(0)->isChecked());
    QVERIFY(!d.ui->desktopButton->isChecked());
}

void TestPinned::removeMenuTakesCurrentRowAndButtonsRecord()
{
    for (int i : {0, 1, 2})
        fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("OftenUse"), folderRecord(m_folders.at(i)));
    Probe d;
    const QList<oftenUseDirButton*> all = buttons(d);
    d.ui->oftenUseList->setCurrentRow(0);
    // The menu of the third button is used while row 0 is current.
    all.at(2)->contextMenu()->actions().at(0)->trigger();
    QCOMPARE(captions(d), (QStringList{"常用 01", "常用 02"}));
    QList<FileInfo> stored;
    fileInfoJsonUtil::ReadFileInfoListFromJson(m_app->store(), QStringLiteral("OftenUse"), stored);
    QCOMPARE(stored.size(), 2);
    QCOMPARE(stored.at(0).path, m_folders.at(0));
    QCOMPARE(stored.at(1).path, m_folders.at(1));
    QVERIFY(!d.m_oftenUse.contains(all.at(2)));
}

void TestPinned::removingLastButtonLeavesHeaderVisible()
{
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("OftenUse"), folderRecord(m_folders.at(0)));
    Probe d;
    QVERIFY(!d.ui->oftenUseHeader->isHidden());
    d.ui->oftenUseList->setCurrentRow(0);
    buttons(d).value(0)->contextMenu()->actions().at(0)->trigger();
    QCOMPARE(d.ui->oftenUseList->count(), 0);
    QCOMPARE(fileInfoJsonUtil::GetArraySizeFromJson(m_app->store(), QStringLiteral("OftenUse")), 0);
    QVERIFY(!d.ui->oftenUseHeader->isHidden());
    Probe next;
    QVERIFY(next.ui->oftenUseHeader->isHidden());
}

void TestPinned::renameInTableRenamesButtonAndStore()
{
    const QString old = m_home.path() + QStringLiteral("/旧名");
    QVERIFY(QDir().mkpath(old));
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("OftenUse"), folderRecord(old));
    Probe d;
    d.ui->localModel->setNameFilters({QStringLiteral("*.*")});
    d.updateCurrentPath(m_home.path(), zFileDialog::tracing);
    QAbstractItemModel* model = d.ui->tableView->model();
    QModelIndex index;
    for (int r = 0; r < model->rowCount(); ++r) {
        if (model->index(r, 0).data().toString() == QStringLiteral("旧名"))
            index = model->index(r, 0);
    }
    QVERIFY(index.isValid());
    QVERIFY(model->setData(index, QStringLiteral("新名")));
    QCOMPARE(captions(d), QStringList{"新名"});
    QCOMPARE(d.m_oftenUse.begin().value().path, m_home.path() + QStringLiteral("/新名"));
    QList<FileInfo> stored;
    fileInfoJsonUtil::ReadFileInfoListFromJson(m_app->store(), QStringLiteral("OftenUse"), stored);
    QCOMPARE(stored.at(0).name, QStringLiteral("新名"));
    QVERIFY(QFileInfo(m_home.path() + QStringLiteral("/新名")).isDir());
}

void TestPinned::missingPinnedFolderStillGetsButton()
{
    fileInfoJsonUtil::WriteJsonFromFileInfo(m_app->store(), QStringLiteral("OftenUse"),
                                            folderRecord(m_home.path() + QStringLiteral("/已删除")));
    Probe d;
    QCOMPARE(captions(d), QStringList{"已删除"});
    QTest::mouseClick(buttons(d).value(0), Qt::LeftButton);
    QCOMPARE(d.currentDirectory(), m_home.path() + QStringLiteral("/已删除"));
    QCOMPARE(d.ui->localModel->rowCount(), 0);
}

void TestPinned::noCurrentRowPinsNothing()
{
    Probe d;
    d.updateCurrentPath(m_home.path(), zFileDialog::tracing);
    d.slotFixToOftenUse();
    QCOMPARE(d.ui->oftenUseList->count(), 0);
    QVERIFY(!QFile::exists(m_app->store()) || fileInfoJsonUtil::GetArraySizeFromJson(m_app->store(), "OftenUse") == 0);
}

QTEST_MAIN(TestPinned)
#include "tst_pinned.moc"
