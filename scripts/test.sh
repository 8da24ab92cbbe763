#!/usr/bin/env bash
# Everything a change must pass: a plain build with all tests, the Windows build with its unit
# tests under wine, the plain build under AddressSanitizer and UndefinedBehaviorSanitizer, the
# threaded tests under ThreadSanitizer, and a minute of fuzzing from the seed corpus.
# Usage: scripts/test.sh
# Builds in build-test, build-windows, build-sanitize, build-tsan and build-fuzz in the repository; BUILD_PREFIX
# replaces "<repository>/build" in those names, FUZZ_SECONDS the minute of fuzzing, JOBS the
# parallelism.
# A compiler warning fails the build (QTSIFTER_WERROR), and any other warning that CMake or the
# tools print fails the run, so that a new one cannot slip in.
set -uo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
jobs="${JOBS:-2}"
fuzz_seconds="${FUZZ_SECONDS:-60}"
prefix="${BUILD_PREFIX:-$repo/build}"
logs="$prefix-logs"
mkdir -p "$logs"

bash "$repo/scripts/setup.sh" || { echo "test.sh: setup failed" >&2; exit 1; }

# Seen by every configure, the fuzz build's included.
export QTSIFTER_WERROR=ON

summary=()
failed=0

# Runs one stage, keeping its log and how long it took.
stage() {
    local name="$1"
    shift
    local start=$SECONDS
    echo "=== $name"
    if "$@" 2>&1 | tee "$logs/$name.log"; then
        summary+=("$name: passed in $((SECONDS - start)) s")
    else
        summary+=("$name: FAILED after $((SECONDS - start)) s (log: $logs/$name.log)")
        failed=1
    fi
    # ctest's own summary of the stage, when it got that far.
    local line
    while IFS= read -r line; do
        summary+=("    $line")
    done < <(grep -E "tests passed|tests failed out of|Total Test time|The following tests|^\s+[0-9]+ - " \
        "$logs/$name.log")
}

build_and_test() {
    local build="$1"
    shift
    # Debug compiles fastest; the tests need no optimiser, and the sample and benchmark builds have one.
    # Sources compiled in batches halve the build; the threads stage compiles each library source
    # alone.
    cmake -S "$repo" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQTSIFTER_WERROR=ON -DQTSIFTER_UNITY_BUILD=ON "$@" &&
        cmake --build "$build" -j "$jobs" &&
        ctest --test-dir "$build" --output-on-failure -j "$jobs"
}

# The plain build compiles the benchmark too, so that its warnings are caught; it is run by bench/.
stage plain build_and_test "$prefix-test" -DQTSIFTER_BUILD_BENCH=ON
stage windows bash "$repo/scripts/windows.sh" "$prefix-windows"
stage sanitize build_and_test "$prefix-sanitize" -DQTSIFTER_SANITIZE=ON
stage threads bash "$repo/scripts/tsan.sh" "$prefix-tsan"
stage fuzz bash "$repo/fuzz/run.sh" "$fuzz_seconds" "$prefix-fuzz"

# Warnings that -Werror does not reach: CMake's own (an unused variable, a deprecated call) and the
# linker's.
warnings="$(grep -h -E "warning:|CMake Warning|Manually-specified variables were not used" \
    "$logs/plain.log" "$logs/windows.log" "$logs/sanitize.log" "$logs/threads.log" "$logs/fuzz.log" 2>/dev/null | sort -u)"
if [ -n "$warnings" ]; then
    summary+=("warnings: FAILED, the builds printed:")
    while IFS= read -r line; do
        summary+=("    $line")
    done <<<"$warnings"
    failed=1
else
    summary+=("warnings: none")
fi

echo
echo "=== summary"
printf '%s\n' "${summary[@]}"
exit "$failed"
