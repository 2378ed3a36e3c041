// Date-time text: the narrow and wide writers and readers.
#include <gtest/gtest.h>

#include <errno.h>
#include <limits.h>
#include <stdint.h>
#include <string.h>
#include <time.h>
#include <wchar.h>

#include <string>

#include "TarnError.h"
#include "TarnTime.h"
#include "TestSupport.h"

namespace {

using zvtest::Utc;

const long kSample = 1236434709L;  // 2009-03-07 14:05:09 UTC
const long kUntouched = 0x1234567L;
const char kFull[] = "2009/03/07 14:05:09:000";

// The text of kSample in every shape, by selector.
const char* const kSampleTexts[10] = {
    "2009/03/07 14:05:09:000",
    "2009/03/07 14:05:09",
    "2009/03/07 14:05",
    "2009/03/07",
    "09/03/07 14:05:09",
    "09/03/07 14:05",
    "09/03/07",
    "14:05:09:000",
    "14:05:09",
    "14:05",
};

std::wstring W(const char* ascii) {
    return zvtest::Wide(ascii);
}

class TarnDateTimeStrTest : public ::testing::Test {
protected:
    void SetUp() override { zvtest::UseUtc(); }
};

// ---- TarnGetDateTimeStrA ----------------------------------------------------------------------

TEST_F(TarnDateTimeStrTest, NarrowWritesEveryShape) {
    for (int format = 0; format <= 9; ++format) {
        SCOPED_TRACE(format);
        char buf[64];
        memset(buf, 'x', sizeof(buf));
        TarnSetLastError(zvtest::kSentinelError);
        const char* r = TarnGetDateTimeStrA(&kSample, format, buf, sizeof(buf), 1);
        EXPECT_EQ(buf, r);
        EXPECT_STREQ(kSampleTexts[format], buf);
        EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    }
}

TEST_F(TarnDateTimeStrTest, NarrowAnyNonZeroUtcFlagMeansUtc) {
    char buf[32];
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(buf, TarnGetDateTimeStrA(&kSample, 0, buf, sizeof(buf), -1));
    EXPECT_STREQ(kFull, buf);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, NarrowLimitsOfTheCount) {
    struct Case {
        long value;
        int format;
        const char* text;
    };
    const Case cases[] = {
        {0L, 0, "1970/01/01 00:00:00:000"},
        {-1L, 0, "1969/12/31 23:59:59:000"},
        {static_cast<long>(INT32_MAX), 0, "2038/01/19 03:14:07:000"},
        {static_cast<long>(INT32_MIN), 0, "1901/12/13 20:45:52:000"},
        {static_cast<long>(INT32_MIN), 4, "01/12/13 20:45:52"},
        {946684800L, 6, "00/01/01"},
        {951782400L, 3, "2000/02/29"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        char buf[32];
        EXPECT_EQ(buf, TarnGetDateTimeStrA(&c.value, c.format, buf, sizeof(buf), 1));
        EXPECT_STREQ(c.text, buf);
    }
}

TEST_F(TarnDateTimeStrTest, NarrowTakesTheLow32BitsOfAWideLong) {
    if (sizeof(long) <= 4) {
        GTEST_SKIP() << "long is 32 bits here";
    }
    const int64_t wide = (int64_t{1} << 32) + kSample;
    const long v = static_cast<long>(wide);  // only run where long holds it
    char buf[32];
    EXPECT_EQ(buf, TarnGetDateTimeStrA(&v, 0, buf, sizeof(buf), 1));
    EXPECT_STREQ(kFull, buf);
}

TEST_F(TarnDateTimeStrTest, NarrowUnknownFormatGivesDashesAndCode31) {
    const int formats[] = {10, 11, -1, INT_MIN, INT_MAX};
    for (int format : formats) {
        SCOPED_TRACE(format);
        char buf[32];
        memset(buf, 'x', sizeof(buf));
        TarnSetLastError(zvtest::kSentinelError);
        const char* r = TarnGetDateTimeStrA(&kSample, format, buf, sizeof(buf), 1);
        EXPECT_STREQ("---", r);
        EXPECT_NE(buf, r);
        EXPECT_EQ(31u, TarnGetLastError());
        EXPECT_EQ('\0', buf[0]);  // cleared at once
        EXPECT_EQ('x', buf[1]);   // and nothing more
    }
}

TEST_F(TarnDateTimeStrTest, NarrowUnknownFormatWithoutBufferGivesDashes) {
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_STREQ("---", TarnGetDateTimeStrA(&kSample, 10, nullptr, 0, 1));
    EXPECT_EQ(31u, TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, NarrowDashesAreOneConstantText) {
    const char* a = TarnGetDateTimeStrA(&kSample, 10, nullptr, 0, 1);
    const char* b = TarnGetDateTimeStrA(nullptr, 0, nullptr, 0, 1);
    const char* c = TarnGetDateTimeStrA(&kSample, 0, nullptr, 0, 0);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a, c);
    EXPECT_STREQ("---", a);
}

TEST_F(TarnDateTimeStrTest, NarrowShortBuffersGetACutTextWithoutError) {
    struct Case {
        unsigned int size;
        const char* text;
    };
    const Case cases[] = {
        {1, ""},
        {2, "2"},
        {10, "2009/03/0"},
        {23, "2009/03/07 14:05:09:00"},
        {24, "2009/03/07 14:05:09:000"},
        {25, "2009/03/07 14:05:09:000"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.size);
        char buf[40];
        memset(buf, 'x', sizeof(buf));
        TarnSetLastError(zvtest::kSentinelError);
        const char* r = TarnGetDateTimeStrA(&kSample, 0, buf, c.size, 1);
        EXPECT_EQ(buf, r);
        EXPECT_STREQ(c.text, buf);
        EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
        EXPECT_EQ('x', buf[c.size]);  // nothing written past the size
    }
}

TEST_F(TarnDateTimeStrTest, NarrowSizeZeroReturnsTheStaticBufferWhichTheNextCallOverwrites) {
    char buf[8];
    memset(buf, 'x', sizeof(buf));
    TarnSetLastError(zvtest::kSentinelError);
    const char* first = TarnGetDateTimeStrA(&kSample, 0, buf, 0, 1);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    ASSERT_NE(nullptr, first);
    EXPECT_NE(buf, first);
    EXPECT_STREQ(kFull, first);
    EXPECT_EQ('x', buf[0]);  // a buffer with size 0 is not touched

    const long other = 0;
    const char* second = TarnGetDateTimeStrA(&other, 9, nullptr, 0, 1);
    EXPECT_EQ(first, second);
    EXPECT_STREQ("00:00", first);
}

TEST_F(TarnDateTimeStrTest, NarrowStaticBufferKeepsItsTextAcrossOtherCalls) {
    const char* text = TarnGetDateTimeStrA(&kSample, 1, nullptr, 0, 1);
    ASSERT_STREQ("2009/03/07 14:05:09", text);
    const long other = 0;
    char buf[32];
    // A call with a caller buffer, and failing calls without one, leave the static text alone.
    EXPECT_EQ(buf, TarnGetDateTimeStrA(&other, 0, buf, sizeof(buf), 1));
    EXPECT_NE(static_cast<const char*>(buf), text);
    EXPECT_STREQ("---", TarnGetDateTimeStrA(&other, 10, nullptr, 0, 1));
    EXPECT_STREQ("---", TarnGetDateTimeStrA(&other, 0, nullptr, 0, 0));
    EXPECT_STREQ("---", TarnGetDateTimeStrA(nullptr, 0, nullptr, 0, 1));
    EXPECT_STREQ("2009/03/07 14:05:09", text);
}

TEST_F(TarnDateTimeStrTest, NarrowNullBufferWithSizeGivesDashesAndCode16) {
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_STREQ("---", TarnGetDateTimeStrA(&kSample, 0, nullptr, 5, 1));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, NarrowNullValueGivesDashesAndCode16) {
    char buf[32];
    memset(buf, 'x', sizeof(buf));
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_STREQ("---", TarnGetDateTimeStrA(nullptr, 0, buf, sizeof(buf), 1));
    EXPECT_EQ(16u, TarnGetLastError());
    EXPECT_EQ('\0', buf[0]);

    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_STREQ("---", TarnGetDateTimeStrA(nullptr, 0, nullptr, 0, 1));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, NarrowLocalTimeGivesDashesAndCode29) {
    char buf[32];
    memset(buf, 'x', sizeof(buf));
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_STREQ("---", TarnGetDateTimeStrA(&kSample, 0, buf, sizeof(buf), 0));
    EXPECT_EQ(29u, TarnGetLastError());
    EXPECT_EQ('\0', buf[0]);

    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_STREQ("---", TarnGetDateTimeStrA(&kSample, 0, nullptr, 0, 0));
    EXPECT_EQ(29u, TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, NarrowConversionIsCheckedBeforeTheFormat) {
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_STREQ("---", TarnGetDateTimeStrA(&kSample, 10, nullptr, 0, 0));
    EXPECT_EQ(29u, TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, NarrowNullBufferIsCheckedBeforeTheValue) {
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_STREQ("---", TarnGetDateTimeStrA(nullptr, 10, nullptr, 5, 0));
    EXPECT_EQ(16u, TarnGetLastError());
}

// ---- TarnGetDateTimeStrW ----------------------------------------------------------------------

TEST_F(TarnDateTimeStrTest, WideWritesEveryShape) {
    for (int format = 0; format <= 9; ++format) {
        SCOPED_TRACE(format);
        wchar_t buf[64];
        wmemset(buf, L'x', 64);
        TarnSetLastError(zvtest::kSentinelError);
        const wchar_t* r = TarnGetDateTimeStrW(&kSample, format, buf, sizeof(buf), 1);
        EXPECT_EQ(buf, r);
        EXPECT_EQ(W(kSampleTexts[format]), std::wstring(buf));
        EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    }
}

TEST_F(TarnDateTimeStrTest, WideBufferSizesInBytes) {
    struct Case {
        unsigned int bytes;
        const char* text;
    };
    const Case cases[] = {
        {4, ""},
        {7, ""},
        {8, "2"},
        {92, "2009/03/07 14:05:09:00"},
        {96, "2009/03/07 14:05:09:000"},
        {100, "2009/03/07 14:05:09:000"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        wchar_t buf[40];
        wmemset(buf, L'x', 40);
        TarnSetLastError(zvtest::kSentinelError);
        const wchar_t* r = TarnGetDateTimeStrW(&kSample, 0, buf, c.bytes, 1);
        EXPECT_EQ(buf, r);
        EXPECT_EQ(W(c.text), std::wstring(buf));
        EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
        EXPECT_EQ(L'x', buf[c.bytes / 4]);  // nothing written past the size
    }
}

TEST_F(TarnDateTimeStrTest, WideBufferBelowOneCharacterGivesDashesAndCode11) {
    for (unsigned int bytes = 1; bytes <= 3; ++bytes) {
        SCOPED_TRACE(bytes);
        wchar_t buf[4];
        wmemset(buf, L'x', 4);
        TarnSetLastError(zvtest::kSentinelError);
        const wchar_t* r = TarnGetDateTimeStrW(&kSample, 0, buf, bytes, 1);
        EXPECT_NE(buf, r);
        EXPECT_EQ(std::wstring(L"---"), std::wstring(r));
        EXPECT_EQ(11u, TarnGetLastError());
        EXPECT_EQ(L'x', buf[0]);  // the wide writer does not clear the caller's buffer
    }
}

TEST_F(TarnDateTimeStrTest, WideSizeZeroReturnsTheStaticBufferWhichTheNextCallOverwrites) {
    wchar_t buf[4];
    wmemset(buf, L'x', 4);
    TarnSetLastError(zvtest::kSentinelError);
    const wchar_t* first = TarnGetDateTimeStrW(&kSample, 0, buf, 0, 1);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    ASSERT_NE(nullptr, first);
    EXPECT_NE(buf, first);
    EXPECT_EQ(W(kFull), std::wstring(first));
    EXPECT_EQ(L'x', buf[0]);

    const long other = 0;
    const wchar_t* second = TarnGetDateTimeStrW(&other, 9, nullptr, 0, 1);
    EXPECT_EQ(first, second);
    EXPECT_EQ(std::wstring(L"00:00"), std::wstring(first));
}

TEST_F(TarnDateTimeStrTest, WideNeverTouchesTheNarrowStaticBuffer) {
    const char* narrow = TarnGetDateTimeStrA(&kSample, 3, nullptr, 0, 1);
    EXPECT_STREQ("2009/03/07", narrow);
    const long other = 0;
    const wchar_t* wide = TarnGetDateTimeStrW(&other, 0, nullptr, 0, 1);
    EXPECT_EQ(W("1970/01/01 00:00:00:000"), std::wstring(wide));
    EXPECT_NE(static_cast<const void*>(narrow), static_cast<const void*>(wide));
    EXPECT_STREQ("2009/03/07", narrow);
}

TEST_F(TarnDateTimeStrTest, WideNullBufferWithSizeGivesDashesAndCode16) {
    const unsigned int sizes[] = {4, 5, 8, 128};
    for (unsigned int size : sizes) {
        SCOPED_TRACE(size);
        TarnSetLastError(zvtest::kSentinelError);
        const wchar_t* r = TarnGetDateTimeStrW(&kSample, 0, nullptr, size, 1);
        EXPECT_EQ(std::wstring(L"---"), std::wstring(r));
        EXPECT_EQ(16u, TarnGetLastError());
    }
}

TEST_F(TarnDateTimeStrTest, WideNullBufferBelowOneCharacterGivesCode11) {
    // The conversion checks the size before the pointer.
    for (unsigned int bytes = 1; bytes <= 3; ++bytes) {
        SCOPED_TRACE(bytes);
        TarnSetLastError(zvtest::kSentinelError);
        const wchar_t* r = TarnGetDateTimeStrW(&kSample, 0, nullptr, bytes, 1);
        EXPECT_EQ(std::wstring(L"---"), std::wstring(r));
        EXPECT_EQ(11u, TarnGetLastError());
    }
}

TEST_F(TarnDateTimeStrTest, WideAnyNonZeroUtcFlagMeansUtc) {
    wchar_t buf[32];
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(buf, TarnGetDateTimeStrW(&kSample, 0, buf, sizeof(buf), 7));
    EXPECT_EQ(W(kFull), std::wstring(buf));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, WideStaticBufferKeepsItsTextAcrossOtherCalls) {
    const wchar_t* text = TarnGetDateTimeStrW(&kSample, 1, nullptr, 0, 1);
    ASSERT_EQ(W("2009/03/07 14:05:09"), std::wstring(text));
    const long other = 0;
    wchar_t buf[32];
    // A call with a caller buffer, and failing calls without one, leave the static text alone.
    EXPECT_EQ(buf, TarnGetDateTimeStrW(&other, 0, buf, sizeof(buf), 1));
    EXPECT_NE(static_cast<const wchar_t*>(buf), text);
    EXPECT_EQ(std::wstring(L"---"), std::wstring(TarnGetDateTimeStrW(&other, 10, nullptr, 0, 1)));
    EXPECT_EQ(std::wstring(L"---"), std::wstring(TarnGetDateTimeStrW(&other, 0, nullptr, 0, 0)));
    EXPECT_EQ(std::wstring(L"---"), std::wstring(TarnGetDateTimeStrW(nullptr, 0, nullptr, 0, 1)));
    EXPECT_EQ(W("2009/03/07 14:05:09"), std::wstring(text));
}

TEST_F(TarnDateTimeStrTest, WideNullValueGivesDashesAndCode16) {
    wchar_t buf[32];
    wmemset(buf, L'x', 32);
    TarnSetLastError(zvtest::kSentinelError);
    const wchar_t* r = TarnGetDateTimeStrW(nullptr, 0, buf, sizeof(buf), 1);
    EXPECT_EQ(std::wstring(L"---"), std::wstring(r));
    EXPECT_EQ(16u, TarnGetLastError());
    EXPECT_EQ(L'x', buf[0]);
}

TEST_F(TarnDateTimeStrTest, WideLocalTimeGivesDashesAndCode29) {
    wchar_t buf[32];
    TarnSetLastError(zvtest::kSentinelError);
    const wchar_t* r = TarnGetDateTimeStrW(&kSample, 0, buf, sizeof(buf), 0);
    EXPECT_EQ(std::wstring(L"---"), std::wstring(r));
    EXPECT_EQ(29u, TarnGetLastError());

    TarnSetLastError(zvtest::kSentinelError);
    r = TarnGetDateTimeStrW(&kSample, 0, nullptr, 0, 0);
    EXPECT_EQ(std::wstring(L"---"), std::wstring(r));
    EXPECT_EQ(29u, TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, WideUnknownFormatGivesDashesAndCode31) {
    const int formats[] = {10, -1, INT_MIN};
    const wchar_t* dashes = nullptr;
    for (int format : formats) {
        SCOPED_TRACE(format);
        wchar_t buf[32];
        wmemset(buf, L'x', 32);
        TarnSetLastError(zvtest::kSentinelError);
        const wchar_t* r = TarnGetDateTimeStrW(&kSample, format, buf, sizeof(buf), 1);
        EXPECT_EQ(std::wstring(L"---"), std::wstring(r));
        EXPECT_EQ(31u, TarnGetLastError());
        EXPECT_EQ(L'x', buf[0]);  // the wide writer never clears the caller's buffer
        if (dashes != nullptr) {
            EXPECT_EQ(dashes, r);  // one constant text
        }
        dashes = r;
    }
}

// ---- TarnParseDateTimeStrA / W: shared cases ----------------------------------------------------

struct ParseCase {
    const char* what;
    const char* text;
    int format;
    long before;    // the value passed in
    long expected;  // the value afterwards
    size_t stop;    // offset of the result in the text
};

const ParseCase kParseCases[] = {
    {"format 0", "2009/03/07 14:05:09:000", 0, 0, kSample, 23},
    {"format 0 stops before trailing text", "2009/03/07 14:05:09:000xyz", 0, 0, kSample, 23},
    {"format 0 milliseconds are lost", "2009/03/07 14:05:09:999", 0, 0, kSample, 23},
    {"format 1", "2009/03/07 14:05:09", 1, 0, kSample, 19},
    {"format 2", "2009/03/07 14:05", 2, 0, kSample - 9, 16},
    {"format 2 stops after the minute", "2009/03/07 14:05:09:000", 2, 0, kSample - 9, 16},
    {"format 4 with four digits", "2009/03/07 14:05:09", 4, 0, kSample, 19},
    {"format 5 with four digits", "2009/03/07 14:05", 5, 0, kSample - 9, 16},
    {"format 1 stops after the second", "2009/03/07 14:05:09:123", 1, 0, kSample, 19},
    {"clamping", "2009/13/40 25:61:61:999", 0, 0, Utc(2009, 12, 31, 23, 59, 59), 23},
    {"leap February", "2008/02/30 00:00:00:000", 0, 0, Utc(2008, 2, 29, 0, 0, 0), 23},
    {"loose separators", "2009-03/07 14:05:09:000", 0, 0, Utc(2009, 7, 1, 0, 0, 0), 23},
    {"any separators", "2009.03/07x14h05:09:000", 0, 0, Utc(2009, 7, 1, 0, 0, 0), 23},
    {"runs of non-digits", "  2009/ /03/==07   14:  05:09:000", 0, 0, kSample, 33},
    {"missing fields", "2009/03", 0, 0, Utc(2009, 3, 1, 0, 0, 0), 7},
    {"sign never read", "-2009/-03/+07 -14:+05:-09:-000", 0, 0, kSample, 30},
    {"plus sign", "+2009/03/07 14:05:09:000", 0, 0, kSample, 24},
    {"16-bit cut", "2009/65539/07 14:05:09:000", 0, 0, kSample, 26},
    {"saturated to int32 then cut", "2009/4294967296/07 14:05:09:000", 0, 0,
     Utc(2009, 12, 7, 14, 5, 9), 31},
    {"2147483648 saturates", "2009/2147483648/07 14:05:09:000", 0, 0, Utc(2009, 12, 7, 14, 5, 9),
     31},
    {"long digit run saturates", "2009/99999999999999999999/07 14:05:09:000", 0, 0,
     Utc(2009, 12, 7, 14, 5, 9), 41},
    {"day 65535 clamps to the last day", "2009/02/65535 00:00:00:000", 0, 0,
     Utc(2009, 2, 28, 0, 0, 0), 26},
    {"format 3 keeps the time of day", "2009/03/07", 3, Utc(2001, 5, 6, 12, 34, 56),
     Utc(2009, 3, 7, 12, 34, 56), 10},
    {"format 3 stops after the day", "2009/03/07 23:59:59", 3, Utc(2001, 5, 6, 1, 2, 3),
     Utc(2009, 3, 7, 1, 2, 3), 10},
    {"format 6 keeps the time of day", "2009/03/07", 6, Utc(2001, 5, 6, 12, 34, 56),
     Utc(2009, 3, 7, 12, 34, 56), 10},
    {"format 3 with missing day", "2009/03", 3, Utc(2001, 5, 6, 12, 34, 56),
     Utc(2009, 3, 1, 12, 34, 56), 7},
    {"two-digit year cannot be represented", "09/03/07", 6, kSample, -1L, 8},
    {"format 4 with two digits", "09/03/07 14:05:09", 4, 0, -1L, 17},
    {"empty text", "", 0, kSample, -1L, 0},
    {"no digits at all", "abc", 0, kSample, -1L, 3},
    {"format 3 without digits: year 0", "abc", 3, kSample, -1L, 3},
    {"last second of the count", "2038/01/19 03:14:07:000", 0, 0, static_cast<long>(INT32_MAX), 23},
    {"one second past the count", "2038/01/19 03:14:08:000", 0, 0, -1L, 23},
    {"first second of the count", "1901/12/13 20:45:52:000", 0, 0, static_cast<long>(INT32_MIN),
     23},
    {"one second before the count", "1901/12/13 20:45:51:000", 0, 0, -1L, 23},
    // The time-only shapes read onto a record whose date the reader fixes at 1970-01-01 (the
    // value passed in plays no part), so the result is the time of day in seconds.
    {"format 7, date 1970-01-01", "14:05:09:123", 7, kSample, Utc(1970, 1, 1, 14, 5, 9), 12},
    {"format 8", "14:05:09", 8, kSample, Utc(1970, 1, 1, 14, 5, 9), 8},
    {"format 9", "14:05", 9, kSample, Utc(1970, 1, 1, 14, 5, 0), 5},
    {"format 9 stops after the minute", "14:05:09", 9, kSample, Utc(1970, 1, 1, 14, 5, 0), 5},
    {"format 8 clamps", "24:60:60", 8, kSample, Utc(1970, 1, 1, 23, 59, 59), 8},
    {"format 8 empty", "", 8, kSample, 0L, 0},
    {"format 9 without separator", "1405", 9, kSample, Utc(1970, 1, 1, 23, 0, 0), 4},
};

void CheckNarrowParse(const ParseCase& c) {
    SCOPED_TRACE(c.what);
    long v = c.before;
    const char* r = TarnParseDateTimeStrA(c.text, c.format, &v, 1);
    EXPECT_EQ(c.text + c.stop, r);
    EXPECT_EQ(c.expected, v);
}

void CheckWideParse(const ParseCase& c) {
    SCOPED_TRACE(c.what);
    const std::wstring text = W(c.text);
    long v = c.before;
    const wchar_t* r = TarnParseDateTimeStrW(text.c_str(), c.format, &v, 1);
    EXPECT_EQ(text.c_str() + c.stop, r);
    EXPECT_EQ(c.expected, v);
}

TEST_F(TarnDateTimeStrTest, NarrowReaderCases) {
    for (const ParseCase& c : kParseCases) {
        CheckNarrowParse(c);
    }
}

TEST_F(TarnDateTimeStrTest, TwoDigitYearLeavesTheConversionsOverflowOnEveryBuild) {
    // Year 9 is outside the 32-bit count: the value becomes -1 and the last error is what the
    // device's mktime() leaves (EOVERFLOW), with no code of the library's own.
    long v = kSample;
    TarnSetLastError(zvtest::kSentinelError);
    const char* text = "09/03/07";
    EXPECT_EQ(text + 8, TarnParseDateTimeStrA(text, TARN_DTF_yMD, &v, 1));
    EXPECT_EQ(-1L, v);
    EXPECT_EQ(static_cast<unsigned int>(EOVERFLOW), TarnGetLastError());

    v = kSample;
    TarnSetLastError(zvtest::kSentinelError);
    const wchar_t* wide = L"09/03/07";
    EXPECT_EQ(wide + 8, TarnParseDateTimeStrW(wide, TARN_DTF_yMD, &v, 1));
    EXPECT_EQ(-1L, v);
    EXPECT_EQ(static_cast<unsigned int>(EOVERFLOW), TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, WideReaderCases) {
    for (const ParseCase& c : kParseCases) {
        CheckWideParse(c);
    }
}

TEST_F(TarnDateTimeStrTest, NarrowReaderSaturationSetsTheRangeCode) {
    // strtol saturates with ERANGE on the device; every build reads the field the same way, and
    // the last error, which is errno, shows it.
    const char text[] = "2009/4294967296/07 14:05:09:000";
    long v = 0;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(text + 31, TarnParseDateTimeStrA(text, 0, &v, 1));
    EXPECT_EQ(Utc(2009, 12, 7, 14, 5, 9), v);
    EXPECT_EQ(static_cast<unsigned int>(ERANGE), TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, WideReaderStepsOverWideOnlyCharacters) {
    // Characters with no narrow form count as separators; a number in front of one is still read.
    const wchar_t text[] = L"2009\x4E00/03/07\x3000 14:05:09:000\x20AC";
    long v = 0;
    EXPECT_EQ(text + 25, TarnParseDateTimeStrW(text, 0, &v, 1));
    EXPECT_EQ(kSample, v);
}

TEST_F(TarnDateTimeStrTest, NarrowReaderSetsNoCodeOnSuccess) {
    long v = 0;
    TarnSetLastError(zvtest::kSentinelError);
    const char* r = TarnParseDateTimeStrA(kFull, 0, &v, 1);
    EXPECT_EQ(kFull + 23, r);
    EXPECT_EQ('\0', *r);
    EXPECT_EQ(kSample, v);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, WideReaderSetsNoCodeOnSuccess) {
    const std::wstring text = W(kFull);
    long v = 0;
    TarnSetLastError(zvtest::kSentinelError);
    const wchar_t* r = TarnParseDateTimeStrW(text.c_str(), 0, &v, 1);
    EXPECT_EQ(text.c_str() + 23, r);
    EXPECT_EQ(kSample, v);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, NarrowReaderNullArgumentsGiveNullAndCode16) {
    long v = kUntouched;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(nullptr, TarnParseDateTimeStrA(nullptr, 0, &v, 1));
    EXPECT_EQ(16u, TarnGetLastError());
    EXPECT_EQ(kUntouched, v);
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(nullptr, TarnParseDateTimeStrA(kFull, 0, nullptr, 1));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(nullptr, TarnParseDateTimeStrA(nullptr, 11, nullptr, 0));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, WideReaderNullArgumentsGiveNullAndCode16) {
    long v = kUntouched;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(nullptr, TarnParseDateTimeStrW(nullptr, 0, &v, 1));
    EXPECT_EQ(16u, TarnGetLastError());
    EXPECT_EQ(kUntouched, v);
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(nullptr, TarnParseDateTimeStrW(L"2009/03/07", 3, nullptr, 1));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(nullptr, TarnParseDateTimeStrW(nullptr, 11, nullptr, 0));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(TarnDateTimeStrTest, ReadersUnknownFormatLeaveTheValueAndSetCode31) {
    const int formats[] = {10, 11, -1, INT_MIN, INT_MAX};
    const std::wstring wide = W(kFull);
    for (int format : formats) {
        SCOPED_TRACE(format);
        long v = kUntouched;
        TarnSetLastError(zvtest::kSentinelError);
        EXPECT_EQ(kFull, TarnParseDateTimeStrA(kFull, format, &v, 1));
        EXPECT_EQ(31u, TarnGetLastError());
        EXPECT_EQ(kUntouched, v);

        TarnSetLastError(zvtest::kSentinelError);
        EXPECT_EQ(wide.c_str(), TarnParseDateTimeStrW(wide.c_str(), format, &v, 1));
        EXPECT_EQ(31u, TarnGetLastError());
        EXPECT_EQ(kUntouched, v);
    }
}

TEST_F(TarnDateTimeStrTest, ReadersLocalTimeLeaveTheValueAndSetCode29) {
    struct Case {
        const char* text;
        int format;
        size_t stop;  // the date-only formats stop at once, the others read the whole text
    };
    const Case cases[] = {
        {"2009/03/07 14:05:09:000", 0, 23},
        {"2009/03/07 14:05:09", 1, 19},
        {"2009/03/07 14:05", 2, 16},
        {"2009/03/07", 3, 0},
        {"09/03/07 14:05:09", 4, 17},
        {"09/03/07 14:05", 5, 14},
        {"09/03/07", 6, 0},
        {"14:05:09:000", 7, 12},
        {"14:05:09", 8, 8},
        {"14:05", 9, 5},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.format);
        long v = kUntouched;
        TarnSetLastError(zvtest::kSentinelError);
        EXPECT_EQ(c.text + c.stop, TarnParseDateTimeStrA(c.text, c.format, &v, 0));
        EXPECT_EQ(29u, TarnGetLastError());
        EXPECT_EQ(kUntouched, v);

        const std::wstring wide = W(c.text);
        TarnSetLastError(zvtest::kSentinelError);
        EXPECT_EQ(wide.c_str() + c.stop, TarnParseDateTimeStrW(wide.c_str(), c.format, &v, 0));
        EXPECT_EQ(29u, TarnGetLastError());
        EXPECT_EQ(kUntouched, v);
    }
}

// ---- Write then read back ---------------------------------------------------------------------

// The value read back from the text of kSample in each shape, when kSample is also the value
// passed in: two-digit years cannot be represented (-1), time-only shapes give 1970-01-01.
long RoundTripExpected(int format) {
    switch (format) {
        case 0:
        case 1:
        case 3:
            return kSample;
        case 2:
            return kSample - 9;
        case 4:
        case 5:
        case 6:
            return -1L;
        case 7:
        case 8:
            return Utc(1970, 1, 1, 14, 5, 9);
        default:
            return Utc(1970, 1, 1, 14, 5, 0);
    }
}

TEST_F(TarnDateTimeStrTest, NarrowRoundTripEveryFormat) {
    for (int format = 0; format <= 9; ++format) {
        SCOPED_TRACE(format);
        char buf[32];
        ASSERT_EQ(buf, TarnGetDateTimeStrA(&kSample, format, buf, sizeof(buf), 1));
        long v = kSample;
        const char* r = TarnParseDateTimeStrA(buf, format, &v, 1);
        EXPECT_EQ(buf + strlen(buf), r);
        EXPECT_EQ(RoundTripExpected(format), v);
    }
}

TEST_F(TarnDateTimeStrTest, WideRoundTripEveryFormat) {
    for (int format = 0; format <= 9; ++format) {
        SCOPED_TRACE(format);
        wchar_t buf[32];
        ASSERT_EQ(buf, TarnGetDateTimeStrW(&kSample, format, buf, sizeof(buf), 1));
        long v = kSample;
        const wchar_t* r = TarnParseDateTimeStrW(buf, format, &v, 1);
        EXPECT_EQ(buf + wcslen(buf), r);
        EXPECT_EQ(RoundTripExpected(format), v);
    }
}

TEST_F(TarnDateTimeStrTest, FullFormatRoundTripsAcrossTheCount) {
    const long values[] = {0L,
                           -1L,
                           1L,
                           951782400L,
                           static_cast<long>(INT32_MAX),
                           static_cast<long>(INT32_MIN),
                           Utc(1999, 12, 31, 23, 59, 59)};
    for (long value : values) {
        SCOPED_TRACE(value);
        char buf[32];
        ASSERT_EQ(buf, TarnGetDateTimeStrA(&value, 0, buf, sizeof(buf), 1));
        long back = kUntouched;
        TarnParseDateTimeStrA(buf, 0, &back, 1);
        EXPECT_EQ(value, back);
    }
}

}  // namespace
