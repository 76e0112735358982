#include "QXManager.h"
#include "mqcore_p.h"

mqcorePrivate::Rights& mqcorePrivate::rights()
{
    static Rights r;
    return r;
}

QXManager* QXManager::GetInstance()
{
    static QXManager instance;
    return &instance;
}

bool QXManager::CheckQx(int right, const QVariant& extra) const
{
    Q_UNUSED(extra)
    auto& r = mqcorePrivate::rights();
    r.checked.append(right);
    if (r.withdrawn.contains(right))
        return false;
    return r.allGranted || r.granted.contains(right);
}
