#!/usr/bin/env bash
# Builds everything and runs every test, offscreen.
#   scripts/test.sh             the normal build in build/ (or $PFD_BUILD_DIR)
#   scripts/test.sh --sanitize  the whole suite again, built with clang under
#                               AddressSanitizer (leak detection on) and
#                               UndefinedBehaviorSanitizer, in <build>-sanitize;
#                               the first report fails its test and stops the run
# Further arguments go to ctest (for example -R tst_store).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
if [ "${1:-}" = "--sanitize" ]; then
  shift
  source "$root/scripts/sanitize-env.sh"
  "$root/scripts/build.sh"
  cd "$PFD_BUILD_DIR"
  QT_QPA_PLATFORM=offscreen ctest --output-on-failure --stop-on-failure -j2 "$@"
  exit
fi
build="${PFD_BUILD_DIR:-$root/build}"
"$root/scripts/build.sh"
cd "$build"
QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j2 "$@"
