// The common file header line: writing it byte for byte, the tolerant parser, and the WUID.
#include <gtest/gtest.h>

#include <stdint.h>
#include <string.h>
#include <time.h>

#include <string>

#include "TarnError.h"
#include "ZVCmnFileHdr.h"
#include "HeaderRecordCheck.h"
#include "TestSupport.h"

namespace {

using zvtest::AbsentHeader;
using zvtest::ExpectSameRecord;

using zvtest::Utc;

const int32_t kTime = 1236434709;  // 2009-03-07 14:05:09 UTC

// The line written for a record whose every field is absent.
const char kAbsentLine[] =
    "NONE****"
    ",LM:*                      "
    ",DS:*         "
    ",CS:*    "
    ",MA:*                "
    ",EI:           \r\n";

// The line of the full record of FullHeader().
const char kFullLine[] =
    "ENVT0100"
    ",LM:2009/03/07 14:05:09:000"
    ",DS:0000001234"
    ",CS:48879"
    ",MA:00-1A-2B-3C-4D-5E"
    ",EI:hello      \r\n";

static_assert(sizeof(kAbsentLine) == 97, "a header line is 96 bytes");
static_assert(sizeof(kFullLine) == 97, "a header line is 96 bytes");

ZV_COMMON_FILE_HEADER_tag FullHeader() {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    memcpy(h.szFileType, "ENVT", 4);
    h.wMajorVer = 1;
    h.wMinorVer = 0;
    h.lLastModified = kTime;
    h.dwDataSize = 1234;
    h.lCheckSum = 0xBEEF;
    const uint8_t mac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
    memcpy(h.byMacAddr, mac, 6);
    strcpy(h.szExtraInfo, "hello");
    return h;
}

// Writes header into a 96-byte buffer and returns the 96 bytes.
std::string Line(const ZV_COMMON_FILE_HEADER_tag& header) {
    char buffer[96];
    memset(buffer, 0x55, sizeof(buffer));
    int n = ZVCFCreateCommonFileHeader(&header, buffer, sizeof(buffer));
    EXPECT_EQ(96, n);
    return std::string(buffer, sizeof(buffer));
}

// Parses text (all of it) into a record that starts out as garbage.
int Parse(const std::string& text, ZV_COMMON_FILE_HEADER_tag* header) {
    memset(header, 0xAB, sizeof(*header));
    return ZVCFParseCommonFileHeader(header, text.data(), static_cast<unsigned int>(text.size()));
}

// The WUID words by the shift-and-add rule, from known calendar fields.
WUID ExpectedWuid(uint32_t flags, int year, int month, int day, int hour, int minute, int second,
                  const uint8_t* mac) {
    WUID w;
    uint32_t w0 = flags;
    w0 = (w0 << 10) + (static_cast<uint32_t>(year) - 2000u);
    w0 = (w0 << 4) + static_cast<uint32_t>(month);
    w0 = (w0 << 5) + static_cast<uint32_t>(day);
    w0 = (w0 << 5) + static_cast<uint32_t>(hour);
    w0 = (w0 << 6) + static_cast<uint32_t>(minute);
    uint32_t w1 = static_cast<uint32_t>(second);
    w1 = (w1 << 10) + 0u;
    w1 = (w1 << 8) + mac[0];
    w1 = (w1 << 8) + mac[1];
    w.dwWord[0] = w0;
    w.dwWord[1] = w1;
    w.dwWord[2] = (static_cast<uint32_t>(mac[2]) << 24) | (static_cast<uint32_t>(mac[3]) << 16) |
                  (static_cast<uint32_t>(mac[4]) << 8) | mac[5];
    return w;
}

class CmnFileHdrTest : public ::testing::Test {
protected:
    void SetUp() override { zvtest::UseUtc(); }
};

// ---- ZVCFCreateCommonFileHeader: arguments ----

TEST_F(CmnFileHdrTest, CreateNullHeaderFails) {
    char buffer[96];
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(-1, ZVCFCreateCommonFileHeader(nullptr, buffer, 96));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(CmnFileHdrTest, CreateNullHeaderFailsEvenForSizeQuery) {
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(-1, ZVCFCreateCommonFileHeader(nullptr, nullptr, 0));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(CmnFileHdrTest, CreateSizeZeroIsQueryAndTouchesNothing) {
    ZV_COMMON_FILE_HEADER_tag h = FullHeader();
    char buffer[100];
    memset(buffer, 'x', sizeof(buffer));
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(96, ZVCFCreateCommonFileHeader(&h, buffer, 0));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(std::string(100, 'x'), std::string(buffer, 100));
}

TEST_F(CmnFileHdrTest, CreateSizeZeroWithNullBufferIsQuery) {
    ZV_COMMON_FILE_HEADER_tag h = FullHeader();
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(96, ZVCFCreateCommonFileHeader(&h, nullptr, 0));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(CmnFileHdrTest, CreateNullBufferFails) {
    ZV_COMMON_FILE_HEADER_tag h = FullHeader();
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(-1, ZVCFCreateCommonFileHeader(&h, nullptr, 96));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(CmnFileHdrTest, CreateBufferOf95BytesIsTooShort) {
    ZV_COMMON_FILE_HEADER_tag h = FullHeader();
    char buffer[95];
    memset(buffer, 'x', sizeof(buffer));
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(-1, ZVCFCreateCommonFileHeader(&h, buffer, 95));
    EXPECT_EQ(35u, TarnGetLastError());
    EXPECT_EQ(std::string(95, 'x'), std::string(buffer, 95));
}

TEST_F(CmnFileHdrTest, CreateBufferOf1ByteIsTooShort) {
    ZV_COMMON_FILE_HEADER_tag h = FullHeader();
    char buffer[1] = {'x'};
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(-1, ZVCFCreateCommonFileHeader(&h, buffer, 1));
    EXPECT_EQ(35u, TarnGetLastError());
    EXPECT_EQ('x', buffer[0]);
}

TEST_F(CmnFileHdrTest, CreateBufferOf96BytesSucceeds) {
    ZV_COMMON_FILE_HEADER_tag h = FullHeader();
    char* buffer = new char[96];  // exact size: a write past it shows under the sanitizers
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(96, ZVCFCreateCommonFileHeader(&h, buffer, 96));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(std::string(kFullLine, 96), std::string(buffer, 96));
    delete[] buffer;
}

TEST_F(CmnFileHdrTest, CreateLargerBufferWritesOnly96BytesAndNoNul) {
    ZV_COMMON_FILE_HEADER_tag h = FullHeader();
    char buffer[120];
    memset(buffer, 'x', sizeof(buffer));
    EXPECT_EQ(96, ZVCFCreateCommonFileHeader(&h, buffer, sizeof(buffer)));
    EXPECT_EQ(std::string(kFullLine, 96), std::string(buffer, 96));
    EXPECT_EQ(std::string(24, 'x'), std::string(buffer + 96, 24));
}

// ---- ZVCFCreateCommonFileHeader: the bytes ----

TEST_F(CmnFileHdrTest, AllAbsentRecordWithZeroTypeIsWrittenAsNone) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    memset(h.szFileType, 0, 4);
    EXPECT_EQ(std::string(kAbsentLine, 96), Line(h));
}

TEST_F(CmnFileHdrTest, ResetRecordIsWrittenAsAllAbsent) {
    EXPECT_EQ(std::string(kAbsentLine, 96), Line(AbsentHeader()));
}

TEST_F(CmnFileHdrTest, FullRecordIsWrittenByteForByte) {
    EXPECT_EQ(std::string(kFullLine, 96), Line(FullHeader()));
}

TEST_F(CmnFileHdrTest, RecordWithOffsetInsideAnotherBufferIsRead) {
    // The environment store hands over a copy at an arbitrary byte offset.
    char storage[64];
    ZV_COMMON_FILE_HEADER_tag full = FullHeader();
    memcpy(storage + 1, &full, sizeof(full));
    char buffer[96];
    EXPECT_EQ(96, ZVCFCreateCommonFileHeader(
                      reinterpret_cast<const ZV_COMMON_FILE_HEADER_tag*>(storage + 1), buffer, 96));
    EXPECT_EQ(std::string(kFullLine, 96), std::string(buffer, 96));
}

TEST_F(CmnFileHdrTest, VersionsAreWrittenModulo100) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    h.wMajorVer = 123;
    h.wMinorVer = 0xFFFE;
    EXPECT_EQ("NONE2334", Line(h).substr(0, 8));
    h.wMajorVer = 0;
    h.wMinorVer = 99;
    EXPECT_EQ("NONE0099", Line(h).substr(0, 8));
    h.wMajorVer = 100;
    h.wMinorVer = 7;
    EXPECT_EQ("NONE0007", Line(h).substr(0, 8));
}

TEST_F(CmnFileHdrTest, OnlyVersion0xFFFFIsWrittenAsStars) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    h.wMajorVer = 0xFFFF;
    h.wMinorVer = 5;
    EXPECT_EQ("NONE**05", Line(h).substr(0, 8));
    h.wMajorVer = 5;
    h.wMinorVer = 0xFFFF;
    EXPECT_EQ("NONE05**", Line(h).substr(0, 8));
}

TEST_F(CmnFileHdrTest, NonPrintableTypeBytesBecomeUnderscores) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    const char type[4] = {'A', '\x01', '\x7F', '\x80'};
    memcpy(h.szFileType, type, 4);
    EXPECT_EQ("A___****", Line(h).substr(0, 8));
    const char withZero[4] = {'E', '\0', 'V', '~'};
    memcpy(h.szFileType, withZero, 4);
    EXPECT_EQ("E_V~****", Line(h).substr(0, 8));
    const char blanks[4] = {' ', ' ', ' ', ' '};
    memcpy(h.szFileType, blanks, 4);
    EXPECT_EQ("    ****", Line(h).substr(0, 8));
}

TEST_F(CmnFileHdrTest, TimeFieldShapes) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    h.lLastModified = 1;
    EXPECT_EQ(",LM:1970/01/01 00:00:01:000,", Line(h).substr(8, 28));
    h.lLastModified = INT32_MAX;
    EXPECT_EQ(",LM:2038/01/19 03:14:07:000,", Line(h).substr(8, 28));
    h.lLastModified = -1;
    EXPECT_EQ(",LM:1969/12/31 23:59:59:000,", Line(h).substr(8, 28));
}

TEST_F(CmnFileHdrTest, SizeFieldShapes) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    h.dwDataSize = 1;
    EXPECT_EQ(",DS:0000000001,", Line(h).substr(35, 15));
    h.dwDataSize = UINT32_MAX;
    EXPECT_EQ(",DS:4294967295,", Line(h).substr(35, 15));
}

TEST_F(CmnFileHdrTest, ChecksumFieldShapes) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    h.lCheckSum = 0;
    EXPECT_EQ(",CS:00000,", Line(h).substr(49, 10));
    h.lCheckSum = 65535;
    EXPECT_EQ(",CS:65535,", Line(h).substr(49, 10));
    h.lCheckSum = 0x12345;  // only the low 16 bits are written
    EXPECT_EQ(",CS:09029,", Line(h).substr(49, 10));
    h.lCheckSum = INT32_MIN;
    EXPECT_EQ(",CS:*    ,", Line(h).substr(49, 10));
    h.lCheckSum = -2;
    EXPECT_EQ(",CS:*    ,", Line(h).substr(49, 10));
}

TEST_F(CmnFileHdrTest, MacFieldShapes) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    memset(h.byMacAddr, 0xFF, 6);
    EXPECT_EQ(",MA:FF-FF-FF-FF-FF-FF,", Line(h).substr(58, 22));
    memset(h.byMacAddr, 0, 6);
    h.byMacAddr[5] = 1;
    EXPECT_EQ(",MA:00-00-00-00-00-01,", Line(h).substr(58, 22));
    h.byMacAddr[5] = 0;
    h.byMacAddr[0] = 0xab;
    EXPECT_EQ(",MA:AB-00-00-00-00-00,", Line(h).substr(58, 22));
}

TEST_F(CmnFileHdrTest, NonPrintableExtraInfoBecomesBlank) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    strcpy(h.szExtraInfo, "ab\x01\x7F\xC3z");
    EXPECT_EQ(",EI:ab   z     \r\n", Line(h).substr(79));
    strcpy(h.szExtraInfo, "ab\x01\x7Fz");
    EXPECT_EQ(",EI:ab  z      \r\n", Line(h).substr(79));
}

TEST_F(CmnFileHdrTest, ExtraInfoOfElevenCharacters) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    strcpy(h.szExtraInfo, "abcdefghijk");
    EXPECT_EQ(",EI:abcdefghijk\r\n", Line(h).substr(79));
}

TEST_F(CmnFileHdrTest, UnterminatedExtraInfoIsCutToElevenCharacters) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    memcpy(h.szExtraInfo, "abcdefghijkl", 12);  // no NUL in the field
    std::string line = Line(h);
    EXPECT_EQ(",EI:abcdefghijk\r\n", line.substr(79));
    EXPECT_EQ(std::string(kAbsentLine, 79), line.substr(0, 79));
}

TEST_F(CmnFileHdrTest, ExtraInfoWithLeadingBlanks) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    strcpy(h.szExtraInfo, "  x");
    EXPECT_EQ(",EI:  x        \r\n", Line(h).substr(79));
}

// ---- ZVCFParseCommonFileHeader ----

TEST_F(CmnFileHdrTest, ParseSizeZeroResetsRecordAndReturnsZero) {
    ZV_COMMON_FILE_HEADER_tag h;
    memset(&h, 0xAB, sizeof(h));
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, ZVCFParseCommonFileHeader(&h, "ENVT0100\r\n", 0));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    ExpectSameRecord(AbsentHeader(), h);
}

TEST_F(CmnFileHdrTest, ParseSizeZeroWithNullData) {
    ZV_COMMON_FILE_HEADER_tag h;
    memset(&h, 0xAB, sizeof(h));
    EXPECT_EQ(0, ZVCFParseCommonFileHeader(&h, nullptr, 0));
    ExpectSameRecord(AbsentHeader(), h);
}

TEST_F(CmnFileHdrTest, ParseFullLineReproducesRecord) {
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(96, Parse(std::string(kFullLine, 96) + "body\r\nmore", &h));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    ExpectSameRecord(FullHeader(), h);
}

TEST_F(CmnFileHdrTest, ParseAbsentLineGivesResetRecord) {
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(96, Parse(std::string(kAbsentLine, 96), &h));
    ExpectSameRecord(AbsentHeader(), h);
}

TEST_F(CmnFileHdrTest, ParseIntoUnalignedRecord) {
    char storage[64];
    memset(storage, 0xAB, sizeof(storage));
    auto* h = reinterpret_cast<ZV_COMMON_FILE_HEADER_tag*>(storage + 3);
    EXPECT_EQ(96, ZVCFParseCommonFileHeader(h, kFullLine, 96));
    ZV_COMMON_FILE_HEADER_tag copy;
    memcpy(&copy, storage + 3, sizeof(copy));
    ExpectSameRecord(FullHeader(), copy);
    EXPECT_EQ(static_cast<char>(0xAB), storage[2]);
    EXPECT_EQ(static_cast<char>(0xAB), storage[3 + 38]);
}

TEST_F(CmnFileHdrTest, WriteThenParseRoundTripsTrimmedExtraInfo) {
    ZV_COMMON_FILE_HEADER_tag h = FullHeader();
    h.wMajorVer = 99;
    h.wMinorVer = 7;
    h.lCheckSum = 0;
    strcpy(h.szExtraInfo, " a b  ");
    ZV_COMMON_FILE_HEADER_tag back;
    EXPECT_EQ(96, Parse(Line(h), &back));
    memset(h.szExtraInfo, 0, sizeof(h.szExtraInfo));
    strcpy(h.szExtraInfo, " a b");
    ExpectSameRecord(h, back);
}

TEST_F(CmnFileHdrTest, ParseLineEndingInLfAlone) {
    std::string line = std::string(kFullLine, 94) + "\n";
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(95, Parse(line + "body", &h));
    ExpectSameRecord(FullHeader(), h);
}

TEST_F(CmnFileHdrTest, ParseLineEndingInCrAlone) {
    std::string line = std::string(kFullLine, 95);
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(95, Parse(line + "body\n", &h));
    ExpectSameRecord(FullHeader(), h);
}

TEST_F(CmnFileHdrTest, ParseLineWithoutLineEndIsWholeSize) {
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(94, Parse(std::string(kFullLine, 94), &h));
    ExpectSameRecord(FullHeader(), h);
}

TEST_F(CmnFileHdrTest, ParseStopsAtSizeEvenIfLineGoesOn) {
    ZV_COMMON_FILE_HEADER_tag h;
    // Only the first 20 bytes are given: the line is those 20 bytes.
    EXPECT_EQ(20, ZVCFParseCommonFileHeader(&h, kFullLine, 20));
    ZV_COMMON_FILE_HEADER_tag expected = AbsentHeader();
    memcpy(expected.szFileType, "ENVT", 4);
    expected.wMajorVer = 1;
    expected.wMinorVer = 0;
    // "LM:2009/03/" reads as 2009-03-01 00:00:00 (missing fields 0, day clamped to 1).
    expected.lLastModified = static_cast<int32_t>(Utc(2009, 3, 1, 0, 0, 0));
    ExpectSameRecord(expected, h);
}

TEST_F(CmnFileHdrTest, ParseCrLfAfterCrCountsOnce) {
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(10, Parse("ENVT0102\r\n\n", &h));
    EXPECT_EQ(10, Parse("ENVT0102\r\n\r\n", &h));
    EXPECT_EQ(9, Parse("ENVT0102\n\r", &h));
    EXPECT_EQ(1, h.wMajorVer);
    EXPECT_EQ(2, h.wMinorVer);
}

TEST_F(CmnFileHdrTest, ParseCrAloneEndsTheLine) {
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(3, Parse("AB\rCD\nEF", &h));
    ExpectSameRecord(AbsentHeader(), h);
}

TEST_F(CmnFileHdrTest, ParseEmptyFirstLine) {
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(2, Parse("\r\n" + std::string(kFullLine, 96), &h));
    ExpectSameRecord(AbsentHeader(), h);
    EXPECT_EQ(1, Parse("\nENVT0100", &h));
    ExpectSameRecord(AbsentHeader(), h);
    EXPECT_EQ(1, Parse("\rENVT0100", &h));
    ExpectSameRecord(AbsentHeader(), h);
}

TEST_F(CmnFileHdrTest, ParseContentShorterThanFourBytes) {
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(5, Parse("ENV\r\nENVT0102", &h));
    ExpectSameRecord(AbsentHeader(), h);
    EXPECT_EQ(3, Parse("ENV", &h));
    ExpectSameRecord(AbsentHeader(), h);
}

TEST_F(CmnFileHdrTest, ParseContentOfFourOrFiveBytes) {
    ZV_COMMON_FILE_HEADER_tag h;
    ZV_COMMON_FILE_HEADER_tag expected = AbsentHeader();
    memcpy(expected.szFileType, "ENVB", 4);
    EXPECT_EQ(6, Parse("ENVB\r\n", &h));
    ExpectSameRecord(expected, h);
    EXPECT_EQ(6, Parse("ENVB1\n", &h));
    ExpectSameRecord(expected, h);
}

TEST_F(CmnFileHdrTest, ParseContentOfSixOrSevenBytes) {
    ZV_COMMON_FILE_HEADER_tag h;
    ZV_COMMON_FILE_HEADER_tag expected = AbsentHeader();
    memcpy(expected.szFileType, "ENVB", 4);
    expected.wMajorVer = 12;
    EXPECT_EQ(8, Parse("ENVB12\r\n", &h));
    ExpectSameRecord(expected, h);
    EXPECT_EQ(8, Parse("ENVB123\n", &h));
    ExpectSameRecord(expected, h);
}

TEST_F(CmnFileHdrTest, ParseContentOfEightBytes) {
    ZV_COMMON_FILE_HEADER_tag h;
    ZV_COMMON_FILE_HEADER_tag expected = AbsentHeader();
    memcpy(expected.szFileType, "ENVB", 4);
    expected.wMajorVer = 12;
    expected.wMinorVer = 34;
    EXPECT_EQ(8, Parse("ENVB1234", &h));
    ExpectSameRecord(expected, h);
}

TEST_F(CmnFileHdrTest, ParseTypeBytesAreCopiedUnchecked) {
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(6, Parse(std::string("\x01\x7F\xC3 \r\n", 6), &h));
    EXPECT_EQ(std::string("\x01\x7F\xC3 ", 4), std::string(h.szFileType, 4));
}

TEST_F(CmnFileHdrTest, ParseNonDigitVersionsAreAbsent) {
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(8, Parse("ENVT**02", &h));
    EXPECT_EQ(0xFFFF, h.wMajorVer);
    EXPECT_EQ(2, h.wMinorVer);
    EXPECT_EQ(8, Parse("ENVT1a2 ", &h));
    EXPECT_EQ(0xFFFF, h.wMajorVer);
    EXPECT_EQ(0xFFFF, h.wMinorVer);
    EXPECT_EQ(8, Parse("ENVT99 9", &h));
    EXPECT_EQ(99, h.wMajorVer);
    EXPECT_EQ(0xFFFF, h.wMinorVer);
}

TEST_F(CmnFileHdrTest, ParseLowerCaseKeysInAnotherOrder) {
    std::string line =
        "ENVT0100,ei:hello,cs:48879,ma:00-1A-2B-3C-4D-5E,Ds:0000001234,"
        "lM:2009/03/07 14:05:09:000\r\n";
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(static_cast<int>(line.size()), Parse(line, &h));
    ExpectSameRecord(FullHeader(), h);
}

TEST_F(CmnFileHdrTest, ParseLowerCaseMacKeyWithLowerCaseHexAndLeadingBlank) {
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(32, Parse("ENVT0100,ma: 0a-1b-2c-3d-4e-5f\r\n", &h));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    const uint8_t mac[6] = {0x0A, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F};
    EXPECT_EQ(0, memcmp(mac, h.byMacAddr, 6));
}

TEST_F(CmnFileHdrTest, ParseMacWithColonsFails) {
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(-1, Parse("ENVT0100,MA:00:1A:2B:3C:4D:5E\r\n", &h));
    EXPECT_EQ(34u, TarnGetLastError());
}

TEST_F(CmnFileHdrTest, ParseMacWithColonOnlyAtTheEndFails) {
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(-1, Parse("ENVT0100,MA:00-1A-2B-3C-4D:5E\r\n", &h));
    EXPECT_EQ(34u, TarnGetLastError());
}

TEST_F(CmnFileHdrTest, ParseMacWithNonPrintableByteFails) {
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(-1, Parse(std::string("ENVT0100,MA:00-1\x01-2B-3C-4D-5E\r\n"), &h));
    EXPECT_EQ(34u, TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(-1, Parse(std::string("ENVT0100,MA:00-1A-2B-3C-4D-\xC3\xA5\r\n"), &h));
    EXPECT_EQ(34u, TarnGetLastError());
}

TEST_F(CmnFileHdrTest, ParseMacWithNonHexDigitFails) {
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(-1, Parse("ENVT0100,MA:00-1G-2B-3C-4D-5E\r\n", &h));
    EXPECT_EQ(34u, TarnGetLastError());
}

TEST_F(CmnFileHdrTest, ParseShortMacIsLeftZero) {
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(zvtest::kSentinelError);
    // 16 bytes after the key: too few to be an address, and no error.
    EXPECT_EQ(30, Parse("ENVT0100,MA:00-1A-2B-3C-4D-5\r\n", &h));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, memcmp("\0\0\0\0\0\0", h.byMacAddr, 6));
    // Even malformed text is not examined when it is short.
    EXPECT_EQ(22, Parse("ENVT0100,MA:00:1A:2B\r\n", &h));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, memcmp("\0\0\0\0\0\0", h.byMacAddr, 6));
}

TEST_F(CmnFileHdrTest, ParseStarMacIsLeftZeroWhateverFollows) {
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(33, Parse("ENVT0100,MA:*0:1A:2B:3C:4D:5E:6F\n", &h));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, memcmp("\0\0\0\0\0\0", h.byMacAddr, 6));
}

TEST_F(CmnFileHdrTest, ParseEachFieldPresentAlone) {
    ZV_COMMON_FILE_HEADER_tag h;
    ZV_COMMON_FILE_HEADER_tag expected = AbsentHeader();
    memcpy(expected.szFileType, "ABCD", 4);
    expected.wMajorVer = 0;
    expected.wMinorVer = 0;

    ZV_COMMON_FILE_HEADER_tag e = expected;
    e.lLastModified = kTime;
    EXPECT_EQ(35, Parse("ABCD0000,LM:2009/03/07 14:05:09:000", &h));
    ExpectSameRecord(e, h);

    e = expected;
    e.dwDataSize = 77;
    EXPECT_EQ(14, Parse("ABCD0000,DS:77", &h));
    ExpectSameRecord(e, h);

    e = expected;
    e.lCheckSum = 0;
    EXPECT_EQ(17, Parse("ABCD0000,CS:00000", &h));
    ExpectSameRecord(e, h);

    e = expected;
    const uint8_t mac[6] = {1, 2, 3, 4, 5, 6};
    memcpy(e.byMacAddr, mac, 6);
    EXPECT_EQ(29, Parse("ABCD0000,MA:01-02-03-04-05-06", &h));
    ExpectSameRecord(e, h);

    e = expected;
    strcpy(e.szExtraInfo, "x");
    EXPECT_EQ(13, Parse("ABCD0000,EI:x", &h));
    ExpectSameRecord(e, h);
}

TEST_F(CmnFileHdrTest, ParseStarFieldsAreAbsent) {
    ZV_COMMON_FILE_HEADER_tag h;
    ZV_COMMON_FILE_HEADER_tag expected = AbsentHeader();
    memcpy(expected.szFileType, "ABCD", 4);
    EXPECT_EQ(34, Parse("ABCD****,LM:*,DS:*,CS:*,MA:*,EI:\r\n", &h));
    ExpectSameRecord(expected, h);
    EXPECT_EQ(41, Parse("ABCD****,LM: *,DS:\t*,CS:  *,MA:*,EI:   \r\n", &h));
    ExpectSameRecord(expected, h);
}

TEST_F(CmnFileHdrTest, ParseTimeWithBlanksAndLowerCase) {
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(46, Parse("ENVT0100,lm:   2009/03/07 14:05:09:000   ,DS:5", &h));
    EXPECT_EQ(kTime, h.lLastModified);
    EXPECT_EQ(5u, h.dwDataSize);
}

TEST_F(CmnFileHdrTest, ParseTimeWithoutMillisecondsSwallowsNextField) {
    // The date-time reader looks for the milliseconds behind the next ':' and reads the size's
    // digits as them; the time is unchanged and the size is consumed with them.
    ZV_COMMON_FILE_HEADER_tag h;
    Parse("ENVT0100,LM:2009/03/07 14:05:09,DS:5", &h);
    EXPECT_EQ(kTime, h.lLastModified);
    EXPECT_EQ(0u, h.dwDataSize);
    Parse("ENVT0100,LM:2009/03/07 14:05:09,DS:5,CS:6", &h);
    EXPECT_EQ(kTime, h.lLastModified);
    EXPECT_EQ(0u, h.dwDataSize);
    EXPECT_EQ(6, h.lCheckSum);
}

TEST_F(CmnFileHdrTest, ParseSizeAndChecksumWrapWithoutOverflowCheck) {
    ZV_COMMON_FILE_HEADER_tag h;
    Parse("ENVT0100,DS:4294967296,CS:4294967297", &h);
    EXPECT_EQ(0u, h.dwDataSize);
    EXPECT_EQ(1, h.lCheckSum);
    Parse("ENVT0100,DS:4294967297,CS:4294967295", &h);
    EXPECT_EQ(1u, h.dwDataSize);
    EXPECT_EQ(-1, h.lCheckSum);
    Parse("ENVT0100,CS:2147483648", &h);
    EXPECT_EQ(INT32_MIN, h.lCheckSum);
    Parse("ENVT0100,DS:99999999999999999999", &h);  // 10^20 - 1 modulo 2^32
    EXPECT_EQ(0x630FFFFFu, h.dwDataSize);
}

TEST_F(CmnFileHdrTest, ParseChecksumIsNotLimitedTo16Bits) {
    ZV_COMMON_FILE_HEADER_tag h;
    Parse("ENVT0100,CS:70000", &h);
    EXPECT_EQ(70000, h.lCheckSum);
    Parse("ENVT0100,CS:0000065536", &h);
    EXPECT_EQ(65536, h.lCheckSum);
}

TEST_F(CmnFileHdrTest, ParseSizeAndChecksumStopAtNonDigit) {
    ZV_COMMON_FILE_HEADER_tag h;
    Parse("ENVT0100,DS:12x34,CS:56 78", &h);
    EXPECT_EQ(12u, h.dwDataSize);
    EXPECT_EQ(56, h.lCheckSum);
    // No digit at all: the size stays 0 and the checksum becomes 0 (it is present).
    Parse("ENVT0100,DS:abc,CS:abc", &h);
    EXPECT_EQ(0u, h.dwDataSize);
    EXPECT_EQ(0, h.lCheckSum);
}

TEST_F(CmnFileHdrTest, ParseExtraInfoRules) {
    ZV_COMMON_FILE_HEADER_tag h;
    Parse("ENVT0100,EI:  ab", &h);
    EXPECT_STREQ("  ab", h.szExtraInfo);
    Parse("ENVT0100,EI:abcdefghijklmnop", &h);
    EXPECT_STREQ("abcdefghijk", h.szExtraInfo);
    Parse("ENVT0100,EI:ab,DS:5", &h);
    EXPECT_STREQ("ab", h.szExtraInfo);
    EXPECT_EQ(5u, h.dwDataSize);
    Parse(
        "ENVT0100,EI:a\x01"
        "b\xC3\t \x02",
        &h);
    EXPECT_STREQ("a b ", h.szExtraInfo);
    Parse("ENVT0100,EI:abcdefghij  xyz", &h);  // cut to 11, then trimmed
    EXPECT_STREQ("abcdefghij", h.szExtraInfo);
    Parse("ENVT0100,EI:,DS:9", &h);
    EXPECT_STREQ("", h.szExtraInfo);
    EXPECT_EQ(9u, h.dwDataSize);
}

TEST_F(CmnFileHdrTest, ParseUnknownKeyIsPassedOver) {
    ZV_COMMON_FILE_HEADER_tag h;
    Parse("ENVT0100,XX:123,DS:5,ZZ:,CS:7", &h);
    EXPECT_EQ(5u, h.dwDataSize);
    EXPECT_EQ(7, h.lCheckSum);
}

TEST_F(CmnFileHdrTest, ParseFieldAfterNoCommaIsNotRead) {
    ZV_COMMON_FILE_HEADER_tag h;
    Parse("ENVT0100,DS:5 CS:7", &h);
    EXPECT_EQ(5u, h.dwDataSize);
    EXPECT_EQ(-1, h.lCheckSum);
}

TEST_F(CmnFileHdrTest, ParseKeyNeedsFourBytes) {
    ZV_COMMON_FILE_HEADER_tag h;
    Parse("ENVT0100,CS:", &h);
    EXPECT_EQ(-1, h.lCheckSum);
    Parse("ENVT0100,CS:7", &h);
    EXPECT_EQ(7, h.lCheckSum);
    Parse("ENVT0100,DS:7,CS:", &h);
    EXPECT_EQ(7u, h.dwDataSize);
    EXPECT_EQ(-1, h.lCheckSum);
}

TEST_F(CmnFileHdrTest, ParseNonLettersBeforeKeyAreSkipped) {
    ZV_COMMON_FILE_HEADER_tag h;
    Parse("ENVT0100 ,, 12 DS:7", &h);
    EXPECT_EQ(7u, h.dwDataSize);
}

TEST_F(CmnFileHdrTest, ParsePlainTextAsHeader) {
    ZV_COMMON_FILE_HEADER_tag h;
    EXPECT_EQ(11, Parse("hello world", &h));
    ZV_COMMON_FILE_HEADER_tag expected = AbsentHeader();
    memcpy(expected.szFileType, "hell", 4);
    ExpectSameRecord(expected, h);
}

// ---- WUID ----

TEST_F(CmnFileHdrTest, GetWuidNullArguments) {
    ZV_COMMON_FILE_HEADER_tag h = FullHeader();
    WUID w;
    memset(&w, 0x11, sizeof(w));
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, ZVCFGetWUID(nullptr, &w));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, ZVCFGetWUID(&h, nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(CmnFileHdrTest, WuidOfTimeZeroWithoutMacBorrowsThroughFlags) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    WUID w;
    memset(&w, 0x11, sizeof(w));
    EXPECT_EQ(1, ZVCFGetWUID(&h, &w));
    EXPECT_EQ(0xFE210800u, w.dwWord[0]);
    EXPECT_EQ(0u, w.dwWord[1]);
    EXPECT_EQ(0u, w.dwWord[2]);
}

TEST_F(CmnFileHdrTest, WuidOfTimeZeroWithMac) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    const uint8_t mac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
    memcpy(h.byMacAddr, mac, 6);
    WUID w;
    EXPECT_EQ(1, ZVCFGetWUID(&h, &w));
    WUID e = ExpectedWuid(1, 1970, 1, 1, 0, 0, 0, mac);
    EXPECT_EQ(0x3E210800u, e.dwWord[0]);  // the year's borrow takes the flag bits to 0
    EXPECT_EQ(e.dwWord[0], w.dwWord[0]);
    EXPECT_EQ(0x0000001Au, w.dwWord[1]);
    EXPECT_EQ(0x2B3C4D5Eu, w.dwWord[2]);
}

TEST_F(CmnFileHdrTest, WuidOfKnownTimeWithoutMac) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    h.lLastModified = kTime;
    const uint8_t zero[6] = {0, 0, 0, 0, 0, 0};
    WUID e = ExpectedWuid(2, 2009, 3, 7, 14, 5, 9, zero);
    WUID w;
    EXPECT_EQ(1, ZVCFGetWUID(&h, &w));
    EXPECT_EQ(e.dwWord[0], w.dwWord[0]);
    EXPECT_EQ(e.dwWord[1], w.dwWord[1]);
    EXPECT_EQ(0u, w.dwWord[2]);
    EXPECT_EQ(0x80933B85u, w.dwWord[0]);
    EXPECT_EQ(0x24000000u, w.dwWord[1]);
}

TEST_F(CmnFileHdrTest, WuidOfKnownTimeWithMac) {
    ZV_COMMON_FILE_HEADER_tag h = FullHeader();
    const uint8_t mac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
    WUID e = ExpectedWuid(3, 2009, 3, 7, 14, 5, 9, mac);
    WUID w;
    EXPECT_EQ(1, ZVCFGetWUID(&h, &w));
    EXPECT_EQ(0, memcmp(&e, &w, sizeof(w)));
    EXPECT_EQ(0xC0933B85u, w.dwWord[0]);
    EXPECT_EQ(0x2400001Au, w.dwWord[1]);
    EXPECT_EQ(0x2B3C4D5Eu, w.dwWord[2]);
}

TEST_F(CmnFileHdrTest, WuidOfSeveralTimes) {
    struct Case {
        int year, month, day, hour, minute, second;
    };
    const Case cases[] = {{2000, 1, 1, 0, 0, 0},     {2021, 12, 31, 23, 59, 58},
                          {2038, 1, 19, 3, 14, 7},   {1999, 12, 31, 23, 59, 59},
                          {2016, 2, 29, 12, 30, 45}, {1901, 12, 13, 20, 45, 52}};
    const uint8_t mac[6] = {0xFF, 0x01, 0x80, 0x7F, 0x00, 0x10};
    for (const Case& c : cases) {
        ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
        long t = Utc(c.year, c.month, c.day, c.hour, c.minute, c.second);
        h.lLastModified = static_cast<int32_t>(t);
        memcpy(h.byMacAddr, mac, 6);
        WUID e = ExpectedWuid(3, c.year, c.month, c.day, c.hour, c.minute, c.second, mac);
        WUID w;
        EXPECT_EQ(1, ZVCFGetWUID(&h, &w)) << c.year;
        EXPECT_EQ(e.dwWord[0], w.dwWord[0]) << c.year;
        EXPECT_EQ(e.dwWord[1], w.dwWord[1]) << c.year;
        EXPECT_EQ(e.dwWord[2], w.dwWord[2]) << c.year;
    }
}

TEST_F(CmnFileHdrTest, WuidOfUnalignedRecord) {
    char storage[64];
    ZV_COMMON_FILE_HEADER_tag full = FullHeader();
    memcpy(storage + 1, &full, sizeof(full));
    WUID a, b;
    EXPECT_EQ(1, ZVCFGetWUID(reinterpret_cast<const ZV_COMMON_FILE_HEADER_tag*>(storage + 1), &a));
    EXPECT_EQ(1, ZVCFGetWUID(&full, &b));
    EXPECT_EQ(0, memcmp(&a, &b, sizeof(a)));
}

TEST_F(CmnFileHdrTest, WuidIgnoresEverythingButTimeAndMac) {
    ZV_COMMON_FILE_HEADER_tag a = FullHeader();
    ZV_COMMON_FILE_HEADER_tag b = AbsentHeader();
    b.lLastModified = a.lLastModified;
    memcpy(b.byMacAddr, a.byMacAddr, 6);
    WUID wa, wb;
    EXPECT_EQ(1, ZVCFGetWUID(&a, &wa));
    EXPECT_EQ(1, ZVCFGetWUID(&b, &wb));
    EXPECT_EQ(1, ZVCFIsSameWUID(&wa, &wb));
}

TEST_F(CmnFileHdrTest, HeadersWrittenInTheSameSecondHaveTheSameWuid) {
    // Two headers stamped in one second and read back from their lines.
    ZV_COMMON_FILE_HEADER_tag first = FullHeader();
    ZV_COMMON_FILE_HEADER_tag second = FullHeader();
    second.dwDataSize = 99;
    second.lCheckSum = 1;
    ZV_COMMON_FILE_HEADER_tag r1, r2;
    ASSERT_EQ(96, Parse(Line(first), &r1));
    ASSERT_EQ(96, Parse(Line(second), &r2));
    WUID w1, w2;
    EXPECT_EQ(1, ZVCFGetWUID(&r1, &w1));
    EXPECT_EQ(1, ZVCFGetWUID(&r2, &w2));
    EXPECT_EQ(1, ZVCFIsSameWUID(&w1, &w2));
    // One second later they differ.
    r2.lLastModified += 1;
    EXPECT_EQ(1, ZVCFGetWUID(&r2, &w2));
    EXPECT_EQ(0, ZVCFIsSameWUID(&w1, &w2));
}

TEST_F(CmnFileHdrTest, IsSameWuidComparesAllTwelveBytes) {
    WUID a = {{1, 2, 3}};
    WUID b = a;
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, ZVCFIsSameWUID(&a, &b));
    EXPECT_EQ(1, ZVCFIsSameWUID(&a, &a));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    for (int i = 0; i < 3; ++i) {
        b = a;
        b.dwWord[i] ^= 0x80000000u;
        EXPECT_EQ(0, ZVCFIsSameWUID(&a, &b)) << i;
    }
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(CmnFileHdrTest, IsSameWuidNullArguments) {
    WUID a = {{1, 2, 3}};
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, ZVCFIsSameWUID(nullptr, &a));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, ZVCFIsSameWUID(&a, nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, ZVCFIsSameWUID(nullptr, nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
}

}  // namespace
