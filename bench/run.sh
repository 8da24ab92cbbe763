#!/usr/bin/env bash
# Builds the open benchmark in Release and runs it. The day-long movie it times is made with
# ffmpeg on the first run (about 360 MB) and kept in the build folder, or in QTSIFTER_BENCH_DIR.
# Usage: bench/run.sh [BUILD_DIR] [benchmark options...]
#   e.g. bench/run.sh build-bench --seconds=3600 --repetitions=3
#   (default BUILD_DIR: build-bench in the repository)
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="$repo/build-bench"
if [ $# -gt 0 ] && [ "${1#-}" = "$1" ]; then
    build="$1"
    shift
fi

"$repo/scripts/setup.sh"

cmake -S "$repo" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DQTSIFTER_BUILD_BENCH=ON -DQTSIFTER_BUILD_TESTS=OFF -DQTSIFTER_BUILD_TOOL=OFF >/dev/null
cmake --build "$build" --target qtsifter_open_bench -j "${JOBS:-2}"

exec "$build/bench/qtsifter_open_bench" "$@"
