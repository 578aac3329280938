#!/usr/bin/env bash
# headers.sh CC CXX TREE HEADER...: each public header compiles alone as C99 and C++17, and asks the standard library for
# nothing but <stddef.h>, <stdint.h> and <stdarg.h>.
set -euo pipefail
cc=$1 cxx=$2 tree=$3
shift 3

warnings=(-Wall -Wextra -pedantic -Werror -fsyntax-only -I "$tree")
for path in "$@"; do
  name=velox/${path##*/}
  printf '#include <%s>\n' "$name" >alone.$$.c
  "$cc" -std=c99 "${warnings[@]}" -x c alone.$$.c || { echo "$name fails as C99"; failed=1; }
  "$cxx" -std=c++17 "${warnings[@]}" -x c++ alone.$$.c || { echo "$name fails as C++17"; failed=1; }
  if grep --with-filename '#include <' "$tree/$name" | grep --invert-match --extended-regexp '<std(def|int|arg)\.h>'; then
    echo "$name includes more than it may"
    failed=1
  fi
done
rm --force alone.$$.c
exit "${failed:-0}"
