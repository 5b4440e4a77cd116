#!/bin/bash
# layers.sh TOOLS
#
# Fails when a folder of the programs includes one that stands above it. Each
# line below is a program's folders, from the highest to the lowest.

cd "$1" || exit 1
bad=0

# check PROGRAM FOLDER... where "." is what stands at the program's top.
check() {
  local program=$1 above='' folder
  shift
  for folder; do
    local files=("$program/$folder"/*.h "$program/$folder"/*.cc)
    if [ -n "$above" ] && grep -nE "#include \"($above)/" "${files[@]}"; then
      bad=1
    fi
    [ "$folder" = . ] || above+=${above:+|}$folder
  done
  if grep -nE "#include \"($above)/" common/*.h common/*.cc; then bad=1; fi
}

check ostrel . commands session terminal format
check ostreld . directory requests machine objects store net support
[ $bad = 0 ] || echo 'A folder includes what stands above it.'
exit $bad
