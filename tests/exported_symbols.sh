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

names=$("$nm" -D --defined-only "$library" | awk '{ print $NF }' | sort -u)
if [ -z "$names" ]; then
  echo "$library exports nothing"
  exit 1
fi

# Mangled: an optional mark (vtable, type, thunk), then the class or function.
mark='(T[VIST]|Th?v?n?[0-9]+_|GV)?'
public='vesk[A-Z]|genericList|listPointer|timeoutList|timeoutEntry|pendingRequest'
public="$public|idMap|OSrequest|DSrequest|getPrincipalOid"
# Of the library's own namespace: what judges encodings, and the classes and
# functions of the asynchronous client.
async='Aid|Attributes?|Endpoint|Error|ItemError|Object|Oid|Term|Value|typeName'
async="$async|Client|Ticket|Poster"
async="$async|fail(EmptyCall|NoError|NoValue)"
encoding="measureValue|canonicalizeValue"
others=$(echo "$names" |
  grep -Ev "^_Z${mark}N?K?([0-9]+($public)|6ostrel[0-9]+($async|$encoding))")
if [ -n "$others" ]; then
  echo "Symbols that are no part of the public interface:"
  echo "$others" | c++filt 2>/dev/null || echo "$others"
  status=1
fi
exit $status
