#!/usr/bin/env bash
# The network commands against one independent program: echo, store in every transfer syntax that the program
# knows, query and retrieve, refusals, and associations that are broken off. What arrives must have the bytes of
# the data set that was sent. Exit status 77 when a program that the case needs is not installed.
# Usage: network.sh PROGRAM ORVKIT SAMPLES
set -uo pipefail
program=$1 orvkit=$2 samples=${ORVKIT_SAMPLES:-$3}/encapsulated
need() {
  local name
  for name; do command -v "$name" >/dev/null || { echo "skipped: $name is not installed"; exit 77; }; done
}
need "$program"
work=$(mktemp -d)
cd "$work" || exit 1
pids=()
cleanup() {
  local pid
  for pid in "${pids[@]}"; do kill -9 "$pid"; done 2>/dev/null
  wait 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
export TCP_NODELAY=1
faults=0
fault() {
  echo "FAULT: $*"
  faults=$((faults + 1))
}

# ---- programs that run meanwhile ----------------------------------------------------------------------------

free_port() {
  local port
  while port=$((20000 + RANDOM % 12000)); (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; do :; done
  echo "$port"
}
# until_true TENTHS COMMAND...
until_true() {
  local tenths=$1
  shift
  for ((; tenths > 0; tenths--)); do
    "$@" >/dev/null 2>&1 && return
    sleep 0.1
  done
  return 1
}
# serve DIR OPTIONS...: sets $port and $server; the log is in $work/serve.log
serve() {
  : >"$work/serve.log"
  "$orvkit" serve --port 0 "$@" 2>"$work/serve.log" &
  server=$!
  pids+=("$server")
  until_true 100 grep -q 'listening on port' "$work/serve.log" || { echo "orvkit does not listen"; exit 1; }
  port=$(sed -n 's/.*listening on port \([0-9]*\) .*/\1/p' "$work/serve.log")
}
# stop_server: it must go in time, with success, and leave no half file.
stop_server() {
  kill -TERM "$server"
  until_true 100 eval "! kill -0 $server" || fault "orvkit serve does not stop"
  wait "$server" || fault "orvkit serve: status $?, $(tail -3 "$work/serve.log")"
  [ -z "$(find . -name '*.part')" ] || fault "half a file is left: $(find . -name '*.part')"
}
# peer PORT PROGRAM...
peer() {
  local at=$1
  shift
  "$@" >>"$work/peer.log" 2>&1 &
  pids+=("$!")
  until_true 200 eval "(exec 3<>/dev/tcp/127.0.0.1/$at)" || { echo "$1 does not listen"; cat "$work/peer.log"; exit 1; }
}

# ---- files and their data sets ------------------------------------------------------------------------------

# The bytes behind the meta information.
dataset() {
  local length
  length=$(od -An -tu4 -j140 -N4 "$1") && tail -c "+$((145 + length))" "$1"
}
digests() {
  local file
  find "$@" -type f | while read -r file; do dataset "$file" | sha256sum; done | sort
}
# same WHAT SENT RECEIVED: files or directories
same() {
  [ "$(digests "$2" | wc -l)" -gt 0 ] || fault "$1: nothing was to be sent"
  if [ "$(digests "$2")" != "$(digests "$3")" ]; then fault "$1: other bytes arrived than were sent"; fi
}
# must WHAT COMMAND...: succeeds
must() {
  local what=$1
  shift
  "$@" >"$work/said" 2>&1 || { fault "$what: status $?"; tail -5 "$work/said"; }
}
# refuses WHAT WORDS COMMAND...: fails, and says why
refuses() {
  local what=$1 words=$2
  shift 2
  if "$@" >"$work/said" 2>&1; then fault "$what: success"; fi
  grep -qE "$words" "$work/said" || { fault "$what: other words than $words"; tail -5 "$work/said"; }
}
logged() { grep -qE "$1" "$work/serve.log" || { fault "not in the log: $1"; tail -5 "$work/serve.log"; }; }

# study DIR: our own images in three transfer syntaxes, and as many encapsulated ones as there are programs for
study() {
  "$orvkit" phantom "$1" --size 64 --series 1 --images 8 >/dev/null || exit 1
  local image=$1/SE000001/IM00000
  "$orvkit" convert "${image}1" "${image}1" --to implicit && "$orvkit" convert "${image}2" "${image}2" --to big || exit 1
  command -v dcmcrle >/dev/null && dcmcrle "${image}3" "${image}3"
  command -v dcmcjpeg >/dev/null && dcmcjpeg "${image}4" "${image}4"
  command -v dcmcjpls >/dev/null && dcmcjpls "${image}6" "${image}6"
  command -v dcmconv >/dev/null && dcmconv +td "${image}7" "${image}7"
}

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
  study study
  serve in
  local option file
  while read -r option file; do
    rm -rf in/*
    must "storescu $option" storescu -R "$option" --max-pdu 131072 localhost "$port" "$file"
    [[ $file = /* ]] && { dcmconv "$file" plain.dcm && file=plain.dcm; }  # encoded by the peer, as it sends it
    same "storescu $option" "$file" in
  done < <(kinds)
  stop_server
}

case_storescp() {
  study study
  local at
  at=$(free_port)
  mkdir in
  peer "$at" storescp +xa +B -od in "$at"
  must "send to storescp" "$orvkit" send "A@localhost:$at" study -j 2
  same "send to storescp" study in
}

# users of services that our server does not have, and what the peer's own archive sends us
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

case_findscu() {
  serve in
  refuses "find" 'No (Acceptable )?Presentation Context' findscu -S -k QueryRetrieveLevel=STUDY localhost "$port"
  must "echo after that" "$orvkit" echo "A@localhost:$port"
  stop_server
}
case_getscu() {
  serve in
  refuses "get" 'No adequate Presentation Context' getscu -S -k QueryRetrieveLevel=STUDY localhost "$port"
  must "echo after that" "$orvkit" echo "A@localhost:$port"
  stop_server
}
case_movescu() {
  need dcmqrscp
  plain_study
  serve in
  archive
  must "movescu to our server" movescu -S -aec QR -aem MOVER -k QueryRetrieveLevel=STUDY -k "$key" localhost "$qr"
  same "movescu to our server" plain in
  stop_server
}
case_dcmqrscp() {
  plain_study
  serve in --aet MOVER
  archive
  must "find" "$orvkit" find "QR@localhost:$qr" -k "$key" -k PatientName
  grep -q 'Phantom^Head' said || fault "find: $(cat said)"
  must "move to our server" "$orvkit" move "QR@localhost:$qr" --dest MOVER -k "$key"
  same "move to our server" plain in
  must "get" "$orvkit" get "QR@localhost:$qr" got -k "$key"
  same "get" plain got
  stop_server
}

# gdcmscu 3.0.21 crashes as it exits, whatever the peer, when all is done: what our side tells is what counts.
case_gdcmscu() {
  study study
  serve in --aet SERVER
  gdcmscu --echo --call SERVER localhost "$port" >/dev/null 2>&1
  until_true 50 grep -q 'association released' serve.log || fault "echo: $(cat serve.log)"
  local file
  for file in study/SE000001/IM00000{1,2,3,4,6,8}; do
    rm -rf in/*
    gdcmscu --store --call SERVER localhost "$port" "$file" >/dev/null 2>&1
    same "gdcmscu $file" "$file" in
  done
  stop_server
}

case_Orthanc() {
  need curl
  study study
  rm study/SE000001/IM000007  # deflated: kept inflated there
  serve in --aet MOVER
  local at rest
  at=$(free_port) rest=$(free_port)
  mkdir storage
  cat >orthanc.json <<END
{ "Name": "peer", "StorageDirectory": "$work/storage", "IndexDirectory": "$work/storage", "HttpPort": $rest, "DicomPort": $at,
  "DicomAet": "ARCHIVE", "DicomCheckCalledAet": true, "Plugins": [], "HttpServerEnabled": true,
  "RemoteAccessAllowed": false, "AuthenticationEnabled": false, "DicomAlwaysAllowEcho": true, "DicomAlwaysAllowStore": true,
  "DicomAlwaysAllowFind": true, "DicomAlwaysAllowGet": true, "DicomAlwaysAllowMove": true, "DicomServerEnabled": true,
  "UnknownSopClassAccepted": true, "OverwriteInstances": true, "StorageCompression": false,
  "DicomModalities": { "mover": ["MOVER", "127.0.0.1", $port] } }
END
  peer "$at" Orthanc orthanc.json
  until_true 100 curl -sf "http://127.0.0.1:$rest/system"
  must "echo" "$orvkit" echo "ARCHIVE@localhost:$at" --repeat 5
  must "send" "$orvkit" send "ARCHIVE@localhost:$at" study
  mkdir stored
  local id
  for id in $(curl -sf "http://127.0.0.1:$rest/instances" | grep -oE '[0-9a-f]{8}(-[0-9a-f]{8}){4}'); do
    curl -sf "http://127.0.0.1:$rest/instances/$id/file" -o "stored/$id"
  done
  same "send" study stored
  must "find" "$orvkit" find "ARCHIVE@localhost:$at" -k "$key" -k PatientName
  grep -q 'Phantom^Head' said || fault "find: $(cat said)"
  must "its store to us" curl -sf -d "$(curl -sf "http://127.0.0.1:$rest/studies" | grep -oE '[0-9a-f]{8}(-[0-9a-f]{8}){4}')" \
    "http://127.0.0.1:$rest/modalities/mover/store"
  same "its store to us" study in
  rm -rf in/*
  must "move to our server" "$orvkit" move "ARCHIVE@localhost:$at" --dest MOVER -k "$key"
  same "move to our server" study in
  must "get" "$orvkit" get "ARCHIVE@localhost:$at" got -k "$key"
  [ "$(digests got | wc -l)" = 7 ] || fault "get: $(cat said)"
  stop_server
}

"case_$program"
[ "$faults" -eq 0 ] || { echo "$faults faults"; exit 1; }
