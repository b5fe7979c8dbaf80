#!/bin/sh
# On the device a walk through the stack reads the first instructions of each function that it passes:
# every exported function that calls another begins by loading gp, then allocates its frame, then saves
# ra. One that does not is named; it is to be marked GPAL_WALKABLE.
#
#     prologues_test.sh LIBRARY NM OBJDUMP
set -eu
export LC_ALL=C
library=$1
nm=$2
objdump=$3

{ "$nm" -D --defined-only "$library"; "$objdump" -d --no-show-raw-insn "$library"; } | awk '
    function finish()
    {
        if (name in exported) {
            looked++
            if (calls && !(loadsGp && frame && ra > frame) || !calls && frame && !loadsGp) {
                print name, "has no prologue that a walk can read"
                failed = 1
            }
        }
        calls = loadsGp = frame = ra = count = 0
    }
    /^[0-9a-f]+ [TW] / { exported[$3] = 1 }
    /^[0-9a-f]+ <.*>:$/ { finish(); name = substr($2, 2, length($2) - 3) }
    /^ *[0-9a-f]+:\t/ {
        count++
        if (count == 1 && $2 == "lui" && $3 ~ /^gp,/) loadsGp = 1
        if (!frame && $2 == "addiu" && $3 ~ /^sp,sp,-/) frame = count
        if (!ra && $2 == "sw" && $3 ~ /^ra,/) ra = count
        if ($2 ~ /^(jal|jalr|bal)$/) calls = 1
    }
    END {
        finish()
        if (looked < 100) { print "only", looked + 0, "functions found"; failed = 1 }
        exit failed
    }'
