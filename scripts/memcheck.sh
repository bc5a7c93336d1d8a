#!/usr/bin/env bash
# Runs the integration tests (those that start kestrel.cgi) with every run of
# the program under valgrind's memcheck. Any invalid read or write, any use
# of uninitialised memory and any leak not in tests/valgrind.supp fails.
#   scripts/memcheck.sh [gtest filter]
# KESTREL_MEMCHECK_BUILD names a build folder to use (its tests built, as
# the test command's plain build is) instead of a Debug build of its own;
# its program is put back as it was at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=${KESTREL_MEMCHECK_BUILD:-$root/build-memcheck}
filter=${1:-*}
# Every test program with a source that starts the program, but the hostile
# matrix, which measures the program's memory and runs under the sanitizers,
# and the FastCGI worker test, which runs on its own below.
tests=()
while read -r dir name sources; do
  for source in $sources; do
    if grep -q 'runCgi' "tests/$dir/$source" 2>/dev/null; then
      tests+=("$name")
      break
    fi
  done
done < <(for list in tests/CMakeLists.txt tests/*/CMakeLists.txt; do
           dir=$(dirname "${list#tests/}")
           sed -n 's/^kestrel_test(\([^ ]*\) \([^)]*\)).*/\1 \2/p' "$list" |
             sed "s|^|$dir |"
         done)
tests=($(printf '%s\n' "${tests[@]}" |
  grep -v -e '^hostile_test$' -e '^fastcgi_worker_test$'))

if [[ -z ${KESTREL_MEMCHECK_BUILD:-} ]]; then
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DKESTREL_SANITIZE=OFF \
    >/dev/null
fi
cmake --build "$build" -j"$(nproc)" --target kestrel_cgi "${tests[@]}" \
  fastcgi_worker_test \
  >/dev/null

# The tests start the path they were built with; put valgrind in between.
# A fresh link writes the program over the wrapper, so check every time.
program=$build/kestrel.cgi
if [[ "$(head -c 4 "$program")" == $'\x7fELF' ]]; then
  mv "$program" "$program.bin"
fi
if [[ -n ${KESTREL_MEMCHECK_BUILD:-} ]]; then
  trap 'mv -f "$program.bin" "$program"' EXIT
fi
logs=$build/memcheck-logs
rm -rf "$logs"
mkdir -p "$logs"
cat >"$program" <<WRAPPER
#!/bin/sh
exec valgrind --quiet --tool=memcheck --error-exitcode=99 \\
  --leak-check=full --show-leak-kinds=definite,indirect,possible \\
  --errors-for-leak-kinds=definite,indirect,possible \\
  --suppressions=$root/tests/valgrind.supp --gen-suppressions=all \\
  --log-file=$logs/%p.log "$program.bin" "\$@"
WRAPPER
chmod 755 "$program"

# Two test programs at a time: each starts its own slapd on a free port.
runOne() {
  local test=$1 binary
  binary=$(find "$build/tests" -name "$test" -type f -perm -u+x | head -1)
  if timeout 900 "$binary" --gtest_filter="$filter" >"$logs/$test.out" 2>&1
  then
    echo "memcheck $test: $(grep -c '^\[       OK \]' "$logs/$test.out") tests passed"
  else
    echo "memcheck $test: FAILED, see $logs/$test.out"
    grep -E '^\[  FAILED' "$logs/$test.out" | head -10 || true
    return 1
  fi
}
export -f runOne
export build logs filter
status=0
# One FastCGI worker under memcheck for 63 rounds of the 16 mixed requests
# (1,008 requests), beside the other tests; its report is written when
# SIGTERM ends it.
KESTREL_MEMCHECK=1 KESTREL_WORKER_ROUNDS=63 runOne fastcgi_worker_test &
worker=$!
printf '%s\n' "${tests[@]}" | xargs -P2 -I{} bash -c 'runOne {}' || status=1
wait "$worker" || status=1
runs=$(find "$logs" -name '*.log' | wc -l)
reports=$(find "$logs" -name '*.log' -size +0 | sort)
if [[ -n "$reports" ]]; then
  echo "memcheck: reports in $(echo "$reports" | wc -l) of $runs runs:"
  for report in $reports; do
    sed 's/^==[0-9]*== //' "$report" | head -40
  done
  status=1
else
  echo "memcheck: $runs runs of kestrel.cgi, no report"
fi
exit $status
