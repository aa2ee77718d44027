#!/usr/bin/env bash
# usage: CheckInterface.sh CXX ROOT SOURCE DESCRIPTION
#
# Compares the layout of all public classes with the checked-in DESCRIPTION: sizes, alignments, where
# the bases lie, and what stands in each slot of the virtual tables. SOURCE includes the headers;
# CXX is g++, which tells. What was found is left beside SOURCE as Interface.txt.
set -euo pipefail
export LC_ALL=C

found=$(dirname "$3")/Interface.txt
"$1" -std=c++20 "-I$2" -fsyntax-only "-fdump-lang-class=$found.dump" "$3"
# Blocks are separated by empty lines; addresses within the compiler are not part of the layout.
sed -E 's/ \(0x0x[0-9a-f]+\)//; s/ +$//' "$found.dump" |
    awk 'BEGIN { RS = ""; FS = "\n"; ORS = "\n\n" }
        $1 ~ /^(Class|Vtable for|VTT for) ((Base|DataLayer|Geometry|Logging|ScanAPI|ATL)::|(C|I|Lq|Ux|Veko)[A-Za-z]*)/ {
            gsub(/\n/, "\r"); print
        }' | sort -s -t $'\r' -k 1,1 | sed '/^$/d; s/$/\r/' | tr '\r' '\n' >"$found"
rm "$found.dump"
if ! diff -u --label "$4" --label "the headers" "$4" "$found"; then
    echo "The layout of public classes has changed: programs that were compiled before need to be" >&2
    echo "compiled anew. If that is meant, take $found for the description." >&2
    exit 1
fi
