// Comparison of two header records shared by the header line and header file tests.
#ifndef ZV_TESTS_HEADERRECORDCHECK_H
#define ZV_TESTS_HEADERRECORDCHECK_H

#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "ZVTypes.h"

namespace zvtest {

// The record a reset leaves, built here field by field: zeroes, "NONE", both versions 0xFFFF and
// checksum -1.
inline ZV_COMMON_FILE_HEADER_tag AbsentHeader() {
    ZV_COMMON_FILE_HEADER_tag h;
    memset(&h, 0, sizeof(h));
    memcpy(h.szFileType, "NONE", 4);
    h.wMajorVer = 0xFFFF;
    h.wMinorVer = 0xFFFF;
    h.lCheckSum = -1;
    return h;
}

// The 38 bytes of the two records match, field by field (for a readable failure) and as a whole.
inline void ExpectSameRecord(const ZV_COMMON_FILE_HEADER_tag& expected,
                             const ZV_COMMON_FILE_HEADER_tag& actual) {
    EXPECT_EQ(std::string(expected.szFileType, 4), std::string(actual.szFileType, 4));
    EXPECT_EQ(expected.wMajorVer, actual.wMajorVer);
    EXPECT_EQ(expected.wMinorVer, actual.wMinorVer);
    EXPECT_EQ(expected.lLastModified, actual.lLastModified);
    EXPECT_EQ(expected.dwDataSize, actual.dwDataSize);
    EXPECT_EQ(expected.lCheckSum, actual.lCheckSum);
    EXPECT_EQ(0, memcmp(expected.byMacAddr, actual.byMacAddr, 6));
    EXPECT_EQ(0, memcmp(expected.szExtraInfo, actual.szExtraInfo, 12));
    EXPECT_EQ(0, memcmp(&expected, &actual, sizeof(expected)));
}

}  // namespace zvtest

#endif  // ZV_TESTS_HEADERRECORDCHECK_H
