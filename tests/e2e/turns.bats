#!/usr/bin/env bats
# No request stops the others.

load helper

teardown() { stopAll; }

# A machine that runs other tests beside this one may keep a process from its
# processor for this many ms.
noise=200

@test "beside three searches of 100000 objects a verify waits at most 20 ms" {
  serve server --memory --rate 0
  "$LOAD" fill 100000
  local verified median longest each
  read -r verified median longest each <<<"$("$LOAD" beside 3)"
  echo "$verified verifies: $median ms, the longest $longest, a search $each"
  # The searches went on meanwhile.
  [ "$verified" -ge 10 ]
  [ "${median%.*}" -lt 20 ]
  [ "${longest%.*}" -lt $((20 + noise)) ]
}

@test "a signal ends the server within 100 ms beside long searches" {
  serve server --memory --rate 0
  "$LOAD" fill 100000
  "$LOAD" beside 8 >/dev/null 2>&1 3>&- &
  sleep 0.1
  local before after
  before=$(date +%s%N)
  kill "$started"
  waitFor 1 'ended by a signal' "$BATS_TEST_TMPDIR/server.log"
  after=$(date +%s%N)
  echo "$(((after - before) / 1000000)) ms"
  # It was at work: no search was answered yet.
  jobs %% >/dev/null
  [ $((after - before)) -lt $(((100 + noise) * 1000000)) ]
}
