#!/usr/bin/env bats
# Several servers at once: 127.0.0.2 and 127.0.0.3 answer, 127.0.0.4 says
# nothing, nobody listens at 127.0.0.5, and 127.0.0.6 has no such object.

load helper

setup() {
  serve two --memory --listen 127.0.0.2
  serve three --memory --listen 127.0.0.3
  serve four --memory --listen 127.0.0.4
  ostrel -s 127.0.0.2 create 59.200 59.200.1=lamp
  ostrel -s 127.0.0.3 create 59.200 59.200.1=torch
  # It is there and says nothing.
  kill -STOP "${running[2]}"
  serve six --memory --listen 127.0.0.6
}
teardown() {
  kill -CONT "${running[2]}"
  stopAll
}

all=127.0.0.2,127.0.0.3,127.0.0.4,127.0.0.5,127.0.0.6
good=127.0.0.2,127.0.0.3
quick() { ostrel --retries 0 "$@"; }

@test "every server is asked, and each result has its server" {
  run --separate-stderr quick -s "$all" get 59.200.0.1
  [ "$status" = 4 ]
  same "$(sort <<<"$output")" $'127.0.0.2: 59.200.1 = string:lamp\n127.0.0.3: 59.200.1 = string:torch'
  [[ $stderr == *'ostrel: no answer from 127.0.0.4:5135: 10(Network Error): timed out'* ]]
  [[ $stderr == *'ostrel: no answer from 127.0.0.5:5135: the port is closed'* ]]
  [[ $stderr == *'ostrel: 127.0.0.6: 59.200.0.1: 1(No Such Name)'* ]]
  same "$(tail -n 1 <<<"$stderr")" \
    'ostrel: 2 answered, 1 refused, 1 silent, 1 closed'
}

@test "JSON has the server of each result and failure, and the summary" {
  run --separate-stderr quick --json -s "$all" verify 59.200.0.1
  [ "$status" = 4 ]
  same "$stderr" ''
  same "$(jq -c 'select(.summary == null) | [.server, .oid, .failure]' \
    <<<"$output" | sort)" '["127.0.0.2","59.200.0.1",null]
["127.0.0.3","59.200.0.1",null]
["127.0.0.4","59.200.0.1","noAnswer"]
["127.0.0.5","59.200.0.1","noAnswer"]
["127.0.0.6","59.200.0.1","refused"]'
  same "$(jq -c 'select(.summary) | [.command, .summary]' <<<"$output")" \
    '["verify",{"answered":2,"refused":1,"silent":1,"closed":1,"unreadable":0,"unreachable":0}]'
}

@test "a silent server delays nobody else" {
  local start=$SECONDS
  "$OSTREL" --principal none -s 127.0.0.4,127.0.0.2 verify 59.200.0.1 \
    >"$BATS_TEST_TMPDIR/out" 2>"$BATS_TEST_TMPDIR/err" 3>&- &
  local pid=$! code=0
  waitFor 1 '127.0.0.2: 59.200.0.1: there' "$BATS_TEST_TMPDIR/out"
  [ $((SECONDS - start)) -lt 3 ]
  kill -INT "$pid"
  wait "$pid" || code=$?
  [ "$code" = 130 ]
}

@test "servers come from options, a list and a file, each once" {
  printf '127.0.0.3  # the third\n\n# 127.0.0.9\n127.0.0.6:5135\n' \
    >"$BATS_TEST_TMPDIR/servers"
  run --separate-stderr quick -s 127.0.0.2,127.0.0.3 --server 127.0.0.2 \
    --servers "$BATS_TEST_TMPDIR/servers" --json verify 59.110.1.0
  [ "$status" = 0 ]
  same "$(jq -r 'select(.server) | .server' <<<"$output" | sort | tr '\n' ' ')" \
    '127.0.0.2 127.0.0.3 127.0.0.6 '
}

@test "a file of servers with a mistake ends with 2" {
  echo '127.0.0.2 127.0.0.3' >"$BATS_TEST_TMPDIR/servers"
  run --separate-stderr quick --servers "$BATS_TEST_TMPDIR/servers" get 59.200.0.1
  [ "$status" = 2 ]
  [[ $stderr == *'line 1'* ]]
  run --separate-stderr quick --servers "$BATS_TEST_TMPDIR" get 59.200.0.1
  [ "$status" = 2 ]
  [[ $stderr == *'cannot be read'* ]]
}

@test "every verb writes to every server" {
  run --separate-stderr quick -s "$good" create 59.200 59.200.2=5
  [ "$status" = 0 ]
  same "$(sort <<<"$output")" $'127.0.0.2: 59.200.0.2\n127.0.0.3: 59.200.0.2'
  same "$stderr" 'ostrel: 2 answered'
  run --separate-stderr quick -s "$good" set 59.200.0.2 59.200.2=6
  same "$(sort <<<"$output")" \
    $'127.0.0.2: 59.200.0.2: set\n127.0.0.3: 59.200.0.2: set'
  run --separate-stderr quick -s "$good" clone 59.200.0.2
  same "$(sort <<<"$output")" $'127.0.0.2: 59.200.0.3\n127.0.0.3: 59.200.0.3'
  run --separate-stderr quick -s "$good" --quiet remove 59.200.0.2 59.200.0.3
  [ "$status" = 0 ]
  same "$output$stderr" ''
  run --separate-stderr quick -s "$good" verify 59.200.0.1 59.200.0.2
  [ "$status" = 4 ]
  same "$(sort <<<"$output")" \
    $'127.0.0.2: 59.200.0.1: there\n127.0.0.3: 59.200.0.1: there'
  same "$(tail -n 1 <<<"$stderr")" 'ostrel: 0 answered, 2 refused'
}

@test "servers that fail alike give their exit code" {
  run quick -s "$good" get 59.200.0.9
  [ "$status" = 1 ]
  run quick -s 127.0.0.5,127.0.0.7 get 59.200.0.1
  [ "$status" = 3 ]
  run quick -s "$good" get 59.200.0.1 59.200.9
  [ "$status" = 4 ]
  run quick -s "$good" action 59.200.20
  [ "$status" = 1 ]
}

@test "a name that cannot be resolved does not stop the others" {
  run --separate-stderr quick -s 127.0.0.2,no.such.host.invalid verify 59.200.0.1
  [ "$status" = 4 ]
  same "$output" '127.0.0.2: 59.200.0.1: there'
  same "$(tail -n 1 <<<"$stderr")" 'ostrel: 1 answered, 1 unreachable'
}

@test "a dry run shows the request to each server" {
  run --separate-stderr ostrel --json --dry-run -s "$all" verify 59.200.0.1
  [ "$status" = 0 ]
  same "$(jq -r .to <<<"$output" | tr '\n' ' ')" '127.0.0.2:5135 127.0.0.3:5135 127.0.0.4:5135 127.0.0.5:5135 127.0.0.6:5135 '
}

@test "progress counts the servers that are waited for" {
  run script -qec "'$OSTREL' --principal none -t 2 -r 0 -s $all verify 59.200.0.1" \
    /dev/null
  [[ $output == *'waiting for 1 of 5 servers, '* ]]
}

@test "commands for one server refuse several" {
  run --separate-stderr quick -s "$good" watch 59.200
  [ "$status" = 2 ]
  [[ $stderr == *'asks one server'* ]]
}
