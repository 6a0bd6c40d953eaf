#!/usr/bin/env bash
# The network commands over TLS against one independent program: both directions, with and without certificates of
# users, in the profiles that it knows; what must be refused; and peers that mean harm.
# Usage: tls.sh PROGRAM ORVKIT
program=$1 orvkit=$2
. "$(dirname "${BASH_SOURCE[0]}")/peers.sh"
need "$program"
site ours,localhost,127.0.0.1 theirs,localhost,127.0.0.1 elsewhere
"$orvkit" tls make strange stranger,localhost >/dev/null

# Profiles by the names of both sides.
profiles=('+py non-downgrading' '+py rfc8996' '+px bcp195' '+pz extended' '+pz rfc8996-modified')
each_profile() {
  local names theirs_name ours_name
  for names in "${profiles[@]}"; do
    read -r theirs_name ours_name <<<"$names"
    "$1"
  done
}

study() { "$orvkit" phantom study --size 64 --series 1 --images 8 >/dev/null || exit 1; }
big() { "$orvkit" phantom big --size 2048 --series 1 --images 1 >/dev/null || exit 1; }
# A command that is run while a part of an image of 8 MiB has arrived.
amid_a_store() {
  for ((tries = 0; tries < 3000; tries++)); do
    compgen -G 'in/.*.part' >/dev/null && break
    readlink "/proc/$server/fd/"* 2>/dev/null | grep -q '/in/#' && break
  done
  "$@"
}

echoed() {
  serve in "${ours[@]}" --tls-profile "$ours_name"
  must "echo, $names" echoscu "${theirs[@]}" "$theirs_name" localhost "$port"
  logged 'association accepted, 1 of 1 contexts; TLSv1.[23] [A-Z0-9_-]*, CN=theirs'
  # Both were retired: RSA without forward secrecy, and no encryption at all.
  refuses "the AES profile, $ours_name" 'TLS|DUL' echoscu "${theirs[@]}" +pa localhost "$port"
  refuses "the profile without encryption, $ours_name" 'TLS|DUL' echoscu "${theirs[@]}" +pn localhost "$port"
  logged 'TLS: (no cipher suite in common|the peer speaks a version below TLS 1.2 alone)'
  stop_server
}
case_echoscu() {
  each_profile echoed
  serve in "${ours[@]}"
  refuses "a user without TLS" 'Peer aborted|Association Abort' echoscu localhost "$port"
  logged 'plain DICOM on a TLS port'
  refuses "a user without a certificate" 'DUL|TLS|Association' echoscu +tla -ic localhost "$port"
  logged 'the peer has shown no certificate'
  refuses "a stranger" 'TLS|DUL|Association' echoscu +tls strange/stranger.key strange/stranger.pem +cf site/ca.pem localhost "$port"
  logged 'unknown issuer: .*CN=stranger.* was issued by CN=orvkit site'
  stop_server
  serve in "${ours[@]}" --tls-client none
  must "a user without a certificate where none is asked for" echoscu +tla -ic localhost "$port"
  stop_server
  serve in
  refuses "TLS on a plain port" 'TLS|DUL|Association' echoscu "${theirs[@]}" localhost "$port"
  logged 'TLS on a plain port'
  stop_server
}

stored() {
  serve in "${ours[@]}" --tls-profile "$ours_name"
  must "store, $names" storescu "${theirs[@]}" "$theirs_name" localhost "$port" study/SE000001/*
  same "store, $names" study in
  stop_server
  rm -rf in/*
}
case_storescu() {
  study
  each_profile stored
  for which in accept none; do
    serve in "${ours[@]}" --tls-client "$which"
    must "store without a certificate, $which" storescu +tla -ic localhost "$port" study/SE000001/*
    same "store without a certificate, $which" study in
    stop_server
    rm -rf in/*
  done
  serve in "${ours[@]}" --tls-no-verify
  grep -q 'WARNING: --tls-no-verify: anybody may be the peer' serve.log || fault "--tls-no-verify is not told"
  must "store by anybody" storescu +tla -ic localhost "$port" study/SE000001/IM000001
  stop_server
  rm -rf in/*
  serve in "${ours[@]}"
  must "store" storescu "${theirs[@]}" localhost "$port" study/SE000001/*
  same "store" study in
  rm -rf in/*
  big
  local round lost='association ended: .* was not received to its end'
  for ((round = 0; round < 10; round++)); do
    # shellcheck disable=SC2046
    storescu "${theirs[@]}" localhost "$port" $(yes "$work/big/SE000001/IM000001" | head -200) >/dev/null 2>&1 &
    amid_a_store kill -9 "$!"
    until_true 10 grep -qE "$lost" "$work/serve.log" && break
  done
  logged "$lost"
  must "a store after that" storescu "${theirs[@]}" localhost "$port" big/SE000001/IM000001
  same "a store after that" big in
  stop_server
}

sent() {
  at=$(free_port)
  rm -rf in && mkdir in
  peer "$at" storescp "${theirs[@]}" "$theirs_name" +xa +B -od in "$at"
  must "send, $names" "$orvkit" send "A@localhost:$at" study "${ours[@]}" --tls-profile "$ours_name" -j 2
  same "send, $names" study in
}
case_storescp() {
  study
  local at
  at=$(free_port)
  mkdir in
  peer "$at" storescp "${theirs[@]}" -vc +xa +B -od in "$at"
  must "send without a certificate" "$orvkit" send "A@localhost:$at" study --tls --tls-ca site/ca.pem
  same "send without a certificate" study in
  refuses "show, nobody there" '@localhost:[0-9]*: cannot connect: connection refused' "$orvkit" tls show "localhost:$(free_port)"
  each_profile sent
  refuses "without a certificate" 'it wants a certificate of this side|nothing in common, or it wants' "$orvkit" echo "A@localhost:$at" --tls --tls-ca site/ca.pem
  refuses "another name" 'is for theirs localhost 127.0.0.1, not for pacs' "$orvkit" echo "A@localhost:$at" "${ours[@]}" --tls-name pacs
  refuses "a server that nobody knows" 'unknown issuer' "$orvkit" echo "A@localhost:$at" "${ours[@]:0:5}" --tls-ca strange/ca.pem
  must "by its fingerprint" "$orvkit" echo "A@localhost:$at" --tls --tls-cert site/ours.pem --tls-key site/ours.key \
    --tls-pin "$(openssl x509 -in site/theirs.pem -noout -fingerprint -sha256 | cut -d= -f2)"
  must "whoever it is" "$orvkit" echo "A@localhost:$at" --tls --tls-cert site/ours.pem --tls-key site/ours.key --tls-no-verify
  grep -q 'anybody may be the peer' said || fault "--tls-no-verify is not told"
  refuses "without TLS" 'speaks TLS|closed the connection' "$orvkit" echo "A@localhost:$at"
  must "show" "$orvkit" tls show "localhost:$at" "${ours[@]}"
  grep -qE '^rfc8996 +TLSv1.[23]' said && grep -q '^verified *yes' said || fault "show: $(cat said)"
  at=$(free_port)
  peer "$at" storescp "$at"
  refuses "TLS to a plain server" 'TLS: the peer (speaks plain DICOM|closed the connection)' "$orvkit" echo "A@localhost:$at" "${ours[@]}"
}

# Queries over TLS, by their user and by ours.
case_findscu() {
  need_index
  study
  serve in --archive "${ours[@]}"
  must "send" "$orvkit" send "A@localhost:$port" study "${ours[@]}"
  refuses "find without a certificate" 'TLS|DUL|Association' findscu +tla -ic -S -k QueryRetrieveLevel=STUDY localhost "$port"
  must "find" findscu "${theirs[@]}" -S -k QueryRetrieveLevel=STUDY -k StudyInstanceUID localhost "$port"
  [ "$(grep -c 'Find Response: [0-9]* (Pending)' said)" = 1 ] || fault "find: $(cat said)"
  must "our find" "$orvkit" find "A@localhost:$port" -k StudyInstanceUID "${ours[@]}"
  stop_server
}

# client WORDS OPTION...: what openssl s_client gets from our server
client() {
  local words=$1
  shift
  openssl s_client -connect "127.0.0.1:$port" -CAfile site/ca.pem "$@" </dev/null >said 2>&1
  grep -qE "$words" said || { fault "s_client $*: other words than $words"; tail -5 said; }
}
# server_is WORDS OPTION...: what our user says of openssl s_server
server_is() {
  local words=$1 at
  shift
  at=$(free_port)
  peer "$at" openssl s_server -accept "$at" -quiet "$@"
  refuses "s_server $*" "$words" "$orvkit" echo "A@localhost:$at" "${ours[@]}"
}
usage() {
  openssl pkey -in site/ours.key -aes256 -passout pass:secret -out locked.key && echo secret >password
  local pair=(--tls --tls-cert site/ours.pem --tls-ca site/ca.pem --tls-key)
  misuse 'the password of the private key is wrong' "${pair[@]}" locked.key --tls-password-file site/ours.pem
  misuse 'neither authorities nor fingerprints \(--tls-ca, --tls-pin\)' --tls --tls-cert site/ours.pem --tls-key site/ours.key
  misuse 'options of TLS need --tls' --tls-ca site/ca.pem
  serve in "${pair[@]}" locked.key --tls-password-file password
  must "with the password" "$orvkit" echo "A@localhost:$port" "${ours[@]}"
  stop_server
}
case_openssl() {
  usage
  local certified=(-cert site/theirs.pem -key site/theirs.key)
  serve in "${ours[@]}"
  client 'Verify return code: 0' "${certified[@]}" -verify_hostname localhost -alpn dicom
  grep -q 'ALPN protocol: dicom' said || fault "no ALPN"
  client 'no application protocol' "${certified[@]}" -alpn http/1.1
  client 'alert protocol version|unsupported protocol|no protocols available' "${certified[@]}" -tls1 -cipher 'ALL@SECLEVEL=0'
  client 'alert protocol version|unsupported protocol|no protocols available' "${certified[@]}" -tls1_1 -cipher 'ALL@SECLEVEL=0'
  logged 'TLS: the peer speaks a version below TLS 1.2 alone'
  local cipher
  for cipher in AES128-SHA ECDHE-ECDSA-AES128-SHA ECDHE-ECDSA-AES256-SHA384 ECDHE-ECDSA-NULL-SHA; do
    client 'alert handshake failure' "${certified[@]}" -tls1_2 -cipher "$cipher@SECLEVEL=0"
  done
  logged 'TLS: no cipher suite in common'
  (sleep 0.5; echo R; sleep 0.5) | openssl s_client -connect "127.0.0.1:$port" "${certified[@]}" -tls1_2 >said 2>&1
  grep -qiE 'no renegotiation|RENEGOTIATING' said || fault "renegotiation: $(tail -3 said)"
  logged 'association ended|no association request'
  must "echo after that" "$orvkit" echo "A@localhost:$port" "${ours[@]}"
  stop_server

  # What runs out is told when a server begins, when it reads its files again, and by those who refuse it.
  outdated old 20200101000000Z 20200102000000Z
  cp site/ours.pem now.pem && cp site/ours.key now.key
  serve in --tls --tls-cert now.pem --tls-key now.key --tls-ca site/ca.pem
  cp old.pem now.pem && cp site/theirs.key now.key
  kill -HUP "$server"
  logged "WARNING: this side's certificate .CN=theirs. has expired, and peers will refuse it: 2020-01-02 00:00:00 UTC"
  refuses "an expired server" 'has expired: 2020-01-02' "$orvkit" echo "A@localhost:$port" "${ours[@]}"
  stop_server
  serve in "${ours[@]}"
  refuses "an expired user" "this side's certificate has expired" "$orvkit" echo "A@localhost:$port" --tls --tls-cert old.pem \
    --tls-key site/theirs.key --tls-ca site/ca.pem
  grep -q "WARNING: this side's certificate" said || fault "no warning: $(cat said)"
  client 'alert certificate expired' -tls1_2 -cert old.pem -key site/theirs.key
  logged 'TLS: the peer.s certificate .CN=theirs. has expired'
  stop_server

  server_is 'alert|version|common' "${certified[@]}" -tls1_1 -cipher 'ALL@SECLEVEL=0'
  server_is 'common' "${certified[@]}" -tls1_2 -cipher ECDHE-ECDSA-AES128-SHA
  revoked
}
ca() { openssl ca -config ca.cnf -cert site/ca.pem -keyfile site/ca.key "$@" 2>/dev/null; }
# outdated NAME FROM UNTIL: NAME.pem for their key
outdated() {
  printf '[ca]\ndefault_ca=c\n[c]\ndatabase=index.txt\ndefault_md=sha256\ndefault_crl_days=1\npolicy=p\nrand_serial=yes\nnew_certs_dir=.\n[p]\ncommonName=supplied\n' >ca.cnf
  : >index.txt
  openssl req -new -key site/theirs.key -subj /CN=theirs -out "$1.csr" && printf 'subjectAltName=DNS:localhost\n' >names
  ca -batch -notext -in "$1.csr" -startdate "$2" -enddate "$3" -extfile names -out "$1.pem" || fault "no certificate: $1"
}
# Lists of who is not trusted any more, and servers that read them again.
revoked() {
  : >index.txt
  ca -gencrl -out list.crl
  serve in "${ours[@]}" --tls-crl list.crl
  must "nobody is revoked" "$orvkit" echo "A@localhost:$port" "${ours[@]}" --tls-crl list.crl
  ca -revoke site/theirs.pem
  ca -gencrl -out list.crl
  kill -HUP "$server"
  logged 'the files of TLS were read again'
  refuses "a revoked user" 'certificate is revoked' "$orvkit" echo "A@localhost:$port" --tls --tls-cert site/theirs.pem \
    --tls-key site/theirs.key --tls-ca site/ca.pem
  cp site/ours.pem old.pem
  echo broken >list.crl
  kill -HUP "$server"
  logged 'go on as they were: list.crl: there is no revocation list'
  must "who is not" "$orvkit" echo "A@localhost:$port" "${ours[@]}"
  stop_server
}

case_Orthanc() {
  mixed_study
  rm study/SE000001/IM000007  # deflated: kept inflated there
  local key
  key=StudyInstanceUID=$(study_of study)
  serve in --aet MOVER "${ours[@]}"
  orthanc "\"DicomTlsEnabled\": true, \"DicomTlsCertificate\": \"$work/site/theirs.pem\",
    \"DicomTlsPrivateKey\": \"$work/site/theirs.key\", \"DicomTlsTrustedCertificates\": \"$work/site/ca.pem\",
    \"DicomTlsRemoteCertificateRequired\": true, \"DicomModalities\": {
      \"mover\": { \"AET\": \"MOVER\", \"Host\": \"127.0.0.1\", \"Port\": $port, \"UseDicomTls\": true } }"
  must "echo" "$orvkit" echo "ARCHIVE@localhost:$at" "${ours[@]}" --repeat 5
  refuses "without a certificate" 'TLS|closed|refused' "$orvkit" echo "ARCHIVE@localhost:$at" --tls --tls-ca site/ca.pem
  must "send" "$orvkit" send "ARCHIVE@localhost:$at" study "${ours[@]}"
  fetch
  same "send" study stored
  must "find" "$orvkit" find "ARCHIVE@localhost:$at" -k StudyInstanceUID -k PatientName "${ours[@]}"
  must "get" "$orvkit" get "ARCHIVE@localhost:$at" got --level study -k "$key" "${ours[@]}"
  [ "$(digests got | wc -l)" = 7 ] || fault "get: $(cat said)"
  must "move to us" "$orvkit" move "ARCHIVE@localhost:$at" --dest MOVER --level study -k "$key" "${ours[@]}"
  same "move to us" study in
  rm -rf in/*
  must "its echo to us" curl -sf -d '{}' "http://127.0.0.1:$rest/modalities/mover/echo"
  must "its store to us" curl -sf -d "$(listed studies)" "http://127.0.0.1:$rest/modalities/mover/store"
  same "its store to us" study in
  logged 'association accepted, .* TLSv1.[23] .*CN=theirs'
  stop_server
}

"case_$program"
