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

@test "the object server takes its options from a file, and changes on SIGHUP" {
  local file=$BATS_TEST_TMPDIR/ostreld.toml log=$BATS_TEST_TMPDIR/server.log
  printf '[serve]\nmemory = true\nport = 5235\nread-only = true\n' >"$file"
  serve server --config "$file"
  export OSTREL_SERVER=127.0.0.1:5235
  run --separate-stderr ostrel create 59.200
  [ "$status" = 1 ]
  printf '[serve]\nmemory = true\nport = 5236\nwriter = "any"\n' >"$file"
  kill -HUP "$started"
  waitFor 1 'the configuration was read again; changed: .*writer' "$log"
  waitFor 1 'needs a restart: port' "$log"
  same "$(ostrel create 59.200)" 59.200.0.1
  printf '[serve]\nmemory = maybe\n' >"$file"
  kill -HUP "$started"
  waitFor 1 "error: $file:2:.*; nothing was changed" "$log"
  same "$(ostrel create 59.200)" 59.200.0.2
  printf '[serve]\nmemory = true\nport = 5235\nlog-level = "error"\n' >"$file"
  kill -HUP "$started"
  ostrel --retries 0 verify 59.200.0.1
  same "$(grep -c 'read again' "$log")" 1
}

@test "the directory server takes other object servers on SIGHUP" {
  local file=$BATS_TEST_TMPDIR/ostreld.toml log=$BATS_TEST_TMPDIR/directory.log
  serve first --memory
  serve second --memory --listen 127.0.0.2
  ostrel create 59.200
  ostrel --server 127.0.0.2 create 59.200
  printf '[directory]\nserver = "127.0.0.1"\n' >"$file"
  : >"$log"
  startUntil 'directory server on' "$log" "$OSTRELD" directory --config "$file"
  same "$(ostrel -s 127.0.0.1 find 59.200)" '59.200.0.1  127.0.0.1'
  printf '[directory]\nserver = ["127.0.0.2"]\nport = 7\n' >"$file"
  kill -HUP "$started"
  waitFor 1 'needs a restart: port' "$log"
  same "$(ostrel -s 127.0.0.1 find 59.200)" '59.200.0.1  127.0.0.2'
  printf '[directory]\nserver = ["224.0.0.1"]\n' >"$file"
  kill -HUP "$started"
  waitFor 1 'nothing was changed' "$log"
  same "$(ostrel -s 127.0.0.1 find 59.200)" '59.200.0.1  127.0.0.2'
}

@test "a configuration is checked without starting a server" {
  local file=$BATS_TEST_TMPDIR/ostreld.toml
  cat >"$file" <<'END'
[serve]
writer = "59.110.1.1000"
[directory]
server = ["127.0.0.1"]
END
  run "$OSTRELD" --check-config --config "$file"
  [ "$status" = 0 ]
  run "$OSTRELD" serve --check-config --config "$file"
  [ "$status" = 0 ]
  echo 'tiemout = 1' >>"$file"
  run "$OSTRELD" --check-config --config "$file"
  [ "$status" = 2 ]
  [[ $output == *"ostreld: error: $file:5:1: [directory] has no option 'tiemout' (is 'timeout' meant?)" ]]
  run "$OSTRELD" serve --config "$file"
  [ "$status" = 2 ]
  printf '[serve]\nwriter = "me"\n' >"$file"
  run "$OSTRELD" --check-config --config "$file"
  [ "$status" = 2 ]
  run "$OSTRELD" --check-config --config "$BATS_TEST_TMPDIR/none"
  [ "$status" = 2 ]
  run "$OSTRELD" --config "$file"
  [ "$status" = 2 ]
}
