#!/usr/bin/env bash
# A PostgreSQL server for tests: nobody's but theirs, on a socket in DIRECTORY, run by a user without rights.
#   postgresql.sh run DIRECTORY     makes it, says "ready" in DIRECTORY/ready, and ends it when standard input ends
#   postgresql.sh crash DIRECTORY   kills it
#   postgresql.sh stop DIRECTORY    ends it at once, in the middle of what it does
#   postgresql.sh again DIRECTORY   starts it after that
# The place of an index: postgresql://orvkit@/postgres?host=DIRECTORY. Exit status 77: there is no server program.
set -uo pipefail
directory=$2
data=$directory/data

programs=$(command -v initdb || find /usr/lib/postgresql/*/bin -name initdb 2>/dev/null | sort -V | tail -1)
if [ -z "$programs" ]; then
  echo "no PostgreSQL server is installed (Debian: postgresql)" >"$directory/ready"
  exit 77
fi
programs=$(dirname "$programs")

# The server refuses root.
owner=()
if [ "$(id -u)" -eq 0 ]; then
  user=postgres
  id "$user" >/dev/null 2>&1 || user=nobody
  owner=(runuser -u "$user" --)
fi

start() {
  local try
  for try in {1..50}; do
    "${owner[@]}" "$programs/pg_ctl" -D "$data" -l "$directory/log" -w -t 60 -o "-k '$directory' -c listen_addresses= \
      -c fsync=${ORVKIT_TEST_FSYNC:-off} -c shared_buffers=${ORVKIT_TEST_BUFFERS:-32MB} -c max_connections=80 \
      -c logging_collector=off" start >/dev/null 2>&1 </dev/null && return 0
    # What the killed one has left may be in use for a moment.
    sleep 0.1
  done
  echo "try $try: the server does not start" >&2
  return 1
}

cd / || exit 1
case $1 in
  run)
    if [ ${#owner[@]} -gt 0 ]; then chown "$user" "$directory"; fi
    chmod 755 "$directory"
    "${owner[@]}" "$programs/initdb" -D "$data" -U orvkit --auth=trust --locale=C --encoding=UTF8 -N \
      >"$directory/initdb.log" 2>&1 </dev/null || cat "$directory/initdb.log"
    if start; then echo ready >"$directory/ready"; else tail -3 "$directory/log" >"$directory/ready"; fi
    cat >/dev/null
    "${owner[@]}" "$programs/pg_ctl" -D "$data" -m immediate stop >/dev/null 2>&1
    rm -rf "$directory"
    ;;
  crash) kill -9 "$(head -1 "$data/postmaster.pid")" ;;
  stop) "${owner[@]}" "$programs/pg_ctl" -D "$data" -m immediate -t 60 stop >/dev/null 2>&1 </dev/null ;;
  again) start ;;
esac
