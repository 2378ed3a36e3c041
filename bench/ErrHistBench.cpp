// Error history throughput through the ZVEH functions at capacities 100 and 32 767: adding one
// record, reading the whole ring, and reading one record by id. Beside them the physical bound
// of the same file: one 128-byte line per record copied into (or out of) a shared mapping of
// the file, and one 128-byte write(2) per record, measured in the same run. The history is opened
// with a flush interval of 3000, which flushes the mapping (asynchronously) at every unlock.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "BenchData.h"
#include "ZVErrHistFunc.h"

namespace zvbench {

namespace {

const unsigned int kHeaderBytes = 96;
const unsigned int kLineBytes = 128;
const unsigned int kFlushInterval = 3000;

std::string Name(const char* work, const char* impl, unsigned short capacity) {
    return std::string("errhist/") + work + "/" + impl + "/" + std::to_string(capacity);
}

// A history file of exactly 96 + 128 x capacity bytes, as the history requires.
std::string PrepareFile(const char* stem, unsigned short capacity) {
    const std::string path = ScratchPath(std::string(stem) + std::to_string(capacity) + ".dat");
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
    const off_t size = kHeaderBytes + static_cast<off_t>(kLineBytes) * capacity;
    const bool made = fd >= 0 && ftruncate(fd, size) == 0;
    if (fd >= 0) {
        close(fd);
    }
    return made ? path : std::string();
}

ERRHIST_tag SampleRecord() {
    ERRHIST_tag record;
    std::memset(&record, 0, sizeof record);
    record.wNumber1 = 3;
    std::strcpy(record.szText, "Axis 3 drive over temperature");
    record.wNumber2 = 17;
    record.wCode = 0x2A41;
    record.lTime = 1236434709;
    record.byNumber3 = 2;
    record.wNumber4 = 9;
    record.dwValue1 = 81;
    record.dwValue2 = 4000;
    record.dwValue3 = 0xDEADBEEF;
    return record;
}

// The history held for one benchmark run, with 'filled' records added.
class History {
public:
    History(unsigned short capacity, int filled) {
        const std::string path = PrepareFile("errhist-", capacity);
        m_open = !path.empty() && ZVEHInitA(path.c_str(), capacity, kFlushInterval) == 1;
        ERRHIST_tag record = SampleRecord();
        for (int i = 0; m_open && i < filled; ++i) {
            m_open = ZVEHAddErrorHistory(&record, nullptr) == 1;
        }
    }
    ~History() { ZVEHExit(); }
    History(const History&) = delete;
    History& operator=(const History&) = delete;
    bool IsOpen() const { return m_open; }

private:
    bool m_open = false;
};

void Add(benchmark::State& state, unsigned short capacity) {
    History history(capacity, 0);
    ERRHIST_tag record = SampleRecord();
    unsigned short id = 0;
    if (!history.IsOpen() || ZVEHAddErrorHistory(&record, &id) != 1 || id != 1) {
        state.SkipWithError("cannot add a record");
        return;
    }
    for (auto _ : state) {
        ++record.dwValue1;
        benchmark::DoNotOptimize(ZVEHAddErrorHistory(&record, &id));
    }
    state.SetItemsProcessed(state.iterations());
}

void GetAll(benchmark::State& state, unsigned short capacity) {
    History history(capacity, capacity);
    std::vector<ERRHIST_tag> records(capacity);
    const unsigned int bytes = static_cast<unsigned int>(records.size() * sizeof(ERRHIST_tag));
    unsigned short first = 0;
    int read = 0;
    if (!history.IsOpen() ||
        ZVEHGetErrorHistory(0, 0, records.data(), bytes, &first, &read) != capacity ||
        read != capacity || first != 1 || records.back().dwValue3 != 0xDEADBEEF) {
        state.SkipWithError("cannot read the ring");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZVEHGetErrorHistory(0, 0, records.data(), bytes, &first, &read));
    }
    state.SetItemsProcessed(state.iterations() * capacity);
}

void GetOne(benchmark::State& state, unsigned short capacity) {
    History history(capacity, capacity);
    ERRHIST_tag record;
    unsigned short first = 0;
    int read = 0;
    if (!history.IsOpen() ||
        ZVEHGetErrorHistory(capacity, 1, &record, sizeof record, &first, &read) != 1 || read != 1 ||
        first != capacity) {
        state.SkipWithError("cannot read a record");
        return;
    }
    unsigned short id = 0;
    for (auto _ : state) {
        id = static_cast<unsigned short>(id % capacity + 1);
        benchmark::DoNotOptimize(ZVEHGetErrorHistory(id, 1, &record, sizeof record, &first, &read));
    }
    state.SetItemsProcessed(state.iterations());
}

// A shared writable mapping of a prepared file of the history's size.
class Mapping {
public:
    explicit Mapping(unsigned short capacity)
        : m_size(kHeaderBytes + static_cast<size_t>(kLineBytes) * capacity) {
        const std::string path = PrepareFile("bound-", capacity);
        m_fd = path.empty() ? -1 : open(path.c_str(), O_RDWR);
        void* address = m_fd < 0
                            ? MAP_FAILED
                            : mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
        m_bytes = address == MAP_FAILED ? nullptr : static_cast<char*>(address);
    }
    ~Mapping() {
        if (m_bytes != nullptr) {
            munmap(m_bytes, m_size);
        }
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    char* Line(unsigned int slot) const { return m_bytes + kHeaderBytes + kLineBytes * slot; }
    int Fd() const { return m_fd; }
    bool IsOpen() const { return m_bytes != nullptr; }

private:
    size_t m_size;
    int m_fd = -1;
    char* m_bytes = nullptr;
};

// One 128-byte line per record into the next slot of the ring: copied into the mapping
// (useWrite false) or written with pwrite(2) (useWrite true).
void BoundAdd(benchmark::State& state, unsigned short capacity, bool useWrite) {
    Mapping mapping(capacity);
    char line[kLineBytes];
    std::memset(line, 'x', sizeof line);
    if (!mapping.IsOpen()) {
        state.SkipWithError("cannot map the file");
        return;
    }
    unsigned int slot = 0;
    for (auto _ : state) {
        if (useWrite) {
            const off_t offset = kHeaderBytes + static_cast<off_t>(kLineBytes) * slot;
            benchmark::DoNotOptimize(pwrite(mapping.Fd(), line, kLineBytes, offset));
        } else {
            std::memcpy(mapping.Line(slot), line, kLineBytes);
            benchmark::ClobberMemory();
        }
        slot = slot + 1 == capacity ? 0 : slot + 1;
    }
    state.SetItemsProcessed(state.iterations());
}

void BoundMemcpyAdd(benchmark::State& state, unsigned short capacity) {
    BoundAdd(state, capacity, false);
}

void BoundWriteAdd(benchmark::State& state, unsigned short capacity) {
    BoundAdd(state, capacity, true);
}

void BoundMemcpyGetAll(benchmark::State& state, unsigned short capacity) {
    Mapping mapping(capacity);
    std::vector<char> lines(static_cast<size_t>(kLineBytes) * capacity);
    if (!mapping.IsOpen()) {
        state.SkipWithError("cannot map the file");
        return;
    }
    for (auto _ : state) {
        for (unsigned int slot = 0; slot < capacity; ++slot) {
            std::memcpy(&lines[static_cast<size_t>(kLineBytes) * slot], mapping.Line(slot),
                        kLineBytes);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * capacity);
}

int Register() {
    using Run = void (*)(benchmark::State&, unsigned short);
    static const struct {
        const char* work;
        const char* impl;
        Run run;
    } kBenchmarks[] = {{"add", "ours", Add},
                       {"add", "mmap_memcpy", BoundMemcpyAdd},
                       {"add", "pwrite", BoundWriteAdd},
                       {"get_all", "ours", GetAll},
                       {"get_all", "mmap_memcpy", BoundMemcpyGetAll},
                       {"get_one", "ours", GetOne}};
    for (unsigned short capacity :
         {static_cast<unsigned short>(100), static_cast<unsigned short>(32767)}) {
        for (const auto& b : kBenchmarks) {
            Run run = b.run;
            benchmark::RegisterBenchmark(
                Name(b.work, b.impl, capacity).c_str(),
                [run, capacity](benchmark::State& state) { run(state, capacity); })
                ->UseRealTime();
        }
    }
    return 0;
}

const int kRegistered = Register();

}  // namespace

}  // namespace zvbench
