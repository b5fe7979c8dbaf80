#!/bin/sh
# Installs the build into an empty folder, moves it, and builds and runs clients against it from
# outside the tree: with find_package, with pkg-config, and with nothing but -lgpal. Compiling, linking and running take
# more words for another processor than the build machine's.
set -eu
build=$1
client=$2
cmake=$3
compiler=$4
compile_flags=${5:-}
link_flags=${6:-}
emulator=${7:-}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$cmake" --install "$build" --prefix "$work/installed" >"$work/log"
mv "$work/installed" "$work/moved"
pc=$(dirname "$(find "$work/moved" -name gpal.pc)")
libraries=$(dirname "$pc")

"$cmake" -S "$client" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$work/moved" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$compile_flags" \
    -DCMAKE_EXE_LINKER_FLAGS="$link_flags" >>"$work/log"
"$cmake" --build "$work/cmake" >>"$work/log"
$emulator "$work/cmake/client"
$emulator "$work/cmake/cancelled"

cd "$work"
export PKG_CONFIG_PATH="$pc"
"$compiler" -std=c++17 $compile_flags $(pkg-config --cflags gpal) "$client/client.cpp" -o client \
    $link_flags $(pkg-config --libs gpal) "-Wl,-rpath,$libraries"
$emulator ./client
"$compiler" -std=c++17 $compile_flags -fno-exceptions -fno-asynchronous-unwind-tables \
    $(pkg-config --cflags gpal) "$client/cancelled.cpp" -o cancelled \
    $link_flags $(pkg-config --libs gpal) "-Wl,-rpath,$libraries"
$emulator ./cancelled

"$compiler" -std=c++17 $compile_flags "-I$work/moved/include" "$client/plain.cpp" -o plain \
    $link_flags "-L$libraries" -lgpal "-Wl,-rpath,$libraries"
$emulator ./plain

# The tools find the library where it was moved.
$emulator "$work/moved/bin/gpal-info" --help >/dev/null
