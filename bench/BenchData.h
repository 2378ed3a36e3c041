// The settings that the environment-file benchmarks load, look up and save, and the files that
// hold them. A data set is either a tree (leaf directories of 100 keys such as "motor/axis3",
// under ten top-level groups) or one flat directory ("params") of all its keys. Every value type
// is present: four in ten keys are integers, two reals, one a boolean, two strings and one binary
// data. The same settings are written once per data set, on first use, into a temporary folder:
// as a text and a binary environment file by the library itself, as a key file by GKeyFile and
// as a configuration file by libconfig.
#ifndef ZVBENCH_BENCHDATA_H
#define ZVBENCH_BENCHDATA_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zvbench {

enum class ValueType { kInteger, kReal, kBoolean, kString, kBinary };

enum class Shape { kTree, kFlat };

struct Setting {
    std::string dir;   // "motor/axis3" (groups joined by '/', no leading '/')
    std::string name;  // "maxSpeed"
    ValueType type;
    int integer = 0;
    double real = 0.0;
    bool boolean = false;
    std::string text;
    std::vector<unsigned char> bytes;
};

struct DataSet {
    Shape shape;
    int keys;
    std::vector<Setting> settings;  // leaf directory by leaf directory
    std::vector<size_t> integers;   // indexes of the integer settings
    std::vector<size_t> strings;    // indexes of the string settings
    std::string firstDir;           // the first leaf directory, "/net/eth0" or "/params"
    std::string ourText;            // "ENVT" file written by the library
    std::string ourBinary;          // "ENVB" file written by the library
    std::string keyFile;            // GKeyFile's file: one group per leaf directory
    std::string libconfig;          // libconfig's file: nested groups
};

// The data set of that shape and key count, generated and written on the first call. Aborts the
// program when a file cannot be written (nothing could be measured).
const DataSet& GetDataSet(Shape shape, int keys);

// The measured data sets: trees of 100, 1 000, 10 000 and 100 000 keys, and one directory of
// 1 000 and of 10 000 keys.
struct Case {
    Shape shape;
    int keys;
};
const std::vector<Case>& Cases();
// "env/<work>/<impl>/<tree|flat>/<keys>": the name every environment-file figure is reported
// under (the report script pairs our figures with the peers' by it).
std::string EnvName(const char* work, const char* impl, const Case& c);

// Registers run on the data set of c under EnvName(work, impl, c), timed in real time.
using EnvRun = void (*)(benchmark::State& state, const DataSet& data);
void AddEnvBenchmark(const char* work, const char* impl, const Case& c, EnvRun run);

// Lookups per measured pass of the lookup benchmarks.
const int kLookups = 2500;
// The keys of the lookup benchmarks: 2 500 string (strings true) or integer settings drawn with
// replacement by a fixed seed, the same for ours and the peers.
std::vector<size_t> LookupKeys(const DataSet& data, bool strings);
// What looking them all up must give: the sum of the integers, or of the texts' lengths.
long long ExpectedSum(const DataSet& data, const std::vector<size_t>& picks, bool strings);

const char* ShapeName(Shape shape);

// "/motor/axis3/maxSpeed": the absolute key path of the library.
std::string OurPath(const Setting& setting);
// "motor.axis3.maxSpeed": the path of libconfig.
std::string ConfigPath(const Setting& setting);

// A path inside the benchmarks' temporary folder (created on first use, removed at exit).
std::string ScratchPath(const std::string& name);
bool CopyFile(const std::string& from, const std::string& to);

// A small deterministic generator, so that every run draws the same keys and values.
class Random {
public:
    explicit Random(uint64_t seed) : m_state(seed * 2862933555777941757ull + 3037000493ull) {}
    uint32_t Next(uint32_t bound);

private:
    uint64_t m_state;
};

// count indexes drawn from 'from' with replacement, by a fixed seed.
std::vector<size_t> Pick(const std::vector<size_t>& from, int count, uint64_t seed);
// Up to count distinct indexes from 'from', shuffled by a fixed seed.
std::vector<size_t> PickDistinct(const std::vector<size_t>& from, int count, uint64_t seed);

}  // namespace zvbench

#endif  // ZVBENCH_BENCHDATA_H
