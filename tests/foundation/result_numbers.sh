#!/usr/bin/env bash
# Callers keep the numbers of result codes in files and logs: each is the one that stands beside it in the code's
# block. Usage: result_numbers.sh HEADER
codes=0 faults=0
while read -r name number block; do
  [ "$number" -eq "$((block))" ] || { echo "$name is $number, not $block"; faults=1; }
  ((codes++))
done < <(sed -nE 's/^inline constexpr int ([A-Z0-9_]+) = ([0-9]+);.*(0x[0-9A-F]{4}).*/\1 \2 \3/p' "$1")
[ "$codes" -eq "$(($(grep -c '^inline constexpr int' "$1") - 1))" ] && [ "$codes" -gt 130 ] && exit "$faults"
