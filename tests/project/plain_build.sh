#!/usr/bin/env bash
# plain_build.sh CMAKE GENERATOR FOLDER: catalogue and program are left out by themselves where their packages aren't found.
set -euo pipefail
cmake=$1 generator=$2 folder=$3
source=$(cd "$(dirname "$0")/../.." && pwd)
rm --recursive --force "$folder"

"$cmake" -S "$source" -B "$folder" -G "$generator" -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON >/dev/null
for option in VELOX_BUILD_CATALOG VELOX_BUILD_APP; do
  grep --quiet "^$option:BOOL=OFF" "$folder/CMakeCache.txt" || { echo "$option is on without its packages"; exit 1; }
done
