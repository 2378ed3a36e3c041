// The exported classes' own calls that allocate, when allocations fail: the tokenizer's string
// decoding and escaping give null, and a mapping object's open and mutex creation give 0 and
// leave the object closed, ready for the next open. These classes report by their results only;
// the code is the one the string functions beneath them leave (15).
#include <string>

#include <gtest/gtest.h>

#include "AllocFailDriver.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVMapFile.h"
#include "ZVTokenProvider.h"

namespace zvoom {
namespace {

const unsigned int kNoMemory = TARN_ERR_MEMORY_OVERFLOW;

void Nothing(Scene&) {}

State NothingToSee(Scene&) {
    return State{};
}

void MappedFile(Scene& scene) {
    scene.file = scene.dir.File("mapped.bin");
    zvtest::WriteFile(scene.file, "mapped bytes");
}

// What the mapping object reports: whether it is open (and read-only), its length and bytes,
// and whether it holds its mutex.
State Mapping(Scene& scene) {
    State state = FilesOf(scene);
    int readOnly = -1;
    const int open = scene.map.IsOpened(&readOnly);
    state.object = "open " + std::to_string(open) + " read-only " + std::to_string(readOnly) +
                   " length " + std::to_string(scene.map.m_dwLength) + " mutex " +
                   std::to_string(scene.map.m_bMutexCreated);
    if (open) {
        state.object +=
            " " + std::string(static_cast<const char*>(scene.map.m_pAddress), scene.map.m_dwLength);
    }
    return state;
}

void CloseMapping(Scene& scene) {
    EXPECT_EQ(1, scene.map.Close());
    EXPECT_EQ(1, scene.map.CloseMutex());
}

const Fixture kNothing = {"Nothing", Nothing, NothingToSee, Nothing};
const Fixture kMapped = {"MappedFile", MappedFile, Mapping, CloseMapping};

// A tokenizer string (null on failure), released as the tokenizer releases them.
Outcome TokenText(Scene&, const Raw& raw) {
    char* text = static_cast<char*>(const_cast<void*>(raw.pointer));
    if (text == nullptr) {
        return Outcome{true, "null"};
    }
    Outcome outcome{false, text};
    CZVTokenProvider::DeleteString(text);
    return outcome;
}

const Case kCases[] = {
    {"CZVTokenProvider_ParseString",
     &kNothing,
     [](Scene&) { return Pointer(CZVTokenProvider::ParseString("Main\\tunit\\x41\\101", -1)); },
     TokenText,
     {kNoMemory}},
    {"CZVTokenProvider_EspaceString",
     &kNothing,
     [](Scene&) { return Pointer(CZVTokenProvider::EspaceString("Main\tunit \"A\"\n", -1)); },
     TokenText,
     {kNoMemory}},
    {"CZVMapFile_OpenA",
     &kMapped,
     [](Scene& s) { return Number(s.map.OpenA(s.file.c_str(), 0, "MPF_TEST", 1)); },
     Flag,
     {kNoMemory}},
    {"CZVMapFile_CreateMutexA",
     &kMapped,
     [](Scene& s) { return Number(s.map.CreateMutexA("MTX_TEST")); },
     Flag,
     {kNoMemory}},
};

ZV_ALLOC_FAIL_SUITE(ZVClass, kCases);

}  // namespace
}  // namespace zvoom
