#!/bin/sh
# The library's size, dynamic relocations and static constructors beside the committed figures:
#
#     library_test.sh LIBRARY FIGURES STRIP READELF NM [--update]
#
# Fails when a figure is exceeded by more than SLACK percent, and says so when it could be lowered by more
# than that. With --update it first writes what it found into FIGURES.
set -eu
export LC_ALL=C
library=$1
figures=$2
strip=$3
readelf=$4
nm=$5
SLACK=1

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$strip" -o "$work/stripped" "$library"
{
    echo "stripped_bytes $(wc -c <"$work/stripped")"
    "$readelf" -rW "$library" | awk '$3 ~ /^R_/ && $3 !~ /_NONE$/ { count[$3]++ }
        END { for (kind in count) print "relocations_" kind, count[kind] }' | sort
    # The first entry is the start-up code's own.
    "$readelf" -SW "$library" | sed 's/^ *\[ *[0-9]*\] *//' | awk '$1 == ".init_array" {
        print $5, $6 }' >"$work/array"
    read -r size word <"$work/array"
    echo "static_constructors $((0x$size / 0x$word - 1))"
    "$nm" "$library" | sed -n 's/.*_GLOBAL__sub_I_\(.*\)/static_constructor_of_\1 1/p' | sort
} >"$work/found"

if [ "${6:-}" = --update ]; then
    { grep '^#' "$figures"; cat "$work/found"; grep '^bytes_per_' "$figures"; } >"$work/figures"
    cp "$work/figures" "$figures"
fi

awk -v slack="$SLACK" '
    NR == FNR { if ($1 !~ /^(#|bytes_per_)/) committed[$1] = $2; next }
    {
        found[$1] = 1
        note = ""
        if ($2 > committed[$1] * (1 + slack / 100)) { note = "MORE than committed"; failed = 1 }
        if ($2 < committed[$1] * (1 - slack / 100)) note = "less: commit it (--update)"
        printf "%-45s %7d of %7d %s\n", $1, $2, committed[$1], note
    }
    END {
        for (name in committed) if (!(name in found)) print name, "is no more: commit it (--update)"
        exit failed
    }' "$figures" "$work/found"
