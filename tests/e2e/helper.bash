# What the end-to-end scripts share. OSTREL and OSTRELD name the programs. Each
# file runs in a network namespace of its own, so ports are always free and
# nothing leaves the machine.

bats_require_minimum_version 1.5.0

# What the user who runs the tests has set up must not matter.
unset XDG_RUNTIME_DIR OSTREL_SERVER OSTREL_DIRECTORY OSTREL_PRINCIPAL \
  OSTREL_TIMEOUT OSTREL_RETRIES OSTREL_PROFILE
export XDG_CONFIG_HOME=/nonexistent

# Time-outs are short, and nobody's principal is looked up unless a test says so.
ostrel() { "$OSTREL" --principal none --timeout 1 "$@"; }

# Starts a program in the background and waits until its log has a line that
# contains the text. Its process id is put into `started`.
startUntil() {
  local text=$1 log=$2
  shift 2
  "$@" 3>&- >>"$log" 2>&1 &
  started=$!
  running+=("$started")
  local i
  for ((i = 0; i < 200; ++i)); do
    grep -q -- "$text" "$log" && return
    kill -0 "$started" 2>/dev/null || break
    sleep 0.05
  done
  echo "'$*' did not start:" >&2
  cat "$log" >&2
  return 1
}

# Waits until a command succeeds, at most 20 seconds.
waitUntil() {
  local i
  for ((i = 0; i < 400; ++i)); do
    "$@" && return
    sleep 0.05
  done
  echo "'$*' never succeeded" >&2
  return 1
}

# Waits until a file has so many lines that contain a text.
waitFor() {
  local count=$1 text=$2 file=$3
  waitUntil hasLines "$count" "$text" "$file" || { cat "$file" >&2; return 1; }
}
hasLines() { [ "$(grep -c -- "$2" "$3")" -ge "$1" ]; }

# registrations COUNT: whether the server has so many now.
registrations() { [ "$(ostrel -q search 59.6 2>/dev/null | wc -l)" = "$1" ]; }

# serve NAME OPTION... starts an object server that logs to NAME.log.
serve() {
  local log=$BATS_TEST_TMPDIR/$1.log
  shift
  : >"$log"
  startUntil 'object server on' "$log" "$OSTRELD" serve "$@"
}

# stranger KIND starts a server that answers as no object server does.
stranger() {
  : >"$BATS_TEST_TMPDIR/stranger.log"
  startUntil ready "$BATS_TEST_TMPDIR/stranger.log" "$STRANGER" "$1"
}

# Ends what was started, the last first, so that a watch still finds its server.
# A program that does not end well fails the test.
stopAll() {
  local i pid code bad=0
  for ((i = ${#running[@]} - 1; i >= 0; --i)); do
    pid=${running[i]}
    kill "$pid" 2>/dev/null || continue
    wait "$pid"
    code=$?
    [ $code = 0 ] || { echo "process $pid ended with $code" >&2; bad=1; }
  done
  running=()
  return $bad
}

running=()

# Compares the whole of two texts and shows both.
same() {
  [ "$1" = "$2" ] || {
    printf 'expected:\n%s\ngot:\n%s\n' "$2" "$1" >&2
    return 1
  }
}

# The JSON values in $output at a jq path.
json() { jq -c "$1" <<<"$output"; }
