#include "zBaseLineEdit.h"
#include "zBaseControl_p.h"

#include <QEvent>

zBaseLineEdit::zBaseLineEdit(QWidget* parent)
    : zBaseLineEdit(QString(), parent)
{
}

zBaseLineEdit::zBaseLineEdit(const QString& text, QWidget* parent)
    : QLineEdit(text, parent)
{
    zBaseControlPrivate::setThemeSheet(this, zBaseControlPrivate::themed(
        "QLineEdit{background:@background-color@;color:@font-color@;border:1px solid @border-color@;"
        "border-radius:4px;padding:3px 6px;font-size:13px;"
        "selection-background-color:@pressed-color@;selection-color:@font-color@;}"
        "QLineEdit:hover{border-color:@accent-hover-color@;}"
        "QLineEdit:focus{border-color:@accent-color@;}"
        "QLineEdit:disabled{color:@disabled-font-color@;background:@disabled-background-color@;"
        "border-color:@border-color@;}"));
}

void zBaseLineEdit::focusInEvent(QFocusEvent* event)
{
    QLineEdit::focusInEvent(event);
    emit signalFocusIn();
}

bool zBaseLineEdit::event(QEvent* event)
{
    zBaseControlPrivate::applyThemeSheet(this, event);
    return QLineEdit::event(event);
}
