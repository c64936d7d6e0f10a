#!/bin/sh
# consumers.sh BUILD: stages an install of the build tree, then builds and runs the consumers in C and in
# C++ against it. CC, CXX, CFLAGS, CXXFLAGS and TOOLCHAIN are those of the build. EMULATOR, if not
# empty, is the command that runs its programs.
set -eu
tests=$(cd "$(dirname "$0")/.." && pwd)
build=$1
work=$build/consumers
rm -rf "$work"
mkdir -p "$work"

# Moved after the install: no installed file may depend on where it was put.
cmake --install "$build" --prefix "$work/stage" >"$work/install.log"
mv "$work/stage" "$work/moved"
stage=$work/moved
pc=$(find "$stage" -name tabfit.pc)
libdir=$(dirname "$(dirname "$pc")")
test -n "$(find "$stage" -name LICENSE)" || { echo "consumers.sh: no licence installed" >&2; exit 1; }

cp -R "$tests/consumer_c" "$work/c"
PKG_CONFIG_PATH=$(dirname "$pc") make -C "$work/c" CC="$CC" LDFLAGS="-Wl,-rpath,$libdir"
# shellcheck disable=SC2086 # a command with arguments
$EMULATOR "$work/c/consumer"

# The C++ front through pkg-config, too.
# shellcheck disable=SC2046,SC2086 # lists of options
$CXX $CXXFLAGS -std=c++20 -Wall -Wextra -Wpedantic -Werror -o "$work/c/front" \
  "$tests/consumer_cpp/front.cpp" "$tests/consumer_cpp/front_other.cpp" \
  $(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --cflags --libs tabfit) "-Wl,-rpath,$libdir"
# shellcheck disable=SC2086
$EMULATOR "$work/c/front"

CFLAGS='' CXXFLAGS="$CXXFLAGS" cmake -S "$tests/consumer_cpp" -B "$work/cpp" -G Ninja \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_PREFIX_PATH="$stage" \
  -DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN"
cmake --build "$work/cpp"
for consumer in consumer consumer_static front_20 front_23; do
  # shellcheck disable=SC2086
  $EMULATOR "$work/cpp/$consumer"
done
