#!/bin/sh
# Components are installed one by one, and what was installed as a whole is taken away again:
# components_test.sh BUILD CMAKE
set -eu
build=$1
cmake=$2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail()
{
    echo "$*"
    exit 1
}
# Installs one component, and checks that all of its files have names like these and that some have.
component()
{
    "$cmake" --install "$build" --prefix "$work/$1" --component "$1" >"$work/log"
    others=$(cd "$work/$1" && find . -type f -o -type l | grep -vE "$2") || true
    [ -z "$others" ] || fail "the component $1 has $others"
    [ -n "$(find "$work/$1" -type f)" ] || fail "the component $1 is empty"
}
component runtime 'libgpal\.so\.|/gpal/libPlatformCommon\.so$'
component development '/include/gpal/|/libgpal\.so$|/cmake/gpal/|/pkgconfig/|/man3/|/gdb/|/share/gpal/testing/'
component documentation '/share/doc/gpal/'
component debug '\.debug$'
component tools '/bin/gpal-info$|/man1/'

# Where gdb looks for its script depends on where the library was installed to.
without_prefix()
{
    sed 's|/auto-load/.*/lib/|/auto-load/lib/|' | sort
}
# The stand-in is in nobody's way, and nothing is in two components or in none.
[ -z "$(find "$work" -path '*/lib*/libPlatformCommon.so' ! -path '*/gpal/*')" ] || fail "the stand-in is in the way"
"$cmake" --install "$build" --prefix "$work/all" >"$work/log"
(cd "$work" && for each in runtime development documentation debug tools; do
    (cd "$each" && find . ! -type d)
done | without_prefix >one-by-one)
(cd "$work/all" && find . ! -type d) | without_prefix | diff "$work/one-by-one" -

# A neighbour's file stays, and so does its folder.
echo theirs >"$work/all/bin/neighbour"
"$cmake" --build "$build" --target uninstall >"$work/log"
grep -q "Removing $work/all/bin/gpal-info" "$work/log" || fail "did not say what was removed"
left=$(cd "$work/all" && find . ! -type d -o -name gpal)
[ "$left" = ./bin/neighbour ] || fail "left: $left"
! "$cmake" --build "$build" --target uninstall >"$work/log" 2>&1 || fail "removed nothing and said nothing"
