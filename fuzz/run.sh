#!/usr/bin/env bash
# Builds the fuzz targets with clang and runs each in turn on a copy of the seed corpus and of its
# kept regression inputs, for an equal share of the time. Prints each target's executions and
# libFuzzer's closing coverage (cov: edges, ft: features); fails when any target crashed, leaving
# the reproducer in that target's artifacts folder.
# Usage: fuzz/run.sh [SECONDS [BUILD_DIR [TARGET...]]]
#   SECONDS    the whole run, shared by the targets (default 60; fuzz_movie takes what the share
#              leaves over)
#   BUILD_DIR  default build-fuzz in the repository
#   TARGET     any of the targets below; all of them when none is named
# FUZZ_ARGS adds libFuzzer flags to every run (e.g. FUZZ_ARGS="-max_len=65536"), JOBS sets the build's
# parallelism.
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
repo="$(dirname "$here")"
seconds="${1:-60}"
build="${2:-$repo/build-fuzz}"
jobs="${JOBS:-2}"
all_targets=(fuzz_load fuzz_video fuzz_audio fuzz_timecode_captions fuzz_metadata fuzz_references fuzz_fixer
    fuzz_movie)
if [ $# -gt 2 ]; then
    targets=("${@:3}")
else
    targets=("${all_targets[@]}")
fi
for target in "${targets[@]}"; do
    case " ${all_targets[*]} " in
    *" $target "*) ;;
    *)
        echo "run.sh: no fuzz target $target; the targets are: ${all_targets[*]}" >&2
        exit 2
        ;;
    esac
done
if ! [[ "$seconds" =~ ^[0-9]+$ ]] || [ "$seconds" -lt "${#targets[@]}" ]; then
    echo "run.sh: SECONDS must be a whole number, at least one a target" >&2
    exit 2
fi

cmake -S "$repo" -B "$build" -G Ninja \
    -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQTSIFTER_UNITY_BUILD=ON \
    -DQTSIFTER_BUILD_FUZZ=ON -DQTSIFTER_BUILD_TESTS=OFF -DQTSIFTER_BUILD_TOOL=OFF >/dev/null
cmake --build "$build" --target "${targets[@]}" -j "$jobs"

# The first number after "$1" in the log's last line that has one.
last_value() {
    grep -o "$1 *[0-9]*" "$2" | tail -n 1 | grep -o '[0-9]*$' || echo "?"
}

# Runs target $1 for $2 seconds. The fuzzer adds what it finds to the corpus it is given; the seeds
# and kept inputs in the repository stay as they are.
failed=()
run_target() {
    local target="$1" time="$2"
    local work="$build/corpus-run-$target"
    local artifacts="$build/artifacts-$target"
    local log="$build/log-$target.txt"
    rm -rf "$work"
    mkdir -p "$work" "$artifacts"
    cp "$here"/corpus/* "$work"/
    find "$here/regressions/$target" -maxdepth 1 -type f ! -name '.*' ! -name 'README*' \
        -exec cp {} "$work"/ \; 2>/dev/null || true

    local status=0
    # shellcheck disable=SC2086 # FUZZ_ARGS is a list of flags
    "$build/fuzz/$target" -max_total_time="$time" -timeout=10 -max_len=16384 -print_final_stats=1 \
        -artifact_prefix="$artifacts/" ${FUZZ_ARGS:-} "$work" >"$log" 2>&1 &
    local pid=$!
    wait "$pid" || status=$?
    # A crash ends the process before it can remove its scratch copies of the input.
    rm -f "/dev/shm/qtsifter-fuzz-$pid.mov" "/dev/shm/qtsifter-fuzz-fixer-$pid.mov"

    printf '%s: %s s, %s executions, cov: %s ft: %s, corpus %s files\n' "$target" "$time" \
        "$(last_value 'stat::number_of_executed_units:' "$log")" "$(last_value 'cov:' "$log")" \
        "$(last_value 'ft:' "$log")" "$(find "$work" -type f | wc -l)"
    if [ "$status" -ne 0 ]; then
        echo "$target failed with status $status (log: $log); reproducers are in $artifacts:" >&2
        grep -E -A 25 '^==[0-9]+==ERROR|^fuzz|deadly signal|^SUMMARY' "$log" | head -n 60 >&2 || tail -n 40 "$log" >&2
        ls -l "$artifacts" >&2
        failed+=("$target")
    fi
}

share=$((seconds / ${#targets[@]}))
for target in "${targets[@]}"; do
    time="$share"
    # The all-in-one target takes the seconds the equal shares leave over.
    [ "$target" = fuzz_movie ] && time=$((share + seconds % ${#targets[@]}))
    run_target "$target" "$time"
done

if [ "${#failed[@]}" -ne 0 ]; then
    echo "fuzzing failed: ${failed[*]}" >&2
    exit 1
fi
echo "fuzzing: ${#targets[@]} targets ran $seconds s without a crash"
