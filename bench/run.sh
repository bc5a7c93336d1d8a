#!/usr/bin/env bash
# Measures kestrel.cgi against the floor program (bench/floor.c): whole
# process runs side by side, instruction counts, and requests per second
# through lighttpd, and over each transport (bench/transports.sh). Writes
# bench/RESULTS.md.
#
#   bash bench/run.sh            full run (about 12 minutes)
#   bash bench/run.sh --smoke    10 entries, 3 runs, a few seconds; writes
#                                $BENCH_BUILD/RESULTS-smoke.md and exits
#                                non-zero when anything fails to run
#
# Environment: BENCH_BUILD (default build-bench) holds builds, generated
# directories and raw data; KESTREL_CGI names an already built program and
# skips the release build (the smoke run in CI uses the CI build);
# BENCH_EXTRA_VARIANTS="name=path ..." adds builds to the variant series;
# BENCH_QUIET_WAIT caps the wait for a quiet machine (seconds);
# BENCH_RUNS sets the rounds of every series (more rounds for a busy
# machine).
# Needs root (mount namespace for /etc/kestrel.conf), slapd, valgrind,
# lighttpd and ab (apache2-utils, installed here when missing).
set -euo pipefail

bench=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$bench")
mode=full
case "${1:-}" in
  "") ;;
  --smoke) mode=smoke ;;
  *) echo "usage: bash bench/run.sh [--smoke]" >&2; exit 2 ;;
esac
build=${BENCH_BUILD:-$root/build-bench}
work=$build/work-$mode
raw=$work/raw
mkdir -p "$build" "$work"
rm -rf "$raw"
mkdir -p "$raw"

log() { printf '== %s %s\n' "$(date +%T)" "$*" >&2; }
die() { printf 'bench: %s\n' "$*" >&2; exit 1; }

[[ $(id -u) -eq 0 ]] || die "run as root (private mount namespace)"

# ---------------------------------------------------------------- packages
need=()
command -v ab >/dev/null || need+=(apache2-utils)
command -v valgrind >/dev/null || need+=(valgrind)
command -v lighttpd >/dev/null || need+=(lighttpd)
command -v slapd >/dev/null || need+=(slapd)
command -v ldapsearch >/dev/null || need+=(ldap-utils)
if ((${#need[@]})); then
  log "installing ${need[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -q >/dev/null
  apt-get install -y -q --no-install-recommends "${need[@]}" >/dev/null
fi

# ------------------------------------------------------------------ builds
log "building the timer and the floor"
cc -O2 -Wall -Wextra -o "$build/timer" "$bench/timer.c"
cc -O2 -Wall -Wextra -o "$build/floor" "$bench/floor.c" -lldap -llber

# One configure and build per variant; only the program's target.
build_variant() {  # name, extra cmake arguments...
  local name=$1
  shift
  log "building kestrel.cgi ($name)"
  # A fresh configure: cached library paths would outlive a change of build.
  rm -f "$build/$name/CMakeCache.txt"
  cmake -S "$root" -B "$build/$name" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DKESTREL_TESTS=OFF "$@" >"$build/$name.configure.log" ||
    die "configure $name failed, see $build/$name.configure.log"
  cmake --build "$build/$name" -j2 --target kestrel_cgi \
    >"$build/$name.build.log" 2>&1 ||
    die "build $name failed, see $build/$name.build.log"
}

variants=()  # "name=path" of builds measured beside the release build
if [[ -n ${KESTREL_CGI:-} ]]; then
  kestrel=$(cd "$(dirname "$KESTREL_CGI")" && pwd)/$(basename "$KESTREL_CGI")
  [[ -x $kestrel ]] || die "KESTREL_CGI=$KESTREL_CGI is not a program"
else
  build_variant release
  kestrel=$build/release/kestrel.cgi
  if [[ $mode == full ]]; then
    # For comparison: the same sources with libldap, or libcgicc, shared.
    cgicc_shared=$(find /usr/lib -name libcgicc.so | head -n 1)
    build_variant shared-ldap -DKESTREL_STATIC_LDAP=OFF
    build_variant shared-cgicc -DCGICC_LIBRARY="$cgicc_shared"
    variants=("shared-ldap=$build/shared-ldap/kestrel.cgi"
              "shared-cgicc=$build/shared-cgicc/kestrel.cgi")
  fi
fi

# More builds to measure beside the others, "name=path ..." (experiments).
for v in ${BENCH_EXTRA_VARIANTS:-}; do variants+=("$v"); done

# -------------------------------------------------------------- directories
if [[ $mode == smoke ]]; then sizes=(10); else sizes=(10 1000 10000 100000); fi
data=$build/data
mkdir -p "$data"
indexes="index objectClass,cn,sn,uid,employeeNumber,departmentNumber,ou,businessCategory eq"
stamp=$( (cat "$bench/people.awk"; echo "$indexes") | md5sum | cut -c1-12)

slapd_conf=$work/slapd.conf
{
  printf '%s\n' \
    "include /etc/ldap/schema/core.schema" \
    "include /etc/ldap/schema/cosine.schema" \
    "include /etc/ldap/schema/inetorgperson.schema" \
    "modulepath /usr/lib/ldap" \
    "moduleload back_mdb" \
    "pidfile $work/slapd.pid" \
    "argsfile $work/slapd.args" \
    "loglevel 0" \
    "sizelimit unlimited" \
    "allow bind_v2"
  for size in "${sizes[@]}"; do
    printf '%s\n' "" "database mdb" "maxsize 4294967296" \
      "suffix \"dc=n$size,dc=bench\"" "directory $data/db$size" \
      "sizelimit unlimited" "$indexes"
  done
} >"$slapd_conf"

# slapadd reads the whole configuration, so every folder must exist first.
for size in "${sizes[@]}"; do mkdir -p "$data/db$size"; done
for size in "${sizes[@]}"; do
  db=$data/db$size
  if [[ -f $db/stamp && $(cat "$db/stamp") == "$stamp" ]]; then continue; fi
  log "generating and loading $size people"
  rm -f "$db"/*
  awk -v size="$size" -v suffix="dc=n$size,dc=bench" -f "$bench/people.awk" \
    >"$data/people$size.ldif"
  slapadd -q -f "$slapd_conf" -b "dc=n$size,dc=bench" \
    -l "$data/people$size.ldif" 2>"$work/slapadd.log" ||
    die "slapadd failed, see $work/slapadd.log"
  rm -f "$data/people$size.ldif"
  echo "$stamp" >"$db/stamp"
done

source "$bench/ports.sh"

pids=()
cleanup() {
  local pid
  for pid in "${pids[@]}"; do
    kill "$pid" 2>/dev/null || continue
    for _ in $(seq 100); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
    kill -9 "$pid" 2>/dev/null || true
  done
}
trap cleanup EXIT

ldap_port=$(free_port)
log "starting slapd on 127.0.0.1:$ldap_port"
slapd -d 0 -f "$slapd_conf" -h "ldap://127.0.0.1:$ldap_port/" \
  2>"$work/slapd.log" &
pids+=($!)
for _ in $(seq 200); do
  (exec 3<>"/dev/tcp/127.0.0.1/$ldap_port") 2>/dev/null && break
  kill -0 "${pids[0]}" 2>/dev/null || die "slapd did not start, see $work/slapd.log"
  sleep 0.05
done

# --------------------------------------------------------- configurations
# One domain per directory, named after it ("n100000"). Field 0 is the key;
# fields 1 and 2 make the name column; the eight listed columns follow; the
# four group fields are searchable but not listed.
domain_block() {  # domain name, search base
  cat <<EOF
START:$1
OrgName:Bench:Example
PageType:HtmlExtra
LdapServer:127.0.0.1
LdapPort:$ldap_port
SearchBase:$2
TechContact:admin@example.com
UrlReturnLink:index.html
WebServer:localhost
WebServerPort:80
CgiBinPath:cgi-bin/
SortResultsBy:cn
VcardOrgName:Example
InfoDisplayNumberOfConcatenationAttributes:2
InfoDisplayCommaAfterAttributeNumber:1
AllowURLAccess:T
DisplayFullInfoLink:T
UpdateModify:T
DeleteEntry:T
DisplayVcard:T
DisplayMapURL:T:T:maps.google.com/:Map:c:postalCode:st:l:street
UrlAttribute:labeledURI:F::Home page
WtaiAttribute:telephoneNumber:T:T:T
field:cn:T:T:Name:Name:F:T:T:40:0:FN:F
field:sn:F:F:Surname:Surname:T:T:T:30:0:N:F
field:givenName:F:F:Given name:Given:T:T:T:30:0:+:F
field:mail:F:F:E-mail:Mail:T:T:T:40:0:EMAIL;TYPE=INTERNET:F
field:telephoneNumber:F:F:Phone:Phone:T:T:T:20:0:TEL;TYPE=WORK:F
field:title:F:F:Title:Title:T:T:T:30:0:TITLE:F
field:description:F:F:Description:Description:T:T:T:60:0:NOTE:F
field:street:F:F:Street:Street:T:T:T:40:0:ADR;TYPE=WORK:F
field:l:F:F:City:City:T:T:T:30:0:+:F
field:st:F:F:State:State:T:T:T:4:0:+:F
field:postalCode:F:F:Postal code:Zip:F:T:T:10:0:+:F
field:labeledURI:F:F:Home page:Web:T:T:T:40:0:URL:F
field:employeeNumber:F:F:Number:Number:F:T:F:10:0::F
field:departmentNumber:F:F:Department:Department:F:T:F:10:0::F
field:ou:F:F:Unit:Unit:F:T:F:10:0::F
field:businessCategory:F:F:Division:Division:F:T:F:10:0::F
EOF
}

conf_small=$work/kestrel-small.conf
{
  printf 'program:kestrel\nversion:1.10\n'
  for size in "${sizes[@]}"; do domain_block "n$size" "dc=n$size,dc=bench"; done
} >"$conf_small"

# 10,000 lines, 200 domains; the measured domain (the largest directory)
# is the last block.
big=${sizes[-1]}
conf_big=$work/kestrel-big.conf
block_lines=$(domain_block x x | wc -l)
filler=$(( (10000 - 2 - block_lines) / 199 ))
((filler >= block_lines)) || die "domain block too long for the filler"
domain_block @DOMAIN@ dc=@DOMAIN@,dc=bench >"$work/block.tmpl"
{
  printf 'program:kestrel\nversion:1.10\n'
  # 199 other domains of $filler lines each (the block, padded with field
  # lines), the last one taking the remainder.
  awk -v filler="$filler" -v rest=$(( (10000 - 2 - block_lines) % 199 )) '
    {line[NR] = $0}
    END {
      for (d = 1; d <= 199; d++) {
        for (i = 1; i <= NR; i++) {
          l = line[i]; gsub(/@DOMAIN@/, "other" d, l); print l
        }
        extra = filler - NR + (d == 199 ? rest : 0)
        for (e = 0; e < extra; e++) print "field:extra" e ":F:F:Extra " e ":Extra" e ":F:T:T:20:0::F"
      }
    }' "$work/block.tmpl"
  domain_block "n$big" "dc=n$big,dc=bench"
} >"$conf_big"
[[ $(wc -l <"$conf_big") -eq 10000 ]] || die "big configuration is not 10,000 lines"

mkdir -p "$work/empty-sasl"

# ----------------------------------------------------------------- measure
# Other work on the machine (compilers above all) distorts wall times:
# wait a bounded time for the one-minute load average to fall below 1.
quiet_wait=${BENCH_QUIET_WAIT:-$([[ $mode == full ]] && echo 600 || echo 0)}
waited=0
while ((waited < quiet_wait)) &&
  awk '{exit !($1 >= 1.0)}' /proc/loadavg; do
  ((waited % 60 == 0)) && log "waiting for a quiet machine (load $(cut -d' ' -f1 /proc/loadavg))"
  sleep 10
  waited=$((waited + 10))
done

version_of() { dpkg-query -W -f='${Version}' "$1" 2>/dev/null || echo "?"; }
{
  echo "date: $(date -u '+%Y-%m-%d %H:%M UTC')"
  echo "mode: $mode"
  echo "kernel: $(uname -srm)"
  echo "cpu: $(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n 1), $(nproc) cores"
  echo "memory: $(awk '/^MemTotal/ {printf "%.1f GiB", $2 / 1048576}' /proc/meminfo)"
  echo "system: $(. /etc/os-release && echo "$PRETTY_NAME")"
  echo "packages: libldap-2.5-0 $(version_of libldap-2.5-0), libcgicc3 $(version_of libcgicc3), slapd $(version_of slapd), lighttpd $(version_of lighttpd), apache2-utils $(version_of apache2-utils), valgrind $(version_of valgrind)"
  echo "compiler: $(c++ --version | head -n 1)"
  echo "program: $kestrel ($(stat -c %s "$kestrel") bytes; git $(git -C "$root" rev-parse --short HEAD 2>/dev/null)$(git -C "$root" status --porcelain -- src 2>/dev/null | grep -q . && echo ', src with uncommitted changes'))"
  echo "libraries loaded by the program: $(ldd "$kestrel" | wc -l), by the floor: $(ldd "$build/floor" | wc -l)"
  echo "SASL plugins: $(ls /usr/lib/x86_64-linux-gnu/sasl2/*.so 2>/dev/null | wc -l) in /usr/lib/x86_64-linux-gnu/sasl2"
  echo "runs per case: ${BENCH_RUNS:-$([[ $mode == smoke ]] && echo 3 || echo 21)} after $([[ $mode == smoke ]] && echo 1 || echo 2) warm-up"
  echo "largest-directory: ${sizes[-1]}"
  echo "small-config-lines: $(wc -l <"$conf_small")"
  echo "load average before: $(cut -d' ' -f1-3 /proc/loadavg) (waited ${waited} s of at most ${quiet_wait} s for it to fall below 1)"
} >"$raw/machine.txt"

log "measuring (inside a private mount namespace)"
export BENCH_MODE=$mode WORK=$work RAW=$raw TIMER=$build/timer \
  FLOOR=$build/floor KESTREL=$kestrel VARIANTS="${variants[*]}" \
  LDAP_PORT=$ldap_port CONF_SMALL=$conf_small CONF_BIG=$conf_big \
  SIZES="${sizes[*]}" EMPTY_SASL=$work/empty-sasl
status=0
unshare -m --propagation private bash "$bench/measure.sh" || status=$?
echo "load average after: $(cut -d' ' -f1-3 /proc/loadavg)" >>"$raw/machine.txt"

# The FastCGI mode beside the CGI mode and the PHP peer (bench/fastcgi.sh).
log "FastCGI comparison"
KESTREL_CGI=$kestrel BENCH_BUILD=$build bash "$bench/fastcgi.sh" \
  $([[ $mode == smoke ]] && echo --smoke) >"$raw/fastcgi.txt" 2>"$work/fastcgi.log" ||
  { echo "bench/fastcgi.sh failed, see $work/fastcgi.log" >>"$raw/failures.txt"; status=1; }

# ------------------------------------------------------------------ report
log "writing the report"
if [[ $mode == smoke ]]; then results=$build/RESULTS-smoke.md; else results=$bench/RESULTS.md; fi
bash "$bench/report.sh" "$raw" >"$results.new" && mv "$results.new" "$results"
log "wrote $results"

# The program against the floor over ldapi://, ldap:// and ldaps://
# (bench/transports.sh); in the full run it adds its own section to
# bench/RESULTS.md, written just above.
log "transports"
if KESTREL_CGI=$kestrel BENCH_BUILD=$build bash "$bench/transports.sh" \
  $([[ $mode == smoke ]] && echo --smoke) >"$work/transports.log" 2>&1; then
  if [[ $mode == smoke ]]; then
    { echo; cat "$build/transports-smoke/results.md"; } >>"$results"
  fi
else
  echo "bench/transports.sh failed, see $work/transports.log" >>"$raw/failures.txt"
  status=1
fi
if [[ -s $raw/failures.txt ]]; then
  echo "bench: failures:" >&2
  cat "$raw/failures.txt" >&2
  status=1
fi
exit "$status"
