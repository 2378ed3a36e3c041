// A host program's whole use of an environment file through the ZVEV functions, against real
// files: open a file that does not exist, build directories and keys of every type by absolute
// and relative paths, flush, read everything back through a second handle, enumerate, save a
// binary copy, read that back, remove keys and directories, close.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EnvFileTestSupport.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVFileAccess.h"

namespace {

using zvenvtest::BodyOf;
using zvenvtest::ExpectWrittenHeader;

const unsigned char kTable[3] = {0x01, 0x02, 0xFF};

// The text form of the settings the scenario writes.
const char kTextBody[] =
    "network {\r\n"
    "\teth0 {\r\n"
    "\t\tsaddress=\"192.168.1.20\"\r\n"
    "\t\tnmtu=1500\r\n"
    "\t\tbdhcp=False\r\n"
    "\t}\r\n"
    "}\r\n"
    "motor {\r\n"
    "\tnspeed=-1200\r\n"
    "\trgain=0.125\r\n"
    "\tbenabled=True\r\n"
    "\tcalibration {\r\n"
    "\t\tctable=3 {\r\n"
    "\t\t\t0x01 0x02 0xFF\r\n"
    "\t\t}\r\n"
    "\t}\r\n"
    "\tsname=\"Main unit\"\r\n"
    "}\r\n"
    "stitle=\"zvsupport\"\r\n";

void WriteSettings(ZVEV_HANDLE handle) {
    EXPECT_EQ(1, ZVEVCreateDir(handle, "/network/eth0"));
    EXPECT_EQ(1, ZVEVSetString(handle, "/network/eth0/address", "192.168.1.20"));
    EXPECT_EQ(1, ZVEVSetInteger(handle, "/network/eth0/mtu", 1500));
    EXPECT_EQ(1, ZVEVSetBoolean(handle, "/network/eth0/dhcp", 0));
    EXPECT_EQ(1, ZVEVAssignDir(handle, "motor"));  // created by the first key set in it
    EXPECT_EQ(1, ZVEVSetInteger(handle, "speed", -1200));
    EXPECT_EQ(1, ZVEVSetDouble(handle, "gain", 0.125));
    EXPECT_EQ(1, ZVEVSetBoolean(handle, "enabled", 1));
    EXPECT_EQ(1, ZVEVSetData(handle, "calibration/table", kTable, sizeof kTable));
    EXPECT_EQ(1, ZVEVSetString(handle, "name", "Main unit"));
    EXPECT_EQ(1, ZVEVAssignDir(handle, nullptr));
    EXPECT_EQ(1, ZVEVSetString(handle, "title", "zvsupport"));
}

// A string setting read as a host program does: measure, allocate, read.
std::string StringSetting(ZVEV_HANDLE handle, const char* key) {
    int length = ZVEVGetString(handle, key, nullptr, 0, "");
    if (length < 0) {
        return "(failed)";
    }
    std::vector<char> buffer(static_cast<size_t>(length) + 1);
    EXPECT_EQ(length, ZVEVGetString(handle, key, buffer.data(),
                                    static_cast<unsigned int>(buffer.size()), ""));
    return std::string(buffer.data());
}

std::string ListingOf(ZVEV_HANDLE handle, const char* path, unsigned int options) {
    ZVEV_ENUM_LIST_tag* list = ZVEVEnumEntries(handle, path, options);
    if (list == nullptr) {
        return "(null)";
    }
    std::string text = zvenvtest::Listing(list);
    EXPECT_EQ(1, ZVEVFreeSnapList(list));
    return text;
}

void ExpectSettings(ZVEV_HANDLE handle) {
    EXPECT_EQ("192.168.1.20", StringSetting(handle, "/network/eth0/address"));
    EXPECT_EQ(1500, ZVEVGetInteger(handle, "/network/eth0/mtu", 0));
    EXPECT_EQ(0, ZVEVGetBoolean(handle, "/network/eth0/dhcp", -1));
    EXPECT_EQ(1, ZVEVAssignDir(handle, "/motor"));
    EXPECT_EQ(-1200, ZVEVGetInteger(handle, "speed", 0));
    EXPECT_EQ(0.125, ZVEVGetDouble(handle, "gain", 0.0));
    EXPECT_EQ(1, ZVEVGetBoolean(handle, "enabled", -1));
    unsigned char table[8];
    std::memset(table, 0, sizeof table);
    EXPECT_EQ(3, ZVEVGetData(handle, "calibration/table", table, sizeof table));
    EXPECT_EQ(0, std::memcmp(table, kTable, sizeof kTable));
    EXPECT_EQ("Main unit", StringSetting(handle, "name"));
    EXPECT_RESULT_CODE(42, ZVEVGetInteger(handle, "missing", 42), 12);
    EXPECT_EQ(1, ZVEVAssignDir(handle, nullptr));
    EXPECT_EQ("zvsupport", StringSetting(handle, "title"));

    EXPECT_EQ("network:1 motor:1 title:6", ListingOf(handle, nullptr, 3));
    EXPECT_EQ("motor:1 network:1 title:6", ListingOf(handle, "/", 7));
    EXPECT_EQ("speed:4 gain:5 enabled:3 calibration:1 name:6", ListingOf(handle, "motor", 3));
    EXPECT_EQ("calibration:1 enabled:3 gain:5 name:6 speed:4", ListingOf(handle, "motor", 7));
    EXPECT_EQ("table:2", ListingOf(handle, "/motor/calibration", 7));
    EXPECT_EQ("address:6 mtu:4 dhcp:3", ListingOf(handle, "/network/eth0", 2));
}

TEST(ZVEVHostScenarioTest, SettingsSurviveTextAndBinaryFiles) {
    zvtest::TempDir dir;
    const std::string text = dir.File("device.env");
    const std::string binary = dir.File("device.bin");

    ZVEV_HANDLE writer = nullptr;
    ASSERT_EQ(1, ZVEVOpenFile(text.c_str(), &writer));
    WriteSettings(writer);
    EXPECT_EQ(-1, zvtest::FileSize(text));
    EXPECT_EQ(1, ZVEVFlush(writer));
    ExpectWrittenHeader(text, "ENVT");
    EXPECT_EQ(kTextBody, BodyOf(text));

    ZVEV_HANDLE reader = nullptr;
    ASSERT_EQ(1, ZVEVOpenFile(text.c_str(), &reader));
    EXPECT_NE(writer, reader);
    EXPECT_EQ(0, ZVEVGetFormat(reader));
    ExpectSettings(reader);

    EXPECT_EQ(1, ZVEVAssignFormat(reader, 1));
    EXPECT_EQ(1, ZVEVSaveAs(reader, binary.c_str()));
    ExpectWrittenHeader(binary, "ENVB");
    EXPECT_EQ(kTextBody, BodyOf(text)) << "the reader stays bound to the text file";

    ZVEV_HANDLE copy = nullptr;
    ASSERT_EQ(1, ZVEVOpenFile(binary.c_str(), &copy));
    EXPECT_EQ(1, ZVEVGetFormat(copy));
    ExpectSettings(copy);
    // Written again, the binary copy gives the same item buffer.
    const std::string again = dir.File("again.bin");
    EXPECT_EQ(1, ZVEVSaveAs(copy, again.c_str()));
    EXPECT_EQ(BodyOf(binary), BodyOf(again));
    // And the reader, flushed as text, writes what the writer wrote.
    EXPECT_EQ(1, ZVEVAssignFormat(reader, 0));
    EXPECT_EQ(1, ZVEVSaveAs(reader, again.c_str()));
    EXPECT_EQ(kTextBody, BodyOf(again));

    EXPECT_EQ(1, ZVEVRemoveKey(copy, "/motor/name"));
    EXPECT_EQ(1, ZVEVRemoveDir(copy, "/motor/calibration"));
    EXPECT_EQ(1, ZVEVRemoveDir(copy, "network"));
    EXPECT_RESULT_CODE(0, ZVEVRemoveKey(copy, "/motor/name"), 12);
    EXPECT_RESULT_CODE(0, ZVEVCheckDirExist(copy, "/network"), 5);
    EXPECT_EQ(1, ZVEVFlush(copy));
    EXPECT_EQ(1, ZVEVClose(copy));

    ASSERT_EQ(1, ZVEVOpenFile(binary.c_str(), &copy));
    EXPECT_EQ(1, ZVEVGetFormat(copy));
    EXPECT_EQ("motor:1 title:6", ListingOf(copy, "/", 7));
    EXPECT_EQ("enabled:3 gain:5 speed:4", ListingOf(copy, "/motor", 7));
    EXPECT_EQ(-1200, ZVEVGetInteger(copy, "/motor/speed", 0));
    EXPECT_EQ(1, ZVEVClose(copy));

    EXPECT_EQ(1, ZVEVClose(reader));
    EXPECT_EQ(1, ZVEVClose(writer));
    EXPECT_EQ(kTextBody, BodyOf(text)) << "closing writes nothing";
}

}  // namespace
