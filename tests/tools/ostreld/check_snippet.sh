#!/bin/bash
# check_snippet.sh DOCUMENT SOURCE
#
# Fails unless each ```cpp block of the document stands in the source as it is.

document=$1
source=$(<"$2")
found=0
while IFS= read -r -d $'\x1e' block; do
  found=$((found + 1))
  if [[ $source != *"$block"* ]]; then
    echo "this is not in $2:"
    echo "$block"
    exit 1
  fi
done < <(awk '/^```cpp$/ { inside = 1; next }
  /^```$/ { if (inside) printf "\x1e"; inside = 0 }
  inside { print }' "$document")
[ "$found" != 0 ] || { echo "no example in $document"; exit 1; }
