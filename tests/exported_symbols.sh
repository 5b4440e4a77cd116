#!/bin/sh
# exported_symbols.sh NM OBJDUMP LIBRARY
#
# Fails when the shared library offers a symbol that is no part of the public
# interface, or has another SONAME than programs are linked against.

nm=$1
objdump=$2
library=$3
status=0

soname=$("$objdump" -p "$library" | awk '$1 == "SONAME" { print $2 }')
if [ "$soname" != libOstrel.so.1 ]; then
  echo "SONAME is '$soname', not libOstrel.so.1"
  status=1
fi

# Each line becomes the plain name: no address, type, or "vtable for ".
names=$("$nm" -DC --defined-only "$library" |
  sed -E 's/^[0-9a-f]* *[A-Za-z] //; s/^(vtable|VTT|typeinfo|typeinfo name) for //
          s/^((non-)?virtual thunk|guard variable) (to|for) //')
if [ -z "$names" ]; then
  echo "$library exports nothing"
  exit 1
fi

public='vesk[A-Z]|genericList|listPointer|timeoutList|timeoutEntry|pendingRequest'
public="$public|idMap|OSrequest|DSrequest|getPrincipalOid"
others=$(echo "$names" | grep -Ev "^($public)")
if [ -n "$others" ]; then
  echo "Symbols that are no part of the public interface:"
  echo "$others"
  status=1
fi
exit $status
