#!/bin/bash
# one_place.sh DOCUMENT PAGE [PROGRAM]
#
# The document's tables explain a program's exit codes and, if it has that table,
# the types of values. Fails unless the manual page (scdoc) has the same codes in
# the same words and the same types. With a program, its help has to have the same
# codes and, but for attr and null, which few type in, the same types.

document=$1
page=$2
program=${3-}
failed=0

# compare WHAT EXPECTED FOUND
compare() {
  [ -n "$2" ] || { echo "$document has no $1"; failed=1; }
  diff <(echo "$2") <(echo "$3") && return
  echo "$1: < is $document"
  failed=1
}

# table HEAD: the rows of the table that begins with HEAD.
table() {
  awk -v head="$1" '
    index($0, head) == 1 { inside = 1; getline; next }
    !/^\|/ { inside = 0 }
    inside' "$document"
}

# section NAME: a section of the manual page.
section() {
  awk -v name="# $1" '/^# /{ inside = $0 == name; next } inside' "$page"
}

# types: what stands before a colon and a value, each once.
types() {
  grep -oE '\b[a-z]+:([^ ]|$)' | sed 's/:.*//' | sort -u
}

codes=$({ table '| Code | Name |'; table '| Exit code |'; } |
  sed -E 's/^\| ([0-9]+) \|(.*\|)? ([^|]*) \|$/\1 \3/; s/`//g')
compare "exit codes" "$codes" "$(section 'EXIT STATUS' | tr -d '*' | awk '
  NF == 1 && /^[0-9]+$/ { code = $0; next }
  /^\t/ { sub(/^\t/, ""); text = text " " $0; next }
  { if (code != "") print code text; code = text = "" }
  END { if (code != "") print code text }' | sed 's/\.$//')"
types=$(table '| Type | Example |' | cut -d '|' -f 2 | grep -oE '[a-z]+' | sort)
[ -n "$types" ] &&
  compare "types" "$types" "$(section VALUES | sed 's/++$//' | types)"

if [ -n "$program" ]; then
  help=$("$program" --help) || exit 1
  compare "exit codes" "$(sed 's/ .*//' <<<"$codes")" "$(tr '\n' ' ' <<<"$help" |
    sed -E 's/.*Exit codes://' | grep -oE '(^|,) [0-9]+ ' | tr -d ', ')"
  help=$("$program" set --help) || exit 1
  compare "types" "$(grep -vxE 'attr|null' <<<"$types")" \
    "$(sed '1,/TYPE:VALUE/d' <<<"$help" | types)"
fi
exit $failed
