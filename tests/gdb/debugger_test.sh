#!/bin/sh
# Lets gdb look at a program, and compares what it says with a transcript:
#
#     debugger_test.sh WAY TRANSCRIPT BUILD GDB PROGRAM [ARGUMENT...]
#     debugger_test.sh core-file TRANSCRIPT BUILD GDB PROGRAM CORE LIBRARIES
#
# WAY is how gdb comes to the program's state: "live", it runs it; "core", it wrote a core file of it;
# "stub", through the emulator's stub (EMULATOR); "emulators-core", the emulator wrote a core file; "file",
# there is only the file; "start", no library is loaded yet; "early", the library has just been loaded;
# "stripped", its debugging information is missing, and beside it is that of something else; "installed", it
# runs with an installed library (CMAKE installs it), whose script gdb finds among its own.
# The transcript has commands behind "(gdb)" and the lines that they print. In those <addr>, <number> and
# the like stand for what differs from run to run, and {{...}} for a regular expression; blanks in a row
# count as one. Ends with 77, and says why, where gdb can't be used.
set -eu
export LC_ALL=C
way=$1
transcript=$2
build=$3
gdb=$4
shift 4
program=$1
stop=stopHere
script=$(echo "$build"/libgpal.so.*-gdb.py)

command -v "$gdb" >/dev/null || { echo "there is no $gdb"; exit 77; }
work=$(mktemp -d)
emulator=
trap '[ -z "$emulator" ] || kill "$emulator" 2>/dev/null || :; rm -rf "$work"' EXIT

export TRANSCRIPT="$transcript"
ask=$(dirname "$0")/ask.py

debug()
{
    timeout 100 "$gdb" -nx -batch -iex "add-auto-load-safe-path $build" -iex 'set width 0' \
        -iex 'set debuginfod enabled off' -iex 'handle all nostop noprint pass' "$@" \
        >"$work/output" 2>&1 </dev/null || :
}

case $way in
live)
    debug -ex "break $stop" -ex run -ex up -x "$ask" --args "$@"
    ;;
core)
    debug -ex "break $stop" -ex run -ex "gcore $work/core" --args "$@"
    debug -ex up -x "$ask" "$program" "$work/core"
    ;;
stub)
    $EMULATOR -g "$work/stub" "$@" &
    emulator=$!
    until [ -S "$work/stub" ]; do sleep 0.1; done
    debug -ex "target remote $work/stub" -ex "break $stop" -ex continue -ex up -x "$ask" "$program"
    ;;
core-file)
    debug -iex "set solib-search-path $3" -x "$ask" "$program" "$2"
    ;;
file)
    debug -x "$script" -x "$ask" "$program"
    ;;
start)
    debug -x "$script" -ex starti -x "$ask" --args "$@"
    ;;
early)
    debug -ex 'catch load libgpal' -ex run -x "$ask" --args "$@"
    ;;
stripped)
    strip -o "$work/libgpal.so.1.0.0" "$build/libgpal.so"
    cp "$program" "$work/libgpal.so.1.0.0.debug"
    debug -x "$script" -ex "set environment LD_PRELOAD $work/libgpal.so.1.0.0" -ex 'set startup-with-shell off' \
        -ex "break $stop" -ex run -x "$ask" --args "$@"
    ;;
installed)
    "$CMAKE" --install "$build" --prefix "$work/gpal" >/dev/null
    debug -iex "add-auto-load-safe-path $work" -iex "add-auto-load-scripts-directory $work/gpal/share/gdb/auto-load" \
        -ex "set environment LD_PRELOAD $(echo "$work"/gpal/lib*/libgpal.so.1)" -ex 'set startup-with-shell off' \
        -ex "break $stop" -ex run -x "$ask" --args "$@"
    ;;
emulators-core)
    (cd "$work" && ulimit -c unlimited && $EMULATOR "$@" >/dev/null 2>&1) || :
    debug -x "$ask" "$program" "$work"/*.core
    ;;
esac

if grep -q 'ptrace: Operation not permitted' "$work/output"; then
    echo "gdb may not look at processes here"
    exit 77
fi
if grep -E 'Traceback|Python Exception|Error occurred in Python' "$work/output"; then
    cat "$work/output"
    exit 1
fi
awk -v way="$way" -v uid="$(id -u)" '
    function pattern(line,    text, at, length_)
    {
        gsub(/[ \t]+/, " ", line)
        sub(/^ /, "", line)
        text = ""
        while ((at = index(line, "{{")) != 0) {
            text = text literal(substr(line, 1, at - 1))
            line = substr(line, at + 2)
            length_ = index(line, "}}")
            text = text substr(line, 1, length_ - 1)
            line = substr(line, length_ + 2)
        }
        text = text literal(line)
        gsub(/<id>/, "(<addr>|[?])", text)
        gsub(/<addr>/, "0x[0-9a-f]+", text)
        gsub(/<number>/, "[0-9]+", text)
        gsub(/<path>/, "/[^ ]+", text)
        gsub(/<build id>/, "[0-9a-f]+", text)
        gsub(/<place>/, "(in|runs in) [^()]+", text)
        gsub(/<reference>/, way == "live" ? "from now" : "from when the monitor last woke up", text)
        if (way == "live" && uid == 0) {
            text = nice(text)
        } else {
            gsub(/<nice -?[0-9]+>/, "(-?[0-9]+|[?])", text)
        }
        return "^" text "$"
    }
    function nice(text)
    {
        while (match(text, /<nice -?[0-9]+>/)) {
            text = substr(text, 1, RSTART - 1) substr(text, RSTART + 6, RLENGTH - 7) \
                substr(text, RSTART + RLENGTH)
        }
        return text
    }
    function literal(text)
    {
        gsub(/[][(){}.*+?^$|\\]/, "[&]", text)
        gsub(/\[\^\]/, "\\^", text)
        gsub(/\[\\\]/, "\\\\", text)
        return text
    }
    NR == FNR { expected[++wanted] = $0; next }
    /^\(gdb\) / { begun = 1 }
    !begun { next }
    /^\[Inferior|^Kill the program|GDBstub$/ { next }
    {
        gsub(/[ \t]+/, " ")
        sub(/^ /, "")
        sub(/ $/, "")
        got++
        if (got > wanted || $0 !~ pattern(expected[got])) {
            print "expected: " expected[got]
            print "but got:  " $0
            failed = 1
            exit 1
        }
    }
    END {
        if (!failed && got < wanted) {
            print "missing: " expected[got + 1]
            failed = 1
        }
        exit failed
    }' "$transcript" "$work/output" || { cat "$work/output"; exit 1; }
