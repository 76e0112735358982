#pragma once
// The host's context and drop-down menu: light, rounded, 28 px rows.
#include "zbasecontrol_global.h"
#include <QMenu>

class ZBASECONTROL_EXPORT zBaseMenu : public QMenu
{
    Q_OBJECT
public:
    explicit zBaseMenu(QWidget* parent = nullptr);
    explicit zBaseMenu(const QString& title, QWidget* parent = nullptr);
protected:
    bool event(QEvent* event) override;
};
