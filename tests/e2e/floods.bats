#!/usr/bin/env bats
# What strangers may try with many datagrams, and the figures that hold
# nevertheless. A figure is what came in the busiest second, as the system's own
# time stamps say.

load helper

teardown() { stopAll; }

# textOf BYTES
textOf() { head -c "$1" /dev/zero | tr '\0' x; }

# flood ATTACK ARGUMENT... puts the figures into $output.
flood() {
  run --separate-stderr "$FLOOD" "$@"
  [ "$status" = 0 ]
}

figure() { sed -n "s/^$1 //p" <<<"$output"; }

# within NAME LEAST MOST checks a figure of $output.
within() {
  local value
  value=$(figure "$1")
  [ -n "$value" ] && [ "$value" -ge "$2" ] && [ "$value" -le "$3" ] || {
    echo "$1 is '$value', and not $2 to $3; of:" >&2
    echo "$output" >&2
    return 1
  }
}

# A machine that is busy may keep a process from its processor for this many ms.
noise=100

memoryOf() { sed -n 's/^VmRSS:[^0-9]*\([0-9]*\).*/\1/p' "/proc/$1/status"; }

@test "other senders do not reset what an address has used" {
  serve server --memory --rate 200
  flood others 3
  within datagrams 100 220
}

@test "openings of a stranger keep no longer request from arriving" {
  local stranger flooding log=$BATS_TEST_TMPDIR/openings
  serve server --memory
  # From another machine, and from other ports of the sender's own.
  for stranger in 127.0.0.9 127.0.0.1; do
    : >"$log"
    "$FLOOD" openings "$stranger" 2000 12 3>&- >"$log" &
    flooding=$!
    waitFor 1 ready "$log"
    sleep 0.5
    # Sent four times at the most, and the flood outlasts that.
    run --separate-stderr ostrel --retries 3 \
      create 59.200 59.200.1="$(textOf 90000)" 59.200.2="$(textOf 90000)"
    kill $flooding || true
    wait $flooding || true
    echo "status $status: $stderr" >&2
    [ "$status" = 0 ]
  done
}

@test "an address gets so many bytes of answers in a second" {
  serve server --memory --rate 0 --answer-bytes 500000
  ostrel create 59.200 59.200.1="$(textOf 20000)"
  flood answers 59.200.0.1 2.5
  within bytes 250000 550000
}

@test "long answers count by their bytes too" {
  serve server --memory --rate 0 --answer-bytes 100000
  ostrel create 59.200 59.200.1="$(textOf 60000)"
  flood answers 59.200.0.1 2.5
  within bytes 28000 110000
}

# registered COUNT OPTION... starts a server with so many registrations of one
# victim for one object's changes.
registered() {
  local i count=$1
  shift
  serve server --memory "$@"
  ostrel create 59.200 59.200.1=lamp
  for ((i = 0; i < count; ++i)); do
    ostrel create 59.6 59.1.1=addr:127.0.0.1 59.6.1=oid:59.200.0.1 \
      59.6.2=59.6.8 59.6.3=addr:127.1.0.1 59.6.4=ushort:4001
  done
}

@test "an address gets so many bytes of events in a second" {
  registered 4 --rate 0 --event-bytes 50000
  flood events 59.200.0.1 4001 2.5
  within bytes 25000 55000
}

@test "events count against the rate of the address that they go to" {
  registered 4 --rate 300
  flood events 59.200.0.1 4001 2.5
  within datagrams 100 330
}

@test "16 MiB of a stranger take no memory of a directory" {
  local before after port ports
  serve server --memory
  : >"$BATS_TEST_TMPDIR/directory.log"
  startUntil 'directory server on' "$BATS_TEST_TMPDIR/directory.log" \
    "$OSTRELD" directory --server 127.0.0.1
  ostrel create 59.200 59.200.1=lamp
  same "$(ostrel -q --server 127.0.0.1 find 59.200)" 59.200.0.1
  # The socket that it asks with is bound where it listens, as the other one.
  mapfile -t ports < <(awk '$2 ~ /^0100007F:/ { print substr($2, 10) }' \
    /proc/net/udp | while read -r port; do echo $((16#$port)); done | sort -n)
  same "${#ports[@]}" 3
  before=$(memoryOf "$started")
  for port in "${ports[@]}"; do
    [ "$port" = 5135 ] && continue
    # Too long for the socket that listens; then as long as it may be.
    flood incomplete "$port" 16 1048576
    flood incomplete "$port" 16 24000
  done
  same "$(ostrel -q --server 127.0.0.1 find 59.200)" 59.200.0.1
  after=$(memoryOf "$started")
  echo "$before KiB before, $after KiB after" >&2
  # The address checks keep what was freed; with them it is no more than twice
  # what was sent.
  local most=2048
  grep -q __asan_init "$OSTRELD" && most=65536
  [ $((after - before)) -lt $most ]
}

@test "a signal is heard while long answers are sent" {
  serve server --memory
  ostrel create 59.200 59.200.1="$(textOf 100000)" 59.200.2="$(textOf 100000)"
  flood end 59.200.0.1 "$started"
  wait "$started"
  running=()
  within milliseconds 0 $((100 + noise))
  # They were on their way, and not done.
  within datagrams 160 1000
}

@test "a short request is answered at once while a long answer is sent" {
  serve server --memory
  ostrel create 59.200 59.200.1="$(textOf 120000)" 59.200.2="$(textOf 120000)"
  flood beside 59.200.0.1
  within milliseconds 0 $((20 + noise))
  within lost 0 0
  within before 20 120
  within after 165 166
}
