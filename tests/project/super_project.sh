#!/usr/bin/env bash
# super_project.sh CMAKE GENERATOR FOLDER: another project takes this one in by add_subdirectory(). What it links works from its
# build folder; it keeps its settings, and installs what is its own.
set -euo pipefail
cmake=$1 generator=$2 folder=$3
source=$(cd "$(dirname "$0")/../.." && pwd)
rm --recursive --force "$folder"
mkdir --parents "$folder"

{
  "$cmake" -S "$source/tests/project/super_project" -B "$folder/build" -G "$generator" -DVELOX_CADENZ="$source" \
    -DVELOX_BUILD_CATALOG=OFF -DVELOX_WERROR=ON
  "$cmake" --build "$folder/build" --parallel "$(nproc)"
  "$cmake" --install "$folder/build" --prefix "$folder/tree"
} >"$folder/log" 2>&1 || { tail --lines=40 "$folder/log"; exit 1; }

"$folder/build/listener"
[[ $(find "$folder/tree" -type f -printf '%P ') == 'bin/listener ' ]] || { find "$folder/tree"; exit 1; }
