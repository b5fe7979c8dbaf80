#!/bin/sh
# One step of an exchange of files between the host and the device: exchange.sh ROLE PART FOLDER COMMAND...
#
#   before  the host writes into FOLDER
#   device  the device reads that, and writes too
#   after   the host reads what the device wrote, and compares it with its own
#
# PART is capture, records or archives; COMMAND, with an emulator where one is needed, is the program of
# whoever runs the step. Exit status 77: there is no tar here that the layer can pack with.
set -eu
role=$1 part=$2 folder=$3
shift 3
PACKS_FROM_LISTS=bsdtar

# The layer wants a tar that takes a list before the folder, as the device's does.
tar_packs()
{
    echo file >"$scratch/list"
    echo text >"$scratch/file"
    tar -cz -T "$scratch/list" -C "$scratch/" -f "$scratch/archive" 2>/dev/null
}

find_tar()
{
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    tar_packs && return
    mkdir "$scratch/bin"
    ln -s "$(command -v $PACKS_FROM_LISTS || echo none)" "$scratch/bin/tar"
    PATH=$scratch/bin:$PATH
    tar_packs && return
    echo "no tar that packs from a list (no $PACKS_FROM_LISTS)"
    exit 77
}

[ "$part" != archives ] || find_tar
case $role in
before)
    rm -rf "$folder/$part.host" "$folder/$part.device"
    mkdir -p "$folder/$part.host"
    "$@" write "$part" "$folder/$part.host"
    ;;
device)
    mkdir -p "$folder/$part.device"
    "$@" check "$part" "$folder/$part.host"
    "$@" write "$part" "$folder/$part.device"
    ;;
after)
    "$@" check "$part" "$folder/$part.device"
    if [ "$part" != archives ]; then
        for file in "$folder/$part.host"/*; do
            cmp "$file" "$folder/$part.device/${file##*/}"
        done
    fi
    ;;
*)
    echo "usage: $0 before|device|after capture|records|archives FOLDER COMMAND..." >&2
    exit 2
    ;;
esac
