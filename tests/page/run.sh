#!/usr/bin/env bash
# run.sh CADENZ FOLDER [PICTURES]: the page's tests against the program, in headless Chromium. What they need from npm comes to the
# folder once; screenshots go to the folder of pictures, where one is named.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
cadenz=$(realpath "$1") folder=$2 pictures=${3:+$(realpath "$3")}
mkdir --parents "$folder"
if ! cmp --quiet "$here/package-lock.json" "$folder/installed"; then
  cp "$here"/package.json "$here"/package-lock.json "$here"/.npmrc "$folder"
  npm --prefix "$folder" ci --no-audit --no-fund --ignore-scripts >"$folder/npm.log" 2>&1 || { cat "$folder/npm.log"; exit 1; }
  cp "$here/package-lock.json" "$folder/installed"
fi
cp "$here/page_test.mjs" "$folder"
cd "$folder"
CADENZ=$cadenz PICTURES=$pictures exec node --test --test-concurrency=1 page_test.mjs
