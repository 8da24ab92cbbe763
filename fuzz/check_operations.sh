#!/usr/bin/env bash
# Lists the public operations (the interfaces' virtual functions and the exported QT:: functions)
# that no source in fuzz/ calls; fails when there is one.
# Usage: fuzz/check_operations.sh
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
inc="$(dirname "$here")/QTSifter/Inc"
operations="$( (grep -ho 'virtual [^(]* [A-Za-z0-9_]*(' "$inc"/IQT*.h
    grep -ho 'QTSIFTER_API [^(]* [A-Za-z0-9_]*(' "$inc"/*.h) | sed -E 's/.* ([A-Za-z0-9_]+)\($/\1/' | sort -u)"
count=0
uncalled=0
for operation in $operations; do
    count=$((count + 1))
    if ! grep -q "\b$operation(" "$here"/*.cpp; then
        echo "not called from fuzz/: $operation"
        uncalled=$((uncalled + 1))
    fi
done
echo "$count operations, $uncalled not called"
[ "$uncalled" -eq 0 ]
