#!/usr/bin/env bash
# Builds the fuzz targets (clang 14, libFuzzer, ASan and UBSan) and runs
# each for a bounded time on its seed corpus. Any finding fails the run; the
# input that found it is left in build-fuzz/findings/.
#   scripts/fuzz.sh [seconds per target]    (default 30)
#   scripts/fuzz.sh --replay                 (only the corpora, once each)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
seconds=${1:-30}
build=$root/build-fuzz

CXX=${FUZZ_CXX:-clang++-14} cmake -S fuzz -B "$build" \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" >/dev/null

targets=(config_reader url_codec search_filter record_lines whole_request
         entry_values)
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:halt_on_error=1
export LSAN_OPTIONS=suppressions=$root/tests/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
mkdir -p "$build/findings"

# One target, for its time (or over its corpus once with --replay); prints
# one line, and fails on a finding.
runTarget() {
  local target=$1 binary=$build/fuzz_$1 corpus=$root/fuzz/corpus/$1
  local options=(-timeout=10 -rss_limit_mb=2048 -max_len=65536
                 -artifact_prefix="$build/findings/$target-" -print_final_stats=1)
  local dict=$root/fuzz/$target.dict
  [[ -f $dict ]] && options+=(-dict="$dict")
  local log=$build/$target.log
  if [[ $mode == --replay ]]; then
    if "$binary" "${options[@]}" "$corpus"/* >"$log" 2>&1; then
      echo "fuzz $target: $(ls "$corpus" | wc -l) corpus inputs replayed"
      return 0
    fi
    echo "fuzz $target: FAILED on its corpus, see $log"
    return 1
  fi
  # New inputs go to a work folder; the repository's corpus is only read.
  local work=$build/corpus/$target
  mkdir -p "$work"
  if "$binary" "${options[@]}" -max_total_time="$seconds" "$work" "$corpus" \
      >"$log" 2>&1; then
    local runs
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    echo "fuzz $target: ${runs:-?} executions in ${seconds}s, no finding"
    return 0
  fi
  echo "fuzz $target: FINDING, see $log and $build/findings/"
  grep -E 'ERROR|SUMMARY|check failed' "$log" | head -5 || true
  return 1
}
export -f runTarget
export root build seconds
export mode=${1:-}

# A target a core at a time: each still gets its whole time on one core.
status=0
printf '%s\n' "${targets[@]}" | xargs -P"$(nproc)" -I{} bash -c 'runTarget {}' ||
  status=1
exit $status
