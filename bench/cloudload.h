#pragma once
// bench_cloud --clients N [--instances K] [--db sqlite|postgresql]: many
// hosts at once against one or several clouddiskd; see cloudload.cpp.
#include <QString>

namespace cloudload {

// Prints requests/s, p50 and p99 per kind of request and errors. 0 when
// there were no errors.
int run(int clients, int instances, bool postgres, int seconds);
QString loadAverage();

} // namespace cloudload
