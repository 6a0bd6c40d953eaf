#!/usr/bin/env bash
# What an independent program makes of the files of the command: it must accept them, and see the same values
# in a converted file as in the original. Exit status 77 when that program is not installed.
# Usage: run.sh PROGRAM ORVKIT SAMPLES
set -uo pipefail
program=$1 orvkit=$2 samples=${ORVKIT_SAMPLES:-$3}
. "$(dirname "${BASH_SOURCE[0]}")/peers.sh"
need "$program"

"$orvkit" phantom phantom --size 32 --images 2 >/dev/null || exit 1
kinds=(implicit explicit big) folders=(basic charset large multiframe overlay palette private rt sequences sr waveform)
"$orvkit" convert --help | grep -q deflated && kinds+=(deflated) folders+=(deflated)

# Left out, each for a reason:
#   empty_charset, chr_sq_encoding, private_sq_implicit   no SOP class, which a file that is written must have
#   un_undefined_length_*      sequences that came as UN and stay the same bytes as UN, but are not shown alike
#   seg_3401_elements          implicit, with elements that came after the dictionary: they become UN
#   rtimage_curve              a text that ends with a line feed, which is trimmed as blanks are
left_out='empty_charset|chr_sq_encoding|private_sq_implicit|un_undefined_length|seg_3401_elements|rtimage_curve'

# Files of every kind that the command converts, and some that it must refuse.
sample_files() {
  [ -d "$samples" ] || return 0
  find "${folders[@]/#/$samples/}" -type f | grep -vE "$left_out" | sort
}

# convert FILE: into KIND.dcm for each; false when the command refuses it.
convert() {
  local to
  for to in "${kinds[@]}"; do
    "$orvkit" convert "$1" "$to.dcm" --to "$to" 2>refusal || return 1
  done
}

# The values that dcmdump sees, without what another encoding may change: meta information, lengths,
# delimiters, padding of values, the order of bytes in words, and private elements, whose VRs implicit streams
# do not carry.
values() {
  dcmdump -q +L +R 4096 "$1" 2>/dev/null | sed -E \
    -e '1,/^# Dicom-Data-Set/d' -e '/^#/d' -e '/^ *\(fffe,e0[0d]d\)/d' -e '/\(....,0000\)/d' -e 's/ *# .*$//' \
    -e '/^ *\(....,....\) OW/s/([ \\])([0-9a-f]{2})([0-9a-f]{2})/\1\3\\\2/g' \
    -e 's/^( *\([0-9a-f]{4},[0-9a-f]{4}\)) ../\1/' \
    -e 's/\((Sequence|Item) with [a-z]+ length #=([0-9]+)\)/\1 \2/' -e 's/ +([]\\])/\1/g' -e 's/([[\\]) +/\1/g' |
    awk '{ match($0, /^ */); depth = RLENGTH }
         skipping && /^ *\(/ && depth <= limit { skipping = 0 }
         /^ *\(...[13579bdf],/ && !skipping { skipping = 1; limit = depth }
         !skipping'
}

# compare_values FILE OTHER
compare_values() {
  values "$1" >values.a
  values "$2" | diff values.a - >difference && [ -s values.a ] && return
  fault "$1: other values after conversion to $(basename "$2")"
  head -6 difference
}

accepts() {
  "$@" >said 2>&1 && ! grep -qE '^(E:|Error)' said || {
    fault "$* does not accept it"
    head -6 said
  }
}

case $program in
  dciodvfy)
    for image in phantom/*/*; do
      dciodvfy "$image" >said 2>&1
      grep -qE '^CTImage' said || fault "$image is not taken for a CT image"
      grep -E '^Error' said && fault "$image"
    done
    convert "$image" || fault "$image is not converted"
    for to in implicit explicit big; do
      dciodvfy "$to.dcm" 2>&1 | grep -E '^Error' && fault "the phantom, converted to $to"
    done
    ;;
  dcmdump)
    for file in phantom/*/* $(sample_files); do
      # What becomes of frames that are unpacked, codecs.py compares.
      dcmdump -q +P 7fe0,0010 "$file" 2>/dev/null | grep PixelSequence >/dev/null && continue
      if convert "$file"; then
        for to in "${kinds[@]}"; do compare_values "$file" "$to.dcm"; done
      else
        fault "not converted: $(cat refusal)"
      fi
    done
    ;;
  dcmconv)
    for image in phantom/*/*; do
      convert "$image" || fault "$image is not converted"
      for to in "${kinds[@]}"; do
        accepts dcmconv +te "$to.dcm" back.dcm
        compare_values "$image" back.dcm
      done
      [[ ${kinds[*]} == *deflated* ]] || continue
      dcmconv +td "$image" theirs.dcm && "$orvkit" convert theirs.dcm back.dcm --to explicit
      compare_values "$image" back.dcm
    done
    ;;
  gdcminfo)
    for image in phantom/*/*; do
      convert "$image" || fault "$image is not converted"
      for to in "${kinds[@]}"; do
        accepts gdcminfo "$to.dcm"
        grep -q '(32,32,1)' said || fault "gdcminfo does not see the image in $to.dcm"
      done
    done
    ;;
esac
[ "$faults" -eq 0 ] || { echo "$faults faults"; exit 1; }
