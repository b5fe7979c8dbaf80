#!/bin/sh
# Installs the packages into a clean root, uses them there and removes them again.
#
#     clean_root_test.sh PACKAGES CLIENT COMPILER [COMPILE_FLAGS [LINK_FLAGS [EMULATOR]]]
#
# The root is this machine's, under a layer that takes all changes: dpkg, its scripts and the loader's
# cache are real, and the machine stays as it is.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
packages=$1
client=$2
shift 2

if [ "${CLEAN_ROOT:-}" = "" ]; then
    unshare --mount true 2>/dev/null || { echo "needs to be root: mounts a root of its own"; exit 77; }
    CLEAN_ROOT=$(mktemp -d)
    trap 'rmdir "$CLEAN_ROOT"' EXIT
    export CLEAN_ROOT
    unshare --mount --propagation private sh "$here/clean_root_test.sh" "$packages" "$client" "$@"
    exit
fi

mount -t tmpfs tmpfs "$CLEAN_ROOT"
cd "$CLEAN_ROOT"
mkdir changes work root
mount -t overlay overlay -o "lowerdir=/,upperdir=$PWD/changes,workdir=$PWD/work" root
mount -t proc proc root/proc
mount --bind /dev root/dev
mkdir root/clean-root
cp -r "$packages"/*.deb "$client" "$here/use_packages.sh" root/clean-root/
chroot root env -i PATH="$PATH" LC_ALL=C HOME=/clean-root TMPDIR=/clean-root \
    sh /clean-root/use_packages.sh "$@" || exit 1

# Nothing of the packages is left: only what dpkg and the loader keep for themselves has changed.
left=$(cd changes && find . \( -type f -o -type l \) ! -path './clean-root/*' ! -path './var/lib/dpkg/*' \
    ! -path './var/log/*' ! -path './var/cache/ldconfig/*' ! -path './var/cache/man/*' \
    ! -name ld.so.cache)
left="$left $(cd changes && find usr -name '*gpal*' ! -type c)"
[ "$left" = " " ] || { echo "left behind: $left"; exit 1; }
