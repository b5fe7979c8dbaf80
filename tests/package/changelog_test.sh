#!/bin/sh
# The changelog begins with the version that the headers say: changelog_test.sh CHANGELOG VERSION
set -eu
newest=$(sed -n 's/^## \([0-9.]*\).*/\1/p' "$1" | head -n 1)
[ "$newest" = "$2" ] || { echo "CHANGELOG.md begins with $newest, the headers say $2"; exit 1; }
