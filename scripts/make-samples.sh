#!/usr/bin/env bash
# Generates a small folder of real video files for the main job to scan:
# a few seconds of test pattern and tone per file, named the way people name
# their files, with posters (the title on a gradient) and one .nfo description.
#
#   make-samples.sh DIR    create DIR and the samples in it, unless done before
#
# Layout (DIR/):
#   Movies/Big Buck Rabbit (2008)/Big Buck Rabbit (2008).mkv  + poster.jpg + .nfo
#   Movies/Night.Train.2011.1080p.BluRay.x264-GRP.mkv          + -poster.jpg
#   Movies/Café Lumière (2019).mp4
#   TV/Quiet Harbour/Season 1/Quiet Harbour - S01E01 - Arrival.mkv, S01E02
#   TV/Quiet Harbour/Season 2/Quiet Harbour - S02E01 - Winter Light.mkv
#   Home Videos/Beach Day 2021-07-14.mp4
set -euo pipefail

[ $# -eq 1 ] || { echo "usage: $0 DIR" >&2; exit 2; }
dir=$1
[ -f "$dir/.complete" ] && exit 0
command -v ffmpeg >/dev/null || { echo "ffmpeg is not installed; run scripts/install-deps.sh" >&2; exit 1; }

# A half-made folder from an interrupted run is made again from scratch.
rm -rf "$dir"
mkdir -p "$dir"
dir=$(cd "$dir" && pwd)
echo "Generating sample videos in $dir"

# video FILE PATTERN SECONDS CODEC-OPTIONS...: a test pattern with a tone.
video() {
  local file=$1 pattern=$2 seconds=$3
  shift 3
  mkdir -p "$(dirname "$file")"
  ffmpeg -nostdin -loglevel error -y \
    -f lavfi -i "$pattern=size=320x180:rate=25" \
    -f lavfi -i "sine=frequency=440:sample_rate=48000" \
    -t "$seconds" -shortest "$@" "$file"
}

# poster FILE TITLE COLOUR COLOUR: a portrait picture, the title on a gradient.
poster() {
  printf '%s' "$2" >"$dir/.poster-title"
  ffmpeg -nostdin -loglevel error -y \
    -f lavfi -i "gradients=size=400x600:c0=$3:c1=$4:nb_colors=2:seed=7" \
    -vf "drawtext=textfile=$dir/.poster-title:expansion=none:fontcolor=white@0.92:fontsize=38:x=(w-tw)/2:y=h*0.72,drawbox=x=60:y=ih*0.72+62:w=iw-120:h=3:color=0xe0a458@0.9:t=fill" \
    -frames:v 1 "$1"
  rm -f "$dir/.poster-title"
}

h264=(-c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac -b:a 96k)

movie="$dir/Movies/Big Buck Rabbit (2008)"
video "$movie/Big Buck Rabbit (2008).mkv" testsrc2 4 "${h264[@]}" -ac 2
poster "$movie/poster.jpg" "Big Buck Rabbit" 0x2d5a4a 0x0f1f1a
cat >"$movie/Big Buck Rabbit (2008).nfo" <<'NFO'
<?xml version="1.0" encoding="UTF-8"?>
<movie>
  <title>Big Buck Rabbit</title>
  <year>2008</year>
  <premiered>2008-05-30</premiered>
  <tagline>One big rabbit, three small bullies.</tagline>
  <plot>A gentle giant of a rabbit takes his revenge on the three rodents who spoil his quiet day in the meadow.</plot>
  <genre>Animation</genre>
  <genre>Comedy</genre>
  <director>Sacha Gold</director>
  <writer>Sacha Gold</writer>
  <actor><name>Rufus Hare</name><role>Buck</role></actor>
  <actor><name>Zoë Field</name><role>Squirrel</role></actor>
</movie>
NFO

video "$dir/Movies/Night.Train.2011.1080p.BluRay.x264-GRP.mkv" testsrc 3 "${h264[@]}" -ac 6
poster "$dir/Movies/Night.Train.2011.1080p.BluRay.x264-GRP-poster.jpg" "Night Train" 0x1f4068 0x0b132b
video "$dir/Movies/Café Lumière (2019).mp4" smptebars 3 "${h264[@]}" -ac 1

show="$dir/TV/Quiet Harbour"
video "$show/Season 1/Quiet Harbour - S01E01 - Arrival.mkv" testsrc2 2 "${h264[@]}"
video "$show/Season 1/Quiet Harbour - S01E02 - The Lighthouse.mkv" testsrc2 2 "${h264[@]}"
video "$show/Season 2/Quiet Harbour - S02E01 - Winter Light.mkv" testsrc2 2 "${h264[@]}"
poster "$show/poster.jpg" "Quiet Harbour" 0x5c2a3d 0x1b0f1e

video "$dir/Home Videos/Beach Day 2021-07-14.mp4" rgbtestsrc 3 "${h264[@]}"

touch "$dir/.complete"
