// Where the error history takes its critical sections. They are empty calls in the library, so
// this program supplies its own OS_InitializeCriticalSection, OS_EnterCriticalSection,
// OS_LeaveCriticalSection and OS_DeleteCriticalSection, which the dynamic linker binds in place
// of the library's, and records every call: the holder is made on first use and destroyed at
// exit, every ZVEH call holds the holder's critical section from start to end on every path,
// and every operation of a history holds the history's own.
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "ErrHistSupport.h"
#include "OSUtils.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVErrHistFunc.h"
#include "ZVErrorHistory.h"

namespace {

struct Call {
    char kind;  // 'I' initialise, 'E' enter, 'L' leave, 'D' delete
    pthread_mutex_t* cs;
};

const int kMaxCalls = 4096;
Call g_calls[kMaxCalls];
int g_count = 0;

void Record(char kind, pthread_mutex_t* cs) {
    if (g_count < kMaxCalls) {
        g_calls[g_count].kind = kind;
        g_calls[g_count].cs = cs;
    }
    ++g_count;
}

}  // namespace

extern "C" void OS_InitializeCriticalSection(pthread_mutex_t* cs) {
    Record('I', cs);
}

extern "C" void OS_EnterCriticalSection(pthread_mutex_t* cs) {
    Record('E', cs);
}

extern "C" void OS_LeaveCriticalSection(pthread_mutex_t* cs) {
    Record('L', cs);
}

extern "C" void OS_DeleteCriticalSection(pthread_mutex_t* cs) {
    Record('D', cs);
}

namespace {

using zvtest::kNeverFlush;
using zvtest::MakeRecord;

// The calls recorded, as letters, keeping only those on cs.
std::string CallsOn(pthread_mutex_t* cs) {
    std::string kinds;
    for (int i = 0; i < g_count && i < kMaxCalls; ++i) {
        if (g_calls[i].cs == cs) {
            kinds.push_back(g_calls[i].kind);
        }
    }
    return kinds;
}

// Whether the enters and leaves on cs pair up: never more leaves than enters, none left open.
bool Balanced(pthread_mutex_t* cs) {
    int depth = 0;
    for (char kind : CallsOn(cs)) {
        depth += kind == 'E' ? 1 : kind == 'L' ? -1 : 0;
        if (depth < 0) {
            return false;
        }
    }
    return depth == 0;
}

pthread_mutex_t* HolderSection() {
    return &CZVObjectHolder::GetInstance()->m_CriticalSection;
}

// Checks that the calls recorded since the last reset lie within the holder's critical section:
// the first enters it, the last leaves it, and every critical section pairs up.
void ExpectWithinHolder(const char* what) {
    ASSERT_GE(g_count, 2) << what;
    ASSERT_LE(g_count, kMaxCalls) << what;
    EXPECT_EQ('E', g_calls[0].kind) << what;
    EXPECT_EQ(HolderSection(), g_calls[0].cs) << what;
    EXPECT_EQ('L', g_calls[g_count - 1].kind) << what;
    EXPECT_EQ(HolderSection(), g_calls[g_count - 1].cs) << what;
    for (int i = 0; i < g_count; ++i) {
        EXPECT_TRUE(Balanced(g_calls[i].cs)) << what << ": call " << i;
    }
}

// The write end of the pipe the child of HolderIsMadeOnFirstUseAndDestroyedAtExit reports to.
int g_reportFd = -1;
pthread_mutex_t* g_holderSection = nullptr;

// Runs at exit after the holder's destructor (it was registered before the holder was made):
// sends the calls on the holder's critical section.
void ReportHolderCalls() {
    const std::string calls = CallsOn(g_holderSection);
    ssize_t written = write(g_reportFd, calls.data(), calls.size());
    (void)written;
    close(g_reportFd);
}

// Run first: the holder of this process is not made yet.
TEST(ZVErrHistHolderLifeTest, HolderIsMadeOnFirstUseAndDestroyedAtExit) {
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    fflush(nullptr);
    pid_t pid = fork();
    ASSERT_NE(-1, pid);
    if (pid == 0) {
        close(fds[0]);
        g_reportFd = fds[1];
        atexit(ReportHolderCalls);
        g_count = 0;
        CZVObjectHolder* holder = CZVObjectHolder::GetInstance();
        g_holderSection = &holder->m_CriticalSection;
        const std::string made = CallsOn(g_holderSection);
        const bool ok = made == "IEL" && holder->GetObject() == nullptr;
        static int kept = 0;
        holder->SetObject(&kept);  // not deleted at exit: it is no heap object
        g_count = 0;
        exit(ok ? 0 : 3);
    }
    close(fds[1]);
    char buffer[64];
    std::string calls;
    ssize_t got;
    while ((got = read(fds[0], buffer, sizeof buffer)) > 0) {
        calls.append(buffer, static_cast<size_t>(got));
    }
    close(fds[0]);
    int status = 0;
    ASSERT_EQ(pid, waitpid(pid, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status)) << "construction: initialise, enter, leave, no object";
    // Destruction: the object is dropped under the critical section, which is then deleted.
    EXPECT_EQ("ELD", calls);
}

class ZVErrHistCallsTest : public zvtest::HistoryFileTest {
protected:
    void SetUp() override {
        HistoryFileTest::SetUp();
        zvtest::PrepareHistoryFile(path, 3);
        CZVObjectHolder::GetInstance();  // made now, not inside the first call looked at
        g_count = 0;
    }
    void TearDown() override { ZVEHExit(); }
};

TEST_F(ZVErrHistCallsTest, HolderCallsEnterAndLeave) {
    CZVObjectHolder* holder = CZVObjectHolder::GetInstance();
    g_count = 0;
    holder->Lock(1);
    holder->Lock(0);
    holder->SetObject(nullptr);
    holder->GetObject();
    EXPECT_EQ("ELELEL", CallsOn(HolderSection()));
    EXPECT_EQ(6, g_count);
}

TEST_F(ZVErrHistCallsTest, EveryCallBeforeInitHoldsTheHolder) {
    ERRHIST_tag record = MakeRecord(1);
    g_count = 0;
    EXPECT_EQ(-1, ZVEHGetRange(nullptr, nullptr));
    ExpectWithinHolder("GetRange");
    g_count = 0;
    EXPECT_EQ(-1, ZVEHGetErrorHistory(1, 1, nullptr, 0, nullptr, nullptr));
    ExpectWithinHolder("GetErrorHistory");
    g_count = 0;
    EXPECT_EQ(0, ZVEHClearErrorHistory());
    ExpectWithinHolder("ClearErrorHistory");
    g_count = 0;
    EXPECT_EQ(0, ZVEHAddErrorHistory(&record, nullptr));
    ExpectWithinHolder("AddErrorHistory");
    g_count = 0;
    EXPECT_EQ(1, ZVEHExit());
    ExpectWithinHolder("Exit");
}

TEST_F(ZVErrHistCallsTest, EveryInitHoldsTheHolder) {
    g_count = 0;
    EXPECT_EQ(0, ZVEHInitA(nullptr, 3, 0));
    ExpectWithinHolder("InitA without path");
    g_count = 0;
    EXPECT_EQ(0, ZVEHInitA(dir.File("missing").c_str(), 3, 0));
    ExpectWithinHolder("InitA of a missing file");
    g_count = 0;
    EXPECT_EQ(0, ZVEHInitA(path.c_str(), 3, 0));
    ExpectWithinHolder("InitA when initialised");
    EXPECT_EQ(1, ZVEHExit());
    g_count = 0;
    EXPECT_EQ(1, ZVEHInitA(path.c_str(), 3, 0));
    ExpectWithinHolder("InitA");
    EXPECT_EQ(1, ZVEHExit());
    // The wide form converts its path before it calls the narrow one.
    g_count = 0;
    EXPECT_EQ(1, ZVEHInitW(zvtest::Wide(path).c_str(), 3, 0));
    ExpectWithinHolder("InitW");
    g_count = 0;
    EXPECT_EQ(0, ZVEHInitW(nullptr, 3, 0));
    EXPECT_EQ(0, g_count);
}

TEST_F(ZVErrHistCallsTest, EveryCallAfterInitHoldsTheHolder) {
    ASSERT_EQ(1, ZVEHInitA(path.c_str(), 3, kNeverFlush));
    CZVErrorHistory* history =
        static_cast<CZVErrorHistory*>(CZVObjectHolder::GetInstance()->GetObject());
    pthread_mutex_t* historySection = &history->m_CriticalSection;
    ERRHIST_tag record = MakeRecord(1);
    ERRHIST_tag buffer[3];
    unsigned short id = 0;
    g_count = 0;
    EXPECT_EQ(1, ZVEHAddErrorHistory(&record, &id));
    ExpectWithinHolder("AddErrorHistory");
    EXPECT_NE(std::string::npos, CallsOn(historySection).find('E'));
    g_count = 0;
    EXPECT_EQ(0, ZVEHAddErrorHistory(nullptr, &id));
    ExpectWithinHolder("AddErrorHistory of no record");
    g_count = 0;
    EXPECT_EQ(1, ZVEHGetErrorHistory(0, 0, buffer, sizeof buffer, nullptr, nullptr));
    ExpectWithinHolder("GetErrorHistory");
    g_count = 0;
    EXPECT_EQ(-1, ZVEHGetErrorHistory(0, 1, buffer, sizeof buffer, nullptr, nullptr));
    ExpectWithinHolder("GetErrorHistory of id 0");
    g_count = 0;
    EXPECT_EQ(1, ZVEHGetRange(nullptr, nullptr));
    ExpectWithinHolder("GetRange");
    g_count = 0;
    EXPECT_EQ(1, ZVEHClearErrorHistory());
    ExpectWithinHolder("ClearErrorHistory");
    zvtest::PatchFile(path, 0, "x");
    g_count = 0;
    EXPECT_EQ(-1, ZVEHGetRange(nullptr, nullptr));
    ExpectWithinHolder("GetRange of a corrupted file");
    g_count = 0;
    EXPECT_EQ(1, ZVEHExit());
    ExpectWithinHolder("Exit");
    // The history's critical section was deleted last thing before it went.
    EXPECT_EQ('D', CallsOn(historySection).back());
}

TEST_F(ZVErrHistCallsTest, ShiftTakesNoCriticalSection) {
    unsigned short result = 0;
    g_count = 0;
    EXPECT_EQ(1, ZVEHShiftErrorID(1, 1, &result));
    EXPECT_EQ(0, ZVEHShiftErrorID(0, 1, &result));
    EXPECT_EQ(1, CZVErrorHistory::ShiftID(2, 1, &result));
    EXPECT_EQ(0, g_count);
}

TEST_F(ZVErrHistCallsTest, EveryHistoryOperationHoldsItsCriticalSection) {
    g_count = 0;
    zvtest::HistoryPtr history(CZVErrorHistory::Create());
    pthread_mutex_t* cs = &history->m_CriticalSection;
    EXPECT_EQ("I", CallsOn(cs));
    ERRHIST_tag record = MakeRecord(1);
    unsigned short id = 0;
    std::string line(128, ' ');

    CZVErrorHistory* h = history.get();
    const char* file = path.c_str();
    const struct {
        const char* what;
        int expected;
        std::function<int()> call;
    } operations[] = {
        {"Open without path", 0, [h] { return h->Open(); }},
        {"AssignPath of null", 0, [h] { return h->AssignPath(nullptr, 3, 0); }},
        {"AssignPath", 1, [h, file] { return h->AssignPath(file, 3, kNeverFlush); }},
        {"Open", 1, [h] { return h->Open(); }},
        {"Add", 1, [h, &record, &id] { return h->Add(&record, &id); }},
        {"Add of no record", 0, [h, &id] { return h->Add(nullptr, &id); }},
        {"Get", 1, [h, &record] { return h->Get(0, 0, &record, sizeof record, nullptr, nullptr); }},
        {"Get into no buffer", -1, [h] { return h->Get(1, 1, nullptr, 1, nullptr, nullptr); }},
        {"GetRange", 1, [h] { return h->GetRange(nullptr, nullptr); }},
        {"Clear", 1, [h] { return h->Clear(); }},
        {"IsOpened", 1, [h] { return h->IsOpened(); }},
        {"Lock", 1, [h] { return h->Lock(1); }},
        {"ExchangeHeader", 1, [h] { return h->ExchangeHeader(1, nullptr); }},
        {"Unlock", 1, [h] { return h->Lock(0); }},
        {"ExchangeHeader when not locked", 0, [h] { return h->ExchangeHeader(0, nullptr); }},
        {"ExchangeErrHist", 1,
         [h, &record, &id, &line] { return h->ExchangeErrHist(&id, &record, 1, &line[0]); }},
        {"ExchangeErrHist into no buffer", 0,
         [h, &record, &id] { return h->ExchangeErrHist(&id, &record, 0, nullptr); }},
        {"Close", 1, [h] { return h->Close(); }},
        {"Lock when closed", 0, [h] { return h->Lock(1); }},
    };
    // Each operation's calls begin by entering the history's section and end by leaving it.
    for (const auto& op : operations) {
        g_count = 0;
        EXPECT_EQ(op.expected, op.call()) << op.what;
        const std::string calls = CallsOn(cs);
        ASSERT_GE(calls.size(), 2u) << op.what;
        EXPECT_EQ('E', calls.front()) << op.what;
        EXPECT_EQ('L', calls.back()) << op.what;
        EXPECT_TRUE(Balanced(cs)) << op.what;
        EXPECT_EQ(std::string::npos, calls.find_first_of("ID")) << op.what;
    }

    // Deletion: the section is held while closing, then deleted.
    g_count = 0;
    history.reset();
    const std::string calls = CallsOn(cs);
    ASSERT_GE(calls.size(), 3u);
    EXPECT_EQ('E', calls.front());
    EXPECT_EQ("LD", calls.substr(calls.size() - 2));
}

}  // namespace
