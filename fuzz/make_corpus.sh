#!/usr/bin/env bash
# Rebuilds the seed corpus: movies from the atom builder and tiny movies from ffmpeg.
# Usage: fuzz/make_corpus.sh BUILD_DIR   (a build with tests, holding tests/qtsifter_make_movies)
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
build="${1:?usage: $0 BUILD_DIR}"
corpus="$here/corpus"
mkdir -p "$corpus"

"$build/tests/qtsifter_make_movies" "$corpus"

video="-f lavfi -i testsrc=size=16x16:rate=25:duration=0.12"
audio="-f lavfi -i sine=frequency=440:sample_rate=8000:duration=0.12"
stable="-fflags +bitexact -flags +bitexact -threads 1 -map_metadata -1"
ff() { ffmpeg -nostdin -hide_banner -loglevel error -y "$@"; }

# H.264 with B-frames (composition offsets, sync samples), PCM audio and a timecode track.
ff $video $audio -c:v libx264 -bf 2 -g 3 -pix_fmt yuv420p -c:a pcm_s16le -timecode 01:00:00:00 \
    $stable "$corpus/ffmpeg-h264-pcm-timecode.mov"
# moov ahead of mdat, AAC with its priming edit.
ff $video $audio -c:v libx264 -pix_fmt yuv420p -c:a aac -b:a 16k -movflags faststart \
    $stable "$corpus/ffmpeg-h264-aac-faststart.mp4"
# Motion JPEG with user data and a rotated track.
ff $video -c:v mjpeg -q:v 20 -metadata title=Seed -metadata:s:v rotate=90 \
    -fflags +bitexact -flags +bitexact -threads 1 "$corpus/ffmpeg-mjpeg-rotated.mov"
# HEVC with B-frames, for which the muxer writes sdtp: the movie fixer's one case of writing.
ff -f lavfi -i testsrc=size=16x16:rate=25:duration=0.4 -c:v libx265 -tag:v hvc1 -pix_fmt yuv420p \
    -x265-params bframes=2:log-level=none:pools=none:frame-threads=1 $stable "$corpus/ffmpeg-hevc-sdtp.mov"
# Fragmented: a moov with mvex and no samples, then moof atoms.
ff $video -c:v libx264 -pix_fmt yuv420p -movflags frag_keyframe+empty_moov \
    $stable "$corpus/ffmpeg-fragmented.mp4"

ls -l "$corpus"
du -sb "$corpus"
