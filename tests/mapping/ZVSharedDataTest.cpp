// CZVSharedData: naming, the control header, growth under a new serial, locking and the
// re-attach protocol, and the layout host programs were built against.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TestSupport.h"
#include "ZVMapFile.h"
#include "ZVSharedData.h"

namespace {

uint32_t PageSize() {
    return static_cast<uint32_t>(getpagesize());
}

// The data mapping name a block name and serial give: "DAT" + name + 8 upper-case hex digits.
std::string DataName(const std::string& name, uint32_t serial) {
    char digits[16];
    snprintf(digits, sizeof digits, "%08X", static_cast<unsigned int>(serial));
    return "DAT" + name + digits;
}

const ZV_SHARED_DATA_HEADER_tag* Header(const CZVSharedData& block) {
    return static_cast<const ZV_SHARED_DATA_HEADER_tag*>(block.m_CtrlMap.m_pAddress);
}

// Fills n bytes with a pattern that differs from zero and from its neighbours.
void FillPattern(void* dst, size_t n) {
    unsigned char* p = static_cast<unsigned char*>(dst);
    for (size_t i = 0; i < n; ++i) {
        p[i] = static_cast<unsigned char>((i * 7 + 1) % 251 + 1);
    }
}

// How many of the n bytes differ from the pattern.
size_t PatternMismatches(const void* src, size_t n) {
    std::vector<unsigned char> expected(n);
    FillPattern(expected.data(), n);
    const unsigned char* p = static_cast<const unsigned char*>(src);
    size_t bad = 0;
    for (size_t i = 0; i < n; ++i) {
        if (p[i] != expected[i]) {
            ++bad;
        }
    }
    return bad;
}

// How many of the n bytes are not zero.
size_t NonZeroBytes(const void* src, size_t n) {
    const unsigned char* p = static_cast<const unsigned char*>(src);
    size_t count = 0;
    for (size_t i = 0; i < n; ++i) {
        if (p[i] != 0) {
            ++count;
        }
    }
    return count;
}

class ZVSharedDataTest : public ::testing::Test {
protected:
    void SetUp() override { TarnSetLastError(zvtest::kSentinelError); }
};

// ----------------------------------------------------------------------------------------------
// Construction

TEST_F(ZVSharedDataTest, ConstructedClosedWithTheDummyName) {
    CZVSharedData block;
    EXPECT_EQ(0u, block.m_dwPageSize);
    EXPECT_STREQ("DUMMY_SHARED", block.m_szName);
    EXPECT_EQ(nullptr, block.m_pHeader);
    EXPECT_EQ(nullptr, block.m_pPrivateHeader);
    EXPECT_EQ(0, block.m_CtrlMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_DataMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_CtrlMap.m_bMutexCreated);
    EXPECT_EQ(nullptr, block.GetData());
    EXPECT_EQ(0u, block.GetSize());
    EXPECT_EQ(nullptr, block.GetUserData());
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(ZVSharedDataTest, LockWhenNotOpenFails) {
    CZVSharedData block;
    EXPECT_EQ(0, block.Lock(1));
    EXPECT_EQ(0, block.Lock(0));
    EXPECT_EQ(0, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(ZVSharedDataTest, SetSizeWhenNotOpenFails) {
    CZVSharedData block;
    EXPECT_EQ(0, block.SetSize(1));
    EXPECT_EQ(0, block.SetSize(0));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(ZVSharedDataTest, CloseOfANeverOpenedBlockSucceeds) {
    CZVSharedData block;
    EXPECT_EQ(1, block.Close());
    EXPECT_STREQ("DUMMY_SHARED", block.m_szName);
    EXPECT_EQ(nullptr, block.m_pHeader);
}

// ----------------------------------------------------------------------------------------------
// Names

TEST_F(ZVSharedDataTest, NameOf47CharactersIsAccepted) {
    const std::string name(47, 'N');
    CZVSharedData block;
    ASSERT_EQ(1, block.Open(name.c_str(), 0));
    EXPECT_EQ(name, std::string(block.m_szName));
    EXPECT_EQ(DataName(name, 1), std::string(Header(block)->szDataName));
    EXPECT_EQ(58u, strlen(Header(block)->szDataName));
    EXPECT_STREQ(("IDX" + name).c_str(), block.m_CtrlMap.m_pszMutexName);
}

TEST_F(ZVSharedDataTest, NameOf48CharactersIsRefused) {
    const std::string name(48, 'N');
    CZVSharedData block;
    EXPECT_EQ(0, block.Open(name.c_str(), 0));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_STREQ("DUMMY_SHARED", block.m_szName);
    EXPECT_EQ(0, block.m_CtrlMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_CtrlMap.m_bMutexCreated);
    EXPECT_EQ(0, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(0u, block.m_dwPageSize);
    EXPECT_EQ(nullptr, block.m_pHeader);
    EXPECT_EQ(nullptr, block.m_pPrivateHeader);
}

TEST_F(ZVSharedDataTest, NullNameIsRefused) {
    CZVSharedData block;
    // The name is measured and copied with the string functions, which report the null name.
    EXPECT_EQ(0, block.Open(nullptr, 0));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_NULL_POINTER), TarnGetLastError());
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, block.Open(nullptr, 16));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_NULL_POINTER), TarnGetLastError());
    EXPECT_STREQ("DUMMY_SHARED", block.m_szName);
    EXPECT_EQ(0, block.m_CtrlMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_CtrlMap.m_bMutexCreated);
    EXPECT_EQ(0u, block.m_dwPageSize);
    EXPECT_EQ(nullptr, block.m_pHeader);
    // A refused open leaves the object usable.
    EXPECT_EQ(1, block.Open("AfterNull", 0));
}

TEST_F(ZVSharedDataTest, BackslashesBecomeUnderscores) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("A\\B", 0));
    EXPECT_STREQ("A_B", block.m_szName);
    EXPECT_STREQ("DATA_B00000001", Header(block)->szDataName);
    EXPECT_STREQ("DATA_B00000001", block.m_DataMap.m_pszMutexName);
    EXPECT_STREQ("IDXA_B", block.m_CtrlMap.m_pszMutexName);
}

TEST_F(ZVSharedDataTest, EveryBackslashIsReplaced) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("\\\\x\\", 0));
    EXPECT_STREQ("__x_", block.m_szName);
    EXPECT_STREQ("DAT__x_00000001", Header(block)->szDataName);
}

TEST_F(ZVSharedDataTest, EmptyNameIsAccepted) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("", 0));
    EXPECT_STREQ("", block.m_szName);
    EXPECT_STREQ("DAT00000001", Header(block)->szDataName);
    EXPECT_STREQ("IDX", block.m_CtrlMap.m_pszMutexName);
}

// ----------------------------------------------------------------------------------------------
// Open

TEST_F(ZVSharedDataTest, OpenWithoutUserArea) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("NoUser", 0));
    EXPECT_EQ(nullptr, block.GetUserData());
    EXPECT_EQ(88u, block.m_CtrlMap.m_dwLength);
    const ZV_SHARED_DATA_HEADER_tag* header = Header(block);
    EXPECT_EQ(88u, header->dwCtrlSize);
    EXPECT_EQ(0u, header->dwUserSize);
    EXPECT_EQ(1u, header->dwSerial);
    EXPECT_EQ(PageSize(), header->dwCapacity);
    EXPECT_EQ(0u, header->dwUsedSize);
    EXPECT_EQ(0u, NonZeroBytes(reinterpret_cast<const char*>(header) + 84, 4));
}

TEST_F(ZVSharedDataTest, OpenWithUserAreaSetsUpTheHeader) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Block16", 16));
    const ZV_SHARED_DATA_HEADER_tag* header = Header(block);
    ASSERT_NE(nullptr, header);
    EXPECT_EQ(header, block.m_pHeader);
    EXPECT_EQ(reinterpret_cast<const char*>(header) + 84, block.GetUserData());
    EXPECT_EQ(104u, block.m_CtrlMap.m_dwLength);
    EXPECT_EQ(104u, header->dwCtrlSize);
    EXPECT_EQ(1u, header->dwSerial);
    EXPECT_EQ(PageSize(), header->dwCapacity);
    EXPECT_EQ(0u, header->dwUsedSize);
    EXPECT_EQ(16u, header->dwUserSize);
    EXPECT_STREQ("DATBlock1600000001", header->szDataName);
    // The name field is zero behind its terminator; the user area and the spare word are zero.
    EXPECT_EQ(0u, NonZeroBytes(header->szDataName + 18, 64 - 18));
    EXPECT_EQ(0u, NonZeroBytes(reinterpret_cast<const char*>(header) + 84, 20));

    EXPECT_EQ(PageSize(), block.m_dwPageSize);
    EXPECT_STREQ("Block16", block.m_szName);
    EXPECT_EQ(PageSize(), block.m_DataMap.m_dwLength);
    EXPECT_NE(nullptr, block.m_DataMap.m_pAddress);
    EXPECT_EQ(block.m_DataMap.m_pAddress, block.GetData());
    EXPECT_STREQ("DATBlock1600000001", block.m_DataMap.m_pszMutexName);
    EXPECT_STREQ("IDXBlock16", block.m_CtrlMap.m_pszMutexName);
    EXPECT_EQ(0, block.m_CtrlMap.m_bFileBacked);
    EXPECT_EQ(0, block.m_DataMap.m_bFileBacked);
    EXPECT_EQ(-1, block.m_CtrlMap.m_hFile);
    EXPECT_EQ(-1, block.m_DataMap.m_hFile);

    // The private copy holds the header as this holder last saw it.
    ASSERT_NE(nullptr, block.m_pPrivateHeader);
    EXPECT_NE(static_cast<const void*>(block.m_pPrivateHeader), static_cast<const void*>(header));
    EXPECT_EQ(0, memcmp(block.m_pPrivateHeader, header, 104));
}

TEST_F(ZVSharedDataTest, OpenLeavesTheBlockOpenAndLocked) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Locked", 4));
    EXPECT_EQ(1, block.m_CtrlMap.IsOpened(nullptr));
    EXPECT_EQ(1, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(1, block.m_CtrlMap.m_bMutexCreated);
    EXPECT_EQ(1, block.m_DataMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_DataMap.IsLocked());
    EXPECT_EQ(0, block.m_DataMap.m_bMutexCreated);
    // The data area is usable at once and starts zeroed.
    ASSERT_NE(nullptr, block.GetData());
    EXPECT_EQ(0u, NonZeroBytes(block.GetData(), PageSize()));
}

TEST_F(ZVSharedDataTest, GetSizeIsZeroAfterOpen) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Size", 0));
    EXPECT_EQ(0u, block.GetSize());
}

TEST_F(ZVSharedDataTest, SecondOpenFailsAndChangesNothing) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("First", 8));
    void* data = block.GetData();
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, block.Open("Second", 16));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_STREQ("First", block.m_szName);
    EXPECT_EQ(96u, block.m_CtrlMap.m_dwLength);
    EXPECT_EQ(96u, Header(block)->dwCtrlSize);
    EXPECT_STREQ("DATFirst00000001", Header(block)->szDataName);
    EXPECT_EQ(data, block.GetData());
    EXPECT_EQ(1, block.m_CtrlMap.IsLocked());
}

TEST_F(ZVSharedDataTest, SecondOpenFailsWhileUnlockedToo) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("First", 0));
    ASSERT_EQ(1, block.Lock(0));
    EXPECT_EQ(0, block.Open("First", 0));
    EXPECT_EQ(0, block.m_CtrlMap.IsLocked());
}

// The control size is user size + 88 in 32 bits. A user size that wraps it fails where the
// control mapping is made: the lock taken before is released and its mutex closed again.
TEST_F(ZVSharedDataTest, UserSizeWhoseControlSizeWouldWrapIsRefused) {
    const uint32_t wrapping[] = {0xFFFFFFFFu, 0xFFFFFFFFu - 87u + 1u, 0xFFFFFFFFu - 87u};
    for (uint32_t userSize : wrapping) {
        CZVSharedData block;
        TarnSetLastError(zvtest::kSentinelError);
        EXPECT_EQ(0, block.Open("Wrap", userSize)) << userSize;
        EXPECT_EQ(0, block.m_CtrlMap.IsOpened(nullptr));
        EXPECT_EQ(0, block.m_DataMap.IsOpened(nullptr));
        EXPECT_EQ(0, block.m_CtrlMap.m_bMutexCreated);
        EXPECT_EQ(0, block.m_CtrlMap.IsLocked());
        EXPECT_EQ(nullptr, block.m_pHeader);
        EXPECT_EQ(nullptr, block.m_pPrivateHeader);
        // The failure comes after the name and the page size were taken.
        EXPECT_STREQ("Wrap", block.m_szName);
        EXPECT_EQ(PageSize(), block.m_dwPageSize);
        EXPECT_EQ(nullptr, block.GetData());
        // The object stays usable.
        EXPECT_EQ(1, block.Open("Wrap", 0));
        EXPECT_EQ(88u, block.m_CtrlMap.m_dwLength);
    }
}

TEST_F(ZVSharedDataTest, LargeUserAreaIsMappedAtUserSizePlus88) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Fits", 4096));
    EXPECT_EQ(4096u + 88u, block.m_CtrlMap.m_dwLength);
    EXPECT_EQ(4096u + 88u, Header(block)->dwCtrlSize);
    EXPECT_EQ(4096u, Header(block)->dwUserSize);
}

// CreateMutexT refuses a mutex that already exists: Open fails before it takes anything.
TEST_F(ZVSharedDataTest, OpenFailsWhenTheLockCannotBeCreated) {
    CZVSharedData block;
    ASSERT_EQ(1, block.m_CtrlMap.CreateMutexA("Taken"));
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, block.Open("NoMutex", 16));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_STREQ("NoMutex", block.m_szName);
    EXPECT_EQ(0u, block.m_dwPageSize);
    EXPECT_EQ(0, block.m_CtrlMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(1, block.m_CtrlMap.m_bMutexCreated);
    EXPECT_EQ(nullptr, block.m_pHeader);
    EXPECT_EQ(nullptr, block.m_pPrivateHeader);
    // Once the mutex is gone the block opens.
    ASSERT_EQ(1, block.m_CtrlMap.CloseMutex());
    EXPECT_EQ(1, block.Open("NoMutex", 16));
}

// A data map that cannot be opened (here: one that is open already) fails Open, which then
// closes what it opened, releases the lock and closes the mutex.
TEST_F(ZVSharedDataTest, OpenFailsWhenTheDataMappingCannotBeOpened) {
    CZVSharedData block;
    ASSERT_EQ(1, block.m_DataMap.OpenT(nullptr, 16, nullptr, 0));
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, block.Open("NoData", 16));
    EXPECT_EQ(0, block.m_CtrlMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_DataMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(0, block.m_CtrlMap.m_bMutexCreated);
    EXPECT_EQ(nullptr, block.m_pHeader);
    EXPECT_EQ(nullptr, block.m_pPrivateHeader);
    EXPECT_EQ(PageSize(), block.m_dwPageSize);
    EXPECT_EQ(nullptr, block.GetData());
    EXPECT_EQ(0u, block.GetSize());
    EXPECT_EQ(0, block.Lock(1));
    // The object stays usable.
    ASSERT_EQ(1, block.Open("NoData", 16));
    EXPECT_STREQ("DATNoData00000001", Header(block)->szDataName);
    EXPECT_EQ(PageSize(), block.m_DataMap.m_dwLength);
}

// The last error is errno; an EAGAIN (11) left behind by the host program must not make a fresh
// block look like an existing one.
TEST_F(ZVSharedDataTest, OpenSucceedsWithLastError11SetBeforehand) {
    CZVSharedData block;
    TarnSetLastError(11);
    ASSERT_EQ(1, block.Open("Eagain", 16));
    // Cleared before each anonymous open, and nothing after it failed.
    EXPECT_EQ(0u, TarnGetLastError());
    const ZV_SHARED_DATA_HEADER_tag* header = Header(block);
    EXPECT_EQ(104u, header->dwCtrlSize);
    EXPECT_EQ(1u, header->dwSerial);
    EXPECT_EQ(PageSize(), header->dwCapacity);
    EXPECT_EQ(16u, header->dwUserSize);
    EXPECT_STREQ("DATEagain00000001", header->szDataName);
    EXPECT_EQ(1, block.m_CtrlMap.IsFirst());
    EXPECT_EQ(1, block.m_DataMap.IsFirst());
    EXPECT_EQ(PageSize(), block.m_DataMap.m_dwLength);
}

TEST_F(ZVSharedDataTest, ReopenAfterCloseStartsAFreshHeader) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Again", 0));
    ASSERT_EQ(1, block.SetSize(PageSize() + 1));
    ASSERT_EQ(1, block.Close());
    ASSERT_EQ(1, block.Open("Again2", 16));
    EXPECT_EQ(1u, Header(block)->dwSerial);
    EXPECT_EQ(PageSize(), Header(block)->dwCapacity);
    EXPECT_EQ(0u, block.GetSize());
    EXPECT_STREQ("DATAgain200000001", Header(block)->szDataName);
    EXPECT_EQ(104u, block.m_CtrlMap.m_dwLength);
    EXPECT_EQ(0, memcmp(block.m_pPrivateHeader, Header(block), 104));
}

// ----------------------------------------------------------------------------------------------
// SetSize

TEST_F(ZVSharedDataTest, SetSizeWithinCapacityKeepsTheMapping) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Small", 0));
    void* data = block.GetData();
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, block.SetSize(1));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(data, block.GetData());
    EXPECT_EQ(1u, block.GetSize());
    EXPECT_EQ(1u, Header(block)->dwUsedSize);
    EXPECT_EQ(1u, Header(block)->dwSerial);
    EXPECT_EQ(PageSize(), Header(block)->dwCapacity);
    EXPECT_STREQ("DATSmall00000001", Header(block)->szDataName);
    // The private copy is refreshed only on release.
    EXPECT_EQ(0u, block.m_pPrivateHeader->dwUsedSize);
}

TEST_F(ZVSharedDataTest, SetSizeOfExactlyOnePageKeepsTheMapping) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Page", 0));
    void* data = block.GetData();
    EXPECT_EQ(1, block.SetSize(PageSize()));
    EXPECT_EQ(data, block.GetData());
    EXPECT_EQ(PageSize(), block.GetSize());
    EXPECT_EQ(1u, Header(block)->dwSerial);
    EXPECT_EQ(PageSize(), Header(block)->dwCapacity);
}

TEST_F(ZVSharedDataTest, SetSizeZero) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Zero", 0));
    ASSERT_EQ(1, block.SetSize(10));
    EXPECT_EQ(1, block.SetSize(0));
    EXPECT_EQ(0u, block.GetSize());
    EXPECT_EQ(1u, Header(block)->dwSerial);
}

TEST_F(ZVSharedDataTest, SetSizeBeyondOnePageMovesToTwoPagesAndKeepsTheUsedBytes) {
    const uint32_t page = PageSize();
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Grow", 16));
    ASSERT_EQ(1, block.SetSize(page));
    void* oldData = block.GetData();
    FillPattern(oldData, page);

    ASSERT_EQ(1, block.SetSize(page + 1));
    const ZV_SHARED_DATA_HEADER_tag* header = Header(block);
    EXPECT_EQ(2 * page, header->dwCapacity);
    EXPECT_EQ(2u, header->dwSerial);
    EXPECT_EQ(page + 1, header->dwUsedSize);
    EXPECT_EQ(page + 1, block.GetSize());
    EXPECT_STREQ("DATGrow00000002", header->szDataName);
    EXPECT_EQ(104u, header->dwCtrlSize);
    EXPECT_EQ(16u, header->dwUserSize);

    EXPECT_EQ(2 * page, block.m_DataMap.m_dwLength);
    EXPECT_STREQ("DATGrow00000002", block.m_DataMap.m_pszMutexName);
    EXPECT_EQ(block.m_DataMap.m_pAddress, block.GetData());
    ASSERT_NE(nullptr, block.GetData());
    EXPECT_EQ(0u, PatternMismatches(block.GetData(), page));
    EXPECT_EQ(0u, NonZeroBytes(static_cast<char*>(block.GetData()) + page, page));
    // The private copy was used to publish the new header, so it matches it.
    EXPECT_EQ(0, memcmp(block.m_pPrivateHeader, header, 104));
    EXPECT_EQ(1, block.m_CtrlMap.IsLocked());
}

TEST_F(ZVSharedDataTest, GrowthCopiesOnlyTheUsedBytes) {
    const uint32_t page = PageSize();
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Used", 0));
    ASSERT_EQ(1, block.SetSize(10));
    FillPattern(block.GetData(), page);
    ASSERT_EQ(1, block.SetSize(page + 1));
    EXPECT_EQ(0u, PatternMismatches(block.GetData(), 10));
    EXPECT_EQ(0u, NonZeroBytes(static_cast<char*>(block.GetData()) + 10, 2 * page - 10));
}

TEST_F(ZVSharedDataTest, GrowthRoundsTheCapacityUpToWholePages) {
    const uint32_t page = PageSize();
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Round", 0));
    ASSERT_EQ(1, block.SetSize(3 * page + 5));
    EXPECT_EQ(4 * page, Header(block)->dwCapacity);
    EXPECT_EQ(2u, Header(block)->dwSerial);
    EXPECT_EQ(4 * page, block.m_DataMap.m_dwLength);
    ASSERT_EQ(1, block.SetSize(5 * page));
    EXPECT_EQ(5 * page, Header(block)->dwCapacity);
    EXPECT_EQ(3u, Header(block)->dwSerial);
    EXPECT_STREQ("DATRound00000003", Header(block)->szDataName);
}

TEST_F(ZVSharedDataTest, CapacityNeverShrinks) {
    const uint32_t page = PageSize();
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Shrink", 0));
    ASSERT_EQ(1, block.SetSize(page + 1));
    void* data = block.GetData();
    FillPattern(data, 2 * page);
    EXPECT_EQ(1, block.SetSize(1));
    EXPECT_EQ(1u, block.GetSize());
    EXPECT_EQ(2 * page, Header(block)->dwCapacity);
    EXPECT_EQ(2u, Header(block)->dwSerial);
    EXPECT_EQ(data, block.GetData());
    EXPECT_EQ(2 * page, block.m_DataMap.m_dwLength);
    EXPECT_EQ(0u, PatternMismatches(block.GetData(), 2 * page));
    // Growing back within the capacity keeps the mapping too.
    EXPECT_EQ(1, block.SetSize(2 * page));
    EXPECT_EQ(data, block.GetData());
    EXPECT_EQ(2u, Header(block)->dwSerial);
}

TEST_F(ZVSharedDataTest, GrowthKeepsTheUserArea) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("UserKeep", 16));
    FillPattern(block.GetUserData(), 16);
    ASSERT_EQ(1, block.SetSize(PageSize() + 1));
    EXPECT_EQ(reinterpret_cast<char*>(block.m_pHeader) + 84, block.GetUserData());
    EXPECT_EQ(0u, PatternMismatches(block.GetUserData(), 16));
}

TEST_F(ZVSharedDataTest, SetSizeWhenUnlockedFails) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Unlocked", 0));
    ASSERT_EQ(1, block.SetSize(5));
    ASSERT_EQ(1, block.Lock(0));
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, block.SetSize(1));
    EXPECT_EQ(0, block.SetSize(PageSize() + 1));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(5u, Header(block)->dwUsedSize);
    EXPECT_EQ(1u, Header(block)->dwSerial);
    EXPECT_EQ(PageSize(), Header(block)->dwCapacity);
}

// The last error is errno; an EAGAIN (11) left behind by the host program must not make every
// new data mapping look taken.
TEST_F(ZVSharedDataTest, GrowingSetSizeSucceedsWithLastError11SetBeforehand) {
    const uint32_t page = PageSize();
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Eagain", 0));
    ASSERT_EQ(1, block.SetSize(page));
    FillPattern(block.GetData(), page);
    TarnSetLastError(11);
    ASSERT_EQ(1, block.SetSize(page + 1));
    EXPECT_EQ(0u, TarnGetLastError());
    EXPECT_EQ(1, block.m_DataMap.IsFirst());
    EXPECT_EQ(2 * page, block.m_DataMap.m_dwLength);
    EXPECT_EQ(2u, Header(block)->dwSerial);
    EXPECT_EQ(2 * page, Header(block)->dwCapacity);
    EXPECT_STREQ("DATEagain00000002", Header(block)->szDataName);
    EXPECT_EQ(0u, PatternMismatches(block.GetData(), page));
}

TEST_F(ZVSharedDataTest, SetSizeTooLargeToMapFailsAndKeepsTheBlock) {
    const uint32_t page = PageSize();
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Huge", 0));
    ASSERT_EQ(1, block.SetSize(page));
    void* data = block.GetData();
    FillPattern(data, page);
    // Rounded up to whole pages in 32 bits these wrap to a capacity of 0, which cannot be mapped.
    EXPECT_EQ(0, block.SetSize(0xFFFFFFFFu));
    EXPECT_EQ(0, block.SetSize(0xFFFFFFFFu - page + 2));
    const ZV_SHARED_DATA_HEADER_tag* header = Header(block);
    EXPECT_EQ(1u, header->dwSerial);
    EXPECT_EQ(page, header->dwCapacity);
    EXPECT_EQ(page, header->dwUsedSize);
    EXPECT_STREQ("DATHuge00000001", header->szDataName);
    EXPECT_EQ(data, block.GetData());
    EXPECT_EQ(0u, PatternMismatches(data, page));
    // A release and a new lock stay on the same data mapping.
    ASSERT_EQ(1, block.Lock(0));
    ASSERT_EQ(1, block.Lock(1));
    EXPECT_EQ(data, block.GetData());
    EXPECT_EQ(0u, PatternMismatches(block.GetData(), page));
    // And the block still grows normally afterwards.
    ASSERT_EQ(1, block.SetSize(page + 1));
    EXPECT_EQ(2u, Header(block)->dwSerial);
    EXPECT_EQ(0u, PatternMismatches(block.GetData(), page));
}

// ----------------------------------------------------------------------------------------------
// Lock

TEST_F(ZVSharedDataTest, GettersAreEmptyWhileUnlocked) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Getters", 16));
    ASSERT_EQ(1, block.SetSize(7));
    void* data = block.GetData();
    void* user = block.GetUserData();
    ASSERT_NE(nullptr, data);
    ASSERT_NE(nullptr, user);

    EXPECT_EQ(1, block.Lock(0));
    EXPECT_EQ(0, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(nullptr, block.GetData());
    EXPECT_EQ(0u, block.GetSize());
    EXPECT_EQ(nullptr, block.GetUserData());
    // The block stays open and its header in place.
    EXPECT_EQ(1, block.m_CtrlMap.IsOpened(nullptr));
    EXPECT_EQ(7u, Header(block)->dwUsedSize);

    EXPECT_EQ(1, block.Lock(1));
    EXPECT_EQ(1, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(data, block.GetData());
    EXPECT_EQ(7u, block.GetSize());
    EXPECT_EQ(user, block.GetUserData());
}

TEST_F(ZVSharedDataTest, LockInTheStateAlreadyHeldSucceeds) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Twice", 0));
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(1, block.Lock(1));
    EXPECT_EQ(1, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(1, block.Lock(0));
    EXPECT_EQ(1, block.Lock(0));
    EXPECT_EQ(0, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(1, block.Lock(1));
    EXPECT_EQ(1, block.Lock(5));
    EXPECT_EQ(1, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
}

TEST_F(ZVSharedDataTest, ReleaseRefreshesThePrivateCopy) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Private", 8));
    ASSERT_EQ(1, block.SetSize(3));
    FillPattern(block.GetUserData(), 8);
    EXPECT_EQ(0u, block.m_pPrivateHeader->dwUsedSize);
    ASSERT_EQ(1, block.Lock(0));
    EXPECT_EQ(3u, block.m_pPrivateHeader->dwUsedSize);
    EXPECT_EQ(0, memcmp(block.m_pPrivateHeader, Header(block), 96));
}

TEST_F(ZVSharedDataTest, GrowthSurvivesReleaseAndRelock) {
    const uint32_t page = PageSize();
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Relock", 0));
    ASSERT_EQ(1, block.SetSize(page + 1));
    void* data = block.GetData();
    FillPattern(data, page + 1);
    ASSERT_EQ(1, block.Lock(0));
    ASSERT_EQ(1, block.Lock(1));
    EXPECT_EQ(data, block.GetData());
    EXPECT_EQ(page + 1, block.GetSize());
    EXPECT_EQ(0u, PatternMismatches(block.GetData(), page + 1));
    EXPECT_EQ(2u, Header(block)->dwSerial);
    EXPECT_STREQ("DATRelock00000002", block.m_DataMap.m_pszMutexName);
}

// Another holder that grew the block leaves a new serial, capacity and name in the shared
// header while this holder's copy still has the old serial: taking the lock re-attaches to the
// mapping the header names and keeps the stale copy until the next release.
TEST_F(ZVSharedDataTest, LockReattachesWhenTheSerialChanged) {
    const uint32_t page = PageSize();
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Other", 0));
    ASSERT_EQ(1, block.Lock(0));
    ZV_SHARED_DATA_HEADER_tag* header = block.m_pHeader;
    header->dwSerial = 5;
    header->dwCapacity = 3 * page;
    header->dwUsedSize = 2 * page;
    snprintf(header->szDataName, sizeof header->szDataName, "DATOther00000005");

    ASSERT_EQ(1, block.Lock(1));
    EXPECT_EQ(3 * page, block.m_DataMap.m_dwLength);
    EXPECT_STREQ("DATOther00000005", block.m_DataMap.m_pszMutexName);
    EXPECT_EQ(block.m_DataMap.m_pAddress, block.GetData());
    ASSERT_NE(nullptr, block.GetData());
    EXPECT_EQ(2 * page, block.GetSize());
    // The whole new mapping is writable.
    FillPattern(block.GetData(), 3 * page);
    EXPECT_EQ(1u, block.m_pPrivateHeader->dwSerial);

    ASSERT_EQ(1, block.Lock(0));
    EXPECT_EQ(5u, block.m_pPrivateHeader->dwSerial);
    EXPECT_EQ(3 * page, block.m_pPrivateHeader->dwCapacity);
    // Same serial now: the next lock keeps the mapping.
    void* data = block.m_DataMap.m_pAddress;
    ASSERT_EQ(1, block.Lock(1));
    EXPECT_EQ(data, block.GetData());
    EXPECT_EQ(0u, PatternMismatches(block.GetData(), 3 * page));
}

TEST_F(ZVSharedDataTest, LockUnlocksWhenTheReattachFails) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Broken", 0));
    ASSERT_EQ(1, block.Lock(0));
    // A header that names a mapping of 0 bytes cannot be attached to.
    block.m_pHeader->dwSerial = 9;
    block.m_pHeader->dwCapacity = 0;
    EXPECT_EQ(0, block.Lock(1));
    EXPECT_EQ(0, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(0, block.m_DataMap.IsOpened(nullptr));
    EXPECT_EQ(nullptr, block.GetData());
    EXPECT_EQ(1, block.Close());
}

TEST_F(ZVSharedDataTest, SetSizeAfterReattachUsesTheNextSerial) {
    const uint32_t page = PageSize();
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Wrapped", 0));
    ASSERT_EQ(1, block.Lock(0));
    block.m_pHeader->dwSerial = 0xFFFFFFFFu;
    ASSERT_EQ(1, block.Lock(1));
    // The serial after 0xFFFFFFFF is 1, never 0.
    ASSERT_EQ(1, block.SetSize(page + 1));
    EXPECT_EQ(1u, Header(block)->dwSerial);
    EXPECT_STREQ("DATWrapped00000001", Header(block)->szDataName);
    EXPECT_EQ(2 * page, block.m_DataMap.m_dwLength);
}

// The serial is written as eight upper-case hex digits, zero-padded.
TEST_F(ZVSharedDataTest, SerialIsWrittenAsEightUpperCaseHexDigits) {
    const uint32_t page = PageSize();
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Hex", 0));
    ASSERT_EQ(1, block.Lock(0));
    block.m_pHeader->dwSerial = 0x00ABCDEEu;
    ASSERT_EQ(1, block.Lock(1));
    ASSERT_EQ(1, block.SetSize(page + 1));
    EXPECT_EQ(0x00ABCDEFu, Header(block)->dwSerial);
    EXPECT_STREQ("DATHex00ABCDEF", Header(block)->szDataName);
    EXPECT_STREQ("DATHex00ABCDEF", block.m_DataMap.m_pszMutexName);
    ASSERT_EQ(1, block.SetSize(2 * page + 1));
    EXPECT_STREQ("DATHex00ABCDF0", Header(block)->szDataName);
    ASSERT_EQ(1, block.Lock(0));
    block.m_pHeader->dwSerial = 0xFFFFFFFEu;
    ASSERT_EQ(1, block.Lock(1));
    ASSERT_EQ(1, block.SetSize(4 * page));
    EXPECT_STREQ("DATHexFFFFFFFF", Header(block)->szDataName);
    // The 47-character name and the widest serial fill 58 of the 64 bytes.
    const std::string name(47, 'x');
    CZVSharedData wide;
    ASSERT_EQ(1, wide.Open(name.c_str(), 0));
    ASSERT_EQ(1, wide.Lock(0));
    wide.m_pHeader->dwSerial = 0xFFFFFFFEu;
    ASSERT_EQ(1, wide.Lock(1));
    ASSERT_EQ(1, wide.SetSize(page + 1));
    EXPECT_EQ(DataName(name, 0xFFFFFFFFu), std::string(Header(wide)->szDataName));
}

// A block whose data mapping is gone still grows: there is nothing to copy, and the new mapping
// starts zeroed.
TEST_F(ZVSharedDataTest, GrowthWithoutADataMappingStartsZeroed) {
    const uint32_t page = PageSize();
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Gone", 0));
    ASSERT_EQ(1, block.SetSize(page));
    FillPattern(block.GetData(), page);
    ASSERT_EQ(1, block.m_DataMap.Close());
    EXPECT_EQ(nullptr, block.GetData());
    ASSERT_EQ(1, block.SetSize(page + 1));
    EXPECT_EQ(2u, Header(block)->dwSerial);
    EXPECT_EQ(page + 1, block.GetSize());
    ASSERT_NE(nullptr, block.GetData());
    EXPECT_EQ(2 * page, block.m_DataMap.m_dwLength);
    EXPECT_EQ(0u, NonZeroBytes(block.GetData(), 2 * page));
}

// Lock, the getters and Close in the order a store uses them.
TEST_F(ZVSharedDataTest, LockGetterAndCloseSequence) {
    const uint32_t page = PageSize();
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Sequence", 8));
    void* user = block.GetUserData();
    ASSERT_NE(nullptr, user);
    memcpy(user, "USERDATA", 8);
    ASSERT_EQ(1, block.SetSize(3));
    memcpy(block.GetData(), "abc", 3);
    TarnSetLastError(zvtest::kSentinelError);
    ASSERT_EQ(1, block.Lock(0));
    EXPECT_EQ(nullptr, block.GetData());
    EXPECT_EQ(nullptr, block.GetUserData());
    EXPECT_EQ(0u, block.GetSize());
    EXPECT_EQ(0, block.SetSize(4));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());

    ASSERT_EQ(1, block.Lock(1));
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(3u, block.GetSize());
    EXPECT_EQ(user, block.GetUserData());
    EXPECT_EQ(0, memcmp(block.GetUserData(), "USERDATA", 8));
    EXPECT_EQ(0, memcmp(block.GetData(), "abc", 3));

    ASSERT_EQ(1, block.SetSize(page + 3));
    memcpy(static_cast<char*>(block.GetData()) + page, "xyz", 3);
    ASSERT_EQ(1, block.Lock(0));
    EXPECT_EQ(2u, block.m_pPrivateHeader->dwSerial);
    EXPECT_EQ(page + 3, block.m_pPrivateHeader->dwUsedSize);
    ASSERT_EQ(1, block.Lock(1));
    EXPECT_EQ(page + 3, block.GetSize());
    EXPECT_EQ(0, memcmp(block.GetData(), "abc", 3));
    EXPECT_EQ(0, memcmp(static_cast<char*>(block.GetData()) + page, "xyz", 3));
    EXPECT_EQ(0, memcmp(block.GetUserData(), "USERDATA", 8));

    ASSERT_EQ(1, block.Close());
    EXPECT_EQ(nullptr, block.GetData());
    EXPECT_EQ(nullptr, block.GetUserData());
    EXPECT_EQ(0u, block.GetSize());
    EXPECT_EQ(0, block.Lock(1));
    EXPECT_EQ(0, block.Lock(0));

    // Reopened under the same name it is a fresh block.
    ASSERT_EQ(1, block.Open("Sequence", 8));
    EXPECT_EQ(0u, block.GetSize());
    EXPECT_EQ(0u, NonZeroBytes(block.GetUserData(), 8));
    EXPECT_EQ(0u, NonZeroBytes(block.GetData(), page));
    EXPECT_STREQ("DATSequence00000001", Header(block)->szDataName);
}

// ----------------------------------------------------------------------------------------------
// Close and destruction

TEST_F(ZVSharedDataTest, CloseReleasesEverything) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Closing", 16));
    ASSERT_EQ(1, block.SetSize(PageSize() + 1));
    EXPECT_EQ(1, block.Close());
    EXPECT_EQ(nullptr, block.GetData());
    EXPECT_EQ(0u, block.GetSize());
    EXPECT_EQ(nullptr, block.GetUserData());
    EXPECT_EQ(nullptr, block.m_pHeader);
    EXPECT_EQ(nullptr, block.m_pPrivateHeader);
    EXPECT_EQ(0, block.m_CtrlMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_DataMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(0, block.m_CtrlMap.m_bMutexCreated);
    EXPECT_EQ(0, block.Lock(1));
    EXPECT_EQ(0, block.SetSize(1));
    // The name and page size stay.
    EXPECT_STREQ("Closing", block.m_szName);
    EXPECT_EQ(PageSize(), block.m_dwPageSize);
    EXPECT_EQ(1, block.Close());
}

TEST_F(ZVSharedDataTest, CloseWhileUnlocked) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("ClosingUnlocked", 0));
    ASSERT_EQ(1, block.Lock(0));
    EXPECT_EQ(1, block.Close());
    EXPECT_EQ(0, block.m_CtrlMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_CtrlMap.m_bMutexCreated);
    EXPECT_EQ(nullptr, block.m_pPrivateHeader);
}

TEST_F(ZVSharedDataTest, DestroyingAnOpenBlockReleasesIt) {
    CZVSharedData* block = new CZVSharedData;
    ASSERT_EQ(1, block->Open("Destroyed", 16));
    ASSERT_EQ(1, block->SetSize(PageSize() + 1));
    delete block;
    CZVSharedData* unlocked = new CZVSharedData;
    ASSERT_EQ(1, unlocked->Open("DestroyedUnlocked", 0));
    ASSERT_EQ(1, unlocked->Lock(0));
    delete unlocked;
}

TEST_F(ZVSharedDataTest, TwoBlocksOfOneNameAreIndependent) {
    CZVSharedData first;
    CZVSharedData second;
    ASSERT_EQ(1, first.Open("Same", 0));
    ASSERT_EQ(1, second.Open("Same", 0));
    EXPECT_NE(first.GetData(), second.GetData());
    EXPECT_NE(first.m_pHeader, second.m_pHeader);
    EXPECT_EQ(1u, Header(second)->dwSerial);
    ASSERT_EQ(1, first.SetSize(3));
    EXPECT_EQ(0u, second.GetSize());
}

// ----------------------------------------------------------------------------------------------
// Layout

TEST(ZVSharedDataLayoutTest, SharedHeaderOffsets) {
    EXPECT_EQ(84u, sizeof(ZV_SHARED_DATA_HEADER_tag));
    EXPECT_EQ(0u, offsetof(ZV_SHARED_DATA_HEADER_tag, dwCtrlSize));
    EXPECT_EQ(4u, offsetof(ZV_SHARED_DATA_HEADER_tag, dwSerial));
    EXPECT_EQ(8u, offsetof(ZV_SHARED_DATA_HEADER_tag, dwCapacity));
    EXPECT_EQ(12u, offsetof(ZV_SHARED_DATA_HEADER_tag, dwUsedSize));
    EXPECT_EQ(16u, offsetof(ZV_SHARED_DATA_HEADER_tag, szDataName));
    EXPECT_EQ(80u, offsetof(ZV_SHARED_DATA_HEADER_tag, dwUserSize));
}

// Host programs call the operations through the vtable: destructor (two entries), Open, Close,
// Lock, GetData, GetSize, SetSize, GetUserData.
template <typename Method>
size_t SlotOf(Method method) {
    struct {
        uintptr_t ptr;
        ptrdiff_t adj;
    } rep;
    static_assert(sizeof(method) == sizeof(rep), "pointer to member is two words");
    memcpy(&rep, &method, sizeof rep);
    // A pointer to a virtual member holds 1 + the byte offset of its slot.
    EXPECT_EQ(1u, rep.ptr % sizeof(void*));
    return static_cast<size_t>((rep.ptr - 1) / sizeof(void*));
}

TEST(ZVSharedDataLayoutTest, VirtualSlotOrder) {
    EXPECT_EQ(2u, SlotOf(&CZVSharedData::Open));
    EXPECT_EQ(3u, SlotOf(&CZVSharedData::Close));
    EXPECT_EQ(4u, SlotOf(&CZVSharedData::Lock));
    EXPECT_EQ(5u, SlotOf(&CZVSharedData::GetData));
    EXPECT_EQ(6u, SlotOf(&CZVSharedData::GetSize));
    EXPECT_EQ(7u, SlotOf(&CZVSharedData::SetSize));
    EXPECT_EQ(8u, SlotOf(&CZVSharedData::GetUserData));
}

#if defined(__i386__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
TEST(ZVSharedDataLayoutTest, DeviceClassLayout) {
    EXPECT_EQ(216u, sizeof(CZVSharedData));
    EXPECT_EQ(4u, offsetof(CZVSharedData, m_dwPageSize));
    EXPECT_EQ(8u, offsetof(CZVSharedData, m_szName));
    EXPECT_EQ(72u, offsetof(CZVSharedData, m_CtrlMap));
    EXPECT_EQ(140u, offsetof(CZVSharedData, m_DataMap));
    EXPECT_EQ(208u, offsetof(CZVSharedData, m_pHeader));
    EXPECT_EQ(212u, offsetof(CZVSharedData, m_pPrivateHeader));
}
#pragma GCC diagnostic pop
#endif

}  // namespace
