#!/usr/bin/env bash
# Builds the fuzz targets with clang and runs each on a copy of the seed corpus; fails on any crash.
# The time is shared: two thirds to the parser's target, the rest to the fixer's.
# Usage: fuzz/run.sh [SECONDS [BUILD_DIR]]   (defaults: 60 and build-fuzz in the repository)
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
repo="$(dirname "$here")"
seconds="${1:-60}"
build="${2:-$repo/build-fuzz}"
jobs="${JOBS:-2}"

cmake -S "$repo" -B "$build" -G Ninja \
    -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DQTSIFTER_BUILD_FUZZ=ON -DQTSIFTER_BUILD_TESTS=OFF -DQTSIFTER_BUILD_TOOL=OFF >/dev/null
cmake --build "$build" --target fuzz_movie fuzz_fixer -j "$jobs"

# Runs target $1 for $2 seconds. The fuzzer adds what it finds to the corpus it is given; the seeds
# in the repository stay as they are.
run_target() {
    local target="$1" time="$2" scratch="$3"
    local work="$build/corpus-run-$target"
    local artifacts="$build/artifacts-$target"
    rm -rf "$work"
    mkdir -p "$work" "$artifacts"
    cp "$here"/corpus/* "$work"/

    local status=0
    "$build/fuzz/$target" -max_total_time="$time" -timeout=10 -max_len=16384 -print_final_stats=1 \
        -artifact_prefix="$artifacts/" "$work" &
    local pid=$!
    wait "$pid" || status=$?
    # A crash ends the process before it can remove its scratch copy of the input.
    rm -f "/dev/shm/$scratch-$pid.mov"

    if [ "$status" -ne 0 ]; then
        echo "$target failed with status $status; reproducers are in $artifacts:" >&2
        ls -l "$artifacts" >&2
        exit "$status"
    fi
    echo "$target ran $time s without a crash"
}

movie_seconds=$((seconds * 2 / 3))
run_target fuzz_movie "$movie_seconds" qtsifter-fuzz
run_target fuzz_fixer "$((seconds - movie_seconds))" qtsifter-fuzz-fixer
