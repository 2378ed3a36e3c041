// A history whose writer dies in the middle of adding a record: a child process adds records
// through the ZVEH functions until the parent kills it (SIGKILL) at a random point; the parent
// then reads the file line by line and through its own ZVEH calls. Every line reads cleanly or
// gives its corruption code (58 for a record line, 60 for the header line), never anything else,
// and the history goes on: the next record repairs a torn slot, and a torn header is left behind
// by opening the history again. The random choices come from a seed that is printed (set
// ZV_TORN_SEED to replay one); where the kill lands is up to the scheduler.
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ErrHistSupport.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVErrHistFunc.h"
#include "ZVErrorHistory.h"

namespace {

using zvtest::AsRead;
using zvtest::HistoryFileSize;
using zvtest::HistoryPtr;
using zvtest::kHeaderBytes;
using zvtest::kNeverFlush;
using zvtest::kSentinelError;
using zvtest::kSlotBytes;
using zvtest::MakeRecord;

// Rounds of one test run: fewer on the device, where every fork copies the emulator.
#if defined(ZV_DEVICE_ABI)
constexpr int kRounds = 60;
#else
constexpr int kRounds = 120;
#endif

// The seed of the random choices: ZV_TORN_SEED when set, else one from the clock.
unsigned int TornSeed() {
    const char* given = getenv("ZV_TORN_SEED");
    if (given != nullptr && *given != '\0') {
        return static_cast<unsigned int>(strtoul(given, nullptr, 10));
    }
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned int>(now.tv_nsec ^ now.tv_sec ^ getpid());
}

// A counter in memory shared with a forked child.
class SharedCounter {
public:
    SharedCounter() {
        void* p = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                       MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        m_value = p == MAP_FAILED ? nullptr : new (p) std::atomic<int>(0);
    }
    ~SharedCounter() {
        if (m_value != nullptr) {
            munmap(m_value, sizeof(std::atomic<int>));
        }
    }
    SharedCounter(const SharedCounter&) = delete;
    SharedCounter& operator=(const SharedCounter&) = delete;

    bool Ok() const { return m_value != nullptr; }
    std::atomic<int>& Value() { return *m_value; }

private:
    std::atomic<int>* m_value;
};

// The writer: adds MakeRecord(k) as record k, k = 1, 2, ..., counting each completed add, until
// it is killed. It leaves with 3 when an add does not give the next id.
[[noreturn]] void AddUntilKilled(std::atomic<int>* done) {
    for (unsigned int k = 1; k < 60000; ++k) {
        ERRHIST_tag record = MakeRecord(k);
        unsigned short id = 0;
        if (ZVEHAddErrorHistory(&record, &id) != 1 || id != k) {
            _exit(3);
        }
        done->store(static_cast<int>(k));
    }
    _exit(4);
}

// What one line of the file read as.
struct LineRead {
    int result;          // the exchange's result
    unsigned int code;   // the last error it left
    unsigned short id;   // for a slot: the id read
    ERRHIST_tag record;  // for a slot: the record read
};

// How a round ended, for the summary.
struct Outcomes {
    int whole = 0;          // header and every slot as before the add that was cut
    int recordOnly = 0;     // the new record written, the header not yet
    int headerWritten = 0;  // the add complete up to its counting
    int slotTorn = 0;       // a slot caught half written
    int headerTorn = 0;     // the header line caught half written
};

class ZVErrHistTornTest : public zvtest::HistoryFileTest {
protected:
    void TearDown() override { ZVEHExit(); }

    // Reads the header line of the file's bytes with a history object of its own.
    static LineRead ReadHeader(const std::string& file, CZVErrorHistory* reader) {
        LineRead r;
        memset(&r, 0, sizeof r);
        std::string line = file.substr(0, kHeaderBytes);
        TarnSetLastError(kSentinelError);
        r.result = reader->ExchangeHeader(0, &line[0]);
        r.code = TarnGetLastError();
        return r;
    }

    // Reads slot s of the file's bytes.
    static LineRead ReadSlot(const std::string& file, unsigned int s, CZVErrorHistory* reader) {
        LineRead r;
        memset(&r, 0, sizeof r);
        std::string line = file.substr(kHeaderBytes + kSlotBytes * s, kSlotBytes);
        TarnSetLastError(kSentinelError);
        r.result = reader->ExchangeErrHist(&r.id, &r.record, 0, &line[0]);
        r.code = TarnGetLastError();
        return r;
    }

    // One round: a fresh history of capacity slots, a writer killed after at least `target`
    // records and `spin` more steps of the parent, then the checks. Adds to the outcomes.
    void Round(unsigned int capacity, unsigned int interval, int target, unsigned int spin,
               Outcomes* outcomes);

    // The checks after the writer died with `done` adds counted; capacity slots.
    void CheckAfterKill(unsigned int capacity, unsigned int interval, unsigned int done,
                        Outcomes* outcomes);
};

void ZVErrHistTornTest::Round(unsigned int capacity, unsigned int interval, int target,
                              unsigned int spin, Outcomes* outcomes) {
    zvtest::PrepareHistoryFile(path, capacity);
    ASSERT_EQ(1, ZVEHInitA(path.c_str(), static_cast<unsigned short>(capacity), interval));
    SharedCounter done;
    ASSERT_TRUE(done.Ok());
    pid_t pid = fork();
    ASSERT_NE(-1, pid);
    if (pid == 0) {
        AddUntilKilled(&done.Value());
    }
    // Wait for the target, then let the writer run on for a random while.
    int status = 0;
    while (done.Value().load() < target) {
        ASSERT_EQ(0, waitpid(pid, &status, WNOHANG)) << "the writer ended with status " << status;
        usleep(20);
    }
    volatile unsigned int steps = 0;
    while (steps < spin) {
        steps = steps + 1;
    }
    ASSERT_EQ(0, kill(pid, SIGKILL));
    ASSERT_EQ(pid, waitpid(pid, &status, 0));
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
        << "the writer ended on its own with status " << status;
    CheckAfterKill(capacity, interval, static_cast<unsigned int>(done.Value().load()), outcomes);
    EXPECT_EQ(1, ZVEHExit());
}

void ZVErrHistTornTest::CheckAfterKill(unsigned int capacity, unsigned int interval,
                                       unsigned int done, Outcomes* outcomes) {
    SCOPED_TRACE("capacity " + std::to_string(capacity) + ", " + std::to_string(done) +
                 " records counted");
    const std::string file = File();
    ASSERT_EQ(static_cast<size_t>(HistoryFileSize(capacity)), file.size());
    HistoryPtr reader(CZVErrorHistory::Create());
    ASSERT_NE(nullptr, reader);

    // The slot the cut add was writing, and what it held before.
    const unsigned int cutSlot = done % capacity;
    const unsigned int before = done >= capacity ? done + 1 - capacity : 0;
    // Every slot: the id it must hold, a clean line, or (the cut slot only) a torn line (58).
    unsigned int torn = 0;
    bool newRecord = false;
    std::vector<unsigned short> ids(capacity, 0);
    for (unsigned int s = 0; s < capacity; ++s) {
        const LineRead r = ReadSlot(file, s, reader.get());
        unsigned int expected = done >= s + 1 ? done - (done - s - 1) % capacity : 0;
        if (s == cutSlot) {
            if (r.result == 0) {
                EXPECT_EQ(58u, r.code) << "slot " << s;
                ++torn;
                continue;
            }
            expected = r.id == done + 1 ? done + 1 : before;
            newRecord = r.id == done + 1;
        }
        ASSERT_EQ(1, r.result) << "slot " << s << ", code " << r.code;
        ASSERT_EQ(expected, r.id) << "slot " << s;
        ids[s] = r.id;
        if (r.id != 0) {
            zvtest::ExpectSameRecord(AsRead(MakeRecord(r.id)), r.record);
        }
    }

    const LineRead header = ReadHeader(file, reader.get());
    unsigned short first = 0xABCD;
    unsigned short last = 0xABCD;
    TarnSetLastError(kSentinelError);
    const int range = ZVEHGetRange(&first, &last);
    if (header.result == 0) {
        // Cut while writing the header: the record was complete by then. Every operation
        // refuses the header until the history is opened again, which starts it afresh.
        EXPECT_EQ(60u, header.code);
        EXPECT_EQ(0u, torn);
        EXPECT_TRUE(newRecord);
        EXPECT_EQ(-1, range);
        EXPECT_EQ(60u, TarnGetLastError());
        ERRHIST_tag record = MakeRecord(1);
        unsigned short id = 0xABCD;
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(0, ZVEHAddErrorHistory(&record, &id));
        EXPECT_EQ(60u, TarnGetLastError());
        EXPECT_EQ(0, id);
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(0, ZVEHClearErrorHistory());
        EXPECT_EQ(60u, TarnGetLastError());
        ++outcomes->headerTorn;
        EXPECT_EQ(1, ZVEHExit());
        ASSERT_EQ(1, ZVEHInitA(path.c_str(), static_cast<unsigned short>(capacity), interval));
        EXPECT_EQ(0, ZVEHGetRange(&first, &last));
        EXPECT_EQ(1, ZVEHAddErrorHistory(&record, &id));
        EXPECT_EQ(1, id);
        return;
    }

    // A clean header is the one before the cut add or the one after it, never a mix.
    const unsigned int ld = reader->m_wLD;
    ASSERT_TRUE(ld == done || (ld == done + 1 && newRecord)) << "LD " << ld;
    const unsigned int rc = ld < capacity ? ld : capacity;
    const unsigned int fd = ld == 0 ? 0 : ld - rc + 1;
    const unsigned int to = rc == 0 ? 0 : (fd - 1) % capacity;
    zvtest::ExpectHeaderFields(*reader, fd, ld, rc, capacity, to);
    EXPECT_EQ(static_cast<int>(rc), range);
    EXPECT_EQ(rc == 0 ? 0u : fd, first);
    EXPECT_EQ(rc == 0 ? 0u : ld, last);
    if (torn != 0) {
        ++outcomes->slotTorn;
    } else if (ld == done + 1) {
        ++outcomes->headerWritten;
    } else if (newRecord) {
        ++outcomes->recordOnly;
    } else {
        ++outcomes->whole;
    }

    // Reading every held record: a torn slot among them stops the reading with 58. Ids are not
    // read back, so the new record that took the oldest's slot before the header said so comes
    // back as the oldest record.
    std::vector<ERRHIST_tag> records(capacity);
    int readCount = -7;
    TarnSetLastError(kSentinelError);
    const int got = ZVEHGetErrorHistory(0, 0, records.data(),
                                        static_cast<unsigned int>(capacity * sizeof(ERRHIST_tag)),
                                        &first, &readCount);
    const bool tornHeld = torn != 0 && rc == capacity && ld == done;
    if (tornHeld) {
        EXPECT_EQ(-1, got);
        EXPECT_EQ(58u, TarnGetLastError());
        EXPECT_EQ(0, readCount) << "the torn slot is the oldest record's";
    } else {
        EXPECT_EQ(static_cast<int>(rc), got);
        EXPECT_EQ(kSentinelError, TarnGetLastError());
        ASSERT_EQ(static_cast<int>(rc), readCount);
        for (unsigned int k = 0; k < rc; ++k) {
            const unsigned short id = ids[(to + k) % capacity];
            EXPECT_TRUE(id == fd + k || (k == 0 && id == ld + 1)) << "record " << k;
            zvtest::ExpectSameRecord(AsRead(MakeRecord(id)), records[k]);
        }
    }

    // The history goes on: the next record gets the id after the header's newest and takes the
    // cut slot, so afterwards every line reads cleanly.
    ERRHIST_tag record = MakeRecord(ld + 1);
    unsigned short id = 0;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, ZVEHAddErrorHistory(&record, &id));
    EXPECT_EQ(ld + 1, id);
    const std::string after = File();
    for (unsigned int s = 0; s < capacity; ++s) {
        EXPECT_EQ(1, ReadSlot(after, s, reader.get()).result) << "slot " << s << " after";
    }
    EXPECT_EQ(1, ReadHeader(after, reader.get()).result);
    EXPECT_EQ(ld + 1, reader->m_wLD);
}

TEST_F(ZVErrHistTornTest, WriterKilledWhileAddingLeavesCleanOrCorruptedLines) {
    const unsigned int seed = TornSeed();
    printf("seed %u (ZV_TORN_SEED=%u replays the random choices)\n", seed, seed);
    RecordProperty("seed", static_cast<int>(seed));
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const unsigned int capacities[] = {2, 3, 4, 7};
    Outcomes outcomes;
    for (int round = 0; round < kRounds && !HasFatalFailure(); ++round) {
        const unsigned int capacity = capacities[random() % 4];
        // Half the rounds flush at every unlock, half never do.
        const unsigned int interval = random() % 2 == 0 ? 0u : kNeverFlush;
        const int target = static_cast<int>(random() % (3 * capacity + 1));
        const unsigned int spin = random() % 20000;
        SCOPED_TRACE("round " + std::to_string(round));
        Round(capacity, interval, target, spin, &outcomes);
    }
    printf(
        "rounds: %d whole, %d record written, %d header written, %d slot torn, "
        "%d header torn\n",
        outcomes.whole, outcomes.recordOnly, outcomes.headerWritten, outcomes.slotTorn,
        outcomes.headerTorn);
}

// ------------------------------------------------------------------------------------------------
// The lines a killed writer leaves, cut at every length: a writer blanks the line first and then
// writes it from its start, so a cut line is the new line's beginning and blanks.

// The first `length` bytes of line, then blanks up to the line end's CR LF.
std::string CutLine(const std::string& line, size_t length) {
    std::string cut = line.substr(0, length) + std::string(line.size() - 2 - length, ' ');
    return cut + "\r\n";
}

TEST_F(ZVErrHistTornTest, RecordLineCutAtEveryLength) {
    HistoryPtr history(CZVErrorHistory::Create());
    ASSERT_NE(nullptr, history);
    const ERRHIST_tag written = MakeRecord(4242);
    const std::string line = zvtest::RecordLine(4242, written);
    for (size_t length = 0; length <= kSlotBytes - 2; ++length) {
        std::string cut = CutLine(line, length);
        unsigned short id = 0xABCD;
        ERRHIST_tag record;
        memset(&record, 0xAB, sizeof record);
        TarnSetLastError(kSentinelError);
        const int result = history->ExchangeErrHist(&id, &record, 0, &cut[0]);
        if (length < 123) {
            // Up to the last field's comma something is missing.
            EXPECT_EQ(0, result) << "cut at " << length;
            EXPECT_EQ(58u, TarnGetLastError()) << "cut at " << length;
        } else {
            EXPECT_EQ(1, result) << "cut at " << length;
            EXPECT_EQ(kSentinelError, TarnGetLastError()) << "cut at " << length;
            EXPECT_EQ(4242, id);
            zvtest::ExpectSameRecord(AsRead(written), record);
        }
    }
}

TEST_F(ZVErrHistTornTest, HeaderLineCutAtEveryLength) {
    HistoryPtr history(CZVErrorHistory::Create());
    ASSERT_NE(nullptr, history);
    const long lm = zvtest::Utc(2011, 12, 31, 23, 59, 58);
    const std::string line = zvtest::HeaderLine(lm, 65530, 3, 9, 7, 6);
    for (size_t length = 0; length <= kHeaderBytes - 2; ++length) {
        std::string cut = CutLine(line, length);
        TarnSetLastError(kSentinelError);
        const int result = history->ExchangeHeader(0, &cut[0]);
        if (length < 81) {
            // Up to the comma behind TO something is missing.
            EXPECT_EQ(0, result) << "cut at " << length;
            EXPECT_EQ(60u, TarnGetLastError()) << "cut at " << length;
        } else {
            EXPECT_EQ(1, result) << "cut at " << length;
            EXPECT_EQ(kSentinelError, TarnGetLastError()) << "cut at " << length;
            zvtest::ExpectHeaderFields(*history, 65530, 3, 9, 7, 6);
            EXPECT_EQ(lm, history->m_lLM);
        }
    }
}

}  // namespace
