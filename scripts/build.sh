#!/usr/bin/env bash
# Configures and builds the whole tree into build/ (or $PFD_BUILD_DIR).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${PFD_BUILD_DIR:-$root/build}"
"$root/scripts/setup-debian.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE="${PFD_BUILD_TYPE:-RelWithDebInfo}" >/dev/null
cmake --build "$build" -j"$(nproc)" "$@"
