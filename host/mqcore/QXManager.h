#pragma once
// The suite's rights check: may the current user use function `right`?
#include "mqcore_global.h"
#include <QVariant>

class MQCORE_EXPORT QXManager
{
public:
    static QXManager* GetInstance();
    // True when the right is granted; every right is granted by default.
    // `extra` narrows the question in the host; the stand-in ignores it.
    bool CheckQx(int right, const QVariant& extra = QVariant()) const;

private:
    QXManager() = default;
};
