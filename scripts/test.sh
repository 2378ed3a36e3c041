#!/usr/bin/env bash
# Builds and runs the whole test suite in every flavour: host (x86-64), device (i386 under
# qemu-i386) and asan (host with AddressSanitizer and UndefinedBehaviorSanitizer).
# Usage: scripts/test.sh [host|device|asan ...]   (default: all three)
set -euo pipefail
cd "$(dirname "$0")/.."

flavours=("$@")
[ ${#flavours[@]} -gt 0 ] || flavours=(host device asan)

# Debian packages the build needs beyond the machine's toolchain.
source scripts/need-packages.sh
need_packages cmake ninja-build g++ pkg-config libgtest-dev g++-multilib qemu-user abigail-tools \
    libcli11-dev nlohmann-json3-dev dpkg-dev binutils

mkdir -p build
failed=()
for flavour in "${flavours[@]}"; do
    echo "== $flavour: configure, build, test"
    if ! cmake --preset "$flavour" >"build/$flavour-configure.log" 2>&1; then
        cat "build/$flavour-configure.log"; failed+=("$flavour"); continue
    fi
    rm -f "build/$flavour-configure.log"
    if ! cmake --build --preset "$flavour" -j "$(nproc)"; then
        failed+=("$flavour"); continue
    fi
    if ! ctest --preset "$flavour" -j "$(nproc)"; then
        failed+=("$flavour")
    fi
done

if [ ${#failed[@]} -gt 0 ]; then
    echo "== FAILED: ${failed[*]}"
    exit 1
fi
echo "== all flavours passed: ${flavours[*]}"
