#!/usr/bin/env bash
# install.sh CMAKE BUILD: an install tree serves a CMake project, a plain `cc` with pkg-config, and a person. The clients are the
# examples and the program that the README shows, as it stands there.
set -euo pipefail
cmake=$1 build=$2
source=$(cd "$(dirname "$0")/../.." && pwd)
work=$build/install-test
rm --recursive --force "$work"
mkdir "$work"

"$cmake" --install "$build" --prefix "$work/tree" >/dev/null
export PKG_CONFIG_PATH CADENZ_CATALOG=$work/catalog.db
PKG_CONFIG_PATH=$(dirname "$(find "$work/tree" -name velox_cadenz.pc)")

"$work/tree/bin/cadenz" scan "$work/tree/share/velox_cadenz/demo.tsv" >/dev/null
artist=$(grep --invert-match '^#' "$source/data/demo.tsv" | sed --quiet 2p | cut --fields=2)

"$cmake" -S "$source/tests/project/consumer" -B "$work/consumer" -DEXAMPLES="$source/examples" \
  -DCMAKE_PREFIX_PATH="$work/tree" >/dev/null
"$cmake" --build "$work/consumer" >"$work/log" || { cat "$work/log"; exit 1; }

sed '1,/^```c$/d; /^```$/,$d' "$source/README.md" >"$work/readme.c"
for program in "$source"/examples/*.c "$work/readme.c"; do
  # Flags are several words.
  # shellcheck disable=SC2046
  cc -std=c99 -Wall -Wextra -pedantic -Werror "$program" -o "$work/$(basename "$program" .c)" \
    $(pkg-config --cflags --libs velox_cadenz)
done

for client in "$work/consumer/recommend" "env LD_LIBRARY_PATH=$(pkg-config --variable=libdir velox_cadenz) $work/recommend"; do
  $client "$CADENZ_CATALOG" "$artist" | tee "$work/answer"
  grep --quiet ' - ' "$work/answer" || { echo "$client recommends nothing"; exit 1; }
done

LD_LIBRARY_PATH=$(pkg-config --variable=libdir velox_cadenz)
export LD_LIBRARY_PATH
"$work/radio" "$CADENZ_CATALOG" "$artist" | tee "$work/answer"
"$work/radio" "$CADENZ_CATALOG" --station "$(sed --quiet 's/^station //p' "$work/answer")"
cp "$CADENZ_CATALOG" "$work/music.db"
(cd "$work" && ./readme) | tee "$work/answer"
grep --quiet 'same artist as' "$work/answer" || { echo "the README's program recommends nothing"; exit 1; }
