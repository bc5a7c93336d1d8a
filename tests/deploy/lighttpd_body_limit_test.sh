#!/usr/bin/env bash
# lighttpd with the shipped CGI snippet, on a free loopback port, in front of
# a stand-in CGI: a body of 1 MiB reaches the program, one byte more is
# refused by the server (413) before the program starts.
#   bash lighttpd_body_limit_test.sh   (skipped without lighttpd)
set -euo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
command -v lighttpd >/dev/null || { echo "skipped: lighttpd is not installed"; exit 77; }

work=$(mktemp -d)
chmod 755 "$work"
pid=""
finish() {
  [[ -n $pid ]] && kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null
  rm -rf "$work"
}
trap finish EXIT

port=$((20000 + RANDOM % 20000))
while (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; do port=$((20000 + RANDOM % 20000)); done
mkdir -p "$work/www" "$work/sasl-none"
cat >"$work/kestrel.cgi" <<'CGI'
#!/bin/sh
cat >/dev/null
printf 'Content-Type: text/plain\n\nran\n'
CGI
chmod 755 "$work/kestrel.cgi"
cat >"$work/lighttpd.conf" <<CONF
server.document-root = "$work/www"
server.bind = "127.0.0.1"
server.port = $port
server.errorlog = "$work/error.log"
var.kestrel_cgi = "$work/kestrel.cgi"
var.kestrel_sasl_path = "$work/sasl-none"
var.kestrel_origin = "http://127.0.0.1:$port"
include "$repo/deploy/lighttpd/kestrel.conf"
CONF
lighttpd -D -f "$work/lighttpd.conf" &
pid=$!
program=http://127.0.0.1:$port/cgi-bin/kestrel.cgi
for _ in $(seq 100); do
  curl -s -o /dev/null "$program" && break
  kill -0 "$pid" 2>/dev/null || { cat "$work/error.log"; exit 1; }
  sleep 0.1
done

failures=0
for size in 1048576 1048577; do
  head -c "$size" /dev/zero | tr '\0' a >"$work/body"
  want=200
  ((size > 1048576)) && want=413
  got=$(curl -s -o /dev/null -w '%{http_code}' --data-binary "@$work/body" "$program" || true)
  if [[ $got != "$want" ]]; then
    echo "FAIL: a body of $size bytes -> $got, expected $want"
    failures=$((failures + 1))
  fi
done
((failures == 0)) || { cat "$work/error.log"; exit 1; }
echo "lighttpd snippet: body limit holds"
