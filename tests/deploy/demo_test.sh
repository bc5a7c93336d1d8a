#!/usr/bin/env bash
# scripts/demo.sh and its state folder: a folder holding files the demo did
# not make is refused and left alone; a state folder inside a private one
# (mode 0700, which the web server's user cannot enter) still serves; the
# password and the password hashes are readable by root alone.
#   bash demo_test.sh KESTREL_CGI   (as root)
set -euo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
cgi=${1:?usage: demo_test.sh KESTREL_CGI}
[[ $(id -u) -eq 0 ]] || { echo "skipped: needs root (mount namespace)"; exit 77; }
for tool in slapd lighttpd curl; do
  command -v "$tool" >/dev/null || { echo "skipped: no $tool"; exit 77; }
done

work=$(mktemp -d) # mode 0700
demo_pid=""
finish() {
  if [[ -n $demo_pid ]] && kill -0 "$demo_pid" 2>/dev/null; then
    KESTREL_DEMO_DIR=$work/demo bash "$repo/scripts/demo.sh" stop >/dev/null || true
    wait "$demo_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap finish EXIT

failures=0
check() { # MESSAGE COMMAND...: counts a failure when COMMAND fails
  local message=$1
  shift
  "$@" || { echo "FAIL: $message"; failures=$((failures + 1)); }
}
free_port() {
  local port
  for ((;;)); do
    port=$((20000 + RANDOM % 20000))
    (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || { echo "$port"; return; }
  done
}

# A shared folder is not wiped.
mkdir "$work/shared"
echo "someone's notes" >"$work/shared/notes.txt"
status=0
KESTREL_DEMO_DIR=$work/shared KESTREL_DEMO_CGI=$cgi \
  bash "$repo/scripts/demo.sh" >"$work/refused.out" 2>&1 || status=$?
check "the demo started in a folder of someone else's files" test "$status" -ne 0
check "the refusal does not say why: $(cat "$work/refused.out")" \
  grep -q 'files the demo did not make' "$work/refused.out"
check "the shared folder was wiped" test -f "$work/shared/notes.txt"

# A demo whose state lies inside the private folder.
http_port=$(free_port)
: >"$work/demo.out"
KESTREL_DEMO_DIR=$work/demo KESTREL_DEMO_CGI=$cgi KESTREL_DEMO_LIFETIME=120 \
  KESTREL_DEMO_HTTP_PORT=$http_port KESTREL_DEMO_LDAP_PORT=$(free_port) \
  KESTREL_DEMO_PASSWORD=demo-test-secret \
  bash "$repo/scripts/demo.sh" >"$work/demo.out" 2>&1 &
demo_pid=$!
for _ in $(seq 600); do
  grep -q 'is ready' "$work/demo.out" && break
  kill -0 "$demo_pid" 2>/dev/null || break
  sleep 0.1
done
if ! grep -q 'is ready' "$work/demo.out"; then
  echo "FAIL: the demo did not start:"
  cat "$work/demo.out" "$work/demo/www-log/lighttpd-error.log" 2>/dev/null
  exit 1
fi
page=$(curl -s "http://127.0.0.1:$http_port/cgi-bin/kestrel.cgi?kestreldomain=demo&searchfor=John+Smith&selectoption=Name")
check "the search did not list John Smith: $page" grep -q 'Smith, John' <<<"$page"
check "the demo left no marker" test -e "$work/demo/.kestrel-demo"
for secret in admin-password slapd.conf people.ldif ldap; do
  mode=$(stat -c %a "$work/demo/$secret")
  check "$secret has mode $mode" test $((8#$mode & 8#077)) -eq 0
done

if ((failures)); then
  echo "$failures checks failed"
  exit 1
fi
echo "demo state folder: all checks passed"
