#!/usr/bin/env bash
# `orvkit serve --archive` asked by independent users.
# Usage: archive.sh findscu|getscu|movescu ORVKIT
case=$1 orvkit=$2
. "$(dirname "${BASH_SOURCE[0]}")/peers.sh"
need "$case"
need_index
for seed in 1 2 3; do "$orvkit" phantom "set/$seed" --size 64 --images 4 --seed "$seed" >/dev/null || exit 1; done
into=$(free_port)
serve in --archive --destination "MOVER=localhost:$into" --destination "GONE=localhost:1"
must "send" "$orvkit" send "A@localhost:$port" set
study=$(study_of set/1)

case_findscu() {
  must "studies" findscu -S -k QueryRetrieveLevel=STUDY -k StudyInstanceUID -k PatientName localhost "$port"
  [ "$(grep -c 'Find Response: [0-9]* (Pending)' said)" = 3 ] || fault "studies: $(cat said)"
  grep -q '(0008,0054) AE \[ORVKIT' said || fault "no retrieve AE title: $(cat said)"
  grep -q '(0008,0056) CS \[ONLINE' said || fault "no availability: $(cat said)"
  must "cancelled" findscu -v -S --cancel 1 -k QueryRetrieveLevel=STUDY -k StudyInstanceUID localhost "$port"
  findscu -v -S -k QueryRetrieveLevel=SERIES -k SeriesInstanceUID localhost "$port" >said 2>&1
  grep -qiE 'A900|DataSetDoesNotMatchSOPClass|IdentifierDoesNotMatch' said || fault "no study for series: $(cat said)"
}

case_getscu() {
  mkdir got
  must "get" getscu -S +B -od got -k QueryRetrieveLevel=STUDY -k StudyInstanceUID="$study" localhost "$port"
  same "get" set/1 got
  rm -rf got/*
  # One that takes implicit VR alone gets all of it converted.
  must "get, implicit" getscu -S -xi -od got -k QueryRetrieveLevel=STUDY -k StudyInstanceUID="$study" localhost "$port"
  [ "$(find got -type f | wc -l)" = 8 ] || fault "get, implicit: $(ls got)"
  logged 'retrieval answered, 8 sent, 0 with a warning, 0 failed'
}

case_movescu() {
  need storescp
  mkdir moved
  peer "$into" storescp -od "$work/moved" +B "$into"
  must "move" movescu -S -aem MOVER -k QueryRetrieveLevel=STUDY -k StudyInstanceUID="$study" localhost "$port"
  same "move" set/1 moved
  movescu -v -S -aem NOBODY -k QueryRetrieveLevel=STUDY -k StudyInstanceUID="$study" localhost "$port" >said 2>&1
  logged 'status 0xA801'
  movescu -v -S -aem GONE -k QueryRetrieveLevel=STUDY -k StudyInstanceUID="$study" localhost "$port" >said 2>&1
  logged '0 sent, 0 with a warning, 8 failed, status 0xA702'
  must "a study with many" "$orvkit" phantom set/4 --size 384 --images 100 --seed 4
  must "send" "$orvkit" send "A@localhost:$port" set/4
  study=$(study_of set/4)
  movescu -v -S --cancel 2 -aem MOVER -k QueryRetrieveLevel=STUDY -k StudyInstanceUID="$study" localhost "$port" >said 2>&1
  logged ' sent, 0 with a warning, 0 failed, status 0xFE00'
  [ "$(find moved -type f | wc -l)" -lt 208 ] || fault "cancelled, and all of it came"
}

"case_$case"
stop_server
must "index and files" "$orvkit" index check in
