#!/usr/bin/env bash
# Times `qtsifter samples` (text and JSON) against ffprobe's packet list on the day-long movie of
# the open benchmark, each as a process of its own, with its peak memory (GNU time's maximum
# resident set). The output of each goes to /dev/null, so what is timed is producing it.
# Usage: bench/samples.sh [BUILD_DIR]   (default: build-bench-tool in the repository)
# QTSIFTER_BENCH_DIR keeps the movie (default: the build folder); QTSIFTER_BENCH_SECONDS sets its
# length (default 86400, a day: 5,184,002 video samples). Targets: under 3 s and 400 MB per form.
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$repo/build-bench-tool}"
seconds="${QTSIFTER_BENCH_SECONDS:-86400}"
movies="${QTSIFTER_BENCH_DIR:-$build}"

"$repo/scripts/setup.sh"
command -v /usr/bin/time >/dev/null || { echo "samples.sh: needs GNU time (/usr/bin/time)" >&2; exit 1; }

cmake -S "$repo" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQTSIFTER_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" --target qtsifter -j "${JOBS:-2}"
tool="$build/tools/qtsifter/qtsifter"

# The same movie as bench/run.sh makes: a ten-second 60 fps H.264 clip with B-frames, looped
# without re-encoding. Written beside its name and renamed, so a cut-short run leaves nothing stale.
mkdir -p "$movies"
clip="$movies/qtsifter-bench-clip.mov"
movie="$movies/qtsifter-bench-${seconds}s.mov"
quiet=(ffmpeg -nostdin -hide_banner -loglevel error -y)
if [ ! -f "$clip" ]; then
    "${quiet[@]}" -f lavfi -i testsrc2=size=64x36:rate=60 -c:v libx264 -preset ultrafast -bf 2 -g 60 \
        -keyint_min 60 -sc_threshold 0 -pix_fmt yuv420p -f mov -t 10 "$clip.part"
    mv "$clip.part" "$clip"
fi
if [ ! -f "$movie" ]; then
    echo "making $movie"
    "${quiet[@]}" -stream_loop $((seconds / 10 + 1)) -i "$clip" -c copy -t "$seconds" -f mov "$movie.part"
    mv "$movie.part" "$movie"
fi

# One line per run: name, wall seconds, peak resident MB, exit status.
measure() {
    local name="$1"
    shift
    local report
    report="$(mktemp)"
    local status=0
    /usr/bin/time -f "%e %M" -o "$report" "$@" >/dev/null || status=$?
    read -r wall kilobytes <"$report"
    rm -f "$report"
    printf '%-16s %8.2f s %8.1f MB  exit %d\n' "$name" "$wall" "$(awk -v k="$kilobytes" 'BEGIN { print k / 1024 }')" "$status"
}

echo "movie: $movie ($(stat -c %s "$movie") bytes)"
measure "qtsifter text" "$tool" samples "$movie" --track 0
measure "qtsifter json" "$tool" samples "$movie" --track 0 --json
measure "ffprobe json" ffprobe -v error -select_streams v -show_packets -print_format json "$movie"
