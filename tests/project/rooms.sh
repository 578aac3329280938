#!/usr/bin/env bash
# rooms.sh: an include goes down, never up, and no files include each other in a circle; what lies behind the catalogue's store and
# its intake stays there.
set -euo pipefail
cd "$(dirname "$0")/../.."
export LC_ALL=C

held_inside='catalog app'  # the floors whose own rooms are held to their rules as well: 'catalog app', or one of the two

# Each line from the bottom up: a room may include what stands before it in a line.
floors='contract runtime text collections files service app
contract standin catalog sound app'
inside_catalog='catalog/model catalog/store catalog/intake catalog/api
catalog/model catalog/store catalog/choice catalog/api
catalog/model catalog/store catalog/hearing catalog/api'
own_words=catalog/api/velox_catalog.h  # the catalogue's public header, which every room of it may read
inside_app='app/core app/terminal app/cli
app/core app/http app/cli'

holds_inside() { [[ " $held_inside " == *" $1 "* ]]; }
mapfile -t folders < <(tr ' ' '\n' <<<"$floors" | sort --unique)
if holds_inside catalog; then floors+=$'\n'$inside_catalog; fi
if holds_inside app; then floors+=$'\n'$inside_app; fi

complain() {  # what, lines that show it
  [[ -z $2 ]] || { printf '%s:\n%s\n' "$1" "$2"; failed=1; }
}

# "FILE INCLUDED", as paths from here. What is included is looked for beside the file, then in the floor's folder, then by its
# name alone, as public headers are.
mapfile -t sources < <(find "${folders[@]}" -name '*.h' -o -name '*.cpp')
includes=$(printf '%s\n' "${sources[@]}" | awk '
  FILENAME == "-" { known[$0]; name = $0; sub(/.*\//, "", name); named[name] = $0; next }
  match($0, /^ *# *include +("|<velox\/)[^">]+/) {
    wanted = substr($0, RSTART, RLENGTH)
    sub(/^[^"<]*("|<velox\/)/, "", wanted)
    beside = floor = FILENAME
    sub(/[^\/]*$/, "", beside)
    sub(/\/.*/, "/", floor)
    found = (beside wanted) in known ? beside wanted : (floor wanted) in known ? floor wanted : named[wanted]
    print FILENAME, found == "" ? "nowhere/" wanted : found
  }' - "${sources[@]}")

# Two files of one floor are judged by its rooms, where those are held to an order.
complain 'includes that go up' "$(awk -v own_words=$own_words '
  function room(path, depth,    part) { split(path, part, "/"); return depth == 1 ? part[1] : part[1] "/" part[2] }
  FILENAME == "-" { for (i = 1; i <= NF; ++i) { known[$i]; for (j = 1; j <= i; ++j) may[$i, $j] } next }
  {
    depth = room($1, 1) == room($2, 1) && room($1, 2) in known && room($2, 2) in known ? 2 : 1
    if ($2 == own_words) depth = 1
    if (!((room($1, depth), room($2, depth)) in may)) print "  " $1 " includes " $2
  }' - <(echo "$includes") <<<"$floors")"

complain 'files that include each other in a circle' "$(tsort <<<"$includes" 2>&1 >/dev/null | sed --quiet 's/^tsort: \([^-]\)/  \1/p')"

if holds_inside catalog; then
  # The server's listeners stand in a database of its own, and pictures are in files that a scan doesn't keep.
  named_outside() {  # room, file, names
    printf '%s\n' "${sources[@]}" | grep --invert-match --regexp="^$1/" --regexp="^$2\$" | xargs grep --line-number --extended-regexp "$3" || true
  }
  complain 'SQL or its engine outside catalog/store' "$(named_outside catalog/store "app/http/\(database\|listeners\|subsonic/keepings\)\.cpp" 'sqlite3\.h|SQLITE|"SELECT ')"
  complain 'the tag library outside catalog/intake' "$(named_outside catalog/intake app/http/pictures.cpp '[Tt]ag[Ll]ib')"
fi
exit "${failed:-0}"
