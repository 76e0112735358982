#!/usr/bin/env bash
# Configures and builds the whole tree into build/ (or $PFD_BUILD_DIR).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${PFD_BUILD_DIR:-$root/build}"
"$root/scripts/setup-debian.sh" ${PFD_SETUP_ARGS:-}
launcher=()
# A compiler cache, when the machine has one, makes rebuilds of other
# checkouts of the same tree cheap.
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache); fi
# PFD_CMAKE_ARGS: further cache settings (the sanitizer build uses it).
read -r -a extra <<< "${PFD_CMAKE_ARGS:-}"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE="${PFD_BUILD_TYPE:-RelWithDebInfo}" "${launcher[@]}" "${extra[@]}" >/dev/null
cmake --build "$build" -j"$(nproc)" "$@"
