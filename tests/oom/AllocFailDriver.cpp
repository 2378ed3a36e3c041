// The driver of the allocation-failure cases (see the header).
#include "AllocFailDriver.h"

#include <stdio.h>

#include <algorithm>
#include <bitset>
#include <string>

#include "AllocFail.h"
#include "TarnError.h"
#include "TarnString.h"

namespace zvoom {

namespace {

// No call of the library makes nearly this many allocations; a run past it is a runaway.
const long kMostAttempts = 5000;

// Last-error codes below this are told apart when the codes of failures are gathered.
const size_t kCodeCount = 128;

// Where a header line's time stamp lies: behind the type and version and ",LM:".
const size_t kStampMark = 8;
const size_t kStampStart = 12;
const size_t kStampLength = 23;

// What a run without failures gives: the state before the call (seen in a scene of its own, so
// that looking does not fill what the call would fill), the result, the code, the state
// afterwards and how many allocations the call attempted.
struct Clean {
    State before;
    Outcome outcome;
    unsigned int code = 0;
    State after;
    long attempts = 0;
};

std::string Describe(const Outcome& outcome) {
    return (outcome.failed ? "failure " : "") + outcome.text;
}

std::string Codes(const std::vector<unsigned int>& codes) {
    std::string text;
    for (unsigned int code : codes) {
        text += (text.empty() ? "" : " ") + std::to_string(code);
    }
    return text.empty() ? "(none)" : text;
}

// One run without failures: the call counted, read, and the state observed.
Clean RunClean(const Case& c) {
    Clean clean;
    {
        Scene fresh;
        c.fixture->prepare(fresh);
        clean.before = c.fixture->observe(fresh);
        c.fixture->finish(fresh);
    }
    Scene scene;
    c.fixture->prepare(scene);
    TarnSetLastError(zvtest::kSentinelError);
    Arm(0, false);
    Raw raw = c.call(scene);
    clean.code = TarnGetLastError();
    clean.attempts = Disarm();
    raw.code = clean.code;
    clean.outcome = c.read(scene, raw);
    clean.after = c.fixture->observe(scene);
    c.fixture->finish(scene);
    return clean;
}

// After a failure, the object brought to work again: the case's own way, or the call again.
Outcome Recover(Scene& scene, const Case& c) {
    if (c.recover != nullptr) {
        return c.recover(scene, c);
    }
    TarnSetLastError(zvtest::kSentinelError);
    Raw raw = c.call(scene);
    raw.code = TarnGetLastError();
    return c.read(scene, raw);
}

// What a call that met the failure gave and left, checked against the clean run.
void CheckMet(Scene& scene, const Case& c, const Clean& clean, const Outcome& outcome,
              unsigned int code) {
    if (!outcome.failed) {
        // The failure was absorbed: the call gave what it gives without one.
        EXPECT_EQ(clean.outcome.text, outcome.text) << "a call that absorbed the failure";
        if ((c.flags & kKeepsCode) != 0) {
            EXPECT_EQ(clean.code, code) << "the code left by a call that absorbed the failure";
        }
        return;
    }
    const std::vector<unsigned int>& codes = c.codes;
    EXPECT_NE(codes.end(), std::find(codes.begin(), codes.end(), code))
        << "code " << code << " is none of " << Codes(codes);
    const State after = c.fixture->observe(scene);
    if ((c.flags & kLeavesPartDone) == 0) {
        EXPECT_EQ(clean.before.object, after.object) << "the object after the failed call";
    }
    if ((c.flags & kRewritesFile) == 0) {
        EXPECT_EQ(clean.before.files, after.files) << "the files after the failed call";
    }
    const Outcome again = Recover(scene, c);
    EXPECT_EQ(Describe(clean.outcome), Describe(again)) << "the call made again";
}

// One run in which allocation number n fails (and with persist every one after it). Returns
// whether the call met the failure.
bool RunFailing(const Case& c, const Clean& clean, long n, bool persist,
                std::bitset<kCodeCount>* seen) {
    SCOPED_TRACE(testing::Message() << c.name << ": allocation " << n
                                    << (persist ? " and every one after it" : "") << " fails");
    const long live = LiveAllocations();
    bool met = false;
    {
        Scene scene;
        c.fixture->prepare(scene);
        TarnSetLastError(zvtest::kSentinelError);
        Arm(n, persist);
        Raw raw = c.call(scene);
        const unsigned int code = TarnGetLastError();
        Disarm();
        raw.code = code;
        met = FailureMet();
        const Outcome outcome = c.read(scene, raw);
        if (met) {
            if (outcome.failed && code < seen->size()) {
                seen->set(code);
            }
            CheckMet(scene, c, clean, outcome, code);
        } else {
            EXPECT_EQ(Describe(clean.outcome), Describe(outcome)) << "a call that met no failure";
        }
        const State after = c.fixture->observe(scene);
        EXPECT_EQ(clean.after.object, after.object) << "the object at the end";
        EXPECT_EQ(clean.after.files, after.files) << "the files at the end";
        c.fixture->finish(scene);
    }
    EXPECT_EQ(live, LiveAllocations()) << "blocks left allocated";
    EXPECT_EQ(0, LeakCheck()) << "blocks leaked";
    return met;
}

}  // namespace

Raw Number(long long number) {
    Raw raw;
    raw.number = number;
    return raw;
}

Raw Real(double real) {
    Raw raw;
    raw.real = real;
    return raw;
}

Raw Pointer(const void* pointer) {
    Raw raw;
    raw.pointer = pointer;
    return raw;
}

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

std::string CaseName(const testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

Outcome Flag(Scene&, const Raw& raw) {
    return Outcome{raw.number == 0, std::to_string(raw.number)};
}

Outcome Block(Scene&, const Raw& raw) {
    if (raw.pointer == nullptr) {
        return Outcome{true, "null"};
    }
    TarnFreeBuffer(const_cast<void*>(raw.pointer));
    return Outcome{false, "a block"};
}

Outcome Count(Scene&, const Raw& raw) {
    return Outcome{raw.number < 0, std::to_string(raw.number)};
}

Outcome Value(Scene&, const Raw& raw) {
    return Outcome{false, std::to_string(raw.number)};
}

Outcome RealValue(Scene&, const Raw& raw) {
    char text[64];
    snprintf(text, sizeof text, "%.17g", raw.real);
    return Outcome{false, text};
}

Outcome NarrowBlock(Scene&, const Raw& raw) {
    if (raw.pointer == nullptr) {
        return Outcome{true, "null"};
    }
    Outcome outcome{false, static_cast<const char*>(raw.pointer)};
    TarnFreeBuffer(const_cast<void*>(raw.pointer));
    return outcome;
}

std::string WideCharacters(const wchar_t* text) {
    std::string out;
    for (const wchar_t* p = text; *p != L'\0'; ++p) {
        out += std::to_string(static_cast<unsigned long>(*p)) + " ";
    }
    return out;
}

Outcome WideBlock(Scene&, const Raw& raw) {
    if (raw.pointer == nullptr) {
        return Outcome{true, "null"};
    }
    Outcome outcome{false, WideCharacters(static_cast<const wchar_t*>(raw.pointer))};
    TarnFreeBuffer(const_cast<void*>(raw.pointer));
    return outcome;
}

Outcome NarrowText(Scene& scene, const Raw& raw) {
    return Outcome{raw.number < 0, std::to_string(raw.number) + " " + scene.text};
}

Outcome WideText(Scene& scene, const Raw& raw) {
    return Outcome{raw.number < 0, std::to_string(raw.number) + " " + WideCharacters(scene.wide)};
}

std::string StampFree(const std::string& path) {
    if (zvtest::FileSize(path) < 0) {
        return "(none)";
    }
    std::string bytes = zvtest::ReadFile(path);
    if (bytes.size() >= kStampStart + kStampLength && bytes.compare(kStampMark, 4, ",LM:") == 0) {
        bytes.replace(kStampStart, kStampLength, kStampLength, '#');
    }
    return bytes;
}

State FilesOf(Scene& scene) {
    State state;
    state.files = StampFree(scene.file) + "\n--\n" + StampFree(scene.other);
    return state;
}

void RunCase(const Case& c, bool persist) {
    // A first run fills the process-wide tables (of live handles, of the stores' indexes), so
    // that the counted runs see only what they allocate themselves.
    RunClean(c);
    const long live = LiveAllocations();
    RunClean(c);
    ASSERT_EQ(live, LiveAllocations()) << c.name << ": blocks left allocated by a clean run";
    const Clean clean = RunClean(c);
    ASSERT_FALSE(clean.outcome.failed) << c.name << ": the call fails without any failure";
    long n = 1;
    std::bitset<kCodeCount> seen;
    while (n <= kMostAttempts && RunFailing(c, clean, n, persist, &seen) &&
           !testing::Test::HasFailure()) {
        ++n;
    }
    if (!testing::Test::HasFailure()) {
        // The allocations before the first failure are those of the clean run, so the first run
        // that meets none is the one behind the clean run's last allocation.
        EXPECT_EQ(clean.attempts + 1, n) << c.name << ": the runs ended elsewhere";
        if (!persist) {
            return;  // a single failure may be absorbed where a second try needs memory too
        }
        // The table names exactly the codes that failures of this call leave.
        std::vector<unsigned int> met;
        for (unsigned int code = 0; code < seen.size(); ++code) {
            if (seen.test(code)) {
                met.push_back(code);
            }
        }
        std::vector<unsigned int> named = c.codes;
        std::sort(named.begin(), named.end());
        EXPECT_EQ(Codes(named), Codes(met)) << c.name << ": the codes the failures left";
    }
}

}  // namespace zvoom
