// Two histories on one file (as two processes have it: each its own mapping of the same bytes
// and its own lock) with the second one's adds made in the middle of the first one's: the clock
// read that an add makes while unlocking, after writing its record and before writing the
// header, is replaced here (the program is linked with --wrap=TarnGetTime) and runs the other
// history's adds at that moment. This is what two processes adding at once can meet, made
// exact: a record overwritten by the other's, the same id given twice, and the newest id going
// back when the older header is written last.
#include <stdint.h>
#include <string.h>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ErrHistSupport.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVErrorHistory.h"
#include "ZVTypes.h"

namespace {

using zvtest::EmptySlot;
using zvtest::HeaderLine;
using zvtest::HistoryPtr;
using zvtest::kSentinelError;
using zvtest::MakeRecord;
using zvtest::RecordLine;

// What runs inside the next clock read, once, when armed.
std::atomic<bool> g_armed(false);
std::function<void()> g_inside;

}  // namespace

extern "C" int __real_TarnGetTime(const _SYSTEMTIME* st, long* value, int utc);

extern "C" int __wrap_TarnGetTime(const _SYSTEMTIME* st, long* value, int utc) {
    if (g_armed.exchange(false)) {
        g_inside();
    }
    return __real_TarnGetTime(st, value, utc);
}

namespace {

class ZVErrHistInterleaveTest : public zvtest::HistoryFileTest {
protected:
    void SetUp() override {
        HistoryFileTest::SetUp();
        one = Opened(3);
        two = Assigned(3);
        ASSERT_EQ(1, two->Open());  // the same empty ring again
    }

    // Adds record seed through `one`, running `inside` at the moment `one` has written its
    // record but not yet its header. The id `one` got.
    unsigned short AddAcross(unsigned int seed, const std::function<void()>& inside) {
        g_inside = inside;
        g_armed.store(true);
        unsigned short id = 0;
        ERRHIST_tag record = MakeRecord(seed);
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(1, one->Add(&record, &id));
        EXPECT_EQ(kSentinelError, TarnGetLastError());
        EXPECT_FALSE(g_armed.load()) << "the inside ran";
        return id;
    }

    // Adds the records of seeds through `two`: the ids they got.
    std::vector<unsigned short> AddOther(const std::vector<unsigned>& seeds) {
        std::vector<unsigned short> ids;
        for (unsigned seed : seeds) {
            unsigned short id = 0;
            ERRHIST_tag record = MakeRecord(seed);
            EXPECT_EQ(1, two->Add(&record, &id));
            ids.push_back(id);
        }
        return ids;
    }

    // The ids and count the header holds, read through history.
    static void ExpectRange(CZVErrorHistory* history, int count, unsigned first, unsigned last) {
        unsigned short f = 0;
        unsigned short l = 0;
        EXPECT_EQ(count, history->GetRange(&f, &l));
        EXPECT_EQ(first, f);
        EXPECT_EQ(last, l);
    }

    // The records of the whole ring read through history, as seeds.
    static void ExpectRecords(CZVErrorHistory* history, const std::vector<unsigned>& seeds) {
        std::vector<ERRHIST_tag> records(3);
        int read = 0;
        EXPECT_EQ(static_cast<int>(seeds.size()),
                  history->Get(0, 0, records.data(), 3 * sizeof(ERRHIST_tag), nullptr, &read));
        ASSERT_EQ(static_cast<int>(seeds.size()), read);
        for (size_t i = 0; i < seeds.size(); ++i) {
            zvtest::ExpectSameRecord(zvtest::AsRead(MakeRecord(seeds[i])), records[i]);
        }
    }

    HistoryPtr one;
    HistoryPtr two;
};

TEST_F(ZVErrHistInterleaveTest, RecordOfTheSameIdIsOverwritten) {
    // Both read the empty header, both take id 1 and slot 0; the other's record is written
    // last, and so is the first one's header, which says the same.
    std::vector<unsigned short> ids;
    EXPECT_EQ(1, AddAcross(1, [&] { ids = AddOther({101}); }));
    EXPECT_EQ(std::vector<unsigned short>({1}), ids);
    EXPECT_EQ(
        HeaderLine(0, 1, 1, 1, 3, 0) + RecordLine(1, MakeRecord(101)) + EmptySlot() + EmptySlot(),
        File());
    ExpectRange(one.get(), 1, 1, 1);
    ExpectRecords(one.get(), {101});  // record 1 of the first history is lost
    // Both go on from there.
    EXPECT_EQ(2, AddAcross(2, [] {}));
    ExpectRecords(two.get(), {101, 2});
}

TEST_F(ZVErrHistInterleaveTest, OlderHeaderWrittenLastTakesTheNewestIdBack) {
    // The other adds ids 1 and 2 while the first adds its id 1; the first's header (newest id 1,
    // one record) is written last: record 2 stays in its slot but is no longer held.
    std::vector<unsigned short> ids;
    EXPECT_EQ(1, AddAcross(1, [&] {
                  ids = AddOther({101, 102});
                  ExpectRange(two.get(), 2, 1, 2);
              }));
    EXPECT_EQ(std::vector<unsigned short>({1, 2}), ids);
    EXPECT_EQ(HeaderLine(0, 1, 1, 1, 3, 0) + RecordLine(1, MakeRecord(101)) +
                  RecordLine(2, MakeRecord(102)) + EmptySlot(),
              File());
    ExpectRange(two.get(), 1, 1, 1);
    // The other's next record gets id 2 a second time and takes the slot of the one lost.
    EXPECT_EQ(std::vector<unsigned short>({2}), AddOther({103}));
    ExpectRange(one.get(), 2, 1, 2);
    ExpectRecords(one.get(), {101, 103});
}

TEST_F(ZVErrHistInterleaveTest, ReaderInTheMiddleSeesTheRecordOnlyWithTheHeader) {
    // While the first has written its record but not its header, the other sees an empty ring
    // (and the record in the file); afterwards it sees the record.
    EXPECT_EQ(1, AddAcross(7, [&] {
                  ExpectRange(two.get(), 0, 0, 0);
                  EXPECT_EQ(RecordLine(1, MakeRecord(7)), zvtest::SlotOf(File(), 0));
              }));
    EXPECT_EQ(
        HeaderLine(0, 1, 1, 1, 3, 0) + RecordLine(1, MakeRecord(7)) + EmptySlot() + EmptySlot(),
        File());
    ExpectRange(two.get(), 1, 1, 1);
}

}  // namespace
