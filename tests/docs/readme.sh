#!/bin/sh
# readme.sh README SOURCE EXPECTED COMMAND...
#
# Fails unless the first C++ block of the README is the example's source, byte for
# byte, and the example, run by COMMAND, prints what is expected and what the
# README says that it prints.

readme=$1
source=$2
expected=$3
shift 3

work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT

awk '/^```cpp$/ { inside = 1; next } inside && /^```$/ { exit } inside' \
  "$readme" >"$work/block.cc"
diff "$work/block.cc" "$source" || {
  echo "The README's example is not $source"
  exit 1
}
"$@" >"$work/printed.txt" || exit 1
diff "$work/printed.txt" "$expected" || exit 1
grep -qF "$(cat "$expected")" "$readme" || {
  echo "The README does not say that the example prints: $(cat "$expected")"
  exit 1
}
