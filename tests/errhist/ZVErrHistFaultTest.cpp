// The error history when the calls beneath it fail. This program supplies its own msync,
// pthread_mutex_lock, pthread_mutex_unlock, FileExists, TarnDupStringA, TarnDiffTime,
// OS_SystemTimeToFileTime and nothrow operator new, which the dynamic linker binds in place of
// the system's and the library's; each passes the call on to the real one (found with
// dlsym(RTLD_NEXT)) unless a test has asked it to fail or to answer otherwise. So the codes that
// only a failing system can cause are seen: 33, 46-47 (creation and locking in Open), 51 (a
// file opened at its own size), 55-57 (lock, flush, unlock), and the flush decision itself.
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>

#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ErrHistSupport.h"
#include "OSUtils.h"
#include "TarnError.h"
#include "TarnString.h"
#include "TarnTime.h"
#include "TestSupport.h"
#include "ZVErrHistFunc.h"
#include "ZVErrorHistory.h"

namespace {

// What the replacements do; all off between tests.
struct Faults {
    bool failMsync = false;
    int msyncAsync = 0;  // MS_ASYNC calls seen
    int msyncSync = 0;   // MS_SYNC calls seen
    pthread_mutex_t* failLock = nullptr;
    pthread_mutex_t* failUnlock = nullptr;
    int fileExistsLies = 0;  // this many next calls report "no such file"
    int dupCalls = 0;        // TarnDupStringA calls seen
    int failDupAt = 0;       // the call of this number fails (1 = the next), 0 none
    bool failNew = false;
    bool failTime = false;
    bool answerDiff = false;  // TarnDiffTime answers diff instead of the library
    int diff = 0;
    int diffCalls = 0;
    long diffEarlier = 0;
    long diffLater = 0;
    int diffUnit = -1;
};

Faults g_faults;

// The real function of a name, looked up once; no function-local statics here, since the guard
// of one may itself lock a mutex.
template <typename Fn>
Fn Real(Fn* cache, const char* name) {
    if (*cache == nullptr) {
        *cache = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
    }
    return *cache;
}

using MsyncFn = int (*)(void*, size_t, int);
using MutexFn = int (*)(pthread_mutex_t*);
using FileExistsFn = int (*)(const char*);
using DupFn = char* (*)(const char*);
using DiffFn = int (*)(const long*, const long*, int);
using ToFileTimeFn = int (*)(const _SYSTEMTIME*, long*);

MsyncFn g_msync = nullptr;
MutexFn g_lock = nullptr;
MutexFn g_unlock = nullptr;
FileExistsFn g_fileExists = nullptr;
DupFn g_dup = nullptr;
DiffFn g_diff = nullptr;
ToFileTimeFn g_toFileTime = nullptr;

}  // namespace

// The system's functions are declared without a visibility of their own, and this program is
// built with hidden visibility: their replacements must be exported to take their place.
#define ZV_REPLACEMENT __attribute__((visibility("default")))

extern "C" ZV_REPLACEMENT int msync(void* address, size_t length, int flags) {
    if (flags & MS_ASYNC) {
        ++g_faults.msyncAsync;
    }
    if (flags & MS_SYNC) {
        ++g_faults.msyncSync;
    }
    if (g_faults.failMsync) {
        errno = ENOMEM;
        return -1;
    }
    return Real(&g_msync, "msync")(address, length, flags);
}

extern "C" ZV_REPLACEMENT int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    if (mutex == g_faults.failLock) {
        return EINVAL;
    }
    return Real(&g_lock, "pthread_mutex_lock")(mutex);
}

extern "C" ZV_REPLACEMENT int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    if (mutex == g_faults.failUnlock) {
        return EPERM;
    }
    return Real(&g_unlock, "pthread_mutex_unlock")(mutex);
}

extern "C" int FileExists(const char* path) {
    if (g_faults.fileExistsLies > 0) {
        --g_faults.fileExistsLies;
        return 0;
    }
    return Real(&g_fileExists, "FileExists")(path);
}

extern "C" char* TarnDupStringA(const char* src) {
    if (++g_faults.dupCalls == g_faults.failDupAt) {
        TarnSetLastError(TARN_ERR_MEMORY_OVERFLOW);
        return nullptr;
    }
    return Real(&g_dup, "TarnDupStringA")(src);
}

extern "C" int TarnDiffTime(const long* earlier, const long* later, int unit) {
    ++g_faults.diffCalls;
    g_faults.diffEarlier = earlier != nullptr ? *earlier : -1;
    g_faults.diffLater = later != nullptr ? *later : -1;
    g_faults.diffUnit = unit;
    if (g_faults.answerDiff) {
        return g_faults.diff;
    }
    return Real(&g_diff, "TarnDiffTime")(earlier, later, unit);
}

extern "C" int OS_SystemTimeToFileTime(const _SYSTEMTIME* st, long* ft) {
    if (g_faults.failTime) {
        return 0;
    }
    return Real(&g_toFileTime, "OS_SystemTimeToFileTime")(st, ft);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (g_faults.failNew) {
        return nullptr;
    }
    try {
        return ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}

namespace {

using zvtest::EmptySlot;
using zvtest::HeaderLine;
using zvtest::HistoryPtr;
using zvtest::kNeverFlush;
using zvtest::kSentinelError;
using zvtest::MakeRecord;
using zvtest::RecordLine;

using zvtest::Code;

int Add(CZVErrorHistory* history, unsigned int seed, unsigned short* id = nullptr) {
    return zvtest::AddSeed(history, seed, id);
}

class ZVErrHistFaultTest : public zvtest::HistoryFileTest {
protected:
    void SetUp() override {
        g_faults = Faults();
        HistoryFileTest::SetUp();
    }
    void TearDown() override {
        g_faults = Faults();
        ZVEHExit();
    }
};

// ----------------------------------------------------------------------------------------------
// Creation and copies

TEST_F(ZVErrHistFaultTest, CreateWithoutMemory) {
    g_faults.failNew = true;
    EXPECT_EQ(nullptr, CZVErrorHistory::Create());
    EXPECT_EQ(Code(TARN_ERR_CREATE_OBJECT), TarnGetLastError());
}

TEST_F(ZVErrHistFaultTest, InitWithoutMemoryHoldsNothing) {
    zvtest::PrepareHistoryFile(path, 3);
    g_faults.failNew = true;
    EXPECT_EQ(0, ZVEHInitA(path.c_str(), 3, 0));
    EXPECT_EQ(Code(TARN_ERR_CREATE_OBJECT), TarnGetLastError());
    EXPECT_EQ(nullptr, CZVObjectHolder::GetInstance()->GetObject());
    g_faults.failNew = false;
    EXPECT_EQ(1, ZVEHInitA(path.c_str(), 3, 0));
}

TEST_F(ZVErrHistFaultTest, AssignPathWhoseCopyFails) {
    HistoryPtr history = Assigned(3, 5);
    g_faults.dupCalls = 0;
    g_faults.failDupAt = 1;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->AssignPath("other", 7, 9));
    EXPECT_EQ(Code(TARN_ERR_MEMORY_OVERFLOW), TarnGetLastError());
    // The old path is gone; capacity and interval stay.
    EXPECT_EQ(nullptr, history->m_pszPath);
    EXPECT_EQ(3, history->m_wCapacity);
    EXPECT_EQ(5u, history->m_dwFlushInterval);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_EH_PATH_NOT_ASSIGNED), TarnGetLastError());
}

TEST_F(ZVErrHistFaultTest, InitWhoseCopiesFailHoldsNothing) {
    zvtest::PrepareHistoryFile(path, 3);
    for (int failing : {1, 2}) {  // ZVEHInitA's own copy, then AssignPath's
        g_faults.dupCalls = 0;
        g_faults.failDupAt = failing;
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(0, ZVEHInitA(path.c_str(), 3, 0)) << failing;
        EXPECT_EQ(Code(TARN_ERR_MEMORY_OVERFLOW), TarnGetLastError()) << failing;
        EXPECT_EQ(nullptr, CZVObjectHolder::GetInstance()->GetObject()) << failing;
    }
}

// ----------------------------------------------------------------------------------------------
// Open

TEST_F(ZVErrHistFaultTest, OpenWhoseMutexNameCannotBeCopied) {
    zvtest::PrepareHistoryFile(path, 3);
    const std::string before = File();
    HistoryPtr history = Assigned(3);
    g_faults.dupCalls = 0;
    g_faults.failDupAt = 1;  // the mutex name
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_CREATE_MUTEX), TarnGetLastError());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
    EXPECT_EQ(before, File());
}

TEST_F(ZVErrHistFaultTest, OpenWhoseMutexCannotBeLocked) {
    zvtest::PrepareHistoryFile(path, 3);
    const std::string before = File();
    HistoryPtr history = Assigned(3);
    g_faults.failLock = &history->m_MapFile.m_Mutex;
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_LOCK_MUTEX), TarnGetLastError());
    EXPECT_EQ(0, history->IsOpened());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
    EXPECT_EQ(before, File());
    g_faults.failLock = nullptr;
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(1, history->Open());
}

TEST_F(ZVErrHistFaultTest, OpenWhoseMappingPathCannotBeCopied) {
    zvtest::PrepareHistoryFile(path, 3);
    HistoryPtr history = Assigned(3);
    g_faults.dupCalls = 0;
    g_faults.failDupAt = 2;  // after the mutex name: the mapping's copy of the path
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_EH_OPEN_FILE), TarnGetLastError());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
}

TEST_F(ZVErrHistFaultTest, OpenWhoseFirstFlushFails) {
    zvtest::PrepareHistoryFile(path, 3);
    HistoryPtr history = Assigned(3, 0);
    g_faults.failMsync = true;
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_EH_FLUSH_FILE), TarnGetLastError());
    EXPECT_EQ(0, history->IsOpened());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
}

TEST_F(ZVErrHistFaultTest, OpenWhoseFirstUnlockFails) {
    zvtest::PrepareHistoryFile(path, 3);
    HistoryPtr history = Assigned(3);
    g_faults.failUnlock = &history->m_MapFile.m_Mutex;
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_EH_UNLOCK_FILE), TarnGetLastError());
    EXPECT_EQ(0, history->IsOpened());
    // The mapping's mutex could not be released, so it could not be closed either.
    EXPECT_EQ(1, history->m_MapFile.m_bMutexCreated);
    g_faults.failUnlock = nullptr;
}

// ----------------------------------------------------------------------------------------------
// A file opened at its own size: reached when the existence test says the file is missing but
// the mapping finds it.

TEST_F(ZVErrHistFaultTest, FileAtItsOwnSizeKeepsItsRecords) {
    {
        HistoryPtr first = Opened(3);
        ASSERT_EQ(1, Add(first.get(), 1));
        ASSERT_EQ(1, Add(first.get(), 2));
    }
    const std::string before = File();
    HistoryPtr history = Assigned(50);
    g_faults.fileExistsLies = 1;
    EXPECT_EQ(1, history->Open());
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_EQ(3, history->m_wCapacity);  // taken from the header
    EXPECT_EQ(480u, history->m_MapFile.m_dwLength);
    EXPECT_EQ(before, File());
    unsigned short id = 0;
    EXPECT_EQ(1, Add(history.get(), 3, &id));
    EXPECT_EQ(3, id);
    EXPECT_EQ(HeaderLine(0, 1, 3, 3, 3, 0) + RecordLine(1, MakeRecord(1)) +
                  RecordLine(2, MakeRecord(2)) + RecordLine(3, MakeRecord(3)),
              File());
}

TEST_F(ZVErrHistFaultTest, FileAtItsOwnSizeWithCapacityZeroAssigned) {
    zvtest::WriteFile(path, HeaderLine(0, 0, 0, 0, 2, 0) + EmptySlot() + EmptySlot());
    HistoryPtr history = Assigned(0);
    g_faults.fileExistsLies = 1;
    EXPECT_EQ(1, history->Open());
    EXPECT_EQ(2, history->m_wCapacity);
}

TEST_F(ZVErrHistFaultTest, FileAtItsOwnSizeOfAnotherCapacityIsCorrupted) {
    const std::string bytes = HeaderLine(0, 0, 0, 0, 4, 0) + std::string(3 * 128, ' ');
    zvtest::WriteFile(path, bytes);
    HistoryPtr history = Assigned(3);
    g_faults.fileExistsLies = 1;
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_EH_FILE_CORRUPTED), TarnGetLastError());
    EXPECT_EQ(0, history->IsOpened());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
    EXPECT_EQ(bytes, File());
}

TEST_F(ZVErrHistFaultTest, FileAtItsOwnSizeShorterThanAHeaderIsCorrupted) {
    for (unsigned size : {1u, 95u}) {
        const std::string bytes = HeaderLine(0, 0, 0, 0, 0, 0).substr(0, size);
        zvtest::WriteFile(path, bytes);
        HistoryPtr history = Assigned(3);
        g_faults.fileExistsLies = 1;
        TarnSetLastError(kSentinelError);
        EXPECT_EQ(0, history->Open()) << size;
        EXPECT_EQ(Code(TARN_ERR_EH_FILE_CORRUPTED), TarnGetLastError()) << size;
        EXPECT_EQ(0, history->IsOpened());
        EXPECT_EQ(bytes, File());
    }
}

TEST_F(ZVErrHistFaultTest, FileAtItsOwnSizeWithACorruptedHeader) {
    std::string bytes = HeaderLine(0, 0, 0, 0, 2, 0) + EmptySlot() + EmptySlot();
    bytes[39] = ' ';
    zvtest::WriteFile(path, bytes);
    HistoryPtr history = Assigned(2);
    g_faults.fileExistsLies = 1;
    EXPECT_EQ(0, history->Open());
    EXPECT_EQ(Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
    EXPECT_EQ(0, history->IsOpened());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
    EXPECT_EQ(bytes, File());
}

TEST_F(ZVErrHistFaultTest, FileAtItsOwnSizeWithoutSlotsNeverDividesByZero) {
    // A bare header of MC 0 matches its 96 bytes, but no lock accepts it afterwards.
    zvtest::WriteFile(path, HeaderLine(0, 0, 0, 0, 0, 0));
    HistoryPtr history = Assigned(3);
    g_faults.fileExistsLies = 1;
    EXPECT_EQ(1, history->Open());
    EXPECT_EQ(0, history->m_wCapacity);
    EXPECT_EQ(0, Add(history.get(), 1));
    EXPECT_EQ(Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, history->Get(0, 0, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
    EXPECT_EQ(HeaderLine(0, 0, 0, 0, 0, 0), File());
}

TEST_F(ZVErrHistFaultTest, FileAtItsOwnSizeWithMoreRecordsThanSlots) {
    zvtest::WriteFile(path, HeaderLine(0, 1, 3, 3, 2, 0) + EmptySlot() + EmptySlot());
    HistoryPtr history = Assigned(2);
    g_faults.fileExistsLies = 1;
    EXPECT_EQ(1, history->Open());  // only the size is checked here
    EXPECT_EQ(0, Add(history.get(), 1));
    EXPECT_EQ(Code(TARN_ERR_EH_HEADER_CORRUPTED), TarnGetLastError());
}

// ----------------------------------------------------------------------------------------------
// Locking, flushing and unlocking

TEST_F(ZVErrHistFaultTest, LockFailures) {
    HistoryPtr history = Opened(3);
    ASSERT_EQ(1, Add(history.get(), 1));
    const std::string before = File();
    g_faults.failLock = &history->m_MapFile.m_Mutex;
    unsigned short id = 0xABCD;
    EXPECT_EQ(0, Add(history.get(), 2, &id));
    EXPECT_EQ(Code(TARN_ERR_EH_LOCK_FILE), TarnGetLastError());
    EXPECT_EQ(0, id);
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, history->GetRange(nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_LOCK_FILE), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, history->Get(0, 0, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_LOCK_FILE), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->Clear());
    EXPECT_EQ(Code(TARN_ERR_EH_LOCK_FILE), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->Lock(1));
    EXPECT_EQ(Code(TARN_ERR_EH_LOCK_FILE), TarnGetLastError());
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
    EXPECT_EQ(before, File());
    g_faults.failLock = nullptr;
    EXPECT_EQ(1, Add(history.get(), 2, &id));
    EXPECT_EQ(2, id);
}

TEST_F(ZVErrHistFaultTest, UnlockFailures) {
    HistoryPtr history = Opened(3);
    g_faults.failUnlock = &history->m_MapFile.m_Mutex;
    unsigned short id = 0xABCD;
    EXPECT_EQ(0, Add(history.get(), 1, &id));
    EXPECT_EQ(Code(TARN_ERR_EH_UNLOCK_FILE), TarnGetLastError());
    EXPECT_EQ(0, id);  // given only when the unlock succeeds
    // The record and the header are in the file; the mutex is still held.
    EXPECT_EQ(
        HeaderLine(0, 1, 1, 1, 3, 0) + RecordLine(1, MakeRecord(1)) + EmptySlot() + EmptySlot(),
        File());
    EXPECT_EQ(1, history->m_MapFile.IsLocked());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, history->GetRange(nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_UNLOCK_FILE), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, history->Get(1, 1, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_UNLOCK_FILE), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->Clear());
    EXPECT_EQ(Code(TARN_ERR_EH_UNLOCK_FILE), TarnGetLastError());
    // Closing needs the mutex released too; the mapping is let go all the same.
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->AssignPath("other", 3, 0));
    EXPECT_EQ(kSentinelError, TarnGetLastError());
    EXPECT_STREQ(path.c_str(), history->m_pszPath);
    EXPECT_EQ(0, history->IsOpened());
    EXPECT_EQ(1, history->m_MapFile.m_bMutexCreated);
    EXPECT_EQ(0, history->Close());
    g_faults.failUnlock = nullptr;
    EXPECT_EQ(1, history->Close());
    EXPECT_EQ(0, history->m_MapFile.m_bMutexCreated);
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
}

TEST_F(ZVErrHistFaultTest, FlushFailures) {
    HistoryPtr history = Opened(3, 0);
    g_faults.failMsync = true;
    unsigned short id = 0xABCD;
    EXPECT_EQ(0, Add(history.get(), 1, &id));
    EXPECT_EQ(Code(TARN_ERR_EH_FLUSH_FILE), TarnGetLastError());
    EXPECT_EQ(0, id);
    EXPECT_EQ(1, history->m_MapFile.IsLocked());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(-1, history->GetRange(nullptr, nullptr));
    EXPECT_EQ(Code(TARN_ERR_EH_FLUSH_FILE), TarnGetLastError());
    TarnSetLastError(kSentinelError);
    EXPECT_EQ(0, history->Clear());
    EXPECT_EQ(Code(TARN_ERR_EH_FLUSH_FILE), TarnGetLastError());
    g_faults.failMsync = false;
    // Still locked from before: the header is not read again, and the unlock now works.
    EXPECT_EQ(1, Add(history.get(), 2, &id));
    EXPECT_EQ(2, id);
    EXPECT_EQ(0, history->m_MapFile.IsLocked());
}

TEST_F(ZVErrHistFaultTest, NeverFlushingIntervalDoesNotNeedTheFlush) {
    HistoryPtr history = Opened(3, kNeverFlush);
    g_faults.failMsync = true;
    unsigned short id = 0;
    EXPECT_EQ(1, Add(history.get(), 1, &id));
    EXPECT_EQ(1, id);
    EXPECT_EQ(0, g_faults.msyncAsync);
    EXPECT_EQ(kSentinelError, TarnGetLastError());
}

TEST_F(ZVErrHistFaultTest, EveryUnlockFlushesOnceOrNever) {
    for (unsigned int interval : {0u, 3000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        const int flushes = static_cast<int>(interval) >= 0 ? 1 : 0;
        g_faults.msyncAsync = 0;
        HistoryPtr history = Opened(3, interval);
        EXPECT_EQ(flushes, g_faults.msyncAsync) << interval;
        g_faults.msyncAsync = 0;
        EXPECT_EQ(1, Add(history.get(), 1));
        EXPECT_EQ(flushes, g_faults.msyncAsync) << interval;
        g_faults.msyncAsync = 0;
        EXPECT_EQ(1, history->GetRange(nullptr, nullptr));
        EXPECT_EQ(1, history->Get(0, 0, nullptr, 0, nullptr, nullptr));
        EXPECT_EQ(1, history->Clear());
        EXPECT_EQ(3 * flushes, g_faults.msyncAsync) << interval;
        // Closing writes the mapping back at once, whatever the interval.
        g_faults.msyncSync = 0;
        EXPECT_EQ(1, history->Close());
        EXPECT_EQ(1, g_faults.msyncSync);
    }
}

TEST_F(ZVErrHistFaultTest, IntervalIsComparedWithTheTimeSinceTheLastFlush) {
    HistoryPtr history = Opened(2, 3000);
    g_faults.answerDiff = true;
    const struct {
        unsigned int interval;
        int diff;
        bool flushes;
    } cases[] = {
        {3000, 5000, false},     {4999, 5000, false},
        {5000, 5000, true},      {5001, 5000, true},
        {0, 5000, true},         {1, -1, true},
        {1, 2, false},           {0x80000000u, INT32_MIN, true},
        {0xFFFFFFFFu, -1, true}, {0xFFFFFFFFu, 0, false},
    };
    for (const auto& c : cases) {
        history->m_dwFlushInterval = c.interval;
        g_faults.diff = c.diff;
        zvtest::PatchFile(path, 12, "2009/03/07 14:05:09:000");
        g_faults.msyncAsync = 0;
        g_faults.diffCalls = 0;
        const long long before = zvtest::NowSeconds();
        ASSERT_EQ(1, history->Clear()) << c.interval << " " << c.diff;
        const long long after = zvtest::NowSeconds();
        EXPECT_EQ(c.flushes ? 1 : 0, g_faults.msyncAsync) << c.interval << " " << c.diff;
        EXPECT_EQ(c.interval == 0 ? 0 : 1, g_faults.diffCalls) << c.interval;
        if (c.interval != 0) {
            // From the LM just read to now, in the unit 0.
            EXPECT_EQ(zvtest::Utc(2009, 3, 7, 14, 5, 9), g_faults.diffEarlier);
            EXPECT_LE(before, g_faults.diffLater);
            EXPECT_GE(after, g_faults.diffLater);
            EXPECT_EQ(0, g_faults.diffUnit);
        }
        if (c.flushes) {
            EXPECT_NE("2009/03/07 14:05:09:000", File().substr(12, 23));
        } else {
            EXPECT_EQ("2009/03/07 14:05:09:000", File().substr(12, 23));
        }
    }
}

TEST_F(ZVErrHistFaultTest, UnlockWhoseClockFails) {
    HistoryPtr history = Opened(3);
    g_faults.failTime = true;
    unsigned short id = 0xABCD;
    EXPECT_EQ(0, Add(history.get(), 1, &id));
    EXPECT_EQ(Code(TARN_ERR_SYSTEM_TIME_CONVERSION), TarnGetLastError());
    EXPECT_EQ(0, id);
    EXPECT_EQ(1, history->m_MapFile.IsLocked());
    // Nothing was written back: the header in the file is the one from before.
    EXPECT_EQ(HeaderLine(0, 0, 0, 0, 3, 0), zvtest::HeaderOf(File()));
    g_faults.failTime = false;
    EXPECT_EQ(1, Add(history.get(), 2, &id));
    EXPECT_EQ(2, id);
    EXPECT_EQ(HeaderLine(0, 1, 2, 2, 3, 0) + RecordLine(1, MakeRecord(1)) +
                  RecordLine(2, MakeRecord(2)) + EmptySlot(),
              File());
}

}  // namespace
