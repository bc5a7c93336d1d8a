#!/usr/bin/env bash
# lighttpd with the shipped FastCGI snippet, on a free loopback port, in
# front of the built program: pages from its workers, their environment, the
# security headers and the refusal of writes from another site (the lines
# shared with the CGI snippet must not drift apart). Then one site balanced
# over two workers that spawn-fcgi started on two ports: both serve, and the
# site keeps answering when one of them stops.
#   bash lighttpd_fastcgi_test.sh PROGRAM   (as root; 77: skipped)
set -euo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
program=${1:?usage: lighttpd_fastcgi_test.sh PROGRAM}
for tool in lighttpd spawn-fcgi curl; do
  command -v "$tool" >/dev/null || { echo "skipped: no $tool"; exit 77; }
done
[[ $(id -u) -eq 0 ]] || { echo "skipped: needs root (lighttpd drops to www-data)"; exit 77; }

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# The shared lines: from the security headers to the end, the same text.
shared() { sed -n '/# Directory values, form input/,$p' "$1"; }
diff <(shared "$repo/deploy/lighttpd/kestrel.conf") \
  <(shared "$repo/deploy/lighttpd/kestrel-fastcgi.conf") >/dev/null ||
  fail "the FastCGI snippet's security lines differ from the CGI snippet's"

work=$(mktemp -d)
chmod 755 "$work"
pids=()
finish() {
  for pid in "${pids[@]}"; do
    kill -TERM "$pid" 2>/dev/null || true
  done
  for pid in "${pids[@]}"; do
    for _ in $(seq 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
  done
  [[ -n ${KEEP:-} ]] || rm -rf "$work"
}
trap finish EXIT

free_port() {
  local port=$((20000 + RANDOM % 20000))
  while (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; do
    port=$((20000 + RANDOM % 20000))
  done
  echo "$port"
}
mkdir -p "$work"/{cgi-bin,sasl-none,www}
install -d -o www-data -g www-data "$work/run" "$work/log"
install -m 755 "$program" "$work/cgi-bin/kestrel.cgi"

# start_lighttpd NAME PORT BODY: a server on 127.0.0.1:PORT; waits for it.
start_lighttpd() {
  local name=$1 port=$2 body=$3
  cat >"$work/$name.conf" <<CONF
server.modules = ( )
server.document-root = "$work/www"
server.bind = "127.0.0.1"
server.port = $port
server.username = "www-data"
server.groupname = "www-data"
server.errorlog = "$work/log/$name-error.log"
$body
CONF
  lighttpd -D -f "$work/$name.conf" &
  pids+=($!)
  for _ in $(seq 100); do
    curl -s -o /dev/null "http://127.0.0.1:$port/" && return 0
    sleep 0.1
  done
  cat "$work/log/$name-error.log"
  return 1
}

# expect STATUS CURL-ARGUMENTS...: the status of one request.
expect() {
  local want=$1 got
  shift
  got=$(curl -s -o /dev/null -w "%{http_code}" "$@" || true)
  [[ $got == "$want" ]] || fail "$* -> $got, expected $want"
}

port=$(free_port)
site=http://127.0.0.1:$port
start_lighttpd snippet "$port" "
var.kestrel_cgi = \"$work/cgi-bin/kestrel.cgi\"
var.kestrel_sasl_path = \"$work/sasl-none\"
var.kestrel_origin = \"$site\"
var.kestrel_fcgi_socket = \"$work/run/kestrel.sock\"
include \"$repo/deploy/lighttpd/kestrel-fastcgi.conf\""
url=$site/cgi-bin/kestrel.cgi

# A page of the program (no domain: the error page, no configuration read)
# from a worker, the same on every request.
first=$(curl -s -D "$work/headers" "$url?info=x")
[[ $first == *"Domain not specified. Error in HTML form."* ]] ||
  fail "the program answered: $first"
for _ in 1 2 3 4; do
  [[ $(curl -s "$url?info=x") == "$first" ]] || fail "a later answer differs"
done
workers=$(pgrep -f "^$work/cgi-bin/kestrel.cgi" || true)
[[ $(wc -w <<<"$workers") -eq 2 ]] || fail "workers: $(wc -w <<<"$workers"), expected max-procs 2"
for pid in $workers; do
  environment=$(tr '\0' '\n' <"/proc/$pid/environ")
  grep -qx "SASL_PATH=$work/sasl-none" <<<"$environment" || fail "worker $pid: no SASL_PATH"
  grep -qx "GNUTLS_NO_IMPLICIT_INIT=1" <<<"$environment" || fail "worker $pid: no GNUTLS_NO_IMPLICIT_INIT"
  [[ $(stat -c %U "/proc/$pid") == www-data ]] || fail "worker $pid does not run as www-data"
done
for header in 'X-Frame-Options: DENY' 'Referrer-Policy: same-origin' \
  'X-Content-Type-Options: nosniff'; do
  grep -qix "$header"$'\r' "$work/headers" || fail "no $header"
done
grep -qi "^Content-Security-Policy: default-src 'none'" "$work/headers" || fail "no Content-Security-Policy"

# Writes from another site: refused before they reach a worker.
grace='cn%3DGrace%2Cou%3DPeople'
expect 403 -H 'Sec-Fetch-Site: cross-site' -d "kestreldomain=demo&delentry=$grace" "$url"
expect 403 -H 'Sec-Fetch-Site: cross-site' "$url?kestreldomain=demo&%64elentry=$grace"
expect 403 -H 'Origin: http://localhost:1' -d 'kestreldomain=demo&adddn=x' "$url"
expect 200 -H 'Sec-Fetch-Site: same-origin' -H "Origin: $site" -d "info=x" "$url"

# One site over two backends on two ports, started by spawn-fcgi.
backend_pids=()
backends=""
for n in 1 2; do
  backend_port=$(free_port)
  spawn-fcgi -a 127.0.0.1 -p "$backend_port" -u www-data -g www-data \
    -P "$work/backend$n.pid" -- "$work/cgi-bin/kestrel.cgi" >/dev/null
  backend_pids+=("$(cat "$work/backend$n.pid")")
  pids+=("$(cat "$work/backend$n.pid")")
  backends+="( \"host\" => \"127.0.0.1\", \"port\" => $backend_port, \"check-local\" => \"disable\" ),"
done
balanced_port=$(free_port)
start_lighttpd balanced "$balanced_port" "
server.modules += ( \"mod_fastcgi\" )
fastcgi.balance = \"round-robin\"
fastcgi.server = ( \"/cgi-bin/kestrel.cgi\" => ( $backends ) )"
balanced=http://127.0.0.1:$balanced_port/cgi-bin/kestrel.cgi
# Each backend's count of accepted connections, from its system calls.
served() { awk '/^syscr/ { print $2 }' "/proc/$1/io"; }
before=($(served "${backend_pids[0]}") $(served "${backend_pids[1]}"))
for _ in $(seq 10); do
  [[ $(curl -s "$balanced?info=x") == "$first" ]] || fail "a balanced answer differs"
done
after=($(served "${backend_pids[0]}") $(served "${backend_pids[1]}"))
((after[0] > before[0])) || fail "backend 1 served nothing"
((after[1] > before[1])) || fail "backend 2 served nothing"
# One backend stops (SIGTERM ends a waiting worker at once): the site
# still answers from the other.
kill -TERM "${backend_pids[0]}"
for _ in $(seq 50); do kill -0 "${backend_pids[0]}" 2>/dev/null || break; sleep 0.1; done
kill -0 "${backend_pids[0]}" 2>/dev/null && fail "backend 1 outlived SIGTERM"
for _ in $(seq 6); do
  answer=$(curl -s "$balanced?info=x")
done
[[ $answer == "$first" ]] || fail "after a backend stopped: $answer"

if ((failures)); then
  echo "$failures checks failed"
  cat "$work"/log/*.log
  exit 1
fi
echo "lighttpd FastCGI snippet: all checks passed"
