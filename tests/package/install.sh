#!/bin/sh
# install.sh BUILD CONSUMER LIBDIR [EMULATOR...]: installs a build and has a C and a
# C++ program built against the installed copy and run, found by pkg-config and by
# find_package, shared and static. CMAKE, CC, CXX, CFLAGS, CXXFLAGS, LDFLAGS,
# TOOLCHAIN (a file for CMake, or nothing) and SUFFIX (of programs) are taken from the
# environment.
set -eux

build=$1
consumer=$2
libdir=$3
shift 3 # "$@" starts a program

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix="$work/first place"
"$CMAKE" --install "$build" --prefix "$prefix"

# An installed copy may be moved, also to a folder with a space in its name.
mv "$prefix" "$work/a place"
prefix="$work/a place"
libdir="$prefix/$libdir"
strict='-Wall -Wextra -Werror -pedantic-errors'

"$CMAKE" -S "$consumer" -B "$work/build" ${TOOLCHAIN:+-DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN"} \
    -DCMAKE_PREFIX_PATH="$prefix"
"$CMAKE" --build "$work/build"
for program in c_shared cpp_shared c_static cpp_static; do
    "$@" "$work/build/$program$SUFFIX"
done

export PKG_CONFIG_PATH="$libdir/pkgconfig"
flags=$(pkg-config --cflags --libs zylqx)
eval "$CC -std=c99 $strict $CFLAGS $LDFLAGS '$consumer/consumer.c' $flags -o '$work/c_shared$SUFFIX'"
eval "$CXX -std=c++11 $strict $CXXFLAGS $LDFLAGS '$consumer/consumer.cpp' $flags -o '$work/cpp_shared$SUFFIX'"
eval "$CXX -std=c++20 $strict $CXXFLAGS $LDFLAGS '$consumer/consumer_hpp.cpp' $flags -o '$work/hpp_shared$SUFFIX'"
# Programs for Windows find the library beside them.
find "$prefix" -name '*.dll' -exec cp {} "$work" \;
for program in c_shared cpp_shared hpp_shared; do
    LD_LIBRARY_PATH="$libdir" "$@" "$work/$program$SUFFIX"
done

# The static library links into a C program with the C compiler alone.
rm -f "$libdir/libzylqx.so" "$libdir/libzylqx.dll.a"
flags=$(pkg-config --static --cflags --libs zylqx)
eval "$CC -std=c99 $strict $CFLAGS $LDFLAGS '$consumer/consumer.c' $flags -o '$work/c_static$SUFFIX'"
rm -f "$work"/*.dll
"$@" "$work/c_static$SUFFIX"
