#!/bin/sh
# Makes the Debian packages of a build folder, in a folder of their own, and has lintian look at them:
# it finds nothing that the committed overrides do not explain, and every explanation is still needed.
#
#     debian_packages_test.sh BUILD FOLDER CPACK
set -eu
build=$1
folder=$2
cpack=$3

rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"
"$cpack" --config "$build/CPackConfig.cmake" -B "$folder" >cpack.log 2>&1 || { cat cpack.log; exit 1; }
rm -rf _CPack_Packages

for package in libgpal1 libgpal1-dbg libgpal-dev libgpal-doc gpal-tools; do
    ls "$folder/$package"_*.deb >listing || { echo "no package $package"; exit 1; }
done
lintian --allow-root --display-info --tag-display-limit 0 ./*.deb >findings 2>&1 ||
    { cat findings; exit 1; }
cat findings
[ ! -s findings ]
