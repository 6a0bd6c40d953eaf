#!/usr/bin/env bash
# What an independent program makes of file sets that the command made, and of DICOMDIRs from elsewhere that it
# read and wrote again: the same tree of records with the same values.
# Usage: file_sets.sh PROGRAM ORVKIT SAMPLES
program=$1 orvkit=$2 samples=${ORVKIT_SAMPLES:-$3}
. "$(dirname "${BASH_SOURCE[0]}")/peers.sh"
# Trees are read with dcmdump whatever program is under test.
need dcmdump
if [ "$program" != pydicom ]; then need "$program"; else
  /usr/bin/python3 -c 'from pydicom.fileset import FileSet' 2>/dev/null || { echo "skipped: no pydicom"; exit 77; }
fi

# The records of a DICOMDIR, found by their offsets: a line for each with the types above it, and a line for each
# of its elements but those that link records.
tree() {
  dcmdump -q +L "$1" 2>/dev/null | awk '
    function walk(at, path) {
      for (; at != 0 && !(at in seen); at = following[at]) {
        seen[at] = 1
        printf "%s/%s\n%s", path, type[at], text[at]
        walk(lower[at], path "/" type[at])
      }
    }
    /^\(0004,1200\)/ { root = $3 }
    /^  \(fffe,e000\).*"Directory Record"/ { sub(/.*"Directory Record" /, ""); sub(/ #=.*/, ""); name = $0; at = 0; next }
    /^  #  offset=\$/ { at = $2; sub(/offset=\$/, "", at); type[at] = name; next }
    !at || !/^    / { next }
    /^    \(0004,1400\)/ { following[at] = $3; next }
    /^    \(0004,1420\)/ { lower[at] = $3; next }
    /^    \(0004,1504\)/ || /ItemDelim|SequenceDelim/ { next }
    { sub(/ *# +[0-9]+, *[0-9]+ [A-Za-z].*$/, ""); gsub(/ with explicit length #=/, " "); text[at] = text[at] $0 "\n" }
    END { walk(root, "") }'
}

# Each element with the types of its record and those above it.
elements() { tree "$1" | awk '/^\// { types = $0; next } { print types $0 }' | sort; }

# The same tree of types and File IDs as dcmdump sees it.
shape() { tree "$1" | sed -nE 's/^\//\//p; s/^ *\(0004,1500\) CS \[(.*)\]/ \1/p'; }
alike() { # WHAT: compares the files a and b
  diff a b >difference && [ -s a ] && return
  fault "$1"
  head -8 difference
}

"$orvkit" phantom phantom --size 32 --images 3 >/dev/null && "$orvkit" dicomdir make phantom --icons --id PHANTOM >/dev/null ||
  fault "the phantom"
sets=(phantom)
foreign=()
if [ -d "$samples/dicomdir" ]; then
  for set in threestudies tinyalpha; do
    cp -r "$samples/dicomdir/$set" "$set" && chmod -R u+w "$set"
    cp "$set/DICOMDIR" "$set.before"
    foreign+=("$set")
  done
  # Documents, plans, doses and waveforms. Some of them lack keys, which is told.
  mkdir types from && cp "$samples"/{sr,rt,waveform}/* from
  "$orvkit" dicomdir make types --copy-from from >/dev/null 2>&1
  sets+=(types)
fi

case $program in
  dcmdump)
    for set in "${foreign[@]}"; do
      "$orvkit" dicomdir update "$set" --id AGAIN >/dev/null 2>&1
      cmp -s "$set.before" "$set/DICOMDIR" && fault "$set: was not written"
      tree "$set.before" >a
      tree "$set/DICOMDIR" >b
      alike "$set: another tree after reading and writing"
    done
    for set in "${sets[@]}"; do accepts dcmdump "$set/DICOMDIR"; done
    ;;
  dciodvfy)
    # Not the types: the values of those samples break rules of their own.
    accepts dciodvfy phantom/DICOMDIR
    ;;
  dcmmkdir)
    for set in "${sets[@]}" "${foreign[@]}"; do
      rm "$set/DICOMDIR"
      dcmmkdir -q -W +I -Nxc -Nec -Nrc +Nrs +r +id "$set" +D theirs || fault "$set: dcmmkdir"
      "$orvkit" dicomdir make "$set" >/dev/null 2>&1
      # Not compared: the order, and what only the profile of dcmmkdir asks for.
      left_out='\(0008,000[58]\)'
      # Nor, where keys are missing, what each made up; the instance where meta information and data set differ.
      [ "$set" != types ] || left_out+='|\[(ORV[0-9A-F]{8}|DCMTK.*)\]|\(0020,001[13]\)|\(0004,1511\)'
      elements "$set/DICOMDIR" | grep -vE "$left_out" >a
      elements theirs | grep -vE "$left_out" >b
      alike "$set: another tree than dcmmkdir's"
      rm theirs
    done
    ;;
  pydicom)
    for set in "${sets[@]}"; do
      /usr/bin/python3 - "$set" <<'PYTHON' >b || fault "$set: pydicom refuses it"
import sys
from pydicom.fileset import FileSet
for each in FileSet(sys.argv[1] + "/DICOMDIR"):
    assert each.load().SOPInstanceUID
    print(" " + "\\".join(each.ReferencedFileID))
PYTHON
      shape "$set/DICOMDIR" | grep '^ ' | sort >a
      sort -o b b
      alike "$set: pydicom sees other files"
    done
    ;;
esac
