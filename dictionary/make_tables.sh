#!/bin/sh
# Writes the tables of the dictionary, include/orvkit/*.def, from tab-separated tables of facts in a folder:
#
#     elements.tsv, uids.tsv                   the edition of 2008: tags.def, uids.def
#     current-elements.tsv, current-uids.tsv   today's edition: current_tags.def, current_uids.def
#
# The results are checked in; this is run again when the tables change. A UID of today's edition keeps the
# number that it has in current_uids.def, new ones are numbered behind it.
#
#     dictionary/make_tables.sh FOLDER           writes
#     dictionary/make_tables.sh --check FOLDER   fails when what is checked in is not what would be written
set -eu
export LC_ALL=C
check=false
[ "${1-}" = --check ] && { check=true; shift; }
[ $# -eq 1 ] && [ -d "$1" ] || { echo "usage: $0 [--check] FOLDER" >&2; exit 2; }
facts=$1
tables=$(dirname "$0")/../include/orvkit
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

{
    echo '// The built-in data elements (PS3.6-2008, and the command group of PS3.7-2008), ascending by tag:'
    echo '// tag, VR, VM (n: exactly n; 0: one or more; -n: one to n), name.'
    echo '// Repeating groups 50xx and 60xx stand under 50FF and 60FF.'
    awk -F '\t' 'NR > 1 { printf "ORVKIT_TAG(0x%s, %s, %d, %s)\n", $1, $2, $3, $4 }' "$facts/elements.tsv"
} >"$out/tags.def"

{
    echo '// The built-in UIDs (PS3.6-2008, and the library'"'"'s own), in the order of their values:'
    echo '// value, UID, type (0 other, 1 SOP class or instance, 2 transfer syntax), enumerator, description.'
    awk -F '\t' 'NR > 1 {
        name = toupper($4)
        gsub(/[^A-Z0-9]+/, "_", name)
        printf "ORVKIT_UID(%d, \"%s\", %d, %s, \"%s\")\n", $1, $2, $3, name, $4
    }' "$facts/uids.tsv"
} >"$out/uids.def"

# The names are made as those of 2008 were: words split at blanks and punctuation, each with one capital, the
# first one small; apostrophes and parentheses dropped; 60 characters. A mask stands at the number that the 2008
# table has for it, and everywhere else where its open digits are F (in an even group).
{
    echo '// The data elements of today'"'"'s edition (PS3.6 and PS3.7, 2026), ascending by tag: tag, VR and VM as'
    echo '// tags.def has them, name, then as they are printed: keyword, name (with underscores for blanks), VR, VM,'
    echo '// whether it is retired, whose registry it is in. A mask has a one in every bit that the registry leaves open; a number has no keyword.'
    awk -F '\t' '
        function vmOf(vm,   ends) {
            if (vm ~ /^[0-9]+$/) return vm
            if (vm == "" || vm ~ /n/) return vm == "" ? 1 : 0
            split(vm, ends, "-")
            return -ends[2]
        }
        function vrOf(tag, vr) {
            if (tag ~ /^fffe/) return "SI"
            if (vr == "") return "UN"
            if (vr == "OB|OW") return "OX"
            if (vr == "US|OW") return "OW"
            return vr ~ /^US\|SS/ ? "XS" : vr
        }
        function camel(name,   n, i, words, out) {
            sub(/ \(Retired\)$/, "", name)
            gsub(/[^\001-\177]+/, "u", name)
            gsub(/DateTime/, "Date Time", name)
            gsub(/\047|[()]/, "", name)
            n = split(name, words, /[^A-Za-z0-9]+/)
            out = tolower(words[1])
            for (i = 2; i <= n; ++i) out = out toupper(substr(words[i], 1, 1)) tolower(substr(words[i], 2))
            return out
        }
        function quote(text) { gsub(/"/, "\\\"", text); return "\"" text "\"" }
        function underscored(text) { gsub(/ /, "_", text); return text }
        # The number under which a mask is kept.
        function placeOf(mask,   digit, tag) {
            for (digit = 0; digit < 2; ++digit) {
                tag = mask
                gsub(/x/, digit, tag)
                if (tag in row && !(tag in exact)) return tag
            }
            tag = mask
            sub(/^7fxx/, "7ffe", tag)
            gsub(/x/, "f", tag)
            return tag
        }
        FILENAME ~ /\/elements.tsv$/ { if (FNR > 1) { row[$1] = $0; name[$1] = $4 } next }
        FNR == 1 { ++reading; next }
        reading == 1 { exact[$1] = 1; next }
        {
            printed = $1
            if (printed ~ /^[56]0xx/) { sub(/xx/, "ff", printed); mask = "" }
            else mask = printed
            tag = mask == "" ? printed : placeOf(printed)
            symbol = name[tag]
            if (symbol == "") {
                shown = substr($1, 1, 4) "_" substr($1, 5)
                symbol = substr("T_" shown ($5 == "" ? "" : "_" camel($5)), 1, 60)
                if ($1 ~ /0000$/) symbol = "T_" shown "_groupLength"  # as the rule for group lengths names it
            }
            seen[tag] = 1
            line[++count] = sprintf("0x%s, %s, %d, %s, %s, %s, %s, %s, %d, %s)", tag, vrOf(tag, $2), vmOf($3),
                symbol, $4 == "" ? "\"\"" : $4, quote(underscored($5)), quote($2), quote($3), $6 == "RET", $8)
            if (mask ~ /x/) {
                gsub(/[0-9a-f]/, "0", mask)
                gsub(/x/, "f", mask)
                line[count] = "ORVKIT_CURRENT_MASK(0x" mask ", " line[count]
            } else {
                line[count] = ($4 == "" ? "ORVKIT_CURRENT_NUMBER(" : "ORVKIT_CURRENT_TAG(") line[count]
            }
            key[count] = tag
        }
        END {
            # What the library has of its own.
            for (tag in row) {
                if (tag in seen) continue
                split(row[tag], own, "\t")
                line[++count] = sprintf("ORVKIT_CURRENT_NUMBER(0x%s, %s, %d, %s, \"\", \"\", \"%s\", \"%s\", 0, LIBRARY)",
                    tag, own[2], own[3], own[4], own[2], own[3])
                key[count] = tag
            }
            for (i = 1; i <= count; ++i) print key[i] "\t" line[i]
        }' "$facts/elements.tsv" "$facts/current-elements.tsv" "$facts/current-elements.tsv" | sort | cut -f 2
} >"$out/current_tags.def"

{
    echo '// The UIDs of today'"'"'s edition (PS3.6 annex A, 2026) in the order of their numbers, which are those of uids.def'
    echo '// where it has them: number, UID, type as in uids.def, enumerator, name, keyword, kind as it is printed, whether'
    echo '// it is retired, what it stores (PATIENT, OTHER, or NONE), type of its directory record.'
    awk -F '\t' '
        function quote(text) { gsub(/"/, "\\\"", text); return "\"" text "\"" }
        FILENAME ~ /\/uids.tsv$/ { if (FNR > 1 && !($2 in number)) { number[$2] = $1; typeOf[$2] = $3 } next }
        FILENAME ~ /\.def$/ {
            if (match($0, /^ORVKIT_CURRENT_UID\([0-9]+, "[0-9.]+"/)) {
                split(substr($0, RSTART + 19, RLENGTH - 19), had, /[, "]+/)
                if (!(had[2] in number)) number[had[2]] = had[1]
                if (had[1] + 0 > last) last = had[1] + 0
            }
            next
        }
        FNR == 1 { next }
        {
            if (!($1 in number)) {
                if (last < 1000000000) last = 1000000000
                number[$1] = ++last
            }
            type = $4 == "Transfer Syntax" ? 2 : $4 ~ /SOP (Class|Instance)/ ? 1 : 0
            if ($1 in typeOf) type = typeOf[$1]
            symbol = $3
            if (symbol == "") { symbol = "Uid_" $1; gsub(/[.]/, "_", symbol) }
            stored = $6 ~ /^storage/ ? "PATIENT" : $6 == "non-patient" ? "OTHER" : "NONE"
            printf "%010d\tORVKIT_CURRENT_UID(%d, \"%s\", %d, %s, %s, %s, %s, %d, %s, \"%s\")\n", number[$1],
                number[$1], $1, type, symbol, quote($2), quote($3), quote($4), $5 == "RET", stored, $7
        }' "$facts/uids.tsv" "$tables/current_uids.def" "$facts/current-uids.tsv" | sort | cut -f 2
} >"$out/current_uids.def"

for table in tags uids current_tags current_uids; do
    if $check; then
        cmp "$out/$table.def" "$tables/$table.def" || { echo "$table.def is not what its facts say" >&2; exit 1; }
    else
        cmp -s "$out/$table.def" "$tables/$table.def" || cp "$out/$table.def" "$tables/$table.def"
    fi
done
