#!/usr/bin/env bash
# What an independent program makes of the files of the command: it must accept them, and see the same values
# in a converted file as in the original.
# Usage: run.sh PROGRAM ORVKIT SAMPLES
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

# convert FILE: into KIND.dcm for each; of a directory, a directory for each. False when the command refuses it.
convert() {
  local to
  for to in "${kinds[@]}"; do
    "$orvkit" convert "$1" "$to.dcm" --to "$to" --keep-going 2>refusal || return 1
  done
}

# The values that dcmdump sees in files, without what another encoding may change: meta information, lengths,
# delimiters, padding of values, the order of bytes in words, and private elements, whose VRs implicit streams
# do not carry.
values() {
  # shellcheck disable=SC2016 # variables of Perl
  dcmdump -q +F +L +R 4096 "$@" 2>/dev/null | perl -ne '
    if (/^# dcmdump \(/) { $_ = "file " . ++$n . "\n"; $limit = -1; $meta = 1; print }
    $meta = 0 if /^# Dicom-Data-Set/;
    next if $meta or /^#/ or /\(....,0000\)|^ *\(fffe,e0[0d]d\)/;
    my ($blanks) = /^( *)/;
    $limit = -1 if $limit >= 0 and /^ *\(/ and length $blanks <= $limit;
    $limit = length $blanks if $limit < 0 and /^ *\(...[13579bdf],/;
    next if $limit >= 0;
    s/ *# .*$//;
    my $vr = s/^( *\(....,....\)) (..)/$1/ ? $2 : "";
    if ($vr =~ /^O[BW]$/ and /^(.*\)) ([0-9a-f\\]+)$/) {
      my ($tag, $bytes) = ($1, $2);
      $bytes =~ tr/\\//d;
      $bytes = pack "H*", $bytes;
      $bytes = pack "v*", unpack "n*", $bytes if $vr eq "OW";
      $_ = "$tag " . unpack("H*", $bytes) . "\n";
    }
    s/\((Sequence|Item) with [a-z]+ length #=([0-9]+)\)/$1 $2/; s/ +([]\\])/$1/g; s/([[\\]) +/$1/g;
    print'
}

# compare_values FILE OTHER: or the files of two directories
compare_values() {
  local files=("$1") others=("$2")
  [ ! -d "$1" ] || { files=("$1"/*) others=("$2"/*); }
  values "${files[@]}" >values.a
  [ "$(grep -c ^file values.a)" = ${#files[@]} ] || fault "$1: dcmdump does not read all of it"
  values "${others[@]}" | diff -U 0 -F ^file values.a - >difference && return
  fault "$1: other values after conversion to $(basename "$2")"
  head -6 difference
  grep -oE 'file [0-9]+' difference | sort -u | while read -r _ n; do echo "${files[n - 1]}"; done | head
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
      ! dciodvfy "$to.dcm" 2>&1 | grep -E '^Error' || fault "the phantom, converted to $to"
    done
    ;;
  dcmdump)
    mkdir plain && n=0
    for file in phantom/*/* $(sample_files); do
      cp "$file" "plain/$((++n))-$(basename "$file")"
    done
    # What becomes of frames that are unpacked, codecs.py compares.
    dcmdump -q +F +P 7fe0,0010 plain/* 2>/dev/null |
      awk '/^# dcmdump/ { file = $NF } /PixelSequence/ { print file }' | sort -u | xargs -r rm
    convert plain || fault "not converted: $(cat refusal)"
    for to in "${kinds[@]}"; do compare_values plain "$to.dcm"; done
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
esac
