#!/usr/bin/env bash
# Installs the Debian packages that building, testing and the demo need.
# Quiet and quick when everything is already there; run as root.
# Services that the install enables at boot (lighttpd, slapd, apache2, ...
# would listen on every interface) are disabled and stopped again; those
# that were enabled before are left as they were.
set -euo pipefail

packages=(
  cmake g++ make pkg-config
  libcgicc-dev libldap-dev
  # libldap's static archive calls these (CMake option KESTREL_STATIC_LDAP)
  libgnutls28-dev libsasl2-dev
  googletest libgtest-dev
  slapd ldap-utils
  # certtool: the test certificate authority (tests/support/test_ca.*)
  gnutls-bin
  # the demo (scripts/demo.sh)
  lighttpd curl iproute2
  # the browser tests (tests/browser): headless Chromium over WebDriver
  chromium chromium-driver nodejs
  # fuzzing and memcheck (scripts/fuzz.sh, scripts/memcheck.sh)
  clang-14 libclang-rt-14-dev valgrind
  # the FastCGI mode: libfcgi, its bridge for the tests, the spawner and the
  # Apache module of the deployment snippets
  libfcgi-dev libfcgi-bin spawn-fcgi apache2 libapache2-mod-fcgid
  # the benchmark (bench/run.sh): ab for load through lighttpd
  apache2-utils
  # the Debian package (scripts/package.sh) and its install test
  debhelper dpkg-dev lintian fakeroot man-db
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
# Services that start at boot, one a line: units linked into a .wants
# folder of /etc/systemd/system (".service" left off) and init scripts with
# start links in /etc/rc[2-5].d.
enabled_services() {
  {
    find /etc/systemd/system -mindepth 2 -maxdepth 2 -path '*.wants/*' \
      \( -name '*.service' -o -name '*.socket' -o -name '*.timer' \) \
      -printf '%f\n' | sed 's/\.service$//'
    find /etc/rc[2-5].d -name 'S[0-9][0-9]?*' -printf '%f\n' |
      sed 's/^S[0-9][0-9]//'
  } 2>/dev/null | sort -u
}

# Disables a service at boot and stops it if it runs. systemctl also works
# without a running systemd (it then edits the links only, init scripts'
# included); update-rc.d and deb-systemd-helper stand in without systemctl.
disable_service() {
  local name=$1
  if command -v systemctl >/dev/null; then
    if [[ -d /run/systemd/system ]]; then
      systemctl disable --now "$name"
    else
      systemctl disable "$name"
    fi
  else
    [[ ! -e /etc/init.d/$name ]] || update-rc.d "$name" disable
    [[ $name == *.* ]] || name=$name.service
    deb-systemd-helper disable "$name"
  fi >/dev/null 2>&1 || echo "install-deps: could not disable $1" >&2
  # Without systemd an init script runs on its own.
  name=$1
  if [[ ! -d /run/systemd/system && -x /etc/init.d/$name ]] &&
    service "$name" status >/dev/null 2>&1; then
    service "$name" stop >/dev/null 2>&1 || echo "install-deps: could not stop $name" >&2
  fi
}

echo "install-deps: installing ${missing[*]}"
enabled_before=$(enabled_services)
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

mapfile -t enabled_now < <(comm -13 <(echo "$enabled_before") <(enabled_services))
if [[ ${#enabled_now[@]} -gt 0 ]]; then
  for service in "${enabled_now[@]}"; do
    disable_service "$service"
  done
  echo "install-deps: disabled at boot and stopped what the install enabled: ${enabled_now[*]}"
fi
echo "install-deps: done"
