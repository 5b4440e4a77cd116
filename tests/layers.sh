#!/bin/bash
# layers.sh ROOT
#
# A layer of the library includes the layers below it and none above. Only
# tag_table.cc may: the table of all classes. Public headers include public
# headers, and so do the programs and examples, which include nothing else of
# ours. Ends with an error that names each line that breaks this.

set -u
cd "$1" || exit 1

layers=(base value model transport client)
declare -A rank public
for i in "${!layers[@]}"; do rank[${layers[i]}]=$i; done
for unit in export tags codes names; do public[$unit]=0; done
for unit in list type elements encoding; do public[$unit]=1; done
for unit in veskAttr veskOmAttr veskError veskPDU objectdesc; do public[$unit]=2; done
for unit in timelist datagram message transaction; do public[$unit]=3; done
for unit in commreq access veskQuery veskEvent; do public[$unit]=4; done
for unit in function identifier result value attributes client coroutine; do public[$unit]=4; done

broken=0
complain() {
  echo "$1"
  broken=$((broken + 1))
}

# check RANK FILE: each include of ours is of that rank at most.
check() {
  local most=$1 file=$2 line name
  while IFS= read -r line; do
    name=${line#*include [<\"]}
    name=${name%%[>\"]*}
    case $name in
      ostrel/*)
        name=${name#ostrel/}
        name=${name%.h}
        [ "${public[$name]-unknown}" = unknown ] &&
          complain "$file: $line: of which layer?" && continue
        [ "${public[$name]}" -le "$most" ] || complain "$file: $line"
        ;;
      */*)
        name=${name%%/*}
        [ "${rank[$name]+known}" ] || continue
        [ "${rank[$name]}" -le "$most" ] || complain "$file: $line"
        ;;
    esac
  done < <(grep -E '^#include' "$file")
}

for entry in src/*; do
  name=${entry#src/}
  [ "${rank[$name]+known}" ] || complain "$entry: in no layer"
done
for layer in "${layers[@]}"; do
  while IFS= read -r file; do
    [ "$file" = src/value/tag_table.cc ] || check "${rank[$layer]}" "$file"
  done < <(find src/"$layer" -type f)
done
for file in include/ostrel/*.h; do
  name=$(basename "$file" .h)
  [ "${public[$name]+known}" ] && check "${public[$name]}" "$file"
  if grep -nE '^#include "' "$file"; then
    complain "$file: not only public headers"
  fi
done
while IFS= read -r file; do
  complain "$file: not only public headers"
done < <(grep -rlE "^#include \"($(IFS='|'; echo "${layers[*]}"))/" tools examples)

[ "$broken" = 0 ]
