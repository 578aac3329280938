#!/usr/bin/env bash
# test_files.sh COMPILE_COMMANDS: every test file on disk is part of the build, so that none rots unseen.
set -euo pipefail
cd "$(dirname "$0")/.."
while read -r file; do
  grep --quiet --fixed-strings "/tests/$file\"" "$1" || { echo "tests/$file isn't built"; failed=1; }
done < <(find . -name '*_test.cpp' -printf '%P\n')
exit "${failed:-0}"
