#!/usr/bin/env bash
# usage: CheckInterface.sh CXX ROOT SOURCE DESCRIPTION
#
# Compares the layout of all public classes with the checked-in DESCRIPTION: sizes, alignments, where
# the bases and the members lie, private ones too, and what stands in each slot of the virtual
# tables. SOURCE includes the headers; CXX is g++, which tells, the members in its debugging
# information. What was found is left beside SOURCE as Interface.txt.
set -euo pipefail
export LC_ALL=C

found=$(dirname "$3")/Interface.txt
classes='((Base|DataLayer|Geometry|Logging|ScanAPI|ATL)::|(C|I|Lq|Ux|Veko)[A-Za-z]*)'
trap 'rm -f "$found.dump" "$found.o"' EXIT
"$1" -std=c++20 "-I$2" -g -gdwarf-5 -fno-eliminate-unused-debug-types -femit-class-debug-always \
    "-fdump-lang-class=$found.dump" -c -o "$found.o" "$3"

# Blocks are separated by empty lines; addresses within the compiler are not part of the layout.
list_classes() {
    sed -E 's/ \(0x0x[0-9a-f]+\)//; s/ +$//' "$found.dump" |
        awk -v classes="^(Class|Vtable for|VTT for) $classes" '
            BEGIN { RS = ""; FS = "\n"; ORS = "\n\n" }
            $1 ~ classes'
}

# Everything in the debugging information has a line with its depth, and after it its attributes:
#  <2><1f4>: Abbrev Number: 12 (DW_TAG_member)
#     <1f5>   DW_AT_name        : (indirect string, offset: 0x3a0): m_bits
#     <1f9>   DW_AT_data_member_location: 8
# What stands in parentheses before a value differs between versions of readelf.
list_members() {
    "$("$1" -print-prog-name=readelf)" --debug-dump=info "$found.o" | awk -v classes="^$classes" '
        # Takes in what has been read; the names of scopes that are no part of the interface are empty.
        function finish() {
            if (tag == "member") {
                if (!isSkipped && scopes[depth - 1] ~ classes) {
                    members[scopes[depth - 1]] = members[scopes[depth - 1]] "\n   " place " " name
                }
                return
            }
            scopes[depth] = ""
            if (tag ~ /^(namespace|structure_type|class_type|union_type)$/) {
                if (declaration != "") { scopes[depth] = declared[declaration] }
                else if (depth == 1) { scopes[depth] = name }
                else if (scopes[depth - 1] != "") { scopes[depth] = scopes[depth - 1] "::" name }
                declared[offset] = scopes[depth]
            }
        }
        /^ *<[0-9]+><[0-9a-f]+>: Abbrev Number: / {
            finish()
            split($0, parts, /[<>]+/)
            depth = parts[2] + 0
            offset = parts[3]
            tag = $NF
            gsub(/^\(DW_TAG_|\)$/, "", tag)
            name = "(unnamed)"
            declaration = ""
            place = 0
            isSkipped = 0
        }
        /DW_AT_name +:/ {
            name = $0
            sub(/^.*DW_AT_name *: (\([a-z0-9_]+\) )?(\(.*offset: 0x[0-9a-f]+\): )?/, "", name)
            sub(/[ \t]+$/, "", name)
        }
        /DW_AT_specification *:/ && match($0, /<0x[0-9a-f]+>/) {
            declaration = substr($0, RSTART + 3, RLENGTH - 4)
        }
        /DW_AT_data_member_location *:/ { place = $NF }
        /DW_AT_data_bit_offset *:/ { place = $NF / 8 }
        # Pointers to virtual tables, of which the classes tell, and static members.
        /DW_AT_(artificial|external|declaration) *:/ { isSkipped = 1 }
        END {
            finish()
            for (scope in members) { print "Members of " scope members[scope] "\n" }
        }'
}

{
    list_classes
    list_members "$1"
} | awk 'BEGIN { RS = ""; ORS = "\n\n" } { gsub(/\n/, "\r"); print }' |
    sort -s -t $'\r' -k 1,1 | sed '/^$/d; s/$/\r/' | tr '\r' '\n' >"$found"
if ! diff -u --label "$4" --label "the headers" "$4" "$found"; then
    echo "The layout of public classes has changed: programs that were compiled before need to be" >&2
    echo "compiled anew. If that is meant, take $found for the description." >&2
    exit 1
fi
