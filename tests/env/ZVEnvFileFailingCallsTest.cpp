// Opening environment files when the calls beneath fail (mmap, the mutex calls, the formatter,
// OS_GetFullPathName and the library's nothrow allocations replaced, see WrappedCalls.h): the
// store's lock that cannot be taken or given back, a full path that cannot be made, a handle
// table that cannot grow, and a formatter that reports an output error to the line buffer.
#include <cstddef>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CallFault.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "WrappedCalls.h"
#include "ZVEnvData.h"
#include "ZVEnvFile.h"
#include "ZVFileAccess.h"

namespace {

// The library's nothrow allocations: scalar ones of at most 64 bytes (the handle table's record,
// not a file object) and array ones (the table's slots) fail while switched on.
zvtest::CallFault g_smallNewFault;
zvtest::CallFault g_arrayNewFault;

}  // namespace

#if defined(__x86_64__)
#define ZV_NOTHROW_NEW __wrap__ZnwmRKSt9nothrow_t
#define ZV_NOTHROW_NEW_REAL __real__ZnwmRKSt9nothrow_t
#define ZV_NOTHROW_NEW_ARRAY __wrap__ZnamRKSt9nothrow_t
#define ZV_NOTHROW_NEW_ARRAY_REAL __real__ZnamRKSt9nothrow_t
#else
#define ZV_NOTHROW_NEW __wrap__ZnwjRKSt9nothrow_t
#define ZV_NOTHROW_NEW_REAL __real__ZnwjRKSt9nothrow_t
#define ZV_NOTHROW_NEW_ARRAY __wrap__ZnajRKSt9nothrow_t
#define ZV_NOTHROW_NEW_ARRAY_REAL __real__ZnajRKSt9nothrow_t
#endif

extern "C" void* ZV_NOTHROW_NEW_REAL(size_t size, const std::nothrow_t& tag);
extern "C" void* ZV_NOTHROW_NEW_ARRAY_REAL(size_t size, const std::nothrow_t& tag);

extern "C" void* ZV_NOTHROW_NEW(size_t size, const std::nothrow_t& tag) {
    if (size <= 64 && g_smallNewFault.Hit()) {
        return nullptr;
    }
    return ZV_NOTHROW_NEW_REAL(size, tag);
}

extern "C" void* ZV_NOTHROW_NEW_ARRAY(size_t size, const std::nothrow_t& tag) {
    if (g_arrayNewFault.Hit()) {
        return nullptr;
    }
    return ZV_NOTHROW_NEW_ARRAY_REAL(size, tag);
}

namespace {

using zvtest::g_getFullPathNameFault;
using zvtest::g_mutexLockFault;
using zvtest::g_mutexUnlockFault;
using zvtest::g_vsnprintfFault;

// Calls that fault counts while a fresh store is bound to its block (and left unlocked) and,
// with reset, then locked, emptied and unlocked, as opening a missing file does.
int CallsOfAStoreOpen(zvtest::CallFault& fault, bool reset) {
    CZVEnvData store;
    fault.Fail(1000000);
    EXPECT_EQ(1, store.Open("Count", "owner"));
    if (reset) {
        EXPECT_EQ(1, store.Lock(1));
        EXPECT_EQ(1, store.Reset(nullptr, 0));
        EXPECT_EQ(1, store.Lock(0));
    }
    const int calls = fault.Calls();
    fault.Off();
    EXPECT_EQ(1, store.Close());
    return calls;
}

class ZVEnvFileFailingCallsTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_path = m_dir.File("env.txt");
        TarnSetLastError(zvtest::kSentinelError);
    }
    void TearDown() override {
        g_mutexLockFault.Off();
        g_mutexUnlockFault.Off();
        g_getFullPathNameFault.Off();
        g_vsnprintfFault.Off();
        g_smallNewFault.Off();
        g_arrayNewFault.Off();
    }

    zvtest::TempDir m_dir;
    std::string m_path;
};

TEST_F(ZVEnvFileFailingCallsTest, OpenFileFailsWhenTheStoreCannotBeLocked) {
    // The first lock after binding the store is the one that loads it.
    const int lockAt = CallsOfAStoreOpen(g_mutexLockFault, false) + 1;
    CZVEnvFile file;
    g_mutexLockFault.Fail(lockAt);
    EXPECT_EQ(0, file.OpenFile(m_path.c_str()));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_LOCK_DATA), TarnGetLastError());
    EXPECT_EQ(0, file.IsOpened());
    EXPECT_EQ(0, file.m_EnvData.m_SharedData.m_CtrlMap.IsOpened(nullptr));
    g_mutexLockFault.Off();
    EXPECT_EQ(1, file.OpenFile(m_path.c_str()));
    EXPECT_EQ(1, file.Close());
}

TEST_F(ZVEnvFileFailingCallsTest, OpenFileFailsWhenTheStoreCannotBeUnlocked) {
    // The last unlock of opening a missing file is the store's, after emptying it.
    const int unlockAt = CallsOfAStoreOpen(g_mutexUnlockFault, true);
    CZVEnvFile file;
    g_mutexUnlockFault.Fail(unlockAt);
    EXPECT_EQ(0, file.OpenFile(m_path.c_str()));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_UNLOCK_DATA), TarnGetLastError());
    EXPECT_EQ(0, file.IsOpened());
    EXPECT_EQ(0, file.m_EnvData.m_SharedData.m_CtrlMap.IsOpened(nullptr));
    EXPECT_EQ(-1LL, zvtest::FileSize(m_path));
    g_mutexUnlockFault.Off();
    EXPECT_EQ(1, file.OpenFile(m_path.c_str()));
    EXPECT_EQ(1, file.Close());
}

TEST_F(ZVEnvFileFailingCallsTest, OpenFileFailsWhenTheFullPathCannotBeWritten) {
    CZVEnvFile file;
    g_getFullPathNameFault.Fail(2);  // the length is measured, the path then not written
    EXPECT_EQ(0, file.OpenFile(m_path.c_str()));
    EXPECT_EQ(2, g_getFullPathNameFault.Calls());
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_INVALID_FILE_PATH), TarnGetLastError());
    EXPECT_EQ(0, file.IsOpened());
    EXPECT_EQ(nullptr, file.m_pszFilePath);
}

// Opens handles until the handle table has to grow; the growth fails when fault is on.
void ExpectTableThatCannotGrow(zvtest::CallFault& fault, const std::string& path) {
    std::vector<ZVEV_HANDLE> handles;
    fault.Fail(1, true);
    int result = 1;
    ZVEV_HANDLE handle = nullptr;
    while (result == 1 && handles.size() < 300) {
        TarnSetLastError(zvtest::kSentinelError);
        result = ZVEVOpenFile(path.c_str(), &handle);
        if (result == 1) {
            handles.push_back(handle);
        }
    }
    fault.Off();
    EXPECT_EQ(0, result);
    EXPECT_EQ(nullptr, handle);
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_MEMORY_OVERFLOW), TarnGetLastError());
    EXPECT_LT(handles.size(), 300u);
    // Every handle opened before stays usable; one more can be opened now.
    for (ZVEV_HANDLE h : handles) {
        EXPECT_EQ(1, ZVEVSetInteger(h, "/k", 1));
    }
    ASSERT_EQ(1, ZVEVOpenFile(path.c_str(), &handle));
    handles.push_back(handle);
    for (ZVEV_HANDLE h : handles) {
        EXPECT_EQ(1, ZVEVClose(h));
    }
}

TEST_F(ZVEnvFileFailingCallsTest, HandleTableWhoseRecordCannotBeMade) {
    ExpectTableThatCannotGrow(g_smallNewFault, m_path);
}

TEST_F(ZVEnvFileFailingCallsTest, HandleTableWhoseSlotsCannotBeMade) {
    ExpectTableThatCannotGrow(g_arrayNewFault, m_path);
}

TEST_F(ZVEnvFileFailingCallsTest, FormatterOutputErrorLeavesTheLine) {
    CZVEnvData store;
    ASSERT_EQ(1, store.SetLineBuffer(0, "abc"));
    g_vsnprintfFault.Fail();
    EXPECT_EQ(0, store.SetLineBuffer(8, "%s", "def"));
    EXPECT_EQ(1, g_vsnprintfFault.Calls());
    EXPECT_EQ(3u, store.m_dwLineLength);
    EXPECT_STREQ("abc", store.m_pszLineBuffer);
}

}  // namespace
