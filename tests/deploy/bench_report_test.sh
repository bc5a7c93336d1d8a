#!/usr/bin/env bash
# bench/report.sh, run from a copy of the checkout on raw data of a smoke
# run, names its files relative to the checkout: RESULTS.md is committed
# and must not carry the folders of the machine that wrote it.
set -euo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

checkout=$work/checkout
raw=$checkout/build-bench/work-smoke/raw
mkdir -p "$checkout/bench" "$raw"
cp "$repo/bench/report.sh" "$checkout/bench/"
cat >"$raw/machine.txt" <<EOF
mode: smoke
program: $checkout/build-bench/release/kestrel.cgi (6177744 bytes; git 0000000)
largest-directory: 10
small-config-lines: 158
EOF
# series case program round wall-us cpu-us rss-kB
printf 'default s1 %s 1 9000 8000 4600\n' kestrel floor >"$raw/times.tsv"
touch "$raw/callgrind.tsv"

report=$(bash "$checkout/bench/report.sh" "$raw")
failures=0
for line in 'Raw data: `build-bench/work-smoke/raw`' \
  'program: build-bench/release/kestrel.cgi (6177744 bytes'; do
  [[ $report == *"$line"* ]] || { echo "FAIL: no \"$line\""; failures=$((failures + 1)); }
done
if [[ $report == *"$work"* ]]; then
  echo "FAIL: the report names the machine's folders:"
  grep -F "$work" <<<"$report"
  failures=$((failures + 1))
fi
((failures == 0)) || exit 1
echo "bench report: all checks passed"
