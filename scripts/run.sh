#!/usr/bin/env bash
# The main job on a local default database: installs what is missing, builds
# the library and its programs, starts the local database (created on the
# first run and reused afterwards, Unix socket only), scans video folders into
# it with `kinolot scan` and prints the library as JSON.
#
#   scripts/run.sh              scan a small sample folder, generated on first use
#   scripts/run.sh FOLDER...    scan these folders (kinolot scan's arguments)
#   scripts/run.sh --serve ...  the same, then serve the library's web page at
#                               http://127.0.0.1:8350/ until Ctrl-C
#
# The database lives in $KINOLOT_DB_DIR, by default ~/.local/share/kinolot/db
# (for root /var/lib/kinolot/db, since the server cannot run as root and must
# be able to enter the folder); the samples beside it, in ../samples. The
# kinolot program finds this database by itself afterwards. Stop it with:
# scripts/pg-cluster.sh stop DIR
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
serve=false
if [ "${1:-}" = --serve ]; then serve=true; shift; fi
"$root/scripts/install-deps.sh"

if [ "$(id -u)" -eq 0 ]; then default_dir=/var/lib/kinolot/db; else
  default_dir="${XDG_DATA_HOME:-$HOME/.local/share}/kinolot/db"; fi
db_dir="${KINOLOT_DB_DIR:-$default_dir}"

build="$root/build/release"
echo "Building into $build" >&2
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" >/dev/null

"$root/scripts/pg-cluster.sh" start "$db_dir"
db_dir=$(cd "$db_dir" && pwd)
echo "Local database: $db_dir (PGHOST=$db_dir/socket)" >&2
export PGHOST="$db_dir/socket" PGPORT=5432
kinolot="$build/tools/kinolot"

# Some files that could not be stored (status 1) still leave a library to
# show; a usage or database error (2) does not.
status=0
if [ $# -eq 0 ]; then
  samples="$(dirname "$db_dir")/samples"
  "$root/scripts/make-samples.sh" "$samples" >&2
  # Movies and shows are told apart by their names; home videos are not.
  "$kinolot" scan --as auto "$samples/Movies" "$samples/TV" --as home "$samples/Home Videos" ||
    status=$?
else
  "$kinolot" scan "$@" || status=$?
fi
[ $status -le 1 ] || exit $status

for kind in movies shows episodes home recordings; do
  "$kinolot" list "$kind" --with summary,actor,director,writer,genre,files,episodes
done
echo "Ask for more with $kinolot --help (it uses this database by itself)." >&2
if $serve; then
  echo "Open http://127.0.0.1:8350/ in a web browser to browse and edit the library; Ctrl-C stops it." >&2
  exec "$kinolot" serve --listen 127.0.0.1:8350
fi
echo "Browse it in a web browser: scripts/run.sh --serve (or $kinolot serve), then open http://127.0.0.1:8350/" >&2
exit $status
