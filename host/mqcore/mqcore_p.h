#pragma once
// Rights and login state behind mqcoreTesting; not installed.
#include <QList>
#include <QSet>

namespace mqcorePrivate {

struct Rights
{
    bool allGranted = true;
    QSet<int> granted;    // granted on top of a withdraw-all
    QSet<int> withdrawn;  // withdrawn from a grant-all
    QList<int> checked;
    bool loginOutcome = true;
};

Rights& rights();

} // namespace mqcorePrivate
