// CZVMapFile when the calls beneath it fail: a mutex that cannot be initialised or unlocked, a
// scratch mapping that cannot be made for Resize, and a subclass whose CloseMutex refuses during
// CopyAndPerge. The program replaces mmap, pthread_mutex_init and pthread_mutex_unlock (see
// WrappedCalls.h).
#include <cstring>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TestSupport.h"
#include "WrappedCalls.h"
#include "ZVMapFile.h"

namespace {

using zvtest::g_mmap;
using zvtest::g_mutexInitFault;
using zvtest::g_mutexUnlockFault;

class ZVMapFileFailureTest : public ::testing::Test {
protected:
    void SetUp() override { TarnSetLastError(zvtest::kSentinelError); }
    void TearDown() override {
        g_mmap.fail.Off();
        g_mutexInitFault.Off();
        g_mutexUnlockFault.Off();
    }
};

// A mapping whose CloseMutex always refuses.
class RefusingCloseMutex : public CZVMapFile {
public:
    int CloseMutex() override {
        ++calls;
        return 0;
    }
    int calls = 0;
};

TEST_F(ZVMapFileFailureTest, CreateMutexFailsWhenTheMutexCannotBeInitialised) {
    CZVMapFile map;
    g_mutexInitFault.Fail(1, true);
    EXPECT_EQ(0, map.CreateMutexT("m"));
    EXPECT_EQ(0, map.CreateMutexA("m"));
    EXPECT_EQ(0, map.CreateMutexW(L"m"));
    EXPECT_EQ(3, g_mutexInitFault.Calls());
    EXPECT_EQ(0, map.m_bMutexCreated);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    g_mutexInitFault.Off();
    EXPECT_EQ(1, map.CreateMutexT("m"));
    EXPECT_EQ(1, map.m_bMutexCreated);
}

TEST_F(ZVMapFileFailureTest, DestructorTriesTheUnlockOnceMoreThroughLock) {
    CZVMapFile* map = new CZVMapFile;
    ASSERT_EQ(1, map->CreateMutexT(nullptr));
    ASSERT_EQ(1, map->Lock(1));
    g_mutexUnlockFault.Fail(1);  // the destructor's own unlock fails, the one through Lock works
    delete map;
    EXPECT_EQ(2, g_mutexUnlockFault.Calls());
}

TEST_F(ZVMapFileFailureTest, DestructorKeepsAMutexItCannotUnlock) {
    CZVMapFile* map = new CZVMapFile;
    ASSERT_EQ(1, map->CreateMutexT(nullptr));
    ASSERT_EQ(1, map->Lock(1));
    g_mutexUnlockFault.Fail(1, true);
    delete map;
    // Both unlocks were tried; the mutex was not destroyed while still locked.
    EXPECT_EQ(2, g_mutexUnlockFault.Calls());
}

TEST_F(ZVMapFileFailureTest, ResizeFailsWhenTheScratchMappingCannotBeMade) {
    CZVMapFile map;
    ASSERT_EQ(1, map.OpenT(nullptr, 16, "scratch", 0));
    memcpy(map.m_pAddress, "0123456789abcdef", 16);
    void* address = map.m_pAddress;
    g_mmap.fail.Fail();
    EXPECT_EQ(0, map.Resize(32));
    EXPECT_EQ(1, g_mmap.fail.Calls());
    // The mapping is untouched.
    EXPECT_EQ(address, map.m_pAddress);
    EXPECT_EQ(16u, map.m_dwLength);
    EXPECT_EQ(0, memcmp(map.m_pAddress, "0123456789abcdef", 16));
    EXPECT_STREQ("scratch", map.m_pszMutexName);
}

TEST_F(ZVMapFileFailureTest, CopyAndPergeFailsWhenItsMutexCannotBeClosed) {
    RefusingCloseMutex target;
    CZVMapFile source;
    ASSERT_EQ(1, source.OpenT(nullptr, 8, nullptr, 0));
    void* address = source.m_pAddress;
    EXPECT_EQ(0, target.CopyAndPerge(&source));
    EXPECT_EQ(1, target.calls);
    // Nothing moved.
    EXPECT_EQ(nullptr, target.m_pAddress);
    EXPECT_EQ(address, source.m_pAddress);
    EXPECT_EQ(8u, source.m_dwLength);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

}  // namespace
