// The environment files (ZVEV) when allocations fail: opening gives no handle and the code of
// the step that failed (15 for the path and the handle table, 33 for the object, 17 for the
// work area, 13 for loading the file); a save fails with 8, leaves the store as it was, and a
// later save writes the whole store. A change that needs the store's buffer to grow fails with
// its own code (22, 23, 24, 21, or 4 for a directory) and changes nothing else, apart from the
// directories already made on the way; every other change, and every lookup, absorbs the
// failures of the lookup index and gives what it gives without them, the last-error code of a
// lookup included. Every handle keeps working afterwards.
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "AllocFailDriver.h"
#include "AllocFailEnv.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVFileAccess.h"

namespace zvoom {
namespace {

const unsigned int kNoMemory = TARN_ERR_MEMORY_OVERFLOW;

// The codes an open may leave: the path and the handle table (15), the object (33), the work
// area (17), and loading the file (13). An empty store needs no memory beyond its work area.
const std::vector<unsigned int> kOpenCodes = {kNoMemory, TARN_ERR_CREATE_OBJECT,
                                              TARN_ERR_OPEN_WORK_AREA, TARN_ERR_LOAD_FILE};
const std::vector<unsigned int> kOpenNewCodes = {kNoMemory, TARN_ERR_CREATE_OBJECT,
                                                 TARN_ERR_OPEN_WORK_AREA};

// Longer than any string of the sample, so that setting it grows the key.
const char kLongTitle[] = "a title long enough to make its key grow well beyond what it was";

const unsigned char kData[16] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

// More than a page: the store's buffer grows into a new mapping, which can fail. (Small changes
// fit the page the store has and need no memory but the lookup index's, whose failures every
// call absorbs.)
const size_t kBeyondAPage = 4200;
const std::string kLongKey = "/net/L" + std::string(kBeyondAPage, 'l');
const std::string kLongText(kBeyondAPage, 't');
const std::string kLongDir = "/net/Made/D" + std::string(kBeyondAPage, 'd');
const std::string kLongDirKey = kLongDir + "/Key";
const unsigned char kLongData[kBeyondAPage] = {1, 2, 3};

void SampleFile(Scene& scene) {
    scene.file = scene.dir.File("unit.env");
    scene.other = scene.dir.File("copy.env");
    zvtest::WriteFile(scene.file, SampleText());
}

void NoFile(Scene& scene) {
    scene.file = scene.dir.File("new.env");
    scene.other = scene.dir.File("copy.env");
}

// A file of more than a page: loading it grows the store's buffer.
void LargeFile(Scene& scene) {
    SampleFile(scene);
    zvtest::WriteFile(scene.file, SampleText() + "sBig = '" + kLongText + "'\r\n");
}

// A key given twice, which only the store itself reads as the file means it (the second value
// replaces the first), and a last comment that needs the buffer to grow.
void RepeatedKeyFile(Scene& scene) {
    SampleFile(scene);
    zvtest::WriteFile(scene.file, SampleText() + "nCount = 11\r\n#" + kLongText + "\r\n");
}

void BinaryFile(Scene& scene) {
    SampleFile(scene);
    zvtest::WriteFile(scene.file, BinarySample());
}

void CloseHandle(Scene& scene) {
    if (scene.handle != nullptr) {
        EXPECT_EQ(1, ZVEVClose(scene.handle));
        scene.handle = nullptr;
    }
}

void OpenSample(Scene& scene) {
    SampleFile(scene);
    ASSERT_EQ(1, ZVEVOpenFile(scene.file.c_str(), &scene.handle));
}

void OpenSampleInDir(Scene& scene) {
    OpenSample(scene);
    ASSERT_EQ(1, ZVEVAssignDir(scene.handle, "net"));
}

void OpenSampleAsBinary(Scene& scene) {
    OpenSample(scene);
    ASSERT_EQ(1, ZVEVAssignFormat(scene.handle, 1));
}

// The open file as its handle shows it, and the files' bytes.
State Handle(Scene& scene) {
    State state = FilesOf(scene);
    state.object = HandleState(scene.handle, scene.dir.File("observed.env"));
    return state;
}

const Fixture kSample = {"SampleFile", SampleFile, FilesOf, CloseHandle};
const Fixture kBinary = {"BinaryFile", BinaryFile, FilesOf, CloseHandle};
const Fixture kLarge = {"LargeFile", LargeFile, FilesOf, CloseHandle};
const Fixture kRepeatedKey = {"RepeatedKeyFile", RepeatedKeyFile, FilesOf, CloseHandle};
const Fixture kNoFile = {"NoFile", NoFile, FilesOf, CloseHandle};
const Fixture kOpen = {"OpenSample", OpenSample, Handle, CloseHandle};
const Fixture kOpenInDir = {"OpenSampleInDir", OpenSampleInDir, Handle, CloseHandle};
const Fixture kOpenAsBinary = {"OpenSampleAsBinary", OpenSampleAsBinary, Handle, CloseHandle};

// An open gives a handle (whose file is read back and closed) or, failing, none.
Outcome Opened(Scene& scene, const Raw& raw) {
    if (raw.number == 0) {
        return Outcome{true, scene.handle == nullptr ? "no handle" : "a handle after a failure"};
    }
    Outcome outcome{false, HandleState(scene.handle, scene.dir.File("opened.env"))};
    CloseHandle(scene);
    return outcome;
}

// A snapshot's entries (freed after reading); null is the failure.
Outcome Snapshot(Scene&, const Raw& raw) {
    const ZVEV_ENUM_LIST_tag* list = static_cast<const ZVEV_ENUM_LIST_tag*>(raw.pointer);
    if (list == nullptr) {
        return Outcome{true, "null"};
    }
    std::string text = std::to_string(list->dwCount);
    for (uint32_t i = 0; i < list->dwCount; ++i) {
        const ZVEV_ENUM_ENTRY_tag entry = EntryOf(list, i);
        text += " " + std::string(entry.pszName) + ":" + std::to_string(entry.wType);
    }
    EXPECT_EQ(1, ZVEVFreeSnapList(const_cast<ZVEV_ENUM_LIST_tag*>(list)));
    return Outcome{false, text};
}

// The bytes a getter copied out, behind the size it gave.
Outcome DataRead(Scene& scene, const Raw& raw) {
    std::string text = std::to_string(raw.number);
    for (long long i = 0; i < raw.number && i < static_cast<long long>(sizeof scene.bytes); ++i) {
        text += " " + std::to_string(scene.bytes[i]);
    }
    return Outcome{raw.number < 0, text};
}

const Case kCases[] = {
    {"ZVEVOpenFile", &kSample,
     [](Scene& s) { return Number(ZVEVOpenFile(s.file.c_str(), &s.handle)); }, Opened, kOpenCodes},
    {"ZVEVOpenFile_Binary", &kBinary,
     [](Scene& s) { return Number(ZVEVOpenFile(s.file.c_str(), &s.handle)); }, Opened, kOpenCodes},
    {"ZVEVOpenFile_Large", &kLarge,
     [](Scene& s) { return Number(ZVEVOpenFile(s.file.c_str(), &s.handle)); }, Opened, kOpenCodes},
    {"ZVEVOpenFile_RepeatedKey", &kRepeatedKey,
     [](Scene& s) { return Number(ZVEVOpenFile(s.file.c_str(), &s.handle)); }, Opened, kOpenCodes},
    {"ZVEVOpenFile_Missing", &kNoFile,
     [](Scene& s) { return Number(ZVEVOpenFile(s.file.c_str(), &s.handle)); }, Opened,
     kOpenNewCodes},
    {"ZVEVFlush",
     &kOpen,
     [](Scene& s) { return Number(ZVEVFlush(s.handle)); },
     Flag,
     {TARN_ERR_FLUSH_FILE},
     kRewritesFile},
    {"ZVEVFlush_Binary",
     &kOpenAsBinary,
     [](Scene& s) { return Number(ZVEVFlush(s.handle)); },
     Flag,
     {TARN_ERR_FLUSH_FILE},
     kRewritesFile},
    {"ZVEVSaveAs",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSaveAs(s.handle, s.other.c_str())); },
     Flag,
     {TARN_ERR_FLUSH_FILE},
     kRewritesFile},
    {"ZVEVAssignDir",
     &kOpenInDir,
     [](Scene& s) { return Number(ZVEVAssignDir(s.handle, "net/sub")); },
     Flag,
     {kNoMemory}},
    {"ZVEVGetAssignedDir",
     &kOpenInDir,
     [](Scene& s) { return Number(ZVEVGetAssignedDir(s.handle, s.text, sizeof s.text)); },
     NarrowText,
     {},
     kKeepsCode},
    {"ZVEVGetFormat",
     &kOpenAsBinary,
     [](Scene& s) { return Number(ZVEVGetFormat(s.handle)); },
     Value,
     {},
     kKeepsCode},
    {"ZVEVAssignFormat",
     &kOpen,
     [](Scene& s) { return Number(ZVEVAssignFormat(s.handle, 1)); },
     Flag,
     {}},
    {"ZVEVCheckDirExist",
     &kOpen,
     [](Scene& s) { return Number(ZVEVCheckDirExist(s.handle, "/net/sub")); },
     Value,
     {},
     kKeepsCode},
    {"ZVEVCreateDir",
     &kOpen,
     [](Scene& s) { return Number(ZVEVCreateDir(s.handle, "/net/sub/a/b")); },
     Flag,
     {}},
    {"ZVEVCreateDir_Grows",
     &kOpen,
     [](Scene& s) { return Number(ZVEVCreateDir(s.handle, kLongDir.c_str())); },
     Flag,
     {TARN_ERR_CREATE_DIRECTORY},
     kLeavesPartDone},
    {"ZVEVRemoveDir",
     &kOpen,
     [](Scene& s) { return Number(ZVEVRemoveDir(s.handle, "/app")); },
     Flag,
     {}},
    {"ZVEVCheckKeyExist",
     &kOpen,
     [](Scene& s) { return Number(ZVEVCheckKeyExist(s.handle, "/net/Port")); },
     Value,
     {},
     kKeepsCode},
    {"ZVEVCheckKeyExist_Missing",
     &kOpen,
     [](Scene& s) { return Number(ZVEVCheckKeyExist(s.handle, "/net/None")); },
     Value,
     {},
     kKeepsCode},
    {"ZVEVRemoveKey",
     &kOpen,
     [](Scene& s) { return Number(ZVEVRemoveKey(s.handle, "/net/Host")); },
     Flag,
     {}},
    {"ZVEVLock", &kOpen, [](Scene& s) { return Number(ZVEVLock(s.handle, "/net", 1)); }, Flag, {}},
    {"ZVEVIsLocked",
     &kOpen,
     [](Scene& s) { return Number(ZVEVIsLocked(s.handle, "/net/sub")); },
     Value,
     {},
     kKeepsCode},
    {"ZVEVSetInteger",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSetInteger(s.handle, "/net/Port", 9090)); },
     Flag,
     {}},
    {"ZVEVSetInteger_NewKey",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSetInteger(s.handle, "/net/Timeout", 30)); },
     Flag,
     {}},
    {"ZVEVSetInteger_NewDirs",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSetInteger(s.handle, "/net/new/deeper/Key", 1)); },
     Flag,
     {}},
    {"ZVEVSetInteger_Relative",
     &kOpenInDir,
     [](Scene& s) { return Number(ZVEVSetInteger(s.handle, "sub/Retries", 3)); },
     Flag,
     {}},
    {"ZVEVSetInteger_Grows",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSetInteger(s.handle, kLongKey.c_str(), 5)); },
     Flag,
     {TARN_ERR_SET_INTEGER}},
    {"ZVEVSetInteger_GrowsInNewDirs",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSetInteger(s.handle, kLongDirKey.c_str(), 5)); },
     Flag,
     {TARN_ERR_CREATE_DIRECTORY},
     kLeavesPartDone},
    {"ZVEVGetInteger",
     &kOpen,
     [](Scene& s) { return Number(ZVEVGetInteger(s.handle, "/net/Port", -1)); },
     Value,
     {},
     kKeepsCode},
    {"ZVEVGetInteger_Relative",
     &kOpenInDir,
     [](Scene& s) { return Number(ZVEVGetInteger(s.handle, "sub/Depth", -1)); },
     Value,
     {},
     kKeepsCode},
    {"ZVEVGetInteger_Missing",
     &kOpen,
     [](Scene& s) { return Number(ZVEVGetInteger(s.handle, "/net/None", -1)); },
     Value,
     {},
     kKeepsCode},
    {"ZVEVSetDouble",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSetDouble(s.handle, "/Gain", 2.5)); },
     Flag,
     {}},
    {"ZVEVSetDouble_Grows",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSetDouble(s.handle, kLongKey.c_str(), 0.25)); },
     Flag,
     {TARN_ERR_SET_REAL}},
    {"ZVEVGetDouble",
     &kOpen,
     [](Scene& s) { return Real(ZVEVGetDouble(s.handle, "/Gain", -1)); },
     RealValue,
     {},
     kKeepsCode},
    {"ZVEVSetBoolean",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSetBoolean(s.handle, "/app/Debug", 1)); },
     Flag,
     {}},
    {"ZVEVSetBoolean_Grows",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSetBoolean(s.handle, kLongKey.c_str(), 1)); },
     Flag,
     {TARN_ERR_SET_REAL}},
    {"ZVEVGetBoolean",
     &kOpen,
     [](Scene& s) { return Number(ZVEVGetBoolean(s.handle, "/Enable", -1)); },
     Value,
     {},
     kKeepsCode},
    {"ZVEVSetString",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSetString(s.handle, "/Title", kLongTitle)); },
     Flag,
     {}},
    {"ZVEVSetString_Grows",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSetString(s.handle, "/Title", kLongText.c_str())); },
     Flag,
     {TARN_ERR_SET_STRING}},
    {"ZVEVGetString",
     &kOpen,
     [](Scene& s) {
         return Number(ZVEVGetString(s.handle, "/net/Host", s.text, sizeof s.text, "none"));
     },
     NarrowText,
     {},
     kKeepsCode},
    {"ZVEVSetData",
     &kOpen,
     [](Scene& s) { return Number(ZVEVSetData(s.handle, "/net/Key", kData, sizeof kData)); },
     Flag,
     {}},
    {"ZVEVSetData_Grows",
     &kOpen,
     [](Scene& s) {
         return Number(ZVEVSetData(s.handle, "/net/Key", kLongData, sizeof kLongData));
     },
     Flag,
     {TARN_ERR_SET_BINARY}},
    {"ZVEVGetData",
     &kOpen,
     [](Scene& s) { return Number(ZVEVGetData(s.handle, "/net/Key", s.bytes, sizeof s.bytes)); },
     DataRead,
     {},
     kKeepsCode},
    {"ZVEVEnumEntries",
     &kOpen,
     [](Scene& s) { return Pointer(ZVEVEnumEntries(s.handle, "/net", 7)); },
     Snapshot,
     {kNoMemory}},
    {"ZVEVEnumEntries_Root",
     &kOpen,
     [](Scene& s) { return Pointer(ZVEVEnumEntries(s.handle, "/", 3)); },
     Snapshot,
     {kNoMemory}},
};

ZV_ALLOC_FAIL_SUITE(ZVEV, kCases);

}  // namespace
}  // namespace zvoom
