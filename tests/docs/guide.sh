#!/bin/sh
# guide.sh DOCUMENT SOURCE...
#
# Fails unless each ```cpp block of the document stands in the sources, line by
# line, whatever the indentation.

document=$1
shift

awk '
  { sub(/^ +/, "") }
  FILENAME != document { sources = sources $0 "\n"; next }
  /^```cpp$/ { inside = 1; block = "\n"; next }
  /^```$/ && inside {
    inside = 0
    blocks++
    if (index(sources, block)) next
    print "This is in no example:" block
    failed = 1
  }
  inside { block = block $0 "\n" }
  END {
    if (!blocks) print document " has no C++ block"
    exit failed || !blocks
  }
' document="$document" "$@" "$document"
