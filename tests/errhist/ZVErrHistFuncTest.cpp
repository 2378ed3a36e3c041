// The ZVEH functions over the one process-wide history, and the holder that keeps it: every
// function before initialisation, initialisation in both text widths and its failures, the
// records kept through the functions, and ZVEHShiftErrorID, which needs no initialisation.
#include <limits.h>
#include <string.h>

#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "ErrHistSupport.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVErrHistFunc.h"
#include "ZVErrorHistory.h"

namespace {

using zvtest::EmptySlot;
using zvtest::HeaderLine;
using zvtest::kNeverFlush;
using zvtest::kSentinelError;
using zvtest::MakeRecord;
using zvtest::RecordLine;

using zvtest::Code;

// The history the holder keeps, or null.
CZVErrorHistory* Held() {
    return static_cast<CZVErrorHistory*>(CZVObjectHolder::GetInstance()->GetObject());
}

class ZVErrHistFuncTest : public zvtest::HistoryFileTest {
protected:
    // The holder is process-wide: leave it empty for the next test.
    void TearDown() override { EXPECT_EQ(1, ZVEHExit()); }

    // Prepares the file and initialises the history over it.
    void Init(unsigned short capacity, unsigned int interval = kNeverFlush) {
        zvtest::PrepareHistoryFile(path, capacity);
        ASSERT_EQ(1, ZVEHInitA(path.c_str(), capacity, interval));
        TarnSetLastError(kSentinelError);
    }

    // Adds MakeRecord(seed); the id it got.
    unsigned short Add(unsigned int seed) {
        ERRHIST_tag record = MakeRecord(seed);
        unsigned short id = 0;
        EXPECT_EQ(1, ZVEHAddErrorHistory(&record, &id)) << seed;
        return id;
    }
};

// ----------------------------------------------------------------------------------------------
// Before initialisation

TEST_F(ZVErrHistFuncTest, ExitWithoutInitSucceedsQuietly) {
    EXPECT_EQ(1, ZVEHExit());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(1, ZVEHExit());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrHistFuncTest, RangeBeforeInit) {
    unsigned short first = 0xABCD;
    unsigned short last = 0xABCD;
    EXPECT_EQ(-1, ZVEHGetRange(&first, &last));
    EXPECT_EQ(Code(TARN_ERR_EH_NOT_INITIALIZED), TarnGetLastError());
    EXPECT_EQ(0xABCD, first);  // nothing to zero them
    EXPECT_EQ(0xABCD, last);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, ZVEHGetRange(nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_NOT_INITIALIZED), TarnGetLastError());
}

TEST_F(ZVErrHistFuncTest, GetBeforeInit) {
    ERRHIST_tag record;
    unsigned short first = 0xABCD;
    int read = 7;
    EXPECT_EQ(-1, ZVEHGetErrorHistory(1, 1, &record, sizeof record, &first, &read));
    EXPECT_EQ(Code(TARN_ERR_EH_NOT_INITIALIZED), TarnGetLastError());
    EXPECT_EQ(0xABCD, first);
    EXPECT_EQ(7, read);
    // The arguments are not looked at before the history is found.
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, ZVEHGetErrorHistory(0, 1, nullptr, 58, nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_NOT_INITIALIZED), TarnGetLastError());
}

TEST_F(ZVErrHistFuncTest, ClearBeforeInit) {
    EXPECT_EQ(0, ZVEHClearErrorHistory());
    EXPECT_EQ(Code(TARN_ERR_EH_NOT_INITIALIZED), TarnGetLastError());
}

TEST_F(ZVErrHistFuncTest, AddBeforeInit) {
    ERRHIST_tag record = MakeRecord(1);
    unsigned short id = 0xABCD;
    EXPECT_EQ(0, ZVEHAddErrorHistory(&record, &id));
    EXPECT_EQ(Code(TARN_ERR_EH_NOT_INITIALIZED), TarnGetLastError());
    EXPECT_EQ(0xABCD, id);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEHAddErrorHistory(nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_NOT_INITIALIZED), TarnGetLastError());
}

TEST_F(ZVErrHistFuncTest, ShiftWorksBeforeInit) {
    unsigned short result = 0;
    EXPECT_EQ(1, ZVEHShiftErrorID(65535, 1, &result));
    EXPECT_EQ(1, result);
    EXPECT_EQ(1, ZVEHShiftErrorID(1, -1, &result));
    EXPECT_EQ(65535, result);
    EXPECT_EQ(1, ZVEHShiftErrorID(10, -3, &result));
    EXPECT_EQ(7, result);
    EXPECT_EQ(1, ZVEHShiftErrorID(1, INT_MIN, &result));
    EXPECT_EQ(32768, result);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(nullptr, Held());
}

TEST_F(ZVErrHistFuncTest, ShiftFailures) {
    unsigned short result = 0xABCD;
    EXPECT_EQ(0, ZVEHShiftErrorID(0, 1, &result));
    EXPECT_EQ(Code(TARN_ERR_EH_INVALID_ID), TarnGetLastError());
    EXPECT_EQ(0, result);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEHShiftErrorID(1, 1, nullptr));
    EXPECT_EQ(Code(TARN_ERR_NULL_POINTER), TarnGetLastError());
}

// ----------------------------------------------------------------------------------------------
// Initialisation

TEST_F(ZVErrHistFuncTest, InitOpensThePreparedFile) {
    zvtest::PrepareHistoryFile(path, 3);
    EXPECT_EQ(1, ZVEHInitA(path.c_str(), 3, kNeverFlush));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    CZVErrorHistory* history = Held();
    ASSERT_NE(nullptr, history);
    EXPECT_EQ(1, history->IsOpened());
    EXPECT_STREQ(path.c_str(), history->m_pszPath);
    EXPECT_EQ(3, history->m_wCapacity);
    EXPECT_EQ(kNeverFlush, history->m_dwFlushInterval);
    EXPECT_EQ(HeaderLine(0, 0, 0, 0, 3, 0) + EmptySlot() + EmptySlot() + EmptySlot(), File());
}

TEST_F(ZVErrHistFuncTest, InitBringsTheCapacityIntoRange) {
    zvtest::PrepareHistoryFile(path, 2);
    EXPECT_EQ(1, ZVEHInitA(path.c_str(), 1, 5));
    EXPECT_EQ(2, Held()->m_wCapacity);
    EXPECT_EQ(5u, Held()->m_dwFlushInterval);
    EXPECT_EQ(352, zvtest::FileSize(path));
}

TEST_F(ZVErrHistFuncTest, InitTwiceFails) {
    Init(3);
    CZVErrorHistory* first = Held();
    zvtest::PrepareHistoryFile(dir.File("other.txt"), 3);
    EXPECT_EQ(0, ZVEHInitA(dir.File("other.txt").c_str(), 3, 0));
    EXPECT_EQ(Code(TARN_ERR_EH_ALREADY_INITIALIZED), TarnGetLastError());
    EXPECT_EQ(first, Held());
    EXPECT_STREQ(path.c_str(), first->m_pszPath);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEHInitW(zvtest::Wide(dir.File("other.txt")).c_str(), 3, 0));
    EXPECT_EQ(Code(TARN_ERR_EH_ALREADY_INITIALIZED), TarnGetLastError());
    EXPECT_EQ(first, Held());
}

TEST_F(ZVErrHistFuncTest, FailedOpenLeavesTheHistoryHeld) {
    EXPECT_EQ(0, ZVEHInitA(path.c_str(), 3, kNeverFlush));  // no file yet
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    ASSERT_NE(nullptr, Held());
    EXPECT_EQ(0, Held()->IsOpened());
    EXPECT_EQ(-1, zvtest::FileSize(path));
    // A second init still fails.
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEHInitA(path.c_str(), 3, kNeverFlush));
    EXPECT_EQ(Code(TARN_ERR_EH_ALREADY_INITIALIZED), TarnGetLastError());
    // Every call tries to open the file again.
    TarnSetLastError(kSentinelError);
    ERRHIST_tag record = MakeRecord(1);
    EXPECT_EQ(0, ZVEHAddErrorHistory(&record, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, ZVEHGetRange(nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, ZVEHGetErrorHistory(0, 0, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEHClearErrorHistory());
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    // Once the file is there, the next call opens it.
    zvtest::PrepareHistoryFile(path, 3);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, Add(2));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(
        HeaderLine(0, 1, 1, 1, 3, 0) + RecordLine(1, MakeRecord(2)) + EmptySlot() + EmptySlot(),
        File());
}

TEST_F(ZVErrHistFuncTest, InitWithCapacityZeroOfAnExistingFile) {
    zvtest::PrepareHistoryFile(path, 3);
    const std::string before = File();
    EXPECT_EQ(0, ZVEHInitA(path.c_str(), 0, 0));
    EXPECT_EQ(Code(TARN_ERR_EH_FILE_NOT_EXIST), TarnGetLastError());
    EXPECT_NE(nullptr, Held());
    EXPECT_EQ(before, File());
}

TEST_F(ZVErrHistFuncTest, InitWithoutPathHoldsNothing) {
    EXPECT_EQ(0, ZVEHInitA(nullptr, 3, 0));
    EXPECT_EQ(Code(TARN_ERR_NULL_POINTER), TarnGetLastError());
    EXPECT_EQ(nullptr, Held());
    // Nothing held, so a proper init follows.
    zvtest::PrepareHistoryFile(path, 3);
    EXPECT_EQ(1, ZVEHInitA(path.c_str(), 3, 0));
}

TEST_F(ZVErrHistFuncTest, InitWide) {
    zvtest::PrepareHistoryFile(path, 2);
    EXPECT_EQ(1, ZVEHInitW(zvtest::Wide(path).c_str(), 2, kNeverFlush));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    ASSERT_NE(nullptr, Held());
    EXPECT_STREQ(path.c_str(), Held()->m_pszPath);
    EXPECT_EQ(kNeverFlush, Held()->m_dwFlushInterval);
    EXPECT_EQ(1, Add(3));
    EXPECT_EQ(HeaderLine(0, 1, 1, 1, 2, 0) + RecordLine(1, MakeRecord(3)) + EmptySlot(), File());
}

TEST_F(ZVErrHistFuncTest, InitWideOfAMissingFile) {
    EXPECT_EQ(0, ZVEHInitW(zvtest::Wide(path).c_str(), 2, 0));
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    EXPECT_NE(nullptr, Held());
}

TEST_F(ZVErrHistFuncTest, InitWideOfNoPath) {
    EXPECT_EQ(0, ZVEHInitW(nullptr, 2, 0));
    EXPECT_EQ(Code(TARN_ERR_NULL_POINTER), TarnGetLastError());
    EXPECT_EQ(nullptr, Held());
}

TEST_F(ZVErrHistFuncTest, InitWideOfAnEmptyPathConvertsNothing) {
    // The conversion of an empty text gives no text and sets no code.
    EXPECT_EQ(0, ZVEHInitW(L"", 2, 0));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(nullptr, Held());
}

TEST_F(ZVErrHistFuncTest, InitWideOfAnUnconvertiblePath) {
    // In the "C" locale a character beyond ASCII has no narrow form.
    const std::wstring wide = zvtest::Wide(path) + L"\x263A";
    EXPECT_EQ(0, ZVEHInitW(wide.c_str(), 2, 0));
    EXPECT_EQ(nullptr, Held());
}

TEST_F(ZVErrHistFuncTest, InitNarrowOfAnEmptyPath) {
    EXPECT_EQ(0, ZVEHInitA("", 2, 0));
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    EXPECT_NE(nullptr, Held());
}

TEST_F(ZVErrHistFuncTest, ExitClosesAndAllowsANewInit) {
    Init(3);
    EXPECT_EQ(1, Add(1));
    const std::string before = File();
    EXPECT_EQ(1, ZVEHExit());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(nullptr, Held());
    EXPECT_EQ(before, File());
    EXPECT_EQ(0, ZVEHClearErrorHistory());
    EXPECT_EQ(Code(TARN_ERR_EH_NOT_INITIALIZED), TarnGetLastError());
    // A new init re-initialises the file.
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, ZVEHInitA(path.c_str(), 3, kNeverFlush));
    EXPECT_EQ(1, Add(2));
}

// ----------------------------------------------------------------------------------------------
// Keeping records

TEST_F(ZVErrHistFuncTest, RecordsThroughTheFunctions) {
    Init(3);
    for (unsigned seed = 1; seed <= 5; ++seed) {
        EXPECT_EQ(seed, Add(seed));
    }
    unsigned short first = 0;
    unsigned short last = 0;
    EXPECT_EQ(3, ZVEHGetRange(&first, &last));
    EXPECT_EQ(3, first);
    EXPECT_EQ(5, last);

    ERRHIST_tag records[3];
    int read = 0;
    EXPECT_EQ(2, ZVEHGetErrorHistory(5, -2, records, sizeof records, &first, &read));
    EXPECT_EQ(4, first);
    EXPECT_EQ(2, read);
    zvtest::ExpectSameRecord(zvtest::AsRead(MakeRecord(4)), records[0]);
    zvtest::ExpectSameRecord(zvtest::AsRead(MakeRecord(5)), records[1]);

    EXPECT_EQ(2, ZVEHGetErrorHistory(4, 10, records, sizeof records, &first, &read));
    EXPECT_EQ(4, first);

    // A buffer of 100 bytes holds one record; the result still counts all selected.
    EXPECT_EQ(3, ZVEHGetErrorHistory(0, 0, records, 100, &first, &read));
    EXPECT_EQ(3, first);
    EXPECT_EQ(1, read);
    zvtest::ExpectSameRecord(zvtest::AsRead(MakeRecord(3)), records[0]);
    EXPECT_EQ(kSentinelError, TarnGetLastError());

    EXPECT_EQ(HeaderLine(0, 3, 5, 3, 3, 2) + RecordLine(4, MakeRecord(4)) +
                  RecordLine(5, MakeRecord(5)) + RecordLine(3, MakeRecord(3)),
              File());

    EXPECT_EQ(1, ZVEHClearErrorHistory());
    EXPECT_EQ(0, ZVEHGetRange(&first, &last));
    EXPECT_EQ(0, first);
    EXPECT_EQ(0, last);
    EXPECT_EQ(6, Add(6));
    EXPECT_EQ(1, ZVEHGetRange(&first, &last));
    EXPECT_EQ(6, first);
    EXPECT_EQ(6, last);
    EXPECT_EQ(1, ZVEHGetErrorHistory(0, 0, records, sizeof records, &first, &read));
    EXPECT_EQ(6, first);
    zvtest::ExpectSameRecord(zvtest::AsRead(MakeRecord(6)), records[0]);
}

TEST_F(ZVErrHistFuncTest, FailuresOfTheHeldHistoryComeThrough) {
    Init(3);
    EXPECT_EQ(0, ZVEHAddErrorHistory(nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_NULL_POINTER), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, ZVEHGetErrorHistory(1, 1, nullptr, 58, nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_NULL_POINTER), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, ZVEHGetErrorHistory(0, -1, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_INVALID_ID), TarnGetLastError());

    // A header another writer left corrupted.
    zvtest::PatchFile(path, 0, "EHST0100,lm:");
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, ZVEHGetRange(nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, ZVEHClearErrorHistory());
    EXPECT_EQ(Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    ERRHIST_tag added = MakeRecord(1);
    EXPECT_EQ(0, ZVEHAddErrorHistory(&added, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());

    // A corrupted record line.
    zvtest::PatchFile(path, 0, HeaderLine(0, 1, 1, 1, 3, 0));
    zvtest::PatchFile(path, 96, "0000X");
    ERRHIST_tag record;
    int read = 7;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, ZVEHGetErrorHistory(1, 1, &record, sizeof record, nullptr, &read));
    EXPECT_EQ(Code(TARN_ERR_EH_DATA_CORRUPTED), TarnGetLastError());
    EXPECT_EQ(0, read);
}

TEST_F(ZVErrHistFuncTest, ExitReportsAFailedDeleteAndStillLetsGo) {
    struct Throwing : CZVErrorHistory {
        ~Throwing() noexcept(false) override { throw 1; }
    };
    CZVObjectHolder::GetInstance()->SetObject(new Throwing());
    EXPECT_EQ(1, ZVEHExit());
    EXPECT_EQ(Code(TARN_ERR_DELETE_OBJECT), TarnGetLastError());
    EXPECT_EQ(nullptr, Held());
}

// ----------------------------------------------------------------------------------------------
// The holder

TEST(ZVObjectHolderTest, OneInstance) {
    CZVObjectHolder* holder = CZVObjectHolder::GetInstance();
    ASSERT_NE(nullptr, holder);
    EXPECT_EQ(holder, CZVObjectHolder::GetInstance());
    CZVObjectHolder* fromThread = nullptr;
    std::thread other([&fromThread] { fromThread = CZVObjectHolder::GetInstance(); });
    other.join();
    EXPECT_EQ(holder, fromThread);
}

TEST(ZVObjectHolderTest, HoldsWhatItIsGivenWithoutDeleting) {
    CZVObjectHolder* holder = CZVObjectHolder::GetInstance();
    EXPECT_EQ(nullptr, holder->GetObject());
    int a = 1;
    int b = 2;
    holder->SetObject(&a);
    EXPECT_EQ(&a, holder->GetObject());
    EXPECT_EQ(&a, holder->m_pObject);
    holder->SetObject(&b);  // a is not deleted (it lives on the stack)
    EXPECT_EQ(&b, holder->GetObject());
    holder->SetObject(nullptr);
    EXPECT_EQ(nullptr, holder->GetObject());
}

}  // namespace
