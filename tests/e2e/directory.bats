#!/usr/bin/env bats
# The directory service: two object servers behind it, found by multicast.

load helper

setup() {
  serve first --memory --listen 127.0.0.1
  serve second --memory --listen 127.0.0.2
}
teardown() { stopAll; }

# directory OPTION... starts a directory server that logs to directory.log.
directory() {
  : >"$BATS_TEST_TMPDIR/directory.log"
  startUntil 'directory server on' "$BATS_TEST_TMPDIR/directory.log" \
    "$OSTRELD" directory "$@"
}

both=(--server 127.0.0.1 --server 127.0.0.2)

@test "find merges what the object servers hold" {
  directory "${both[@]}"
  ostrel create 59.200 59.200.1=lamp
  ostrel --server 127.0.0.2 create 59.200 59.200.1=torch
  ostrel --server 127.0.0.2 create 59.200 59.200.1=lamp
  run --separate-stderr ostrel --server 127.0.0.1 find 59.200
  [ "$status" = 0 ]
  same "$(sort <<<"$output")" $'59.200.0.1  127.0.0.1\n59.200.0.1  127.0.0.2\n59.200.0.2  127.0.0.2'
  run --separate-stderr ostrel --server 127.0.0.1 find 59.200 59.200.1=torch
  same "$output" '59.200.0.1  127.0.0.2'
  run --separate-stderr ostrel --quiet --server 127.0.0.1 find 59.200 59.200.1=torch
  same "$output" '59.200.0.1'
  run ostrel --json --server 127.0.0.1 find 59.200 59.200.1=torch
  same "$(json '[.directory, .found]')" \
    '["127.0.0.1",[{"oid":"59.200.0.1","server":"127.0.0.2"}]]'
}

@test "find says so when nothing is found" {
  directory "${both[@]}"
  run --separate-stderr ostrel --server 127.0.0.1 find 59.222
  [ "$status" = 0 ]
  same "$output" ''
  same "$stderr" 'ostrel: nothing found'
}

@test "directory servers are discovered by multicast" {
  directory "${both[@]}"
  run --separate-stderr ostrel discover --hops 1
  [ "$status" = 0 ]
  same "$output" 127.0.0.1
  run --separate-stderr ostrel --json discover
  same "$(json '[.command, .directory, .status.code]')" \
    '["discover","127.0.0.1",0]'
}

@test "find without a server discovers a directory first" {
  directory "${both[@]}"
  ostrel --server 127.0.0.2 create 59.200 59.200.1=lamp
  run --separate-stderr ostrel --json --trace find 59.200
  [ "$status" = 0 ]
  same "$(json .found)" '[{"oid":"59.200.0.1","server":"127.0.0.2"}]'
  same "$(jq -c 'select(.trace == "sent") | [.to, .pdu.oid]' <<<"$stderr")" \
    $'["224.0.1.2:5136",null]\n["127.0.0.1:5136","59.200.0.0"]'
}

@test "discovery without a directory server ends with 3" {
  run --separate-stderr ostrel discover --hops 1
  [ "$status" = 3 ]
  [[ $stderr == 'ostrel: no directory server answered the multicast'* ]]
}

@test "a silent object server delays an answer by a bounded time" {
  directory "${both[@]}" --retries 0
  ostrel create 59.200
  # The second one is there and says nothing.
  kill -STOP "${running[1]}"
  local start=$SECONDS
  run --separate-stderr ostrel --timeout 5 --server 127.0.0.1 find 59.200
  kill -CONT "${running[1]}"
  [ "$status" = 4 ]
  same "$output" '59.200.0.1  127.0.0.1'
  same "$stderr" 'ostrel: object server 1: 10(Network Error)'
  [ $((SECONDS - start)) -lt 4 ]
  grep -q '127\.0\.0\.2' "$BATS_TEST_TMPDIR/directory.log"
}

@test "the file of servers is read again on SIGHUP" {
  echo 127.0.0.1 >"$BATS_TEST_TMPDIR/servers"
  directory --servers "$BATS_TEST_TMPDIR/servers"
  ostrel --server 127.0.0.2 create 59.200
  run --separate-stderr ostrel --server 127.0.0.1 find 59.200
  same "$output" ''
  echo 127.0.0.2 >>"$BATS_TEST_TMPDIR/servers"
  kill -HUP "$started"
  waitFor 1 'asks the object server 127.0.0.2' "$BATS_TEST_TMPDIR/directory.log"
  run --separate-stderr ostrel --server 127.0.0.1 find 59.200
  same "$output" '59.200.0.1  127.0.0.2'
}

@test "a directory server that does not answer ends with 3" {
  run --separate-stderr ostrel --server 127.0.0.1 --retries 0 find 59.200
  [ "$status" = 3 ]
  [[ $stderr == *'no answer from 127.0.0.1:5136'* ]]
}

@test "a file of servers that is a folder changes nothing, and each SIGHUP says so" {
  echo 127.0.0.2 >"$BATS_TEST_TMPDIR/servers"
  directory --servers "$BATS_TEST_TMPDIR/servers"
  ostrel --server 127.0.0.2 create 59.200
  rm "$BATS_TEST_TMPDIR/servers"
  mkdir "$BATS_TEST_TMPDIR/servers"
  for round in 1 2; do
    kill -HUP "$started"
    waitFor $round 'nothing was changed' "$BATS_TEST_TMPDIR/directory.log"
  done
  run --separate-stderr ostrel --server 127.0.0.1 find 59.200
  same "$output" '59.200.0.1  127.0.0.2'
}

@test "an object server is one machine's address" {
  local server
  for server in 224.0.0.77 255.255.255.255 0.0.0.0 127.0.0.1:0; do
    run "$OSTRELD" directory --server "$server"
    [ "$status" = 2 ]
    [[ $output == *"${server%:*}"* ]]
  done
}

@test "an address is what inet_pton takes for one" {
  local address
  for address in 127.0.0.01 0127.0.0.1 0x7f.0.0.1 127.1 localhost; do
    run "$OSTRELD" directory --listen "$address"
    [ "$status" = 2 ]
    [[ $output == *"not an IPv4 address: $address"* ]]
    run "$OSTRELD" directory --interface "$address"
    [ "$status" = 2 ]
  done
}
