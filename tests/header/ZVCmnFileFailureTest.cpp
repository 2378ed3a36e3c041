// The common file header when the clock or the time breakdown fails: the line written with the
// date-time writer's failure text, a WUID that cannot be built, and files that are not stamped.
// The program replaces gmtime and OS_SystemTimeToFileTime (see WrappedCalls.h).
#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "HeaderRecordCheck.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "WrappedCalls.h"
#include "ZVCmnFileHdr.h"

namespace {

using zvtest::AbsentHeader;
using zvtest::g_gmtimeFault;
using zvtest::g_systemTimeToFileTimeFault;
using zvtest::Wide;

const int32_t kTime = 1236434709;  // 2009-03-07 14:05:09 UTC

// A file of a 96-byte header line (type TEST, versions 1.2, time kTime) and a body.
std::string StampedFile(const std::string& body) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    memcpy(h.szFileType, "TEST", 4);
    h.wMajorVer = 1;
    h.wMinorVer = 2;
    h.lLastModified = kTime;
    char line[96];
    EXPECT_EQ(96, ZVCFCreateCommonFileHeader(&h, line, sizeof line));
    return std::string(line, sizeof line) + body;
}

class ZVCmnFileFailureTest : public ::testing::Test {
protected:
    void SetUp() override {
        zvtest::UseUtc();
        TarnSetLastError(zvtest::kSentinelError);
    }
    void TearDown() override {
        g_gmtimeFault.Off();
        g_systemTimeToFileTimeFault.Off();
    }
};

TEST_F(ZVCmnFileFailureTest, CreatePlacesTheFailureTextAfterLM) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    h.lLastModified = kTime;
    char line[96];
    memset(line, 'x', sizeof line);
    g_gmtimeFault.Fail();
    EXPECT_EQ(96, ZVCFCreateCommonFileHeader(&h, line, sizeof line));
    EXPECT_EQ(1, g_gmtimeFault.Calls());
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_SYSTEM_TIME_CONVERSION), TarnGetLastError());
    // The shorter text ends the formatted line early: its NUL stays, blanks follow up to the
    // line feed at offset 95.
    std::string expected =
        "NONE****,LM:---,DS:*         ,CS:*    ,MA:*                ,EI:           \r";
    expected += '\0';
    expected += std::string(95 - expected.size(), ' ');
    expected += '\n';
    ASSERT_EQ(96u, expected.size());
    EXPECT_EQ(expected, std::string(line, sizeof line));
}

TEST_F(ZVCmnFileFailureTest, WUIDFailsWhenTheTimeCannotBeBrokenDown) {
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    h.lLastModified = kTime;
    WUID wuid;
    memset(&wuid, 0xAB, sizeof wuid);
    g_gmtimeFault.Fail();
    EXPECT_EQ(0, ZVCFGetWUID(&h, &wuid));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_SYSTEM_TIME_CONVERSION), TarnGetLastError());
    const WUID zero = {};
    EXPECT_EQ(0, memcmp(&zero, &wuid, sizeof wuid));
}

TEST_F(ZVCmnFileFailureTest, UpdateFailsWhenTheClockCannotBeRead) {
    zvtest::TempDir dir;
    const std::string path = dir.File("update.dat");
    const std::string bytes = "first line\r\nbody";
    zvtest::WriteFile(path, bytes);
    ZV_COMMON_FILE_HEADER_tag h = AbsentHeader();
    memcpy(h.szFileType, "UPDT", 4);
    h.byMacAddr[0] = 0x12;
    g_systemTimeToFileTimeFault.Fail();
    EXPECT_EQ(0, ZVCFUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(1, g_systemTimeToFileTimeFault.Calls());
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_SYSTEM_TIME_CONVERSION), TarnGetLastError());
    EXPECT_EQ(bytes, zvtest::ReadFile(path));
    // The address was cleared before the clock was read; the rest of the record is as it came.
    ZV_COMMON_FILE_HEADER_tag expected = AbsentHeader();
    memcpy(expected.szFileType, "UPDT", 4);
    zvtest::ExpectSameRecord(expected, h);
}

TEST_F(ZVCmnFileFailureTest, GetAndUpdateFailsWhenTheClockCannotBeRead) {
    zvtest::TempDir dir;
    const std::string path = dir.File("stamp.dat");
    const std::string bytes = StampedFile("payload");
    zvtest::WriteFile(path, bytes);
    ZV_COMMON_FILE_HEADER_tag h;
    // The first conversion reads the old header's time; the second, the clock, fails.
    g_systemTimeToFileTimeFault.Fail(2);
    EXPECT_EQ(0, ZVCFGetAndUpdateCommonFileHeaderW(Wide(path).c_str(), &h));
    EXPECT_EQ(2, g_systemTimeToFileTimeFault.Calls());
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_SYSTEM_TIME_CONVERSION), TarnGetLastError());
    // The header line was already 96 bytes, so nothing moved, and nothing was written.
    EXPECT_EQ(bytes, zvtest::ReadFile(path));
    // The record holds the header as read.
    ZV_COMMON_FILE_HEADER_tag expected = AbsentHeader();
    memcpy(expected.szFileType, "TEST", 4);
    expected.wMajorVer = 1;
    expected.wMinorVer = 2;
    expected.lLastModified = kTime;
    zvtest::ExpectSameRecord(expected, h);
}

}  // namespace
