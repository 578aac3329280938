#!/usr/bin/env bash
# rooms.sh: the floors of the house. An include goes down, never up; inside the catalogue too; only an engine's folder names the
# engine, only the reader of tags the tag library. Public headers of the catalogue may be read from any of its rooms.
set -euo pipefail
cd "$(dirname "$0")/../.."

# Floors from the ground up. What stands in one of two towers reads nothing of the other's.
declare -A floor=([contract]=0 [runtime]=1 [text]=2 [collections]=3 [files]=4 [service]=5 [standin]=1 [catalog]=2 [app]=6)
declare -A tower=([standin]=manager [catalog]=manager [runtime]=library [text]=library [collections]=library [files]=library
  [service]=library)
declare -A inner=([model]=0 [store]=1 [intake]=2 [choice]=2 [api]=3)

declare -A path_of
while read -r header; do path_of[${header##*/}]=$header; done < <(find "${!floor[@]}" -name '*.h')

complain() { echo "$1"; failed=1; }
failed=0
while IFS=: read -r file include; do
  room=${file%%/*}
  if [[ $include == */* ]]; then  # catalog and app name the inner room
    [[ $room == catalog ]] || continue
    own=${file#catalog/} own=${own%%/*} other=${include%%/*}
    ((inner[$other] <= inner[$own])) || complain "$file includes $include, which stands above it"
    [[ $own == "$other" || ${inner[$own]} != "${inner[$other]}" ]] || complain "$file includes $include from the room beside it"
    continue
  fi
  path=${path_of[$include]-}
  [[ -n $path ]] || continue
  other=${path%%/*}
  ((floor[$other] <= floor[$room])) || complain "$file includes $path, which stands above it"
  [[ ${tower[$room]-app} == app || -z ${tower[$other]-} || ${tower[$room]} == "${tower[$other]}" ]] ||
    complain "$file includes $path from the other library"
done < <(grep --recursive --only-matching --include='*.h' --include='*.cpp' --perl-regexp '^#include "\K[^"]+' "${!floor[@]}")

for pattern in 'sqlite3|SQLITE_|"(SELECT|INSERT|UPDATE|DELETE) =catalog/store/' 'taglib/|TagLib:: =catalog/intake/tags.cpp'; do
  found=$(grep --recursive --line-number --include='*.h' --include='*.cpp' --extended-regexp "${pattern% =*}" "${!floor[@]}" |
    grep --invert-match "^${pattern##*=}" || true)
  [[ -z $found ]] || complain "$found"
done
exit "$failed"
