#!/usr/bin/env bats
# What needs no server: help, mistakes, exit codes, decoding, completion.

load helper

@test "every command has help with examples" {
  run "$OSTREL" --help
  [ "$status" = 0 ]
  [[ $output == *Examples:* ]]
  local command
  for command in get set create clone remove verify search walk find discover \
    action watch decode class completion; do
    [[ $output == *"  $command "* ]]
    "$OSTREL" "$command" --help >"$BATS_TEST_TMPDIR/help"
    grep -q 'Examples:' "$BATS_TEST_TMPDIR/help"
    grep -q "ostrel.* $command" "$BATS_TEST_TMPDIR/help"
  done
}

@test "mistakes in the command line end with 2 and say how it is done" {
  local words
  while read -ra words; do
    run --separate-stderr "$OSTREL" "${words[@]}"
    [ "$status" = 2 ] || { echo "ostrel ${words[*]}: $status"; return 1; }
    [ -z "$output" ]
    [[ $stderr == 'ostrel: '*'--help shows how.' ]]
  done <<'END'

frob
--frob
get
get 59
get 59.6 name
set 59.6.0.1
set 59.6.0.1 59.6.1=int:x
create 59.6 59.6.1=itn:5
search 59.6 59.6.1!5
remove
verify 59.6.0.1 x
--timeout 0 get 59.6
--retries x get 59.6
--principal me get 59.6
completion fish
class
class check
class frob lamp.toml
class show frob
class show -o xml host
discover --hops 3
discover --hops 255
get 59.6.0.010
set 59.6.0.1 59.6=5
END
}

@test "mistakes have a JSON form" {
  run --separate-stderr "$OSTREL" --json get 59
  [ "$status" = 2 ]
  same "$(json '[.command, .failure, .status]')" '["get","usage",null]'
  run --separate-stderr "$OSTREL" -jn get
  [ "$status" = 2 ]
  same "$(json '[.command, .failure]')" '["get","usage"]'
  run --separate-stderr "$OSTREL" -sjoe get
  [ "$status" = 2 ]
  same "$output" ''
  run --separate-stderr "$OSTREL" --json frob
  [ "$status" = 2 ]
  same "$(json '[.command, .failure]')" '["","usage"]'
}

@test "no answer ends with 3, after all retransmissions" {
  stranger silence
  run --separate-stderr ostrel --retries 1 get 59.6.0.1
  [ "$status" = 3 ]
  [[ $stderr == 'ostrel: no answer from 127.0.0.1:5135: 10(Network Error): timed out'* ]]
  run --separate-stderr ostrel --retries 1 --json --trace get 59.6.0.1
  [ "$status" = 3 ]
  same "$(json '[.failure, .status.code]')" '["noAnswer",10]'
  same "$(jq -c .trace <<<"$stderr")" $'"sent"\n"sent again"'
  stopAll
}

@test "a closed port ends with 3 at once" {
  local start=$SECONDS
  run --separate-stderr ostrel --timeout 60 get 59.6.0.1
  [ "$status" = 3 ]
  same "$stderr" 'ostrel: no answer from 127.0.0.1:5135: the port is closed
        Is an object server running there (ostreld serve)? --server names another host.'
  run --separate-stderr ostrel --timeout 60 --json --server 127.0.0.1 find 59.200
  [ "$status" = 3 ]
  same "$(json '[.failure, .status.code]')" '["noAnswer",10]'
  [ $((SECONDS - start)) -lt 30 ]
}

@test "a host that cannot be resolved ends with 6" {
  run --separate-stderr ostrel --server no.such.host.invalid get 59.6.0.1
  [ "$status" = 6 ]
  [[ $stderr == *"no IPv4 address for the host 'no.such.host.invalid'"* ]]
}

@test "a network that cannot be reached ends with 6" {
  run --separate-stderr ostrel --server 203.0.113.1 get 59.6.0.1
  [ "$status" = 6 ]
  [[ $stderr == *'cannot send to 203.0.113.1:5135: '* ]]
}

@test "an interrupted wait ends with 130" {
  stranger silence
  : >"$BATS_TEST_TMPDIR/err"
  "$OSTREL" --principal none --trace get 59.6.0.1 2>"$BATS_TEST_TMPDIR/err" \
    3>&- &
  local pid=$! code=0
  waitFor 1 '^sent' "$BATS_TEST_TMPDIR/err"
  kill -INT $pid
  wait $pid || code=$?
  [ "$code" = 130 ]
  grep -q interrupted "$BATS_TEST_TMPDIR/err"
  stopAll
}

@test "an answer of another class ends with 5" {
  # A server that answers everything with a verify response.
  stranger verify
  run --separate-stderr ostrel get 59.6.0.1
  stopAll
  [ "$status" = 5 ]
  [[ $stderr == *'the answer cannot be read, or does not belong to the request'* ]]
}

@test "answers that cannot be decoded do not end the wait" {
  stranger garbage
  run --separate-stderr ostrel --retries 0 --trace get 59.6.0.1
  stopAll
  [ "$status" = 3 ]
  [[ $stderr == *'refused from 127.0.0.1:5135'* ]]
}

@test "decode prints values, PDUs and datagrams" {
  run "$OSTREL" decode 030105
  same "$output" int:5
  run "$OSTREL" decode 1f:03:00:43:01:05 0a00
  [ "$status" = 5 ]
  run "$OSTREL" decode '1f03 004301050a000a01013b01060000804300'
  same "$output" $'get 5, status 0(No Error), principal none\n  oid: 59.6.0.0\n  list: 0 elements'
  run "$OSTREL" decode 00010007000100000000000300000000030105
  same "$output" $'message 7, fragment 1 of 1, bytes 0 to 2 of 3\nint:5'
}

@test "decode reads lines from standard input" {
  run "$OSTREL" decode <<<$'030105\n\n0x030106'
  [ "$status" = 0 ]
  same "$output" $'int:5\nint:6'
}

@test "decode names what is no hexadecimal" {
  run --separate-stderr "$OSTREL" decode <<<$'030105\n\n03zz'
  [ "$status" = 5 ]
  same "$output" ''
  same "${stderr%%$'\n'*}" "ostrel: line 3: 'z' is no hexadecimal digit"
  run --separate-stderr "$OSTREL" decode 030105 0
  [ "$status" = 5 ]
  [[ $stderr == 'ostrel: 0: an odd number'* ]]
}

@test "decode says why a datagram is refused" {
  run --separate-stderr "$OSTREL" decode 00020007000100000000000300000000030105
  [ "$status" = 5 ]
  same "$output" ''
  same "$stderr" 'ostrel: a receiver refuses the datagram: the version of the datagram is 2, not 1'
  run --separate-stderr "$OSTREL" --json decode 0001
  [ "$status" = 5 ]
  [[ $(json .problem) == *'refuses the datagram'* ]]
  same "$(json '[.value, .bytes]')" '[null,2]'
}

@test "decode has a JSON form" {
  run --separate-stderr "$OSTREL" --json decode 030105 ff
  [ "$status" = 5 ]
  same "$(json '[.value, .problem]')" \
    $'[{"type":"int","value":5},null]\n[null,"no value begins with the tag 255"]'
}

@test "a reader that goes away ends the tool quietly" {
  run bash -c 'yes 030105 | head -n 20000 | "$0" decode | head -n 1' "$OSTREL"
  same "$output" int:5
}

@test "a watch without standard streams idles" {
  serve server --memory
  "$OSTREL" --principal none watch 59.200 <&- >&- 2>&- 3>&- &
  local pid=$! fields
  running+=($!)
  waitUntil registrations 1
  # What a second of idling costs.
  sleep 1
  read -ra fields <"/proc/$pid/stat"
  [ $((fields[13] + fields[14])) -lt 20 ]
  stopAll
}

@test "bash completes commands and options" {
  "$OSTREL" completion bash >"$BATS_TEST_TMPDIR/complete"
  source "$BATS_TEST_TMPDIR/complete"
  COMP_WORDS=(ostrel --server 127.0.0.1 se) COMP_CWORD=3
  _ostrel
  same "${COMPREPLY[*]}" 'set search'
  COMP_WORDS=(ostrel watch --co) COMP_CWORD=2
  _ostrel
  same "${COMPREPLY[*]}" --count
  COMP_WORDS=(ostrel completion z) COMP_CWORD=2
  _ostrel
  same "${COMPREPLY[*]}" zsh
}

@test "zsh takes its completion script" {
  command -v zsh || skip 'zsh is not installed'
  "$OSTREL" completion zsh >"$BATS_TEST_TMPDIR/_ostrel"
  zsh -n "$BATS_TEST_TMPDIR/_ostrel"
}
