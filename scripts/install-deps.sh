#!/usr/bin/env bash
# Installs the Debian packages that Kinolot is built, tested and run with.
# Safe to run again: it installs only what is missing.
set -euo pipefail

packages=(
  build-essential cmake pkg-config git
  libpq-dev libjsoncpp-dev libcurl4-openssl-dev
  openssl postgresql
  googletest libgtest-dev ccache
  libavformat-dev libavcodec-dev libavutil-dev libswresample-dev ffmpeg
  libpugixml-dev libcli11-dev libcpp-httplib-dev libboost-dev
  chromium chromium-driver fonts-dejavu-core
  dpkg-dev fakeroot file lintian systemd man-db adduser
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
# Kinolot runs private clusters of its own; the distribution's default cluster
# is not needed, so the package is told not to create one.
if [ ! -e /etc/postgresql-common/createcluster.d/kinolot.conf ]; then
  $sudo mkdir -p /etc/postgresql-common/createcluster.d
  echo "create_main_cluster = false" | $sudo tee /etc/postgresql-common/createcluster.d/kinolot.conf >/dev/null
fi
echo "Installing: ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
