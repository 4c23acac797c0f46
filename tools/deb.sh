#!/bin/sh
# Builds the Debian packages from the tree as it is (files that git knows or would take), checks them with lintian,
# builds and runs the example against what is in them, and leaves them in build/deb.
set -eu
cd "$(dirname "$0")/.."

version=$(sed -n 's/^project(nas VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
packaged=$(dpkg-parsechangelog -S Version)
[ "$version" = "$packaged" ] || {
    echo "debian/changelog says $packaged, CMakeLists.txt $version" >&2
    exit 1
}

out=build/deb
source=$out/libnas-$version
rm -rf $out
mkdir -p "$source"
git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$source"

DEB_BUILD_OPTIONS="terse noautodbgsym parallel=$(nproc)"
export DEB_BUILD_OPTIONS DEB_CFLAGS_STRIP=-g DEB_CXXFLAGS_STRIP=-g # no packages of debug symbols: no time for them
(cd "$source" && dpkg-buildpackage --build=binary --no-sign) > $out/log 2>&1 || {
    tail -n 50 $out/log >&2
    echo "The build failed; the whole log is $out/log" >&2
    exit 1
}
rm -rf "$source"
lintian --fail-on error,warning $out/*.changes
for package in "$out"/*.deb; do
    dpkg-deb -x "$package" $out/root
done
sh tests/package/install_test.sh $out/root/usr examples || [ $? -eq 77 ] # 77: no namespaces here
rm -rf $out/root
ls $out/*.deb
