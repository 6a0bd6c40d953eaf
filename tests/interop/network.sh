#!/usr/bin/env bash
# The network commands against one independent program: echo, store in every transfer syntax that the program
# knows, query and retrieve, refusals, and associations that are broken off. What arrives must have the bytes of
# the data set that was sent.
# Usage: network.sh PROGRAM ORVKIT SAMPLES
program=$1 orvkit=$2 samples=${ORVKIT_SAMPLES:-$3}/encapsulated
. "$(dirname "${BASH_SOURCE[0]}")/peers.sh"
need "$program"

# as_sent OPTION FILE: an image and the option by which storescu proposes its syntax
kinds() {
  local image=study/SE000001/IM00000
  printf '%s\n' "-xi ${image}1" "-xb ${image}2" "-xe ${image}8"
  command -v dcmcrle >/dev/null && echo "-xr ${image}3"
  command -v dcmcjpeg >/dev/null && echo "-xs ${image}4"
  command -v dcmcjpls >/dev/null && echo "-xt ${image}6"
  command -v dcmconv >/dev/null && echo "-xd ${image}7"
  [ -d "$samples" ] || return 0
  printf '%s\n' "-xy $samples/jpeg_baseline.dcm" "-xx $samples/jpeg_extended.dcm" "-xw $samples/j2k.dcm" \
    "-xu $samples/jpegls_near_lossless.dcm" "-xm $samples/mpeg2_main_profile.dcm" \
    "-xn $samples/mpeg4_avc_high_41.dcm" "-x4 $samples/hevc_main_51.dcm"
}

# ---- the cases ----------------------------------------------------------------------------------------------

case_echoscu() {
  serve in --aet SERVER --accept-from GOOD FRIEND
  must "echo" echoscu -aec SERVER -aet GOOD --repeat 20 localhost "$port"
  must "echo, abort" echoscu -aec SERVER -aet FRIEND --abort localhost "$port"
  must "128 contexts" echoscu -aec SERVER -aet FRIEND -ppc 128 localhost "$port"
  refuses "a caller whom nobody knows" 'Reason: Calling AE Title Not Recognized' \
    echoscu -aec SERVER -aet OTHER localhost "$port"
  logged 'refused: rejected-permanent by the DICOM UL service-user: calling-AE-title-not-recognized'
  stop_server
  serve in --aet SERVER
  refuses "another title" 'Reason: Called AE Title Not Recognized' echoscu -aec OTHER localhost "$port"
  logged 'refused: rejected-permanent by the DICOM UL service-user: called-AE-title-not-recognized'
  must "echo after refusals" echoscu -aec SERVER localhost "$port"
  stop_server
}

case_storescu() {
  mixed_study
  serve in
  local option file
  while read -r option file; do
    rm -rf in/*
    must "storescu $option" storescu -R "$option" --max-pdu 131072 localhost "$port" "$file"
    [[ $file = /* ]] && { dcmconv "$file" plain.dcm && file=plain.dcm; }  # encoded by the peer, as it sends it
    same "storescu $option" "$file" in
    rm -rf in/*
    [ "$option" = -xd ] && continue  # its end shows only when it is inflated
    head -c -9 "$file" >cut
    refuses "a cut object, $option" 'answered 0xC000' "$orvkit" send "A@localhost:$port" cut
    [ -z "$(ls -A in)" ] || fault "a cut object, $option: $(ls -A in)"
  done < <(kinds)
  refuses "storescu, a user in clear" 'Rejected' storescu -R -usr joe -pwd secret localhost "$port" study/SE000001/IM000008
  stop_server
  serve in --insecure
  must "storescu, a user" storescu -R -usr joe -pwd secret -rsp localhost "$port" study/SE000001/IM000008
  logged "user 'joe', with a passcode, accepted"
  grep -q secret serve.log && fault "a secret is in the log"
  must "storescu, abort" storescu -R --abort localhost "$port" study/SE000001/IM000008
  logged 'association ended: the peer aborted the association'
  stop_server
}

case_storescp() {
  mixed_study
  local at
  at=$(free_port)
  mkdir in
  peer "$at" storescp +xa +B -od in "$at"
  must "send to storescp" "$orvkit" send "A@localhost:$at" study -j 2
  same "send to storescp" study in
  printf 'secret\n' >password
  must "a user" "$orvkit" echo "A@localhost:$at" --user joe --password-file password --insecure
  refuses "a user to be confirmed" 'did not confirm the user' "$orvkit" echo "A@localhost:$at" --user joe --confirm-user
  only "implicit VR" +ti storescp +xi
  printf '%s\n' '[[TransferSyntaxes]]' '[Explicit]' 'TransferSyntax1 = LittleEndianExplicit' '[[PresentationContexts]]' \
    '[Images]' 'PresentationContext1 = CTImageStorage\Explicit' '[[Profiles]]' '[Only]' 'PresentationContexts = Images' \
    >explicit.cfg
  only "explicit VR" +te storescp -xf explicit.cfg Only
  transcoded study
  at=$(free_port)
  peer "$at" storescp --refuse "$at"
  refuses "echo, refused" 'rejected: rejected-permanent by the DICOM UL service-user: no-reason-given' \
    "$orvkit" echo "A@localhost:$at"
  at=$(free_port)
  peer "$at" storescp --abort-during "$at"
  refuses "send, aborted amid the object" 'IM000001: the peer aborted the association' \
    "$orvkit" send "A@localhost:$at" study
}

# What is packed in a way that the peer does not take goes unpacked, or packed as it is taken, with the same pixels.
transcoded() {
  local file=$1/SE000001/IM000001 syntax
  "$orvkit" convert "$file" packed.dcm --to rle || { fault "convert --to rle"; return; }
  for syntax in 1.2.840.10008.1.2.1 1.2.840.10008.1.2.4.70; do
    at=$(free_port)
    rm -rf taken && mkdir taken
    sed "s/^TransferSyntax1 = .*/TransferSyntax1 = $syntax/" explicit.cfg >only.cfg
    peer "$at" storescp -xf only.cfg Only +B -od taken "$at"
    refuses "packed frames as they are, $syntax" 'packed.dcm' "$orvkit" send "A@localhost:$at" packed.dcm
    must "packed frames, $syntax" "$orvkit" send "A@localhost:$at" packed.dcm --transcode
    dcmdjpeg taken/* plain.dcm && "$orvkit" extract plain.dcm -o taken.raw && "$orvkit" extract "$file" -o ours.raw &&
      cmp taken.raw ours.raw || fault "send --transcode to $syntax: other pixels"
  done
}

# only NAME CONVERSION PROGRAM...: a peer that takes one transfer syntax. What can be encoded so arrives with
# the bytes that dcmconv makes of it, what is encapsulated is told.
only() {
  local name=$1 convert=$2 file
  shift 2
  at=$(free_port)
  rm -rf taken wanted plain
  mkdir taken wanted plain
  for file in study/SE000001/*; do
    grep -qE "^-(xi|xb|xe|xd) $file\$" <(kinds) || continue
    cp "$file" plain && dcmconv "$convert" "$file" "wanted/${file##*/}" || fault "dcmconv $convert $file"
  done
  peer "$at" "$@" +B -od taken "$at"
  must "send to a peer of $name alone" "$orvkit" send "A@localhost:$at" plain -j 2
  grep -q 'files were sent in an uncompressed transfer syntax' said || fault "conversion is not told: $(cat said)"
  same "send to a peer of $name alone" wanted taken
  command -v dcmcrle >/dev/null || return 0
  refuses "an encapsulated image for a peer of $name alone" 'IM000003: the peer does not support the transfer syntax' \
    "$orvkit" send "A@localhost:$at" study/SE000001/IM000003
}
# what the peer's own archive sends us
archive() {
  qr=$(free_port)
  mkdir -p db
  cat >qr.cfg <<END
NetworkTCPPort = $qr
MaxPDUSize = 65536
MaxAssociations = 16
HostTable BEGIN
mover = (MOVER, localhost, $port)
HostTable END
VendorTable BEGIN
VendorTable END
AETable BEGIN
QR $work/db RW (200, 1024mb) ANY
AETable END
END
  peer "$qr" dcmqrscp -c qr.cfg
  must "send to dcmqrscp" "$orvkit" send "QR@localhost:$qr" plain
}
plain_study() { "$orvkit" phantom plain --size 64 --series 2 --images 3 >/dev/null; }
key=StudyInstanceUID=1.3.6.1.4.1.70707.9.1.1.1

case_dcmqrscp() {
  plain_study
  serve in --aet MOVER
  archive
  must "find" "$orvkit" find "QR@localhost:$qr" -k "$key" -k PatientName
  grep -q 'Phantom^Head' said || fault "find: $(cat said)"
  must "find, JSON" "$orvkit" find "QR@localhost:$qr" -k "$key" -k SeriesInstanceUID --json
  grep -q "\"0020000E\": {\"vr\": \"UI\", \"Value\": \[\"${key#*=}.2\"\]}" said || fault "find, JSON: $(cat said)"
  must "find nothing" "$orvkit" find "QR@localhost:$qr" -k PatientName='NO*'
  [ -s said ] && fault "find nothing: $(cat said)"
  refuses "find, cancelled" 'cancelled: more than 1 results' "$orvkit" find "QR@localhost:$qr" -k SeriesInstanceUID -k "$key" \
    --max-results 1
  refuses "another title" 'called-AE-title-not-recognized' "$orvkit" find "OTHER@localhost:$qr"
  refuses "an unknown destination" '0xA801 \(refused: move destination unknown\)' "$orvkit" move "QR@localhost:$qr" \
    --dest NOBODY -k "$key"
  must "move to our server" "$orvkit" move "QR@localhost:$qr" --dest MOVER -k "$key"
  same "move to our server" plain in
  must "get" "$orvkit" get "QR@localhost:$qr" got -k "$key"
  same "get" plain got
  stop_server
}

"case_$program"
