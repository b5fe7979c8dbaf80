#!/bin/sh
# Runs one share of the tests on the device, each in a process of its own, and notes how they went.
folder=@FOLDER@
build=@BUILD@
number=@NUMBER@
export VOICE_CALL_PROGRAM=$build/examples/voice_call/voice_call
export GPAL_INFO_PROGRAM=$build/tools/gpal-info/gpal-info
export SUPERVISOR_PROGRAM=$build/examples/supervisor/supervisor
LIMIT_S=300

: >"$folder/results.$number"
: >"$folder/output.$number"
while IFS="$(printf '\t')" read -r program filter name printed; do
    cd "$(dirname "$program")"
    set -- "--gtest_filter=$filter" --gtest_also_run_disabled_tests
    [ "$filter" != - ] || set --
    timeout -s KILL "$LIMIT_S" "$program" "$@" >/tmp/output 2>&1 </dev/null
    status=$?
    reason=$(awk '/: Skipped$/ { getline; print; exit }' /tmp/output)
    if [ "$status" -ne 0 ]; then
        echo "failed $name: exit status $status" >>"$folder/results.$number"
        { echo "--- $name"; cat /tmp/output; } >>"$folder/output.$number"
    elif grep -q '^\[  SKIPPED \]' /tmp/output; then
        echo "skipped $name: $reason" >>"$folder/results.$number"
    elif [ "$filter" = - ] && { tr '\n' ' ' </tmp/output; echo; } | grep -q -e "$printed"; then
        echo "passed $name" >>"$folder/results.$number"
    elif grep -q '^\[  PASSED  \] [1-9]' /tmp/output; then
        echo "passed $name" >>"$folder/results.$number"
    else # Where threads are processes, a main thread that ends early ends the program with 0.
        echo "failed $name: ended before its end" >>"$folder/results.$number"
        { echo "--- $name"; cat /tmp/output; } >>"$folder/output.$number"
    fi
done <"$folder/tests.$number"

# The first device exchanges files with the host, when the host has begun to.
if [ "$number" = 0 ] && [ -e "$folder/results.before" ]; then
    sh "$build/tests/exchange/on_device.sh" device "$build" >"$folder/results.device"
    sh "$build/tests/exchange/calls.sh" device "$build" >"$folder/output.calls" 2>&1
fi
# It leaves a core file for the host's debugger, when the host has made room for it.
if [ "$number" = 0 ] && [ -d "$folder/core" ]; then
    cd "$folder/core"
    ulimit -c unlimited
    "$build/tests/gdb/gdbSubject" deadlock-3
fi
