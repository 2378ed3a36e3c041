// CZVErrorHistory as a store: assigning and opening a prepared file (which re-initialises it),
// locking with the header re-read and written back, the ring over several wraps slot by slot,
// the id wrap, reading by id and direction, the range, clearing, flushing by interval, two
// objects on one file, and every code the operations set.
#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ErrHistSupport.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVErrorHistory.h"

namespace {

using zvtest::EmptySlot;
using zvtest::HeaderLine;
using zvtest::HistoryPtr;
using zvtest::kNeverFlush;
using zvtest::kSentinelError;
using zvtest::MakeRecord;
using zvtest::RecordLine;

using zvtest::Code;
using zvtest::ExpectHeaderFields;

class ZVErrorHistoryTest : public zvtest::HistoryFileTest {
protected:
    // Adds MakeRecord(seed); the id it got, 0 on failure.
    unsigned short Add(CZVErrorHistory* history, unsigned int seed) {
        unsigned short id = 0;
        EXPECT_EQ(1, zvtest::AddSeed(history, seed, &id)) << "seed " << seed;
        return id;
    }

    // Adds the records of seeds 1 .. n.
    void AddSeeds(CZVErrorHistory* history, unsigned int n) {
        for (unsigned int seed = 1; seed <= n; ++seed) {
            ASSERT_EQ(seed, Add(history, seed));
        }
    }

    // The bytes of a file with the header of LM 0 and the given values, then the slots.
    static std::string Expected(unsigned fd, unsigned ld, unsigned rc, unsigned to,
                                const std::vector<std::string>& slots) {
        std::string bytes = HeaderLine(0, fd, ld, rc, static_cast<unsigned>(slots.size()), to);
        for (const std::string& slot : slots) {
            bytes += slot;
        }
        return bytes;
    }

    // Reads the records Get selects into a buffer of room records and checks that they are the
    // records of the given seeds (whose ids are the seeds), and that nothing behind them moved.
    void ExpectGet(CZVErrorHistory* history, unsigned short start, int count, unsigned room,
                   int expectedResult, unsigned short expectedFirst,
                   const std::vector<unsigned>& expectedSeeds) {
        std::vector<ERRHIST_tag> buffer(room + 1);
        memset(buffer.data(), 0xAB, buffer.size() * sizeof(ERRHIST_tag));
        unsigned short first = 0xABCD;
        int read = -7;
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(expectedResult,
                  history->Get(start, count, buffer.data(),
                               static_cast<unsigned>(room * sizeof(ERRHIST_tag)), &first, &read))
            << "Get(" << start << ", " << count << ")";
        EXPECT_EQ(kSentinelError, TarnGetLastError());
        EXPECT_EQ(expectedFirst, first) << "Get(" << start << ", " << count << ")";
        ASSERT_EQ(static_cast<int>(expectedSeeds.size()), read)
            << "Get(" << start << ", " << count << ")";
        for (size_t i = 0; i < expectedSeeds.size(); ++i) {
            zvtest::ExpectSameRecord(zvtest::AsRead(MakeRecord(expectedSeeds[i])), buffer[i]);
        }
        const std::string rest(reinterpret_cast<const char*>(&buffer[expectedSeeds.size()]),
                               (buffer.size() - expectedSeeds.size()) * sizeof(ERRHIST_tag));
        EXPECT_EQ(std::string(rest.size(), '\xAB'), rest);
        EXPECT_EQ(0, history->m_MapFile.IsLocked());
    }

    // Adds records 1 .. count to an empty ring of capacity slots and checks, after each, the
    // whole file slot by slot, the range, and the records read forwards and backwards.
    void CheckRing(unsigned capacity, unsigned count) {
        HistoryPtr history = Opened(static_cast<unsigned short>(capacity));
        std::vector<std::string> slots(capacity, EmptySlot());
        for (unsigned k = 1; k <= count; ++k) {
            ASSERT_EQ(k, Add(history.get(), k));
            slots[(k - 1) % capacity] = RecordLine(k, MakeRecord(k));
            const unsigned rc = k < capacity ? k : capacity;
            const unsigned fd = k - rc + 1;
            const unsigned to = (fd - 1) % capacity;
            EXPECT_EQ(Expected(fd, k, rc, to, slots), File()) << "after record " << k;
            unsigned short first = 0;
            unsigned short last = 0;
            EXPECT_EQ(static_cast<int>(rc), history->GetRange(&first, &last));
            EXPECT_EQ(fd, first);
            EXPECT_EQ(k, last);
            std::vector<unsigned> seeds;
            for (unsigned id = fd; id <= k; ++id) {
                seeds.push_back(id);
            }
            ExpectGet(history.get(), 0, 0, capacity, static_cast<int>(rc),
                      static_cast<unsigned short>(fd), seeds);
            ExpectGet(history.get(), static_cast<unsigned short>(k), -static_cast<int>(rc),
                      capacity, static_cast<int>(rc), static_cast<unsigned short>(fd), seeds);
        }
    }
};

// A subclass whose destructor throws, to see Delete catch the failure.
class ThrowingHistory : public CZVErrorHistory {
public:
    ~ThrowingHistory() noexcept(false) override { throw 44; }
};

// ----------------------------------------------------------------------------------------------
// Creation, deletion, AssignPath

TEST_F(ZVErrorHistoryTest, CreateGivesAClosedObjectWithDefaults) {
    HistoryPtr history(CZVErrorHistory::Create());
    ASSERT_NE(nullptr, history);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(nullptr, history->m_pszPath);
    EXPECT_EQ(100, history->m_wCapacity);
    EXPECT_EQ(3000u, history->m_dwFlushInterval);
    ExpectHeaderFields(*history, 0, 0, 0, 0, 0);
    EXPECT_EQ(0, history->m_wSpare);
    EXPECT_EQ(0, history->m_lLM);
    EXPECT_EQ(0, history->IsOpened());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
}

TEST_F(ZVErrorHistoryTest, DeleteOfAnOpenHistoryLeavesTheFileCurrent) {
    HistoryPtr history = Opened(3);
    AddSeeds(history.get(), 2);
    const std::string before = File();
    history.reset();
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(before, File());
    EXPECT_EQ(Expected(1, 2, 2, 0,
                       {RecordLine(1, MakeRecord(1)), RecordLine(2, MakeRecord(2)), EmptySlot()}),
              File());
}

TEST_F(ZVErrorHistoryTest, DeleteReportsAFailingDestructor) {
    CZVErrorHistory* history = new ThrowingHistory();
    history->Delete();
    EXPECT_EQ(Code(TARN_ERR_DELETE_OBJECT), TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, AssignPathStoresACopy) {
    HistoryPtr history(CZVErrorHistory::Create());
    char text[64];
    snprintf(text, sizeof text, "%s", path.c_str());
    EXPECT_EQ(1, history->AssignPath(text, 50, 7));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    ASSERT_NE(nullptr, history->m_pszPath);
    EXPECT_NE(text, history->m_pszPath);
    EXPECT_STREQ(path.c_str(), history->m_pszPath);
    EXPECT_EQ(50, history->m_wCapacity);
    EXPECT_EQ(7u, history->m_dwFlushInterval);
    // The stored path itself may be assigned again.
    EXPECT_EQ(1, history->AssignPath(history->m_pszPath, 60, 8));
    EXPECT_STREQ(path.c_str(), history->m_pszPath);
    EXPECT_EQ(60, history->m_wCapacity);
    EXPECT_EQ(1, history->AssignPath("other", 60, 8));
    EXPECT_STREQ("other", history->m_pszPath);
}

TEST_F(ZVErrorHistoryTest, AssignPathBringsTheCapacityIntoRange) {
    const struct {
        unsigned short given;
        unsigned short stored;
    } cases[] = {{0, 0},         {1, 2},         {2, 2},         {3, 3},         {100, 100},
                 {32766, 32766}, {32767, 32767}, {32768, 32767}, {40000, 32767}, {65535, 32767}};
    HistoryPtr history(CZVErrorHistory::Create());
    for (const auto& c : cases) {
        EXPECT_EQ(1, history->AssignPath("x", c.given, 0)) << c.given;
        EXPECT_EQ(c.stored, history->m_wCapacity) << c.given;
    }
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, AssignPathOfNullChangesNothing) {
    HistoryPtr history = Assigned(5, 9);
    EXPECT_EQ(0, history->AssignPath(nullptr, 7, 1));
    EXPECT_EQ(Code(TARN_ERR_NULL_POINTER), TarnGetLastError());
    EXPECT_STREQ(path.c_str(), history->m_pszPath);
    EXPECT_EQ(5, history->m_wCapacity);
    EXPECT_EQ(9u, history->m_dwFlushInterval);
}

TEST_F(ZVErrorHistoryTest, AssignPathClosesAnOpenFile) {
    HistoryPtr history = Opened(3);
    AddSeeds(history.get(), 1);
    const std::string before = File();
    EXPECT_EQ(1, history->AssignPath(dir.File("next.txt").c_str(), 2, 0));
    EXPECT_EQ(0, history->IsOpened());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
    EXPECT_EQ(before, File());
    // The next operation opens the new file.
    zvtest::PrepareHistoryFile(dir.File("next.txt"), 2);
    EXPECT_EQ(1, Add(history.get(), 5));
    EXPECT_EQ(Expected(1, 1, 1, 0, {RecordLine(1, MakeRecord(5)), EmptySlot()}).substr(96),
              zvtest::ReadFile(dir.File("next.txt")).substr(96));
}

// ----------------------------------------------------------------------------------------------
// Open

TEST_F(ZVErrorHistoryTest, OpenInitialisesAPreparedFile) {
    zvtest::PrepareHistoryFile(path, 3);
    HistoryPtr history = Assigned(3);
    EXPECT_EQ(1, history->Open());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(480, zvtest::FileSize(path));
    EXPECT_EQ(Expected(0, 0, 0, 0, {EmptySlot(), EmptySlot(), EmptySlot()}), File());
    EXPECT_EQ(1, history->IsOpened());
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
    EXPECT_EQ(1, history->m_MapFile.m_bMutexCreated);
    EXPECT_STREQ("MPF_EHST0100", history->m_MapFile.m_pszMutexName);
    EXPECT_EQ(480u, history->m_MapFile.m_dwLength);
    ExpectHeaderFields(*history, 0, 0, 0, 3, 0);
    EXPECT_EQ(3, history->m_wCapacity);
}

TEST_F(ZVErrorHistoryTest, OpenOfOneHundredSlots) {
    zvtest::PrepareHistoryFile(path, 100);
    HistoryPtr history = Assigned(100);
    EXPECT_EQ(1, history->Open());
    const std::string file = File();
    ASSERT_EQ(12896u, file.size());
    EXPECT_EQ(HeaderLine(0, 0, 0, 0, 100, 0), zvtest::HeaderOf(file));
    for (unsigned slot = 0; slot < 100; ++slot) {
        EXPECT_EQ(EmptySlot(), zvtest::SlotOf(file, slot)) << "slot " << slot;
    }
}

TEST_F(ZVErrorHistoryTest, OpenFillsEverySlotForManySizes) {
    // The empty slot is copied forward in doubling blocks; every size must end up filled.
    for (unsigned short capacity : {2, 3, 4, 5, 7, 8, 9, 31, 33, 64, 65}) {
        zvtest::PrepareHistoryFile(path, capacity);
        HistoryPtr history = Assigned(capacity);
        ASSERT_EQ(1, history->Open()) << capacity;
        std::vector<std::string> slots(capacity, EmptySlot());
        EXPECT_EQ(Expected(0, 0, 0, 0, slots), File()) << capacity;
    }
}

TEST_F(ZVErrorHistoryTest, OpenReinitialisesAFileInUse) {
    {
        HistoryPtr first = Opened(3);
        AddSeeds(first.get(), 4);
    }
    HistoryPtr second = Assigned(3);
    EXPECT_EQ(1, second->Open());
    EXPECT_EQ(Expected(0, 0, 0, 0, {EmptySlot(), EmptySlot(), EmptySlot()}), File());
    EXPECT_EQ(1, Add(second.get(), 9));
}

TEST_F(ZVErrorHistoryTest, OpenOfAnOpenHistoryChangesNothing) {
    HistoryPtr history = Opened(3);
    AddSeeds(history.get(), 2);
    const std::string before = File();
    EXPECT_EQ(1, history->Open());
    EXPECT_EQ(before, File());
    EXPECT_EQ(3, Add(history.get(), 3));
}

TEST_F(ZVErrorHistoryTest, OpenWithoutPathFails) {
    HistoryPtr history(CZVErrorHistory::Create());
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_EH_PATH_NOT_ASSIGNED), TarnGetLastError());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
}

TEST_F(ZVErrorHistoryTest, OpenOfAMissingFileFailsAndCreatesNothing) {
    HistoryPtr history = Assigned(3);
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    EXPECT_EQ(-1, zvtest::FileSize(path));
    EXPECT_EQ(0, history->IsOpened());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
    // Capacity 0 makes no difference when the file is missing.
    HistoryPtr none = Assigned(0);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, none->Open());
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    EXPECT_EQ(-1, zvtest::FileSize(path));
}

TEST_F(ZVErrorHistoryTest, OpenOfAFileOfAnotherSizeFailsAndLeavesIt) {
    for (unsigned int size : {0u, 1u, 2u, 96u, 479u, 481u, 608u}) {
        const std::string bytes(size, '#');
        zvtest::WriteFile(path, bytes);
        HistoryPtr history = Assigned(3);
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(0, history->Open()) << size;
        EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError()) << size;
        EXPECT_EQ(bytes, File()) << size;
        EXPECT_EQ(0, history->IsOpened());
        EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
    }
}

TEST_F(ZVErrorHistoryTest, OpenWithCapacityZeroOfAnExistingFileFails) {
    zvtest::PrepareHistoryFile(path, 3);
    const std::string before = File();
    HistoryPtr history = Assigned(0);
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_EH_FILE_NOT_EXIST), TarnGetLastError());
    EXPECT_EQ(before, File());
    EXPECT_EQ(0, history->IsOpened());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
}

TEST_F(ZVErrorHistoryTest, OpenOfADirectoryFails) {
    ASSERT_EQ(0, mkdir(path.c_str(), 0755));
    HistoryPtr history = Assigned(3);
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, OpenWithTheMutexAlreadyMadeFails) {
    zvtest::PrepareHistoryFile(path, 3);
    const std::string before = File();
    HistoryPtr history = Assigned(3);
    ASSERT_EQ(1, history->m_MapFile.CreateMutexA("taken"));
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_CREATE_MUTEX), TarnGetLastError());
    EXPECT_EQ(0, history->IsOpened());
    EXPECT_EQ(before, File());
}

TEST_F(ZVErrorHistoryTest, OpenOfAFileTheUserMayNotWriteFails) {
    zvtest::PrepareHistoryFile(path, 3);
    ASSERT_EQ(0, chmod(path.c_str(), 0444));
    const std::string before = File();
    const std::string file = path;
    zvtest::ChildResult child = zvtest::RunUnprivileged([&file] {
        HistoryPtr history(CZVErrorHistory::Create());
        history->AssignPath(file.c_str(), 3, kNeverFlush);
        TarnSetLastError(kSentinelError);
        return history->Open();
    });
    ASSERT_TRUE(child.ran) << child.reason;
    EXPECT_EQ(0, child.value);
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), child.lastError);
    EXPECT_EQ(before, File());
}

TEST_F(ZVErrorHistoryTest, OperationsOpenOnDemand) {
    zvtest::PrepareHistoryFile(path, 2);
    HistoryPtr history = Assigned(2);
    EXPECT_EQ(1, Add(history.get(), 4));
    EXPECT_EQ(1, history->IsOpened());
    EXPECT_EQ(Expected(1, 1, 1, 0, {RecordLine(1, MakeRecord(4)), EmptySlot()}), File());

    HistoryPtr forRange = Assigned(2);
    unsigned short first = 0xABCD;
    unsigned short last = 0xABCD;
    EXPECT_EQ(0, forRange->GetRange(&first, &last));  // opening re-initialised the file
    EXPECT_EQ(1, forRange->IsOpened());
    EXPECT_EQ(0, first);
    EXPECT_EQ(0, last);

    HistoryPtr forGet = Assigned(2);
    EXPECT_EQ(0, forGet->Get(1, 1, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(1, forGet->IsOpened());

    HistoryPtr forClear = Assigned(2);
    EXPECT_EQ(1, forClear->Clear());
    EXPECT_EQ(1, forClear->IsOpened());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, OperationsReportAFailedOpen) {
    HistoryPtr history = Assigned(3);  // no file
    ERRHIST_tag record = MakeRecord(1);
    unsigned short id = 0xABCD;
    EXPECT_EQ(0, history->Add(&record, &id));
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    EXPECT_EQ(0, id);
    TarnSetLastError(kSentinelError);
    unsigned short first = 0xABCD;
    unsigned short last = 0xABCD;
    EXPECT_EQ(-1, history->GetRange(&first, &last));
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    EXPECT_EQ(0, first);
    EXPECT_EQ(0, last);
    TarnSetLastError(kSentinelError);
    int read = 9;
    EXPECT_EQ(-1, history->Get(1, 1, &record, sizeof record, &first, &read));
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    EXPECT_EQ(0, read);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->Clear());
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());

    HistoryPtr noPath(CZVErrorHistory::Create());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, noPath->Add(&record, &id));
    EXPECT_EQ(Code(TARN_ERR_EH_PATH_NOT_ASSIGNED), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, noPath->GetRange(nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_PATH_NOT_ASSIGNED), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, noPath->Get(0, 0, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_PATH_NOT_ASSIGNED), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, noPath->Clear());
    EXPECT_EQ(Code(TARN_ERR_EH_PATH_NOT_ASSIGNED), TarnGetLastError());
}

// ----------------------------------------------------------------------------------------------
// Close

TEST_F(ZVErrorHistoryTest, CloseUnmapsAndClosesTheMutex) {
    HistoryPtr history = Opened(3);
    AddSeeds(history.get(), 1);
    const std::string before = File();
    EXPECT_EQ(1, history->Close());
    EXPECT_EQ(0, history->IsOpened());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
    EXPECT_EQ(before, File());
    EXPECT_EQ(1, history->Close());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, CloseOfANewObject) {
    HistoryPtr history(CZVErrorHistory::Create());
    EXPECT_EQ(1, history->Close());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, TheNextOperationAfterCloseStartsAFreshRing) {
    HistoryPtr history = Opened(3);
    AddSeeds(history.get(), 2);
    ASSERT_EQ(1, history->Close());
    // Opening again re-initialises the file: the ids start at 1 again.
    EXPECT_EQ(1, Add(history.get(), 7));
    EXPECT_EQ(Expected(1, 1, 1, 0, {RecordLine(1, MakeRecord(7)), EmptySlot(), EmptySlot()}),
              File());
}

// ----------------------------------------------------------------------------------------------
// Lock

TEST_F(ZVErrorHistoryTest, LockOfAClosedHistoryFails) {
    HistoryPtr history = Assigned(3);
    EXPECT_EQ(0, history->Lock(1));
    EXPECT_EQ(Code(TARN_ERR_EH_FILE_NOT_OPENED), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->Lock(0));
    EXPECT_EQ(Code(TARN_ERR_EH_FILE_NOT_OPENED), TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, LockReadsTheHeaderAndUnlockWritesItBack) {
    HistoryPtr history = Opened(3);
    zvtest::PatchFile(path, 0, HeaderLine(0, 7, 8, 2, 3, 1));
    EXPECT_EQ(1, history->Lock(1));
    EXPECT_EQ(1, history->m_MapFile.IsLocked());
    ExpectHeaderFields(*history, 7, 8, 2, 3, 1);
    // Locked already: the header is not read again.
    zvtest::PatchFile(path, 0, HeaderLine(0, 1, 1, 1, 3, 0));
    EXPECT_EQ(1, history->Lock(1));
    ExpectHeaderFields(*history, 7, 8, 2, 3, 1);
    history->m_wLD = 9;
    EXPECT_EQ(1, history->Lock(0));
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
    EXPECT_EQ(HeaderLine(0, 7, 9, 2, 3, 1), zvtest::HeaderOf(File()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, UnlockWhenNotLockedWritesNothing) {
    HistoryPtr history = Opened(3);
    zvtest::PatchFile(path, 0, std::string(96, 'X'));
    EXPECT_EQ(1, history->Lock(0));
    EXPECT_EQ(std::string(96, 'X'), zvtest::HeaderOf(File()));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, HeaderThroughTheMappingWhileLocked) {
    HistoryPtr history = Opened(3);
    EXPECT_EQ(0, history->ExchangeHeader(0, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_FILE_NOT_LOCKED), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->ExchangeHeader(1, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_FILE_NOT_LOCKED), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    ASSERT_EQ(1, history->Lock(1));
    history->m_wRC = 2;
    EXPECT_EQ(1, history->ExchangeHeader(1, nullptr));
    EXPECT_EQ(HeaderLine(0, 0, 0, 2, 3, 0), zvtest::HeaderOf(File()));
    history->m_wRC = 0;
    EXPECT_EQ(1, history->ExchangeHeader(0, nullptr));
    EXPECT_EQ(2, history->m_wRC);
    EXPECT_EQ(1, history->Lock(0));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, LockRefusesAHeaderThatDoesNotFitTheFile) {
    HistoryPtr history = Opened(3);
    const struct {
        unsigned fd, ld, rc, mc, to;
        bool fits;
    } cases[] = {
        {1, 3, 3, 3, 0, true},   // RC = MC
        {1, 3, 3, 3, 2, true},   // TO = MC - 1
        {0, 0, 0, 3, 0, true},   // empty
        {1, 4, 4, 3, 0, false},  // RC > MC
        {1, 3, 3, 3, 3, false},  // TO = MC
        {1, 1, 0, 0, 0, false},  // MC 0
        {1, 1, 1, 2, 0, false},  // MC below the file's slots
        {1, 1, 1, 4, 0, false},  // MC above them
        {1, 1, 1, 65535, 0, false},
    };
    for (const auto& c : cases) {
        zvtest::PatchFile(path, 0, HeaderLine(0, c.fd, c.ld, c.rc, c.mc, c.to));
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(c.fits ? 1 : 0, history->Lock(1)) << c.rc << " " << c.mc << " " << c.to;
        EXPECT_EQ(c.fits ? kSentinelError : Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
        EXPECT_EQ(c.fits ? 1 : 0, history->m_MapFile.IsLocked());
        EXPECT_EQ(1, history->Lock(0));
    }
}

TEST_F(ZVErrorHistoryTest, OperationsRefuseACorruptedHeader) {
    HistoryPtr history = Opened(3);
    AddSeeds(history.get(), 1);
    zvtest::PatchFile(path, 0, "ehst");
    const std::string before = File();
    ERRHIST_tag record = MakeRecord(2);
    unsigned short id = 0xABCD;
    EXPECT_EQ(0, history->Add(&record, &id));
    EXPECT_EQ(Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
    EXPECT_EQ(0, id);
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, history->GetRange(nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, history->Get(1, 1, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->Clear());
    EXPECT_EQ(Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
    EXPECT_EQ(before, File());
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
}

// ----------------------------------------------------------------------------------------------
// Flushing

// The LM text of a file's header as seconds since 1970 (UTC), read without the library; -1 when
// it is not in the expected shape or has milliseconds.
long long LmSeconds(const std::string& file) {
    int y, mo, d, h, mi, s, ms;
    if (sscanf(file.substr(12, 23).c_str(), "%4d/%2d/%2d %2d:%2d:%2d:%3d", &y, &mo, &d, &h, &mi, &s,
               &ms) != 7 ||
        ms != 0) {
        return -1;
    }
    return zvtest::Utc(y, mo, d, h, mi, s);
}

TEST_F(ZVErrorHistoryTest, IntervalsUpTo0x7FFFFFFFStampEveryUnlock) {
    for (unsigned int interval : {0u, 1u, 3000u, 0x7FFFFFFFu}) {
        const long long before = zvtest::NowSeconds();
        HistoryPtr history = Opened(2, interval);
        const long long opened = zvtest::NowSeconds();
        long long lm = LmSeconds(File());
        EXPECT_LE(before, lm) << interval;
        EXPECT_GE(opened, lm) << interval;
        EXPECT_EQ(lm, history->m_lLM);
        EXPECT_EQ(HeaderLine(static_cast<long>(lm), 0, 0, 0, 2, 0), zvtest::HeaderOf(File()));
        // Every unlock stamps again.
        history->m_lLM = 12345;
        ASSERT_EQ(1, history->Lock(1));
        EXPECT_NE(12345, history->m_lLM);  // read from the file
        history->m_lLM = 12345;
        ASSERT_EQ(1, history->Lock(0));
        const long long after = zvtest::NowSeconds();
        lm = LmSeconds(File());
        EXPECT_LE(before, lm);
        EXPECT_GE(after, lm);
        EXPECT_EQ(lm, history->m_lLM);
    }
}

TEST_F(ZVErrorHistoryTest, IntervalsFrom0x80000000NeverStamp) {
    for (unsigned int interval : {0x80000000u, 0xC0000000u, 0xFFFFFFFFu}) {
        HistoryPtr history = Opened(2, interval);
        EXPECT_EQ("1970/01/01 00:00:00:000", File().substr(12, 23));
        AddSeeds(history.get(), 3);
        EXPECT_EQ(1, history->Clear());
        EXPECT_EQ(HeaderLine(0, 0, 3, 0, 2, 1), zvtest::HeaderOf(File())) << interval;
        EXPECT_EQ(0, history->m_lLM);
        // An LM already in the file stays as it is.
        zvtest::PatchFile(path, 12, "2009/03/07 14:05:09:000");
        EXPECT_EQ(4, Add(history.get(), 4));
        EXPECT_EQ("2009/03/07 14:05:09:000", File().substr(12, 23));
    }
}

// ----------------------------------------------------------------------------------------------
// Add and the ring

TEST_F(ZVErrorHistoryTest, AddOfNoRecordFails) {
    HistoryPtr history = Opened(3);
    const std::string before = File();
    unsigned short id = 0xABCD;
    EXPECT_EQ(0, history->Add(nullptr, &id));
    EXPECT_EQ(Code(TARN_ERR_NULL_POINTER), TarnGetLastError());
    EXPECT_EQ(0xABCD, id);  // tested before the id is cleared
    EXPECT_EQ(before, File());
    // Nor on a history that has no path: nothing is opened.
    HistoryPtr noPath(CZVErrorHistory::Create());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, noPath->Add(nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_NULL_POINTER), TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, AddWithoutIdPointer) {
    HistoryPtr history = Opened(3);
    ERRHIST_tag record = MakeRecord(1);
    EXPECT_EQ(1, history->Add(&record, nullptr));
    EXPECT_EQ(Expected(1, 1, 1, 0, {RecordLine(1, record), EmptySlot(), EmptySlot()}), File());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, AddStoresTheRecordAsGiven) {
    HistoryPtr history = Opened(2);
    ERRHIST_tag record;
    memset(&record, 0, sizeof record);
    unsigned short id = 0;
    EXPECT_EQ(1, history->Add(&record, &id));
    EXPECT_EQ(1, id);
    EXPECT_EQ("00001,00000," + std::string(32, ' ') +
                  ",00000,0000,1970/01/01 00:00:00:000,000,00000,0000000000,0000000000,"
                  "0000000000,   \r\n",
              zvtest::SlotOf(File(), 0));
}

TEST_F(ZVErrorHistoryTest, FiveRecordsInThreeSlots) {
    HistoryPtr history = Opened(3);
    AddSeeds(history.get(), 5);
    ExpectHeaderFields(*history, 3, 5, 3, 3, 2);
    // Records 3, 4 and 5 lie in slots 2, 0 and 1.
    EXPECT_EQ(Expected(3, 5, 3, 2,
                       {RecordLine(4, MakeRecord(4)), RecordLine(5, MakeRecord(5)),
                        RecordLine(3, MakeRecord(3))}),
              File());
}

TEST_F(ZVErrorHistoryTest, RingOfTwoSlotsOverSeveralWraps) {
    CheckRing(2, 9);
}

TEST_F(ZVErrorHistoryTest, RingOfThreeSlotsOverSeveralWraps) {
    CheckRing(3, 13);
}

TEST_F(ZVErrorHistoryTest, IdAfter65535IsOne) {
    HistoryPtr history = Opened(3);
    // Each lock re-reads the header, so the file's LD decides the next id.
    zvtest::PatchFile(path, 0, HeaderLine(0, 65535, 65535, 1, 3, 0));
    EXPECT_EQ(1, Add(history.get(), 1));
    ExpectHeaderFields(*history, 65535, 1, 2, 3, 0);
    EXPECT_EQ(RecordLine(1, MakeRecord(1)), zvtest::SlotOf(File(), 1));
}

TEST_F(ZVErrorHistoryTest, FirstRecordOfAnEmptyRingAfter65535) {
    HistoryPtr history = Opened(3);
    zvtest::PatchFile(path, 0, HeaderLine(0, 0, 65535, 0, 3, 2));
    EXPECT_EQ(1, Add(history.get(), 1));
    EXPECT_EQ(HeaderLine(0, 1, 1, 1, 3, 2), zvtest::HeaderOf(File()));
    EXPECT_EQ(RecordLine(1, MakeRecord(1)), zvtest::SlotOf(File(), 2));
}

TEST_F(ZVErrorHistoryTest, IdsWrapSlotBySlot) {
    HistoryPtr history = Opened(3);
    const std::string held = RecordLine(65534, MakeRecord(0));
    zvtest::PatchFile(path, 0, HeaderLine(0, 65534, 65534, 1, 3, 0));
    zvtest::PatchFile(path, 96, held);
    std::vector<std::string> slots = {held, EmptySlot(), EmptySlot()};

    EXPECT_EQ(65535, Add(history.get(), 1));
    slots[1] = RecordLine(65535, MakeRecord(1));
    EXPECT_EQ(Expected(65534, 65535, 2, 0, slots), File());

    EXPECT_EQ(1, Add(history.get(), 2));
    slots[2] = RecordLine(1, MakeRecord(2));
    EXPECT_EQ(Expected(65534, 1, 3, 0, slots), File());

    EXPECT_EQ(2, Add(history.get(), 3));
    slots[0] = RecordLine(2, MakeRecord(3));
    EXPECT_EQ(Expected(65535, 2, 3, 1, slots), File());

    // Reading across the wrap: 65535, 1, 2 are held.
    ExpectGet(history.get(), 65535, 3, 3, 3, 65535, {1, 2, 3});
    ExpectGet(history.get(), 2, -3, 3, 3, 65535, {1, 2, 3});
    ExpectGet(history.get(), 1, 5, 3, 2, 1, {2, 3});
    ExpectGet(history.get(), 2, -2, 3, 2, 1, {2, 3});
    ExpectGet(history.get(), 1, -1, 3, 1, 1, {2});
    ExpectGet(history.get(), 65535, -2, 3, 1, 65535, {1});
    ExpectGet(history.get(), 0, 0, 3, 3, 65535, {1, 2, 3});
    unsigned short first = 0;
    unsigned short last = 0;
    EXPECT_EQ(3, history->GetRange(&first, &last));
    EXPECT_EQ(65535, first);
    EXPECT_EQ(2, last);

    // The oldest id wraps too.
    EXPECT_EQ(3, Add(history.get(), 4));
    slots[1] = RecordLine(3, MakeRecord(4));
    EXPECT_EQ(Expected(1, 3, 3, 2, slots), File());
    ExpectGet(history.get(), 0, 0, 3, 3, 1, {2, 3, 4});
}

// ----------------------------------------------------------------------------------------------
// Get

class ZVErrorHistoryGetTest : public ZVErrorHistoryTest {
protected:
    // A ring of three slots holding 3, 4 and 5 (FD 3, LD 5, RC 3, TO 2).
    void SetUp() override {
        ZVErrorHistoryTest::SetUp();
        history = Opened(3);
        AddSeeds(history.get(), 5);
        TarnSetLastError(kSentinelError);
    }

    HistoryPtr history;
};

TEST_F(ZVErrorHistoryGetTest, BackwardsFromTheNewest) {
    ExpectGet(history.get(), 5, -2, 3, 2, 4, {4, 5});
}

TEST_F(ZVErrorHistoryGetTest, ForwardsBeyondTheNewest) {
    ExpectGet(history.get(), 4, 10, 3, 2, 4, {4, 5});
}

TEST_F(ZVErrorHistoryGetTest, SingleRecords) {
    ExpectGet(history.get(), 3, 1, 3, 1, 3, {3});
    ExpectGet(history.get(), 4, 1, 3, 1, 4, {4});
    ExpectGet(history.get(), 5, 1, 3, 1, 5, {5});
    ExpectGet(history.get(), 3, -1, 3, 1, 3, {3});
    ExpectGet(history.get(), 5, -1, 3, 1, 5, {5});
    ExpectGet(history.get(), 4, -2, 3, 2, 3, {3, 4});
    ExpectGet(history.get(), 3, 3, 3, 3, 3, {3, 4, 5});
    ExpectGet(history.get(), 5, -3, 3, 3, 3, {3, 4, 5});
}

TEST_F(ZVErrorHistoryGetTest, CountZeroSelectsEverything) {
    ExpectGet(history.get(), 0, 0, 3, 3, 3, {3, 4, 5});
    ExpectGet(history.get(), 5, 0, 3, 3, 3, {3, 4, 5});  // the start id does not matter
    ExpectGet(history.get(), 999, 0, 3, 3, 3, {3, 4, 5});
}

TEST_F(ZVErrorHistoryGetTest, CountsBeyond65534SelectEverything) {
    ExpectGet(history.get(), 4, 65534, 3, 2, 4, {4, 5});
    ExpectGet(history.get(), 4, 65535, 3, 3, 3, {3, 4, 5});
    ExpectGet(history.get(), 4, -65534, 3, 2, 3, {3, 4});
    ExpectGet(history.get(), 4, -65535, 3, 3, 3, {3, 4, 5});
    ExpectGet(history.get(), 4, INT_MAX, 3, 3, 3, {3, 4, 5});
    ExpectGet(history.get(), 4, INT_MIN, 3, 3, 3, {3, 4, 5});
}

TEST_F(ZVErrorHistoryGetTest, BufferOfOneHundredBytesHoldsOneRecord) {
    std::vector<char> buffer(100, '\xAB');
    unsigned short first = 0;
    int read = 0;
    EXPECT_EQ(
        3, history->Get(3, 3, reinterpret_cast<ERRHIST_tag*>(buffer.data()), 100, &first, &read));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(3, first);
    EXPECT_EQ(1, read);
    ERRHIST_tag got;
    memcpy(&got, buffer.data(), sizeof got);
    zvtest::ExpectSameRecord(zvtest::AsRead(MakeRecord(3)), got);
    EXPECT_EQ(std::string(42, '\xAB'), std::string(buffer.data() + 58, 42));
}

TEST_F(ZVErrorHistoryGetTest, BufferSizesOnBothSidesOfARecord) {
    const struct {
        unsigned int bytes;
        int read;
    } cases[] = {{1, 0}, {57, 0}, {58, 1}, {115, 1}, {116, 2}, {173, 2}, {174, 3}, {1000, 3}};
    for (const auto& c : cases) {
        std::vector<char> buffer(1000, '\xAB');
        int read = -1;
        EXPECT_EQ(3, history->Get(3, 3, reinterpret_cast<ERRHIST_tag*>(buffer.data()), c.bytes,
                                  nullptr, &read))
            << c.bytes;
        EXPECT_EQ(c.read, read) << c.bytes;
        EXPECT_EQ(std::string(1000 - 58 * c.read, '\xAB'),
                  std::string(buffer.data() + 58 * c.read, 1000 - 58 * c.read))
            << c.bytes;
    }
}

TEST_F(ZVErrorHistoryGetTest, SmallBuffersReadFromTheFirstSelected) {
    ExpectGet(history.get(), 4, 2, 1, 2, 4, {4});
    ExpectGet(history.get(), 5, -3, 2, 3, 3, {3, 4});
    ExpectGet(history.get(), 5, -2, 1, 2, 4, {4});
    ExpectGet(history.get(), 0, 0, 0, 3, 3, {});
}

TEST_F(ZVErrorHistoryGetTest, NoBufferCountsOnly) {
    unsigned short first = 0;
    int read = 7;
    EXPECT_EQ(2, history->Get(4, 5, nullptr, 0, &first, &read));
    EXPECT_EQ(4, first);
    EXPECT_EQ(0, read);
    EXPECT_EQ(3, history->Get(0, 0, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrorHistoryGetTest, BufferWithoutRecordsFails) {
    unsigned short first = 0xABCD;
    int read = 7;
    EXPECT_EQ(-1, history->Get(3, 1, nullptr, 58, &first, &read));
    EXPECT_EQ(Code(TARN_ERR_NULL_POINTER), TarnGetLastError());
    EXPECT_EQ(0, first);
    EXPECT_EQ(0, read);
    // Tested before anything is opened.
    HistoryPtr noPath(CZVErrorHistory::Create());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, noPath->Get(3, 1, nullptr, 1, nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_NULL_POINTER), TarnGetLastError());
}

TEST_F(ZVErrorHistoryGetTest, StartIdZeroWithACountFails) {
    ERRHIST_tag record;
    unsigned short first = 0xABCD;
    int read = 7;
    EXPECT_EQ(-1, history->Get(0, 1, &record, sizeof record, &first, &read));
    EXPECT_EQ(Code(TARN_ERR_EH_INVALID_ID), TarnGetLastError());
    EXPECT_EQ(0, first);
    EXPECT_EQ(0, read);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, history->Get(0, -1, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_INVALID_ID), TarnGetLastError());
    HistoryPtr noPath(CZVErrorHistory::Create());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, noPath->Get(0, 1, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_INVALID_ID), TarnGetLastError());
}

TEST_F(ZVErrorHistoryGetTest, SelectionsOutsideTheHeldIds) {
    // An id outside the held range is taken where it lies nearer to it.
    ExpectGet(history.get(), 2, 1, 3, 0, 0, {});
    ExpectGet(history.get(), 2, 2, 3, 1, 3, {3});
    ExpectGet(history.get(), 1, 10, 3, 3, 3, {3, 4, 5});
    ExpectGet(history.get(), 6, 1, 3, 0, 0, {});
    ExpectGet(history.get(), 6, -2, 3, 1, 5, {5});
    ExpectGet(history.get(), 7, -10, 3, 3, 3, {3, 4, 5});
    ExpectGet(history.get(), 2, -1, 3, 0, 0, {});
    ExpectGet(history.get(), 65535, 3, 3, 0, 0, {});  // 65535, 1, 2
    ExpectGet(history.get(), 65535, 4, 3, 1, 3, {3});
    ExpectGet(history.get(), 40000, 1, 3, 0, 0, {});
}

TEST_F(ZVErrorHistoryTest, EmptyRingSelectsNothing) {
    HistoryPtr empty = Opened(2);
    unsigned short first = 0xABCD;
    int read = 7;
    ERRHIST_tag record;
    memset(&record, 0xAB, sizeof record);
    EXPECT_EQ(0, empty->Get(1, 1, &record, sizeof record, &first, &read));
    EXPECT_EQ(0, empty->Get(0, 0, &record, sizeof record, &first, &read));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(0, first);
    EXPECT_EQ(0, read);
    EXPECT_EQ(0xABABABABu, +record.dwValue1);  // untouched
    EXPECT_EQ(0, empty->m_MapFile.IsLocked());
}

TEST_F(ZVErrorHistoryGetTest, CorruptedSlotStopsTheReading) {
    // Record 4 lies in slot 0.
    zvtest::PatchFile(path, 96 + 5, "G");
    std::vector<ERRHIST_tag> buffer(3);
    unsigned short first = 0;
    int read = -1;
    EXPECT_EQ(-1, history->Get(3, 3, buffer.data(), sizeof(ERRHIST_tag) * 3, &first, &read));
    EXPECT_EQ(Code(TARN_ERR_EH_DATA_CORRUPTED), TarnGetLastError());
    EXPECT_EQ(1, read);
    EXPECT_EQ(3, first);
    zvtest::ExpectSameRecord(zvtest::AsRead(MakeRecord(3)), buffer[0]);
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
    // Reading past it is fine.
    TarnSetLastError(kSentinelError);
    ExpectGet(history.get(), 5, 1, 3, 1, 5, {5});
}

TEST_F(ZVErrorHistoryGetTest, EmptySlotsInTheRangeReadAsZero) {
    // The ids of the slots read are not compared with the ids selected.
    zvtest::PatchFile(path, 96, EmptySlot());
    ERRHIST_tag buffer[2];
    memset(buffer, 0xAB, sizeof buffer);
    int read = 0;
    EXPECT_EQ(2, history->Get(4, 2, buffer, sizeof buffer, nullptr, &read));
    EXPECT_EQ(2, read);
    ERRHIST_tag zero;
    memset(&zero, 0, sizeof zero);
    zvtest::ExpectSameRecord(zero, buffer[0]);
    zvtest::ExpectSameRecord(zvtest::AsRead(MakeRecord(5)), buffer[1]);
}

TEST_F(ZVErrorHistoryGetTest, FirstIdOfAHeaderWithoutOldestId) {
    // Another writer left RC 3 with FD 0: the first id cannot be told.
    zvtest::PatchFile(path, 0, HeaderLine(0, 0, 5, 3, 3, 2));
    unsigned short first = 0xABCD;
    EXPECT_EQ(-1, history->Get(0, 0, nullptr, 0, &first, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_INVALID_ID), TarnGetLastError());
    EXPECT_EQ(0, first);
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
}

// ----------------------------------------------------------------------------------------------
// GetRange and Clear

TEST_F(ZVErrorHistoryTest, RangeOfAnEmptyRing) {
    HistoryPtr history = Opened(3);
    unsigned short first = 0xABCD;
    unsigned short last = 0xABCD;
    EXPECT_EQ(0, history->GetRange(&first, &last));
    EXPECT_EQ(0, first);
    EXPECT_EQ(0, last);
    EXPECT_EQ(0, history->GetRange(nullptr, nullptr));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, RangeThroughEitherPointer) {
    HistoryPtr history = Opened(3);
    AddSeeds(history.get(), 4);
    unsigned short first = 0;
    unsigned short last = 0;
    EXPECT_EQ(3, history->GetRange(&first, nullptr));
    EXPECT_EQ(2, first);
    EXPECT_EQ(3, history->GetRange(nullptr, &last));
    EXPECT_EQ(4, last);
    EXPECT_EQ(3, history->GetRange(nullptr, nullptr));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrorHistoryTest, ClearKeepsTheIdsAndTheOldLines) {
    HistoryPtr history = Opened(3);
    AddSeeds(history.get(), 5);
    const std::string before = File();
    EXPECT_EQ(1, history->Clear());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    ExpectHeaderFields(*history, 0, 5, 0, 3, 2);
    EXPECT_EQ(HeaderLine(0, 0, 5, 0, 3, 2) + before.substr(96), File());
    unsigned short first = 0xABCD;
    unsigned short last = 0xABCD;
    EXPECT_EQ(0, history->GetRange(&first, &last));
    EXPECT_EQ(0, first);
    EXPECT_EQ(0, last);
    ExpectGet(history.get(), 4, 1, 3, 0, 0, {});

    // The next record takes id 6 and the slot after the newest.
    EXPECT_EQ(6, Add(history.get(), 6));
    ExpectHeaderFields(*history, 6, 6, 1, 3, 2);
    EXPECT_EQ(Expected(6, 6, 1, 2,
                       {RecordLine(4, MakeRecord(4)), RecordLine(5, MakeRecord(5)),
                        RecordLine(6, MakeRecord(6))}),
              File());
    ExpectGet(history.get(), 0, 0, 3, 1, 6, {6});
    EXPECT_EQ(1, history->GetRange(&first, &last));
    EXPECT_EQ(6, first);
    EXPECT_EQ(6, last);
    ExpectGet(history.get(), 5, 1, 3, 0, 0, {});
}

TEST_F(ZVErrorHistoryTest, ClearOfAnEmptyRing) {
    HistoryPtr history = Opened(3);
    EXPECT_EQ(1, history->Clear());
    EXPECT_EQ(Expected(0, 0, 0, 0, {EmptySlot(), EmptySlot(), EmptySlot()}), File());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

// ----------------------------------------------------------------------------------------------
// Two objects on one file

TEST_F(ZVErrorHistoryTest, TwoObjectsOnOneFileSeeEachOthersRecords) {
    HistoryPtr one = Opened(3);
    AddSeeds(one.get(), 2);
    HistoryPtr two = Assigned(3);
    ASSERT_EQ(1, two->Open());  // re-initialises the file under the first object
    EXPECT_EQ(Expected(0, 0, 0, 0, {EmptySlot(), EmptySlot(), EmptySlot()}), File());

    EXPECT_EQ(1, Add(one.get(), 11));  // the first re-reads the header when it locks
    unsigned short first = 0;
    unsigned short last = 0;
    EXPECT_EQ(1, two->GetRange(&first, &last));
    EXPECT_EQ(1, first);
    EXPECT_EQ(1, last);
    EXPECT_EQ(2, Add(two.get(), 12));
    EXPECT_EQ(3, Add(one.get(), 13));
    EXPECT_EQ(4, Add(two.get(), 14));
    ExpectGet(one.get(), 0, 0, 3, 3, 2, {12, 13, 14});
    ExpectGet(two.get(), 4, -3, 3, 3, 2, {12, 13, 14});
    EXPECT_EQ(1, two->Clear());
    EXPECT_EQ(0, one->GetRange(&first, &last));
    EXPECT_EQ(5, Add(one.get(), 15));
    ExpectGet(two.get(), 0, 0, 3, 1, 5, {15});
    EXPECT_EQ(Expected(5, 5, 1, 1,
                       {RecordLine(4, MakeRecord(14)), RecordLine(5, MakeRecord(15)),
                        RecordLine(3, MakeRecord(13))}),
              File());
}

}  // namespace
