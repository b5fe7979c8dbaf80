#!/bin/sh
# Who asks for a static library is told why there is none: static_refused_test.sh SOURCE CMAKE
set -eu
build=$(mktemp -d)
trap 'rm -rf "$build"' EXIT
! "$2" -S "$1" -B "$build" -DBUILD_SHARED_LIBS=OFF >"$build/log" 2>&1 || { echo "not refused"; exit 1; }
grep -q 'gpal is a shared library only: ' "$build/log" || { cat "$build/log"; exit 1; }
