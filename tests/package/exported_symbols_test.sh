#!/bin/sh
# The library shows to the outside what the committed list says, nothing more and nothing less.
# A change of the interface changes the list: run this script with the list's path and --update.
set -eu
export LC_ALL=C
nm=$1
library=$2
list=$3

found=$(mktemp)
trap 'rm -f "$found"' EXIT
"$nm" -D --defined-only --extern-only -C "$library" | cut -d ' ' -f 3- | sort -u >"$found"
if [ "${4:-}" = --update ]; then
    cp "$found" "$list"
fi
diff -u "$list" "$found"
