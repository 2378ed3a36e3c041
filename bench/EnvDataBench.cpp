// Cost of building and reading an environment store: 10 000 integer keys created in 100
// directories on a fresh store (what loading a large text file does), and 2 500 lookups of an
// integer by directory offset and key name (what typed access does once the path is split).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ZVEnvData.h"

namespace {

const int kDirs = 100;
const int kKeysPerDir = 100;
const int kLookups = 2500;

std::vector<std::string> Names(const char* prefix, int count) {
    std::vector<std::string> names;
    char name[16];
    for (int i = 0; i < count; ++i) {
        snprintf(name, sizeof name, "%s%03d", prefix, i);
        names.push_back(name);
    }
    return names;
}

// Fills a reset store directory by directory; returns the directories' offsets (each stays put,
// since later keys go into later directories only).
std::vector<unsigned int> FillStore(CZVEnvData& store, const std::vector<std::string>& dirs,
                                    const std::vector<std::string>& keys) {
    std::vector<unsigned int> offsets;
    int value = 0;
    for (const std::string& dirName : dirs) {
        const unsigned int dir =
            store.CreateSubDir(0, dirName.c_str(), static_cast<int>(dirName.size()));
        offsets.push_back(dir);
        for (const std::string& key : keys) {
            store.SetInteger(dir, key.c_str(), static_cast<int>(key.size()), value++, 0);
        }
    }
    return offsets;
}

void BM_EnvDataCreate10000Keys(benchmark::State& state) {
    const std::vector<std::string> dirs = Names("Dir", kDirs);
    const std::vector<std::string> keys = Names("Key", kKeysPerDir);
    for (auto _ : state) {
        state.PauseTiming();
        CZVEnvData store;
        if (!store.Open("EnvDataBenchCreate", "bench") || !store.Lock(1) ||
            !store.Reset(nullptr, 0)) {
            state.SkipWithError("no store");
            break;
        }
        state.ResumeTiming();
        benchmark::DoNotOptimize(FillStore(store, dirs, keys));
        state.PauseTiming();
        int value = 0;
        if (store.GetInteger(store.GetDir(0, "Dir099", 6), "Key099", 6, &value) == 0 ||
            value != kDirs * kKeysPerDir - 1) {
            state.SkipWithError("the keys are not all there");
        }
        store.Lock(0);
        store.Close();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kDirs * kKeysPerDir);
}
BENCHMARK(BM_EnvDataCreate10000Keys)->Unit(benchmark::kMillisecond);

void BM_EnvDataLookup2500(benchmark::State& state) {
    const std::vector<std::string> dirs = Names("Dir", kDirs);
    const std::vector<std::string> keys = Names("Key", kKeysPerDir);
    CZVEnvData store;
    if (!store.Open("EnvDataBenchLookup", "bench") || !store.Lock(1) || !store.Reset(nullptr, 0)) {
        state.SkipWithError("no store");
        return;
    }
    const std::vector<unsigned int> offsets = FillStore(store, dirs, keys);
    // A fixed spread of (directory, key) pairs over the whole tree.
    struct Lookup {
        unsigned int dir;
        const std::string* key;
        int expected;
    };
    std::vector<Lookup> lookups;
    unsigned int seed = 12345;
    for (int i = 0; i < kLookups; ++i) {
        seed = seed * 1103515245u + 12345u;
        const int d = static_cast<int>((seed >> 8) % kDirs);
        seed = seed * 1103515245u + 12345u;
        const int k = static_cast<int>((seed >> 8) % kKeysPerDir);
        lookups.push_back({offsets[d], &keys[k], d * kKeysPerDir + k});
    }
    for (auto _ : state) {
        long long sum = 0;
        for (const Lookup& l : lookups) {
            int value = 0;
            store.GetInteger(l.dir, l.key->c_str(), static_cast<int>(l.key->size()), &value);
            sum += value;
        }
        benchmark::DoNotOptimize(sum);
    }
    for (const Lookup& l : lookups) {
        int value = -1;
        if (store.GetInteger(l.dir, l.key->c_str(), -1, &value) == 0 || value != l.expected) {
            state.SkipWithError("a lookup found the wrong value");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kLookups);
}
BENCHMARK(BM_EnvDataLookup2500)->Unit(benchmark::kMicrosecond);

}  // namespace
