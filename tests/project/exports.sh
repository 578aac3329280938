#!/usr/bin/env bash
# exports.sh NM LIBVELOX_CADENZ LIBVELOX_MANAGER: each library exports the names that its list promises and no other, in a build
# without the catalogue too, so that a program links against either.
set -euo pipefail
nm=$1
lists=$(dirname "$0")
export LC_ALL=C

for library in cadenz="$2" manager="$3"; do
  list=$lists/exports_${library%%=*}.txt
  sort --check=quiet --unique "$list" || { echo "$list isn't sorted"; exit 1; }
  # < promised but not there, > there but not promised
  diff "$list" <("$nm" --dynamic --defined-only --format=posix "${library#*=}" | cut --delimiter=' ' --fields=1 | sort) ||
    { echo "${library#*=} doesn't export what $list promises"; failed=1; }
done
exit "${failed:-0}"
