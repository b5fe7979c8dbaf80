# What the scripts share that make parts of the device; "." this in the folder of the scripts.
#
# A part is kept in a cache outside the checkout (GPAL_DEVICE_CACHE, by default ~/.cache/gpal-device), and made
# anew only when what it is made of changes.

cache=${GPAL_DEVICE_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/gpal-device}
mkdir -p "$cache"
cache=$(cd "$cache" && pwd)

version_of()
{
    dpkg-query -W -f='${Version}' "$@"
}

is_current()
{
    [ -e "$cache/$1" ] && [ "$(cat "$cache/$1.stamp" 2>/dev/null)" = "$2" ]
}

# Runs a step with its output in a log, which is shown when the step fails.
logged()
{
    "$@" >>"$log" 2>&1 || { tail -n 40 "$log" >&2; echo "failed: $*; see $log" >&2; exit 1; }
}

# Makes a part that is not current: its name in the cache, what it is made of, how.
make_part()
{
    is_current "$1" "$2" && return
    log=$cache/$1.log
    : >"$log"
    work=$(mktemp -d "$cache/work.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    "$3"
    echo "$2" >"$cache/$1.stamp"
    rm -rf "$work"
}
