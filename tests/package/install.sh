#!/bin/sh
# install.sh BUILD CONSUMER LIBDIR: installs a build and has a C and a C++
# program built against the installed copy and run, found by pkg-config and by
# find_package, shared and static. CMAKE, CC, CXX, CFLAGS, CXXFLAGS and
# LDFLAGS are taken from the environment.
set -eux

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix="$work/first place"
"$CMAKE" --install "$1" --prefix "$prefix"

# An installed copy may be moved, also to a folder with a space in its name.
mv "$prefix" "$work/a place"
prefix="$work/a place"
libdir="$prefix/$3"
strict='-Wall -Wextra -Werror -pedantic-errors'

export PKG_CONFIG_PATH="$libdir/pkgconfig"
flags=$(pkg-config --cflags --libs zylqx)
eval "$CC -std=c99 $strict $CFLAGS $LDFLAGS '$2/consumer.c' $flags -o '$work/c_shared'"
eval "$CXX -std=c++11 $strict $CXXFLAGS $LDFLAGS '$2/consumer.cpp' $flags -o '$work/cpp_shared'"
eval "$CXX -std=c++20 $strict $CXXFLAGS $LDFLAGS '$2/consumer_hpp.cpp' $flags -o '$work/hpp_shared'"
LD_LIBRARY_PATH="$libdir" "$work/hpp_shared"
LD_LIBRARY_PATH="$libdir" "$work/c_shared"
LD_LIBRARY_PATH="$libdir" "$work/cpp_shared"

# The static library links into a C program with the C compiler alone.
rm "$libdir"/libzylqx.so
flags=$(pkg-config --static --cflags --libs zylqx)
eval "$CC -std=c99 $strict $CFLAGS $LDFLAGS '$2/consumer.c' $flags -o '$work/c_static'"
"$work/c_static"

"$CMAKE" -S "$2" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix"
"$CMAKE" --build "$work/build"
for program in c_shared cpp_shared c_static cpp_static; do
    "$work/build/$program"
done
