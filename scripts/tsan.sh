#!/usr/bin/env bash
# The threads stage: builds the library and the threaded tests with ThreadSanitizer and runs them.
# Any race it reports fails the stage, as does any answer that differs from one thread's.
# Usage: scripts/tsan.sh [build-dir]   (default <repository>/build-tsan; JOBS the parallelism)
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
jobs="${JOBS:-2}"
build="${1:-$repo/build-tsan}"

# Only what the threaded tests need: the whole test suite would triple the stage for nothing more.
# Each library source is compiled alone here, where the other stages compile batches, so that a
# source that leans on another's includes still fails CI.
cmake -S "$repo" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQTSIFTER_TSAN=ON -DQTSIFTER_WERROR=ON \
    -DQTSIFTER_BUILD_TOOL=OFF
cmake --build "$build" -j "$jobs" --target qtsifter_thread_tests
# halt_on_error: the first report ends the test that caused it, with the report in its output.
TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
    ctest --test-dir "$build" --output-on-failure -j "$jobs" -R '^ThreadedQueries\.'
