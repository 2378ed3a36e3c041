// Tests of the network address query, a stub on this platform: it writes nothing, sets no code
// and returns 0.
#include <string.h>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TarnNet.h"
#include "TestSupport.h"

namespace {

using zvtest::kSentinelError;

// Keeps the null buffer opaque to the compiler.
unsigned char* volatile g_nullBuffer = nullptr;

TEST(TarnNetTest, LeavesAFilledBufferUnchanged) {
    unsigned char buffer[6];
    memset(buffer, 0xFF, sizeof(buffer));
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetMacAddress(buffer));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    const unsigned char expected[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(0, memcmp(expected, buffer, sizeof(buffer)));
}

TEST(TarnNetTest, LeavesAClearedBufferZero) {
    // What callers do: clear the six bytes, ask, and use them whatever the result.
    unsigned char buffer[6] = {0, 0, 0, 0, 0, 0};
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetMacAddress(buffer));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    const unsigned char expected[6] = {0, 0, 0, 0, 0, 0};
    EXPECT_EQ(0, memcmp(expected, buffer, sizeof(buffer)));
}

TEST(TarnNetTest, WritesNothingAroundTheBuffer) {
    unsigned char area[16];
    for (unsigned int i = 0; i < sizeof(area); ++i) {
        area[i] = static_cast<unsigned char>(0xA0 + i);
    }
    unsigned char copy[16];
    memcpy(copy, area, sizeof(area));
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetMacAddress(area + 5));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, memcmp(copy, area, sizeof(area)));
}

TEST(TarnNetTest, NullBufferReturnsZeroWithoutCode) {
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, TarnGetMacAddress(g_nullBuffer));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST(TarnNetTest, RepeatedCallsGiveTheSameResult) {
    unsigned char buffer[6] = {1, 2, 3, 4, 5, 6};
    for (int i = 0; i < 3; ++i) {
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(0, TarnGetMacAddress(buffer));
        EXPECT_EQ(kSentinelError, TarnGetLastError());
    }
    const unsigned char expected[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(0, memcmp(expected, buffer, sizeof(buffer)));
}

}  // namespace
