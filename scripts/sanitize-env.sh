# Sourced by test.sh --sanitize and fuzz.sh: where the sanitizer build lives,
# how it is configured, and how its reports behave.
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
export PFD_BUILD_DIR="${PFD_SANITIZE_BUILD_DIR:-${PFD_BUILD_DIR:-$root/build}-sanitize}"
export PFD_SETUP_ARGS=--sanitize
export PFD_CMAKE_ARGS="-DCMAKE_CXX_COMPILER=clang++ -DPFD_SANITIZE=ON -DPFD_BUILD_BENCH=OFF -DPFD_BUILD_APPS=OFF"
# Stop at the first report; leaks inside Qt itself are suppressed (see the file).
export ASAN_OPTIONS="detect_leaks=1:halt_on_error=1:abort_on_error=0:detect_odr_violation=0:strict_init_order=1"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
export LSAN_OPTIONS="suppressions=$root/scripts/lsan.supp:print_suppressions=0"
# The X tests' windows need no OpenGL. Mesa's GLX driver, which Qt's xcb
# plugin would load for every window, keeps what its one-time set-up
# allocates and is unloaded before the leak check, so the report could not
# even be told apart from ours.
export QT_XCB_GL_INTEGRATION=none
if command -v llvm-symbolizer >/dev/null; then
  export ASAN_SYMBOLIZER_PATH="$(command -v llvm-symbolizer)"
fi
