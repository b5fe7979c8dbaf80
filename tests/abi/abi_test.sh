#!/bin/sh
# Compares the library's binary interface with the committed description: a changed slot, field or size
# is named.
#
#     abi_test.sh LIBRARY HEADERS DESCRIPTION [--update]
#
# LIBRARY has debugging information. HEADERS is the folder of the exported ones: what others define is
# left out. With --update the description is written instead.
set -eu
library=$1
headers=$2
description=$3

found=$(mktemp)
trap 'rm -f "$found"' EXIT
abidw --headers-dir "$headers" --drop-private-types --exported-interfaces-only \
    --no-corpus-path --no-comp-dir-path --no-show-locs --no-parameter-names \
    --no-write-default-sizes --no-elf-needed --out-file "$found" "$library"
sed -i "s|path='$(dirname "$headers")/|path='|" "$found"
if [ "${4:-}" = --update ]; then
    cp "$found" "$description"
fi
abidiff --no-show-locs --leaf-changes-only "$description" "$found" || {
    echo "The binary interface is not the one that is committed. If that is meant: tools/update-abi"
    exit 1
}
