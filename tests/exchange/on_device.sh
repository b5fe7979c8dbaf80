#!/bin/sh
# The steps of the exchange between the host and the booted device: on_device.sh ROLE BUILD
#
# ROLE is before or after (on the host) or device (there); BUILD is the build folder for the device. A
# line for each kind of file tells how it went: passed, skipped or failed, and its name.
set -u
role=$1 build=$2
folder=$build/tests/exchange
case $role in
device) program=$folder/exchange ;;
*) program=@hostProgram@ ;;
esac

for part in capture records archives; do
    output=$(sh "$folder/exchange.sh" "$role" "$part" "$folder/booted" "$program" 2>&1)
    case $? in
    0) echo "passed exchange.$part.$role" ;;
    77) echo "skipped exchange.$part.$role: $output" ;;
    *) echo "failed exchange.$part.$role: $(echo "$output" | tail -n 3 | tr '\n' ' ')" ;;
    esac
done
