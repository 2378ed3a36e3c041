// zvtool's pieces on their own: the text of values given on and printed to the command line,
// values as JSON, the choice of error history records, and the empty history file the tool
// writes for host programs to open.
#include <climits>
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "ErrHistSupport.h"
#include "ErrhistFile.h"
#include "EnvValue.h"
#include "Json.h"
#include "Output.h"
#include "TarnError.h"
#include "TestSupport.h"
#include "ZVEnvData.h"
#include "ZVErrHistFunc.h"

namespace {

using zvtool::EnvValue;
using zvtool::Failure;
using zvtool::Json;
using zvtool::UsageError;
using zvtool::ValueKind;

EnvValue Int(const std::string& text) {
    return zvtool::ParseValueText(ValueKind::Int, text);
}

// ---------------------------------------------------------------------------------------------
// Integers keep the radix they are written in

TEST(ZvtoolValueText, DecimalIntegersAreSigned32Bit) {
    EnvValue value = Int("1800");
    EXPECT_EQ(1800, value.integer);
    EXPECT_EQ(ZVED_ITEM_INTEGER, value.radix);
    EXPECT_EQ(INT_MIN, Int("-2147483648").integer);
    EXPECT_EQ(INT_MAX, Int("+2147483647").integer);
    EXPECT_THROW(Int("2147483648"), UsageError);
    EXPECT_THROW(Int("-2147483649"), UsageError);
}

TEST(ZvtoolValueText, PrefixesChooseTheRadix) {
    EnvValue hex = Int("0x1F");
    EXPECT_EQ(31, hex.integer);
    EXPECT_EQ(ZVED_ITEM_HEX, hex.radix);
    EnvValue oct = Int("0o17");
    EXPECT_EQ(15, oct.integer);
    EXPECT_EQ(ZVED_ITEM_OCT, oct.radix);
    EnvValue bin = Int("0B101");
    EXPECT_EQ(5, bin.integer);
    EXPECT_EQ(ZVED_ITEM_BIN, bin.radix);
}

TEST(ZvtoolValueText, PrefixedIntegersTakeAll32BitsAndASign) {
    EXPECT_EQ(-1, Int("0xFFFFFFFF").integer);
    EXPECT_EQ(-16, Int("-0x10").integer);
    EXPECT_EQ(INT_MIN, Int("0b10000000000000000000000000000000").integer);
    EXPECT_THROW(Int("0x100000000"), UsageError);
    EXPECT_THROW(Int("0o40000000000"), UsageError);
}

TEST(ZvtoolValueText, MalformedIntegersAreUsageErrors) {
    for (const char* text : {"", "-", "0x", "0b", "12x", "0x1G", "0o8", "0b2", "1.5", " 1"}) {
        EXPECT_THROW(Int(text), UsageError) << text;
    }
}

TEST(ZvtoolValueText, IntegersPrintAsTheTextFormWritesThem) {
    EXPECT_EQ("-5", zvtool::FormatInteger(-5, ZVED_ITEM_INTEGER));
    EXPECT_EQ("0xffffffff", zvtool::FormatInteger(-1, ZVED_ITEM_HEX));
    EXPECT_EQ("0o10", zvtool::FormatInteger(8, ZVED_ITEM_OCT));
    EXPECT_EQ("0b0101", zvtool::FormatInteger(5, ZVED_ITEM_BIN));
    EXPECT_EQ("0b00010000", zvtool::FormatInteger(16, ZVED_ITEM_BIN));
    EXPECT_EQ("0b0", zvtool::FormatInteger(0, ZVED_ITEM_BIN));
    EXPECT_EQ("0b" + std::string("1") + std::string(31, '0'),
              zvtool::FormatInteger(INT_MIN, ZVED_ITEM_BIN));
}

TEST(ZvtoolValueText, PrintedIntegersReadBackWithTheirRadix) {
    for (unsigned char radix : {ZVED_ITEM_INTEGER, ZVED_ITEM_HEX, ZVED_ITEM_OCT, ZVED_ITEM_BIN}) {
        for (int number : {0, 1, -1, 1800, INT_MIN, INT_MAX}) {
            EnvValue value = Int(zvtool::FormatInteger(number, radix));
            EXPECT_EQ(number, value.integer) << int(radix);
            EXPECT_EQ(radix, value.radix) << number;
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Reals, booleans, data

TEST(ZvtoolValueText, RealsMustBeFinite) {
    EXPECT_EQ(0.15, zvtool::ParseValueText(ValueKind::Real, "1.5e-1").real);
    for (const char* text : {"", "inf", "-inf", "nan", "1e400", "1.5x", "0.1 "}) {
        EXPECT_THROW(zvtool::ParseValueText(ValueKind::Real, text), UsageError) << text;
    }
}

TEST(ZvtoolValueText, RealsPrintAsTheShortestTextThatReadsBack) {
    EXPECT_EQ("0.1", zvtool::FormatReal(0.1));
    EXPECT_EQ("1500", zvtool::FormatReal(1500.0));
    EXPECT_EQ("1e+20", zvtool::FormatReal(1e20));
    EXPECT_EQ("0.30000000000000004", zvtool::FormatReal(0.1 + 0.2));
}

TEST(ZvtoolValueText, BooleansInEveryUsualSpelling) {
    for (const char* text : {"true", "TRUE", "Yes", "on", "1"}) {
        EXPECT_TRUE(zvtool::ParseValueText(ValueKind::Bool, text).boolean) << text;
    }
    for (const char* text : {"false", "False", "NO", "off", "0"}) {
        EXPECT_FALSE(zvtool::ParseValueText(ValueKind::Bool, text).boolean) << text;
    }
    EXPECT_THROW(zvtool::ParseValueText(ValueKind::Bool, "maybe"), UsageError);
    EXPECT_THROW(zvtool::ParseValueText(ValueKind::Bool, ""), UsageError);
}

TEST(ZvtoolValueText, DataIsHexadecimalTwoDigitsAByte) {
    EXPECT_EQ(std::string("\x0a\xff\x10", 3),
              zvtool::ParseValueText(ValueKind::Data, "0a:FF 10").bytes);
    EXPECT_EQ("", zvtool::ParseValueText(ValueKind::Data, "").bytes);
    for (const char* text : {"abc", "0g", "0x0a", "0a-0b", "a b"}) {
        EXPECT_THROW(zvtool::ParseValueText(ValueKind::Data, text), UsageError) << text;
    }
    EXPECT_EQ("000aff", zvtool::HexEncode(std::string("\x00\x0a\xff", 3)));
}

TEST(ZvtoolValueText, StringsAreTakenAsTheyAre) {
    EXPECT_EQ(" a=b # c ", zvtool::ParseValueText(ValueKind::String, " a=b # c ").bytes);
}

// ---------------------------------------------------------------------------------------------
// UTF-8, numbers of the command line

TEST(ZvtoolOutput, Utf8IsCheckedStrictly) {
    EXPECT_TRUE(zvtool::IsUtf8("plain"));
    EXPECT_TRUE(zvtool::IsUtf8("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"));
    EXPECT_FALSE(zvtool::IsUtf8("\x8C\x8E"));          // Shift-JIS
    EXPECT_FALSE(zvtool::IsUtf8("\xC0\xAF"));          // overlong
    EXPECT_FALSE(zvtool::IsUtf8("\xED\xA0\x80"));      // surrogate
    EXPECT_FALSE(zvtool::IsUtf8("\xE2\x82"));          // cut short
    EXPECT_FALSE(zvtool::IsUtf8("\xF4\x90\x80\x80"));  // beyond U+10FFFF
}

TEST(ZvtoolOutput, UnsignedNumbersInDecimalOrHexadecimal) {
    unsigned long long value = 0;
    EXPECT_TRUE(zvtool::ParseUnsigned("74", 0xFFFFFFFFull, value));
    EXPECT_EQ(74u, value);
    EXPECT_TRUE(zvtool::ParseUnsigned("0xFFFF", 0xFFFFFFFFull, value));
    EXPECT_EQ(0xFFFFu, value);
    EXPECT_TRUE(zvtool::ParseUnsigned("4294967295", 0xFFFFFFFFull, value));
    EXPECT_FALSE(zvtool::ParseUnsigned("4294967296", 0xFFFFFFFFull, value));
    EXPECT_FALSE(zvtool::ParseUnsigned("-1", 0xFFFFFFFFull, value));
    EXPECT_FALSE(zvtool::ParseUnsigned("0x", 0xFFFFFFFFull, value));
    EXPECT_FALSE(zvtool::ParseUnsigned("", 0xFFFFFFFFull, value));
}

TEST(ZvtoolOutput, FailureLinesNameTheFileTheMessageAndTheCode) {
    EXPECT_EQ("a.env: /x: Key is not exist. (code 12)", Failure("a.env", "/x", 12).Line());
    EXPECT_EQ("a.env: File not exist. (code 68)", Failure("a.env", "", 68).Line());
    EXPECT_EQ("a.env: Unknown error. (code 74)", Failure("a.env", "", 74).Line());
    EXPECT_EQ("a.json: /x: bad", Failure("a.json", "/x: bad", zvtool::kNoCode).Line());
    TarnSetLastError(13);
    EXPECT_EQ("b.env: Load file failed. (code 13)", Failure::FromLastError("b.env").Line());
}

// ---------------------------------------------------------------------------------------------
// Values as JSON

EnvValue FromJson(const std::string& text) {
    return zvtool::ValueFromJson(Json::parse(text), "t.json", "/k");
}

TEST(ZvtoolJson, EveryKindGoesThereAndBack) {
    std::vector<EnvValue> values(7);
    values[0].kind = ValueKind::Int;
    values[0].radix = ZVED_ITEM_HEX;
    values[0].integer = -1;
    values[1].kind = ValueKind::Int;
    values[1].radix = ZVED_ITEM_BIN;
    values[1].integer = 5;
    values[2].kind = ValueKind::Real;
    values[2].real = 0.15;
    values[3].kind = ValueKind::Bool;
    values[3].boolean = true;
    values[4].kind = ValueKind::String;
    values[4].bytes = "Conveyor \"Line 3\"\n";
    values[5].kind = ValueKind::String;
    values[5].bytes = "\x8C\x8E";
    values[6].kind = ValueKind::Data;
    values[6].bytes = std::string("\x00\xFF", 2);
    for (const EnvValue& value : values) {
        Json json = zvtool::ValueToJson(value);
        EnvValue back = zvtool::ValueFromJson(Json::parse(json.dump()), "t.json", "/k");
        EXPECT_EQ(value.kind, back.kind) << json.dump();
        EXPECT_EQ(value.radix, back.radix) << json.dump();
        EXPECT_EQ(value.integer, back.integer) << json.dump();
        EXPECT_EQ(value.real, back.real) << json.dump();
        EXPECT_EQ(value.boolean, back.boolean) << json.dump();
        EXPECT_EQ(value.bytes, back.bytes) << json.dump();
    }
}

TEST(ZvtoolJson, ShapesAreTheDocumentedOnes) {
    EnvValue value;
    value.kind = ValueKind::Int;
    value.radix = ZVED_ITEM_HEX;
    value.integer = 31;
    EXPECT_EQ(R"({"type":"int","radix":"hex","value":31})", zvtool::ValueToJson(value).dump());
    value.integer = -256;
    EXPECT_EQ(R"({"type":"int","radix":"hex","value":4294967040})",
              zvtool::ValueToJson(value).dump());
    value.radix = ZVED_ITEM_INTEGER;
    EXPECT_EQ(R"({"type":"int","radix":"dec","value":-256})", zvtool::ValueToJson(value).dump());
    value.kind = ValueKind::String;
    value.bytes = "\x8C\x8E";
    EXPECT_EQ(R"({"type":"string","encoding":"hex","value":"8c8e"})",
              zvtool::ValueToJson(value).dump());
    value.kind = ValueKind::Real;
    value.real = NAN;
    EXPECT_EQ(R"({"type":"real","value":"nan"})", zvtool::ValueToJson(value).dump());
    value.real = -INFINITY;
    EXPECT_EQ(R"({"type":"real","value":"-inf"})", zvtool::ValueToJson(value).dump());
}

TEST(ZvtoolJson, IntegersWithoutRadixAreDecimalAndKeep32Bits) {
    EnvValue value = FromJson(R"({"type":"int","value":4294967295})");
    EXPECT_EQ(-1, value.integer);
    EXPECT_EQ(ZVED_ITEM_INTEGER, value.radix);
    EXPECT_EQ(INT_MIN, FromJson(R"({"type":"int","value":-2147483648})").integer);
    EXPECT_EQ(1500.0, FromJson(R"({"type":"real","value":1500})").real);
    EXPECT_TRUE(std::isinf(FromJson(R"({"type":"real","value":"inf"})").real));
}

TEST(ZvtoolJson, KeyObjectsThatAreWrongFailWithoutACode) {
    const char* wrong[] = {
        R"([1])",
        R"({"value":1})",
        R"({"type":"integer","value":1})",
        R"({"type":"int"})",
        R"({"type":"int","value":1.5})",
        R"({"type":"int","value":"1"})",
        R"({"type":"int","value":4294967296})",
        R"({"type":"int","value":-2147483649})",
        R"({"type":"int","radix":"decimal","value":1})",
        R"({"type":"int","value":1,"unit":"rpm"})",
        R"({"type":"real","value":"fast"})",
        R"({"type":"bool","value":1})",
        R"({"type":"string","value":5})",
        R"({"type":"string","encoding":"latin1","value":"x"})",
        R"({"type":"string","value":"a\u0000b"})",
        R"({"type":"data","value":"abc"})",
        R"({"type":"data","radix":"hex","value":"ab"})",
    };
    for (const char* text : wrong) {
        try {
            FromJson(text);
            ADD_FAILURE() << text;
        } catch (const Failure& failure) {
            EXPECT_EQ(zvtool::kNoCode, failure.Code()) << text;
            EXPECT_EQ("t.json", failure.Subject()) << text;
            EXPECT_EQ(0u, failure.Detail().rfind("/k: ", 0)) << failure.Detail();
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Error history: choosing records, the empty file

zvtool::HistoryHeader Header(uint16_t fd, uint16_t ld, uint16_t rc, uint16_t mc, uint16_t to) {
    zvtool::HistoryHeader header;
    header.firstId = fd;
    header.lastId = ld;
    header.count = rc;
    header.capacity = mc;
    header.oldestSlot = to;
    return header;
}

void ExpectSelection(const zvtool::HistorySelection& selection, uint16_t firstId,
                     unsigned int firstSlot, unsigned int count) {
    EXPECT_EQ(firstId, selection.firstId);
    EXPECT_EQ(firstSlot, selection.firstSlot);
    EXPECT_EQ(count, selection.count);
}

TEST(ZvtoolHistory, SelectionFollowsTheLibrarysReader) {
    // Capacity 3 after five records: ids 3, 4, 5 in slots 2, 0, 1.
    zvtool::HistoryHeader header = Header(3, 5, 3, 3, 2);
    ExpectSelection(zvtool::SelectRecords(header, 5, -2), 4, 0, 2);
    ExpectSelection(zvtool::SelectRecords(header, 4, 10), 4, 0, 2);
    ExpectSelection(zvtool::SelectRecords(header, 0, 0), 3, 2, 3);
    ExpectSelection(zvtool::SelectRecords(header, 9, 70000), 3, 2, 3);
    ExpectSelection(zvtool::SelectRecords(header, 1, 3), 3, 2, 1);
    ExpectSelection(zvtool::SelectRecords(header, 6, 2), 0, 0, 0);
    ExpectSelection(zvtool::SelectRecords(header, 2, -1), 0, 0, 0);
}

TEST(ZvtoolHistory, SelectionAcrossTheIdWrap) {
    // Ids 65534, 65535, 1, 2 in slots 1, 2, 3, 0.
    zvtool::HistoryHeader header = Header(65534, 2, 4, 4, 1);
    ExpectSelection(zvtool::SelectRecords(header, 1, 5), 1, 3, 2);
    ExpectSelection(zvtool::SelectRecords(header, 1, -2), 65535, 2, 2);
    ExpectSelection(zvtool::SelectRecords(header, 65535, 2), 65535, 2, 2);
    ExpectSelection(zvtool::SelectRecords(Header(0, 9, 0, 4, 0), 1, 5), 0, 0, 0);
}

TEST(ZvtoolHistory, EmptyHistoryIsWhatTheStoreWrites) {
    const long lastFlush = zvtest::Utc(2009, 3, 7, 14, 5, 9);
    std::string bytes = zvtool::EncodeEmptyHistory(3, static_cast<int32_t>(lastFlush));
    ASSERT_EQ(96u + 3 * 128u, bytes.size());
    EXPECT_EQ(zvtest::HeaderLine(lastFlush, 0, 0, 0, 3, 0), bytes.substr(0, 96));
    for (unsigned int slot = 0; slot < 3; ++slot) {
        EXPECT_EQ(zvtest::EmptySlot(), bytes.substr(96 + 128 * slot, 128)) << slot;
    }
    zvtool::HistoryHeader header = zvtool::DecodeHistoryHeader(bytes, "h.ehst");
    EXPECT_EQ(3, header.capacity);
    EXPECT_EQ(0, header.count);
    EXPECT_EQ(lastFlush, header.lastFlush);
}

TEST(ZvtoolHistory, HostProgramsOpenTheEmptyHistory) {
    zvtest::TempDir dir;
    std::string path = dir.File("errors.ehst");
    zvtest::WriteFile(path, zvtool::EncodeEmptyHistory(4, 0));
    ASSERT_EQ(1, ZVEHInitA(path.c_str(), 4, 0));
    ERRHIST_tag record = zvtest::MakeRecord(1);
    unsigned short id = 0;
    EXPECT_EQ(1, ZVEHAddErrorHistory(&record, &id));
    EXPECT_EQ(1, id);
    unsigned short first = 0;
    unsigned short last = 0;
    EXPECT_EQ(1, ZVEHGetRange(&first, &last));
    EXPECT_EQ(1, ZVEHExit());
    EXPECT_EQ(96 + 4 * 128, zvtest::FileSize(path));
    zvtool::HistoryHeader header = zvtool::DecodeHistoryHeader(zvtest::ReadFile(path), path);
    EXPECT_EQ(1, header.firstId);
    EXPECT_EQ(1, header.lastId);
    EXPECT_EQ(1, header.count);
}

TEST(ZvtoolHistory, FilesThatAreNotHistoriesAreRefusedWithTheirCodes) {
    std::string good = zvtool::EncodeEmptyHistory(2, 0);
    struct Case {
        std::string bytes;
        unsigned int code;
    } cases[] = {
        {"", TARN_ERR_EH_FILE_CORRUPTED},
        {good.substr(0, 95), TARN_ERR_EH_FILE_CORRUPTED},
        {good.substr(0, good.size() - 1), TARN_ERR_EH_FILE_CORRUPTED},
        {good + " ", TARN_ERR_EH_FILE_CORRUPTED},
        {"ehst" + good.substr(4), TARN_ERR_EH_HEADER_CORRUPTED},
        {zvtest::HeaderLine(0, 1, 1, 3, 2, 0) + good.substr(96), TARN_ERR_EH_FILE_CORRUPTED},
        {zvtest::HeaderLine(0, 1, 1, 1, 2, 2) + good.substr(96), TARN_ERR_EH_FILE_CORRUPTED},
        {zvtest::HeaderLine(0, 0, 1, 1, 2, 0) + good.substr(96), TARN_ERR_EH_FILE_CORRUPTED},
        {zvtest::HeaderLine(0, 0, 0, 0, 0, 0), TARN_ERR_EH_FILE_CORRUPTED},
    };
    for (const Case& c : cases) {
        try {
            zvtool::DecodeHistoryHeader(c.bytes, "h.ehst");
            ADD_FAILURE() << c.bytes.substr(0, 80);
        } catch (const Failure& failure) {
            EXPECT_EQ(c.code, failure.Code()) << c.bytes.substr(0, 80);
        }
    }
}

}  // namespace
