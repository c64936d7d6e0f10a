#!/bin/sh
# Every public header compiles by itself, without a warning, under each compiler: the C headers as C99 and
# as C++17, the front as C++20 and as C++23. So does a host that calls what the front has, optimised.
set -eu
cd "$(dirname "$0")/../.."

# compiles HEADER COMMAND… - the header, twice, so that its guard is needed; ISO C wants a declaration in
# every file.
compiles() {
  name=tabfit/$(basename "$1")
  shift
  printf '#include <%s>\n#include <%s>\nextern int declaration;\n' "$name" "$name" |
    "$@" -Wall -Wextra -Wpedantic -Werror -Iinclude -fsyntax-only - ||
    { echo "headers.sh: $name does not compile with '$*'" >&2; exit 1; }
}

found=
for family in "gcc g++" "clang clang++"; do
  c=${family% *} cxx=${family#* }
  command -v "$cxx" >/dev/null || continue
  found="$found $cxx"
  for header in include/tabfit/*.h; do
    compiles "$header" "$c" -x c -std=c99
    compiles "$header" "$cxx" -x c++ -std=c++17
  done
  for header in include/tabfit/*.hpp; do
    for standard in c++20 c++2b; do
      compiles "$header" "$cxx" -x c++ -std=$standard -Wshadow -Wconversion -Wsign-conversion
    done
  done
  # Some warnings come with optimisation only.
  for options in "-std=c++20 -O2 -c -o /dev/null" "-std=c++2b -fsyntax-only"; do
    # shellcheck disable=SC2086 # several options
    "$cxx" $options -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Werror -Iinclude \
      tests/checks/front_calls.cpp ||
      { echo "headers.sh: front_calls.cpp does not compile with '$cxx $options'" >&2; exit 1; }
  done
done
[ -n "$found" ] || { echo "headers.sh: no compiler found" >&2; exit 1; }
echo "headers.sh: all public headers compile with$found"
