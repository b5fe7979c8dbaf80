#!/bin/sh
# gpal.h includes every other exported header.
set -eu
status=0
for header in "$1"/*.h; do
    name=$(basename "$header")
    [ "$name" = gpal.h ] || [ "$name" = export.h ] && continue
    grep -q "#include <gpal/$name>" "$1/gpal.h" || { echo "gpal.h lacks $name"; status=1; }
done
exit $status
