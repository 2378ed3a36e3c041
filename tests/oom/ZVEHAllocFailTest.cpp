// The error history (ZVEH) when allocations fail. Initialising gives 0 with code 33 when the
// history cannot be made, 15 when its path cannot be copied (nothing is held then, and a second
// initialisation works), and 46 or 49 when the file cannot be opened (the history is held, and
// the next call opens it). Adding, reading and clearing allocate only when they open the file
// first: they give their failure result with 46 or 49 and leave the file as it was. Between
// those calls the history allocates nothing at all.
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "../errhist/ErrHistSupport.h"
#include "AllocFailDriver.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVErrHistFunc.h"
#include "ZVErrorHistory.h"

namespace zvoom {
namespace {

const unsigned int kNoMemory = TARN_ERR_MEMORY_OVERFLOW;

// The codes an initialisation may leave: the history object (33), the copy of its path (15),
// and opening its file: the mutex (46) and the mapping (49).
const std::vector<unsigned int> kInitCodes = {TARN_ERR_CREATE_OBJECT, kNoMemory,
                                              TARN_ERR_CREATE_MUTEX, TARN_ERR_EH_OPEN_FILE};
// The codes of a call that has to open the file first.
const std::vector<unsigned int> kOpenCodes = {TARN_ERR_CREATE_MUTEX, TARN_ERR_EH_OPEN_FILE};

const unsigned short kCapacity = 4;

bool Held() {
    return CZVObjectHolder::GetInstance()->GetObject() != nullptr;
}

// Whether a history is held, and whether its file is open.
std::string Holding() {
    CZVErrorHistory* history =
        static_cast<CZVErrorHistory*>(CZVObjectHolder::GetInstance()->GetObject());
    if (history == nullptr) {
        return "none";
    }
    return history->IsOpened() ? "held, open" : "held, closed";
}

// A history file holding three records, as the library writes it. The history is initialised
// on a file of its very size: it maps an existing file at that size and fills it anew.
const std::string& HistoryBytes() {
    static const std::string kBytes = [] {
        zvtest::TempDir dir;
        const std::string path = dir.File("made.eh");
        zvtest::PrepareHistoryFile(path, kCapacity);
        EXPECT_EQ(1, ZVEHInitA(path.c_str(), kCapacity, 0));
        for (unsigned short n = 1; n <= 3; ++n) {
            ERRHIST_tag record = zvtest::MakeRecord(n);
            EXPECT_EQ(1, ZVEHAddErrorHistory(&record, nullptr));
        }
        EXPECT_EQ(1, ZVEHExit());
        return zvtest::ReadFile(path);
    }();
    return kBytes;
}

// A history file, not yet initialised, and the record the calls add.
void HistoryFile(Scene& scene) {
    ZVEHExit();
    scene.records[0] = zvtest::MakeRecord(9);
    scene.file = scene.dir.File("errors.eh");
    scene.wideFile = zvtest::Wide(scene.file);
    zvtest::WriteFile(scene.file, HistoryBytes());
}

// The history initialised on its file (which that empties) and holding two records.
void OpenHistory(Scene& scene) {
    HistoryFile(scene);
    ASSERT_EQ(1, ZVEHInitA(scene.file.c_str(), kCapacity, 0));
    for (unsigned short n = 1; n <= 2; ++n) {
        ERRHIST_tag record = zvtest::MakeRecord(n);
        ASSERT_EQ(1, ZVEHAddErrorHistory(&record, nullptr));
    }
}

// The history held but not open: it was initialised before its file was there. Every call
// opens the file first.
void UnopenedHistory(Scene& scene) {
    ZVEHExit();
    const std::string& bytes = HistoryBytes();  // made (once) while no history is held
    scene.records[0] = zvtest::MakeRecord(9);
    scene.file = scene.dir.File("later.eh");
    ASSERT_EQ(0, ZVEHInitA(scene.file.c_str(), kCapacity, 0));
    ASSERT_TRUE(Held());
    zvtest::WriteFile(scene.file, bytes);
}

State History(Scene& scene) {
    State state = FilesOf(scene);
    state.object = Holding();
    return state;
}

void Exit(Scene&) {
    EXPECT_EQ(1, ZVEHExit());
}

const Fixture kFile = {"HistoryFile", HistoryFile, History, Exit};
const Fixture kOpen = {"OpenHistory", OpenHistory, History, Exit};
const Fixture kUnopened = {"UnopenedHistory", UnopenedHistory, History, Exit};

// An initialisation that failed after the history was made leaves it held, and the next call
// opens it: that call must work. One that failed before leaves nothing, and works again.
Outcome OpenLater(Scene& scene, const Case& self) {
    if (!Held()) {
        TarnSetLastError(zvtest::kSentinelError);
        return self.read(scene, self.call(scene));
    }
    unsigned short first = 0;
    unsigned short last = 0;
    return Outcome{ZVEHGetRange(&first, &last) != 0, "1"};
}

// The result, the ids and the records read.
Outcome Records(Scene& scene, const Raw& raw) {
    std::string text = std::to_string(raw.number) + " first " + std::to_string(scene.id) +
                       " read " + std::to_string(scene.count);
    for (int i = 0; i < scene.count && i < 8; ++i) {
        const ERRHIST_tag& r = scene.records[i];
        text += " [" + std::to_string(r.wNumber1) + " " + std::string(r.szText) + " " +
                std::to_string(r.wCode) + " " + std::to_string(r.lTime) + " " +
                std::to_string(r.dwValue3) + "]";
    }
    return Outcome{raw.number < 0, text};
}

// The result and the id given.
Outcome Added(Scene& scene, const Raw& raw) {
    return Outcome{raw.number == 0, std::to_string(raw.number) + " id " + std::to_string(scene.id)};
}

Outcome Range(Scene& scene, const Raw& raw) {
    return Outcome{raw.number < 0, std::to_string(raw.number) + " " + std::to_string(scene.id) +
                                       ".." + std::to_string(scene.count)};
}

Raw Add(Scene& s) {
    return Number(ZVEHAddErrorHistory(&s.records[0], &s.id));
}

Raw Get(Scene& s) {
    return Number(ZVEHGetErrorHistory(0, 0, s.records, sizeof s.records, &s.id, &s.count));
}

Raw GetRange(Scene& s) {
    unsigned short last = 0;
    const int held = ZVEHGetRange(&s.id, &last);
    s.count = last;
    return Number(held);
}

const Case kCases[] = {
    {"ZVEHInitA", &kFile, [](Scene& s) { return Number(ZVEHInitA(s.file.c_str(), kCapacity, 0)); },
     Flag, kInitCodes, kLeavesPartDone, OpenLater},
    {"ZVEHInitW", &kFile,
     [](Scene& s) { return Number(ZVEHInitW(s.wideFile.c_str(), kCapacity, 0)); }, Flag, kInitCodes,
     kLeavesPartDone, OpenLater},
    {"ZVEHAddErrorHistory", &kOpen, Add, Added, {}},
    {"ZVEHGetErrorHistory", &kOpen, Get, Records, {}},
    {"ZVEHAddErrorHistory_Opening", &kUnopened, Add, Added, kOpenCodes},
    {"ZVEHGetErrorHistory_Opening", &kUnopened, Get, Records, kOpenCodes},
    {"ZVEHGetRange_Opening", &kUnopened, GetRange, Range, kOpenCodes},
    {"ZVEHClearErrorHistory_Opening", &kUnopened,
     [](Scene&) { return Number(ZVEHClearErrorHistory()); }, Flag, kOpenCodes},
};

ZV_ALLOC_FAIL_SUITE(ZVEH, kCases);

}  // namespace
}  // namespace zvoom
