#!/usr/bin/env bats
# Fifty clients, a network that loses and doubles datagrams, and a server that is
# killed among their requests. OSTREL_SOAK="REQUESTS KILLS" makes it longer;
# CONTRIBUTING.md says when.

load helper

teardown() { stopAll; }

@test "whatever is lost, doubled and killed, what is acknowledged is made once" {
  local requests kills
  read -r requests kills <<<"${OSTREL_SOAK:-3000 8}"
  : >"$BATS_TEST_TMPDIR/relay.log"
  startUntil ready "$BATS_TEST_TMPDIR/relay.log" "$RELAY" 20 10
  run "$SOAK" "$OSTRELD" "$BATS_TEST_TMPDIR/store.db" "$requests" "$kills"
  echo "$output" | tee "${OSTREL_SOAK_FIGURES:-/dev/null}"
  [ "$status" = 0 ]
  # Few were given up, and datagrams were lost.
  [[ $output =~ answered\ ([0-9]+).*sent\ ([0-9]+) ]]
  [ "${BASH_REMATCH[1]}" -ge $((requests * 99 / 100)) ]
  [ "${BASH_REMATCH[2]}" -ge $((requests * 130 / 100)) ]
  # Each time it was killed it began again.
  same "$(grep -c 'object server on' "$BATS_TEST_TMPDIR/store.db.log")" \
    $((kills + 1))
}
