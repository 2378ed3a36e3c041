// The benchmarks' settings: names, types and values drawn by a fixed seed, and the temporary
// folder the files go into.
#include "BenchData.h"

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <utility>

#include "BenchFiles.h"

namespace zvbench {

namespace {

const int kKeysPerDir = 100;

// Top-level groups and the units under them: leaf j is kGroups[j % 10] / kUnits[j % 10] + j / 10.
const char* const kGroups[] = {"net",   "motor",  "sensor",    "io",      "safety",
                               "panel", "logger", "hydraulic", "spindle", "conveyor"};
const char* const kUnits[] = {"eth",  "axis",    "probe", "port",  "zone",
                              "page", "channel", "valve", "drive", "belt"};

// 25 base names in four forms each make a leaf's 100 key names ("speed", "maxSpeed", ...).
const char* const kBases[] = {"speed",   "accel",    "mtu",      "timeout",   "retries",
                              "gain",    "offset",   "scale",    "threshold", "interval",
                              "port",    "address",  "label",    "enabled",   "mode",
                              "serial",  "firmware", "calib",    "temp",      "pressure",
                              "voltage", "current",  "position", "limit",     "filter"};
const char* const kForms[] = {"", "max", "min", "default"};

const char* const kWords[] = {"uplink", "spare",  "front", "rear",   "left",  "right",
                              "main",   "backup", "north", "feeder", "guard", "cell",
                              "line",   "press",  "robot", "oven",   "pump",  "station"};

std::string KeyName(int k) {
    std::string base = kBases[k % 25];
    const std::string form = kForms[(k / 25) % 4];
    if (form.empty()) {
        return base;
    }
    base[0] = static_cast<char>(base[0] - 'a' + 'A');
    return form + base;
}

// Four in ten integers, two reals, one boolean, two strings, one binary.
ValueType TypeOf(int k) {
    static const ValueType kPattern[10] = {
        ValueType::kInteger, ValueType::kInteger, ValueType::kInteger, ValueType::kInteger,
        ValueType::kReal,    ValueType::kReal,    ValueType::kBoolean, ValueType::kString,
        ValueType::kString,  ValueType::kBinary};
    return kPattern[k % 10];
}

std::string Words(Random& random) {
    std::string text = kWords[random.Next(18)];
    const uint32_t more = 1 + random.Next(3);
    for (uint32_t i = 0; i < more; ++i) {
        text += ' ';
        text += kWords[random.Next(18)];
    }
    text += ' ';
    text += std::to_string(random.Next(100));
    return text;
}

void FillValue(Setting* setting, Random& random) {
    switch (setting->type) {
        case ValueType::kInteger:
            setting->integer = static_cast<int>(random.Next(2000001)) - 1000000;
            break;
        case ValueType::kReal:
            // Eighths are exact in every text form, so the peers store the same number.
            setting->real = (static_cast<int>(random.Next(800001)) - 400000) / 8.0;
            break;
        case ValueType::kBoolean:
            setting->boolean = random.Next(2) != 0;
            break;
        case ValueType::kString:
            setting->text = Words(random);
            break;
        case ValueType::kBinary:
            setting->bytes.resize(4 + random.Next(13));
            for (unsigned char& byte : setting->bytes) {
                byte = static_cast<unsigned char>(random.Next(256));
            }
            break;
    }
}

std::string LeafDir(int leaf) {
    return std::string(kGroups[leaf % 10]) + "/" + kUnits[leaf % 10] + std::to_string(leaf / 10);
}

DataSet MakeSettings(Shape shape, int keys) {
    DataSet data;
    data.shape = shape;
    data.keys = keys;
    Random random(static_cast<uint64_t>(keys) * 2 + (shape == Shape::kFlat ? 1 : 0));
    for (int i = 0; i < keys; ++i) {
        Setting setting;
        const int k = i % kKeysPerDir;
        if (shape == Shape::kTree) {
            setting.dir = LeafDir(i / kKeysPerDir);
            setting.name = KeyName(k);
        } else {
            setting.dir = "params";
            setting.name = KeyName(k) + std::to_string(i / kKeysPerDir);
        }
        setting.type = TypeOf(k);
        FillValue(&setting, random);
        if (setting.type == ValueType::kInteger) {
            data.integers.push_back(data.settings.size());
        } else if (setting.type == ValueType::kString) {
            data.strings.push_back(data.settings.size());
        }
        data.settings.push_back(std::move(setting));
    }
    data.firstDir = "/" + data.settings.front().dir;
    return data;
}

class ScratchFolder {
public:
    ScratchFolder() {
        const char* base = getenv("TMPDIR");
        std::string pattern =
            std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/zvbench-XXXXXX";
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        if (mkdtemp(buffer.data()) == nullptr) {
            std::fprintf(stderr, "zvbench: cannot create a folder for the data files\n");
            std::abort();
        }
        m_path = buffer.data();
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

}  // namespace

uint32_t Random::Next(uint32_t bound) {
    m_state = m_state * 6364136223846793005ull + 1442695040888963407ull;
    return static_cast<uint32_t>((m_state >> 33) % bound);
}

std::vector<size_t> Pick(const std::vector<size_t>& from, int count, uint64_t seed) {
    Random random(seed);
    std::vector<size_t> picked;
    for (int i = 0; i < count; ++i) {
        picked.push_back(from[random.Next(static_cast<uint32_t>(from.size()))]);
    }
    return picked;
}

std::vector<size_t> PickDistinct(const std::vector<size_t>& from, int count, uint64_t seed) {
    Random random(seed);
    std::vector<size_t> pool = from;
    for (size_t i = pool.size(); i > 1; --i) {
        std::swap(pool[i - 1], pool[random.Next(static_cast<uint32_t>(i))]);
    }
    if (pool.size() > static_cast<size_t>(count)) {
        pool.resize(static_cast<size_t>(count));
    }
    return pool;
}

const std::vector<Case>& Cases() {
    static const std::vector<Case> cases = {{Shape::kTree, 100},   {Shape::kTree, 1000},
                                            {Shape::kTree, 10000}, {Shape::kTree, 100000},
                                            {Shape::kFlat, 1000},  {Shape::kFlat, 10000}};
    return cases;
}

std::string EnvName(const char* work, const char* impl, const Case& c) {
    return std::string("env/") + work + "/" + impl + "/" + ShapeName(c.shape) + "/" +
           std::to_string(c.keys);
}

void AddEnvBenchmark(const char* work, const char* impl, const Case& c, EnvRun run) {
    benchmark::RegisterBenchmark(
        EnvName(work, impl, c).c_str(),
        [c, run](benchmark::State& state) { run(state, GetDataSet(c.shape, c.keys)); })
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);
}

std::vector<size_t> LookupKeys(const DataSet& data, bool strings) {
    return strings ? Pick(data.strings, kLookups, 2) : Pick(data.integers, kLookups, 1);
}

long long ExpectedSum(const DataSet& data, const std::vector<size_t>& picks, bool strings) {
    long long sum = 0;
    for (size_t index : picks) {
        const Setting& setting = data.settings[index];
        sum += strings ? static_cast<long long>(setting.text.size()) : setting.integer;
    }
    return sum;
}

const char* ShapeName(Shape shape) {
    return shape == Shape::kTree ? "tree" : "flat";
}

std::string OurPath(const Setting& setting) {
    return "/" + setting.dir + "/" + setting.name;
}

std::string ConfigPath(const Setting& setting) {
    std::string path = setting.dir + "." + setting.name;
    for (char& c : path) {
        if (c == '/') {
            c = '.';
        }
    }
    return path;
}

std::string ScratchPath(const std::string& name) {
    static ScratchFolder folder;
    return folder.Path() + "/" + name;
}

bool CopyFile(const std::string& from, const std::string& to) {
    std::error_code error;
    return std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing,
                                      error);
}

const DataSet& GetDataSet(Shape shape, int keys) {
    static std::map<std::pair<Shape, int>, std::unique_ptr<DataSet>> sets;
    std::unique_ptr<DataSet>& slot = sets[{shape, keys}];
    if (!slot) {
        DataSet data = MakeSettings(shape, keys);
        const std::string stem = std::string(ShapeName(shape)) + std::to_string(keys);
        data.ourText = ScratchPath(stem + "-text.env");
        data.ourBinary = ScratchPath(stem + "-binary.env");
        data.keyFile = ScratchPath(stem + ".ini");
        data.libconfig = ScratchPath(stem + ".cfg");
        if (!WriteOurFiles(data) || !WriteKeyFile(data) || !WriteConfigFile(data)) {
            std::fprintf(stderr, "zvbench: cannot write the %s data files\n", stem.c_str());
            std::abort();
        }
        slot = std::make_unique<DataSet>(std::move(data));
    }
    return *slot;
}

}  // namespace zvbench
