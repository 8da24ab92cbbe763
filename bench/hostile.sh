#!/usr/bin/env bash
# Worst-case movies against every operation. Builds the generator and the runner (Release), writes
# each family's movies at 1/8, 1/4, 1/2 and all of its largest size into a folder, runs every
# operation on every movie in a process of its own, deletes the movies, and prints one table: the
# full size of each family with its time, its peak memory and the growth from the half size.
#
#   bench/hostile.sh [OUTDIR] [FAMILY...]
#
# OUTDIR defaults to /tmp/qtsifter-hostile; the movies are deleted as soon as they have been run,
# and OUTDIR/results.tsv keeps every row of every size. BUILD names the build folder
# (default build-hostile). A row is flagged when it takes over 2 s of processor time, adds over
# 1 GiB beyond the movie atom, or grows more than 2.5 times from the half size to the full size (in
# time, when the full size takes 50 ms or more; in memory, when it adds 64 MiB or more); a row whose
# time grows so is run twice more at the half and the full size, and the least of three counts.
# Processor time (user and system) rather than wall time decides, since the build machine is shared
# and its load stretches wall times of the same run several times over; both are printed.
set -euo pipefail

here="$(cd "$(dirname "$0")/.." && pwd)"
out="${1:-/tmp/qtsifter-hostile}"
shift || true
build="${BUILD:-$here/build-hostile}"
# A runaway operation is stopped, and one that would take more memory than the machine can give
# fails on allocation instead.
limit_seconds="${HOSTILE_TIMEOUT:-120}"
limit_kib="${HOSTILE_MEMORY_KIB:-$((12 * 1024 * 1024))}"

cmake -S "$here" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQTSIFTER_BUILD_BENCH=ON \
    -DQTSIFTER_BUILD_TESTS=OFF -DQTSIFTER_BUILD_TOOL=OFF >/dev/null
cmake --build "$build" --target hostile_movies hostile_run -j2 >/dev/null

gen="$build/bench/hostile_movies"
run="$build/bench/hostile_run"
mkdir -p "$out"
results="$out/results.tsv"
: >"$results"

families=("$@")
if [ ${#families[@]} -eq 0 ]; then
    mapfile -t families < <("$gen" --list | cut -f1)
fi
mapfile -t operations < <("$run" --list)

# One row of results.tsv: family, eighths, file bytes, then the runner's line.
run_one() {
    local family="$1" eighths="$2" op="$3" movie="$out/$1-$2.mov" line
    line=$( (ulimit -v "$limit_kib"; timeout "$limit_seconds" "$run" "$movie" "$op") 2>/dev/null) ||
        line="$op	$limit_seconds	$limit_seconds	0	stopped (time or memory limit)"
    printf '%s\t%s\t%s\t%s\n' "$family" "$eighths" "$(stat -c %s "$movie")" "$line" >>"$results"
}

for family in "${families[@]}"; do
    "$gen" "$out" "$family" >/dev/null
    for eighths in 1 2 4 8; do
        for op in "${operations[@]}"; do
            run_one "$family" "$eighths" "$op"
        done
    done
    # A growth above 2.5 from one process each may be the machine's noise: the half and the full
    # size run twice more, and the table takes the least of the three.
    mapfile -t again < <(awk -F'\t' -v f="$family" '$1 == f { cpu[$4, $2] = $6 }
        END { for (k in cpu) { split(k, p, SUBSEP)
            if (p[2] == 8 && cpu[k] >= 0.05 && cpu[p[1], 4] > 0 && cpu[k] / cpu[p[1], 4] > 2.5) print p[1] } }' "$results")
    for op in "${again[@]}"; do
        for eighths in 4 8 4 8; do
            run_one "$family" "$eighths" "$op"
        done
    done
    rm -f "$out/$family"-[1248].mov
done

# family eighths bytes op wall cpu mib note
awk -F'\t' '
    { key = $1 SUBSEP $4
      # A row run again keeps the least of its runs.
      if ((key, $2) in t) {
          if ($5 < w[key, $2]) w[key, $2] = $5
          if ($6 < t[key, $2]) t[key, $2] = $6
          if ($7 < m[key, $2]) m[key, $2] = $7
          next
      }
      w[key, $2] = $5; t[key, $2] = $6; m[key, $2] = $7; note[key, $2] = $8; bytes[key, $2] = $3
      if (!(key in seen)) { seen[key] = 1; order[++n] = key } }
    END {
        printf "| family | file (MiB) | operation | wall s | cpu s | peak MiB | growth (cpu) | growth (memory) | flags |\n"
        printf "|---|---|---|---|---|---|---|---|---|\n"
        for (i = 1; i <= n; ++i) {
            key = order[i]; split(key, part, SUBSEP)
            ts = t[key, 8]; th = t[key, 4]; ms = m[key, 8]; mh = m[key, 4]
            gt = (th > 0 && ts >= 0.05) ? sprintf("%.2f", ts / th) : "-"
            gm = (mh > 0 && ms >= 64) ? sprintf("%.2f", ms / mh) : "-"
            flags = ""
            if (ts > 2) flags = flags "slow "
            if (ms > 1024) flags = flags "memory "
            if (gt != "-" && gt + 0 > 2.5) flags = flags "growth(time) "
            if (gm != "-" && gm + 0 > 2.5) flags = flags "growth(memory) "
            if (note[key, 8] ~ /stopped|exception/) flags = flags note[key, 8]
            printf "| %s | %.1f | %s | %.3f | %.3f | %.1f | %s | %s | %s |\n", part[1], bytes[key, 8] / 1048576, part[2], w[key, 8], ts, ms, gt, gm, flags
        }
    }' "$results"
