// Environment files through the exported ZVEV functions, on every data set: opening (loading)
// the text and the binary file, flushing (saving) both forms, 2 500 integer and string lookups
// by absolute key path, 2 500 integer sets in place, string sets that make values longer, and a
// sorted enumeration of one directory. Every benchmark checks its results once before it is
// timed, so a wrong answer is reported as an error instead of a figure.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "BenchData.h"
#include "ZVFileAccess.h"

namespace zvbench {

namespace {

const unsigned int kEnumAll = ZVEV_ENUM_DIRS | ZVEV_ENUM_KEYS | ZVEV_ENUM_SORT;
// At most this many distinct string keys are made longer per measured pass.
const int kGrowingSets = 250;

// An open handle for the length of one benchmark run.
class Handle {
public:
    explicit Handle(const std::string& path) {
        if (ZVEVOpenFile(path.c_str(), &m_handle) != 1) {
            m_handle = nullptr;
        }
    }
    ~Handle() {
        if (m_handle != nullptr) {
            ZVEVClose(m_handle);
        }
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ZVEV_HANDLE Get() const { return m_handle; }

private:
    ZVEV_HANDLE m_handle = nullptr;
};

std::vector<std::string> OurPaths(const DataSet& data, const std::vector<size_t>& picks) {
    std::vector<std::string> paths;
    for (size_t index : picks) {
        paths.push_back(OurPath(data.settings[index]));
    }
    return paths;
}

// The last integer of the data set, read through a fresh handle on path.
bool LoadsRight(const DataSet& data, const std::string& path) {
    Handle handle(path);
    const Setting& last = data.settings[data.integers.back()];
    return handle.Get() != nullptr &&
           ZVEVGetInteger(handle.Get(), OurPath(last).c_str(), last.integer + 1) == last.integer;
}

void Load(benchmark::State& state, const DataSet& data, const std::string& path) {
    if (!LoadsRight(data, path)) {
        state.SkipWithError("the file does not load");
        return;
    }
    for (auto _ : state) {
        ZVEV_HANDLE handle = nullptr;
        if (ZVEVOpenFile(path.c_str(), &handle) != 1) {
            state.SkipWithError("open failed");
            break;
        }
        state.PauseTiming();
        ZVEVClose(handle);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * data.keys);
}

void Save(benchmark::State& state, const DataSet& data, const std::string& source, int format) {
    const std::string path = ScratchPath("save-" + std::to_string(format) + ".env");
    if (!CopyFile(source, path)) {
        state.SkipWithError("cannot copy the file");
        return;
    }
    {
        Handle handle(path);
        if (handle.Get() == nullptr || ZVEVGetFormat(handle.Get()) != format ||
            ZVEVFlush(handle.Get()) != 1) {
            state.SkipWithError("cannot flush the file");
            return;
        }
        for (auto _ : state) {
            benchmark::DoNotOptimize(ZVEVFlush(handle.Get()));
        }
    }
    if (!LoadsRight(data, path)) {
        state.SkipWithError("the flushed file does not load");
    }
    state.SetItemsProcessed(state.iterations() * data.keys);
}

long long SumIntegers(ZVEV_HANDLE handle, const std::vector<std::string>& paths) {
    long long sum = 0;
    for (const std::string& path : paths) {
        sum += ZVEVGetInteger(handle, path.c_str(), 0);
    }
    return sum;
}

long long SumLengths(ZVEV_HANDLE handle, const std::vector<std::string>& paths) {
    char buffer[128];
    long long sum = 0;
    for (const std::string& path : paths) {
        sum += ZVEVGetString(handle, path.c_str(), buffer, sizeof buffer, "");
    }
    return sum;
}

// 2 500 integer (strings false) or string (strings true) lookups by absolute path; the check
// compares the sum of the integers or of the text lengths found, and one text.
void Lookups(benchmark::State& state, const DataSet& data, bool strings) {
    const std::vector<size_t> picks = LookupKeys(data, strings);
    const std::vector<std::string> paths = OurPaths(data, picks);
    auto run = strings ? SumLengths : SumIntegers;
    Handle handle(data.ourText);
    char text[128] = "";
    const Setting& last = data.settings[data.strings.back()];
    if (handle.Get() == nullptr || run(handle.Get(), paths) != ExpectedSum(data, picks, strings) ||
        ZVEVGetString(handle.Get(), OurPath(last).c_str(), text, sizeof text, "") < 0 ||
        last.text != text) {
        state.SkipWithError("the lookups found other values");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(run(handle.Get(), paths));
    }
    state.SetItemsProcessed(state.iterations() * kLookups);
}

void SetIntegers(benchmark::State& state, const DataSet& data) {
    const std::vector<std::string> paths = OurPaths(data, Pick(data.integers, kLookups, 3));
    Handle handle(data.ourText);
    if (handle.Get() == nullptr || ZVEVSetInteger(handle.Get(), paths.front().c_str(), 7) != 1 ||
        ZVEVGetInteger(handle.Get(), paths.front().c_str(), 0) != 7) {
        state.SkipWithError("cannot set an integer");
        return;
    }
    int value = 0;
    for (auto _ : state) {
        int failed = 0;
        for (const std::string& path : paths) {
            failed += ZVEVSetInteger(handle.Get(), path.c_str(), ++value) != 1;
        }
        benchmark::DoNotOptimize(failed);
    }
    state.SetItemsProcessed(state.iterations() * kLookups);
}

// Sets every key to its text (shorter) or its longer text, whichever is asked for; the number of
// sets that failed.
int SetTexts(ZVEV_HANDLE handle, const std::vector<std::string>& paths,
             const std::vector<std::string>& texts) {
    int failed = 0;
    for (size_t i = 0; i < paths.size(); ++i) {
        failed += ZVEVSetString(handle, paths[i].c_str(), texts[i].c_str()) != 1;
    }
    return failed;
}

// Each measured pass makes up to 250 distinct string values 26 bytes longer than they were
// (every item behind them moves); the original texts are put back with the clock stopped.
void SetGrowingStrings(benchmark::State& state, const DataSet& data) {
    const std::vector<size_t> picks = PickDistinct(data.strings, kGrowingSets, 4);
    const std::vector<std::string> paths = OurPaths(data, picks);
    std::vector<std::string> shorter;
    std::vector<std::string> longer;
    for (size_t index : picks) {
        shorter.push_back(data.settings[index].text);
        longer.push_back(data.settings[index].text + " (replaced by a longer one)");
    }
    Handle handle(data.ourText);
    char text[128] = "";
    if (handle.Get() == nullptr || SetTexts(handle.Get(), paths, longer) != 0 ||
        ZVEVGetString(handle.Get(), paths.back().c_str(), text, sizeof text, "") < 0 ||
        longer.back() != text || SetTexts(handle.Get(), paths, shorter) != 0) {
        state.SkipWithError("cannot set a string");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(SetTexts(handle.Get(), paths, longer));
        state.PauseTiming();
        SetTexts(handle.Get(), paths, shorter);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(paths.size()));
    state.SetLabel(std::to_string(paths.size()) + " keys");
}

void EnumSorted(benchmark::State& state, const DataSet& data) {
    const uint32_t expected = data.shape == Shape::kTree ? 100u : static_cast<uint32_t>(data.keys);
    Handle handle(data.ourText);
    ZVEV_ENUM_LIST_tag* list = handle.Get() != nullptr
                                   ? ZVEVEnumEntries(handle.Get(), data.firstDir.c_str(), kEnumAll)
                                   : nullptr;
    const bool right = list != nullptr && list->dwCount == expected;
    if (list != nullptr) {
        ZVEVFreeSnapList(list);
    }
    if (!right) {
        state.SkipWithError("the enumeration lists other entries");
        return;
    }
    for (auto _ : state) {
        list = ZVEVEnumEntries(handle.Get(), data.firstDir.c_str(), kEnumAll);
        benchmark::DoNotOptimize(list);
        ZVEVFreeSnapList(list);
    }
    state.SetItemsProcessed(state.iterations() * expected);
}

int Register() {
    for (const Case& c : Cases()) {
        AddEnvBenchmark("load_text", "ours", c,
                        [](benchmark::State& s, const DataSet& d) { Load(s, d, d.ourText); });
        AddEnvBenchmark("load_binary", "ours", c,
                        [](benchmark::State& s, const DataSet& d) { Load(s, d, d.ourBinary); });
        AddEnvBenchmark("save_text", "ours", c,
                        [](benchmark::State& s, const DataSet& d) { Save(s, d, d.ourText, 0); });
        AddEnvBenchmark("save_binary", "ours", c,
                        [](benchmark::State& s, const DataSet& d) { Save(s, d, d.ourBinary, 1); });
        AddEnvBenchmark("get_integer_2500", "ours", c,
                        [](benchmark::State& s, const DataSet& d) { Lookups(s, d, false); });
        AddEnvBenchmark("get_string_2500", "ours", c,
                        [](benchmark::State& s, const DataSet& d) { Lookups(s, d, true); });
        AddEnvBenchmark("set_integer_2500", "ours", c, SetIntegers);
        AddEnvBenchmark("set_string_growing", "ours", c, SetGrowingStrings);
        AddEnvBenchmark("enum_sorted", "ours", c, EnumSorted);
    }
    return 0;
}

const int kRegistered = Register();

}  // namespace

}  // namespace zvbench
