#!/usr/bin/env bash
# Builds the Debian package kestrel_<version>_<arch>.deb with Debian's own
# tools and checks it with lintian. Run as root (installs what is missing).
#
#   bash scripts/package.sh [OUT]     OUT defaults to build-package/
#
# dpkg-buildpackage writes its results beside the source tree, so the tree
# is copied to OUT/kestrel first (the files git tracks or would track) and
# built there; nothing is written outside OUT. OUT ends up holding the
# .deb, the .buildinfo and .changes files, and lintian.txt.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
out=${1:-$root/build-package}
mkdir -p "$out"
out=$(cd "$out" && pwd)

bash scripts/install-deps.sh

rm -rf "$out/kestrel" "$out"/*.deb "$out"/*.changes "$out"/*.buildinfo
mkdir -p "$out/kestrel"
if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  git ls-files -z --cached --others --exclude-standard |
    while IFS= read -r -d '' file; do [[ -e $file ]] && printf '%s\0' "$file"; done |
    tar -c --null -T - -f - | tar -x -C "$out/kestrel" -f -
else
  tar -c --exclude='./build*' --exclude=./.demo --exclude=./node_modules -f - . |
    tar -x -C "$out/kestrel" -f -
fi

echo "package: building in $out/kestrel"
log=$out/build.log
if ! (cd "$out/kestrel" &&
      DEB_BUILD_OPTIONS="parallel=$(nproc) noautodbgsym ${DEB_BUILD_OPTIONS:-}" \
        dpkg-buildpackage -us -uc -b) >"$log" 2>&1; then
  tail -n 40 "$log" >&2
  echo "package: the build failed; see $log" >&2
  exit 1
fi
deb=$(ls "$out"/kestrel_*.deb)
echo "package: $deb ($(stat -c %s "$deb") bytes)"

# Lintian: errors fail; warnings are listed (README.md, Install on a server,
# says which ones are kept, and why).
lintian --fail-on error --info "$deb" >"$out/lintian.txt" 2>&1 || {
  cat "$out/lintian.txt" >&2
  echo "package: lintian reports errors" >&2
  exit 1
}
cat "$out/lintian.txt"
