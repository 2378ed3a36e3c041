// The ZVEV functions: the shared environment-file cases through handles, and what only the
// handle interface shows: opening into the caller's handle variable, the open's code kept when
// it fails, handles that are not live (null, closed, foreign) refused by every function with
// code 1 and a fixed result, and closing.
#include <stdint.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "EnvFileCases.h"
#include "EnvFileTestSupport.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVFileAccess.h"

namespace zvenvtest {

// A ZVEV handle under the operation names the shared cases use. Close releases the handle;
// Open after it makes a new one.
class HandleAccess {
public:
    HandleAccess() = default;
    ~HandleAccess() {
        if (m_handle != nullptr) {
            ZVEVClose(m_handle);
        }
    }
    HandleAccess(const HandleAccess&) = delete;
    HandleAccess& operator=(const HandleAccess&) = delete;

    int Open(const char* path) { return ZVEVOpenFile(path, &m_handle); }
    int Close() {
        int closed = ZVEVClose(m_handle);
        m_handle = nullptr;
        return closed;
    }
    int Flush() { return ZVEVFlush(m_handle); }
    int SaveAs(const char* path) { return ZVEVSaveAs(m_handle, path); }
    int AssignDir(const char* path) { return ZVEVAssignDir(m_handle, path); }
    int GetAssignedDir(char* buffer, unsigned int size) {
        return ZVEVGetAssignedDir(m_handle, buffer, size);
    }
    int GetFormat() { return ZVEVGetFormat(m_handle); }
    int AssignFormat(int format) { return ZVEVAssignFormat(m_handle, format); }
    int CheckDirExist(const char* path) { return ZVEVCheckDirExist(m_handle, path); }
    int CreateDir(const char* path) { return ZVEVCreateDir(m_handle, path); }
    int RemoveDir(const char* path) { return ZVEVRemoveDir(m_handle, path); }
    int CheckKeyExist(const char* key) { return ZVEVCheckKeyExist(m_handle, key); }
    int RemoveKey(const char* key) { return ZVEVRemoveKey(m_handle, key); }
    int Lock(const char* path, int lock) { return ZVEVLock(m_handle, path, lock); }
    int IsLocked(const char* path) { return ZVEVIsLocked(m_handle, path); }
    int SetInteger(const char* key, int value) { return ZVEVSetInteger(m_handle, key, value); }
    int GetInteger(const char* key, int value) { return ZVEVGetInteger(m_handle, key, value); }
    int SetDouble(const char* key, double value) { return ZVEVSetDouble(m_handle, key, value); }
    double GetDouble(const char* key, double value) { return ZVEVGetDouble(m_handle, key, value); }
    int SetBoolean(const char* key, int value) { return ZVEVSetBoolean(m_handle, key, value); }
    int GetBoolean(const char* key, int value) { return ZVEVGetBoolean(m_handle, key, value); }
    int SetString(const char* key, const char* text) { return ZVEVSetString(m_handle, key, text); }
    int GetString(const char* key, char* buffer, unsigned int size, const char* value) {
        return ZVEVGetString(m_handle, key, buffer, size, value);
    }
    int SetData(const char* key, const void* data, unsigned int size) {
        return ZVEVSetData(m_handle, key, data, size);
    }
    int GetData(const char* key, void* buffer, unsigned int size) {
        return ZVEVGetData(m_handle, key, buffer, size);
    }
    ZVEV_ENUM_LIST_tag* EnumEntries(const char* path, unsigned int options) {
        return ZVEVEnumEntries(m_handle, path, options);
    }
    static int FreeSnapList(ZVEV_ENUM_LIST_tag* list) { return ZVEVFreeSnapList(list); }

    ZVEV_HANDLE m_handle = nullptr;
};

INSTANTIATE_TYPED_TEST_SUITE_P(ZVEVCases, EnvFileCases, HandleAccess);

}  // namespace zvenvtest

namespace {

using zvtest::TempDir;

class ZVEVTest : public ::testing::Test {
protected:
    void SetUp() override { Arm(); }
    std::string Settings() const { return m_dir.File("settings.env"); }

    TempDir m_dir;
};

TEST_F(ZVEVTest, OpenFileChecksItsArguments) {
    EXPECT_RESULT_CODE(0, ZVEVOpenFile(Settings().c_str(), nullptr), 16);
    int marker = 0;
    ZVEV_HANDLE handle = &marker;
    EXPECT_RESULT_CODE(0, ZVEVOpenFile(nullptr, &handle), 16);
    EXPECT_EQ(nullptr, handle);
}

TEST_F(ZVEVTest, EveryOpenGivesItsOwnHandle) {
    ZVEV_HANDLE first = nullptr;
    ZVEV_HANDLE second = nullptr;
    ASSERT_EQ(1, ZVEVOpenFile(Settings().c_str(), &first));
    ASSERT_EQ(1, ZVEVOpenFile(Settings().c_str(), &second));
    EXPECT_NE(nullptr, first);
    EXPECT_NE(nullptr, second);
    EXPECT_NE(first, second);
    EXPECT_EQ(1, ZVEVAssignDir(first, "cfg"));
    EXPECT_EQ(1, ZVEVGetAssignedDir(second, nullptr, 0)) << "each handle its own directory";
    EXPECT_EQ(1, ZVEVAssignFormat(first, 1));
    EXPECT_EQ(0, ZVEVGetFormat(second)) << "and its own format";
    EXPECT_EQ(1, ZVEVClose(first));
    EXPECT_EQ(1, ZVEVSetInteger(second, "/x", 1)) << "closing one leaves the other";
    EXPECT_EQ(1, ZVEVClose(second));
}

TEST_F(ZVEVTest, FailedOpenKeepsTheCodeOfTheOpen) {
    zvtest::WriteFile(m_dir.File("plain"), "x");
    zvtest::WriteFile(m_dir.File("garbage.env"), "hello world\n");
    zvtest::WriteFile(m_dir.File("empty.env"), "");
    ASSERT_EQ(0, symlink("loop", m_dir.File("loop").c_str()));
    const struct {
        std::string path;
        unsigned int code;
    } failures[] = {{m_dir.File("plain/settings.env"), 65},
                    {"", 65},
                    {m_dir.File("loop"), 65},
                    {m_dir.File("garbage.env"), 13},
                    {m_dir.File("empty.env"), 13}};
    for (const auto& failure : failures) {
        int marker = 0;
        ZVEV_HANDLE handle = &marker;
        Arm();
        EXPECT_EQ(0, ZVEVOpenFile(failure.path.c_str(), &handle)) << failure.path;
        EXPECT_CODE(failure.code);
        EXPECT_EQ(nullptr, handle);
    }
}

// One ZVEV function called with a handle, its result as a double (a snapshot as 1 or 0).
struct HandleCall {
    const char* name;
    std::function<double(ZVEV_HANDLE)> call;
    double refused;  // the result for a handle that is not live
};

std::vector<HandleCall> EveryHandleCall(const std::string& copy, char* text) {
    return {
        {"ZVEVClose", [](ZVEV_HANDLE h) { return ZVEVClose(h); }, 0},
        {"ZVEVFlush", [](ZVEV_HANDLE h) { return ZVEVFlush(h); }, 0},
        {"ZVEVSaveAs", [copy](ZVEV_HANDLE h) { return ZVEVSaveAs(h, copy.c_str()); }, 0},
        {"ZVEVAssignDir", [](ZVEV_HANDLE h) { return ZVEVAssignDir(h, "cfg"); }, 0},
        {"ZVEVGetAssignedDir", [text](ZVEV_HANDLE h) { return ZVEVGetAssignedDir(h, text, 8); },
         -1},
        {"ZVEVGetFormat", [](ZVEV_HANDLE h) { return ZVEVGetFormat(h); }, 0},
        {"ZVEVAssignFormat", [](ZVEV_HANDLE h) { return ZVEVAssignFormat(h, 1); }, 0},
        {"ZVEVCheckDirExist", [](ZVEV_HANDLE h) { return ZVEVCheckDirExist(h, "/"); }, 0},
        {"ZVEVCreateDir", [](ZVEV_HANDLE h) { return ZVEVCreateDir(h, "/a"); }, 0},
        {"ZVEVRemoveDir", [](ZVEV_HANDLE h) { return ZVEVRemoveDir(h, "/a"); }, 0},
        {"ZVEVCheckKeyExist", [](ZVEV_HANDLE h) { return ZVEVCheckKeyExist(h, "/k"); }, 0},
        {"ZVEVRemoveKey", [](ZVEV_HANDLE h) { return ZVEVRemoveKey(h, "/k"); }, 0},
        {"ZVEVLock", [](ZVEV_HANDLE h) { return ZVEVLock(h, "/a", 1); }, 0},
        {"ZVEVIsLocked", [](ZVEV_HANDLE h) { return ZVEVIsLocked(h, "/"); }, 0},
        {"ZVEVSetInteger", [](ZVEV_HANDLE h) { return ZVEVSetInteger(h, "/k", 1); }, 0},
        {"ZVEVGetInteger", [](ZVEV_HANDLE h) { return ZVEVGetInteger(h, "/k", 7); }, 7},
        {"ZVEVSetDouble", [](ZVEV_HANDLE h) { return ZVEVSetDouble(h, "/k", 1.0); }, 0},
        {"ZVEVGetDouble", [](ZVEV_HANDLE h) { return ZVEVGetDouble(h, "/k", 2.5); }, 2.5},
        {"ZVEVSetBoolean", [](ZVEV_HANDLE h) { return ZVEVSetBoolean(h, "/k", 1); }, 0},
        {"ZVEVGetBoolean", [](ZVEV_HANDLE h) { return ZVEVGetBoolean(h, "/k", 5); }, 5},
        {"ZVEVSetString", [](ZVEV_HANDLE h) { return ZVEVSetString(h, "/k", "v"); }, 0},
        {"ZVEVGetString", [text](ZVEV_HANDLE h) { return ZVEVGetString(h, "/k", text, 8, "dflt"); },
         -1},
        {"ZVEVSetData", [](ZVEV_HANDLE h) { return ZVEVSetData(h, "/k", "ab", 2); }, 0},
        {"ZVEVGetData", [text](ZVEV_HANDLE h) { return ZVEVGetData(h, "/k", text, 8); }, -1},
        {"ZVEVEnumEntries",
         [](ZVEV_HANDLE h) {
             ZVEV_ENUM_LIST_tag* list = ZVEVEnumEntries(h, "/", 3);
             return list != nullptr ? ZVEVFreeSnapList(list) : 0.0;
         },
         0},
    };
}

void ExpectRefusedByEveryFunction(ZVEV_HANDLE handle, const std::string& copy, const char* kind) {
    char text[8];
    std::memset(text, '#', sizeof text);
    for (const HandleCall& call : EveryHandleCall(copy, text)) {
        Arm();
        EXPECT_EQ(call.refused, call.call(handle)) << call.name << " with a " << kind;
        EXPECT_CODE(1) << call.name << " with a " << kind;
    }
    EXPECT_EQ(0, std::memcmp(text, "########", 8)) << "nothing copied for a " << kind;
    EXPECT_EQ(-1, zvtest::FileSize(copy));
}

TEST_F(ZVEVTest, EveryFunctionRefusesHandlesThatAreNotLive) {
    const std::string copy = m_dir.File("copy.env");
    ExpectRefusedByEveryFunction(nullptr, copy, "null handle");
    ZVEV_HANDLE closed = nullptr;
    ASSERT_EQ(1, ZVEVOpenFile(Settings().c_str(), &closed));
    ASSERT_EQ(1, ZVEVClose(closed));
    ExpectRefusedByEveryFunction(closed, copy, "closed handle");
    int local = 0;
    ExpectRefusedByEveryFunction(&local, copy, "stack variable");
    EXPECT_EQ(0, local);
    ExpectRefusedByEveryFunction(reinterpret_cast<ZVEV_HANDLE>(static_cast<uintptr_t>(1)), copy,
                                 "small number");
    EXPECT_EQ(-1, zvtest::FileSize(Settings()));
}

TEST_F(ZVEVTest, LiveHandleIsAcceptedByEveryFunction) {
    // The same calls on a live handle: none of them reports code 1.
    ZVEV_HANDLE handle = nullptr;
    ASSERT_EQ(1, ZVEVOpenFile(Settings().c_str(), &handle));
    char text[8];
    std::vector<HandleCall> calls = EveryHandleCall(m_dir.File("copy.env"), text);
    for (size_t i = 1; i < calls.size(); ++i) {  // ZVEVClose last
        Arm();
        calls[i].call(handle);
        EXPECT_NE(1u, TarnGetLastError()) << calls[i].name;
    }
    EXPECT_EQ(1, calls[0].call(handle));
}

TEST_F(ZVEVTest, CloseReleasesTheHandle) {
    ZVEV_HANDLE handle = nullptr;
    ASSERT_EQ(1, ZVEVOpenFile(Settings().c_str(), &handle));
    ASSERT_EQ(1, ZVEVSetInteger(handle, "/k", 3));
    EXPECT_EQ(1, ZVEVClose(handle));
    EXPECT_RESULT_CODE(0, ZVEVClose(handle), 1);
    EXPECT_EQ(-1, zvtest::FileSize(Settings())) << "closing does not flush";
}

TEST_F(ZVEVTest, SaveAsRefusesANullPath) {
    ZVEV_HANDLE handle = nullptr;
    ASSERT_EQ(1, ZVEVOpenFile(Settings().c_str(), &handle));
    ASSERT_EQ(1, ZVEVSetInteger(handle, "/k", 3));
    EXPECT_RESULT_CODE(0, ZVEVSaveAs(handle, nullptr), 16);
    EXPECT_EQ(1, ZVEVFlush(handle));
    EXPECT_EQ("nk=3\r\n", zvenvtest::BodyOf(Settings()));
    EXPECT_EQ(1, ZVEVClose(handle));
}

// Opens a batch of handles on path, uses each, and closes them all: how many steps failed.
int UseHandleBatch(const std::string& path, int round) {
    constexpr int kBatch = 8;
    ZVEV_HANDLE handles[kBatch] = {};
    int failed = 0;
    for (ZVEV_HANDLE& handle : handles) {
        failed += ZVEVOpenFile(path.c_str(), &handle) == 1 ? 0 : 1;
    }
    for (ZVEV_HANDLE handle : handles) {
        failed += ZVEVSetInteger(handle, "/round", round) == 1 ? 0 : 1;
        failed += ZVEVGetInteger(handle, "/round", -1) == round ? 0 : 1;
    }
    for (ZVEV_HANDLE handle : handles) {
        failed += ZVEVClose(handle) == 1 ? 0 : 1;
    }
    return failed;
}

TEST_F(ZVEVTest, HandlesComeAndGoOnSeveralThreadsAtOnce) {
    // Each thread opens, uses and closes handles of its own while the others do the same; the
    // list of live handles they all go through must stay whole.
    constexpr int kThreads = 4;
    constexpr int kRounds = 400;
    std::vector<int> failures(kThreads, 0);
    std::vector<std::thread> threads;
    std::atomic<int> started(0);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([this, t, &failures, &started]() {
            const std::string path = m_dir.File("thread" + std::to_string(t) + ".env");
            ++started;
            while (started.load() < kThreads) {
                std::this_thread::yield();  // all start together
            }
            for (int round = 0; round < kRounds; ++round) {
                failures[t] += UseHandleBatch(path, round);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(std::vector<int>(kThreads, 0), failures);
}

TEST_F(ZVEVTest, FreeSnapListOfNullIsCode16) {
    EXPECT_RESULT_CODE(0, ZVEVFreeSnapList(nullptr), 16);
}

}  // namespace
