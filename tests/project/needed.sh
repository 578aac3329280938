#!/usr/bin/env bash
# needed.sh READELF NM LIBVELOX_CADENZ LIBVELOX_MANAGER: the names that the libraries go by, what libvelox_cadenz is linked to
# (libc, the manager, and the dynamic loader where a target's libc asks for it), and that it takes the contract's names and no
# other from the manager, so that any library that honours the contract can stand there.
set -euo pipefail
readelf=$1 nm=$2 cadenz=$3 manager=$4
export LC_ALL=C

expect() {  # what, expected, found
  [[ $2 == "$3" ]] || { printf '%s:\n  expected: %s\n  found:    %s\n' "$1" "$2" "$3"; failed=1; }
}
dynamic() { "$readelf" --dynamic --wide "$1" | sed --quiet "s/.*($2).*\[\(.*\)\]/\1/p" | sort | xargs; }

expect "SONAME of libvelox_cadenz" libvelox_cadenz.so.3.10.1 "$(dynamic "$cadenz" SONAME)"
expect "SONAME of libvelox_manager" libvelox_manager.so.3.10.1 "$(dynamic "$manager" SONAME)"
expect "RUNPATH of libvelox_cadenz" '$ORIGIN' "$(dynamic "$cadenz" RUNPATH)"
expect "NEEDED of libvelox_cadenz" 'libc.so.6 libvelox_manager.so.3.10.1' \
  "$(dynamic "$cadenz" NEEDED | sed 's/ *\bld-linux[^ ]*//g')"

# libc's names carry a version; weak ones may stay unresolved.
contract='^(pask_memory_(initialize|shutdown|alloc|realloc|free|mem(set|cpy|move|cmp))|manager_errorinfo_set|pask_fs_marker_end'
contract+='|g_pask_(log_callback|log_enabled_pkgs|thread_store_key))$'
expect "names beside the contract that libvelox_cadenz takes from the manager" '' \
  "$("$nm" --dynamic --undefined-only --format=posix "$cadenz" | awk '$2 == "U" && $1 !~ /@/ {print $1}' |
    { grep --invert-match --extended-regexp "$contract" || true; } | xargs)"
exit "${failed:-0}"
