#!/bin/sh
# An application that has the layer in its own tree gets the library, and nothing that it did not ask for:
# subproject_test.sh BUILD CMAKE
set -eu
build=$1
cmake=$2

(cd "$build" && ctest --no-tests=error --output-on-failure)
tests=$(cd "$build" && ctest -N | grep -c 'Test *#')
[ "$tests" -eq 1 ] || { echo "$tests tests where the application has one"; exit 1; }
others=$("$cmake" --build "$build" --target help | grep -oE 'gpal-info|voice_call|supervisor|[a-z_]*_test\b' |
    sort -u)
[ -z "$others" ] || { echo "built with the library: $others"; exit 1; }
