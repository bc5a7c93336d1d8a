#!/usr/bin/env bash
# Apache httpd with the shipped mod_fcgid snippet, on a free loopback port,
# in front of the built program: pages from its FastCGI workers, their
# environment, the security headers and the refusal of writes from another
# site (the lines shared with the CGI snippet must not drift apart).
#   bash apache_fcgid_test.sh PROGRAM   (as root; 77: skipped)
set -euo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
program=${1:?usage: apache_fcgid_test.sh PROGRAM}
modules=/usr/lib/apache2/modules
if [[ ! -x /usr/sbin/apache2 || ! -e $modules/mod_fcgid.so ]]; then
  echo "skipped: apache2 or mod_fcgid is not installed"
  exit 77
fi
[[ $(id -u) -eq 0 ]] || { echo "skipped: needs root (httpd drops to www-data)"; exit 77; }

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
shared() { sed -n '/# Directory values, form input/,/^<\/Location>/p' "$1"; }
diff <(shared "$repo/deploy/apache/kestrel.conf") \
  <(shared "$repo/deploy/apache/kestrel-fcgid.conf") >/dev/null ||
  fail "the mod_fcgid snippet's security lines differ from the CGI snippet's"

work=$(mktemp -d)
chmod 755 "$work"
httpd_pid=""
finish() {
  if [[ -n $httpd_pid ]] && kill -0 "$httpd_pid" 2>/dev/null; then
    kill -TERM "$httpd_pid"
    for _ in $(seq 50); do kill -0 "$httpd_pid" 2>/dev/null || break; sleep 0.1; done
  fi
  [[ -n ${KEEP:-} ]] || rm -rf "$work"
}
trap finish EXIT

port=$((20000 + RANDOM % 20000))
while (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; do port=$((20000 + RANDOM % 20000)); done
site=http://127.0.0.1:$port
mkdir -p "$work"/{cgi-bin,sasl-none,www}
install -d -o www-data -g www-data "$work/fcgid"
install -m 755 "$program" "$work/cgi-bin/kestrel.cgi"
sed -e "s|/usr/lib/cgi-bin|$work/cgi-bin|g" \
  -e "s|/usr/local/lib/kestrel/sasl-none|$work/sasl-none|g" \
  "$repo/deploy/apache/kestrel-fcgid.conf" >"$work/kestrel-fcgid.conf"
cat >"$work/httpd.conf" <<CONF
ServerRoot $work
ServerName 127.0.0.1
Listen 127.0.0.1:$port
PidFile $work/httpd.pid
ErrorLog $work/error.log
Mutex file:$work
User www-data
Group www-data
DocumentRoot $work/www
LoadModule mpm_event_module $modules/mod_mpm_event.so
LoadModule authz_core_module $modules/mod_authz_core.so
LoadModule alias_module $modules/mod_alias.so
LoadModule headers_module $modules/mod_headers.so
LoadModule fcgid_module $modules/mod_fcgid.so
FcgidIPCDir $work/fcgid
FcgidProcessTableFile $work/fcgid/shm
Include $work/kestrel-fcgid.conf
CONF
/usr/sbin/apache2 -f "$work/httpd.conf" -DFOREGROUND &
httpd_pid=$!
for _ in $(seq 100); do
  curl -s -o /dev/null "$site/" && break
  kill -0 "$httpd_pid" 2>/dev/null || { cat "$work/error.log"; exit 1; }
  sleep 0.1
done

expect() {
  local want=$1 got
  shift
  got=$(curl -s -o /dev/null -w "%{http_code}" "$@" || true)
  [[ $got == "$want" ]] || fail "$* -> $got, expected $want"
}
url=$site/cgi-bin/kestrel.cgi

first=$(curl -s -D "$work/headers" "$url?info=x")
[[ $first == *"Domain not specified. Error in HTML form."* ]] ||
  fail "the program answered: $first"
for _ in 1 2 3; do
  [[ $(curl -s "$url?info=x") == "$first" ]] || fail "a later answer differs"
done
workers=$(pgrep -f "^$work/cgi-bin/kestrel.cgi" || true)
[[ -n $workers ]] || fail "no FastCGI worker is running"
for pid in $workers; do
  environment=$(tr '\0' '\n' <"/proc/$pid/environ")
  grep -qx "SASL_PATH=$work/sasl-none" <<<"$environment" || fail "worker $pid: no SASL_PATH"
  grep -qx "GNUTLS_NO_IMPLICIT_INIT=1" <<<"$environment" || fail "worker $pid: no GNUTLS_NO_IMPLICIT_INIT"
done
for header in 'X-Frame-Options: DENY' 'Referrer-Policy: same-origin' \
  'X-Content-Type-Options: nosniff'; do
  grep -qix "$header"$'\r' "$work/headers" || fail "no $header"
done
grep -qi "^Content-Security-Policy: default-src 'none'" "$work/headers" || fail "no Content-Security-Policy"

grace='cn%3DGrace%2Cou%3DPeople'
expect 403 -H 'Sec-Fetch-Site: cross-site' -d "kestreldomain=demo&delentry=$grace" "$url"
expect 403 -H 'Sec-Fetch-Site: cross-site' "$url?kestreldomain=demo&%64elentry=$grace"
expect 403 -H 'Origin: http://localhost:1' -d 'kestreldomain=demo&adddn=x' "$url"
expect 200 -H 'Sec-Fetch-Site: same-origin' -H "Origin: $site" -d "info=x" "$url"

if ((failures)); then
  echo "$failures checks failed; error log:"
  cat "$work/error.log"
  exit 1
fi
echo "apache mod_fcgid snippet: all checks passed"
