#!/usr/bin/env bash
# The program as a CGI, the same program as a FastCGI worker, and a PHP peer
# (Debian's phpldapadmin under php-cgi, itself FastCGI, anonymous and
# read-only as a user would set it up) side by side through one lighttpd
# against one slapd: requests per second in alternating rounds (medians and
# ranges), CPU per request, 1 and 100 entries, concurrency 1 and 2. Then the
# share of a FastCGI request spent in libldap's connect and bind.
#
#   bash bench/fastcgi.sh            3 rounds of 10 s per case (about 8 min)
#   bash bench/fastcgi.sh --smoke    1 round of 1 s per case; checks that
#                                    every site answers
#   bash bench/fastcgi.sh --soak [N] N (default 100,000) mixed requests on
#                                    the FastCGI workers: their resident
#                                    memory and open files along the way
#
# Writes $BENCH_BUILD/fastcgi-<mode>/results.md (BENCH_BUILD defaults to
# build-bench); KESTREL_CGI names the program (default: the release build of
# bench/run.sh). The peer is left out when phpldapadmin or php8.2-cgi is not
# installed (BENCH_PEER=install installs both, with service starts
# prevented). Needs root (a private mount namespace: the test's configuration
# at /etc/kestrel.conf and /etc/phpldapadmin/config.php), slapd, lighttpd,
# ab and valgrind.
set -euo pipefail

bench=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$bench")
mode=full
case "${1:-}" in
  "") ;;
  --smoke) mode=smoke ;;
  --soak) mode=soak; export BENCH_SOAK=${2:-100000} ;;
  --inside) mode=${2:?}; inside=1 ;;
  *) echo "usage: bash bench/fastcgi.sh [--smoke]" >&2; exit 2 ;;
esac
build=${BENCH_BUILD:-$root/build-bench}
work=$build/fastcgi-$mode
log() { printf '== %s %s\n' "$(date +%T)" "$*" >&2; }
die() { printf 'bench: %s\n' "$*" >&2; exit 1; }
[[ $(id -u) -eq 0 ]] || die "run as root (private mount namespace)"
source "$bench/ports.sh"
source "$bench/site.sh"

if [[ -z ${inside:-} ]]; then
  if [[ ${BENCH_PEER:-} == install ]]; then
    missing=()
    for p in phpldapadmin php8.2-cgi; do
      [[ $(dpkg-query -W -f='${Status}' "$p" 2>/dev/null) == "install ok installed" ]] || missing+=("$p")
    done
    if ((${#missing[@]})); then
      log "installing ${missing[*]} (no service starts)"
      policy=/usr/sbin/policy-rc.d
      if [[ ! -e $policy ]]; then
        printf '#!/bin/sh\nexit 101\n' >"$policy"; chmod 755 "$policy"
        trap 'rm -f "$policy"' EXIT
      fi
      DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}" >/dev/null
    fi
  fi
  kestrel=${KESTREL_CGI:-$build/release/kestrel.cgi}
  [[ -x $kestrel ]] || die "no program at $kestrel (set KESTREL_CGI or run bench/run.sh first)"
  rm -rf "$work"
  mkdir -p "$work"
  cp "$kestrel" "$work/kestrel.cgi"
  export BENCH_SELF_KESTREL=$work/kestrel.cgi
  exec unshare -m --propagation private bash ${BENCH_TRACE:+-x} "$0" --inside "$mode"
fi

# ------------------------------------------------------------- inside
kestrel=$BENCH_SELF_KESTREL
pids=()
cleanup() {
  for pid in "${pids[@]}"; do
    kill "$pid" 2>/dev/null || continue
    for _ in $(seq 100); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
    kill -9 "$pid" 2>/dev/null || true
  done
}
trap cleanup EXIT

size=1000
base="dc=fc,dc=bench"
mkdir -p "$work/db" "$work/sasl-none" "$work/www" "$work/run"
ldap_port=$(free_port)
cat >"$work/slapd.conf" <<CONF
include /etc/ldap/schema/core.schema
include /etc/ldap/schema/cosine.schema
include /etc/ldap/schema/inetorgperson.schema
modulepath /usr/lib/ldap
moduleload back_mdb
pidfile $work/slapd.pid
loglevel 0
sizelimit unlimited
allow bind_v2
database mdb
maxsize 1073741824
suffix "$base"
directory $work/db
index objectClass,cn,sn,employeeNumber,departmentNumber eq
rootdn "cn=admin,$base"
rootpw secret
CONF
awk -v size=$size -v suffix="$base" -f "$bench/people.awk" >"$work/people.ldif"
slapadd -q -f "$work/slapd.conf" -l "$work/people.ldif" || die "slapadd failed"
slapd -d 0 -f "$work/slapd.conf" -h "ldap://127.0.0.1:$ldap_port/" 2>"$work/slapd.log" &
slapd_pid=$!
pids+=($slapd_pid)
for _ in $(seq 200); do
  (exec 3<>"/dev/tcp/127.0.0.1/$ldap_port") 2>/dev/null && break
  sleep 0.05
done

# The program's site: the list and the search fields of bench/run.sh.
cat >"$work/kestrel.conf" <<CONF
program:kestrel
version:1.10
START:fc
OrgName:Bench:Example
PageType:HtmlExtra
LdapServer:127.0.0.1
LdapPort:$ldap_port
SearchBase:$base
TechContact:admin@example.com
BindDn:cn=admin,$base
UpdateModify:T
DeleteEntry:T
CONF
site_settings >>"$work/kestrel.conf"
# /etc is an overlay of this namespace: the bind below needs a file to
# cover, and the machine's /etc must not gain one.
mkdir -p "$work/etc-upper" "$work/etc-work"
rm -rf "$work/etc-upper"/* "$work/etc-work"/*
mount -t overlay overlay \
  -o "lowerdir=/etc,upperdir=$work/etc-upper,workdir=$work/etc-work" /etc ||
  die "overlay on /etc failed"
touch /etc/kestrel.conf
mount --bind "$work/kestrel.conf" /etc/kestrel.conf

# The peer: anonymous, read-only, the same server; sessions in the work folder.
peer=0
if [[ -f /usr/share/phpldapadmin/htdocs/cmd.php && -x /usr/bin/php-cgi8.2 ]]; then
  peer=1
  sed -e "s|^\$servers->setValue('server','base',.*|\$servers->setValue('server','base',array('$base'));|" \
    -e "s|^\$servers->setValue('login','bind_id',.*||" \
    /etc/phpldapadmin/config.php >"$work/pla-config.php"
  cat >>"$work/pla-config.php" <<PHP
<?php
\$servers->setValue('server','port',$ldap_port);
\$servers->setValue('login','anon_bind',true);
\$servers->setValue('server','read_only',true);
PHP
  mount --bind "$work/pla-config.php" /etc/phpldapadmin/config.php
  mkdir -p "$work/php-sessions"
fi

http_port=$(free_port)
cat >"$work/lighttpd.conf" <<CONF
server.modules = ( "mod_alias", "mod_cgi", "mod_fastcgi", "mod_setenv" )
server.document-root = "$work/www"
server.bind = "127.0.0.1"
server.port = $http_port
server.errorlog = "$work/lighttpd-error.log"
server.max-connections = 64
\$HTTP["url"] == "/cgi-bin/kestrel.cgi" {
  alias.url = ( "/cgi-bin/kestrel.cgi" => "$kestrel" )
  cgi.assign = ( ".cgi" => "" )
  setenv.add-environment = ( "SASL_PATH" => "$work/sasl-none",
                             "GNUTLS_NO_IMPLICIT_INIT" => "1" )
  server.stream-response-body = 1
}
\$HTTP["url"] == "/fcgi/kestrel.cgi" {
  fastcgi.server = ( "/fcgi/kestrel.cgi" => ((
    "socket" => "$work/run/kestrel.sock", "bin-path" => "$kestrel",
    "max-procs" => 2, "check-local" => "disable",
    "bin-environment" => ( "SASL_PATH" => "$work/sasl-none",
                           "GNUTLS_NO_IMPLICIT_INIT" => "1" ) )))
  server.stream-response-body = 1
}
\$HTTP["url"] =~ "^/pla/" {
  alias.url = ( "/pla/" => "/usr/share/phpldapadmin/htdocs/" )
  fastcgi.server = ( ".php" => ((
    "socket" => "$work/run/php.sock", "bin-path" => "/usr/bin/php-cgi8.2 -d session.save_path=$work/php-sessions",
    "max-procs" => 2,
    "bin-environment" => ( "PHP_FCGI_CHILDREN" => "0",
                           "PHP_FCGI_MAX_REQUESTS" => "100000" ) )))
}
CONF
lighttpd -D -f "$work/lighttpd.conf" 2>"$work/lighttpd.log" &
lighttpd_pid=$!
pids+=($lighttpd_pid)
for _ in $(seq 100); do
  (exec 3<>"/dev/tcp/127.0.0.1/$http_port") 2>/dev/null && break
  sleep 0.05
done

site=http://127.0.0.1:$http_port
k1="kestreldomain=fc&searchfor=7&selectoption=Number"
k100="kestreldomain=fc&searchfor=d1&selectoption=Department"
attrs="cn,sn,givenName,mail,telephoneNumber,title,description,street"
p1="cmd=query_engine&server_id=1&query=none&search=1&base=$base&scope=sub&filter=(employeeNumber=7)&display_attrs=$attrs&format=table&orderby=cn&size_limit=1000"
p100="cmd=query_engine&server_id=1&query=none&search=1&base=$base&scope=sub&filter=(departmentNumber=d1)&display_attrs=$attrs&format=table&orderby=cn&size_limit=1000"
declare -A path=(
  [cgi-1]="/cgi-bin/kestrel.cgi?$k1" [cgi-100]="/cgi-bin/kestrel.cgi?$k100"
  [fastcgi-1]="/fcgi/kestrel.cgi?$k1" [fastcgi-100]="/fcgi/kestrel.cgi?$k100"
  [php-1]="/pla/cmd.php?$p1" [php-100]="/pla/cmd.php?$p100")
programs=(cgi fastcgi)
((peer)) && programs+=(php)

# The peer keeps its set-up in a session that its start page opens, as a
# browser's visit does: one session per concurrent client (PHP serialises
# the requests of one session).
cookies=("" "")
if ((peer)); then
  for i in 0 1; do
    cookie=$(curl -s -D - -o /dev/null "$site/pla/index.php" |
      sed -n 's/^Set-Cookie: \([^;]*\).*/\1/ip' | head -n 1 | tr -d '\r')
    [[ -n $cookie ]] || die "the peer's start page set no session cookie"
    # The login form's anonymous choice.
    curl -s -o /dev/null -b "$cookie" --data "cmd=login&server_id=1" "$site/pla/cmd.php"
    cookies[$i]=$cookie
  done
fi
cookie_of() {  # program client
  [[ $1 == php ]] && echo "${cookies[$2]}" || echo "none=0"
}

# Every site answers with the expected entries before anything is measured.
failures=0
for program in "${programs[@]}"; do
  for n in 1 100; do
    body=$(curl -s -b "$(cookie_of "$program" 0)" "$site${path[$program-$n]}")
    case $program in
      php) got=$(sed 's/<[^>]*>//g' <<<"$body" | tr -d '\n' |
        sed -n 's/.*Entries found: *\([0-9]*\).*/\1/p') ;;
      *) got=$(sed -n 's/.*Number of matches:\([0-9]*\).*/\1/p' <<<"$body" | head -n 1) ;;
    esac
    if [[ $got != "$n" ]]; then
      echo "bench: $program-$n answered $got entries, expected $n" >&2
      printf '%s\n' "$body" >"$work/answer-$program-$n.html"
      failures=$((failures + 1))
    fi
  done
done
((failures == 0)) || die "sites did not answer as expected; see $work"

# CPU time (clock ticks) of lighttpd and everything under it (reaped CGI
# runs included), and of slapd: the work of a request wherever it is done,
# and nothing of the other processes on the machine. Two numbers: web side,
# directory.
ticks() {
  local web=0 pid
  for pid in $lighttpd_pid $(pgrep -P "$lighttpd_pid"); do
    [[ -r /proc/$pid/stat ]] || continue
    web=$((web + $(awk '{print $14 + $15 + $16 + $17}' "/proc/$pid/stat")))
  done
  echo "$web $(awk '{print $14 + $15 + $16 + $17}' "/proc/$slapd_pid/stat")"
}
hz=$(getconf CLK_TCK)

if [[ $mode == soak ]]; then
  # Mixed requests, a thousand a round, each page type in turn: searches,
  # information, vCard, modify and delete forms, an update, a refused
  # update, a deletion of a missing entry, error pages and the aborted
  # blank search.
  gets=("$k1" "$k100" "kestreldomain=fc&info=Ada+Abbott+0"
        "kestreldomain=fc&vcard=Ada+Abbott+0"
        "kestreldomain=fc&createupdateform=Ada+Abbott+0"
        "kestreldomain=fc&createdeleteform=uid%3Dp1" "kestreldomain=fc"
        "info=x" "kestreldomain=nosuch&info=x"
        "kestreldomain=fc&searchfor=+&selectoption=Name")
  posts=("kestreldomain=fc&entrydn=uid%3Dp0%2C$base&updatepassword=secret&title=Engineer"
         "kestreldomain=fc&entrydn=uid%3Dp0%2C$base&updatepassword=wrong&title=x"
         "kestreldomain=fc&delentry=uid%3Dnobody%2C$base&deletepassword=secret")
  per=$((1000 / (${#gets[@]} + ${#posts[@]})))
  workers() { pgrep -f "^$kestrel" | sort -n; }
  state() {  # requests so far
    local pid line="$1"
    for pid in $(workers); do
      line+=" $pid:$(awk '/^VmRSS/ {print $2}' "/proc/$pid/status")KiB:$(ls "/proc/$pid/fd" | wc -l)fds"
    done
    echo "$line"
  }
  log "soak: $BENCH_SOAK requests, $per per page a round"
  echo "requests worker:rss:fds..." >"$work/soak.txt"
  sent=0
  while ((sent < BENCH_SOAK)); do
    for q in "${gets[@]}"; do
      ab -q -n "$per" "$site/fcgi/kestrel.cgi?$q" >/dev/null 2>&1 || true
    done
    for body in "${posts[@]}"; do
      printf '%s' "$body" >"$work/post.txt"
      ab -q -n "$per" -p "$work/post.txt" -T application/x-www-form-urlencoded \
        "$site/fcgi/kestrel.cgi" >/dev/null 2>&1 || true
    done
    sent=$((sent + per * (${#gets[@]} + ${#posts[@]})))
    if ((sent <= 1000 || sent % 10000 < 1000)); then state "$sent" >>"$work/soak.txt"; fi
  done
  state "$sent" >>"$work/soak.txt"
  cat "$work/soak.txt"
  exit 0
fi
if [[ $mode == smoke ]]; then rounds=1; seconds=1; else rounds=3; seconds=10; fi
results=$work/raw.tsv
printf 'round\tprogram\tentries\tconcurrency\trps\tcpu_ms\tslapd_ms\n' >"$results"
for ((round = 1; round <= rounds; round++)); do
  # The order of the programs turns every round.
  order=("${programs[@]:round % ${#programs[@]}}" "${programs[@]:0:round % ${#programs[@]}}")
  for n in 1 100; do
    for c in 1 2; do
      for program in "${order[@]}"; do
        log "round $round: $program, $n entries, concurrency $c"
        before=$(ticks)
        # Concurrency c: c clients of one connection each, each with its
        # own session for the peer.
        clients=()
        for ((i = 0; i < c; i++)); do
          ab -q -k -c 1 -t "$seconds" -n 1000000 -C "$(cookie_of "$program" "$i")" \
            "$site${path[$program-$n]}" >"$work/ab-$i.txt" 2>&1 &
          clients+=($!)
        done
        wait "${clients[@]}" || true
        after=$(ticks)
        done_count=$(cat "$work"/ab-[0-$((c - 1))].txt | awk '/^Complete requests:/ {s += $3} END {print s}')
        rps=$(cat "$work"/ab-[0-$((c - 1))].txt | awk '/^Requests per second:/ {s += $4} END {printf "%.1f", s}')
        ((done_count > 0)) || die "ab: no request completed, see $work/ab-0.txt"
        read -r web_before slapd_before <<<"$before"
        read -r web_after slapd_after <<<"$after"
        per_request() { awk -v t="$1" -v n="$done_count" -v hz="$hz" 'BEGIN {printf "%.2f", t * 1000 / hz / n}'; }
        cpu=$(per_request $((web_after - web_before + slapd_after - slapd_before)))
        slapd_cpu=$(per_request $((slapd_after - slapd_before)))
        printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$round" "$program" "$n" "$c" "$rps" "$cpu" "$slapd_cpu" >>"$results"
      done
    done
  done
done

# Where a FastCGI request's instructions go: one worker under callgrind
# serving the 1-entry and then the 100-entry page; libldap's connect, bind,
# search and sort against the rendering of the entries.
cg_requests=$([[ $mode == smoke ]] && echo 5 || echo 200)
declare -A share
for n in 1 100; do
  log "callgrind: one FastCGI worker, $n-entry page"
  rm -f "$work/run/cg.sock"
  env -i PATH="$PATH" SASL_PATH="$work/sasl-none" GNUTLS_NO_IMPLICIT_INIT=1 \
    spawn-fcgi -n -s "$work/run/cg.sock" -- "$(command -v valgrind)" -q \
    --tool=callgrind --callgrind-out-file="$work/callgrind-$n.out" "$kestrel" &
  cg_pid=$!
  pids+=($cg_pid)
  for _ in $(seq 100); do [[ -S $work/run/cg.sock ]] && break; sleep 0.1; done
  query=$([[ $n == 1 ]] && echo "$k1" || echo "$k100")
  for ((i = 0; i < cg_requests; i++)); do
    env -i REQUEST_METHOD=GET QUERY_STRING="$query" SERVER_NAME=localhost \
      SERVER_PORT=80 cgi-fcgi -bind -connect "$work/run/cg.sock" >/dev/null
  done
  kill -TERM "$cg_pid"
  wait "$cg_pid" 2>/dev/null || true
  callgrind_annotate --inclusive=yes --threshold=100 "$work/callgrind-$n.out" 2>/dev/null |
    sed 's/,//g' >"$work/callgrind-$n.txt" || true
  # inclusive instructions of a function (first match), 0 when absent
  cost() { awk -v f="$1" '$0 ~ f {print $1; exit}' "$work/callgrind-$n.txt" | grep . || echo 0; }
  share[$n-serve]=$(cost "kestrel::readAndServeRequest")
  share[$n-connect]=$(cost ":ldap_init[ (]")
  share[$n-bind]=$(cost ":ldap_bind_s[ (]")
  share[$n-unbind]=$(cost ":ldap_unbind[ (]")
  share[$n-search]=$(cost ":ldap_search_s[ (]")
  share[$n-sort]=$(cost ":ldap_sort_entries[ (]")
  share[$n-render]=$(cost "kestrel::renderEntry[(]kestrel::Request& kestrel::RenderContext")
done

# ---------------------------------------------------------------- report
median_range() {  # program entries concurrency column
  awk -F'\t' -v p="$1" -v n="$2" -v c="$3" -v col="$4" '
    NR > 1 && $2 == p && $3 == n && $4 == c { v[++k] = $col }
    END {
      if (!k) { print "-"; exit }
      for (i = 1; i <= k; i++) for (j = i + 1; j <= k; j++) if (v[j] < v[i]) { t = v[i]; v[i] = v[j]; v[j] = t }
      m = (k % 2) ? v[(k + 1) / 2] : (v[k / 2] + v[k / 2 + 1]) / 2
      printf "%.1f (%.1f-%.1f)", m, v[1], v[k]
    }' "$results"
}
median() {
  median_range "$@" | cut -d' ' -f1
}
{
  echo "# FastCGI, CGI and the PHP peer"
  echo
  echo "date: $(date -u '+%Y-%m-%d %H:%M UTC'); mode: $mode; $rounds round(s) of $seconds s per case, programs alternating"
  echo "machine: $(nproc) cores, load average at the end $(cut -d' ' -f1-3 /proc/loadavg)"
  echo "directory: $size people in slapd on loopback; 1 entry: employeeNumber=7; 100 entries: departmentNumber=d1"
  echo "program: $(basename "$kestrel") under the shipped environment (SASL_PATH, GNUTLS_NO_IMPLICIT_INIT); FastCGI with 2 workers"
  ((peer)) && echo "peer: phpldapadmin $(dpkg-query -W -f='${Version}' phpldapadmin) under php-cgi $(dpkg-query -W -f='${Version}' php8.2-cgi), 2 FastCGI workers, anonymous, read-only, query_engine table of the same 8 attributes"
  echo
  echo "Requests per second, median (range) over the rounds; CPU per request in ms:"
  echo "all of it (lighttpd, everything it runs, and slapd), and slapd's part."
  echo
  echo "| entries | concurrency | program | requests/s | CPU ms/request | of which slapd |"
  echo "|---|---|---|---|---|---|"
  for n in 1 100; do
    for c in 1 2; do
      for program in "${programs[@]}"; do
        echo "| $n | $c | $program | $(median_range "$program" "$n" "$c" 5) | $(median_range "$program" "$n" "$c" 6) | $(median_range "$program" "$n" "$c" 7) |"
      done
    done
  done
  echo
  echo "Ratios of the medians:"
  echo
  for n in 1 100; do
    for c in 1 2; do
      f=$(median fastcgi "$n" "$c" 5)
      line="- $n entries, concurrency $c: FastCGI/CGI $(awk -v a="$f" -v b="$(median cgi "$n" "$c" 5)" 'BEGIN {printf "%.1f", a / b}')x"
      ((peer)) && line+=", FastCGI/peer $(awk -v a="$f" -v b="$(median php "$n" "$c" 5)" 'BEGIN {printf "%.1f", a / b}')x"
      echo "$line"
    done
  done
  echo
  echo "One FastCGI worker under callgrind, $cg_requests requests of each page"
  echo "(instructions per request, inclusive, and their share of serving it):"
  echo
  echo "| page | serving | ldap_init | ldap_bind_s (connect, bind) | ldap_unbind | ldap_search_s (send, receive) | ldap_sort_entries | rendering the entries |"
  echo "|---|---|---|---|---|---|---|---|"
  for n in 1 100; do
    serve=${share[$n-serve]}
    line="| $n $([[ $n == 1 ]] && echo entry || echo entries) | $((serve / cg_requests))"
    for part in connect bind unbind search sort render; do
      line+=" | $(awk -v v="${share[$n-$part]}" -v s="$serve" -v r="$cg_requests" \
        'BEGIN {printf "%d (%.1f%%)", v / r, s ? 100 * v / s : 0}')"
    done
    echo "$line |"
  done
} >"$work/results.md"
cat "$work/results.md"
