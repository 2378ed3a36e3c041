// Tests of the last-error code (the calling thread's errno) and the message table.
#include <errno.h>
#include <unistd.h>

#include <set>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TestSupport.h"

namespace {

struct ExpectedRow {
    unsigned int code;
    const char* msg;
};

// Every row of the table, word for word, the sentinel last.
const ExpectedRow kExpectedTable[] = {
    {1, "Invalid handle assigned."},
    {2, "Assign save format failed."},
    {3, "Close file failed."},
    {4, "Create directory failed."},
    {5, "Directory is not exist."},
    {6, "File already opened."},
    {7, "File not opened."},
    {8, "Flush file failed."},
    {9, "Get shared data name failed."},
    {10, "Invalid binary data size."},
    {11, "Invalid buffer size."},
    {12, "Key is not exist."},
    {13, "Load file failed."},
    {14, "Lock directory failed."},
    {15, "Memory overflow."},
    {16, "Null pointer assigned."},
    {17, "Open work area failed."},
    {18, "Remove directory failed."},
    {19, "Remove key failed."},
    {20, "Reset file failed."},
    {21, "Set binary data failed."},
    {22, "Set integer failed."},
    {23, "Set real value failed."},
    {24, "Set string value failed."},
    {25, "Unsupported format."},
    {26, "Lock data failed."},
    {27, "Invalid key assigned."},
    {28, "Missing key name."},
    {29, "Local time conversion failed."},
    {30, "System time conversion failed."},
    {31, "Invalid format assigned."},
    {32, "Invalid time unit assigned."},
    {33, "Create object failed."},
    {34, "Invalid mac address formaT."},
    {35, "Buffer size too short."},
    {36, "Open file failed."},
    {37, "File size too short."},
    {38, "File not found."},
    {39, "Detect file size mismatch."},
    {40, "Detect check sum mismatch."},
    {41, "Error history already initialized."},
    {42, "Error history not initialized."},
    {43, "Invalid error history id."},
    {44, "Delete object failed."},
    {45, "Error history path not assigned."},
    {46, "Create mutex failed."},
    {47, "Lock mutex failed."},
    {48, "Error history file not exist."},
    {49, "Open error history file failed."},
    {50, "Read error history file failed."},
    {51, "Invalid error history file or corrupted."},
    {52, "Create file mapping failed."},
    {53, "Map file mapping failed."},
    {54, "Error history file not opened."},
    {55, "Lock error history file failed."},
    {56, "Flush error history file failed."},
    {57, "Unlock error history file failed."},
    {58, "Error history data corrupted."},
    {59, "Error history file not locked."},
    {60, "Error history header corrupted."},
    {61, "No network adapter."},
    {62, "Get network adapter info failed."},
    {63, "Recognize ip address string failed."},
    {64, "Unlock data failed."},
    {65, "Invalid file path assigned."},
    {66, "Resize file failed."},
    {67, "Invalid string format assigned."},
    {68, "File not exist."},
    {69, "Assigned path is directory."},
    {70, "Get file time failed."},
    {71, "No enum item option assigned."},
    {0xFFFF, "Unknown error."},
};

constexpr size_t kRowCount = sizeof(kExpectedTable) / sizeof(kExpectedTable[0]);
static_assert(kRowCount == 72, "71 messages and the sentinel");

TEST(TarnLastError, SetThenGetReturnsTheCode) {
    TarnSetLastError(16);
    EXPECT_EQ(16u, TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    TarnSetLastError(0);
    EXPECT_EQ(0u, TarnGetLastError());
}

TEST(TarnLastError, IsTheThreadsErrno) {
    TarnSetLastError(41);
    EXPECT_EQ(41, errno);
    errno = 12345;
    EXPECT_EQ(12345u, TarnGetLastError());
}

TEST(TarnLastError, KeepsFull32BitCodes) {
    TarnSetLastError(0xFFFFu);
    EXPECT_EQ(0xFFFFu, TarnGetLastError());
    TarnSetLastError(0xFFFFFFFFu);
    EXPECT_EQ(0xFFFFFFFFu, TarnGetLastError());
    TarnSetLastError(0x80000000u);
    EXPECT_EQ(0x80000000u, TarnGetLastError());
}

TEST(TarnLastError, GetDoesNotClearTheCode) {
    TarnSetLastError(15);
    EXPECT_EQ(15u, TarnGetLastError());
    EXPECT_EQ(15u, TarnGetLastError());
}

TEST(TarnLastError, IsPerThread) {
    TarnSetLastError(41);
    unsigned int seenBeforeSet = 0;
    unsigned int seenAfterSet = 0;
    std::thread other([&] {
        seenBeforeSet = TarnGetLastError();
        TarnSetLastError(42);
        seenAfterSet = TarnGetLastError();
    });
    other.join();
    EXPECT_NE(41u, seenBeforeSet);
    EXPECT_EQ(42u, seenAfterSet);
    EXPECT_EQ(41u, TarnGetLastError());
}

TEST(TarnLastError, FailingSystemCallOverwritesTheCode) {
    TarnSetLastError(16);
    ASSERT_EQ(-1, close(-1));
    EXPECT_EQ(static_cast<unsigned int>(EBADF), TarnGetLastError());
    EXPECT_EQ(9u, TarnGetLastError());
}

TEST(TarnErrorMsg, ZeroIsEmptyNotUnknown) {
    const char* msg = TarnGetErrorMsg(0);
    ASSERT_NE(nullptr, msg);
    EXPECT_STREQ("", msg);
}

TEST(TarnErrorMsg, EdgeRows) {
    EXPECT_STREQ("Invalid handle assigned.", TarnGetErrorMsg(1));
    EXPECT_STREQ("Assign save format failed.", TarnGetErrorMsg(2));
    EXPECT_STREQ("Invalid mac address formaT.", TarnGetErrorMsg(34));
    EXPECT_STREQ("No enum item option assigned.", TarnGetErrorMsg(71));
}

TEST(TarnErrorMsg, EveryRowVerbatim) {
    for (size_t i = 0; i < kRowCount; ++i) {
        SCOPED_TRACE(kExpectedTable[i].code);
        EXPECT_STREQ(kExpectedTable[i].msg, TarnGetErrorMsg(kExpectedTable[i].code));
    }
}

TEST(TarnErrorMsg, RowsHaveDistinctTexts) {
    // Codes 1-71 each have their own row: no two codes share a message.
    std::set<std::string> seen;
    for (unsigned int code = 1; code <= 71; ++code) {
        EXPECT_TRUE(seen.insert(TarnGetErrorMsg(code)).second) << code;
    }
    EXPECT_EQ(0u, seen.count("Unknown error."));
}

TEST(TarnErrorMsg, CodesWithoutARowAreUnknown) {
    const unsigned int codes[] = {72u,     73u,      74u,      100u,        0xFFFEu,
                                  0xFFFFu, 0x10000u, 0x1000Fu, 0x7FFFFFFFu, 0xFFFFFFFFu};
    for (unsigned int code : codes) {
        SCOPED_TRACE(code);
        const char* msg = TarnGetErrorMsg(code);
        ASSERT_NE(nullptr, msg);
        EXPECT_STREQ("Unknown error.", msg);
    }
}

TEST(TarnErrorMsg, NeverNullOverAWideRange) {
    for (unsigned int code = 0; code < 0x11000u; ++code) {
        ASSERT_NE(nullptr, TarnGetErrorMsg(code)) << code;
    }
}

TEST(TarnErrorMsg, PointersAreStableConstants) {
    const char* first = TarnGetErrorMsg(16);
    EXPECT_EQ(first, TarnGetErrorMsg(16));
    EXPECT_EQ(TarnGetErrorMsg(0), TarnGetErrorMsg(0));
    // Every unknown code gets the sentinel row's own text.
    EXPECT_EQ(TarnGetErrorMsg(0xFFFF), TarnGetErrorMsg(72));
    EXPECT_EQ(TarnGetErrorMsg(0xFFFF), TarnGetErrorMsg(73));
    EXPECT_EQ(TarnGetErrorMsg(0xFFFF), TarnGetErrorMsg(0x10000));
    EXPECT_NE(TarnGetErrorMsg(0), TarnGetErrorMsg(0xFFFF));
}

TEST(TarnErrorMsg, DoesNotSetTheLastError) {
    const unsigned int codes[] = {0u, 1u, 16u, 71u, 72u, 0xFFFFu, 0x10000u};
    for (unsigned int code : codes) {
        TarnSetLastError(zvtest::kSentinelError);
        TarnGetErrorMsg(code);
        EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError()) << code;
    }
}

TEST(TarnErrorMsg, HeaderNamesMatchTheTable) {
    EXPECT_STREQ("Invalid buffer size.", TarnGetErrorMsg(TARN_ERR_INVALID_BUFFER_SIZE));
    EXPECT_STREQ("Memory overflow.", TarnGetErrorMsg(TARN_ERR_MEMORY_OVERFLOW));
    EXPECT_STREQ("Null pointer assigned.", TarnGetErrorMsg(TARN_ERR_NULL_POINTER));
    EXPECT_STREQ("Invalid string format assigned.",
                 TarnGetErrorMsg(TARN_ERR_INVALID_STRING_FORMAT));
    EXPECT_STREQ("Unknown error.", TarnGetErrorMsg(TARN_ERR_FILE_CORRUPTED));
    EXPECT_STREQ("Unknown error.", TarnGetErrorMsg(TARN_ERR_HEADER_NOT_ABSOLUTE));
}

}  // namespace
