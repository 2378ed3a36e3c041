#!/usr/bin/env bash
# Builds the `fuzz` preset (clang, libFuzzer, AddressSanitizer and UndefinedBehaviorSanitizer) and
# runs every fuzz target under fuzz/ for a set time, one after the other, each on a copy of its
# checked-in corpus. Prints the executions and the coverage each target reached (libFuzzer's
# final statistics). Fails when a target finds a crash, a leak, a broken check, a hang or a
# runaway allocation; the inputs found are left in the folder the script names at the end.
#
# Usage: scripts/fuzz.sh [SECONDS] [TARGET...]
#   SECONDS  time per target (default 30; scripts/fuzz.sh 600 for a long run)
#   TARGET   targets to run (default: every folder of fuzz/corpus/)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

seconds=${1:-30}
[ $# -gt 0 ] && shift
case $seconds in
    '' | *[!0-9]*) echo "usage: scripts/fuzz.sh [SECONDS] [TARGET...]" >&2; exit 2 ;;
esac
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    for dir in fuzz/corpus/*/; do
        targets+=("$(basename "$dir")")
    done
fi

# Debian packages the fuzz build needs: clang and its runtime libraries (libFuzzer among them).
source scripts/need-packages.sh
need_packages cmake ninja-build clang libclang-rt-14-dev

mkdir -p build
echo "== fuzz: configure, build"
if ! cmake --preset fuzz >build/fuzz-configure.log 2>&1; then
    cat build/fuzz-configure.log
    exit 1
fi
rm -f build/fuzz-configure.log
cmake --build --preset fuzz -j "$(nproc)"

run=$root/build/fuzz-runs/$(date +%Y%m%d-%H%M%S)
found=$run/found
mkdir -p "$found"
# The files the targets write go to a memory file system where there is one: the library syncs
# every mapping it writes, and on a disk that costs more than the call under test.
scratch=$(mktemp -d "$([ -w /dev/shm ] && echo /dev/shm || echo "$run")/zvfuzz.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

# One target: a fresh copy of its corpus, then the fuzzer with its log in the run folder.
fuzz_target() {
    local target=$1 corpus=$run/corpus/$1
    mkdir -p "$corpus"
    cp fuzz/corpus/"$target"/* "$corpus"/
    TMPDIR=$scratch \
        UBSAN_OPTIONS=print_stacktrace=1 \
        "$root/build/fuzz/fuzz/$target" "$corpus" -max_total_time="$seconds" \
        -print_final_stats=1 -timeout=25 -rss_limit_mb=2560 \
        -artifact_prefix="$found/$target-" >"$run/$target.log" 2>&1
}

# The figures of a finished run from its log: executions, executions per second, covered edges
# of all instrumented edges, features and corpus size.
report() {
    local log=$1
    awk '
        /INFO: Loaded .* PC tables/ { for (i = 1; i <= NF; i++) if ($i ~ /^\(/) { pcs = substr($i, 2) } }
        / cov: / { for (i = 1; i <= NF; i++) { if ($i == "cov:") cov = $(i + 1); if ($i == "ft:") ft = $(i + 1); if ($i == "corp:") corp = $(i + 1) } }
        /stat::number_of_executed_units:/ { execs = $2 }
        /stat::average_exec_per_sec:/ { rate = $2 }
        END {
            share = pcs > 0 ? sprintf("%.1f%%", 100 * cov / pcs) : "?"
            printf "%12s %9s %6s of %-6s %6s %7s %s\n", execs, rate, cov, pcs, share, ft, corp
        }' "$log"
}

failed=()
for target in "${targets[@]}"; do
    if [ ! -x "build/fuzz/fuzz/$target" ] || [ ! -d "fuzz/corpus/$target" ]; then
        echo "no fuzz target $target" >&2
        failed+=("$target")
        continue
    fi
    echo "== $target: ${seconds} s"
    if ! fuzz_target "$target"; then
        grep -E "^(==[0-9]+==ERROR|SUMMARY|.*runtime error)" "$run/$target.log" | head -5 || true
        failed+=("$target")
    fi
done

echo
echo "== executions and coverage (edges of the library and the target, libFuzzer's counters)"
printf "%-18s %12s %9s %16s %6s %7s %s\n" target executions "exec/s" "covered edges" "" features corpus
for target in "${targets[@]}"; do
    [ -f "$run/$target.log" ] || continue
    printf "%-18s %s\n" "$target" "$(report "$run/$target.log")"
done
echo "logs and grown corpora: $run"

if [ ${#failed[@]} -gt 0 ]; then
    echo "== FAILED: ${failed[*]}; inputs found: $found"
    exit 1
fi
echo "== every target ran clean; inputs found: none ($found is empty)"
