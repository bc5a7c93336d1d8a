#!/usr/bin/env bash
# scripts/install-deps.sh against a stand-in apt-get whose "install"
# enables three services (a systemd unit, an init script it also starts,
# and one that was enabled before), in a private mount namespace where
# /etc, /var/lib and /usr/sbin are overlays: the first two end disabled and
# stopped, the third stays enabled, and the output names what was disabled.
#   bash install_deps_test.sh   (as root)
set -euo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
[[ $(id -u) -eq 0 ]] || { echo "skipped: needs root (mount namespace)"; exit 77; }
command -v update-rc.d >/dev/null || { echo "skipped: no update-rc.d"; exit 77; }

if [[ ${1:-} != inside ]]; then
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  status=0
  unshare -m --propagation private env KESTREL_TEST_WORK="$work" \
    bash "$0" inside || status=$?
  exit "$status"
fi
work=$KESTREL_TEST_WORK
policy_before=$([[ -e /usr/sbin/policy-rc.d ]] && echo yes || echo no)
for target in /etc /var/lib /usr/sbin; do
  name=${target//\//-}
  mkdir -p "$work/$name-upper" "$work/$name-work"
  mount -t overlay overlay \
    -o "lowerdir=$target,upperdir=$work/$name-upper,workdir=$work/$name-work" "$target"
done

# An init script that "runs" while /etc/kestrel-test-rc.running exists.
init_script() {
  cat >"/etc/init.d/$1" <<SCRIPT
#!/bin/sh
### BEGIN INIT INFO
# Provides:          $1
# Required-Start:
# Required-Stop:
# Default-Start:     2 3 4 5
# Default-Stop:      0 1 6
# Short-Description: test service
### END INIT INFO
case "\$1" in
  start) touch /etc/$1.running ;;
  stop) rm -f /etc/$1.running ;;
  status) test -e /etc/$1.running ;;
esac
SCRIPT
  chmod 755 "/etc/init.d/$1"
}
init_script kestrel-test-before
update-rc.d kestrel-test-before defaults >/dev/null 2>&1

mkdir -p "$work/bin"
# One listed package is missing; everything else is installed.
cat >"$work/bin/dpkg-query" <<'STUB'
#!/bin/sh
for last; do :; done
[ "$last" = lighttpd ] || printf 'install ok installed'
STUB
cat >"$work/bin/apt-get" <<STUB
#!/usr/bin/env bash
[[ \$* == *install* ]] || exit 0
$(declare -f init_script)
cat >/etc/systemd/system/kestrel-test-unit.service <<'UNIT'
[Service]
ExecStart=/bin/true
[Install]
WantedBy=multi-user.target
UNIT
mkdir -p /etc/systemd/system/multi-user.target.wants
ln -sf /etc/systemd/system/kestrel-test-unit.service \
  /etc/systemd/system/multi-user.target.wants/
init_script kestrel-test-rc
update-rc.d kestrel-test-rc defaults >/dev/null 2>&1
/etc/init.d/kestrel-test-rc start
update-rc.d kestrel-test-before defaults >/dev/null 2>&1
STUB
chmod 755 "$work/bin/dpkg-query" "$work/bin/apt-get"

output=$(PATH=$work/bin:$PATH bash "$repo/scripts/install-deps.sh" 2>&1)
echo "$output"

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
starts() { compgen -G "/etc/rc[2-5].d/S[0-9][0-9]$1" >/dev/null; }
[[ ! -e /etc/systemd/system/multi-user.target.wants/kestrel-test-unit.service ]] ||
  fail "the unit is still enabled"
! starts kestrel-test-rc || fail "the init script still starts at boot"
[[ ! -e /etc/kestrel-test-rc.running ]] || fail "the init script still runs"
starts kestrel-test-before || fail "a service enabled before was disabled"
[[ $output == *"disabled at boot and stopped what the install enabled: kestrel-test-rc kestrel-test-unit"* ]] ||
  fail "the output does not name the services"
[[ $policy_before == yes || ! -e /usr/sbin/policy-rc.d ]] ||
  fail "policy-rc.d was left behind"
((failures == 0)) || exit 1
echo "install-deps: all checks passed"
