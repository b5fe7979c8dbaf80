#!/bin/sh
# tools/check-includes accepts a tree that keeps the rules, and names the file that breaks one:
# check_includes_test.sh TOOL
set -eu
tool=$1
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
mkdir -p "$tree/include/gpal" "$tree/base" "$tree/threads" "$tree/storage" "$tree/tools/viewer" "$tree/tests/threads"

# One #include in a file of the tree.
include()
{
    echo "#include $2" >>"$tree/$1"
}
# What is planted is found, by these words, and taken out again.
finds()
{
    ! "$tool" "$tree" >"$tree/said" || { echo "not found: $1"; exit 1; }
    grep -qF "$1" "$tree/said" || { echo "not named: $1"; cat "$tree/said"; exit 1; }
    sed -i '$d' "$tree/$2"
}

for file in include/gpal/Lock.h include/gpal/File.h base/time.h threads/registry.h; do
    echo "// Nothing yet." >"$tree/$file"
done
include include/gpal/File.h '<gpal/Lock.h>'
include threads/Lock.cpp '<gpal/Lock.h>'
include threads/Lock.cpp '"threads/registry.h"'
include threads/Lock.cpp '"base/time.h"'
include storage/File.cpp '<gpal/File.h>'
include storage/File.cpp '<gpal/Lock.h>'
include storage/File.cpp '<string>'
include tools/viewer/main.cpp '<gpal/File.h>'
include tests/threads/lock_test.cpp '"threads/registry.h"'
"$tool" "$tree" || { echo "does not accept what keeps the rules"; exit 1; }

include storage/File.cpp '"threads/registry.h"'
finds 'storage/File.cpp:4: storage must not know threads/registry.h' storage/File.cpp
include storage/File.cpp '"../threads/registry.h"'
finds 'storage/File.cpp:4: storage must not know threads/registry.h' storage/File.cpp
include base/time.h '<gpal/Lock.h>'
finds 'base/time.h:2: base must not know include/gpal/Lock.h' base/time.h
include include/gpal/Lock.h '"threads/registry.h"'
finds 'include/gpal/Lock.h:2: include must not know threads/registry.h' include/gpal/Lock.h
include tools/viewer/main.cpp '"base/time.h"'
finds 'tools/viewer/main.cpp:2: tools/viewer must not know base/time.h' tools/viewer/main.cpp
include include/gpal/Lock.h '<gpal/File.h>'
finds 'circle: ' include/gpal/Lock.h
