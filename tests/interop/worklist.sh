#!/usr/bin/env bash
# `orvkit serve --worklist` asked by an independent user, which asks an independent provider the same.
# Usage: worklist.sh ORVKIT
orvkit=$1
. "$(dirname "${BASH_SOURCE[0]}")/peers.sh"
need findscu wlmscpfs dump2dcm
mkdir -p all/ANY list
# step FILE NAME ID MODALITY STATION DATE TIME CHARSET
step() {
  cat >step.dump <<END
(0008,0005) CS [$8]
(0008,0050) SH [A$3]
(0010,0010) PN [$2]
(0010,0020) LO [$3]
(0010,0030) DA [19700101]
(0010,0040) CS [O]
(0020,000d) UI [1.2.3.$3]
(0032,1060) LO [Head]
(0040,0100) SQ
(fffe,e000) -
(0008,0060) CS [$4]
(0040,0001) AE [$5]
(0040,0002) DA [$6]
(0040,0003) TM [$7]
(0040,0006) PN [Doe^Jane]
(0040,0007) LO [Head scan]
(0040,0009) SH [S$3]
(fffe,e00d) -
(fffe,e0dd) -
(0040,1001) SH [P$3]
END
  must "dump2dcm" dump2dcm step.dump "all/ANY/$1.wl"
  cp "all/ANY/$1.wl" "list/$1.dcm"
}
step one 'Abel^Anna' 1 CT CT1 20260101 0900 'ISO_IR 100'
step two $'M\xfcller^J\xf6rg' 2 MR MR1 20260102 1000 'ISO_IR 100'
step three 'Abel^Bert' 3 CT CT2 20260103 1100 'ISO_IR 100'
touch all/ANY/lockfile
cat >list/four.json <<'END'
{ "00100010": { "vr": "PN", "Value": [{ "Alphabetic": "Yamada^Tarou", "Ideographic": "山田^太郎" }] },
  "00100020": { "vr": "LO", "Value": ["4"] },
  "0020000D": { "vr": "UI", "Value": ["1.2.3.4"] },
  "00400100": { "vr": "SQ", "Value": [{ "00080060": { "vr": "CS", "Value": ["US"] },
      "00400001": { "vr": "AE", "Value": ["US1", "US2"] }, "00400002": { "vr": "DA", "Value": ["20260104"] },
      "00400003": { "vr": "TM", "Value": ["120000"] } }] } }
END
echo '{ "0010' >list/bad.json
serve in --worklist list
theirs=$(free_port)
peer "$theirs" wlmscpfs -dfp all -nse "$theirs"

ids() { grep -aE '^(I|D|W)?:? ?\(0010,0020\)' said | grep -aoE '\[[^]]*\]' | tr -d '[] ' | sort | paste -sd,; }
# asks WHAT IDS OPTION...: the IDs of what is found, ours alone with OURS in front of them
asks() {
  local what=$1 want=$2
  shift 2
  must "$what" findscu -W -k PatientID -k PatientName "$@" localhost "$port"
  [ "$(ids)" = "${want#ours:}" ] || fault "$what: $(ids) instead of $want: $(cat said)"
  [ "$want" = "${want#ours:}" ] || return
  must "$what, of them" findscu -W -aec ANY -k PatientID -k PatientName "$@" localhost "$theirs"
  [ "$(ids)" = "$want" ] || fault "$what: they find $(ids) instead of $want"
}
sps='ScheduledProcedureStepSequence[0]'
asks "everything" ours:1,2,3,4 -k "$sps.Modality"
asks "a modality" 1,3 -k "$sps.Modality=CT"
asks "a modality and a station" 3 -k "$sps.Modality=CT" -k "$sps.ScheduledStationAETitle=CT2"
asks "days" 2,3 -k "$sps.ScheduledProcedureStepStartDate=20260102-20260103" -k "$sps.Modality"
asks "a day and times" 1 -k "$sps.ScheduledProcedureStepStartDate=20260101" -k "$sps.ScheduledProcedureStepStartTime=0800-0930"
asks "days and times" 1,2 -k "$sps.ScheduledProcedureStepStartDate=20260101-20260103" -k "$sps.ScheduledProcedureStepStartTime=0800-0930"
asks "a name" 1,3 -k PatientName='Abel*' -k "$sps.Modality"
asks "nobody" '' -k PatientName='Nobody*' -k "$sps.Modality"
asks "a station of two" ours:4 -k "$sps.ScheduledStationAETitle=US2"
asks "an ID" 2 -k PatientID=2 -k "$sps.Modality"
# A name in the characters of the request, and one that these do not have.
asks "a name in Latin 1" ours:2 -k SpecificCharacterSet='ISO_IR 100' -k PatientName=$'M\xfc*' -k "$sps.Modality"
grep -qa $'M\xfcller' said || fault "no Latin 1: $(cat said)"
asks "a name in UTF-8" ours:4 -k SpecificCharacterSet='ISO_IR 192' -k PatientName='=山田*' -k "$sps.Modality"
asks "a name that is in no Latin 1" ours:4 -k SpecificCharacterSet='ISO_IR 100' -k PatientID=4 -k "$sps.Modality"
grep -q 'ISO_IR 192' said || fault "no UTF-8: $(cat said)"
must "cancelled" findscu -v -W --cancel 1 -k PatientID localhost "$port"

# What changes is seen; what is bad is told once.
rm list/one.dcm
sed 's/"4"/"5"/' list/four.json >list/.five && mv list/.five list/five.json
asks "what has changed" ours:2,3,4,5 -k "$sps.Modality"
must "the phantom's step" "$orvkit" phantom list --kind worklist --seed 7
cp list/PHANTOM-7.dcm all/ANY/phantom.wl
asks "the phantom's step" PHANTOM-7 -k "$sps.ScheduledStationAETitle=PHANTOM"
[ "$(grep -c 'worklist file bad.json is left out' serve.log)" = 1 ] || fault "the bad file: $(grep bad.json serve.log)"
stop_server
