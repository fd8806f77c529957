#!/bin/sh
# build.sh: builds the npm package in build/web/package, with the library for machines
# that have vector instructions and for those that have not, and the page in
# build/web/page. The self-test of each lies in build/web/simd and build/web/plain.
set -eu
cd "$(dirname "$0")/.."

tools=/usr/share/emscripten
package=build/web/package
page=build/web/page
# Debian's Emscripten looks for its own modules where only Debian's Node finds them.
export NODE_PATH=/usr/share/nodejs

for build in simd plain; do
    simd=OFF
    [ $build = plain ] || simd=ON
    cmake -S web -B build/web/$build -G Ninja -DCMAKE_BUILD_TYPE=Release -DZYLQX_SIMD=$simd \
        -DCMAKE_TOOLCHAIN_FILE=$tools/cmake/Modules/Platform/Emscripten.cmake >/dev/null
    cmake --build build/web/$build --target module selftest
done

rm -rf $package $page
mkdir -p $package $page
cp web/src/*.js web/package.json web/README.md $package
cp build/web/simd/zylqx.wasm $package/zylqx.wasm
cp build/web/plain/zylqx.wasm $package/zylqx-plain.wasm
python3 web/generate.py operations/operations.json python/zylqx/_error.py \
    $package/operations.js $package/zylqx.d.ts

cp -r web/page/. $page
mkdir $page/zylqx
cp $package/*.js $package/*.wasm $page/zylqx
