#include "zBaseLabel.h"
#include "zBaseTheme.h"

zBaseLabel::zBaseLabel(QWidget* parent)
    : zBaseLabel(QString(), parent)
{
}

zBaseLabel::zBaseLabel(const QString& text, QWidget* parent)
    : QLabel(text, parent)
{
    // Palette and font rather than a style sheet of its own, so that a sheet
    // set on the dialog still reaches its labels.
    QPalette pal = palette();
    pal.setColor(QPalette::WindowText, QColor(zBaseTheme::color(QStringLiteral("font-color"))));
    pal.setColor(QPalette::Disabled, QPalette::WindowText,
                 QColor(zBaseTheme::color(QStringLiteral("disabled-font-color"))));
    setPalette(pal);
    QFont f = font();
    f.setPixelSize(13);
    setFont(f);
}
