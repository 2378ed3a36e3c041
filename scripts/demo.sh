#!/usr/bin/env bash
# Builds the library and the example host programs (x86-64 host flavour), runs zvdemo on the
# example files that ship in examples/data, then zvsettings on a settings file in a fresh
# temporary folder (so every run starts from a missing file and prints the same).
# Usage: scripts/demo.sh [example files...]
set -euo pipefail
cd "$(dirname "$0")/.."

need=()
for pkg in cmake ninja-build g++; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" || need+=("$pkg")
done
if [ ${#need[@]} -gt 0 ]; then
    if [ "$(id -u)" -eq 0 ]; then
        DEBIAN_FRONTEND=noninteractive apt-get update -qq
        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${need[@]}" >/dev/null
    else
        echo "run: sudo apt-get update && sudo apt-get install -y ${need[*]}" >&2
        exit 2
    fi
fi

cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DZV_BUILD_TESTS=OFF >/dev/null
cmake --build build/demo --target zvdemo zvsettings >/dev/null
files=("$@")
[ ${#files[@]} -gt 0 ] || files=(examples/data/*)
env TZ=UTC build/demo/examples/zvdemo "${files[@]}"

echo
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
env TZ=UTC build/demo/examples/zvsettings "$work/device.env"
