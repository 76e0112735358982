#!/usr/bin/env bash
# The Windows compile check: compiles every source that a Windows build
# compiles, with MinGW-w64, so that a Windows branch that stops compiling
# fails here on every change.
#   scripts/wincheck.sh           every source; every failure is shown, and
#                                 the script exits non-zero if there is one
#   scripts/wincheck.sh FILE...   only these files (to try one change)
#
# Windows cannot run here and Debian has no Qt built for MinGW, so nothing is
# linked: each file is compiled syntax-only against Debian's Qt headers. Those
# headers take the platform from the compiler's own macros (_WIN32,
# __MINGW32__), so Q_OS_WIN, Q_CC_MINGW and the Windows parts of Qt's API are
# declared as on Windows. What stays of Linux are the feature lists of
# Debian's build (qconfig.h, qt*-config.h); they only switch optional Qt API
# on or off, the sources use none that a Windows build of Qt lacks, and so the
# headers are taken as they are, with no defines added.
#
# Sources are chosen as cmake/PfdHelpers.cmake chooses them on WIN32:
# name_win.cpp instead of name_unix.cpp. Each file gets the defines of its
# CMake target (FOO_LIBRARY for the library foo it belongs to, so its exports
# are dllexport as in the real build, and the QT_*_LIB defines).
#
# The Win32 files (directory service, known folders, shell icons, reveal,
# file operations) are also compiled to objects with -O2 -Wall -Wextra
# -Werror, so that warnings only an optimising build finds are caught too.
#
# Tests include their moc output ("tst_x.moc"), which declares nothing the
# test's own code uses: an empty file stands in for it.
#
# Left out, because their libraries' Windows headers are not on Debian:
# the files that include libcurl's, libmicrohttpd's or libsodium's headers
# (the script lists them as it goes). clouddiskd, which apps/CMakeLists.txt
# builds on POSIX systems only (stop signals through sigwait, client
# addresses from its sockets). The tests that tests/CMakeLists.txt leaves out
# on WIN32.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"
"$root/scripts/setup-debian.sh" --mingw

# The POSIX thread model: std::mutex and std::thread exist, as with every
# current Windows compiler (MinGW's win32 thread model lacks them before
# GCC 13).
cxx="${PFD_MINGW_CXX:-x86_64-w64-mingw32-g++-posix}"
qt="$(pkg-config --variable=includedir Qt5Core)"
[ -d "$qt/QtCore" ] || { echo "wincheck: no Qt headers under '$qt'" >&2; exit 1; }

includes=(-isystem "$qt")
for m in QtCore QtGui QtWidgets QtSvg QtSql QtDBus QtConcurrent QtNetwork QtTest; do
  includes+=(-isystem "$qt/$m")
done
while IFS= read -r d; do includes+=(-I"$d"); done < <(find ProjectFileDialog host -type d | sort)
log="$(mktemp -d)"
trap 'rm -rf "$log"' EXIT
mkdir "$log/moc"
includes+=(-Itests -Iapps/demohost -I"$log/moc")
common=(-DUNICODE -D_UNICODE -DQT_CORE_LIB -DQT_GUI_LIB -DQT_WIDGETS_LIB -DQT_SVG_LIB
        -DQT_SQL_LIB -DQT_CONCURRENT_LIB -DQT_TESTLIB_LIB "${includes[@]}")

# Headers of libraries with no MinGW build on Debian.
absent='^[[:space:]]*#[[:space:]]*include[[:space:]]*<(curl/|microhttpd\.h|sodium)'
# Programs that Windows does not build.
posix_only_dirs='^apps/clouddiskd/'
# The tests a WIN32 build leaves out, as tests/CMakeLists.txt says.
win32_skipped_tests="$(sed -n 's/.*list(FILTER _tests EXCLUDE REGEX "\(.*\)").*/\1/p' tests/CMakeLists.txt | sed 's/\\\\/\\/g')"
[ -n "$win32_skipped_tests" ] || { echo "wincheck: cannot read the WIN32 test list in tests/CMakeLists.txt" >&2; exit 1; }

# The library define of a source, as its CMake target sets it.
library_define() {
  case "$1" in
    ProjectFileDialog/*) echo -DPROJECTFILEDIALOG_LIBRARY ;;
    host/clouddisk/clouddiskctl/*) ;;
    host/*/*.cpp) local lib="${1#host/}"; lib="${lib%%/*}"; echo "-D${lib^^}_LIBRARY" ;;
    tests/*) echo '-DCLOUDDISKCTL="clouddiskctl" -DPFD_STOREWRITER="pfd_storewriter"' ;;
  esac
}

# Every source of the library, the host stand-ins, the cloud service, the
# apps and the tests, Windows' variant of each platform pair.
sources() {
  { find ProjectFileDialog host apps -name '*.cpp' ! -name '*_unix.cpp'; ls tests/*.cpp; } | sort
}

if [ $# -gt 0 ]; then files=("$@"); else mapfile -t files < <(sources); fi
win32_files=()
checked=()
for f in "${files[@]}"; do
  if grep -Eq "$absent" "$f"; then
    echo "left out (library headers not on Debian for MinGW): $f"
    continue
  fi
  if [[ "$f" =~ $posix_only_dirs ]] || { [[ "$f" == tests/* ]] && echo "$f" | grep -Eq "$win32_skipped_tests"; }; then
    echo "left out (not built on Windows): $f"
    continue
  fi
  while IFS= read -r m; do : >"$log/moc/$m"; done < <(sed -n 's/^#include "\([^"/]*\.moc\)"$/\1/p' "$f")
  checked+=("$f")
  case "$f" in *_win.cpp) win32_files+=("$f") ;; esac
done

jobs="${PFD_JOBS:-$(nproc)}"

# compile MODE FILE: MODE is syntax (-fsyntax-only) or object (-c, warnings
# as errors). The compiler's words go to a log, shown if it fails.
compile() {
  local mode="$1" f="$2" out
  out="$log/$(echo "$f" | tr / _).$mode"
  local args=(-std=c++17 $(library_define "$f") "${common[@]}")
  if [ "$mode" = syntax ]; then
    "$cxx" -fsyntax-only "${args[@]}" "$f" >"$out.log" 2>&1 || echo "$f ($mode)" >"$out.failed"
  else
    "$cxx" -c -O2 -Wall -Wextra -Werror "${args[@]}" "$f" -o "$out.o" >"$out.log" 2>&1 || echo "$f ($mode)" >"$out.failed"
  fi
}

echo "Compiling ${#checked[@]} files for Windows with $cxx, ${#win32_files[@]} of them also to objects"
running=0
for job in "${checked[@]/#/syntax:}" "${win32_files[@]/#/object:}"; do
  compile "${job%%:*}" "${job#*:}" &
  if (( ++running >= jobs )); then wait -n; running=$((running - 1)); fi
done
wait

failures=0
for failed in "$log"/*.failed; do
  [ -e "$failed" ] || continue
  failures=$((failures + 1))
  echo "FAILED: $(cat "$failed")"
  cat "${failed%.failed}.log"
done
if [ "$failures" -gt 0 ]; then
  echo "wincheck: $failures Windows compile(s) FAILED (see above)" >&2
  exit 1
fi
echo "wincheck: every file compiles for Windows; the Win32 files are clean under -Wall -Wextra"
