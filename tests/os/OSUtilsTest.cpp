// Win32-style calls over POSIX: critical sections, clock and time conversions, full path names,
// wide helpers, file probes and upper-casing.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <errno.h>
#include <limits.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "OSUtils.h"
#include "TarnError.h"
#include "TestSupport.h"

namespace {

using zvtest::Pattern;
using zvtest::Record;
using zvtest::Utc;

using zvtest::kSentinelError;

bool SameRecord(const _SYSTEMTIME& a, const _SYSTEMTIME& b) {
    return memcmp(&a, &b, sizeof(a)) == 0;
}

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

// A long whose low 32 bits are 0x80000000 on both builds.
long LowBitsMinimum() {
#if LONG_MAX > INT32_MAX
    return 0x80000000L;
#else
    return static_cast<long>(INT32_MIN);
#endif
}

// The resolved form of an existing path, computed without the library.
std::string Resolved(const std::string& path) {
    char* real = realpath(path.c_str(), nullptr);
    EXPECT_NE(nullptr, real) << path;
    std::string out = real != nullptr ? real : "";
    free(real);
    return out;
}

class OSUtilsTest : public ::testing::Test {
protected:
    void SetUp() override { zvtest::UseUtc(); }
    void TearDown() override { zvtest::UseUtc(); }
};

// ---- Exported names ----

TEST_F(OSUtilsTest, FunctionsAreExportedUnderPlainNames) {
    const char* names[] = {"OS_InitializeCriticalSection",
                           "OS_EnterCriticalSection",
                           "OS_LeaveCriticalSection",
                           "OS_DeleteCriticalSection",
                           "OS_GetSystemTime",
                           "OS_GetLocalTime",
                           "OS_SetSystemTime",
                           "OS_SetLocalTime",
                           "OS_SystemTimeToFileTime",
                           "OS_FileTimeToSystemTime",
                           "OS_FileTimeToLocalFileTime",
                           "OS_LocalFileTimeToFileTime",
                           "OS_GetFileTime",
                           "_wtoi",
                           "wstat",
                           "GetFileSize",
                           "FileExists",
                           "strupr",
                           "OS_GetFullPathName"};
    for (const char* name : names) {
        EXPECT_NE(nullptr, dlsym(RTLD_DEFAULT, name)) << name;
    }
}

// ---- Critical sections ----

TEST_F(OSUtilsTest, CriticalSectionCallsNeverTouchTheMutex) {
    pthread_mutex_t cs;
    memset(&cs, 0x5C, sizeof(cs));
    pthread_mutex_t before;
    memcpy(&before, &cs, sizeof(cs));
    TarnSetLastError(kSentinelError);
    OS_InitializeCriticalSection(&cs);
    OS_EnterCriticalSection(&cs);
    OS_EnterCriticalSection(&cs);  // no recursion check either: nothing happens
    OS_LeaveCriticalSection(&cs);
    OS_LeaveCriticalSection(&cs);
    OS_DeleteCriticalSection(&cs);
    EXPECT_EQ(0, memcmp(&before, &cs, sizeof(cs)));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(OSUtilsTest, CriticalSectionCallsGiveNoExclusion) {
    pthread_mutex_t cs;
    ASSERT_EQ(0, pthread_mutex_init(&cs, nullptr));
    OS_EnterCriticalSection(&cs);
    // The mutex was not taken by the enter call, so it can still be locked here.
    EXPECT_EQ(0, pthread_mutex_trylock(&cs));
    EXPECT_EQ(0, pthread_mutex_unlock(&cs));
    OS_LeaveCriticalSection(&cs);
    EXPECT_EQ(0, pthread_mutex_destroy(&cs));
}

TEST_F(OSUtilsTest, CriticalSectionCallsAcceptNull) {
    TarnSetLastError(kSentinelError);
    OS_InitializeCriticalSection(nullptr);
    OS_EnterCriticalSection(nullptr);
    OS_LeaveCriticalSection(nullptr);
    OS_DeleteCriticalSection(nullptr);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

// ---- Clock ----

TEST_F(OSUtilsTest, GetSystemTimeGivesCurrentUtcAndKeepsDayOfWeek) {
    _SYSTEMTIME st = Pattern();
    st.wDayOfWeek = 0xBEEF;
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    OS_GetSystemTime(&st);
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(0xBEEF, st.wDayOfWeek);
    EXPECT_LT(st.wMilliseconds, 1000);
    EXPECT_GE(st.wMonth, 1);
    EXPECT_LE(st.wMonth, 12);
    long long got = Utc(st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond);
    EXPECT_GE(got, static_cast<long long>(before));
    EXPECT_LE(got, static_cast<long long>(after));
}

// The wall clock in milliseconds as gettimeofday() gives it.
long long NowMilliseconds() {
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    return static_cast<long long>(tv.tv_sec) * 1000 + tv.tv_usec / 1000;
}

TEST_F(OSUtilsTest, GetSystemTimeMillisecondsAreTheTruncatedMicroseconds) {
    for (int i = 0; i < 20; ++i) {
        _SYSTEMTIME st = Pattern();
        long long before = NowMilliseconds();
        OS_GetSystemTime(&st);
        long long after = NowMilliseconds();
        ASSERT_LT(st.wMilliseconds, 1000);
        long long got = static_cast<long long>(
                            Utc(st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond)) *
                            1000 +
                        st.wMilliseconds;
        EXPECT_GE(got, before);
        EXPECT_LE(got, after);
        usleep(7000);
    }
}

TEST_F(OSUtilsTest, GetSystemTimeIsUtcInAnotherZone) {
    zvtest::UseZone("JST-9");
    _SYSTEMTIME st = Pattern();
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    OS_GetSystemTime(&st);
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    long long got = Utc(st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond);
    EXPECT_GE(got, static_cast<long long>(before));
    EXPECT_LE(got, static_cast<long long>(after));
    EXPECT_EQ(0xABAB, st.wDayOfWeek);
}

TEST_F(OSUtilsTest, GetSystemTimeIgnoresNull) {
    OS_GetSystemTime(nullptr);
    SUCCEED();
}

TEST_F(OSUtilsTest, GetLocalTimeWritesNothing) {
    _SYSTEMTIME st = Pattern();
    TarnSetLastError(kSentinelError);
    OS_GetLocalTime(&st);
    EXPECT_TRUE(SameRecord(Pattern(), st));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    OS_GetLocalTime(nullptr);
}

TEST_F(OSUtilsTest, SetLocalTimeDoesNothingAndFails) {
    _SYSTEMTIME st = Record(2009, 3, 7, 14, 5, 9, 0, 6);
    _SYSTEMTIME copy = st;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, OS_SetLocalTime(&st));
    EXPECT_TRUE(SameRecord(copy, st));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, OS_SetLocalTime(nullptr));
}

// Puts a fake device configuration command first on the search path for the life of the object.
class FakeQnsetconfig {
public:
    explicit FakeQnsetconfig(int exitCode) {
        m_args = m_dir.File("args");
        std::string script = "#!/bin/sh\nprintf '%s' \"$*\" > '" + m_args + "'\nexit " +
                             std::to_string(exitCode) + "\n";
        std::string command = m_dir.File("qnsetconfig");
        zvtest::WriteFile(command, script);
        chmod(command.c_str(), 0755);
        const char* path = getenv("PATH");
        m_hadPath = path != nullptr;
        m_oldPath = m_hadPath ? path : "";
        std::string newPath = m_dir.Path() + (m_hadPath ? ":" + m_oldPath : std::string());
        setenv("PATH", newPath.c_str(), 1);
    }
    ~FakeQnsetconfig() {
        if (m_hadPath) {
            setenv("PATH", m_oldPath.c_str(), 1);
        } else {
            unsetenv("PATH");
        }
    }
    bool Ran() const { return zvtest::FileSize(m_args) >= 0; }
    std::string Args() const { return zvtest::ReadFile(m_args); }

private:
    zvtest::TempDir m_dir;
    std::string m_args;
    std::string m_oldPath;
    bool m_hadPath = false;
};

TEST_F(OSUtilsTest, SetSystemTimeRunsTheConfigurationCommand) {
    const char* oldPath = getenv("PATH");
    std::string saved = oldPath != nullptr ? oldPath : "";
    {
        FakeQnsetconfig fake(0);
        _SYSTEMTIME st = Record(2010, 12, 31, 23, 59, 58, 0, 5);
        EXPECT_EQ(1, OS_SetSystemTime(&st));
        ASSERT_TRUE(fake.Ran());
        EXPECT_EQ("4 123123592010.58", fake.Args());
    }
    const char* restored = getenv("PATH");
    EXPECT_EQ(saved, restored != nullptr ? restored : "");
}

TEST_F(OSUtilsTest, SetSystemTimeIgnoresDayOfWeekAndMilliseconds) {
    FakeQnsetconfig fake(0);
    _SYSTEMTIME st = Record(2009, 3, 7, 14, 5, 9, 999, 0xFFFF);
    EXPECT_EQ(1, OS_SetSystemTime(&st));
    ASSERT_TRUE(fake.Ran());
    EXPECT_EQ("4 030714052009.09", fake.Args());
}

TEST_F(OSUtilsTest, SetSystemTimePrintsTheYearUnpadded) {
    // The year is printed with %d: a three-digit year stays three digits.
    FakeQnsetconfig fake(0);
    _SYSTEMTIME st = Record(999, 1, 2, 3, 4, 5, 0, 0);
    EXPECT_EQ(1, OS_SetSystemTime(&st));
    ASSERT_TRUE(fake.Ran());
    EXPECT_EQ("4 01020304999.05", fake.Args());
}

TEST_F(OSUtilsTest, SetSystemTimeFailsWhenTheCommandExitsNonZero) {
    FakeQnsetconfig fake(1);
    _SYSTEMTIME st = Record(2009, 3, 7, 14, 5, 9, 0, 6);
    EXPECT_EQ(0, OS_SetSystemTime(&st));
    ASSERT_TRUE(fake.Ran());
    EXPECT_EQ("4 030714052009.09", fake.Args());
}

TEST_F(OSUtilsTest, SetSystemTimeFailsWithoutTheCommand) {
    zvtest::TempDir empty;
    const char* oldPath = getenv("PATH");
    std::string saved = oldPath != nullptr ? oldPath : "";
    setenv("PATH", empty.Path().c_str(), 1);
    _SYSTEMTIME st = Record(2009, 3, 7, 14, 5, 9, 0, 6);
    int result = OS_SetSystemTime(&st);
    setenv("PATH", saved.c_str(), 1);
    EXPECT_EQ(0, result);
}

TEST_F(OSUtilsTest, SetSystemTimeRefusesNull) {
    FakeQnsetconfig fake(0);
    EXPECT_EQ(0, OS_SetSystemTime(nullptr));
    EXPECT_FALSE(fake.Ran());
}

// ---- Record to time value ----

TEST_F(OSUtilsTest, SystemTimeToFileTimeKnownValue) {
    _SYSTEMTIME st = Record(2009, 3, 7, 14, 5, 9, 999, 3);  // wrong day of week: ignored
    long ft = 12345;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&st, &ft));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1236434709L, ft);
    EXPECT_EQ(Utc(2009, 3, 7, 14, 5, 9), static_cast<long long>(ft));
}

TEST_F(OSUtilsTest, SystemTimeToFileTimeDropsMilliseconds) {
    _SYSTEMTIME a = Record(2009, 3, 7, 14, 5, 9, 0, 6);
    _SYSTEMTIME b = Record(2009, 3, 7, 14, 5, 9, 999, 6);
    long fa = 0;
    long fb = 0;
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&a, &fa));
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&b, &fb));
    EXPECT_EQ(fa, fb);
}

TEST_F(OSUtilsTest, SystemTimeToFileTimeEpochAndLimits) {
    long ft = 77;
    _SYSTEMTIME epoch = Record(1970, 1, 1, 0, 0, 0, 0, 4);
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&epoch, &ft));
    EXPECT_EQ(0L, ft);

    _SYSTEMTIME last = Record(2038, 1, 19, 3, 14, 7, 0, 2);
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&last, &ft));
    EXPECT_EQ(0x7FFFFFFFL, ft);

    // One second later no longer fits a signed 32-bit count: mktime's -1 passes through.
    _SYSTEMTIME next = Record(2038, 1, 19, 3, 14, 8, 0, 2);
    ft = 77;
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&next, &ft));
    EXPECT_EQ(-1L, ft);

    _SYSTEMTIME first = Record(1901, 12, 13, 20, 45, 52, 0, 5);
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&first, &ft));
    EXPECT_EQ(static_cast<long>(INT32_MIN), ft);

    _SYSTEMTIME before = Record(1901, 12, 13, 20, 45, 51, 0, 5);
    ft = 77;
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&before, &ft));
    EXPECT_EQ(-1L, ft);
}

TEST_F(OSUtilsTest, SystemTimeToFileTime2040GivesMinusOne) {
    _SYSTEMTIME st = Record(2040, 1, 1, 0, 0, 0, 0, 0);
    long ft = 77;
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&st, &ft));
    EXPECT_EQ(-1L, ft);
}

TEST_F(OSUtilsTest, SystemTimeToFileTimeOutOfRangeLeavesOverflowAsOnTheDevice) {
    // The device's mktime() fails with EOVERFLOW for a date past the 32-bit count; the 64-bit
    // build reports the same, so the last error reads 75 on both.
    _SYSTEMTIME st = Record(2040, 1, 1, 0, 0, 0, 0, 0);
    long ft = 77;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&st, &ft));
    EXPECT_EQ(-1L, ft);
    EXPECT_EQ(static_cast<unsigned int>(EOVERFLOW), TarnGetLastError());
}

TEST_F(OSUtilsTest, SystemTimeToFileTimeOneSecondBeforeEpochIsAlsoMinusOne) {
    _SYSTEMTIME st = Record(1969, 12, 31, 23, 59, 59, 0, 3);
    long ft = 77;
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&st, &ft));
    EXPECT_EQ(-1L, ft);
}

TEST_F(OSUtilsTest, SystemTimeToFileTimeNormalisesOutOfRangeFields) {
    long ft = 0;
    _SYSTEMTIME month13 = Record(2009, 13, 1, 0, 0, 0, 0, 0);
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&month13, &ft));
    EXPECT_EQ(Utc(2010, 1, 1, 0, 0, 0), static_cast<long long>(ft));

    _SYSTEMTIME month0 = Record(2009, 0, 1, 0, 0, 0, 0, 0);
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&month0, &ft));
    EXPECT_EQ(Utc(2008, 12, 1, 0, 0, 0), static_cast<long long>(ft));

    _SYSTEMTIME day0 = Record(2009, 3, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&day0, &ft));
    EXPECT_EQ(Utc(2009, 2, 28, 0, 0, 0), static_cast<long long>(ft));

    _SYSTEMTIME hour24 = Record(2009, 3, 7, 24, 0, 60, 0, 0);
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&hour24, &ft));
    EXPECT_EQ(Utc(2009, 3, 8, 0, 1, 0), static_cast<long long>(ft));
}

TEST_F(OSUtilsTest, SystemTimeToFileTimeRefusesNull) {
    _SYSTEMTIME st = Record(2009, 3, 7, 14, 5, 9, 0, 6);
    long ft = 77;
    EXPECT_EQ(0, OS_SystemTimeToFileTime(nullptr, &ft));
    EXPECT_EQ(77L, ft);
    EXPECT_EQ(0, OS_SystemTimeToFileTime(&st, nullptr));
}

// ---- Time value to record ----

TEST_F(OSUtilsTest, FileTimeToSystemTimeKnownValue) {
    long ft = 1236434709L;
    _SYSTEMTIME st = Pattern();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, OS_FileTimeToSystemTime(&ft, &st));
    ExpectRecord(st, 2009, 3, 6, 7, 14, 5, 9, 0);  // a Saturday
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1236434709L, ft);
}

TEST_F(OSUtilsTest, FileTimeToSystemTimeEpochAndLimits) {
    _SYSTEMTIME st = Pattern();
    long ft = 0;
    EXPECT_EQ(1, OS_FileTimeToSystemTime(&ft, &st));
    ExpectRecord(st, 1970, 1, 4, 1, 0, 0, 0, 0);  // a Thursday

    ft = 0x7FFFFFFFL;
    st = Pattern();
    EXPECT_EQ(1, OS_FileTimeToSystemTime(&ft, &st));
    ExpectRecord(st, 2038, 1, 2, 19, 3, 14, 7, 0);  // a Tuesday

    ft = -1L;
    st = Pattern();
    EXPECT_EQ(1, OS_FileTimeToSystemTime(&ft, &st));
    ExpectRecord(st, 1969, 12, 3, 31, 23, 59, 59, 0);  // a Wednesday
}

TEST_F(OSUtilsTest, FileTimeToSystemTimeTakesTheLowThirtyTwoBits) {
    // 0x80000000 in the low 32 bits is the most negative count on both builds.
    long ft = LowBitsMinimum();
    _SYSTEMTIME st = Pattern();
    EXPECT_EQ(1, OS_FileTimeToSystemTime(&ft, &st));
    ExpectRecord(st, 1901, 12, 5, 13, 20, 45, 52, 0);  // a Friday
}

#if LONG_MAX > INT32_MAX
TEST_F(OSUtilsTest, FileTimeToSystemTimeIgnoresHighBitsOn64BitBuilds) {
    long ft = 0x100000000L + 1236434709L;
    _SYSTEMTIME st = Pattern();
    EXPECT_EQ(1, OS_FileTimeToSystemTime(&ft, &st));
    ExpectRecord(st, 2009, 3, 6, 7, 14, 5, 9, 0);
}
#endif

TEST_F(OSUtilsTest, FileTimeToSystemTimeRefusesNull) {
    long ft = 0;
    _SYSTEMTIME st = Pattern();
    EXPECT_EQ(0, OS_FileTimeToSystemTime(nullptr, &st));
    EXPECT_TRUE(SameRecord(Pattern(), st));
    EXPECT_EQ(0, OS_FileTimeToSystemTime(&ft, nullptr));
}

TEST_F(OSUtilsTest, RoundTripIsExactInUtc) {
    _SYSTEMTIME in = Record(2009, 3, 7, 14, 5, 9, 0, 6);
    long ft = 0;
    _SYSTEMTIME out = Pattern();
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&in, &ft));
    EXPECT_EQ(1, OS_FileTimeToSystemTime(&ft, &out));
    EXPECT_TRUE(SameRecord(in, out));
}

TEST_F(OSUtilsTest, ConversionsAreAsymmetricOutsideUtc) {
    // Records are read as local time, values are broken down as UTC.
    zvtest::UseZone("JST-9");
    _SYSTEMTIME in = Record(2009, 3, 7, 14, 5, 9, 0, 6);
    long ft = 0;
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&in, &ft));
    EXPECT_EQ(Utc(2009, 3, 7, 14, 5, 9) - 9 * 3600, static_cast<long long>(ft));
    EXPECT_EQ(1236434709L - 32400L, ft);

    _SYSTEMTIME out = Pattern();
    EXPECT_EQ(1, OS_FileTimeToSystemTime(&ft, &out));
    ExpectRecord(out, 2009, 3, 6, 7, 5, 5, 9, 0);  // nine hours earlier than what went in

    long known = 1236434709L;
    EXPECT_EQ(1, OS_FileTimeToSystemTime(&known, &out));
    ExpectRecord(out, 2009, 3, 6, 7, 14, 5, 9, 0);  // still UTC
}

TEST_F(OSUtilsTest, SystemTimeToFileTimeReadsTheRecordAsStandardTime) {
    // The record goes to mktime with is-DST 0: in a zone with summer time a July record is read
    // as standard time (UTC+1 here), one hour later than the summer-time reading (UTC+2).
    zvtest::UseZone("CET-1CEST,M3.5.0,M10.5.0/3");
    _SYSTEMTIME summer = Record(2009, 7, 1, 12, 0, 0, 0, 3);
    long ft = 77;
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&summer, &ft));
    EXPECT_EQ(Utc(2009, 7, 1, 11, 0, 0), static_cast<long long>(ft));
    _SYSTEMTIME winter = Record(2009, 1, 15, 12, 0, 0, 0, 4);
    EXPECT_EQ(1, OS_SystemTimeToFileTime(&winter, &ft));
    EXPECT_EQ(Utc(2009, 1, 15, 11, 0, 0), static_cast<long long>(ft));
}

TEST_F(OSUtilsTest, LocalFileTimeConversionsDoNothingAndFail) {
    long in = 1236434709L;
    long out = 77;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, OS_FileTimeToLocalFileTime(&in, &out));
    EXPECT_EQ(77L, out);
    EXPECT_EQ(0, OS_LocalFileTimeToFileTime(&in, &out));
    EXPECT_EQ(77L, out);
    EXPECT_EQ(1236434709L, in);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, OS_FileTimeToLocalFileTime(nullptr, nullptr));
    EXPECT_EQ(0, OS_LocalFileTimeToFileTime(nullptr, nullptr));
}

// ---- File modification time ----

void SetMtime(const std::string& path, long seconds) {
    struct timeval times[2];
    times[0].tv_sec = static_cast<time_t>(seconds);
    times[0].tv_usec = 0;
    times[1].tv_sec = static_cast<time_t>(seconds);
    times[1].tv_usec = 500000;
    ASSERT_EQ(0, utimes(path.c_str(), times)) << path;
}

TEST_F(OSUtilsTest, GetFileTimeGivesModificationTimeAsUtc) {
    zvtest::TempDir dir;
    std::string file = dir.File("data.bin");
    zvtest::WriteFile(file, "abc");
    SetMtime(file, 1236434709L);
    _SYSTEMTIME st = Pattern();
    st.wMilliseconds = 321;
    EXPECT_EQ(0, OS_GetFileTime(file.c_str(), &st));
    ExpectRecord(st, 2009, 3, 6, 7, 14, 5, 9, 321);  // milliseconds untouched
}

TEST_F(OSUtilsTest, GetFileTimeIsUtcInAnotherZone) {
    zvtest::TempDir dir;
    std::string file = dir.File("data.bin");
    zvtest::WriteFile(file, "abc");
    SetMtime(file, 0L);
    zvtest::UseZone("JST-9");
    _SYSTEMTIME st = Pattern();
    EXPECT_EQ(0, OS_GetFileTime(file.c_str(), &st));
    ExpectRecord(st, 1970, 1, 4, 1, 0, 0, 0, 0xABAB);
}

TEST_F(OSUtilsTest, GetFileTimeWorksOnADirectory) {
    zvtest::TempDir dir;
    SetMtime(dir.Path(), 0x7FFFFFFFL);
    _SYSTEMTIME st = Pattern();
    EXPECT_EQ(0, OS_GetFileTime(dir.Path().c_str(), &st));
    ExpectRecord(st, 2038, 1, 2, 19, 3, 14, 7, 0xABAB);
}

TEST_F(OSUtilsTest, GetFileTimeOnAMissingFileFailsAndWritesNothing) {
    zvtest::TempDir dir;
    _SYSTEMTIME st = Pattern();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, OS_GetFileTime(dir.File("missing").c_str(), &st));
    // The last error is what stat() left (ENOENT = 2); the call sets no code of its own.
    EXPECT_EQ(static_cast<unsigned int>(ENOENT), TarnGetLastError());
    EXPECT_TRUE(SameRecord(Pattern(), st));
}

TEST_F(OSUtilsTest, GetFileTimeThroughAFileFailsAndWritesNothing) {
    zvtest::TempDir dir;
    zvtest::WriteFile(dir.File("file"), "x");
    _SYSTEMTIME st = Pattern();
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, OS_GetFileTime(dir.File("file/below").c_str(), &st));
    EXPECT_EQ(static_cast<unsigned int>(ENOTDIR), TarnGetLastError());
    EXPECT_TRUE(SameRecord(Pattern(), st));
}

TEST_F(OSUtilsTest, GetFileTimeRefusesNull) {
    zvtest::TempDir dir;
    _SYSTEMTIME st = Pattern();
    EXPECT_EQ(-1, OS_GetFileTime(nullptr, &st));
    EXPECT_TRUE(SameRecord(Pattern(), st));
    EXPECT_EQ(-1, OS_GetFileTime(dir.Path().c_str(), nullptr));
}

// ---- _wtoi ----

TEST_F(OSUtilsTest, WtoiReadsBlankSignDigitsAndStops) {
    EXPECT_EQ(-42, _wtoi(L" -42x"));
    EXPECT_EQ(17, _wtoi(L"+17"));
    EXPECT_EQ(7, _wtoi(L"\t\n 7"));
    EXPECT_EQ(12, _wtoi(L"12 34"));
    EXPECT_EQ(0, _wtoi(L"abc"));
    EXPECT_EQ(0, _wtoi(L"-"));
    EXPECT_EQ(8, _wtoi(L"08"));  // base 10, not octal
    EXPECT_EQ(0, _wtoi(L"0x1F"));
}

TEST_F(OSUtilsTest, WtoiOfNullOrEmptyIsZero) {
    EXPECT_EQ(0, _wtoi(nullptr));
    EXPECT_EQ(0, _wtoi(L""));
}

TEST_F(OSUtilsTest, WtoiSaturatesToThirtyTwoBits) {
    EXPECT_EQ(2147483647, _wtoi(L"2147483647"));
    EXPECT_EQ(INT32_MIN, _wtoi(L"-2147483648"));
    EXPECT_EQ(2147483647, _wtoi(L"2147483648"));
    EXPECT_EQ(INT32_MIN, _wtoi(L"-2147483649"));
    EXPECT_EQ(2147483647, _wtoi(L"4294967296"));
    EXPECT_EQ(INT32_MIN, _wtoi(L"-4294967296"));
    EXPECT_EQ(2147483647, _wtoi(L"99999999999999999999999"));
}

TEST_F(OSUtilsTest, WtoiSaturationLeavesRangeErrorOnEveryBuild) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(2147483647, _wtoi(L"2147483647"));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(2147483647, _wtoi(L"4294967296"));
    EXPECT_EQ(static_cast<unsigned int>(ERANGE), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(INT32_MIN, _wtoi(L"-2147483649"));
    EXPECT_EQ(static_cast<unsigned int>(ERANGE), TarnGetLastError());
}

TEST_F(OSUtilsTest, WtoiParsesTheConvertedPrefixOfAnUnconvertibleText) {
    // In the C locale 'é' has no narrow form: the conversion stops there and "42" is parsed.
    zvtest::LocaleGuard c("C");
    ASSERT_TRUE(c.Ok());
    EXPECT_EQ(42, _wtoi(L"42\u00e9"));
    EXPECT_EQ(0, _wtoi(L"\u00e942"));
}

TEST_F(OSUtilsTest, WtoiInAUtf8Locale) {
    zvtest::LocaleGuard utf8("C.UTF-8");
    if (!utf8.Ok()) {
        GTEST_SKIP() << "no C.UTF-8 locale";
    }
    EXPECT_EQ(42, _wtoi(L"42\u00e9"));
    EXPECT_EQ(-7, _wtoi(L"-7\u20ac"));
}

TEST_F(OSUtilsTest, WtoiConvertsAtMost256Bytes) {
    std::wstring fits(255, L'0');
    fits += L"5";
    EXPECT_EQ(5, _wtoi(fits.c_str()));
    std::wstring cut(256, L'0');
    cut += L"5";
    EXPECT_EQ(0, _wtoi(cut.c_str()));
    std::wstring digits(254, L'0');
    digits += L"123";  // 257 characters: the 3 is beyond the limit
    EXPECT_EQ(12, _wtoi(digits.c_str()));
}

// ---- wstat ----

TEST_F(OSUtilsTest, WstatOfAnExistingFile) {
    zvtest::TempDir dir;
    std::string file = dir.File("seven.txt");
    zvtest::WriteFile(file, "1234567");
    struct stat st;
    memset(&st, 0, sizeof(st));
    std::wstring wide = zvtest::Wide(file);
    EXPECT_EQ(0, wstat(wide.c_str(), &st));
    EXPECT_EQ(7, static_cast<long long>(st.st_size));
    EXPECT_TRUE(S_ISREG(st.st_mode));
}

TEST_F(OSUtilsTest, WstatOfAMissingFile) {
    zvtest::TempDir dir;
    struct stat st;
    std::wstring wide = zvtest::Wide(dir.File("missing"));
    EXPECT_EQ(-1, wstat(wide.c_str(), &st));
    EXPECT_EQ(ENOENT, errno);
}

TEST_F(OSUtilsTest, WstatTakesPathsShorterThan256Bytes) {
    zvtest::TempDir dir;
    std::string base = dir.Path() + "/";
    ASSERT_LT(base.size(), 200u);
    std::string p255 = base + std::string(255 - base.size(), 'a');
    std::string p256 = base + std::string(256 - base.size(), 'b');
    ASSERT_EQ(255u, p255.size());
    ASSERT_EQ(256u, p256.size());
    zvtest::WriteFile(p255, "x");
    zvtest::WriteFile(p256, "yy");
    struct stat st;
    memset(&st, 0, sizeof(st));
    EXPECT_EQ(0, wstat(zvtest::Wide(p255).c_str(), &st));
    EXPECT_EQ(1, static_cast<long long>(st.st_size));
    // The file exists, but a conversion that fills all 256 bytes is refused.
    EXPECT_EQ(-1, wstat(zvtest::Wide(p256).c_str(), &st));
}

TEST_F(OSUtilsTest, WstatRefusesAnUnconvertiblePath) {
    zvtest::LocaleGuard c("C");
    ASSERT_TRUE(c.Ok());
    zvtest::TempDir dir;
    struct stat st;
    std::wstring wide = zvtest::Wide(dir.Path()) + L"/\u00e9";
    EXPECT_EQ(-1, wstat(wide.c_str(), &st));
    // The directory itself (the converted prefix) exists, so a refusal here is the conversion's.
    std::wstring prefix = zvtest::Wide(dir.Path());
    EXPECT_EQ(0, wstat(prefix.c_str(), &st));
}

TEST_F(OSUtilsTest, WstatRefusesNull) {
    zvtest::TempDir dir;
    struct stat st;
    EXPECT_EQ(-1, wstat(nullptr, &st));
    EXPECT_EQ(-1, wstat(zvtest::Wide(dir.Path()).c_str(), nullptr));
}

// ---- GetFileSize and FileExists ----

TEST_F(OSUtilsTest, GetFileSizeOfFiles) {
    zvtest::TempDir dir;
    zvtest::WriteFile(dir.File("five"), "12345");
    zvtest::WriteFile(dir.File("empty"), "");
    EXPECT_EQ(5u, GetFileSize(dir.File("five").c_str()));
    EXPECT_EQ(0u, GetFileSize(dir.File("empty").c_str()));
}

TEST_F(OSUtilsTest, GetFileSizeOfADirectoryIsZero) {
    zvtest::TempDir dir;
    struct stat st;
    ASSERT_EQ(0, stat(dir.Path().c_str(), &st));
    ASSERT_NE(0, static_cast<long long>(st.st_size));  // directories have a size of their own
    EXPECT_EQ(0u, GetFileSize(dir.Path().c_str()));
}

TEST_F(OSUtilsTest, GetFileSizeOfMissingOrNullIsZero) {
    zvtest::TempDir dir;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0u, GetFileSize(dir.File("missing").c_str()));
    EXPECT_EQ(static_cast<unsigned int>(ENOENT), TarnGetLastError());
    EXPECT_EQ(0u, GetFileSize(nullptr));
}

TEST_F(OSUtilsTest, FileExistsOnAMissingFileLeavesWhatStatSet) {
    zvtest::TempDir dir;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, FileExists(dir.File("missing").c_str()));
    EXPECT_EQ(static_cast<unsigned int>(ENOENT), TarnGetLastError());
}

TEST_F(OSUtilsTest, GetFileSizeOfAFileAboveFourGigabytesIsCut) {
    // The size is returned as an unsigned int. A 64-bit build cuts it to the low 32 bits; the
    // device build's stat() cannot describe such a file at all, so the size is 0 there.
    zvtest::TempDir dir;
    std::string file = dir.File("sparse");
    zvtest::WriteFile(file, "");
    if (truncate64(file.c_str(), static_cast<off64_t>(0x100000005LL)) != 0) {
        GTEST_SKIP() << "no large sparse files here";
    }
#if LONG_MAX > INT32_MAX
    EXPECT_EQ(5u, GetFileSize(file.c_str()));
    EXPECT_EQ(1, FileExists(file.c_str()));
#else
    EXPECT_EQ(0u, GetFileSize(file.c_str()));
    EXPECT_EQ(0, FileExists(file.c_str()));
#endif
}

TEST_F(OSUtilsTest, FileExistsOnFilesAndDirectories) {
    zvtest::TempDir dir;
    zvtest::WriteFile(dir.File("file"), "x");
    ASSERT_EQ(0, mkdir(dir.File("sub").c_str(), 0755));
    ASSERT_EQ(0, symlink("sub", dir.File("link-to-dir").c_str()));
    ASSERT_EQ(0, symlink("file", dir.File("link-to-file").c_str()));
    EXPECT_EQ(1, FileExists(dir.File("file").c_str()));
    EXPECT_EQ(0, FileExists(dir.File("sub").c_str()));
    EXPECT_EQ(0, FileExists(dir.Path().c_str()));
    EXPECT_EQ(0, FileExists(dir.File("link-to-dir").c_str()));
    EXPECT_EQ(1, FileExists(dir.File("link-to-file").c_str()));
    EXPECT_EQ(0, FileExists(dir.File("missing").c_str()));
    EXPECT_EQ(0, FileExists(dir.File("file/below").c_str()));
    EXPECT_EQ(0, FileExists(nullptr));
}

TEST_F(OSUtilsTest, FileExistsTestsTheDirectoryBitOnly) {
    zvtest::TempDir dir;
    // A FIFO (0x1000) and a character device (0x2000) do not carry the bit: they exist.
    ASSERT_EQ(0, mkfifo(dir.File("fifo").c_str(), 0644));
    EXPECT_EQ(1, FileExists(dir.File("fifo").c_str()));
    EXPECT_EQ(0u, GetFileSize(dir.File("fifo").c_str()));
    EXPECT_EQ(1, FileExists("/dev/null"));
    // A socket's type code (0xC000) carries the directory bit: it counts as absent.
    std::string sockPath = dir.File("sock");
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    struct sockaddr_un addr;
    memset(&addr, 0, sizeof(addr));
    addr.sun_family = AF_UNIX;
    ASSERT_LT(sockPath.size(), sizeof(addr.sun_path));
    memcpy(addr.sun_path, sockPath.c_str(), sockPath.size());
    ASSERT_EQ(0, bind(fd, reinterpret_cast<struct sockaddr*>(&addr), sizeof(addr)));
    struct stat st;
    ASSERT_EQ(0, stat(sockPath.c_str(), &st));
    ASSERT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_EQ(0, FileExists(sockPath.c_str()));
    EXPECT_EQ(0u, GetFileSize(sockPath.c_str()));
    close(fd);
}

// ---- strupr ----

TEST_F(OSUtilsTest, StruprUpperCasesInPlace) {
    char text[] = "abcXYZ09!_{}";
    strupr(text);
    EXPECT_STREQ("ABCXYZ09!_{}", text);
}

TEST_F(OSUtilsTest, StruprStopsAtTheTerminator) {
    char text[] = "ab\0cd";
    strupr(text);
    EXPECT_EQ(0, memcmp("AB\0cd", text, sizeof(text)));
}

TEST_F(OSUtilsTest, StruprLeavesHighBytesInTheCLocale) {
    zvtest::LocaleGuard c("C");
    ASSERT_TRUE(c.Ok());
    char text[] =
        "a\x80\xe9\xff"
        "z";
    strupr(text);
    EXPECT_EQ(0, memcmp("A\x80\xe9\xff"
                        "Z",
                        text, sizeof(text)));
}

TEST_F(OSUtilsTest, StruprLeavesHighBytesInAUtf8Locale) {
    zvtest::LocaleGuard utf8("C.UTF-8");
    if (!utf8.Ok()) {
        GTEST_SKIP() << "no C.UTF-8 locale";
    }
    char text[] = "\xc3\xa9t\xc3\xa9";  // "été": UTF-8 bytes are not single characters
    strupr(text);
    EXPECT_EQ(0, memcmp("\xc3\xa9T\xc3\xa9", text, sizeof(text)));
}

TEST_F(OSUtilsTest, StruprIgnoresNullAndEmpty) {
    TarnSetLastError(kSentinelError);
    strupr(nullptr);
    char empty[] = "";
    strupr(empty);
    EXPECT_EQ('\0', empty[0]);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

// ---- OS_GetFullPathName ----

class FullPathTest : public OSUtilsTest {
protected:
    void SetUp() override {
        OSUtilsTest::SetUp();
        ASSERT_EQ(0, mkdir(m_dir.File("sub").c_str(), 0755));
        zvtest::WriteFile(m_dir.File("sub/leaf.dat"), "leaf");
        zvtest::WriteFile(m_dir.File("file.txt"), "file");
        m_real = Resolved(m_dir.Path());
    }

    zvtest::TempDir m_dir;
    std::string m_real;  // the resolved folder
};

// A buffer filled with 'Z' so that every byte the call writes (or not) shows.
std::string Filled(size_t size) {
    return std::string(size, 'Z');
}

TEST_F(FullPathTest, BufferLongerThanThePathGetsATerminatedCopy) {
    std::string input = m_dir.File("sub/leaf.dat");
    std::string expected = m_real + "/sub/leaf.dat";
    unsigned int n = static_cast<unsigned int>(expected.size());
    std::string buffer = Filled(n + 4);
    char* filePart = nullptr;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(n, OS_GetFullPathName(input.c_str(), n + 1, &buffer[0], &filePart));
    EXPECT_STREQ(expected.c_str(), buffer.c_str());
    EXPECT_EQ("ZZZ", buffer.substr(n + 1));
    EXPECT_EQ(input.c_str() + input.size() - strlen("leaf.dat"), filePart);
}

TEST_F(FullPathTest, StrncpyPadsTheRestOfTheBufferWithZeros) {
    std::string input = m_dir.File("file.txt");
    std::string expected = m_real + "/file.txt";
    unsigned int n = static_cast<unsigned int>(expected.size());
    std::string buffer = Filled(n + 8);
    char* filePart = nullptr;
    EXPECT_EQ(n, OS_GetFullPathName(input.c_str(), n + 5, &buffer[0], &filePart));
    EXPECT_EQ(expected, buffer.substr(0, n));
    EXPECT_EQ(std::string(5, '\0'), buffer.substr(n, 5));
    EXPECT_EQ("ZZZ", buffer.substr(n + 5));
}

TEST_F(FullPathTest, BufferExactlyAsLongAsThePathGetsNoTerminator) {
    std::string input = m_dir.File("sub/leaf.dat");
    std::string expected = m_real + "/sub/leaf.dat";
    unsigned int n = static_cast<unsigned int>(expected.size());
    std::string buffer = Filled(n + 2);
    char* filePart = nullptr;
    EXPECT_EQ(n, OS_GetFullPathName(input.c_str(), n, &buffer[0], &filePart));
    EXPECT_EQ(expected + "ZZ", buffer);
    EXPECT_EQ(input.c_str() + input.size() - strlen("leaf.dat"), filePart);
}

TEST_F(FullPathTest, BufferOneByteShortGetsACutCopyAndTheNeededSize) {
    std::string input = m_dir.File("sub/leaf.dat");
    std::string expected = m_real + "/sub/leaf.dat";
    unsigned int n = static_cast<unsigned int>(expected.size());
    std::string buffer = Filled(n + 2);
    char* filePart = nullptr;
    EXPECT_EQ(n + 1, OS_GetFullPathName(input.c_str(), n - 1, &buffer[0], &filePart));
    EXPECT_EQ(expected.substr(0, n - 1) + "ZZZ", buffer);
    EXPECT_EQ(input.c_str() + input.size() - strlen("leaf.dat"), filePart);
}

TEST_F(FullPathTest, ZeroLengthNullBufferGivesTheNeededSize) {
    std::string input = m_dir.File("file.txt");
    unsigned int n = static_cast<unsigned int>((m_real + "/file.txt").size());
    char* filePart = nullptr;
    EXPECT_EQ(n + 1, OS_GetFullPathName(input.c_str(), 0, nullptr, &filePart));
    EXPECT_EQ(input.c_str() + input.size() - strlen("file.txt"), filePart);
}

TEST_F(FullPathTest, ZeroLengthBufferIsNotWritten) {
    std::string input = m_dir.File("file.txt");
    unsigned int n = static_cast<unsigned int>((m_real + "/file.txt").size());
    std::string buffer = Filled(4);
    char* filePart = nullptr;
    EXPECT_EQ(n + 1, OS_GetFullPathName(input.c_str(), 0, &buffer[0], &filePart));
    EXPECT_EQ("ZZZZ", buffer);
}

// Runs the call with the current directory switched to dir, and back afterwards.
class InDirectory {
public:
    explicit InDirectory(const std::string& dir) {
        char* cwd = getcwd(nullptr, 0);
        m_old = cwd != nullptr ? cwd : "/";
        free(cwd);
        m_ok = chdir(dir.c_str()) == 0;
    }
    ~InDirectory() {
        if (chdir(m_old.c_str()) != 0) {
            ADD_FAILURE() << "cannot return to " << m_old;
        }
    }
    bool Ok() const { return m_ok; }

private:
    std::string m_old;
    bool m_ok;
};

TEST_F(FullPathTest, BareNameResolvesAgainstTheCurrentDirectory) {
    InDirectory in(m_dir.Path());
    ASSERT_TRUE(in.Ok());
    const char input[] = "file.txt";
    std::string expected = m_real + "/file.txt";
    char buffer[4096];
    char* filePart = nullptr;
    EXPECT_EQ(expected.size(), OS_GetFullPathName(input, sizeof(buffer), buffer, &filePart));
    EXPECT_STREQ(expected.c_str(), buffer);
    EXPECT_EQ(input, filePart);  // the input itself, not a copy
}

TEST_F(FullPathTest, ThreeComponentsPointAtTheLastOneInTheInput) {
    ASSERT_EQ(0, mkdir(m_dir.File("a").c_str(), 0755));
    ASSERT_EQ(0, mkdir(m_dir.File("a/b").c_str(), 0755));
    zvtest::WriteFile(m_dir.File("a/b/c"), "");
    InDirectory in(m_dir.Path());
    ASSERT_TRUE(in.Ok());
    const char input[] = "a/b/c";
    std::string expected = m_real + "/a/b/c";
    char buffer[4096];
    char* filePart = nullptr;
    EXPECT_EQ(expected.size(), OS_GetFullPathName(input, sizeof(buffer), buffer, &filePart));
    EXPECT_STREQ(expected.c_str(), buffer);
    EXPECT_EQ(input + 4, filePart);
}

TEST_F(FullPathTest, FilePartComesFromTheInputNotTheResolvedPath) {
    ASSERT_EQ(0, symlink("file.txt", m_dir.File("alias.lnk").c_str()));
    std::string input = m_dir.File("sub/../alias.lnk");
    std::string expected = m_real + "/file.txt";
    char buffer[4096];
    char* filePart = nullptr;
    EXPECT_EQ(expected.size(),
              OS_GetFullPathName(input.c_str(), sizeof(buffer), buffer, &filePart));
    EXPECT_STREQ(expected.c_str(), buffer);
    EXPECT_STREQ("alias.lnk", filePart);
    EXPECT_EQ(input.c_str() + input.size() - strlen("alias.lnk"), filePart);
}

TEST_F(FullPathTest, TrailingSlashGivesAnEmptyFilePart) {
    std::string input = m_dir.File("sub/");
    std::string expected = m_real + "/sub";
    char buffer[4096];
    char* filePart = nullptr;
    EXPECT_EQ(expected.size(),
              OS_GetFullPathName(input.c_str(), sizeof(buffer), buffer, &filePart));
    EXPECT_STREQ(expected.c_str(), buffer);
    EXPECT_EQ(input.c_str() + input.size(), filePart);
}

TEST_F(FullPathTest, RootResolvesToItself) {
    const char input[] = "/";
    char buffer[8];
    memset(buffer, 'Z', sizeof(buffer));
    char* filePart = nullptr;
    EXPECT_EQ(1u, OS_GetFullPathName(input, sizeof(buffer), buffer, &filePart));
    EXPECT_STREQ("/", buffer);
    EXPECT_EQ(input + 1, filePart);
}

TEST_F(FullPathTest, MissingLastComponentIsAccepted) {
    std::string input = m_dir.File("sub/missing.txt");
    std::string expected = m_real + "/sub/missing.txt";
    char buffer[4096];
    memset(buffer, 'Z', sizeof(buffer));
    char* filePart = nullptr;
    EXPECT_EQ(expected.size(),
              OS_GetFullPathName(input.c_str(), sizeof(buffer), buffer, &filePart));
    EXPECT_STREQ(expected.c_str(), buffer);
    EXPECT_STREQ("missing.txt", filePart);
}

TEST_F(FullPathTest, PathThroughAFileFailsAndWritesNothing) {
    std::string input = m_dir.File("file.txt/below");
    char buffer[16];
    memset(buffer, 'Z', sizeof(buffer));
    char sentinel = 0;
    char* filePart = &sentinel;
    EXPECT_EQ(0u, OS_GetFullPathName(input.c_str(), sizeof(buffer), buffer, &filePart));
    EXPECT_EQ(ENOTDIR, errno);
    EXPECT_EQ(std::string(16, 'Z'), std::string(buffer, sizeof(buffer)));
    EXPECT_EQ(&sentinel, filePart);
}

TEST_F(FullPathTest, SymlinkLoopFailsAndWritesNothing) {
    ASSERT_EQ(0, symlink("loop", m_dir.File("loop").c_str()));
    std::string input = m_dir.File("loop");
    char buffer[16];
    memset(buffer, 'Z', sizeof(buffer));
    char sentinel = 0;
    char* filePart = &sentinel;
    EXPECT_EQ(0u, OS_GetFullPathName(input.c_str(), sizeof(buffer), buffer, &filePart));
    EXPECT_EQ(ELOOP, errno);
    EXPECT_EQ(std::string(16, 'Z'), std::string(buffer, sizeof(buffer)));
    EXPECT_EQ(&sentinel, filePart);
}

TEST_F(FullPathTest, UnreadableDirectoryFails) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to create a folder another user cannot enter";
    }
    ASSERT_EQ(0, mkdir(m_dir.File("private").c_str(), 0700));
    zvtest::WriteFile(m_dir.File("private/secret"), "s");
    std::string input = m_dir.File("private/secret");
    zvtest::ChildResult child = zvtest::RunUnprivileged([&input]() {
        char buffer[64];
        char* filePart = nullptr;
        return static_cast<int>(
            OS_GetFullPathName(input.c_str(), sizeof(buffer), buffer, &filePart));
    });
    ASSERT_TRUE(child.ran) << child.reason;
    EXPECT_EQ(0, child.value);
    EXPECT_EQ(static_cast<unsigned int>(EACCES), child.lastError);
}

TEST_F(FullPathTest, MissingLastComponentWithAShortBufferGivesTheNeededSize) {
    std::string input = m_dir.File("missing.txt");
    std::string expected = m_real + "/missing.txt";
    unsigned int n = static_cast<unsigned int>(expected.size());
    std::string buffer = Filled(n + 2);
    char* filePart = nullptr;
    EXPECT_EQ(n + 1, OS_GetFullPathName(input.c_str(), n - 1, &buffer[0], &filePart));
    EXPECT_EQ(expected.substr(0, n - 1) + "ZZZ", buffer);
    EXPECT_EQ(input.c_str() + input.size() - strlen("missing.txt"), filePart);
}

TEST_F(FullPathTest, TooLongAComponentFailsAndWritesNothing) {
    std::string input = m_dir.File(std::string(300, 'n'));
    char buffer[16];
    memset(buffer, 'Z', sizeof(buffer));
    char sentinel = 0;
    char* filePart = &sentinel;
    EXPECT_EQ(0u, OS_GetFullPathName(input.c_str(), sizeof(buffer), buffer, &filePart));
    EXPECT_EQ(ENAMETOOLONG, errno);
    EXPECT_EQ(std::string(16, 'Z'), std::string(buffer, sizeof(buffer)));
    EXPECT_EQ(&sentinel, filePart);
}

TEST_F(FullPathTest, NullFilePartIsNotWritten) {
    std::string input = m_dir.File("file.txt");
    std::string expected = m_real + "/file.txt";
    char buffer[4096];
    EXPECT_EQ(expected.size(), OS_GetFullPathName(input.c_str(), sizeof(buffer), buffer, nullptr));
    EXPECT_STREQ(expected.c_str(), buffer);
}

TEST_F(FullPathTest, EmptyPathResolvesToLengthZero) {
    const char input[] = "";
    char buffer[8];
    memset(buffer, 'Z', sizeof(buffer));
    char sentinel = 0;
    char* filePart = &sentinel;
    EXPECT_EQ(0u, OS_GetFullPathName(input, sizeof(buffer), buffer, &filePart));
    EXPECT_EQ(std::string(8, '\0'), std::string(buffer, sizeof(buffer)));
    EXPECT_EQ(input, filePart);
}

TEST_F(FullPathTest, NullPathFails) {
    char buffer[8];
    memset(buffer, 'Z', sizeof(buffer));
    char sentinel = 0;
    char* filePart = &sentinel;
    EXPECT_EQ(0u, OS_GetFullPathName(nullptr, sizeof(buffer), buffer, &filePart));
    EXPECT_EQ(std::string(8, 'Z'), std::string(buffer, sizeof(buffer)));
    EXPECT_EQ(&sentinel, filePart);
}

}  // namespace
