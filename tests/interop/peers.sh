# Sourced by the scripts that let our command and other programs talk: a working directory that goes with all that
# was started in it, faults, programs that run meanwhile, and data sets compared. The scripts set $orvkit.
# shellcheck shell=bash
need() {
  local name
  for name; do command -v "$name" >/dev/null || { echo "skipped: $name is not installed"; exit 77; }; done
}
need_index() { ! "$orvkit" index 2>&1 | grep -q 'left out' || { echo "skipped: no index in this build"; exit 77; }; }
work=$(mktemp -d)
cd "$work" || exit 1
pids=() faults=0
cleanup() {
  local status=$? pid
  for pid in "${pids[@]}"; do kill -9 "$pid"; done 2>/dev/null
  wait 2>/dev/null
  rm -rf "$work"
  [ "$faults" -eq 0 ] || { echo "$faults faults"; status=1; }
  exit "$status"
}
trap cleanup EXIT
export TCP_NODELAY=1
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
# serve DIR OPTIONS...: sets $port and $server; the log is in $work/serve.log. It listens on $own_port, or a free port.
serve() {
  : >"$work/serve.log"
  "$orvkit" serve --port "${own_port:-0}" "$@" 2>"$work/serve.log" &
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

# orthanc SETTINGS: the archive ARCHIVE on $at, and its own interface on $rest
orthanc() {
  need curl
  at=$(free_port) rest=$(free_port)
  mkdir storage stored
  cat >orthanc.json <<END
{ "Name": "peer", "StorageDirectory": "$work/storage", "IndexDirectory": "$work/storage", "HttpPort": $rest, "DicomPort": $at,
  "DicomAet": "ARCHIVE", "DicomCheckCalledAet": true, "Plugins": [], "HttpServerEnabled": true, "RemoteAccessAllowed": false,
  "AuthenticationEnabled": false, "DicomAlwaysAllowEcho": true, "DicomAlwaysAllowStore": true, "DicomAlwaysAllowFind": true,
  "DicomAlwaysAllowGet": true, "DicomAlwaysAllowMove": true, "DicomServerEnabled": true, "UnknownSopClassAccepted": true,
  "OverwriteInstances": true, "StorageCompression": false, $1 }
END
  peer "$at" Orthanc orthanc.json
  until_true 100 curl -sf "http://127.0.0.1:$rest/system"
}
# What the archive lists, and all that it has into stored/.
listed() { curl -sf "http://127.0.0.1:$rest/$1" | grep -oE '[0-9a-f]{8}(-[0-9a-f]{8}){4}'; }
fetch() {
  local id
  for id in $(listed instances); do curl -sf "http://127.0.0.1:$rest/instances/$id/file" -o "stored/$id"; done
}

# site NAMES...: certificates of a site, and the options by which our programs and theirs use them, "ours" and "theirs"
site() {
  if ! "$orvkit" tls make site "$@" >made 2>&1; then
    grep -q 'left out' made && { echo "skipped: no TLS in this build"; exit 77; }
    cat made
    exit 1
  fi
  ours=(--tls --tls-cert site/ours.pem --tls-key site/ours.key --tls-ca site/ca.pem)
  theirs=(+tls site/theirs.key site/theirs.pem +cf site/ca.pem)
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
# mixed_study: our own images in three transfer syntaxes, and as many encapsulated ones as there are programs for
mixed_study() {
  "$orvkit" phantom study --size 64 --series 1 --images 8 >/dev/null || exit 1
  local image=study/SE000001/IM00000
  "$orvkit" convert "${image}1" "${image}1" --to implicit && "$orvkit" convert "${image}2" "${image}2" --to big || exit 1
  command -v dcmcrle >/dev/null && dcmcrle "${image}3" "${image}3"
  command -v dcmcjpeg >/dev/null && dcmcjpeg "${image}4" "${image}4"
  command -v dcmcjpls >/dev/null && dcmcjpls "${image}6" "${image}6"
  command -v dcmconv >/dev/null && dcmconv +td "${image}7" "${image}7"
}
# The UID of a study that the phantom made.
study_of() { "$orvkit" dump --tag StudyInstanceUID "$1/SE000001/IM000001" | grep -o '[0-9][0-9.]*[0-9]' | tail -1; }
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
# accepts PROGRAM...: without a word of error
accepts() {
  "$@" >said 2>&1 && ! grep -qE '^(E:|Error|Warning)' said || { fault "$* does not accept it"; head -6 said; }
}
# refuses WHAT WORDS COMMAND...: fails, and says why
refuses() {
  local what=$1 words=$2
  shift 2
  if "$@" >"$work/said" 2>&1; then fault "$what: success"; fi
  grep -qE "$words" "$work/said" || { fault "$what: other words than $words"; tail -5 "$work/said"; }
}
logged() { until_true 30 grep -qE "$1" "$work/serve.log" || { fault "not in the log: $1"; tail -5 "$work/serve.log"; }; }
# misuse WORDS OPTION...: no server listens, and the exit status is 2
misuse() {
  local words=$1
  shift
  timeout 10 "$orvkit" serve --port 0 in "$@" 2>said
  [ $? = 2 ] || fault "serve $*: another exit status than 2"
  grep -qE "$words" said || fault "serve $*: $(cat said)"
}
