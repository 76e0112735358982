#include "dialoglayout.h"

#include <QSettings>
#include <QStringList>

namespace pfd {

namespace {

// Larger than any screen, small enough that a damaged number is not obeyed.
constexpr int kLargest = 16384;

bool reasonable(int pixels)
{
    return pixels > 0 && pixels <= kLargest;
}

} // namespace

QString dialogLayoutFile(const QString& appPath)
{
    return appPath + QStringLiteral("/filedialog.ini");
}

DialogLayout loadDialogLayout(const QString& file)
{
    DialogLayout layout;
    QSettings s(file, QSettings::IniFormat);
    if (s.status() != QSettings::NoError)
        return layout;
    const QSize size = s.value(QStringLiteral("window/size")).toSize();
    if (reasonable(size.width()) && reasonable(size.height()))
        layout.size = size;
    layout.maximized = s.value(QStringLiteral("window/maximized")).toString() == QLatin1String("true");
    layout.listView = s.value(QStringLiteral("table/view")).toString() == QLatin1String("list");
    const QStringList widths = s.value(QStringLiteral("table/columnWidths")).toStringList();
    for (const QString& w : widths) {
        bool ok = false;
        const int pixels = w.toInt(&ok);
        if (!ok || !reasonable(pixels)) {
            layout.columnWidths.clear();
            break;
        }
        layout.columnWidths << pixels;
    }
    return layout;
}

bool saveDialogLayout(const QString& file, const DialogLayout& layout)
{
    QSettings s(file, QSettings::IniFormat);
    s.clear();
    if (layout.size.isValid())
        s.setValue(QStringLiteral("window/size"), layout.size);
    s.setValue(QStringLiteral("window/maximized"), layout.maximized);
    s.setValue(QStringLiteral("table/view"), layout.listView ? QStringLiteral("list") : QStringLiteral("detail"));
    if (!layout.columnWidths.isEmpty()) {
        QStringList widths;
        for (int w : layout.columnWidths)
            widths << QString::number(w);
        s.setValue(QStringLiteral("table/columnWidths"), widths);
    }
    s.sync();
    return s.status() == QSettings::NoError;
}

} // namespace pfd
