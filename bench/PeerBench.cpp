// The same work on the same settings with what a host program would use instead: GLib's GKeyFile
// (groups named after the leaf directories, keys by group and name) and libconfig (a tree like
// ours, settings by path), through their plain C functions. Load the text, 2 500 integer and
// string lookups, save as text. Results are checked once before they are timed.
#include <benchmark/benchmark.h>

#include <glib.h>
#include <libconfig.h>

#include <cstring>
#include <string>
#include <vector>

#include "BenchData.h"

namespace zvbench {

namespace {

// ---- GKeyFile ----

GKeyFile* LoadKeyFile(const std::string& path) {
    GKeyFile* file = g_key_file_new();
    if (!g_key_file_load_from_file(file, path.c_str(), G_KEY_FILE_NONE, nullptr)) {
        g_key_file_free(file);
        return nullptr;
    }
    return file;
}

struct GroupAndKey {
    std::string group;
    std::string key;
};

std::vector<GroupAndKey> KeyFileKeys(const DataSet& data, const std::vector<size_t>& picks) {
    std::vector<GroupAndKey> keys;
    for (size_t index : picks) {
        keys.push_back({data.settings[index].dir, data.settings[index].name});
    }
    return keys;
}

long long KeyFileIntegers(GKeyFile* file, const std::vector<GroupAndKey>& keys) {
    long long sum = 0;
    for (const GroupAndKey& k : keys) {
        sum += g_key_file_get_integer(file, k.group.c_str(), k.key.c_str(), nullptr);
    }
    return sum;
}

long long KeyFileStrings(GKeyFile* file, const std::vector<GroupAndKey>& keys) {
    long long sum = 0;
    for (const GroupAndKey& k : keys) {
        gchar* text = g_key_file_get_string(file, k.group.c_str(), k.key.c_str(), nullptr);
        if (text != nullptr) {
            sum += static_cast<long long>(strlen(text));
            g_free(text);
        }
    }
    return sum;
}

void KeyFileLoad(benchmark::State& state, const DataSet& data) {
    for (auto _ : state) {
        GKeyFile* file = LoadKeyFile(data.keyFile);
        if (file == nullptr) {
            state.SkipWithError("the key file does not load");
            break;
        }
        state.PauseTiming();
        g_key_file_free(file);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * data.keys);
}

void KeyFileSave(benchmark::State& state, const DataSet& data) {
    GKeyFile* file = LoadKeyFile(data.keyFile);
    const std::string path = ScratchPath("save.ini");
    if (file == nullptr || !g_key_file_save_to_file(file, path.c_str(), nullptr)) {
        state.SkipWithError("cannot save the key file");
    } else {
        for (auto _ : state) {
            benchmark::DoNotOptimize(g_key_file_save_to_file(file, path.c_str(), nullptr));
        }
    }
    if (file != nullptr) {
        g_key_file_free(file);
    }
    state.SetItemsProcessed(state.iterations() * data.keys);
}

// Integer (strings false) or string (strings true) lookups by group and key.
void KeyFileLookups(benchmark::State& state, const DataSet& data, bool strings) {
    const std::vector<size_t> picks = LookupKeys(data, strings);
    const std::vector<GroupAndKey> keys = KeyFileKeys(data, picks);
    const long long expected = ExpectedSum(data, picks, strings);
    auto run = strings ? KeyFileStrings : KeyFileIntegers;
    GKeyFile* file = LoadKeyFile(data.keyFile);
    if (file == nullptr || run(file, keys) != expected) {
        state.SkipWithError("the lookups found other values");
    } else {
        for (auto _ : state) {
            benchmark::DoNotOptimize(run(file, keys));
        }
    }
    if (file != nullptr) {
        g_key_file_free(file);
    }
    state.SetItemsProcessed(state.iterations() * kLookups);
}

// ---- libconfig ----

// A configuration read from a file for the length of one benchmark run.
class Config {
public:
    explicit Config(const std::string& path) {
        config_init(&m_config);
        m_loaded = config_read_file(&m_config, path.c_str()) == CONFIG_TRUE;
    }
    ~Config() { config_destroy(&m_config); }
    Config(const Config&) = delete;
    Config& operator=(const Config&) = delete;
    config_t* Get() { return m_loaded ? &m_config : nullptr; }

private:
    config_t m_config;
    bool m_loaded = false;
};

std::vector<std::string> ConfigPaths(const DataSet& data, const std::vector<size_t>& picks) {
    std::vector<std::string> paths;
    for (size_t index : picks) {
        paths.push_back(ConfigPath(data.settings[index]));
    }
    return paths;
}

long long ConfigIntegers(config_t* config, const std::vector<std::string>& paths) {
    long long sum = 0;
    for (const std::string& path : paths) {
        int value = 0;
        config_lookup_int(config, path.c_str(), &value);
        sum += value;
    }
    return sum;
}

long long ConfigStrings(config_t* config, const std::vector<std::string>& paths) {
    long long sum = 0;
    for (const std::string& path : paths) {
        const char* text = nullptr;
        if (config_lookup_string(config, path.c_str(), &text) == CONFIG_TRUE) {
            sum += static_cast<long long>(strlen(text));
        }
    }
    return sum;
}

void ConfigLoad(benchmark::State& state, const DataSet& data) {
    for (auto _ : state) {
        config_t config;
        config_init(&config);
        const int read = config_read_file(&config, data.libconfig.c_str());
        state.PauseTiming();
        config_destroy(&config);
        state.ResumeTiming();
        if (read != CONFIG_TRUE) {
            state.SkipWithError("the configuration does not load");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * data.keys);
}

void ConfigSave(benchmark::State& state, const DataSet& data) {
    Config config(data.libconfig);
    const std::string path = ScratchPath("save.cfg");
    if (config.Get() == nullptr || config_write_file(config.Get(), path.c_str()) != CONFIG_TRUE) {
        state.SkipWithError("cannot save the configuration");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(config_write_file(config.Get(), path.c_str()));
    }
    state.SetItemsProcessed(state.iterations() * data.keys);
}

void ConfigLookups(benchmark::State& state, const DataSet& data, bool strings) {
    const std::vector<size_t> picks = LookupKeys(data, strings);
    const std::vector<std::string> paths = ConfigPaths(data, picks);
    const long long expected = ExpectedSum(data, picks, strings);
    auto run = strings ? ConfigStrings : ConfigIntegers;
    Config config(data.libconfig);
    if (config.Get() == nullptr || run(config.Get(), paths) != expected) {
        state.SkipWithError("the lookups found other values");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(run(config.Get(), paths));
    }
    state.SetItemsProcessed(state.iterations() * kLookups);
}

int Register() {
    for (const Case& c : Cases()) {
        AddEnvBenchmark("load_text", "gkeyfile", c, KeyFileLoad);
        AddEnvBenchmark("save_text", "gkeyfile", c, KeyFileSave);
        AddEnvBenchmark("get_integer_2500", "gkeyfile", c,
                        [](benchmark::State& s, const DataSet& d) { KeyFileLookups(s, d, false); });
        AddEnvBenchmark("get_string_2500", "gkeyfile", c,
                        [](benchmark::State& s, const DataSet& d) { KeyFileLookups(s, d, true); });
        AddEnvBenchmark("load_text", "libconfig", c, ConfigLoad);
        AddEnvBenchmark("save_text", "libconfig", c, ConfigSave);
        AddEnvBenchmark("get_integer_2500", "libconfig", c,
                        [](benchmark::State& s, const DataSet& d) { ConfigLookups(s, d, false); });
        AddEnvBenchmark("get_string_2500", "libconfig", c,
                        [](benchmark::State& s, const DataSet& d) { ConfigLookups(s, d, true); });
    }
    return 0;
}

const int kRegistered = Register();

}  // namespace

}  // namespace zvbench
