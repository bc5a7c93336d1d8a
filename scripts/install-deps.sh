#!/usr/bin/env bash
# Installs the Debian packages that building, testing and the demo need.
# Quiet and quick when everything is already there; run as root.
set -euo pipefail

packages=(
  cmake g++ make pkg-config
  libcgicc-dev libldap-dev
  # libldap's static archive calls these (CMake option KESTREL_STATIC_LDAP)
  libgnutls28-dev libsasl2-dev
  googletest libgtest-dev
  slapd ldap-utils
  # the demo (scripts/demo.sh)
  lighttpd curl iproute2
  # the browser tests (tests/browser): headless Chromium over WebDriver
  chromium chromium-driver nodejs
  # fuzzing and memcheck (scripts/fuzz.sh, scripts/memcheck.sh)
  clang-14 libclang-rt-14-dev valgrind
  # the benchmark (bench/run.sh): ab for load through lighttpd
  apache2-utils
)

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

if [[ $(id -u) -ne 0 ]]; then
  echo "install-deps: missing packages: ${missing[*]}; run as root" >&2
  exit 1
fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -q >/dev/null
# The slapd package would start a system-wide server; keep it from doing so.
policy=/usr/sbin/policy-rc.d
if [[ ! -e $policy ]]; then
  printf '#!/bin/sh\nexit 101\n' >"$policy"
  chmod 755 "$policy"
  trap 'rm -f "$policy"' EXIT
fi
apt-get install -y -q --no-install-recommends "${missing[@]}" >/dev/null
echo "install-deps: done"
