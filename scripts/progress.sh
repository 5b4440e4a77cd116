# shellcheck shell=bash
# Says what is being done: steps that are counted and, while one takes long, how
# far it is. On a terminal one line moves; elsewhere a line comes every 8 seconds.
#
#   step TITLE             "[3/9] TITLE", with as many steps in all as `steps` says
#   watched LOG COMMAND... runs the command, puts its output into the log and shows
#                          the log's last line meanwhile; its exit code

steps=${steps:-1}
stepNumber=0
stepTitle=

step() {
  stepNumber=$((stepNumber + 1))
  stepTitle=$1
  echo "[$stepNumber/$steps] $stepTitle"
}

# What a log ends with, short enough for a line.
lastLine() {
  local line
  line=$(tail -n 1 "$1" | tr -d '\r' | sed -E 's/ *\.{4,} */ /; s/^ +//' |
    cut -c 1-66)
  echo "${line:-$stepTitle}"
}

showProgress() {
  local log=$1 owner=$2 start=$SECONDS
  if [ -t 1 ]; then
    while kill -0 "$owner" 2>/dev/null; do
      printf '\r\e[K  %4d s  %s' $((SECONDS - start)) "$(lastLine "$log")"
      sleep 0.5
    done
  else
    while sleep 8 && kill -0 "$owner" 2>/dev/null; do
      printf '  %4d s  %s\n' $((SECONDS - start)) "$(lastLine "$log")"
    done
  fi
}

watched() {
  local log=$1 watcher code
  shift
  : >"$log"
  showProgress "$log" $$ &
  watcher=$!
  "$@" >>"$log" 2>&1
  code=$?
  { kill "$watcher" && wait "$watcher"; } 2>/dev/null || true
  [ -t 1 ] && printf '\r\e[K'
  return $code
}
