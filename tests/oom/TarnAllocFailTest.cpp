// The utilities (Tarn) when allocations fail: string buffers, conversions and formatting give
// null or -1 with code 15 and keep nothing; the read probe and the file information report the
// conversion's code 15 or the code of a file that cannot be opened (36); the wide date-time text
// gives "---" with code 15, and the wide reader, which allocates nothing, reads its time right.
#include <stdio.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "AllocFailDriver.h"
#include "TarnError.h"
#include "TarnFile.h"
#include "TarnString.h"
#include "TarnTime.h"
#include "TestSupport.h"

namespace zvoom {
namespace {

const unsigned int kNoMemory = TARN_ERR_MEMORY_OVERFLOW;
const unsigned int kOpenFailed = TARN_ERR_OPEN_FILE;

// 2009-03-07 14:05:09 UTC.
const long kSomeTime = 1236434709;

// Longer than the first scratch buffer of the formatters (128 characters): the wide one grows.
const char kLong[] =
    "0123456789abcdefghijklmnopqrstuvwxyz0123456789abcdefghijklmnopqrstuvwxyz0123456789abcdefghij"
    "klmnopqrstuvwxyz0123456789abcdefghijklmnopqrstuvwxyz";
const wchar_t kWideLong[] =
    L"0123456789abcdefghijklmnopqrstuvwxyz0123456789abcdefghijklmnopqrstuvwxyz0123456789abcdefghij"
    L"klmnopqrstuvwxyz0123456789abcdefghijklmnopqrstuvwxyz";

void NoFiles(Scene&) {}

State NothingToSee(Scene&) {
    return State{};
}

// A file of one byte: it can be probed and mapped, and its checksum needs no pause.
void OneByteFile(Scene& scene) {
    scene.file = scene.dir.File("probe.txt");
    scene.wideFile = zvtest::Wide(scene.file);
    zvtest::WriteFile(scene.file, "Z");
}

const Fixture kNothing = {"Nothing", NoFiles, NothingToSee, NoFiles};
const Fixture kOneByte = {"OneByteFile", OneByteFile, FilesOf, NoFiles};

// The probe answers 0 both for a readable file and when it fails; its code tells them apart.
Outcome Probe(Scene&, const Raw& raw) {
    return Outcome{raw.number == 0 && raw.code != zvtest::kSentinelError,
                   std::to_string(raw.number)};
}

Outcome FileInfo(Scene& scene, const Raw& raw) {
    char text[64];
    snprintf(text, sizeof text, "%u %04X %s", scene.info.dwSize, scene.info.wCheckSum,
             scene.info.szExtension);
    return Outcome{raw.number == 0, text};
}

// The wide date-time writers give a buffer (the caller's or their own), or "---".
Outcome DateText(Scene&, const Raw& raw) {
    const std::string text = WideCharacters(static_cast<const wchar_t*>(raw.pointer));
    return Outcome{text == WideCharacters(L"---"), text};
}

// The reader gives where it stopped, and the time it read.
Outcome Parsed(Scene& scene, const Raw& raw) {
    return Outcome{raw.number < 0, std::to_string(raw.number) + " " + std::to_string(scene.time)};
}

Raw ParseWide(Scene& scene) {
    static const wchar_t kText[] = L"2009/03/07 14:05:09:000";
    const wchar_t* stop = TarnParseDateTimeStrW(kText, 0, &scene.time, 1);
    return Number(stop != nullptr ? stop - kText : -1);
}

const Case kCases[] = {
    {"TarnAllocateBuffer",
     &kNothing,
     [](Scene&) { return Pointer(TarnAllocateBuffer(64)); },
     Block,
     {kNoMemory}},
    {"TarnAllocateStringBufferA",
     &kNothing,
     [](Scene&) { return Pointer(TarnAllocateStringBufferA(64)); },
     NarrowBlock,
     {kNoMemory}},
    {"TarnAllocateStringBufferW",
     &kNothing,
     [](Scene&) { return Pointer(TarnAllocateStringBufferW(16)); },
     WideBlock,
     {kNoMemory}},
    {"TarnDupStringA",
     &kNothing,
     [](Scene&) { return Pointer(TarnDupStringA("settings")); },
     NarrowBlock,
     {kNoMemory}},
    {"TarnDupStringW",
     &kNothing,
     [](Scene&) { return Pointer(TarnDupStringW(L"settings")); },
     WideBlock,
     {kNoMemory}},
    {"TarnWideToAnsiString",
     &kNothing,
     [](Scene&) { return Pointer(TarnWideToAnsiString(L"settings")); },
     NarrowBlock,
     {kNoMemory}},
    {"TarnAnsiToWideString",
     &kNothing,
     [](Scene&) { return Pointer(TarnAnsiToWideString("settings")); },
     WideBlock,
     {kNoMemory}},
    {"TarnCopyWideToAnsiString",
     &kNothing,
     [](Scene& s) {
         return Number(TarnCopyWideToAnsiString(L"settings", s.text, sizeof s.text, 1));
     },
     NarrowText,
     {kNoMemory}},
    {"TarnCopyAnsiToWideString",
     &kNothing,
     [](Scene& s) {
         return Number(TarnCopyAnsiToWideString("settings", s.wide, sizeof s.wide, 1));
     },
     WideText,
     {kNoMemory}},
    {"TarnFormatStringA",
     &kNothing,
     [](Scene&) { return Pointer(TarnFormatStringA("%s=%d", "port", 8080)); },
     NarrowBlock,
     {kNoMemory}},
    {"TarnFormatStringA_Cut",
     &kNothing,
     [](Scene&) { return Pointer(TarnFormatStringA("%s", kLong)); },
     NarrowBlock,
     {kNoMemory}},
    {"TarnFormatStringW",
     &kNothing,
     [](Scene&) { return Pointer(TarnFormatStringW(L"%ls=%d", L"port", 8080)); },
     WideBlock,
     {kNoMemory}},
    {"TarnFormatStringW_Grown",
     &kNothing,
     [](Scene&) { return Pointer(TarnFormatStringW(L"%ls", kWideLong)); },
     WideBlock,
     {kNoMemory}},
    {"TarnFormatStringBufferA",
     &kNothing,
     [](Scene& s) {
         return Number(TarnFormatStringBufferA(s.text, sizeof s.text, 1, "%s=%d", "port", 8080));
     },
     NarrowText,
     {kNoMemory}},
    {"TarnFormatStringBufferW_Grown",
     &kNothing,
     [](Scene& s) {
         return Number(TarnFormatStringBufferW(s.wide, sizeof s.wide, 0, L"%ls", kWideLong));
     },
     WideText,
     {kNoMemory}},
    {"TarnIsFileCorruptedA",
     &kOneByte,
     [](Scene& s) { return Number(TarnIsFileCorruptedA(s.file.c_str())); },
     Probe,
     {kNoMemory, kOpenFailed}},
    {"TarnIsFileCorruptedW",
     &kOneByte,
     [](Scene& s) { return Number(TarnIsFileCorruptedW(s.wideFile.c_str())); },
     Probe,
     {kOpenFailed}},
    {"TarnGetFileInfoA",
     &kOneByte,
     [](Scene& s) { return Number(TarnGetFileInfoA(s.file.c_str(), &s.info)); },
     FileInfo,
     {kNoMemory, kOpenFailed}},
    {"TarnGetFileInfoW",
     &kOneByte,
     [](Scene& s) { return Number(TarnGetFileInfoW(s.wideFile.c_str(), &s.info)); },
     FileInfo,
     {kNoMemory, kOpenFailed}},
    {"TarnGetDateTimeStrW",
     &kNothing,
     [](Scene& s) {
         s.time = kSomeTime;
         return Pointer(TarnGetDateTimeStrW(&s.time, 0, s.wide, sizeof s.wide, 1));
     },
     DateText,
     {kNoMemory}},
    {"TarnGetDateTimeStrW_OwnBuffer",
     &kNothing,
     [](Scene& s) {
         s.time = kSomeTime;
         return Pointer(TarnGetDateTimeStrW(&s.time, 4, nullptr, 0, 1));
     },
     DateText,
     {kNoMemory}},
    {"TarnParseDateTimeStrW", &kNothing, ParseWide, Parsed, {}},
};

ZV_ALLOC_FAIL_SUITE(Tarn, kCases);

}  // namespace
}  // namespace zvoom
