#!/usr/bin/env bats
# scripts/demo, with the programs of this build.

load helper

setup() {
  export OSTREL_DEMO_TOOLS=${OSTREL%/*/*} OSTREL_DEMO_NETWORK=own
  export TMPDIR=$BATS_TEST_TMPDIR/tmp
  mkdir "$TMPDIR"
}
teardown() { stopAll; }

demo() { "$BATS_TEST_DIRNAME/../../scripts/demo" --no-shell; }

@test "the demo walks through the operations and leaves nothing behind" {
  run demo
  [ "$status" = 0 ]
  [[ $output == *'# a new object of the class 59.200'$'\n'59.200.0.1$'\n'* ]]
  [[ $output == *'event: '*' 59.200.0.2 changed  59.200.2 = int:7'* ]]
  [[ $output == *$'\n59.200.0.1  127.0.0.1\n59.200.0.2  127.0.0.1\n'* ]]
  [[ $output == *'59.200.0.2: removed'* ]]
  [[ $output == *'To go on:'* ]]
  same "$(ls -A "$TMPDIR")" ''
  run ostrel --retries 0 verify 59.1.0.1
  [ "$status" = 3 ]
}

@test "the shell at the end of the demo keeps the user's history as it is" {
  local history=$BATS_TEST_TMPDIR/.bash_history
  seq 2000 >"$history"
  local demo=${BATS_TEST_DIRNAME@Q}/../../scripts/demo
  HOME=$BATS_TEST_TMPDIR run script -qec "$demo" /dev/null \
    <<<$'echo $((6 * 7)) things\nexit'
  [ "$status" = 0 ]
  [[ $output == *'42 things'* ]]
  seq 2000 | cmp - "$history"
  same "$(ls -A "$TMPDIR")" ''
}

@test "the demo does without multicast where it has no network of its own" {
  export OSTREL_DEMO_NETWORK=shared
  run demo
  [ "$status" = 0 ]
  [[ $output == *'$ ostrel --server 127.0.0.1 find 59.200'* ]]
}

@test "the demo says which port is in use" {
  serve server --memory
  run demo
  [ "$status" = 1 ]
  [[ $output == *'UDP port 5135 of 127.0.0.1 is in use'* ]]
  same "$(ls -A "$TMPDIR")" ''
}
