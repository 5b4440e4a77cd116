#!/usr/bin/env bats
# What may get into the store, and what becomes of it in trouble.

load helper

teardown() { stopAll; }

# pdu HEX... prints bytes.
pdu() { printf '%b' "$(tr -d ' \n' <<<"$*" | sed 's/../\\x&/g')"; }

# send HEX...: the server's answer to these bytes.
send() { pdu "$@" | "$RAW_REQUEST"; }

# The most memory that the server had, in KiB.
memory() { awk '/VmHWM/ { print $2 }' "/proc/$started/status"; }

@test "a request of a million nulls is refused, and the next one answered" {
  # 64 bytes for each null would be 66 MB. The address checks reserve more than
  # any bound.
  : >"$BATS_TEST_TMPDIR/server.log"
  startUntil 'object server on' "$BATS_TEST_TMPDIR/server.log" bash -c \
    'grep -q __asan_init "$OSTRELD" || ulimit -v 204800
     exec "$OSTRELD" serve --memory'
  local before
  before=$(memory)
  # A create in 59.200.0.0 with one attribute, a list of 1,040,000 nulls.
  { pdu 1c 03 00 43 01 05 0a 00 0a 01 01 3b 01 c8 00 00 80 43 01 01 \
      17 0b 01 01 3b 01 c8 01 01 01 80 43 03 0f de 80
    head -c 1040000 /dev/zero; } >"$BATS_TEST_TMPDIR/nulls"
  same "$("$RAW_REQUEST" <"$BATS_TEST_TMPDIR/nulls")" \
    '25 03 01 02 43 01 05 0a 00 80 43 00 0a 00'
  same "$(ostrel create 59.200 59.200.1=int:1)" 59.200.0.1
  [ $(($(memory) - before)) -lt 30000 ] || { memory >&2; false; }
}

@test "what is no value is neither kept nor answered" {
  serve server --memory
  ostrel create 59.200
  # A set of 59.200.1 to a string that ends too early.
  same "$(send 20 03 00 43 01 02 0a 00 0a 01 01 3b 01 c8 00 01 01 80 43 01 01 \
    17 0b 01 01 3b 01 c8 01 01 01 09 43 01 04 61 62 63)" 'no answer'
  same "$(ostrel get 59.200.0.1)" ''
}

@test "bytes are kept in their canonical form" {
  serve server --store "$BATS_TEST_TMPDIR/store.db"
  ostrel create 59.200
  # 59.200.1 = "abc" whose length has the tag 8F, and int 5 with a zero before.
  same "$(send 20 03 00 43 01 02 0a 00 0a 01 01 3b 01 c8 00 01 01 80 43 01 02 \
    17 0b 01 01 3b 01 c8 01 01 01 09 8f 01 03 61 62 63 \
    17 0b 01 01 3b 01 c8 01 02 01 03 02 00 05)" \
    '28 03 00 43 01 02 0a 00 80 43 00'
  same "$(send 1f 03 00 43 01 03 0a 00 0a 01 01 3b 01 c8 00 01 01 80 43 00)" \
    "27 03 00 43 01 03 0a 00 80 43 00 80 43 01 02$(
    ) 17 0b 01 01 3b 01 c8 01 01 01 09 43 01 03 61 62 63$(
    ) 17 0b 01 01 3b 01 c8 01 02 01 03 01 05"
}

# smallDisk MIB mounts a disk of that size at $disk, which only `there COMMAND`
# and servers started with `serveThere OPTION...` see.
smallDisk() {
  disk=$BATS_TEST_TMPDIR/disk
  mkdir "$disk"
  : >"$BATS_TEST_TMPDIR/mount.log"
  startUntil mounted "$BATS_TEST_TMPDIR/mount.log" unshare --mount sh -c \
    "mount -t tmpfs -o size=$1m none '$disk' && echo mounted &&
     trap 'exit 0' TERM && while :; do sleep 0.1; done"
  holder=$started
}
there() { nsenter -t "$holder" --mount -- "$@"; }
serveThere() {
  : >"$BATS_TEST_TMPDIR/server.log"
  startUntil 'object server on' "$BATS_TEST_TMPDIR/server.log" \
    nsenter -t "$holder" --mount -- "$OSTRELD" serve --store "$disk/store.db"
}
fill() {
  there sh -c "dd if=/dev/zero of='$disk/$1' bs=64k 2>/dev/null
    dd if=/dev/zero of='$disk/$1-end' bs=1 count=100000 2>/dev/null" || true
}
stop() { kill "$started" && wait "$started"; unset 'running[-1]'; }
crash() { kill -KILL "$started"; wait "$started" || true; unset 'running[-1]'; }

@test "on a full disk objects are read and removed, and changes refused" {
  smallDisk 24
  serveThere
  local i text
  text=$(printf '%01000d' 0)
  for ((i = 1; i <= 30; ++i)); do
    ostrel create 59.200 "59.200.1=string:$text" >/dev/null
  done
  fill first
  run -0 ostrel -q get 59.200.0.1 59.200.1
  same "$output" "$text"
  run ostrel create 59.200 59.200.1=int:1
  [ "$status" != 0 ] && [[ $output == *"Database Error"* ]]
  run ostrel set 59.200.0.1 59.200.1=int:1
  [ "$status" != 0 ] && [[ $output == *"Database Error"* ]]
  ostrel remove 59.200.0.2
  # What the server gave back is taken by others; it has used its part.
  fill second
  for ((i = 3; i <= 20; ++i)); do ostrel remove "59.200.0.$i"; done
  # It starts there, too, after either end.
  crash
  serveThere
  ostrel -q get 59.200.0.1 59.200.1
  run ostrel set 59.200.0.1 59.200.1=int:1
  [ "$status" != 0 ] && [[ $output == *"Database Error"* ]]
  ostrel remove 59.200.0.21
  there sh -c "rm '$disk'/first* '$disk'/second*"
  ostrel set 59.200.0.1 59.200.1=int:1
  same "$(ostrel -q get 59.200.0.1 59.200.1)" 1
  same "$(ostrel search 59.200 | wc -l)" 10
}

@test "a server starts on a disk that became full while none was running" {
  smallDisk 24
  serveThere
  ostrel create 59.200 59.200.1=int:1
  ostrel create 59.200
  stop
  fill first
  serveThere
  same "$(ostrel -q get 59.200.0.1 59.200.1)" 1
  run ostrel create 59.200
  [ "$status" != 0 ] && [[ $output == *"Database Error"* ]]
  ostrel remove 59.200.0.2
}

# damage FILE writes over a page in the middle.
damage() {
  local pages=$(($(stat -c %s "$1") / 4096))
  head -c 4096 /dev/zero | tr '\0' 'x' |
    dd of="$1" bs=4096 seek=$((pages / 2)) conv=notrunc 2>/dev/null
}

@test "a damaged page is noticed, and a backup has what there was" {
  local store=$BATS_TEST_TMPDIR/store.db i
  serve server --store "$store"
  for ((i = 1; i <= 40; ++i)); do
    ostrel create 59.200 "59.200.1=string:$(printf '%0500d' "$i")" >/dev/null
  done
  run -0 "$OSTRELD" check "$store"
  same "$output" ''
  run -0 "$OSTRELD" backup "$store" "$BATS_TEST_TMPDIR/copy.db"
  # The server goes on, and knows nothing of it.
  ostrel create 59.200 59.200.1=int:1
  same "$(ostrel search 59.200 | wc -l)" 41
  # Nothing is overwritten.
  run -3 "$OSTRELD" backup "$store" "$BATS_TEST_TMPDIR/copy.db"
  [[ $output == *"File exists"* ]]
  stop
  damage "$store"
  run -1 "$OSTRELD" check "$store"
  [ -n "$output" ]
  run -3 "$OSTRELD" serve --store "$store"
  [[ $output == *"it is damaged"*"ostreld check"* ]]
  run -0 "$OSTRELD" check "$BATS_TEST_TMPDIR/copy.db"
  serve copy --store "$BATS_TEST_TMPDIR/copy.db"
  same "$(ostrel search 59.200 | wc -l)" 40
  same "$(ostrel -q get 59.200.0.40 59.200.1)" "$(printf '%0500d' 40)"
}

@test "a store whose server was killed can be checked and copied" {
  local store=$BATS_TEST_TMPDIR/store.db
  serve server --store "$store"
  ostrel create 59.200 59.200.1=int:7
  crash
  run -0 "$OSTRELD" check "$store"
  run -0 "$OSTRELD" backup "$store" "$BATS_TEST_TMPDIR/copy.db"
  serve copy --store "$BATS_TEST_TMPDIR/copy.db"
  same "$(ostrel -q get 59.200.0.1 59.200.1)" 7
}

@test "what is no store is neither checked nor copied" {
  local file=$BATS_TEST_TMPDIR/other
  run -3 "$OSTRELD" check "$file"
  run -3 "$OSTRELD" backup "$file" "$BATS_TEST_TMPDIR/copy.db"
  [ ! -e "$file" ] && [ ! -e "$BATS_TEST_TMPDIR/copy.db" ]
  printf 'no database, whatever its length %0900d' 0 >"$file"
  run -3 "$OSTRELD" check "$file"
  run -2 "$OSTRELD" check
}

@test "two servers do not use one store, whatever its names" {
  local store=$BATS_TEST_TMPDIR/store.db
  serve server --store "$store"
  ln -s "$store" "$BATS_TEST_TMPDIR/link.db"
  local name
  for name in "$store" "$BATS_TEST_TMPDIR/link.db"; do
    run -3 "$OSTRELD" serve --store "$name" --port 0
    [[ $output == *"used by another server"* ]]
  done
  # A killed one leaves no lock.
  crash
  serve again --store "$store"
}
