// The allocation-failure driver: runs one public call again and again in a fresh scene, making
// its first, second, third... allocation fail, until a run meets no failure. Every run checks
// that the call either returned its failure result with a code its operation documents, or
// absorbed the failure and returned what a run without failures returns; that a failed call
// left the object and the files as they were; that the same object works again afterwards and
// ends in the state a run without failures ends in; and that nothing was left allocated.
//
// A case is one line of a table: the fixture that prepares and observes the scene, the call
// (library calls only: it runs while allocations fail), how its result is read, the codes a
// failure may leave, and flags.
#ifndef ZV_ALLOC_FAIL_DRIVER_H
#define ZV_ALLOC_FAIL_DRIVER_H

#include <stddef.h>
#include <wchar.h>

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "ZVFileAccess.h"
#include "ZVMapFile.h"
#include "ZVTypes.h"

namespace zvoom {

// What the call under test returned, before it is read.
struct Raw {
    long long number = 0;
    double real = 0.0;
    const void* pointer = nullptr;
    unsigned int code = 0;  // the last-error code right after the call (set by the driver)
};

Raw Number(long long number);
Raw Real(double real);
Raw Pointer(const void* pointer);

// Everything the calls of one run work with. Fixtures fill in what their calls need.
struct Scene {
    zvtest::TempDir dir;
    std::string file;                    // the file the call works on
    std::wstring wideFile;               // the same path, wide
    std::string other;                   // a second file (a target to save to)
    ZVEV_HANDLE handle = nullptr;        // an open environment file
    char text[256] = {0};                // a caller's narrow buffer
    wchar_t wide[128] = {0};             // a caller's wide buffer
    unsigned char bytes[64] = {0};       // a caller's byte buffer
    long time = 0;                       // a caller's time value
    unsigned short id = 0;               // a caller's record id
    int count = 0;                       // a caller's count
    ZV_COMMON_FILE_HEADER_tag header{};  // a caller's header record
    WUID wuid{};                         // a caller's WUID
    FILEINFO_tag info{};                 // a caller's file information
    ERRHIST_tag records[8]{};            // a caller's records
    CZVMapFile map;                      // a mapping object of the caller's
};

// A call's result as it reads after the call: whether it is the call's failure result, and
// what it gave back in a form that can be compared between runs.
struct Outcome {
    bool failed = false;
    std::string text;
};

// The state a fixture observes: the object's (what its calls report) and the files' bytes
// (with the time stamps of header lines blanked).
struct State {
    std::string object;
    std::string files;
};

struct Fixture {
    const char* name;
    void (*prepare)(Scene& scene);
    State (*observe)(Scene& scene);
    void (*finish)(Scene& scene);
};

// Flags of a case.
enum : unsigned {
    kNoFlags = 0,
    // A getter: when it absorbs a failure it leaves the last-error code as a run without
    // failures leaves it (the code is how its caller tells a missing key from a found one).
    kKeepsCode = 1u << 0,
    // A failed call may leave its target file partly written (a save).
    kRewritesFile = 1u << 1,
    // A failed call may leave part of its work done, as its operation documents: the
    // directories made on the way to a key, or a history held whose file could not be opened.
    kLeavesPartDone = 1u << 2,
};

struct Case {
    const char* name;
    const Fixture* fixture;
    Raw (*call)(Scene& scene);
    Outcome (*read)(Scene& scene, const Raw& raw);
    // The codes failures may leave: exactly those that failing every allocation from some point
    // on leaves. None: the call absorbs every failure.
    std::vector<unsigned int> codes;
    unsigned int flags = kNoFlags;
    // How the object is brought to work again after a failure; null: the call is made again.
    Outcome (*recover)(Scene& scene, const Case& self) = nullptr;
};

void PrintTo(const Case& c, std::ostream* out);
// gtest parameter names: the case names.
std::string CaseName(const testing::TestParamInfo<Case>& info);

// Readers of results.
Outcome Flag(Scene& scene, const Raw& raw);         // 1 success, 0 failure
Outcome Block(Scene& scene, const Raw& raw);        // a new buffer of any bytes, null failure
Outcome Count(Scene& scene, const Raw& raw);        // a count or length, -1 failure
Outcome Value(Scene& scene, const Raw& raw);        // a number that is never a failure
Outcome RealValue(Scene& scene, const Raw& raw);    // a double that is never a failure
Outcome NarrowBlock(Scene& scene, const Raw& raw);  // a new narrow buffer, null failure (freed)
Outcome WideBlock(Scene& scene, const Raw& raw);    // a new wide buffer, null failure (freed)
Outcome NarrowText(Scene& scene, const Raw& raw);   // scene.text behind a count, -1 failure
Outcome WideText(Scene& scene, const Raw& raw);     // scene.wide behind a count, -1 failure
// A wide text as its characters' numbers, so that any character can be compared.
std::string WideCharacters(const wchar_t* text);
// The files' state of a scene: its file and its other file, without time stamps.
State FilesOf(Scene& scene);

// The bytes of a file with the time stamp of a leading header line (bytes 12 to 34 behind
// ",LM:" at 8) blanked; "(none)" when the file does not exist.
std::string StampFree(const std::string& path);

// Runs a case through every failing allocation, one failure at a time, and with persist, with
// every allocation failing from the N-th on.
void RunCase(const Case& c, bool persist);

}  // namespace zvoom

// A family's table of cases as a test suite: every case runs once with one allocation at a time
// failing, and once with every allocation from the N-th on failing.
#define ZV_ALLOC_FAIL_SUITE(Family, cases)                                   \
    class Family##AllocFail : public testing::TestWithParam<zvoom::Case> {}; \
    TEST_P(Family##AllocFail, EachAllocationFails) {                         \
        zvoom::RunCase(GetParam(), false);                                   \
    }                                                                        \
    TEST_P(Family##AllocFail, EveryAllocationFromOneOnFails) {               \
        zvoom::RunCase(GetParam(), true);                                    \
    }                                                                        \
    INSTANTIATE_TEST_SUITE_P(Family, Family##AllocFail, testing::ValuesIn(cases), zvoom::CaseName)

#endif  // ZV_ALLOC_FAIL_DRIVER_H
