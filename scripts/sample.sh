#!/usr/bin/env bash
# Builds the qtsifter tool, makes a small movie with ffmpeg and shows what the tool reads in it.
# Usage: scripts/sample.sh [BUILD_DIR]   (default: build-sample in the repository)
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$repo/build-sample}"

bash "$repo/scripts/setup.sh"

cmake -S "$repo" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQTSIFTER_BUILD_TESTS=OFF >/dev/null
# Everything the install needs: the library, its packages and the tool.
cmake --build "$build" -j "${JOBS:-2}"

# Two seconds of H.264 video, PCM audio and a timecode track.
movie="$build/sample.mov"
ffmpeg -nostdin -hide_banner -loglevel error -y \
    -f lavfi -i testsrc=size=160x120:rate=25:duration=2 \
    -f lavfi -i sine=frequency=440:sample_rate=8000:duration=2 \
    -c:v libx264 -pix_fmt yuv420p -c:a pcm_s16le -timecode 01:00:00:00 \
    -metadata title="QTSifter sample" "$movie"

tool="$build/tools/qtsifter/qtsifter"
echo "\$ qtsifter info $movie"
"$tool" info "$movie"
echo
echo "\$ qtsifter info $movie --json"
"$tool" info "$movie" --json
echo
echo "\$ qtsifter samples $movie --track 0 --max 5"
"$tool" samples "$movie" --track 0 --max 5
echo
echo "The tool is $tool. To install it with the library (README, \"Installing\"):"
echo "    cmake --install $build --prefix \"\$HOME/.local\" && export PATH=\"\$HOME/.local/bin:\$PATH\""
