#!/usr/bin/env bash
# The program against the floor program (bench/floor.c) over each way of
# reaching the directory: ldapi:// (a local socket), ldap:// (host and port,
# LdapServer:127.0.0.1 with LdapPort) and ldaps:// (TLS, a certificate from
# a certificate authority made for the run). Both programs use the same
# transport in each pair. Whole-process wall times in alternating runs, in
# the environment of the shipped web-server snippets; 1 and 100 entries.
#
#   bash bench/transports.sh            101 rounds (about a minute); appends
#                                       (or replaces) the "Transports"
#                                       section of bench/RESULTS.md
#   bash bench/transports.sh --smoke    3 rounds; checks every pair answers
#
# Writes $BENCH_BUILD/transports-<mode>/results.md (BENCH_BUILD defaults to
# build-bench); KESTREL_CGI names the program (default: the release build of
# bench/run.sh); BENCH_RUNS sets the rounds. Needs root (a private mount
# namespace: the configuration at /etc/kestrel.conf over an overlay of
# /etc), slapd, ldap-utils and certtool (gnutls-bin).
set -euo pipefail

bench=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$bench")
mode=full
case "${1:-}" in
  "") ;;
  --smoke) mode=smoke ;;
  --inside) mode=${2:?}; inside=1 ;;
  *) echo "usage: bash bench/transports.sh [--smoke]" >&2; exit 2 ;;
esac
build=${BENCH_BUILD:-$root/build-bench}
work=$build/transports-$mode
log() { printf '== %s %s\n' "$(date +%T)" "$*" >&2; }
die() { printf 'bench: %s\n' "$*" >&2; exit 1; }
[[ $(id -u) -eq 0 ]] || die "run as root (private mount namespace)"
source "$bench/ports.sh"
source "$bench/site.sh"

if [[ -z ${inside:-} ]]; then
  command -v certtool >/dev/null || die "certtool missing (gnutls-bin)"
  kestrel=${KESTREL_CGI:-$build/release/kestrel.cgi}
  [[ -x $kestrel ]] || die "no program at $kestrel (set KESTREL_CGI or run bench/run.sh first)"
  rm -rf "$work"
  mkdir -p "$work"
  cc -O2 -Wall -Wextra -o "$work/timer" "$bench/timer.c"
  cc -O2 -Wall -Wextra -o "$work/floor" "$bench/floor.c" -lldap -llber
  export BENCH_SELF_KESTREL
  BENCH_SELF_KESTREL=$(cd "$(dirname "$kestrel")" && pwd)/$(basename "$kestrel")
  status=0
  unshare -m --propagation private bash "$0" --inside "$mode" || status=$?
  [[ ! -e /etc/kestrel.conf ]] || die "/etc/kestrel.conf exists outside the namespace"
  exit "$status"
fi

# ------------------------------------------------------------- inside
kestrel=$BENCH_SELF_KESTREL
timer=$work/timer
floor=$work/floor
pids=()
cleanup() {
  for pid in "${pids[@]}"; do
    kill "$pid" 2>/dev/null || continue
    for _ in $(seq 100); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
    kill -9 "$pid" 2>/dev/null || true
  done
}
trap cleanup EXIT

# The certificate authority and the server's certificate, for 127.0.0.1.
ca=$work/ca
mkdir -p "$ca"
printf 'cn = Bench CA\nca\ncert_signing_key\nexpiration_days = 2\n' >"$ca/ca.tmpl"
printf '%s\n' "cn = 127.0.0.1" "ip_address = 127.0.0.1" "dns_name = localhost" \
  tls_www_server signing_key "expiration_days = 2" >"$ca/server.tmpl"
{
  certtool --generate-privkey --key-type=ecdsa --outfile "$ca/ca.key"
  certtool --generate-self-signed --load-privkey "$ca/ca.key" \
    --template "$ca/ca.tmpl" --outfile "$ca/ca.pem"
  certtool --generate-privkey --key-type=ecdsa --outfile "$ca/server.key"
  certtool --generate-certificate --load-privkey "$ca/server.key" \
    --load-ca-certificate "$ca/ca.pem" --load-ca-privkey "$ca/ca.key" \
    --template "$ca/server.tmpl" --outfile "$ca/server.pem"
} >"$ca/certtool.log" 2>&1 || die "certtool failed, see $ca/certtool.log"

# One directory of 1,000 people: employeeNumber=7 finds one, departmentNumber=d1
# a hundred.
base="dc=tr,dc=bench"
mkdir -p "$work/db" "$work/sasl-none"
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
TLSCACertificateFile $ca/ca.pem
TLSCertificateFile $ca/server.pem
TLSCertificateKeyFile $ca/server.key
database mdb
maxsize 1073741824
suffix "$base"
directory $work/db
index objectClass,cn,sn,employeeNumber,departmentNumber eq
CONF
awk -v size=1000 -v suffix="$base" -f "$bench/people.awk" >"$work/people.ldif"
slapadd -q -f "$work/slapd.conf" -l "$work/people.ldif" 2>"$work/slapadd.log" ||
  die "slapadd failed, see $work/slapadd.log"

socket=$work/ldapi
socket_uri=ldapi://$(sed 's|/|%2F|g' <<<"$socket")
# Ports found free can be taken before slapd binds them: then other ones.
started=0
for attempt in 1 2 3 4 5; do
  ldap_port=$(free_port)
  ldaps_port=$(free_port)
  [[ $ldaps_port != "$ldap_port" ]] || ldaps_port=$(free_port)
  uri_ldap=ldap://127.0.0.1:$ldap_port
  uri_ldaps=ldaps://127.0.0.1:$ldaps_port
  rm -f "$socket"
  slapd -d 0 -f "$work/slapd.conf" \
    -h "$uri_ldap/ $uri_ldaps/ $socket_uri/" 2>"$work/slapd.log" &
  slapd_pid=$!
  for _ in $(seq 200); do
    if (exec 3<>"/dev/tcp/127.0.0.1/$ldap_port") 2>/dev/null &&
      (exec 3<>"/dev/tcp/127.0.0.1/$ldaps_port") 2>/dev/null && [[ -S $socket ]]; then
      started=1
      break
    fi
    kill -0 "$slapd_pid" 2>/dev/null || break
    sleep 0.05
  done
  ((started)) && break
  kill "$slapd_pid" 2>/dev/null || true
  wait "$slapd_pid" 2>/dev/null || true
done
((started)) || die "slapd did not start, see $work/slapd.log"
pids+=("$slapd_pid")

# One domain per transport; the page's settings are those of bench/run.sh's
# list, reduced to the fields found here.
domain() {  # name, server lines
  cat <<EOF
START:$1
OrgName:Bench:Example
PageType:HtmlExtra
$2
SearchBase:$base
TechContact:admin@example.com
EOF
  site_settings
}
{
  printf 'program:kestrel\nversion:1.10\n'
  domain ldapi "LdapServer:$socket_uri"
  domain ldap "LdapServer:127.0.0.1
LdapPort:$ldap_port"
  domain ldaps "LdapServer:$uri_ldaps"
} >"$work/kestrel.conf"

# /etc is an overlay of this namespace: the bind below needs a file to
# cover, and the machine's /etc must not gain one.
mount --make-rprivate /
mkdir -p "$work/etc-upper" "$work/etc-work"
mount -t overlay overlay \
  -o "lowerdir=/etc,upperdir=$work/etc-upper,workdir=$work/etc-work" /etc ||
  die "overlay on /etc failed"
touch /etc/kestrel.conf
mount --bind "$work/kestrel.conf" /etc/kestrel.conf

# The CGI variables and what deploy/lighttpd/kestrel.conf sets, plus the
# certificate authority of the ldaps:// server; the same for both programs.
run_env=(-e GATEWAY_INTERFACE=CGI/1.1 -e REQUEST_METHOD=GET
         -e SERVER_NAME=localhost -e SERVER_PORT=80
         -e SERVER_PROTOCOL=HTTP/1.1 -e SCRIPT_NAME=/cgi-bin/kestrel.cgi
         -e REMOTE_ADDR=127.0.0.1 -e PATH=/usr/bin:/bin
         -e "SASL_PATH=$work/sasl-none" -e GNUTLS_NO_IMPLICIT_INIT=1
         -e LDAPNETWORK_TIMEOUT=5 -e LDAPTIMEOUT=15 -e LDAPREFERRALS=off
         -e "LDAPTLS_CACERT=$ca/ca.pem")
declare -A uri=([ldapi]=$socket_uri [ldap]=$uri_ldap [ldaps]=$uri_ldaps)
transports=(ldapi ldap ldaps)
declare -A query=([1]="searchfor=7&selectoption=Number"
                  [100]="searchfor=d1&selectoption=Department")
declare -A filter=([1]=employeeNumber=7 [100]=departmentNumber=d1)

# participant PROGRAM TRANSPORT ENTRIES [timer options]: one timed run.
participant() {
  local program=$1 transport=$2 n=$3
  shift 3
  if [[ $program == kestrel ]]; then
    "$timer" "$@" "${run_env[@]}" \
      -e "QUERY_STRING=kestreldomain=$transport&${query[$n]}" -- "$kestrel"
  elif [[ $transport == ldap ]]; then
    # The floor's host-and-port form, as the program's LdapPort path.
    "$timer" "$@" "${run_env[@]}" -e "QUERY_STRING=${filter[$n]}" -- \
      "$floor" 127.0.0.1 "$ldap_port" "$base" "${filter[$n]}"
  else
    "$timer" "$@" "${run_env[@]}" -e "QUERY_STRING=${filter[$n]}" -- \
      "$floor" "${uri[$transport]}" "$base" "${filter[$n]}"
  fi
}

# Every pair answers with the entries expected before anything is timed.
failures=0
for n in 1 100; do
  for t in "${transports[@]}"; do
    for program in kestrel floor; do
      out=$work/out-$program-$t-$n.txt
      line=$(participant "$program" "$t" "$n" -o "$out") || line="- - - timer"
      if [[ $program == kestrel ]]; then pattern="Number of matches:$n([^0-9]|\$)"
      else pattern="^$n entries\$"; fi
      if [[ $(cut -d' ' -f4 <<<"$line") != 0 ]] || ! grep -Eq "$pattern" "$out"; then
        echo "bench: $program over $t, $n entries: status $(cut -d' ' -f4 <<<"$line"), see $out" >&2
        failures=$((failures + 1))
      fi
    done
  done
done
((failures == 0)) || die "$failures pairs did not answer as expected"

if [[ $mode == smoke ]]; then runs=3; warm=1; else runs=101; warm=2; fi
runs=${BENCH_RUNS:-$runs}
load_before=$(cut -d' ' -f1-3 /proc/loadavg)
started=$(date -u '+%Y-%m-%d %H:%M UTC')
# Rounds: every participant of a case runs once per round, the order turned
# by one each round so that none always follows the same neighbour.
times=$work/times.tsv
: >"$times"
parts=()
for t in "${transports[@]}"; do parts+=("kestrel $t" "floor $t"); done
for n in 1 100; do
  log "$n entries: $runs rounds of ${#parts[@]}"
  for ((r = -warm; r < runs; r++)); do
    for ((k = 0; k < ${#parts[@]}; k++)); do
      i=$(( (k + (r < 0 ? 0 : r)) % ${#parts[@]} ))
      read -r program t <<<"${parts[i]}"
      line=$(participant "$program" "$t" "$n") || die "timer failed"
      [[ $(cut -d' ' -f4 <<<"$line") == 0 ]] || die "$program over $t failed in round $r"
      ((r < 0)) || echo "$n $t $program $r $line" >>"$times"
    done
  done
done
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

# --------------------------------------------------------------- report
# Columns of times.tsv: entries transport program round wall_us cpu_us
# maxrss_kb status.
stat_of() {  # entries transport program: "median min max" of wall_us
  awk -v n="$1" -v t="$2" -v p="$3" '$1 == n && $2 == t && $3 == p {print $5}' "$times" |
    sort -n | awk '{v[NR] = $1}
      END {m = NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2
           print m, v[1], v[NR]}'
}
ms() { awk -v v="$1" 'BEGIN {printf "%.2f", v / 1000}'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN {printf "%.3f", a / b}'; }
results=$work/results.md
{
  echo "## Transports"
  echo
  echo "\`bash bench/transports.sh\` ($mode): $runs alternating rounds after $warm warm-up,"
  echo "started $started. The program and the floor program each search a directory"
  echo "of 1,000 people (one slapd, listening on all three) over the same transport:"
  echo "ldapi:// (\`LdapServer:ldapi://...\`; the floor with ldap_initialize),"
  echo "ldap:// (\`LdapServer:127.0.0.1\` and \`LdapPort\`; the floor with ldap_init"
  echo "and the port) and ldaps:// (\`LdapServer:ldaps://127.0.0.1:port\`, an ECDSA"
  echo "certificate from a certificate authority made for the run, named in"
  echo "\`LDAPTLS_CACERT\`; the floor with ldap_initialize). The environment of both is"
  echo "that of deploy/lighttpd/kestrel.conf: \`SASL_PATH\` at an empty folder,"
  echo "\`GNUTLS_NO_IMPLICIT_INIT=1\`, \`LDAPNETWORK_TIMEOUT=5\`, \`LDAPTIMEOUT=15\`,"
  echo "\`LDAPREFERRALS=off\`. Whole-process wall time in ms, median [min-max]."
  echo
  echo "Load average (1, 5, 15 min) before: $load_before; after: $load_after."
  echo "Cores: $(nproc). Program: $kestrel (git $(git -C "$root" rev-parse --short HEAD 2>/dev/null || echo ?)); slapd $(dpkg-query -W -f='${Version}' slapd 2>/dev/null || echo ?)."
  echo
  echo "| entries | transport | kestrel | floor | kestrel / floor | target <= 1.10 |"
  echo "|---|---|---|---|---|---|"
  declare -A med
  for n in 1 100; do
    for t in "${transports[@]}"; do
      read -r km kmin kmax <<<"$(stat_of "$n" "$t" kestrel)"
      read -r fm fmin fmax <<<"$(stat_of "$n" "$t" floor)"
      med[$n-$t-kestrel]=$km
      med[$n-$t-floor]=$fm
      r=$(ratio "$km" "$fm")
      verdict=$(awk -v r="$r" 'BEGIN {print (r <= 1.10 ? "met" : "not met")}')
      echo "| $n | $t | $(ms "$km") [$(ms "$kmin")-$(ms "$kmax")] | $(ms "$fm") [$(ms "$fmin")-$(ms "$fmax")] | $r | $verdict |"
    done
  done
  echo
  echo "The TLS handshake's share of a request: (ldaps - ldap) / ldaps, of the"
  echo "median wall times; what a request over ldaps:// spends beyond the same"
  echo "request in the clear (the handshake, loading and setting up GnuTLS, and"
  echo "encrypting the answer). ldap - ldapi: the TCP connection's cost beside the"
  echo "local socket."
  echo
  echo "| entries | program | ldaps - ldap, ms | share of the ldaps request | ldap - ldapi, ms |"
  echo "|---|---|---|---|---|"
  for n in 1 100; do
    for p in kestrel floor; do
      s=${med[$n-ldaps-$p]} c=${med[$n-ldap-$p]} l=${med[$n-ldapi-$p]}
      echo "| $n | $p | $(ms $((${s%.*} - ${c%.*}))) | $(awk -v s="$s" -v c="$c" 'BEGIN {printf "%.0f %%", (s - c) * 100 / s}') | $(ms $((${c%.*} - ${l%.*}))) |"
    done
  done
} | sed "s|$root/||g" >"$results"
cat "$results"

if [[ $mode == full ]]; then
  # Replace this section of bench/RESULTS.md, or add it at the end.
  target=$bench/RESULTS.md
  awk '/^## Transports$/ {skip = 1; next} skip && /^## / {skip = 0} !skip' \
    "$target" >"$work/RESULTS.md.old"
  sed -e :a -e '/^\n*$/{$d;N;ba' -e '}' "$work/RESULTS.md.old" >"$target"
  { echo; cat "$results"; } >>"$target"
  log "appended the section to bench/RESULTS.md"
fi
