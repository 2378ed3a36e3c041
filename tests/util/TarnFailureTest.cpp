// The calendar and string services when the calls beneath them fail or answer otherwise: a
// breakdown that fails, a record that cannot be converted, a platform that keeps local time, and
// a formatter that reports an output error. The program replaces gmtime, OS_SystemTimeToFileTime,
// OS_FileTimeToLocalFileTime, OS_LocalFileTimeToFileTime and vsnprintf (see WrappedCalls.h).
#include <cstring>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TarnString.h"
#include "TarnTime.h"
#include "TestSupport.h"
#include "WrappedCalls.h"

namespace {

using zvtest::g_gmtimeFault;
using zvtest::g_localTime;
using zvtest::g_systemTimeToFileTimeFault;
using zvtest::g_vsnprintfFault;
using zvtest::IsPattern;
using zvtest::Pattern;
using zvtest::Record;

const long kSample = 1236434709L;  // 2009-03-07 14:05:09 UTC, a Saturday
const long kUntouched = 0x1234567L;
const long kHourEast = 3600L;

class TarnFailureTest : public ::testing::Test {
protected:
    void SetUp() override {
        zvtest::UseUtc();
        TarnSetLastError(zvtest::kSentinelError);
    }
    void TearDown() override {
        g_gmtimeFault.Off();
        g_systemTimeToFileTimeFault.Off();
        g_vsnprintfFault.Off();
        g_localTime.on = false;
        g_localTime.offset = 0;
    }
    // Answers the local file time conversions as a platform an hour east of UTC.
    void UseLocalTimeAnHourEast() {
        g_localTime.offset = kHourEast;
        g_localTime.on = true;
    }
};

// ---- TarnGetSystemTime ------------------------------------------------------------------------

TEST_F(TarnFailureTest, GetSystemTimeFailsWhenTheBreakdownFails) {
    _SYSTEMTIME st = Pattern();
    g_gmtimeFault.Fail();
    EXPECT_EQ(0, TarnGetSystemTime(&kSample, &st, 1));
    EXPECT_EQ(1, g_gmtimeFault.Calls());
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_SYSTEM_TIME_CONVERSION), TarnGetLastError());
    EXPECT_TRUE(IsPattern(st));
}

TEST_F(TarnFailureTest, GetSystemTimeBreaksTheLocalValueDown) {
    UseLocalTimeAnHourEast();
    _SYSTEMTIME st = Pattern();
    EXPECT_EQ(1, TarnGetSystemTime(&kSample, &st, 0));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    _SYSTEMTIME expected = Record(2009, 3, 7, 15, 5, 9, 0, 6);
    EXPECT_EQ(0, memcmp(&expected, &st, sizeof st));
}

// ---- TarnGetTime ------------------------------------------------------------------------------

TEST_F(TarnFailureTest, GetLocalTimeFailsWhenTheRecordCannotBeConverted) {
    const _SYSTEMTIME st = Record(2009, 3, 7, 15, 5, 9, 0);
    long value = kUntouched;
    g_systemTimeToFileTimeFault.Fail();
    EXPECT_EQ(0, TarnGetTime(&st, &value, 0));
    EXPECT_EQ(1, g_systemTimeToFileTimeFault.Calls());
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_SYSTEM_TIME_CONVERSION), TarnGetLastError());
    EXPECT_EQ(kUntouched, value);
}

TEST_F(TarnFailureTest, GetTimeTakesTheRecordAsLocalTime) {
    UseLocalTimeAnHourEast();
    const _SYSTEMTIME st = Record(2009, 3, 7, 15, 5, 9, 0);
    long value = kUntouched;
    EXPECT_EQ(1, TarnGetTime(&st, &value, 0));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(kSample, value);
    // UTC ignores the local answer.
    EXPECT_EQ(1, TarnGetTime(&st, &value, 1));
    EXPECT_EQ(kSample + kHourEast, value);
}

TEST_F(TarnFailureTest, LocalRoundTripThroughTheText) {
    UseLocalTimeAnHourEast();
    char buffer[32];
    EXPECT_STREQ("2009/03/07 15:05:09",
                 TarnGetDateTimeStrA(&kSample, TARN_DTF_YMDHMS, buffer, sizeof buffer, 0));
    long value = kUntouched;
    const char* stop = TarnParseDateTimeStrA(buffer, TARN_DTF_YMDHMS, &value, 0);
    EXPECT_EQ(buffer + strlen(buffer), stop);
    EXPECT_EQ(kSample, value);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

// ---- Formatting -------------------------------------------------------------------------------

TEST_F(TarnFailureTest, FormatStringBufferFailsOnAnOutputError) {
    char dst[16];
    memset(dst, '#', sizeof dst);
    g_vsnprintfFault.Fail();
    EXPECT_EQ(-1, TarnFormatStringBufferA(dst, sizeof dst, 1, "%d", 42));
    EXPECT_EQ(1, g_vsnprintfFault.Calls());
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_INVALID_STRING_FORMAT), TarnGetLastError());
    EXPECT_EQ('#', dst[0]);
    EXPECT_EQ(2, TarnFormatStringBufferA(dst, sizeof dst, 1, "%d", 42));
    EXPECT_STREQ("42", dst);
}

TEST_F(TarnFailureTest, FormatStringFailsOnAnOutputError) {
    g_vsnprintfFault.Fail();
    EXPECT_EQ(nullptr, TarnFormatStringA("%s", "text"));
    EXPECT_EQ(1, g_vsnprintfFault.Calls());
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_INVALID_STRING_FORMAT), TarnGetLastError());
}

}  // namespace
