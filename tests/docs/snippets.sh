#!/bin/sh
# snippets.sh DOCUMENT SOURCE... [-- EXPECTED COMMAND...]
#
# Fails unless each ```cpp block of the document stands in one of the sources,
# line by line; indentation does not count. With a command there is one source:
# the block is the whole of it, and the command prints what the file EXPECTED
# holds and the document says.

document=$1
shift
[ -e "$document" ] || { echo "there is no $document"; exit 1; }
sources=
while [ $# != 0 ] && [ "$1" != -- ]; do
  [ -e "$1" ] || { echo "there is no $1"; exit 1; }
  sources="$sources $1"
  shift
done

# shellcheck disable=SC2086  # paths in a build have no blanks
awk '
  FILENAME == document && /^```cpp$/ { inside = 1; block = "\n"; next }
  FILENAME == document && /^```$/ && inside {
    inside = 0
    blocks++
    if (index(sources, block)) next
    print "This block of " document " is in no source:" block
    failed = 1
  }
  { sub(/^ +/, "") }
  FILENAME != document {
    if (FNR == 1) sources = sources "\n"
    sources = sources $0 "\n"
    next
  }
  inside { block = block $0 "\n" }
  END {
    if (!blocks) print document " has no C++ block"
    exit failed || !blocks
  }
' document="$document" $sources "$document" || exit 1
[ $# = 0 ] && exit

shift
expected=$1
shift
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT

sed -n '/^```cpp$/,/^```$/{/^```/!p;}' "$document" >"$work/blocks.cc"
# shellcheck disable=SC2086
diff "$work/blocks.cc" $sources || {
  echo "The example in $document is not the whole of$sources"
  exit 1
}
"$@" >"$work/printed.txt" || exit 1
diff "$work/printed.txt" "$expected" || exit 1
grep -qF "$(cat "$expected")" "$document" || {
  echo "$document does not say that the example prints: $(cat "$expected")"
  exit 1
}
