#!/bin/sh
# A slot, a field and a size that have changed are found, and named:
#
#     planted_change_test.sh BUILD SOURCE DESCRIPTION COMPILER [COMPILE_FLAGS]
#
# The changes are made in a copy of the headers; the one source that reads those is compiled anew and
# linked with the rest of the library as it is in BUILD.
set -eu
build=$1
source=$2
description=$3
compiler=$4
compile_flags=${5:-}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -R "$source/include" "$work/include"
sed -i -e 's/^    virtual int deletePasswd/    virtual int planted() { return 0; }\n&/' \
    -e 's/^    ProcessFactoryIfc\* m_processFactory;/    int m_planted = 0;\n&/' \
    "$work/include/gpal/OSPasswdMgr.h"
"$compiler" -std=c++17 -g -fPIC -fvisibility=hidden -fvisibility-inlines-hidden $compile_flags \
    "-I$work/include" "-I$source" -c "$source/process/OSPasswdMgr.cpp" -o "$work/changed.o"
# An old build folder may hold objects of sources that are gone.
objects=$(cd "$build/CMakeFiles/gpal.dir" && find . -name '*.o' ! -name 'OSPasswdMgr.cpp.o' |
    while read -r object; do
        [ ! -f "$source/${object%.o}" ] || echo "$build/CMakeFiles/gpal.dir/$object"
    done)
"$compiler" -shared $objects "$work/changed.o" -o "$work/libgpal.so" -Wl,-soname,libgpal.so.1 \
    "-Wl,--version-script=$source/cmake/gpal.map"

status=0
sh "$(dirname "$0")/abi_test.sh" "$work/libgpal.so" "$work/include" "$description" >"$work/said" || status=$?
cat "$work/said"
[ "$status" -eq 1 ] || { echo "not found"; exit 1; }
for change in "vtable offset of .*OSPasswdMgrIfc::deletePasswd.* changed from 3 to 4" "'int m_planted', at offset" \
    "'class OSPasswdMgr' changed:" "type size changed from"; do
    grep -q "$change" "$work/said" || { echo "not named: $change"; exit 1; }
done
