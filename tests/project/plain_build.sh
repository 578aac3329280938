#!/usr/bin/env bash
# plain_build.sh CMAKE GENERATOR FOLDER: the project builds with catalogue, program and tests left out, and leaves catalogue
# and program out by itself where their packages aren't found.
set -euo pipefail
cmake=$1 generator=$2 folder=$3
source=$(cd "$(dirname "$0")/../.." && pwd)
rm --recursive --force "$folder"

"$cmake" -S "$source" -B "$folder/detected" -G "$generator" -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON >/dev/null
for option in VELOX_BUILD_CATALOG VELOX_BUILD_APP; do
  grep --quiet "^$option:BOOL=OFF" "$folder/detected/CMakeCache.txt" || { echo "$option is on without its packages"; exit 1; }
done

"$cmake" -S "$source" -B "$folder/small" -G "$generator" -DVELOX_WERROR=ON \
  -DVELOX_BUILD_CATALOG=OFF -DVELOX_BUILD_APP=OFF -DVELOX_BUILD_TESTS=OFF >/dev/null
"$cmake" --build "$folder/small" --parallel "$(nproc)" >"$folder/log" || { tail --lines=40 "$folder/log"; exit 1; }
ls "$folder"/small/lib/libvelox_{cadenz,manager}.so.3.10.1
