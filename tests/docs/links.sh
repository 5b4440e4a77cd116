#!/bin/bash
# links.sh ROOT
#
# Fails unless everything that the documents link to, and each file of this tree
# that they name in backticks, is there.

cd "$1" || exit 1
failed=0
missing() {
  echo "$1"
  failed=1
}

# headings FILE: the anchors that its headings make.
headings() {
  sed -nE 's/^#+ //p' "$1" | tr '[:upper:] ' '[:lower:]-' | tr -cd 'a-z0-9_\n-'
}

found=0
for document in *.md docs/*.md bench/*.md; do
  folder=$(dirname "$document")
  while read -r link; do
    found=$((found + 1))
    file=$document
    [ "${link%%#*}" = "" ] || file=$folder/${link%%#*}
    if [ ! -e "$file" ]; then
      missing "$document: there is no $link"
    elif [ "$link" != "${link#*#}" ]; then
      headings "$file" | grep -qx -- "${link#*#}" ||
        missing "$document: no heading makes $link"
    fi
  done < <(sed '/^```/,/^```/d' "$document" | grep -oE '\]\([^)]+\)' | sed 's/^](//; s/)$//' |
    grep -v '^https*:')
  while read -r path; do
    found=$((found + 1))
    [ -e "$path" ] || missing "$document: there is no $path"
  done < <(grep -oE '`(src|include|tests|tools|fuzz|examples|docs|cmake|packaging|scripts)/[A-Za-z0-9_./-]*' \
    "$document" | tr -d '`')
done
[ "$found" != 0 ] || missing "no links at all?"
exit $failed
