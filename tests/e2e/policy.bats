#!/usr/bin/env bats
# Who is answered, who may write, and what the log says of the others.

load helper

teardown() { stopAll; }

@test "networks choose who is answered and who may write" {
  serve server --memory --listen 0.0.0.0 --allow 127.0.0.1 \
    --allow-write 127.0.0.2
  run --separate-stderr ostrel create 59.200
  [ "$status" = 1 ]
  [[ $stderr == *'Permission Denied'* ]]
  ostrel search 59.200 || [ $? = 1 ]
  grep -q 'info: refused 127.0.0.1:.*: create 59.200.0.0: 5(Permission Denied)' \
    "$BATS_TEST_TMPDIR/server.log"
}

@test "who may not read is not answered" {
  serve server --memory --allow 192.0.2.0/24
  run --separate-stderr ostrel --retries 0 verify 59.1.0.1
  [ "$status" = 3 ]
  grep -q 'info: refused 127.0.0.1:.*: verify 59.1.0.1: dropped' \
    "$BATS_TEST_TMPDIR/server.log"
}
