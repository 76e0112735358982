#include "MenuWidget.h"

#include "AddressItem.h"
#include "scaled.h"
#include "knownfolderpaths.h"
#include "listing.h"
#include "shellicon.h"
#include "zBaseTheme.h"

#include <QFileIconProvider>
#include <QEvent>
#include <QFileInfo>
#include <QListView>
#include <QPainter>
#include <QPainterPath>
#include <QStandardItemModel>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

using pfd::px;

namespace {

// Rows like the host's menus: 28 design pixels high, icon and text, a soft
// rounded hover band. Selection is not drawn: a click navigates at once, so a
// row that stayed marked would only look stale.
class MenuRowDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        return QSize(QStyledItemDelegate::sizeHint(option, index).width(), px(28));
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override
    {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const QRect row = option.rect;
        if (option.state & QStyle::State_MouseOver) {
            const QRectF band = QRectF(row).adjusted(px(4), px(1), -px(4), -px(1));
            QPainterPath shape;
            shape.addRoundedRect(band, px(4), px(4));
            painter->fillPath(shape, QColor(zBaseTheme::color(QStringLiteral("hover-color"))));
        }

        const int iconSide = px(16);
        int x = row.left() + px(12);
        const QIcon icon = index.data(Qt::DecorationRole).value<QIcon>();
        if (!icon.isNull()) {
            const QRect iconRect(x, row.top() + (row.height() - iconSide) / 2, iconSide, iconSide);
            icon.paint(painter, iconRect, Qt::AlignCenter);
        }
        x += iconSide + px(8);

        const QRect textRect(x, row.top(), row.right() - px(10) - x, row.height());
        const QString text = option.fontMetrics.elidedText(index.data(Qt::DisplayRole).toString(),
                                                           Qt::ElideRight, textRect.width());
        painter->setPen(option.palette.color(QPalette::Text));
        painter->drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft, text);
        painter->restore();
    }
};

// A small triangle for a scroll-bar arrow, drawn by a conical gradient whose
// centre is the arrow's tip. The gradient lives in the arrow box's unit
// square, so the wedge that reaches the two far corners spans atan(1/2)
// twice, 53.13 degrees (0.1476 of a turn), from startAngle on.
QString triangle(const char* cx, const char* cy, double startAngle, const QString& colour)
{
    return QStringLiteral("background:qconicalgradient(cx:%1, cy:%2, angle:%3, stop:0 %4, "
                          "stop:0.1476 %4, stop:0.1477 transparent, stop:1 transparent);")
        .arg(QLatin1String(cx), QLatin1String(cy), QString::number(startAngle), colour);
}

} // namespace

MenuWidget::MenuWidget(bool isRoot_, AddressItem* parent)
    : zBaseWidget(parent)
    , isRoot(isRoot_)
{
    setControlType(3);
    setObjectName(QStringLiteral("MenuWidget"));
    setWindowTitle(QStringLiteral("Form"));
    setFixedSize(px(217), px(289));

    verticalLayout = new QVBoxLayout(this);
    verticalLayout->setObjectName(QStringLiteral("verticalLayout"));
    verticalLayout->setSpacing(0);
    verticalLayout->setContentsMargins(0, 0, 0, 0);

    listView = new QListView(this);
    listView->setObjectName(QStringLiteral("listView"));
    listView->setSpacing(0);
    listView->setViewMode(QListView::ListMode);
    listView->setResizeMode(QListView::Adjust);
    listView->setDragEnabled(false);
    listView->setDragDropMode(QAbstractItemView::NoDragDrop);
    listView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    listView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    listView->setFrameShape(QFrame::NoFrame);
    listView->setMouseTracking(true);
    listView->viewport()->setAttribute(Qt::WA_Hover);
    listView->setItemDelegate(new MenuRowDelegate(listView));
    listView->setStyleSheet(listStyleSheet());
    verticalLayout->addWidget(listView);

    if (isRoot) {
        placesModel = new QStandardItemModel(this);
        fillPlaces();
    } else {
        folderModel = new QStandardItemModel(this);
    }
    listView->setModel(rowsModel());
    connect(listView, &QListView::clicked, this, &MenuWidget::on_listView_clicked);
}

QStandardItemModel* MenuWidget::rowsModel() const
{
    return placesModel ? placesModel : folderModel;
}

void MenuWidget::fillPlaces()
{
    struct Place { const char* icon; QString text; pfd::KnownFolder folder; };
    const Place places[] = {
        {":/Image/filedlgicon/desktop.png", QStringLiteral("桌面"), pfd::KnownFolder::Desktop},
        {":/Image/filedlgicon/document.png", QStringLiteral("我的文档"), pfd::KnownFolder::Documents},
        {":/Image/filedlgicon/pic.png", QStringLiteral("图片"), pfd::KnownFolder::Pictures},
    };
    for (const Place& place : places) {
        auto* row = new QStandardItem(QIcon(QLatin1String(place.icon)), place.text);
        // An unresolved known folder still gets its row, with an empty target.
        row->setData(pfd::knownFolder(place.folder), TargetRole);
        row->setEditable(false);
        placesModel->appendRow(row);
    }
}

void MenuWidget::setFolder(QString path)
{
    if (!folderModel || !QFileInfo(path).isDir())
        return;
    setRows(pfd::readFolderRows(path));
}

void MenuWidget::setRows(const QVector<pfd::FolderRow>& rows)
{
    if (!folderModel)
        return;
    folderModel->removeRows(0, folderModel->rowCount());
    QFileIconProvider& provider = pfd::systemIconProvider();
    QIcon folderFallback; // read from the resources only when a row needs it
    for (const pfd::FolderRow& r : rows) {
        QIcon icon;
        if (r.icon == pfd::FolderRow::FolderIcon)
            icon = provider.icon(QFileInfo(r.iconPath));
        else if (r.icon == pfd::FolderRow::NetworkIcon)
            icon = provider.icon(QFileIconProvider::Network);
        else
            icon = pfd::shellIcon(r.iconPath);
        if (icon.isNull()) {
            if (folderFallback.isNull())
                folderFallback = QIcon(QStringLiteral(":/Image/filedlgicon/dir.png"));
            icon = folderFallback;
        }
        auto* row = new QStandardItem(icon, r.text);
        row->setData(r.target, TargetRole);
        row->setEditable(false);
        folderModel->appendRow(row);
    }
}

void MenuWidget::changeEvent(QEvent* event)
{
    zBaseWidget::changeEvent(event);
    // The list has a style sheet of its own, and Qt does not hand a parent's
    // font on to such a child; pass it by hand so the rows match the bar.
    if (event->type() == QEvent::FontChange && listView)
        listView->setFont(font());
}

void MenuWidget::on_listView_clicked(QModelIndex index)
{
    emit SClickPath(index.data(TargetRole).toString());
}

QString MenuWidget::listStyleSheet() const
{
    // The host's plain button style: the list in its normal background and
    // font colour; the scroll bars in its normal (bar), hover (handle) and
    // disabled (handle under the pointer) backgrounds.
    const zBaseTheme::ButtonColours plain = zBaseTheme::plainButton();
    const QString normal = plain.normal;
    const QString hover = plain.hover;
    const QString disabled = plain.disabled;
    const QString font = plain.font;
    const QString arrow = zBaseTheme::color(QStringLiteral("secondary-font-color"));

    const QString list = QStringLiteral("#listView{border:none;\nbackground-color:%1;color:%2}")
                             .arg(normal, font);

    const QString end = QString::number(px(16));
    const QString thick = QString::number(px(14));
    const QString handle = QString::number(px(10));
    const QString side = QString::number((px(14) - px(10)) / 2);
    const QString length = QString::number(px(80));
    const QString radius = QString::number(px(5));
    const QString arrowLong = QString::number(px(8));
    const QString arrowShort = QString::number(px(5));

    QString vertical = QStringLiteral(
        "QScrollBar:vertical{background:%1;width:THICKpx;padding-top:ENDpx;padding-bottom:ENDpx;"
        "border:none;margin:0px;}"
        "QScrollBar::handle:vertical{background:%2;width:HANDLEpx;min-height:LENGTHpx;"
        "border-radius:RADIUSpx;margin:0px SIDEpx;}"
        "QScrollBar::handle:vertical:hover{background:%3;}"
        "QScrollBar::sub-line:vertical{background:%1;height:ENDpx;subcontrol-origin:border;"
        "subcontrol-position:top;}"
        "QScrollBar::add-line:vertical{background:%1;height:ENDpx;subcontrol-origin:border;"
        "subcontrol-position:bottom;}"
        "QScrollBar::sub-page:vertical,QScrollBar::add-page:vertical{background:%1;}"
        "QScrollBar::up-arrow:vertical{width:LONGpx;height:SHORTpx;UP}"
        "QScrollBar::down-arrow:vertical{width:LONGpx;height:SHORTpx;DOWN}");
    QString horizontal = QStringLiteral(
        "QScrollBar:horizontal{background:%1;height:THICKpx;padding-left:ENDpx;padding-right:ENDpx;"
        "border:none;margin:0px;}"
        "QScrollBar::handle:horizontal{background:%2;height:HANDLEpx;min-width:LENGTHpx;"
        "border-radius:RADIUSpx;margin:SIDEpx 0px;}"
        "QScrollBar::handle:horizontal:hover{background:%3;}"
        "QScrollBar::sub-line:horizontal{background:%1;width:ENDpx;subcontrol-origin:border;"
        "subcontrol-position:left;}"
        "QScrollBar::add-line:horizontal{background:%1;width:ENDpx;subcontrol-origin:border;"
        "subcontrol-position:right;}"
        "QScrollBar::sub-page:horizontal,QScrollBar::add-page:horizontal{background:%1;}"
        "QScrollBar::left-arrow:horizontal{width:SHORTpx;height:LONGpx;LEFT}"
        "QScrollBar::right-arrow:horizontal{width:SHORTpx;height:LONGpx;RIGHT}");
    for (QString* sheet : {&vertical, &horizontal}) {
        sheet->replace(QLatin1String("THICK"), thick)
            .replace(QLatin1String("END"), end)
            .replace(QLatin1String("HANDLE"), handle)
            .replace(QLatin1String("LENGTH"), length)
            .replace(QLatin1String("RADIUS"), radius)
            .replace(QLatin1String("SIDE"), side)
            .replace(QLatin1String("LONG"), arrowLong)
            .replace(QLatin1String("SHORT"), arrowShort)
            .replace(QLatin1String("UP"), triangle("0.5", "0", 243.43, arrow))
            .replace(QLatin1String("DOWN"), triangle("0.5", "1", 63.43, arrow))
            .replace(QLatin1String("LEFT"), triangle("0", "0.5", 333.43, arrow))
            .replace(QLatin1String("RIGHT"), triangle("1", "0.5", 153.43, arrow));
    }
    return list + vertical.arg(normal, hover, disabled) + horizontal.arg(normal, hover, disabled);
}
