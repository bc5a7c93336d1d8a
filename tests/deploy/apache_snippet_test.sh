#!/usr/bin/env bash
# Apache httpd with the shipped snippet, on a free loopback port, in front of
# a stand-in CGI: its headers on every answer, the environment it passes,
# and the refusal of writes that come from another site.
#   bash apache_snippet_test.sh   (as root; skipped without apache2)
set -euo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
modules=/usr/lib/apache2/modules
if [[ ! -x /usr/sbin/apache2 || ! -e $modules/mod_cgid.so ]]; then
  echo "skipped: apache2 is not installed"
  exit 77
fi
[[ $(id -u) -eq 0 ]] || { echo "skipped: needs root (httpd drops to www-data)"; exit 77; }

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
# The stand-in answers with what a write would act on.
cat >"$work/cgi-bin/kestrel.cgi" <<'CGI'
#!/bin/sh
cat >/dev/null
printf 'Content-Type: text/plain\n\nran %s SASL_PATH=%s\n' "$REQUEST_METHOD" "$SASL_PATH"
CGI
chmod 755 "$work/cgi-bin/kestrel.cgi"
# The snippet's install paths, moved into the work folder.
sed -e "s|/usr/lib/cgi-bin|$work/cgi-bin|g" \
  -e "s|/usr/local/lib/kestrel/sasl-none|$work/sasl-none|g" \
  "$repo/deploy/apache/kestrel.conf" >"$work/kestrel.conf"
cat >"$work/httpd.conf" <<CONF
ServerRoot $work
ServerName 127.0.0.1
Listen 127.0.0.1:$port
PidFile $work/httpd.pid
ErrorLog $work/error.log
Mutex file:$work
ScriptSock $work/cgid.sock
User www-data
Group www-data
DocumentRoot $work/www
LoadModule mpm_event_module $modules/mod_mpm_event.so
LoadModule authz_core_module $modules/mod_authz_core.so
LoadModule alias_module $modules/mod_alias.so
LoadModule env_module $modules/mod_env.so
LoadModule headers_module $modules/mod_headers.so
LoadModule cgid_module $modules/mod_cgid.so
Include $work/kestrel.conf
CONF
/usr/sbin/apache2 -f "$work/httpd.conf" -DFOREGROUND &
httpd_pid=$!
for _ in $(seq 100); do
  curl -s -o /dev/null "$site/" && break
  kill -0 "$httpd_pid" 2>/dev/null || { cat "$work/error.log"; exit 1; }
  sleep 0.1
done

failures=0
# expect STATUS CURL-ARGUMENTS...: the status of one request.
expect() {
  local want=$1 got
  shift
  got=$(curl -s -o /dev/null -w "%{http_code}" "$@" || true)
  if [[ $got != "$want" ]]; then
    echo "FAIL: $* -> $got, expected $want"
    failures=$((failures + 1))
  fi
}
program=$site/cgi-bin/kestrel.cgi
grace='cn%3DGrace%20Trailing%2Cou%3DPeople'

# Headers and environment on an honest read.
answer=$(curl -s -D "$work/headers" "$program?kestreldomain=demo&info=Grace")
[[ $answer == "ran GET SASL_PATH=$work/sasl-none" ]] || {
  echo "FAIL: the program answered: $answer"; failures=$((failures + 1)); }
policy=$(sed -n 's/^Content-Security-Policy: //ip' "$work/headers" | tr -d '\r')
for directive in "default-src 'none'" "img-src 'self'" "style-src 'self'" "script-src 'none'" \
  "frame-src 'none'" "frame-ancestors 'none'" "form-action 'self'"; do
  [[ ";$(sed 's/ *; */;/g' <<<"$policy");" == *";$directive;"* ]] || {
    echo "FAIL: no $directive in: $policy"; failures=$((failures + 1)); }
done
for header in 'X-Frame-Options: DENY' 'Referrer-Policy: same-origin' \
  'X-Content-Type-Options: nosniff'; do
  grep -qix "$header"$'\r' "$work/headers" || {
    echo "FAIL: no $header"; failures=$((failures + 1)); }
done

# Writes from another site or origin: refused, however the field is named.
for fetch_site in cross-site same-site; do
  expect 403 -H "Sec-Fetch-Site: $fetch_site" -d "kestreldomain=demo&delentry=$grace" "$program"
  expect 403 -H "Sec-Fetch-Site: $fetch_site" "$program?kestreldomain=demo&delentry=$grace"
done
expect 403 -H 'Sec-Fetch-Site: cross-site' "$program?kestreldomain=demo&DelEntry=$grace"
expect 403 -H 'Sec-Fetch-Site: cross-site' "$program?kestreldomain=demo&%64elentry=$grace"
expect 403 -H 'Sec-Fetch-Site: cross-site' "$program?entrydn=$grace&kestreldomain=demo"
expect 403 -H 'Sec-Fetch-Site: cross-site' "$program?kestreldomain=demo&adddn=x"
expect 403 -H 'Sec-Fetch-Site: cross-site' -X PUT "$program"
# Browsers without Sec-Fetch-Site: the Origin decides.
expect 403 -H 'Origin: http://localhost:1' -d 'kestreldomain=demo&adddn=x' "$program"
expect 403 -H 'Origin: null' -d 'kestreldomain=demo&adddn=x' "$program"
expect 403 -H 'Origin: http://localhost:1' "$program?kestreldomain=demo&delentry=$grace"

# The site's own writes, and reads from anywhere, go through.
expect 200 -H 'Sec-Fetch-Site: same-origin' -H "Origin: $site" -d "kestreldomain=demo&delentry=$grace" "$program"
expect 200 -H 'Sec-Fetch-Site: none' "$program?kestreldomain=demo&delentry=$grace"
expect 200 -d "kestreldomain=demo&delentry=$grace" "$program"
expect 200 -H 'Sec-Fetch-Site: cross-site' -H 'Origin: http://localhost:1' \
  "$program?kestreldomain=demo&info=Sales+%26+Support+Desk"
expect 200 -H 'Sec-Fetch-Site: cross-site' "$program?kestreldomain=demo&searchfor=jo*n&selectoption=Name"

# Bodies: up to 1 MiB reaches the program, more is refused by the server.
head -c 1048576 /dev/zero | tr '\0' 'a' >"$work/body-1MiB"
head -c 1048577 /dev/zero | tr '\0' 'a' >"$work/body-over"
expect 200 --data-binary "@$work/body-1MiB" "$program"
expect 413 --data-binary "@$work/body-over" "$program"

if ((failures)); then
  echo "$failures checks failed; error log:"
  cat "$work/error.log"
  exit 1
fi
echo "apache snippet: all checks passed"
