// Peak resident memory while loading each data set, ours (text and binary) beside the peers'.
// Each load runs in a fresh process (zvbench --peak-rss): it resets its peak resident size to
// its current one (writing 5 to /proc/self/clear_refs), loads, and reports how far VmHWM rose
// above where it started (peak_kib) and how much of that is still resident with the file loaded
// (retained_kib).
// The figures are the counters; the time of these benchmarks is only that of fork and load.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <glib.h>
#include <libconfig.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "BenchData.h"
#include "PeakMemory.h"
#include "ZVFileAccess.h"

namespace zvbench {

namespace {

// The value in kB of a "Name:   123 kB" line of /proc/self/status, or -1.
long StatusKib(const char* field) {
    FILE* status = std::fopen("/proc/self/status", "r");
    if (status == nullptr) {
        return -1;
    }
    char line[256];
    long value = -1;
    const size_t length = std::strlen(field);
    while (std::fgets(line, sizeof line, status) != nullptr) {
        if (std::strncmp(line, field, length) == 0 && line[length] == ':') {
            value = std::strtol(line + length + 1, nullptr, 10);
            break;
        }
    }
    std::fclose(status);
    return value;
}

// Makes the peak resident size the current one; false when the kernel refuses.
bool ResetPeak() {
    const int fd = open("/proc/self/clear_refs", O_WRONLY);
    const bool reset = fd >= 0 && write(fd, "5", 1) == 1;
    if (fd >= 0) {
        close(fd);
    }
    return reset;
}

std::string PathFor(const char* impl, const DataSet& data) {
    if (std::strcmp(impl, "gkeyfile") == 0) {
        return data.keyFile;
    }
    if (std::strcmp(impl, "libconfig") == 0) {
        return data.libconfig;
    }
    return std::strcmp(impl, "ours-binary") == 0 ? data.ourBinary : data.ourText;
}

// Loads path as impl does; true when it loaded. The loaded data stays until the process ends.
bool LoadFor(const char* impl, const char* path) {
    if (std::strcmp(impl, "gkeyfile") == 0) {
        GKeyFile* file = g_key_file_new();
        return g_key_file_load_from_file(file, path, G_KEY_FILE_NONE, nullptr);
    }
    if (std::strcmp(impl, "libconfig") == 0) {
        static config_t config;
        config_init(&config);
        return config_read_file(&config, path) == CONFIG_TRUE;
    }
    ZVEV_HANDLE handle = nullptr;
    return ZVEVOpenFile(path, &handle) == 1;
}

struct Usage {
    long peak;
    long retained;
};

// Runs "zvbench --peak-rss impl path" and reads the two figures it prints; false when it could
// not load or report. A fresh process, not a fork: a forked child would reuse the heap pages
// (and GLib's slice caches) the parent already holds, and the peak would not see them.
bool MeasureInChild(const char* impl, const std::string& path, Usage* usage) {
    int pipeFds[2];
    if (pipe(pipeFds) != 0) {
        return false;
    }
    const pid_t child = fork();
    if (child == 0) {
        close(pipeFds[0]);
        dup2(pipeFds[1], STDOUT_FILENO);
        close(pipeFds[1]);
        execl("/proc/self/exe", "zvbench", kPeakOption, impl, path.c_str(),
              static_cast<char*>(nullptr));
        _exit(127);
    }
    close(pipeFds[1]);
    char text[64] = "";
    ssize_t length = 0;
    ssize_t got = 0;
    while (child > 0 && length + 1 < static_cast<ssize_t>(sizeof text) &&
           (got = read(pipeFds[0], text + length, sizeof text - 1 - length)) > 0) {
        length += got;
    }
    close(pipeFds[0]);
    int status = 0;
    const bool exited = child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
                        WEXITSTATUS(status) == 0;
    return exited && std::sscanf(text, "%ld %ld", &usage->peak, &usage->retained) == 2 &&
           usage->peak >= 0;
}

void PeakMemory(benchmark::State& state, const char* impl, const DataSet& data) {
    Usage usage = {0, 0};
    for (auto _ : state) {
        if (!MeasureInChild(impl, PathFor(impl, data), &usage)) {
            state.SkipWithError("the child could not load or measure");
            break;
        }
    }
    state.counters["peak_kib"] = static_cast<double>(usage.peak);
    state.counters["retained_kib"] = static_cast<double>(usage.retained);
}

int Register() {
    static const char* const kImpls[][2] = {{"peak_rss_text", "ours"},
                                            {"peak_rss_binary", "ours-binary"},
                                            {"peak_rss_text", "gkeyfile"},
                                            {"peak_rss_text", "libconfig"}};
    for (const Case& c : Cases()) {
        for (const auto& impl : kImpls) {
            const char* kind = impl[1];
            const char* name = std::strcmp(kind, "ours-binary") == 0 ? "ours" : kind;
            benchmark::RegisterBenchmark(EnvName(impl[0], name, c).c_str(),
                                         [c, kind](benchmark::State& state) {
                                             PeakMemory(state, kind, GetDataSet(c.shape, c.keys));
                                         })
                ->Iterations(1)
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond);
        }
    }
    return 0;
}

const int kRegistered = Register();

}  // namespace

int MeasurePeak(const char* impl, const char* path) {
    // Without the reset the start is the peak so far, which in a fresh process is little more.
    ResetPeak();
    const long start = StatusKib("VmHWM");
    if (start < 0 || !LoadFor(impl, path)) {
        return 1;
    }
    std::printf("%ld %ld\n", StatusKib("VmHWM") - start, StatusKib("VmRSS") - start);
    return 0;
}

}  // namespace zvbench
