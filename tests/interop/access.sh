#!/usr/bin/env bash
# Who comes in to `orvkit serve`, and what it may take: peers, users by every kind of identity, limits, the trace, the
# counts and the rights of another user, against an independent user of associations.
# Usage: access.sh peers|users|trace ORVKIT
case=$1 orvkit=$2
. "$(dirname "${BASH_SOURCE[0]}")/peers.sh"
need storescu echoscu openssl python3
site ours,localhost,127.0.0.1 theirs,localhost
"$orvkit" phantom study --size 64 --series 1 --images 4 >/dev/null || exit 1
image=study/SE000001/IM000001

case_peers() {
  local pin
  pin=$(openssl x509 -in site/theirs.pem -noout -fingerprint -sha256 | cut -d= -f2)
  printf '%s\n' 'GOOD from 127.0.0.0/8,::1' 'ECHO may echo objects 1' "PINNED fingerprint $pin" 'FAR from 10.0.0.0/8' \
    'NAMED certificate theirs' 'OTHER certificate scanner' 'ONE associations 1' 'SMALL object-size 4K' 'FEW objects 2' >peers
  echo 'GOOD from 10.0.0.300' >wrong
  misuse 'wrong:1: .10.0.0.300. is no address' --peers wrong
  "$orvkit" serve in --peers peers --print-peers >said && grep -q '^ECHO  may echo  objects 1$' said || fault "print-peers"
  serve in "${ours[@]}" --peers peers --limit idle=600
  for peer in GOOD ECHO PINNED NAMED; do
    must "echo, $peer" echoscu "${theirs[@]}" -aet "$peer" localhost "$port"
  done
  for peer in NOBODY FAR OTHER; do
    refuses "echo, $peer" 'Calling AE Title Not Recognized' echoscu "${theirs[@]}" -aet "$peer" localhost "$port"
  done
  logged 'NOBODY@127.0.0.1 association refused: .*; nobody knows this peer'
  logged 'FAR@127.0.0.1 .*; it may not come from 127.0.0.1'
  logged 'OTHER@127.0.0.1 .*; it has not shown a certificate for scanner'
  must "store" storescu "${theirs[@]}" -aet GOOD localhost "$port" "$image"
  storescu "${theirs[@]}" -v -aet ECHO localhost "$port" "$image" >said 2>&1
  logged 'refused .*: this peer may not store, status 0x0124'
  storescu "${theirs[@]}" -v -aet SMALL localhost "$port" "$image" >said 2>&1
  logged 'refused .*: it is larger than an object may be, status 0xA700'
  storescu "${theirs[@]}" -v -aet FEW localhost "$port" study/SE000001/* >said 2>&1
  logged 'refused .*: it has stored all objects that an association may, status 0xA700'
  echoscu "${theirs[@]}" -aet ONE --repeat 1000000 localhost "$port" >/dev/null 2>&1 &
  pids+=("$!")
  logged 'ONE@127.0.0.1 association accepted'
  refuses "a second association" 'Local Limit Exceeded' echoscu "${theirs[@]}" -aet ONE localhost "$port"
  cp wrong peers
  kill -HUP "$server"
  logged 'the file of peers is not taken, and things go on as they were: peers:1: '
  must "with the peers of before" echoscu "${theirs[@]}" -aet GOOD localhost "$port"
  stop_server

  serve in --limit connections=3 --limit failures=4 --keep-free 900000T
  storescu -v localhost "$port" "$image" >said 2>&1
  logged 'refused .*: too little space is left \(.*\), status 0xA700'
  for ((i = 0; i < 4; i++)); do exec 3<>"/dev/tcp/127.0.0.1/$port" && printf 'GET / HTTP/1.0\r\n\r\n' >&3; cat <&3 >/dev/null; done
  refuses "after four failures" 'Local Limit Exceeded' echoscu localhost "$port"
  logged '4 attempts from there have failed within a minute'
  stop_server
  serve in --limit connections=3
  for ((i = 0; i < 3; i++)); do sleep 30 <"/dev/tcp/127.0.0.1/$port" & pids+=("$!"); done
  until_true 50 eval "[ \$(ls /proc/$server/fd | wc -l) -ge 8 ]"
  refuses "a fourth connection" 'Local Limit Exceeded' echoscu localhost "$port"
  logged 'there are 3 connections from there already'
  stop_server
}

# A token by a key, with these claims.
token() {
  python3 - "$@" <<'END2'
import base64, json, subprocess, sys
key, claims = sys.argv[1:3]
def part(data): return base64.urlsafe_b64encode(data).rstrip(b"=")
text = part(b'{"alg":"RS256","typ":"JWT"}') + b"." + part(claims.encode())
signature = subprocess.run(["openssl", "dgst", "-sha256", "-sign", key], input=text, capture_output=True, check=True).stdout
print((text + b"." + part(signature)).decode())
END2
}
case_users() {
  openssl genrsa -out jwt.key 2048 2>/dev/null && openssl rsa -in jwt.key -pubout -out jwt.pem 2>/dev/null
  local later=$(($(date +%s) + 600)) earlier=$(($(date +%s) - 600))
  token jwt.key "{\"sub\":\"ann\",\"aud\":\"SITE\",\"exp\":$later}" >good.jwt
  token jwt.key "{\"sub\":\"ann\",\"aud\":\"SITE\",\"exp\":$earlier}" >old.jwt
  echo secret | "$orvkit" user joe >users || fault "orvkit user"
  grep -q '^joe \$y\$' users || fault "no yescrypt: $(cat users)"
  echo scanner >>users
  chmod 600 users
  echo ticket >ticket; echo '<Assertion/>' >good.saml; echo '<Else/>' >bad.saml
  printf '%s\n' '#!/bin/sh' 'cat >asked' "case \$(sed -n 's/^primary //p' asked | base64 -d) in ticket|*Assertion*) echo fine ;; sleep) sleep 60 ;; *) exit 3 ;; esac" >verify
  chmod +x verify
  cp users open; chmod 644 open
  misuse 'open: everybody can read this file of users' --users open
  (umask 077; echo 'joe hash' >wrong)
  misuse 'wrong:1: this is no hash of a password' --users wrong
  echo short >key
  misuse 'key: it holds no public key .PEM., and fewer than 32 bytes are no secret' --jwt-key key

  serve in "${ours[@]}" --users users --jwt-key jwt.pem --jwt-audience SITE --verify-user ./verify --verify-time 2
  local -a good=('-usr joe -pwd secret' '-usr scanner' '--jwt good.jwt' '--saml good.saml' '--kerberos ticket')
  # One of each kind: each waits twice as long as the one before.
  local -a bad=('' '-usr joe -pwd Secret' '--jwt old.jwt' '--saml bad.saml')
  local who words
  for who in "${good[@]}"; do
    read -ra words <<<"$who"
    must "storescu $who" storescu "${theirs[@]}" "${words[@]}" -rsp localhost "$port" "$image"
  done
  grep -q '^type 3$' asked && grep -q '^address 127.0.0.1$' asked || fault "the program was asked: $(cat asked)"
  for who in "${bad[@]}"; do
    read -ra words <<<"$who"
    refuses "storescu $who" 'Association Rejected|Reason:' storescu "${theirs[@]}" "${words[@]}" localhost "$port" "$image"
  done
  logged "user 'joe', with a passcode: the name or the passcode is wrong"
  logged 'a JSON Web Token: it has expired'
  logged 'a SAML assertion: the program that checks it has refused it, with status 3'
  logged 'no user is given'
  grep -qE 'secret|Assertion/|eyJ' serve.log && fault "a secret is in the log"
  stop_server

  # Our own user; and what is secret stays where it is without TLS.
  echo secret >password; echo sleep >sleep.saml
  serve in "${ours[@]}" --users users --jwt-key jwt.pem --jwt-audience SITE --verify-user ./verify --verify-time 1
  must "a password" "$orvkit" echo "A@localhost:$port" "${ours[@]}" --user joe --password-file password --confirm-user
  must "a token" "$orvkit" echo "A@localhost:$port" "${ours[@]}" --jwt good.jwt --confirm-user
  must "an assertion" "$orvkit" echo "A@localhost:$port" "${ours[@]}" --saml good.saml --confirm-user
  refuses "a program that sleeps" 'rejected' "$orvkit" echo "A@localhost:$port" "${ours[@]}" --saml sleep.saml
  logged 'the program that checks it has not answered'
  stop_server
  serve in --users users
  refuses "a password in clear" 'everybody on the way can read' "$orvkit" echo "A@localhost:$port" --user joe --password-file password
  refuses "a password in clear, to a server that will not" 'rejected' "$orvkit" echo "A@localhost:$port" --user joe --password-file password --insecure
  logged 'in clear: without TLS that is taken with --insecure alone'
  must "a name" "$orvkit" echo "A@localhost:$port" --user scanner
  stop_server
  serve in --users users --insecure
  must "a password in clear on both sides" "$orvkit" echo "A@localhost:$port" --user joe --password-file password --insecure
  : >users
  kill -HUP "$server"
  logged 'the file of users was read again'
  refuses "who is a user no more" 'rejected' "$orvkit" echo "A@localhost:$port" --user joe --password-file password --insecure
  stop_server
}

case_trace() {
  local counts at
  serve in --log-json events.json --metrics 0
  at=$(sed -n 's/.*metrics on port \([0-9]*\).*/\1/p' serve.log)
  must "echo" echoscu localhost "$port"
  must "store" storescu localhost "$port" "$image"
  python3 - <<'END2' || fault "the trace: $(cat events.json)"
import json, os, re
lines = [json.loads(line) for line in open("events.json")]
def of(code): return [e for e in lines if code in (e["EventID"], e.get("EventTypeCode"))]
assert len(of("110120")) == 1 and len(of("110122")) == 2, "start, logins"
(stored,) = of("110104")
assert stored["UserID"] == "STORESCU" and stored["NetworkAccessPointID"] == "127.0.0.1" and stored["bytes"] > 8000
assert stored["EventOutcomeIndicator"] == 0 and os.path.exists("in/" + stored["ParticipantObjectID"] + ".dcm")
assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z", stored["EventDateTime"])
assert all(e["AuditSourceID"] == "ORVKIT" for e in lines)
END2
  counts=$(exec 3<>"/dev/tcp/127.0.0.1/$at" && printf 'GET /metrics HTTP/1.0\r\n\r\n' >&3 && cat <&3)
  grep -q '^orvkit_objects_stored_total 1$' <<<"$counts" && grep -q '^orvkit_echoes_total 1$' <<<"$counts" || fault "counts: $counts"
  mv events.json moved.json
  kill -HUP "$server"
  until_true 30 grep -q 110129 events.json || fault "the trace is not opened anew"
  stop_server
  grep -q 110121 events.json || fault "the end is not in the trace"
  timeout 10 "$orvkit" serve --port 0 in --log-json /dev/full 2>said && fault "a trace that cannot be written"
  grep -q 'the trace cannot be written' said || fault "/dev/full: $(cat said)"
  serve in --metrics counts.prom
  must "echo" echoscu localhost "$port"
  stop_server
  grep -q '^orvkit_echoes_total 1$' counts.prom || fault "counts.prom: $(cat counts.prom)"
  [ "$(id -u)" = 0 ] || return 0
  mkdir -p low && chown nobody low && chmod 711 .
  serve "$work/low" --user-id nobody
  grep -q "^Uid:[[:space:]]*$(id -u nobody)[[:space:]]*$(id -u nobody)" "/proc/$server/status" || fault "its rights are still those of root"
  must "store as nobody" storescu localhost "$port" "$image"
  [ "$(stat -c %U low/*.dcm)" = nobody ] || fault "it is not nobody's: $(ls -l low)"
  stop_server
}

"case_$case"
