#!/usr/bin/env bash
# Runs one Windows program under wine for ctest. Now and then wine fails to start a program at all
# under parallel load: it exits non-zero before the program prints a line. Only that case is run
# once more, and said so on stderr; a program that printed anything keeps its own result.
# Usage: scripts/wine-run.sh WINE PROGRAM [ARGUMENTS...]   (the environment as scripts/windows.sh sets it)
set -uo pipefail

out="$(mktemp)"
trap 'rm -f "$out"' EXIT
for attempt in 1 2; do
    "$@" >"$out" 2>&1 </dev/null
    status=$?
    if [ "$status" -eq 0 ] || [ -s "$out" ] || [ "$attempt" -eq 2 ]; then
        cat "$out"
        exit "$status"
    fi
    echo "wine-run.sh: wine exited with status $status and no output; starting the program again" >&2
done
