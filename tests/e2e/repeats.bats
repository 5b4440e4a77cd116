#!/usr/bin/env bats
# What is acknowledged was made, although ports and message ids come again.

load helper

teardown() { stopAll; }

@test "of 5000 creates by programs of their own, few are taken for repeats" {
  serve server --store "$BATS_TEST_TMPDIR/store.db"
  local acknowledged made
  acknowledged=$("$NEWCOMERS" create 5000)
  # No identifier is given twice, so the next one tells how many there were.
  made=$(ostrel create 59.200)
  made=$((${made##*.} - 1))
  echo "acknowledged $acknowledged, made $made"
  [ "$acknowledged" = 5000 ]
  # 0.5 %: those that meet a port that was used in the 100 ms before.
  [ $((acknowledged - made)) -le 25 ]
}

@test "what a program that begins anew on the same port sets is set" {
  serve server --store "$BATS_TEST_TMPDIR/store.db"
  ostrel create 59.200 59.200.1=int:0
  local value
  for value in 1 2 1; do
    "$NEWCOMERS" set 4711 "$value"
    same "$(ostrel -q get 59.200.0.1 59.200.1)" "$value"
    sleep 0.2
  done
}
