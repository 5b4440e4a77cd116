#!/usr/bin/env bats
# Events: registration, delivery, renewal, expiry. The server's clock runs fast
# where an hour has to pass.

load helper

teardown() { stopAll; }

# An hour is four seconds; the expiry notice comes a third of a second before.
fast=(--clock-rate 900)

# watchTo FILE WORD... starts a watch, with its JSON in the file.
watchTo() {
  local file=$1
  shift
  : >"$file"
  startUntil '"registered"' "$file" \
    "$OSTREL" --principal none --timeout 1 --json watch "$@"
}

events() { jq -c 'select(.what == "event") | [.oid, .name]' "$1"; }

# interruptWatch FILE ends the watch of two kinds of events that was started
# last, beside one server: it takes back what it registered and ends with 0.
interruptWatch() {
  local log=$1 code=0
  kill -INT "$started"
  wait "$started" || code=$?
  running=("${running[0]}")
  [ "$code" = 0 ]
  same "$(jq -r .what "$log" | tr '\n' ' ')" \
    'registered registered unregistered unregistered '
  same "$(ostrel search 59.6 2>&1)" 'ostrel: nothing found'
}

@test "watch prints the events of a class" {
  local log=$BATS_TEST_TMPDIR/watch.json
  serve server --memory
  watchTo "$log" 59.200
  ostrel create 59.200 59.200.1=lamp
  ostrel set 59.200.0.1 59.200.1=torch
  ostrel create 59.201
  ostrel remove 59.200.0.1
  waitFor 1 '"removed"' "$log"
  same "$(events "$log")" $'["59.200.0.1","created"]\n["59.200.0.1","changed"]\n["59.200.0.1","removed"]'
  same "$(jq -c 'select(.name == "changed") | .arguments' "$log")" \
    '[{"type":"attribute","id":"59.200.1","value":{"type":"string","value":"torch"}}]'
}

@test "watch prints one line for each event as text" {
  local log=$BATS_TEST_TMPDIR/watch.txt
  serve server --memory
  : >"$log"
  startUntil 'watching 59.200.0.0 at 127.0.0.1' "$log" \
    "$OSTREL" --principal none watch 59.200
  ostrel create 59.200 59.200.1=lamp
  ostrel set 59.200.0.1 $'59.200.1=\x1b[0m'
  waitFor 1 changed "$log"
  [[ $(tail -n 1 "$log") =~ ^....-..-..T..:..:..Z\ 59\.200\.0\.1\ changed\ \ 59\.200\.1\ =\ string:\\x1b\[0m$ ]]
}

@test "watch takes single objects and chosen events" {
  local log=$BATS_TEST_TMPDIR/watch.json
  serve server --memory
  ostrel create 59.200 59.200.1=lamp
  ostrel create 59.200 59.200.1=torch
  watchTo "$log" 59.200.0.2 removed
  ostrel set 59.200.0.2 59.200.1=lantern
  ostrel remove 59.200.0.1
  ostrel remove 59.200.0.2
  waitFor 1 '"removed"' "$log"
  same "$(events "$log")" '["59.200.0.2","removed"]'
}

@test "watch unregisters on Ctrl-C and ends with 0" {
  local log=$BATS_TEST_TMPDIR/watch.json
  serve server --memory
  watchTo "$log" 59.200 created changed
  same "$(ostrel search 59.6 | wc -l)" 2
  interruptWatch "$log"
}

@test "watch ends after so many events or seconds" {
  serve server --memory
  ostrel create 59.200
  (waitUntil registrations 1 && ostrel set 59.200.0.1 59.200.1=lamp) 3>&- &
  run --separate-stderr ostrel watch 59.200 --count 1 --seconds 20
  [ "$status" = 0 ]
  [[ $output == *' 59.200.0.1 changed  59.200.1 = string:lamp' ]]
  run --separate-stderr ostrel watch 59.200 --seconds 1
  [ "$status" = 0 ]
  same "$output" ''
  same "$(ostrel search 59.6 2>&1)" 'ostrel: nothing found'
}

@test "watch renews its registration" {
  local log=$BATS_TEST_TMPDIR/watch.json
  serve server --memory "${fast[@]}"
  watchTo "$log" 59.200
  waitFor 2 '"renewed"' "$log"
  ostrel create 59.200
  waitFor 1 '"created"' "$log"
}

@test "a registration that nobody renews ends" {
  serve server --memory "${fast[@]}"
  ostrel create 59.6 59.1.1=addr:127.0.0.1 59.6.1=oid:59.200 59.6.2=59.6.0 \
    59.6.3=addr:127.0.0.1 59.6.4=ushort:9
  same "$(ostrel search 59.6 | wc -l)" 1
  waitUntil registrations 0
}

@test "registrations outlive the server" {
  local log=$BATS_TEST_TMPDIR/watch.json store=$BATS_TEST_TMPDIR/store.db
  serve server --store "$store"
  local server=$started watch
  watchTo "$log" 59.200
  watch=$started
  kill -KILL "$server"
  wait "$server" || true
  serve server --store "$store"
  running=("$started" "$watch")
  ostrel create 59.200
  waitFor 1 '"created"' "$log"
}

# restartServer OPTION... kills the server that was started first and starts it
# again; a watch was started after it.
restartServer() {
  local watch=$started
  kill -KILL "${running[0]}"
  wait "${running[0]}" || true
  serve server "$@"
  running=("$started" "$watch")
}

gaps() { jq -r 'select(.what == "gap") | .reason' "$1"; }

@test "watch tells of a restart, and goes on" {
  local log=$BATS_TEST_TMPDIR/watch.json store=$BATS_TEST_TMPDIR/store.db
  serve server --store "$store"
  watchTo "$log" 59.200 --verify-every 1
  restartServer --store "$store"
  waitFor 1 '"gap"' "$log"
  same "$(gaps "$log")" restarted
  same "$(grep -c '"registered"' "$log")" 1
  ostrel create 59.200
  waitFor 1 '"created"' "$log"
  same "$(ostrel search 59.6 | wc -l)" 1
}

@test "watch registers again where its registration was lost with the server" {
  local log=$BATS_TEST_TMPDIR/watch.json
  serve server --memory
  watchTo "$log" 59.200 --verify-every 1
  local watch=$started
  kill -STOP "$watch"
  restartServer --memory
  # Another's registration has the identifier now.
  ostrel create 59.6 59.1.1=addr:127.0.0.1 59.6.1=oid:59.200 59.6.2=59.6.0 \
    59.6.3=addr:127.0.0.1 59.6.4=ushort:9
  kill -CONT "$watch"
  waitFor 1 '"gap"' "$log"
  same "$(gaps "$log")" restarted
  same "$(jq -r 'select(.what == "registered") | .registration' "$log")" \
    $'59.6.0.1\n59.6.0.2'
  ostrel create 59.200
  waitFor 1 '"created"' "$log"
  ostrel remove 59.6.0.1
}

@test "watch registers again when the server has lost the registration" {
  local log=$BATS_TEST_TMPDIR/watch.txt
  serve server --memory
  : >"$log"
  startUntil 'watching 59.200' "$log" \
    "$OSTREL" --principal none watch 59.200 --verify-every 1
  ostrel remove 59.6.0.1
  waitFor 1 ' gap: ' "$log"
  grep -qE '^....-..-..T..:..:..Z gap: the server has lost the registration; events since ....-..-..T..:..:..Z may be missing$' "$log"
  ostrel create 59.200
  waitFor 1 ' created' "$log"
}

@test "watch tells when the server did not answer for a while" {
  local log=$BATS_TEST_TMPDIR/watch.json server watch
  serve server --memory
  server=$started
  : >"$log"
  startUntil '"registered"' "$log" "$OSTREL" --principal none --timeout 1 \
    --retries 0 --json watch 59.200 --verify-every 1
  kill -STOP "$server"
  waitFor 1 'events may be missing: no answer' "$log"
  kill -CONT "$server"
  waitFor 1 '"gap"' "$log"
  same "$(gaps "$log")" silent
  same "$(grep -c 'events may be missing: no answer' "$log")" 1
}

@test "watch of an object that is not there says so" {
  serve server --memory
  run --separate-stderr ostrel watch 59.200.0.1 --seconds 1
  [ "$status" = 1 ]
  [[ $stderr == 'ostrel: watch 59.200.0.1: 1(No Such Name)'* ]]
  same "$(ostrel search 59.6 2>&1)" 'ostrel: nothing found'
}

@test "watch takes a registration that is gone for removed" {
  local log=$BATS_TEST_TMPDIR/watch.json
  serve server --memory
  watchTo "$log" 59.200 created changed
  ostrel remove 59.6.0.1
  interruptWatch "$log"
}

@test "watch ends well after a server that forgot it" {
  local log=$BATS_TEST_TMPDIR/watch.json code=0
  serve server --memory
  local server=$started watch
  watchTo "$log" 59.200
  watch=$started
  kill "$server"
  wait "$server"
  serve server --memory
  running=("$started")
  kill -INT "$watch"
  wait "$watch" || code=$?
  [ "$code" = 0 ]
}

@test "watch unregisters although the signal comes twice" {
  local log=$BATS_TEST_TMPDIR/watch.txt i
  serve server --memory
  for i in 1 2 3 4 5; do
    : >"$log"
    startUntil 'watching 59.200' "$log" \
      setsid "$OSTREL" --principal none watch 59.200 created changed
    # To the process and to its group, as terminals and time-outs do.
    kill -INT "$started"
    kill -INT -- "-$started" || true
    wait "$started"
    running=("${running[0]}")
  done
  same "$(ostrel search 59.6 2>&1)" 'ostrel: nothing found'
}

@test "watch goes on unregistering after a failure, and reports it" {
  local log=$BATS_TEST_TMPDIR/watch.txt code=0
  serve server --memory
  : >"$log"
  startUntil 'watching 59.200' "$log" "$OSTREL" --principal none --timeout 1 \
    --retries 0 watch 59.200 created changed
  local watch=$started
  kill "${running[0]}"
  wait "${running[0]}"
  running=()
  kill -INT "$watch"
  wait "$watch" || code=$?
  [ "$code" = 3 ]
  grep -q 'the registration 59.6.0.1 may still be there: no answer' "$log"
  grep -q 'the registration 59.6.0.2 may still be there: no answer' "$log"
}

@test "watch is refused where no registration can be made" {
  serve server --memory
  run --separate-stderr ostrel watch 59.200 --deliver-to no.such.host.invalid
  [ "$status" = 6 ]
  run --separate-stderr ostrel --server 127.0.0.2 --retries 0 watch 59.200
  [ "$status" = 3 ]
}
