#!/usr/bin/env bats
# Every command and every form of its output, against a server in memory.

load helper

setup() { serve server --memory; }
teardown() { stopAll; }

# answer TAG BODY [TAG BODY]: a server in place of the other that answers each
# request with a PDU of that tag, in hexadecimal, and the last again and again.
answer() {
  stopAll
  : >"$BATS_TEST_TMPDIR/answer.log"
  startUntil ready "$BATS_TEST_TMPDIR/answer.log" perl -MSocket -e '
    $SIG{TERM} = sub { exit 0 };
    $| = 1;
    socket(S, PF_INET, SOCK_DGRAM, 0);
    bind(S, pack_sockaddr_in(5135, inet_aton("127.0.0.1"))) or die;
    print "ready\n";
    while ($from = recv(S, $request, 65536, 0)) {
      my ($tag, $body) = @ARGV;
      splice @ARGV, 0, 2 if @ARGV > 2;
      my $id = substr($request, 19, 2 + ord(substr($request, 20, 1)));
      my $pdu = pack("H*", $tag . "0300") . $id . pack("H*", "0a00" . $body);
      send(S, pack("nnnnNN", 1, 7, 1, 0, length $pdu, 0) . $pdu, 0, $from);
    }' "$@"
}

@test "create prints the new object's identifier" {
  run --separate-stderr ostrel create 59.200 59.200.1=lamp 59.200.2=int:5
  [ "$status" = 0 ]
  same "$output" 59.200.0.1
  run ostrel --json create 59.200
  [ "$status" = 0 ]
  same "$(json '[.command, .server, .oid, .status.code, .errors]')" \
    '["create","127.0.0.1","59.200.0.2",0,[]]'
}

@test "create and clone fail when the answer has no identifier" {
  local verb
  for verb in create clone; do
    # A create response: no errors, and an invalid identifier.
    answer 25 8043000a00
    run --separate-stderr ostrel "$verb" 59.200.0.1
    [ "$status" = 1 ]
    same "$output" ''
    [[ $stderr == "ostrel: $verb 59.200.0.1: no object was made"* ]]
    run ostrel --json "$verb" 59.200.0.1
    [ "$status" = 1 ]
    same "$(json '[.failure, .status]')" '["refused",null]'
  done
  run --separate-stderr ostrel watch 59.200 --seconds 1
  [ "$status" = 1 ]
  [[ $stderr == 'ostrel: watch 59.200: no object was made'* ]]
}

@test "results that cannot be written are a failure" {
  local words code
  ostrel create 59.200
  while read -ra words; do
    code=0
    ostrel "${words[@]}" >/dev/full 2>"$BATS_TEST_TMPDIR/err" || code=$?
    [ "$code" = 6 ] || { echo "${words[*]}: $code" >&2; return 1; }
    grep -q 'results cannot be written: No space left' "$BATS_TEST_TMPDIR/err"
    code=0
    ostrel "${words[@]}" >&- 2>"$BATS_TEST_TMPDIR/err" || code=$?
    [ "$code" = 6 ]
    grep -q 'results cannot be written: Bad file' "$BATS_TEST_TMPDIR/err"
  done <<'END'
create 59.200
get 59.1.0.1
--json get 59.1.0.1
decode 030105
--help
completion bash
END
}

@test "a signal ends the wait for a reader" {
  local code=0
  ostrel create 59.200 "59.200.1=$(head -c 100000 /dev/zero | tr '\0' x)"
  mkfifo "$BATS_TEST_TMPDIR/pipe"
  # It reads a byte, so that the rest is waited for, and no more.
  (head -c 1 >"$BATS_TEST_TMPDIR/begun"; exec sleep 20) \
    <"$BATS_TEST_TMPDIR/pipe" 3>&- &
  running+=($!)
  "$OSTREL" --principal none get 59.200.0.1 >"$BATS_TEST_TMPDIR/pipe" \
    2>"$BATS_TEST_TMPDIR/err" 3>&- &
  local pid=$!
  waitUntil test -s "$BATS_TEST_TMPDIR/begun"
  kill -TERM "$pid"
  wait "$pid" || code=$?
  kill "${running[1]}"
  running=("${running[0]}")
  [ "$code" = 130 ]
}

@test "get prints all attributes, or those that are named in their order" {
  ostrel create 59.200 59.200.1=lamp 59.200.2=int:5
  run --separate-stderr ostrel get 59.200.0.1
  [ "$status" = 0 ]
  same "$output" $'59.200.1 = string:lamp\n59.200.2 = int:5'
  run --separate-stderr ostrel get 59.200.0.1 59.200.2 59.200.1
  same "$output" $'59.200.2 = int:5\n59.200.1 = string:lamp'
}

@test "get --quiet prints values alone" {
  ostrel create 59.200 59.200.1='two words' 59.200.2=int:5
  run --separate-stderr ostrel --quiet get 59.200.0.1 59.200.1
  same "$output" 'two words'
}

@test "get --json has every value with its type" {
  ostrel create 59.200 59.200.1=lamp '59.200.2=list:[1,oid:59.6]'
  run ostrel --json get 59.200.0.1
  [ "$status" = 0 ]
  same "$(json .attributes)" '[{"id":"59.200.1","value":{"type":"string","value":"lamp"}},{"id":"59.200.2","value":{"type":"list","value":[{"type":"int","value":1},{"type":"oid","value":"59.6.0.0"}]}}]'
}

@test "every type of value comes back as it was written" {
  local values=(int:-5 uint:4294967295 short:-1 ushort:65535 long:-1
    ulong:4294967295 float:1.5 double:0.1 bool:true bool:false char:A
    'uchar:\xff' time:2026-11-21T03:19:26Z 'string:a b' oid:59.6.0.1 aid:59.6.1
    addr:10.0.0.1 addr:none opaque:00ff 'list:[int:1,string:a\,b,list:[]]')
  local i words=() expected=''
  for i in "${!values[@]}"; do
    words+=("59.200.$((i + 1))=${values[i]}")
    expected+="59.200.$((i + 1)) = ${values[i]}"$'\n'
  done
  ostrel create 59.200 "${words[@]}"
  run --separate-stderr ostrel get 59.200.0.1
  [ "$status" = 0 ]
  same "$output" "${expected%$'\n'}"
}

@test "get of a missing attribute is done in part" {
  ostrel create 59.200 59.200.1=lamp
  run --separate-stderr ostrel get 59.200.0.1 59.200.1 59.200.7
  [ "$status" = 4 ]
  same "$output" $'59.200.1 = string:lamp\n59.200.7'
  same "${stderr%%$'\n'*}" 'ostrel: 59.200.0.1: 59.200.7: 1(No Such Name)'
  [[ $stderr == *$'\n        There is no such object'* ]]
  run --separate-stderr ostrel get 59.200.0.1 59.200.7 59.200.8
  same "$(grep -c 'There is no such object' <<<"$stderr")" 1
  run ostrel --json get 59.200.0.1 59.200.7
  [ "$status" = 4 ]
  same "$(json '[.status.code, .attributes, .errors]')" \
    '[-1,[{"id":"59.200.7","value":null}],[{"index":0,"code":1,"text":"No Such Name"}]]'
}

@test "get of a missing object is refused" {
  run --separate-stderr ostrel get 59.200.0.9
  [ "$status" = 1 ]
  same "$output" ''
  same "${stderr%%$'\n'*}" 'ostrel: get 59.200.0.9: 1(No Such Name)'
  run ostrel --json get 59.200.0.9
  [ "$status" = 1 ]
  same "$(json '[.failure, .oid, .status]')" \
    '["refused","59.200.0.9",{"code":1,"text":"No Such Name"}]'
}

@test "set writes attributes" {
  ostrel create 59.200 59.200.1=lamp
  run --separate-stderr ostrel set 59.200.0.1 59.200.1=torch 59.200.2=7
  [ "$status" = 0 ]
  same "$output" '59.200.0.1: set'
  same "$(ostrel -q get 59.200.0.1)" $'torch\n7'
  run --separate-stderr ostrel --quiet set 59.200.0.1 59.200.1=lamp
  same "$output" ''
  run ostrel --json set 59.200.0.1 59.200.1=torch
  same "$(json '[.command, .oid, .errors]')" '["set","59.200.0.1",[]]'
}

@test "clone copies an object and overrides attributes" {
  ostrel create 59.200 59.200.1=lamp 59.200.2=5
  run --separate-stderr ostrel clone 59.200.0.1 59.200.2=6
  [ "$status" = 0 ]
  same "$output" 59.200.0.2
  same "$(ostrel -q get 59.200.0.2)" $'lamp\n6'
  same "$(ostrel -q get 59.200.0.1)" $'lamp\n5'
  run ostrel clone 59.200.0.9
  [ "$status" = 1 ]
  run ostrel --json clone 59.200.0.1
  same "$(json '[.command, .oid]')" '["clone","59.200.0.3"]'
}

@test "remove and verify take several objects" {
  ostrel create 59.200
  ostrel create 59.200
  run --separate-stderr ostrel verify 59.200.0.1 59.200.0.2
  [ "$status" = 0 ]
  same "$output" $'59.200.0.1: there\n59.200.0.2: there'
  run --separate-stderr ostrel remove 59.200.0.1
  [ "$status" = 0 ]
  same "$output" '59.200.0.1: removed'
  run --separate-stderr ostrel verify 59.200.0.1 59.200.0.2
  [ "$status" = 4 ]
  same "$output" '59.200.0.2: there'
  same "${stderr%%$'\n'*}" 'ostrel: 59.200.0.1: 1(No Such Name)'
  run --separate-stderr ostrel verify 59.200.0.1
  [ "$status" = 1 ]
  run ostrel --json remove 59.200.0.2 59.200.0.1
  [ "$status" = 4 ]
  same "$(json '[.command, .oid, .failure]')" \
    $'["remove","59.200.0.2",null]\n["remove","59.200.0.1","refused"]'
}

@test "a removed identifier is not used again" {
  ostrel create 59.200
  ostrel remove 59.200.0.1
  run ostrel create 59.200
  same "$output" 59.200.0.2
}

@test "search joins its conditions with and" {
  ostrel create 59.200 59.200.1=lamp 59.200.2=5
  ostrel create 59.200 59.200.1=torch 59.200.2=7
  ostrel create 59.200 59.200.1=lantern
  local rows=(
    '59.200.0.1 59.200.0.2 59.200.0.3|'
    '59.200.0.1|59.200.1=lamp'
    '59.200.0.2 59.200.0.3|59.200.1!=lamp'
    '59.200.0.1|59.200.2<7'
    '59.200.0.1 59.200.0.2|59.200.2<=7'
    '59.200.0.2|59.200.2>5'
    '59.200.0.1 59.200.0.2|59.200.2>=5'
    '59.200.0.1 59.200.0.2|59.200.2'
    '59.200.0.1 59.200.0.3|59.200.1~la'
    '59.200.0.1|59.200.1~la 59.200.2'
  )
  local row
  for row in "${rows[@]}"; do
    read -ra words <<<"${row#*|}"
    run --separate-stderr ostrel search 59.200 "${words[@]}"
    [ "$status" = 0 ]
    same "$(tr '\n' ' ' <<<"$output")" "${row%%|*} "
  done
}

@test "search says so when nothing is found" {
  run --separate-stderr ostrel search 59.200
  [ "$status" = 0 ]
  same "$output" ''
  same "$stderr" 'ostrel: nothing found'
  run ostrel --json search 59.200
  same "$(json .found)" '[]'
}

@test "search refuses an operation that the server does not know" {
  ostrel create 59.200 59.200.1=lamp
  run --separate-stderr ostrel search 59.200 59.200.1@99=lamp
  [ "$status" != 0 ]
}

@test "walk prints objects with their attributes" {
  ostrel create 59.200 59.200.1=lamp 59.200.2=5
  ostrel create 59.200 59.200.1=torch
  run --separate-stderr ostrel walk 59.200
  [ "$status" = 0 ]
  same "$output" $'59.200.0.1\n  59.200.1 = string:lamp\n  59.200.2 = int:5\n59.200.0.2\n  59.200.1 = string:torch'
  run --separate-stderr ostrel walk 59.200 59.200.1=torch
  same "$output" $'59.200.0.2\n  59.200.1 = string:torch'
  run ostrel --json walk 59.200
  same "$(json '[.command, .oid, (.attributes | length)]')" \
    $'["walk","59.200.0.1",2]\n["walk","59.200.0.2",1]'
}

@test "walk blames the server for what is no object" {
  # A search response with the integer 5, then an invalid identifier.
  answer 29 804300804301020301050a00
  run --separate-stderr ostrel walk 59.200
  [ "$status" = 5 ]
  same "$output" ''
  [[ $stderr == *'the answer cannot be read'* ]]
  run ostrel --json walk 59.200
  [ "$status" = 5 ]
  same "$(json .failure)" '"decode"'
}

@test "walk --json has the errors of its search" {
  # A search response: the error 3 about the condition, and no objects.
  answer 29 804301011a4300030103804300
  run ostrel --json walk 59.200 59.200.1=5
  [ "$status" = 4 ]
  same "$(json '[.oid, .attributes, .errors]')" \
    '["59.200.0.0",[],[{"index":0,"code":3,"text":"Oid Format"}]]'
}

@test "an action that nobody serves is refused" {
  run --separate-stderr ostrel action 59.200.20 oid:59.200.0.1 59.200.1=5
  [ "$status" = 1 ]
  same "${stderr%%$'\n'*}" \
    'ostrel: action 59.200.20: 8(No Object Manager)'
  run ostrel --json action 59.200.20
  [ "$status" = 1 ]
  same "$(json '[.command, .aid, .failure]')" '["action","59.200.20","refused"]'
}

@test "a dry run shows the request and sends nothing" {
  run --separate-stderr ostrel --dry-run create 59.200 59.200.1=lamp
  [ "$status" = 0 ]
  [[ $output == 'would send to 127.0.0.1:5135'$'\n''  create 0, status 0'* ]]
  same "$stderr" 'ostrel: not sent: the request identifier is chosen when it is'
  run --separate-stderr "$OSTREL" -n watch 59.200
  same "$stderr" 'ostrel: not sent: the request identifier and the principal are chosen when it is
ostrel: so is the port for events, 0 here'
  run ostrel search 59.200
  same "$output" 'ostrel: nothing found'
  run ostrel --json --dry-run remove 59.200.0.1
  same "$(json '[.trace, .to, .pdu.type, .pdu.oid, .hex]')" \
    '["would send","127.0.0.1:5135","remove","59.200.0.1","1e030043000a000a01013b01c8000101"]'
}

@test "what a dry run shows can be decoded" {
  run ostrel --json --dry-run set 59.200.0.1 59.200.1=lamp
  hex=$(jq -r .hex <<<"$output")
  run ostrel decode "$hex"
  [ "$status" = 0 ]
  same "$output" $'set 0, status 0(No Error), principal none\n  oid: 59.200.0.1\n  list: 1 element\n    59.200.1 = string:lamp'
}

@test "trace shows what is sent and received" {
  ostrel create 59.200
  run --separate-stderr ostrel --trace verify 59.200.0.1
  [ "$status" = 0 ]
  [[ $stderr == 'sent to 127.0.0.1:5135'$'\n'*'received from 127.0.0.1:5135'* ]]
  [[ $stderr == *'verifyResponse '*', status 0(No Error)'* ]]
  run --separate-stderr ostrel --json --trace verify 59.200.0.1
  same "$(jq -c '[.trace, .pdu.type]' <<<"$stderr")" \
    $'["sent","verify"]\n["received","verifyResponse"]'
}

@test "trace shows messages of several fragments" {
  local long
  long=$(head -c 5000 /dev/zero | tr '\0' x)
  ostrel create 59.200 "59.200.1=$long"
  run --separate-stderr ostrel --json --trace get 59.200.0.1
  [ "$status" = 0 ]
  same "$(jq -r '.attributes[0].value.value | length' <<<"$output")" 5000
  same "$(jq -c 'select(.trace == "received") | .pdu.list[0].value.value | length' \
    <<<"$stderr")" 5000
}

@test "the principal is looked up at this host's server, or given" {
  run --separate-stderr "$OSTREL" --json --trace verify 59.110.1.0
  [ "$status" = 0 ]
  # A server that knows no pages is asked twice.
  same "$(jq -c 'select(.trace == "sent") | [.pdu.type, .pdu.principal]' \
    <<<"$stderr" | uniq)" \
    $'["search",null]\n["get",null]\n["verify","59.110.1.'"$(id -u)"'"]'
  run --separate-stderr "$OSTREL" --json --trace --principal 59.110.1.7 \
    verify 59.110.1.0
  same "$(jq -c 'select(.trace == "sent") | [.pdu.type, .pdu.principal]' \
    <<<"$stderr")" '["verify","59.110.1.7"]'
}

@test "a lookup that gets no answer is announced and does not stop the request" {
  serve other --memory --listen 127.0.0.2
  ostrel --server 127.0.0.2 create 59.200
  kill -STOP "${running[0]}"
  run --separate-stderr "$OSTREL" --timeout 2 --server 127.0.0.2 \
    verify 59.200.0.1
  [ "$status" = 0 ]
  same "$output" '59.200.0.1: there'
  [[ $stderr == *"looking up this user's principal at 127.0.0.1:5135"* ]]
  [[ $stderr == *'goes out without a principal'* ]]
  run --separate-stderr "$OSTREL" --json --timeout 2 --server 127.0.0.2 \
    verify 59.200.0.1
  [ "$status" = 0 ]
  same "$(jq -r .note <<<"$stderr" | cut -d ' ' -f 1-2)" $'looking up\nthe request'
  kill -CONT "${running[0]}"
}

@test "a failed lookup is remembered until it succeeds" {
  export XDG_RUNTIME_DIR=$BATS_TEST_TMPDIR
  serve other --memory --listen 127.0.0.2
  ostrel --server 127.0.0.2 create 59.200
  kill -STOP "${running[0]}"
  run --separate-stderr "$OSTREL" --timeout 2 --server 127.0.0.2 \
    verify 59.200.0.1
  [[ $stderr == *'without a principal: no answer from 127.0.0.1:5135'* ]]
  kill -CONT "${running[0]}"
  run --separate-stderr "$OSTREL" --server 127.0.0.2 verify 59.200.0.1
  [ "$status" = 0 ]
  [[ $stderr == *'without a principal: the lookup failed '*' ago'* ]]
  "$OSTREL" verify 59.110.1.0
  run --separate-stderr "$OSTREL" --server 127.0.0.2 verify 59.200.0.1
  same "$stderr" ''
}

@test "request identifiers begin at random" {
  local first second
  first=$(ostrel --json --trace verify 59.110.1.0 2>&1 >/dev/null |
    jq -c 'select(.trace == "sent") | .pdu.requestId')
  second=$(ostrel --json --trace verify 59.110.1.0 2>&1 >/dev/null |
    jq -c 'select(.trace == "sent") | .pdu.requestId')
  [ "$first" != "$second" ]
}

@test "control characters from the server are escaped" {
  ostrel create 59.200 $'59.200.1=\x1b[31mred\nline'
  run --separate-stderr ostrel get 59.200.0.1
  same "$output" '59.200.1 = string:\x1b[31mred\nline'
  run --separate-stderr ostrel --quiet get 59.200.0.1
  same "$output" '\x1b[31mred\nline'
}

@test "this host's objects can be read" {
  run --separate-stderr ostrel walk 59.110 59.110.2=0
  [ "$status" = 0 ]
  [[ $output == *'59.110.3 = string:root'* ]]
}
