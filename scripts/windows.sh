#!/usr/bin/env bash
# The Windows stage: cross-builds the library, the tool and the unit tests for 64-bit Windows with
# mingw-w64 and runs the unit tests under wine through ctest. The real-movie and tool tests need
# ffmpeg and POSIX processes and are not part of this build.
# Usage: scripts/windows.sh [build-dir]   (default <repository>/build-windows; JOBS the parallelism)
# The packages come from scripts/setup.sh. Wine runs headless in a prefix of its own under the build
# folder; afterwards `ctest --test-dir build-dir` runs the tests again the same way.
set -euo pipefail

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
jobs="${JOBS:-2}"
build="${1:-$repo/build-windows}"
mkdir -p "$build"
build="$(cd "$build" && pwd)"
toolchain="$repo/cmake/mingw-w64-x86_64.cmake"
# Debian's wine64 package puts the loader here and nothing on PATH.
wine=/usr/lib/wine/wine64
wineserver=/usr/lib/wine/wineserver64
[ -x "$wine" ] || { echo "windows.sh: $wine is missing; run scripts/setup.sh" >&2; exit 1; }

# Quiet and headless: no debug channels, no display, no offer to install .NET or a browser engine.
export WINEPREFIX="$build/wine"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY
# ctest and the test discovery after the link start wine through this, with or without this script.
emulator="/usr/bin/env;-u;DISPLAY;-u;WAYLAND_DISPLAY;WINEPREFIX=$WINEPREFIX;WINEDEBUG=$WINEDEBUG"
emulator+=";WINEDLLOVERRIDES=$WINEDLLOVERRIDES;bash;$repo/scripts/wine-run.sh;$wine"

# GoogleTest for the target, from Debian's sources, built once per build folder.
gtest="$build/googletest-install"
if [ ! -f "$gtest/lib/cmake/GTest/GTestConfig.cmake" ]; then
    echo "windows.sh: building GoogleTest from /usr/src/googletest"
    cmake -S /usr/src/googletest -B "$build/googletest" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$gtest" -DBUILD_GMOCK=OFF
    cmake --build "$build/googletest" -j "$jobs"
    cmake --install "$build/googletest" >/dev/null
fi

# A fresh prefix takes a while to make; make it before anything runs in it.
"$wineserver" -k >/dev/null 2>&1 || true
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    echo "windows.sh: making the wine prefix"
    "$wine" wineboot --init >/dev/null 2>&1 </dev/null
    "$wineserver" -w
fi
# One wine server and one set of wine's own services for the whole stage, started here away from
# any pipe: a service started by a test would hold ctest's pipe open, and ctest would wait for it.
"$wineserver" -p >/dev/null 2>&1 </dev/null
trap '"$wineserver" -k >/dev/null 2>&1 || true' EXIT
trap 'exit 1' INT TERM
"$wine" cmd /c exit >/dev/null 2>&1 </dev/null

# Debug without debug information, which would make the objects and the links several times slower
# for a build that is only run; sources compiled in batches, as in the other stages.
cmake -S "$repo" -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS_DEBUG=-O0 -DQTSIFTER_WERROR=ON -DQTSIFTER_UNITY_BUILD=ON -DGTest_DIR="$gtest/lib/cmake/GTest" -DCMAKE_CROSSCOMPILING_EMULATOR="$emulator"
cmake --build "$build" -j "$jobs"
ctest --test-dir "$build" --output-on-failure -j "$jobs"
