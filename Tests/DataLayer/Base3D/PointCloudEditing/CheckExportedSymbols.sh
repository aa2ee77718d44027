#!/usr/bin/env bash
# usage: CheckExportedSymbols.sh NM LIBRARY LIST
#
# Compares what LIBRARY exports, as NM sees it, with the checked-in LIST: one demangled name per line,
# sorted. Fails when a name is missing or surplus.
set -euo pipefail
export LC_ALL=C

exported=$("$1" --dynamic --defined-only --demangle "$2" | cut -d ' ' -f 3- | sort -u)
if ! diff -u --label "$3" --label "exported by $2" "$3" <(printf '%s\n' "$exported")
then
    echo "The library's exports differ from the list. Exports are part of the contract: change the" >&2
    echo "list together with ExportedSymbols.map, or keep the new symbol inside." >&2
    exit 1
fi
