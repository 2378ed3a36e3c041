// The common file header on files (ZVCF) when allocations fail: the narrow forms give 0 with
// code 15 when the path cannot be converted, and every form gives 0 with code 36 when the file
// cannot be mapped. A failed check, read or update leaves the file as it was, and the same call
// works afterwards. (An update whose first line is not 96 bytes long never gets as far: a file
// mapping is not resized to another size.)
#include <stdio.h>
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "AllocFailDriver.h"
#include "AllocFailEnv.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVCmnFileHdr.h"

namespace zvoom {
namespace {

const unsigned int kNoMemory = TARN_ERR_MEMORY_OVERFLOW;
const unsigned int kOpenFailed = TARN_ERR_OPEN_FILE;

void UseFile(Scene& scene, const std::string& bytes) {
    scene.file = scene.dir.File("data.env");
    scene.wideFile = zvtest::Wide(scene.file);
    zvtest::WriteFile(scene.file, bytes);
}

void StampedFile(Scene& scene) {
    UseFile(scene, StampedSample());
}

void Nothing(Scene&) {}

const Fixture kStamped = {"StampedFile", StampedFile, FilesOf, Nothing};

// The record an update is given: its type, versions and extra text go into the new line.
ZV_COMMON_FILE_HEADER_tag* Given(Scene& scene) {
    memset(&scene.header, 0, sizeof scene.header);
    memcpy(scene.header.szFileType, "DATA", 4);
    scene.header.wMajorVer = 2;
    scene.header.wMinorVer = 3;
    scene.header.lCheckSum = -1;
    memcpy(scene.header.szExtraInfo, "note", 5);
    return &scene.header;
}

// The fields of the record the call filled; with stamped, the time (of now) is left out.
std::string Fields(const ZV_COMMON_FILE_HEADER_tag& h, bool stamped) {
    char text[160];
    snprintf(text, sizeof text, "%.4s %u.%u %ld %u %d %02X%02X%02X%02X%02X%02X '%s'", h.szFileType,
             h.wMajorVer, h.wMinorVer, stamped ? 0L : long{h.lLastModified}, h.dwDataSize,
             h.lCheckSum, h.byMacAddr[0], h.byMacAddr[1], h.byMacAddr[2], h.byMacAddr[3],
             h.byMacAddr[4], h.byMacAddr[5], h.szExtraInfo);
    return text;
}

Outcome HeaderRead(Scene& scene, const Raw& raw) {
    return Outcome{raw.number == 0, Fields(scene.header, false)};
}

Outcome HeaderStamped(Scene& scene, const Raw& raw) {
    return Outcome{raw.number == 0, Fields(scene.header, true)};
}

Outcome WuidRead(Scene& scene, const Raw& raw) {
    char text[64];
    snprintf(text, sizeof text, "%08X %08X %08X", scene.wuid.dwWord[0], scene.wuid.dwWord[1],
             scene.wuid.dwWord[2]);
    return Outcome{raw.number == 0, text};
}

// The narrow forms convert the path first.
const std::vector<unsigned int> kNarrowCodes = {kNoMemory, kOpenFailed};

const Case kCases[] = {
    {"ZVCFIsFileValidA", &kStamped,
     [](Scene& s) { return Number(ZVCFIsFileValidA(s.file.c_str())); }, Flag, kNarrowCodes},
    {"ZVCFIsFileValidW",
     &kStamped,
     [](Scene& s) { return Number(ZVCFIsFileValidW(s.wideFile.c_str())); },
     Flag,
     {kOpenFailed}},
    {"ZVCFIsFileAbsValidA", &kStamped,
     [](Scene& s) { return Number(ZVCFIsFileAbsValidA(s.file.c_str())); }, Flag, kNarrowCodes},
    {"ZVCFIsFileAbsValidW",
     &kStamped,
     [](Scene& s) { return Number(ZVCFIsFileAbsValidW(s.wideFile.c_str())); },
     Flag,
     {kOpenFailed}},
    {"ZVCFGetCommonFileHeaderA", &kStamped,
     [](Scene& s) { return Number(ZVCFGetCommonFileHeaderA(s.file.c_str(), &s.header)); },
     HeaderRead, kNarrowCodes},
    {"ZVCFGetCommonFileHeaderW",
     &kStamped,
     [](Scene& s) { return Number(ZVCFGetCommonFileHeaderW(s.wideFile.c_str(), &s.header)); },
     HeaderRead,
     {kOpenFailed}},
    {"ZVCFGetWUIDFromFileA", &kStamped,
     [](Scene& s) { return Number(ZVCFGetWUIDFromFileA(s.file.c_str(), &s.wuid)); }, WuidRead,
     kNarrowCodes},
    {"ZVCFGetWUIDFromFileW",
     &kStamped,
     [](Scene& s) { return Number(ZVCFGetWUIDFromFileW(s.wideFile.c_str(), &s.wuid)); },
     WuidRead,
     {kOpenFailed}},
    {"ZVCFUpdateCommonFileHeaderA", &kStamped,
     [](Scene& s) { return Number(ZVCFUpdateCommonFileHeaderA(s.file.c_str(), Given(s))); },
     HeaderStamped, kNarrowCodes},
    {"ZVCFUpdateCommonFileHeaderW",
     &kStamped,
     [](Scene& s) { return Number(ZVCFUpdateCommonFileHeaderW(s.wideFile.c_str(), Given(s))); },
     HeaderStamped,
     {kOpenFailed}},
    {"ZVCFGetAndUpdateCommonFileHeaderA", &kStamped,
     [](Scene& s) { return Number(ZVCFGetAndUpdateCommonFileHeaderA(s.file.c_str(), &s.header)); },
     HeaderStamped, kNarrowCodes},
    {"ZVCFGetAndUpdateCommonFileHeaderW",
     &kStamped,
     [](Scene& s) {
         return Number(ZVCFGetAndUpdateCommonFileHeaderW(s.wideFile.c_str(), &s.header));
     },
     HeaderStamped,
     {kOpenFailed}},
};

ZV_ALLOC_FAIL_SUITE(ZVCF, kCases);

}  // namespace
}  // namespace zvoom
