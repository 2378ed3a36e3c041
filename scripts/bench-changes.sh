#!/usr/bin/env bash
# What each speed change gave: builds the library as it stood at each commit of the list below
# (Release, the library alone, in build/changes/<commit>) and runs the current benchmark program
# against each of them in turn, on the 10 000-key tree and directory, so that every change has
# its figures beside the one before it. The benchmarks use only the exported ZVEV functions, so
# one program times every library. Writes the table into docs/performance.md between its
# "changes" markers.
# Usage: scripts/bench-changes.sh    (about half an hour on a 2-core machine)
# ZVBENCH_REPETITIONS overrides the number of repetitions (default 5).
set -euo pipefail
cd "$(dirname "$0")/.."

# commit|what it changed (oldest first; the first is the library before any of them).
changes=(
    "8c605b6|before: every lookup walks the directory's children"
    "5e58f9c|lookup index per directory; the block's capacity grows ahead"
    "9518af0|tokenizer goes straight to the matcher of a token's first byte"
    "25299fd|loading lays the items out directly"
    "6866ff0|the text form written in one pass into memory"
    "ab0d56e|typed getters resolve a key path in one pass"
    "ad39df3|quick lexer for plain lines; names scanned and summed at once"
    "b3470c3|a directory's names kept as 4-byte hashes while loading"
    "85e8e10|the writer writes through a pointer; reals by to_chars"
    "75c31f1|the quick lexer reads plain numbers"
    "HEAD|as it stands"
)

source scripts/need-packages.sh
need_packages cmake ninja-build g++ pkg-config libbenchmark-dev libglib2.0-dev libconfig-dev \
    python3

echo "== changes: the benchmark program (preset bench)"
cmake --preset bench >/dev/null
cmake --build --preset bench -j "$(nproc)" --target zvbench

work=build/changes
mkdir -p "$work"
repetitions=${ZVBENCH_REPETITIONS:-5}
filter='^env/(load_text|load_binary|save_text|get_integer_2500)/ours/(tree|flat)/10000/'
listing=()
for entry in "${changes[@]}"; do
    commit=${entry%%|*}
    sha=$(git rev-parse --short "$commit")
    src=$work/src-$sha
    lib=$work/lib-$sha
    if [ ! -f "$lib/libzvsupport.so.1" ]; then
        echo "== changes: library at $sha"
        rm -rf "$src"
        git worktree add --detach "$src" "$sha" >/dev/null
        cmake -S "$src" -B "$lib" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZV_BUILD_TESTS=OFF \
            -DBUILD_TESTING=OFF -DZV_BUILD_EXAMPLES=OFF -DZV_WERROR=OFF >/dev/null
        cmake --build "$lib" -j "$(nproc)" --target zvsupport >/dev/null
        git worktree remove --force "$src"
    fi
    echo "== changes: benchmarks against $sha"
    LD_LIBRARY_PATH=$PWD/$lib build/bench/bench/zvbench --benchmark_filter="$filter" \
        --benchmark_enable_random_interleaving=true --benchmark_repetitions="$repetitions" \
        --benchmark_min_time=0.2 --benchmark_display_aggregates_only=true \
        --benchmark_out="$work/results-$sha.json" --benchmark_out_format=json >/dev/null
    listing+=("$sha|${entry#*|}")
done

printf '%s\n' "${listing[@]}" >"$work/changes.txt"
/usr/bin/python3 scripts/bench-changes.py "$work" --doc docs/performance.md
echo "== changes: wrote docs/performance.md"
