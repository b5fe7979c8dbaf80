#!/bin/sh
# What docs/guide.md shows of a program is its source, and what the program prints.
#     guide_test.sh GUIDE SOURCES PROGRAMS NAME [EMULATOR...]
set -eu
guide=$1
sources=$2
programs=$3
name=$4
shift 4

# Prints the first block of the given language after the link to the program's source.
block()
{
    awk -v link="[$name.cpp]" -v fence="\`\`\`$1" '
        index($0, link) == 1 { found = 1; next }
        found && $0 == fence { inside = 1; next }
        inside && $0 == "```" { exit }
        inside' "$guide"
}

directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
mkdir "$directory/bin"
ln -s "$(command -v bsdtar)" "$directory/bin/tar"
block cpp >"$directory/shown"
diff "$directory/shown" "$sources/$name.cpp"

block text >"$directory/expected"
test -s "$directory/expected"
cd "$directory"
unset MIRTA_VOLATILE_LOCATION
PATH=$directory/bin:$PATH "$@" "$programs/$name" >printed 2>errors && status=0 || status=$?
if [ "$name" = crash_report ]; then
    test $status = 139
    grep "(main+" errors
else
    test $status = 0
    cat errors >>printed
fi
diff printed expected
