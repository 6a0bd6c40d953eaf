#!/usr/bin/env bash
# Our command for Windows, under wine, and our command for this system: objects sent both ways over loopback, and
# file sets that one makes and the other lists, checks and reads. WINEPREFIX is the caller's, or goes with the working
# directory.
# Usage: windows.sh ORVKIT ORVKIT.EXE
here=$1 windows=$2
. "$(dirname "${BASH_SOURCE[0]}")/peers.sh"
[[ $windows != *.exe ]] || need wine
export WINEPREFIX=${WINEPREFIX:-$work/wine} WINEDEBUG=-all LC_ALL=C.UTF-8
printf '#!/bin/sh\nexec %s "%s" "$@"\n' "$([[ $windows != *.exe ]] || echo wine)" "$windows" >there
chmod +x there
there=$work/there
must "the command under wine" "$there" --version

# Two transfer syntaxes, and names that are not ASCII.
"$here" phantom study --size 64 --series 1 --images 4 >/dev/null || exit 1
mv study/SE000001/IM000001 'study/SE000001/Schädel Ångström 頭.dcm'
must "convert" "$there" convert study/SE000001/IM000002 'study/SE000001/Größe.dcm' --to big
rm study/SE000001/IM000002

orvkit=$here
serve "von drüben"
must "send from Windows" "$there" send "A@localhost:$port" study
same "send from Windows" study "von drüben"
stop_server
orvkit=$there
serve "nach drüben"
must "send to Windows" "$here" send "A@localhost:$port" study -j 2
same "send to Windows" study "nach drüben"
kill -9 "$server" && wait "$server" 2>/dev/null

# told COMMAND...: what it prints, with this system's ends of lines
told() {
  "$@" 2>&1 | tr -d '\r'
}
# reads SET WRITER READER: the reader finds in the set what the writer finds
reads() {
  local set=$1 writer=$2 reader=$3 call
  must "$set: check" "$reader" dicomdir check "$set"
  for call in "dicomdir list" dump; do
    # shellcheck disable=SC2086
    diff <(told "$writer" $call "$set") <(told "$reader" $call "$set") >difference && continue
    fault "$set: $call differs"
    head -6 difference
  done
  [ "$(told "$reader" dump "$set" | grep -c '_0008_0018_sopInstanceUid')" -ge 4 ] || fault "$set: files are not read"
}
for made in here there; do
  [ "$made" = here ] && writer=$here reader=$there || writer=$there reader=$here
  mkdir "$made.set"
  must "make $made" "$writer" dicomdir make "$made.set" --copy-from study --icons --id "MADE_${made^^}"
  reads "$made.set" "$writer" "$reader"
  must "update what was made $made" "$reader" dicomdir update "$made.set" --id AGAIN
  reads "$made.set" "$reader" "$writer"
done
