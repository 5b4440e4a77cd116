#!/usr/bin/env bats
# What was answered is kept and done once, whatever happens to the server, to
# the request and to the answer.

load helper

teardown() { stopAll; }

crash() {
  kill -KILL "$started"
  wait "$started" || true
  running=()
}

# relay LOST starts a relay that loses so many answers to each request.
relay() {
  : >"$BATS_TEST_TMPDIR/relay.log"
  startUntil ready "$BATS_TEST_TMPDIR/relay.log" "$RELAY" "$1"
}

@test "kill -9 after an answer loses nothing that was answered" {
  local store=$BATS_TEST_TMPDIR/store.db i answered=()
  for ((i = 1; i <= 15; ++i)); do
    serve server --store "$store"
    answered+=("$(ostrel create 59.200 "59.200.1=int:$i")")
    ostrel set "${answered[0]}" "59.200.2=int:$i"
    crash
  done
  serve server --store "$store"
  for ((i = 1; i <= 15; ++i)); do
    same "$(ostrel -q get "${answered[i - 1]}" 59.200.1)" "$i"
  done
  same "$(ostrel -q get "${answered[0]}" 59.200.2)" 15
  same "$(ostrel search 59.200 | wc -l)" 15
}

@test "kill -9 among requests loses nothing that was answered" {
  local store=$BATS_TEST_TMPDIR/store.db answered=$BATS_TEST_TMPDIR/answered
  local round client i
  : >"$answered"
  for round in 1 2 3 4 5; do
    serve server --store "$store"
    (
      for ((i = 0; i < 1000; ++i)); do
        ostrel --retries 0 create 59.200 59.200.1=int:$round >>"$answered" ||
          exit 0
      done
    ) 2>/dev/null 3>&- &
    client=$!
    # Somewhere among the requests, each time further on.
    waitFor $((round * 7)) '' "$answered"
    crash
    wait "$client" || true
  done
  serve server --store "$store"
  [ "$(wc -l <"$answered")" -gt 10 ]
  # No identifier was given twice, and every one of them is there.
  same "$(sort "$answered" | uniq -d)" ''
  ostrel search 59.200 | sort >"$BATS_TEST_TMPDIR/there"
  same "$(sort "$answered" | comm -23 - "$BATS_TEST_TMPDIR/there")" ''
}

@test "a removed identifier is not used again after kill -9" {
  local store=$BATS_TEST_TMPDIR/store.db
  serve server --store "$store"
  ostrel create 59.200
  ostrel remove 59.200.0.1
  crash
  serve server --store "$store"
  same "$(ostrel create 59.200)" 59.200.0.2
}

@test "when answers are lost, nothing is done twice" {
  serve server --memory --listen 127.0.0.2
  relay 2
  run --separate-stderr ostrel --json --trace create 59.200 59.200.1=lamp
  [ "$status" = 0 ]
  same "$(json .oid)" '"59.200.0.1"'
  same "$(jq -c .trace <<<"$stderr" | tr '\n' ' ')" \
    '"sent" "sent again" "sent again" "received" '
  same "$(ostrel --server 127.0.0.2 search 59.200)" 59.200.0.1
  run --separate-stderr ostrel clone 59.200.0.1
  same "$output" 59.200.0.2
  run --separate-stderr ostrel remove 59.200.0.1
  [ "$status" = 0 ]
  same "$output" '59.200.0.1: removed'
  same "$(ostrel --server 127.0.0.2 search 59.200)" 59.200.0.2
}

@test "the server outlives the reader of its log" {
  mkfifo "$BATS_TEST_TMPDIR/log"
  "$OSTRELD" serve --memory 3>&- 2>"$BATS_TEST_TMPDIR/log" &
  running+=($!)
  head -n 1 "$BATS_TEST_TMPDIR/log" >/dev/null
  ostrel action 59.1.100 string:one
  ostrel action 59.1.100 string:two
  ostrel create 59.200
}

@test "when all answers are lost the tool says so" {
  serve server --memory --listen 127.0.0.2
  relay 9
  run --separate-stderr ostrel --retries 1 create 59.200
  [ "$status" = 3 ]
}
