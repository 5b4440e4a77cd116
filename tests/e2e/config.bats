#!/usr/bin/env bats
# What the environment and configuration files say to both programs.

load helper

setup() {
  export XDG_CONFIG_HOME=$BATS_TEST_TMPDIR
  mkdir "$BATS_TEST_TMPDIR/ostrel"
  config=$BATS_TEST_TMPDIR/ostrel/config.toml
}
teardown() { stopAll; }

@test "the tool asks the server of its profile, at its port" {
  serve first --memory --port 5235
  serve second --memory --listen 127.0.0.2 --port 5236
  cat >"$config" <<'END'
principal = "none"
server = "127.0.0.1:5235"

[profile.second]
server = "127.0.0.2:5236"
END
  same "$("$OSTREL" create 59.200 59.200.1=first)" 59.200.0.1
  same "$("$OSTREL" --profile second create 59.200 59.200.1=second)" 59.200.0.1
  same "$("$OSTREL" -q get 59.200.0.1)" first
  same "$(OSTREL_PROFILE=second "$OSTREL" -q get 59.200.0.1)" second
  same "$(OSTREL_SERVER=127.0.0.2:5236 "$OSTREL" -q get 59.200.0.1)" second
  same "$("$OSTREL" --profile second -s 127.0.0.1:5235 -q get 59.200.0.1)" first
  run "$OSTREL" --json --profile second verify 59.200.0.1
  same "$(json .server)" '"127.0.0.2:5236"'
}

@test "find asks the directory that is configured, at its port" {
  serve first --memory
  : >"$BATS_TEST_TMPDIR/directory.log"
  startUntil 'directory server on' "$BATS_TEST_TMPDIR/directory.log" \
    "$OSTRELD" directory --server 127.0.0.1 --port 5236
  ostrel create 59.200
  printf 'directory = "127.0.0.1:5236"\nserver = "127.0.0.9"\n' >"$config"
  run --separate-stderr ostrel --json find 59.200
  [ "$status" = 0 ]
  same "$(json '[.directory, .found[0].oid]')" '["127.0.0.1:5236","59.200.0.1"]'
  run --separate-stderr ostrel --server 127.0.0.1:5236 -q find 59.200
  same "$output" 59.200.0.1
}

@test "the tool tells where a mistake is, and sends nothing" {
  printf 'timeout = 2\ntimout = 2\n' >"$config"
  run --separate-stderr "$OSTREL" get 59.6.0.1
  [ "$status" = 2 ]
  [ -z "$output" ]
  same "$stderr" "ostrel: $config:2:1: there is no setting 'timout' (is 'timeout' meant?)
        ostrel config --help shows an example."
  rm "$config"
  OSTREL_TIMEOUT=x run --separate-stderr "$OSTREL" get 59.6.0.1
  [ "$status" = 2 ]
  [[ $stderr == 'ostrel: OSTREL_TIMEOUT: '* ]]
  run --separate-stderr "$OSTREL" --server 127.0.0.1:x get 59.6.0.1
  [ "$status" = 2 ]
}

@test "config show says what is in effect, and why" {
  printf 'timeout = 2\n[profile.a]\njson = true\n' >"$config"
  OSTREL_SERVER=there run "$OSTREL" --retries 1 --profile a config show
  [ "$status" = 0 ]
  same "$(json '[.file, .fileIsThere, .profile]')" "[\"$config\",true,\"a\"]"
  same "$(json '[.settings[] | select(.source != "default") |
    [.name, .value, .source]]')" \
    '[["server","there","OSTREL_SERVER"],["timeout","2","'"$config"':1:1"],["retries","1","command line"],["json","true","'"$config"':3:1"]]'
}
