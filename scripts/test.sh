#!/usr/bin/env bash
# Builds everything and runs every test, offscreen.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${PFD_BUILD_DIR:-$root/build}"
"$root/scripts/build.sh"
cd "$build"
QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j2 "$@"
