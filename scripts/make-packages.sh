#!/bin/sh
# make-packages.sh: of the commit that is checked out, a tarball and Debian packages,
# which go into build/packages.
set -eu
cd "$(dirname "$0")/.."

version=$(sed -n 's/^project(zylqx VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
packages=build/packages
rm -rf "$packages"
mkdir -p "$packages"
git archive --prefix="zylqx-$version/" --output="$packages/zylqx-$version.tar.gz" HEAD

cd "$packages"
tar -xf "zylqx-$version.tar.gz"
cd "zylqx-$version"
cp -R packaging/debian debian
changed=$(dpkg-parsechangelog --show-field Version)
[ "${changed%-*}" = "$version" ] ||
    { echo "packaging/debian/changelog tells of $changed, CMakeLists.txt of $version" >&2; exit 1; }
dpkg-buildpackage --build=binary --no-sign
cd ..
rm -rf "zylqx-$version"
lintian --fail-on error -- *.changes
ls -l -- *.deb *.tar.gz
