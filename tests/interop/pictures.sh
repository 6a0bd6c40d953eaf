#!/usr/bin/env bash
# Pictures of the command beside those of dcm2pnm, sample for sample: at most one level of grey apart.
# Usage: pictures.sh ORVKIT SAMPLES
orvkit=$1 samples=${ORVKIT_SAMPLES:-$2}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/peers.sh"
need dcm2pnm
compared=0

# The greatest difference of two binary PNM files of the same kind and size.
differ() {
  PYTHONPATH=$here /usr/bin/python3 -B - "$1" "$2" <<'END'
import sys
from peers import pnm
(ours, a, _), (theirs, b, _) = pnm(sys.argv[1]), pnm(sys.argv[2])
if ours[0] == b'P5' and theirs[0] == b'P6' or ours != theirs or len(a) != len(b):
    print('another kind or size:', ours, theirs)
    sys.exit(1)
most = max((abs(x - y) for x, y in zip(a, b)), default=0)
print(most)
sys.exit(most > 1)
END
}

alike() { # FILE OUR-OPTIONS THEIR-OPTIONS
  local told
  # shellcheck disable=SC2086 # options are words
  "$orvkit" render "$1" -o ours.pnm --stored-pixels $2 || { fault "$1 $2 is not rendered"; return; }
  # shellcheck disable=SC2086
  dcm2pnm -q --write-raw-pnm $3 "$1" theirs.pnm 2>/dev/null || { echo "passed over: dcm2pnm does not render $1 $3"; return; }
  compared=$((compared + 1))
  told=$(differ ours.pnm theirs.pnm) || fault "$(basename "$1") $2: $told"
}

"$orvkit" phantom phantom --size 64 --images 2 --series 2 >/dev/null || exit 1
for file in "$samples"/basic/{ct1_explicit_le,ct1_explicit_be,ct_explicit_le,mr_explicit_le,mr_explicit_be,mr_implicit_le}.dcm \
  "$samples"/overlay/mr_overlays_icon.dcm "$samples"/multiframe/emr_explicit_le.dcm phantom/*/IM000001; do
  [ -f "$file" ] || continue
  # Padding is black here and no part of the range of values; there it is a value like others.
  if [ -z "$("$orvkit" dump --flat --tag PixelPaddingValue "$file")" ]; then
    alike "$file" "--window bits" "--no-windowing --no-overlays"
    alike "$file" "--window full" "--min-max-window --no-overlays"
    alike "$file" "--window full --overlay" "--min-max-window"
  fi
  alike "$file" "--window 100,350" "--set-window 100 350 --no-overlays"
  alike "$file" "--window 40.5,80" "--set-window 40.5 80 --no-overlays"
  alike "$file" "--window -600,1500 --invert" "--set-window -600 1500 --no-overlays --change-polarity"
done
for file in "$samples"/basic/{us_rgb_explicit_be,sc_rgb_odd_pixels,sc_ybr_full_422,sc_ob_pixels}.dcm "$samples"/palette/*16*.dcm \
  "$samples"/encapsulated/{rle,rle_rgb_16bit_2frames}.dcm; do
  [ -f "$file" ] || continue
  alike "$file" "--window bits" "--no-windowing --no-overlays"
done
# One image with other attributes: the order of the steps, and which of two windows.
changed() { # OUR-OPTIONS THEIR-OPTIONS DCMODIFY-OPTIONS...
  local file=changed.dcm ours=$1 theirs=$2
  shift 2
  cp phantom/SE000001/IM000001 "$file" && dcmodify -nb -q "$@" "$file" || { fault "dcmodify $*"; return; }
  alike "$file" "$ours" "$theirs --no-overlays"
}
if command -v dcmodify >/dev/null; then
  for shape in "" IDENTITY INVERSE; do
    for photometric in MONOCHROME1 MONOCHROME2; do
      changed "--window 1" "--use-window 1" -m "PhotometricInterpretation=$photometric" ${shape:+-i "PresentationLUTShape=$shape"}
    done
  done
  changed "--window 1" "--use-window 1 --sigmoid-function" -i VOILUTFunction=SIGMOID
  changed "--window 1" "--use-window 1" -m RescaleSlope=-2 -m RescaleIntercept=300 -m WindowCenter=200 -m WindowWidth=1500
  changed "--window 2" "--use-window 2" -m 'WindowCenter=40\300' -m 'WindowWidth=100\900'
  changed "--window bits" "--no-windowing" -m BitsStored=10 -m HighBit=9
fi
# What import makes has what its definition asks for, and the peer reads it.
imported() { # FILE OPTIONS...
  local file=$1 told
  shift
  if ! told=$("$orvkit" import "$file" -o object.dcm "$@" 2>&1); then
    [[ $told == *"left out of this build"* ]] && return
  elif told=$(dciodvfy object.dcm 2>&1 | grep '^Error'); [ -z "$told" ]; then
    compared=$((compared + 1))
    return
  fi
  fault "import $file: $told"
}
if command -v dciodvfy dcm2pdf >/dev/null; then
  image=phantom/SE000001/IM000001
  for name in a.png a.jpg a.tif a.pgm; do
    "$orvkit" render "$image" -o "$name" >/dev/null 2>&1 && imported "$name" --like "$image"
  done
  printf 'solid x\nfacet normal 0 0 1\nendsolid\n' >a.stl && imported a.stl
  printf '<ClinicalDocument/>' >a.xml && imported a.xml -k HL7InstanceIdentifier=1.2.3
  printf '%%PDF-1.4\n%%%%EOF\n' >a.pdf && imported a.pdf -k "PatientName=Doe^Jane"
  dcm2pdf object.dcm b.pdf && cmp a.pdf b.pdf || fault "dcm2pdf"
  pdf2dcm a.pdf theirs.dcm && "$orvkit" extract theirs.dcm -o c.pdf &&
    cmp a.pdf c.pdf || fault "pdf2dcm"
fi
[ "$compared" -ge 12 ] || fault "$compared pictures compared"
echo "$compared pictures compared"
