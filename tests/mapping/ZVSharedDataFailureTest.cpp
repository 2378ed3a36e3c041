// CZVSharedData when the calls beneath it fail or find mappings another holder made: the lock
// that cannot be taken or given back, a data mapping name that cannot be formatted, data mappings
// that are not new, a control header written by another holder, and a used size beyond the data
// mapping. The program replaces mmap, pthread_mutex_lock, pthread_mutex_unlock and vsnprintf
// (see WrappedCalls.h).
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TestSupport.h"
#include "WrappedCalls.h"
#include "ZVMapFile.h"
#include "ZVSharedData.h"
#include "ZVSharedDataQuick.h"

namespace {

using zvtest::FaultScope;
using zvtest::g_mmap;
using zvtest::g_mutexLockFault;
using zvtest::g_mutexUnlockFault;
using zvtest::g_vsnprintfFault;

uint32_t PageSize() {
    return static_cast<uint32_t>(getpagesize());
}

ZV_SHARED_DATA_HEADER_tag* Header(const CZVSharedData& block) {
    return static_cast<ZV_SHARED_DATA_HEADER_tag*>(block.m_CtrlMap.m_pAddress);
}

// Expects the state of a block that was never opened, or whose Open undid itself.
void ExpectClosed(CZVSharedData& block) {
    EXPECT_EQ(0, block.m_CtrlMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_DataMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(0, block.m_CtrlMap.m_bMutexCreated);
    EXPECT_EQ(nullptr, block.m_pHeader);
    EXPECT_EQ(nullptr, block.m_pPrivateHeader);
}

// The control header that onMapped writes into the next mapping made (see WriteForeignHeader).
ZV_SHARED_DATA_HEADER_tag g_foreignHeader;
// Set by the hooks: mappings seen since the hook was installed, and the first of them.
int g_mappingsSeen = 0;
void* g_firstMapping = nullptr;

// onMapped: the first mapping made (the control mapping of an Open) receives g_foreignHeader, as
// if another holder had set the block up.
void WriteForeignHeader(void* address, size_t /*length*/) {
    if (g_mappingsSeen++ == 0) {
        memcpy(address, &g_foreignHeader, sizeof g_foreignHeader);
    }
}

// onMapped: when the second mapping of an Open (its first data mapping) is made, the control
// header's serial has reached the last value, as if other holders had used every one before.
void UseUpSerials(void* address, size_t /*length*/) {
    if (g_mappingsSeen++ == 0) {
        g_firstMapping = address;
    } else if (g_mappingsSeen == 2) {
        static_cast<ZV_SHARED_DATA_HEADER_tag*>(g_firstMapping)->dwSerial = 0xFFFFFFFFu;
    }
}

class ZVSharedDataFailureTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_mappingsSeen = 0;
        g_firstMapping = nullptr;
        memset(&g_foreignHeader, 0, sizeof g_foreignHeader);
        TarnSetLastError(zvtest::kSentinelError);
    }
    void TearDown() override {
        g_mmap.onMapped = nullptr;
        g_mmap.fail.Off();
        g_mmap.notFirst.Off();
        g_mutexLockFault.Off();
        g_mutexUnlockFault.Off();
        g_vsnprintfFault.Off();
    }
};

// ----------------------------------------------------------------------------------------------
// Open

TEST_F(ZVSharedDataFailureTest, OpenFailsWhenTheLockCannotBeTaken) {
    CZVSharedData block;
    g_mutexLockFault.Fail();
    EXPECT_EQ(0, block.Open("NoLock", 16));
    EXPECT_EQ(1, g_mutexLockFault.Calls());
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    ExpectClosed(block);
    // The mutex was closed again, so the next Open can create it.
    EXPECT_EQ(1, block.Open("NoLock", 16));
    EXPECT_EQ(1, block.m_CtrlMap.IsLocked());
}

TEST_F(ZVSharedDataFailureTest, OpenFailsWhenTheDataNameCannotBeFormatted) {
    CZVSharedData block;
    g_vsnprintfFault.Fail();
    EXPECT_EQ(0, block.Open("NoName", 0));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_INVALID_STRING_FORMAT), TarnGetLastError());
    ExpectClosed(block);
    EXPECT_EQ(1, block.Open("NoName", 0));
    EXPECT_STREQ("DATNoName00000001", Header(block)->szDataName);
}

TEST_F(ZVSharedDataFailureTest, OpenTakesTheNextSerialWhenTheDataMappingIsNotNew) {
    CZVSharedData block;
    g_mmap.notFirst.Fail(2);  // the control mapping is new, its first data mapping is not
    ASSERT_EQ(1, block.Open("Taken", 0));
    EXPECT_EQ(3, g_mmap.notFirst.Calls());
    const ZV_SHARED_DATA_HEADER_tag* header = Header(block);
    EXPECT_EQ(2u, header->dwSerial);
    EXPECT_STREQ("DATTaken00000002", header->szDataName);
    EXPECT_STREQ("DATTaken00000002", block.m_DataMap.m_pszMutexName);
    EXPECT_EQ(1, block.m_DataMap.IsFirst());
    EXPECT_EQ(PageSize(), block.m_DataMap.m_dwLength);
    EXPECT_EQ(2u, block.m_pPrivateHeader->dwSerial);
}

TEST_F(ZVSharedDataFailureTest, OpenFailsWhenTheSerialRunsOut) {
    CZVSharedData block;
    g_mmap.onMapped = UseUpSerials;
    g_mmap.notFirst.Fail(2);
    EXPECT_EQ(0, block.Open("Full", 0));
    // The control mapping and one data mapping: the serial after 0xFFFFFFFF is not tried.
    EXPECT_EQ(2, g_mappingsSeen);
    ExpectClosed(block);
}

TEST_F(ZVSharedDataFailureTest, OpenAttachesToTheDataMappingAnotherHolderMade) {
    const uint32_t userSize = 8;
    g_foreignHeader.dwCtrlSize = userSize + 88;
    g_foreignHeader.dwSerial = 5;
    g_foreignHeader.dwCapacity = 2 * PageSize();
    g_foreignHeader.dwUsedSize = 10;
    snprintf(g_foreignHeader.szDataName, sizeof g_foreignHeader.szDataName, "DATShared00000005");
    g_foreignHeader.dwUserSize = userSize;
    g_mmap.onMapped = WriteForeignHeader;
    g_mmap.notFirst.Fail(1);  // the control mapping exists already

    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Shared", userSize));
    EXPECT_EQ(2, g_mappingsSeen);
    EXPECT_EQ(0, block.m_CtrlMap.IsFirst());
    // Attached as the header says, not set up afresh.
    EXPECT_EQ(5u, Header(block)->dwSerial);
    EXPECT_EQ(2 * PageSize(), block.m_DataMap.m_dwLength);
    EXPECT_STREQ("DATShared00000005", block.m_DataMap.m_pszMutexName);
    EXPECT_EQ(10u, block.GetSize());
    ASSERT_NE(nullptr, block.m_pPrivateHeader);
    EXPECT_EQ(0, memcmp(block.m_pPrivateHeader, &g_foreignHeader, sizeof g_foreignHeader));
    EXPECT_EQ(Header(block), block.m_pHeader);
    EXPECT_EQ(1, block.m_CtrlMap.IsLocked());
}

TEST_F(ZVSharedDataFailureTest, OpenFailsOnAForeignHeaderWithoutControlSize) {
    // A header whose control size is 0 asks for a private copy of no bytes, which the buffer
    // allocator refuses.
    g_foreignHeader.dwSerial = 1;
    g_foreignHeader.dwCapacity = PageSize();
    snprintf(g_foreignHeader.szDataName, sizeof g_foreignHeader.szDataName, "DATBroken00000001");
    g_mmap.onMapped = WriteForeignHeader;
    g_mmap.notFirst.Fail(1);

    CZVSharedData block;
    EXPECT_EQ(0, block.Open("Broken", 0));
    EXPECT_EQ(2, g_mappingsSeen);
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_INVALID_BUFFER_SIZE), TarnGetLastError());
    ExpectClosed(block);
}

// ----------------------------------------------------------------------------------------------
// Close

TEST_F(ZVSharedDataFailureTest, CloseFailsWhenTheLockCannotBeGivenBack) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Stuck", 0));
    g_mutexUnlockFault.Fail();
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, block.Close());
    EXPECT_EQ(1, g_mutexUnlockFault.Calls());
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    // Both mappings are gone; the lock, the mutex and the private copy are still held.
    EXPECT_EQ(0, block.m_CtrlMap.IsOpened(nullptr));
    EXPECT_EQ(0, block.m_DataMap.IsOpened(nullptr));
    EXPECT_EQ(1, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(1, block.m_CtrlMap.m_bMutexCreated);
    EXPECT_NE(nullptr, block.m_pPrivateHeader);
    // A second Close finishes the job.
    EXPECT_EQ(1, block.Close());
    ExpectClosed(block);
}

TEST_F(ZVSharedDataFailureTest, DestroyingABlockWhoseCloseFailedFreesItsCopy) {
    CZVSharedData* block = new CZVSharedData;
    ASSERT_EQ(1, block->Open("Dropped", 4));
    g_mutexUnlockFault.Fail();
    EXPECT_EQ(0, block->Close());
    ASSERT_NE(nullptr, block->m_pPrivateHeader);
    // The control mapping is closed, so the destructor does not close again; it frees the
    // private copy (the leak check of the sanitizer flavour sees it), and the mapping object
    // gives the mutex back.
    delete block;
}

// ----------------------------------------------------------------------------------------------
// Lock

TEST_F(ZVSharedDataFailureTest, LockFailsWhenTheMutexCannotBeTaken) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Busy", 0));
    ASSERT_EQ(1, block.Lock(0));
    g_mutexLockFault.Fail();
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, block.Lock(1));
    EXPECT_EQ(1, g_mutexLockFault.Calls());
    EXPECT_EQ(0, block.m_CtrlMap.IsLocked());
    EXPECT_EQ(nullptr, block.GetData());
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, block.Lock(1));
    EXPECT_NE(nullptr, block.GetData());
}

TEST_F(ZVSharedDataFailureTest, QuickLockFailsWhenTheMutexCannotBeTaken) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("QuickBusy", 0));
    ASSERT_EQ(1, zvmap::LockBlock(block, 0));
    g_mutexLockFault.Fail();
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, zvmap::LockBlock(block, 1));
    EXPECT_EQ(1, g_mutexLockFault.Calls());
    EXPECT_EQ(0, block.m_CtrlMap.m_bLocked);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, zvmap::LockBlock(block, 1));
    EXPECT_EQ(1, block.m_CtrlMap.m_bLocked);
}

TEST_F(ZVSharedDataFailureTest, QuickUnlockFailsWhenTheMutexCannotBeGivenBack) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("QuickStuck", 0));
    ASSERT_EQ(1, block.SetSize(7));
    g_mutexUnlockFault.Fail();
    TarnSetLastError(zvtest::kSentinelError);
    EXPECT_EQ(0, zvmap::LockBlock(block, 0));
    EXPECT_EQ(1, g_mutexUnlockFault.Calls());
    EXPECT_EQ(1, block.m_CtrlMap.m_bLocked);
    // The private copy was refreshed before the unlock was tried.
    EXPECT_EQ(7u, block.m_pPrivateHeader->dwUsedSize);
    EXPECT_EQ(zvtest::kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, zvmap::LockBlock(block, 0));
    EXPECT_EQ(0, block.m_CtrlMap.m_bLocked);
}

// ----------------------------------------------------------------------------------------------
// SetSize

TEST_F(ZVSharedDataFailureTest, GrowthFailsWhenTheDataNameCannotBeFormatted) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Grow", 0));
    ASSERT_EQ(1, block.SetSize(3));
    void* data = block.GetData();
    g_vsnprintfFault.Fail();
    EXPECT_EQ(0, block.SetSize(PageSize() + 1));
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_INVALID_STRING_FORMAT), TarnGetLastError());
    // The old data mapping and header stay.
    EXPECT_EQ(data, block.GetData());
    EXPECT_EQ(3u, block.GetSize());
    EXPECT_EQ(1u, Header(block)->dwSerial);
    EXPECT_EQ(PageSize(), Header(block)->dwCapacity);
    EXPECT_STREQ("DATGrow00000001", Header(block)->szDataName);
}

TEST_F(ZVSharedDataFailureTest, GrowthTakesTheNextSerialWhenTheNewMappingIsNotNew) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Next", 0));
    ASSERT_EQ(1, block.SetSize(4));
    memcpy(block.GetData(), "abcd", 4);
    g_mmap.notFirst.Fail(1);  // serial 2 is somebody else's
    ASSERT_EQ(1, block.SetSize(PageSize() + 1));
    EXPECT_EQ(2, g_mmap.notFirst.Calls());
    const ZV_SHARED_DATA_HEADER_tag* header = Header(block);
    EXPECT_EQ(3u, header->dwSerial);
    EXPECT_STREQ("DATNext00000003", header->szDataName);
    EXPECT_EQ(2 * PageSize(), header->dwCapacity);
    EXPECT_EQ(PageSize() + 1, header->dwUsedSize);
    EXPECT_EQ(2 * PageSize(), block.m_DataMap.m_dwLength);
    EXPECT_EQ(0, memcmp(block.GetData(), "abcd", 4));
}

TEST_F(ZVSharedDataFailureTest, GrowthCopiesNoMoreThanTheOldMappingHolds) {
    CZVSharedData block;
    ASSERT_EQ(1, block.Open("Over", 0));
    ASSERT_EQ(1, block.SetSize(PageSize()));
    memset(block.GetData(), 0x5C, PageSize());
    // Another holder left a used size beyond the data mapping in the shared header.
    Header(block)->dwUsedSize = 3 * PageSize();
    ASSERT_EQ(1, block.SetSize(2 * PageSize() + 1));
    EXPECT_EQ(3 * PageSize(), block.m_DataMap.m_dwLength);
    const unsigned char* bytes = static_cast<const unsigned char*>(block.GetData());
    size_t kept = 0;
    size_t zero = 0;
    for (uint32_t i = 0; i < 3 * PageSize(); ++i) {
        kept += (i < PageSize() && bytes[i] == 0x5C) ? 1 : 0;
        zero += (i >= PageSize() && bytes[i] == 0) ? 1 : 0;
    }
    EXPECT_EQ(PageSize(), kept);
    EXPECT_EQ(2 * PageSize(), zero);
    EXPECT_EQ(2 * PageSize() + 1, block.GetSize());
}

}  // namespace
