#!/usr/bin/env bash
# Installs the Debian packages that building, testing, fuzzing, the Windows build and the sample
# need, and only those that are missing. Runs as root, or through sudo for another user.
set -euo pipefail

packages=(
    cmake ninja-build g++ clang zlib1g-dev
    libgtest-dev libgmock-dev libbenchmark-dev nlohmann-json3-dev libcli11-dev rapidjson-dev libfmt-dev pkgconf
    ffmpeg libavformat-dev
    g++-mingw-w64-x86-64-posix libz-mingw-w64-dev googletest wine64
)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null 2>&1; then
        sudo "$@"
    else
        echo "setup.sh: installing packages needs root or sudo" >&2
        exit 1
    fi
}

installed() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"
}

updated=no
install_missing() {
    local missing=()
    local package
    for package in "$@"; do
        installed "$package" || missing+=("$package")
    done
    [ "${#missing[@]}" -eq 0 ] && return 0
    echo "setup.sh: installing ${missing[*]}"
    if [ "$updated" = no ]; then
        as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q
        updated=yes
    fi
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
}

install_missing "${packages[@]}"

# The sanitizer and fuzzer runtimes come in a package named after clang's major version.
major="$(clang -dumpversion | cut -d. -f1)"
runtime="libclang-rt-$major-dev"
if ! installed "$runtime"; then
    [ "$updated" = no ] && { as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q; updated=yes; }
    if apt-cache show "$runtime" >/dev/null 2>&1; then
        install_missing "$runtime"
    fi
fi
