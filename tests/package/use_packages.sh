#!/bin/sh
# What clean_root_test.sh does within its root: use_packages.sh COMPILER [COMPILE_FLAGS [LINK_FLAGS [EMULATOR]]]
set -eu
cd /clean-root
compiler=$1
compile_flags=${2:-}
link_flags=${3:-}
emulator=${4:-}
architecture=$(dpkg-deb -f libgpal1_*.deb Architecture)

# Debian has no packages of the C and C++ libraries for the device's processor. Those of the cross
# compiler lie where theirs would.
force=""
if [ "$architecture" = mips ]; then
    dpkg --add-architecture mips
    force=--force-depends
    mkdir -p /usr/lib/mips-linux-gnu
    ln -s /usr/mips-linux-gnu/lib/ld.so.1 /lib/ld.so.1
    for library in libc.so.6 libm.so.6 libgcc_s.so.1 libstdc++.so.6; do
        ln -s "/usr/mips-linux-gnu/lib/$library" /usr/lib/mips-linux-gnu/
    done
fi
names="libgpal1:$architecture libgpal1-dbg:$architecture libgpal-dev:$architecture gpal-tools:$architecture libgpal-doc"
dpkg $force -i ./*.deb >dpkg.log 2>&1 || { cat dpkg.log; exit 1; }
if [ -z "$force" ]; then
    ldconfig -p | grep -q 'libgpal\.so\.1' || { echo "the loader was not told of the library"; exit 1; }
    ! ldconfig -p | grep -q libPlatformCommon || { echo "the stand-in is taken for the maker's"; exit 1; }
fi

echo "find_package:"
cmake -S client -B cmake -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$compile_flags" \
    -DCMAKE_EXE_LINKER_FLAGS="$link_flags" >cmake.log 2>&1 &&
    cmake --build cmake >>cmake.log 2>&1 || { cat cmake.log; exit 1; }
$emulator cmake/client

echo "pkg-config:"
export PKG_CONFIG_LIBDIR="$(dirname "$(find /usr/lib -name gpal.pc)")"
"$compiler" -std=c++17 $compile_flags $(pkg-config --cflags gpal) client/client.cpp -o by-pkg-config \
    $link_flags $(pkg-config --libs gpal)
$emulator ./by-pkg-config

echo "plain -lgpal:"
"$compiler" -std=c++17 $compile_flags client/plain.cpp -o plain $link_flags -lgpal
$emulator ./plain

$emulator /usr/bin/gpal-info --help >/dev/null
[ -f /usr/share/doc/gpal/README.md ]
[ "$architecture" != mips ] || find /lib/ld.so.1 /usr/lib/mips-linux-gnu -lname '/usr/mips-linux-gnu/*' -delete
dpkg -r $names >dpkg.log 2>&1 || { cat dpkg.log; exit 1; }
