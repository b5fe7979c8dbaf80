#!/bin/sh
# Calls between the host and the booted device, while that is running: calls.sh ROLE BUILD [PORT]
#
#   host    makes two recordings, lets the device call, calls it at PORT of the host's loopback, and
#           compares what each has heard; a line for each recording tells how it went
#   device  calls the host, and lets it call
#
# BUILD is the build folder for the device; a folder in there, which both see, also tells each how far the
# other is. A recording that has crossed a call once, to its maker, has only values that calls carry
# unchanged: files can be compared.
set -eu
role=$1 build=$2
folder=$build/tests/exchange/calls
case $role in
device) program=$build/examples/voice_call/voice_call ;;
*) program=@hostVoiceCall@ ;;
esac
HOST=10.0.2.2
DEVICE=10.0.2.15

# 600 ms of 8 kHz, 16 bits, mono, of standard input's first bytes.
wav()
{
    printf 'RIFF\244\045\0\0WAVEfmt \020\0\0\0\001\0\001\0\100\037\0\0\200\076\0\0\002\0\020\0data\200\045\0\0'
    head -c 9600
}

# Until a condition, a command, holds, or a file "over" says that the other side is gone.
wait_until()
{
    while ! "$@" && [ ! -e "$folder/over" ]; do
        sleep 1
    done
}

# What a program that listens says of its port, in a file.
port_in()
{
    sed -n 's/.* UDP port \([0-9]*\)\.$/\1/p' "$1" 2>/dev/null
}

listens()
{
    [ -n "$(port_in "$1")" ]
}

# A recording that has crossed a call once, whole: on a machine that is busy booting devices a call
# may lose some of it.
record()
{
    for attempt in 1 2 3 4 5 6 7 8 9 10; do
        ! "$program" --output "$folder/$2.wav" "$folder/$1.wav" >"$folder/self.$1" || return 0
    done
    return 1
}

# The other side's recording, and what was heard of it.
tell()
{
    if cmp -s "$folder/$2.wav" "$folder/$3"; then
        echo "passed exchange.call.$1"
    else
        echo "failed exchange.call.$1: $3 is not what was said"
    fi
}

case $role in
host)
    rm -rf "$folder"
    mkdir -p "$folder"
    trap 'touch "$folder/over"' EXIT
    seq 1000 9999 | wav >"$folder/one.wav"
    seq 10000 99999 | wav >"$folder/other.wav"
    record one host
    record other device
    "$program" --listen 0 --output "$folder/from.device" "$folder/host.wav" \
        >"$folder/host.listens" 2>&1 &
    listener=$!
    # The device calls first, and listens afterwards.
    wait_until listens "$folder/device.listens"
    kill "$listener" 2>/dev/null || :
    wait "$listener" || :
    "$program" --to "127.0.0.1:$3" --output "$folder/to.device" "$folder/host.wav" \
        >"$folder/host.calls" 2>&1 || :
    wait_until test -e "$folder/device.done"
    tell theDeviceToTheHost device from.device
    tell theHostHeardByTheDevice host to.host
    tell theHostToTheDevice device to.device
    tell theHostHeardWhenItCalls host from.host
    ;;
device)
    ifconfig eth0 "$DEVICE" netmask 255.255.255.0 up
    wait_until listens "$folder/host.listens"
    "$program" --to "$HOST:$(port_in "$folder/host.listens")" --output "$folder/to.host" \
        "$folder/device.wav" >"$folder/device.calls" 2>&1 || :
    "$program" --listen 5004 --timeout 60 --output "$folder/from.host" \
        "$folder/device.wav" >"$folder/device.listens" 2>&1 || :
    touch "$folder/device.done"
    ;;
*)
    echo "usage: $0 host|device BUILD [PORT]" >&2
    exit 2
    ;;
esac
