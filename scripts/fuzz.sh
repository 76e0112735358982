#!/usr/bin/env bash
# Runs the libFuzzer harnesses of fuzz/ in the sanitizer build (built here
# when needed), each for a number of seconds, starting from its seeds in
# fuzz/corpus/<name>/. Prints runs and executions per second of each.
#   scripts/fuzz.sh                 every harness, 60 s each
#   scripts/fuzz.sh 14400 listing   one harness for four hours
# Harnesses run side by side, one per core ($PFD_FUZZ_JOBS to change).
# Inputs found on the way collect in <build>-sanitize/fuzz/work/<name>/ and
# are used again next time; a failing input is saved as
# <build>-sanitize/fuzz/crash-<name>-* and the run fails.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
source "$root/scripts/sanitize-env.sh"
seconds="${1:-60}"
shift || true
names=("$@")
if [ "${#names[@]}" -eq 0 ]; then
  for f in "$root"/fuzz/fuzz_*.cpp; do
    n="$(basename "$f" .cpp)"
    names+=("${n#fuzz_}")
  done
fi
targets=()
for n in "${names[@]}"; do targets+=("fuzz_$n"); done
"$root/scripts/build.sh" --target "${targets[@]}" >/dev/null

# Qt is built without frame pointers: only the slow unwinder sees the Qt
# function a leak happens in, which the suppressions name.
export ASAN_OPTIONS="$ASAN_OPTIONS:fast_unwind_on_malloc=0"
out="$PFD_BUILD_DIR/fuzz"
mkdir -p "$out"
run_one() {
  local n="$1" work="$out/work/$1" log="$out/$1.log"
  mkdir -p "$work"
  # -timeout: one input taking seconds is a hang worth reporting.
  if QT_QPA_PLATFORM=offscreen "$PFD_BUILD_DIR/bin/fuzz_$n" -max_total_time="$seconds" \
      -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
      -artifact_prefix="$out/crash-$n-" ${PFD_FUZZ_ARGS:-} \
      "$work" "$root/fuzz/corpus/$n" >"$log" 2>&1; then
    echo "ok" >"$out/$n.status"
  else
    echo "FAILED" >"$out/$n.status"
  fi
}
export -f run_one
export out seconds root
printf '%s\n' "${names[@]}" | xargs -P "${PFD_FUZZ_JOBS:-$(nproc)}" -I{} bash -c 'run_one {}'

failed=0
printf '%-10s %12s %10s  %s\n' harness runs exec/s result
for n in "${names[@]}"; do
  runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$out/$n.log" | tail -1)"
  rate="$(sed -n 's/^stat::average_exec_per_sec: *//p' "$out/$n.log" | tail -1)"
  status="$(cat "$out/$n.status")"
  printf '%-10s %12s %10s  %s\n' "$n" "${runs:-?}" "${rate:-?}" "$status"
  if [ "$status" != ok ]; then
    failed=1
    echo "--- $n ($out/$n.log), last lines:"
    tail -n 60 "$out/$n.log"
  fi
done
exit "$failed"
