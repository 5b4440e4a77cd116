#!/usr/bin/env bats
# No request stops the others.

load helper

teardown() { stopAll; }

@test "beside three searches of 100000 objects a verify waits at most 20 ms" {
  serve server --store "$BATS_TEST_TMPDIR/store.db" --rate 0
  "$LOAD" fill 100000
  local verified longest each
  read -r verified longest each <<<"$("$LOAD" beside 3)"
  echo "$verified verifies, the longest $longest ms, a search $each ms"
  # It went on all the time.
  [ "$verified" -ge 20 ]
  # What the sanitizers and a busy machine cost, FACTOR says.
  [ "${longest%.*}" -lt $((20 * ${FACTOR:-1})) ]
}

@test "a signal ends the server within 100 ms beside long searches" {
  serve server --store "$BATS_TEST_TMPDIR/store.db" --rate 0
  "$LOAD" fill 100000
  "$LOAD" beside 8 >/dev/null 2>&1 3>&- &
  sleep 0.1
  local before after
  before=$(date +%s%N)
  kill "${running[0]}"
  wait "${running[0]}"
  after=$(date +%s%N)
  running=()
  echo "$(((after - before) / 1000000)) ms"
  [ $((after - before)) -lt $((100000000 * ${FACTOR:-1})) ]
}
