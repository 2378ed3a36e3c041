// The common file header on files of 64 KiB and 1 MiB: stamping an existing file
// (ZVCFGetAndUpdateCommonFileHeaderA: parse, size, checksum, time, write back), the lenient and
// the strict check (ZVCFIsFileValidA, ZVCFIsFileAbsValidA), and beside them their bounds: mapping
// the file and XORing its words, and for the stamp also writing the line and syncing it. None of
// these calls sleeps. TarnGetFileInfoA is measured too, once per run: its checksum pauses one
// second per 200 KiB started on purpose, so what a caller gets from it is seconds, not
// microseconds.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "BenchData.h"
#include "TarnFile.h"
#include "ZVCmnFileHdr.h"

namespace zvbench {

namespace {

std::string Name(const char* work, const char* impl, unsigned int size) {
    return std::string("header/") + work + "/" + impl + "/" + std::to_string(size);
}

// A stamped file of size bytes (a 96-byte header and a pseudo-random body), made once per size.
const std::string& StampedFile(unsigned int size) {
    static std::string paths[2];
    std::string& path = paths[size > 65536 ? 1 : 0];
    if (path.empty()) {
        const std::string candidate = ScratchPath("header-" + std::to_string(size) + ".dat");
        ZV_COMMON_FILE_HEADER_tag header;
        std::memset(&header, 0, sizeof header);
        std::memcpy(header.szFileType, "DATA", 4);
        header.wMajorVer = 1;
        std::vector<char> bytes(size);
        ZVCFCreateCommonFileHeader(&header, bytes.data(), ZVCF_HEADER_LENGTH);
        Random random(size);
        for (size_t i = ZVCF_HEADER_LENGTH; i < bytes.size(); ++i) {
            bytes[i] = static_cast<char>(random.Next(256));
        }
        FILE* file = std::fopen(candidate.c_str(), "wb");
        const bool written = file != nullptr && std::fwrite(bytes.data(), 1, size, file) == size;
        if (file != nullptr) {
            std::fclose(file);
        }
        if (written && ZVCFGetAndUpdateCommonFileHeaderA(candidate.c_str(), &header) == 1 &&
            ZVCFIsFileAbsValidA(candidate.c_str()) == 1) {
            path = candidate;
        }
    }
    return path;
}

void Stamp(benchmark::State& state, const std::string& path) {
    ZV_COMMON_FILE_HEADER_tag header;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZVCFGetAndUpdateCommonFileHeaderA(path.c_str(), &header));
    }
    if (ZVCFIsFileAbsValidA(path.c_str()) != 1) {
        state.SkipWithError("the stamped file does not pass the strict check");
    }
}

void Check(benchmark::State& state, const std::string& path) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZVCFIsFileValidA(path.c_str()));
    }
}

void CheckStrict(benchmark::State& state, const std::string& path) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZVCFIsFileAbsValidA(path.c_str()));
    }
}

// Open, map, XOR every 16-bit word, unmap, close: what any check of the whole file costs.
unsigned int MapAndXor(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY);
    const off_t size = fd >= 0 ? lseek(fd, 0, SEEK_END) : 0;
    void* address = size > 0 ? mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0) : MAP_FAILED;
    unsigned int sum = 0;
    if (address != MAP_FAILED) {
        const unsigned char* bytes = static_cast<const unsigned char*>(address);
        for (off_t i = 0; i + 1 < size; i += 2) {
            sum ^= bytes[i] | (bytes[i + 1] << 8);
        }
        munmap(address, size);
    }
    if (fd >= 0) {
        close(fd);
    }
    return sum;
}

// The least a stamp of the whole file does: map it writable, XOR the body's words, write a
// 96-byte line at the start and wait for the mapping to reach the disk (as the stamp's close
// does).
unsigned int MapXorAndSync(const std::string& path) {
    const int fd = open(path.c_str(), O_RDWR);
    const off_t size = fd >= 0 ? lseek(fd, 0, SEEK_END) : 0;
    void* address = size > ZVCF_HEADER_LENGTH
                        ? mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0)
                        : MAP_FAILED;
    unsigned int sum = 0;
    if (address != MAP_FAILED) {
        unsigned char* bytes = static_cast<unsigned char*>(address);
        for (off_t i = ZVCF_HEADER_LENGTH; i + 1 < size; i += 2) {
            sum ^= bytes[i] | (bytes[i + 1] << 8);
        }
        char line[ZVCF_HEADER_LENGTH];
        std::memcpy(line, bytes, sizeof line);
        std::memcpy(bytes, line, sizeof line);
        msync(address, size, MS_SYNC);
        munmap(address, size);
    }
    if (fd >= 0) {
        close(fd);
    }
    return sum;
}

void StampBound(benchmark::State& state, const std::string& path) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(MapXorAndSync(path));
    }
}

void CheckBound(benchmark::State& state, const std::string& path) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(MapAndXor(path));
    }
}

void FileInfo(benchmark::State& state, const std::string& path) {
    FILEINFO_tag info;
    for (auto _ : state) {
        if (path.empty() || TarnGetFileInfoA(path.c_str(), &info) != 1) {
            state.SkipWithError("no file information");
            break;
        }
    }
}

int Register() {
    using Run = void (*)(benchmark::State&, const std::string&);
    static const struct {
        const char* work;
        const char* impl;
        Run run;
    } kBenchmarks[] = {{"stamp", "ours", Stamp},
                       {"stamp", "map_xor_sync", StampBound},
                       {"check", "ours", Check},
                       {"check", "map_xor", CheckBound},
                       {"check_strict", "ours", CheckStrict},
                       {"check_strict", "map_xor", CheckBound}};
    for (unsigned int size : {65536u, 1048576u}) {
        for (const auto& b : kBenchmarks) {
            Run run = b.run;
            benchmark::RegisterBenchmark(Name(b.work, b.impl, size).c_str(),
                                         [run, size](benchmark::State& state) {
                                             const std::string& path = StampedFile(size);
                                             if (path.empty()) {
                                                 state.SkipWithError("cannot make the file");
                                                 return;
                                             }
                                             run(state, path);
                                         })
                ->UseRealTime()
                ->Unit(benchmark::kMicrosecond);
        }
        // One call is one to six seconds of deliberate pauses: measured once, never repeated.
        benchmark::RegisterBenchmark(
            Name("file_info", "ours", size).c_str(),
            [size](benchmark::State& state) { FileInfo(state, StampedFile(size)); })
            ->Iterations(1)
            ->Repetitions(1)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
    }
    return 0;
}

const int kRegistered = Register();

}  // namespace

}  // namespace zvbench
