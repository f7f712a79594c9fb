#!/usr/bin/env bash
# Starts and stops a private PostgreSQL cluster kept in one folder.
#
#   pg-cluster.sh start DIR [--log-statements]   create it if new, then start it
#   pg-cluster.sh stop DIR                       stop it, if it runs
#
# The cluster listens on a Unix socket in DIR/socket only (no TCP port). A new
# cluster gets the role "admin" and the database "video_metadata". The schema
# is applied on every start: sql/schema.sql adds only what is missing, so a
# cluster made by an older version gains the tables and indexes added since
# and keeps its rows. Clients reach it with PGHOST=DIR/socket PGPORT=5432.
# When run as root the server runs as the "postgres" user, since PostgreSQL
# refuses to run as root, or as the system user named by KINOLOT_CLUSTER_USER.
set -euo pipefail

usage() { echo "usage: $0 start|stop DIR [--log-statements]" >&2; exit 2; }
[ $# -ge 2 ] || usage
action=$1
dir=$2
log_statements=0
[ "${3:-}" = "--log-statements" ] && log_statements=1

root=$(cd "$(dirname "$0")/.." && pwd)
bindir=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1)
[ -x "$bindir/pg_ctl" ] || { echo "PostgreSQL server not installed; run scripts/install-deps.sh" >&2; exit 1; }

server_user=${KINOLOT_CLUSTER_USER:-postgres}
as_server_user() {
  if [ "$(id -u)" -eq 0 ]; then runuser -u "$server_user" -- "$@"; else "$@"; fi
}

case "$action" in
start)
  mkdir -p "$dir"
  dir=$(cd "$dir" && pwd)
  fresh=0
  if [ ! -f "$dir/data/PG_VERSION" ]; then
    fresh=1
    mkdir -p "$dir/data" "$dir/socket"
    chmod 700 "$dir/data"
    if [ "$(id -u)" -eq 0 ]; then
      chmod 755 "$dir"
      chown "$server_user": "$dir/data" "$dir/socket"
    fi
    as_server_user "$bindir/initdb" -D "$dir/data" -U postgres --auth=trust -E UTF8 \
      --locale=C.UTF-8 >"$dir/initdb.log" 2>&1 || { cat "$dir/initdb.log" >&2; exit 1; }
    {
      echo "listen_addresses = ''"
      echo "unix_socket_directories = '$dir/socket'"
      echo "port = 5432"
      echo "log_line_prefix = '%m [%p] '"
      [ $log_statements -eq 1 ] && echo "log_statement = 'all'"
    } >>"$dir/data/postgresql.conf"
  fi
  if ! as_server_user "$bindir/pg_ctl" -D "$dir/data" status >/dev/null 2>&1; then
    as_server_user "$bindir/pg_ctl" -D "$dir/data" -l "$dir/data/server.log" -w -s start
  fi
  if [ $fresh -eq 1 ]; then
    psql=(psql -X -q -v ON_ERROR_STOP=1 -h "$dir/socket" -p 5432)
    "${psql[@]}" -U postgres -d postgres <<SQL
CREATE ROLE admin LOGIN;
GRANT pg_read_server_files, pg_write_server_files TO admin;
CREATE DATABASE video_metadata OWNER admin;
SQL
  fi
  # As the database's owner, so that what it creates belongs to "admin"; the
  # notices about what exists already are not worth printing.
  PGOPTIONS="-c client_min_messages=warning" psql -X -q -v ON_ERROR_STOP=1 -h "$dir/socket" \
    -p 5432 -U admin -d video_metadata -f "$root/sql/schema.sql" >/dev/null
  # Posters move between files and large objects with the server-side
  # lo_import and lo_export, which only superusers may call unless granted.
  # Granted on every start, so that clusters made before this line get it too.
  psql -X -q -v ON_ERROR_STOP=1 -h "$dir/socket" -p 5432 -U postgres -d video_metadata \
    -c "GRANT EXECUTE ON FUNCTION lo_import(text), lo_import(text, oid), lo_export(oid, text) TO admin" >/dev/null
  ;;
stop)
  if [ -f "$dir/data/PG_VERSION" ]; then
    as_server_user "$bindir/pg_ctl" -D "$dir/data" -m fast -w -s stop >/dev/null 2>&1 || true
  fi
  ;;
*) usage ;;
esac
