// zvbench's entry point: Google Benchmark's usual main, and the one-load child of the memory
// figures when started with --peak-rss.
#include <benchmark/benchmark.h>

#include <cstring>

#include "PeakMemory.h"

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], zvbench::kPeakOption) == 0) {
        return zvbench::MeasurePeak(argv[2], argv[3]);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
