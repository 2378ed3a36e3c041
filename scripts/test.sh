#!/usr/bin/env bash
# Builds and runs the whole test suite in every flavour: host (x86-64), device (i386 under
# qemu-i386) and asan (host with AddressSanitizer and UndefinedBehaviorSanitizer), then builds
# the HTML reference (docs), which fails on any Doxygen warning.
# Usage: scripts/test.sh [host|device|asan|docs ...]   (default: all four)
set -euo pipefail
cd "$(dirname "$0")/.."

flavours=("$@")
[ ${#flavours[@]} -gt 0 ] || flavours=(host device asan docs)

# Debian packages the build needs beyond the machine's toolchain.
source scripts/need-packages.sh
need_packages cmake ninja-build g++ pkg-config libgtest-dev g++-multilib qemu-user abigail-tools \
    libcli11-dev nlohmann-json3-dev dpkg-dev binutils

# The reference: the host preset's `docs` target, into build/host/docs/html.
build_docs() {
    need_packages doxygen
    echo "== docs: the HTML reference of the public headers"
    if ! cmake --preset host >build/docs-configure.log 2>&1; then
        cat build/docs-configure.log
        return 1
    fi
    rm -f build/docs-configure.log
    cmake --build --preset host --target docs || return 1
    echo "== docs: build/host/docs/html/index.html"
}

mkdir -p build
failed=()
for flavour in "${flavours[@]}"; do
    if [ "$flavour" = docs ]; then
        build_docs || failed+=(docs)
        continue
    fi
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
