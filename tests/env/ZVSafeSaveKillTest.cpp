// A writer in a child process saves a large settings file again and again, two versions in turn,
// and is killed (SIGKILL) at a random moment during its saves; afterwards the file always loads
// and holds one whole version, never a mix. Many rounds, in both forms. A killed save can leave
// its temporary file behind: that is counted (it shows the kill landed inside a save) and
// removed. The same writer killed while it writes in place (where it may not make a file in
// the folder) is seen to leave torn files, as that way of saving does.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "EnvFormatCheck.h"
#include "SafeSaveCheck.h"
#include "TestSupport.h"
#include "ZVEnvData.h"

namespace {

const int kRounds = 40;
const int kKeys = 1500;

// Whether system calls may read memory mapped for writing alone, as the store's buffer is. The
// processor lets such memory be read; an emulator that checks the mapping's own protection
// (qemu-user) refuses it with EFAULT, and there a binary save whose body goes to write() straight
// from the store's buffer (a body larger than the stream's buffer) fails with code 14.
bool SystemCallsReadWriteOnlyMemory() {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* memory = mmap(nullptr, page, PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        return false;
    }
    int sink = open("/dev/null", O_WRONLY | O_CLOEXEC);
    bool read = sink >= 0 && write(sink, memory, page) == static_cast<ssize_t>(page);
    if (sink >= 0) {
        close(sink);
    }
    munmap(memory, page);
    return read;
}

std::string Items(const CZVEnvData& store) {
    return std::string(reinterpret_cast<const char*>(store.m_pData) + 38, store.m_dwDataSize - 38);
}

// The child: two stores of its own with the two versions' items, then saves in turn until it is
// killed. With asOther it first drops to the unprivileged user. It writes one byte to ready
// before its first save.
[[noreturn]] void SaveForever(const std::string& path, const std::string items[2], int format,
                              bool asOther, int ready) {
    if (asOther && geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) {
        _exit(4);
    }
    zvtest::LockedStore stores[2];
    for (int i = 0; i < 2; ++i) {
        if (!stores[i].Ready() ||
            stores[i].store.Reset(items[i].data(), static_cast<unsigned int>(items[i].size())) !=
                1 ||
            stores[i].store.AssignFormat(format) != 1) {
            _exit(2);
        }
    }
    const char byte = 1;
    if (write(ready, &byte, 1) != 1) {
        _exit(3);
    }
    for (unsigned int n = 1;; ++n) {
        stores[n % 2].store.Save(path.c_str());
    }
}

// What the rounds of killing a writer found.
struct KillReport {
    int interrupted = 0;                  // rounds that left a temporary file
    std::map<std::string, int> verdicts;  // how often the file was found in each state
};

class ZVSafeSaveKillTest : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override {
        const int format = GetParam();
        if (format == 1 && !SystemCallsReadWriteOnlyMemory()) {
            GTEST_SKIP() << "system calls cannot read the store's write-only mapping here "
                            "(an emulator): a large binary save fails with code 14";
        }
        for (int v = 0; v < 2; ++v) {
            zvtest::LockedStore own;
            ASSERT_TRUE(own.Ready());
            ASSERT_TRUE(safesave::FillVersion(own.store, v + 1, kKeys, format));
            m_items[v] = Items(own.store);
            const std::string path = m_scratch.File("version.env");
            auto start = std::chrono::steady_clock::now();
            ASSERT_EQ(1, own.store.Save(path.c_str()));
            m_saveTime = std::chrono::steady_clock::now() - start;
            std::string file = zvtest::ReadFile(path);
            ASSERT_GT(file.size(), 30000u);
            m_versions.push_back({file.substr(96), v + 1});
        }
    }

    // Starts from version 2 in path and kills a writer kRounds times after a random delay of up
    // to three saves; after each round looks at the file and removes a temporary file left.
    KillReport KillWriters(const std::string& path, bool asOther) {
        KillReport report;
        const std::string folder = path.substr(0, path.rfind('/'));
        const std::string name = path.substr(path.rfind('/') + 1);
        zvtest::WriteFile(path, std::string(96, ' '));
        chmod(path.c_str(), 0666);
        {
            zvtest::LockedStore own;
            EXPECT_TRUE(own.Ready());
            own.store.Reset(m_items[1].data(), static_cast<unsigned int>(m_items[1].size()));
            own.store.AssignFormat(GetParam());
            EXPECT_EQ(1, own.store.Save(path.c_str()));
        }
        const long long spread =
            3 * std::chrono::duration_cast<std::chrono::microseconds>(m_saveTime).count() + 1;
        std::mt19937 random(20240611u + static_cast<unsigned int>(GetParam()));
        for (int round = 0; round < kRounds; ++round) {
            int fds[2];
            if (pipe(fds) != 0) {
                ADD_FAILURE() << "pipe";
                break;
            }
            pid_t pid = fork();
            if (pid == 0) {
                close(fds[0]);
                SaveForever(path, m_items, GetParam(), asOther, fds[1]);
            }
            close(fds[1]);
            char byte = 0;
            ssize_t got = pid > 0 ? read(fds[0], &byte, 1) : -1;
            close(fds[0]);
            if (got == 1) {
                std::this_thread::sleep_for(std::chrono::microseconds(random() % spread));
            }
            int status = 0;
            if (pid > 0) {
                kill(pid, SIGKILL);
                waitpid(pid, &status, 0);
            }
            if (got != 1 || !WIFSIGNALED(status)) {
                ADD_FAILURE() << "the writer did not run: status " << status;
                break;
            }
            for (const std::string& left : safesave::Temporaries(folder, name)) {
                ++report.interrupted;
                EXPECT_EQ(0, unlink((folder + "/" + left).c_str()));
            }
            EXPECT_EQ(std::vector<std::string>{name}, safesave::FolderEntries(folder));
            ++report.verdicts[safesave::Verdict(true, zvtest::ReadFile(path), m_versions,
                                                m_scratch.File("scratch.env"))];
        }
        return report;
    }

    std::string m_items[2];
    std::vector<safesave::Version> m_versions;
    std::chrono::steady_clock::duration m_saveTime{};
    zvtest::TempDir m_scratch;
};

std::string Describe(const KillReport& report) {
    std::string text = "interrupted saves " + std::to_string(report.interrupted) + ";";
    for (const auto& verdict : report.verdicts) {
        text += " " + verdict.first + " x" + std::to_string(verdict.second);
    }
    return text;
}

TEST_P(ZVSafeSaveKillTest, KilledWriterLeavesOneWholeVersion) {
    zvtest::TempDir dir;
    KillReport report = KillWriters(dir.File("settings.env"), false);
    std::cout << Describe(report) << "\n";
    int whole = 0;
    for (const auto& verdict : report.verdicts) {
        EXPECT_TRUE(verdict.first == "v1" || verdict.first == "v2") << Describe(report);
        whole += verdict.second;
    }
    EXPECT_EQ(kRounds, whole);
    // The kills landed inside saves.
    EXPECT_GT(report.interrupted, 0);
}

TEST_P(ZVSafeSaveKillTest, KilledWriterInPlaceCanLeaveATornFile) {
    // The same writer as a user who may not make files in the folder: it writes in place, which
    // is not atomic. This also shows that the rounds above kill writers where it matters.
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to let another user write in place";
    }
    zvtest::TempDir dir;
    const std::string folder = dir.File("shut");
    ASSERT_EQ(0, mkdir(folder.c_str(), 0755));
    KillReport report = KillWriters(folder + "/settings.env", true);
    std::cout << Describe(report) << "\n";
    EXPECT_EQ(0, report.interrupted);
    EXPECT_LT(report.verdicts["v1"] + report.verdicts["v2"], kRounds) << Describe(report);
}

INSTANTIATE_TEST_SUITE_P(BothForms, ZVSafeSaveKillTest, ::testing::Values(0, 1),
                         [](const ::testing::TestParamInfo<int>& info) {
                             return info.param == 0 ? std::string("Text") : std::string("Binary");
                         });

}  // namespace
