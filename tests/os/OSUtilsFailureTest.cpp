// The clock and the time conversions when the C library's clock or breakdown fails: nothing is
// written and the failure is reported where the call has a result. The program replaces
// gettimeofday, gmtime and gmtime_r (see WrappedCalls.h).
#include <cerrno>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "OSUtils.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "WrappedCalls.h"

namespace {

using zvtest::g_gettimeofdayFault;
using zvtest::g_gmtimeFault;
using zvtest::g_gmtimeRFault;
using zvtest::IsPattern;
using zvtest::Pattern;

class OSUtilsFailureTest : public ::testing::Test {
protected:
    void SetUp() override {
        zvtest::UseUtc();
        TarnSetLastError(zvtest::kSentinelError);
    }
    void TearDown() override {
        g_gettimeofdayFault.Off();
        g_gmtimeFault.Off();
        g_gmtimeRFault.Off();
    }
};

TEST_F(OSUtilsFailureTest, SystemTimeIsNotWrittenWhenTheClockFails) {
    _SYSTEMTIME st = Pattern();
    g_gettimeofdayFault.Fail();
    OS_GetSystemTime(&st);
    EXPECT_EQ(1, g_gettimeofdayFault.Calls());
    EXPECT_TRUE(IsPattern(st));
}

TEST_F(OSUtilsFailureTest, SystemTimeIsNotWrittenWhenTheBreakdownFails) {
    _SYSTEMTIME st = Pattern();
    g_gmtimeRFault.Fail();
    OS_GetSystemTime(&st);
    EXPECT_EQ(1, g_gmtimeRFault.Calls());
    EXPECT_TRUE(IsPattern(st));
    // The same call with the breakdown working writes the clock fields.
    OS_GetSystemTime(&st);
    EXPECT_FALSE(IsPattern(st));
}

TEST_F(OSUtilsFailureTest, FileTimeToSystemTimeFailsWhenTheBreakdownFails) {
    const long value = 1236434709L;  // 2009-03-07 14:05:09 UTC
    _SYSTEMTIME st = Pattern();
    g_gmtimeFault.Fail();
    EXPECT_EQ(0, OS_FileTimeToSystemTime(&value, &st));
    EXPECT_EQ(1, g_gmtimeFault.Calls());
    EXPECT_TRUE(IsPattern(st));
    // The conversion sets no code of its own; the failing call's errno is what remains.
    EXPECT_EQ(static_cast<unsigned int>(EOVERFLOW), TarnGetLastError());
    EXPECT_EQ(1, OS_FileTimeToSystemTime(&value, &st));
    EXPECT_EQ(2009, st.wYear);
    EXPECT_EQ(9, st.wSecond);
}

TEST_F(OSUtilsFailureTest, GetFileTimeFailsWhenTheBreakdownFails) {
    zvtest::TempDir dir;
    const std::string path = dir.File("probe");
    zvtest::WriteFile(path, "x");
    _SYSTEMTIME st = Pattern();
    g_gmtimeFault.Fail();
    EXPECT_EQ(-1, OS_GetFileTime(path.c_str(), &st));
    EXPECT_EQ(1, g_gmtimeFault.Calls());
    EXPECT_TRUE(IsPattern(st));
    EXPECT_EQ(0, OS_GetFileTime(path.c_str(), &st));
    EXPECT_FALSE(IsPattern(st));
}

}  // namespace
