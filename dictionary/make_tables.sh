#!/bin/sh
# Writes include/orvkit/tags.def and include/orvkit/uids.def from two tab-separated tables of registered data
# elements (tag, vr, vm, name) and UIDs (value, uid, type, description), each with one header line.
# The result is checked in; this is run again only when the tables change.
#
#     dictionary/make_tables.sh ELEMENTS.tsv UIDS.tsv
set -eu
[ $# -eq 2 ] || { echo "usage: $0 ELEMENTS.tsv UIDS.tsv" >&2; exit 2; }
out=$(dirname "$0")/../include/orvkit

{
    echo '// The built-in data elements (PS3.6-2008, and the command group of PS3.7-2008), ascending by tag:'
    echo '// tag, VR, VM (n: exactly n; 0: one or more; -n: one to n), name.'
    echo '// Repeating groups 50xx and 60xx stand under 50FF and 60FF.'
    awk -F '\t' 'NR > 1 { printf "ORVKIT_TAG(0x%s, %s, %d, %s)\n", $1, $2, $3, $4 }' "$1"
} >"$out/tags.def"

{
    echo '// The built-in UIDs (PS3.6-2008, and the library'"'"'s own), in the order of their values:'
    echo '// value, UID, type (0 other, 1 SOP class or instance, 2 transfer syntax), enumerator, description.'
    awk -F '\t' 'NR > 1 {
        name = toupper($4)
        gsub(/[^A-Z0-9]+/, "_", name)
        printf "ORVKIT_UID(%d, \"%s\", %d, %s, \"%s\")\n", $1, $2, $3, name, $4
    }' "$2"
} >"$out/uids.def"
