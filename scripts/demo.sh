#!/usr/bin/env bash
# Builds everything and starts the demo host. With no display it renders
# screenshots offscreen and prints where they are.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${PFD_BUILD_DIR:-$root/build}"
# The cloud's server and its admin tool come along: a shared cloud runs them
# from the same build folder.
"$root/scripts/build.sh" --target demohost --target clouddiskd --target clouddiskctl
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  export QT_QPA_PLATFORM=offscreen
fi
exec "$build/bin/demohost" "$@"
