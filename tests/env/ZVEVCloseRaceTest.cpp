// ZVEVClose when the handle is taken out of the live-handle table by someone else between the
// check and the removal, as happens to the later of two threads closing one handle at once: the
// removal is replaced (the linker's --wrap) so that it reports the handle as already gone.
#include <atomic>
#include <string>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TestSupport.h"
#include "ZVFileAccess.h"

namespace {

std::atomic<bool> g_alreadyGone(false);
std::atomic<int> g_removals(0);

}  // namespace

namespace zvenv {
bool __real__ZN5zvenv16UnregisterHandleEPKv(const void* handle) asm(
    "__real__ZN5zvenv16UnregisterHandleEPKv");
}  // namespace zvenv

extern "C" bool __wrap__ZN5zvenv16UnregisterHandleEPKv(const void* handle) {
    g_removals.fetch_add(1);
    if (g_alreadyGone.exchange(false)) {
        return false;
    }
    return zvenv::__real__ZN5zvenv16UnregisterHandleEPKv(handle);
}

namespace {

TEST(ZVEVCloseRaceTest, LaterCloserIsToldTheHandleIsNotLive) {
    zvtest::TempDir dir;
    const std::string path = dir.File("env.txt");
    ZVEV_HANDLE handle = nullptr;
    ASSERT_EQ(1, ZVEVOpenFile(path.c_str(), &handle));
    ASSERT_EQ(1, ZVEVSetInteger(handle, "/k", 7));

    g_removals.store(0);
    g_alreadyGone.store(true);
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, ZVEVClose(handle));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_INVALID_HANDLE), TarnGetLastError());
    EXPECT_EQ(1, g_removals.load());

    // The object was neither closed nor freed: the handle (still in the table here, as no
    // other thread really took it out) works and closes once.
    EXPECT_EQ(7, ZVEVGetInteger(handle, "/k", 0));
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, ZVEVClose(handle));
    EXPECT_EQ(2, g_removals.load());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, ZVEVClose(handle));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_INVALID_HANDLE), TarnGetLastError());
}

}  // namespace
