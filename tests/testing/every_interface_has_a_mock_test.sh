#!/bin/sh
# Every interface that the exported headers define has a GoogleMock class among the test doubles. (That
# each mock has all functions of its interface is seen where it is compiled.)
set -eu
headers=$1
status=0
interfaces=$(sed -n 's/^class \(GPAL_API \)*\([A-Za-z]*Ifc\)\( : .*\)*$/\2/p' "$headers"/*.h)
[ -n "$interfaces" ] || { echo "no interfaces found in $headers"; exit 1; }
for interface in $interfaces timeAble Threadable; do
    grep -q "^class Mock[A-Za-z]* : public $interface\$" "$headers"/testing/Mock*.h ||
        { echo "no mock of $interface in $headers/testing"; status=1; }
done
exit $status
