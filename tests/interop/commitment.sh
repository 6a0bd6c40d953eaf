#!/usr/bin/env bash
# Storage commitment with an independent archive, which asks `orvkit serve --archive` and is asked by `orvkit send`.
# Usage: commitment.sh ORVKIT
orvkit=$1
. "$(dirname "${BASH_SOURCE[0]}")/peers.sh"
need Orthanc curl
need_index
"$orvkit" phantom set --size 64 --images 3 >/dev/null || exit 1
into=$(free_port) own_port=$(free_port)
orthanc "\"DicomModalities\": { \"us\": [\"ORVKIT\", \"127.0.0.1\", $own_port], \"sender\": [\"SENDER\", \"127.0.0.1\", $into] }"
serve in --archive --destination "ARCHIVE=127.0.0.1:$at"

# It reports on an association of its own.
must "send --commit" "$orvkit" send "ARCHIVE@localhost:$at" set --commit --commit-port "$into" --aet SENDER
grep -q '^6 committed, 0 not' said || fault "send --commit: $(cat said)"
refuses "send --commit, without a port" 'IM000001: not committed: no report came' \
  "$orvkit" send "ARCHIVE@localhost:$at" set/SE000001 --commit --commit-time 2 --aet SENDER

# asked WHAT INSTANCES STATUS: and its report has come
asked() {
  local transaction
  transaction=$(curl -sf "http://127.0.0.1:$rest/modalities/us/storage-commitment" -d "{\"DicomInstances\": [$2]}" |
    grep -o '"ID" : "[0-9.]*' | grep -o '[0-9.]*$')
  until_true 100 eval "curl -sf http://127.0.0.1:$rest/storage-commitment/$transaction | grep -q '\"$3\"'" ||
    fault "$1: $(curl -s "http://127.0.0.1:$rest/storage-commitment/$transaction") $(tail -3 serve.log)"
}
instance() { echo "{\"SOPClassUID\": \"1.2.840.10008.5.1.4.1.1.2\", \"SOPInstanceUID\": \"$1\"}"; }
must "send" "$orvkit" send "A@localhost:$own_port" set
all=$("$orvkit" dump --tag SOPInstanceUID set | grep -o '1[.][0-9.]*[0-9]' | sort -u | grep -v '^1[.]2[.]840' |
  while read -r uid; do instance "$uid"; done | paste -sd,)
asked "all" "$all" Success
asked "one that is not there" "$all, $(instance 1.2.3)" Failure
logged 'commitment [0-9.]* of ARCHIVE .6 committed, 1 not. reported'
stop_server
