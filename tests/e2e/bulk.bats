#!/usr/bin/env bats
# Many objects at once: in pages, out and in again, commands by the line, and
# reads again and again.

load helper

setup() { serve server --memory; }
teardown() { stopAll; }

# lamps COUNT: lines of as many objects.
lamps() {
  local i
  for ((i = 1; i <= $1; ++i)); do
    echo '{"object":"59.200.0.'"$i"'","attributes":[{"id":"59.200.1",' \
      '"value":{"type":"string","value":"lamp '"$i"'"}},' \
      '"59.200.2=int:'"$i"'"]}'
  done
}

@test "what was dumped is loaded again without loss" {
  ostrel create 59.200 59.200.1=lamp 59.200.2=int:-5 59.200.3=double:0.1
  ostrel create 59.200 59.200.1='string:a\xff\n' 59.200.2=float:nan \
    '59.200.3=list:[1,list:[x],oid:59.6.0.1]' 59.200.4=addr:none
  ostrel create 59.201 59.201.1=time:5 59.201.2=bool:true 59.201.3=uchar:A
  ostrel dump 59.200 59.201 >"$BATS_TEST_TMPDIR/all"
  [ "$(wc -l <"$BATS_TEST_TMPDIR/all")" -ge 2 ]
  stopAll
  serve other --memory
  run --separate-stderr ostrel load "$BATS_TEST_TMPDIR/all"
  [ "$status" = 0 ]
  ostrel dump 59.200 59.201 >"$BATS_TEST_TMPDIR/again"
  same "$(jq -c .attributes "$BATS_TEST_TMPDIR/again" | sort)" \
    "$(jq -c .attributes "$BATS_TEST_TMPDIR/all" | sort)"
}

@test "load prints which object became which" {
  lamps 3 >"$BATS_TEST_TMPDIR/lamps"
  ostrel create 59.200
  run --separate-stderr ostrel load - <"$BATS_TEST_TMPDIR/lamps"
  [ "$status" = 0 ]
  same "$(sort <<<"$output" | cut -d' ' -f1 | tr '\n' ' ')" \
    '59.200.0.1 59.200.0.2 59.200.0.3 '
  same "$stderr" 'ostrel: 3 objects created'
  run ostrel -q search 59.200
  same "$(wc -l <<<"$output")" 4
}

@test "load --update sets objects, and tells which are missing" {
  lamps 2 >"$BATS_TEST_TMPDIR/lamps"
  ostrel create 59.200 59.200.1=old
  run --separate-stderr ostrel load --update "$BATS_TEST_TMPDIR/lamps"
  [ "$status" = 4 ]
  same "$output" '59.200.0.1: set'
  [[ $stderr == *'line 2 (59.200.0.2): 1(No Such Name)'* ]]
  run ostrel -q get 59.200.0.1 59.200.1
  same "$output" 'lamp 1'
}

@test "load goes on where it ended" {
  lamps 20 >"$BATS_TEST_TMPDIR/lamps"
  local state=$BATS_TEST_TMPDIR/state
  (head -n 7 "$BATS_TEST_TMPDIR/lamps"; echo '{') >"$BATS_TEST_TMPDIR/broken"
  run --separate-stderr ostrel load --resume "$state" "$BATS_TEST_TMPDIR/broken"
  [ "$status" = 5 ]
  [[ $stderr == *'line 8: '* ]]
  # What was written half, as by a machine that went down, does not count.
  printf '{"line":19,"obj' >>"$state"
  run --separate-stderr ostrel load --resume "$state" "$BATS_TEST_TMPDIR/lamps"
  [ "$status" = 0 ]
  run ostrel -q search 59.200
  same "$(wc -l <<<"$output")" 20
  run --separate-stderr ostrel load --resume "$state" "$BATS_TEST_TMPDIR/lamps"
  [ "$status" = 0 ]
  same "$stderr" 'ostrel: 0 objects created, 20 done before'
  same "$(jq -s 'map(.line) | sort == [range(1; 21)]' "$state")" true
  # Another input has other objects.
  sed -i 's/59.200.0.3"/59.200.0.33"/' "$BATS_TEST_TMPDIR/lamps"
  run ostrel load --resume "$state" "$BATS_TEST_TMPDIR/lamps"
  [ "$status" = 2 ]
}

@test "a load that nobody answers ends, and says how far it came" {
  stopAll
  lamps 3 >"$BATS_TEST_TMPDIR/lamps"
  run --separate-stderr ostrel load "$BATS_TEST_TMPDIR/lamps"
  [ "$status" = 3 ]
  [[ $stderr == *'ostrel: 0 lines done'* ]]
  [[ $stderr == *'the port is closed'* ]]
}

@test "a dry run of load checks the lines and sends nothing" {
  lamps 2 >"$BATS_TEST_TMPDIR/lamps"
  run --separate-stderr ostrel --dry-run load "$BATS_TEST_TMPDIR/lamps"
  [ "$status" = 0 ]
  same "$output" $'59.200.0.1: would be created\n59.200.0.2: would be created'
  run ostrel -q search 59.200
  same "$output" ''
}

@test "batch answers each line, whatever the order" {
  ostrel create 59.200 59.200.1=lamp
  run --separate-stderr ostrel batch <<'LINES'
{"id":1,"command":"get","object":"59.200.0.1"}
{"id":"two","command":"set","object":"59.200.0.1","attributes":["59.200.2=5"]}
{"id":3,"command":"create","class":"59.200","attributes":["59.200.1=torch"]}
{"id":4,"command":"verify","object":"59.200.0.99"}
{"id":5,"command":"fly"}
no JSON
{"id":6,"command":"get","object":"59.200.0.1","server":"somewhere"}
LINES
  [ "$status" = 4 ]
  same "$(wc -l <<<"$output")" 7
  same "$(json 'select(.id == 1) | .attributes[0].value.value')" '"lamp"'
  same "$(json 'select(.id == "two") | .status.code')" 0
  same "$(json 'select(.id == 3) | .oid')" '"59.200.0.2"'
  same "$(json 'select(.id == 4) | [.failure, .status.code]')" '["refused",1]'
  same "$(json 'select(.id == 5 or .id == 6) | .failure')" $'"usage"\n"usage"'
  same "$(json 'select(.id == null) | .failure')" '"usage"'
  run ostrel batch <<<'{"command":"search","class":"59.200","attributes":[]}'
  [ "$status" = 0 ]
  same "$(json '[.found[].object]')" '["59.200.0.1","59.200.0.2"]'
}

@test "batch answers a line while it waits for the next" {
  mkfifo "$BATS_TEST_TMPDIR/in"
  "$OSTREL" --principal none batch <"$BATS_TEST_TMPDIR/in" \
    >"$BATS_TEST_TMPDIR/out" 3>&- &
  local pid=$!
  exec 7>"$BATS_TEST_TMPDIR/in"
  echo '{"id":1,"command":"search","class":"59.200"}' >&7
  waitFor 1 '"id":1' "$BATS_TEST_TMPDIR/out"
  exec 7>&-
  wait $pid
}

@test "poll reads again and again, and stops" {
  ostrel create 59.200 59.200.1=lamp 59.200.2=5
  run --separate-stderr ostrel poll --every 500ms --count 3 59.200.0.1 59.200.1
  [ "$status" = 0 ]
  same "$(cut -d' ' -f2- <<<"$output")" \
    $'59.200.1 = string:lamp\n59.200.1 = string:lamp\n59.200.1 = string:lamp'
  run --separate-stderr ostrel --json poll --every 500ms --count 2 59.200.0.1
  same "$(json '[.round, .oid, (.attributes | length)]')" \
    $'[1,"59.200.0.1",2]\n[2,"59.200.0.1",2]'
  run ostrel poll --every 5 59.200.0.1
  [ "$status" = 2 ]
  "$OSTREL" --principal none poll --every 20ms 59.200.0.1 59.200.2 \
    >"$BATS_TEST_TMPDIR/out" 3>&- &
  local pid=$!
  waitFor 3 'int:5' "$BATS_TEST_TMPDIR/out"
  kill -INT $pid
  wait $pid
}

@test "a silent server misses its rounds and delays no other" {
  ostrel create 59.200 59.200.1=lamp
  # A port that is open and says nothing.
  : >"$BATS_TEST_TMPDIR/mute.log"
  startUntil ready "$BATS_TEST_TMPDIR/mute.log" perl -MSocket -e '
    $SIG{TERM} = sub { exit 0 };
    $| = 1;
    socket(S, PF_INET, SOCK_DGRAM, 0);
    bind(S, pack_sockaddr_in(5135, inet_aton("127.0.0.9"))) or die;
    print "ready\n";
    sleep 100 while 1;'
  run --separate-stderr ostrel --retries 0 -s 127.0.0.9,127.0.0.1 \
    poll --every 100ms --count 5 59.200.0.1
  [ "$status" = 4 ]
  same "$(grep -c '^127.0.0.1: .*lamp' <<<"$output")" 5
  [[ $stderr == *'127.0.0.9: '*' missed: round 1 is not answered yet'* ]]
}

@test "a walk of more objects than an answer holds is complete and in order" {
  lamps 3000 | ostrel -q load >/dev/null
  run --separate-stderr ostrel -q search 59.200
  [ "$status" = 0 ]
  same "$output" "$(seq 3000 | sed 's/^/59.200.0./')"
  run --separate-stderr ostrel --json walk 59.200
  same "$(json '.oid' | wc -l)" 3000
  same "$(json '.oid' | sort -u | wc -l)" 3000
}
