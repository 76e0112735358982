#pragma once
// The host's line edit. It tells when it gains focus, which the file dialog
// uses to re-enable its OK button.
#include "zbasecontrol_global.h"
#include <QLineEdit>

class ZBASECONTROL_EXPORT zBaseLineEdit : public QLineEdit
{
    Q_OBJECT
public:
    explicit zBaseLineEdit(QWidget* parent = nullptr);
    explicit zBaseLineEdit(const QString& text, QWidget* parent = nullptr);

signals:
    // After the line edit's own focus handling, for every focus reason.
    void signalFocusIn();

protected:
    bool event(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
};
