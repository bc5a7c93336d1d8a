#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: a plain build, the
# same tests built with AddressSanitizer and UBSan, the Debian package with
# its install test, the fuzz targets for a bounded time, and the integration
# tests with the program under memcheck.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

bash scripts/install-deps.sh

jobs=$(nproc)

echo "== build (RelWithDebInfo)"
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$jobs"
echo "== tests"
(cd build && ctest --output-on-failure -j"$jobs")

echo "== build with -fsanitize=address,undefined"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DKESTREL_SANITIZE=ON \
  >/dev/null
cmake --build build-asan -j"$jobs"
echo "== tests under the sanitizers"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:halt_on_error=1
export LSAN_OPTIONS=suppressions=$root/tests/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
(cd build-asan && ctest --output-on-failure -j"$jobs")

echo "== benchmark smoke run (10 entries, 3 runs)"
KESTREL_CGI=$root/build/kestrel.cgi bash bench/run.sh --smoke

echo "== Debian package: build, lintian, install, upgrade, purge"
bash scripts/package.sh "$root/build-package"
bash tests/package/install.sh "$(ls "$root"/build-package/kestrel_*.deb)" \
  "$root/build/kestrel.cgi" "$root/build-package/install-test"

echo "== fuzzing (libFuzzer, 20 s per target)"
bash scripts/fuzz.sh 20

echo "== memcheck over the integration tests"
# On the plain build: its program and tests are already built.
KESTREL_MEMCHECK_BUILD=$root/build bash scripts/memcheck.sh
