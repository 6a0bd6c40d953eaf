#!/usr/bin/env bash
# What thousands of handshakes leave behind in `orvkit serve`, half ones, refused ones and good ones: its resident memory
# and its descriptors, as a table.
# Usage: growth.sh ORVKIT [HANDSHAKES of each kind]
orvkit=$1 number=${2:-1000}
. "$(dirname "${BASH_SOURCE[0]}")/peers.sh"
need python3
site ours,localhost,127.0.0.1 theirs,localhost
cat >crowd.py <<'END'
import socket, ssl, sys, threading
address, kind, number = ("127.0.0.1", int(sys.argv[1])), sys.argv[2], int(sys.argv[3])
good = ssl.create_default_context(cafile="site/ca.pem")
strange = ssl.create_default_context(cafile="site/ca.pem")
good.load_cert_chain("site/theirs.pem", "site/theirs.key")
half = good.wrap_bio(ssl.MemoryBIO(), outgoing := ssl.MemoryBIO(), server_hostname="localhost")
try:
    half.do_handshake()
except ssl.SSLWantReadError:
    hello = outgoing.read()
halves = [b"", hello[:1], hello[:100], hello, hello[:5] + b"\xff" * 200, b"\x01\x00\x00\x00\x00\x04abcd", hello + b"\x17\x03\x03\x00\x20" + b"\xff" * 32]
missed = 0
def shake(context):
    with context.wrap_socket(socket.create_connection(address, 30), server_hostname="localhost") as s:
        s.unwrap() if context is good else s.recv(1)
def visit(i):
    global missed
    try:
        if kind == "good":
            shake(good)
        elif i % 8 == 7:
            shake(strange)  # without a certificate: refused when all is said
        else:
            with socket.create_connection(address, 30) as s:
                s.sendall(halves[i % 8 % len(halves)])
    except OSError:
        missed += 1
threads = [threading.Thread(target=lambda n=n: [visit(i) for i in range(n, number, 4)]) for n in range(4)]
for thread in threads: thread.start()
for thread in threads: thread.join()
print(kind, number - missed, "of", number)
sys.exit(kind == "good" and missed > number // 100)
END
memory() { sed -n 's/^VmRSS:[^0-9]*\([0-9]*\).*/\1/p' "/proc/$server/status"; }
descriptors() { find "/proc/$server/fd" -mindepth 1 | wc -l; }
# row WHAT: one of the table, when all connections are gone
row() {
  until_true 300 eval "[ \$(descriptors) -le ${first:-100} ]" || fault "$1: $(descriptors) descriptors, and $first before"
  printf '%-28s %8s kB resident %6s descriptors\n' "$1" "$(memory)" "$(descriptors)"
}

serve in "${ours[@]}"
first=$(descriptors)
row "at first"
# By the first half its threads have the memory that they keep.
for kind in bad good bad good; do
  [ "$kind" = good ] || before=$(memory)
  must "$kind handshakes" python3 crowd.py "$port" "$kind" $((number / 2))
  cat said
  row "after $((number / 2)) $kind ones"
done
grown=$(($(memory) - before))
echo "$grown kB more than before the last $number handshakes"
# A kilobyte each would be a leak. What a sanitizer keeps of what is freed is none.
if ! grep -q __asan_init "$orvkit" && [ "$grown" -gt $((3000 + number)) ]; then fault "it has grown by $grown kB"; fi
stop_server
[ -z "$(ls -A in)" ] || fault "something was kept: $(ls -A in)"
