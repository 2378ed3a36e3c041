// Calendar time values: leap years, clamping, record <-> time value conversions and the stubs.
#include <gtest/gtest.h>

#include <limits.h>
#include <stdint.h>
#include <string.h>
#include <time.h>

#include "TarnError.h"
#include "TarnTime.h"
#include "TestSupport.h"

namespace {

using zvtest::Pattern;
using zvtest::Record;
using zvtest::Utc;

void ExpectRecord(const _SYSTEMTIME& st, int year, int month, int dayOfWeek, int day, int hour,
                  int minute, int second, int ms) {
    EXPECT_EQ(year, st.wYear);
    EXPECT_EQ(month, st.wMonth);
    EXPECT_EQ(dayOfWeek, st.wDayOfWeek);
    EXPECT_EQ(day, st.wDay);
    EXPECT_EQ(hour, st.wHour);
    EXPECT_EQ(minute, st.wMinute);
    EXPECT_EQ(second, st.wSecond);
    EXPECT_EQ(ms, st.wMilliseconds);
}

const long kSample = 1236434709L;  // 2009-03-07 14:05:09 UTC, a Saturday
const long kUntouched = 0x1234567L;

class TarnTimeTest : public ::testing::Test {
protected:
    void SetUp() override { zvtest::UseUtc(); }
    void TearDown() override { zvtest::UseUtc(); }
};

// ---- TarnIsLeapYear ---------------------------------------------------------------------------

TEST_F(TarnTimeTest, IsLeapYearFollowsTheGregorianRule) {
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, TarnIsLeapYear(2000));
    EXPECT_EQ(0, TarnIsLeapYear(1900));
    EXPECT_EQ(1, TarnIsLeapYear(2008));
    EXPECT_EQ(0, TarnIsLeapYear(2009));
    EXPECT_EQ(0, TarnIsLeapYear(2100));
    EXPECT_EQ(1, TarnIsLeapYear(2400));
    EXPECT_EQ(1, TarnIsLeapYear(1996));
    EXPECT_EQ(0, TarnIsLeapYear(2010));
    EXPECT_EQ(1, TarnIsLeapYear(0));
    EXPECT_EQ(0, TarnIsLeapYear(1));
    EXPECT_EQ(1, TarnIsLeapYear(4));
    EXPECT_EQ(0, TarnIsLeapYear(65535));
    EXPECT_EQ(1, TarnIsLeapYear(65200));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

// ---- TarnDiffTime -----------------------------------------------------------------------------

TEST_F(TarnTimeTest, DiffTimeIsAlwaysZeroAndSetsNoCode) {
    long a = 100;
    long b = 5000;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnDiffTime(&a, &b, 0));
    EXPECT_EQ(0, TarnDiffTime(&b, &a, 0));
    EXPECT_EQ(0, TarnDiffTime(&a, &b, 7));
    EXPECT_EQ(0, TarnDiffTime(&a, &b, -1));
    EXPECT_EQ(0, TarnDiffTime(nullptr, &b, 0));
    EXPECT_EQ(0, TarnDiffTime(&a, nullptr, 0));
    EXPECT_EQ(0, TarnDiffTime(nullptr, nullptr, 0));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(100, a);
    EXPECT_EQ(5000, b);
}

// ---- TarnInitTime -----------------------------------------------------------------------------

TEST_F(TarnTimeTest, InitTimeNullSetsCode16) {
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnInitTime(nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(TarnTimeTest, InitTimeStoresTheEpoch) {
    long v = kUntouched;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, TarnInitTime(&v));
    EXPECT_EQ(0, v);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

// ---- TarnSetLocalTime / TarnGetLocalTime ------------------------------------------------------

TEST_F(TarnTimeTest, SetLocalTimeNullSetsCode16) {
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnSetLocalTime(nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(TarnTimeTest, SetLocalTimeSucceedsAndLeavesTheRecord) {
    const _SYSTEMTIME st = Record(2001, 2, 3, 4, 5, 6, 7, 1);
    const _SYSTEMTIME before = st;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, TarnSetLocalTime(&st));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, memcmp(&before, &st, sizeof(st)));
}

TEST_F(TarnTimeTest, GetLocalTimeNullSetsCode16) {
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnGetLocalTime(nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(TarnTimeTest, GetLocalTimeReturnsOneAndLeavesTheRecord) {
    _SYSTEMTIME st = Pattern();
    const _SYSTEMTIME before = st;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, TarnGetLocalTime(&st));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, memcmp(&before, &st, sizeof(st)));
}

// ---- TarnGetSystemTime ------------------------------------------------------------------------

TEST_F(TarnTimeTest, GetSystemTimeNullRecordSetsCode16) {
    long v = kSample;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnGetSystemTime(&v, nullptr, 1));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnGetSystemTime(nullptr, nullptr, 1));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnGetSystemTime(&v, nullptr, 0));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnGetSystemTime(nullptr, nullptr, 0));
    EXPECT_EQ(16u, TarnGetLastError());
    EXPECT_EQ(kSample, v);
}

TEST_F(TarnTimeTest, GetSystemTimeBreaksAValueDownAsUtc) {
    long v = kSample;
    _SYSTEMTIME st = Pattern();
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, TarnGetSystemTime(&v, &st, 1));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    ExpectRecord(st, 2009, 3, 6, 7, 14, 5, 9, 0);
    EXPECT_EQ(kSample, v);
}

TEST_F(TarnTimeTest, GetSystemTimeAnyNonZeroFlagMeansUtc) {
    long v = kSample;
    _SYSTEMTIME st = Pattern();
    EXPECT_EQ(1, TarnGetSystemTime(&v, &st, -5));
    ExpectRecord(st, 2009, 3, 6, 7, 14, 5, 9, 0);
}

TEST_F(TarnTimeTest, GetSystemTimeLimitsOfTheSigned32BitCount) {
    struct Case {
        long value;
        int year, month, dayOfWeek, day, hour, minute, second;
    };
    const Case cases[] = {
        {0L, 1970, 1, 4, 1, 0, 0, 0},
        {-1L, 1969, 12, 3, 31, 23, 59, 59},
        {static_cast<long>(INT32_MAX), 2038, 1, 2, 19, 3, 14, 7},
        {static_cast<long>(INT32_MIN), 1901, 12, 5, 13, 20, 45, 52},
        {951782400L, 2000, 2, 2, 29, 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        long v = c.value;
        _SYSTEMTIME st = Pattern();
        EXPECT_EQ(1, TarnGetSystemTime(&v, &st, 1));
        ExpectRecord(st, c.year, c.month, c.dayOfWeek, c.day, c.hour, c.minute, c.second, 0);
    }
}

#if LONG_MAX > INT32_MAX
TEST_F(TarnTimeTest, GetSystemTimeTakesTheLow32BitsOfAWideLong) {
    struct Case {
        int64_t value;
        int year, month, dayOfWeek, day, hour, minute, second;
    };
    const Case cases[] = {
        {(int64_t{1} << 32) + kSample, 2009, 3, 6, 7, 14, 5, 9},
        {kSample - (int64_t{1} << 32), 2009, 3, 6, 7, 14, 5, 9},
        {int64_t{INT32_MAX} + 1, 1901, 12, 5, 13, 20, 45, 52},
        {int64_t{0xFFFFFFFF}, 1969, 12, 3, 31, 23, 59, 59},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        long v = static_cast<long>(c.value);  // only built where long holds it
        _SYSTEMTIME st = Pattern();
        EXPECT_EQ(1, TarnGetSystemTime(&v, &st, 1));
        ExpectRecord(st, c.year, c.month, c.dayOfWeek, c.day, c.hour, c.minute, c.second, 0);
    }
}
#endif

TEST_F(TarnTimeTest, GetSystemTimeOfTheLowestCountWritesDecember1901) {
    // 0x80000000 as a signed 32-bit count: the same record on every build.
    long v = static_cast<long>(INT32_MIN);
    _SYSTEMTIME st = Pattern();
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, TarnGetSystemTime(&v, &st, 1));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    ExpectRecord(st, 1901, 12, 5, 13, 20, 45, 52, 0);
}

TEST_F(TarnTimeTest, GetSystemTimeOfNowWithUtcFlagKeepsDayOfWeek) {
    _SYSTEMTIME st = Pattern();
    st.wDayOfWeek = 0x7777;
    TarnSetLastError(zvtest::kSentinelError);
    const long before = static_cast<long>(zvtest::NowSeconds());
    EXPECT_EQ(1, TarnGetSystemTime(nullptr, &st, 1));
    const long after = static_cast<long>(zvtest::NowSeconds());
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(0x7777, st.wDayOfWeek);
    EXPECT_LT(st.wMilliseconds, 1000);
    const long got = Utc(st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond);
    EXPECT_LE(before, got);
    EXPECT_GE(after, got);
}

TEST_F(TarnTimeTest, GetSystemTimeOfNowWithLocalFlagLeavesTheRecord) {
    _SYSTEMTIME st = Pattern();
    const _SYSTEMTIME before = st;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, TarnGetSystemTime(nullptr, &st, 0));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, memcmp(&before, &st, sizeof(st)));
}

TEST_F(TarnTimeTest, GetSystemTimeOfAValueAsLocalFailsWith29) {
    long v = kSample;
    _SYSTEMTIME st = Pattern();
    const _SYSTEMTIME before = st;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnGetSystemTime(&v, &st, 0));
    EXPECT_EQ(29u, TarnGetLastError());
    EXPECT_EQ(0, memcmp(&before, &st, sizeof(st)));
    EXPECT_EQ(kSample, v);
}

// ---- TarnValidateTime -------------------------------------------------------------------------

TEST_F(TarnTimeTest, ValidateTimeNullSetsCode16) {
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnValidateTime(nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(TarnTimeTest, ValidateTimeKeepsAValidRecord) {
    _SYSTEMTIME st = Record(2009, 12, 31, 23, 59, 59, 999, 4);
    const _SYSTEMTIME before = st;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, TarnValidateTime(&st));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, memcmp(&before, &st, sizeof(st)));
}

TEST_F(TarnTimeTest, ValidateTimeClampsEachField) {
    struct Case {
        const char* what;
        _SYSTEMTIME in;
        _SYSTEMTIME out;
    };
    const Case cases[] = {
        {"month 12 stays", Record(2009, 12, 5, 0, 0, 0, 0), Record(2009, 12, 5, 0, 0, 0, 0)},
        {"month 13 -> 12", Record(2009, 13, 5, 0, 0, 0, 0), Record(2009, 12, 5, 0, 0, 0, 0)},
        {"month 65535 -> 12", Record(2009, 65535, 5, 0, 0, 0, 0), Record(2009, 12, 5, 0, 0, 0, 0)},
        {"month 13 day 31", Record(2009, 13, 31, 0, 0, 0, 0), Record(2009, 12, 31, 0, 0, 0, 0)},
        {"month 13 day 32", Record(2009, 13, 32, 0, 0, 0, 0), Record(2009, 12, 31, 0, 0, 0, 0)},
        {"month 0 day 0", Record(2009, 0, 0, 0, 0, 0, 0), Record(2009, 1, 1, 0, 0, 0, 0)},
        {"month 0 day 32", Record(2009, 0, 32, 0, 0, 0, 0), Record(2009, 1, 31, 0, 0, 0, 0)},
        {"month 1 day 1 stays", Record(2009, 1, 1, 0, 0, 0, 0), Record(2009, 1, 1, 0, 0, 0, 0)},
        {"Feb 28 non-leap", Record(2009, 2, 28, 0, 0, 0, 0), Record(2009, 2, 28, 0, 0, 0, 0)},
        {"Feb 29 non-leap", Record(2009, 2, 29, 0, 0, 0, 0), Record(2009, 2, 28, 0, 0, 0, 0)},
        {"Feb 30 non-leap", Record(2009, 2, 30, 0, 0, 0, 0), Record(2009, 2, 28, 0, 0, 0, 0)},
        {"Feb 28 leap", Record(2008, 2, 28, 0, 0, 0, 0), Record(2008, 2, 28, 0, 0, 0, 0)},
        {"Feb 29 leap", Record(2008, 2, 29, 0, 0, 0, 0), Record(2008, 2, 29, 0, 0, 0, 0)},
        {"Feb 30 leap", Record(2008, 2, 30, 0, 0, 0, 0), Record(2008, 2, 29, 0, 0, 0, 0)},
        {"Feb 30 in 2000", Record(2000, 2, 30, 0, 0, 0, 0), Record(2000, 2, 29, 0, 0, 0, 0)},
        {"Feb 29 in 1900", Record(1900, 2, 29, 0, 0, 0, 0), Record(1900, 2, 28, 0, 0, 0, 0)},
        {"Feb day 0", Record(2009, 2, 0, 0, 0, 0, 0), Record(2009, 2, 1, 0, 0, 0, 0)},
        {"Apr 30 stays", Record(2009, 4, 30, 0, 0, 0, 0), Record(2009, 4, 30, 0, 0, 0, 0)},
        {"Apr 31 -> 30", Record(2009, 4, 31, 0, 0, 0, 0), Record(2009, 4, 30, 0, 0, 0, 0)},
        {"Jan 31 stays", Record(2009, 1, 31, 0, 0, 0, 0), Record(2009, 1, 31, 0, 0, 0, 0)},
        {"hour 23 stays", Record(2009, 3, 7, 23, 0, 0, 0), Record(2009, 3, 7, 23, 0, 0, 0)},
        {"hour 24 -> 23", Record(2009, 3, 7, 24, 0, 0, 0), Record(2009, 3, 7, 23, 0, 0, 0)},
        {"minute 59 stays", Record(2009, 3, 7, 0, 59, 0, 0), Record(2009, 3, 7, 0, 59, 0, 0)},
        {"minute 60 -> 59", Record(2009, 3, 7, 0, 60, 0, 0), Record(2009, 3, 7, 0, 59, 0, 0)},
        {"second 59 stays", Record(2009, 3, 7, 0, 0, 59, 0), Record(2009, 3, 7, 0, 0, 59, 0)},
        {"second 60 -> 59", Record(2009, 3, 7, 0, 0, 60, 0), Record(2009, 3, 7, 0, 0, 59, 0)},
        {"ms 999 stays", Record(2009, 3, 7, 0, 0, 0, 999), Record(2009, 3, 7, 0, 0, 0, 999)},
        {"ms 1000 -> 59", Record(2009, 3, 7, 0, 0, 0, 1000), Record(2009, 3, 7, 0, 0, 0, 59)},
        {"ms 65535 -> 59", Record(2009, 3, 7, 0, 0, 0, 65535), Record(2009, 3, 7, 0, 0, 0, 59)},
        {"year and day of week untouched", Record(0, 3, 7, 0, 0, 0, 0, 9),
         Record(0, 3, 7, 0, 0, 0, 0, 9)},
        {"everything at once", Record(65535, 13, 40, 25, 61, 61, 1000, 65535),
         Record(65535, 12, 31, 23, 59, 59, 59, 65535)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        _SYSTEMTIME st = c.in;
        TarnSetLastError(zvtest::kSentinelError);
        EXPECT_EQ(1, TarnValidateTime(&st));
        EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
        ExpectRecord(st, c.out.wYear, c.out.wMonth, c.out.wDayOfWeek, c.out.wDay, c.out.wHour,
                     c.out.wMinute, c.out.wSecond, c.out.wMilliseconds);
    }
}

// ---- TarnGetTime ------------------------------------------------------------------------------

TEST_F(TarnTimeTest, GetTimeNullValueSetsCode16) {
    const _SYSTEMTIME st = Record(2009, 3, 7, 14, 5, 9, 0);
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnGetTime(&st, nullptr, 1));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnGetTime(nullptr, nullptr, 1));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnGetTime(nullptr, nullptr, 0));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(TarnTimeTest, GetTimeConvertsARecordAsUtcAndDropsMilliseconds) {
    const _SYSTEMTIME st = Record(2009, 3, 7, 14, 5, 9, 999, 2);
    long v = kUntouched;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, TarnGetTime(&st, &v, 1));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(kSample, v);
}

TEST_F(TarnTimeTest, GetTimeIgnoresTheDayOfWeek) {
    long a = 0;
    long b = 0;
    const _SYSTEMTIME sa = Record(2009, 3, 7, 14, 5, 9, 0, 0);
    const _SYSTEMTIME sb = Record(2009, 3, 7, 14, 5, 9, 0, 6);
    EXPECT_EQ(1, TarnGetTime(&sa, &a, 1));
    EXPECT_EQ(1, TarnGetTime(&sb, &b, 1));
    EXPECT_EQ(kSample, a);
    EXPECT_EQ(kSample, b);
}

TEST_F(TarnTimeTest, GetTimeMonth14ConvertsAsDecemberAndLeavesTheCallersRecord) {
    const _SYSTEMTIME st = Record(2009, 14, 7, 14, 5, 9, 0);
    const _SYSTEMTIME before = st;
    long v = kUntouched;
    EXPECT_EQ(1, TarnGetTime(&st, &v, 1));
    EXPECT_EQ(Utc(2009, 12, 7, 14, 5, 9), v);
    EXPECT_EQ(14, st.wMonth);
    EXPECT_EQ(0, memcmp(&before, &st, sizeof(st)));
}

TEST_F(TarnTimeTest, GetTimeClampsACopy) {
    struct Case {
        const char* what;
        _SYSTEMTIME in;
        long expected;
    };
    const Case cases[] = {
        {"all fields over", Record(2009, 2, 30, 25, 61, 61, 1000), Utc(2009, 2, 28, 23, 59, 59)},
        {"leap February", Record(2008, 2, 30, 0, 0, 0, 0), Utc(2008, 2, 29, 0, 0, 0)},
        {"month and day 0", Record(2009, 0, 0, 12, 0, 0, 0), Utc(2009, 1, 1, 12, 0, 0)},
        {"month 13 day 32", Record(2009, 13, 32, 0, 0, 0, 0), Utc(2009, 12, 31, 0, 0, 0)},
        {"epoch", Record(1970, 1, 1, 0, 0, 0, 0), 0L},
        {"last second of the count", Record(2038, 1, 19, 3, 14, 7, 0),
         static_cast<long>(INT32_MAX)},
        {"first second of the count", Record(1901, 12, 13, 20, 45, 52, 0),
         static_cast<long>(INT32_MIN)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const _SYSTEMTIME st = c.in;
        long v = kUntouched;
        EXPECT_EQ(1, TarnGetTime(&st, &v, 1));
        EXPECT_EQ(c.expected, v);
        EXPECT_EQ(0, memcmp(&c.in, &st, sizeof(st)));
    }
}

TEST_F(TarnTimeTest, GetTimeOutsideTheSigned32BitCountGivesMinusOne) {
    const _SYSTEMTIME cases[] = {
        Record(2038, 1, 19, 3, 14, 8, 0),     Record(1901, 12, 13, 20, 45, 51, 0),
        Record(9, 3, 7, 0, 0, 0, 0),          Record(0, 1, 1, 0, 0, 0, 0),
        Record(65535, 12, 31, 23, 59, 59, 0), Record(2040, 1, 1, 0, 0, 0, 0),
    };
    for (const _SYSTEMTIME& st : cases) {
        SCOPED_TRACE(st.wYear);
        long v = kUntouched;
        // The conversion reports success; only the value shows the range problem.
        EXPECT_EQ(1, TarnGetTime(&st, &v, 1));
        EXPECT_EQ(-1L, v);
    }
}

TEST_F(TarnTimeTest, GetTimeOfNowIgnoresTheLocalFlag) {
    for (int utc = 0; utc <= 1; ++utc) {
        SCOPED_TRACE(utc);
        long v = kUntouched;
        TarnSetLastError(zvtest::kSentinelError);
        const long before = static_cast<long>(zvtest::NowSeconds());
        EXPECT_EQ(1, TarnGetTime(nullptr, &v, utc));
        const long after = static_cast<long>(zvtest::NowSeconds());
        EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
        EXPECT_LE(before, v);
        EXPECT_GE(after, v);
    }
}

TEST_F(TarnTimeTest, GetTimeOfARecordAsLocalFailsWith29) {
    const _SYSTEMTIME st = Record(2009, 3, 7, 14, 5, 9, 0);
    const _SYSTEMTIME before = st;
    long v = kUntouched;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, TarnGetTime(&st, &v, 0));
    EXPECT_EQ(29u, TarnGetLastError());
    EXPECT_EQ(kUntouched, v);
    EXPECT_EQ(0, memcmp(&before, &st, sizeof(st)));
}

TEST_F(TarnTimeTest, RecordsAreReadAsLocalTimeAndValuesWrittenAsUtcInAnotherZone) {
    // A record becomes a value through mktime (local time), a value becomes a record through
    // gmtime (UTC): nine hours east of UTC the round trip moves the record nine hours back.
    zvtest::UseZone("JST-9");
    const _SYSTEMTIME st = Record(2009, 3, 7, 14, 5, 9, 0);
    long v = kUntouched;
    EXPECT_EQ(1, TarnGetTime(&st, &v, 1));
    EXPECT_EQ(Utc(2009, 3, 7, 14, 5, 9) - 9 * 3600, v);
    _SYSTEMTIME back = Pattern();
    EXPECT_EQ(1, TarnGetSystemTime(&v, &back, 1));
    ExpectRecord(back, 2009, 3, 6, 7, 5, 5, 9, 0);
    long sample = kSample;
    EXPECT_EQ(1, TarnGetSystemTime(&sample, &back, 1));
    ExpectRecord(back, 2009, 3, 6, 7, 14, 5, 9, 0);
}

TEST_F(TarnTimeTest, NowIsReadBackAsLocalTimeInAnotherZone) {
    // "Now" is taken as a UTC record and then read as local time like any other record, so
    // nine hours east of UTC the value is nine hours behind the clock; the record form of now
    // is UTC.
    zvtest::UseZone("JST-9");
    long v = kUntouched;
    const long before = static_cast<long>(zvtest::NowSeconds());
    EXPECT_EQ(1, TarnGetTime(nullptr, &v, 1));
    const long after = static_cast<long>(zvtest::NowSeconds());
    EXPECT_LE(before - 9 * 3600, v);
    EXPECT_GE(after - 9 * 3600, v);

    _SYSTEMTIME st = Pattern();
    const long before2 = static_cast<long>(zvtest::NowSeconds());
    EXPECT_EQ(1, TarnGetSystemTime(nullptr, &st, 1));
    const long after2 = static_cast<long>(zvtest::NowSeconds());
    const long got = Utc(st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond);
    EXPECT_LE(before2, got);
    EXPECT_GE(after2, got);
}

TEST_F(TarnTimeTest, RecordAndValueRoundTripInUtc) {
    const long values[] = {0L,
                           1L,
                           -1L,
                           kSample,
                           951782400L,
                           static_cast<long>(INT32_MAX),
                           static_cast<long>(INT32_MIN)};
    for (long value : values) {
        SCOPED_TRACE(value);
        _SYSTEMTIME st = Pattern();
        long back = kUntouched;
        EXPECT_EQ(1, TarnGetSystemTime(&value, &st, 1));
        EXPECT_EQ(1, TarnGetTime(&st, &back, 1));
        EXPECT_EQ(value, back);
    }
}

}  // namespace
