#!/usr/bin/env bash
# format.sh CLANG_FORMAT: all C and C++ files are formatted.
set -euo pipefail
cd "$(dirname "$0")/../.."
find . \( -path './build*' -o -path './.git' -o -path ./out \) -prune -o \( -name '*.c' -o -name '*.cpp' -o -name '*.h' \) -print0 |
  xargs --null "$1" --dry-run --Werror
