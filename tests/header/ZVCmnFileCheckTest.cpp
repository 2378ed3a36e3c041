// The common file header on disk: lenient and strict checks, reading a file's header and WUID,
// and stamping files with Update and GetAndUpdate, in the A and W forms.
#include <gtest/gtest.h>

#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

#include <string>

#include "TarnError.h"
#include "ZVCmnFileHdr.h"
#include "HeaderRecordCheck.h"
#include "TestSupport.h"

namespace {

using zvtest::AbsentHeader;
using zvtest::ExpectSameRecord;

using zvtest::FileSize;
using zvtest::ReadFile;
using zvtest::Wide;
using zvtest::WriteFile;

const int32_t kTime = 1236434709;  // 2009-03-07 14:05:09 UTC

ZV_COMMON_FILE_HEADER_tag Typed(const char* type, uint16_t major, uint16_t minor,
                                const char* extra) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    memcpy(h.szFileType, type, 4);
    h.wMajorVer = major;
    h.wMinorVer = minor;
    strcpy(h.szExtraInfo, extra);
    return h;
}

// The 96-byte line of a record.
std::string Line(const ZV_COMMON_FILE_HEADER_tag& h) {
    char buffer[96];
    EXPECT_EQ(96, ZVCFCreateCommonFileHeader(&h, buffer, sizeof(buffer)));
    return std::string(buffer, sizeof(buffer));
}

// XOR of the bytes as 16-bit little-endian words, an odd last byte in the low 8 bits.
uint16_t Xor(const std::string& body) {
    uint16_t sum = 0;
    size_t i = 0;
    for (; i + 1 < body.size(); i += 2) {
        sum ^= static_cast<uint16_t>(static_cast<uint8_t>(body[i]) |
                                     (static_cast<uint8_t>(body[i + 1]) << 8));
    }
    if (i < body.size()) {
        sum ^= static_cast<uint8_t>(body[i]);
    }
    return sum;
}

// A correctly stamped record for body behind a 96-byte line.
ZV_COMMON_FILE_HEADER_tag Stamped(const std::string& body) {
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "x");
    h.lLastModified = kTime;
    h.dwDataSize = static_cast<uint32_t>(96 + body.size());
    h.lCheckSum = Xor(body);
    return h;
}

// The 96-byte line a stamped record must have, built here from its fields without the library's
// writer: printable type, two-digit versions ("**" when absent), the UTC time with milliseconds 0,
// ten-digit size, five-digit checksum, no MAC ("*") and the extra text padded to 11 characters.
std::string ExpectedStampedLine(const ZV_COMMON_FILE_HEADER_tag& h) {
    time_t t = static_cast<time_t>(h.lLastModified);
    struct tm parts;
    EXPECT_NE(nullptr, gmtime_r(&t, &parts));
    char major[8] = "**";
    char minor[8] = "**";
    if (h.wMajorVer != 0xFFFF) {
        snprintf(major, sizeof(major), "%02u", h.wMajorVer % 100u);
    }
    if (h.wMinorVer != 0xFFFF) {
        snprintf(minor, sizeof(minor), "%02u", h.wMinorVer % 100u);
    }
    char line[128];
    int n =
        snprintf(line, sizeof(line),
                 "%.4s%s%s,LM:%04d/%02d/%02d %02d:%02d:%02d:000,DS:%010u,CS:%05d,"
                 "MA:*                ,EI:%-11s\r\n",
                 h.szFileType, major, minor, parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                 parts.tm_hour, parts.tm_min, parts.tm_sec, static_cast<unsigned int>(h.dwDataSize),
                 static_cast<int>(h.lCheckSum), h.szExtraInfo);
    EXPECT_EQ(96, n);
    return std::string(line, n > 0 ? static_cast<size_t>(n) : 0);
}

bool MacIsZero(const ZV_COMMON_FILE_HEADER_tag& h) {
    static const uint8_t zero[6] = {0, 0, 0, 0, 0, 0};
    return memcmp(h.byMacAddr, zero, 6) == 0;
}

class CmnFileCheckTest : public ::testing::Test {
protected:
    void SetUp() override { zvtest::UseUtc(); }

    std::string Path(const char* name) const { return m_dir.File(name); }

    // Result and code of the lenient check (W form) of path.
    void ExpectValid(const std::string& path, int result, unsigned int code) {
        TarnSetLastError(zvtest::kSentinelError);
        EXPECT_EQ(result, ZVCFIsFileValidW(Wide(path).c_str())) << path;
        EXPECT_EQ(code, TarnGetLastError()) << path;
    }
    // Result and code of the strict check (W form) of path.
    void ExpectAbsValid(const std::string& path, int result, unsigned int code) {
        TarnSetLastError(zvtest::kSentinelError);
        EXPECT_EQ(result, ZVCFIsFileAbsValidW(Wide(path).c_str())) << path;
        EXPECT_EQ(code, TarnGetLastError()) << path;
    }
    void ExpectBothPass(const std::string& path) {
        ExpectValid(path, 1, zvtest::kSentinelError);
        ExpectAbsValid(path, 1, zvtest::kSentinelError);
    }
    void ExpectBothFail(const std::string& path, unsigned int code) {
        ExpectValid(path, 0, code);
        ExpectAbsValid(path, 0, code);
    }

    zvtest::TempDir m_dir;
};

const unsigned int kOk = zvtest::kSentinelError;

// ---- null arguments ----

TEST_F(CmnFileCheckTest, ChecksRejectNullPath) {
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFIsFileValidW(nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFIsFileValidA(nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFIsFileAbsValidW(nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFIsFileAbsValidA(nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(CmnFileCheckTest, GetHeaderRejectsNullArguments) {
    std::string path = Path("f");
    WriteFile(path, Line(Stamped("")));
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetCommonFileHeaderW(nullptr, &h));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetCommonFileHeaderW(Wide(path).c_str(), nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetCommonFileHeaderA(nullptr, &h));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetCommonFileHeaderA(path.c_str(), nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(CmnFileCheckTest, GetWuidFromFileRejectsNullArguments) {
    std::string path = Path("f");
    WriteFile(path, Line(Stamped("")));
    WUID w;
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetWUIDFromFileW(nullptr, &w));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetWUIDFromFileW(Wide(path).c_str(), nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetWUIDFromFileA(nullptr, &w));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetWUIDFromFileA(path.c_str(), nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
}

TEST_F(CmnFileCheckTest, UpdatesRejectNullArgumentsAndLeaveFile) {
    std::string path = Path("f");
    std::string content = Line(Stamped(""));
    WriteFile(path, content);
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderW(nullptr, &h));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderA(nullptr, &h));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderA(path.c_str(), nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderW(nullptr, &h));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderA(nullptr, &h));
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderA(path.c_str(), nullptr));
    EXPECT_EQ(16u, TarnGetLastError());
    EXPECT_EQ(content, ReadFile(path));
}

// ---- missing files, directories, empty files ----

TEST_F(CmnFileCheckTest, MissingFileFailsToOpenForChecksAndReads) {
    std::string path = Path("missing");
    ExpectBothFail(path, 36);
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFIsFileValidA(path.c_str()));
    EXPECT_EQ(36u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFIsFileAbsValidA(path.c_str()));
    EXPECT_EQ(36u, TarnGetLastError());

    ZV_COMMON_FILE_HEADER_tag h;
    memset(&h, 0xAB, sizeof(h));
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(36u, TarnGetLastError());
    ExpectSameRecord(AbsentHeader(), h);  // reset before the file is opened

    WUID w;
    memset(&w, 0xAB, sizeof(w));
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetWUIDFromFileW(Wide(path).c_str(), &w));
    EXPECT_EQ(36u, TarnGetLastError());
    EXPECT_EQ(0u, w.dwWord[0] | w.dwWord[1] | w.dwWord[2]);
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetWUIDFromFileA(path.c_str(), &w));
    EXPECT_EQ(36u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetCommonFileHeaderA(path.c_str(), &h));
    EXPECT_EQ(36u, TarnGetLastError());
}

TEST_F(CmnFileCheckTest, MissingFileIsNotFoundForUpdates) {
    std::string path = Path("missing");
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "keep");
    ZV_COMMON_FILE_HEADER_tag before = h;
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(38u, TarnGetLastError());
    ExpectSameRecord(before, h);  // nothing stamped before the existence test
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderA(path.c_str(), &h));
    EXPECT_EQ(38u, TarnGetLastError());

    memset(&h, 0xAB, sizeof(h));
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(38u, TarnGetLastError());
    ExpectSameRecord(AbsentHeader(), h);  // reset comes first
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderA(path.c_str(), &h));
    EXPECT_EQ(38u, TarnGetLastError());
    EXPECT_EQ(-1, FileSize(path));  // no file is created
}

TEST_F(CmnFileCheckTest, DirectoryPath) {
    std::string path = m_dir.Path();
    ExpectBothFail(path, 36);
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(36u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(38u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(38u, TarnGetLastError());
}

TEST_F(CmnFileCheckTest, EmptyFileCannotBeChecked) {
    std::string path = Path("empty");
    WriteFile(path, "");
    ExpectBothFail(path, 36);
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(36u, TarnGetLastError());
}

TEST_F(CmnFileCheckTest, EmptyFileIsNotStampedAndStaysEmpty) {
    std::string path = Path("empty");
    WriteFile(path, "");
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    h.dwDataSize = 7;
    h.lCheckSum = 9;
    h.byMacAddr[0] = 0x11;
    long long before = zvtest::NowSeconds();
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    long long after = zvtest::NowSeconds();
    EXPECT_EQ(36u, TarnGetLastError());
    EXPECT_EQ(0, FileSize(path));
    // MAC and time are stamped before the file is mapped; size and checksum are not.
    EXPECT_GE(h.lLastModified, before);
    EXPECT_LE(h.lLastModified, after);
    EXPECT_TRUE(MacIsZero(h));
    EXPECT_EQ(7u, h.dwDataSize);
    EXPECT_EQ(9, h.lCheckSum);
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderA(path.c_str(), &h));
    EXPECT_EQ(36u, TarnGetLastError());
    EXPECT_EQ(0, FileSize(path));
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(36u, TarnGetLastError());
    EXPECT_EQ(0, FileSize(path));
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderA(path.c_str(), &h));
    EXPECT_EQ(36u, TarnGetLastError());
    EXPECT_EQ(0, FileSize(path));
    ExpectSameRecord(AbsentHeader(), h);  // reset, and nothing stamped before the mapping
}

// ---- the checks ----

TEST_F(CmnFileCheckTest, CorrectlyStampedFilePassesBothChecks) {
    std::string body = "key = 1\r\nname = \"value\"\r\n";
    std::string path = Path("ok");
    WriteFile(path, Line(Stamped(body)) + body);
    ExpectBothPass(path);
    TarnSetLastError(kOk);
    EXPECT_EQ(1, ZVCFIsFileValidA(path.c_str()));
    EXPECT_EQ(1, ZVCFIsFileAbsValidA(path.c_str()));
    EXPECT_EQ(kOk, TarnGetLastError());
}

TEST_F(CmnFileCheckTest, OddBodyChecksumTakesLastByteIntoLowBits) {
    // "ABC": 0x4241 XOR 0x0043 = 0x4202 = 16898.
    ASSERT_EQ(0x4202, Xor("ABC"));
    ZV_COMMON_FILE_HEADER_tag h = Stamped("ABC");
    std::string path = Path("odd");
    WriteFile(path, Line(h) + "ABC");
    EXPECT_EQ(",CS:16898,", Line(h).substr(49, 10));
    ExpectBothPass(path);
    WriteFile(path, Line(h) + "ABB");  // last byte off by one
    ExpectBothFail(path, 40);
}

TEST_F(CmnFileCheckTest, EvenBodyChecksum) {
    // "ABCD": 0x4241 XOR 0x4443 = 0x0602 = 1538.
    ZV_COMMON_FILE_HEADER_tag h = Stamped("ABCD");
    EXPECT_EQ(",CS:01538,", Line(h).substr(49, 10));
    std::string path = Path("even");
    WriteFile(path, Line(h) + "ABCD");
    ExpectBothPass(path);
}

TEST_F(CmnFileCheckTest, EmptyBodyHasChecksumZero) {
    ZV_COMMON_FILE_HEADER_tag h = Stamped("");
    EXPECT_EQ(",DS:0000000096,CS:00000,", Line(h).substr(35, 24));
    std::string path = Path("empty-body");
    WriteFile(path, Line(h));
    ExpectBothPass(path);
}

TEST_F(CmnFileCheckTest, SizeMismatchFailsBothChecks) {
    std::string body = "0123456789";
    ZV_COMMON_FILE_HEADER_tag h = Stamped(body);
    h.dwDataSize += 1;
    std::string path = Path("size");
    WriteFile(path, Line(h) + body);
    ExpectBothFail(path, 39);
    h.dwDataSize -= 2;
    WriteFile(path, Line(h) + body);
    ExpectBothFail(path, 39);
}

TEST_F(CmnFileCheckTest, ChecksumMismatchFailsBothChecks) {
    std::string body = "0123456789";
    ZV_COMMON_FILE_HEADER_tag h = Stamped(body);
    h.lCheckSum ^= 0x0100;
    std::string path = Path("sum");
    WriteFile(path, Line(h) + body);
    ExpectBothFail(path, 40);
}

TEST_F(CmnFileCheckTest, AbsentChecksumPassesLenientAndFailsStrict) {
    std::string body = "0123456789";
    ZV_COMMON_FILE_HEADER_tag h = Stamped(body);
    h.lCheckSum = -1;
    std::string path = Path("nosum");
    WriteFile(path, Line(h) + body);
    ExpectValid(path, 1, kOk);
    ExpectAbsValid(path, 0, 40);
}

TEST_F(CmnFileCheckTest, AbsentSizePassesLenientAndFailsStrict) {
    std::string body = "0123456789";
    ZV_COMMON_FILE_HEADER_tag h = Stamped(body);
    h.dwDataSize = 0;
    std::string path = Path("nosize");
    WriteFile(path, Line(h) + body);
    ExpectValid(path, 1, kOk);
    ExpectAbsValid(path, 0, 39);
}

TEST_F(CmnFileCheckTest, AllAbsentHeaderPassesLenientAndFailsStrictOnSize) {
    std::string path = Path("absent");
    WriteFile(path, Line(AbsentHeader()) + "anything");
    ExpectValid(path, 1, kOk);
    ExpectAbsValid(path, 0, 39);  // size before checksum
}

TEST_F(CmnFileCheckTest, ChecksumOnlyLow16BitsAreCompared) {
    // A checksum read as 65536 + x compares like x.
    std::string body = "ABCD";
    std::string line = "ENVT0100,CS:67074\r\n";  // 65536 + 0x0602
    std::string path = Path("wide-sum");
    WriteFile(path, line + body);
    ExpectValid(path, 1, kOk);
}

TEST_F(CmnFileCheckTest, LenientChecksumCoversBytesAfterShortHeader) {
    std::string body = "some body bytes";
    std::string line = "ENVT0100,CS:" + std::to_string(Xor(body)) + ",EI:short\n";
    std::string path = Path("short");
    WriteFile(path, line + body);
    ExpectValid(path, 1, kOk);
    ExpectAbsValid(path, 0, 74);
    // The same header with the size too: 33 + 15 bytes.
    std::string sum5 = std::to_string(100000 + Xor(body)).substr(1);  // five digits
    std::string sized = "ENVT0100,DS:0000000048,CS:" + sum5 + "\r\n";
    ASSERT_EQ(48u, sized.size() + body.size());
    WriteFile(path, sized + body);
    ExpectValid(path, 1, kOk);
    ExpectAbsValid(path, 0, 74);
}

TEST_F(CmnFileCheckTest, HeaderEndingInLfAloneIsNot96Bytes) {
    std::string body = "0123456789";
    ZV_COMMON_FILE_HEADER_tag h = Stamped(body);
    h.dwDataSize -= 1;  // the file is one byte shorter
    h.lCheckSum = Xor(body);
    std::string line = Line(h).substr(0, 94) + "\n";
    std::string path = Path("lf");
    WriteFile(path, line + body);
    ExpectValid(path, 1, kOk);
    ExpectAbsValid(path, 0, 74);
}

TEST_F(CmnFileCheckTest, StrictCheckReportsLineLengthBeforeSize) {
    std::string body = "0123456789";
    ZV_COMMON_FILE_HEADER_tag h = Stamped(body);
    h.dwDataSize = 5;
    h.lCheckSum = -1;
    std::string path = Path("order");
    WriteFile(path, Line(h).substr(0, 94) + "\n" + body);
    ExpectAbsValid(path, 0, 74);
    WriteFile(path, Line(h) + body);
    ExpectAbsValid(path, 0, 39);
    h.dwDataSize = static_cast<uint32_t>(96 + body.size());
    WriteFile(path, Line(h) + body);
    ExpectAbsValid(path, 0, 40);
}

TEST_F(CmnFileCheckTest, TextWithoutHeaderLinePassesLenientCheck) {
    std::string path = Path("hello");
    WriteFile(path, "hello world");
    ExpectValid(path, 1, kOk);
    ExpectAbsValid(path, 0, 74);
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(kOk);
    EXPECT_EQ(1, ZVCFGetCommonFileHeaderW(Wide(path).c_str(), &h));
    ZV_COMMON_FILE_HEADER_tag expected = AbsentHeader();
    memcpy(expected.szFileType, "hell", 4);
    ExpectSameRecord(expected, h);
}

TEST_F(CmnFileCheckTest, BadMacFailsWithParserCode) {
    std::string path = Path("badmac");
    WriteFile(path, "ENVT0100,MA:00:1A:2B:3C:4D:5E\r\nbody");
    ExpectBothFail(path, 34);
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(34u, TarnGetLastError());
    WUID w;
    memset(&w, 0xAB, sizeof(w));
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetWUIDFromFileW(Wide(path).c_str(), &w));
    EXPECT_EQ(34u, TarnGetLastError());
    EXPECT_EQ(0u, w.dwWord[0] | w.dwWord[1] | w.dwWord[2]);
}

TEST_F(CmnFileCheckTest, OneChangedBodyByteFailsBothChecks) {
    std::string body = "The quick brown fox jumps over the lazy dog.";
    std::string path = Path("changed");
    std::string content = Line(Stamped(body)) + body;
    content[96 + 7] ^= 0x20;
    WriteFile(path, content);
    ExpectBothFail(path, 40);
}

TEST_F(CmnFileCheckTest, SameMaskInTwoWordsKeepsChecksum) {
    std::string body = "The quick brown fox jumps over the lazy dog.";
    std::string path = Path("masked");
    std::string content = Line(Stamped(body)) + body;
    content[96 + 0] ^= 0x01;
    content[96 + 2] ^= 0x01;
    WriteFile(path, content);
    ExpectBothPass(path);
}

TEST_F(CmnFileCheckTest, ReadOnlyFileCanBeChecked) {
    std::string body = "read only";
    std::string path = Path("ro");
    WriteFile(path, Line(Stamped(body)) + body);
    ASSERT_EQ(0, chmod(path.c_str(), 0444));
    std::wstring wide = Wide(path);
    zvtest::ChildResult r =
        zvtest::RunUnprivileged([&] { return ZVCFIsFileAbsValidW(wide.c_str()); });
    ASSERT_TRUE(r.ran) << r.reason;
    EXPECT_EQ(1, r.value);
}

TEST_F(CmnFileCheckTest, UnreadableFileFailsToOpen) {
    std::string path = Path("noread");
    WriteFile(path, Line(Stamped("")));
    ASSERT_EQ(0, chmod(path.c_str(), 0000));
    std::wstring wide = Wide(path);
    zvtest::ChildResult r = zvtest::RunUnprivileged([&] { return ZVCFIsFileValidW(wide.c_str()); });
    ASSERT_TRUE(r.ran) << r.reason;
    EXPECT_EQ(0, r.value);
    EXPECT_EQ(36u, r.lastError);
}

// ---- reading a file's header and WUID ----

TEST_F(CmnFileCheckTest, GetHeaderReadsAllFieldsInBothForms) {
    std::string body = "body";
    ZV_COMMON_FILE_HEADER_tag expected = Stamped(body);
    const uint8_t mac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
    memcpy(expected.byMacAddr, mac, 6);
    std::string path = Path("hdr");
    WriteFile(path, Line(expected) + body);
    ZV_COMMON_FILE_HEADER_tag h;
    memset(&h, 0xAB, sizeof(h));
    TarnSetLastError(kOk);
    EXPECT_EQ(1, ZVCFGetCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(kOk, TarnGetLastError());
    ExpectSameRecord(expected, h);
    memset(&h, 0xAB, sizeof(h));
    EXPECT_EQ(1, ZVCFGetCommonFileHeaderA(path.c_str(), &h));
    ExpectSameRecord(expected, h);
}

TEST_F(CmnFileCheckTest, GetHeaderDoesNotCheckSizeOrChecksum) {
    ZV_COMMON_FILE_HEADER_tag expected = Stamped("body");
    expected.dwDataSize = 1;
    expected.lCheckSum = 2;
    std::string path = Path("hdr");
    WriteFile(path, Line(expected) + "something else");
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(kOk);
    EXPECT_EQ(1, ZVCFGetCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(kOk, TarnGetLastError());
    ExpectSameRecord(expected, h);
}

TEST_F(CmnFileCheckTest, GetWuidFromFileMatchesRecordWuid) {
    ZV_COMMON_FILE_HEADER_tag expected = Stamped("body");
    const uint8_t mac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
    memcpy(expected.byMacAddr, mac, 6);
    std::string path = Path("wuid");
    WriteFile(path, Line(expected) + "body");
    WUID fromRecord, fromFile;
    ASSERT_EQ(1, ZVCFGetWUID(&expected, &fromRecord));
    EXPECT_EQ(0xC0933B85u, fromRecord.dwWord[0]);
    TarnSetLastError(kOk);
    EXPECT_EQ(1, ZVCFGetWUIDFromFileW(Wide(path).c_str(), &fromFile));
    EXPECT_EQ(kOk, TarnGetLastError());
    EXPECT_EQ(1, ZVCFIsSameWUID(&fromRecord, &fromFile));
    memset(&fromFile, 0, sizeof(fromFile));
    EXPECT_EQ(1, ZVCFGetWUIDFromFileA(path.c_str(), &fromFile));
    EXPECT_EQ(1, ZVCFIsSameWUID(&fromRecord, &fromFile));
}

TEST_F(CmnFileCheckTest, WuidOfFileWithoutTimeOrMac) {
    std::string path = Path("plain");
    WriteFile(path, "hello world");
    WUID w;
    EXPECT_EQ(1, ZVCFGetWUIDFromFileW(Wide(path).c_str(), &w));
    EXPECT_EQ(0xFE210800u, w.dwWord[0]);
    EXPECT_EQ(0u, w.dwWord[1]);
    EXPECT_EQ(0u, w.dwWord[2]);
}

// ---- stamping ----

class CmnFileStampTest : public CmnFileCheckTest {
protected:
    // Checks what a successful stamp left: the record's stamped fields and the file's bytes.
    void ExpectStamped(const std::string& path, const ZV_COMMON_FILE_HEADER_tag& h,
                       const std::string& body, time_t before, time_t after) {
        EXPECT_GE(h.lLastModified, static_cast<int32_t>(before));
        EXPECT_LE(h.lLastModified, static_cast<int32_t>(after));
        EXPECT_EQ(96u + body.size(), h.dwDataSize);
        EXPECT_EQ(Xor(body), h.lCheckSum);
        EXPECT_TRUE(MacIsZero(h));
        EXPECT_EQ(ExpectedStampedLine(h) + body, ReadFile(path));
        EXPECT_EQ(static_cast<long long>(h.dwDataSize), FileSize(path));
        ExpectBothPass(path);
        ZV_COMMON_FILE_HEADER_tag back;
        EXPECT_EQ(1, ZVCFGetCommonFileHeaderW(Wide(path).c_str(), &back));
        ExpectSameRecord(h, back);
    }
};

TEST_F(CmnFileStampTest, UpdateStampsFileWith96ByteFirstLine) {
    std::string body = "first line\r\nsecond\r\nodd";
    std::string path = Path("u");
    WriteFile(path, std::string(94, 'h') + "\r\n" + body);
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVB", 2, 3, "extra");
    h.lLastModified = 5;
    h.dwDataSize = 7;
    h.lCheckSum = 9;
    const uint8_t mac[6] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66};
    memcpy(h.byMacAddr, mac, 6);
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    TarnSetLastError(kOk);
    EXPECT_EQ(1, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(kOk, TarnGetLastError());
    EXPECT_EQ("ENVB", std::string(h.szFileType, 4));
    EXPECT_EQ(2, h.wMajorVer);
    EXPECT_EQ(3, h.wMinorVer);
    EXPECT_STREQ("extra", h.szExtraInfo);
    ExpectStamped(path, h, body, before, after);
    EXPECT_EQ("ENVB0203,LM:", Line(h).substr(0, 12));
}

TEST_F(CmnFileStampTest, UpdateNarrowForm) {
    std::string body = "abc";
    std::string path = Path("ua");
    WriteFile(path, Line(AbsentHeader()) + body);
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(1, ZVCFUpdateCommonFileHeaderA(path.c_str(), &h));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    ExpectStamped(path, h, body, before, after);
}

TEST_F(CmnFileStampTest, UpdateOfUnalignedRecord) {
    std::string body = "abc";
    std::string path = Path("unaligned");
    WriteFile(path, Line(AbsentHeader()) + body);
    char storage[64];
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "x");
    memcpy(storage + 1, &h, sizeof(h));
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(
        1, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(),
                                       reinterpret_cast<ZV_COMMON_FILE_HEADER_tag*>(storage + 1)));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    memcpy(&h, storage + 1, sizeof(h));
    ExpectStamped(path, h, body, before, after);
}

TEST_F(CmnFileStampTest, UpdateOf96ByteFileWithoutLineEnd) {
    std::string path = Path("plain96");
    WriteFile(path, std::string(96, 'x'));
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(1, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(96u, h.dwDataSize);
    EXPECT_EQ(0, h.lCheckSum);
    ExpectStamped(path, h, "", before, after);
}

TEST_F(CmnFileStampTest, UpdateOfFirstLineEndingInLfAlone) {
    std::string body = "body\n";
    std::string path = Path("lf");
    WriteFile(path, std::string(95, 'x') + "\n" + body);
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(1, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    ExpectStamped(path, h, body, before, after);
}

TEST_F(CmnFileStampTest, UpdateEndsFirstLineAtCrAlone) {
    // 95 bytes and a CR make the first line; the LF further on belongs to the body.
    std::string body = "abc\nrest of the body";
    std::string path = Path("cr");
    WriteFile(path, std::string(95, 'x') + "\r" + body);
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(1, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    ExpectStamped(path, h, body, before, after);
}

TEST_F(CmnFileStampTest, UpdateTakesCrLfTogether) {
    // 95 bytes, CR and LF make a 97-byte line, which cannot be shrunk in place.
    std::string path = Path("crlf97");
    std::string body = "0123456789";
    std::string content = std::string(95, 'x') + "\r\n" + body;
    WriteFile(path, content);
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(66u, TarnGetLastError());
    // The body moved down by one byte; the old last byte stays behind it.
    EXPECT_EQ(std::string(95, 'x') + "\r" + body + "9", ReadFile(path));
}

TEST_F(CmnFileStampTest, UpdateTwiceKeepsBody) {
    std::string body = "payload";
    std::string path = Path("twice");
    WriteFile(path, Line(AbsentHeader()) + body);
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "a");
    EXPECT_EQ(1, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    ZV_COMMON_FILE_HEADER_tag h2 = Typed("ENVB", 4, 5, "b");
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(1, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h2));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    ExpectStamped(path, h2, body, before, after);
}

TEST_F(CmnFileStampTest, UpdateOfShortFirstLineFailsAndLeavesFile) {
    // Growing a file-backed mapping fails, so nothing is moved or written.
    std::string body = "the body of the file\r\n";
    std::string content = std::string(48, 'a') + "\r\n" + body;
    std::string path = Path("short");
    WriteFile(path, content);
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    h.dwDataSize = 7;
    h.lCheckSum = 9;
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(66u, TarnGetLastError());
    EXPECT_EQ(content, ReadFile(path));
    EXPECT_EQ(7u, h.dwDataSize);  // size and checksum come only after the room is made
    EXPECT_EQ(9, h.lCheckSum);
    ExpectValid(path, 1, kOk);
    ExpectAbsValid(path, 0, 74);

    // GetAndUpdate: the parsed old line is what the record holds after the failure.
    memset(&h, 0, sizeof(h));
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(66u, TarnGetLastError());
    EXPECT_EQ(content, ReadFile(path));
    ZV_COMMON_FILE_HEADER_tag parsed = AbsentHeader();
    memcpy(parsed.szFileType, "aaaa", 4);
    ExpectSameRecord(parsed, h);
}

TEST_F(CmnFileStampTest, UpdateOfThreeByteFirstLineFailsAndLeavesFile) {
    std::string content = "AB\rCD\n" + std::string(200, 'z');
    std::string path = Path("three");
    WriteFile(path, content);
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderA(path.c_str(), &h));
    EXPECT_EQ(66u, TarnGetLastError());
    EXPECT_EQ(content, ReadFile(path));
}

TEST_F(CmnFileStampTest, UpdateOfLongFirstLineMovesBodyThenFailsToShrink) {
    std::string line = std::string(148, 'l') + "\r\n";
    std::string body = "0123456789abcdefghijklmnopqrstuvwxyzABCD";  // 40 bytes
    std::string content = line + body;
    std::string path = Path("long");
    WriteFile(path, content);
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(66u, TarnGetLastError());
    // The body now starts at 96 and the old bytes from 96 + 40 on stay behind it.
    std::string expected = std::string(96, 'l') + body + std::string(12, 'l') + "\r\n" + body;
    ASSERT_EQ(content.size(), expected.size());
    EXPECT_EQ(expected, ReadFile(path));
    EXPECT_EQ(static_cast<long long>(content.size()), FileSize(path));
}

TEST_F(CmnFileStampTest, GetAndUpdateOfLongHeaderMovesBodyThenFailsToShrink) {
    // A parsable header line of 150 bytes.
    std::string line = "ENVT0100,EI:long" + std::string(132, ' ') + "\r\n";
    ASSERT_EQ(150u, line.size());
    std::string body = "short body";
    std::string content = line + body;
    std::string path = Path("long2");
    WriteFile(path, content);
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(66u, TarnGetLastError());
    std::string expected = content.substr(0, 96) + body + content.substr(96 + body.size());
    EXPECT_EQ(expected, ReadFile(path));
}

TEST_F(CmnFileStampTest, ReadOnlyFileCannotBeStamped) {
    std::string body = "read only";
    std::string content = Line(AbsentHeader()) + body;
    std::string path = Path("ro");
    WriteFile(path, content);
    ASSERT_EQ(0, chmod(path.c_str(), 0444));
    std::wstring wide = Wide(path);
    zvtest::ChildResult r = zvtest::RunUnprivileged([&] {
        ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
        return ZVCFUpdateCommonFileHeaderW(wide.c_str(), &h);
    });
    ASSERT_TRUE(r.ran) << r.reason;
    EXPECT_EQ(0, r.value);
    EXPECT_EQ(36u, r.lastError);
    EXPECT_EQ(content, ReadFile(path));
}

TEST_F(CmnFileStampTest, GetAndUpdateKeepsTypeVersionsAndExtraFromFile) {
    std::string body = "[section]\r\nkey=value\r\n!";
    ZV_COMMON_FILE_HEADER_tag written = Typed("ENVT", 1, 0, "hello");
    std::string path = Path("gu");
    WriteFile(path, Line(written) + body);
    ZV_COMMON_FILE_HEADER_tag h = Typed("XXXX", 9, 9, "caller");
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    TarnSetLastError(kOk);
    EXPECT_EQ(1, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(kOk, TarnGetLastError());
    EXPECT_EQ("ENVT", std::string(h.szFileType, 4));
    EXPECT_EQ(1, h.wMajorVer);
    EXPECT_EQ(0, h.wMinorVer);
    EXPECT_STREQ("hello", h.szExtraInfo);
    ExpectStamped(path, h, body, before, after);
}

TEST_F(CmnFileStampTest, GetAndUpdateNarrowForm) {
    std::string body = "xy";
    std::string path = Path("gua");
    WriteFile(path, Line(Typed("ENVB", 3, 4, "bin")) + body);
    ZV_COMMON_FILE_HEADER_tag h;
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(1, ZVCFGetAndUpdateCommonFileHeaderA(path.c_str(), &h));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ("ENVB", std::string(h.szFileType, 4));
    EXPECT_EQ(3, h.wMajorVer);
    EXPECT_EQ(4, h.wMinorVer);
    EXPECT_STREQ("bin", h.szExtraInfo);
    ExpectStamped(path, h, body, before, after);
}

TEST_F(CmnFileStampTest, GetAndUpdateReplacesStaleStampAndOldMac) {
    std::string body = "0123456789";
    ZV_COMMON_FILE_HEADER_tag old = Stamped("something else");
    const uint8_t mac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
    memcpy(old.byMacAddr, mac, 6);
    std::string path = Path("stale");
    WriteFile(path, Line(old) + body);
    ExpectBothFail(path, 39);
    ZV_COMMON_FILE_HEADER_tag h;
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(1, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_STREQ("x", h.szExtraInfo);
    ExpectStamped(path, h, body, before, after);
}

TEST_F(CmnFileStampTest, GetAndUpdateOfEmptyBody) {
    std::string path = Path("gu96");
    WriteFile(path, Line(Typed("ENVT", 1, 0, "")));
    ZV_COMMON_FILE_HEADER_tag h;
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(1, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(96u, h.dwDataSize);
    EXPECT_EQ(0, h.lCheckSum);
    ExpectStamped(path, h, "", before, after);
}

TEST_F(CmnFileStampTest, GetAndUpdateWithBadMacFailsAndLeavesFile) {
    std::string content = "ENVT0100,MA:00:1A:2B:3C:4D:5E" + std::string(65, ' ') + "\r\nbody";
    ASSERT_EQ(100u, content.size());
    std::string path = Path("gubad");
    WriteFile(path, content);
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(34u, TarnGetLastError());
    EXPECT_EQ(content, ReadFile(path));
}

TEST_F(CmnFileStampTest, UpdateDoesNotParseOldLine) {
    // Update replaces the first line whatever it holds, even text the parser rejects.
    std::string body = "body";
    std::string path = Path("ubad");
    WriteFile(path, "ENVT0100,MA:00:1A:2B:3C:4D:5E" + std::string(65, ' ') + "\r\n" + body);
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(1, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    ExpectStamped(path, h, body, before, after);
}

TEST_F(CmnFileStampTest, StampedFileWuidMatchesRecord) {
    std::string path = Path("wuid");
    WriteFile(path, Line(AbsentHeader()) + "abc");
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    ASSERT_EQ(1, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    WUID fromRecord, fromFile;
    ASSERT_EQ(1, ZVCFGetWUID(&h, &fromRecord));
    ASSERT_EQ(1, ZVCFGetWUIDFromFileW(Wide(path).c_str(), &fromFile));
    EXPECT_EQ(1, ZVCFIsSameWUID(&fromRecord, &fromFile));
    EXPECT_EQ(2u, fromFile.dwWord[0] >> 30);  // time present, no MAC
}

TEST_F(CmnFileStampTest, GetAndUpdateEndsFirstLineAtCrAlone) {
    // The parser ends the first line at the CR alone: 96 bytes, so nothing has to move, and the
    // LF further on stays in the body. The old line's type is kept, its versions are absent.
    std::string body = "abc\nrest\r\n";
    std::string path = Path("gucr");
    WriteFile(path, std::string(95, 'x') + "\r" + body);
    ZV_COMMON_FILE_HEADER_tag h;
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    TarnSetLastError(kOk);
    EXPECT_EQ(1, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(kOk, TarnGetLastError());
    EXPECT_EQ("xxxx", std::string(h.szFileType, 4));
    EXPECT_EQ(0xFFFF, h.wMajorVer);
    EXPECT_EQ(0xFFFF, h.wMinorVer);
    EXPECT_STREQ("", h.szExtraInfo);
    ExpectStamped(path, h, body, before, after);
    EXPECT_EQ("xxxx****,LM:", ReadFile(path).substr(0, 12));
}

TEST_F(CmnFileStampTest, GetAndUpdateOf96ByteFileWithoutLineEnd) {
    std::string path = Path("gu96plain");
    WriteFile(path, "ENVB0201" + std::string(88, ' '));
    ZV_COMMON_FILE_HEADER_tag h;
    time_t before = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ(1, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    time_t after = static_cast<time_t>(zvtest::NowSeconds());
    EXPECT_EQ("ENVB", std::string(h.szFileType, 4));
    EXPECT_EQ(2, h.wMajorVer);
    EXPECT_EQ(1, h.wMinorVer);
    EXPECT_EQ(96u, h.dwDataSize);
    EXPECT_EQ(0, h.lCheckSum);
    ExpectStamped(path, h, "", before, after);
}

TEST_F(CmnFileStampTest, GetAndUpdateOfThreeByteFirstLineFailsAndLeavesFile) {
    std::string content = "AB\rCD\n" + std::string(200, 'z');
    std::string path = Path("guthree");
    WriteFile(path, content);
    ZV_COMMON_FILE_HEADER_tag h;
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderA(path.c_str(), &h));
    EXPECT_EQ(66u, TarnGetLastError());
    EXPECT_EQ(content, ReadFile(path));
}

TEST_F(CmnFileStampTest, UpdateWritesZeroTypeAsNone) {
    std::string body = "zz";
    std::string path = Path("zerotype");
    WriteFile(path, Line(AbsentHeader()) + body);
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    memset(h.szFileType, 0, 4);
    EXPECT_EQ(1, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(std::string(4, '\0'), std::string(h.szFileType, 4));  // the record keeps its bytes
    std::string content = ReadFile(path);
    EXPECT_EQ("NONE****,LM:", content.substr(0, 12));
    EXPECT_EQ(Xor(body), h.lCheckSum);
    ExpectBothPass(path);
}

TEST_F(CmnFileStampTest, StampedTimeRoundTripsThroughTheFile) {
    std::string path = Path("lm");
    WriteFile(path, Line(AbsentHeader()) + "abc");
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "");
    ASSERT_EQ(1, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    ZV_COMMON_FILE_HEADER_tag back;
    ASSERT_EQ(1, ZVCFGetCommonFileHeaderA(path.c_str(), &back));
    EXPECT_NE(0, back.lLastModified);
    EXPECT_EQ(h.lLastModified, back.lLastModified);
}

// ---- plain text read as a header ----

TEST_F(CmnFileCheckTest, KeyLikeTextInPlainFileIsParsed) {
    std::string path = Path("words");
    // "hello wo" gives the type and two absent versions; after the comma, "ds:5" is a size.
    WriteFile(path, "hello world, ds:5");
    ExpectValid(path, 0, 39);
    ExpectAbsValid(path, 0, 74);
    ZV_COMMON_FILE_HEADER_tag h;
    ASSERT_EQ(1, ZVCFGetCommonFileHeaderW(Wide(path).c_str(), &h));
    ZV_COMMON_FILE_HEADER_tag expected = AbsentHeader();
    memcpy(expected.szFileType, "hell", 4);
    expected.dwDataSize = 5;
    ExpectSameRecord(expected, h);

    // "ma:" with a colon-separated address is a bad MAC for every reader.
    WriteFile(path, "hello world, ma:00:11:22:33:44:55");
    ExpectBothFail(path, 34);

    // A checksum with no body behind the line is compared with 0.
    WriteFile(path, "hello world, cs:0");
    ExpectValid(path, 1, kOk);
    WriteFile(path, "hello world, cs:1");
    ExpectValid(path, 0, 40);
    WriteFile(path, "hello world, cs:65536");  // only the low 16 bits count
    ExpectValid(path, 1, kOk);
}

// ---- narrow forms ----

TEST_F(CmnFileCheckTest, NarrowFormsFailAtOnceWhenThePathDoesNotConvert) {
    // An empty path converts to nothing: the A forms return 0 without calling the W forms, so
    // no code is set and the caller's record and WUID are not touched.
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "keep");
    ZV_COMMON_FILE_HEADER_tag before = h;
    WUID w = {{1, 2, 3}};
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFIsFileValidA(""));
    EXPECT_EQ(0, ZVCFIsFileAbsValidA(""));
    EXPECT_EQ(0, ZVCFGetCommonFileHeaderA("", &h));
    EXPECT_EQ(0, ZVCFGetWUIDFromFileA("", &w));
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderA("", &h));
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderA("", &h));
    EXPECT_EQ(kOk, TarnGetLastError());
    ExpectSameRecord(before, h);
    EXPECT_EQ(1u, w.dwWord[0]);
    EXPECT_EQ(2u, w.dwWord[1]);
    EXPECT_EQ(3u, w.dwWord[2]);

    // The W forms themselves try the empty path.
    ExpectBothFail("", 36);
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetCommonFileHeaderW(L"", &h));
    EXPECT_EQ(36u, TarnGetLastError());
    ExpectSameRecord(AbsentHeader(), h);
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetWUIDFromFileW(L"", &w));
    EXPECT_EQ(36u, TarnGetLastError());
    EXPECT_EQ(0u, w.dwWord[0] | w.dwWord[1] | w.dwWord[2]);
    h = before;
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderW(L"", &h));
    EXPECT_EQ(38u, TarnGetLastError());
    TarnSetLastError(kOk);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderW(L"", &h));
    EXPECT_EQ(38u, TarnGetLastError());
}

TEST_F(CmnFileCheckTest, NarrowFormsWithUnconvertibleByteFailAtOnce) {
    zvtest::LocaleGuard utf8("C.UTF-8");
    if (!utf8.Ok()) {
        GTEST_SKIP() << "no UTF-8 locale";
    }
    // The file exists and is valid, but its narrow name is not UTF-8: the conversion fails (its
    // code is whatever the conversion left), so the W forms are never reached.
    std::string path = Path("bad\xFF");
    WriteFile(path, Line(Stamped("")));
    EXPECT_EQ(0, ZVCFIsFileValidA(path.c_str()));
    EXPECT_EQ(0, ZVCFIsFileAbsValidA(path.c_str()));
    ZV_COMMON_FILE_HEADER_tag h = Typed("ENVT", 1, 0, "keep");
    ZV_COMMON_FILE_HEADER_tag before = h;
    EXPECT_EQ(0, ZVCFGetCommonFileHeaderA(path.c_str(), &h));
    ExpectSameRecord(before, h);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderA(path.c_str(), &h));
    ExpectSameRecord(before, h);
    EXPECT_EQ(Line(Stamped("")), ReadFile(path));
}

}  // namespace
