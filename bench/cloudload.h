#pragma once
// bench_cloud --clients N [--instances K] [--db sqlite|postgresql]: load on
// one clouddiskd, or on K of them on one set of records behind nginx (with
// deploy/'s configuration). N clients run at once for a fixed time, each
// from a loopback address of its own (127.1.x.y: another machine, as far as
// the server's per-address limits go), each signing in once and then, round
// after round, listing its tree, asking for an upload ticket, uploading 1 to
// 16 KB and downloading it back, on a connection it keeps as the host's
// transport does (or a new one per request with --reconnect). Prints
// requests per second, p50 and p99 per kind of request, errors, and each
// server's open descriptors and memory before and after.
#include <QString>

namespace cloudload {

struct Options
{
    int clients = 8;
    int instances = 1;
    // The records in PostgreSQL (a private server the benchmark starts)
    // instead of SQLite in the data folder. Several instances need it.
    bool postgres = false;
    int seconds = 20;
    // Every request on a new connection.
    bool reconnect = false;
    // Where the data folder goes.
    QString scratch;
};

// The exit code for main: 0 whatever the figures, 1 when set-up failed, 2
// for options that do not go together.
int run(const Options& options);

} // namespace cloudload
