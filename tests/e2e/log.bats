#!/usr/bin/env bats
# What the servers say, to people and to the service manager.

load helper

teardown() { stopAll; }

log=server.log
time='^....-..-..T..:..:..\....Z ostreld: '

# note TEXT has the server write a text to its log.
note() { ostrel action 59.1.100 "string:$1"; }

@test "each line has its time in UTC" {
  serve server --memory
  # Every line, and there is one.
  grep -qE "${time}info: object server on" "$BATS_TEST_TMPDIR/$log"
  ! grep -vE "$time" "$BATS_TEST_TMPDIR/$log" || false
}

@test "a refusal says who, what and why" {
  serve server --memory
  run ostrel --principal 59.110.1.7 create 59.6 59.1.1=addr:127.0.0.1 \
    59.6.1=oid:59.200 59.6.2=59.6.0 59.6.3=addr:192.0.2.8 59.6.4=ushort:9
  [ "$status" = 1 ]
  grep -qE "${time}info: refused 127\.0\.0\.1:[0-9]+ as 59\.110\.1\.7: a registration for 192\.0\.2\.8: the address is not its own" \
    "$BATS_TEST_TMPDIR/$log"
}

@test "one address is told of once in ten seconds" {
  local i
  serve server --memory
  for i in 1 2 3 4 5; do
    ostrel create 59.6 59.1.1=addr:127.0.0.1 59.6.1=oid:59.200 59.6.2=59.6.0 \
      "59.6.3=addr:192.0.2.$i" 59.6.4=ushort:9 || true
  done
  same "$(grep -c refused "$BATS_TEST_TMPDIR/$log")" 1
  stopAll
  grep -q 'not its own (4 more times)' "$BATS_TEST_TMPDIR/$log"
}

@test "no control characters reach the log" {
  serve server --memory
  note 'e\x1b[2J c1\x9b2J utf\xc2\x9b2J turn\xe2\x80\xae cut\xe2\x80'
  grep -qF 'e\x1b[2J c1\x9b2J utf\xc2\x9b2J turn\xe2\x80\xae cut\xe2\x80' \
    "$BATS_TEST_TMPDIR/$log"
  ! LC_ALL=C grep -q '[^ -~]' "$BATS_TEST_TMPDIR/$log" || false
}

# hears FILE writes what is told to the service manager to a file.
hears() {
  : >"$1"
  startUntil listening "$1" perl -MSocket -e '
    $| = 1;
    socket(S, PF_UNIX, SOCK_DGRAM, 0) && bind(S, sockaddr_un($ARGV[0])) or die;
    $SIG{TERM} = sub { exit 0 };
    print "listening\n";
    while (defined recv(S, $told, 1000, 0)) { print "$told\n" }' "$2"
}

@test "the service manager hears when a server begins, reads again and ends" {
  local heard=$BATS_TEST_TMPDIR/heard socket=$BATS_TEST_TMPDIR/notify server
  # Without libsystemd nothing is told; the packages have it.
  ldd "$OSTRELD" | grep -q libsystemd
  hears "$heard" "$socket"
  NOTIFY_SOCKET=$socket WATCHDOG_USEC=200000 serve server --memory
  server=$started
  waitFor 1 '^READY=1' "$heard"
  waitFor 3 '^WATCHDOG=1' "$heard"
  kill -HUP "$server"
  waitFor 1 '^RELOADING=1' "$heard"
  waitFor 2 '^READY=1' "$heard"
  kill "$server"
  waitFor 1 '^STOPPING=1' "$heard"
}
