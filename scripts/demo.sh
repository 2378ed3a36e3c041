#!/usr/bin/env bash
# Builds the library and the example host programs (x86-64 host flavour), runs zvdemo on the
# example files that ship in examples/data, then zvsettings on a settings file in a fresh
# temporary folder (so every run starts from a missing file and prints the same).
# Usage: scripts/demo.sh [example files...]
set -euo pipefail
cd "$(dirname "$0")/.."

source scripts/need-packages.sh
need_packages cmake ninja-build g++

cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DZV_BUILD_TESTS=OFF >/dev/null
cmake --build build/demo --target zvdemo zvsettings >/dev/null
files=("$@")
[ ${#files[@]} -gt 0 ] || files=(examples/data/*)
env TZ=UTC build/demo/examples/zvdemo "${files[@]}"

echo
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
env TZ=UTC build/demo/examples/zvsettings "$work/device.env"
