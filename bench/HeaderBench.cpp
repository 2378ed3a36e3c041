// Cost of writing and reading the common file header line: every validity check and every
// stamp of a data file goes through one parse, and every stamp through one formatting call.
#include <benchmark/benchmark.h>

#include <cstring>

#include "ZVCmnFileHdr.h"

namespace {

ZV_COMMON_FILE_HEADER_tag SampleHeader() {
    ZV_COMMON_FILE_HEADER_tag header;
    std::memset(&header, 0, sizeof header);
    std::memcpy(header.szFileType, "ENVT", 4);
    header.wMajorVer = 1;
    header.wMinorVer = 2;
    header.lLastModified = 1236434709;
    header.dwDataSize = 4096;
    header.lCheckSum = 0x1234;
    std::memcpy(header.szExtraInfo, "bench", 5);
    return header;
}

void BM_CreateHeaderLine(benchmark::State& state) {
    const ZV_COMMON_FILE_HEADER_tag header = SampleHeader();
    char line[ZVCF_HEADER_LENGTH];
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZVCFCreateCommonFileHeader(&header, line, sizeof line));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_CreateHeaderLine);

void BM_ParseHeaderLine(benchmark::State& state) {
    const ZV_COMMON_FILE_HEADER_tag header = SampleHeader();
    char line[ZVCF_HEADER_LENGTH];
    ZVCFCreateCommonFileHeader(&header, line, sizeof line);
    ZV_COMMON_FILE_HEADER_tag parsed;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZVCFParseCommonFileHeader(&parsed, line, sizeof line));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ParseHeaderLine);

void BM_GetWUID(benchmark::State& state) {
    const ZV_COMMON_FILE_HEADER_tag header = SampleHeader();
    WUID wuid;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZVCFGetWUID(&header, &wuid));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_GetWUID);

}  // namespace
