// Binding a store to its block when the slots are held by other files: each control mapping an
// Open makes is given the header of a block another holder set up (mmap replaced, see
// WrappedCalls.h), so the store walks on to the next slot, gives up after slot 99, refuses a
// block without an owner area, and undoes everything when the block lock cannot be given back.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include <gtest/gtest.h>

#include "TarnError.h"
#include "TestSupport.h"
#include "WrappedCalls.h"
#include "ZVEnvData.h"
#include "ZVSharedData.h"

namespace {

using zvtest::g_mmap;
using zvtest::g_mutexUnlockFault;

const char kOwner[] = "owner";
const char kOther[] = "thief";

// How the hook answers: control mappings before this many get another owner's key, the next one
// this store's own; ownerless gives every control mapping an empty owner area instead.
int g_foreignSlots = 0;
bool g_ownerless = false;
int g_controlMappings = 0;

// onMapped: control mappings (smaller than a page) receive a header as another holder would
// have left it, naming a data mapping of one page.
void WriteHeldHeader(void* address, size_t length) {
    if (length >= static_cast<size_t>(getpagesize())) {
        return;
    }
    const int slot = g_controlMappings++;
    ZV_SHARED_DATA_HEADER_tag header;
    memset(&header, 0, sizeof header);
    header.dwUserSize = g_ownerless ? 0 : sizeof kOwner;
    header.dwCtrlSize = header.dwUserSize + 88;
    header.dwSerial = 1;
    header.dwCapacity = static_cast<uint32_t>(getpagesize());
    snprintf(header.szDataName, sizeof header.szDataName, "DATHeld%02d", slot);
    memcpy(address, &header, sizeof header);
    if (!g_ownerless) {
        memcpy(static_cast<char*>(address) + sizeof header, slot < g_foreignSlots ? kOther : kOwner,
               sizeof kOwner);
    }
}

class ZVEnvDataSlotTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_foreignSlots = 0;
        g_ownerless = false;
        g_controlMappings = 0;
    }
    void TearDown() override {
        g_mmap.onMapped = nullptr;
        g_mmap.notFirst.Off();
        g_mutexUnlockFault.Off();
    }
    // Every mapping made from now on exists already, with the headers WriteHeldHeader writes.
    static void HoldEverySlot() {
        g_mmap.onMapped = WriteHeldHeader;
        g_mmap.notFirst.Fail(1, true);
    }
    // Calls that fault counts during the Open of a fresh store: the last unlock among them is the
    // one that leaves the store unlocked.
    static int CallsOfAnOpen(zvtest::CallFault& fault) {
        CZVEnvData store;
        fault.Fail(1000000);
        EXPECT_EQ(1, store.Open("Count", kOwner));
        const int calls = fault.Calls();
        fault.Off();
        EXPECT_EQ(1, store.Close());
        return calls;
    }
    static void ExpectClosed(CZVEnvData& store) {
        EXPECT_EQ(0, store.m_SharedData.m_CtrlMap.IsOpened(nullptr));
        EXPECT_EQ(0, store.m_SharedData.m_DataMap.IsOpened(nullptr));
        EXPECT_EQ(0, store.m_SharedData.m_CtrlMap.m_bMutexCreated);
        EXPECT_EQ(nullptr, store.m_pData);
    }
};

TEST_F(ZVEnvDataSlotTest, SlotsOfOtherFilesAreSkipped) {
    g_foreignSlots = 2;
    HoldEverySlot();
    CZVEnvData store;
    ASSERT_EQ(1, store.Open("Held", kOwner));
    EXPECT_EQ(3, g_controlMappings);
    EXPECT_STREQ("Held 02", store.m_SharedData.m_szName);
    EXPECT_EQ(0, store.m_SharedData.m_CtrlMap.IsLocked());
    EXPECT_EQ(nullptr, store.m_pData);
    EXPECT_EQ(0u, store.m_dwDataSize);
    EXPECT_EQ(1, store.Close());
}

TEST_F(ZVEnvDataSlotTest, OpenFailsWhenAllHundredSlotsAreHeld) {
    g_foreignSlots = 1000;
    HoldEverySlot();
    CZVEnvData store;
    EXPECT_EQ(0, store.Open("Full", kOwner));
    EXPECT_EQ(100, g_controlMappings);
    ExpectClosed(store);
}

TEST_F(ZVEnvDataSlotTest, OpenFailsOnABlockWithoutOwnerArea) {
    g_ownerless = true;
    HoldEverySlot();
    CZVEnvData store;
    EXPECT_EQ(0, store.Open("Ownerless", kOwner));
    EXPECT_EQ(1, g_controlMappings);
    ExpectClosed(store);
}

TEST_F(ZVEnvDataSlotTest, OpenFailsWhenAHeldSlotCannotBeUnlocked) {
    // The unlock that gives back the first slot comes where a fresh Open's last one would.
    const int unlockAt = CallsOfAnOpen(g_mutexUnlockFault);
    g_foreignSlots = 1;
    HoldEverySlot();
    g_mutexUnlockFault.Fail(unlockAt);
    CZVEnvData store;
    EXPECT_EQ(0, store.Open("Stuck", kOwner));
    EXPECT_EQ(1, g_controlMappings);
    ExpectClosed(store);
    g_mmap.onMapped = nullptr;
    g_mmap.notFirst.Off();
    EXPECT_EQ(1, store.Open("Stuck", kOwner));
    EXPECT_STREQ("Stuck 00", store.m_SharedData.m_szName);
    EXPECT_EQ(1, store.Close());
}

TEST_F(ZVEnvDataSlotTest, OpenFailsWhenItsOwnSlotCannotBeUnlocked) {
    const int unlockAt = CallsOfAnOpen(g_mutexUnlockFault);
    g_mutexUnlockFault.Fail(unlockAt);
    CZVEnvData store;
    EXPECT_EQ(0, store.Open("Own", kOwner));
    // The failed one, then the one of the close.
    EXPECT_EQ(unlockAt + 1, g_mutexUnlockFault.Calls());
    ExpectClosed(store);
    EXPECT_EQ(1, store.Open("Own", kOwner));
    EXPECT_EQ(1, store.Close());
}

TEST_F(ZVEnvDataSlotTest, SharedNameWithoutOutputOnlySucceeds) {
    CZVEnvData store;
    EXPECT_EQ(1, store.GetSharedName("/a/b", nullptr, 64));
    char out[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(1, store.GetSharedName(nullptr, out, sizeof out));
    EXPECT_STREQ("00", out);
}

}  // namespace
