#!/usr/bin/env bash
# A second PostgreSQL cluster that stands for a database server on another
# machine: it runs as a system user of its own, "kinolot-remote", which can
# open none of the test's private folders, so the server cannot read or write
# the pictures a test hands the library by path. Needs root (it creates the
# user once and starts the server as it).
#
#   remote_cluster.sh start DIR   create the user if missing, create and start the cluster
#   remote_cluster.sh stop DIR    stop the cluster and remove DIR
set -euo pipefail

[ $# -eq 2 ] || { echo "usage: $0 start|stop DIR" >&2; exit 2; }
root=$(cd "$(dirname "$0")/../.." && pwd)
user=kinolot-remote
[ "$(id -u)" -eq 0 ] || { echo "$0: needs root to run a server as $user" >&2; exit 1; }

case "$1" in
start)
  if ! id -u "$user" >/dev/null 2>&1; then
    useradd --system --no-create-home --home-dir /nonexistent --shell /usr/sbin/nologin "$user"
  fi
  KINOLOT_CLUSTER_USER=$user "$root/scripts/pg-cluster.sh" start "$2" --log-statements
  ;;
stop)
  KINOLOT_CLUSTER_USER=$user "$root/scripts/pg-cluster.sh" stop "$2"
  rm -rf "$2"
  ;;
*) echo "usage: $0 start|stop DIR" >&2; exit 2 ;;
esac
