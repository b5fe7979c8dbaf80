#!/bin/sh
# Installs the build into an empty folder, moves it, and builds and runs tests of clients against its
# test doubles from outside the tree: with find_package, with pkg-config, and the example.
set -eu
build=$1
client=$2
example=$3
cmake=$4
compiler=$5

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$cmake" --install "$build" --prefix "$work/installed" >"$work/log"
mv "$work/installed" "$work/moved"
pc=$(dirname "$(find "$work/moved" -name gpal-testing.pc)")

for source in "$client" "$example"; do
    "$cmake" -S "$source" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$work/moved" \
        -DCMAKE_CXX_COMPILER="$compiler" >>"$work/log"
    "$cmake" --build "$work/cmake" >>"$work/log"
    for test in "$work"/cmake/*_test; do
        "$test"
    done
    rm -r "$work/cmake"
done

cd "$work"
export PKG_CONFIG_PATH="$pc"
# (clang takes the inline functions of fortified calls for second definitions: there they don't go together.)
case $("$compiler" --version) in
*clang*) fortified= ;;
*) fortified=-D_FORTIFY_SOURCE=2 ;;
esac
"$compiler" -std=c++17 -fvisibility=hidden -O1 $fortified -include gpal/testing/RebootGuard.h \
    $(pkg-config --cflags gpal-testing gtest_main) "$client/client_test.cpp" -o client_test \
    $(pkg-config --libs gpal-testing gtest_main) "-Wl,-rpath,$(dirname "$pc")"
./client_test

# A guard that the layer would not call is found out before main.
echo '{ local: *; };' >hidden.map
echo 'int main() { return 0; }' >unguarded.cpp
"$compiler" -std=c++17 -include gpal/testing/RebootGuard.h $(pkg-config --cflags gpal-testing) \
    unguarded.cpp -o unguarded -Wl,--version-script=hidden.map $(pkg-config --libs gpal-testing) \
    "-Wl,-rpath,$(dirname "$pc")"
! ./unguarded 2>complaint
grep -q 'is not the one that the layer calls' complaint
