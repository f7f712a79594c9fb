#!/usr/bin/env bash
# The main job on a local default database: installs what is missing, builds
# the library and its programs, starts the local database (created on the
# first run and reused afterwards, Unix socket only) and runs the example
# program against it.
#
# The database lives in $KINOLOT_DB_DIR, by default ~/.local/share/kinolot/db
# (for root /var/lib/kinolot/db, since the server cannot run as root and must
# be able to enter the folder). Stop it with: scripts/pg-cluster.sh stop DIR
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"

if [ "$(id -u)" -eq 0 ]; then default_dir=/var/lib/kinolot/db; else
  default_dir="${XDG_DATA_HOME:-$HOME/.local/share}/kinolot/db"; fi
db_dir="${KINOLOT_DB_DIR:-$default_dir}"

build="$root/build/release"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" >/dev/null

"$root/scripts/pg-cluster.sh" start "$db_dir"
echo "Local database: $db_dir (PGHOST=$db_dir/socket)"
PGHOST="$db_dir/socket" PGPORT=5432 "$build/tools/kinolot-example"
