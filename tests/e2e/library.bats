#!/usr/bin/env bats
# Programs that use the library's handlers, the examples, against the servers.

load helper

setup() {
  [ -n "$EXAMPLES" ] || skip 'the examples are not built'
  local options=()
  # An hour is four seconds.
  [[ $BATS_TEST_DESCRIPTION == *renews* ]] && options=(--clock-rate 900)
  serve server --memory "${options[@]}"
}
teardown() { stopAll; }

# When the registration ends; and whether that is later than it was.
expiry() { ostrel -q get 59.6.0.1 59.6.5; }
expiresAfter() { [[ $(expiry) > $1 ]]; }

@test "a program creates, verifies and removes an object" {
  run "$EXAMPLES/create_and_remove" 127.0.0.1 59.200.0.0 59.200.1 lamp
  [ "$status" = 0 ]
  same "$output" 59.200.0.1
  same "$(ostrel search 59.200 2>&1)" 'ostrel: nothing found'
}

@test "a program writes, reads and finds attributes" {
  ostrel create 59.200 59.200.1=lamp
  "$EXAMPLES/write_attributes" 127.0.0.1 59.200.0.1 59.200.2 42
  same "$(ostrel get 59.200.0.1 59.200.2)" '59.200.2 = long:42'
  run "$EXAMPLES/read_attributes" 127.0.0.1 59.200.0.1 59.200.1 59.200.2
  [ "$status" = 0 ]
  [[ $output == *lamp*42* ]]
  run "$EXAMPLES/search" 127.0.0.1 59.200.0.0 59.200.1 lamp
  [ "$status" = 0 ]
  [[ $output == *59.200.0.1* ]]
}

@test "a program is told what the server refuses" {
  run "$EXAMPLES/read_attributes" 127.0.0.1 59.200.0.9 59.200.1
  [ "$status" = 1 ]
  [[ $output == *'1(No Such Name)'* ]]
}

@test "a program finds objects through the directory" {
  : >"$BATS_TEST_TMPDIR/directory.log"
  startUntil 'directory server on' "$BATS_TEST_TMPDIR/directory.log" \
    "$OSTRELD" directory --server 127.0.0.1
  ostrel create 59.200
  run "$EXAMPLES/find_servers" 59.200.0.0
  [ "$status" = 0 ]
  same "$output" $'answered by 127.0.0.1\n59.200.0.1\n127.0.0.1'
}

@test "a program receives events and unregisters" {
  "$EXAMPLES/receive_events" 127.0.0.1 59.200.0.0 59.6.7 2 \
    >"$BATS_TEST_TMPDIR/events" 3>&- &
  local program=$!
  waitUntil registrations 1
  ostrel create 59.200 59.200.1=lamp
  ostrel create 59.200 59.200.1=torch
  wait "$program"
  grep -q lamp "$BATS_TEST_TMPDIR/events"
  grep -q torch "$BATS_TEST_TMPDIR/events"
  same "$(ostrel search 59.6 2>&1)" 'ostrel: nothing found'
}

@test "a program's event handler renews its registration" {
  "$EXAMPLES/receive_events" 127.0.0.1 59.200.0.0 59.6.7 1 \
    >"$BATS_TEST_TMPDIR/events" 3>&- &
  local program=$!
  waitUntil registrations 1
  # It goes on doing so.
  waitUntil expiresAfter "$(expiry)"
  waitUntil expiresAfter "$(expiry)"
  ostrel create 59.200 59.200.1=lamp
  wait "$program"
  grep -q lamp "$BATS_TEST_TMPDIR/events"
}
