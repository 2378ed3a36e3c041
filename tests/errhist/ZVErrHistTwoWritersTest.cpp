// Two processes adding to one error history at the same time, for about a second: each opens
// the history through the ZVEH functions, adds records of its own as fast as it can and reads
// each back by the id it got. Nothing orders the two: each re-reads the header when it locks and
// writes it back when it unlocks, so the last header written wins. What is pinned: no crash; an
// add either succeeds or finds the header half written by the other process (code 60); a read
// gets a record, nothing (the id is no longer held), or a line half written by the other (58 or
// 60); afterwards every line of the file reads cleanly and holds only records that were added.
// What is counted and printed (records lost, ids given twice, ids going backwards, records read
// back that are not one's own) depends on how the two processes meet.
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <new>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "ErrHistSupport.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVErrHistFunc.h"
#include "ZVErrorHistory.h"

namespace {

using zvtest::HistoryPtr;
using zvtest::kHeaderBytes;
using zvtest::kNeverFlush;
using zvtest::kSentinelError;
using zvtest::kSlotBytes;

// Records each writer adds at most, and the capacity that holds both writers' records without
// the ring dropping any: every record missing afterwards was lost to the other writer.
constexpr unsigned int kMaxAdds = 16000;
constexpr unsigned int kCapacity = 32767;
// How long the writers add, in milliseconds.
constexpr long kRunMillis = 1000;

// What one writer saw, counted in memory shared with the parent.
struct WriterLog {
    int adds;          // adds that succeeded
    int addsRefused;   // adds refused with code 60 (the header half written)
    int readMine;      // reads by the id just given that gave the record just added
    int readOther;     // ... that gave another record
    int readGone;      // ... that selected nothing: the header no longer holds the id
    int readTorn;      // ... that failed with 58 or 60 (a line half written)
    int unexpected;    // results or codes other than these
    int idsBackwards;  // ids not above the writer's previous one
    unsigned short ids[kMaxAdds + 1];  // ids[seq]: the id record seq got
};

struct SharedLog {
    std::atomic<int> ready;
    WriterLog writer[2];
};

// Record seq of writer w (1 or 2); every record carries the same time, so that two records
// written over each other at once still give a valid date.
ERRHIST_tag WriterRecord(unsigned int w, unsigned int seq) {
    ERRHIST_tag r;
    memset(&r, 0, sizeof r);
    r.wNumber1 = static_cast<uint16_t>(w);
    const std::string text = "writer " + std::to_string(w) + " record " + std::to_string(seq);
    memcpy(r.szText, text.data(), text.size());
    r.wNumber2 = static_cast<uint16_t>(seq);
    r.wCode = static_cast<uint16_t>(0xE000 + w);
    r.lTime = static_cast<int32_t>(zvtest::Utc(2012, 6, 1, 8, 0, 0));
    r.byNumber3 = static_cast<uint8_t>(w);
    r.wNumber4 = static_cast<uint16_t>(seq);
    r.dwValue1 = seq;
    r.dwValue2 = w * 1000000u + seq;
    r.dwValue3 = ~seq;
    return r;
}

// The writer and sequence number of a record as read, when it is exactly one that a writer
// makes; false for a line mixed from two records.
bool WriterOf(const ERRHIST_tag& read, unsigned int* w, unsigned int* seq) {
    *w = read.wNumber1;
    *seq = read.dwValue1;
    if ((*w != 1 && *w != 2) || *seq == 0 || *seq > kMaxAdds) {
        return false;
    }
    const ERRHIST_tag expected = zvtest::AsRead(WriterRecord(*w, *seq));
    return memcmp(&expected, &read, sizeof read) == 0;
}

long long MonotonicMillis() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Reads back record seq of writer w by the id it got, and counts what came back.
void ReadBack(unsigned int w, unsigned int seq, unsigned short id, WriterLog* log) {
    ERRHIST_tag read;
    memset(&read, 0, sizeof read);
    unsigned short first = 0;
    int count = 0;
    TarnSetLastError(kSentinelError);
    const int got = ZVEHGetErrorHistory(id, 1, &read, sizeof read, &first, &count);
    const unsigned int code = TarnGetLastError();
    unsigned int rw = 0;
    unsigned int rseq = 0;
    if (got == 1 && count == 1 && first == id) {
        if (WriterOf(read, &rw, &rseq) && rw == w && rseq == seq) {
            ++log->readMine;
        } else {
            ++log->readOther;
        }
    } else if (got == 0 && count == 0) {
        ++log->readGone;
    } else if (got == -1 && (code == 58u || code == 60u)) {
        ++log->readTorn;
    } else {
        ++log->unexpected;
    }
}

// One writer: opens the history, waits for the other, adds and reads back until the time is up.
[[noreturn]] void Writer(const std::string& path, unsigned int w, SharedLog* shared) {
    WriterLog* log = &shared->writer[w - 1];
    if (ZVEHInitA(path.c_str(), static_cast<unsigned short>(kCapacity), kNeverFlush) != 1) {
        _exit(10);
    }
    shared->ready.fetch_add(1);
    const long long start = MonotonicMillis();
    while (shared->ready.load() < 2) {
        if (MonotonicMillis() - start > 20000) {
            _exit(11);
        }
    }
    const long long end = MonotonicMillis() + kRunMillis;
    unsigned short previous = 0;
    while (log->adds < static_cast<int>(kMaxAdds) && MonotonicMillis() < end) {
        const unsigned int seq = static_cast<unsigned int>(log->adds) + 1;
        ERRHIST_tag record = WriterRecord(w, seq);
        unsigned short id = 0;
        TarnSetLastError(kSentinelError);
        if (ZVEHAddErrorHistory(&record, &id) != 1) {
            if (TarnGetLastError() == 60u && id == 0) {
                ++log->addsRefused;  // tried again with the same record
            } else {
                ++log->unexpected;
            }
            continue;
        }
        ++log->adds;
        log->ids[seq] = id;
        if (id <= previous) {
            ++log->idsBackwards;
        }
        previous = id;
        ReadBack(w, seq, id, log);
    }
    ZVEHExit();
    _exit(0);
}

class ZVErrHistTwoWritersTest : public zvtest::HistoryFileTest {};

TEST_F(ZVErrHistTwoWritersTest, TwoProcessesAddingAtOnce) {
    zvtest::PrepareHistoryFile(path, kCapacity);
    void* memory =
        mmap(nullptr, sizeof(SharedLog), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, memory);
    memset(memory, 0, sizeof(SharedLog));
    SharedLog* shared = new (memory) SharedLog();
    pid_t pids[2];
    for (unsigned int w = 1; w <= 2; ++w) {
        pids[w - 1] = fork();
        ASSERT_NE(-1, pids[w - 1]);
        if (pids[w - 1] == 0) {
            Writer(path, w, shared);
        }
    }
    for (unsigned int w = 1; w <= 2; ++w) {
        int status = -1;
        ASSERT_EQ(pids[w - 1], waitpid(pids[w - 1], &status, 0));
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
            << "writer " << w << " ended with status " << status;
    }

    // What the writers saw.
    int added = 0;
    for (unsigned int w = 1; w <= 2; ++w) {
        const WriterLog& log = shared->writer[w - 1];
        EXPECT_EQ(0, log.unexpected) << "writer " << w;
        EXPECT_GT(log.adds, 0) << "writer " << w;
        EXPECT_EQ(log.adds, log.readMine + log.readOther + log.readGone + log.readTorn);
        added += log.adds;
    }
    // Ids that both writers got.
    std::set<unsigned short> idsOfOne;
    for (unsigned int seq = 1; seq <= kMaxAdds; ++seq) {
        if (shared->writer[0].ids[seq] != 0) {
            idsOfOne.insert(shared->writer[0].ids[seq]);
        }
    }
    int idsOfBoth = 0;
    for (unsigned int seq = 1; seq <= kMaxAdds; ++seq) {
        idsOfBoth += idsOfOne.count(shared->writer[1].ids[seq]) != 0 ? 1 : 0;
    }

    // The file afterwards: every line whole; every record one that was added.
    const std::string file = File();
    ASSERT_EQ(static_cast<size_t>(zvtest::HistoryFileSize(kCapacity)), file.size());
    HistoryPtr reader(CZVErrorHistory::Create());
    ASSERT_NE(nullptr, reader);
    std::string line = file.substr(0, kHeaderBytes);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, reader->ExchangeHeader(0, &line[0]));
    int held = 0;
    int mixed = 0;
    for (unsigned int s = 0; s < kCapacity; ++s) {
        line = file.substr(kHeaderBytes + kSlotBytes * s, kSlotBytes);
        unsigned short id = 0;
        ERRHIST_tag read;
        ASSERT_EQ(1, reader->ExchangeErrHist(&id, &read, 0, &line[0])) << "slot " << s;
        if (id == 0) {
            continue;
        }
        unsigned int w = 0;
        unsigned int seq = 0;
        if (!WriterOf(read, &w, &seq)) {
            ++mixed;  // two records written over each other at the same moment
            continue;
        }
        EXPECT_NE(0, shared->writer[w - 1].ids[seq]) << "record " << seq << " of writer " << w;
        ++held;
    }
    EXPECT_LE(held + mixed, added);

    const WriterLog& one = shared->writer[0];
    const WriterLog& two = shared->writer[1];
    printf("records added: %d + %d (refused, the header half written: %d + %d)\n", one.adds,
           two.adds, one.addsRefused, two.addsRefused);
    printf("ids given to both writers: %d; ids not above the writer's previous one: %d + %d\n",
           idsOfBoth, one.idsBackwards, two.idsBackwards);
    printf(
        "read back by its id: own record %d + %d, another record %d + %d, id no longer "
        "held %d + %d, line half written %d + %d\n",
        one.readMine, two.readMine, one.readOther, two.readOther, one.readGone, two.readGone,
        one.readTorn, two.readTorn);
    printf(
        "afterwards: newest id %u, %u records held by the header; %d whole records and %d "
        "mixed lines in the file, %d records lost\n",
        static_cast<unsigned int>(reader->m_wLD), static_cast<unsigned int>(reader->m_wRC), held,
        mixed, added - held);
    munmap(memory, sizeof(SharedLog));
}

}  // namespace
