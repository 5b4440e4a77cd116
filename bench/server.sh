#!/bin/bash
# scripts/bench server [--objects N]... [--only PART]...
#
# Measures the object server beside snmpd and slapd, each with the objects that
# it is asked for, and prints requests a second and processor time for each: see
# "The object server" in bench/README.md. Without --objects with 1,000 and with
# 100,000 objects. A part is requests, peers, changes or events.
#
# The servers are of Debian's packages; they run as this script's own processes,
# on loopback in a network namespace, and keep what they keep in a temporary
# folder (in FOLDER, /var/tmp unless told otherwise: a file system in memory
# would make durable changes too fast). SECONDS_EACH is the length of a
# measurement (1), TURNS how many a figure is the median of (5).

# Several figures become several arguments of printf.
# shellcheck disable=SC2046,SC2183

set -eu
export LC_ALL=C
cd "$(dirname "$0")/.."

sizes=()
parts=()
while [ $# -gt 1 ]; do
  case $1 in
    --objects) sizes+=("$2") ;;
    --only) parts+=("$2") ;;
    *) break ;;
  esac
  shift 2
done
if [ $# != 0 ]; then
  sed -n '2,/^$/s/^# \{0,1\}//p' "$0" >&2
  exit 2
fi
[ ${#sizes[@]} = 0 ] && sizes=(1000 100000)
[ ${#parts[@]} = 0 ] && parts=(requests peers changes events)

if [ -z "${OSTREL_BENCH_SERVER_INSIDE-}" ]; then
  packages=(
    "g++|the compiler of the releases"
    "cmake|describes the build"
    "ninja-build|runs the build"
    "libbenchmark-dev|the other benchmarks"
    "snmpd|an SNMP agent, to compare with"
    "slapd|an LDAP server, to compare with"
  )
  # shellcheck source=scripts/progress.sh
  . scripts/progress.sh
  # shellcheck source=scripts/packages.sh
  . scripts/packages.sh
  mkdir -p build/logs
  # Debian starts a server with its package, and this one needs only the files.
  RUNLEVEL=1 installMissing build/logs/bench-apt.log "${packages[@]}"
  build=${BUILD:-build/release}
  if ! { cmake --preset release -B "$build" -DOSTREL_BUILD_BENCHMARKS=ON &&
    cmake --build "$build" --target ostreld server_load; } \
    >build/logs/bench-server.log 2>&1; then
    cat build/logs/bench-server.log >&2
    exit 1
  fi
  arguments=()
  for size in "${sizes[@]}"; do arguments+=(--objects "$size"); done
  for part in "${parts[@]}"; do arguments+=(--only "$part"); done
  OSTREL_BENCH_SERVER_INSIDE=yes BUILD=$build exec scripts/in-netns \
    bench/server.sh "${arguments[@]}"
fi

length=${SECONDS_EACH:-1}
turns=${TURNS:-5}
load=$BUILD/bench/server_load
work=$(mktemp -d "${FOLDER:-/var/tmp}/ostrel-bench.XXXXXX")
running=()

# Also when a part fails: no server may be left behind.
stopAll() {
  local each
  for each in "${running[@]}"; do
    kill "$each" 2>/dev/null || continue
    wait "$each" || true
  done
  running=()
}
trap 'stopAll; rm -rf "$work"' EXIT

# start NAME PROGRAM...: in the background, its process id in `started`.
start() {
  "${@:2}" >"$work/$1.log" 2>&1 &
  started=$!
  running+=("$started")
}

# waitFor NAME COMMAND...: waits until it succeeds, for at most a minute.
waitFor() {
  local i
  for ((i = 0; i < 600; ++i)); do
    "${@:2}" >/dev/null 2>&1 && return
    sleep 0.1
  done
  echo "$1 did not start:" >&2
  cat "$work/$1.log" >&2
  exit 1
}

# serve NAME PORT OPTION...: an object server that refuses nothing for its rate.
serve() {
  start "$1" "$BUILD/tools/ostreld/ostreld" serve --store "$work/$1.db" \
    --port "$2" --rate 0 --answer-bytes 0 --event-bytes 0 \
    --max-registrations 200000 --max-registrations-per-address 200000 "${@:3}"
  waitFor "$1" grep -q 'object server on' "$work/$1.log"
}

# ask SYSTEM PORT PID OPERATION OUTSTANDING OBJECTS: "rate microseconds".
ask() { "$load" ask "$1" "$2" "$3" "$4" "$5" "$length" "$6"; }

# The median of each column, of lines of the same figures.
medians() {
  awk '{ for (i = 1; i <= NF; ++i) value[i, NR] = $i; columns = NF }
    END {
      if (NR == 0) exit 1
      for (i = 1; i <= columns; ++i) {
        for (j = 1; j <= NR; ++j) sorted[j] = value[i, j] + 0
        for (j = 2; j <= NR; ++j)
          for (k = j; k > 1 && sorted[k - 1] > sorted[k]; --k) {
            swap = sorted[k]; sorted[k] = sorted[k - 1]; sorted[k - 1] = swap
          }
        printf "%s%s", sorted[int((NR + 1) / 2)], i < columns ? " " : "\n"
      }
    }'
}

# --- Requests -----------------------------------------------------------------

# Turns over all kinds, so that whatever else the machine does meets all alike.
requests() {
  local size=$1 kinds turn kind name outstanding file
  serve object 5135
  "$load" fill 5135 "$size"
  kinds=(verify:1 verify:16 verify:64 get1:1 get1:16 get1:64 get10:1 get10:16
    get10:64 equal:1 equal:16 scan:1 set:1 set:16 set:64 create:1 create:16
    create:64)
  rm -f "$work"/figures.*
  for ((turn = 0; turn < turns; ++turn)); do
    for kind in "${kinds[@]}"; do
      ask ostrel 5135 "$started" "${kind%:*}" "${kind#*:}" "$size" \
        >>"$work/figures.$kind"
    done
  done
  stopAll
  rm -f "$work"/object.db*
  printf '\nostreld with %s objects\n\n' "$size"
  printf '%-10s %12s %12s %14s\n' operation outstanding requests/s 'CPU us each'
  for kind in "${kinds[@]}"; do
    file=$work/figures.$kind
    name=${kind%:*} outstanding=${kind#*:}
    printf '%-10s %12s %12s %14s\n' "$name" "$outstanding" \
      $(medians <"$file")
  done
}

# --- Beside other servers -----------------------------------------------------

startSnmp() {
  mkdir "$work/snmp"
  cat >"$work/snmp/snmpd.conf" <<END
agentaddress udp:127.0.0.1:16161
rocommunity public
syscontact the administrator of it
syslocation the object 12345
sysname the object 12345
sysservices 72
END
  SNMP_PERSISTENT_DIR=$work/snmp start snmp snmpd -f -C -r -Lo \
    -I -smux,mteTrigger,mteTriggerConf -c "$work/snmp/snmpd.conf"
  snmp=$started
  waitFor snmp "$load" ask snmp 16161 "$snmp" get1 1 0 1
}

# Checked and written to the disk with each change, as by default.
startLdap() {
  mkdir "$work/ldap"
  cat >"$work/ldap/slapd.conf" <<END
include /etc/ldap/schema/core.schema
include /etc/ldap/schema/cosine.schema
modulepath /usr/lib/ldap
moduleload back_mdb
pidfile $work/ldap/slapd.pid
loglevel 0
database mdb
maxsize 8589934592
suffix "dc=bench"
rootdn "cn=writer,dc=bench"
rootpw secret
directory $work/ldap
index objectClass eq
END
  "$load" ldif "$1" >"$work/ldif"
  slapadd -q -f "$work/ldap/slapd.conf" -l "$work/ldif" \
    >"$work/ldap.log" 2>&1 || { cat "$work/ldap.log" >&2; exit 1; }
  start ldap slapd -d 0 -h ldap://127.0.0.1:16389 -f "$work/ldap/slapd.conf"
  ldap=$started
  waitFor ldap "$load" ask ldap 16389 "$ldap" get1 1 0 1
}

# peer SYSTEM PORT PID NAME KIND...: turns of the object server and the other.
peer() {
  local system=$1 port=$2 pid=$3 name=$4 turn kind ours theirs
  shift 4
  rm -f "$work"/figures.*
  for ((turn = 0; turn < turns; ++turn)); do
    for kind in "$@"; do
      ours=$(ask ostrel 5135 "$object" "${kind%:*}" "${kind#*:}" "$size")
      theirs=$(ask "$system" "$port" "$pid" "${kind%:*}" "${kind#*:}" "$size")
      echo "$ours $theirs" |
        awk '{ print $1, $2, $3, $4, $2 / $4 }' >>"$work/figures.$kind"
    done
  done
  for kind in "$@"; do
    printf '%-6s %-10s %12s %12s %10s %12s %10s %10.2f\n' "$name" \
      "${kind%:*}" "${kind#*:}" $(medians <"$work/figures.$kind")
  done
}

peers() {
  local size=$1 object snmp ldap
  serve object 5135
  object=$started
  "$load" fill 5135 "$size"
  startSnmp
  startLdap "$size"
  printf '\nostreld beside others, with %s objects\n\n' "$size"
  printf '%-6s %-10s %12s %12s %10s %12s %10s %10s\n' other operation \
    outstanding ostreld/s 'CPU us' other/s 'CPU us' 'CPU ratio'
  peer snmp 16161 "$snmp" snmpd get1:1 get10:1 get1:16 get10:16
  peer ldap 16389 "$ldap" slapd get1:1 get10:1 get1:16 get10:16 set:1 set:16 \
    set:64
  stopAll
  rm -rf "${work:?}"/*
}

# --- Changes together ---------------------------------------------------------

changes() {
  local turn one many size=1000
  serve object 5135
  "$load" fill 5135 "$size"
  for ((turn = 0; turn < turns; ++turn)); do
    one=$(ask ostrel 5135 "$started" set 1 "$size")
    for many in 16 64; do
      echo "$one $(ask ostrel 5135 "$started" set "$many" "$size")" |
        awk '{ print $1, $3, $3 / $1 }' >>"$work/together.$many"
    done
  done
  stopAll
  printf '\nsets a second\n\n%12s %12s %12s %12s\n' outstanding one many ratio
  for many in 16 64; do
    printf '%12s %12s %12s %12.1f\n' "$many" $(medians <"$work/together.$many")
  done
  rm -f "${work:?}"/*
}

# --- Events -------------------------------------------------------------------

# watch OUTSTANDING CHANGES: 1000 registrations with a new server, then changes.
watch() {
  serve watching 5135
  "$load" fill 5135 1
  "$load" watch 5135 1000 "$2" "$1"
  stopAll
  rm -f "$work"/*.db*
}

events() {
  local turn none watched many=100000
  printf '\nevents\n\n'
  watch 1 1 >"$work/one"
  watch 16 $((10 * turns + 1)) >"$work/many"
  printf '1000 registrations, one after the other: %s ms; 16 outstanding: %s ms\n' \
    "$(cut -d ' ' -f 1 "$work/one")" "$(cut -d ' ' -f 1 "$work/many")"
  printf 'a change to 1000 watchers, from its answer to the last event: %s ms\n' \
    "$(cut -d ' ' -f 2 "$work/many")"
  serve none 5135
  none=$started
  serve watched 5137
  watched=$started
  "$load" fill 5135 1000
  "$load" fill 5137 1000
  # Of an object that is not there, so that no change is watched.
  "$load" register 5137 "$many" 5000
  for ((turn = 0; turn < turns; ++turn)); do
    echo "$(ask ostrel 5135 "$none" set 16 1000)" \
      "$(ask ostrel 5137 "$watched" set 16 1000)" |
      awk '{ print $2, $4, $4 / $2 }' >>"$work/unwatched"
  done
  stopAll
  printf 'a change that nobody watches: %s us of CPU; with %s registrations %s; ratio %.2f\n' \
    $(medians <"$work/unwatched" | awk -v many="$many" '{ print $1, many, $2, $3 }')
  rm -f "${work:?}"/*
}

printf '%s, %s processors\n' \
  "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1)" "$(nproc)"
printf 'a write of 4 KiB to the disk: %s ms\n' "$("$load" disk "$work/disk")"
for part in "${parts[@]}"; do
  case $part in
    requests | peers) for size in "${sizes[@]}"; do "$part" "$size"; done ;;
    changes | events) "$part" ;;
    *) echo "no such part: $part" >&2; exit 2 ;;
  esac
done
