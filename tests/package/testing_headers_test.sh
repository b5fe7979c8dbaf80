#!/bin/sh
# testing.h includes every test double but those that put functions in the place of the C library's.
set -eu
status=0
for header in "$1"/*.h; do
    name=$(basename "$header")
    case $name in
    testing.h | ReplacedCalls.h | SystemLogRecorder.h | ShellCommandRecorder.h | RebootGuard.h)
        wanted=0 ;;
    *) wanted=1 ;;
    esac
    found=$(grep -c "#include <gpal/testing/$name>" "$1/testing.h" || :)
    [ "$found" = "$wanted" ] || { echo "testing.h includes $name $found times"; status=1; }
done
exit $status
