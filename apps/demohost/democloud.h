#pragma once
// The demo's cloud disk: filled from the sample workspace on first run, so
// that both clouds show something at once.
#include <QString>

namespace demo {

// The password of the demo's cloud users.
QString cloudPassword();

// Fills the cloud in dataDir (the embedded service's folder) unless it has
// users already: the demo user (userName) and a colleague "lisi" with
// personal folders of project files, and two enterprises. In "华城建设集团"
// the demo user may not enter "财务资料" and may open but not download
// "结算/体育馆钢结构结算.GCFJ". Says what it did on stdout.
void ensureCloud(const QString& dataDir, const QString& projects, const QString& userName);

} // namespace demo
