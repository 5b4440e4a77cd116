#!/usr/bin/env bats
# What strangers may do with events: the figures are the limits that the
# documentation states.

load helper

teardown() { stopAll; }

# registerFor ADDRESS
registerFor() {
  ostrel create 59.6 59.6.1=oid:59.200 59.6.2=59.6.0 "59.6.3=addr:$1" \
    59.6.4=ushort:9
}

# counter NUMBER: what the server counted there.
counter() { ostrel -q get 59.1.0.1 "59.1.$1" | sed 's/^double://'; }

# value NAME LINE: the number behind a name in what watchers prints.
value() { sed -E "s/.*\\b$1 ([-0-9.]+).*/\\1/" <<<"$2"; }

@test "nobody aims events at a third machine" {
  serve server --memory
  run --separate-stderr registerFor 192.0.2.8
  [ "$status" = 1 ]
  [[ $stderr == *'5(Permission Denied)'* ]]
  registrations 0
  same "$(counter 53)" 1
}

@test "events go to a third machine where the operator allows it" {
  serve server --memory --events-to 192.0.2.0/24
  registerFor 192.0.2.8
  run registerFor 192.0.3.8
  [ "$status" = 1 ]
  registrations 1
}

@test "one address makes 100 registrations, restarts included" {
  local store=$BATS_TEST_TMPDIR/store.db
  serve server --store "$store"
  run "$WATCHERS" 101 127.0.0.1 10
  [[ ${lines[0]} == 'registered 100 refused 1 last 5 '* ]]
  kill "$started"
  wait "$started"
  running=()
  serve server --store "$store"
  run registerFor 127.0.0.1
  [ "$status" = 1 ]
  # Not another address of this machine either: the maker is counted.
  run registerFor 127.0.0.9
  [ "$status" = 1 ]
  same "$(counter 53)" 2
}

@test "there are no more registrations than the operator allows" {
  serve server --memory --max-registrations 10
  run "$WATCHERS" 11 127.0.0.1 10
  [[ ${lines[0]} == 'registered 10 refused 1 last 5 '* ]]
}

@test "1,000 registrations of one address hear of a change" {
  serve server --memory --max-registrations-per-address 1000
  run "$WATCHERS" 1000 127.0.0.1 10
  echo "$output"
  [[ ${lines[0]} == 'registered 1000 refused 0 '* ]]
  [[ ${lines[1]} == 'datagrams 1000 '* ]]
}

# A clone of 36 bytes once had 24 MB sent to one address.
@test "one change sends at most 1 MB in a second to one address" {
  serve server --memory --max-registrations-per-address 1000
  run "$WATCHERS" 1000 127.0.0.1 24000
  echo "$output"
  [[ ${lines[0]} == 'registered 1000 refused 0 '* ]]
  # In two seconds, and there were events.
  [ "$(value bytes "${lines[1]}")" -le $((2 << 20)) ]
  [ "$(value bytes "${lines[1]}")" -ge 24000 ]
  [ "$(counter 52)" != 0 ]
}
