// The error history when its record or header exchange refuses to write: a host program's
// subclass may replace ExchangeErrHist and ExchangeHeader, and the store's own calls go through
// those slots. Open of a file to initialise and Add then fail with the subclass's code; a slot
// that was not written gives the lock back, a header that was not written keeps it.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "ErrHistSupport.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVErrorHistory.h"

namespace {

using zvtest::HistoryFileSize;
using zvtest::kNeverFlush;
using zvtest::kSentinelError;

// A history whose slot writes fail with code 58 while refuse is set; reads pass through.
class RefusingHistory : public CZVErrorHistory {
public:
    int ExchangeErrHist(unsigned short* id, ERRHIST_tag* record, int direction,
                        void* buffer) override {
        if (direction != 0 && refuse) {
            ++refused;
            TarnSetLastError(TARN_ERR_EH_DATA_CORRUPTED);
            return 0;
        }
        return CZVErrorHistory::ExchangeErrHist(id, record, direction, buffer);
    }
    // Header writes fail with code 60 while refuseHeader is set; reads pass through.
    int ExchangeHeader(int direction, void* buffer) override {
        if (direction != 0 && refuseHeader) {
            ++refused;
            TarnSetLastError(TARN_ERR_EH_HEADER_CORRUPTED);
            return 0;
        }
        return CZVErrorHistory::ExchangeHeader(direction, buffer);
    }
    bool refuse = false;
    bool refuseHeader = false;
    int refused = 0;
};

class ZVErrorHistoryExchangeTest : public zvtest::HistoryFileTest {
protected:
    // Opens history over a file prepared for 10 slots, its exchanges working.
    void Open(RefusingHistory* history) {
        zvtest::PrepareHistoryFile(path, 10);
        ASSERT_EQ(1, history->AssignPath(path.c_str(), 10, kNeverFlush));
        ASSERT_EQ(1, history->Open());
    }
};

TEST_F(ZVErrorHistoryExchangeTest, OpenFailsWhenTheFirstEmptySlotCannotBeWritten) {
    zvtest::PrepareHistoryFile(path, 10);
    RefusingHistory history;
    ASSERT_EQ(1, history.AssignPath(path.c_str(), 10, kNeverFlush));
    history.refuse = true;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history.Open());
    EXPECT_EQ(1, history.refused);
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_EH_DATA_CORRUPTED), TarnGetLastError());
    EXPECT_EQ(0, history.IsOpened());
    EXPECT_EQ(0, history.m_MapFile.IsLocked());
    EXPECT_EQ(0, history.m_MapFile.m_bMutexCreated);
    // Nothing was written.
    EXPECT_EQ(std::string(HistoryFileSize(10), '#'), File());
    // The next Open, with the exchange working, initialises the file.
    history.refuse = false;
    EXPECT_EQ(1, history.Open());
}

TEST_F(ZVErrorHistoryExchangeTest, AddFailsWhenTheSlotCannotBeWrittenAndUnlocks) {
    RefusingHistory history;
    Open(&history);
    history.refuse = true;
    ERRHIST_tag record = zvtest::MakeRecord(1);
    unsigned short id = 0xABCD;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history.Add(&record, &id));
    EXPECT_EQ(1, history.refused);
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_EH_DATA_CORRUPTED), TarnGetLastError());
    EXPECT_EQ(0, id);
    EXPECT_EQ(0, history.m_MapFile.IsLocked());
    // The id was taken all the same: the next record gets the one after it.
    history.refuse = false;
    EXPECT_EQ(1, history.Add(&record, &id));
    EXPECT_EQ(2, id);
}

TEST_F(ZVErrorHistoryExchangeTest, AddKeepsTheLockWhenTheHeaderCannotBeWritten) {
    RefusingHistory history;
    Open(&history);
    const std::string before = File();
    history.refuseHeader = true;
    ERRHIST_tag record = zvtest::MakeRecord(1);
    unsigned short id = 0xABCD;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history.Add(&record, &id));
    EXPECT_EQ(1, history.refused);
    EXPECT_EQ(static_cast<unsigned int>(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
    EXPECT_EQ(0, id);
    // The unlock stopped before the mutex was given back; the slot is written, the header in
    // the file is the old one.
    EXPECT_EQ(1, history.m_MapFile.IsLocked());
    EXPECT_EQ(zvtest::HeaderOf(before), zvtest::HeaderOf(File()));
    EXPECT_EQ(zvtest::RecordLine(1, record), zvtest::SlotOf(File(), 0));
    history.refuseHeader = false;
    EXPECT_EQ(1, history.Lock(0));
    EXPECT_EQ(0, history.m_MapFile.IsLocked());
    unsigned short first = 0;
    unsigned short last = 0;
    EXPECT_EQ(1, history.GetRange(&first, &last));
    EXPECT_EQ(1, first);
    EXPECT_EQ(1, last);
}

}  // namespace
