#!/usr/bin/env bash
# Writes the binary-interface baseline of the device build, abi/zvsupport-i386.abi, which the
# AbiBaseline test compares the library with. Run it after a deliberate change of the interface
# (a record, a class layout, a virtual slot or an exported name) and commit the new baseline with
# the change. Source paths are written relative to the checkout, so any clone compares alike.
# Usage: scripts/abi-baseline.sh   (after `cmake --build --preset device`)
set -euo pipefail
cd "$(dirname "$0")/.."
lib=build/device/libzvsupport.so.1
if [ ! -f "$lib" ]; then
    echo "no device build: run cmake --workflow --preset device first" >&2
    exit 2
fi
command -v abidw >/dev/null || { echo "run: sudo apt-get install -y abigail-tools" >&2; exit 2; }
top=$(pwd)
abidw --no-corpus-path --no-show-locs --headers-dir include --drop-private-types "$lib" |
    sed -e "s|path='$top/|path='|g" -e "s|path='$top'|path='.'|g" >abi/zvsupport-i386.abi
echo "wrote abi/zvsupport-i386.abi"
