#!/usr/bin/env bash
# Installs the Debian package where it cannot change the machine and checks
# what an administrator gets:
#
#   bash tests/package/install.sh PACKAGE.deb BUILT-kestrel.cgi WORK-DIR
#
# Everything runs in a private mount namespace whose /usr, /etc and /var are
# overlays with their upper layers in WORK-DIR/ns. There: dpkg -i, enable the
# lighttpd snippet with lighttpd-enable-mod, start lighttpd and a slapd on
# 127.0.0.1, and request a search page, an information page and a vCard
# through the installed program; each must equal the page of the program of
# the build tree for the same request. kestrel-admin from the package checks
# the configuration clean; the manual pages pass man --warnings. dpkg --purge
# must leave nothing in the upper layers but dpkg's and the servers' own
# records. Then the upgrade: install, edit /etc/kestrel.conf, install the
# same package with the next version number (repacked, not rebuilt): the
# edit stays; purge again.
set -euo pipefail

if [[ ${1:-} == --inside ]]; then
  inside=1
  shift
fi
deb=$(realpath "${1:?usage: install.sh PACKAGE.deb BUILT-kestrel.cgi WORK-DIR}")
built=$(realpath "${2:?}")
work=${3:?}
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)

say() { printf 'package test: %s\n' "$*"; }
fail() { printf 'package test: FAILED: %s\n' "$*" >&2; exit 1; }

if [[ -z ${inside:-} ]]; then
  [[ $(id -u) -eq 0 ]] || { say "skipped (needs root for a mount namespace)"; exit 0; }
  rm -rf "$work"
  mkdir -p "$work"
  work=$(realpath "$work")
  exec unshare -m --propagation private bash "$0" --inside "$deb" "$built" "$work"
fi

# ------------------------------------------------------------- namespace
for dir in usr etc var; do
  # The machine's own tree stays visible beside the overlay, to tell a
  # folder the overlay merely copied up from one that is new.
  mkdir -p "$work/ns/$dir-upper" "$work/ns/$dir-work" "$work/lower/$dir"
  mount --bind "/$dir" "$work/lower/$dir"
  mount -t overlay overlay \
    -o "lowerdir=/$dir,upperdir=$work/ns/$dir-upper,workdir=$work/ns/$dir-work" "/$dir"
done
# The web server's and the directory's runtime files stay here too.
mkdir -p "$work/run"
mount -t tmpfs tmpfs /run

source "$root/bench/ports.sh"
http_port=$(free_port)
ldap_port=$(free_port)
while [[ $ldap_port == "$http_port" ]]; do ldap_port=$(free_port); done

pids=()
cleanup() {
  local pid
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
}
trap cleanup EXIT

wait_for() {
  local tries=0
  until "$@" >/dev/null 2>&1; do
    ((++tries < 200)) || return 1
    sleep 0.05
  done
}

# ------------------------------------------------------------- directory
suffix="dc=example,dc=com"
mkdir -p "$work/ldap"
cat >"$work/slapd.conf" <<EOF
include /etc/ldap/schema/core.schema
include /etc/ldap/schema/cosine.schema
include /etc/ldap/schema/inetorgperson.schema
include $root/deploy/demo/demo.schema
modulepath /usr/lib/ldap
moduleload back_mdb
pidfile $work/slapd.pid
allow bind_v2
database mdb
maxsize 10485760
suffix "$suffix"
rootdn "cn=admin,$suffix"
directory $work/ldap
EOF
{
  awk -v count=20 -v password=x -f "$root/deploy/demo/people.awk"
  cat "$root/deploy/demo/featured.ldif"
} >"$work/people.ldif"
slapadd -q -f "$work/slapd.conf" -b "$suffix" -l "$work/people.ldif" ||
  fail "slapadd"
slapd -d 0 -f "$work/slapd.conf" -h "ldap://127.0.0.1:$ldap_port/" \
  2>"$work/slapd.log" &
pids+=($!)
wait_for ldapsearch -x -H "ldap://127.0.0.1:$ldap_port" -b "" -s base ||
  fail "slapd did not start; see $work/slapd.log"

# The program names its links' scheme after the port's entry in
# /etc/services; the test's port must have none.
awk -v p="$http_port" '$2 != p "/tcp" && $2 != p "/udp"' /etc/services \
  >"$work/services"
cat "$work/services" >/etc/services
# lighttpd as Debian configures it, but on a free loopback port.
sed -i -e "s/^server.port *=.*/server.port = $http_port\nserver.bind = \"127.0.0.1\"/" \
  -e "s|^server.pid-file *=.*|server.pid-file = \"$work/lighttpd.pid\"|" \
  /etc/lighttpd/lighttpd.conf
# A machine that has run the program by hand may have its own
# /etc/kestrel.conf; here the package meets a machine without one.
rm -f /etc/kestrel.conf
mkdir -p /etc/kestrel
install -m 0755 "$root/deploy/sample/trigger.sh" /etc/kestrel/trigger.sh

# No maintainer script may start or reload a service here.
printf '#!/bin/sh\nexit 101\n' >/usr/sbin/policy-rc.d
chmod 755 /usr/sbin/policy-rc.d

# The upper layers as they are before the package comes: dpkg's records,
# the man-db cache and the logs may differ after the purge, nothing else.
# A folder that the machine has too is only a copy the overlay made.
layers() {
  local path type rest
  (cd "$work/ns" && find usr-upper etc-upper var-upper -mindepth 1 \
    -printf '%p %y %m %u\n' | sort) |
    grep -Ev '^var-upper/(lib/dpkg|log|cache/(man|lighttpd|debconf))(/| )' |
    while read -r path type rest; do
      if [[ $type == d && -d $work/lower/${path/-upper/} ]]; then continue; fi
      echo "$path $type $rest"
    done
}
layers >"$work/layers-before"

dpkg_quiet() { dpkg "$@" </dev/null >>"$work/dpkg.log" 2>&1 || fail "dpkg $*; see $work/dpkg.log"; }

# ----------------------------------------------------------------- install
say "dpkg -i $(basename "$deb")"
dpkg_quiet -i "$deb"
[[ -x /usr/lib/cgi-bin/kestrel.cgi && -x /usr/sbin/kestrel-admin ]] ||
  fail "program or kestrel-admin not installed"
[[ $(stat -c %U /var/lib/kestrel) == www-data ]] ||
  fail "/var/lib/kestrel is not owned by www-data"
[[ -d /usr/lib/kestrel/sasl-none && -z $(ls -A /usr/lib/kestrel/sasl-none) ]] ||
  fail "no empty SASL folder"
/usr/lib/cgi-bin/kestrel.cgi -v | grep -q '^Kestrel Basic version' ||
  fail "kestrel.cgi -v"
for page in man8/kestrel.cgi.8 man5/kestrel.conf.5 man8/kestrel-admin.8; do
  warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "/usr/share/man/$page.gz" 2>&1 >/dev/null)
  [[ -z $warnings ]] || fail "man --warnings $page: $warnings"
done
# The shipped configuration is valid as it stands.
/usr/sbin/kestrel-admin check --strict >"$work/check-shipped.txt" 2>&1 ||
  fail "kestrel-admin check of the shipped /etc/kestrel.conf: $(cat "$work/check-shipped.txt")"

# The sample configuration, pointed at the test's directory.
# Its demo domain reads the demo's local socket: here the test's port.
sed -e "s/^LdapPort:3890\$/LdapPort:$ldap_port/" \
  -e "s|^LdapServer:ldapi://.*\$|LdapServer:127.0.0.1\nLdapPort:$ldap_port|" \
  /usr/share/doc/kestrel/examples/kestrel.conf >/etc/kestrel.conf
/usr/sbin/kestrel-admin check --strict >"$work/check.txt" 2>&1 ||
  fail "kestrel-admin check: $(cat "$work/check.txt")"

say "lighttpd-enable-mod kestrel; lighttpd on 127.0.0.1:$http_port"
lighttpd-enable-mod kestrel >"$work/enable-mod.log" 2>&1 ||
  fail "lighttpd-enable-mod: $(cat "$work/enable-mod.log")"
lighttpd -tt -f /etc/lighttpd/lighttpd.conf >"$work/lighttpd-test.log" 2>&1 ||
  fail "lighttpd rejects the configuration: $(cat "$work/lighttpd-test.log")"
lighttpd -D -f /etc/lighttpd/lighttpd.conf 2>"$work/lighttpd.log" &
pids+=($!)
wait_for bash -c "exec 3<>/dev/tcp/127.0.0.1/$http_port" ||
  fail "lighttpd did not start; see $work/lighttpd.log"

# ------------------------------------------------------ pages side by side
# The body of a CGI response or an HTTP response: all after the first
# empty line.
body() { sed '1,/^\r\{0,1\}$/d'; }
compare() {  # name, query
  local name=$1 query=$2
  curl -sS -D "$work/$name.headers" "http://127.0.0.1:$http_port/cgi-bin/kestrel.cgi?$query" \
    >"$work/$name.http" || fail "$name: curl"
  grep -qi '^HTTP/1.1 200' "$work/$name.headers" || fail "$name: $(head -n 1 "$work/$name.headers")"
  grep -qi '^Content-Security-Policy:' "$work/$name.headers" ||
    fail "$name: no Content-Security-Policy header from the snippet"
  env -i GATEWAY_INTERFACE=CGI/1.1 REQUEST_METHOD=GET QUERY_STRING="$query" \
    SERVER_NAME=127.0.0.1 SERVER_PORT="$http_port" SERVER_PROTOCOL=HTTP/1.1 \
    SCRIPT_NAME=/cgi-bin/kestrel.cgi REMOTE_ADDR=127.0.0.1 \
    SASL_PATH=/usr/lib/kestrel/sasl-none GNUTLS_NO_IMPLICIT_INIT=1 \
    "$built" </dev/null | body >"$work/$name.expected"
  cmp -s "$work/$name.http" "$work/$name.expected" ||
    fail "$name: the installed program's page differs from the built one's ($work/$name.http, $work/$name.expected)"
  grep -q "$3" "$work/$name.http" || fail "$name: page lacks '$3'"
}
compare search 'kestreldomain=demo&searchfor=Twophones&selectoption=Name' 'Number of matches'
compare info 'kestreldomain=demo&info=Victor+Twophones' 'victor.twophones@example.com'
compare vcard 'kestreldomain=demo&vcard=Victor+Twophones' '^begin:vcard'
say "search, information page and vCard equal the build tree's"

kill "${pids[-1]}"
wait "${pids[-1]}" 2>/dev/null || true
unset 'pids[-1]'

# ------------------------------------------------------------------ purge
dpkg_quiet --purge kestrel
layers >"$work/layers-after"
diff "$work/layers-before" "$work/layers-after" >"$work/layers.diff" ||
  fail "the purge left files behind: $(cat "$work/layers.diff")"
[[ ! -e /etc/lighttpd/conf-enabled/50-kestrel.conf ]] ||
  fail "the lighttpd snippet is still enabled"
say "dpkg --purge leaves nothing"

# ---------------------------------------------------------------- upgrade
dpkg_quiet -i "$deb"
echo "# edited by the administrator" >>/etc/kestrel.conf
rm -rf "$work/repack"
mkdir -p "$work/repack"
dpkg-deb -R "$deb" "$work/repack/tree"
version=$(dpkg-deb -f "$deb" Version)
next=${version%-*}-$((${version##*-} + 1))
sed -i "s/^Version: .*/Version: $next/" "$work/repack/tree/DEBIAN/control"
dpkg-deb -b "$work/repack/tree" "$work/repack/kestrel_next.deb" >/dev/null
dpkg_quiet -i "$work/repack/kestrel_next.deb"
[[ $(dpkg-query -W -f='${Version}' kestrel) == "$next" ]] ||
  fail "upgrade: kestrel is not at $next"
grep -q '^# edited by the administrator$' /etc/kestrel.conf ||
  fail "upgrade: the edit of /etc/kestrel.conf is gone"
[[ ! -e /etc/kestrel.conf.dpkg-new && ! -e /etc/kestrel.conf.dpkg-old ]] ||
  fail "upgrade: dpkg left a .dpkg-new or .dpkg-old file"
dpkg_quiet --purge kestrel
layers >"$work/layers-after"
diff "$work/layers-before" "$work/layers-after" >"$work/layers.diff" ||
  fail "the purge after the upgrade left files behind: $(cat "$work/layers.diff")"
say "upgrade to $next keeps the edited /etc/kestrel.conf; purge leaves nothing"
