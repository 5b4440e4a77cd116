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
