// Cost of the string buffer functions: formatting grows its buffer by retrying, and the
// narrow/wide conversions measure before they convert.
#include <benchmark/benchmark.h>

#include "TarnString.h"

namespace {

void BM_FormatString(benchmark::State& state) {
    for (auto _ : state) {
        char* text = TarnFormatStringA("%s/%s/%d", "Motor", "Speed", 1200);
        benchmark::DoNotOptimize(text);
        TarnFreeBuffer(text);
    }
}
BENCHMARK(BM_FormatString);

void BM_FormatLongString(benchmark::State& state) {
    for (auto _ : state) {
        char* text = TarnFormatStringA("%0*d", 1000, 7);
        benchmark::DoNotOptimize(text);
        TarnFreeBuffer(text);
    }
}
BENCHMARK(BM_FormatLongString);

void BM_WideToAnsi(benchmark::State& state) {
    for (auto _ : state) {
        char* text = TarnWideToAnsiString(L"Environment/Motor/Speed");
        benchmark::DoNotOptimize(text);
        TarnFreeBuffer(text);
    }
}
BENCHMARK(BM_WideToAnsi);

}  // namespace
