#!/bin/sh
# Every public header compiles by itself as C99 and as C++17, without a warning, under each compiler.
set -eu
cd "$(dirname "$0")/../.."
found=
for family in "gcc g++" "clang clang++"; do
  c=${family% *} cxx=${family#* }
  command -v "$cxx" >/dev/null || continue
  found="$found $cxx"
  for header in include/tabfit/*.h; do
    name=tabfit/$(basename "$header")
    for language in "$c -x c -std=c99" "$cxx -x c++ -std=c++17"; do
      # Twice, so that the include guard is needed; ISO C wants a declaration in every file.
      printf '#include <%s>\n#include <%s>\nextern int declaration;\n' "$name" "$name" |
        $language -Wall -Wextra -Wpedantic -Werror -Iinclude -fsyntax-only - ||
        { echo "headers.sh: $name does not compile with '$language'" >&2; exit 1; }
    done
  done
done
[ -n "$found" ] || { echo "headers.sh: no compiler found" >&2; exit 1; }
echo "headers.sh: all public headers compile with$found"
