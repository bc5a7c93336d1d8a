#!/usr/bin/env bash
# The demo: a sample directory on slapd and kestrel.cgi under lighttpd, both
# on 127.0.0.1, until Ctrl-C or `bash scripts/demo.sh stop`.
#
#   bash scripts/demo.sh [start]   install, build, start, wait
#   bash scripts/demo.sh stop      stop a demo started from another shell
#
# Settings, from the environment:
#   KESTREL_DEMO_DIR       state folder (default .demo in the checkout); it
#                          is made anew on every start, so a folder that
#                          holds anything but a demo's state is refused
#   KESTREL_DEMO_HTTP_PORT web server port (default 8080)
#   KESTREL_DEMO_LDAP_PORT directory port (default 3890)
#   KESTREL_DEMO_PASSWORD  admin password (default: a new random one)
#   KESTREL_DEMO_CGI       a built kestrel.cgi to serve instead of building
#                          (a kestrel-admin beside it writes the forms)
#   KESTREL_DEMO_LIFETIME  stop by itself after this many seconds
#   KESTREL_DEMO_MODE      cgi (default) or fastcgi: which lighttpd snippet
#
# Nothing outside the state folder changes. The servers run in a private
# mount namespace where /etc and /var/lib are overlays whose changes land in
# the state folder; there the sample configuration is bound at
# /etc/kestrel.conf, so a real /etc/kestrel.conf is never touched, and the
# state folder is bound at /var/lib/kestrel-demo, where the web server's
# user reaches it wherever the folder itself lies.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
state=${KESTREL_DEMO_DIR:-$root/.demo}
http_port=${KESTREL_DEMO_HTTP_PORT:-8080}
ldap_port=${KESTREL_DEMO_LDAP_PORT:-3890}
suffix="dc=example,dc=com"
admin_dn="cn=admin,$suffix"
sample_config=$root/deploy/sample/kestrel.conf
# The state folder as the servers see it (bound there in the namespace).
served=/var/lib/kestrel-demo
# slapd's local socket, as deploy/sample/kestrel.conf names it.
ldapi_uri=ldapi://%2Fvar%2Flib%2Fkestrel-demo%2Fldapi
# Left in the state folder; a folder without it is not wiped.
marker=.kestrel-demo

say() { printf 'demo: %s\n' "$*"; }
fail() { printf 'demo: %s\n' "$*" >&2; exit 1; }

alive() { [[ -n ${1:-} ]] && kill -0 "$1" 2>/dev/null; }
pid_in() { [[ -s $1 ]] && cat "$1" || true; }

# Waits up to ten seconds for a command to succeed.
wait_for() {
  local tries=0
  until "$@" >/dev/null 2>&1; do
    ((++tries < 200)) || return 1
    sleep 0.05
  done
}

port_free() { ! ss -Hltn "sport = :$1" | grep -q .; }

# True when the state folder may be wiped: it is missing or empty, or a
# demo made it (the marker, or, from demos that left none, nothing but the
# names a demo writes).
state_disposable() {
  if [[ -L $state || (-e $state && ! -d $state) ]]; then return 1; fi
  [[ -d $state ]] || return 0
  [[ -e $state/$marker ]] && return 0
  local entry
  for entry in "$state"/* "$state"/.[!.]*; do
    [[ -e $entry || -L $entry ]] || continue
    case ${entry##*/} in
      admin-password | cgi-bin | kestrel.conf | ldap | lighttpd.conf | \
        people.ldif | sasl-none | services | slapd.args | slapd.conf | \
        www | www-log | *.log | *.pid | etc-upper | etc-work | \
        varlib-upper | varlib-work) ;;
      *) return 1 ;;
    esac
  done
  return 0
}

# --- stop ----------------------------------------------------------------

stop_demo() {
  local pid
  pid=$(pid_in "$state/demo.pid")
  if alive "$pid" && [[ $(cat "/proc/$pid/comm" 2>/dev/null) == bash ]]; then
    kill -TERM "$pid"
    wait_for eval "! kill -0 $pid" || true
  fi
  # Left-overs of a namespace that was killed outright; the name check
  # keeps a stale file from naming someone else's process.
  for name in slapd lighttpd; do
    pid=$(pid_in "$state/$name.pid")
    if alive "$pid" && [[ $(cat "/proc/$pid/comm" 2>/dev/null) == "$name" ]]; then
      kill -TERM "$pid"
    fi
  done
  rm -f "$state/demo.pid" "$state/slapd.pid" "$state/lighttpd.pid"
  say "stopped"
}

# --- inside the private mount namespace ----------------------------------

overlay() {
  local target=$1 name=$2
  mkdir -p "$state/$name-upper" "$state/$name-work"
  mount -t overlay overlay -o "lowerdir=$target,upperdir=$state/$name-upper,workdir=$state/$name-work" "$target"
}

slapd_pid=""
lighttpd_pid=""
sleeper=""

inside() {
  finish() {
    trap - INT TERM EXIT
    local pid
    for pid in "$lighttpd_pid" "$slapd_pid" "$sleeper"; do
      if alive "$pid"; then kill -TERM "$pid"; fi
    done
    for pid in "$lighttpd_pid" "$slapd_pid" "$sleeper"; do
      if [[ -n $pid ]]; then wait "$pid" 2>/dev/null || true; fi
    done
    rm -f "$state/demo.pid" "$state/slapd.pid" "$state/lighttpd.pid"
  }
  trap finish EXIT
  trap 'exit 0' INT TERM
  echo $$ >"$state/demo.pid"

  overlay /etc etc
  overlay /var/lib varlib
  mkdir -p "$served"
  mount --bind "$state" "$served"
  config=$sample_config
  [[ $ldap_port == 3890 ]] || config=$state/kestrel.conf
  touch /etc/kestrel.conf
  mount --bind "$config" /etc/kestrel.conf
  mkdir -p /etc/kestrel
  install -m 755 "$root/deploy/sample/trigger.sh" /etc/kestrel/trigger.sh
  install -d -o www-data -g www-data -m 755 /var/lib/kestrel
  # The program names its links' scheme after the port's entry in
  # /etc/services ("http-alt" for 8080); here the port has none.
  awk -v p="$http_port" '$2 != p "/tcp" && $2 != p "/udp"' /etc/services \
    >"$state/services"
  cat "$state/services" >/etc/services

  # The "demo" domain reads over the local socket, "mini" over TCP.
  slapd -d 0 -f "$state/slapd.conf" \
    -h "ldap://127.0.0.1:$ldap_port/ $ldapi_uri" 2>"$state/slapd.log" &
  slapd_pid=$!
  wait_for ldapsearch -x -H "ldap://127.0.0.1:$ldap_port" -b "" -s base ||
    fail "slapd did not start; see $state/slapd.log"

  lighttpd -D -f "$served/lighttpd.conf" 2>"$state/lighttpd.log" &
  lighttpd_pid=$!
  wait_for curl -sf "http://127.0.0.1:$http_port/" ||
    fail "lighttpd did not start; see $state/lighttpd.log"

  local ms=$((($(date +%s%N) - ${KESTREL_DEMO_T0:-$(date +%s%N)}) / 1000000))
  local seconds=$((ms / 1000)).$(printf '%03d' $((ms % 1000)))
  cat <<EOF

  kestrel.cgi demo is ready (servers up in ${seconds}s)

  Open            http://127.0.0.1:$http_port/
  Admin DN        $admin_dn
  Admin password  $(cat "$state/admin-password")
                  (for Modify, Delete and Add)
  Directory       $ldapi_uri (domain demo)
                  ldap://127.0.0.1:$ldap_port/ (domain mini)
                  LDAP version 3 only; anonymous reads allowed
  Trigger log     $state/varlib-upper/kestrel/changes.log
  Logs            $state/*.log, $state/www-log/

  Stop with Ctrl-C, or: bash scripts/demo.sh stop

EOF
  # Until either server ends (or the lifetime runs out); then stop both.
  if [[ -n ${KESTREL_DEMO_LIFETIME:-} ]]; then
    sleep "$KESTREL_DEMO_LIFETIME" &
    sleeper=$!
  fi
  wait -n "$slapd_pid" "$lighttpd_pid" $sleeper || true
  alive "$slapd_pid" || say "slapd ended; see $state/slapd.log"
  alive "$lighttpd_pid" || say "lighttpd ended; see $state/lighttpd.log"
}

# --- preparation ---------------------------------------------------------

build() {
  if [[ -n ${KESTREL_DEMO_CGI:-} ]]; then
    [[ -x $KESTREL_DEMO_CGI ]] || fail "no program at $KESTREL_DEMO_CGI"
    program=$KESTREL_DEMO_CGI
    # The kestrel-admin of the same build, when there is one, writes the
    # generated forms.
    admin=$(dirname "$KESTREL_DEMO_CGI")/kestrel-admin
    return
  fi
  local t0=$SECONDS log
  log=$(mktemp)
  cmake -S . -B build-demo -DCMAKE_BUILD_TYPE=Release -DKESTREL_TESTS=OFF \
    >"$log" 2>&1 &&
    cmake --build build-demo --target kestrel_cgi kestrel_admin -j"$(nproc)" \
      >>"$log" 2>&1 ||
    { cat "$log" >&2; rm -f "$log"; fail "build failed"; }
  rm -f "$log"
  program=$root/build-demo/kestrel.cgi
  admin=$root/build-demo/kestrel-admin
  say "built $program in $((SECONDS - t0))s"
}

# Pictures for the generated photo addresses: initials on a colour.
draw_photos() {
  local uid colour
  mkdir -p "$state/www/photos"
  sed -n 's|^photoURL: /photos/\(.*\)\.svg$|\1|p' "$state/people.ldif" |
    while read -r uid; do
      colour=$(printf '#%02x%02x%02x' $((${#uid} * 17 % 200 + 40)) \
        $((RANDOM % 160 + 60)) 160)
      cat >"$state/www/photos/$uid.svg" <<EOF
<svg xmlns="http://www.w3.org/2000/svg" width="96" height="96"><rect width="96" height="96" rx="12" fill="$colour"/><text x="48" y="60" font-family="sans-serif" font-size="36" fill="#fff" text-anchor="middle">${uid:0:2}</text></svg>
EOF
    done
}

write_slapd_config() {
  cat >"$state/slapd.conf" <<EOF
include /etc/ldap/schema/core.schema
include /etc/ldap/schema/cosine.schema
include /etc/ldap/schema/inetorgperson.schema
include $root/deploy/demo/demo.schema
modulepath /usr/lib/ldap
moduleload back_mdb
pidfile $state/slapd.pid
argsfile $state/slapd.args

database mdb
maxsize 104857600
suffix "$suffix"
rootdn "$admin_dn"
rootpw $(slappasswd -s "$(cat "$state/admin-password")")
directory $state/ldap

# Passwords: each person may change their own, anonymous readers may only
# bind with them. Everything else is public.
access to attrs=userPassword
  by self write
  by anonymous auth
  by * none
access to *
  by * read
EOF
}

write_lighttpd_config() {
  cat >"$state/lighttpd.conf" <<EOF
server.modules = ( "mod_indexfile" )
server.document-root = "$served/www"
server.bind = "127.0.0.1"
server.port = $http_port
server.username = "www-data"
server.groupname = "www-data"
server.pid-file = "$served/lighttpd.pid"
server.errorlog = "$served/www-log/lighttpd-error.log"
index-file.names = ( "index.html" )
mimetype.assign = (
  ".html" => "text/html; charset=utf-8",
  ".css" => "text/css; charset=utf-8",
  ".svg" => "image/svg+xml",
  ".png" => "image/png",
)

var.kestrel_cgi = "$served/cgi-bin/kestrel.cgi"
var.kestrel_sasl_path = "$served/sasl-none"
var.kestrel_origin = "http://127.0.0.1:$http_port"
include "$root/deploy/lighttpd/kestrel.conf"
EOF
  # KESTREL_DEMO_MODE=fastcgi: the same site through the FastCGI snippet,
  # its workers' sockets beside the server's log.
  if [[ ${KESTREL_DEMO_MODE:-cgi} == fastcgi ]]; then
    sed -i -e "s|^include \"$root/deploy/lighttpd/kestrel.conf\"\$|var.kestrel_fcgi_socket = \"$served/www-log/kestrel.sock\"\ninclude \"$root/deploy/lighttpd/kestrel-fastcgi.conf\"|" \
      "$state/lighttpd.conf"
  fi
}

prepare() {
  # What the web server's user reads is written 0644 whatever the caller's
  # umask. Secrets (the admin password and its hash, the people's password
  # hashes, any key) are written in the umask 077 block below, so no other
  # user ever reads them, not even for a moment.
  umask 022
  rm -rf "$state"
  mkdir -p "$state"/{www,cgi-bin,sasl-none}
  mkdir -m 700 "$state/ldap"
  chmod 755 "$state"
  : >"$state/$marker"
  install -d -o www-data -g www-data "$state/www-log"
  (
    umask 077
    if [[ -n ${KESTREL_DEMO_PASSWORD:-} ]]; then
      printf '%s\n' "$KESTREL_DEMO_PASSWORD" >"$state/admin-password"
    else
      head -c 9 /dev/urandom | base64 | tr '+/' 'xy' >"$state/admin-password"
    fi
    awk -v count=240 -v password="$(slappasswd -s "$RANDOM$RANDOM$RANDOM")" \
      -f deploy/demo/people.awk >"$state/people.ldif"
    cat deploy/demo/featured.ldif >>"$state/people.ldif"
    write_slapd_config
  )
  slapadd -q -f "$state/slapd.conf" -b "$suffix" -l "$state/people.ldif" \
    2>"$state/slapadd.log" || fail "slapadd failed; see $state/slapadd.log"

  cp deploy/demo/site/*.html deploy/kestrel.css "$state/www/"
  draw_photos
  install -m 755 "$program" "$state/cgi-bin/kestrel.cgi"
  sed "s/^LdapPort:3890\$/LdapPort:$ldap_port/" "$sample_config" \
    >"$state/kestrel.conf"
  # The plain search and add pages, written from the configuration itself.
  if [[ -x ${admin:-} ]]; then
    mkdir -p "$state/www/generated"
    "$admin" forms demo "$state/kestrel.conf" --out="$state/www/generated" \
      >/dev/null || fail "kestrel-admin could not write the demo's forms"
  fi
  write_lighttpd_config
}

start() {
  [[ $(id -u) -eq 0 ]] || fail "run as root (the demo makes a mount namespace)"
  state_disposable ||
    fail "$state holds files the demo did not make, and a start would wipe it; set KESTREL_DEMO_DIR to a new or empty folder"
  bash scripts/install-deps.sh
  if alive "$(pid_in "$state/demo.pid")"; then
    fail "a demo is running already; bash scripts/demo.sh stop"
  fi
  for port in "$http_port" "$ldap_port"; do
    port_free "$port" || fail "port $port is taken; set KESTREL_DEMO_HTTP_PORT or KESTREL_DEMO_LDAP_PORT"
  done
  build
  KESTREL_DEMO_T0=$(date +%s%N)
  prepare
  exec unshare -m --propagation private env \
    KESTREL_DEMO_DIR="$state" KESTREL_DEMO_HTTP_PORT="$http_port" \
    KESTREL_DEMO_LDAP_PORT="$ldap_port" KESTREL_DEMO_T0="$KESTREL_DEMO_T0" \
    KESTREL_DEMO_LIFETIME="${KESTREL_DEMO_LIFETIME:-}" \
    bash "$root/scripts/demo.sh" inside
}

case ${1:-start} in
  start) start ;;
  stop) stop_demo ;;
  inside) inside ;;
  *) fail "usage: bash scripts/demo.sh [start|stop]" ;;
esac
