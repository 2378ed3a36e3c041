// Environment files for the allocation-failure cases (see the header).
#include "AllocFailEnv.h"

#include <stdio.h>
#include <string.h>

#include <gtest/gtest.h>

#include "AllocFailDriver.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVFileAccess.h"

namespace zvoom {

namespace {

const unsigned int kEverything = ZVEV_ENUM_DIRS | ZVEV_ENUM_KEYS | ZVEV_ENUM_SORT;

// The sample saved through a handle, in the given format, as its bytes.
std::string Saved(int format) {
    zvtest::TempDir dir;
    const std::string path = dir.File("sample.env");
    zvtest::WriteFile(path, SampleText());
    ZVEV_HANDLE handle = nullptr;
    EXPECT_EQ(1, ZVEVOpenFile(path.c_str(), &handle));
    EXPECT_EQ(1, ZVEVAssignFormat(handle, format));
    EXPECT_EQ(1, ZVEVFlush(handle));
    EXPECT_EQ(1, ZVEVClose(handle));
    return zvtest::ReadFile(path);
}

// One key read back by its path with the getter of its entry type, and the code it left.
std::string KeyValue(ZVEV_HANDLE handle, const std::string& path, unsigned int type) {
    char text[128];
    TarnSetLastError(zvtest::kSentinelError);
    switch (type) {
        case ZVEV_ENTRY_INTEGER:
            snprintf(text, sizeof text, "%d", ZVEVGetInteger(handle, path.c_str(), -7));
            break;
        case ZVEV_ENTRY_REAL:
            snprintf(text, sizeof text, "%.17g", ZVEVGetDouble(handle, path.c_str(), -7.5));
            break;
        case ZVEV_ENTRY_BOOLEAN:
            snprintf(text, sizeof text, "%d", ZVEVGetBoolean(handle, path.c_str(), -7));
            break;
        case ZVEV_ENTRY_STRING: {
            char value[64];
            const int length = ZVEVGetString(handle, path.c_str(), value, sizeof value, "?");
            snprintf(text, sizeof text, "%d '%s'", length, value);
            break;
        }
        case ZVEV_ENTRY_BINARY: {
            unsigned char value[16];
            const int size = ZVEVGetData(handle, path.c_str(), value, sizeof value);
            int at = snprintf(text, sizeof text, "%d", size);
            for (int i = 0; i < size && i < static_cast<int>(sizeof value); ++i) {
                at += snprintf(text + at, sizeof text - at, " %02X", value[i]);
            }
            break;
        }
        default:
            snprintf(text, sizeof text, "type %u", type);
            break;
    }
    return std::string(text) + " code " + std::to_string(TarnGetLastError());
}

// Every directory and listed key below path, sorted, each read back by its own path.
void Dump(ZVEV_HANDLE handle, const std::string& path, std::string* out) {
    ZVEV_ENUM_LIST_tag* list = ZVEVEnumEntries(handle, path.c_str(), kEverything);
    if (list == nullptr) {
        *out += path + ": no list, code " + std::to_string(TarnGetLastError()) + "\n";
        return;
    }
    for (uint32_t i = 0; i < list->dwCount; ++i) {
        const ZVEV_ENUM_ENTRY_tag entry = EntryOf(list, i);
        const std::string child = (path == "/" ? "/" : path + "/") + entry.pszName;
        if (entry.wType == ZVEV_ENTRY_DIR) {
            *out += child + (ZVEVIsLocked(handle, child.c_str()) ? " (locked)" : "") + "\n";
            Dump(handle, child, out);
        } else {
            *out += child + " = " + KeyValue(handle, child, entry.wType) + "\n";
        }
    }
    ZVEVFreeSnapList(list);
}

}  // namespace

const std::string& SampleText() {
    static const std::string kSample =
        "ENVT0100\r\n"
        "# settings of the unit\r\n"
        "nCount = 10\r\n"
        "nMask = 0x1F   # low bits\r\n"
        "rGain = 1.5e-1\r\n"
        "bEnable = True\r\n"
        "sTitle = 'Main unit\\n'\r\n"
        "net {\r\n"
        "\tnPort = 8080\r\n"
        "\tsHost = \"device\"\r\n"
        "\tcKey = 4 { 1 2 3 0xFF }\r\n"
        "\tsub {\r\n"
        "\t\t# the depth of the tree\r\n"
        "\t\tnDepth = 2\r\n"
        "\t}\r\n"
        "}\r\n"
        "app {\r\n"
        "\tsName = \"zv\"\r\n"
        "\tbDebug = False\r\n"
        "}\r\n";
    return kSample;
}

const std::string& StampedSample() {
    static const std::string kStamped = Saved(0);
    return kStamped;
}

const std::string& BinarySample() {
    static const std::string kBinary = Saved(1);
    return kBinary;
}

ZVEV_ENUM_ENTRY_tag EntryOf(const ZVEV_ENUM_LIST_tag* list, uint32_t i) {
    ZVEV_ENUM_ENTRY_tag entry;
    memcpy(&entry, reinterpret_cast<const char*>(list->Entries) + i * sizeof entry, sizeof entry);
    return entry;
}

std::string HandleState(ZVEV_HANDLE handle, const std::string& savePath) {
    char assigned[128] = {0};
    const int length = ZVEVGetAssignedDir(handle, assigned, sizeof assigned);
    std::string state = "assigned " + std::to_string(length) + " '" + assigned + "' format " +
                        std::to_string(ZVEVGetFormat(handle)) + "\n";
    Dump(handle, "/", &state);
    const int saved = ZVEVSaveAs(handle, savePath.c_str());
    state += "saved " + std::to_string(saved) + ":\n" + StampFree(savePath);
    return state;
}

}  // namespace zvoom
