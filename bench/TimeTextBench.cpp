// Cost of the date-time text writers and readers, which the header stamp and the environment
// files call once per time value.
#include <benchmark/benchmark.h>

#include <stdlib.h>
#include <time.h>

#include "TarnTime.h"

namespace {

void UseUtc() {
    setenv("TZ", "UTC", 1);
    tzset();
}

void BM_WriteDateTime(benchmark::State& state) {
    UseUtc();
    const long value = 1236434709L;
    const int format = static_cast<int>(state.range(0));
    char text[32];
    for (auto _ : state) {
        benchmark::DoNotOptimize(TarnGetDateTimeStrA(&value, format, text, sizeof text, 1));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_WriteDateTime)->DenseRange(TARN_DTF_YMDHMSM, TARN_DTF_HM);

void BM_ReadDateTime(benchmark::State& state) {
    UseUtc();
    long value = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            TarnParseDateTimeStrA("2009/03/07 14:05:09:000", TARN_DTF_YMDHMSM, &value, 1));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ReadDateTime);

}  // namespace
