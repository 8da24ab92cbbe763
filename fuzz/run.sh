#!/usr/bin/env bash
# Builds the fuzz target with clang and runs it on a copy of the seed corpus; fails on any crash.
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
cmake --build "$build" --target fuzz_movie -j "$jobs"

# The fuzzer adds what it finds to the corpus it is given; the seeds in the repository stay as
# they are.
work="$build/corpus-run"
artifacts="$build/artifacts"
rm -rf "$work"
mkdir -p "$work" "$artifacts"
cp "$here"/corpus/* "$work"/

status=0
"$build/fuzz/fuzz_movie" -max_total_time="$seconds" -timeout=10 -max_len=16384 -print_final_stats=1 \
    -artifact_prefix="$artifacts/" "$work" &
pid=$!
wait "$pid" || status=$?
# A crash ends the process before it can remove its scratch copy of the input.
rm -f "/dev/shm/qtsifter-fuzz-$pid.mov"

if [ "$status" -ne 0 ]; then
    echo "fuzz_movie failed with status $status; reproducers are in $artifacts:" >&2
    ls -l "$artifacts" >&2
    exit "$status"
fi
echo "fuzz_movie ran $seconds s without a crash"
