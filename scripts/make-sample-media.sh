#!/bin/sh
# Makes a small media folder to try dmsd with: three photos with EXIF
# (camera, date, an embedded thumbnail), two tagged songs and a short movie,
# generated with ffmpeg and exiftool. Does nothing when DIR is already made.
# Usage: scripts/make-sample-media.sh DIR
set -eu
dir=${1:?usage: make-sample-media.sh DIR}
[ -f "$dir/.made" ] && exit 0
for tool in ffmpeg exiftool; do
    command -v "$tool" >/dev/null 2>&1 || { echo "make-sample-media: $tool missing (run scripts/setup.sh)" >&2; exit 1; }
done
mkdir -p "$dir/Pictures" "$dir/Music" "$dir/Videos"
ff() { ffmpeg -v error -nostdin -y "$@"; }

n=0
for pattern in testsrc2 smptehdbars mandelbrot; do
    n=$((n + 1))
    photo="$dir/Pictures/DSC0000$n.JPG"
    ff -f lavfi -i "$pattern=size=1600x1200" -frames:v 1 -q:v 3 "$photo"
    ff -i "$photo" -vf scale=160:120 -q:v 5 "$dir/.thumb.jpg"
    exiftool -q -overwrite_original -Make=dms -Model="Sample Camera" \
        -DateTimeOriginal="2026:0$n:1$n 12:34:56" -CreateDate="2026:0$n:1$n 12:34:56" \
        -Orientation#=1 "-ThumbnailImage<=$dir/.thumb.jpg" "$photo"
    rm -f "$dir/.thumb.jpg"
done

ff -f lavfi -i "sine=frequency=440:duration=20" -c:a libmp3lame -b:a 128k \
    -metadata title="A Minor Tone" -metadata artist="dms samples" -metadata album="Sample Tones" \
    -metadata track=1 -metadata date=2026 -metadata genre=Test "$dir/Music/01 A Minor Tone.mp3"
ff -f lavfi -i "sine=frequency=660:duration=15" -c:a aac -b:a 128k \
    -metadata title="Fifth Above" -metadata artist="dms samples" -metadata album="Sample Tones" \
    -metadata track=2 "$dir/Music/02 Fifth Above.m4a"

ff -f lavfi -i "testsrc2=size=640x360:rate=25:duration=5" -f lavfi -i "sine=duration=5" \
    -c:v libx264 -pix_fmt yuv420p -preset veryfast -c:a aac -shortest -movflags +faststart \
    -metadata title="Test Pattern" "$dir/Videos/test-pattern.mp4"
touch "$dir/.made"
echo "make-sample-media: sample media in $dir"
