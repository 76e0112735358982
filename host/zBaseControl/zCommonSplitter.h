#pragma once
// The host's splitter: a one-pixel handle in the border colour.
#include "zbasecontrol_global.h"
#include <QSplitter>

class ZBASECONTROL_EXPORT zCommonSplitter : public QSplitter
{
    Q_OBJECT
public:
    explicit zCommonSplitter(QWidget* parent = nullptr);
    explicit zCommonSplitter(Qt::Orientation orientation, QWidget* parent = nullptr);
};
