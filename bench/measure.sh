#!/usr/bin/env bash
# The measuring half of bench/run.sh, run by it inside a private mount
# namespace: /etc gets an overlay and the configuration is bound at
# /etc/kestrel.conf once for all series. Raw numbers go to $RAW:
#   times.tsv     series case program run wall_us cpu_us maxrss_kb status
#   callgrind.tsv program case env instructions
#   cg-*.top      callgrind_annotate, top ten by inclusive cost
#   ab.tsv        env program concurrency case rps p50 p90 p99 max failed
#                 non2xx length (one line per round)
#   failures.txt  one line per thing that failed to run or answered wrong
set -uo pipefail

: "${BENCH_MODE:?} ${WORK:?} ${RAW:?} ${TIMER:?} ${FLOOR:?} ${KESTREL:?}"
: "${LDAP_PORT:?} ${CONF_SMALL:?} ${CONF_BIG:?} ${SIZES:?} ${EMPTY_SASL:?}"
read -r -a sizes <<<"$SIZES"
read -r -a variants <<<"${VARIANTS:-}"
big=${sizes[-1]}

log() { printf '== %s %s\n' "$(date +%T)" "$*" >&2; }
fail() { printf '%s\n' "$*" >>"$RAW/failures.txt"; log "FAILED: $*"; }

# ---------------------------------------------------------- /etc overlay
mount --make-rprivate / || { fail "mount namespace: make-rprivate"; exit 1; }
mkdir -p "$WORK/etc-upper" "$WORK/etc-work"
rm -rf "$WORK/etc-upper"/* "$WORK/etc-work"/*
mount -t overlay overlay \
  -o "lowerdir=/etc,upperdir=$WORK/etc-upper,workdir=$WORK/etc-work" /etc ||
  { fail "overlay on /etc"; exit 1; }
conf=$WORK/kestrel.conf
cat "$CONF_SMALL" >"$conf"
touch /etc/kestrel.conf
mount --bind "$conf" /etc/kestrel.conf || { fail "bind /etc/kestrel.conf"; exit 1; }
# Swaps the configuration in place; the bind follows the file, not its name.
use_conf() { cat "$1" >"$conf"; }

if [[ $BENCH_MODE == smoke ]]; then runs=3; warm=1; else runs=21; warm=2; fi
runs=${BENCH_RUNS:-$runs}

cgi_env=(-e GATEWAY_INTERFACE=CGI/1.1 -e REQUEST_METHOD=GET
         -e SERVER_NAME=localhost -e SERVER_PORT=80
         -e SERVER_PROTOCOL=HTTP/1.1 -e SCRIPT_NAME=/cgi-bin/kestrel.cgi
         -e REMOTE_ADDR=127.0.0.1 -e PATH=/usr/bin:/bin)
# The environment a series adds: nothing (default) or what the shipped
# web-server snippets set (tuned), or one of those settings alone.
site_env=()
env_for() {  # environment name -> site_env
  case $1 in
    default) site_env=() ;;
    tuned) site_env=(-e "SASL_PATH=$EMPTY_SASL" -e GNUTLS_NO_IMPLICIT_INIT=1) ;;
    sasl-only) site_env=(-e "SASL_PATH=$EMPTY_SASL") ;;
    gnutls-only) site_env=(-e GNUTLS_NO_IMPLICIT_INIT=1) ;;
  esac
}

# Participants of a series are words: "kestrel PROGRAM QUERY" or
# "floor BASE FILTER". Each prints the timer's line.
kestrel() {  # program, query, timer options...
  local program=$1 query=$2
  shift 2
  "$TIMER" "$@" "${cgi_env[@]}" "${site_env[@]}" -e "QUERY_STRING=$query" \
    -- "$program"
}
floor() {  # base, filter, timer options...
  local base=$1 filter=$2
  shift 2
  "$TIMER" "$@" "${cgi_env[@]}" "${site_env[@]}" -e "QUERY_STRING=$filter" \
    -- "$FLOOR" 127.0.0.1 "$LDAP_PORT" "$base" "$filter"
}

# check LABEL PATTERN PARTICIPANT: one run with the output kept; the run
# must exit 0 and its output must match the extended regular expression.
check() {
  local label=$1 pattern=$2 out=$RAW/out-$1.txt line
  read -r -a words <<<"$3"
  line=$("${words[@]}" -o "$out") || { fail "$label: timer failed"; return 1; }
  if [[ $(cut -d' ' -f4 <<<"$line") != 0 ]]; then
    fail "$label: exit status $(cut -d' ' -f4 <<<"$line")"
    return 1
  fi
  grep -Eq -- "$pattern" "$out" || { fail "$label: output lacks /$pattern/ (see $out)"; return 1; }
}

# series SERIES CASE NAME=PARTICIPANT...: warm-up, then RUNS rounds in
# which every participant runs once; the order turns each round.
series() {
  local name=$1 case=$2 r i n k line
  shift 2
  local labels=() parts=()
  for row in "$@"; do labels+=("${row%%=*}"); parts+=("${row#*=}"); done
  n=${#parts[@]}
  for ((r = -warm; r < runs; r++)); do
    for ((k = 0; k < n; k++)); do
      i=$(( (k + (r < 0 ? 0 : r)) % n ))
      read -r -a words <<<"${parts[i]}"
      line=$("${words[@]}") || { fail "$name/$case/${labels[i]}: timer failed"; continue; }
      if ((r >= 0)); then
        echo "$name $case ${labels[i]} $r $line" >>"$RAW/times.tsv"
      fi
    done
  done
}

base() { echo "dc=n$1,dc=bench"; }
search_query() {  # domain size, selector, value
  echo "kestreldomain=n$1&searchfor=$3&selectoption=$2"
}

# The search cases: case name, selector, value, floor filter, expected count.
cases=()
if [[ $BENCH_MODE == smoke ]]; then
  cases=("s1 Number 7 employeeNumber=7 1" "s10 Name * cn=* 10")
else
  cases=("s1 Number 7 employeeNumber=7 1"
         "s100 Department d42 departmentNumber=d42 100"
         "s1000 Unit o7 ou=o7 1000"
         "s10000 Division b7 businessCategory=b7 10000")
fi

# The one entry found by employeeNumber=7, for the info and vCard pages.
key=$(ldapsearch -x -LLL -o ldif-wrap=no -H "ldap://127.0.0.1:$LDAP_PORT" \
  -b "$(base "$big")" employeeNumber=7 cn | sed -n 's/^cn: //p')
[[ -n $key ]] || fail "ldapsearch: no entry with employeeNumber=7"
key_query=${key// /+}

# ---------------------------------------------------------- side by side
for env_name in default tuned; do
  env_for "$env_name"
  use_conf "$CONF_SMALL"
  for row in "${cases[@]}"; do
    read -r case selector value filter count <<<"$row"
    k="kestrel $KESTREL $(search_query "$big" "$selector" "$value")"
    f="floor $(base "$big") $filter"
    if [[ $env_name == default ]]; then
      check "kestrel-$case" "Number of matches:$count([^0-9]|\$)" "$k"
      check "floor-$case" "^$count entries\$" "$f"
    fi
    log "$env_name: search $case"
    series "$env_name" "$case" "kestrel=$k" "floor=$f"
  done
  # The information page and the vCard of one entry, beside the floor's
  # search for that entry.
  f="floor $(base "$big") employeeNumber=7"
  ki="kestrel $KESTREL kestreldomain=n$big&info=$key_query"
  kv="kestrel $KESTREL kestreldomain=n$big&vcard=$key_query"
  if [[ $env_name == default ]]; then
    check kestrel-info "$key" "$ki"
    check kestrel-vcard "^begin:vcard" "$kv"
  fi
  log "$env_name: info page and vCard"
  series "$env_name" info "kestrel=$ki" "floor=$f"
  series "$env_name" vcard "kestrel=$kv" "floor=$f"
done

# Each setting of the tuned environment alone, at one entry.
if [[ $BENCH_MODE == full ]]; then
  q=$(search_query "$big" Number 7)
  for env_name in sasl-only gnutls-only; do
    env_for "$env_name"
    log "$env_name: search s1"
    series "$env_name" s1 "kestrel=kestrel $KESTREL $q" \
      "floor=floor $(base "$big") employeeNumber=7"
  done
fi
env_for default

# One entry in each directory size.
if ((${#sizes[@]} > 1)); then
  for size in "${sizes[@]}"; do
    log "directory of $size: one entry"
    series dirsize "n$size" \
      "kestrel=kestrel $KESTREL $(search_query "$size" Number 7)" \
      "floor=floor $(base "$size") employeeNumber=7"
  done
fi

# The 10,000-line configuration against the short one: the file is swapped
# between the runs, outside the timed part.
log "configuration of 10,000 lines"
q=$(search_query "$big" Number 7)
use_conf "$CONF_BIG"
check kestrel-bigconf "Number of matches:1([^0-9]|\$)" "kestrel $KESTREL $q"
for ((r = -warm; r < runs; r++)); do
  for which in small big; do
    if [[ $which == small ]]; then use_conf "$CONF_SMALL"; else use_conf "$CONF_BIG"; fi
    line=$(kestrel "$KESTREL" "$q") || { fail "config/$which: timer failed"; continue; }
    ((r >= 0)) && echo "config s1 kestrel-$which-conf $r $line" >>"$RAW/times.tsv"
  done
done
use_conf "$CONF_SMALL"

# Link variants of the program, at one entry.
if ((${#variants[@]})); then
  parts=("release=kestrel $KESTREL $q" "floor=floor $(base "$big") employeeNumber=7")
  for v in "${variants[@]}"; do
    check "variant-${v%%=*}" "Number of matches:1([^0-9]|\$)" "kestrel ${v#*=} $q"
    parts+=("${v%%=*}=kestrel ${v#*=} $q")
  done
  log "link variants"
  series variants s1 "${parts[@]}"
  env_for tuned
  series variants-tuned s1 "${parts[@]}"
  env_for default
fi

# ------------------------------------------------------------ callgrind
# The first ten functions of a callgrind_annotate listing, paths shortened.
top_ten() {
  awk '/file:function/ {on = 1; getline; next}
       on && NF && n < 10 {
         gsub(/\/[^ :\[]*\/src\//, "src/")
         gsub(/\[[^\]]*\//, "[")
         gsub(/\.\/[a-z]+\/\.\/[a-z]+\//, "")
         gsub(/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/, "std::string")
         print substr($0, 1, 150); n++}'
}
callgrind() {  # program label, case, env name, command words...
  local label=$1 case=$2 env_name=$3
  shift 3
  local out=$RAW/cg-$label-$case-$env_name
  local vars=(GATEWAY_INTERFACE=CGI/1.1 REQUEST_METHOD=GET SERVER_NAME=localhost
              SERVER_PORT=80 SERVER_PROTOCOL=HTTP/1.1
              SCRIPT_NAME=/cgi-bin/kestrel.cgi REMOTE_ADDR=127.0.0.1
              PATH=/usr/bin:/bin)
  [[ $env_name == tuned ]] && vars+=("SASL_PATH=$EMPTY_SASL" GNUTLS_NO_IMPLICIT_INIT=1)
  env -i "${vars[@]}" "QUERY_STRING=$CG_QUERY" \
    "$(command -v valgrind)" --tool=callgrind --callgrind-out-file="$out.out" \
    "$@" >/dev/null 2>"$out.log" </dev/null ||
    { fail "callgrind $label $case: see $out.log"; return; }
  local total
  total=$(sed -n 's/^summary: *//p' "$out.out" | awk '{print $1}')
  echo "$label $case $env_name $total" >>"$RAW/callgrind.tsv"
  callgrind_annotate --inclusive=yes "$out.out" 2>/dev/null | top_ten >"$out.top"
  callgrind_annotate "$out.out" 2>/dev/null | top_ten >"$out.self"
}
log "callgrind"
cg_cases=("${cases[0]}")
[[ $BENCH_MODE == full ]] && cg_cases=("${cases[0]}" "${cases[2]}" "${cases[3]}")
for row in "${cg_cases[@]}"; do
  read -r case selector value filter count <<<"$row"
  for env_name in default tuned; do
    [[ $env_name == tuned && ($case != s1 || $BENCH_MODE == smoke) ]] && continue
    CG_QUERY=$(search_query "$big" "$selector" "$value")
    callgrind kestrel "$case" "$env_name" "$KESTREL"
    CG_QUERY=$filter
    callgrind floor "$case" "$env_name" "$FLOOR" 127.0.0.1 "$LDAP_PORT" "$(base "$big")" "$filter"
  done
done

# The link variants: the fixed cost at one entry, and at 1,000 entries.
for v in "${variants[@]}"; do
  for row in "${cg_cases[@]}"; do
    read -r case selector value filter count <<<"$row"
    [[ $case == s1 || $case == s1000 ]] || continue
    CG_QUERY=$(search_query "$big" "$selector" "$value")
    callgrind "${v%%=*}" "$case" default "${v#*=}"
  done
done

# --------------------------------------------------------- through lighttpd
www=$WORK/www
mkdir -p "$www"
ln -sf "$KESTREL" "$www/kestrel.cgi"
ln -sf "$FLOOR" "$www/floor.cgi"

source "$(dirname "${BASH_SOURCE[0]}")/ports.sh"

http_get() {  # port, path: the whole response
  exec 3<>"/dev/tcp/127.0.0.1/$1" || return 1
  printf 'GET %s HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n' "$2" >&3
  timeout 30 cat <&3
  exec 3<&-
}

lighttpd_pid=
stop_lighttpd() {
  [[ -n $lighttpd_pid ]] || return 0
  kill "$lighttpd_pid" 2>/dev/null
  for _ in $(seq 100); do kill -0 "$lighttpd_pid" 2>/dev/null || break; sleep 0.1; done
  kill -9 "$lighttpd_pid" 2>/dev/null
  lighttpd_pid=
}
trap stop_lighttpd EXIT

# Each pair runs in rounds, the order turning every round; the report
# takes the medians.
if [[ $BENCH_MODE == smoke ]]; then
  ab_limit=(-n 20); ab_concurrency=(1 2); ab_cases=("${cases[0]}")
  ab_envs=(default); ab_rounds=1
else
  ab_limit=(-t 10); ab_concurrency=(1 2); ab_cases=("${cases[0]}" "${cases[1]}")
  ab_envs=(default tuned); ab_rounds=3
fi

# ab_run PROGRAM PATH: one load run against the running lighttpd; reads
# env_name, port, case, c and round. Appends a line to ab.tsv.
ab_run() {
  local program=$1 path=$2
  local out=$RAW/ab-$env_name-$program-$case-c$c-r$round.txt
  log "lighttpd ($env_name): $program, $case, concurrency $c, round $round"
  timeout 60 ab -q -c "$c" "${ab_limit[@]}" "http://127.0.0.1:$port$path" \
    >"$out" 2>&1 || { fail "ab $program $case c$c ($env_name): see $out"; return; }
  awk -v e="$env_name" -v p="$program" -v c="$c" -v k="$case" '
    /^Requests per second:/ {rps = $4}
    /^Failed requests:/ {failed = $3}
    /^Non-2xx responses:/ {non2xx = $3}
    /^Document Length:/ {len = $3}
    /^ +50%/ {p50 = $2} /^ +90%/ {p90 = $2} /^ +99%/ {p99 = $2}
    /^ +100%/ {pmax = $2}
    END {print e, p, c, k, rps, p50, p90, p99, pmax, failed + 0,
               non2xx + 0, len}' "$out" >>"$RAW/ab.tsv"
}

for env_name in "${ab_envs[@]}"; do
  # A port found free can be taken before lighttpd binds it: then another.
  for attempt in 1 2 3 4 5; do
    port=$(free_port)
    # tuned: what deploy/lighttpd/kestrel.conf sets, for both programs.
    extra= stream=0
    if [[ $env_name == tuned ]]; then
      extra=", \"SASL_PATH\" => \"$EMPTY_SASL\", \"GNUTLS_NO_IMPLICIT_INIT\" => \"1\""
      stream=1
    fi
    cat >"$WORK/lighttpd.conf" <<EOF
server.document-root = "$www"
server.bind = "127.0.0.1"
server.port = $port
server.modules = ("mod_cgi", "mod_setenv")
server.errorlog = "$WORK/lighttpd-error.log"
server.max-connections = 64
cgi.assign = (".cgi" => "")
server.stream-response-body = $stream
setenv.add-environment = ("FLOOR_HOST" => "127.0.0.1", "FLOOR_PORT" => "$LDAP_PORT", "FLOOR_BASE" => "$(base "$big")"$extra)
EOF
    lighttpd -D -f "$WORK/lighttpd.conf" 2>"$WORK/lighttpd.log" &
    lighttpd_pid=$!
    for _ in $(seq 100); do
      (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break
      kill -0 "$lighttpd_pid" 2>/dev/null || break
      sleep 0.05
    done
    kill -0 "$lighttpd_pid" 2>/dev/null && break
    log "lighttpd ($env_name) did not start on port $port; another port"
    lighttpd_pid=
  done
  q=$(search_query "$big" Number 7)
  http_get "$port" "/kestrel.cgi?$q" | grep -q "Number of matches:1" ||
    fail "lighttpd ($env_name): kestrel.cgi did not answer the search"
  http_get "$port" "/floor.cgi?employeeNumber=7" | grep -q "^1 entries" ||
    fail "lighttpd ($env_name): floor.cgi did not answer the search"
  for row in "${ab_cases[@]}"; do
    read -r case selector value filter count <<<"$row"
    for c in "${ab_concurrency[@]}"; do
      for ((round = 1; round <= ab_rounds; round++)); do
        if ((round % 2)); then
          ab_run floor "/floor.cgi?$filter"
          ab_run kestrel "/kestrel.cgi?$(search_query "$big" "$selector" "$value")"
        else
          ab_run kestrel "/kestrel.cgi?$(search_query "$big" "$selector" "$value")"
          ab_run floor "/floor.cgi?$filter"
        fi
      done
    done
  done
  log "lighttpd ($env_name): stopping"
  stop_lighttpd
done
log "measuring done"
awk '$10 != 0 || $11 != 0 {print "ab: failed or non-2xx responses:", $0}' \
  "$RAW/ab.tsv" >>"$RAW/failures.txt" 2>/dev/null

# Exit status: 0 unless something failed.
[[ ! -s $RAW/failures.txt ]]
