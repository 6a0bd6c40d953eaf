#!/usr/bin/env bash
# Deflated files both ways between the command and independent programs: the same values as in the plain file, and
# plain files that come back byte for byte. Exit status 77 without one of the programs.
# Usage: deflated.sh ORVKIT SAMPLES
set -uo pipefail
orvkit=$1 samples=${ORVKIT_SAMPLES:-$2}
for program in dcmdump dcmconv gdcmdump /usr/bin/python3; do
  command -v "$program" >/dev/null || { echo "skipped: $program is not installed"; exit 77; }
done
/usr/bin/python3 -c 'import pydicom' 2>/dev/null || { echo "skipped: pydicom is not installed"; exit 77; }
"$orvkit" convert --help | grep -q deflated || { echo "skipped: the command was built without zlib"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
faults=0 files=0
fault() {
  echo "FAULT: $*"
  faults=$((faults + 1))
}

# The values of a data set as dcmdump sees them.
values() {
  dcmdump -q +L +R 4096 "$1" 2>/dev/null | sed -e '1,/^# Dicom-Data-Set/d' -e '/^#/d' -e '/(fffe,e0[0d]d)/d' \
    -e 's/ *# .*$//' -e 's/ with [a-z]* length//'
}

same() { # NAME WANTED FOUND
  [ -s "$2" ] && cmp -s "$2" "$3" || fault "$1"
}

"$orvkit" phantom "$work/phantom" --size 32 --images 1 --series 1 >/dev/null || exit 1
for file in "$work"/phantom/*/* "$samples"/deflated/* "$samples"/sr/* "$samples"/waveform/*; do
  [ -f "$file" ] || continue
  name=$(basename "$file") out=$work/deflated.dcm
  "$orvkit" convert "$file" "$work/plain.dcm" --to explicit && "$orvkit" convert "$work/plain.dcm" "$out" --to deflated &&
    "$orvkit" convert "$out" "$work/back.dcm" --to explicit || { fault "$name is not converted"; continue; }
  files=$((files + 1))
  cmp -s "$work/plain.dcm" "$work/back.dcm" || fault "$name does not come back byte for byte"
  for to in implicit big lzw; do
    "$orvkit" convert "$work/plain.dcm" "$work/straight.dcm" --to $to 2>"$work/why" || continue
    "$orvkit" convert "$out" "$work/over.dcm" --to $to && cmp -s "$work/straight.dcm" "$work/over.dcm" ||
      fault "$name differs in $to when it comes from the deflated file"
  done

  # What we write, they read.
  values "$work/plain.dcm" >"$work/wanted"
  values "$out" >"$work/found"
  same "$name: dcmdump sees other values" "$work/wanted" "$work/found"
  dcmconv -q +te "$out" "$work/dcmtk.dcm" && values "$work/dcmtk.dcm" >"$work/found"
  same "$name: dcmconv makes other values of it" "$work/wanted" "$work/found"
  gdcmdump "$work/plain.dcm" 2>/dev/null | sed '1,/^# Dicom-Data-Set/d; /^# Used/d' >"$work/wanted.gdcm"
  gdcmdump "$out" 2>/dev/null | sed '1,/^# Dicom-Data-Set/d; /^# Used/d' >"$work/found.gdcm"
  same "$name: gdcmdump sees other values" "$work/wanted.gdcm" "$work/found.gdcm"

  # What they write, we read.
  dcmconv -q +td "$work/plain.dcm" "$work/theirs.dcm" || fault "$name: dcmconv"
  values "$work/theirs.dcm" >"$work/theirs"
  "$orvkit" convert "$work/theirs.dcm" "$work/mine.dcm" --to explicit && values "$work/mine.dcm" >"$work/found"
  same "$name: other values from dcmconv's file" "$work/theirs" "$work/found"
  /usr/bin/python3 - "$work/plain.dcm" "$out" "$work/pydicom.dcm" <<'END' || fault "$name: pydicom"
import sys, warnings, pydicom
warnings.simplefilter('ignore')
plain, packed = pydicom.dcmread(sys.argv[1]), pydicom.dcmread(sys.argv[2])
assert packed.file_meta.TransferSyntaxUID == '1.2.840.10008.1.2.1.99'
assert len(plain) > 5 and plain == packed
packed.is_little_endian, packed.is_implicit_VR = True, False
packed.save_as(sys.argv[3])
END
  "$orvkit" convert "$work/pydicom.dcm" "$work/mine.dcm" --to explicit && values "$work/mine.dcm" >"$work/found"
  same "$name: other values from pydicom's file" "$work/wanted" "$work/found"
done

[ "$files" -ge 1 ] || fault "nothing was compared"
echo "$files files compared, $faults faults"
[ "$faults" -eq 0 ]
