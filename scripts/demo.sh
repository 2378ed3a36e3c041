#!/usr/bin/env bash
# The main job: builds zvtool (x86-64 host flavour, with the example host programs) and runs a
# short session on copies of the example files in a scratch directory: the configuration's tree,
# one value read and changed, the file saved in the binary form, its tree as JSON, a load check,
# its header line, and the error history. Then zvsettings, the example C host program, keeps a
# device's settings in a fresh file in the same scratch directory.
# Usage: scripts/demo.sh
set -euo pipefail
cd "$(dirname "$0")/.."

source scripts/need-packages.sh
need_packages cmake ninja-build g++ libcli11-dev nlohmann-json3-dev

cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >/dev/null
cmake --build build/demo --target zvtool zvdemo zvsettings zverrlog >/dev/null
tool="$PWD/build/demo/tools/zvtool/zvtool"
examples="$PWD/build/demo/examples"

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cp examples/data/device.env examples/data/errors.ehst "$work"/
cd "$work"
export TZ=UTC

run() {
    printf '\n$ zvtool %s\n' "$*"
    "$tool" "$@"
}

run env show device.env
run env get device.env /motor/MaxSpeed
run env set device.env /motor/MaxSpeed 1900 --type int
run env get device.env /motor/MaxSpeed
run env convert device.env --to binary -o device.envb
run env show device.envb motor
run env export device.envb
run env check device.envb
run header show device.envb
run errhist show errors.ehst

printf '\n$ zvsettings settings.env\n'
"$examples/zvsettings" settings.env
