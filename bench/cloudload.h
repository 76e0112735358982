#pragma once
// bench_cloud --clients N: load on one clouddiskd. N clients run at once for
// a fixed time, each from a loopback address of its own (127.1.x.y: another
// machine, as far as the server's per-address limits go), each signing in
// once and then, round after round, listing its tree, asking for an upload
// ticket, uploading 1 to 16 KB and downloading it back, every request on a
// new connection as the host's transport makes them. Prints requests per
// second, p50 and p99 per kind of request, errors, and the server's open
// descriptors and memory before and after.
#include <QString>

namespace cloudload {

struct Options
{
    int clients = 8;
    int seconds = 20;
    // Where the server's data folder goes.
    QString scratch;
};

// The exit code for main: 0 whatever the figures, 1 when set-up failed.
int run(const Options& options);

} // namespace cloudload
