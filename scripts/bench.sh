#!/usr/bin/env bash
# Builds the benchmarks (CMake preset `bench`), runs them and writes the report: the raw JSON to
# build/bench/results.json, the figures into docs/performance.md (between its generated-section
# markers; the hand-written parts stay) and the plots docs/perf-load.png, docs/perf-lookup.png.
# Every benchmark is repeated with the repetitions interleaved in random order; the report
# gives medians.
# Usage: scripts/bench.sh           the whole suite (about half an hour on a 2-core machine)
#        scripts/bench.sh --quick   only the 10 000-key environment cases, fewer repetitions;
#                                   prints the figures and leaves docs/ alone
# ZVBENCH_REPETITIONS overrides the number of repetitions.
set -euo pipefail
cd "$(dirname "$0")/.."

quick=0
case "${1:-}" in
    --quick) quick=1 ;;
    "") ;;
    *) echo "usage: scripts/bench.sh [--quick]" >&2; exit 2 ;;
esac

# Debian packages the benchmarks need beyond the machine's toolchain.
source scripts/need-packages.sh
need_packages cmake ninja-build g++ pkg-config libbenchmark-dev libglib2.0-dev libconfig-dev \
    gnuplot-nox python3

echo "== bench: configure, build"
mkdir -p build
if ! cmake --preset bench >build/bench-configure.log 2>&1; then
    cat build/bench-configure.log; exit 1
fi
rm -f build/bench-configure.log
cmake --build --preset bench -j "$(nproc)"

if [ $quick -eq 1 ]; then
    repetitions=${ZVBENCH_REPETITIONS:-3}
    filter='^env/[^/]+/[^/]+/(tree|flat)/10000/'
    results=build/bench/results-quick.json
else
    repetitions=${ZVBENCH_REPETITIONS:-9}
    filter='.'
    results=build/bench/results.json
fi
args=(--benchmark_filter="$filter"
      --benchmark_enable_random_interleaving=true
      --benchmark_repetitions="$repetitions"
      --benchmark_min_time=0.2
      --benchmark_display_aggregates_only=true
      --benchmark_out="$results"
      --benchmark_out_format=json)
command="build/bench/bench/zvbench ${args[*]}"
echo "== bench: $command"
build/bench/bench/zvbench "${args[@]}"

/usr/bin/python3 scripts/bench-report.py "$results" --command "$command" --build build/bench \
    $([ $quick -eq 1 ] || echo "--doc docs/performance.md --plots docs")
if [ $quick -eq 0 ]; then
    echo "== bench: wrote $results, docs/performance.md, docs/perf-load.png, docs/perf-lookup.png"
fi
