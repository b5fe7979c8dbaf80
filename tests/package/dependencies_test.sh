#!/bin/sh
# The library carries its major version in its name, and needs the C and C++ runtime and the platform's
# constants only.
set -eu
readelf=$1
library=$2

"$readelf" -d "$library" | grep -q 'SONAME.*\[libgpal\.so\.1\]' || { echo "wrong SONAME"; exit 1; }
others=$("$readelf" -d "$library" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' |
    grep -vE '^(libc|libstdc\+\+|libgcc_s|libm|ld-linux-x86-64|ld)\.so|^libPlatformCommon\.so' || true)
[ -z "$others" ] || { echo "unexpected dependencies: $others"; exit 1; }
